#pragma once
// The console's design layout (896 x 641 pixels), the caption pass that paints its picture buttons,
// and the switch between its three panels.
//
// Thread contract: console thread only.

#include "core/console.h"

namespace tw::desk {

inline constexpr double kDesignWidth = 896;
inline constexpr double kDesignHeight = 641;

// Puts every element of the console at its design place and size.
void applyDesignLayout(core::Console& c);

// Paints the picture buttons with their captions and roles, then the two player buttons. With
// resized false (start-up) the caller goes on with the folders and lists; with true the pass ends
// after the players, so a resize reads no folder.
void captionPass(core::Console& c, bool resized);

// Shows panel 1 (track list), 2 (rotation) or 3 (playlist builder).
void showPanel(core::Console& c, int index);

}  // namespace tw::desk
