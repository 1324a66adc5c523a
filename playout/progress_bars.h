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
// The meters move only when both channels are above 100; otherwise they stand as they are.
void drawLevelMeters(core::Console& c, std::uint32_t level);

}  // namespace tw::playout
