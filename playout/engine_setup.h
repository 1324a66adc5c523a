#pragma once
// Bringing the audio engine up: the device, the update period and buffer, and the one mixer.
//
// Thread contract: console thread only.

#include "core/console.h"

namespace tw::playout {

void startServer(core::Console& c);

}  // namespace tw::playout
