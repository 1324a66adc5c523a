#include "broadcast/cast_form.h"

namespace tw::broadcast {

// The encoder profiles and the cast session are not in place yet: no encoder is enabled, no
// server answers, and a start connects nothing.
bool getEncoderEnabled(core::Console& c, int index) {
    (void)c;
    (void)index;
    return false;
}

bool getStationAutoReConnect(core::Console& c, int index) {
    (void)c;
    (void)index;
    return false;
}

std::string checkStats(core::Console& c, int index, std::int32_t& listeners) {
    (void)c;
    (void)index;
    (void)listeners;
    return {};
}

void start(core::Console& c) {
    (void)c;
}

}  // namespace tw::broadcast
