#pragma once
// The console's cue points, kept in the track's own tag (the TOWN frame, FileOwner), ten fields
// separated by "~": "twTag", the sweeper's list index, four display texts and four times in
// seconds (sweep point, end of intro, start of outro, start of the next track).
//
// Thread contract: console thread only (it uses the console's shared tag object).

#include <string>

#include "core/console.h"
#include "core/cue_record.h"

namespace tw::tags {

// The record of path. sweeperAllowed reports the rotation grid's tick of its selected row at the
// time of the call, not anything of the file.
core::CueRecord readCueRecord(core::Console& c, const std::string& path);

}  // namespace tw::tags
