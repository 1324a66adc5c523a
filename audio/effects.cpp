#include "audio/effects.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numbers>
#include <vector>

#include "audio/db_math.h"
#include "audio/peaking_eq.h"
#include "audio/source.h"

namespace tw::audio {

namespace {

constexpr float kRate = static_cast<float>(kMixRate);

float dbToGain(float db) {
    return std::pow(10.0f, db / 20.0f);
}

// One time constant's smoothing factor per sample: after `ms` a step has come 1 - 1/e of the way.
float smoothing(float ms) {
    return ms <= 0 ? 0.0f : std::exp(-1.0f / (ms / 1000.0f * kRate));
}

// The peaking biquad of the audio EQ cookbook: at the centre exactly `gain` dB, the bandwidth in
// octaves between the points of half the gain in dB.
//
// The filter works in double, both channels at once. In float, a narrow band at a low centre
// rings with its own rounding: its poles sit a hair from 1, and the error of every step is
// raised by the resonance (at 80 Hz and a sixth of an octave, the master chain's, a float filter
// is -69 dB from the exact one on a sine sweep; this one is under -140 dB). Each frame
// waits only for one multiplication and one subtraction on the frame before: the term of the
// output two frames back is taken first.
class ParamEqEffect final : public Effect {
  public:
    ParamEqEffect() : Effect(kFxParamEq) { configure({1000, 12, 0, 0, 0, 0}); }
    void reset() override { state_ = {}; }

  private:
    using D2 = double __attribute__((vector_size(16)));  // left, right

    struct State {
        D2 x1{}, x2{}, y1{}, y2{};
    };
    void configure(const float (&p)[kParams]) override { eq_ = peakingEqOf(p[0], p[1], p[2]); }
    void run(float* x, std::size_t frames) override {
        // The state and coefficients are held in locals for the block: written through `x`,
        // members would have to be stored and read back at every sample.
        const double b0 = eq_.b0, b1 = eq_.b1, b2 = eq_.b2, a1 = eq_.a1, a2 = eq_.a2;
        State s = state_;
        for (std::size_t i = 0; i < frames; ++i) {
            const D2 in{x[2 * i], x[2 * i + 1]};
            const D2 out = (b0 * in + b1 * s.x1 + b2 * s.x2 - a2 * s.y2) - a1 * s.y1;
            s = {in, s.x1, out, s.y1};
            x[2 * i] = static_cast<float>(out[0]);
            x[2 * i + 1] = static_cast<float>(out[1]);
        }
        // After the sound stops, the filter rings down towards zero without reaching it: its
        // output would sink into subnormal floats, where every multiply on them is many times
        // slower, for as long as the silence lasts. A state this far below anything audible
        // (-300 dB) is silence already.
        state_ = negligible(s) ? State{} : s;
    }
    static bool negligible(const State& s) {
        constexpr double kTiny = 1e-15;
        for (const D2& v : {s.x1, s.x2, s.y1, s.y2}) {
            if (std::fabs(v[0]) >= kTiny || std::fabs(v[1]) >= kTiny) {
                return false;
            }
        }
        return true;
    }
    PeakingEq eq_;
    State state_;
};

// A feed-forward compressor with a hard knee: above the threshold the level rises by 1/ratio of
// the input's rise. The gain reduction follows its target with the attack time constant while it
// grows and the release time constant while it shrinks; the audio is delayed by the look-ahead.
class CompressorEffect final : public Effect {
  public:
    static constexpr std::size_t kMaxDelay = 4096;  // frames of look-ahead, 93 ms

    CompressorEffect() : Effect(kFxCompressor), line_(kMaxDelay * 2, 0.0f) {
        configure({0, 10, 200, -20, 3, 4});
    }
    void reset() override {
        std::fill(line_.begin(), line_.end(), 0.0f);
        reductionDb_ = 0;
        pos_ = 0;
    }

  private:
    void configure(const float (&p)[kParams]) override {
        makeUp_ = p[0];
        attack_ = smoothing(p[1]);
        release_ = smoothing(p[2]);
        releaseOverBlock_ = std::pow(release_, static_cast<float>(kControl));
        threshold_ = p[3];
        slope_ = 1.0f - 1.0f / std::max(1.0f, p[4]);
        delay_ = std::min<std::size_t>(
            kMaxDelay - 1, static_cast<std::size_t>(std::max(0.0f, p[5]) / 1000 * kRate));
        // The level is measured from -180 dB (1e-9) up; a threshold below that is crossed by
        // every frame, silence included.
        gate_ = threshold_ <= kFloorDb ? -1.0f : dbToGain(threshold_);
    }
    void run(float* x, std::size_t frames) override {
        if (delay_ == 0) {
            // Without look-ahead the line is only kept, for a look-ahead set later: the whole
            // block at once rather than in the control steps' pieces.
            keep(x, frames);
        }
        for (std::size_t at = 0; at < frames; at += kControl) {
            runControl(x + 2 * at, std::min(kControl, frames - at));
        }
        // Released towards zero, the reduction would end up a subnormal number that the release
        // no longer changes, and every frame's arithmetic on it would be many times slower until
        // the next loud passage. A reduction this small (under 1e-12 dB) is none.
        if (reductionDb_ < 1e-12f) {
            reductionDb_ = 0.0f;
        }
    }
    // Up to kControl frames. While no frame of them is over the threshold, the reduction only
    // releases, smoothly over hundreds of frames: the gain is computed at their ends and drawn
    // straight in between (within 1e-5 of the exact curve even at 20 dB of reduction). Frames
    // over the threshold, where the attack can move the gain within a few frames, have their
    // gain each.
    void runControl(float* x, std::size_t frames) {
        // Members in locals: written through `x`, they would be stored and read back at every
        // frame.
        const float attack = attack_, release = release_;
        const float makeUp = makeUp_, gate = gate_;
        float reduction = reductionDb_;
        // Each frame's peak, and whether any is over the threshold by the largest of them, in
        // two running maxima (a NaN is never taken: it is over nothing).
        float peaks[kControl];
        float even = 0, odd = 0;
        std::size_t f = 0;
        for (; f + 2 <= frames; f += 2) {
            peaks[f] = std::max(std::fabs(x[2 * f]), std::fabs(x[2 * f + 1]));
            peaks[f + 1] = std::max(std::fabs(x[2 * f + 2]), std::fabs(x[2 * f + 3]));
            even = std::max(even, peaks[f]);
            odd = std::max(odd, peaks[f + 1]);
        }
        if (f < frames) {
            peaks[f] = std::max(std::fabs(x[2 * f]), std::fabs(x[2 * f + 1]));
            even = std::max(even, peaks[f]);
        }
        const bool over = std::max(even, odd) > gate;
        // The gain of every frame, in octaves until the last step.
        float gains[kControl];
        if (!over) {
            const float from = (makeUp - reduction) * kOctavesPerDb;
            if (reduction == 0) {
                std::fill(gains, gains + frames, exp2Fast(from));
            } else {
                // With no target each frame's step is the release's factor alone: a whole
                // block's is its power.
                if (frames == kControl) {
                    reduction *= releaseOverBlock_;
                } else {
                    for (std::size_t i = 0; i < frames; ++i) {
                        reduction *= release;
                    }
                }
                const float g0 = exp2Fast(from);
                const float slopePerFrame = (exp2Fast((makeUp - reduction) * kOctavesPerDb) - g0) /
                                            static_cast<float>(frames);
                for (std::size_t i = 0; i < frames; ++i) {
                    gains[i] = g0 + slopePerFrame * static_cast<float>(i + 1);
                }
            }
        } else {
            // The targets of all the frames at once, then the reduction frame by frame: each
            // step towards the target by the attack's factor while the target is above the
            // reduction, by the release's otherwise. The target's share of each step is computed
            // beforehand, so that a frame waits only for a multiplication and an addition on the
            // frame before.
            float targets[kControl];
            targetsOf(peaks, targets, frames);
            const float attackRest = 1.0f - attack, releaseRest = 1.0f - release;
            for (std::size_t i = 0; i < frames; ++i) {
                const float target = targets[i];
                reduction = target > reduction ? attack * reduction + attackRest * target
                                               : release * reduction + releaseRest * target;
                gains[i] = (makeUp - reduction) * kOctavesPerDb;
            }
            exp2Block(gains, frames);
        }
        emit(x, frames, gains);
        reductionDb_ = reduction;
    }
    // The reduction each frame's peak asks for, in dB: none for a peak at or under the
    // threshold (its level is not needed), above it the level's excess times the slope. Four
    // frames at a time.
    void targetsOf(const float* peaks, float* targets, std::size_t frames) const {
        for (std::size_t i = 0; i < frames; ++i) {
            targets[i] = std::max(peaks[i], 1e-9f);
        }
        log2Block(targets, frames);
        using F4 = float __attribute__((vector_size(16)));
        const float gate = gate_, threshold = threshold_, slope = slope_;
        std::size_t i = 0;
        for (; i + 4 <= frames; i += 4) {
            F4 peak, level;
            std::memcpy(&peak, peaks + i, sizeof peak);
            std::memcpy(&level, targets + i, sizeof level);
            F4 excess = kDbPerOctave * level - threshold;
            excess = excess > 0.0f ? excess : 0.0f;
            const F4 target = peak > gate ? excess * slope : 0.0f;
            std::memcpy(targets + i, &target, sizeof target);
        }
        for (; i < frames; ++i) {
            targets[i] = peaks[i] > gate
                             ? std::max(0.0f, kDbPerOctave * targets[i] - threshold) * slope
                             : 0.0f;
        }
    }
    // Writes the frames into the delay line as emit() would, without giving any back.
    void keep(const float* x, std::size_t frames) {
        if (frames > kMaxDelay) {
            // Only the last kMaxDelay frames would stay in the line.
            pos_ = (pos_ + frames - kMaxDelay) % kMaxDelay;
            x += 2 * (frames - kMaxDelay);
            frames = kMaxDelay;
        }
        const std::size_t first = std::min(frames, kMaxDelay - pos_);
        std::copy(x, x + 2 * first, line_.data() + 2 * pos_);
        std::copy(x + 2 * first, x + 2 * frames, line_.data());
        pos_ = (pos_ + frames) % kMaxDelay;
    }
    // The delay line takes each frame and gives back the frame of `delay` frames ago, times its
    // gain. Without look-ahead that is the frame itself (run() has kept the block in the line
    // already, so that a look-ahead set later starts from the sound that went before). The line
    // and its place are in locals: written through `x`, members would be stored and read back at
    // every frame.
    void emit(float* x, std::size_t frames, const float* gains) {
        const std::size_t delay = delay_;
        if (delay == 0) {
            scaleFrames(x, frames, gains);
            return;
        }
        float* line = line_.data();
        std::size_t pos = pos_;
        for (std::size_t i = 0; i < frames; ++i) {
            line[2 * pos] = x[2 * i];
            line[2 * pos + 1] = x[2 * i + 1];
            const std::size_t back = (pos + kMaxDelay - delay) % kMaxDelay;
            x[2 * i] = line[2 * back] * gains[i];
            x[2 * i + 1] = line[2 * back + 1] * gains[i];
            pos = (pos + 1) % kMaxDelay;
        }
        pos_ = pos;
    }
    // Each frame times its gain, two frames at a time.
    static void scaleFrames(float* x, std::size_t frames, const float* gains) {
        using F4 = float __attribute__((vector_size(16)));
        std::size_t i = 0;
        for (; i + 2 <= frames; i += 2) {
            F4 v;
            std::memcpy(&v, x + 2 * i, sizeof v);
            v *= F4{gains[i], gains[i], gains[i + 1], gains[i + 1]};
            std::memcpy(x + 2 * i, &v, sizeof v);
        }
        for (; i < frames; ++i) {
            x[2 * i] *= gains[i];
            x[2 * i + 1] *= gains[i];
        }
    }
    static constexpr std::size_t kControl = 32;
    static constexpr float kFloorDb = -180.0f;
    // dB = 20 log10(v) = kDbPerOctave * log2(v); the gain 10^(dB / 20) = 2^(dB / kDbPerOctave).
    static constexpr float kDbPerOctave = 6.02059991f;
    static constexpr float kOctavesPerDb = 1.0f / kDbPerOctave;
    std::vector<float> line_;
    std::size_t pos_ = 0, delay_ = 0;
    float makeUp_ = 0, attack_ = 0, release_ = 0, threshold_ = 0, slope_ = 0, gate_ = 0;
    float releaseOverBlock_ = 0;
    float reductionDb_ = 0;
};

// An automatic gain control: while the input's peak is above the quiet level, the gain moves
// towards the one that brings the peak to the target, by at most `rate` a second; below it the
// gain holds. It starts at `gain` and begins to move after `delay` seconds. `channel` -1 measures
// both channels, 0 the left, 1 the right.
class DynamicAmpEffect final : public Effect {
  public:
    DynamicAmpEffect() : Effect(kFxDynamicAmp) { configure({0.5f, 0.01f, 0.5f, 1, 0, -1}); }
    void reset() override {
        current_ = start_;
        waited_ = 0;
    }

  private:
    void configure(const float (&p)[kParams]) override {
        target_ = std::clamp(p[0], 0.0f, 1.0f);
        quiet_ = std::max(0.0f, p[1]);
        rate_ = std::clamp(p[2], 0.0f, 1.0f);
        // `rate` of the way in each hundredth of a second is this much of it in each frame.
        perFrame_ = static_cast<float>(1.0 - std::pow(1.0 - rate_, 100.0 / kRate));
        start_ = std::max(0.0f, p[3]);
        delay_ = std::max(0.0f, p[4]);
        channel_ = static_cast<int>(p[5]);
        current_ = start_;
        waited_ = 0;
    }
    // The largest magnitude of every `stride`-th sample from `x`: in four running maxima, so that
    // a sample does not wait for the comparison of the one before.
    static float peakOf(const float* x, std::size_t count, std::size_t stride) {
        if (stride == 1) {
            return peakOfAll(x, count);
        }
        float m0 = 0, m1 = 0, m2 = 0, m3 = 0;
        std::size_t i = 0;
        for (; i + 4 <= count; i += 4) {
            m0 = std::max(m0, std::fabs(x[stride * i]));
            m1 = std::max(m1, std::fabs(x[stride * (i + 1)]));
            m2 = std::max(m2, std::fabs(x[stride * (i + 2)]));
            m3 = std::max(m3, std::fabs(x[stride * (i + 3)]));
        }
        for (; i < count; ++i) {
            m0 = std::max(m0, std::fabs(x[stride * i]));
        }
        return std::max(std::max(m0, m1), std::max(m2, m3));
    }
    // The same for every sample, four at a time (a NaN is never taken, as above).
    static float peakOfAll(const float* x, std::size_t count) {
        using F4 = float __attribute__((vector_size(16)));
        F4 m{};
        std::size_t i = 0;
        for (; i + 4 <= count; i += 4) {
            F4 v;
            std::memcpy(&v, x + i, sizeof v);
            v = v < 0.0f ? -v : v;
            m = m < v ? v : m;
        }
        float peak = std::max(std::max(m[0], m[1]), std::max(m[2], m[3]));
        for (; i < count; ++i) {
            peak = std::max(peak, std::fabs(x[i]));
        }
        return peak;
    }
    void run(float* x, std::size_t frames) override {
        const float peak = channel_ == 0   ? peakOf(x, frames, 2)
                           : channel_ == 1 ? peakOf(x + 1, frames, 2)
                                           : peakOf(x, frames * 2, 1);
        const float seconds = static_cast<float>(frames) / kRate;
        const bool moving = waited_ >= delay_ && peak > quiet_ && peak > 0;
        if (waited_ < delay_) {
            waited_ += seconds;
        }
        const float wanted = moving ? target_ / peak : current_;
        // Frame by frame towards the wanted gain, so that a change makes no click. The gain is
        // a local for the block (a member would be stored and read back at every frame). Once a
        // step no longer changes it, no later step in the block does: the rest of the block
        // takes that gain as it is.
        float gain = current_;
        const float step = perFrame_;
        std::size_t i = 0;
        for (; i < frames; ++i) {
            const float next = gain + (wanted - gain) * step;
            if (next == gain) {
                break;
            }
            gain = next;
            x[2 * i] *= gain;
            x[2 * i + 1] *= gain;
        }
        for (; i < frames; ++i) {
            x[2 * i] *= gain;
            x[2 * i + 1] *= gain;
        }
        current_ = gain;
    }
    float target_ = 0, quiet_ = 0, rate_ = 0, start_ = 1, delay_ = 0, perFrame_ = 0;
    int channel_ = -1;
    float current_ = 1, waited_ = 0;
};

// A delay line whose delay a sine sweeps: the flanger's short delay with negative feedback, the
// chorus's longer one with a little positive feedback. Wet/dry is the wet share in per cent, depth
// the sweep's share of the delay in per cent, feedback in per cent, frequency in Hz, delay in ms.
class ModulatedDelay final : public Effect {
  public:
    static constexpr std::size_t kLine = 8192;  // 186 ms

    ModulatedDelay(std::uint32_t type, float wet, float depth, float feedback, float hz, float ms)
        : Effect(type), line_(kLine * 2, 0.0f) {
        configure({wet, depth, feedback, hz, ms, 0});
    }
    void reset() override {
        std::fill(line_.begin(), line_.end(), 0.0f);
        phase_ = 0;
        pos_ = 0;
    }

  private:
    void configure(const float (&p)[kParams]) override {
        wet_ = std::clamp(p[0], 0.0f, 100.0f) / 100.0f;
        depth_ = std::clamp(p[1], 0.0f, 100.0f) / 100.0f;
        feedback_ = std::clamp(p[2], -99.0f, 99.0f) / 100.0f;
        step_ = 2.0f * std::numbers::pi_v<float> * std::max(0.0f, p[3]) / kRate;
        delayFrames_ = std::clamp(p[4], 0.1f, 80.0f) / 1000.0f * kRate;
    }
    void run(float* x, std::size_t frames) override {
        for (std::size_t i = 0; i < frames; ++i) {
            // From the delay itself down to (1 - depth) of it and back.
            const float d = delayFrames_ * (1.0f - depth_ * 0.5f * (1.0f + std::sin(phase_)));
            phase_ += step_;
            if (phase_ > 2.0f * std::numbers::pi_v<float>) {
                phase_ -= 2.0f * std::numbers::pi_v<float>;
            }
            const float readPos = static_cast<float>(pos_) + kLine - std::max(d, 1.0f);
            const auto i0 = static_cast<std::size_t>(readPos) % kLine;
            const std::size_t i1 = (i0 + 1) % kLine;
            const float frac = readPos - std::floor(readPos);
            for (int c = 0; c < 2; ++c) {
                const float delayed = line_[2 * i0 + c] * (1 - frac) + line_[2 * i1 + c] * frac;
                const float in = x[2 * i + c];
                line_[2 * pos_ + c] = in + delayed * feedback_;
                x[2 * i + c] = in * (1 - wet_) + delayed * wet_;
            }
            pos_ = (pos_ + 1) % kLine;
        }
    }
    std::vector<float> line_;
    std::size_t pos_ = 0;
    float wet_ = 0, depth_ = 0, feedback_ = 0, step_ = 0, delayFrames_ = 1, phase_ = 0;
};

}  // namespace

void Effect::set(const float (&values)[kParams]) {
    version_.fetch_add(1, std::memory_order_acq_rel);  // odd: being written
    for (std::size_t i = 0; i < kParams; ++i) {
        params_[i].store(values[i], std::memory_order_relaxed);
    }
    version_.fetch_add(1, std::memory_order_release);
}

void Effect::process(float* stereo, std::size_t frames) {
    const std::uint32_t v = version_.load(std::memory_order_acquire);
    if (v != taken_ && (v & 1u) == 0) {
        float p[kParams];
        for (std::size_t i = 0; i < kParams; ++i) {
            p[i] = params_[i].load(std::memory_order_relaxed);
        }
        if (version_.load(std::memory_order_acquire) == v) {
            configure(p);
            taken_ = v;
        }
    }
    run(stereo, frames);
}

PeakingEq peakingEqOf(float center, float bandwidth, float gain) {
    const float centre = std::clamp(center, 20.0f, kRate * 0.45f);
    const float octaves = std::clamp(bandwidth, 1.0f, 36.0f) / 12.0f;
    const float a = std::pow(10.0f, gain / 40.0f);
    const float w0 = 2.0f * std::numbers::pi_v<float> * centre / kRate;
    const float alpha =
        std::sin(w0) * std::sinh(std::log(2.0f) / 2.0f * octaves * w0 / std::sin(w0));
    const float a0 = 1.0f + alpha / a;
    PeakingEq eq;
    eq.b0 = (1.0f + alpha * a) / a0;
    eq.b1 = -2.0f * std::cos(w0) / a0;
    eq.b2 = (1.0f - alpha * a) / a0;
    eq.a1 = eq.b1;
    eq.a2 = (1.0f - alpha / a) / a0;
    return eq;
}

std::unique_ptr<Effect> makeEffect(std::uint32_t type) {
    switch (type) {
        case kFxParamEq:
            return std::make_unique<ParamEqEffect>();
        case kFxCompressor:
            return std::make_unique<CompressorEffect>();
        case kFxDynamicAmp:
            return std::make_unique<DynamicAmpEffect>();
        case kFxFlanger:
            return std::make_unique<ModulatedDelay>(kFxFlanger, 50, 100, -50, 0.25f, 2);
        case kFxChorus:
            return std::make_unique<ModulatedDelay>(kFxChorus, 50, 10, 25, 1.1f, 16);
        default:
            return nullptr;
    }
}

void paramsOf(const ParamEq& p, float (&out)[Effect::kParams]) {
    const float v[Effect::kParams] = {p.center, p.bandwidth, p.gain, 0, 0, 0};
    std::copy(std::begin(v), std::end(v), out);
}

void paramsOf(const Compressor& p, float (&out)[Effect::kParams]) {
    const float v[Effect::kParams] = {p.gain,      p.attack, p.release,
                                      p.threshold, p.ratio,  p.predelay};
    std::copy(std::begin(v), std::end(v), out);
}

void paramsOf(const DynamicAmp& p, float (&out)[Effect::kParams]) {
    const float v[Effect::kParams] = {p.target, p.quiet, p.rate,
                                      p.gain,   p.delay, static_cast<float>(p.channel)};
    std::copy(std::begin(v), std::end(v), out);
}

}  // namespace tw::audio
