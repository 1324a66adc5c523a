// Streams the console is done with but never frees: a microphone's record channel taken out of the
// mix at every close, previews (playing streams without AUTOFREE) that played out or were stopped.
// However often that happens the engine's handles stay few, the newest of those streams stay as
// they were, and an older one reads as a stale handle.

#include <gtest/gtest.h>

#include <cmath>

#include "audio/capture_device.h"
#include "tests/audio/audio_fixtures.h"

namespace tw::audio::test {
namespace {

constexpr int kFileRate = 44100;

// Far past the 4,095 slots of a handle table.
constexpr int kManyTimes = 5000;

class IdleStreamsTest : public OfflineEngineTest {
  protected:
    void SetUp() override {
        OfflineEngineTest::SetUp();
        const auto voice = dir.path() / "voice.wav";
        writeWav(voice, sine(kFileRate, 2, 1000, 0.5, kFileRate));
        engine.useCapture(simulatedCapture(voice.string()));
        ASSERT_TRUE(engine.recordInit(-1)) << engine.errorGetCode();
        writeWav(dir.path() / "short.wav", constant(kFileRate, 1000, 1000, 256));
    }

    // The microphone as the console opens and closes it: a new paused record channel into the
    // mix, played, and at the close taken out of the mix, neither stopped nor freed.
    Handle openAndCloseMicrophone() {
        const Handle mic = engine.recordStart(kFileRate, 2, kRecordPause, nullptr);
        EXPECT_NE(mic, 0u) << "error " << engine.errorGetCode();
        EXPECT_TRUE(engine.mixerAddChannel(mixer, mic, 0));
        EXPECT_TRUE(engine.channelPlay(mic, false));
        render(64);
        EXPECT_TRUE(engine.mixerChannelRemove(mic));
        return mic;
    }

    // A preview as the console plays it: a playing stream without flags and an end sync.
    Handle preview(int& ends) {
        const Handle h = engine.streamCreateFile((dir.path() / "short.wav").string(), 0, 0, 0);
        EXPECT_NE(h, 0u) << "error " << engine.errorGetCode();
        EXPECT_TRUE(engine.channelPlay(h, false));
        EXPECT_NE(engine.channelSetSync(h, kSyncEnd, 0,
                                        [&ends](Handle, Handle, std::uint32_t) { ++ends; }),
                  0u);
        return h;
    }

    std::size_t liveHandles() { return engine.handleCounts().total(); }
};

TEST_F(IdleStreamsTest, ClosedMicrophonesNeverRunTheHandlesOut) {
    const Handle first = openAndCloseMicrophone();
    const std::size_t before = liveHandles();
    Handle last = 0;
    for (int i = 0; i < kManyTimes; ++i) {
        last = openAndCloseMicrophone();
        ASSERT_NE(last, 0u) << "opening " << i + 1 << " found no free handle";
    }
    EXPECT_LE(liveHandles(), before + 8) << "handles at the start " << before;
    // The last closed microphone is as the console left it: recording, out of the mix, and
    // back in the mix at once.
    EXPECT_EQ(engine.channelIsActive(last), kPlaying);
    EXPECT_TRUE(engine.mixerAddChannel(mixer, last, 0));
    std::vector<float> bus;
    render(kFileRate / 4, bus);
    EXPECT_GT(rms(bus, 0, kFileRate / 20, kFileRate / 4), 0.3);
    // The first one is gone: a stale handle, harmless.
    EXPECT_EQ(engine.channelIsActive(first), kStopped);
    EXPECT_FALSE(engine.mixerAddChannel(mixer, first, 0));
    EXPECT_EQ(engine.errorGetCode(), kErrorHandle);
    EXPECT_EQ(engine.channelGetLevel(first), 0u);
    EXPECT_FALSE(engine.channelPlay(first, false));
}

TEST_F(IdleStreamsTest, PreviewsThatPlayedOutNeverRunTheHandlesOut) {
    int ends = 0;
    const Handle first = preview(ends);
    render(1024);
    ASSERT_EQ(ends, 1);
    const std::size_t before = liveHandles();
    Handle last = 0;
    for (int i = 0; i < kManyTimes; ++i) {
        last = preview(ends);
        ASSERT_NE(last, 0u) << "preview " << i + 1 << " found no free handle";
        render(1024);
    }
    EXPECT_EQ(ends, kManyTimes + 1) << "every preview played to its end";
    EXPECT_LE(liveHandles(), before + 2 * 8) << "handles at the start " << before;
    // The newest one can be played again from the start, as before.
    EXPECT_EQ(engine.channelIsActive(last), kStopped);
    EXPECT_EQ(engine.channelGetLength(last), 256 * 4);
    EXPECT_TRUE(engine.channelPlay(last, true));
    EXPECT_EQ(engine.channelIsActive(last), kPlaying);
    render(1024);
    EXPECT_EQ(ends, kManyTimes + 2);
    EXPECT_EQ(engine.channelGetLength(first), -1) << "the first is stale";
    EXPECT_EQ(engine.channelGetPosition(first), 0);
    EXPECT_FALSE(engine.channelSetPosition(first, 0));
}

TEST_F(IdleStreamsTest, StoppedPreviewsNeverRunTheHandlesOut) {
    int ends = 0;
    writeWav(dir.path() / "long.wav", constant(kFileRate, 1000, 1000, kFileRate * 5));
    const std::size_t before = liveHandles();
    Handle first = 0;
    for (int i = 0; i < kManyTimes; ++i) {
        const Handle h = engine.streamCreateFile((dir.path() / "long.wav").string(), 0, 0, 0);
        ASSERT_NE(h, 0u) << "preview " << i + 1 << " found no free handle";
        first = first == 0 ? h : first;
        ASSERT_TRUE(engine.channelPlay(h, false));
        engine.channelSetSync(h, kSyncEnd, 0, [&ends](Handle, Handle, std::uint32_t) { ++ends; });
        render(64);
        ASSERT_TRUE(engine.channelStop(h));
    }
    EXPECT_EQ(ends, 0);
    EXPECT_LE(liveHandles(), before + 2 * 8) << "handles at the start " << before;
    EXPECT_EQ(engine.channelIsActive(first), kStopped);
    EXPECT_FALSE(engine.channelPlay(first, false));
    EXPECT_EQ(engine.errorGetCode(), kErrorHandle);
}

TEST_F(IdleStreamsTest, LoadedStreamsAndTakesBeingRecordedAreNeverTakenForIdle) {
    // A player's next track waits as a decoding stream outside the mix; a take records through a
    // callback outside the mix. Neither is idle, however many previews end meanwhile.
    const Handle next = wavStream(constant(kFileRate, 1000, 1000, kFileRate), "next.wav");
    int blocks = 0;
    const Handle take = engine.recordStart(
        kFileRate, 2, 0,
        [&blocks](Handle, const std::int16_t*, std::size_t) { return ++blocks > 0; });
    ASSERT_NE(take, 0u);
    int ends = 0;
    for (int i = 0; i < 100; ++i) {
        preview(ends);
        render(1024);
    }
    EXPECT_EQ(engine.channelGetLength(next), kFileRate * 4);
    EXPECT_EQ(engine.channelIsActive(take), kPlaying);
    const int seen = blocks;
    render(1024);
    EXPECT_GT(blocks, seen) << "the take still records";
}

TEST_F(IdleStreamsTest, AReclaimedStreamFiresItsFreeSync) {
    int freed = 0;
    int ends = 0;
    const Handle h = preview(ends);
    engine.channelSetSync(h, kSyncFree, 0, [&freed](Handle, Handle, std::uint32_t) { ++freed; });
    render(1024);
    for (int i = 0; i < 20; ++i) {
        preview(ends);
        render(1024);
    }
    EXPECT_EQ(freed, 1);
    EXPECT_EQ(engine.channelIsActive(h), kStopped);
}

}  // namespace
}  // namespace tw::audio::test
