#include "core/clock.h"

#include <algorithm>
#include <cmath>
#include <ctime>

namespace tw::core {

DateValue SystemClock::exact() const {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return fromUnixTime(ts.tv_sec, ts.tv_nsec);
}

DateValue VirtualClock::exact() const {
    const std::int64_t micros = unixMicros();
    std::int64_t seconds = micros / 1000000;
    std::int64_t rest = micros % 1000000;
    if (rest < 0) {
        rest += 1000000;
        seconds -= 1;
    }
    return fromUnixTime(static_cast<std::time_t>(seconds), static_cast<long>(rest * 1000));
}

void VirtualClock::advanceSeconds(double s) {
    micros_.fetch_add(static_cast<std::int64_t>(std::llround(s * 1e6)), std::memory_order_relaxed);
}

std::int64_t VirtualClock::unixMicros(DateValue local) {
    const DateValue whole = wholeSeconds(local);
    const double fraction = std::max(0.0, (local - whole) * 86400.0);
    return static_cast<std::int64_t>(toUnixTime(whole)) * 1000000 +
           static_cast<std::int64_t>(std::llround(fraction * 1e6));
}

}  // namespace tw::core
