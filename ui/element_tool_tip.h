#pragma once
// The tool tips of the console's windows are their elements' own: the element under the pointer
// gives the text, or none is shown.
//
// Thread contract: console thread only (it shows widgets).

#include <QHelpEvent>
#include <QWidget>

#include "core/surface.h"

namespace tw::ui {

// Shows `under`'s tool tip for the help event on `widget`, or hides any when it has none (the
// event is then ignored). Returns true: the event is handled either way.
bool showElementToolTip(QWidget& widget, QHelpEvent& help, const core::Element* under);

}  // namespace tw::ui
