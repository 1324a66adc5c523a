#include "broadcast/cast_form.h"

#include "core/console_ops.h"
#include "core/text.h"

namespace tw::broadcast {

namespace {

std::string profileSection(int index) {
    return index <= 0 ? std::string("Shoutcast") : "Shoutcast" + std::to_string(index);
}

}  // namespace

// The cast session is not in place yet: no server answers, and a start connects nothing. The
// profiles' switches are read from the settings, where the first encoder is on unless told
// otherwise.
bool getEncoderEnabled(core::Console& c, int index) {
    const std::string v = core::trim(core::readIni(c, c.appSettingsPath(), profileSection(index),
                                                   "Enabled", index == 0 ? "1" : "0"));
    return v == "1" || core::equalsNoCase(v, "true");
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
