#pragma once
// The console's cue points, kept in the track's own tag (the TOWN frame, FileOwner), ten fields
// separated by "~": "twTag", the sweeper's list index, four display texts and four times in
// seconds (sweep point, end of intro, start of outro, start of the next track).
//
// Thread contract: console thread only (it uses the console's shared tag object).

#include <cstdint>
#include <string>

#include "core/console.h"
#include "core/cue_record.h"

namespace tw::tags {

// The record of path. sweeperAllowed reports the rotation grid's tick of its selected row at the
// time of the call, not anything of the file.
core::CueRecord readCueRecord(core::Console& c, const std::string& path);

// The cue text of the details panel's controls, trimmed: "twTag", the sweeper list's index (" 3",
// or "-1" for none), the four display texts and their four hidden seconds.
std::string cueTagText(const core::MainForm& m);

// Sweeper numbers, kept as "twSTag~n" in the FileOwner field of each file in the sweeper folder.
// 0 unless the first "~" token is exactly "twSTag"; otherwise the numeric value of the second.
std::int32_t sweeperNumberFromTag(const std::string& text);
std::int32_t getSweeperNumber(core::Console& c, const std::string& path);
// Gives the file the lowest number that no file of flSweepers holds. False, with the reason in
// app.log, when the tag could not be written.
bool setSweeperNumber(core::Console& c, const std::string& path);
std::int32_t nextFreeSweeperNumber(core::Console& c);
// The index in flSweepers of the first file with that number, else 0.
std::int32_t findSweeperById(core::Console& c, std::int32_t number);

// Rebuilds cmboSweeperList so that an index is a sweeper number: "No Sweeper" at 0, "Deleted"
// where no file holds the number, the file's name where one does. Emptying the list takes its
// choice with it: afterwards no row is chosen.
void fillSweeperList(core::Console& c);
// Chooses row `index` of the sweeper combo (-1: none); the combo's text follows its choice.
void chooseSweeperRow(core::Element& combo, int index);

// After a write of the console's tag object: a failure goes to app.log as "Error writing the tag
// of <path>: <reason>". True when there was one.
bool logTagWriteError(core::Console& c, const std::string& path);

}  // namespace tw::tags
