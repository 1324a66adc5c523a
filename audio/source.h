#pragma once
// One stream of the engine: its decoder, the resampler that brings it to the mixer's format, the
// ring the read-ahead fills, and the state the audio callback keeps for it.
//
// The fields are grouped by the thread that owns them; each group says who may touch it.

#include <soxr.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "audio/decoder.h"
#include "audio/effects.h"
#include "audio/engine.h"
#include "audio/gain.h"
#include "audio/ring_store.h"
#include "audio/spsc_ring.h"

namespace tw::audio {

inline constexpr int kMixRate = 44100;
inline constexpr int kMixChannels = 2;

// The one format the mixer and the record channels work in: 44100 Hz stereo.
inline bool isMixFormat(std::uint32_t freq, std::uint32_t chans) {
    return freq == static_cast<std::uint32_t>(kMixRate) &&
           chans == static_cast<std::uint32_t>(kMixChannels);
}

// The mixer-format audio of one stretch of a stream, from one position on. Every seek and every
// (re)start gets a fresh ring, so that the callback never plays audio from before the seek.
struct PlayRing {
    // On storage of `capacity` samples (ring_store.h).
    PlayRing(std::int64_t base, RingStorage<float> storage, std::size_t capacity)
        : samples(std::move(storage), capacity), baseFrame(base) {}

    SpscRing<float> samples;             // interleaved stereo at 44100 Hz
    const std::int64_t baseFrame;        // the source frame the ring starts at
    std::atomic<std::int64_t> taken{0};  // mixer frames the callback has taken (callback writes)
    std::atomic<bool> complete{false};   // the producer has written the stream's last frame
};

enum class Target : std::uint8_t { None, Mixer, Direct };

struct Source {
    Source(std::unique_ptr<Decoder> d, std::uint32_t createFlags);
    ~Source();
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    // --- immutable after creation: any thread ---------------------------------------------------
    Handle handle = 0;  // set once, before the stream is ever given to another thread
    const std::uint32_t flags;
    const int rate;
    const int channels;
    const std::int64_t lengthFrames;  // -1 for a stream address

    // --- console side: guarded by the engine's API mutex ---------------------------------------
    Target target = Target::None;
    float loudness = 1.0f;  // what the console last gave the loudness stage
    std::uint32_t mixerFlags = 0;
    std::uint32_t attachSerial = 0;  // which attachment an end event belongs to
    bool ended = false;              // reached its end (and was not moved since)
    bool endSyncSent = false;        // channelGetData's end is reported once

    // --- producer side: guarded by decodeMutex (read-ahead worker, or the console) --------------
    std::mutex decodeMutex;
    std::unique_ptr<Decoder> decoder;
    // The ring being filled; null before the first start. Replaced only by the console thread,
    // holding the API mutex as well, so the console may read it under either.
    std::shared_ptr<PlayRing> ring;
    // The decoder's position in source frames; written under decodeMutex, read by the console
    // without it (the position never waits for a decode in progress).
    std::atomic<std::int64_t> decodePos{0};

    // Opens a fresh ring from `store` at `frame`, seeking the decoder there when it is elsewhere.
    // Returns the new ring (the old one is the caller's to retire). decodeMutex held.
    std::shared_ptr<PlayRing> restartAt(std::int64_t frame, RingStore<float>& store);
    // Decodes into the current ring until it holds `wantFrames` mixer frames, the stream is
    // complete, or the decoder has nothing for now; decodes at most `maxChunks` chunks (0: no
    // limit), so that the lock is never held long. True while there is more to do. decodeMutex
    // held.
    bool fill(std::size_t wantFrames, std::size_t maxChunks = 0);
    // Source frame that the position reports: what the mixer took from the current ring, or the
    // decoder's position when the stream has never played. The API mutex or decodeMutex held.
    std::int64_t position() const;

    // --- audio callback side: touched only by the command consumer ------------------------------
    Gain gain;
    float cbLoudness = 1.0f;  // the loudness stage, under the gain
    FxChain cbFx;
    PlayRing* cbRing = nullptr;
    bool cbPaused = false;
    std::uint32_t cbSerial = 0;
    std::atomic<std::uint32_t> level{0};  // packed peak of the latest block, read by any thread
    // The latest block found the ring dry before the stream's end: playback waits for data.
    std::atomic<bool> stalled{false};

  private:
    // The mixer-format frames of a stream at the mix rate, or the resampler's input: one float a
    // frame for a mono stream that is resampled, interleaved stereo otherwise.
    void convert(const std::int16_t* in, std::size_t frames);
    // Puts `frames` frames of mixer-format audio into the ring, what does not fit into carry_.
    void keep(const float* stereo, std::size_t frames);
    // The same for `frames` frames of the resampler's output (at most kResampledFrames).
    void keepResampled(const float* out, std::size_t frames);
    soxr_t resampler_ = nullptr;
    std::size_t resampledChannels_ = kMixChannels;  // what the resampler works on
    std::vector<std::int16_t> pcm_;
    std::vector<float> stereo_;
    std::vector<float> carry_;  // converted audio that did not fit in the ring yet
    std::size_t carryPos_ = 0;
    bool flushed_ = false;
};

}  // namespace tw::audio
