#pragma once
// Putting a track on the air, and fadeTimer, which carries the end of an outgoing stream from the
// engine's thread to the console thread.
//
// Thread contract: console thread only.

#include "core/console.h"

namespace tw::playout {

void startNExt(core::Console& c);

// One tick of fadeTimer: in "Automated" mode it loads the empty player and switches itself off;
// in "Manual" it waits, still enabled.
void fadeTimer_Timer(core::Console& c);

}  // namespace tw::playout
