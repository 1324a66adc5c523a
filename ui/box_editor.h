#pragma once
// The line editor a window lays over a text box while the operator types in it.
//
// Thread contract: console thread only (widgets).

#include <QLineEdit>

#include "core/surface.h"

namespace tw::ui {

// Puts the editor over the box with its font and text, all of it selected (typing replaces a
// hint such as "Type Search Here"), shown and focused.
void openBoxEditor(QLineEdit& editor, const core::Element& box);

}  // namespace tw::ui
