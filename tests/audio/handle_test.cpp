// Stale and zero handles: every operation is harmless and answers as a stopped, empty channel.

#include "tests/audio/audio_fixtures.h"

namespace tw::audio::test {
namespace {

// Every channel operation on `h`, each expected to fail the way a stale handle fails.
void expectStale(MixEngine& engine, Handle h, Handle mixer) {
    SCOPED_TRACE(testing::Message() << "handle " << std::hex << h);
    std::int16_t buffer[16] = {};
    ChannelInfo info;
    float value = 0;
    EXPECT_FALSE(engine.channelPlay(h, false));
    EXPECT_EQ(engine.errorGetCode(), kErrorHandle);
    EXPECT_FALSE(engine.channelPlay(h, true));
    EXPECT_FALSE(engine.channelStop(h));
    EXPECT_EQ(engine.channelIsActive(h), kStopped);
    EXPECT_EQ(engine.channelGetLength(h), -1);
    EXPECT_EQ(engine.channelGetPosition(h), 0);
    EXPECT_FALSE(engine.channelSetPosition(h, 0));
    EXPECT_LT(engine.channelBytes2Seconds(h, 1000), 0.0);
    EXPECT_EQ(engine.channelSeconds2Bytes(h, 1.0), -1);
    EXPECT_EQ(engine.channelGetLevel(h), 0u);
    EXPECT_EQ(engine.channelGetData(h, buffer, sizeof buffer), -1);
    EXPECT_FALSE(engine.channelGetInfo(h, info));
    EXPECT_FALSE(engine.channelSetAttribute(h, kAttribVol, 0.5f));
    EXPECT_FALSE(engine.channelGetAttribute(h, kAttribVol, value));
    EXPECT_FALSE(engine.channelSlideAttribute(h, kAttribVol, 0.0f, 100));
    EXPECT_EQ(engine.channelSetSync(h, kSyncEnd, 0, [](Handle, Handle, std::uint32_t) {}), 0u);
    EXPECT_FALSE(engine.channelRemoveSync(h, 1));
    EXPECT_FALSE(engine.mixerAddChannel(mixer, h, 0));
    EXPECT_FALSE(engine.mixerAddChannel(h, h, 0));
    EXPECT_EQ(engine.mixerChannelFlags(h, kMixerPause, kMixerPause), 0xFFFFFFFFu);
    EXPECT_FALSE(engine.mixerChannelRemove(h));
    EXPECT_EQ(engine.channelSetFX(h, kFxParamEq, 1), 0u);
    EXPECT_EQ(engine.errorGetCode(), kErrorHandle);
    EXPECT_FALSE(engine.channelRemoveFX(h, h));
    EXPECT_EQ(engine.encodeStart(h, "lame -", kEncodeNoHead), 0u);
    EXPECT_EQ(engine.errorGetCode(), kErrorHandle);
    EXPECT_EQ(engine.encodeIsActive(h), kStopped);
    EXPECT_FALSE(engine.encodeStop(h));
    EXPECT_FALSE(engine.streamFree(h));
    EXPECT_EQ(engine.errorGetCode(), kErrorHandle);
}

TEST_F(OfflineEngineTest, AudioHandleEveryOperationOnStaleHandlesIsHarmless) {
    const Handle h = wavStream(constant(44100, 1000, 1000, 44100), "a.wav");
    const Handle sync = engine.channelSetSync(h, kSyncEnd, 0, [](Handle, Handle, std::uint32_t) {});
    ASSERT_NE(sync, 0u);
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    render(1000);
    ASSERT_TRUE(engine.streamFree(h));
    render(1000);

    expectStale(engine, h, mixer);
    expectStale(engine, 0, mixer);
    expectStale(engine, sync, mixer);             // a sync handle is no channel
    expectStale(engine, h ^ 0x00FF0000u, mixer);  // a made-up generation

    // A new stream in the same slot gets a new generation: the old handle stays stale.
    const Handle again = wavStream(constant(44100, 1000, 1000, 44100), "b.wav");
    EXPECT_NE(again, h);
    expectStale(engine, h, mixer);
    EXPECT_EQ(engine.channelGetLength(again), 44100 * 4);
    EXPECT_FALSE(engine.channelRemoveSync(again, sync));
}

TEST_F(OfflineEngineTest, AudioHandleFreedMixerIsStaleAndItsSourcesLive) {
    const Handle h = wavStream(constant(44100, 1000, 1000, 44100), "a.wav");
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    ASSERT_TRUE(engine.streamFree(mixer));
    render(100);
    expectStale(engine, mixer, 0);
    EXPECT_EQ(engine.channelGetLength(h), 44100 * 4);
    EXPECT_NE(engine.mixerStreamCreate(44100, 2, 0), 0u);
}

TEST(AudioHandleEngineTest, OperationsBeforeInitFailWithoutHarm) {
    MixEngine engine{EngineMode::Offline};
    EXPECT_EQ(engine.mixerStreamCreate(44100, 2, 0), 0u);
    EXPECT_EQ(engine.errorGetCode(), kErrorInit);
    EXPECT_EQ(engine.streamCreateFile("/nonexistent.mp3", 0, 0, kStreamDecode), 0u);
    EXPECT_FALSE(engine.render(100));
    EXPECT_FALSE(engine.free());
    ASSERT_TRUE(engine.init(-1, 44100, 0));
    EXPECT_FALSE(engine.init(-1, 44100, 0));
    EXPECT_EQ(engine.errorGetCode(), kErrorAlready);
}

TEST(AudioHandleEngineTest, FreeingTheEngineFiresEveryFreeSync) {
    tw::test::TempDir dir;
    writeWav(dir / "a.wav", constant(44100, 1000, 1000, 44100));
    MixEngine engine{EngineMode::Offline};
    ASSERT_TRUE(engine.init(-1, 44100, 0));
    const Handle mixer = engine.mixerStreamCreate(44100, 2, 0);
    std::vector<Handle> freed;
    for (int i = 0; i < 3; ++i) {
        const Handle h = engine.streamCreateFile((dir / "a.wav").string(), 0, 0, kStreamDecode);
        ASSERT_NE(h, 0u);
        engine.channelSetSync(h, kSyncFree, 0,
                              [&](Handle, Handle c, std::uint32_t) { freed.push_back(c); });
        if (i == 0) {
            ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
        }
    }
    ASSERT_TRUE(engine.channelPlay(mixer, false));
    ASSERT_TRUE(engine.render(500));
    ASSERT_TRUE(engine.free());
    EXPECT_EQ(freed.size(), 3u);
    EXPECT_EQ(engine.channelGetLength(freed.empty() ? 0 : freed[0]), -1);
}

}  // namespace
}  // namespace tw::audio::test
