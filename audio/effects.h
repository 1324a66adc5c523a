#pragma once
// The engine's effects on interleaved stereo float audio at the mix rate: the parametric EQ (a
// peaking biquad), the compressor (with look-ahead), the dynamic amplifier (an automatic gain
// control), and the flanger and chorus of the voice chain (modulated delay lines).
//
// Thread contract: process() and reset() on the audio thread only; they never allocate, lock or
// wait. Parameters are set from any thread with set(): each is an atomic, and a version number
// tells the audio thread to take the new set at its next block (a set that is being written while
// a block starts is taken at the block after).

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "audio/engine.h"

namespace tw::audio {

class Effect {
  public:
    static constexpr std::size_t kParams = 6;

    explicit Effect(std::uint32_t type) : type_(type) {}
    virtual ~Effect() = default;
    std::uint32_t type() const { return type_; }

    // Any thread: the parameters in the order of the type's structure.
    void set(const float (&values)[kParams]);

    // Audio thread: works on `frames` frames in place.
    void process(float* stereo, std::size_t frames);
    // Audio thread: forgets the effect's state (delay lines, envelopes), not its parameters.
    virtual void reset() = 0;

  protected:
    // Audio thread: the parameters changed to these.
    virtual void configure(const float (&p)[kParams]) = 0;
    virtual void run(float* stereo, std::size_t frames) = 0;

  private:
    const std::uint32_t type_;
    std::atomic<float> params_[kParams] = {};
    std::atomic<std::uint32_t> version_{0};  // odd while a set is being written
    std::uint32_t taken_ = 0;                // the version the audio thread configured
};

// The effects on one channel, highest priority first: the audio thread's copy, changed only by
// the commands it takes.
class FxChain {
  public:
    static constexpr std::size_t kMax = 16;
    void add(Effect* fx, int priority) {
        if (count_ == kMax) {
            return;  // the engine refuses more before it gets here
        }
        std::size_t i = count_++;
        for (; i > 0 && priorities_[i - 1] < priority; --i) {
            effects_[i] = effects_[i - 1];
            priorities_[i] = priorities_[i - 1];
        }
        effects_[i] = fx;
        priorities_[i] = priority;
    }
    void remove(const Effect* fx) {
        for (std::size_t i = 0; i < count_; ++i) {
            if (effects_[i] == fx) {
                for (std::size_t j = i + 1; j < count_; ++j) {
                    effects_[j - 1] = effects_[j];
                    priorities_[j - 1] = priorities_[j];
                }
                --count_;
                return;
            }
        }
    }
    void run(float* stereo, std::size_t frames) {
        for (std::size_t i = 0; i < count_; ++i) {
            effects_[i]->process(stereo, frames);
        }
    }
    std::size_t size() const { return count_; }

  private:
    Effect* effects_[kMax] = {};
    int priorities_[kMax] = {};
    std::size_t count_ = 0;
};

// A new effect of the type, with its defaults; null for a type the engine does not have.
std::unique_ptr<Effect> makeEffect(std::uint32_t type);

// The parameters of the typed structures, in the order Effect::set takes them.
void paramsOf(const ParamEq& p, float (&out)[Effect::kParams]);
void paramsOf(const Compressor& p, float (&out)[Effect::kParams]);
void paramsOf(const DynamicAmp& p, float (&out)[Effect::kParams]);

}  // namespace tw::audio
