#pragma once
// The week schedule of rotations and playlists.
//
// Thread contract: console thread only.

#include "core/console.h"

namespace tw::autodj {

// True when it switched the running list.
bool checkRotationSchedule(core::Console& c);

}  // namespace tw::autodj
