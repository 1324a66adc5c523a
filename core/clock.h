#pragma once
// The one source of "now" for the console's logic. The application uses the system clock; the
// simulator and the tests use a virtual clock that moves only when they move it.
//
// Thread contract: now() may be called from any thread; VirtualClock::set/advance from the thread
// that drives the simulation.

#include <atomic>
#include <cstdint>
#include <ctime>
#include <limits>
#include <mutex>

#include "core/dates.h"

namespace tw::core {

class Clock {
  public:
    virtual ~Clock() = default;
    // The present date and time, local time, with the fraction of the second.
    virtual DateValue exact() const = 0;
    // The present date and time to the whole second, as dates are written and shown.
    DateValue now() const { return wholeSeconds(exact()); }
    // Seconds since midnight, with the fraction of the second. Falls back to 0 at midnight,
    // which the throttled yield depends on.
    double timer() const { return secondsSinceMidnight(exact()); }
};

// The local calendar of the last second a clock was read in. A clock is read many times a second
// (the throttled yield reads it at every candidate of a pick), and working out the calendar
// (localtime_r) was most of each read: now it is worked out once a second. The value is exactly
// fromUnixTime's. A change of the process's time zone (TZ and tzset) is seen from the next second.
//
// Thread contract: any thread. A reader that finds the memo in use by another thread works its
// second out itself rather than wait.
class LocalSecondMemo {
  public:
    DateValue at(std::time_t t, long nanoseconds) const;

  private:
    mutable std::mutex mutex_;
    mutable std::time_t second_ = std::numeric_limits<std::time_t>::min();
    mutable LocalSecond local_;
};

class SystemClock final : public Clock {
  public:
    DateValue exact() const override;

  private:
    LocalSecondMemo memo_;
};

// Virtual time runs as real time does: as microseconds since the epoch, shown as local time in the
// process's time zone. So a virtual day across a change of summer time has 23 or 25 hours on the
// clock, as the system clock would show them.
class VirtualClock final : public Clock {
  public:
    explicit VirtualClock(DateValue start) : micros_(unixMicros(start)) {}
    DateValue exact() const override;
    // A local date and time; one that the change to summer time skips is read as the hour after.
    void set(DateValue d) { micros_.store(unixMicros(d), std::memory_order_relaxed); }
    void advanceSeconds(double s);
    std::int64_t unixMicros() const { return micros_.load(std::memory_order_relaxed); }
    void setUnixMicros(std::int64_t micros) { micros_.store(micros, std::memory_order_relaxed); }

  private:
    static std::int64_t unixMicros(DateValue local);
    std::atomic<std::int64_t> micros_;
    LocalSecondMemo memo_;
};

}  // namespace tw::core
