#include "playout/stream_title.h"

#include <gtest/gtest.h>

#include "tests/testlib/console_fixture.h"

namespace tw::playout {
namespace {

class StreamTitleTest : public test::ConsoleFixture {
  protected:
    StreamTitleTest() {
        make();
        console->activePlayer = 2;
        console->nextSong2 = "http://127.0.0.1:8000/live";
        console->player2Stream = engine.addStream(0);
    }
};

TEST_F(StreamTitleTest, AnAnnouncedTitleGoesOnThePlayersLabelOncePerChange) {
    engine.titles[console->player2Stream] = "Band - Song";
    showStreamTitle(*console);
    EXPECT_EQ(console->form().lblPlayer2.caption, "Band - Song");
    EXPECT_EQ(console->currentTitle, "Band - Song");
    console->form().lblPlayer2.caption = "marked";
    showStreamTitle(*console);
    EXPECT_EQ(console->form().lblPlayer2.caption, "marked");  // the same title does nothing
    engine.titles[console->player2Stream] = "Band - Next";
    showStreamTitle(*console);
    EXPECT_EQ(console->form().lblPlayer2.caption, "Band - Next");
}

TEST_F(StreamTitleTest, AStreamWithoutATitleOrAFileOnTheAirLeavesTheLabel) {
    console->form().lblPlayer2.caption = "as loaded";
    showStreamTitle(*console);
    EXPECT_EQ(console->form().lblPlayer2.caption, "as loaded");
    engine.titles[console->player2Stream] = "Band - Song";
    console->nextSong2 = "/music/a.mp3";
    showStreamTitle(*console);
    EXPECT_EQ(console->form().lblPlayer2.caption, "as loaded");
}

TEST_F(StreamTitleTest, ASecureAddressAnnouncesItsTitleToo) {
    console->nextSong2 = "https://127.0.0.1:8443/live";
    engine.titles[console->player2Stream] = "Band - Song";
    showStreamTitle(*console);
    EXPECT_EQ(console->form().lblPlayer2.caption, "Band - Song");
}

}  // namespace
}  // namespace tw::playout
