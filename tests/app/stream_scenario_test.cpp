// A playlist that holds a stream address, on the air in virtual time on the offline engine: the
// address is served by a station of the test's own on the loopback interface, with ICY titles.
// The stream plays and its title shows; a station that stops sending, or goes away, puts the next
// row of the playlist on the air without leaving the air silent for long.

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <filesystem>
#include <memory>
#include <sstream>
#include <string>

#include "core/console_ops.h"
#include "station_run.h"
#include "tags/id3_tag.h"
#include "tests/audio/audio_fixtures.h"
#include "tests/audio/icy_server.h"
#include "tests/testlib/temp_dir.h"

namespace tw {
namespace {

namespace fs = std::filesystem;
using audio::test::IcyServer;

constexpr const char* kTitle = "Loopback Band - Live Song";
constexpr std::size_t kBytesPerSecond = 128000 / 8;
constexpr double kStallAfterSeconds = 20;
constexpr double kSilentStationSeconds = 10;  // how long a stream waits for its next byte

class StreamScenario : public ::testing::Test {
  protected:
    void SetUp() override {
        station_ = dir_ / "station";
        ASSERT_EQ(test::makeScenarioStation(station_), "");
        // Half a minute of tone as a station sends it: MP3 at 128 kbit/s.
        const fs::path wav = dir_ / "tone.wav";
        const fs::path mp3 = dir_ / "tone.mp3";
        audio::test::writeWav(wav, audio::test::sine(44100, 2, 440, 0.3, 44100 * 30));
        audio::test::encodeMp3(wav, mp3, "-b 128 --cbr");
        tone_ = test::readFile(mp3);
        ASSERT_GT(tone_.size(), kBytesPerSecond * 25);
    }

    // Serves the tone with titles, stalling (or closing) after kStallAfterSeconds of it; over
    // TLS with a certificate of the test's own, which only this run's engine trusts, when secure.
    void serve(bool closeAtStall, bool secure = false) {
        IcyServer::Answer a;
        if (secure) {
            ASSERT_TRUE(audio::test::makeLoopbackCertificate(dir_.path(), a.certificate, a.key));
            certificate_ = a.certificate;
        }
        a.body = tone_;
        a.metaInterval = 8000;
        a.titles = {std::string("StreamTitle='") + kTitle + "';"};
        a.holdAt = static_cast<std::size_t>(kStallAfterSeconds * kBytesPerSecond);
        a.closeAtHold = closeAtStall;
        server_ = std::make_unique<IcyServer>(a);
    }

    // The station on the playlist: the address first, then two tracks of the library.
    void goOnAir() { goOnAir(server_->url()); }
    void goOnAir(const std::string& url) {
        for (const auto& e : fs::recursive_directory_iterator(station_ / "Music")) {
            if (e.path().extension() == ".mp3" && tracks_.size() < 2) {
                tracks_.push_back(e.path().string());
            }
        }
        ASSERT_EQ(tracks_.size(), 2u);
        test::writeFile(station_ / "Playlist" / "Live.pls",
                        "[playlist]\nFile1=" + url + "\nFile2=" + tracks_[0] +
                            "\nFile3=" + tracks_[1] + "\nNumberOfEntries=2\nVersion=2\n");
        run_ = std::make_unique<test::StationRun>(station_.string(),
                                                  core::dateSerial(2026, 3, 2) + 10.0 / 24,
                                                  std::string(), [this](audio::MixEngine& engine) {
                                                      if (!certificate_.empty()) {
                                                          engine.trustCertificates(certificate_);
                                                      }
                                                  });
        ASSERT_EQ(run_->exec("load"), "");
        const auto& items = run_->console().form().lstRotationOrList.items;
        int row = -1;
        for (std::size_t i = 0; i < items.size(); ++i) {
            row = items[i].text == "Live.pls" ? static_cast<int>(i) : row;
        }
        ASSERT_GE(row, 0);
        ASSERT_EQ(run_->exec("select lstRotationOrList " + std::to_string(row)), "");
        // A track of the start-up's rotation is on the air: the operator skips to the stream.
        ASSERT_EQ(run_->exec("press cmdSkipNow"), "");
    }

    std::string onAir() {
        const core::Console& c = run_->console();
        return c.activePlayer == 1 ? c.nextSong1 : c.activePlayer == 2 ? c.nextSong2 : "";
    }

    void TearDown() override {
        if (server_) {
            server_->release();
        }
        run_.reset();
        server_.reset();
    }

    // The stream on the air with its title; then the stall, and the next row after it, the air
    // silent for no longer than `limit` seconds.
    void judgeStall(double limit) {
        core::Console& c = run_->console();
        run_->advance(8, 0.5);
        ASSERT_EQ(onAir(), server_->url()) << test::readFile(station_ / "Played.log") << "\n"
                                           << test::readFile(station_ / "app.log");
        const int streamPlayer = c.activePlayer;
        EXPECT_TRUE(run_->heardSound());
        EXPECT_EQ((streamPlayer == 1 ? c.form().lblplayer1 : c.form().lblPlayer2).caption, kTitle);
        EXPECT_EQ(c.currentTitle, kTitle);
        // The row waiting on the other player is the one that must follow the stream.
        next_ = streamPlayer == 1 ? c.nextSong2 : c.nextSong1;
        ASSERT_FALSE(next_.empty());
        const int startsBefore = run_->starts();
        run_->advance(kStallAfterSeconds + limit + 2, 0.5);
        EXPECT_NE(onAir(), server_->url());
        // In the log of what went on the air, the row after the stream follows it.
        c.id3->filename(next_);
        const std::string nextTitle = c.id3->returnID3TitleOnly();
        const std::string played = test::readFile(station_ / "Played.log");
        const auto stream = played.find(server_->url());
        ASSERT_NE(stream, std::string::npos) << played;
        const auto lineEnd = played.find('\n', stream);
        ASSERT_NE(lineEnd, std::string::npos) << played;
        EXPECT_EQ(played.compare(lineEnd + 1, nextTitle.size() + 1, nextTitle + ","), 0)
            << "the next row (" << next_ << ") is on the air after the stream:\n"
            << played << "app.log:\n"
            << test::readFile(station_ / "app.log");
        EXPECT_GT(run_->starts(), startsBefore);
        const auto silences = run_->silences(limit);
        std::ostringstream seen;
        for (const auto& s : run_->silences(0.5)) {
            seen << s.lengthSeconds << " s from " << s.startSeconds << " s; ";
        }
        EXPECT_TRUE(silences.empty()) << "silent for longer than " << limit << " s: " << seen.str();
        // The tone is never quiet: the stream's sound stops at the stall, kStallAfterSeconds into
        // it, and the next row must have started within the limit after that.
        const auto timeOf = [&](std::size_t lineStart) {
            const auto comma = played.find(',', lineStart);
            const auto end = played.find('\n', comma);
            return core::cDate(played.substr(comma + 1, end - comma - 1));
        };
        const auto streamLine = played.rfind('\n', stream);
        const double gap = static_cast<double>(core::diffSeconds(
            timeOf(streamLine == std::string::npos ? 0 : streamLine + 1), timeOf(lineEnd + 1)));
        EXPECT_LE(gap, kStallAfterSeconds + limit) << played;
        EXPECT_GE(gap, kStallAfterSeconds - 2) << "the stream played up to its stall";
    }

    test::TempDir dir_;
    fs::path station_;
    std::string tone_;
    std::string next_;
    std::vector<std::string> tracks_;
    std::string certificate_;
    std::unique_ptr<IcyServer> server_;
    std::unique_ptr<test::StationRun> run_;
};

TEST_F(StreamScenario, AStationThatStopsSendingGivesWayToTheNextRow) {
    serve(false);
    goOnAir();
    judgeStall(run_->console().silenceTime + 2.0);  // the dead-air watch starts the next row
}

TEST_F(StreamScenario, AStationThatStopsSendingGivesWayToTheNextRowWithTheDeadAirWatchOff) {
    test::writeFile(station_ / "appSettings.ini",
                    "[ArtistSeperation]\r\nHours=0.5\r\n[Silence]\r\ntime=0\r\n");
    serve(false);
    goOnAir();
    ASSERT_EQ(run_->console().silenceTime, 0.0f);
    // Ten seconds after its last byte the stream ends, and the next row follows.
    judgeStall(kSilentStationSeconds + 2.0);
}

TEST_F(StreamScenario, AStationThatGoesAwayGivesWayToTheNextRow) {
    serve(true);
    goOnAir();
    judgeStall(run_->console().silenceTime + 2.0);
}

TEST_F(StreamScenario, ASecureStationPlaysWithItsTitleAndGivesWayWhenItGoesAway) {
    serve(true, true);
    ASSERT_EQ(server_->url().rfind("https://", 0), 0u);
    goOnAir();
    judgeStall(run_->console().silenceTime + 2.0);
}

TEST_F(StreamScenario, AnAddressNobodyAnswersIsLoggedAndTheNextRowPlays) {
    // A loopback port that was free a moment ago: the connection is refused.
    const int probe = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(::bind(probe, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
    socklen_t len = sizeof addr;
    ::getsockname(probe, reinterpret_cast<sockaddr*>(&addr), &len);
    ::close(probe);
    const std::string url = "http://127.0.0.1:" + std::to_string(ntohs(addr.sin_port)) + "/live";
    goOnAir(url);
    run_->advance(5, 0.5);
    // A row of the playlist after the address is on the air (which one: the skip and the end
    // of the track it cut each load the idle player, as every skip does).
    const std::string playing = onAir();
    EXPECT_TRUE(playing == tracks_[0] || playing == tracks_[1])
        << playing << "\n"
        << test::readFile(station_ / "Played.log");
    const std::string log = test::readFile(station_ / "app.log");
    EXPECT_NE(log.find("Stream address could not be opened: " + url), std::string::npos) << log;
    bool shown = false;
    for (const auto& t : run_->console().form().frmTarnDesk.drawing.texts) {
        shown = shown || t.text.find(url) != std::string::npos;
    }
    EXPECT_TRUE(shown);
    const int startsBefore = run_->starts();
    run_->advance(3, 0.5);
    EXPECT_EQ(run_->starts(), startsBefore) << "the row stays on the air";
    EXPECT_EQ(onAir(), playing);
    EXPECT_TRUE(run_->silences(2.0).empty());
}

}  // namespace
}  // namespace tw
