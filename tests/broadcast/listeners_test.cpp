// The listener figures and the tune-out charge.

#include "broadcast/listeners.h"

#include <gtest/gtest.h>

#include "autodj/history.h"
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
