#include "core/clock.h"

#include <algorithm>
#include <cmath>
#include <ctime>

namespace tw::core {

DateValue LocalSecondMemo::at(std::time_t t, long nanoseconds) const {
    std::unique_lock lock(mutex_, std::try_to_lock);
    if (!lock.owns_lock()) {
        return fromUnixTime(t, nanoseconds);
    }
    if (t != second_) {
        local_ = localSecond(t);
        second_ = t;
    }
    return fromLocalSecond(local_, nanoseconds);
}

DateValue SystemClock::exact() const {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return memo_.at(ts.tv_sec, ts.tv_nsec);
}

DateValue VirtualClock::exact() const {
    const std::int64_t micros = unixMicros();
    std::int64_t seconds = micros / 1000000;
    std::int64_t rest = micros % 1000000;
    if (rest < 0) {
        rest += 1000000;
        seconds -= 1;
    }
    return memo_.at(static_cast<std::time_t>(seconds), static_cast<long>(rest * 1000));
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
