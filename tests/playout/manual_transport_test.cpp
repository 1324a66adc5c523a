#include "playout/manual_transport.h"

#include <gtest/gtest.h>

#include "desk/actions.h"
#include "tests/testlib/console_fixture.h"

namespace tw::playout {
namespace {

using core::Console;

class ManualTransportTest : public test::ConsoleFixture {
  protected:
    ManualTransportTest() {
        Console& c = make();
        c.mixerStream = engine.mixerStreamCreate(44100, 2, 0);
        c.player1Stream = engine.addStream(200);
        c.player2Stream = engine.addStream(180);
        c.sync1 = 901;
        c.sync2 = 902;
    }
    Console& c() { return *console; }
    std::string h(audio::Handle x) const { return std::to_string(x); }
};

TEST_F(ManualTransportTest, TheModeButtonOnlySwapsItsCaption) {
    desk::press(c(), "cmdAutoManual");
    EXPECT_EQ(c().form().cmdAutoManual.caption, "Manual");
    EXPECT_FALSE(c().automated());
    desk::press(c(), "cmdAutoManual");
    EXPECT_EQ(c().form().cmdAutoManual.caption, "Automated");
    EXPECT_TRUE(engine.calls.size() == 1u);  // only the mixer's creation
}

TEST_F(ManualTransportTest, PauseSetsTheMixerFlagAndPaintsTheButton) {
    c().activePlayer = 1;
    desk::press(c(), "cmdPausePlay1");
    EXPECT_EQ(engine.calls.back(), "mixerChannelFlags " + h(c().player1Stream) + " 131072 131072");
    EXPECT_EQ(c().form().cmdPausePlay1.backColor, 0x40u);
    desk::press(c(), "cmdPausePlay1");
    EXPECT_EQ(engine.calls.back(), "mixerChannelFlags " + h(c().player1Stream) + " 0 131072");
    EXPECT_EQ(c().form().cmdPausePlay1.backColor, 0u);
}

TEST_F(ManualTransportTest, PauseWhileATrackIsFadingHoldsTheFadeWithTheStream) {
    c().activePlayer = 1;
    desk::press(c(), "cmdFadeOut1");
    desk::press(c(), "cmdPausePlay1");
    const auto n = engine.calls.size();
    EXPECT_EQ(engine.calls[n - 2],
              "channelSlideAttribute " + h(c().player1Stream) + " 2 -100.000000 1500");
    EXPECT_EQ(engine.calls[n - 1], "mixerChannelFlags " + h(c().player1Stream) + " 131072 131072");
}

TEST_F(ManualTransportTest, WithNothingOnTheAirPauseIsTheFirstStartByHand) {
    desk::press(c(), "cmdPausePlay2");
    EXPECT_EQ(c().activePlayer, 2);
    EXPECT_EQ(engine.count("mixerAddChannel " + h(c().mixerStream) + " " + h(c().player2Stream) +
                           " 262144"),
              1);
    EXPECT_EQ(engine.calls.back(), "channelPlay " + h(c().player2Stream));
    EXPECT_EQ(c().form().cmdPausePlay2.backColor, 0u);
    EXPECT_EQ(engine.count("channelSetSync"), 0) << "no book-keeping for a start by hand";
}

TEST_F(ManualTransportTest, EjectOnTheWaitingPlayerLeavesTheActivePlayerAlone) {
    c().activePlayer = 1;
    const audio::Handle waiting = c().player2Stream;
    desk::press(c(), "cmdEject2");
    EXPECT_EQ(c().activePlayer, 1);
    EXPECT_EQ(engine.count("channelRemoveSync " + h(waiting) + " 902"), 1);
    EXPECT_EQ(engine.count("streamFree " + h(waiting)), 1);
    EXPECT_FALSE(engine.has(waiting));
    EXPECT_EQ(c().player2Stream, waiting) << "the handle stays in its variable";
    EXPECT_EQ(c().form().lblPlayer2.caption, "Empty");
    EXPECT_EQ(c().form().lblPlayer2.image, core::ImageRole::Gray);
}

TEST_F(ManualTransportTest, EjectOnTheActivePlayerStopsTheTickActing) {
    c().activePlayer = 1;
    desk::press(c(), "cmdEject1");
    EXPECT_EQ(c().activePlayer, 0);
}

TEST_F(ManualTransportTest, EjectOnAStreamAlreadyGoneStillShowsEmpty) {
    c().activePlayer = 2;
    engine.remove(c().player1Stream);
    desk::press(c(), "cmdEject1");
    EXPECT_EQ(engine.errorGetCode(), audio::kErrorHandle);
    EXPECT_EQ(c().form().lblplayer1.caption, "Empty");
    EXPECT_EQ(c().activePlayer, 2);
}

TEST_F(ManualTransportTest, FadeSlidesBelowSilenceOverOneCrossfadeAndDropsTheSync) {
    c().crossfadeTime = 2.25f;
    desk::press(c(), "cmdFadeOut2");
    EXPECT_EQ(engine.calls[engine.calls.size() - 2],
              "channelRemoveSync " + h(c().player2Stream) + " 902");
    EXPECT_EQ(engine.calls.back(),
              "channelSlideAttribute " + h(c().player2Stream) + " 2 -100.000000 2250");
}

TEST_F(ManualTransportTest, ASeekOnTheBarGoesToTheSameShareOfTheTrack) {
    desk::press(c(), "pctPlayer1", desk::MouseButton::Left, 125);
    const std::int64_t length = engine.channel(c().player1Stream).length;
    const std::int64_t scale = (length + 125) / 250;  // rounded to the nearest
    EXPECT_EQ(engine.channelGetPosition(c().player1Stream), 125 * scale);
    desk::press(c(), "pctPlayer1", desk::MouseButton::Right, 10);
    EXPECT_EQ(engine.channelGetPosition(c().player1Stream), 125 * scale) << "left button only";
}

TEST_F(ManualTransportTest, AClickOnABarWithNoStreamHasNoEffect) {
    c().player1Stream = 0;
    desk::press(c(), "pctPlayer1", desk::MouseButton::Left, 100);
    EXPECT_EQ(c().barScale, 0);
    EXPECT_EQ(engine.count("channelSetPosition"), 1);  // asked, refused
}

TEST_F(ManualTransportTest, MuteSilencesTheMixerAndPaintsTheButtonRed) {
    desk::press(c(), "cmdMute");
    EXPECT_EQ(c().form().cmdMute.backColor, 0xFFu);
    EXPECT_TRUE(c().muted);
    EXPECT_FLOAT_EQ(engine.channel(c().mixerStream).volume, 0.0f);
    desk::press(c(), "cmdMute");
    EXPECT_EQ(c().form().cmdMute.backColor, 0xFFFFFFu);
    EXPECT_FALSE(c().muted);
    EXPECT_FLOAT_EQ(engine.channel(c().mixerStream).volume, 1.0f);
}

TEST_F(ManualTransportTest, MutePressedTwiceWithNoEngineStaysRed) {
    c().mixerStream = 0;
    desk::press(c(), "cmdMute");
    desk::press(c(), "cmdMute");
    EXPECT_EQ(c().form().cmdMute.backColor, 0xFFu);
    EXPECT_FALSE(c().muted);
}

}  // namespace
}  // namespace tw::playout
