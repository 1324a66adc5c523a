#pragma once
// Which elements of the console window are on screen, in the order they are drawn, and which one
// lies under a point. Shared by the painter and the mouse so that what is clicked is what is seen.
//
// Thread contract: console thread only (reads the surface).

#include <vector>

#include "core/forms.h"

namespace tw::ui {

// Elements shown on the console: visible, with a size, not a timer or the form itself, and every
// frame they stand in (following container after container) visible too. Frames come first so
// that they lie behind what stands in them; the rest keep the form's order, except lblShowData,
// which the console shows over the panels and so comes last.
std::vector<const core::Element*> drawnElements(core::MainForm& form);

// The element drawn topmost at (x, y) in window pixels, preferring anything over a frame;
// nullptr when the point is on the bare form.
const core::Element* elementAt(core::MainForm& form, double x, double y);

}  // namespace tw::ui
