#pragma once
// The "Shoutcast/Icecast Server Settings" window (frmCast): shown while the model says it is
// visible, drawn from the model, and every press, choice and keystroke handed to the operator's
// actions under the form's own names ("frmCast.cmdSave"). Closing it is the Close button's work:
// the window's own close box runs it too.
//
// Thread contract: console thread only (a widget, and it reads the console).

#include <QWidget>
#include <memory>
#include <string>

#include "core/console.h"
#include "ui/box_editor.h"
#include "ui/item_list.h"
#include "ui/visible_beat.h"

class QMenu;

namespace tw::ui {

class CastWindow final : public QWidget {
  public:
    CastWindow(core::Console& console, QWidget* owner, int beatMs = 100);

    // Shows or hides the window as frmCast says and repaints it; called by the beat.
    void follow();
    // The element under a point of the window (nullptr for none).
    core::Element* elementAt(const QPointF& at);
    // The item list of a combo box while it is open, else nullptr.
    QMenu* openList() const;

  protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

  private:
    void act(const std::string& name);
    void closeEditor();
    void chooseFrom(core::Element& list);

    core::Console& console_;
    std::unique_ptr<VisibleBeat> beat_;  // follows while the console window is shown
    BoxEditor editor_;                   // over the text box being edited, hidden otherwise
    ItemList items_;                     // the open list of a combo box
};

}  // namespace tw::ui
