#pragma once
// Rotations and the running list.
//
// Thread contract: console thread only.

#include "core/console.h"

namespace tw::autodj {

void showRotationIcons(core::Console& c);
// Selecting a file in flRotations: builds the running list from it.
void flRotations_Click(core::Console& c);
// Withdraws the picks of the running list that never went on the air.
void clearPendingPicks(core::Console& c);

}  // namespace tw::autodj
