#pragma once
// The next-track planner: prepares the next row of the running list on the player that is not on
// the air, keeps the ring of picks full, and re-picks a row on the operator's demand.
//
// Thread contract: console thread only. Picks may yield to the event loop.

#include <cstdint>
#include <string_view>

#include "core/console.h"

namespace tw::autodj {

// flag 0 advances the position first; any other value loads the row at the selection.
void loadNextSong(core::Console& c, std::int16_t flag);
// The rolling refill: replans the slot just behind the position for its next lap.
void UpdateTrackList(core::Console& c, std::int16_t flag);
// Fills row i of the running list with a new pick.
void rePickItem(core::Console& c, int i);
// When a track queued now would begin: the present time plus what is left on the air.
core::DateValue nextStartTime(core::Console& c);
// A length text "hh:mm:ss.s" in whole seconds (rounded); an empty text gives 0.
std::int32_t timeToSeconds(std::string_view text);

// The operator's mouse on lstPlaylist: a press on a column of the selected row (0 the time: the
// preview; 1 the name: the history balloon; 3 the re-pick), and the release that redraws the
// list after a re-pick.
void lstPlaylist_MouseDown(core::Console& c, int column);
void lstPlaylist_MouseUp(core::Console& c);

}  // namespace tw::autodj
