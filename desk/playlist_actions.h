#pragma once
// The operator's hands on the playlists and the schedule: the Playlist Builder's buttons, grid and
// track list, the playlist files, the preview of a chosen track, and the grid of frmSchedule.
//
// Thread contract: console thread only.

#include <string>
#include <string_view>
#include <vector>

#include "core/console.h"

namespace tw::desk {

// Each gives true when the element is one of these and the action has run.
bool playlistPress(core::Console& c, std::string_view name);
bool playlistSelect(core::Console& c, std::string_view name, int row);
bool playlistDropFiles(core::Console& c, std::string_view name,
                       const std::vector<std::string>& files);
// A row of one list dragged onto another element.
bool playlistDrag(core::Console& c, std::string_view source, std::string_view target);

// The grid of frmSchedule, at a position of its own ("frmSchedule.pctSchedule").
inline constexpr std::string_view kScheduleGrid = "frmSchedule.pctSchedule";
void schedulePress(core::Console& c, double x, double y);
void scheduleMove(core::Console& c, double x, double y, bool leftButton);
void scheduleDrop(core::Console& c, double x, double y, const std::string& text);

}  // namespace tw::desk
