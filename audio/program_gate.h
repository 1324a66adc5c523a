#pragma once
// Counts the encoder programs that have been told to end and are still running. A new encoder's
// program waits until they have gone, so that a reconnect (which ends an encoder and starts
// another at once) never runs two programs for one encoder, and twelve encoders never run more
// than twelve programs however often they are reconnected.
//
// Thread contract: any thread.

#include <condition_variable>
#include <mutex>
#include <stop_token>

namespace tw::audio {

class ProgramGate {
  public:
    void ending() {
        std::lock_guard lock(mutex_);
        ++ending_;
    }
    void ended() {
        {
            std::lock_guard lock(mutex_);
            --ending_;
        }
        gone_.notify_all();
    }
    bool open() const {
        std::lock_guard lock(mutex_);
        return ending_ == 0;
    }
    // Waits until no program is ending; false when stop came first.
    bool waitOpen(std::stop_token stop) {
        std::unique_lock lock(mutex_);
        return gone_.wait(lock, stop, [this] { return ending_ == 0; });
    }

  private:
    mutable std::mutex mutex_;
    std::condition_variable_any gone_;
    int ending_ = 0;
};

}  // namespace tw::audio
