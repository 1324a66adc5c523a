#pragma once
// The sampler's ten buttons.
//
// Thread contract: console thread only.

#include "core/console.h"

namespace tw::liveassist {

void loadSamples(core::Console& c);
void showSamples(core::Console& c);

}  // namespace tw::liveassist
