#pragma once
// The console's first words on a station it made by itself in the user's data folder: where the
// station is and how to fill it, on the message line, for as long as it has no category.
//
// Thread contract: console thread only.

#include <string>

#include "app/station_folder.h"
#include "core/console.h"

namespace tw::app {

std::string newStationHint(const std::string& folder);

// After Form_Load: puts the hint on the message line when the station is the data folder's and
// its library has no category. Gives the hint shown, "" when none was.
std::string showNewStationHint(core::Console& c, const StationFolder& station);

}  // namespace tw::app
