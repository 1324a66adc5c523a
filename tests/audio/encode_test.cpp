// Encoders on the mix and casts to servers on the loopback interface: a stand-in Shoutcast
// server and Debian's icecast2, both started by the tests.

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <functional>
#include <thread>

#include "audio/mix_engine.h"
#include "tests/audio/audio_fixtures.h"
#include "tests/audio/cast_servers.h"
#include "tests/audio/name_server.h"

namespace tw::audio::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* kLame = "lame -r -s 44100 -b 128 -";

bool eventually(const std::function<bool()>& check, std::chrono::milliseconds limit = 5000ms) {
    const auto deadline = std::chrono::steady_clock::now() + limit;
    while (std::chrono::steady_clock::now() < deadline) {
        if (check()) {
            return true;
        }
        std::this_thread::sleep_for(20ms);
    }
    return check();
}

// MPEG-1 Layer III frame headers (as lame writes them at 44100 Hz) in the bytes.
int mp3Frames(const std::string& bytes) {
    int frames = 0;
    for (std::size_t i = 0; i + 1 < bytes.size(); ++i) {
        if (static_cast<unsigned char>(bytes[i]) == 0xFF &&
            (static_cast<unsigned char>(bytes[i + 1]) & 0xFE) == 0xFA) {
            ++frames;
        }
    }
    return frames;
}

// The station on the timed silent device, a tone playing in its mixer.
class CastTest : public ::testing::Test {
  protected:
    void SetUp() override {
        ASSERT_TRUE(engine.init(-1, 44100, 0));
        mixer = engine.mixerStreamCreate(44100, 2, 0);
        ASSERT_TRUE(engine.channelPlay(mixer, false));
        writeWav(dir / "tone.wav", sine(44100, 2, 440.0, 0.5, 44100 * 30));
        const Handle tone =
            engine.streamCreateFile((dir / "tone.wav").string(), 0, 0, kStreamDecode);
        ASSERT_TRUE(engine.mixerAddChannel(mixer, tone, 0));
    }
    void TearDown() override { engine.free(); }

    StationInfo station() {
        return {"hackme",          "audio/mpeg",        "Tarn \"FM\"", "http://tarn.example",
                "Jazz; $(rm) `x`", "Caf\xC3\xA9 radio", 128,           false};
    }
    bool castTo(Handle enc, const std::string& server, const std::string& password) {
        const StationInfo s = station();
        return engine.castInit(enc, server, password, s.contentType, s.name, s.url, s.genre,
                               s.description, "", s.kbps, s.isPublic);
    }

    tw::test::TempDir dir;
    MixEngine engine{EngineMode::SilentDevice};
    Handle mixer = 0;
};

TEST_F(CastTest, AnEncoderIsFedTheMixInRealTimeAndGivesMp3) {
    const Handle enc = engine.encodeStart(mixer, kLame, kEncodeNoHead | kEncodeAutoFree);
    ASSERT_NE(enc, 0u) << engine.errorGetCode();
    EXPECT_EQ(engine.encodeIsActive(enc), kPlaying);
    std::this_thread::sleep_for(1750ms);
    const std::uint64_t fed = engine.encodeGetCount(enc, 0);
    // 16-bit stereo at 44100 Hz is 176400 bytes a second, handed over every half second: after
    // 1.75 s, 1.25 to 1.75 s of it. Never more than real time, never a whole second behind.
    EXPECT_GT(fed, 176400u);
    EXPECT_LT(fed, 176400u * 2);
    EXPECT_TRUE(eventually([&] { return engine.encodeGetCount(enc, 1) > 10000; }));
    EXPECT_EQ(engine.encodeGetCount(enc, 2), 0u) << "nothing is sent before a cast is set up";
    EXPECT_TRUE(engine.encodeStop(enc));
    EXPECT_EQ(engine.encodeIsActive(enc), kStopped);
    EXPECT_FALSE(engine.encodeStop(enc)) << "the handle is gone";
}

TEST_F(CastTest, AnEncoderGetsAMixPastFullScaleBroughtUnderItNotCutFlat) {
    // Bursts of loud noise after silence on top of the tone: the mix goes well past full scale.
    Pcm bursts{44100, 2, {}};
    std::uint32_t seed = 1;
    for (int burst = 0; burst < 20; ++burst) {
        bursts.samples.insert(bursts.samples.end(), 2 * 2205, 0);
        for (int i = 0; i < 2 * 2205; ++i) {
            seed = seed * 1664525u + 1013904223u;
            bursts.samples.push_back(
                static_cast<std::int16_t>(static_cast<std::uint16_t>(seed >> 16)));
        }
    }
    writeWav(dir / "bursts.wav", bursts);
    const Handle loud = engine.streamCreateFile((dir / "bursts.wav").string(), 0, 0, kStreamDecode);
    ASSERT_TRUE(engine.mixerAddChannel(mixer, loud, 0));
    const auto raw = dir / "air.raw";
    const Handle enc = engine.encodeStart(mixer, "tee " + raw.string(), kEncodeNoHead);
    ASSERT_NE(enc, 0u) << engine.errorGetCode();
    std::this_thread::sleep_for(2000ms);
    EXPECT_TRUE(engine.encodeStop(enc));
    std::string bytes;
    ASSERT_TRUE(eventually([&] {
        const std::string now = tw::test::readFile(raw);
        const bool settled = !now.empty() && now.size() == bytes.size();
        bytes = now;
        return settled;
    }));
    ASSERT_GT(bytes.size(), 176400u) << "a second of the mix at least";
    std::size_t fullScale = 0;
    int peak = 0;
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const auto v = static_cast<std::int16_t>(static_cast<unsigned char>(bytes[i]) |
                                                 static_cast<unsigned char>(bytes[i + 1]) << 8);
        fullScale += v == 32767 || v == -32768 ? 1 : 0;
        peak = std::max(peak, std::abs(static_cast<int>(v)));
    }
    EXPECT_EQ(fullScale, 0u);
    EXPECT_NEAR(20 * std::log10(peak / 32768.0), -1.0, 0.1) << "at the ceiling, a dB under";
}

TEST_F(CastTest, AProgramThatCannotStartGivesNoEncoder) {
    EXPECT_EQ(engine.encodeStart(mixer, "no-such-encoder-program -", kEncodeNoHead), 0u);
    EXPECT_EQ(engine.errorGetCode(), kErrorFileOpen);
    EXPECT_EQ(engine.encodeStart(mixer, "", kEncodeNoHead), 0u);
    EXPECT_EQ(engine.encodeStart(0, kLame, kEncodeNoHead), 0u);
    EXPECT_EQ(engine.errorGetCode(), kErrorHandle);
}

TEST_F(CastTest, AnEncoderProgramThatDiesReadsAsInactive) {
    // head takes a tenth of a second of the mix and ends, as a crashing encoder would.
    const Handle enc = engine.encodeStart(mixer, "head -c 17640", kEncodeNoHead);
    ASSERT_NE(enc, 0u);
    EXPECT_TRUE(eventually([&] { return engine.encodeIsActive(enc) == kStopped; }));
    EXPECT_EQ(engine.castGetStats(enc, 0, "x"), "");
    EXPECT_TRUE(engine.encodeStop(enc));
}

TEST_F(CastTest, AnEncoderProgramThatFailsTellsItsExitStatusAndTheLastLineItPrinted) {
    // It reads a second of the mix before it gives up, so it is surely still running when first
    // asked: the mix comes in real time.
    const Handle enc = engine.encodeStart(mixer,
                                          "sh -c \"echo starting >&2; echo Unsupported sample rate "
                                          ">&2; head -c 176400 >/dev/null; exit 3\"",
                                          kEncodeNoHead);
    ASSERT_NE(enc, 0u);
    EXPECT_EQ(engine.encodeGetEnd(enc), "") << "not while it still runs";
    ASSERT_TRUE(eventually([&] { return engine.encodeIsActive(enc) == kStopped; }));
    EXPECT_EQ(engine.encodeGetEnd(enc), "sh ended with exit status 3: Unsupported sample rate");
    EXPECT_TRUE(engine.encodeStop(enc));
    EXPECT_EQ(engine.encodeGetEnd(enc), "") << "the handle is gone";
}

TEST_F(CastTest, AnEncoderProgramEndedByASignalSaysWhich) {
    const Handle enc = engine.encodeStart(mixer, "sh -c \"kill -9 $$\"", kEncodeNoHead);
    ASSERT_NE(enc, 0u);
    ASSERT_TRUE(eventually([&] { return engine.encodeIsActive(enc) == kStopped; }));
    EXPECT_EQ(engine.encodeGetEnd(enc), "sh was ended by signal 9");
    EXPECT_TRUE(engine.encodeStop(enc));
}

TEST_F(CastTest, AnEncoderProgramThatPrintsMuchOnItsErrorOutputIsNeverHeldByIt) {
    // Far more than a pipe holds, written before the program reads its input: unread, it would
    // wait for ever and the encoder would give nothing.
    const Handle enc = engine.encodeStart(
        mixer, "sh -c \"yes progress | head -c 2000000 >&2; exec cat\"", kEncodeNoHead);
    ASSERT_NE(enc, 0u);
    EXPECT_TRUE(eventually([&] { return engine.encodeGetCount(enc, 1) > 176400; }));
    EXPECT_EQ(engine.encodeIsActive(enc), kPlaying);
    EXPECT_EQ(engine.encodeGetEnd(enc), "");
    EXPECT_TRUE(engine.encodeStop(enc));
}

TEST_F(CastTest, AnEncoderThatFallsBehindDropsAudioAndNeverHoldsTheMix) {
    // sleep reads nothing: the pipe fills, then the tap; the mix goes on all the same.
    const Handle enc = engine.encodeStart(mixer, "sleep 30", kEncodeNoHead);
    ASSERT_NE(enc, 0u);
    const std::int64_t before = engine.channelGetPosition(mixer);
    std::this_thread::sleep_for(3500ms);
    const double played =
        engine.channelBytes2Seconds(mixer, engine.channelGetPosition(mixer) - before);
    EXPECT_GT(played, 3.0);
    EXPECT_LT(engine.encodeGetCount(enc, 0), 176400u * 2) << "the pipe took what it holds";
    EXPECT_TRUE(engine.encodeStop(enc));
}

TEST_F(CastTest, ShoutcastSourceProtocolCarriesTheStreamTitlesAndStatistics) {
    FakeShoutcast server("hackme",
                         "<?xml version=\"1.0\"?><SHOUTCASTSERVER><CURRENTLISTENERS>17</"
                         "CURRENTLISTENERS></SHOUTCASTSERVER>");
    const Handle enc = engine.encodeStart(mixer, kLame, kEncodeNoHead | kEncodeAutoFree);
    ASSERT_NE(enc, 0u);
    ASSERT_TRUE(castTo(enc, server.server(), "hackme"));
    EXPECT_TRUE(eventually([&] { return mp3Frames(server.received()) > 20; }));
    const std::string got = server.received();
    EXPECT_NE(got.find("icy-name:Tarn \"FM\"\r\n"), std::string::npos);
    EXPECT_NE(got.find("icy-genre:Jazz; $(rm) `x`\r\n"), std::string::npos) << "literally";
    EXPECT_NE(got.find("icy-br:128\r\n"), std::string::npos);
    EXPECT_GT(engine.encodeGetCount(enc, 2), 0u);
    EXPECT_LE(engine.encodeGetCount(enc, 2), got.size());

    EXPECT_NE(engine.castGetStats(enc, 0, "hackme").find("<CURRENTLISTENERS>17"), std::string::npos)
        << "a connect brings the first statistics with it";
    EXPECT_EQ(engine.castGetStats(enc, 0, "other"), "") << "another password: fetched anew";

    ASSERT_TRUE(engine.castSetTitle(enc, "Caf\xC3\xA9 - Song & Co", "http://tarn.example"));
    EXPECT_TRUE(eventually([&] {
        for (const auto& r : server.requests()) {
            if (r.find("mode=updinfo") != std::string::npos &&
                r.find("song=Caf%E9%20-%20Song%20%26%20Co") != std::string::npos &&
                r.find("pass=hackme") != std::string::npos) {
                return true;
            }
        }
        return false;
    })) << "the title arrives in Latin-1, escaped";
    EXPECT_EQ(engine.encodeIsActive(enc), kPlaying);

    // The server drops the source: the encoder reads as inactive, and its statistics stop.
    server.dropSource();
    EXPECT_TRUE(eventually([&] { return engine.encodeIsActive(enc) == kStopped; }, 8000ms));
    EXPECT_EQ(engine.castGetStats(enc, 0, "hackme"), "");
}

TEST_F(CastTest, AShoutcastServerRefusesAWrongPasswordAtOnce) {
    FakeShoutcast server("right", "");
    const Handle enc = engine.encodeStart(mixer, kLame, kEncodeNoHead);
    ASSERT_NE(enc, 0u);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(castTo(enc, server.server(), "wrong"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
    EXPECT_EQ(engine.encodeGetCount(enc, 2), 0u);
}

TEST_F(CastTest, ShoutcastTwoInItsLegacyModeTakesThePasswordWithTheStreamId) {
    FakeShoutcast server("s3cret:#2", "");
    const Handle enc = engine.encodeStart(mixer, kLame, kEncodeNoHead);
    ASSERT_NE(enc, 0u);
    ASSERT_TRUE(castTo(enc, server.server() + ",2", "s3cret"));
    EXPECT_TRUE(eventually([&] { return mp3Frames(server.received()) > 10; }));
}

TEST_F(CastTest, APasswordWithShellAndNonAsciiCharactersArrivesByteForByte) {
    const std::string password = "p;$(x)`y`\"q'\\\xC3\xA9";
    FakeShoutcast server(password, "");
    const Handle enc = engine.encodeStart(mixer, kLame, kEncodeNoHead);
    ASSERT_NE(enc, 0u);
    EXPECT_TRUE(castTo(enc, server.server(), password));
}

TEST_F(CastTest, AnAacEncoderSendsAdtsFrames) {
    FakeShoutcast server("hackme", "");
    const Handle enc = engine.encodeStart(
        mixer,
        "ffmpeg -loglevel quiet -f s16le -ar 44100 -ac 2 -i - -c:a aac -b:a 128000 -f adts -",
        kEncodeNoHead);
    ASSERT_NE(enc, 0u);
    const StationInfo s = station();
    ASSERT_TRUE(engine.castInit(enc, server.server(), "hackme", "audio/aac", s.name, s.url, s.genre,
                                s.description, "", 128, false));
    const auto adts = [&] {
        const std::string got = server.received();
        int frames = 0;
        for (std::size_t i = 0; i + 1 < got.size(); ++i) {
            frames += static_cast<unsigned char>(got[i]) == 0xFF &&
                      (static_cast<unsigned char>(got[i + 1]) & 0xF6) == 0xF0;
        }
        return frames;
    };
    EXPECT_TRUE(eventually([&] { return adts() > 20; }, 8000ms));
    EXPECT_NE(server.received().find("content-type:audio/aac\r\n"), std::string::npos);
}

TEST_F(CastTest, AnUnreachableServerFailsWithinThreeSeconds) {
    const Handle enc = engine.encodeStart(mixer, kLame, kEncodeNoHead);
    ASSERT_NE(enc, 0u);
    const int port = freePort();  // nothing listens there
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(castTo(enc, "127.0.0.1:" + std::to_string(port) + "/live", "x"));
    EXPECT_FALSE(castTo(enc, "Enter Sever Path", "x"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 3500ms);
}

TEST_F(CastTest, AFailedConnectSaysWhyRefusedNotAnAddressOrWrongPassword) {
    const Handle enc = engine.encodeStart(mixer, kLame, kEncodeNoHead);
    ASSERT_NE(enc, 0u);
    EXPECT_EQ(engine.castGetError(enc), "");
    EXPECT_FALSE(castTo(enc, "127.0.0.1:" + std::to_string(freePort()) + "/live", "x"));
    EXPECT_EQ(engine.castGetError(enc), "connection refused");
    EXPECT_FALSE(castTo(enc, "Enter Sever Path", "x"));
    EXPECT_EQ(engine.castGetError(enc), "not a server address");
    FakeShoutcast server("right", "");
    EXPECT_FALSE(castTo(enc, server.server(), "wrong"));
    EXPECT_EQ(engine.castGetError(enc), "wrong password, the server says: invalid password");
    ASSERT_TRUE(castTo(enc, server.server(), "right"));
    EXPECT_EQ(engine.castGetError(enc), "") << "a success clears the reason";
}

// A server that takes the connection and then says nothing.
TEST_F(CastTest, AServerThatNeverAnswersTheHandshakeTimesOutWithinThreeSeconds) {
    const int port = freePort();
    const int listener = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(static_cast<std::uint16_t>(port));
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
    ASSERT_EQ(::listen(listener, 8), 0);  // the kernel completes the connection; nobody reads
    const Handle enc = engine.encodeStart(mixer, kLame, kEncodeNoHead);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(castTo(enc, "127.0.0.1:" + std::to_string(port) + "/live", "x"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 3500ms);
    EXPECT_EQ(engine.castGetError(enc), "timed out, no answer within 3 s");
    ::close(listener);
}

TEST_F(CastTest, AHostNameIsResolvedByTheNameServerAndTheCastGoesThere) {
    FakeNameServer names(FakeNameServer::Mode::Loopback);
    engine.setNameServers(names.address());
    FakeShoutcast server("hackme", "");
    const Handle enc = engine.encodeStart(mixer, kLame, kEncodeNoHead);
    ASSERT_TRUE(castTo(enc, "radio.tarnwave.test:" + std::to_string(server.port()), "hackme"))
        << engine.castGetError(enc);
    EXPECT_GT(names.queries(), 0);
    EXPECT_TRUE(eventually([&] { return mp3Frames(server.received()) > 10; }));
}

TEST_F(CastTest, AHostNameTheNameServerDoesNotKnowIsNotFound) {
    FakeNameServer names(FakeNameServer::Mode::NotFound);
    engine.setNameServers(names.address());
    const Handle enc = engine.encodeStart(mixer, kLame, kEncodeNoHead);
    EXPECT_FALSE(castTo(enc, "nosuch.tarnwave.test:8000/live", "x"));
    EXPECT_EQ(engine.castGetError(enc), "host name not found");
}

TEST_F(CastTest, AHostNameWhoseNameServerNeverAnswersGivesUpWithinThreeSeconds) {
    FakeNameServer names(FakeNameServer::Mode::Silent);
    engine.setNameServers(names.address());
    const Handle enc = engine.encodeStart(mixer, kLame, kEncodeNoHead);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(castTo(enc, "silent.tarnwave.test:8000/live", "x"));
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_GE(took, 2900ms);
    EXPECT_LT(took, 3500ms);
    EXPECT_GT(names.queries(), 0);
    EXPECT_EQ(engine.castGetError(enc),
              "host name not resolved, no answer from the name server within 3 s");
}

TEST_F(CastTest, IcecastTwoTakesTheStreamAListenerHearsItAndTheTitleAndStatisticsFollow) {
    Icecast icecast(dir / "icecast", "hackme");
    if (!icecast.ok()) {
        GTEST_SKIP() << "icecast2 is not installed here (scripts/install-deps.sh installs it)";
    }
    const Handle enc = engine.encodeStart(mixer, kLame, kEncodeNoHead | kEncodeAutoFree);
    ASSERT_NE(enc, 0u);
    const std::string server = "127.0.0.1:" + std::to_string(icecast.port()) + "/live";
    ASSERT_TRUE(castTo(enc, server, "hackme")) << tw::test::readFile(dir / "icecast/error.log");
    std::this_thread::sleep_for(500ms);
    const std::string heard = listen(icecast.port(), "/live", 2000);
    EXPECT_NE(heard.find("200 OK"), std::string::npos) << heard.substr(0, 200);
    EXPECT_GT(mp3Frames(heard), 20);

    // A UTF-8 title and a Latin-1 one (as an old tag gives it) both arrive as "Café": the
    // server keeps an MP3 mount's titles in Latin-1 and writes é as &#xE9; in its XML.
    for (const char* title : {"Caf\xC3\xA9 - Song", "Caf\xE9 - Old Song"}) {
        ASSERT_TRUE(engine.castSetTitle(enc, title, ""));
        engine.castGetStats(enc, 1, "hackme");
        const std::string shown = std::string("<title>Caf&#xE9; - ") +
                                  (title[4] == ' ' ? "Old Song" : "Song") + "</title>";
        EXPECT_TRUE(eventually(
            [&] { return engine.castGetStats(enc, 1, "hackme").find(shown) != std::string::npos; },
            12000ms))
            << engine.castGetStats(enc, 1, "hackme");
    }
    const std::string stats = engine.castGetStats(enc, 1, "hackme");
    EXPECT_NE(stats.find("<listeners>"), std::string::npos);
    EXPECT_NE(stats.find("<server_description>Caf&#xE9; radio</server_description>"),
              std::string::npos);
    EXPECT_NE(stats.find("<genre>Jazz; $(rm) `x`</genre>"), std::string::npos) << "literally";

    // The server goes away: the encoder reads as inactive; a new encoder connects once it is back.
    icecast.stop();
    EXPECT_TRUE(eventually([&] { return engine.encodeIsActive(enc) == kStopped; }, 8000ms));
    ASSERT_TRUE(icecast.restart());
    EXPECT_TRUE(engine.encodeStop(enc));
    const Handle again = engine.encodeStart(mixer, kLame, kEncodeNoHead | kEncodeAutoFree);
    EXPECT_TRUE(castTo(again, server, "hackme"));
    EXPECT_EQ(engine.encodeIsActive(again), kPlaying);
}

TEST_F(CastTest, IcecastSaysWhyWrongPasswordAndMountInUse) {
    Icecast icecast(dir / "icecast", "hackme");
    if (!icecast.ok()) {
        GTEST_SKIP() << "icecast2 is not installed here (scripts/install-deps.sh installs it)";
    }
    const std::string mount = "127.0.0.1:" + std::to_string(icecast.port()) + "/live";
    const Handle first = engine.encodeStart(mixer, kLame, kEncodeNoHead);
    EXPECT_FALSE(castTo(first, mount, "nope"));
    EXPECT_EQ(engine.castGetError(first),
              "wrong password (401), the server says: You need to authenticate");
    ASSERT_TRUE(castTo(first, mount, "hackme"));
    const Handle second = engine.encodeStart(mixer, kLame, kEncodeNoHead);
    EXPECT_FALSE(castTo(second, mount, "hackme"));
    EXPECT_EQ(engine.castGetError(second),
              "mount in use (403), the server says: Mountpoint in use");
}

TEST_F(CastTest, IcecastsShoutcastCompatiblePortTakesTheShoutcastSourceProtocol) {
    Icecast icecast(dir / "icecast", "hackme", "/sc");
    if (!icecast.ok()) {
        GTEST_SKIP() << "icecast2 is not installed here (scripts/install-deps.sh installs it)";
    }
    const Handle enc = engine.encodeStart(mixer, kLame, kEncodeNoHead | kEncodeAutoFree);
    ASSERT_NE(enc, 0u);
    // "host:port": the Shoutcast form, password line to the port above, "OK2", icy- headers.
    ASSERT_TRUE(castTo(enc, "127.0.0.1:" + std::to_string(icecast.port()), "hackme"))
        << tw::test::readFile(dir / "icecast/error.log");
    std::this_thread::sleep_for(500ms);
    EXPECT_GT(mp3Frames(listen(icecast.port(), "/sc", 2000)), 20);
    EXPECT_NE(engine.castGetStats(enc, 1, "hackme").find("<server_name>Tarn \"FM\"</server_name>"),
              std::string::npos)
        << "the icy- headers named the station";
}

TEST_F(CastTest, IcecastRefusesAWrongPassword) {
    Icecast icecast(dir / "icecast", "hackme");
    if (!icecast.ok()) {
        GTEST_SKIP() << "icecast2 is not installed here (scripts/install-deps.sh installs it)";
    }
    const Handle enc = engine.encodeStart(mixer, kLame, kEncodeNoHead);
    EXPECT_FALSE(castTo(enc, "127.0.0.1:" + std::to_string(icecast.port()) + "/live", "nope"));
}

}  // namespace
}  // namespace tw::audio::test
