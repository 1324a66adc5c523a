#pragma once
// The next-track planner: prepares the next row of the running list on the player that is not on
// the air, keeps the ring of picks full, and re-picks a row on the operator's demand.
//
// Thread contract: console thread only.

#include <cstdint>
#include <string_view>

#include "core/console.h"

namespace tw::autodj {

// flag 0 advances the position first; any other value loads the row at the selection.
void loadNextSong(core::Console& c, std::int16_t flag);
// Fills row i of the running list with a new pick.
void rePickItem(core::Console& c, int i);
// When a track queued now would begin: the present time plus what is left on the air.
core::DateValue nextStartTime(core::Console& c);
// A length text "hh:mm:ss.s" in whole seconds (rounded); an empty text gives 0.
std::int32_t timeToSeconds(std::string_view text);

}  // namespace tw::autodj
