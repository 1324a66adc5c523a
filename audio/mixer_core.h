#pragma once
// The audio callback's side of the engine: it takes commands from the console's queue, mixes the
// sources' rings into the mixer bus and the card output, moves volumes and slides, measures levels,
// and reports streams that reached their end on the event queue.
//
// Thread contract: render() and everything it calls run on the audio thread only (the device
// callback, the timed silent device, or the thread calling the engine's render() offline); they are
// wait-free, never allocate, lock, log or do I/O. The accessors marked "any thread" read atomics.

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "audio/doorbell.h"
#include "audio/effects.h"
#include "audio/encoder_tap.h"
#include "audio/engine.h"
#include "audio/gain.h"
#include "audio/peak_limiter.h"
#include "audio/source.h"
#include "audio/spsc_ring.h"

namespace tw::audio {

class StudioRing;

struct Command {
    enum class Type : std::uint8_t {
        Attach,       // source starts playing from ring, to target, paused as flag, serial as count
        Detach,       // source leaves the mix
        SwapRing,     // source plays from ring from now on (after a seek)
        SetGain,      // gain takes value at once
        SlideGain,    // gain slides to value over count frames
        SetLoudness,  // source's loudness stage takes value
        SetPaused,    // source's pause flag is flag
        RunMixer,     // the mixer runs (flag) or stands
        AddTap,       // tap receives the mix from now on
        RemoveTap,    // tap receives nothing more
        AddFx,        // fx works on source (the mixer's output when null), priority as count
        RemoveFx,     // fx leaves source's chain
        ResetFx,      // fx forgets its state
    };
    Type type = Type::Detach;
    Source* source = nullptr;
    PlayRing* ring = nullptr;
    Gain* gain = nullptr;
    EncoderTap* tap = nullptr;
    Effect* fx = nullptr;
    float value = 0;
    std::int64_t count = 0;
    bool flag = false;
    Target target = Target::None;
};

struct Event {
    Handle stream = 0;         // the stream that reached its end
    std::uint32_t serial = 0;  // the attachment it ended in
};

inline constexpr std::size_t kMaxVoices = 128;
inline constexpr std::size_t kMaxTaps = 32;
inline constexpr std::size_t kMaxBlockFrames = 1024;

// Packs a peak pair the way channelGetLevel reports it: left low 16 bits, right high 16 bits.
std::uint32_t packLevel(float left, float right);

class MixerCore {
  public:
    // `news`, when given, is rung after a block that reported an end or took commands, so that
    // the engine's worker can sleep until there is something for it.
    MixerCore(SpscRing<Command>& commands, SpscRing<Event>& events, Doorbell* news = nullptr)
        : commands_(commands), events_(events), news_(news) {}

    // Audio thread only, wait-free. Writes `frames` interleaved stereo frames of the card output
    // (the mixer after its volume plus the playing streams) to `out`, unless it is null (nobody
    // hears the card: it is not made). `bus`, when given, receives the mixer before its volume.
    void render(float* out, std::size_t frames, float* bus = nullptr);

    // Any thread.
    std::uint64_t commandsDone() const { return done_.load(std::memory_order_acquire); }
    std::uint32_t mixerLevel() const { return mixerLevel_.load(std::memory_order_relaxed); }
    std::int64_t mixerFrames() const { return mixerFrames_.load(std::memory_order_relaxed); }
    Gain& mixerGain() { return mixerGain_; }
    // Where the sources that play straight out go: into `studio` (the studio card's feed), or,
    // with nullptr, onto the card with the mixer. Any thread; the ring must outlive the engine's
    // audio thread.
    void setStudio(StudioRing* studio) { studio_.store(studio, std::memory_order_release); }

    // Audio thread only, wait-free: applies the queued commands. render() starts with this; offline
    // the engine also calls it when the queue is full, being the audio thread itself.
    void takeCommands();

    // With the audio thread stopped only: forgets every voice (the engine is freeing them).
    void clear();

  private:
    struct Voice {
        Source* source;
        Target target;
        float peakL;
        float peakR;
    };

    void apply(const Command& c);
    std::size_t find(const Source* s) const;
    void remove(std::size_t index);
    // Adds one voice's block into dst; false when the voice has reached its end.
    bool mixVoice(Voice& v, float* dst, std::size_t frames);
    // Mixes every voice bound for `target` into dst, retiring those that ended.
    void mixTarget(Target target, float* dst, std::size_t frames);
    void renderChunk(float* out, float* bus, std::size_t frames);
    // Hands the block of the mix (before the mixer's volume) to every encoder, through the
    // limiter: what the master effects lift past full scale is brought under it, not cut flat.
    void feedTaps(std::size_t frames);

    SpscRing<Command>& commands_;
    SpscRing<Event>& events_;
    Doorbell* news_;
    bool newsDue_ = false;
    Voice voices_[kMaxVoices] = {};
    std::size_t voiceCount_ = 0;
    bool mixerRunning_ = false;
    Gain mixerGain_;
    float peakL_ = 0, peakR_ = 0;
    float mix_[kMaxBlockFrames * kMixChannels] = {};
    float card_[kMaxBlockFrames * kMixChannels] = {};
    float studioBlock_[kMaxBlockFrames * kMixChannels] = {};
    std::atomic<StudioRing*> studio_{nullptr};
    float take_[kMaxBlockFrames * kMixChannels] = {};
    FxChain mixerFx_;  // on the mixer's output, before its level and the encoders
    EncoderTap* taps_[kMaxTaps] = {};
    std::size_t tapCount_ = 0;
    // Only the encoders' copy of the mix goes through it (1.5 ms late): the bus, the level and
    // the card keep the mix as it is, to the sample.
    PeakLimiter tapLimiter_{kEncoderCeilingDb};
    float tapBlock_[kMaxBlockFrames * kMixChannels] = {};
    std::int16_t pcm_[kMaxBlockFrames * kMixChannels] = {};
    std::atomic<std::uint64_t> done_{0};
    std::atomic<std::uint32_t> mixerLevel_{0};
    std::atomic<std::int64_t> mixerFrames_{0};
};

}  // namespace tw::audio
