#pragma once
// The next-track planner: prepares the next row of the running list on the player that is not on
// the air.
//
// Thread contract: console thread only.

#include <cstdint>

#include "core/console.h"

namespace tw::autodj {

// flag 0 advances the position first; any other value loads the row at the selection.
void loadNextSong(core::Console& c, std::int16_t flag);

}  // namespace tw::autodj
