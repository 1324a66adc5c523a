#pragma once
// What the tick draws: the players' progress bars, the preview bar and the level meters.
//
// Thread contract: console thread only.

#include <cstdint>

#include "core/console.h"

namespace tw::playout {

// Bars of both players at the positions read at the start of the tick.
void drawPlayerBars(core::Console& c, float pos1, float pos2);
void drawPreviewBar(core::Console& c);
// The meters move only when both channels are above 100; otherwise they stand as they are. The
// volume pointer, once the operator has set one, is drawn over them.
void drawLevelMeters(core::Console& c, std::uint32_t level);
// The left button on level bar `index` at x (within the bar): both pointers move to x - 5 and
// the players' volume becomes pointer 0's place over bar 0's width. Outside the bar, nothing.
void picLevelBar_MouseDown(core::Console& c, int index, double x);

}  // namespace tw::playout
