#pragma once
// The "TarnWave Settings" window (frmAppSettings): six frames in two columns, the crossfade, the
// low-volume detection and the artist separation on the left, auto-trim, the logs and the play
// history, and the microphone on the right; under them, across both, the studio output and the
// loudness on the air. Shown while the model says the form is visible. The
// window places the form's elements itself (window pixels, written into the model) and grows them
// with the window, as the statistics window does.
//
// Everything the operator does goes through the console's actions under the form's own names: a
// click in a box of a two-box field, the buttons and the tick box act on the release (a button
// looks pressed while the mouse is held on it); a press on a list opens its items. The loudness
// target's box also takes a typed level: a press left of its arrow lays an editor over it, each
// keystroke is the box's text and Return hands the level to the console; leaving the box any
// other way (Escape, a click elsewhere) puts back what it showed. The
// four sliders are Qt sliders: each value the operator drags, steps or wheels to is handed to the
// console, and a value the window sets from the model is never handed back, so that opening the
// window or a box's click writes nothing. There is no OK or Cancel: every change is written at
// once by the console, and the window's close box only hides the form.
//
// Thread contract: console thread only (a widget, and it reads and places the console's form).

#include <QPointF>
#include <QRectF>
#include <QSize>
#include <QString>
#include <QWidget>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "core/console.h"
#include "ui/box_editor.h"
#include "ui/item_list.h"
#include "ui/visible_beat.h"

class QLineEdit;
class QMenu;
class QSlider;

namespace tw::ui {

class SettingsWindow final : public QWidget {
  public:
    SettingsWindow(core::Console& console, QWidget* owner, int beatMs = 100);

    // The size the layout is designed for; the window is never smaller.
    static QSize designSize();

    // Shows or hides the window as frmAppSettings says, places the elements, sets the sliders
    // from the model and repaints what changed; called by the beat.
    void follow();

    // The element drawn at a window point, frames and sliders left out; nullptr for none.
    core::Element* elementAt(const QPointF& at);
    // The slider widget that stands for a slider of the form (by its name, "sldrTrimThreshold"),
    // nullptr for another name.
    QSlider* sliderFor(std::string_view name) const;
    // The item list of a combo box while it is open, else nullptr.
    QMenu* openList() const;
    // The editor laid over the loudness target's box while the operator types in it, else
    // nullptr.
    QLineEdit* openEditor() const;

    // A text of the window's own, not the model's (the units under the two-box fields, the note
    // on auto-trim), where it is drawn and how.
    struct FixedText {
        QString text;
        QRectF rect;
        int flags = 0;  // Qt::Alignment and Qt::TextFlag
    };
    std::vector<FixedText> fixedTexts() const;
    // How much the texts grow with the window (1 at the design size and below).
    double textScale() const;

  protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

  private:
    struct SliderWidget {
        core::Element* element;
        QSlider* widget;
    };

    // Writes the places of the form's elements for the window's present size into the model.
    void place();
    // Puts the slider widgets where their elements are, at their ranges and values, without
    // handing those values back to the console.
    void syncSliders();
    // Runs the action of an element of the form, then shows what it changed.
    void act(const std::string& name);
    // Opens the items of a list under it; the one chosen goes to the console.
    void openItems(core::Element& list);
    // Closes the editor of a box without Return: the box's text as it was before the typing.
    void abandonTyping();
    // A copy of a box with its font grown with the window, for the editor laid over it.
    core::Element grownBox(const core::Element& box) const;
    // A value the operator moved a slider widget to.
    void operatorSlid(const core::Element& slider, int value);

    core::Console& console_;
    std::vector<SliderWidget> sliders_;  // children of the window, one per slider of the form
    std::unique_ptr<VisibleBeat> beat_;  // follows while the console window is shown
    BoxEditor editor_;                   // over the box being typed in, hidden otherwise
    std::string typedBefore_;            // that box's text when the typing began
    ItemList items_;                     // the open item list of a combo box
    std::string pressed_;                // the element the mouse went down on, "" for none
    std::size_t lastLook_ = 0;           // fingerprint of the form as last painted
};

}  // namespace tw::ui
