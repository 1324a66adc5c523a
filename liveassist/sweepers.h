#pragma once
// Sweepers: short produced items laid over the music, straight into the mixer at their own level.
// The files live in the station's Sweepers folder, each numbered in its own tag ("twSTag~n"); a
// track's cue tag names its sweeper by that number.
//
// Thread contract: console thread only.

#include <cstdint>
#include <string>
#include <vector>

#include "core/console.h"

namespace tw::liveassist {

// A toggle: a sweeper still playing is stopped (and the requested file not played); otherwise the
// file goes into the mixer and frees itself at its end.
void playSweeper(core::Console& c, const std::string& path);
// First index in flSweepers whose file holds that sweeper number, else 0.
std::int32_t findSweeperIndex(core::Console& c, std::int32_t number);
// The sweeper button: the selected sweeper, or a random one of the folder (never its last file
// unless it is the only one).
void cmdPlayOver_Click(core::Console& c);
// Makes the selected sweeper the default: its name on the button and in "DefaultSweeper".
void cmdDefaultSweeper_Click(core::Console& c);
void saveDefaultSweeper(core::Console& c);
// Reads "DefaultSweeper" and paints its name on cmdDefaultSweeper.
void readDefaultSweeper(core::Console& c);
// A click on a sweeper shows its number on lblSweepId.
void flSweepers_Click(core::Console& c);
// Files dropped on the sweeper list: each copied in (over one of the same name) and numbered anew.
void flSweepers_DragDrop(core::Console& c, const std::vector<std::string>& files);
// The Delete key on the sweeper list: the selected file goes to the trash.
void flSweepers_Delete(core::Console& c);

}  // namespace tw::liveassist
