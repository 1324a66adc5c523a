#pragma once
// The operator's hands on the two players: skip, pause and first start, eject, fade, re-pick, seek
// on the bars and mute. Each is a small action on the state the tick reads; the tick sees the
// result on its next pass.
//
// Thread contract: console thread only.

#include <string>

#include "core/console.h"

namespace tw::playout {

// cmdSkipNow: the next track now, and in automatic mode the one after it loaded.
void cmdSkipNow_Click(core::Console& c);
// cmdAutoManual: swaps "Automated" and "Manual". Nothing else happens at once.
void cmdAutoManual_Click(core::Console& c);
// cmdPausePlay1/2: pauses or resumes player n in the mixer; with nothing on the air yet it is
// the first start by hand.
void pausePlay(core::Console& c, int n);
// cmdEject1/2: frees player n's stream without letting its end load another track.
void eject(core::Console& c, int n);
// cmdFadeOut1/2: fades player n out over one crossfade, with no load to follow.
void fadeOut(core::Console& c, int n);
// Mouse down on pctPlayer1/2 with the left button at x: seeks player n.
void seekPlayer(core::Console& c, int n, double x);
// cmdMute: silences the studio output (the casts keep their feed).
void cmdMute_Click(core::Console& c);
// Drops on a player's button (lblplayer1, lblPlayer2), taken only while that player is not on the
// air. An element dragged in "Move to Player" mode brings its tool tip, the path of its file; a row
// dragged from a track list brings its text, which names the file among the listed tracks.
void dropElementOnPlayer(core::Console& c, int n, const std::string& toolTip);
void dropTrackOnPlayer(core::Console& c, int n, const std::string& rowText);
// A key released anywhere on the console: F9 skips, F10 re-picks player 1's track.
void keyUp(core::Console& c, int keyCode);

}  // namespace tw::playout
