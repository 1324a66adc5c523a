#pragma once
// The master chain as the console sets it up (gain control, EQ, compressor, in that order), in
// two forms: the engine's effects, and the per-sample forms the engine had before they were made
// cheap (a dB conversion each way per frame, the EQ's state left to decay), kept here as the
// reference the engine's output is held against. The reference's EQ is the exact filter of its
// coefficients, worked out in double: a float filter's own rounding rings at the master chain's
// low centre at -69 dB on a sweep, which would hide what the bound is there to see. The signals the
// two are compared on, and the comparison, are here too, so that the effects' test and the
// benchmark use the same ones.
//
// Thread contract: none; each object belongs to the thread that made it.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <numbers>
#include <vector>

#include "audio/effects.h"
#include "audio/engine.h"
#include "audio/peaking_eq.h"
#include "audio/source.h"

namespace tw::audio::test {

// The console's master chain: the gain control at priority 2, the EQ's low band at 1, the
// compressor at 0.
inline constexpr DynamicAmp kMasterDamp{0.98f, 0.3f, 0.01f, 2.0f, 0.01f, -1};
inline constexpr ParamEq kMasterEq{80.0f, 2.0f, 1.0f};
inline constexpr Compressor kMasterCompressor{0.5f, 0.1f, 200.0f, -8.0f, 10.0f, 0.0f};

// The EQ frame by frame, in the order of its formula, with the engine's coefficients: in float as
// the engine had it, or in double, which is the filter those coefficients make, rounding aside.
template <class T = float>
class ReferenceEq {
  public:
    explicit ReferenceEq(const ParamEq& p) {
        const PeakingEq c = peakingEqOf(p.center, p.bandwidth, p.gain);
        b0_ = c.b0;
        b1_ = c.b1;
        b2_ = c.b2;
        a1_ = c.a1;
        a2_ = c.a2;
    }
    void process(float* x, std::size_t frames) {
        for (std::size_t i = 0; i < frames; ++i) {
            for (int c = 0; c < 2; ++c) {
                Biquad& s = state_[c];
                const T in = x[2 * i + c];
                const T out = b0_ * in + b1_ * s.x1 + b2_ * s.x2 - a1_ * s.y1 - a2_ * s.y2;
                s = {in, s.x1, out, s.y1};
                x[2 * i + c] = static_cast<float>(out);
            }
        }
    }

  private:
    struct Biquad {
        T x1 = 0, x2 = 0, y1 = 0, y2 = 0;
    };
    T b0_ = 1, b1_ = 0, b2_ = 0, a1_ = 0, a2_ = 0;
    Biquad state_[2];
};

// The engine's EQ alone.
class EngineEq {
  public:
    explicit EngineEq(const ParamEq& p) : eq_(makeEffect(kFxParamEq)) {
        float values[Effect::kParams];
        paramsOf(p, values);
        eq_->set(values);
    }
    void process(float* stereo, std::size_t frames) { eq_->process(stereo, frames); }

  private:
    std::unique_ptr<Effect> eq_;
};

// The engine's own effects, chained as the mixer chains them.
class EngineMasterChain {
  public:
    explicit EngineMasterChain(const Compressor& comp = kMasterCompressor) {
        float p[Effect::kParams];
        damp_ = makeEffect(kFxDynamicAmp);
        paramsOf(kMasterDamp, p);
        damp_->set(p);
        eq_ = makeEffect(kFxParamEq);
        paramsOf(kMasterEq, p);
        eq_->set(p);
        comp_ = makeEffect(kFxCompressor);
        paramsOf(comp, p);
        comp_->set(p);
        chain_.add(damp_.get(), 2);
        chain_.add(eq_.get(), 1);
        chain_.add(comp_.get(), 0);
    }
    void process(float* stereo, std::size_t frames) { chain_.run(stereo, frames); }

  private:
    std::unique_ptr<Effect> damp_, eq_, comp_;
    FxChain chain_;
};

// The per-sample forms, formula for formula.
class ReferenceMasterChain {
  public:
    explicit ReferenceMasterChain(const Compressor& comp = kMasterCompressor) {
        configureDamp(kMasterDamp);
        configureCompressor(comp);
    }
    void process(float* x, std::size_t frames) {
        runDamp(x, frames);
        eq_.process(x, frames);
        runCompressor(x, frames);
    }

  private:
    static constexpr float kRate = static_cast<float>(kMixRate);
    static constexpr std::size_t kMaxDelay = 4096;

    static float smoothing(float ms) {
        return ms <= 0 ? 0.0f : std::exp(-1.0f / (ms / 1000.0f * kRate));
    }

    void configureDamp(const DynamicAmp& p) {
        target_ = std::clamp(p.target, 0.0f, 1.0f);
        quiet_ = std::max(0.0f, p.quiet);
        const float rate = std::clamp(p.rate, 0.0f, 1.0f);
        perFrame_ = static_cast<float>(1.0 - std::pow(1.0 - rate, 100.0 / kRate));
        current_ = std::max(0.0f, p.gain);
        delay_ = std::max(0.0f, p.delay);
        channel_ = p.channel;
    }
    void runDamp(float* x, std::size_t frames) {
        float peak = 0;
        for (std::size_t i = 0; i < frames; ++i) {
            const float l = std::fabs(x[2 * i]), r = std::fabs(x[2 * i + 1]);
            peak = std::max(peak, channel_ == 0 ? l : channel_ == 1 ? r : std::max(l, r));
        }
        const bool moving = waited_ >= delay_ && peak > quiet_ && peak > 0;
        if (waited_ < delay_) {
            waited_ += static_cast<float>(frames) / kRate;
        }
        const float wanted = moving ? target_ / peak : current_;
        for (std::size_t i = 0; i < frames; ++i) {
            current_ = current_ + (wanted - current_) * perFrame_;
            x[2 * i] *= current_;
            x[2 * i + 1] *= current_;
        }
    }

    void configureCompressor(const Compressor& p) {
        makeUp_ = p.gain;
        attack_ = smoothing(p.attack);
        release_ = smoothing(p.release);
        threshold_ = p.threshold;
        slope_ = 1.0f - 1.0f / std::max(1.0f, p.ratio);
        lookAhead_ = std::min<std::size_t>(
            kMaxDelay - 1, static_cast<std::size_t>(std::max(0.0f, p.predelay) / 1000 * kRate));
    }
    void runCompressor(float* x, std::size_t frames) {
        for (std::size_t i = 0; i < frames; ++i) {
            const float l = x[2 * i], r = x[2 * i + 1];
            const float peak = std::max(std::fabs(l), std::fabs(r));
            const float levelDb = 20.0f * std::log10(std::max(peak, 1e-9f));
            const float target = std::max(0.0f, levelDb - threshold_) * slope_;
            const float k = target > reduction_ ? attack_ : release_;
            reduction_ = target + (reduction_ - target) * k;
            line_[2 * pos_] = l;
            line_[2 * pos_ + 1] = r;
            const std::size_t back = (pos_ + kMaxDelay - lookAhead_) % kMaxDelay;
            const float g = std::pow(10.0f, (makeUp_ - reduction_) / 20.0f);
            x[2 * i] = line_[2 * back] * g;
            x[2 * i + 1] = line_[2 * back + 1] * g;
            pos_ = (pos_ + 1) % kMaxDelay;
        }
    }

    // The gain control.
    float target_ = 0, quiet_ = 0, perFrame_ = 0, current_ = 1, delay_ = 0, waited_ = 0;
    int channel_ = -1;
    ReferenceEq<double> eq_{kMasterEq};
    // The compressor.
    std::vector<float> line_ = std::vector<float>(kMaxDelay * 2, 0.0f);
    std::size_t pos_ = 0, lookAhead_ = 0;
    float makeUp_ = 0, attack_ = 0, release_ = 0, threshold_ = 0, slope_ = 0, reduction_ = 0;
};

// Test signals: interleaved stereo at the mix rate, `seconds` long.
namespace signals {

inline std::size_t framesOf(double seconds) {
    return static_cast<std::size_t>(seconds * kMixRate);
}

// A small generator of the same noise on every run.
class Noise {
  public:
    float next() {
        state_ = state_ * 1664525u + 1013904223u;
        return static_cast<float>(state_ >> 8) / 8388608.0f - 1.0f;
    }

  private:
    std::uint32_t state_ = 12345;
};

// Voiced syllables on a gliding pitch with their harmonics, a hiss between some of them, four
// syllables a second and a pause of silence after every phrase of two seconds.
inline std::vector<float> speech(double seconds) {
    const std::size_t n = framesOf(seconds);
    std::vector<float> out(n * 2);
    Noise noise;
    double phase = 0;
    for (std::size_t i = 0; i < n; ++i) {
        const double t = static_cast<double>(i) / kMixRate;
        const double inPhrase = std::fmod(t, 2.6);
        if (inPhrase >= 2.0) {
            continue;  // the pause
        }
        const double pitch = 130 + 40 * std::sin(2 * std::numbers::pi * 0.7 * t);
        phase += 2 * std::numbers::pi * pitch / kMixRate;
        double voiced = 0;
        for (int h = 1; h <= 12; ++h) {
            // Two formant humps, near 700 Hz and 1.2 kHz.
            const double f = pitch * h;
            const double weight = 1.0 / (1 + std::pow((f - 700) / 200, 2)) +
                                  0.6 / (1 + std::pow((f - 1200) / 300, 2)) + 0.05;
            voiced += weight * std::sin(h * phase);
        }
        const double syllable = std::pow(std::sin(std::numbers::pi * std::fmod(t * 4, 1.0)), 2);
        const bool hiss = static_cast<int>(t * 4) % 3 == 2;
        const double v = hiss ? 0.08 * noise.next() * syllable : 0.35 * voiced * syllable;
        out[2 * i] = static_cast<float>(v);
        out[2 * i + 1] = static_cast<float>(v * 0.9);
    }
    return out;
}

// A bass line, chords, a hi-hat of noise and a beat that pushes the peaks past the compressor's
// threshold.
inline std::vector<float> music(double seconds) {
    const std::size_t n = framesOf(seconds);
    std::vector<float> out(n * 2);
    Noise noise;
    const double pi2 = 2 * std::numbers::pi;
    for (std::size_t i = 0; i < n; ++i) {
        const double t = static_cast<double>(i) / kMixRate;
        const double beat = std::fmod(t, 0.5);
        const double kick =
            std::exp(-beat * 18) * std::sin(pi2 * (50 + 60 * std::exp(-beat * 30)) * t);
        const double bass = 0.25 * std::sin(pi2 * (t < seconds / 2 ? 55.0 : 82.4) * t);
        const double chord =
            0.1 * (std::sin(pi2 * 220 * t) + std::sin(pi2 * 277.2 * t) +
                   std::sin(pi2 * 329.6 * t * (1 + 0.002 * std::sin(pi2 * 5 * t))));
        const double hat = 0.05 * noise.next() * std::exp(-std::fmod(t, 0.25) * 40);
        const double swell = 0.6 + 0.4 * std::sin(pi2 * t / 7);
        const double v = swell * (0.5 * kick + bass + chord) + hat;
        out[2 * i] = static_cast<float>(v);
        out[2 * i + 1] = static_cast<float>(0.8 * v + 0.02 * noise.next());
    }
    return out;
}

// A sine from 20 Hz to 20 kHz on a logarithmic sweep, at 0.9 of full scale.
inline std::vector<float> sweep(double seconds) {
    const std::size_t n = framesOf(seconds);
    std::vector<float> out(n * 2);
    const double k = std::log(20000.0 / 20.0);
    for (std::size_t i = 0; i < n; ++i) {
        const double t = static_cast<double>(i) / kMixRate;
        const double phase =
            2 * std::numbers::pi * 20 * seconds / k * (std::exp(t / seconds * k) - 1);
        out[2 * i] = out[2 * i + 1] = static_cast<float>(0.9 * std::sin(phase));
    }
    return out;
}

inline std::vector<float> silence(double seconds) {
    return std::vector<float>(framesOf(seconds) * 2, 0.0f);
}

// Loud music and dead silence in turns of 1.5 s, the music cut in and out mid-wave: the
// compressor's attack at every start, its release and the EQ's ringing out at every stop.
inline std::vector<float> loudAndSilence(double seconds) {
    std::vector<float> out = music(seconds);
    const std::size_t turn = framesOf(1.5);
    for (std::size_t i = 0; i < out.size() / 2; ++i) {
        if ((i / turn) % 2 == 1) {
            out[2 * i] = out[2 * i + 1] = 0.0f;
        } else {
            out[2 * i] *= 1.6f;
            out[2 * i + 1] *= 1.6f;
        }
    }
    return out;
}

}  // namespace signals

// Runs `chain` over the signal in blocks of the sizes the mixer and the offline engine use in
// turn (a whole block, a sound card's 10 ms, odd remainders).
template <class Chain>
std::vector<float> runChain(Chain& chain, std::vector<float> audio) {
    static constexpr std::size_t kBlocks[] = {1024, 441, 37, 512, 1, 1000};
    std::size_t at = 0, turn = 0;
    const std::size_t frames = audio.size() / 2;
    while (at < frames) {
        const std::size_t n = std::min(kBlocks[turn++ % std::size(kBlocks)], frames - at);
        chain.process(audio.data() + 2 * at, n);
        at += n;
    }
    return audio;
}

// How far one output is from another: the largest difference of a sample, in dB of full scale,
// and the energy of the difference against the energy of the reference, in dB. Both are -inf for
// outputs that are the same.
struct Difference {
    double peakDbfs = 0;
    double energyDb = 0;
};

inline Difference differenceOf(const std::vector<float>& out, const std::vector<float>& ref) {
    double peak = 0, error = 0, energy = 0;
    for (std::size_t i = 0; i < out.size() && i < ref.size(); ++i) {
        const double d = static_cast<double>(out[i]) - ref[i];
        peak = std::max(peak, std::fabs(d));
        error += d * d;
        energy += static_cast<double>(ref[i]) * ref[i];
    }
    Difference diff;
    diff.peakDbfs = 20 * std::log10(peak);
    diff.energyDb = energy > 0 ? 10 * std::log10(error / energy) : (error > 0 ? 0.0 : -HUGE_VAL);
    return diff;
}

}  // namespace tw::audio::test
