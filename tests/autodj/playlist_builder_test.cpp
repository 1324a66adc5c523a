#include "autodj/playlist_builder.h"

#include <gtest/gtest.h>

#include "autodj/library_state.h"
#include "core/console_ops.h"
#include "desk/actions.h"
#include "tests/autodj/station_fixture.h"

namespace tw::autodj {
namespace {

using test::readFile;
using test::writeFile;

class PlaylistBuilderTest : public test::StationFixture {
  protected:
    PlaylistBuilderTest() {
        a = addTrack("Rock", "a.mp3", "Queen", "Bicycle");
        b = addTrack("Rock", "b.mp3", "Toto", "Africa");
        d = addTrack("Rock", "d.mp3", "Yes", "Roundabout");
        engine.fileSeconds[a] = 200;
        engine.fileSeconds[b] = 65;
        engine.fileSeconds[d] = 30;
        open();
        console->form().flPlaylists.path = dir.str() + "/Playlist";
        desk::select(*console, "lstPlaylists", categoryRow("Rock"));
    }
    core::Console& c() { return *console; }
    core::Element& grid() { return c().form().lstPlayListBuilder; }
    int categoryRow(const std::string& name) {
        const auto& items = c().form().lstPlaylists.items;
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (items[i].text == name) {
                return static_cast<int>(i);
            }
        }
        return -1;
    }
    // Drags the track of that path from the builder's track list onto the grid: over the row
    // `over`, or below the last row (-1), which marks the end; no mark at all with -2.
    void drop(const std::string& path, int over = -1) {
        if (over > -2) {
            lstPlayListBuilder_DragOver(c(), over);
        }
        const auto& files = c().library->trackFiles;
        for (std::size_t i = 0; i < files.size(); ++i) {
            if (files[i] == path) {
                c().form().lstBuilderCatagoryList.listIndex = static_cast<int>(i);
                ASSERT_TRUE(desk::dragElement(c(), "lstBuilderCatagoryList", "lstPlayListBuilder"));
                return;
            }
        }
        FAIL() << path << " is not in the list";
    }
    std::vector<std::string> names() {
        std::vector<std::string> out;
        for (const auto& r : grid().rows) {
            out.push_back(r.cells.at(0));
        }
        return out;
    }
    std::string a, b, d;
};

TEST_F(PlaylistBuilderTest, DroppedTracksShowTheirLengthAndTheRunningTotal) {
    drop(a);
    drop(b);
    ASSERT_EQ(grid().rowCount(), 2);
    EXPECT_EQ(grid().rows[0].cells,
              (std::vector<std::string>{"Queen - Bicycle", "00:03:20.0", "00:03:20.0"}));
    EXPECT_EQ(grid().rows[1].cells[2], "00:04:25.0");
    EXPECT_EQ(c().builderList.size(), 3u);  // two rows and the spare record
    EXPECT_EQ(c().builderList[1].trackPath, b);
    EXPECT_TRUE(c().trackList.empty() ||
                c().trackList[0].trackPath.empty());  // not the running list
}

TEST_F(PlaylistBuilderTest, ADropWithNoSelectedRowLandsBeforeTheLastRow) {
    drop(a);
    drop(b);
    grid().row = -1;
    drop(d, -2);
    EXPECT_EQ(names(),
              (std::vector<std::string>{"Queen - Bicycle", "Yes - Roundabout", "Toto - Africa"}));
    EXPECT_EQ(c().builderList[1].trackPath, d);
    EXPECT_EQ(grid().rows[2].cells[2], "00:04:55.0");
}

TEST_F(PlaylistBuilderTest, DraggedBelowTheLastRowTheDropLandsAtTheEnd) {
    drop(a);
    drop(b);
    autodj::lstPlayListBuilder_DragOver(c(), -1);
    drop(d);
    EXPECT_EQ(names().back(), "Yes - Roundabout");
    autodj::lstPlayListBuilder_DragOver(c(), 0);
    EXPECT_EQ(grid().row, 0);
    EXPECT_TRUE(grid().rows[0].selected);
}

TEST_F(PlaylistBuilderTest, AStreamAddressRowAddsOneSecondToTheTotal) {
    writeFile(dir / "Playlist" / "mix.pls",
              "[playlist]\nFile1=" + a + "\nFile2=http://127.0.0.1:9/live\nNumberOfEntries=1\n");
    loadBuilderPlaylist(c(), (dir / "Playlist" / "mix.pls").string());
    ASSERT_EQ(grid().rowCount(), 2);
    EXPECT_EQ(grid().rows[1].cells[0], "http://127.0.0.1:9/live");
    EXPECT_EQ(grid().rows[1].cells[1], "1");
    EXPECT_EQ(grid().rows[1].cells[2], "00:03:21.0");
    EXPECT_TRUE(c().builderList[1].trackIsURL);
    EXPECT_EQ(engine.count("streamCreateUrl"), 0);  // an address is never measured
}

TEST_F(PlaylistBuilderTest, ResetEmptiesTheGridAndTheRecordsButLeavesTheArraysSize) {
    drop(a);
    drop(b);
    ASSERT_TRUE(desk::press(c(), "cmdResetPlaylist"));
    EXPECT_EQ(grid().rowCount(), 0);
    ASSERT_EQ(c().builderList.size(), 3u);
    for (const auto& t : c().builderList) {
        EXPECT_TRUE(t.trackPath.empty());
    }
}

TEST_F(PlaylistBuilderTest, AnEmptyGridSavedGivesAPlaylistWithNoEntries) {
    prompter.queueAnswer((dir / "Playlist" / "none.pls").string());
    ASSERT_TRUE(desk::press(c(), "cmdSavePlaylist"));
    EXPECT_EQ(readFile(dir / "Playlist" / "none.pls"),
              "[playlist]\nNumberOfEntries=-1\nVersion=2\n");
    const auto& shown = prompter.shown().back();
    EXPECT_EQ(shown.kind, "save");
    EXPECT_EQ(shown.title, "Enter Playlist Name");
    EXPECT_EQ(shown.text, dir.str() + "/Playlist");
}

TEST_F(PlaylistBuilderTest, ASavedPlaylistIsListedAndLoadsBackWhole) {
    drop(a);
    drop(b);
    drop(d);
    prompter.queueAnswer((dir / "Playlist" / "three.pls").string());
    desk::press(c(), "cmdSavePlaylist");
    EXPECT_EQ(readFile(dir / "Playlist" / "three.pls"), "[playlist]\nFile1=" + a + "\nFile2=" + b +
                                                            "\nFile3=" + d +
                                                            "\nNumberOfEntries=2\nVersion=2\n");
    bool listed = false;
    for (const auto& item : c().form().lstRotationOrList.items) {
        listed = listed || item.text == "three.pls";
    }
    EXPECT_TRUE(listed);
    // Loaded and saved again, nothing is lost.
    desk::press(c(), "cmdResetPlaylist");
    prompter.queueAnswer((dir / "Playlist" / "three.pls").string());
    desk::press(c(), "cmdLoadPlaylist");
    EXPECT_EQ(grid().rowCount(), 3);
    EXPECT_EQ(prompter.shown().back().title, "Select Playlist To Load");
    prompter.queueAnswer((dir / "Playlist" / "again.pls").string());
    desk::press(c(), "cmdSavePlaylist");
    EXPECT_EQ(readFile(dir / "Playlist" / "again.pls"), readFile(dir / "Playlist" / "three.pls"));
}

TEST_F(PlaylistBuilderTest, ACancelledSaveWritesNothing) {
    drop(a);
    prompter.queueAnswer("<cancel>");
    desk::press(c(), "cmdSavePlaylist");
    EXPECT_FALSE(std::filesystem::exists(dir / "Playlist" / "newPlaylist.pls"));
    EXPECT_EQ(std::filesystem::directory_iterator(dir / "Playlist"),
              std::filesystem::directory_iterator());
}

TEST_F(PlaylistBuilderTest, AMalformedPlaylistShowsAClearMessageAndChangesNothing) {
    drop(a);
    writeFile(dir / "Playlist" / "bad.pls", "<html>not a playlist</html>");
    prompter.queueAnswer((dir / "Playlist" / "bad.pls").string());
    desk::press(c(), "cmdLoadPlaylist");
    EXPECT_EQ(names(), (std::vector<std::string>{"Queen - Bicycle"}));
    EXPECT_EQ(c().builderList.size(), 2u);
    const auto& shown = prompter.shown().back();
    EXPECT_EQ(shown.kind, "message");
    EXPECT_NE(shown.text.find("bad.pls could not be loaded"), std::string::npos) << shown.text;
}

TEST_F(PlaylistBuilderTest, FilesDroppedOnTheGridLoadTheFirstAsAPlaylist) {
    writeFile(dir / "one.pls", "[playlist]\nFile1=" + b + "\nNumberOfEntries=0\n");
    ASSERT_TRUE(desk::dropFiles(c(), "lstPlayListBuilder",
                                {(dir / "one.pls").string(), (dir / "other.pls").string()}));
    EXPECT_EQ(names(), (std::vector<std::string>{"Toto - Africa"}));
}

TEST_F(PlaylistBuilderTest, DeleteRemovesTheSelectedRowsAndKeepsTheSpareRecord) {
    drop(a);
    drop(b);
    drop(d, 1);  // lands before b
    grid().rows[0].selected = true;
    grid().rows[2].selected = true;
    grid().row = 2;
    ASSERT_TRUE(desk::press(c(), "cmdDeleteItem"));
    EXPECT_EQ(names(), (std::vector<std::string>{"Yes - Roundabout"}));
    ASSERT_EQ(c().builderList.size(), 2u);
    EXPECT_EQ(c().builderList[0].trackPath, d);
    EXPECT_EQ(grid().rows[0].cells[2], "00:00:30.0");
}

TEST_F(PlaylistBuilderTest, DraggingARowSwapsTheTwoRecordsAndRecountsTheTotals) {
    drop(a);
    drop(b);
    drop(d);
    dragBuilderRow(c(), 0, 2);
    EXPECT_EQ(names(),
              (std::vector<std::string>{"Yes - Roundabout", "Toto - Africa", "Queen - Bicycle"}));
    EXPECT_EQ(c().builderList[0].trackPath, d);
    EXPECT_EQ(grid().rows[1].cells[2], "00:01:35.0");
}

TEST_F(PlaylistBuilderTest, ChoosingATrackShowsItsHistoryLine) {
    setHistory("Toto - Africa", "TunedOut", "1");
    setHistory("Toto - Africa", "PlayCount", "3");
    setHistory("Toto - Africa", "LastPlayed", "11/20/2026 9:00:00 AM");
    const auto& files = c().library->trackFiles;
    const int row = static_cast<int>(std::find(files.begin(), files.end(), b) - files.begin());
    ASSERT_TRUE(desk::select(c(), "lstBuilderCatagoryList", row));
    EXPECT_EQ(c().form().lblLastPlayed.caption,
              "Tune Outs:1 | Play Count:3 | TuneOut Percentage:33% | Last Played:11/20/2026 "
              "9:00:00 AM");
}

TEST_F(PlaylistBuilderTest, TheChosenTrackIsWhatThePreviewPlays) {
    const auto& files = c().library->trackFiles;
    const int row = static_cast<int>(std::find(files.begin(), files.end(), d) - files.begin());
    desk::select(c(), "lstBuilderCatagoryList", row);
    c().form().lstSongs.listIndex = -1;
    ASSERT_TRUE(desk::press(c(), "cmdPreviewSelected"));
    EXPECT_EQ(c().previewSong, d);
}

TEST_F(PlaylistBuilderTest, PreviewWithNothingChosenSaysSo) {
    c().form().lstSongs.listIndex = -1;
    c().form().lstBuilderCatagoryList.listIndex = -1;
    desk::press(c(), "cmdPreviewSelected");
    ASSERT_FALSE(c().form().frmTarnDesk.drawing.texts.empty());
    EXPECT_EQ(c().form().frmTarnDesk.drawing.texts[0].text, "Please select song to preview");
}

}  // namespace
}  // namespace tw::autodj
