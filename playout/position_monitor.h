#pragma once
// The console's beat: every 60 ms it decides whether the next track starts, fires sweepers over
// intros, restarts a player that stopped, repaints the clock, the time-left labels and the bars,
// and every 100 ticks polls the servers and the schedule.
//
// Thread contract: console thread only.

#include "core/console.h"

namespace tw::playout {

// The periodic timer's callback: runs the tick while the gate is open.
void onPositionTimer(core::Console& c);

// One tick. Does nothing while tmrCheckPositionBool is false.
void tmrCheckPosition_Timer(core::Console& c);

// Dead-air watch and level meters: the first part of each tick.
void updateLevels(core::Console& c);

}  // namespace tw::playout
