#include "autodj/rotations.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "autodj/planner.h"
#include "autodj/rotation_file.h"
#include "core/console_ops.h"
#include "core/failure.h"
#include "desk/actions.h"
#include "station/startup.h"
#include "tests/testlib/console_fixture.h"

namespace tw::autodj {
namespace {

namespace fs = std::filesystem;
using core::Console;
using test::readFile;
using test::writeFile;

std::string field(const std::string& text) {
    std::string f = text;
    f.resize(100, ' ');
    return f;
}

std::string record(const std::string& category, const std::string& sweeper,
                   const std::string& marker = "saved") {
    return field(category) + field(sweeper) + field(marker);
}

class RotationsTest : public test::ConsoleFixture {
  protected:
    RotationsTest() {
        fs::create_directories(dir / "Rotations");
        fs::create_directories(dir / "Playlist");
        Console& c = make();
        c.form().flRotations.path = dir.str() + "/Rotations";
        c.form().flPlaylists.path = dir.str() + "/Playlist";
        c.trackList.assign(17, {});  // as the console allocates it at start-up
    }
    Console& c() { return *console; }
    void gridRows(std::initializer_list<std::pair<std::string, bool>> rows) {
        for (const auto& [category, tick] : rows) {
            core::GridRow r;
            r.cells = {"", category};
            r.checked = tick;
            c().form().lstRotation.rows.push_back(r);
        }
    }
};

TEST_F(RotationsTest, SavedRecordsAreThreeBlankPaddedFieldsOfOneHundredBytes) {
    gridRows({{"  Rock ", true}, {"Pop", false}});
    std::string name = "drive.rot";
    saveNewList(c(), name);
    EXPECT_EQ(readFile(dir / "Rotations" / "drive.rot"),
              record("Rock", "True") + record("Pop", "False"));
}

TEST_F(RotationsTest, AnEmptyNameSavesAsRotationDotRot) {
    gridRows({{"Rock", false}});
    std::string name;
    saveNewList(c(), name);
    EXPECT_EQ(name, "Rotation.rot");
    EXPECT_TRUE(fs::exists(dir / "Rotations" / "Rotation.rot"));
}

TEST_F(RotationsTest, ARowWhoseTrimmedCategoryIsEmptyVanishesOnSave) {
    gridRows({{"Rock", false}, {"   ", true}, {"Jazz", true}});
    std::string name = "a.rot";
    saveNewList(c(), name);
    EXPECT_EQ(readFile(dir / "Rotations" / "a.rot").size(), 600u);
}

TEST_F(RotationsTest, ALongerNameIsCutToOneHundredBytes) {
    gridRows({{std::string(130, 'x'), false}});
    std::string name = "long.rot";
    saveNewList(c(), name);
    const std::string bytes = readFile(dir / "Rotations" / "long.rot");
    ASSERT_EQ(bytes.size(), 300u);
    EXPECT_EQ(bytes.substr(0, 100), std::string(100, 'x'));
}

TEST_F(RotationsTest, AShorterListLeavesNoOldRecords) {
    gridRows({{"A", false}, {"B", false}, {"C", false}});
    std::string name = "s.rot";
    saveNewList(c(), name);
    c().form().lstRotation.rows.pop_back();
    saveNewList(c(), name);
    EXPECT_EQ(readFile(dir / "Rotations" / "s.rot").size(), 600u);
}

TEST_F(RotationsTest, LoadingPutsSavedRowsOnTheGridWithTheirTicks) {
    writeFile(dir / "Rotations" / "r.rot", record("Rock", "True") + record("Pop", "False"));
    std::string name = "r.rot";
    loadList(c(), name);
    const auto& rows = c().form().lstRotation.rows;
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0].cells[1], "Rock");
    EXPECT_TRUE(rows[0].checked);
    EXPECT_FALSE(rows[1].checked);
    EXPECT_EQ(c().trackList[0].trackCatagory, "Rock");
    EXPECT_TRUE(c().trackList[0].sweeperChecked);
    EXPECT_EQ(c().trackList.size(), 3u) << "bounds 0 to the number of records";
    EXPECT_FALSE(c().listLoading);
}

TEST_F(RotationsTest, ARecordNotMarkedSavedLeavesAGapInTheRunningListButNoRow) {
    c().trackList.clear();
    writeFile(dir / "Rotations" / "g.rot",
              record("Rock", "True") + record("Draft", "True", "draft") + record("Pop", "False"));
    std::string name = "g.rot";
    loadList(c(), name);
    ASSERT_EQ(c().form().lstRotation.rows.size(), 2u);
    ASSERT_EQ(c().trackList.size(), 4u);  // three records and the spare
    EXPECT_EQ(c().trackList[1].trackCatagory, "");
    EXPECT_EQ(c().trackList[2].trackCatagory, "Pop");
}

// "An empty rotation file gives empty grids; PickRotationSong returns at once, and
// loadNextSong(0) loads no track": the records of the rotation before it are not played again.
TEST_F(RotationsTest, AnEmptyRotationFileGivesEmptyGridsAndLoadNextSongLoadsNoTrack) {
    const std::string stale = dir.str() + "/Music/Rock/old.mp3";
    writeFile(stale, "not audio, but a file");
    c().trackList[0].trackPath = stale;
    c().trackList[1].trackPath = stale;
    c().activePlayer = 1;
    c().player2Stream = 77;
    writeFile(dir / "Rotations" / "e.rot", "");
    c().form().lstRotation.rows.push_back({{"", "Rock"}});
    c().form().lstPlaylist.rows.push_back({});
    std::string name = "e.rot";
    loadList(c(), name);
    EXPECT_TRUE(c().form().lstRotation.rows.empty());
    EXPECT_TRUE(c().form().lstPlaylist.rows.empty());
    EXPECT_EQ(c().trackList.size(), 1u);  // bounds 0 to the number of records
    EXPECT_EQ(c().nextSong2, "");
    EXPECT_EQ(c().player2Stream, 77u);
    EXPECT_EQ(engine.count("streamFree"), 0);
    EXPECT_EQ(c().activePlayer, 1);
}

TEST_F(RotationsTest, AFileThatCannotBeReadShowsItsMessageAndBlocksFurtherLoads) {
    std::string name = "missing.rot";
    loadList(c(), name);
    EXPECT_EQ(c().form().frmTarnDesk.drawing.texts.at(0).text,
              "Error reading rotation list: File not found");
    EXPECT_TRUE(c().listLoading);
    writeFile(dir / "Rotations" / "r.rot", record("Rock", "True"));
    std::string other = "r.rot";
    loadList(c(), other);
    EXPECT_TRUE(c().form().lstRotation.rows.empty());
}

TEST_F(RotationsTest, ASweeperFieldThatMeansNeitherYesNorNoIsAReadError) {
    writeFile(dir / "Rotations" / "b.rot", record("Rock", "True") + record("Pop", "Maybe"));
    std::string name = "b.rot";
    loadList(c(), name);
    EXPECT_EQ(c().form().lstRotation.rows.size(), 1u) << "filled as far as it got";
    EXPECT_EQ(c().form().frmTarnDesk.drawing.texts.at(0).text,
              "Error reading rotation list: Type mismatch");
}

TEST_F(RotationsTest, TheListOfListsHasEveryRotationThenEveryPlaylist) {
    writeFile(dir / "Rotations" / "b.rot", "");
    writeFile(dir / "Rotations" / "A.rot", "");
    writeFile(dir / "Playlist" / "mix.pls", "");
    core::refreshFileList(c().form().flRotations);
    core::refreshFileList(c().form().flPlaylists);
    showRotationIcons(c());
    const auto& items = c().form().lstRotationOrList.items;
    ASSERT_EQ(items.size(), 3u);
    EXPECT_EQ(items[0].text, "A.rot");
    EXPECT_EQ(items[0].tag, "rotation");
    EXPECT_EQ(items[1].text, "b.rot");
    EXPECT_EQ(items[2].text, "mix.pls");
    EXPECT_EQ(items[2].tag, "0");
    EXPECT_EQ(items[2].picture, 2);
}

TEST_F(RotationsTest, ChoosingARotationByHandSwitchesTheScheduleOffAndLoadsIt) {
    writeFile(dir / "Rotations" / "day.rot", record("Rock", "True"));
    writeFile(dir / "Playlist" / "x.pls", "[playlist]\nFile1=/nowhere/x.mp3\n");
    core::refreshFileList(c().form().flRotations);
    core::refreshFileList(c().form().flPlaylists);
    showRotationIcons(c());
    c().form().chkEnableSchedule.value = 1;
    ASSERT_TRUE(desk::select(c(), "lstRotationOrList", 0));
    EXPECT_EQ(c().form().chkEnableSchedule.value, 0);
    EXPECT_EQ(c().listMode, 0);
    EXPECT_EQ(c().activeListName, "day.rot");
    EXPECT_EQ(c().rotationPosition, 0) << "the new list loads its first row";
    EXPECT_EQ(c().form().lstRotation.rowCount(), 1);
    EXPECT_TRUE(c().form().lstRotationOrList.items[0].selected);
    ASSERT_TRUE(desk::select(c(), "lstRotationOrList", 1));
    EXPECT_EQ(c().listMode, -1);
    EXPECT_FALSE(c().form().lstRotation.visible);
}

TEST_F(RotationsTest, RetimingChainsThePlannedTimesFromTheSelectedRowAroundTheRing) {
    auto& grid = c().form().lstPlaylist;
    for (int i = 0; i < 3; ++i) {
        core::GridRow r;
        r.cells = {"", "T" + std::to_string(i), "00:03:00.0", "ClickToRepick"};
        grid.rows.push_back(r);
        c().trackList[static_cast<std::size_t>(i)].trackName = "T" + std::to_string(i);
        c().trackList[static_cast<std::size_t>(i)].trackLength = "00:03:00.0";
    }
    const core::DateValue t1 = core::dateSerial(2026, 11, 22) + core::timeSerial(10, 0, 0);
    c().trackList[1].timeOn = t1;
    grid.row = 1;
    retimeTrackList(c(), 1, 0);
    EXPECT_EQ(core::generalDate(c().trackList[2].timeOn), "11/22/2026 10:03:00 AM");
    EXPECT_EQ(core::generalDate(c().trackList[0].timeOn), "11/22/2026 10:06:00 AM");
    EXPECT_EQ(grid.rows[2].cells[0], "10:03.00 AM");
    EXPECT_EQ(core::readIni(c(), c().playedIniPath(), "T0", "LastPlayed", ""),
              "11/22/2026 10:06:00 AM");
    EXPECT_EQ(core::readIni(c(), c().playedIniPath(), "T1", "LastPlayed", "none"), "none");
}

TEST_F(RotationsTest, RemovingARowKeepsOneSpareRecord) {
    for (int i = 0; i < 3; ++i) {
        c().form().lstPlaylist.rows.push_back({});
        c().trackList[static_cast<std::size_t>(i)].trackName = "T" + std::to_string(i);
    }
    removeTrackListRow(c(), 1);
    EXPECT_EQ(c().form().lstPlaylist.rowCount(), 2);
    ASSERT_EQ(c().trackList.size(), 3u);
    EXPECT_EQ(c().trackList[1].trackName, "T2");
}

TEST_F(RotationsTest, ANewRotationIsCreatedEmptyUnderTheGivenName) {
    gridRows({{"Rock", true}});
    prompter.queueAnswer("Evening");
    desk::press(c(), "cmdNewRotation");
    EXPECT_TRUE(fs::exists(dir / "Rotations" / "Evening.rot"));
    EXPECT_EQ(readFile(dir / "Rotations" / "Evening.rot"), "");
    EXPECT_EQ(c().ui.dialog.cmdCreate.caption, "Create Rotation");
    EXPECT_EQ(c().ui.dialog.lblExplanation.caption,
              "Enter new Rotation Name Below and Press Create Rotation Button");
    EXPECT_EQ(prompter.shown().back().title, "Create Rotation");
    bool listed = false;
    for (const auto& i : c().form().lstRotationOrList.items) {
        listed = listed || i.text == "Evening.rot";
    }
    EXPECT_TRUE(listed);
}

TEST_F(RotationsTest, ANameLeftAsItStartedOrCancelledCreatesNothing) {
    prompter.queueAnswer("Enter Name Here");
    desk::press(c(), "cmdNewRotation");
    prompter.queueAnswer("");
    desk::press(c(), "cmdNewRotation");
    prompter.queueAnswer("<cancel>");
    desk::press(c(), "cmdNewRotation");
    EXPECT_TRUE(fs::is_empty(dir / "Rotations"));
}

TEST_F(RotationsTest, DeletingAListSendsItToTheTrashAndResetsTheRunningList) {
    writeFile(dir / "Rotations" / "old.rot", "");
    core::refreshFileList(c().form().flRotations);
    showRotationIcons(c());
    c().form().lstPlaylist.rows.push_back({});
    c().form().lstRotationOrList.listIndex = 0;
    c().trackList.resize(3);
    ASSERT_TRUE(desk::keyDown(c(), "lstRotationOrList", "Delete"));
    EXPECT_EQ(trash.trashed, std::vector<std::string>{dir.str() + "/Rotations/old.rot"});
    EXPECT_TRUE(c().form().lstPlaylist.rows.empty());
    EXPECT_EQ(c().trackList.size(), 17u);
}

TEST_F(RotationsTest, TheDeleteKeyOnTheRotationTakesTheSelectedRowWithItsRecordAndSaves) {
    c().activeListName = "live.rot";
    gridRows({{"Rock", false}, {"Pop", true}, {"Jazz", false}});
    const char* planned[] = {"Rock one", "Pop one", "Jazz one"};
    for (int i = 0; i < 3; ++i) {
        c().trackList[static_cast<std::size_t>(i)].trackName = planned[i];
        c().form().lstPlaylist.rows.push_back(core::GridRow{{"", planned[i], "00:03:00.0"}});
    }
    c().form().lstRotation.row = 1;
    ASSERT_TRUE(desk::keyDown(c(), "lstRotation", "Delete"));
    EXPECT_EQ(readFile(dir / "Rotations" / "live.rot"),
              record("Rock", "False") + record("Jazz", "False"));
    ASSERT_EQ(c().form().lstRotation.rowCount(), 2);
    ASSERT_EQ(c().form().lstPlaylist.rowCount(), 2);
    EXPECT_EQ(c().form().lstPlaylist.rows[1].cells[1], "Jazz one");
    EXPECT_EQ(c().trackList[1].trackName, "Jazz one");
    // No row selected: the key does nothing.
    c().form().lstRotation.row = -1;
    ASSERT_TRUE(desk::keyDown(c(), "lstRotation", "Delete"));
    EXPECT_EQ(c().form().lstRotation.rowCount(), 2);
}

TEST_F(RotationsTest, AnEmptyNameLoadsTheRotationFileThatSaveNewListWrites) {
    gridRows({{"Rock", true}});
    std::string saved;
    saveNewList(c(), saved);
    ASSERT_TRUE(fs::exists(dir / "Rotations" / "Rotation.rot"));
    c().form().lstRotation.rows.clear();
    std::string name;
    loadList(c(), name);
    EXPECT_EQ(name, "Rotation.rot");
    ASSERT_EQ(c().form().lstRotation.rowCount(), 1);
    EXPECT_EQ(c().form().lstRotation.rows[0].cells[1], "Rock");
}

TEST_F(RotationsTest, GridEditsSaveTheRotationAtOnce) {
    c().activeListName = "live.rot";
    gridRows({{"Rock", false}, {"Pop", false}});
    toggleRotationSweeper(c(), 1);
    EXPECT_EQ(readFile(dir / "Rotations" / "live.rot"),
              record("Rock", "False") + record("Pop", "True"));
    c().form().lstRotation.row = 1;
    dropCategoryOnRotation(c(), "Jazz");
    EXPECT_EQ(readFile(dir / "Rotations" / "live.rot"),
              record("Rock", "False") + record("Jazz", "False") + record("Pop", "True"));
    EXPECT_EQ(c().form().lstPlaylist.rows.at(0).cells.at(1), "newDrop");
    removeCategoryFromRotation(c(), "Rock");
    EXPECT_EQ(readFile(dir / "Rotations" / "live.rot"),
              record("Jazz", "False") + record("Pop", "True"));
}

TEST(RotationFileTest, SweeperFieldReadsTrueFalseAndNumbers) {
    EXPECT_TRUE(sweeperFieldValue("True"));
    EXPECT_TRUE(sweeperFieldValue("TRUE"));
    EXPECT_FALSE(sweeperFieldValue("False"));
    EXPECT_TRUE(sweeperFieldValue("-1"));
    EXPECT_FALSE(sweeperFieldValue("0"));
    EXPECT_THROW(sweeperFieldValue("yes"), core::Failure);
}

TEST(RotationFileTest, ATrailingPartRecordIsNoRecord) {
    EXPECT_EQ(decodeRotation(record("A", "True") + "xyz").size(), 1u);
    EXPECT_TRUE(decodeRotation("").empty());
}

TEST(PlannerTimeTest, LengthTextsInWholeSeconds) {
    EXPECT_EQ(timeToSeconds("00:03:25.4"), 205);
    EXPECT_EQ(timeToSeconds("01:01:3640.0"), 3600 + 60 + 3640);
    EXPECT_EQ(timeToSeconds(""), 0);
    EXPECT_EQ(timeToSeconds("00:00:02.5"), 2);  // halves to even
}

TEST_F(RotationsTest, NextStartTimeAddsWhatIsLeftOnTheAir) {
    c().form().lblTimeLeft1.tag = "";
    EXPECT_EQ(core::generalDate(nextStartTime(c())), "11/22/2026 10:00:00 AM");
    c().form().lblTimeLeft1.tag = "90.4";
    c().form().lblTimeLeft2.tag = "30";
    c().activePlayer = 1;
    EXPECT_EQ(core::generalDate(nextStartTime(c())), "11/22/2026 10:01:30 AM");
    c().activePlayer = 2;
    EXPECT_EQ(core::generalDate(nextStartTime(c())), "11/22/2026 10:00:30 AM");
    c().form().lblTimeLeft1.tag = "";
    EXPECT_EQ(core::generalDate(nextStartTime(c())), "11/22/2026 10:00:00 AM")
        << "only the first label's tag is tested";
}

}  // namespace
}  // namespace tw::autodj
