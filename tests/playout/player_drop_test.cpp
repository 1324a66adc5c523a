#include <gtest/gtest.h>

#include "autodj/library.h"
#include "autodj/library_state.h"
#include "desk/actions.h"
#include "playout/manual_transport.h"
#include "tests/autodj/station_fixture.h"

namespace tw::playout {
namespace {

using core::Console;

class PlayerDropTest : public test::StationFixture {
  protected:
    PlayerDropTest() {
        addCategory("Rock");
        path = addTrack("Rock", "a.mp3", "Ann Arbor", "Alpha");
        engine.fileSeconds[path] = 200;
        Console& c = open();
        c.mixerStream = engine.mixerStreamCreate(44100, 2, 0);
        c.form().lstSongs.items = {{"Ann Arbor - Alpha", 0, "", false}};
        c.form().lstSongs.listIndex = 0;
        c.library->trackFiles = {path};
        setHistory("Ann Arbor - Alpha", "TunedOut", "3");
        setHistory("Ann Arbor - Alpha", "PlayCount", "9");
        setHistory("Ann Arbor - Alpha", "LastPlayed", "11/21/2026 8:00:00 PM");
    }
    Console& c() { return *console; }
    std::string path;
};

TEST_F(PlayerDropTest, ATrackDroppedOnTheWaitingPlayerIsLoadedWithItsHistory) {
    c().activePlayer = 1;
    ASSERT_TRUE(desk::dragElement(c(), "lstSongs", "lblPlayer2"));
    EXPECT_EQ(c().nextSong2, path);
    EXPECT_NE(c().player2Stream, 0u);
    EXPECT_EQ(c().nextSongName2, "Ann Arbor - Alpha");
    EXPECT_EQ(c().form().lblPlayer2.caption, "Ann Arbor");
    EXPECT_EQ(c().form().lblPlayer2.caption2, "Alpha");
    EXPECT_EQ(c().form().lblPlayer2.image, core::ImageRole::Gray);
    // Player 2's button never reads the tune-outs.
    EXPECT_EQ(c().form().cmdPlayer2Pick.caption, "LastPlayed:11/21/2026 8:00:00 PM Outs:0 Count:9");
}

TEST_F(PlayerDropTest, PlayerOneShowsTheTuneOuts) {
    desk::dragElement(c(), "lstSongs", "lblplayer1");
    EXPECT_EQ(c().form().cmdPlayer1Pick.caption, "LastPlayed:11/21/2026 8:00:00 PM Outs:3 Count:9");
}

TEST_F(PlayerDropTest, TheOnAirPlayerTakesNoDrop) {
    c().activePlayer = 1;
    c().nextSong1 = "on air";
    desk::dragElement(c(), "lstSongs", "lblplayer1");
    EXPECT_EQ(c().nextSong1, "on air");
}

TEST_F(PlayerDropTest, AMoveToPlayerButtonBringsItsToolTipsFile) {
    c().form().cmdVoiceTrack.toolTip = path;
    desk::press(c(), "optSamplerMode(2)");
    const audio::Handle old = engine.addStream(10);
    c().player1Stream = old;
    desk::dragElement(c(), "cmdVoiceTrack", "lblplayer1");
    EXPECT_FALSE(engine.has(old)) << "the old stream is freed";
    EXPECT_EQ(c().nextSong1, path);
    EXPECT_EQ(c().nextSongName1, path);
    EXPECT_EQ(c().form().lblplayer1.caption, "a");
}

TEST_F(PlayerDropTest, ButtonsAreNoDragSourcesOutsideMoveToPlayerMode) {
    c().form().cmdVoiceTrack.toolTip = path;
    const audio::Handle old = engine.addStream(10);
    c().player1Stream = old;
    desk::dragElement(c(), "cmdVoiceTrack", "lblplayer1");
    EXPECT_TRUE(engine.has(old));
    EXPECT_NE(c().nextSong1, path);
}

TEST_F(PlayerDropTest, SkipStartsTheWaitingPlayerAndLoadsTheNextOne) {
    desk::dragElement(c(), "lstSongs", "lblplayer1");
    core::GridRow row;
    row.cells = {"", "Rock"};
    c().form().lstRotation.rows.push_back(row);
    c().trackList.assign(17, {});
    desk::press(c(), "cmdSkipNow");
    EXPECT_EQ(c().activePlayer, 1);
    EXPECT_EQ(c().currentTitle, "Ann Arbor - Alpha");
    EXPECT_EQ(history("Ann Arbor - Alpha", "PlayCount"), "10");
}

}  // namespace
}  // namespace tw::playout
