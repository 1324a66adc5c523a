// The studio output: streams played straight out go to a card of their own when one is chosen,
// the mixer (and the air) never does; the feed between the two cards' clocks.

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#include "audio/studio_ring.h"
#include "tests/audio/audio_fixtures.h"

namespace tw::audio::test {
namespace {

TEST_F(OfflineEngineTest, StudioOutputTakesThePreviewAwayFromTheMainCard) {
    const Handle preview =
        wavStream(constant(44100, 8192, 8192, 44100), "preview.wav", kStreamAutoFree);
    const Handle music = wavStream(constant(44100, 16384, 16384, 44100), "music.wav");
    ASSERT_TRUE(engine.mixerAddChannel(mixer, music, 0));
    ASSERT_TRUE(engine.setStudioDevice(0));
    ASSERT_TRUE(engine.channelPlay(preview, false));
    std::vector<float> bus;
    const auto out = render(8192, bus);
    EXPECT_FLOAT_EQ(out[1000], 0.5f) << "the main card: the mixer's monitor alone";
    EXPECT_FLOAT_EQ(bus[1000], 0.5f) << "the air: the mix alone";
    std::vector<float> studio(8192 * 2);
    engine.readStudio(studio.data(), 8192);
    EXPECT_FLOAT_EQ(studio[1000], 0.25f) << "the studio card: the preview alone";
    EXPECT_FLOAT_EQ(studio[1001], 0.25f);
}

TEST_F(OfflineEngineTest, StudioOutputOffPutsThePreviewBackOnTheMainCard) {
    const Handle preview =
        wavStream(constant(44100, 8192, 8192, 44100), "preview.wav", kStreamAutoFree);
    ASSERT_TRUE(engine.setStudioDevice(0));
    ASSERT_TRUE(engine.setStudioDevice(-1));
    ASSERT_TRUE(engine.channelPlay(preview, false));
    const auto out = render(1000);
    EXPECT_FLOAT_EQ(out[500], 0.25f);
    std::vector<float> studio(1000 * 2);
    engine.readStudio(studio.data(), 1000);
    EXPECT_EQ(studio[500], 0.0f);
}

TEST_F(OfflineEngineTest, StudioOutputNeverCarriesTheMix) {
    const Handle music = wavStream(constant(44100, 16384, 16384, 44100), "music.wav");
    ASSERT_TRUE(engine.mixerAddChannel(mixer, music, 0));
    ASSERT_TRUE(engine.setStudioDevice(0));
    render(8192);
    std::vector<float> studio(8192 * 2);
    engine.readStudio(studio.data(), 8192);
    for (float v : studio) {
        ASSERT_EQ(v, 0.0f);
    }
}

TEST(StudioOutputNamesTest, TheSilentModesOfferOneStudioOutputAndNoMore) {
    MixEngine engine{EngineMode::SilentDevice};
    ASSERT_TRUE(engine.init(-1, 44100, 0));
    std::string name;
    ASSERT_TRUE(engine.getOutputDeviceName(0, name));
    EXPECT_EQ(name, "Silent studio output");
    EXPECT_FALSE(engine.getOutputDeviceName(1, name));
    EXPECT_FALSE(engine.getOutputDeviceName(-1, name));
    EXPECT_FALSE(engine.setStudioDevice(3));
    EXPECT_EQ(engine.errorGetCode(), kErrorDevice);
    ASSERT_TRUE(engine.setStudioDevice(0));  // a second timed device pulls the studio feed
    std::this_thread::sleep_for(std::chrono::milliseconds(60));
    ASSERT_TRUE(engine.setStudioDevice(-1));
    engine.free();
}

TEST(StudioOutputNamesTest, BeforeItsStartTheEngineHasNoStudioOutput) {
    MixEngine engine{EngineMode::Offline};
    EXPECT_FALSE(engine.setStudioDevice(0));
    EXPECT_EQ(engine.errorGetCode(), kErrorInit);
}

TEST(StudioRingTest, WhatIsWrittenIsReadInOrderAfterTheFirstBlocksGather) {
    StudioRing ring(8192);
    std::vector<float> in(6000 * 2);
    for (std::size_t i = 0; i < in.size(); ++i) {
        in[i] = static_cast<float>(i);
    }
    std::vector<float> out(1000 * 2, -1.0f);
    ring.write(in.data(), 1000);
    ring.produce(out.data(), 1000);
    EXPECT_EQ(out[0], 0.0f) << "silence until enough has gathered";
    EXPECT_EQ(out[1999], 0.0f);
    EXPECT_EQ(ring.queued(), 1000u);
    ring.write(in.data() + 2000, 5000);
    ring.produce(out.data(), 1000);
    EXPECT_EQ(out[0], 0.0f);  // sample 0
    EXPECT_EQ(out[1999], 1999.0f);
    ring.produce(out.data(), 1000);
    EXPECT_EQ(out[0], 2000.0f);
}

TEST(StudioRingTest, AFullRingDropsWhatDoesNotFitAndAnEmptyOneGivesSilence) {
    StudioRing ring(5000);
    std::vector<float> in(10000 * 2, 0.5f);
    ring.write(in.data(), 10000);
    EXPECT_EQ(ring.queued(), 8192u) << "rounded up to a power of two, the rest dropped";
    std::vector<float> out(8192 * 2);
    ring.produce(out.data(), 8192);
    EXPECT_EQ(out[16383], 0.5f);
    std::fill(out.begin(), out.end(), -1.0f);
    ring.produce(out.data(), 100);
    EXPECT_EQ(out[0], 0.0f) << "run dry: silence";
    EXPECT_EQ(out[199], 0.0f);
}

}  // namespace
}  // namespace tw::audio::test
