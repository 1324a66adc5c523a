// The timed silent device: with no card the mix is pulled in real time from the engine's own
// thread, and ends and syncs arrive from its workers.

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "tests/audio/audio_fixtures.h"

namespace tw::audio::test {
namespace {

TEST(AudioDeviceTest, SilentDeviceKeepsRealTimeWithinOnePercentOver10s) {
    tw::test::TempDir dir;
    writeWav(dir / "long.wav", constant(44100, 1000, 1000, 44100 * 13));
    MixEngine engine{EngineMode::SilentDevice};
    ASSERT_TRUE(engine.init(-1, 44100, kDeviceLatency));
    EXPECT_FALSE(engine.getInfo().hasDevice);
    const Handle mixer = engine.mixerStreamCreate(44100, 2, 0);
    ASSERT_TRUE(engine.channelPlay(mixer, false));
    const Handle h = engine.streamCreateFile((dir / "long.wav").string(), 0, 0, kStreamDecode);
    ASSERT_NE(h, 0u);
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));

    const auto t0 = std::chrono::steady_clock::now();
    const std::int64_t p0 = engine.channelGetPosition(h);
    std::this_thread::sleep_for(std::chrono::seconds(10));
    const auto t1 = std::chrono::steady_clock::now();
    const std::int64_t p1 = engine.channelGetPosition(h);
    const double wall = std::chrono::duration<double>(t1 - t0).count();
    const double played = static_cast<double>(p1 - p0) / (44100.0 * 4);
    EXPECT_NEAR(played / wall, 1.0, 0.01) << "played " << played << " s in " << wall << " s";
    EXPECT_NE(engine.channelGetLevel(mixer), 0u);
    EXPECT_TRUE(engine.free());
}

TEST(AudioDeviceTest, SilentDeviceDeliversEndAndFreeSyncsOnAWorker) {
    tw::test::TempDir dir;
    writeWav(dir / "short.wav", constant(44100, 1000, 1000, 4410));
    MixEngine engine{EngineMode::Device};  // the tests run with TARNWAVE_AUDIO=null or no card
    ASSERT_TRUE(engine.init(-1, 44100, 0));
    const Handle mixer = engine.mixerStreamCreate(44100, 2, 0);
    ASSERT_TRUE(engine.channelPlay(mixer, false));
    const Handle h = engine.streamCreateFile((dir / "short.wav").string(), 0, 0, kStreamDecode);
    std::atomic<int> ends{0}, frees{0};
    std::atomic<bool> onCaller{false};
    const auto caller = std::this_thread::get_id();
    engine.channelSetSync(h, kSyncEnd, 0, [&](Handle, Handle, std::uint32_t) {
        onCaller = onCaller || std::this_thread::get_id() == caller;
        ++ends;
    });
    engine.channelSetSync(h, kSyncFree, 0, [&](Handle, Handle, std::uint32_t) { ++frees; });
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, kStreamAutoFree));
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (frees == 0 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(frees, 1);
    EXPECT_FALSE(onCaller);
    EXPECT_EQ(engine.channelGetLength(h), -1);
}

TEST(AudioDeviceTest, ConsoleOperationsWhileTheDevicePlaysKeepTheirContract) {
    // The console's day on a running device: loads, seeks, fades, pauses, removals and frees
    // while the audio thread and the workers run. Run under ThreadSanitizer this checks the
    // hand-over between the threads; here it checks the answers.
    tw::test::TempDir dir;
    writeWav(dir / "a.wav", constant(44100, 8000, 8000, 44100 * 2));
    writeWav(dir / "b.wav", sine(48000, 1, 440.0, 0.3, 48000));
    MixEngine engine{EngineMode::SilentDevice};
    ASSERT_TRUE(engine.init(-1, 44100, 0));
    const Handle mixer = engine.mixerStreamCreate(44100, 2, 0);
    ASSERT_TRUE(engine.channelPlay(mixer, false));
    std::atomic<int> frees{0};
    int created = 0;
    for (int round = 0; round < 20; ++round) {
        std::vector<Handle> streams;
        for (const char* name : {"a.wav", "b.wav", "a.wav"}) {
            const Handle h = engine.streamCreateFile((dir / name).string(), 0, 0, kStreamDecode);
            ASSERT_NE(h, 0u);
            ++created;
            engine.channelSetSync(h, kSyncFree, 0, [&](Handle, Handle, std::uint32_t) { ++frees; });
            ASSERT_TRUE(engine.mixerAddChannel(mixer, h, kStreamAutoFree));
            streams.push_back(h);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(15));
        ASSERT_TRUE(engine.channelSetPosition(streams[0], 44100 * 4));
        EXPECT_GE(engine.channelGetPosition(streams[0]), 44100 * 4);
        ASSERT_TRUE(engine.channelSlideAttribute(streams[1], kAttribVol, 0.0f, 50));
        ASSERT_EQ(engine.mixerChannelFlags(streams[2], kMixerPause, kMixerPause),
                  kMixerPause | kStreamAutoFree);
        // The pause reaches the audio thread with its next block.
        std::this_thread::sleep_for(std::chrono::milliseconds(60));
        const std::int64_t held = engine.channelGetPosition(streams[2]);
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        EXPECT_EQ(engine.channelGetPosition(streams[2]), held);
        EXPECT_NE(engine.channelIsActive(streams[2]), kStopped);
        ASSERT_TRUE(engine.mixerChannelRemove(streams[2]));
        ASSERT_TRUE(engine.mixerAddChannel(mixer, streams[2], 0));
        engine.channelGetLevel(mixer);
        for (Handle h : streams) {
            engine.streamFree(h);
        }
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (frees < created && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(frees, created);
    EXPECT_TRUE(engine.free());
}

TEST(AudioDeviceTest, CardPathPullsTheMixThroughPortAudio) {
    // ALSA's null device stands in for a sound card: PortAudio opens it as the default output and
    // its callback pulls the mix. The null device keeps no time (it takes blocks as fast as they
    // come), so this checks the path, not the pace. Set up through the user's ALSA
    // configuration, which this test points at a folder of its own.
    tw::test::TempDir dir;
    tw::test::writeFile(dir / ".asoundrc", "pcm.!default {\n type null\n}\n");
    writeWav(dir / "short.wav", constant(44100, 1000, 1000, 44100));
    const std::string oldHome = std::getenv("HOME") ? std::getenv("HOME") : "";
    const std::string oldAudio = std::getenv("TARNWAVE_AUDIO") ? std::getenv("TARNWAVE_AUDIO") : "";
    setenv("HOME", dir.str().c_str(), 1);
    unsetenv("TARNWAVE_AUDIO");
    MixEngine engine{EngineMode::Device};
    ASSERT_TRUE(engine.init(-1, 44100, kDeviceLatency));
    setenv("HOME", oldHome.c_str(), 1);
    if (!oldAudio.empty()) {
        setenv("TARNWAVE_AUDIO", oldAudio.c_str(), 1);
    }
    const DeviceInfo info = engine.getInfo();
    if (!info.hasDevice) {
        GTEST_SKIP() << "PortAudio offers no ALSA output on this machine";
    }
    EXPECT_GT(info.minbuf, 0u);
    EXPECT_GT(info.latency, 0u);
    const Handle mixer = engine.mixerStreamCreate(44100, 2, 0);
    ASSERT_TRUE(engine.channelPlay(mixer, false));
    const Handle h = engine.streamCreateFile((dir / "short.wav").string(), 0, 0, kStreamDecode);
    std::atomic<int> ends{0};
    engine.channelSetSync(h, kSyncEnd, 0, [&](Handle, Handle, std::uint32_t) { ++ends; });
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (ends == 0 && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(engine.channelGetPosition(h), 44100 * 4);
    EXPECT_GT(engine.channelGetPosition(mixer), 44100 * 4);
    EXPECT_TRUE(engine.free());
}

}  // namespace
}  // namespace tw::audio::test
