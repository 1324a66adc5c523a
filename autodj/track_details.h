#pragma once
// The details panel of the track list: a track chosen in lstSongs shows its tag fields, its
// history line and its cue points.
//
// Thread contract: console thread only (it uses the console's shared tag object).

#include "core/console.h"

namespace tw::autodj {

// A click on row `row` of lstSongs; a row outside the list does nothing.
void lstSongs_Click(core::Console& c, int row);

}  // namespace tw::autodj
