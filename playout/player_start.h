#pragma once
// Putting a track on the air: startNExt swaps the active player, fades the outgoing track, adds
// the waiting stream to the mixer, records the play and sends the title to the casts. The free
// sync of the incoming stream and fadeTimer close the circle: when the stream is gone, the now
// empty player is loaded on the console thread.
//
// Thread contract: console thread only, but for the free sync's callback, which runs on an engine
// thread and only posts to the console thread.

#include "core/console.h"

namespace tw::playout {

void startNExt(core::Console& c);

// One tick of fadeTimer: in "Automated" mode it loads the empty player (never over a track that
// waits for its start on the player that is not active) and switches itself off;
// in "Manual" it waits, still enabled.
void fadeTimer_Timer(core::Console& c);

// Sets the volume of both players at once.
void setPlayersVolume(core::Console& c, float value);
// Slides both players to half volume over a second, and back to full; a player with no stream is
// passed over.
void duckPlayers(core::Console& c);
void restorePlayers(core::Console& c);

}  // namespace tw::playout
