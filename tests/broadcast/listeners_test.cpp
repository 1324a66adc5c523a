// The listener figures and the tune-out charge.

#include "broadcast/listeners.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "autodj/history.h"
#include "core/dates.h"
#include "playout/position_monitor.h"
#include "tests/broadcast/cast_fixture.h"

namespace tw::test {
namespace {

using namespace broadcast;

class ListenersTest : public CastFixture {
  protected:
    void SetUp() override {
        open();
        console->currentTitle = "Band - Tune";
    }
    void listeners(int n) {
        console->form().lblListerners.caption = std::to_string(n);
        lblListerners_Change(*console);
    }
    std::string outs(const std::string& track = "Band - Tune") {
        return autodj::readHistory(*console, track, autodj::kTunedOut, "<none>");
    }
    std::string lastTuneOut() {
        return autodj::readHistory(*console, "Band - Tune", autodj::kLastTimeTunedOut, "<none>");
    }
    // The poll of the position monitor, with the servers' answers given: encoder i reports
    // counts[i] listeners.
    void pollEvery(std::initializer_list<std::int32_t> counts) {
        auto calls = std::make_unique<RecordingTickCalls>();
        tick = calls.get();
        console->tickCalls = std::move(calls);
        int i = 0;
        for (const std::int32_t n : counts) {
            tick->encoderEnabled[i] = true;
            tick->answers[i] = "<listeners>" + std::to_string(n) + "</listeners>";
            tick->listeners[i] = n;
            ++i;
        }
        console->tmrCheckPositionBool = true;
    }
    void poll() {
        console->statsTicks = 99;
        playout::tmrCheckPosition_Timer(*console);
    }
};

TEST_F(ListenersTest, TheFirstNonZeroCountAfterTheStartTakesTheWholeAudienceFromTheTrack) {
    listeners(10);
    EXPECT_EQ(outs(), "-10");
}

TEST_F(ListenersTest, ALossOfThreeListenersAddsThreeAndAGainOfThreeSubtractsThree) {
    listeners(10);
    console->currentTitle = "Other - Song";
    listeners(7);
    EXPECT_EQ(outs("Other - Song"), "3");
    listeners(10);
    EXPECT_EQ(outs("Other - Song"), "0");
    listeners(13);
    EXPECT_EQ(outs("Other - Song"), "-3") << "a track can go below zero";
}

TEST_F(ListenersTest, AnUnchangedCaptionChargesNothingAndWritesNoTime) {
    listeners(5);
    const std::string when =
        autodj::readHistory(*console, "Band - Tune", autodj::kLastTimeTunedOut, "");
    EXPECT_FALSE(when.empty());
    clock.advanceSeconds(60);
    listeners(5);
    EXPECT_EQ(autodj::readHistory(*console, "Band - Tune", autodj::kLastTimeTunedOut, ""), when);
    EXPECT_EQ(outs(), "-5");
}

TEST_F(ListenersTest, ThePeakRisesWithTheCountAndIsStoredWithItsLeadingBlank) {
    listeners(25);
    EXPECT_EQ(console->form().lblPeakListeners.caption, " 25");
    settings.flush();
    EXPECT_NE(readFile(appSettingsFile()).find("lastPeak= 25"), std::string::npos)
        << "stored with the blank, read back through the numeric prefix";
    listeners(20);
    EXPECT_EQ(console->form().lblPeakListeners.caption, " 25");
}

TEST_F(ListenersTest, ADoubleClickResetsThePeakToZeroAndStoresIt) {
    listeners(25);
    lblPeakListeners_DblClick(*console);
    EXPECT_EQ(console->form().lblPeakListeners.caption, "0");
    EXPECT_EQ(core::readIni(*console, appSettingsFile(), "tarnWave", "lastPeak", ""), "0");
    listeners(26);
    EXPECT_EQ(console->form().lblPeakListeners.caption, " 26");
}

// Two encoders with 10 and 5 listeners: each poll writes 10, then 15, so from the second poll on
// the track is charged +5 (15 to 10) and -5 (10 to 15), and the time of the charge is renewed
// although the sum never moved.
TEST_F(ListenersTest, TwoSteadyEncodersChargePlusFiveAndMinusFiveAtEachPollAndRenewTheTime) {
    pollEvery({10, 5});
    std::vector<std::string> betweenTheTwo;
    tick->onCheckStats = [&](int i) {
        if (i == 1) {
            betweenTheTwo.push_back(outs());
        }
    };
    poll();
    EXPECT_EQ(betweenTheTwo, (std::vector<std::string>{"-10"}));
    EXPECT_EQ(outs(), "-15") << "the whole audience, against 0 at the start";
    for (int p = 2; p <= 4; ++p) {
        clock.advanceSeconds(6);
        const std::string now = core::generalDate(console->now());
        poll();
        ASSERT_EQ(betweenTheTwo.size(), static_cast<std::size_t>(p));
        EXPECT_EQ(betweenTheTwo.back(), "-10") << "poll " << p << ": +5 as the caption fell to 10";
        EXPECT_EQ(outs(), "-15") << "poll " << p << ": -5 as it rose to 15 again";
        EXPECT_EQ(lastTuneOut(), now) << "poll " << p;
    }
    EXPECT_EQ(console->form().lblListerners.caption, "15");
}

TEST_F(ListenersTest, OneSteadyEncoderChargesNothingAndRenewsNoTime) {
    pollEvery({8});
    poll();
    const std::string first = lastTuneOut();
    clock.advanceSeconds(6);
    poll();
    EXPECT_EQ(outs(), "-8");
    EXPECT_EQ(lastTuneOut(), first);
}

// The peak's reset stands until the caption changes: a steady count writes nothing, so step 6
// never runs and the peak stays 0.
TEST_F(ListenersTest, ASteadyCountAfterTheResetOfThePeakLeavesItAtZero) {
    pollEvery({25});
    poll();
    ASSERT_EQ(console->form().lblPeakListeners.caption, " 25");
    lblPeakListeners_DblClick(*console);
    for (int p = 0; p < 3; ++p) {
        clock.advanceSeconds(6);
        poll();
    }
    EXPECT_EQ(console->form().lblPeakListeners.caption, "0");
    EXPECT_EQ(core::readIni(*console, appSettingsFile(), "tarnWave", "lastPeak", ""), "0");
    tick->listeners[0] = 26;
    tick->answers[0] = "<listeners>26</listeners>";
    poll();
    EXPECT_EQ(console->form().lblPeakListeners.caption, " 26") << "a change raises it again";
}

TEST_F(ListenersTest, BeforeAnythingHasPlayedTheEmptyKeyIsUsedAsItIs) {
    console->currentTitle.clear();
    listeners(4);
    EXPECT_EQ(console->cast->lastListenerCount, 4);
    EXPECT_EQ(console->form().lblPeakListeners.caption, " 4");
    EXPECT_EQ(outs(""), "-4") << "the settings store keeps a section with an empty name";
    EXPECT_TRUE(appLogLines().empty());
}

TEST_F(ListenersTest, StrayTextInTheStoredChargeCountsFromItsNumericPrefix) {
    autodj::writeHistory(*console, "Band - Tune", autodj::kTunedOut, "4 listeners");
    listeners(0);  // no change from 0: nothing
    EXPECT_EQ(outs(), "4 listeners");
    listeners(2);
    EXPECT_EQ(outs(), "2");
}

}  // namespace
}  // namespace tw::test
