#pragma once
// The console's event loop in virtual time, for the simulator and the tests. Timers fire in the
// order of their due times; between two events the owner is told how much virtual time passes, so
// that an offline engine can render exactly that much audio. The same run gives the same result
// every time.
//
// Thread contract: advance, startTimer, stopTimer and processPending on the driving thread only;
// post from any thread.

#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <vector>

#include "core/clock.h"
#include "core/event_loop.h"

namespace tw::sim {

class VirtualEventLoop final : public core::EventLoop {
  public:
    explicit VirtualEventLoop(core::VirtualClock& clock);

    int startTimer(int intervalMs, std::function<void()> callback) override;
    void stopTimer(int id) override;
    void post(std::function<void()> work) override;
    void processPending() override;

    // Moves virtual time on by seconds, running every timer that falls due on the way.
    void advance(double seconds);
    // Called with the microseconds of virtual time about to pass, before the clock moves.
    std::function<void(std::int64_t micros)> beforeStep;
    // Runs around every timer callback and posted task (the console's event scope).
    std::function<void(const std::function<void()>&)> wrapEvent;

    std::int64_t elapsedMicros() const { return now_; }
    bool timerActive(int id) const { return timers_.count(id) != 0; }
    std::size_t timerCount() const { return timers_.size(); }

  private:
    struct Timer {
        std::int64_t interval = 0;
        std::int64_t due = 0;
        std::function<void()> callback;
    };
    void moveTo(std::int64_t micros);
    void runEvent(const std::function<void()>& fn);

    core::VirtualClock& clock_;
    std::int64_t start_;  // the clock's microseconds since the epoch at the start
    std::int64_t now_ = 0;
    int nextId_ = 1;
    std::map<int, Timer> timers_;
    std::mutex postedMutex_;
    std::vector<std::function<void()>> posted_;
};

}  // namespace tw::sim
