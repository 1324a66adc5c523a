#include "audio/peak_limiter.h"

#include <algorithm>
#include <cmath>

#include "audio/source.h"

namespace tw::audio {

PeakLimiter::PeakLimiter(float ceilingDb, float releaseMs)
    : ceiling_(std::pow(10.0f, std::min(ceilingDb, 0.0f) / 20.0f)),
      releaseStep_(1.0f - std::exp(-1.0f / (std::max(releaseMs, 0.01f) / 1000.0f *
                                            static_cast<float>(kMixRate)))) {
    reset();
}

void PeakLimiter::reset() {
    delay_.fill(0.0f);
    delayAt_ = 0;
    minFront_ = 0;
    minCount_ = 0;
    frame_ = 0;
    envelope_ = 1.0f;
    ramp_.fill(1.0f);
    rampAt_ = 0;
    rampSum_ = static_cast<double>(kLookAheadFrames);
}

float PeakLimiter::windowMinimum(float need) {
    // The window is this frame and the kLookAheadFrames before it: the frame leaving the delay
    // line now, and every frame whose ramp is under way.
    while (minCount_ > 0 && minFrame_[minFront_] + kLookAheadFrames < frame_) {
        minFront_ = (minFront_ + 1) % kWindow;
        --minCount_;
    }
    while (minCount_ > 0 && minGain_[(minFront_ + minCount_ - 1) % kWindow] >= need) {
        --minCount_;
    }
    const std::size_t back = (minFront_ + minCount_) % kWindow;
    minFrame_[back] = frame_;
    minGain_[back] = need;
    ++minCount_;
    return minGain_[minFront_];
}

void PeakLimiter::process(float* stereo, std::size_t frames) {
    for (std::size_t i = 0; i < frames; ++i) {
        const float l = stereo[2 * i];
        const float r = stereo[2 * i + 1];
        const float peak = std::max(std::fabs(l), std::fabs(r));
        const float need = peak > ceiling_ ? ceiling_ / peak : 1.0f;
        const float least = windowMinimum(need);
        // Down at once, up with the release: the envelope never stands above the window's need.
        envelope_ = least < envelope_ ? least : envelope_ + (least - envelope_) * releaseStep_;
        // The mean of the envelope over the look-ahead turns each step down into a ramp that is
        // complete when the frame that asked for it goes out: every value in the mean is at most
        // what that frame needs.
        rampSum_ += static_cast<double>(envelope_) - static_cast<double>(ramp_[rampAt_]);
        ramp_[rampAt_] = envelope_;
        rampAt_ = (rampAt_ + 1) % kLookAheadFrames;
        const auto gain = static_cast<float>(rampSum_ / static_cast<double>(kLookAheadFrames));

        float& outL = delay_[2 * delayAt_];
        float& outR = delay_[2 * delayAt_ + 1];
        // The rounding of the mean may leave a frame a hair above the ceiling, never more.
        stereo[2 * i] = std::clamp(outL * gain, -ceiling_, ceiling_);
        stereo[2 * i + 1] = std::clamp(outR * gain, -ceiling_, ceiling_);
        outL = l;
        outR = r;
        delayAt_ = (delayAt_ + 1) % kLookAheadFrames;
        ++frame_;
    }
}

}  // namespace tw::audio
