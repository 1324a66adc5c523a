#pragma once
// The details panel of the track list: a track chosen in lstSongs shows its tag fields, its
// history line, its cue points and its waveform; the operator marks the cue points from the
// preview's clock and writes them, with the tag fields, into the track's own tag.
//
// Thread contract: console thread only (it uses the console's shared tag object).

#include <string>

#include "core/console.h"

namespace tw::autodj {

// The history line of a track: "Tune Outs:" ... " | Last Played:" ..., the tune-out share of the
// plays rounded to whole percent (0 for a track never played).
std::string historyLine(core::Console& c, const std::string& title);

// A click on row `row` of lstSongs; a row outside the list does nothing.
void lstSongs_Click(core::Console& c, int row);

// The panel's two pages: the tag fields ("Artist Info") or the cue points and sweepers ("More
// Info"); the chosen page's button is painted red, the other grey.
void showDetailsPage(core::Console& c, bool moreInfo);

// The four cue points of the panel, in the order of the cue text.
enum class CuePoint { Sweep, IntroEnd, OutroStart, NextStart };

// A press on a cue point's label: the right button clears the point; any other takes the preview's
// clock text and position when a preview runs. The tag is written in either case.
void markCuePoint(core::Console& c, CuePoint point, bool rightButton);

// "Update MP3 Tag": the panel's fields and cue text into the selected track's tag, then the cue
// markers drawn again from what the tag holds now.
void cmdUpdateTag_Click(core::Console& c);

// Draws the details panel's picture: the waveform of the track it shows (once measured) with its
// cue points over it. A running preview's own markers are left as they are.
void drawDetailsPicture(core::Console& c);

}  // namespace tw::autodj
