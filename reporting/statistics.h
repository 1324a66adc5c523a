#pragma once
// The statistics report of frmStatistics ("Song Statistics"): for the categories the operator
// ticks, every track with its play count, tune-outs and tune-out percentage, lowest percentage
// first, so that the tracks that drive listeners away stand at the end. It reads played.ini and
// the tags and writes no file of its own.
//
// The tags are read on the report's worker, so that a report of thousands of tracks never holds
// the console thread; the history, the order and the grid follow on the console thread when the
// worker ends. The button shows the share of the tags read.
//
// Thread contract: console thread only; the worker touches only the report's own list.

#include <cstdint>
#include <string>
#include <vector>

#include "core/console.h"

namespace tw::reporting {

struct ReportRow {
    std::string category;
    std::string trackName;
    std::int32_t playCount = 0;
    std::int32_t tuneOuts = 0;
    std::int32_t percentage = 0;
};

// Tune-outs over plays times 100, rounded to one decimal and then to a whole number; 0 for a
// track never played.
std::int32_t tuneOutPercentage(std::int32_t tuneOuts, std::int32_t playCount);
// Sorts by percentage, lowest first; ties keep their order. The order is the one that exchanging
// neighbours until a pass exchanges none gives, reached by a merge sort: a report of 100,000
// tracks takes milliseconds where the passes of exchanges took hours.
void sortByPercentage(std::vector<ReportRow>& rows);

// cmdViewStatistics: shows frmStatistics, its categories listed from the folders under Music.
void cmdViewStatistics_Click(core::Console& c);
// Fills lstCatagories, one row per category folder, none ticked.
void showCatagoryList(core::Console& c);
// A click on a row of lstCatagories toggles its tick.
void lstCatagories_Click(core::Console& c, int row);
// cmdRunReport: the report of the ticked categories into lstSongList, the progress on the button.
// A press while a report runs is ignored.
void cmdRunReport_Click(core::Console& c);
// True from the press until the report stands in the grid.
bool reportRunning(const core::Console& c);

}  // namespace tw::reporting
