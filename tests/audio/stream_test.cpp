// Stream addresses: an ICY server on the loopback interface, started by the test.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <thread>

#include "tests/audio/audio_fixtures.h"
#include "tests/audio/icy_server.h"

namespace tw::audio::test {
namespace {

TEST_F(OfflineEngineTest, AudioStreamFromLoopbackServerPlaysWithNoLength) {
    writeWav(dir / "tone.wav", sine(44100, 2, 997.0, 0.5, 44100 * 3));
    encodeMp3(dir / "tone.wav", dir / "tone.mp3", "-b 128");
    IcyServer server({.body = tw::test::readFile(dir / "tone.mp3"), .metaInterval = 4000});

    const Handle h = engine.streamCreateUrl(server.url(), 0, kStreamDecode);
    ASSERT_NE(h, 0u) << engine.errorGetCode();
    EXPECT_NE(server.request().find("Icy-MetaData: 1"), std::string::npos);
    EXPECT_EQ(engine.channelGetLength(h), -1);
    EXPECT_FALSE(engine.channelSetPosition(h, 4000));
    ChannelInfo info;
    ASSERT_TRUE(engine.channelGetInfo(h, info));
    EXPECT_EQ(info.freq, 44100u);
    EXPECT_EQ(info.chans, 2u);

    int ends = 0;
    engine.channelSetSync(h, kSyncEnd, 0, [&](Handle, Handle, std::uint32_t) { ++ends; });
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    const auto out = render(44100 * 2);
    // The metadata blocks were taken out: the tone comes through whole and at its pitch.
    for (int ch = 0; ch < 2; ++ch) {
        EXPECT_NEAR(frequency(out, ch, 4410, 44100 * 2 - 4410, 44100.0), 997.0, 0.5);
        EXPECT_NEAR(toDb(rms(out, ch, 4410, 44100 * 2 - 4410) / (0.5 / std::sqrt(2.0))), 0.0, 0.5);
    }
    EXPECT_GT(engine.channelGetPosition(h), 0);
    render(44100 * 2);
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(engine.channelIsActive(h), kStopped);
}

TEST_F(OfflineEngineTest, AudioStreamRefusedAddressFailsQuickly) {
    // A port just opened and closed again: nothing listens there.
    const int s = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::bind(s, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
    socklen_t len = sizeof addr;
    ::getsockname(s, reinterpret_cast<sockaddr*>(&addr), &len);
    ::close(s);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(
        engine.streamCreateUrl("http://127.0.0.1:" + std::to_string(ntohs(addr.sin_port)) + "/", 0,
                               kStreamDecode),
        0u);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(3500));
    EXPECT_EQ(engine.streamCreateUrl("/not/an/address.mp3", 0, kStreamDecode), 0u);
}

TEST_F(OfflineEngineTest, AudioStreamWaitingForDataReadsAsStalled) {
    writeWav(dir / "tone.wav", sine(44100, 2, 997.0, 0.5, 44100 * 3));
    encodeMp3(dir / "tone.wav", dir / "tone.mp3", "-b 128");
    const std::string mp3 = tw::test::readFile(dir / "tone.mp3");
    // About 1.2 s, then the network stalls.
    IcyServer server({.body = mp3, .metaInterval = 4000, .holdAt = mp3.size() * 2 / 5});

    const Handle h = engine.streamCreateUrl(server.url(), 0, kStreamDecode);
    ASSERT_NE(h, 0u) << engine.errorGetCode();
    int ends = 0;
    engine.channelSetSync(h, kSyncEnd, 0, [&](Handle, Handle, std::uint32_t) { ++ends; });
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    auto out = render(44100 * 2);
    EXPECT_EQ(engine.channelIsActive(h), kStalled);
    EXPECT_EQ(rms(out, 0, 44100 * 3 / 2, 44100 * 2), 0.0);  // nothing to play meanwhile
    EXPECT_GT(rms(out, 0, 4410, 44100), 0.3);
    const std::int64_t stalledAt = engine.channelGetPosition(h);
    EXPECT_LT(stalledAt, 44100 * 4 * 3 / 2);

    server.release();
    out = render(44100 * 3);
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(engine.channelIsActive(h), kStopped);
    EXPECT_GT(engine.channelGetPosition(h), stalledAt + 44100 * 4);
    EXPECT_GT(rms(out, 0, 4410, 44100), 0.3);  // it goes on once the data comes
}

std::string toneMp3(const std::filesystem::path& dir, std::size_t seconds) {
    writeWav(dir / "tone.wav", sine(44100, 2, 997.0, 0.5, 44100 * seconds));
    encodeMp3(dir / "tone.wav", dir / "tone.mp3", "-b 128");
    return tw::test::readFile(dir / "tone.mp3");
}

// An engine on the timed silent device with its mixer playing.
struct DeviceStation {
    DeviceStation() {
        EXPECT_TRUE(engine.init(-1, 44100, 0));
        mixer = engine.mixerStreamCreate(44100, 2, 0);
        EXPECT_TRUE(engine.channelPlay(mixer, false));
    }
    ~DeviceStation() { engine.free(); }
    MixEngine engine{EngineMode::SilentDevice};
    Handle mixer = 0;
};

template <typename F>
std::chrono::milliseconds timed(F&& call) {
    const auto start = std::chrono::steady_clock::now();
    call();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 start);
}

TEST(AudioStreamDeviceTest, AHealthyLiveStreamReadsAsPlayingAndNeverAsStalled) {
    tw::test::TempDir dir;
    const std::string mp3 = toneMp3(dir.path(), 6);
    // A little ahead of real time.
    IcyServer server({.body = mp3, .metaInterval = 4000, .bytesPerSecond = 16000 * 5 / 4});
    DeviceStation station;
    MixEngine& engine = station.engine;
    const Handle mixer = station.mixer;
    const Handle h = engine.streamCreateUrl(server.url(), 0, kStreamDecode);
    ASSERT_NE(h, 0u) << engine.errorGetCode();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));  // the usual buffering
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    int playing = 0, other = 0;
    std::int64_t last = -1;
    bool advancing = true;
    for (int i = 0; i < 60; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
        (engine.channelIsActive(h) == kPlaying ? playing : other)++;
        const std::int64_t pos = engine.channelGetPosition(h);
        advancing = advancing && pos >= last;
        last = pos;
    }
    EXPECT_EQ(other, 0) << playing << " answers were 1";
    EXPECT_TRUE(advancing);
    EXPECT_GT(last, 44100 * 4);  // more than a second has played
    EXPECT_TRUE(engine.streamFree(h));
}

TEST(AudioStreamDeviceTest, FreeingAStalledStreamAddressNeverHoldsTheConsole) {
    tw::test::TempDir dir;
    const std::string mp3 = toneMp3(dir.path(), 3);
    // About a second, then the network stalls.
    IcyServer server({.body = mp3, .metaInterval = 4000, .holdAt = mp3.size() / 3});
    DeviceStation station;
    MixEngine& engine = station.engine;
    const Handle mixer = station.mixer;
    const Handle h = engine.streamCreateUrl(server.url(), 0, kStreamDecode);
    ASSERT_NE(h, 0u) << engine.errorGetCode();
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (engine.channelIsActive(h) != kStalled && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ASSERT_EQ(engine.channelIsActive(h), kStalled);
    // The free, and every call after it while the stream is taken down, answer at once (the
    // transfer waiting on the dead socket is woken, never waited for under the engine's lock).
    auto slowest = timed([&] { EXPECT_TRUE(engine.streamFree(h)); });
    for (int i = 0; i < 100; ++i) {
        slowest = std::max(slowest, timed([&] { engine.channelGetPosition(mixer); }));
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_LT(slowest.count(), 250);
    EXPECT_EQ(engine.channelIsActive(h), kStopped);
}

TEST_F(OfflineEngineTest, ADamagedStretchInAnMp3IsPassedOverAndTheTrackPlaysOn) {
    const std::string good = toneMp3(dir.path(), 6);
    std::string damaged = good;
    std::uint32_t noise = 12345;
    const std::size_t at = damaged.size() * 2 / 5;
    for (std::size_t i = at; i < at + 20000; ++i) {
        noise = noise * 1103515245u + 12345u;
        damaged[i] = static_cast<char>(noise >> 24);
    }
    tw::test::writeFile(dir / "damaged.mp3", damaged);
    const Handle h = engine.streamCreateFile((dir / "damaged.mp3").string(), 0, 0, kStreamDecode);
    ASSERT_NE(h, 0u) << engine.errorGetCode();
    int ends = 0;
    engine.channelSetSync(h, kSyncEnd, 0, [&](Handle, Handle, std::uint32_t) { ++ends; });
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    const auto out = render(44100 * 5);
    // 20 kB at 128 kbit/s is about 1.25 s: the second before the damage and the second after it
    // both carry the tone, and the end comes only once the rest of the file has played.
    EXPECT_GT(rms(out, 0, 44100, 44100 * 2), 0.3);
    EXPECT_GT(rms(out, 0, 44100 * 7 / 2, 44100 * 9 / 2), 0.3);
    render(44100 * 2);
    EXPECT_EQ(ends, 1);
    EXPECT_GT(engine.channelGetPosition(h), 44100LL * 4 * 4);
}

TEST_F(OfflineEngineTest, ATrackDeletedWhileOnTheAirPlaysToItsEnd) {
    toneMp3(dir.path(), 4);
    const Handle h = engine.streamCreateFile((dir / "tone.mp3").string(), 0, 0, kStreamDecode);
    ASSERT_NE(h, 0u);
    int ends = 0;
    engine.channelSetSync(h, kSyncEnd, 0, [&](Handle, Handle, std::uint32_t) { ++ends; });
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    render(44100);
    ASSERT_TRUE(std::filesystem::remove(dir / "tone.mp3"));
    const auto out = render(44100 * 2);
    EXPECT_GT(rms(out, 0, 0, 44100 * 2), 0.3);
    render(44100 * 2);
    EXPECT_EQ(ends, 1);
}

}  // namespace
}  // namespace tw::audio::test
