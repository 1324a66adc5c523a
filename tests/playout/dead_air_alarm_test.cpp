// The dead-air alarm: ten seconds under -50 dBFS in either mode flash "DEAD AIR" on the clock,
// write one line and start the station's command; sound clears it; it never touches what plays.

#include "playout/dead_air_alarm.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <chrono>
#include <filesystem>
#include <thread>

#include "core/console_ops.h"
#include "playout/position_monitor.h"
#include "tests/testlib/console_fixture.h"

namespace tw::playout {
namespace {

namespace fs = std::filesystem;
using core::Console;

constexpr double kTick = 0.06;

class DeadAirAlarmTest : public test::ConsoleFixture {
  protected:
    DeadAirAlarmTest() {
        Console& c = makeWithRecordedTick();
        c.tmrCheckPositionBool = true;
        c.mixerStream = engine.mixerStreamCreate(44100, 2, 0);
        level(0x10001000);
        c.silenceTime = 0;  // the tick's own dead-air watch, which starts the next track, is off
    }
    Console& c() { return *console; }
    void level(std::uint32_t l) { engine.channel(c().mixerStream).level = l; }
    // The tick for the given seconds, in its 60 ms steps.
    void run(double seconds) {
        for (double t = 0; t < seconds - 1e-9; t += kTick) {
            clock.advanceSeconds(kTick);
            tmrCheckPosition_Timer(c());
        }
    }
    void setting(const std::string& key, const std::string& value) {
        core::writeIniValue(c(), c().appSettingsPath(), "DeadAir", key, value);
    }
    int alarmLines() {
        int n = 0;
        for (const std::string& line : appLogLines()) {
            n += line.find("DEAD AIR: the mix has been silent for") != std::string::npos;
        }
        return n;
    }
    // Whether the clock showed "DEAD AIR" in red at some tick of the next second.
    bool clockFlashes() {
        bool shown = false, timeShown = false;
        for (int i = 0; i < 20; ++i) {
            run(kTick);
            const auto& clockLabel = c().form().lblDateTime;
            if (clockLabel.caption == kDeadAirCaption) {
                shown = shown || clockLabel.foreColor == 0x0000FF;
            } else {
                timeShown = true;
            }
        }
        return shown && timeShown;
    }
};

class DeadAirAlarmModeTest : public DeadAirAlarmTest,
                             public ::testing::WithParamInterface<const char*> {};

TEST_P(DeadAirAlarmModeTest, TenSecondsOfSilenceRaiseItOnceAndItNeverTouchesWhatPlays) {
    c().form().cmdAutoManual.caption = GetParam();
    run(1);
    level(0);
    run(9.8);
    EXPECT_EQ(alarmLines(), 0) << "not before ten seconds";
    EXPECT_NE(c().form().lblDateTime.caption, kDeadAirCaption);
    run(0.4);
    EXPECT_EQ(alarmLines(), 1);
    EXPECT_TRUE(clockFlashes());
    run(30);
    EXPECT_EQ(alarmLines(), 1) << "one line for one silence";
    for (const std::string& call : tick->calls) {
        EXPECT_EQ(call.rfind("startNExt", 0), std::string::npos) << "nothing started";
        EXPECT_EQ(call.rfind("loadNextSong", 0), std::string::npos) << "nothing loaded";
        EXPECT_EQ(call.rfind("playSweeper", 0), std::string::npos) << "nothing swept";
    }
}

INSTANTIATE_TEST_SUITE_P(BothModes, DeadAirAlarmModeTest,
                         ::testing::Values(core::kAutomated, core::kManual));

TEST_F(DeadAirAlarmTest, SoundBackClearsItAndTheClockShowsTheTimeAgain) {
    level(0);
    run(11);
    ASSERT_TRUE(c().deadAir->raised());
    level(0x10001000);
    run(kTick * 2);
    EXPECT_FALSE(c().deadAir->raised());
    EXPECT_EQ(c().form().lblDateTime.foreColor, 0u);
    EXPECT_EQ(c().form().lblDateTime.caption, "Sun Nov 22, 2026  10:00:11 AM");
    const auto lines = appLogLines();
    ASSERT_FALSE(lines.empty());
    EXPECT_NE(lines.back().find("DEAD AIR ended: sound is back"), std::string::npos);
    // A second silence is a second alarm.
    level(0);
    run(10.2);
    EXPECT_EQ(alarmLines(), 2);
}

TEST_F(DeadAirAlarmTest, MinusFiftyDbfsIsTheLine) {
    level((103u << 16) | 103u);  // just under -50 dBFS on both sides: quiet
    run(10.2);
    EXPECT_EQ(alarmLines(), 1);
    level(104u << 16);  // one side at -50 dBFS: sound
    run(kTick);
    EXPECT_FALSE(c().deadAir->raised());
}

TEST_F(DeadAirAlarmTest, TheSecondsComeFromTheSettingsAndZeroSwitchesItOff) {
    setting("Seconds", "3");
    level(0);
    run(3.2);
    EXPECT_EQ(alarmLines(), 1);
    level(0x1000);
    run(kTick);
    setting("Seconds", "0");
    level(0);
    run(60);
    EXPECT_EQ(alarmLines(), 1);
    EXPECT_FALSE(c().deadAir->raised());
    setting("Seconds", "1e99");  // no text makes the tick fail
    run(1);
    for (const std::string& line : appLogLines()) {
        EXPECT_EQ(line.find("main Timer"), std::string::npos) << line;
    }
}

TEST_F(DeadAirAlarmTest, WithoutAMixerTheAirIsDead) {
    c().mixerStream = 0;
    run(10.2);
    EXPECT_EQ(alarmLines(), 1);
}

TEST_F(DeadAirAlarmTest, ASilenceAcrossMidnightCountsOn) {
    clock.advanceSeconds(14 * 3600 - 5);  // 23:59:55
    level(0);
    run(10.2);
    EXPECT_EQ(alarmLines(), 1);
}

TEST_F(DeadAirAlarmTest, TheCommandGetsTheStationsNameWithoutAShell) {
    const fs::path script = dir / "tell someone.sh";
    const fs::path said = dir / "said.txt";
    // Written aside and renamed: the test waits for the file, and must not find it half made.
    const std::string to = "'" + said.string() + "'", aside = "'" + said.string() + ".part'";
    test::writeFile(script, "#!/bin/sh\nfor a in \"$@\"; do echo \"$a\"; done > " + aside +
                                " && mv " + aside + " " + to + "\n");
    fs::permissions(script, fs::perms::owner_all);
    setting("Command", "\"" + script.string() + "\" --urgent $HOME;rm");
    core::writeIniValue(c(), c().appSettingsPath(), "Shoutcast", "Name", "Tarn Valley Radio");
    level(0);
    run(10.2);
    for (int i = 0; i < 200 && !fs::exists(said); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        loop.processPending();
    }
    EXPECT_EQ(test::readFile(said), "--urgent\n$HOME;rm\nTarn Valley Radio\n");
}

TEST_F(DeadAirAlarmTest, ACommandThatCannotStartIsLoggedAndTheConsoleGoesOn) {
    setting("Command", (dir / "no such program").string());
    level(0);
    run(10.2);
    bool logged = false;
    for (const std::string& line : appLogLines()) {
        logged = logged || line.find("could not be started") != std::string::npos ||
                 line.find("ended with status") != std::string::npos;
    }
    for (int i = 0; i < 100 && !logged; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        loop.processPending();
        for (const std::string& line : appLogLines()) {
            logged = logged || line.find("ended with status") != std::string::npos;
        }
    }
    EXPECT_TRUE(logged);
    EXPECT_TRUE(c().deadAir->raised());
}

}  // namespace
}  // namespace tw::playout
