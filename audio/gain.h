#pragma once
// A volume that the audio callback moves sample by sample: set at once or slid linearly to a
// target.
//
// Thread contract: set(), slide() and next() are for the thread that consumes the engine's command
// queue (the audio callback, or the thread calling render() offline), wait-free. published() may be
// read from any thread.

#include <atomic>
#include <cstdint>

namespace tw::audio {

class Gain {
  public:
    void set(float value) {
        value_ = value;
        remaining_ = 0;
        published_.store(value, std::memory_order_relaxed);
    }

    // Moves linearly from the present value to `target` over `frames` frames.
    void slide(float target, std::int64_t frames) {
        if (frames <= 0) {
            set(target);
            return;
        }
        target_ = target;
        step_ = (static_cast<double>(target) - value_) / static_cast<double>(frames);
        remaining_ = frames;
    }

    // The factor for the next frame. A value below 0 is what a slide to a negative target passes
    // through: it is heard as silence, so that such a slide goes quiet early.
    float next() {
        if (remaining_ > 0) {
            moved_ = true;
            if (--remaining_ == 0) {
                value_ = target_;
            } else {
                value_ += step_;
            }
        }
        return value_ > 0.0 ? static_cast<float>(value_) : 0.0f;
    }

    // The factor for frames while it does not move (no slide running).
    bool steady() const { return remaining_ == 0; }
    float applied() const { return value_ > 0.0 ? static_cast<float>(value_) : 0.0f; }

    // After a block, make the value visible to channelGetAttribute.
    // Only a value that a slide moved is published: a steady one would overwrite what the console
    // has just announced and the audio thread has not taken yet.
    void publish() {
        if (moved_) {
            published_.store(static_cast<float>(value_), std::memory_order_relaxed);
            moved_ = false;
        }
    }
    // Any thread.
    float published() const { return published_.load(std::memory_order_relaxed); }
    // Console thread: shows a value the console has just asked for before the callback takes it.
    void announce(float value) { published_.store(value, std::memory_order_relaxed); }

  private:
    // Double, so that tens of thousands of steps add up to the target without drift.
    double value_ = 1.0;
    float target_ = 1.0f;
    double step_ = 0.0;
    std::int64_t remaining_ = 0;
    bool moved_ = false;
    std::atomic<float> published_{1.0f};
};

}  // namespace tw::audio
