// The effects, measured on what the offline engine renders: the EQ's gain at its centre, the
// compressor's static curve and its attack and release times, the gain control reaching its
// target, the modulated delays staying bounded, and the handles' rules.

#include <gtest/gtest.h>

#include <cmath>

#include "tests/audio/audio_fixtures.h"

namespace tw::audio::test {
namespace {

constexpr int kRate = 44100;

class EffectsTest : public OfflineEngineTest {
  protected:
    // A stream of pcm in the mixer with an effect of `type`; returns the effect's handle.
    Handle streamWithFx(const Pcm& pcm, std::uint32_t type, Handle* stream = nullptr) {
        const Handle h = wavStream(pcm, "in" + std::to_string(++files_) + ".wav");
        EXPECT_TRUE(engine.mixerAddChannel(mixer, h, 0));
        const Handle fx = engine.channelSetFX(h, type, 0);
        EXPECT_NE(fx, 0u) << engine.errorGetCode();
        if (stream) {
            *stream = h;
        }
        return fx;
    }
    // Pcm of `seconds` at a constant value on both channels.
    static Pcm level(double value, double seconds) {
        const auto v = static_cast<std::int16_t>(std::lround(value * 32767));
        return constant(kRate, v, v, static_cast<std::size_t>(seconds * kRate));
    }
    int files_ = 0;
};

double dbOf(double ratio) {
    return 20 * std::log10(ratio);
}

TEST_F(EffectsTest, TheEqGivesItsGainAtItsCentre) {
    for (const float gainDb : {6.0f, -9.0f, 12.0f}) {
        const Pcm tone = sine(kRate, 2, 1000, 0.2, kRate * 2);
        const Handle fx = streamWithFx(tone, kFxParamEq);
        ASSERT_TRUE(engine.fxSetParameters(fx, ParamEq{1000, 12, gainDb}));
        const auto out = render(kRate * 2);
        const double inRms = 0.2 / std::sqrt(2.0);
        EXPECT_NEAR(dbOf(rms(out, 0, kRate / 2, kRate) / inRms), gainDb, 0.3) << gainDb;
        EXPECT_NEAR(dbOf(rms(out, 1, kRate / 2, kRate) / inRms), gainDb, 0.3) << gainDb;
        render(kRate * 2);  // to the stream's end
    }
}

TEST_F(EffectsTest, TheEqLeavesFrequenciesFarFromItsCentreAlone) {
    const Pcm tone = sine(kRate, 2, 100, 0.2, kRate);
    const Handle fx = streamWithFx(tone, kFxParamEq);
    ASSERT_TRUE(engine.fxSetParameters(fx, ParamEq{8000, 6, 12}));
    const auto out = render(kRate);
    EXPECT_NEAR(dbOf(rms(out, 0, kRate / 4, kRate * 3 / 4) / (0.2 / std::sqrt(2.0))), 0.0, 0.3);
}

TEST_F(EffectsTest, TheCompressorFollowsItsStaticCurve) {
    // Threshold -20 dB, ratio 4: above it the output rises a quarter of the input's rise.
    for (const double inDb : {-30.0, -20.0, -10.0, -4.0}) {
        const Handle fx = streamWithFx(level(std::pow(10, inDb / 20), 1), kFxCompressor);
        ASSERT_TRUE(engine.fxSetParameters(fx, Compressor{0, 1, 50, -20, 4, 0}));
        const auto out = render(kRate / 2);
        const double outDb = dbOf(std::fabs(out[2 * (kRate / 2 - 1)]));
        const double expected = inDb <= -20 ? inDb : -20 + (inDb + 20) / 4;
        EXPECT_NEAR(outDb, expected, 0.2) << inDb;
        render(kRate);
    }
}

TEST_F(EffectsTest, TheMakeUpGainRaisesEverything) {
    const Handle fx = streamWithFx(level(0.05, 1), kFxCompressor);  // -26 dB, below the knee
    ASSERT_TRUE(engine.fxSetParameters(fx, Compressor{6, 1, 50, -20, 4, 0}));
    const auto out = render(kRate / 4);
    EXPECT_NEAR(dbOf(out[2 * (kRate / 4 - 1)] / 0.05), 6.0, 0.1);
}

// The time for the gain reduction to come 1 - 1/e of the way to its new target, in ms.
double timeConstantMs(const std::vector<float>& out, std::size_t from, double inValue,
                      double startDb, double endDb) {
    const double mark = startDb + (endDb - startDb) * (1 - std::exp(-1.0));
    for (std::size_t i = from; i < out.size() / 2; ++i) {
        const double reduction = -dbOf(std::fabs(out[2 * i]) / inValue);
        if ((endDb > startDb && reduction >= mark) || (endDb < startDb && reduction <= mark)) {
            return static_cast<double>(i - from) * 1000.0 / kRate;
        }
    }
    return -1;
}

TEST_F(EffectsTest, TheCompressorAttacksAndReleasesInItsTimes) {
    // 1 s at -40 dB, 1 s at 0 dB (15 dB of reduction at -20 dB and 4:1), 1 s at -40 dB again.
    Pcm pcm = level(0.01, 1);
    const Pcm loud = level(1.0, 1);
    pcm.samples.insert(pcm.samples.end(), loud.samples.begin(), loud.samples.end());
    const Pcm quiet = level(0.01, 1);
    pcm.samples.insert(pcm.samples.end(), quiet.samples.begin(), quiet.samples.end());
    const Handle fx = streamWithFx(pcm, kFxCompressor);
    ASSERT_TRUE(engine.fxSetParameters(fx, Compressor{0, 20, 200, -20, 4, 0}));
    const auto out = render(kRate * 3);
    const double attack = timeConstantMs(out, kRate, 1.0 * 32767 / 32767, 0, 15);
    EXPECT_NEAR(attack, 20, 2) << "attack";
    // The release: from 15 dB of reduction back to none, seen on the quiet signal.
    const double release = timeConstantMs(out, 2 * kRate, 0.01, 15, 0);
    EXPECT_NEAR(release, 200, 20) << "release";
    RecordProperty("attack_ms", std::to_string(attack));
    RecordProperty("release_ms", std::to_string(release));
}

TEST_F(EffectsTest, TheCompressorsLookAheadDelaysTheSound) {
    const Handle fx = streamWithFx(level(0.05, 1), kFxCompressor);
    ASSERT_TRUE(engine.fxSetParameters(fx, Compressor{0, 1, 50, -20, 4, 4}));
    const auto out = render(kRate / 4);
    const std::size_t delay = 4 * kRate / 1000;  // 176 frames
    EXPECT_EQ(out[2 * (delay - 1)], 0.0f);
    EXPECT_NEAR(out[2 * (delay + 1)], 0.05, 0.001);
}

TEST_F(EffectsTest, ALookAheadSetLaterStartsFromTheSoundThatWentBefore) {
    // Each frame carries its index; the threshold is above all of them, so the gain stays 1.
    const Handle fx = streamWithFx(ramp(kRate, 2, 8000), kFxCompressor);
    ASSERT_TRUE(engine.fxSetParameters(fx, Compressor{0, 1, 50, 0, 4, 0}));
    const std::size_t before = 3001;  // neither whole blocks nor whole control steps
    const auto first = render(before);
    ASSERT_FLOAT_EQ(first[2 * 3000], 3000.0f / 32768);
    ASSERT_TRUE(engine.fxSetParameters(fx, Compressor{0, 1, 50, 0, 4, 4}));
    const auto out = render(1000);
    const std::size_t delay = 4 * kRate / 1000;  // 176 frames
    for (std::size_t i = 0; i < 400; ++i) {
        const float frame = static_cast<float>(before + i - delay);
        ASSERT_FLOAT_EQ(out[2 * i], frame / 32768) << i;
        ASSERT_FLOAT_EQ(out[2 * i + 1], frame / 32768) << i;
    }
}

TEST_F(EffectsTest, TheGainControlReachesItsTarget) {
    const Handle fx = streamWithFx(level(0.1, 6), kFxDynamicAmp);
    // Target half of full scale: gain 5 wanted, from 1, covering 1 % of the way each 10 ms.
    ASSERT_TRUE(engine.fxSetParameters(fx, DynamicAmp{0.5f, 0.01f, 0.01f, 1.0f, 0, -1}));
    const auto out = render(kRate * 6);
    EXPECT_NEAR(out[2 * (kRate / 2)], 0.1 * (5 - 4 * std::pow(0.99, 50)), 0.005)
        << "half a second in";
    EXPECT_NEAR(out[2 * (kRate * 2)], 0.1 * (5 - 4 * std::pow(0.99, 200)), 0.005)
        << "two seconds in: gain 4.46";
    EXPECT_NEAR(out[2 * (kRate * 5 + kRate / 2)], 0.5, 0.005) << "at its target";
}

TEST_F(EffectsTest, TheGainControlHoldsBelowTheQuietLevelAndWaitsItsDelay) {
    Pcm pcm = level(0.1, 2);
    const Handle fx = streamWithFx(pcm, kFxDynamicAmp);
    ASSERT_TRUE(engine.fxSetParameters(fx, DynamicAmp{0.5f, 0.2f, 1.0f, 1.5f, 0, -1}));
    auto out = render(kRate);
    EXPECT_NEAR(out[2 * (kRate - 1)], 0.15, 0.001)
        << "0.1 is below the quiet level 0.2: held at 1.5";
    render(kRate * 2);
    const Handle fx2 = streamWithFx(level(0.1, 2), kFxDynamicAmp);
    ASSERT_TRUE(engine.fxSetParameters(fx2, DynamicAmp{0.5f, 0.01f, 1.0f, 1.0f, 1.0f, -1}));
    out = render(kRate);
    EXPECT_NEAR(out[2 * (kRate * 9 / 10)], 0.1, 0.001) << "nothing moves during the delay";
}

TEST_F(EffectsTest, TheFlangerAndChorusChangeTheSoundAndStayBounded) {
    for (const std::uint32_t type : {kFxFlanger, kFxChorus}) {
        const Pcm tone = sine(kRate, 2, 440, 0.5, kRate);
        streamWithFx(tone, type);
        const auto out = render(kRate);
        double differs = 0, peak = 0;
        for (std::size_t i = 0; i < out.size(); ++i) {
            differs = std::max(differs, std::fabs(out[i] - tone.samples[i] / 32767.0));
            peak = std::max(peak, static_cast<double>(std::fabs(out[i])));
        }
        EXPECT_GT(differs, 0.05) << type;
        EXPECT_LT(peak, 1.0) << type;
        render(kRate / 10);
    }
}

TEST_F(EffectsTest, AnEffectOnTheMixerWorksOnEverythingInIt) {
    const Handle h = wavStream(level(0.1, 1), "a.wav");
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    const Handle fx = engine.channelSetFX(mixer, kFxCompressor, 0);
    ASSERT_NE(fx, 0u);
    ASSERT_TRUE(
        engine.fxSetParameters(fx, Compressor{6, 1, 50, -40, 1, 0}));  // ratio 1: only +6 dB
    const auto out = render(kRate / 4);
    EXPECT_NEAR(out[2 * 1000], 0.1 * std::pow(10, 6.0 / 20), 0.001);
}

TEST_F(EffectsTest, HandlesFollowTheEnginesRules) {
    EXPECT_EQ(engine.channelSetFX(0, kFxParamEq, 0), 0u);
    EXPECT_EQ(engine.errorGetCode(), kErrorHandle);
    Handle stream = 0;
    const Handle fx = streamWithFx(level(0.1, 1), kFxParamEq, &stream);
    EXPECT_EQ(engine.channelSetFX(stream, 12345, 0), 0u);
    EXPECT_EQ(engine.errorGetCode(), kErrorIllegalParam);
    EXPECT_FALSE(engine.fxSetParameters(fx, Compressor{}));
    EXPECT_EQ(engine.errorGetCode(), kErrorIllegalParam);
    EXPECT_TRUE(engine.fxReset(fx));
    EXPECT_FALSE(engine.channelRemoveFX(mixer, fx)) << "not the mixer's";
    EXPECT_TRUE(engine.channelRemoveFX(stream, fx));
    EXPECT_FALSE(engine.fxSetParameters(fx, ParamEq{}));
    EXPECT_EQ(engine.errorGetCode(), kErrorHandle);
    // Freeing a stream frees its effects.
    const Handle fx2 = engine.channelSetFX(stream, kFxChorus, 1);
    ASSERT_NE(fx2, 0u);
    EXPECT_TRUE(engine.streamFree(stream));
    EXPECT_FALSE(engine.fxReset(fx2));
    render(kRate / 10);
}

}  // namespace
}  // namespace tw::audio::test
