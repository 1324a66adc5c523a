#pragma once
// The speech voice, created once at start-up.
//
// Thread contract: console thread only.

#include "core/console.h"

namespace tw::liveassist {

void createVoice(core::Console& c);

}  // namespace tw::liveassist
