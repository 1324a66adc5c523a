// The mixer: sums, volumes and slides, pause, ends and AUTOFREE, levels, the mixer's own volume.

#include <cmath>

#include "tests/audio/audio_fixtures.h"

namespace tw::audio::test {
namespace {

constexpr float kHalf = 16384.0f / 32768.0f;

TEST_F(OfflineEngineTest, AudioMixTwoSourcesMixToTheirSum) {
    const Pcm a = sine(44100, 2, 440.0, 0.3, 20000);
    const Pcm b = sine(44100, 2, 1234.0, 0.4, 20000);
    const Handle ha = wavStream(a, "a.wav");
    const Handle hb = wavStream(b, "b.wav");
    ASSERT_TRUE(engine.mixerAddChannel(mixer, ha, 0));
    ASSERT_TRUE(engine.mixerAddChannel(mixer, hb, 0));
    const auto out = render(15000);
    for (std::size_t i = 0; i < 15000 * 2; ++i) {
        const float want = (a.samples[i] + b.samples[i]) / 32768.0f;
        ASSERT_NEAR(out[i], want, 1e-6f) << "sample " << i;
    }
}

TEST_F(OfflineEngineTest, AudioMixSlideVolumeAtQuarterHalfAndEnd) {
    const Handle h = wavStream(constant(44100, 16384, 16384, 44100 * 3), "dc.wav");
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    ASSERT_TRUE(engine.channelSlideAttribute(h, kAttribVol, 0.2f, 1000));
    const auto out = render(44100 + 1000);
    // From 1.0 to 0.2 over 44100 frames: 0.8 at 25 %, 0.6 at 50 %, 0.2 from 100 % on.
    EXPECT_NEAR(out[2 * 11025 - 2] / kHalf, 0.8f, 1e-3f);
    EXPECT_NEAR(out[2 * 22050 - 2] / kHalf, 0.6f, 1e-3f);
    EXPECT_NEAR(out[2 * 44100 - 2] / kHalf, 0.2f, 1e-4f);
    EXPECT_NEAR(out[2 * 44500] / kHalf, 0.2f, 1e-6f);
    float v = 0;
    ASSERT_TRUE(engine.channelGetAttribute(h, kAttribVol, v));
    EXPECT_FLOAT_EQ(v, 0.2f);
}

TEST_F(OfflineEngineTest, AudioMixSlideToMinus100IsSilentAfter20ms) {
    const Handle h = wavStream(constant(44100, 16384, 16384, 44100 * 2), "dc.wav");
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    ASSERT_TRUE(engine.channelSlideAttribute(h, kAttribVol, -100.0f, 1500));
    const auto out = render(44100);
    const std::size_t at5ms = 44100 * 5 / 1000, at20ms = 44100 * 20 / 1000;
    EXPECT_GT(out[2 * at5ms], 0.1f);  // still sounding before the slide crosses zero
    for (std::size_t i = at20ms; i < 44100; ++i) {
        ASSERT_EQ(out[2 * i], 0.0f) << "frame " << i;
        ASSERT_EQ(out[2 * i + 1], 0.0f) << "frame " << i;
    }
    EXPECT_EQ(engine.channelIsActive(h), kPlaying);  // silence, not removal
}

TEST_F(OfflineEngineTest, AudioMixLoudnessStageOfOneChangesNoSample) {
    const Pcm a = sine(44100, 2, 440.0, 0.3, 20000);
    const Handle plain = wavStream(a, "a.wav");
    ASSERT_TRUE(engine.mixerAddChannel(mixer, plain, 0));
    ASSERT_TRUE(engine.channelSlideAttribute(plain, kAttribVol, 0.3f, 100));
    const auto before = render(15000);
    ASSERT_TRUE(engine.streamFree(plain));

    const Handle staged = wavStream(a, "b.wav");
    ASSERT_TRUE(engine.channelSetAttribute(staged, kAttribLoudness, 1.0f));
    ASSERT_TRUE(engine.mixerAddChannel(mixer, staged, 0));
    ASSERT_TRUE(engine.channelSlideAttribute(staged, kAttribVol, 0.3f, 100));
    const auto after = render(15000);
    ASSERT_EQ(before.size(), after.size());
    for (std::size_t i = 0; i < before.size(); ++i) {
        ASSERT_EQ(before[i], after[i]) << "sample " << i;
    }
}

TEST_F(OfflineEngineTest, AudioMixLoudnessStageSitsUnderTheVolumeAndItsSlide) {
    const Handle h = wavStream(constant(44100, 16384, 16384, 44100 * 3), "dc.wav");
    ASSERT_TRUE(engine.channelSetAttribute(h, kAttribLoudness, 0.5f));
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    auto out = render(1000);
    EXPECT_NEAR(out[0] / kHalf, 0.5f, 1e-6f);
    // The volume slides from 1 to 0.2 on top of it, and reads as the console set it.
    ASSERT_TRUE(engine.channelSlideAttribute(h, kAttribVol, 0.2f, 1000));
    out = render(22050);
    EXPECT_NEAR(out[2 * 22050 - 2] / kHalf, 0.5f * 0.6f, 1e-3f);
    out = render(44100);
    EXPECT_NEAR(out[2 * 44000] / kHalf, 0.5f * 0.2f, 1e-6f);
    float v = 0;
    ASSERT_TRUE(engine.channelGetAttribute(h, kAttribVol, v));
    EXPECT_FLOAT_EQ(v, 0.2f);
    ASSERT_TRUE(engine.channelGetAttribute(h, kAttribLoudness, v));
    EXPECT_FLOAT_EQ(v, 0.5f);
    // A louder stage lifts it above the volume too.
    ASSERT_TRUE(engine.channelSetAttribute(h, kAttribLoudness, 2.0f));
    out = render(100);
    EXPECT_NEAR(out[0] / kHalf, 2.0f * 0.2f, 1e-6f);
}

TEST_F(OfflineEngineTest, AudioMixLoudnessStageIsForStreamsAndTakesNoSlideOrNegative) {
    const Handle h = wavStream(constant(44100, 16384, 16384, 44100), "dc.wav");
    float v = 0;
    ASSERT_TRUE(engine.channelGetAttribute(h, kAttribLoudness, v));
    EXPECT_FLOAT_EQ(v, 1.0f);
    EXPECT_FALSE(engine.channelSetAttribute(mixer, kAttribLoudness, 0.5f));
    EXPECT_FALSE(engine.channelSlideAttribute(h, kAttribLoudness, 0.5f, 100));
    EXPECT_FALSE(engine.channelSetAttribute(h, kAttribLoudness, -1.0f));
    EXPECT_FALSE(engine.channelSetAttribute(h, kAttribLoudness, std::nanf("")));
    EXPECT_FALSE(engine.channelSetAttribute(0, kAttribLoudness, 0.5f));
    ASSERT_TRUE(engine.channelGetAttribute(h, kAttribLoudness, v));
    EXPECT_FLOAT_EQ(v, 1.0f);
}

TEST_F(OfflineEngineTest, AudioMixMoreCommandsThanTheQueueHoldsBetweenRenders) {
    const Handle h = wavStream(constant(44100, 16384, 16384, 44100), "dc.wav");
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    for (int i = 0; i <= 10000; ++i) {
        ASSERT_TRUE(engine.channelSetAttribute(h, kAttribVol, static_cast<float>(i % 7) / 10.0f));
    }
    const auto out = render(100);
    EXPECT_NEAR(out[0] / kHalf, static_cast<float>(10000 % 7) / 10.0f, 1e-6f);
}

TEST_F(OfflineEngineTest, AudioMixPauseHoldsPositionAndSlide) {
    const Handle h = wavStream(constant(44100, 16384, 16384, 44100 * 3), "dc.wav");
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    ASSERT_TRUE(engine.channelSlideAttribute(h, kAttribVol, 0.0f, 1000));
    render(11025);  // a quarter of the slide: volume 0.75
    ASSERT_EQ(engine.mixerChannelFlags(h, kMixerPause, kMixerPause), kMixerPause);
    const std::int64_t held = engine.channelGetPosition(h);
    EXPECT_EQ(held, 11025 * 4);
    const auto paused = render(22050);
    for (float s : paused) {
        ASSERT_EQ(s, 0.0f);
    }
    EXPECT_EQ(engine.channelGetPosition(h), held);
    EXPECT_NE(engine.channelIsActive(h), kStopped);
    float v = 0;
    ASSERT_TRUE(engine.channelGetAttribute(h, kAttribVol, v));
    EXPECT_NEAR(v, 0.75f, 1e-3f);

    ASSERT_EQ(engine.mixerChannelFlags(h, 0, kMixerPause), 0u);
    const auto resumed = render(11025);
    EXPECT_NEAR(resumed[0] / kHalf, 0.75f, 1e-3f);         // the slide goes on from 0.75
    EXPECT_NEAR(resumed[2 * 11024] / kHalf, 0.5f, 1e-3f);  // and is at half after 50 %
    EXPECT_EQ(engine.channelGetPosition(h), (11025 + 11025) * 4);
}

TEST_F(OfflineEngineTest, AudioMixAddedPausedWaitsForItsFlag) {
    const Handle h = wavStream(constant(44100, 16384, 16384, 44100), "dc.wav");
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, kMixerPause));
    render(4410);
    EXPECT_EQ(engine.channelGetPosition(h), 0);
    ASSERT_EQ(engine.mixerChannelFlags(h, 0, kMixerPause), 0u);
    const auto out = render(10);
    EXPECT_FLOAT_EQ(out[0], kHalf);
}

TEST_F(OfflineEngineTest, AudioMixAutoFreeFiresTheFreeSyncOnce) {
    const Handle h = wavStream(constant(44100, 1000, 1000, 4410), "short.wav");
    int frees = 0, ends = 0;
    ASSERT_NE(engine.channelSetSync(h, kSyncFree, 0,
                                    [&](Handle, Handle c, std::uint32_t) {
                                        EXPECT_EQ(c, h);
                                        ++frees;
                                    }),
              0u);
    ASSERT_NE(engine.channelSetSync(h, kSyncEnd, 0, [&](Handle, Handle, std::uint32_t) { ++ends; }),
              0u);
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, kStreamAutoFree));
    render(4000);
    EXPECT_EQ(frees, 0);
    render(2000);
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(frees, 1);
    EXPECT_EQ(engine.channelGetLength(h), -1);  // the handle is stale now
    EXPECT_EQ(engine.errorGetCode(), kErrorHandle);
    EXPECT_FALSE(engine.streamFree(h));
    render(44100);
    EXPECT_EQ(frees, 1);
}

TEST_F(OfflineEngineTest, AudioMixEndSyncFiresAndStreamStaysValid) {
    const Handle h = wavStream(constant(44100, 1000, 1000, 3000), "short.wav");
    std::vector<Handle> ended;
    const Handle sync = engine.channelSetSync(
        h, kSyncEnd, 0, [&](Handle s, Handle c, std::uint32_t) { ended.push_back(s ? c : 0); });
    ASSERT_NE(sync, 0u);
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    const auto out = render(4096);
    ASSERT_EQ(ended.size(), 1u);
    EXPECT_EQ(ended[0], h);
    EXPECT_NE(out[2 * 2999], 0.0f);
    EXPECT_EQ(out[2 * 3000], 0.0f);
    EXPECT_EQ(engine.channelIsActive(h), kStopped);
    EXPECT_EQ(engine.channelGetPosition(h), 3000 * 4);
    EXPECT_EQ(engine.channelGetLength(h), 3000 * 4);
    render(4096);
    EXPECT_EQ(ended.size(), 1u);
    // Played again from the start, it ends again.
    ASSERT_TRUE(engine.channelSetPosition(h, 0));
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    render(4096);
    EXPECT_EQ(ended.size(), 2u);
}

TEST_F(OfflineEngineTest, AudioMixResampledSourceEndsAtItsLength) {
    const Handle h = wavStream(sine(22050, 1, 440.0, 0.3, 22050 + 333), "low.wav");
    int ends = 0;
    engine.channelSetSync(h, kSyncEnd, 0, [&](Handle, Handle, std::uint32_t) { ++ends; });
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    render(44100);
    EXPECT_EQ(ends, 0);
    const std::int64_t halfway = engine.channelGetPosition(h);
    EXPECT_NEAR(static_cast<double>(halfway), 22050.0 * 2, 2.0);
    render(4096);
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(engine.channelGetPosition(h), engine.channelGetLength(h));
}

TEST_F(OfflineEngineTest, AudioMixPlayingStreamGoesToTheCardOutsideTheMixer) {
    const Handle preview =
        wavStream(constant(44100, 8192, 8192, 44100), "preview.wav", kStreamAutoFree);
    int frees = 0;
    engine.channelSetSync(preview, kSyncFree, 0, [&](Handle, Handle, std::uint32_t) { ++frees; });
    ASSERT_FALSE(engine.mixerAddChannel(mixer, preview, 0));  // not a decoding stream
    ASSERT_TRUE(engine.channelSetAttribute(mixer, kAttribVol, 0.0f));
    ASSERT_TRUE(engine.channelPlay(preview, false));
    std::vector<float> bus;
    const auto out = render(1000, bus);
    EXPECT_FLOAT_EQ(out[500], 0.25f);  // heard although the mixer is muted
    EXPECT_EQ(bus[500], 0.0f);         // and not part of the mix
    EXPECT_EQ(engine.channelGetLevel(mixer), 0u);
    EXPECT_EQ(engine.channelIsActive(preview), kPlaying);
    ASSERT_TRUE(engine.channelStop(preview));
    EXPECT_EQ(engine.channelIsActive(preview), kStopped);
    EXPECT_EQ(render(100)[50], 0.0f);
    ASSERT_TRUE(engine.channelPlay(preview, true));
    render(44100 + 1024);
    EXPECT_EQ(frees, 1);
}

TEST_F(OfflineEngineTest, AudioMixRemoveTakesOutWithoutFreeing) {
    const Handle h = wavStream(constant(44100, 16384, 16384, 44100), "dc.wav");
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    render(1000);
    ASSERT_TRUE(engine.mixerChannelRemove(h));
    EXPECT_EQ(render(100)[10], 0.0f);
    EXPECT_EQ(engine.channelGetPosition(h), 1000 * 4);
    EXPECT_EQ(engine.channelGetLength(h), 44100 * 4);
    // Back in the mix it goes on where it was taken out.
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    render(500);
    EXPECT_EQ(engine.channelGetPosition(h), 1500 * 4);
}

TEST_F(OfflineEngineTest, AudioMixLevelPacksLeftLowRightHigh) {
    const Handle h = wavStream(constant(44100, 8192, -16384, 44100), "lr.wav");
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    render(2048);
    EXPECT_EQ(engine.channelGetLevel(mixer), 8192u | (16384u << 16));
    EXPECT_EQ(engine.channelGetLevel(h), 8192u | (16384u << 16));
}

// The mixer takes a source's frames two at a time; its level is still its loudest frame's,
// whether that frame is the first of a pair, the second, or the odd one left at a block's end.
TEST_F(OfflineEngineTest, AudioMixLevelIsTheLoudestFrameOfTheBlockWhereverItIs) {
    struct Case {
        std::size_t leftAt, rightAt;
    };
    for (const Case c : {Case{6, 9}, Case{9, 6}, Case{14, 0}, Case{0, 14}}) {
        Pcm pcm = constant(44100, 100, -100, 15);
        pcm.samples[2 * c.leftAt] = 8192;
        pcm.samples[2 * c.rightAt + 1] = -16384;
        const Handle h = wavStream(pcm, "spike" + std::to_string(c.leftAt) + ".wav");
        ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
        render(15);
        EXPECT_EQ(engine.channelGetLevel(h), 8192u | (16384u << 16))
            << c.leftAt << " " << c.rightAt;
        EXPECT_EQ(engine.channelGetLevel(mixer), 8192u | (16384u << 16));
        engine.streamFree(h);
    }
}

TEST_F(OfflineEngineTest, AudioMixLevelIsMeasuredBeforeTheMixerVolume) {
    const Handle h = wavStream(constant(44100, 8192, 8192, 44100), "dc.wav");
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    ASSERT_TRUE(engine.channelSetAttribute(mixer, kAttribVol, 0.25f));
    std::vector<float> bus;
    const auto out = render(2048, bus);
    EXPECT_EQ(engine.channelGetLevel(mixer), 8192u | (8192u << 16));
    EXPECT_FLOAT_EQ(bus[1000], 0.25f);          // the mix itself is untouched
    EXPECT_FLOAT_EQ(out[1000], 0.25f * 0.25f);  // the card hears the mixer's volume
    // A source's own volume does count in the level.
    ASSERT_TRUE(engine.channelSetAttribute(h, kAttribVol, 0.5f));
    render(2048);
    EXPECT_EQ(engine.channelGetLevel(mixer), 4096u | (4096u << 16));
}

struct RateCase {
    const char* name;
    int rate;
    int channels;
    bool mp3;
};

class AudioMixRateTest : public OfflineEngineTest,
                         public ::testing::WithParamInterface<RateCase> {};

TEST_P(AudioMixRateTest, ComesOutAt44100StereoWithToneAndLevelKept) {
    const RateCase& c = GetParam();
    const double hz = 997.0, amplitude = 0.5;
    writeWav(dir / "tone.wav",
             sine(c.rate, c.channels, hz, amplitude, static_cast<std::size_t>(c.rate) * 2));
    std::filesystem::path file = dir / "tone.wav";
    if (c.mp3) {
        const std::string resample = c.rate == 22050 ? "22.05" : std::to_string(c.rate / 1000);
        encodeMp3(file, dir / "tone.mp3", "-b 128 --resample " + resample);
        file = dir / "tone.mp3";
    }
    // The level to keep: the source's own, as its decoder gives it at its own rate.
    const Handle scan = engine.streamCreateFile(file.string(), 0, 0, kStreamDecode);
    ASSERT_NE(scan, 0u);
    std::vector<std::int16_t> native(static_cast<std::size_t>(c.rate * c.channels));
    ASSERT_EQ(
        engine.channelGetData(scan, native.data(), static_cast<std::uint32_t>(native.size() * 2)),
        static_cast<std::int64_t>(native.size() * 2));
    double sum = 0;
    const std::size_t from = native.size() / 4, to = native.size() * 3 / 4;
    for (std::size_t i = from; i < to; ++i) {
        sum += (native[i] / 32768.0) * (native[i] / 32768.0);
    }
    const double sourceRms = std::sqrt(sum / static_cast<double>(to - from));
    if (!c.mp3) {
        EXPECT_NEAR(toDb(sourceRms / (amplitude / std::sqrt(2.0))), 0.0, 0.01);
    }

    const Handle h = engine.streamCreateFile(file.string(), 0, 0, kStreamDecode);
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    const auto out = render(44100);
    for (int ch = 0; ch < 2; ++ch) {
        EXPECT_NEAR(frequency(out, ch, 4410, 39690, 44100.0), hz, 0.5) << "channel " << ch;
        EXPECT_NEAR(toDb(rms(out, ch, 4410, 39690) / sourceRms), 0.0, 0.1) << "channel " << ch;
    }
}

INSTANTIATE_TEST_SUITE_P(Rates, AudioMixRateTest,
                         ::testing::Values(RateCase{"Wav22050Mono", 22050, 1, false},
                                           RateCase{"Wav32000Stereo", 32000, 2, false},
                                           RateCase{"Wav48000Stereo", 48000, 2, false},
                                           RateCase{"Wav44100Mono", 44100, 1, false},
                                           RateCase{"Mp322050Mono", 22050, 1, true},
                                           RateCase{"Mp332000Stereo", 32000, 2, true},
                                           RateCase{"Mp348000Mono", 48000, 1, true}),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace tw::audio::test
