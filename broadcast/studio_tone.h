#pragma once
// The tone a failed connect sounds: 1000 Hz for one second on the studio output only (a stream
// played straight to the card, never through the mixer that the encoders take), never waited for.
//
// Thread contract: console thread only.

#include "core/console.h"

namespace tw::broadcast {

void playStudioTone(core::Console& c);

}  // namespace tw::broadcast
