#include "autodj/rotations.h"

namespace tw::autodj {

void showRotationIcons(core::Console& c) {
    (void)c;
}

void flRotations_Click(core::Console& c) {
    // Rotation files are read with the running list; until then a selection builds nothing.
    (void)c;
}

void clearPendingPicks(core::Console& c) {
    (void)c;
}

}  // namespace tw::autodj
