#pragma once
// Lets objects go on a thread of its own: an object whose end waits (a program that must exit,
// a transfer that must time out) never holds the caller.
//
// Thread contract: drop() from any thread; the destructor waits for everything dropped.

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>

#include "audio/thread_name.h"

namespace tw::audio {

class Reaper {
  public:
    Reaper() = default;
    ~Reaper() {
        {
            std::lock_guard lock(mutex_);
            closing_ = true;
        }
        wake_.notify_all();
        if (thread_.joinable()) {
            thread_.join();
        }
    }
    Reaper(const Reaper&) = delete;
    Reaper& operator=(const Reaper&) = delete;

    void drop(std::shared_ptr<void> object) {
        if (!object) {
            return;
        }
        std::lock_guard lock(mutex_);
        queue_.push_back(std::move(object));
        if (!thread_.joinable()) {
            thread_ = std::thread([this] {
                nameThisThread("tw-reaper");
                run();
            });
        }
        wake_.notify_all();
    }

  private:
    void run() {
        std::unique_lock lock(mutex_);
        for (;;) {
            wake_.wait(lock, [this] { return closing_ || !queue_.empty(); });
            if (queue_.empty()) {
                return;  // closing, and nothing left
            }
            std::shared_ptr<void> object = std::move(queue_.front());
            queue_.pop_front();
            lock.unlock();
            object.reset();
            lock.lock();
        }
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::shared_ptr<void>> queue_;
    bool closing_ = false;
    std::thread thread_;
};

}  // namespace tw::audio
