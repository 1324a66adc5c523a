#include "playout/player_start.h"

#include <gtest/gtest.h>

#include <ostream>

#include "broadcast/cast_form.h"
#include "core/console_ops.h"
#include "desk/actions.h"
#include "playout/position_monitor.h"
#include "tests/autodj/station_fixture.h"

namespace tw::playout {
namespace {

using core::Console;

class PlayerStartTest : public test::StationFixture {
  protected:
    PlayerStartTest() {
        addCategory("Rock");
        pathA = addTrack("Rock", "a.mp3", "Ann Arbor", "Alpha");
        pathB = addTrack("Rock", "b.mp3", "Bob Brown", "Beta");
        Console& c = open();
        c.trackList.assign(17, {});
        c.mixerStream = engine.mixerStreamCreate(44100, 2, 0);
        core::GridRow row;
        row.cells = {"", "Rock"};
        c.form().lstRotation.rows.push_back(row);
        broadcast::loadEncoderDataFromIni(
            c);  // the cast form's profiles, as the start-up reads them
    }
    Console& c() { return *console; }
    // Player n loaded with path, as the planner leaves it.
    audio::Handle load(int n, const std::string& path, double seconds) {
        const audio::Handle h = engine.addStream(seconds);
        (n == 1 ? c().player1Stream : c().player2Stream) = h;
        (n == 1 ? c().nextSong1 : c().nextSong2) = path;
        return h;
    }
    std::string h(audio::Handle x) const { return std::to_string(x); }
    std::string pathA, pathB;
};

TEST_F(PlayerStartTest, TheFirstStartIsOnPlayerOneAndRecordsThePlay) {
    const audio::Handle a = load(1, pathA, 200);
    startNExt(c());
    EXPECT_EQ(c().activePlayer, 1);
    EXPECT_EQ(engine.count("mixerAddChannel " + h(c().mixerStream) + " " + h(a) + " 262144"), 1);
    EXPECT_EQ(c().currentTitle, "Ann Arbor - Alpha");
    EXPECT_EQ(history("Ann Arbor - Alpha", "LastPlayed"), "11/22/2026 10:00:00 AM");
    EXPECT_EQ(history("Ann Arbor - Alpha", "Pending"), "no");
    EXPECT_EQ(history("Ann Arbor - Alpha", "PlayCount"), "1");
    EXPECT_EQ(history("ann arbor", "LastPlayed"), "11/22/2026 10:00:00 AM");
    EXPECT_EQ(test::readFile(dir / "Played.log"), "Ann Arbor - Alpha,11/22/2026 10:00:00 AM\n");
    EXPECT_EQ(c().form().lblplayer1.image, core::ImageRole::Blue);
    EXPECT_EQ(c().form().lblplayer1.caption, "Ann Arbor");
    EXPECT_EQ(c().form().lblplayer1.caption2, "Alpha");
    EXPECT_NE(c().sync1, 0u);
    EXPECT_EQ(engine.syncCount(a), 1);
    EXPECT_EQ(engine.count("channelSetSync " + h(a) + " 8"), 1);
    // The first encoder is on by default and gets the title with the station's address; the
    // others are off.
    EXPECT_EQ(engine.count("castSetTitle "), 1);
    EXPECT_EQ(engine.count("castSetTitle 0 Ann Arbor - Alpha Station URL"), 1);
}

TEST_F(PlayerStartTest, ThePlayCountGoesUpWithEveryStart) {
    setHistory("Ann Arbor - Alpha", "PlayCount", "41");
    load(1, pathA, 200);
    startNExt(c());
    EXPECT_EQ(history("Ann Arbor - Alpha", "PlayCount"), "42");
}

TEST_F(PlayerStartTest, TheOutgoingTrackFadesOverOneCrossfade) {
    const audio::Handle a = load(1, pathA, 200);
    load(2, pathB, 200);
    c().activePlayer = 1;
    c().crossfadeTime = 2.5f;
    startNExt(c());
    EXPECT_EQ(c().activePlayer, 2);
    EXPECT_EQ(engine.count("channelSlideAttribute " + h(a) + " 2 -100.000000 2500"), 1);
    EXPECT_EQ(engine.count("channelSlideAttribute " + h(c().player2Stream)), 0)
        << "the incoming track starts at full volume";
}

TEST_F(PlayerStartTest, ATrackOfExactlySixtySecondsIsNotFaded) {
    const audio::Handle a = load(1, pathA, 60);
    load(2, pathB, 200);
    c().activePlayer = 1;
    startNExt(c());
    EXPECT_EQ(engine.count("channelSlideAttribute " + h(a)), 0);
}

TEST_F(PlayerStartTest, EveryEnabledEncoderGetsTheTitleWithItsOwnProfilesUrl) {
    test::writeFile(dir / "appSettings.ini",
                    "[Shoutcast]\nURL=http://radio.example\n[Shoutcast4]\nEnabled=1\n"
                    "URL=http://four.example\n[Shoutcast5]\nURL=http://off.example\n");
    broadcast::loadEncoderDataFromIni(c());
    c().encoderHandles[4] = 77;
    c().encoderHandles[5] = 78;
    load(1, pathA, 15.1);
    startNExt(c());
    EXPECT_EQ(engine.count("castSetTitle 0 Ann Arbor - Alpha http://radio.example"), 1);
    EXPECT_EQ(engine.count("castSetTitle 77 Ann Arbor - Alpha http://four.example"), 1);
    EXPECT_EQ(engine.count("castSetTitle 78"), 0) << "encoder 6 is not enabled";
}

TEST_F(PlayerStartTest, ATrackOfExactlyFifteenSecondsSendsNoTitleButIsRecorded) {
    load(1, pathA, 15);
    startNExt(c());
    EXPECT_EQ(engine.count("castSetTitle"), 0);
    EXPECT_EQ(history("Ann Arbor - Alpha", "PlayCount"), "1");
    EXPECT_FALSE(test::readFile(dir / "Played.log").empty());
}

TEST_F(PlayerStartTest, SkipWithNothingWaitingFlipsAndLeavesTheTrackPlayingUnfaded) {
    const audio::Handle a = load(1, pathA, 200);
    c().activePlayer = 1;
    startNExt(c());
    EXPECT_EQ(c().activePlayer, 2);
    EXPECT_EQ(engine.count("channelSlideAttribute"), 0);
    EXPECT_EQ(engine.count("mixerAddChannel"), 0);
    EXPECT_EQ(engine.channelIsActive(a), audio::kPlaying);
}

TEST_F(PlayerStartTest, ASecondStartInTheSameCrossfadeStopsAtTheStaleHandle) {
    const audio::Handle a = load(1, pathA, 200);
    load(2, pathB, 200);
    c().activePlayer = 1;
    engine.channel(a).mixer = c().mixerStream;  // player 1 on the air
    startNExt(c());
    ASSERT_EQ(engine.channel(a).mixer, c().mixerStream);  // still fading out in the mixer
    startNExt(c());
    EXPECT_EQ(engine.errorGetCode(), audio::kErrorAlready);  // the add of a was refused
    EXPECT_EQ(c().activePlayer, 1);
    EXPECT_EQ(test::readFile(dir / "Played.log"), "Bob Brown - Beta,11/22/2026 10:00:00 AM\n");
    EXPECT_TRUE(appLogLines().empty()) << "a failed add is silent";
}

// Whatever starts the next track while the one on the air is paused in the mixer, the paused
// track leaves the mix for good: presses on its pause button afterwards never bring it back
// beside the new one.
enum class Starter { Direct, NextInManualMode, DeadAirWatch };

struct PausedHandOver {
    const char* name;
    Starter starter;
};

void PrintTo(const PausedHandOver& p, std::ostream* os) {
    *os << p.name;
}

class PausedHandOverTest : public PlayerStartTest,
                           public ::testing::WithParamInterface<PausedHandOver> {
  protected:
    void start() {
        switch (GetParam().starter) {
            case Starter::Direct:
                startNExt(c());
                break;
            case Starter::NextInManualMode:
                c().form().cmdAutoManual.caption = core::kManual;
                desk::press(c(), "cmdSkipNow");
                break;
            case Starter::DeadAirWatch:
                // The mixer's level is 0: twenty ticks per unit of silence time.
                c().tmrCheckPositionBool = true;
                c().silenceTime = 1;
                for (int i = 0; i < 30 && c().activePlayer == 1; ++i) {
                    tmrCheckPosition_Timer(c());
                }
                break;
        }
    }
};

TEST_P(PausedHandOverTest, APausedTrackHandedOverIsFreedAndItsPauseButtonCannotBringItBack) {
    const audio::Handle a = load(1, pathA, 200);
    load(2, pathB, 200);
    c().activePlayer = 1;
    engine.channel(a).mixer = c().mixerStream;  // player 1 on the air
    desk::press(c(), "cmdPausePlay1");
    ASSERT_EQ(engine.soundingSources(c().mixerStream), 0);
    start();
    ASSERT_EQ(c().activePlayer, 2);
    EXPECT_EQ(engine.count("streamFree " + h(a)), 1);
    EXPECT_FALSE(engine.has(a)) << "the paused track is gone from the mix";
    EXPECT_EQ(engine.soundingSources(c().mixerStream), 1);
    for (int press = 1; press <= 3; ++press) {
        desk::press(c(), "cmdPausePlay1");
        EXPECT_EQ(engine.soundingSources(c().mixerStream), 1) << "after press " << press;
    }
}

INSTANTIATE_TEST_SUITE_P(
    , PausedHandOverTest,
    ::testing::Values(PausedHandOver{"StartNExt", Starter::Direct},
                      PausedHandOver{"NextInManualMode", Starter::NextInManualMode},
                      PausedHandOver{"DeadAirWatch", Starter::DeadAirWatch}),
    [](const ::testing::TestParamInfo<PausedHandOver>& info) { return info.param.name; });

TEST_F(PlayerStartTest, AnOutgoingTrackThatPlaysStaysInTheMixToFade) {
    const audio::Handle a = load(1, pathA, 200);
    load(2, pathB, 200);
    c().activePlayer = 1;
    engine.channel(a).mixer = c().mixerStream;
    startNExt(c());
    EXPECT_TRUE(engine.has(a));
    EXPECT_EQ(engine.count("streamFree"), 0);
    EXPECT_EQ(engine.soundingSources(c().mixerStream), 2) << "the crossfade";
}

TEST_F(PlayerStartTest, NothingToStartAndNothingRunningReturnsAtOnce) {
    c().form().lstRotation.rows.clear();
    load(1, pathA, 200);
    startNExt(c());
    EXPECT_EQ(c().activePlayer, 0);
    EXPECT_TRUE(engine.calls.size() == 1u);  // the mixer's creation only
}

TEST_F(PlayerStartTest, StartingClearsThePausedLookAndTheSilenceCount) {
    load(1, pathA, 200);
    c().silenceTicks = 17;
    c().form().cmdPausePlay2.backColor = 0x40;
    startNExt(c());
    EXPECT_EQ(c().silenceTicks, 0);
    EXPECT_EQ(c().form().cmdPausePlay2.backColor, 0u);
}

TEST_F(PlayerStartTest, ACounterThatIsNoNumberEndsTheStartWithItsFailureLine) {
    setHistory("Ann Arbor - Alpha", "PlayCount", "many");
    load(1, pathA, 200);
    startNExt(c());
    const auto lines = logTexts();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].rfind("StartNextType mismatch  13 Bass Error:", 0), 0u) << lines[0];
    EXPECT_EQ(c().activePlayer, 1);
}

TEST_F(PlayerStartTest, TheEndOfTheStreamLoadsTheEmptyPlayerThroughFadeTimer) {
    const audio::Handle a = load(1, pathA, 200);
    startNExt(c());
    c().form().cmdAutoManual.caption = core::kManual;
    engine.finish(a);
    loop.advance(0.05);
    EXPECT_TRUE(c().form().fadeTimer.enabled) << "waits while the console is in manual mode";
    c().form().cmdAutoManual.caption = core::kAutomated;
    loop.advance(0.01);
    EXPECT_FALSE(c().form().fadeTimer.enabled);
}

// A track on the air that runs out before anything started the next one: its free sync and the
// tick's recovery path both act, in either order, and the track waiting on the other player is
// the one that follows it. The list's next row (here a) is loaded behind it, not over it.
class RunOutTest : public PlayerStartTest {
  protected:
    RunOutTest() {
        engine.fileSeconds[pathA] = 200;
        for (auto& t : c().trackList) {
            t.trackPath = pathA;
        }
        a = load(1, pathA, 200);
        startNExt(c());
        b = load(2, pathB, 200);
        c().tmrCheckPositionBool = true;
    }
    void judge() {
        EXPECT_EQ(c().activePlayer, 2);
        EXPECT_EQ(c().player2Stream, b);
        EXPECT_EQ(c().currentTitle, "Bob Brown - Beta");
        EXPECT_EQ(test::readFile(dir / "Played.log"),
                  "Ann Arbor - Alpha,11/22/2026 10:00:00 AM\nBob Brown - Beta,11/22/2026 "
                  "10:00:00 AM\n");
        EXPECT_FALSE(c().form().fadeTimer.enabled);
        EXPECT_EQ(engine.count("streamCreateFile " + pathA), 1) << "one load behind b";
        EXPECT_NE(c().player1Stream, a);
        EXPECT_NE(c().player1Stream, 0u);
    }
    audio::Handle a = 0;
    audio::Handle b = 0;
};

TEST_F(RunOutTest, TheFreeSyncFirstLeavesTheWaitingTrackForTheTickToStart) {
    engine.finish(a);
    loop.advance(0.01);  // fadeTimer
    EXPECT_EQ(c().player2Stream, b) << "the waiting track is still there";
    EXPECT_EQ(c().nextSong2, pathB);
    tmrCheckPosition_Timer(c());
    judge();
}

TEST_F(RunOutTest, TheTickFirstStartsTheWaitingTrackAndFadeTimerKeepsWhatItLoaded) {
    engine.finish(a);  // the free sync's post waits in the loop
    tmrCheckPosition_Timer(c());
    const audio::Handle loaded = c().player1Stream;
    loop.advance(0.01);  // fadeTimer
    EXPECT_EQ(c().player1Stream, loaded);
    judge();
}

TEST_F(PlayerStartTest, DuckAndRestoreSlideThePlayersThatHaveAStream) {
    const audio::Handle a = load(1, pathA, 200);
    duckPlayers(c());
    restorePlayers(c());
    EXPECT_EQ(engine.count("channelSlideAttribute " + h(a) + " 2 0.500000 1000"), 1);
    EXPECT_EQ(engine.count("channelSlideAttribute " + h(a) + " 2 1.000000 1000"), 1);
    EXPECT_EQ(engine.count("channelSlideAttribute 0"), 0);
    setPlayersVolume(c(), 0.25f);
    EXPECT_FLOAT_EQ(engine.channel(a).volume, 0.25f);
}

}  // namespace
}  // namespace tw::playout
