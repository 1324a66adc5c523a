#pragma once
// The one source of "now" for the console's logic. The application uses the system clock; the
// simulator and the tests use a virtual clock that moves only when they move it.
//
// Thread contract: now() may be called from any thread; VirtualClock::set/advance from the thread
// that drives the simulation.

#include <atomic>

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

class SystemClock final : public Clock {
  public:
    DateValue exact() const override;
};

class VirtualClock final : public Clock {
  public:
    explicit VirtualClock(DateValue start) : now_(start) {}
    DateValue exact() const override { return now_.load(std::memory_order_relaxed); }
    void set(DateValue d) { now_.store(d, std::memory_order_relaxed); }
    void advanceSeconds(double s) { set(exact() + s / 86400.0); }

  private:
    std::atomic<double> now_;
};

}  // namespace tw::core
