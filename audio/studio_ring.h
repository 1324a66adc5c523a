#pragma once
// The studio output's feed: the audio thread writes the share of each block that plays in the
// studio only (previews, studio samples), the studio card's own audio thread reads it. The two
// cards run on clocks of their own, so the ring absorbs the difference: a full ring drops what
// does not fit, an empty one gives silence.
//
// Thread contract: one writer (the engine's audio thread) and one reader (the studio device's
// thread) at a time, both wait-free; the ring lives as long as the engine.

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <vector>

#include "audio/output_device.h"
#include "audio/source.h"

namespace tw::audio {

class StudioRing final : public AudioProducer {
  public:
    // Room for `frames` stereo frames, rounded up to a power of two.
    explicit StudioRing(std::size_t frames) {
        std::size_t n = 1;
        while (n < frames) {
            n <<= 1;
        }
        buffer_.assign(n * kMixChannels, 0.0f);
        mask_ = n - 1;
    }

    // The audio thread.
    void write(const float* stereo, std::size_t frames) {
        const std::size_t head = head_.load(std::memory_order_relaxed);
        const std::size_t tail = tail_.load(std::memory_order_acquire);
        const std::size_t room = mask_ + 1 - (head - tail);
        const std::size_t n = std::min(frames, room);
        for (std::size_t i = 0; i < n; ++i) {
            const std::size_t at = ((head + i) & mask_) * kMixChannels;
            buffer_[at] = stereo[i * kMixChannels];
            buffer_[at + 1] = stereo[i * kMixChannels + 1];
        }
        head_.store(head + n, std::memory_order_release);
    }

    // The studio device's thread: `frames` frames, silence for what has not arrived. After a run
    // dry it waits for a few blocks to gather, so that it does not stutter block by block.
    void produce(float* out, std::size_t frames) override {
        const std::size_t tail = tail_.load(std::memory_order_relaxed);
        const std::size_t head = head_.load(std::memory_order_acquire);
        if (!primed_ && head - tail < kPrime) {
            std::fill(out, out + frames * kMixChannels, 0.0f);
            return;
        }
        primed_ = head - tail >= frames;
        const std::size_t n = std::min(frames, head - tail);
        for (std::size_t i = 0; i < n; ++i) {
            const std::size_t at = ((tail + i) & mask_) * kMixChannels;
            out[i * kMixChannels] = buffer_[at];
            out[i * kMixChannels + 1] = buffer_[at + 1];
        }
        std::fill(out + n * kMixChannels, out + frames * kMixChannels, 0.0f);
        tail_.store(tail + n, std::memory_order_release);
    }

    // Frames written and not yet read. Any thread.
    std::size_t queued() const {
        return head_.load(std::memory_order_acquire) - tail_.load(std::memory_order_acquire);
    }

  private:
    static constexpr std::size_t kPrime = 4096;  // about 90 ms

    std::vector<float> buffer_;
    bool primed_ = false;  // the reader's own
    std::size_t mask_ = 0;
    std::atomic<std::size_t> head_{0};
    std::atomic<std::size_t> tail_{0};
};

}  // namespace tw::audio
