#pragma once
// Where the controls of frmCast stand (window pixels of its 560 x 470 design).
//
// Thread contract: console thread only.

#include "core/console.h"

namespace tw::desk {

void applyCastLayout(core::Console& c);

}  // namespace tw::desk
