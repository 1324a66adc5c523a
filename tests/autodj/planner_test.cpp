#include "autodj/planner.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <set>
#include <thread>

#include "autodj/rotations.h"
#include "core/console_ops.h"
#include "desk/actions.h"
#include "playout/player_start.h"
#include "tags/id3_tag.h"
#include "tests/autodj/station_fixture.h"

namespace tw::autodj {
namespace {

using core::Console;

// A library with three categories of three tracks each, every track 100 s long for the engine.
class PlannerTest : public test::StationFixture {
  protected:
    PlannerTest() {
        for (const char* cat : {"Rock", "Pop", "Jazz"}) {
            addCategory(cat);
            for (int i = 1; i <= 3; ++i) {
                const std::string p = addTrack(cat, "t" + std::to_string(i) + ".mp3",
                                               std::string(cat) + " Artist " + std::to_string(i),
                                               "Song " + std::to_string(i));
                engine.fileSeconds[p] = 100;
            }
        }
        Console& c = open();
        c.trackList.assign(17, {});
        c.mixerStream = engine.mixerStreamCreate(44100, 2, 0);
        std::filesystem::create_directories(dir / "Rotations");
        c.form().flRotations.path = dir.str() + "/Rotations";
    }
    Console& c() { return *console; }
    void rotation(const std::string& name, std::initializer_list<const char*> categories) {
        core::Element& grid = c().form().lstRotation;
        grid.rows.clear();
        for (const char* cat : categories) {
            core::GridRow r;
            r.cells = {"", cat};
            grid.rows.push_back(r);
        }
        std::string file = name;
        saveNewList(c(), file);
        grid.rows.clear();
    }
    void selectRotation(const std::string& name) {
        core::refreshFileList(c().form().flRotations);
        for (int i = 0; i < c().form().flRotations.listCount(); ++i) {
            if (c().form().flRotations.items[static_cast<std::size_t>(i)].text == name) {
                c().form().flRotations.listIndex = i;
            }
        }
        flRotations_Click(c());
    }
    std::string cell(int row, int column) {
        return c()
            .form()
            .lstPlaylist.rows.at(static_cast<std::size_t>(row))
            .cells.at(static_cast<std::size_t>(column));
    }
};

TEST_F(PlannerTest, ARotationBecomesOnePickPerRowAndItsFirstRowIsLoaded) {
    rotation("day.rot", {"Rock", "Pop", "Jazz"});
    selectRotation("day.rot");
    auto& m = c().form();
    ASSERT_EQ(m.lstPlaylist.rowCount(), 3);
    EXPECT_EQ(cell(1, 2), "00:01:40.0");
    // Each slot is the one before it plus its length less the crossfade.
    EXPECT_EQ(cell(0, 0), "10:00.00 AM");
    EXPECT_EQ(cell(1, 0), "10:01.38 AM");  // 100 s - 1.5 s, rounded to even
    EXPECT_NE(c().trackList[0].trackPath.find("/Music/Rock/"), std::string::npos);
    EXPECT_NE(c().trackList[2].trackPath.find("/Music/Jazz/"), std::string::npos);
    EXPECT_EQ(c().rotationPosition, 0);
    EXPECT_EQ(c().nextSong1, c().trackList[0].trackPath);
    EXPECT_NE(c().player1Stream, 0u);
    EXPECT_EQ(m.lblTimeLeft1.caption, "00:00.0");
    EXPECT_TRUE(m.lstRotation.rows[0].selected);
    EXPECT_TRUE(m.lstPlaylist.rows[0].selected);
    EXPECT_EQ(history(c().trackList[1].trackName, "Pending"), "empty");
}

TEST_F(PlannerTest, TheSameCategoryOnEveryRowGivesADifferentTrackOnEveryRow) {
    // The build alone: the load that follows it replans the last slot for its next lap.
    for (int i = 0; i < 3; ++i) {
        core::GridRow r;
        r.cells = {"", "Rock"};
        c().form().lstRotation.rows.push_back(r);
    }
    PickRotationSong(c());
    std::set<std::string> paths;
    for (int i = 0; i < 3; ++i) {
        paths.insert(c().trackList[static_cast<std::size_t>(i)].trackPath);
    }
    EXPECT_EQ(paths.size(), 3u);
}

TEST_F(PlannerTest, LoadingTheSameRotationAgainWithdrawsTheOldPicksFirst) {
    rotation("day.rot", {"Rock", "Pop", "Jazz"});
    selectRotation("day.rot");
    clock.advanceSeconds(600);
    selectRotation("day.rot");
    // Had the old plans stayed, the new ones would hold their dates as rollback values. (The
    // last slot was replanned by the refill and carries a date either way.)
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(history(c().trackList[static_cast<std::size_t>(i)].trackName, "Pending"), "empty")
            << i;
    }
}

TEST_F(PlannerTest, TheSpareRecordNeverHoldsATrack) {
    rotation("day.rot", {"Rock", "Pop"});
    selectRotation("day.rot");
    ASSERT_EQ(c().trackList.size(), 3u);  // a record per row and the spare
    EXPECT_TRUE(c().trackList[2].trackPath.empty());
    EXPECT_FALSE(c().trackList[1].trackPath.empty());
    // clearPendingPicks passes over the spare: a plan named there is not withdrawn.
    c().trackList[2].trackName = "Spare - Song";
    setHistory("Spare - Song", "Pending", "empty");
    setHistory("Spare - Song", "LastPlayed", "11/22/2026 9:00:00 AM");
    clearPendingPicks(c());
    EXPECT_EQ(history("Spare - Song", "Pending"), "empty");
    EXPECT_EQ(history(c().trackList[1].trackName, "Pending"), "no");
    EXPECT_EQ(history("", "Pending", "<none>"), "<none>");
}

TEST_F(PlannerTest, WithOneRowEveryAdvanceGivesRowZeroAndTheRefillReplansIt) {
    rotation("one.rot", {"Rock"});
    selectRotation("one.rot");
    const std::string first = c().trackList[0].trackPath;
    c().activePlayer = 1;
    loadNextSong(c(), 0);
    EXPECT_EQ(c().rotationPosition, 0);
    EXPECT_EQ(cell(0, 3), "clickToRepick") << "the refill rewrote the row being loaded";
    EXPECT_EQ(c().nextSong2, first) << "the player got the row before it was replanned";
}

TEST_F(PlannerTest, ANonZeroFlagLoadsTheSelectionWithoutRefilling) {
    rotation("day.rot", {"Rock", "Pop", "Jazz"});
    selectRotation("day.rot");
    c().form().lstRotation.row = 2;
    c().activePlayer = 1;
    loadNextSong(c(), -1);
    EXPECT_EQ(c().rotationPosition, 2);
    EXPECT_EQ(c().nextSong2, c().trackList[2].trackPath);
    EXPECT_EQ(cell(1, 3), "ClicktoRepick") << "the slot behind was not refilled";
}

TEST_F(PlannerTest, APlaylistLoopsFromItsLastRowToTheFirst) {
    c().listMode = -1;
    auto& grid = c().form().lstPlaylist;
    for (int i = 0; i < 3; ++i) {
        grid.rows.push_back({});
        c().trackList[static_cast<std::size_t>(i)].trackPath =
            dir.str() + "/Music/Pop/t" + std::to_string(i + 1) + ".mp3";
    }
    std::vector<std::string> loaded;
    for (int i = 0; i < 4; ++i) {
        c().activePlayer = 2;
        loadNextSong(c(), 0);
        loaded.push_back(c().nextSong1);
    }
    EXPECT_EQ(loaded[0], c().trackList[0].trackPath);
    EXPECT_EQ(loaded[2], c().trackList[2].trackPath);
    EXPECT_EQ(loaded[3], c().trackList[0].trackPath);
    EXPECT_EQ(grid.row, 1) << "the selection rests one row ahead";
}

TEST_F(PlannerTest, AMissingFileInAPlaylistRowIsNotLoaded) {
    c().listMode = -1;
    c().form().lstPlaylist.rows.push_back({});
    c().trackList[0].trackPath = dir.str() + "/Music/Pop/gone.mp3";
    c().nextSong1 = "kept";
    loadNextSong(c(), 0);
    EXPECT_EQ(c().nextSong1, "kept");
    EXPECT_EQ(c().player1Stream, 0u);
    EXPECT_TRUE(logTexts().empty());
}

TEST_F(PlannerTest, AStreamAddressRowGoesOnThePlayerWithTheBlankArtistOfAStream) {
    c().listMode = -1;
    c().form().lstPlaylist.rows.push_back({});
    c().trackList[0].trackPath = "http://127.0.0.1:9/stream";
    c().trackList[0].trackIsURL = true;
    loadNextSong(c(), 0);
    EXPECT_EQ(c().nextSong1, "http://127.0.0.1:9/stream");
    EXPECT_EQ(c().nextSongName1, "http://127.0.0.1:9/stream");
    EXPECT_EQ(c().form().lblplayer1.caption, "");
    EXPECT_EQ(c().form().lblplayer1.caption2, "");
    for (const auto& line : c().form().lblplayer1.drawing.texts) {
        EXPECT_EQ(line.text, "") << "nothing of the address is printed on the player";
    }
    // The address is opened off the console thread: its answer comes back as a posted event.
    const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (engine.count("streamCreateUrl http://127.0.0.1:9/stream") == 0 &&
           std::chrono::steady_clock::now() < until) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    EXPECT_EQ(engine.count("streamCreateUrl http://127.0.0.1:9/stream"), 1);
}

TEST_F(PlannerTest, ReadingTheHistoryShowsOnThePickButton) {
    rotation("day.rot", {"Rock"});
    selectRotation("day.rot");
    EXPECT_EQ(c().form().cmdPlayer1Pick.caption.rfind("LastPlayed: ", 0), 0u);
    EXPECT_NE(c().form().cmdPlayer1Pick.caption.find(" Outs:0 Count:0"), std::string::npos);
}

TEST_F(PlannerTest, ReOfRowZeroIsPlannedAtTheEndOfTheTrackOnTheAir) {
    rotation("day.rot", {"Rock", "Pop"});
    selectRotation("day.rot");
    c().activePlayer = 1;
    c().form().lblTimeLeft1.tag = "90";
    rePickItem(c(), 0);
    EXPECT_EQ(core::generalDate(c().trackList[0].timeOn), "11/22/2026 10:01:30 AM");
    EXPECT_EQ(cell(0, 3), "ClickToRepick");
    EXPECT_FLOAT_EQ(c().trackList[0].trackLengthInSeconds, 100.0f);
}

TEST_F(PlannerTest, AThrownAwayTrackCountsAsJustPlayed) {
    rotation("day.rot", {"Rock"});
    selectRotation("day.rot");
    const std::string old = c().trackList[0].trackName;
    clock.advanceSeconds(30);
    rePickItem(c(), 0);
    // The thrown-away track was planned a moment ago, so the picker takes one of the other two.
    ASSERT_NE(c().trackList[0].trackName, old);
    EXPECT_EQ(history(old, "Pending"), "no");
    EXPECT_EQ(history(old, "LastPlayed"), "11/22/2026 10:00:30 AM");
}

TEST_F(PlannerTest, ThreeYearOldPlannedTimesAreReplacedByThePresent) {
    rotation("day.rot", {"Rock", "Pop"});
    selectRotation("day.rot");
    c().trackList[0].timeOn = core::timeSerial(9, 0, 0);  // a time of day alone: 1899
    rePickItem(c(), 1);
    EXPECT_EQ(core::generalDate(c().trackList[1].timeOn), "11/22/2026 10:00:00 AM");
}

TEST_F(PlannerTest, ARepickPressOnTheFourthColumnRepicksRetimesAndReloads) {
    rotation("day.rot", {"Rock", "Pop", "Jazz"});
    selectRotation("day.rot");
    c().form().lstPlaylist.row = 1;
    c().form().lstRotation.row = 1;
    lstPlaylist_MouseDown(c(), 3);
    EXPECT_TRUE(c().redrawPending);
    EXPECT_EQ(c().rotationPosition, 1);
    lstPlaylist_MouseUp(c());
    EXPECT_FALSE(c().redrawPending);
    EXPECT_EQ(cell(1, 3), "ClickToRepick");
}

// Until the outgoing track is gone the selection stands on the row on the air, and a Re-Pick
// reloads the selected row. After an Eject of the fading player, whose free sync would have
// loaded the next row, a Re-Pick therefore puts the track on the air on the other player too,
// and the next start plays it a second time.
TEST_F(PlannerTest, ARepickAfterAnEjectOfTheFadingPlayerReloadsTheRowOnTheAirAsPrescribed) {
    rotation("day.rot", {"Rock", "Pop", "Jazz"});
    selectRotation("day.rot");
    playout::startNExt(c());  // row 0 on player 1
    loadNextSong(c(), 0);     // row 1 waits on player 2
    playout::startNExt(c());  // row 1 on the air, player 1 fading out
    ASSERT_EQ(c().activePlayer, 2);
    const std::string onAir = c().nextSong2;
    ASSERT_EQ(onAir, c().trackList[1].trackPath);
    ASSERT_EQ(c().form().lstRotation.row, 1);
    desk::press(c(), "cmdEject1");
    EXPECT_EQ(c().activePlayer, 2);
    c().form().lstPlaylist.row = 2;
    lstPlaylist_MouseDown(c(), 3);
    lstPlaylist_MouseUp(c());
    EXPECT_EQ(c().rotationPosition, 1);
    EXPECT_EQ(c().nextSong1, onAir) << "the track on the air, loaded on the other player";
    EXPECT_NE(c().player1Stream, 0u);
    playout::startNExt(c());
    EXPECT_EQ(c().activePlayer, 1);
    EXPECT_EQ(c().currentTitle, c().trackList[1].trackName) << "the same track again";
}

TEST_F(PlannerTest, APressOnTheNameShowsTheHistoryBalloon) {
    rotation("day.rot", {"Rock"});
    selectRotation("day.rot");
    setHistory(c().trackList[0].trackName, "PlayCount", "4");
    setHistory(c().trackList[0].trackName, "TunedOut", "1");
    c().form().lstPlaylist.row = 0;
    lstPlaylist_MouseDown(c(), 1);
    EXPECT_TRUE(c().form().lblShowData.visible);
    EXPECT_NE(c().form().lblShowData.caption.find("\n  TuneOutPercentage: 25%"), std::string::npos)
        << c().form().lblShowData.caption;
}

TEST_F(PlannerTest, APressOnTheTimeTogglesThePreviewOfTheRowAndItsStopOffersTheRePick) {
    rotation("day.rot", {"Rock", "Pop"});
    selectRotation("day.rot");
    auto& row = c().form().lstPlaylist.rows[1].cells;
    row[3] = "Repicking Song";
    c().form().lstPlaylist.row = 1;
    lstPlaylist_MouseDown(c(), 0);
    ASSERT_NE(c().previewPlayer, 0u) << "the row's track in the preview";
    EXPECT_EQ(c().previewSong, c().trackList[1].trackPath);
    EXPECT_EQ(cell(1, 3), "Repicking Song") << "a preview runs: the row keeps its text";
    lstPlaylist_MouseDown(c(), 0);
    EXPECT_EQ(c().previewPlayer, 0u);
    EXPECT_EQ(cell(1, 3), "ClickToRepick");
}

}  // namespace
}  // namespace tw::autodj
