#pragma once
// The record channels of one engine and the capture that feeds them.
//
// A record channel is a stream of the engine whose decoder reads what the capture delivered
// (LiveFeed). The hub hands every captured block, after the input volume, to each channel that
// records: into its feed while the channel is in a mix (the mixer then applies its effects and
// volume like any stream's), and through its own effects, volume and limiter to its callback when
// it has one (a take being recorded). The limiter is what keeps a take whose effects lift it past
// full scale from being cut flat in its 16-bit form; it holds the last 1.5 ms of a take back. A
// channel that is neither in a mix nor has a callback keeps no audio at all, so that channels left
// open cost next to nothing.
//
// Thread contract: captured() runs on the capture thread (or offline on the thread calling the
// engine's render()); every other member on the engine's console side. One mutex guards the
// channel list and each channel's state; callbacks run with it held, so after setRecording(false)
// or remove() returns no callback of that channel runs any more. A callback must not call the
// engine.

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "audio/capture_device.h"
#include "audio/decoder.h"
#include "audio/effects.h"
#include "audio/engine.h"
#include "audio/peak_limiter.h"
#include "audio/source.h"

namespace tw::audio {

// Captured 16-bit stereo audio on its way to a record channel's decoder: a bounded queue that
// exists only while the channel is in a mix. When it is full the oldest audio gives way, so that
// the delay of a live microphone never grows.
class LiveFeed {
  public:
    // Console side: allocates (open) or releases (close) the queue, dropping what it held.
    void open();
    void close();
    // Capture side.
    void push(const std::int16_t* stereo, std::size_t frames);
    // Decoder side: up to `frames` frames; 0 when there is nothing for now.
    std::size_t pop(std::int16_t* stereo, std::size_t frames);

  private:
    std::mutex mutex_;
    std::vector<std::int16_t> ring_;
    std::size_t head_ = 0;  // frame index of the oldest frame
    std::size_t count_ = 0;
};

// A record channel's decoder: 44100 Hz stereo without an end.
std::unique_ptr<Decoder> openLiveInput(std::shared_ptr<LiveFeed> feed);

class RecordHub final : public CaptureSink {
  public:
    enum class State { Playing, Paused, Stopped };

    struct Channel {
        Handle handle = 0;
        std::shared_ptr<Source> source;
        std::shared_ptr<LiveFeed> feed;
        RecordProc proc;
        FxChain fx;                              // with a callback: its effects, run here before it
        PeakLimiter limiter{kEncoderCeilingDb};  // with a callback: after the volume
        State state = State::Paused;
        bool inMix = false;
    };

    // `fed` is called (capture side, hub mutex held) after a block went into a feed.
    explicit RecordHub(std::function<void()> fed) : fed_(std::move(fed)) {}

    void captured(const float* stereo, std::size_t frames) override;

    // Console side.
    void add(std::shared_ptr<Channel> channel);
    void remove(Handle h);
    std::shared_ptr<Channel> find(Handle h);
    void setState(Handle h, State state);
    // The channel joins (true) or leaves a mix: its feed opens or closes.
    void setInMix(Handle h, bool inMix);
    // Effects of a channel with a callback; false when `h` has no callback (the mixer runs them).
    bool addFx(Handle h, Effect* fx, int priority);
    bool removeFx(Handle h, Effect* fx);
    bool resetFx(Handle h, Effect* fx);
    void setInputVolume(float v) { inputVolume_.store(v, std::memory_order_relaxed); }
    float inputVolume() const { return inputVolume_.load(std::memory_order_relaxed); }
    // True while any channel records: the capture must run.
    bool anyRecording();
    void clear();

  private:
    // mutex_ held: the channel of `h`, or only one with a callback; null when there is none.
    Channel* findLocked(Handle h);
    Channel* withCallbackLocked(Handle h);
    // Runs the channel's effects, volume and limiter on `block` (work_) and hands it to its
    // callback.
    void deliver(Channel& ch, float* block, std::size_t frames);

    std::function<void()> fed_;
    std::mutex mutex_;
    std::vector<std::shared_ptr<Channel>> channels_;
    std::atomic<float> inputVolume_{1.0f};
    std::vector<float> work_;
    std::vector<std::int16_t> pcm_;
};

}  // namespace tw::audio
