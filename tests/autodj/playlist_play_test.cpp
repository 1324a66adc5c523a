// A playlist selected in lstRotationOrList becomes the running list.

#include <gtest/gtest.h>

#include "autodj/rotations.h"
#include "core/console_ops.h"
#include "desk/actions.h"
#include "media/playlist_file.h"
#include "tests/autodj/station_fixture.h"

namespace tw::autodj {
namespace {

using test::writeFile;

class PlaylistPlayTest : public test::StationFixture {
  protected:
    PlaylistPlayTest() {
        a = addTrack("Rock", "a.mp3", "Queen", "Bicycle");
        b = addTrack("Rock", "b.mp3", "Toto", "Africa");
        engine.fileSeconds[a] = 200;
        engine.fileSeconds[b] = 65;
        makeWithRecordedTick();
        // A start puts the loaded player on the air, so that the next load goes to the other.
        tick->onStartNExt = [this] { console->activePlayer = 1; };
        open();
        auto& m = console->form();
        m.flRotations.path = dir.str() + "/Rotations";
        m.flPlaylists.path = dir.str() + "/Playlist";
    }
    core::Console& c() { return *console; }
    // Writes the playlist and selects it in lstRotationOrList, as the operator does.
    void choose(const std::string& name, const std::string& text) {
        writeFile(dir / "Playlist" / name, text);
        core::refreshFileList(c().form().flRotations);
        core::refreshFileList(c().form().flPlaylists);
        showRotationIcons(c());
        const auto& items = c().form().lstRotationOrList.items;
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (items[i].text == name) {
                ASSERT_TRUE(desk::select(c(), "lstRotationOrList", static_cast<int>(i)));
                return;
            }
        }
        FAIL() << name << " is not listed";
    }
    std::string a, b;
};

TEST_F(PlaylistPlayTest, SelectingAPlaylistFillsTheRunningListAndPutsItOnTheAir) {
    c().form().chkEnableSchedule.value = 1;
    choose("day.pls", "[playlist]\nFile1=" + a + "\nFile2=" + b + "\nNumberOfEntries=1\n");
    auto& grid = c().form().lstPlaylist;
    ASSERT_EQ(grid.rowCount(), 2);
    EXPECT_EQ(grid.rows[0].cells[1], "Queen - Bicycle");
    EXPECT_EQ(grid.rows[0].cells[2], "00:03:20.0");
    EXPECT_EQ(grid.rows[1].cells[1], "Toto - Africa");
    EXPECT_EQ(c().trackList.size(), 3u);  // two rows and the spare record
    EXPECT_EQ(c().listMode, -1);
    EXPECT_EQ(c().activeListName, "day.pls");
    EXPECT_EQ(c().form().chkEnableSchedule.value, 0);  // a hand choice switches the schedule off
    EXPECT_FALSE(c().form().lstRotation.visible);
    // Nothing was on the air: the first row is loaded and started, the next one loaded.
    EXPECT_EQ(tick->count("startNExt"), 1);
    EXPECT_EQ(c().nextSong1, a);
    EXPECT_EQ(c().nextSong2, b);
    // The item of the running list is marked.
    const auto& list = c().form().lstRotationOrList;
    ASSERT_GE(list.listIndex, 0);
    EXPECT_EQ(list.items[static_cast<std::size_t>(list.listIndex)].text, "day.pls");
}

TEST_F(PlaylistPlayTest, TheFirstTimeIsATimeOfDayWithoutADateAndTheRestFollowIt) {
    choose("day.pls", "[playlist]\nFile1=" + a + "\nFile2=" + b + "\nNumberOfEntries=1\n");
    auto& grid = c().form().lstPlaylist;
    EXPECT_EQ(grid.rows[0].cells[0], "10:00.00 AM");
    EXPECT_EQ(c().trackList[0].timeOn, core::timeSerial(10, 0, 0));
    EXPECT_EQ(c().trackList[1].timeOn, core::timeSerial(10, 3, 20));
    EXPECT_EQ(grid.rows[1].cells[0], "10:03.20 AM");
}

TEST_F(PlaylistPlayTest, AMissingFileStaysInTheListMarkedAndWithNoLength) {
    choose("gone.pls", "[playlist]\nFile1=" + a + "\nFile2=/nowhere/x.mp3\nNumberOfEntries=1\n");
    auto& grid = c().form().lstPlaylist;
    ASSERT_EQ(grid.rowCount(), 2);
    EXPECT_EQ(grid.rows[1].cells[1].rfind("FILE MISSING: ", 0), 0u) << grid.rows[1].cells[1];
    EXPECT_EQ(grid.rows[1].cells[2], "0");
    EXPECT_EQ(c().trackList[1].trackLength, "0");
}

class PlaylistAddressRowTest : public PlaylistPlayTest,
                               public ::testing::WithParamInterface<const char*> {};

TEST_P(PlaylistAddressRowTest, AStreamAddressRowIsKeptWithoutALength) {
    const std::string url = GetParam();
    choose("radio.pls", "[playlist]\nFile1=" + url + "\nFile2=" + a + "\nNumberOfEntries=1\n");
    auto& grid = c().form().lstPlaylist;
    ASSERT_EQ(grid.rowCount(), 2);
    EXPECT_EQ(grid.rows[0].cells[1], url);
    EXPECT_EQ(grid.rows[0].cells[2], "");
    EXPECT_TRUE(c().trackList[0].trackIsURL);
    EXPECT_EQ(c().nextSong1, url) << "the address is loaded on the player";
}

INSTANTIATE_TEST_SUITE_P(Schemes, PlaylistAddressRowTest,
                         ::testing::Values("http://127.0.0.1:9/live", "https://127.0.0.1:9/live"),
                         [](const ::testing::TestParamInfo<const char*>& info) {
                             return std::string(info.index == 0 ? "Http" : "Https");
                         });

TEST_F(PlaylistPlayTest, AMalformedPlaylistShowsWhyAndLeavesTheRunningListAsItWas) {
    choose("good.pls", "[playlist]\nFile1=" + a + "\nFile2=" + b + "\nNumberOfEntries=1\n");
    const auto before = c().form().lstPlaylist.rows;
    const int starts = tick->count("startNExt");
    choose("bad.pls", "this is no playlist\n\x01\x02");
    EXPECT_EQ(c().listMode, -1);
    EXPECT_EQ(c().activeListName, "good.pls");
    ASSERT_EQ(c().form().lstPlaylist.rowCount(), static_cast<int>(before.size()));
    EXPECT_EQ(c().form().lstPlaylist.rows[1].cells[1], before[1].cells[1]);
    EXPECT_EQ(tick->count("startNExt"), starts);
    bool shown = false;
    for (const auto& t : c().form().frmTarnDesk.drawing.texts) {
        shown = shown || t.text.find("bad.pls could not be loaded") != std::string::npos;
    }
    for (const auto& line : logTexts()) {
        shown = shown || line.find("bad.pls could not be loaded") != std::string::npos;
    }
    EXPECT_TRUE(shown);
}

TEST_F(PlaylistPlayTest, AMalformedPlaylistAfterARotationKeepsTheRotationMode) {
    c().listMode = 0;
    c().activeListName = "Demo.rot";
    choose("bad.pls", "[playlist]\n");
    EXPECT_EQ(c().listMode, 0);
    EXPECT_EQ(c().activeListName, "Demo.rot");
}

}  // namespace
}  // namespace tw::autodj
