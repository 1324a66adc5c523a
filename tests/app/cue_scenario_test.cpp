// Cue points and sweepers on the air, in virtual time: tracks made in the test with sox and lame
// and tagged by the console's own writer, one category in one rotation.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "core/dates.h"
#include "media/stream_time.h"
#include "tags/id3_tag.h"
#include "tests/app/station_run.h"
#include "tests/testlib/temp_dir.h"

namespace tw {
namespace {

namespace fs = std::filesystem;

class CueScenario : public ::testing::Test {
  protected:
    // Three 70 s tracks: 3 s of silence, 62 s of a chord, 5 s of silence; each with the cue text
    // `owner` in its tag. The rotation row allows sweepers when `sweepers` is set.
    void makeStation(const std::string& owner, bool sweepers, const std::string& settings) {
        station_ = dir_ / "station";
        for (const char* f : {"Music/Cue", "Rotations", "Sweepers"}) {
            fs::create_directories(station_ / f);
        }
        for (int i = 0; i < 3; ++i) {
            const fs::path mp3 = station_ / ("Music/Cue/track" + std::to_string(i) + ".mp3");
            encode(mp3, "synth 62 sine " + std::to_string(300 + 50 * i) + " vol 0.5 pad 3 5");
            tags::clsID3 tag;
            tag.filename(mp3.string());
            tag.Artist("Artist " + std::to_string(i));
            tag.title("Track " + std::to_string(i));
            tag.FileOwner(owner);
            tag.UpdateID3Tags();
            ASSERT_EQ(tag.lastWriteError(), "");
        }
        std::ofstream rot(station_ / "Rotations/Cue.rot", std::ios::binary);
        rot << pad("Cue") << pad(sweepers ? "True" : "False") << pad("saved");
        rot.close();
        std::ofstream ini(station_ / "appSettings.ini", std::ios::binary);
        ini << settings;
    }

    void encode(const fs::path& mp3, const std::string& synth) {
        const fs::path wav = mp3.string() + ".wav";
        const std::string cmd = "sox -q -n -r 44100 -c 2 -b 16 '" + wav.string() + "' " + synth +
                                " && lame --quiet -b 128 '" + wav.string() + "' '" + mp3.string() +
                                "' && rm '" + wav.string() + "'";
        ASSERT_EQ(std::system(cmd.c_str()), 0) << cmd;
    }

    static std::string pad(const std::string& s) { return s + std::string(100 - s.size(), ' '); }

    void start() {
        run_ = std::make_unique<test::StationRun>(station_.string(),
                                                  core::dateSerial(2026, 3, 2) + 10.0 / 24);
        ASSERT_EQ(run_->exec("load"), "");
        ASSERT_EQ(run_->exec("select flRotations 0"), "");
        for (int i = 0; i < 200 && c().activePlayer == 0; ++i) {
            run_->advance(0.06, 0.06);
        }
        ASSERT_NE(c().activePlayer, 0);
    }

    core::Console& c() { return run_->console(); }
    audio::Handle onAir() { return c().activePlayer == 1 ? c().player1Stream : c().player2Stream; }
    float position(audio::Handle h) { return media::cbass_time(c().engine()).GetPlayingPos(h); }

    // Advances in ticks until the other player takes the air; the position the track on the air
    // had reached at the last tick before, or -1 when no hand-over came within `limit` seconds.
    float positionAtHandOver(double limit) {
        const int first = c().activePlayer;
        const audio::Handle stream = onAir();
        float last = position(stream);
        for (double t = 0; t < limit; t += 0.06) {
            run_->advance(0.06, 0.06);
            if (c().activePlayer != first) {
                return last;
            }
            last = position(stream);
        }
        return -1;
    }

    test::TempDir dir_;
    fs::path station_;
    std::unique_ptr<test::StationRun> run_;
};

TEST_F(CueScenario, ATaggedNextStartHandsOverThereWithinOneTick) {
    makeStation("twTag~-1~~~~0:40~~~~40", false, "[Crossfade]\r\ntime=1.5\r\n");
    start();
    const float at = positionAtHandOver(60);
    EXPECT_GE(at, 40.0f - 0.07f);
    EXPECT_LT(at, 40.0f + 0.07f);
}

TEST_F(CueScenario, AutoTrimStartsAtTheSoundAndHandsOverOneCrossfadeBeforeItsEnd) {
    // Threshold 50 on the console's scale: |50 - 59| * 546 = 4914, a tenth of the chord's level.
    makeStation("", false, "[AutoTrim]\r\nEnabled=1\r\nThreshold=50\r\n[Crossfade]\r\ntime=2\r\n");
    start();
    // The first track started at its first sound, three seconds into the file.
    const float startedAt = position(onAir()) - 0.06f;
    EXPECT_GT(startedAt, 2.8f);
    EXPECT_LT(startedAt, 3.3f);
    // The last sound is the sample just before 65 s: 65 - 2 = 63 s, in whole seconds 63.
    const float at = positionAtHandOver(70);
    EXPECT_GE(at, 63.0f - 0.07f);
    EXPECT_LT(at, 63.0f + 0.07f);
}

TEST_F(CueScenario, WithAutoTrimATaggedNextStartStillWinsButTheTrackStartsAtItsSound) {
    makeStation("twTag~-1~~~~0:40~~~~40", false,
                "[AutoTrim]\r\nEnabled=1\r\nThreshold=50\r\n[Crossfade]\r\ntime=1.5\r\n");
    start();
    const float startedAt = position(onAir()) - 0.06f;
    EXPECT_GT(startedAt, 2.8f) << "the scan ran and moved the stream";
    EXPECT_LT(startedAt, 3.3f);
    const float at = positionAtHandOver(60);
    EXPECT_GE(at, 40.0f - 0.07f) << "the tag's 40 s, not the scan's 64";
    EXPECT_LT(at, 40.0f + 0.07f);
}

TEST_F(CueScenario, ASweeperFiresAtItsPointWaitsForTheMicrophoneAndFiresOnce) {
    makeStation("twTag~ 0~0:10~~~~10~~~", true,
                "[tarnWave]\r\nDefaultSweeper=whoosh.mp3\r\n[Crossfade]\r\ntime=1.5\r\n");
    encode(station_ / "Sweepers/whoosh.mp3", "synth 2 sine 1000 vol 0.3");
    start();
    const audio::Handle track = onAir();
    // The microphone opens before the sweep point and closes at 15 s.
    while (position(track) < 8) {
        run_->advance(0.06, 0.06);
    }
    c().micOn = true;
    while (position(track) < 15) {
        run_->advance(0.06, 0.06);
    }
    EXPECT_EQ(c().sweeperStream, 0u) << "held while the microphone is open";
    c().micOn = false;
    run_->advance(0.12, 0.06);
    const audio::Handle sweeper = c().sweeperStream;
    ASSERT_NE(sweeper, 0u) << "fired at the first tick after the microphone closed";
    EXPECT_TRUE(c().activePlayer == 1 ? c().cueRecord1.sweepFired : c().cueRecord2.sweepFired);
    // It plays out by itself and is not fired again while the track runs.
    run_->advance(20, 0.06);
    EXPECT_EQ(c().sweeperStream, sweeper);
    EXPECT_EQ(onAir(), track);
}

TEST_F(CueScenario, ASweeperFiresAtItsPointWhenNothingHoldsIt) {
    makeStation("twTag~ 0~0:10~~~~10~~~", true,
                "[tarnWave]\r\nDefaultSweeper=whoosh.mp3\r\n[Crossfade]\r\ntime=1.5\r\n");
    encode(station_ / "Sweepers/whoosh.mp3", "synth 2 sine 1000 vol 0.3");
    start();
    const audio::Handle track = onAir();
    float firedAt = -1;
    for (int i = 0; i < 400 && firedAt < 0; ++i) {
        run_->advance(0.06, 0.06);
        if (c().sweeperStream != 0) {
            firedAt = position(track);
        }
    }
    EXPECT_GE(firedAt, 10.0f);
    EXPECT_LT(firedAt, 10.0f + 0.13f);
    EXPECT_EQ(c().engine().channelIsActive(c().sweeperStream), audio::kPlaying);
}

}  // namespace
}  // namespace tw
