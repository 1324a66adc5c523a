#pragma once
// The console window: draws the console surface from the model at the places the model gives
// (window pixels; a resize of the window goes to the console's own resize rule, which moves
// them), and turns mouse presses, drags, drops of files and keys into the operator's actions on
// the element under the pointer. It keeps no copy of the surface; every paint reads the model.
// The wheel scrolls the list or grid under the pointer (its topIndex); a row the console selects
// is brought into view, and a list filled with other rows shows from its top.
//
// Thread contract: console thread only (a widget, and it reads the console).

#include <QMenu>
#include <QPointF>
#include <QPointer>
#include <QRect>
#include <QRegion>
#include <QTimer>
#include <QUrl>
#include <QWidget>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "core/console.h"
#include "ui/box_editor.h"
#include "ui/function_keys.h"
#include "ui/item_list.h"
#include "ui/list_drag.h"
#include "ui/visible_beat.h"

namespace tw::ui {

class SurfaceWidget final : public QWidget {
  public:
    // The window looks at the surface every repaintMs (and after each press) and repaints the
    // places that changed: the logic changes the surface on its own timers, with no change
    // signal to wait for.
    explicit SurfaceWidget(core::Console& console, int repaintMs = 60, QWidget* parent = nullptr);

    // The window's title follows frmTarnDesk's caption; called by the repaint beat, and public
    // so that a caller need not wait for the beat.
    void syncTitle();
    // Compares the surface with the last look and schedules a repaint of what changed (its old
    // and new places). Returns the window area scheduled, empty when nothing changed. Lists and
    // grids are first scrolled to show a row selected since the last look.
    QRegion repaintChanges();

    // Told, after the console has run it, of every action the window hands to the console, by
    // kind ("press", "select", "drag", "release", "key" for Delete, "keyUp" with the key code as
    // the name, "drop", "type" for a change of a text box, "enter" for its Return key,
    // "doubleClick") and element.
    // For diagnostics and the window's own tests; the console does not depend on it.
    using ActionObserver = std::function<void(const std::string& action, const std::string& name)>;
    void setActionObserver(ActionObserver observer) { observer_ = std::move(observer); }

    // cmdHelp opens the console's help page through this (the desktop's default browser unless
    // replaced, as the tests do).
    using UrlOpener = std::function<void(const QUrl&)>;
    void setUrlOpener(UrlOpener opener) { openUrl_ = std::move(opener); }
    static QUrl helpPage();

    // The item list of a combo box while it is open, else nullptr.
    QMenu* openList() const { return items_.menu(); }
    // The track list's menu (the right button on lstSongs) while it is open, else nullptr.
    QMenu* openTrackMenu() const { return trackMenu_.data(); }
    // F1 to F10 let go anywhere in the console's windows (key codes 112 to 121).
    void functionKeyReleased(int keyCode);

  protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragMoveEvent(QDragMoveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

  private:
    // An element's rect with room for what is drawn just past its edge (a frame's caption,
    // antialiasing).
    QRect windowArea(const core::Rect& r) const;
    // The element and the row of a list or grid (-1 none) under a point of the window.
    struct Target {
        const core::Element* element = nullptr;
        int row = -1;
    };
    Target targetAt(const QPointF& at);
    // Where dropped files go (the track list, the sweepers, the Playlist Builder's grid); the
    // song list of the track list stands for the file list.
    const core::Element* fileDropTarget(const QPointF& at);
    // Tells the observer, retitles the window and repaints what the action changed.
    void afterAction(const std::string& action, const std::string& name);
    // The track list's menu, at a point of the screen, for the row under the pointer (-1 none).
    void trackMenu(const QPoint& globalAt, int row);
    // A text box is edited in a line editor laid over it while it has the focus; each change
    // goes to the console as the box's text at once. Closing it leaves the painted box.
    void closeEditor();

    core::Console& console_;
    ListDrag drag_;
    ActionObserver observer_;
    UrlOpener openUrl_;
    // The list or sampler button last clicked: the Delete key goes to it.
    std::string keyTarget_;
    // The element the left button went down on (not a list): it gets the moves and the release.
    struct Held {
        std::string name;
        double left = 0, top = 0;  // its place at the press
    };
    Held held_;
    BoxEditor editor_;                      // over the text box being edited, hidden otherwise
    ItemList items_;                        // the open list of a combo box
    QPointer<QMenu> trackMenu_;             // the track list's menu while it is open
    FunctionKeys keys_;                     // F1 to F10 from every window of the console
    std::unique_ptr<VisibleBeat> repaint_;  // beats while the window is shown
    // Scrolls the lists and grids of all (the form's element list) to a row selected since the
    // last look, and back to the top when they hold other rows than then.
    void followSelections(const std::vector<core::Element*>& all);

    // The last look, in the order of the form's element list (a fixed order).
    std::vector<std::size_t> fingerprints_;
    std::vector<core::Rect> places_;
    struct ListLook {
        int selected = -1;
        std::size_t count = 0;
        std::string first;  // the first row's text
    };
    std::vector<ListLook> lists_;
};

}  // namespace tw::ui
