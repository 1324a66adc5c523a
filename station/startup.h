#pragma once
// Bringing the console up and down, and the settings it reads once at start.
//
// Thread contract: console thread only.

#include <cstdint>

#include "core/console.h"

namespace tw::station {

// The console's load event, in its fixed order. A failure stops the sequence, is logged as
// "loading Form..." and leaves the console in the state it reached.
void Form_Load(core::Console& c);
// The last step of start-up: selects a rotation and puts the first track on the air.
void firstLoad(core::Console& c);
// The console's unload event.
void Form_Unload(core::Console& c);

}  // namespace tw::station
