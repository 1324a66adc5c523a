#pragma once
// The play history in played.ini: per track and per artist, when it last played or is planned to
// play, with the rollback value of an open plan beside it; per track the play and tune-out counts.
// Every access is one key through the settings store (readIni / writeIni), so the next read sees a
// write at once.
//
// Thread contract: console thread only.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/console.h"

namespace tw::autodj {

// Key names. Keys match without regard to case, so "Lastplayed" finds LastPlayed.
inline constexpr const char* kLastPlayed = "LastPlayed";
inline constexpr const char* kPending = "Pending";
inline constexpr const char* kPlayCount = "PlayCount";
inline constexpr const char* kTunedOut = "TunedOut";
inline constexpr const char* kLastTimeTunedOut = "LastTIMETunedOut";

// One value of a section of played.ini.
std::string readHistory(core::Console& c, const std::string& section, const char* key,
                        const std::string& def);
// The same with played.ini's path (c.playedIniPath()) made once, for a loop over many tracks.
std::string readHistory(core::Console& c, const std::string& playedIni, const std::string& section,
                        const char* key, std::string_view def);
// Two values of one section of played.ini, as two reads give them, with the section found once.
std::array<std::string, 2> readHistory(core::Console& c, const std::string& playedIni,
                                       const std::string& section, const char* key1,
                                       const char* key2, std::string_view def);
void writeHistory(core::Console& c, const std::string& section, const char* key, std::string value);

// Division as the console's "/" does it on whole numbers: 0 / 0 fails as an overflow, any other
// number over 0 as a division by zero.
double checkedDivide(double numerator, double denominator);

// A plan for a slot of a new list (the rotation build): track and artist LastPlayed = the planned
// time; Pending = the track's earlier date, or "empty" when it had none.
void planPick(core::Console& c, const std::string& trackName, const std::string& artistKey,
              core::DateValue plannedTime);
// The same with the picker's previousLastPlayed: when it equals the planned time to the second
// (the picker's answer for a track with no history) the rollback is "empty", otherwise its date.
void planPick(core::Console& c, const std::string& trackName, const std::string& artistKey,
              core::DateValue plannedTime, core::DateValue previousLastPlayed);
// Re-Pick gives up the old track of a slot: track and artist Pending = "no", LastPlayed = now.
// The new track is then planned with planPick.
void releasePlan(core::Console& c, const std::string& trackName, const std::string& artistKey);
// The rolling refill of the slot behind the position: track and artist LastPlayed = the planned
// time; the track's Pending = previousLastPlayed as the picker gave it (a date, never "empty").
void planRefill(core::Console& c, const std::string& trackName, const std::string& artistKey,
                core::DateValue plannedTime, core::DateValue previousLastPlayed);
// Retiming the list: the track's LastPlayed = the new planned time; Pending untouched.
void retimePlan(core::Console& c, const std::string& trackName, core::DateValue plannedTime);
// A start on the air: track LastPlayed = now, Pending = "no", PlayCount + 1; artist LastPlayed =
// now (the artist's Pending keeps what the plan wrote).
void recordStart(core::Console& c, const std::string& trackName, const std::string& artistKey);
// Withdraws an open plan of a track and its artist: LastPlayed back to the Pending date, or the
// key removed for "empty"; Pending = "no". The artist gets the track's rollback value.
void withdrawPlan(core::Console& c, const std::string& trackName, const std::string& artistKey);
// A listener drop charged to a track: TunedOut + 1, LastTIMETunedOut = now.
void chargeTuneOut(core::Console& c, const std::string& trackName);

// The balloon of a running-list row: the track's Pending (or the present time when none is kept)
// and its tune-out percentage with "%". A PlayCount of 0 logs the failure and leaves both empty.
void returnLastPlayedData(core::Console& c, const std::string& path, std::string& lastPlayed,
                          std::string& percentage);

// Every row of the running list that holds the path now starting gets timeOn = now, and its track
// LastPlayed = now.
void stampStartedTrack(core::Console& c, const std::string& path);

}  // namespace tw::autodj
