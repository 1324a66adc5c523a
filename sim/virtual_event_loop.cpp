#include "sim/virtual_event_loop.h"

#include <cmath>
#include <limits>

namespace tw::sim {

VirtualEventLoop::VirtualEventLoop(core::VirtualClock& clock)
    : clock_(clock), start_(clock.unixMicros()) {}

int VirtualEventLoop::startTimer(int intervalMs, std::function<void()> callback) {
    const int id = nextId_++;
    Timer t;
    t.interval = std::max<std::int64_t>(1, intervalMs) * 1000;
    t.due = now_ + t.interval;
    t.callback = std::move(callback);
    timers_.emplace(id, std::move(t));
    return id;
}

void VirtualEventLoop::stopTimer(int id) {
    timers_.erase(id);
}

void VirtualEventLoop::post(std::function<void()> work) {
    std::lock_guard<std::mutex> lock(postedMutex_);
    posted_.push_back(std::move(work));
}

void VirtualEventLoop::runEvent(const std::function<void()>& fn) {
    if (wrapEvent) {
        wrapEvent(fn);
    } else {
        fn();
    }
}

void VirtualEventLoop::processPending() {
    std::vector<std::function<void()>> work;
    {
        std::lock_guard<std::mutex> lock(postedMutex_);
        work.swap(posted_);
    }
    for (auto& w : work) {
        runEvent(w);
    }
}

void VirtualEventLoop::moveTo(std::int64_t micros) {
    if (micros > now_ && beforeStep) {
        beforeStep(micros - now_);
    }
    now_ = micros;
    clock_.setUnixMicros(start_ + now_);
}

void VirtualEventLoop::advance(double seconds) {
    const std::int64_t target = now_ + static_cast<std::int64_t>(std::llround(seconds * 1e6));
    while (true) {
        processPending();
        int nextId = 0;
        std::int64_t nextDue = std::numeric_limits<std::int64_t>::max();
        for (const auto& [id, t] : timers_) {
            if (t.due < nextDue) {
                nextDue = t.due;
                nextId = id;
            }
        }
        if (nextId == 0 || nextDue > target) {
            break;
        }
        moveTo(nextDue);
        auto it = timers_.find(nextId);
        it->second.due += it->second.interval;
        // The callback may stop or start timers, its own included.
        std::function<void()> callback = it->second.callback;
        runEvent(callback);
    }
    moveTo(target);
    processPending();
}

}  // namespace tw::sim
