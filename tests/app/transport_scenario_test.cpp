// Pause and fade on the air and on the waiting player, on a generated station in virtual time.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "audio/engine.h"
#include "core/console.h"
#include "core/dates.h"
#include "tests/app/station_run.h"
#include "tests/testlib/temp_dir.h"

namespace tw {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t kPaused = 0x40;

class TransportScenario : public ::testing::Test {
  protected:
    void SetUp() override {
        station_ = dir_ / "station";
        ASSERT_EQ(test::makeScenarioStation(station_), "");
        run_ = std::make_unique<test::StationRun>(station_.string(),
                                                  core::dateSerial(2026, 3, 2) + 10.0 / 24);
        ASSERT_EQ(run_->exec("load"), "");
        ASSERT_EQ(run_->exec("select flRotations 0"), "");
        run_->advance(5, 0.06);
        onAir_ = run_->console().activePlayer;
        ASSERT_TRUE(onAir_ == 1 || onAir_ == 2);
        waiting_ = 3 - onAir_;
    }

    int played() {
        std::ifstream in(station_ / "Played.log");
        int n = 0;
        for (std::string line; std::getline(in, line);) {
            n += !line.empty();
        }
        return n;
    }
    core::Element& pauseButton(int n) {
        return n == 1 ? run_->console().form().cmdPausePlay1 : run_->console().form().cmdPausePlay2;
    }
    std::string timeLeft(int n) {
        return (n == 1 ? run_->console().form().lblTimeLeft1 : run_->console().form().lblTimeLeft2)
            .caption;
    }
    std::string name(const char* base, int n) { return base + std::to_string(n); }

    test::TempDir dir_;
    fs::path station_;
    std::unique_ptr<test::StationRun> run_;
    int onAir_ = 0;
    int waiting_ = 0;
};

// A paused player adds nothing to the mix: in "Automated" mode the dead-air watch counts the
// silence (1.5 units of 20 ticks) and starts the next track, which clears the paused look.
TEST_F(TransportScenario, PauseOnTheAirInAutomatedModeIsDeadAirAndTheWatchStartsTheNextTrack) {
    const int before = played();
    ASSERT_EQ(run_->exec("press " + name("cmdPausePlay", onAir_)), "");
    EXPECT_EQ(pauseButton(onAir_).backColor, kPaused);
    const std::string held = timeLeft(onAir_);
    run_->advance(1.0, 0.06);
    EXPECT_EQ(run_->console().activePlayer, onAir_);
    EXPECT_EQ(timeLeft(onAir_), held);
    EXPECT_EQ(played(), before);
    run_->advance(2.0, 0.06);
    EXPECT_EQ(run_->console().activePlayer, waiting_);
    EXPECT_EQ(played(), before + 1);
    EXPECT_EQ(pauseButton(onAir_).backColor, 0u);
}

// The paused track that the dead-air watch replaced is stopped and freed, and its player loaded
// again: three presses on its pause button later, one track sounds in the mix.
TEST_F(TransportScenario, APausedTrackReplacedByTheDeadAirWatchNeverComesBackBesideTheNext) {
    core::Console& c = run_->console();
    audio::Engine& e = c.engine();
    const audio::Handle paused = onAir_ == 1 ? c.player1Stream : c.player2Stream;
    ASSERT_EQ(run_->exec("press " + name("cmdPausePlay", onAir_)), "");
    run_->advance(3.0, 0.06);
    ASSERT_EQ(c.activePlayer, waiting_) << "the watch started the next track";
    EXPECT_EQ(e.channelIsActive(paused), audio::kStopped);
    EXPECT_EQ(e.errorGetCode(), audio::kErrorHandle) << "the paused stream is freed";
    // A source sounds when it is in the mix and not held by the pause flag.
    auto sounding = [&] {
        int n = 0;
        for (const audio::Handle h : {c.player1Stream, c.player2Stream}) {
            const std::uint32_t flags = e.mixerChannelFlags(h, 0, 0);
            n += flags != 0xFFFFFFFFu && (flags & audio::kMixerPause) == 0;
        }
        return n;
    };
    EXPECT_EQ(sounding(), 1);
    for (int press = 1; press <= 3; ++press) {
        ASSERT_EQ(run_->exec("press " + name("cmdPausePlay", onAir_)), "");
        run_->advance(1.0, 0.06);
        EXPECT_EQ(sounding(), 1) << "after press " << press;
        EXPECT_EQ(c.activePlayer, waiting_);
    }
}

TEST_F(TransportScenario, PauseOnTheAirInManualModeHoldsTheTrackUntilOnePressResumesIt) {
    ASSERT_EQ(run_->exec("press cmdAutoManual"), "");
    ASSERT_EQ(run_->console().form().cmdAutoManual.caption, "Manual");
    const int before = played();
    ASSERT_EQ(run_->exec("press " + name("cmdPausePlay", onAir_)), "");
    const std::string held = timeLeft(onAir_);
    run_->advance(10, 0.06);
    EXPECT_EQ(run_->console().activePlayer, onAir_);
    EXPECT_EQ(timeLeft(onAir_), held);
    EXPECT_EQ(pauseButton(onAir_).backColor, kPaused);
    EXPECT_EQ(played(), before);
    ASSERT_EQ(run_->exec("press " + name("cmdPausePlay", onAir_)), "");
    EXPECT_EQ(pauseButton(onAir_).backColor, 0u);
    run_->advance(2, 0.06);
    EXPECT_NE(timeLeft(onAir_), held);
    EXPECT_EQ(run_->console().activePlayer, onAir_);
    EXPECT_EQ(played(), before);
}

TEST_F(TransportScenario, PauseOnTheWaitingPlayerLeavesTheTrackOnTheAirPlaying) {
    const int before = played();
    ASSERT_EQ(run_->exec("press " + name("cmdPausePlay", waiting_)), "");
    EXPECT_EQ(pauseButton(waiting_).backColor, kPaused);
    const std::string running = timeLeft(onAir_);
    run_->advance(10, 0.06);
    EXPECT_EQ(run_->console().activePlayer, onAir_);
    EXPECT_NE(timeLeft(onAir_), running);
    EXPECT_EQ(pauseButton(waiting_).backColor, kPaused);
    EXPECT_EQ(played(), before);
    ASSERT_EQ(run_->exec("press " + name("cmdPausePlay", waiting_)), "");
    EXPECT_EQ(pauseButton(waiting_).backColor, 0u);
}

// Fade slides the track to silence and removes its sync; the tick still treats it as the running
// track, and in "Automated" mode the dead-air watch then starts the next one.
TEST_F(TransportScenario, FadeOnTheAirEndsInSilenceAndTheDeadAirWatchStartsTheNextTrack) {
    const int before = played();
    const double fade = run_->console().crossfadeTime;
    ASSERT_EQ(run_->exec("press " + name("cmdFadeOut", onAir_)), "");
    run_->advance(0.5, 0.06);
    EXPECT_EQ(run_->console().activePlayer, onAir_);
    run_->advance(fade + 3.0, 0.06);
    EXPECT_EQ(run_->console().activePlayer, waiting_);
    EXPECT_EQ(played(), before + 1);
}

// The waiting player faded before its start: the start itself does not undo the fade, so the
// track starts silent and the dead-air watch moves on to the next; the station stays on the air.
TEST_F(TransportScenario, FadeOnTheWaitingPlayerKeepsTheStationOnTheAir) {
    ASSERT_EQ(run_->exec("press " + name("cmdFadeOut", waiting_)), "");
    const int before = played();
    run_->advance(20 * 60, 0.06);
    EXPECT_GT(played(), before + 3);
    EXPECT_TRUE(run_->console().automated());
}

}  // namespace
}  // namespace tw
