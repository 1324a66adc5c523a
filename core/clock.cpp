#include "core/clock.h"

#include <ctime>

namespace tw::core {

DateValue SystemClock::exact() const {
    timespec ts{};
    clock_gettime(CLOCK_REALTIME, &ts);
    return fromUnixTime(ts.tv_sec, ts.tv_nsec);
}

}  // namespace tw::core
