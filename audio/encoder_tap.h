#pragma once
// Where the audio callback hands the mix to an encoder: a ring of 16-bit stereo PCM at 44100 Hz.
// The callback only writes what fits; what does not fit is dropped and counted, so that a slow or
// dead encoder never holds the mix.
//
// Thread contract: the audio callback writes (offer), one feeder thread reads; the counters are
// atomics that any thread may read.

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#if defined(__SSE__)
#include <xmmintrin.h>
#endif

#include "audio/source.h"
#include "audio/spsc_ring.h"

namespace tw::audio {

// Two seconds of the mix wait for the program.
inline constexpr std::size_t kEncoderTapFrames = 2 * 44100;

struct EncoderTap {
    // On storage of `capacity` samples (ring_store.h).
    EncoderTap(RingStorage<std::int16_t> storage, std::size_t capacity)
        : samples(std::move(storage), capacity) {}

    // Audio thread: one block of interleaved 16-bit stereo, all of it or none.
    void offer(const std::int16_t* pcm, std::size_t frames) {
        if (samples.writable() < frames * kMixChannels) {
            droppedFrames.fetch_add(frames, std::memory_order_relaxed);
            return;
        }
        samples.write(pcm, frames * kMixChannels);
    }

    SpscRing<std::int16_t> samples;
    std::atomic<std::uint64_t> droppedFrames{0};
};

// Float to 16-bit PCM with clipping, as the encoders read it.
inline std::int16_t toPcm16(float v) {
    const float scaled = std::clamp(v, -1.0f, 1.0f) * 32767.0f;
#if defined(__SSE__)
    // lrintf's rounding in one instruction: the library call costs more than the mix itself.
    return static_cast<std::int16_t>(_mm_cvtss_si32(_mm_set_ss(scaled)));
#else
    return static_cast<std::int16_t>(std::lrintf(scaled));
#endif
}

}  // namespace tw::audio
