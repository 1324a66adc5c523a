// The look-ahead limiter: audio under its ceiling passes untouched (only late), audio over it comes
// out at the ceiling at most without a run of flat samples, the gain ramps down before the peak
// and comes back after it.

#include "audio/peak_limiter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <vector>

namespace tw::audio {
namespace {

constexpr std::size_t kLate = PeakLimiter::kLookAheadFrames;
constexpr double kRate = 44100;

std::vector<float> tone(double hz, double amplitude, std::size_t frames) {
    std::vector<float> out(frames * 2);
    for (std::size_t i = 0; i < frames; ++i) {
        const auto v =
            static_cast<float>(amplitude * std::sin(2 * std::numbers::pi * hz * i / kRate));
        out[2 * i] = v;
        out[2 * i + 1] = -v;
    }
    return out;
}

// Runs the audio through in blocks of `block` frames, as a callback would hand it over.
std::vector<float> limit(PeakLimiter& limiter, std::vector<float> audio, std::size_t block = 441) {
    for (std::size_t at = 0; at < audio.size() / 2; at += block) {
        limiter.process(audio.data() + 2 * at, std::min(block, audio.size() / 2 - at));
    }
    return audio;
}

float peakOf(const std::vector<float>& audio) {
    float p = 0;
    for (const float v : audio) {
        p = std::max(p, std::fabs(v));
    }
    return p;
}

// The longest run of consecutive samples of one channel within a hair of the peak: what a clip
// leaves behind.
std::size_t longestRunAtPeak(const std::vector<float>& audio, float peak) {
    std::size_t longest = 0;
    for (int ch = 0; ch < 2; ++ch) {
        std::size_t run = 0;
        for (std::size_t i = ch; i < audio.size(); i += 2) {
            run = std::fabs(audio[i]) >= peak - 1e-6f ? run + 1 : 0;
            longest = std::max(longest, run);
        }
    }
    return longest;
}

TEST(PeakLimiterTest, AudioUnderTheCeilingComesOutUntouchedOnlyLate) {
    PeakLimiter limiter(-1.0f);
    const std::vector<float> in = tone(440, 0.8, 4410);
    const std::vector<float> out = limit(limiter, in);
    for (std::size_t i = 0; i < 2 * kLate; ++i) {
        ASSERT_EQ(out[i], 0.0f) << i;
    }
    for (std::size_t i = 2 * kLate; i < out.size(); ++i) {
        ASSERT_EQ(out[i], in[i - 2 * kLate]) << i;
    }
}

TEST(PeakLimiterTest, ALoudToneStaysUnderTheCeilingWithoutFlatRuns) {
    PeakLimiter limiter(-1.0f);
    const float ceiling = std::pow(10.0f, -1.0f / 20.0f);
    for (const double amplitude : {1.0, 2.0, 8.0}) {
        for (const double hz : {80.0, 1000.0, 10000.0}) {
            limiter.reset();
            const std::vector<float> out = limit(limiter, tone(hz, amplitude, 44100));
            EXPECT_LE(peakOf(out), ceiling) << amplitude << " " << hz;
            EXPECT_GT(peakOf(out), ceiling * 0.9f) << "it limits, it does not crush";
            EXPECT_LE(longestRunAtPeak(out, peakOf(out)), 2u) << amplitude << " " << hz;
        }
    }
}

TEST(PeakLimiterTest, TheGainRampsDownBeforeALonePeakAndComesBackAfterIt) {
    PeakLimiter limiter(-1.0f, 20.0f);
    const float ceiling = std::pow(10.0f, -1.0f / 20.0f);
    std::vector<float> in(2 * 44100, 0.5f);
    const std::size_t at = 10000;
    in[2 * at] = in[2 * at + 1] = 2.0f;
    const std::vector<float> out = limit(limiter, in, 256);
    EXPECT_NEAR(out[2 * (at + kLate)], ceiling, 1e-5f) << "the peak itself at the ceiling";
    EXPECT_EQ(out[2 * (at - 1)], 0.5f) << "untouched before the ramp";
    // The ramp falls the whole look-ahead long, in equal steps, and has arrived before the peak.
    const float step = out[2 * (at - 1)] - out[2 * at];
    EXPECT_NEAR(step, (0.5f - 0.5f * ceiling / 2.0f) / kLate, 1e-5f);
    for (std::size_t i = at - 1; i + 1 < at + kLate; ++i) {
        EXPECT_NEAR(out[2 * i] - out[2 * (i + 1)], step, 1e-5f) << i;
    }
    EXPECT_NEAR(out.back(), 0.5f, 1e-4f) << "back to full gain a second later";
}

TEST(PeakLimiterTest, BurstsOfNoiseAfterSilenceNeverPassTheCeiling) {
    // What overshoots a compressor most: sudden loud onsets after quiet.
    PeakLimiter limiter(-0.5f);
    const float ceiling = std::pow(10.0f, -0.5f / 20.0f);
    std::mt19937 random(7);
    std::uniform_real_distribution<float> noise(-3.0f, 3.0f);
    std::vector<float> in(2 * 44100 * 3, 0.0f);
    for (std::size_t i = 0; i < in.size() / 2; ++i) {
        if ((i / 2205) % 3 == 0) {  // 50 ms bursts, 100 ms apart
            in[2 * i] = noise(random);
            in[2 * i + 1] = noise(random);
        }
    }
    for (const std::size_t block : {1u, 64u, 1000u}) {
        limiter.reset();
        const std::vector<float> out = limit(limiter, in, block);
        EXPECT_LE(peakOf(out), ceiling) << block;
        EXPECT_LE(longestRunAtPeak(out, peakOf(out)), 2u) << block;
    }
}

TEST(PeakLimiterTest, ResetForgetsTheAudioHeldAndTheGain) {
    PeakLimiter limiter(-1.0f);
    limit(limiter, tone(1000, 4.0, 4410));
    limiter.reset();
    const std::vector<float> in = tone(1000, 0.5, 4410);
    const std::vector<float> out = limit(limiter, in);
    EXPECT_EQ(out[0], 0.0f);
    EXPECT_EQ(out[2 * (kLate + 100)], in[200]);
}

}  // namespace
}  // namespace tw::audio
