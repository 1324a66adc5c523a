#include "playout/position_monitor.h"

#include <gtest/gtest.h>

#include <regex>

#include "autodj/history.h"
#include "core/console_ops.h"
#include "core/text.h"
#include "desk/actions.h"
#include "media/stream_time.h"
#include "tests/testlib/console_fixture.h"

namespace tw::playout {
namespace {

using core::Console;

class PositionMonitorTest : public test::ConsoleFixture {
  protected:
    PositionMonitorTest() {
        Console& c = makeWithRecordedTick();
        c.tmrCheckPositionBool = true;
        c.mixerStream = engine.mixerStreamCreate(44100, 2, 0);
        engine.channel(c.mixerStream).level = 0x10001000;  // sound on the air
        c.crossfadeTime = 1.5f;
        c.silenceTime = 1.5f;
    }
    Console& c() { return *console; }
    void tickOnce() { tmrCheckPosition_Timer(c()); }
    void ticks(int n) {
        for (int i = 0; i < n; ++i) {
            tickOnce();
        }
    }
    // Player n loaded with a stream of the given length, at a position.
    audio::Handle load(int n, double seconds, double at = 0, int state = audio::kPlaying) {
        audio::Handle h = engine.addStream(seconds, state);
        engine.setPositionSeconds(h, at);
        (n == 1 ? c().player1Stream : c().player2Stream) = h;
        return h;
    }
    int starts() const { return tick->count("startNExt"); }
};

TEST_F(PositionMonitorTest, ClosedGateDoesNothing) {
    c().tmrCheckPositionBool = false;
    load(1, 100, 99.9, audio::kStopped);
    c().activePlayer = 1;
    tickOnce();
    EXPECT_EQ(c().statsTicks, 0);
    EXPECT_EQ(c().form().lblDateTime.caption, "");
    EXPECT_TRUE(tick->calls.empty());
}

TEST_F(PositionMonitorTest, TheClockIsWrittenOnEveryTick) {
    tickOnce();
    EXPECT_EQ(c().form().lblDateTime.caption, "Sun Nov 22, 2026  10:00:00 AM");
    clock.advanceSeconds(3 * 3600 + 5 * 60 + 9.4);
    tickOnce();
    EXPECT_EQ(c().form().lblDateTime.caption, "Sun Nov 22, 2026  01:05:09 PM");
}

TEST_F(PositionMonitorTest, TimeLeftShowsMinutesAndTenthsOfSeconds) {
    load(1, 180, 57.75);
    tickOnce();
    EXPECT_EQ(c().form().lblTimeLeft1.caption, "02:02.3");
    EXPECT_FLOAT_EQ(static_cast<float>(core::val(c().form().lblTimeLeft1.tag)), 122.25f);
    EXPECT_FLOAT_EQ(c().timeLeft1, 122.25f);
}

TEST_F(PositionMonitorTest, SecondsJustUnderAWholeMinuteAreNotShown) {
    const audio::Handle h = load(1, 180, 100);
    tickOnce();
    EXPECT_EQ(c().form().lblTimeLeft1.caption, "01:20.0");
    engine.setPositionSeconds(h, 120.4);  // 59.6 left: rounds to a minute and 0.4 below it
    tickOnce();
    EXPECT_EQ(c().form().lblTimeLeft1.caption, "01:20.0");
    EXPECT_FLOAT_EQ(static_cast<float>(core::val(c().form().lblTimeLeft1.tag)), 80.0f);
}

TEST_F(PositionMonitorTest, UnderFifteenSecondsTheLabelFlashesEverySixChanges) {
    const audio::Handle h = load(1, 100, 90);
    for (int i = 0; i < 5; ++i) {
        engine.setPositionSeconds(h, 90 + 0.06 * i);
        tickOnce();
    }
    EXPECT_EQ(c().form().lblTimeLeft1.foreColor, 0u);
    engine.setPositionSeconds(h, 90.5);
    tickOnce();
    EXPECT_EQ(c().form().lblTimeLeft1.foreColor, 255u);
    EXPECT_EQ(c().flashTicks, 0);
}

TEST_F(PositionMonitorTest, BothPlayersUnderFifteenSecondsShareTheFlashCounter) {
    const audio::Handle a = load(1, 100, 90);
    const audio::Handle b = load(2, 100, 91);
    for (int i = 0; i < 3; ++i) {
        engine.setPositionSeconds(a, 90 + 0.06 * (i + 1));
        engine.setPositionSeconds(b, 91 + 0.06 * (i + 1));
        tickOnce();
    }
    EXPECT_EQ(c().form().lblTimeLeft2.foreColor, 255u);  // the sixth change was player 2's
}

TEST_F(PositionMonitorTest, CrossfadeRuleStartsTheNextTrackOneCrossfadeBeforeTheEnd) {
    load(1, 100, 98.4);
    load(2, 100);
    c().activePlayer = 1;
    tickOnce();
    EXPECT_EQ(starts(), 0);
    engine.setPositionSeconds(c().player1Stream, 98.5);
    tickOnce();
    EXPECT_EQ(starts(), 1);
    EXPECT_EQ(tick->count("loadNextSong 0"), 0);
}

TEST_F(PositionMonitorTest, ANextTrackOfExactlyThreeCrossfadesIsNotStartedEarly) {
    load(1, 100, 99);
    load(2, 4.5);
    c().activePlayer = 1;
    tickOnce();
    EXPECT_EQ(starts(), 0);
}

TEST_F(PositionMonitorTest, SmallestCrossfadeGivesAboutTwoTicksToFire) {
    c().crossfadeTime = 0.1f;
    load(1, 100, 99.91);
    load(2, 100);
    c().activePlayer = 1;
    tickOnce();
    EXPECT_EQ(starts(), 1);
}

TEST_F(PositionMonitorTest, SmallestCrossfadeMissedLeavesItToTheRecoveryPath) {
    c().crossfadeTime = 0.1f;
    load(1, 100, 99.85);
    load(2, 100);
    c().activePlayer = 1;
    tickOnce();
    EXPECT_EQ(starts(), 0);
    engine.setPositionSeconds(c().player1Stream, 100);
    engine.channel(c().player1Stream).state = audio::kStopped;
    tickOnce();
    EXPECT_EQ(tick->calls, (std::vector<std::string>{"startNExt", "loadNextSong 0"}));
}

TEST_F(PositionMonitorTest, NextStartWinsOutright) {
    const audio::Handle h = load(1, 31, 30);  // one second left, below the crossfade
    load(2, 100);
    c().activePlayer = 1;
    c().cueRecord1.nextStart = 30.5f;
    tickOnce();
    EXPECT_EQ(starts(), 0);
    engine.setPositionSeconds(h, 30.5);
    tickOnce();
    EXPECT_EQ(starts(), 1);
}

TEST_F(PositionMonitorTest, NextStartPastTheEndIsNeverReachedAndTheTrackRunsOut) {
    const audio::Handle h = load(1, 60, 59.99);
    load(2, 100);
    c().activePlayer = 1;
    c().cueRecord1.nextStart = 70;
    tickOnce();
    EXPECT_EQ(starts(), 0);
    engine.channel(h).state = audio::kStopped;
    tickOnce();
    EXPECT_EQ(tick->calls, (std::vector<std::string>{"startNExt", "loadNextSong 0"}));
}

TEST_F(PositionMonitorTest, ManualModeFiresSweepersButStartsAndLoadsNothing) {
    c().form().cmdAutoManual.caption = core::kManual;
    const audio::Handle h = load(1, 100, 99.5);
    load(2, 100);
    c().activePlayer = 1;
    c().cueRecord1.sweeperAllowed = true;
    c().cueRecord1.sweepStart = 2;
    c().defaultSweeper = "whoosh.mp3";
    tickOnce();
    engine.channel(h).state = audio::kStopped;
    tickOnce();
    EXPECT_EQ(tick->calls,
              (std::vector<std::string>{"playSweeper " + dir.str() + "/Sweepers/whoosh.mp3"}));
    EXPECT_TRUE(c().cueRecord1.sweepFired);
}

TEST_F(PositionMonitorTest, APausedPlayerCountsAsRunningAndNoRuleFires) {
    load(1, 100, 40, audio::kPaused);
    load(2, 100);
    c().activePlayer = 1;
    ticks(20);
    EXPECT_TRUE(tick->calls.empty());
}

TEST_F(PositionMonitorTest, AMicrophoneOpenedDuringTheIntroHoldsTheSweeperUntilItCloses) {
    const audio::Handle h = load(1, 200, 4);
    load(2, 200);
    c().activePlayer = 1;
    c().cueRecord1.sweeperAllowed = true;
    c().cueRecord1.sweepStart = 5;
    c().defaultSweeper = "id.mp3";
    c().micOn = true;
    engine.setPositionSeconds(h, 6);
    ticks(3);
    EXPECT_EQ(tick->count("playSweeper " + dir.str() + "/Sweepers/id.mp3"), 0);
    c().micOn = false;
    engine.setPositionSeconds(h, 16);
    tickOnce();
    tickOnce();
    EXPECT_EQ(tick->count("playSweeper " + dir.str() + "/Sweepers/id.mp3"), 1);
}

TEST_F(PositionMonitorTest, ASpotChannelHoldsTheSweeperToo) {
    load(1, 200, 6);
    c().activePlayer = 1;
    c().cueRecord1.sweeperAllowed = true;
    c().cueRecord1.sweepStart = 5;
    c().spotChannel = 77;
    tickOnce();
    EXPECT_FALSE(c().cueRecord1.sweepFired);
}

TEST_F(PositionMonitorTest, ATrackSweeperNumberPicksItsFileFromTheSweeperList) {
    load(1, 200, 6);
    c().activePlayer = 1;
    c().cueRecord1.sweeperAllowed = true;
    c().cueRecord1.sweeperIndex = 7;
    c().form().flSweepers.items = {{"a.mp3", 0, "", false}, {"b.mp3", 0, "", false}};
    tick->sweeperIndexResult = 1;
    tickOnce();
    EXPECT_EQ(tick->calls,
              (std::vector<std::string>{"findSweeperIndex 7",
                                        "playSweeper " + dir.str() + "/Sweepers/b.mp3"}));
}

TEST_F(PositionMonitorTest, NothingStartedYetMeansNoTransportButTheDisplayRuns) {
    load(1, 100, 100, audio::kStopped);
    load(2, 100, 10);
    c().activePlayer = 0;
    tickOnce();
    EXPECT_TRUE(tick->calls.empty());
    EXPECT_EQ(c().form().lblTimeLeft2.caption, "01:30.0");
    EXPECT_FALSE(c().form().pctPlayer2.drawing.empty());
}

TEST_F(PositionMonitorTest, NoStreamOnTheWaitingPlayerLeavesItToTheRecoveryPath) {
    const audio::Handle h = load(1, 100, 99.5);
    c().activePlayer = 1;
    tickOnce();
    EXPECT_EQ(starts(), 0);
    engine.channel(h).state = audio::kStopped;
    tickOnce();
    EXPECT_EQ(tick->calls, (std::vector<std::string>{"startNExt", "loadNextSong 0"}));
}

TEST_F(PositionMonitorTest, AStaleHandleReadsAsStoppedAndTheRecoveryPathRuns) {
    const audio::Handle h = load(1, 100, 50);
    load(2, 100);
    c().activePlayer = 1;
    engine.remove(h);  // freed by the mixer; the variable keeps the old value
    tickOnce();
    EXPECT_EQ(tick->calls, (std::vector<std::string>{"startNExt", "loadNextSong 0"}));
}

TEST_F(PositionMonitorTest, APlayerWhoseAddressIsStillOpeningWaitsForIt) {
    // A start flipped to player 2 while its address was being opened: no stream there yet.
    load(1, 100, 50);
    c().activePlayer = 2;
    c().player2Opening = 7;
    c().startWhenOpened = 2;
    ticks(3);
    EXPECT_TRUE(tick->calls.empty()) << "the recovery path threw the address away";
    c().player2Opening = 0;  // it failed: the recovery path takes over
    c().startWhenOpened = 0;
    tickOnce();
    EXPECT_EQ(tick->calls, (std::vector<std::string>{"startNExt", "loadNextSong 0"}));
}

TEST_F(PositionMonitorTest, StageFiveActsOnTheNewPlayerInTheSameTick) {
    // Both players empty in automatic mode: each stage starts in turn, every tick.
    c().activePlayer = 1;
    tick->onStartNExt = [this] { c().activePlayer = c().activePlayer == 1 ? 2 : 1; };
    tickOnce();
    EXPECT_EQ(tick->calls, (std::vector<std::string>{"startNExt", "loadNextSong 0", "startNExt",
                                                     "loadNextSong 0"}));
    EXPECT_EQ(c().activePlayer, 1);
}

TEST_F(PositionMonitorTest, DeadAirStartsTheNextTrackAfterTwentyTicksPerUnit) {
    engine.channel(c().mixerStream).level = 0;
    ticks(30);
    EXPECT_EQ(c().silenceTicks, 30);
    EXPECT_EQ(starts(), 0);
    tickOnce();
    EXPECT_EQ(starts(), 1);
    engine.channel(c().mixerStream).level = 1;
    tickOnce();
    EXPECT_EQ(c().silenceTicks, 0);
}

TEST_F(PositionMonitorTest, SilenceTimeOfZeroTurnsTheWatchOff) {
    c().silenceTime = 0;
    c().silenceTicks = 12;
    engine.channel(c().mixerStream).level = 0;
    ticks(100);
    EXPECT_EQ(starts(), 0);
    engine.channel(c().mixerStream).level = 0x01000100;
    tickOnce();
    EXPECT_EQ(c().silenceTicks, 12) << "only the next start resets it";
}

TEST_F(PositionMonitorTest, TheMicrophoneAndManualModeHoldTheSilenceCount) {
    engine.channel(c().mixerStream).level = 0;
    ticks(5);
    c().micOn = true;
    ticks(50);
    EXPECT_EQ(c().silenceTicks, 5);
    c().micOn = false;
    c().form().cmdAutoManual.caption = core::kManual;
    ticks(50);
    EXPECT_EQ(c().silenceTicks, 5);
    EXPECT_EQ(starts(), 0);
}

TEST_F(PositionMonitorTest, ProgressBarIsDrawnOnlyWhenItsPositionMoves) {
    const audio::Handle h = load(1, 250, 100);
    tickOnce();
    const auto& bar = c().form().pctPlayer1;
    const std::int64_t length = engine.channel(h).length;
    const std::int32_t scale = core::cLng(static_cast<double>(length) / bar.rect.width);
    EXPECT_EQ(c().barScale, scale);
    const std::int32_t x = core::cLng(static_cast<double>(engine.channel(h).position) / scale);
    ASSERT_EQ(bar.drawing.fills.size(), 1u);
    EXPECT_DOUBLE_EQ(bar.drawing.fills[0].width, x + 1.0);
    EXPECT_EQ(bar.drawing.fills[0].image, core::ImageRole::GYR);
    ASSERT_EQ(bar.drawing.texts.size(), 1u);
    EXPECT_EQ(bar.drawing.texts[0].text, "00:01:40.0");
    EXPECT_EQ(bar.drawing.texts[0].color, 0xFFFFFFu);
    EXPECT_DOUBLE_EQ(bar.drawing.texts[0].x, bar.rect.width / 2 - 20);
    EXPECT_DOUBLE_EQ(bar.drawing.texts[0].y, bar.rect.height / 8);
    EXPECT_EQ(bar.tag, std::to_string(x));
    tickOnce();  // the same place: cleared and not drawn again
    EXPECT_TRUE(bar.drawing.empty());
}

TEST_F(PositionMonitorTest, DuringTheIntroTheBarCountsTowardsItsEnd) {
    load(1, 250, 2.5);
    c().cueRecord1.introUntil = 10;
    tickOnce();
    const auto& t = c().form().pctPlayer1.drawing.texts;
    ASSERT_EQ(t.size(), 1u);
    EXPECT_EQ(t[0].text, "Intro Until:-7.5");
    EXPECT_EQ(t[0].color, 0x8080FFu);
    EXPECT_DOUBLE_EQ(t[0].x, c().form().pctPlayer1.rect.width / 2 - 40);
}

TEST_F(PositionMonitorTest, AFailureEndsTheTickWithItsStageInTheLog) {
    load(1, 100, 10);
    c().form().pctPlayer1.rect.width = 0;
    tickOnce();
    auto lines = appLogLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_TRUE(std::regex_match(
        lines[0],
        std::regex(R"(#Time:.*AMmain TimerDivision by zero  11 -?\d+ Error Location:5#)")))
        << lines[0];
    c().form().pctPlayer1.rect.width = 250;
    tickOnce();
    EXPECT_EQ(appLogLines().size(), 1u);
    EXPECT_EQ(c().statsTicks, 2);
}

TEST_F(PositionMonitorTest, AnOverflowInTheTimeLeftIsAStageTwoFailure) {
    const audio::Handle h = load(1, 100, 0);
    engine.channel(h).length = 1LL << 62;
    tickOnce();
    auto lines = appLogLines();
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_NE(lines[0].find("main TimerOverflow  6 "), std::string::npos) << lines[0];
    EXPECT_NE(lines[0].find(" Error Location:2#"), std::string::npos) << lines[0];
}

TEST_F(PositionMonitorTest, TheStatisticsPassRunsEveryHundredTicks) {
    tick->encoderEnabled[0] = true;
    tick->answers[0] = "<listeners>7</listeners>";
    tick->listeners[0] = 7;
    tick->encoderEnabled[2] = true;
    tick->answers[2] = "x";
    tick->listeners[2] = 5;
    ticks(99);
    EXPECT_EQ(tick->count("checkRotationSchedule"), 0);
    tickOnce();
    EXPECT_EQ(tick->count("checkStats 0"), 1);
    EXPECT_EQ(tick->count("checkStats 2"), 1);
    EXPECT_EQ(tick->count("checkStats 1"), 0);
    EXPECT_EQ(c().form().lblListerners.caption, "12");
    EXPECT_EQ(tick->count("checkRotationSchedule"), 1);
    EXPECT_EQ(tick->count("castStart"), 0);
    EXPECT_EQ(c().statsTicks, 0);
}

TEST_F(PositionMonitorTest, ADeadServerWithAutoReconnectIsStoppedAndStartedAgainOnce) {
    c().encoderHandles = {11, 12, 13};
    for (int i : {0, 1, 2}) {
        tick->encoderEnabled[i] = true;
        tick->autoReconnect[i] = true;
    }
    tick->answers[0] = "ok";
    tick->listeners[0] = 4;
    c().statsTicks = 99;
    tickOnce();
    EXPECT_EQ(engine.count("encodeStop 12"), 1);
    EXPECT_EQ(engine.count("encodeStop 13"), 1);
    EXPECT_EQ(c().encoderHandles[0], 11u);
    EXPECT_EQ(c().encoderHandles[1], 0u);
    EXPECT_EQ(tick->count("castStart"), 1);
    // A dead encoder leaves the variable as it was: the first figure counts three times.
    EXPECT_EQ(c().form().lblListerners.caption, "12");
    EXPECT_EQ(c().form().frmTarnDesk.drawing.texts.at(0).text,
              "Trying To RE-Connect to Server using settings in Encoder:3");
}

TEST_F(PositionMonitorTest, ADeadServerWithoutAutoReconnectIsLeftAloneAndItsListenersLeave) {
    c().encoderHandles[0] = 11;
    c().currentTitle = "Band - Tune";
    tick->encoderEnabled[0] = true;
    tick->answers[0] = "<listeners>9</listeners>";
    tick->listeners[0] = 9;
    c().statsTicks = 99;
    tickOnce();
    ASSERT_EQ(c().form().lblListerners.caption, "9");
    tick->answers[0] = "";  // the server is gone
    c().statsTicks = 99;
    tickOnce();
    EXPECT_EQ(engine.count("encodeStop"), 0);
    EXPECT_EQ(c().encoderHandles[0], 11u);
    // The poll's listener variable starts at 0: the nine who were on the dead server leave the
    // figure, and the track on the air is charged with them.
    EXPECT_EQ(c().form().lblListerners.caption, "0");
    EXPECT_EQ(autodj::readHistory(c(), "Band - Tune", autodj::kTunedOut, "0"), "0")
        << "-9 when they came, +9 when they left";
}

TEST_F(PositionMonitorTest, MetersMoveOnlyWhenBothChannelsPassOneHundred) {
    auto& bars = c().form().picLevelBar;
    engine.channel(c().mixerStream).level = (16384u << 16) | 8192u;
    tickOnce();
    ASSERT_EQ(bars[0].drawing.fills.size(), 1u);
    EXPECT_DOUBLE_EQ(bars[0].drawing.fills[0].width, bars[0].rect.width * 8192 / 32768.0);
    EXPECT_DOUBLE_EQ(bars[1].drawing.fills[0].width, bars[1].rect.width * 16384 / 32768.0);
    engine.channel(c().mixerStream).level = (30000u << 16) | 0u;  // left silent, right loud
    tickOnce();
    EXPECT_DOUBLE_EQ(bars[0].drawing.fills[0].width, bars[0].rect.width * 8192 / 32768.0);
    engine.channel(c().mixerStream).level = (100u << 16) | 100u;
    tickOnce();
    EXPECT_DOUBLE_EQ(bars[1].drawing.fills[0].width, bars[1].rect.width * 16384 / 32768.0);
}

TEST_F(PositionMonitorTest, AFormScaleOfZeroIsRestoredByTheNextTick) {
    c().formScale = 0;
    tickOnce();
    EXPECT_FLOAT_EQ(c().formScale, 1.0f);
}

TEST_F(PositionMonitorTest, BothChannelsAtExactlyOneHundredLeaveTheMetersStill) {
    auto& bars = c().form().picLevelBar;
    engine.channel(c().mixerStream).level = (100u << 16) | 100u;
    tickOnce();
    EXPECT_TRUE(bars[0].drawing.empty());
    EXPECT_TRUE(bars[1].drawing.empty());
}

TEST_F(PositionMonitorTest, APressOnALevelBarSetsBothPlayersVolumeAndMovesBothPointers) {
    auto& bars = c().form().picLevelBar;
    c().player1Stream = engine.addStream(60);
    c().player2Stream = engine.addStream(60);
    const double width = bars[0].scaleWidth();
    ASSERT_GT(width, 20);
    desk::press(c(), "picLevelBar(1)", desk::MouseButton::Left, width / 2 + 5);
    EXPECT_EQ(bars[0].value, static_cast<int>(width / 2));
    EXPECT_EQ(bars[1].value, static_cast<int>(width / 2));
    const std::string volume =
        std::to_string(static_cast<float>(static_cast<int>(width / 2) / width));
    EXPECT_EQ(
        engine.count("channelSetAttribute " + std::to_string(c().player1Stream) + " 2 " + volume),
        1);
    EXPECT_EQ(
        engine.count("channelSetAttribute " + std::to_string(c().player2Stream) + " 2 " + volume),
        1);
    ASSERT_EQ(bars[0].drawing.fills.size(), 1u) << "the pointer";
    engine.channel(c().mixerStream).level = (16384u << 16) | 16384u;
    tickOnce();
    EXPECT_EQ(bars[0].drawing.fills.size(), 2u) << "the meter and, over it, the pointer";
}

TEST_F(PositionMonitorTest, APressOutsideALevelBarOrWithTheRightButtonChangesNothing) {
    auto& bars = c().form().picLevelBar;
    c().player1Stream = engine.addStream(60);
    desk::press(c(), "picLevelBar(0)", desk::MouseButton::Left, -1);
    desk::press(c(), "picLevelBar(0)", desk::MouseButton::Left, bars[0].scaleWidth() + 1);
    desk::press(c(), "picLevelBar(0)", desk::MouseButton::Right, 10);
    EXPECT_EQ(engine.count("channelSetAttribute " + std::to_string(c().player1Stream)), 0);
    EXPECT_TRUE(bars[0].drawing.empty());
}

TEST_F(PositionMonitorTest, WithoutAMixerTheWatchAndTheMetersRest) {
    c().mixerStream = 0;
    c().silenceTicks = 3;
    ticks(50);
    EXPECT_EQ(c().silenceTicks, 3);
    EXPECT_TRUE(c().form().picLevelBar[0].drawing.empty());
}

TEST_F(PositionMonitorTest, ThePreviewBarShowsMinutesAndSecondsAndTagsThePlayButton) {
    const audio::Handle h = engine.addStream(200);
    engine.setPositionSeconds(h, 75.25);
    c().previewPlayer = h;
    tickOnce();
    const auto& pic = c().form().pctPreviewPlayer;
    ASSERT_EQ(pic.drawing.texts.size(), 1u);
    EXPECT_EQ(pic.drawing.texts[0].text, "01:15.3");
    EXPECT_DOUBLE_EQ(pic.drawing.texts[0].x, pic.rect.width / 2 - 3 * 7);
    EXPECT_FALSE(c().form().cmdPlayActiveSong.tag.empty());
}

TEST(GetTimeTest, HoursDoNotReduceTheSeconds) {
    EXPECT_EQ(media::GetTime(3700), "01:01:3640.0");
    EXPECT_EQ(media::GetTime(75.25), "00:01:15.3");
    EXPECT_EQ(media::GetTime(0), "00:00:00.0");
}

}  // namespace
}  // namespace tw::playout
