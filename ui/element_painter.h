#pragma once
// Draws the console surface from the model, in design pixels (the caller scales the painter).
// Nothing here keeps state: every paint reads the surface as the logic left it.
//
// Thread contract: console thread only (reads the surface).

#include <QPainter>

#include "core/forms.h"

namespace tw::ui {

// One element at its rect: picture buttons from their drawing (or their role and captions when
// nothing is drawn yet), labels, pictures with their fills and printed texts, lists, grids, text
// and combo boxes, check and option buttons, sliders, frames as outlines, system buttons.
void paintElement(QPainter& p, const core::Element& e);

// The whole console window: its back colour, the texts printed on the form itself (the message
// line), then every drawn element (see drawnElements) in front of them.
void paintConsole(QPainter& p, core::MainForm& form);

}  // namespace tw::ui
