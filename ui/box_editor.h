#pragma once
// The line editor a window lays over a text box while the operator types in it: which box it
// edits, opening it over the box and closing it. The window connects the editor's signals to its
// own actions.
//
// Thread contract: console thread only (widgets).

#include <QLineEdit>
#include <string>

#include "core/surface.h"

namespace tw::ui {

class BoxEditor {
  public:
    // The editor is a hidden child of host.
    explicit BoxEditor(QWidget* host);
    // Silences the editor first: the host's base class, destroyed after this, still sends it
    // focus events, which must not reach the half-destroyed host.
    ~BoxEditor();
    BoxEditor(const BoxEditor&) = delete;
    BoxEditor& operator=(const BoxEditor&) = delete;

    QLineEdit* lineEdit() const { return edit_; }
    // The name of the box being edited, empty while the editor is closed.
    const std::string& editing() const { return editing_; }
    // Puts the editor over the box with its font and text, all of it selected (typing replaces a
    // hint such as "Type Search Here"), shown and focused; a password shows no characters. Over
    // a combo box it leaves the arrow uncovered.
    void open(const core::Element& box, bool password = false);
    // Puts the open editor over the box's present place and font (the window grew); the text
    // typed so far stays.
    void follow(const core::Element& box);
    // Hides and empties it; false when it was not open.
    bool close();

  private:
    QLineEdit* edit_;
    std::string editing_;
};

}  // namespace tw::ui
