#include "autodj/planner.h"

namespace tw::autodj {

void loadNextSong(core::Console& c, std::int16_t flag) {
    // Nothing to load until the running list can be built from rotations.
    (void)c;
    (void)flag;
}

}  // namespace tw::autodj
