#pragma once
// The console thread's event loop as the logic sees it: periodic timers, work posted from other
// threads, and the yield that lets pending events run in the middle of a long operation.
// The application implements it on Qt's event loop; the simulator in virtual time.

#include <functional>

namespace tw::core {

class EventLoop {
  public:
    virtual ~EventLoop() = default;
    // Starts a periodic timer; its callback runs on the console thread. Returns its id (> 0).
    // Console thread only.
    virtual int startTimer(int intervalMs, std::function<void()> callback) = 0;
    // Stops a timer; an unknown id is ignored. Console thread only.
    virtual void stopTimer(int id) = 0;
    // Queues work for the console thread. Any thread.
    virtual void post(std::function<void()> work) = 0;
    // Lets the events that are due run now (posted work, timers). Console thread only.
    virtual void processPending() = 0;
};

}  // namespace tw::core
