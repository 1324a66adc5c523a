// Stream addresses through the engine: AAC and MP3 from a loopback server started by each test,
// told apart by their Content-Type or their first bytes, their ICY titles, and their endings.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <cmath>
#include <string>
#include <thread>
#include <vector>

#include "tests/audio/audio_fixtures.h"
#include "tests/audio/icy_server.h"

namespace tw::audio::test {
namespace {

constexpr double kToneHz = 997.0;
constexpr double kToneAmplitude = 0.5;
constexpr std::size_t kToneSeconds = 3;

enum class Codec { Mp3, Aac };

// A tone of kToneSeconds encoded by the test: lame for MP3, ffmpeg for AAC in ADTS frames.
std::string encodedTone(const std::filesystem::path& dir, Codec codec, int rate = 44100,
                        int channels = 2) {
    writeWav(dir / "tone.wav", sine(rate, channels, kToneHz, kToneAmplitude,
                                    kToneSeconds * static_cast<std::size_t>(rate)));
    if (codec == Codec::Mp3) {
        encodeMp3(dir / "tone.wav", dir / "tone.mp3", "-b 128");
        return tw::test::readFile(dir / "tone.mp3");
    }
    encodeAdts(dir / "tone.wav", dir / "tone.aac", "-b:a 128k");
    return tw::test::readFile(dir / "tone.aac");
}

// An ID3v2.4 tag with a title frame, as some stations put before their first frame. Its text
// ends in bytes that look like the start of an ADTS header.
std::string id3Tag() {
    const std::string text = "\x03Station ID\xff\xf1\x50\x80";
    std::string frame = "TIT2";
    frame += std::string(3, '\0') + static_cast<char>(text.size()) + std::string(2, '\0') + text;
    const std::size_t size = frame.size() + 100;  // and some padding
    std::string tag = "ID3\x04";
    tag += std::string(2, '\0');
    for (int shift : {21, 14, 7, 0}) {
        tag.push_back(static_cast<char>((size >> shift) & 0x7F));
    }
    return tag + frame + std::string(100, '\0');
}

template <typename F>
bool waitFor(F&& done, int ms) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (!done()) {
        if (std::chrono::steady_clock::now() >= deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return true;
}

class AudioStreamAddressTest : public OfflineEngineTest {
  protected:
    // Checks that [from, to) seconds of the card output are the tone, at its pitch and level, on
    // both channels.
    void expectTone(const std::vector<float>& out, double from, double to) {
        const auto a = static_cast<std::size_t>(from * 44100);
        const auto b = static_cast<std::size_t>(to * 44100);
        for (int ch = 0; ch < 2; ++ch) {
            EXPECT_NEAR(frequency(out, ch, a, b, 44100.0), kToneHz, 0.5) << "channel " << ch;
            EXPECT_NEAR(toDb(rms(out, ch, a, b) / (kToneAmplitude / std::sqrt(2.0))), 0.0, 0.5)
                << "channel " << ch;
        }
    }
};

// --- the title ---------------------------------------------------------------------------------

TEST_F(AudioStreamAddressTest, TheTitleIsTheLatestOneTheStationSent) {
    const std::string mp3 = encodedTone(dir.path(), Codec::Mp3);
    // Blocks after every 4000 bytes: the first four name the first title, the rest the second.
    // The server holds after 18000 bytes, with only the first title sent.
    IcyServer server({.body = mp3,
                      .metaInterval = 4000,
                      .titles = {"StreamTitle='First title';",
                                 "StreamTitle='Second - title';StreamUrl='http://127.0.0.1/';"},
                      .blocksPerTitle = 4,
                      .holdAt = 18000});
    const Handle h = engine.streamCreateUrl(server.url(), 0, kStreamDecode);
    ASSERT_NE(h, 0u) << engine.errorGetCode();
    ASSERT_TRUE(waitFor([&] { return !engine.streamGetTitle(h).empty(); }, 3000));
    EXPECT_EQ(engine.streamGetTitle(h), "First title");

    // The console may ask from any thread while the stream plays; that thread sees the titles
    // change from the first to the second, and nothing else.
    std::atomic<bool> stop{false};
    std::atomic<bool> seenSecond{false};
    std::vector<std::string> seen;  // the asker's until it is joined
    std::thread asker([&] {
        while (!stop) {
            const std::string title = engine.streamGetTitle(h);
            if (seen.empty() || seen.back() != title) {
                seen.push_back(title);
            }
            seenSecond = title == "Second - title";
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    const auto before = render(44100);
    EXPECT_EQ(engine.streamGetTitle(h), "First title");  // nothing more has come
    server.release();
    EXPECT_TRUE(waitFor([&] { return engine.streamGetTitle(h) == "Second - title"; }, 3000));
    const auto after = render(44100);
    EXPECT_TRUE(waitFor([&] { return seenSecond.load(); }, 3000));
    stop = true;
    asker.join();
    EXPECT_EQ(seen, (std::vector<std::string>{"First title", "Second - title"}));
    // The blocks were taken out whichever title they carried: the tone is whole.
    expectTone(before, 0.1, 1.0);
    expectTone(after, 0.0, 1.0);

    ASSERT_TRUE(engine.streamFree(h));
    EXPECT_EQ(engine.streamGetTitle(h), "");
}

// --- secure addresses ------------------------------------------------------------------------

// A station over TLS with a certificate of the test's own. The engine verifies it as any other:
// it trusts it only where the test tells it to.
class AudioSecureStreamTest : public AudioStreamAddressTest {
  protected:
    void SetUp() override {
        AudioStreamAddressTest::SetUp();
        ASSERT_TRUE(makeLoopbackCertificate(dir.path(), certificate, key));
    }
    IcyServer::Answer secureAnswer() {
        IcyServer::Answer a;
        a.body = encodedTone(dir.path(), Codec::Mp3);
        a.metaInterval = 4000;
        a.titles = {"StreamTitle='Secure title';"};
        a.certificate = certificate;
        a.key = key;
        return a;
    }
    std::string certificate, key;
};

TEST_F(AudioSecureStreamTest, ASecureAddressPlaysWithItsTitle) {
    engine.trustCertificates(certificate);
    IcyServer server(secureAnswer());
    ASSERT_EQ(server.url().rfind("https://", 0), 0u);
    const Handle h = engine.streamCreateUrl(server.url(), 0, kStreamDecode);
    ASSERT_NE(h, 0u) << engine.errorGetCode();
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    const auto out = render(44100 * 2);
    expectTone(out, 0.1, 2.0);
    EXPECT_EQ(engine.streamGetTitle(h), "Secure title");
}

TEST_F(AudioSecureStreamTest, ACertificateNobodyVouchesForIsRefused) {
    IcyServer server(secureAnswer());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(engine.streamCreateUrl(server.url(), 0, kStreamDecode), 0u);
    EXPECT_NE(engine.errorGetCode(), kOk);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(3500));
    EXPECT_EQ(server.request(), "") << "nothing was asked of a station that could not be trusted";
}

TEST_F(AudioStreamAddressTest, OnlyAStreamAddressHasATitle) {
    const Handle file = wavStream(sine(44100, 2, 440.0, 0.5, 4410), "tone.wav");
    EXPECT_EQ(engine.streamGetTitle(file), "");
    EXPECT_EQ(engine.streamGetTitle(mixer), "");
    EXPECT_EQ(engine.streamGetTitle(0), "");
    const std::string mp3 = encodedTone(dir.path(), Codec::Mp3);
    IcyServer server({.body = mp3});  // no metadata asked for by the server
    const Handle h = engine.streamCreateUrl(server.url(), 0, kStreamDecode);
    ASSERT_NE(h, 0u) << engine.errorGetCode();
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    EXPECT_EQ(engine.streamGetTitle(h), "");
}

TEST_F(AudioStreamAddressTest, ALatin1TitleComesAsUtf8) {
    const std::string mp3 = encodedTone(dir.path(), Codec::Mp3);
    IcyServer server({.body = mp3, .metaInterval = 2000, .titles = {"StreamTitle='Caf\xe9';"}});
    const Handle h = engine.streamCreateUrl(server.url(), 0, kStreamDecode);
    ASSERT_NE(h, 0u) << engine.errorGetCode();
    ASSERT_TRUE(waitFor([&] { return !engine.streamGetTitle(h).empty(); }, 3000));
    EXPECT_EQ(engine.streamGetTitle(h), "Caf\xc3\xa9");
}

// --- AAC, and the format told from the type or the bytes ---------------------------------------

struct Served {
    Codec codec;
    int rate;
    int channels;
    int decodedRate;  // what the stream reports
    std::string contentType;
    bool tagged;  // an ID3 tag before the first frame
    std::size_t metaInterval;
};

class AudioStreamFormatTest : public AudioStreamAddressTest,
                              public ::testing::WithParamInterface<Served> {};

TEST_P(AudioStreamFormatTest, TheStreamDecodesToTheToneAtItsOwnRateAndEnds) {
    const Served& p = GetParam();
    std::string body = encodedTone(dir.path(), p.codec, p.rate, p.channels);
    if (p.tagged) {
        body = id3Tag() + body;
    }
    IcyServer server({.body = body, .contentType = p.contentType, .metaInterval = p.metaInterval});
    const Handle h = engine.streamCreateUrl(server.url(), 0, kStreamDecode);
    ASSERT_NE(h, 0u) << engine.errorGetCode();
    ChannelInfo info;
    ASSERT_TRUE(engine.channelGetInfo(h, info));
    EXPECT_EQ(info.freq, static_cast<std::uint32_t>(p.decodedRate));
    // libfaad gives mono AAC as two equal channels (a mono stream may carry parametric stereo).
    EXPECT_EQ(info.chans, p.codec == Codec::Aac ? 2u : static_cast<std::uint32_t>(p.channels));
    EXPECT_EQ(engine.channelGetLength(h), -1);
    EXPECT_FALSE(engine.channelSetPosition(h, 4000));

    int ends = 0;
    engine.channelSetSync(h, kSyncEnd, 0, [&](Handle, Handle, std::uint32_t) { ++ends; });
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    const auto out = render(44100 * 2);
    expectTone(out, 0.1, 1.9);
    EXPECT_EQ(engine.channelIsActive(h), kPlaying);
    render(44100 * 2);
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(engine.channelIsActive(h), kStopped);
    // All of it played: the encoders add a little at the start and the end, no more.
    const double played = engine.channelBytes2Seconds(h, engine.channelGetPosition(h));
    EXPECT_GE(played, kToneSeconds - 0.01);
    EXPECT_LE(played, kToneSeconds + 0.1);
}

INSTANTIATE_TEST_SUITE_P(
    Served, AudioStreamFormatTest,
    ::testing::Values(Served{Codec::Aac, 44100, 2, 44100, "audio/aac", false, 0},
                      Served{Codec::Aac, 48000, 1, 48000, "audio/aacp", false, 4000},
                      // A 22050 Hz stream is taken for HE-AAC and comes out at twice its rate.
                      Served{Codec::Aac, 22050, 2, 44100, "audio/x-aac", false, 8192},
                      Served{Codec::Aac, 44100, 2, 44100, "", false, 4000},
                      Served{Codec::Aac, 44100, 2, 44100, "application/octet-stream", true, 0},
                      Served{Codec::Mp3, 44100, 2, 44100, "", true, 4000},
                      Served{Codec::Mp3, 48000, 1, 48000, "audio/mpeg", false, 0}),
    [](const ::testing::TestParamInfo<Served>& info) {
        const Served& p = info.param;
        std::string type = p.contentType.empty() ? "NoType" : p.contentType;
        std::string name = (p.codec == Codec::Aac ? "Aac" : "Mp3") + std::to_string(p.rate) +
                           (p.channels == 1 ? "Mono" : "Stereo") + (p.tagged ? "Tagged" : "");
        for (char c : type) {
            if (std::isalnum(static_cast<unsigned char>(c))) {
                name += c;
            }
        }
        return name;
    });

TEST_F(AudioStreamAddressTest, ABodyThatIsNotAudioFailsToOpen) {
    std::string page = "<html><body>";
    while (page.size() < 20000) {
        page += "No stream here. ";
    }
    IcyServer server({.body = page, .contentType = "text/html", .icyStatus = false});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(engine.streamCreateUrl(server.url(), 0, kStreamDecode), 0u);
    EXPECT_NE(engine.errorGetCode(), kOk);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(3500));
}

// --- the end of a stream, and a stall --------------------------------------------------------

class AudioStreamEndTest : public AudioStreamAddressTest,
                           public ::testing::WithParamInterface<Codec> {
  protected:
    std::string body() { return encodedTone(dir.path(), GetParam()); }
};

TEST_P(AudioStreamEndTest, AServerThatClosesMidStreamEndsTheStream) {
    const std::string tone = body();
    // About 1.2 s of the tone, then the connection closes, in the middle of a frame.
    IcyServer server({.body = tone,
                      .contentType = GetParam() == Codec::Aac ? "audio/aac" : "audio/mpeg",
                      .metaInterval = 4000,
                      .holdAt = tone.size() * 2 / 5 + 3,
                      .closeAtHold = true});
    const Handle h = engine.streamCreateUrl(server.url(), 0, kStreamDecode);
    ASSERT_NE(h, 0u) << engine.errorGetCode();
    int ends = 0;
    engine.channelSetSync(h, kSyncEnd, 0, [&](Handle, Handle, std::uint32_t) { ++ends; });
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    const auto out = render(44100 * 2);
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(engine.channelIsActive(h), kStopped);
    expectTone(out, 0.1, 1.0);
    EXPECT_EQ(rms(out, 0, 44100 * 3 / 2, 44100 * 2), 0.0);
    const double played = engine.channelBytes2Seconds(h, engine.channelGetPosition(h));
    EXPECT_GT(played, 1.0);
    EXPECT_LT(played, 1.4);
    render(44100);
    EXPECT_EQ(ends, 1);  // an end is reported once
}

TEST_P(AudioStreamEndTest, AServerThatStopsSendingStallsTheStreamUntilItGoesOn) {
    const std::string tone = body();
    IcyServer server({.body = tone,
                      .contentType = GetParam() == Codec::Aac ? "audio/aac" : "audio/mpeg",
                      .metaInterval = 4000,
                      .holdAt = tone.size() * 2 / 5});
    const Handle h = engine.streamCreateUrl(server.url(), 0, kStreamDecode);
    ASSERT_NE(h, 0u) << engine.errorGetCode();
    int ends = 0;
    engine.channelSetSync(h, kSyncEnd, 0, [&](Handle, Handle, std::uint32_t) { ++ends; });
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    auto out = render(44100 * 2);
    EXPECT_EQ(engine.channelIsActive(h), kStalled);
    EXPECT_EQ(ends, 0);
    expectTone(out, 0.1, 1.0);
    EXPECT_EQ(rms(out, 0, 44100 * 3 / 2, 44100 * 2), 0.0);  // nothing to play meanwhile
    const std::int64_t stalledAt = engine.channelGetPosition(h);
    render(44100);
    EXPECT_EQ(engine.channelIsActive(h), kStalled);  // for as long as the server says nothing
    EXPECT_EQ(engine.channelGetPosition(h), stalledAt);

    server.release();
    out = render(44100 * 3);
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(engine.channelIsActive(h), kStopped);
    EXPECT_GT(engine.channelGetPosition(h), stalledAt + 44100 * 4);
    expectTone(out, 0.1, 1.0);  // it goes on once the data comes
}

TEST_P(AudioStreamEndTest, AServerThatSendsNothingForTenSecondsEndsTheStream) {
    const std::string tone = body();
    // About 1.2 s of the tone, then the connection stays open and nothing more comes.
    IcyServer server({.body = tone,
                      .contentType = GetParam() == Codec::Aac ? "audio/aac" : "audio/mpeg",
                      .metaInterval = 4000,
                      .holdAt = tone.size() * 2 / 5});
    const Handle h = engine.streamCreateUrl(server.url(), 0, kStreamDecode);
    ASSERT_NE(h, 0u) << engine.errorGetCode();
    int ends = 0;
    engine.channelSetSync(h, kSyncEnd, 0, [&](Handle, Handle, std::uint32_t) { ++ends; });
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    // The engine's own time: the audio it has mixed since the stream went in.
    double endedAt = -1;
    for (int tenth = 1; tenth <= 130 && endedAt < 0; ++tenth) {
        render(4410);
        if (ends > 0) {
            endedAt = tenth / 10.0;
        }
        if (tenth == 95) {
            EXPECT_EQ(engine.channelIsActive(h), kStalled) << "it waits a while for the station";
        }
    }
    const double played = engine.channelBytes2Seconds(h, engine.channelGetPosition(h));
    EXPECT_GT(played, 1.0);
    EXPECT_LT(played, 1.4);
    ASSERT_GT(endedAt, 0) << "the stream waits for ever for a station that sends nothing";
    // Nothing came after the first 1.2 s: the stream ends 10 s after the decoder ran out of it.
    EXPECT_GE(endedAt, 10.0);
    EXPECT_LE(endedAt, played + 10.5);
    EXPECT_EQ(engine.channelIsActive(h), kStopped);
    EXPECT_EQ(ends, 1);
}

INSTANTIATE_TEST_SUITE_P(Codecs, AudioStreamEndTest, ::testing::Values(Codec::Mp3, Codec::Aac),
                         [](const ::testing::TestParamInfo<Codec>& info) {
                             return std::string(info.param == Codec::Aac ? "Aac" : "Mp3");
                         });

// --- in real time ---------------------------------------------------------------------------

TEST(AudioStreamAacDeviceTest, AHealthyLiveAacStreamReadsAsPlayingAndNeverAsStalled) {
    tw::test::TempDir dir;
    const std::string aac = encodedTone(dir.path(), Codec::Aac);
    // A little ahead of real time, as a station's server sends.
    IcyServer server({.body = aac,
                      .contentType = "audio/aacp",
                      .metaInterval = 8192,
                      .bytesPerSecond = 16000 * 5 / 4});
    MixEngine engine{EngineMode::SilentDevice};
    ASSERT_TRUE(engine.init(-1, 44100, 0));
    const Handle mixer = engine.mixerStreamCreate(44100, 2, 0);
    ASSERT_TRUE(engine.channelPlay(mixer, false));
    const Handle h = engine.streamCreateUrl(server.url(), 0, kStreamDecode);
    ASSERT_NE(h, 0u) << engine.errorGetCode();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));  // the usual buffering
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    int playing = 0, other = 0;
    std::int64_t last = -1;
    bool advancing = true;
    std::uint32_t loudest = 0;
    for (int i = 0; i < 60; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(25));
        (engine.channelIsActive(h) == kPlaying ? playing : other)++;
        const std::int64_t pos = engine.channelGetPosition(h);
        advancing = advancing && pos >= last;
        last = pos;
        loudest = std::max(loudest, engine.channelGetLevel(h) & 0xFFFF);
    }
    EXPECT_EQ(other, 0) << playing << " answers were 1";
    EXPECT_TRUE(advancing);
    EXPECT_GT(last, 44100 * 4);  // more than a second has played
    EXPECT_NEAR(loudest / 32768.0, kToneAmplitude, 0.05);
    EXPECT_TRUE(engine.streamFree(h));
    engine.free();
}

}  // namespace
}  // namespace tw::audio::test
