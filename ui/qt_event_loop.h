#pragma once
// The console thread's event loop on Qt: timers are QTimers (precise) and posted work is a queued
// call, both delivered by the Qt event loop of the thread that constructs this object, which is the
// console thread.
//
// Thread contract: construct, startTimer, stopTimer, processPending and destroy on the console
// thread only; post from any thread, as long as the loop outlives the call (work still queued when
// the loop is destroyed is dropped, never run).

#include <QObject>
#include <QTimer>
#include <cstddef>
#include <functional>
#include <map>

#include "core/event_loop.h"

namespace tw::ui {

class QtEventLoop final : public core::EventLoop {
  public:
    // Runs around every timer callback and posted task (the console's event scope).
    using EventWrapper = std::function<void(const std::function<void()>&)>;

    explicit QtEventLoop(EventWrapper wrapEvent = {});
    ~QtEventLoop() override;
    QtEventLoop(const QtEventLoop&) = delete;
    QtEventLoop& operator=(const QtEventLoop&) = delete;

    int startTimer(int intervalMs, std::function<void()> callback) override;
    void stopTimer(int id) override;
    void post(std::function<void()> work) override;
    void processPending() override;

    bool timerActive(int id) const { return timers_.count(id) != 0; }
    std::size_t timerCount() const { return timers_.size(); }

  private:
    struct Timer {
        QTimer* timer = nullptr;  // owned by context_, deleted late (it may be mid-signal)
        bool running = false;     // its callback is on the stack
    };
    void fire(int id, const std::function<void()>& callback);
    void runEvent(const std::function<void()>& fn);

    EventWrapper wrapEvent_;
    // Lives on the console thread: queued calls to it run there, and it parents every timer.
    QObject context_;
    std::map<int, Timer> timers_;
    int nextId_ = 1;
};

}  // namespace tw::ui
