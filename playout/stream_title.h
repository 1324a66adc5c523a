#pragma once
// The title a stream address announces while it is on the air.
//
// Thread contract: console thread only.

#include "core/console.h"

namespace tw::playout {

// While the player on the air plays a stream address, a new title it announces goes on the
// player's label, becomes the current title and is sent to the servers; the same title again
// does nothing.
void showStreamTitle(core::Console& c);

}  // namespace tw::playout
