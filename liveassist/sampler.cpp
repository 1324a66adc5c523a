#include "liveassist/sampler.h"

namespace tw::liveassist {

// The sampler's slots are read and painted once the sampler is in place.
void loadSamples(core::Console& c) {
    (void)c;
}
void showSamples(core::Console& c) {
    (void)c;
}

}  // namespace tw::liveassist
