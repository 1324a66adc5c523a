// The library: category lists, file lists, the category facts, figures, and the operator's
// actions on categories.

#include "autodj/library.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>

#include "autodj/history.h"
#include "autodj/track_details.h"
#include "desk/actions.h"
#include "tags/id3_tag.h"
#include "tests/autodj/station_fixture.h"
#include "tests/tags/tag_test_util.h"

namespace tw::test {
namespace {

class LibraryTest : public StationFixture {
  protected:
    std::vector<std::string> texts(const core::Element& list) {
        std::vector<std::string> out;
        for (const auto& i : list.items) {
            out.push_back(i.text);
        }
        return out;
    }
    void addRotationRow(const std::string& category) {
        console->form().lstRotation.rows.push_back({{"", category}, false, false});
    }
    std::vector<std::string> rotationCategories() {
        std::vector<std::string> out;
        for (const auto& r : console->form().lstRotation.rows) {
            out.push_back(r.cells[1]);
        }
        return out;
    }
    void setAverage(const std::string& category, std::int32_t seconds) {
        console->library->averageSong.at(static_cast<std::size_t>(categoryIndex(category)) + 1) =
            seconds;
    }
    std::int32_t repeatOf(const std::string& category) {
        return console->library->repeatTime.at(static_cast<std::size_t>(categoryIndex(category)) +
                                               1);
    }
    const std::string& info() { return console->form().lblListInfo.caption; }
};

// --- lists
// ----------------------------------------------------------------------------------------

TEST_F(LibraryTest, FileThatIsNotMp3IsInvisibleToBothFileLists) {
    addTrack("Rock", "b.mp3", "B", "Bee");
    addTrack("Rock", "A.MP3", "A", "Ay");
    writeFile(dir / "Music/Rock/c.txt", "text");
    writeFile(dir / "Music/Rock/d.mp3.bak", "old");
    writeFile(dir / "Music/Rock/e.wav", "wave");
    open();
    const int rock = categoryIndex("Rock");
    autodj::lstPlaylists_Click(*console, rock);
    autodj::lstPlaylist1_Click(*console, rock);
    const std::vector<std::string> expected = {"A.MP3", "b.mp3"};
    EXPECT_EQ(texts(console->form().fileList), expected);
    EXPECT_EQ(texts(console->form().fileList1), expected);
    EXPECT_EQ(texts(console->form().lstSongs), (std::vector<std::string>{"A - Ay", "B - Bee"}));
}

TEST_F(LibraryTest, SubfolderOfACategoryIsNotPartOfTheCategory) {
    addTrack("Rock", "top.mp3", "T", "Top");
    addTrack("Rock/Live", "deep.mp3", "D", "Deep");
    std::filesystem::create_directories(dir / "Music/Rock/folder.mp3");
    open();
    EXPECT_EQ(texts(console->form().lstPlaylists), (std::vector<std::string>{"Rock"}));
    autodj::lstPlaylists_Click(*console, 0);
    autodj::lstPlaylist1_Click(*console, 0);
    EXPECT_EQ(texts(console->form().fileList), (std::vector<std::string>{"top.mp3"}));
    EXPECT_EQ(texts(console->form().fileList1), (std::vector<std::string>{"top.mp3"}));
}

TEST_F(LibraryTest, CategoryWithADotStandsCutAtTheDotAndItsFolderIsNotFound) {
    addTrack("Dance.90s", "d.mp3", "D", "Dee");
    addTrack("rock", "r.mp3", "R", "Are");
    open();
    EXPECT_EQ(texts(console->form().lstPlaylists), (std::vector<std::string>{"Dance", "rock"}));
    EXPECT_EQ(texts(console->form().lstPlaylist1), (std::vector<std::string>{"Dance", "rock"}));
    autodj::lstPlaylists_Click(*console, 0);
    EXPECT_EQ(console->activeDirectory, "/Music/Dance/");
    EXPECT_EQ(console->form().fileList.listCount(), 0);
    EXPECT_EQ(info(), "0 Tracks | Approxiamate Repeat Time: 00 Hours 00 Minutes| outs% 0");
}

TEST_F(LibraryTest, MissingMusicFolderLeavesBothListsEmpty) {
    open();
    EXPECT_TRUE(console->form().lstPlaylists.items.empty());
    EXPECT_TRUE(console->form().lstPlaylist1.items.empty());
    EXPECT_EQ(console->library->repeatTime.size(), 1u);
}

TEST_F(LibraryTest, PickerListActionSetsOnlyThePickersState) {
    addTrack("Jazz", "j.mp3", "J", "Jay");
    addTrack("Rock", "r.mp3", "R", "Are");
    open();
    console->form().lblListInfo.caption = "as before";
    autodj::lstPlaylist1_Click(*console, 1);
    EXPECT_EQ(console->activeDirectory, "/Music/Rock/");
    EXPECT_EQ(console->activeCatagoryIndex, 2);
    EXPECT_EQ(console->form().lstPlaylist1.listIndex, 1);
    EXPECT_EQ(texts(console->form().fileList1), (std::vector<std::string>{"r.mp3"}));
    EXPECT_EQ(info(), "as before");
    EXPECT_TRUE(console->form().lstSongs.items.empty());
    EXPECT_TRUE(console->form().fileList.items.empty());
}

// --- the category facts
// ---------------------------------------------------------------------------

TEST_F(LibraryTest, CategoryFactsCaptionAndClearedDetails) {
    for (int i = 0; i < 3; ++i) {
        addTrack("Rock", "t" + std::to_string(i) + ".mp3", "R", "Song " + std::to_string(i));
    }
    open();
    console->library->repeatTime.at(1) = 3720;
    console->form().txtSearch.text = "love";
    console->form().txtArtistName.text = "Someone";
    autodj::lstPlaylists_Click(*console, 0);
    EXPECT_EQ(info(), "3 Tracks | Approxiamate Repeat Time: 01 Hours 02 Minutes| outs% 0");
    EXPECT_EQ(console->form().txtSearch.text, "Type Search Here");
    EXPECT_EQ(console->form().txtArtistName.text, "");
    EXPECT_EQ(console->activeCatagoryIndex, 1);
    EXPECT_EQ(console->library->trackFiles.size(), 3u);
    EXPECT_EQ(console->library->trackFiles[2], (dir / "Music/Rock/t2.mp3").string());
    EXPECT_EQ(texts(console->form().lstBuilderCatagoryList), texts(console->form().lstSongs));
}

TEST_F(LibraryTest, RepeatTimeOf59SecondsShows00Hours00Minutes) {
    addTrack("Rock", "t.mp3", "R", "Song");
    open();
    setAverage("Rock", 59);
    addRotationRow("Rock");
    autodj::populateAllowableRepeatTime(*console, false);
    EXPECT_EQ(repeatOf("Rock"), 59);
    autodj::lstPlaylists_Click(*console, 0);
    EXPECT_EQ(info(), "1 Tracks | Approxiamate Repeat Time: 00 Hours 00 Minutes| outs% 0");
}

TEST_F(LibraryTest, CategoryWithNoPlaysShowsTheFigure0AfterOuts) {
    addTrack("Rock", "t.mp3", "R", "Song");
    open();
    setHistory("R - Song", "TunedOut", "4");  // outs but no plays: no division at all
    autodj::lstPlaylists_Click(*console, 0);
    EXPECT_TRUE(info().ends_with("| outs% 0")) << info();
    EXPECT_TRUE(appLogLines().empty());
}

TEST_F(LibraryTest, OutsPercentageRoundsToOneDecimalThenToEven) {
    addTrack("Rock", "a.mp3", "A", "One");
    addTrack("Rock", "b.mp3", "B", "Two");
    open();
    autodj::lstPlaylists_Click(*console, 0);
    struct Case {
        const char *outsA, *playsA, *outsB, *playsB;
        std::int32_t expected;
    } cases[] = {
        {"1", "4", "0", "4", 12},     // 12.5 -> 12
        {"1", "20", "0", "20", 2},    // 2.5 -> 2
        {"7", "100", "0", "100", 4},  // 3.5 -> 4
        {"1", "200", "0", "200", 0},  // 0.25 -> 0.2 -> 0
        {"2", "3", "0", "0", 67},     // 66.67
        {"-3", "5", "0", "5", -30},   // charges taken back give a negative figure
    };
    for (const auto& k : cases) {
        setHistory("A - One", "TunedOut", k.outsA);
        setHistory("A - One", "PlayCount", k.playsA);
        setHistory("B - Two", "TunedOut", k.outsB);
        setHistory("B - Two", "PlayCount", k.playsB);
        EXPECT_EQ(autodj::fillSongList(*console), k.expected) << k.outsA << "/" << k.playsA;
    }
}

TEST_F(LibraryTest, CounterThatIsNoNumberFailsTheCategoryClickWithItsLogLine) {
    addTrack("Rock", "a.mp3", "A", "One");
    open();
    setHistory("A - One", "PlayCount", "lots");
    autodj::lstPlaylists_Click(*console, 0);
    EXPECT_EQ(logTexts(), (std::vector<std::string>{"Error in Playlist:Type mismatch"}));
}

// A fill writes its rows into the storage of the last fill's: one that fails half-way still
// leaves the rows before the failure, and only them, in both lists and in the track files.
TEST_F(LibraryTest, AFillThatFailsHalfWayAfterAFullerOneLeavesOnlyTheRowsBeforeTheFailure) {
    addTrack("Rock", "a.mp3", "A", "One");
    addTrack("Rock", "b.mp3", "B", "Two");
    addTrack("Rock", "c.mp3", "C", "Three");
    open();
    auto& m = console->form();
    autodj::lstPlaylists_Click(*console, 0);
    ASSERT_EQ(m.lstSongs.items.size(), 3u);
    setHistory("B - Two", "PlayCount", "lots");
    autodj::lstPlaylists_Click(*console, 0);
    EXPECT_EQ(logTexts(), (std::vector<std::string>{"Error in Playlist:Type mismatch"}));
    ASSERT_EQ(m.lstSongs.items.size(), 1u);
    EXPECT_EQ(m.lstSongs.items[0].text, "A - One");
    ASSERT_EQ(m.lstBuilderCatagoryList.items.size(), 1u);
    EXPECT_EQ(m.lstBuilderCatagoryList.items[0].text, "A - One");
    ASSERT_EQ(console->library->trackFiles.size(), 1u);
    EXPECT_TRUE(console->library->trackFiles[0].ends_with("/a.mp3"))
        << console->library->trackFiles[0];
    setHistory("B - Two", "PlayCount", "2");
    autodj::lstPlaylists_Click(*console, 0);
    ASSERT_EQ(m.lstSongs.items.size(), 3u);
    EXPECT_EQ(m.lstSongs.items[2].text, "C - Three");
    EXPECT_EQ(m.lstBuilderCatagoryList.items[1].text, "B - Two");
    EXPECT_TRUE(console->library->trackFiles[2].ends_with("/c.mp3"))
        << console->library->trackFiles[2];
}

TEST_F(LibraryTest, AnUntaggedTrackWhoseNameCannotBeWrittenIsListedAndLogged) {
    writeFile(dir / "Music/Rock/Band - Tune.mp3", std::string(4000, '\0'));
    open();
    console->id3->setWriteHooks(
        {[](tags::WriteStep step) { return step == tags::WriteStep::CreateTemp ? EACCES : 0; }});
    autodj::lstPlaylists_Click(*console, 0);
    ASSERT_EQ(console->form().lstSongs.items.size(), 1u);
    EXPECT_EQ(console->form().lstSongs.items[0].text, "Band - Tune");
    ASSERT_EQ(logTexts().size(), 1u);
    EXPECT_TRUE(logTexts()[0].starts_with("Error writing the tag of " + console->AppFolder))
        << logTexts()[0];
    EXPECT_NE(logTexts()[0].find("Permission denied"), std::string::npos) << logTexts()[0];
}

TEST_F(LibraryTest, TheTrackListOpenedWithNoCategoryChosenShowsTheFirstCategory) {
    addTrack("Jazz", "j.mp3", "J", "Blue");
    addTrack("Rock", "r.mp3", "R", "Loud");
    open();
    ASSERT_EQ(console->form().lstPlaylists.listIndex, -1);
    desk::press(*console, "cmdTrackList", desk::MouseButton::Left, 0);
    EXPECT_EQ(console->screenMode, 1);
    EXPECT_EQ(console->form().lstPlaylists.listIndex, 0);
    EXPECT_EQ(texts(console->form().lstSongs), (std::vector<std::string>{"J - Blue"}));
    // A category chosen before is kept.
    desk::select(*console, "lstPlaylists", 1);
    desk::press(*console, "cmdRotationList", desk::MouseButton::Left, 0);
    desk::press(*console, "cmdTrackList", desk::MouseButton::Left, 0);
    EXPECT_EQ(texts(console->form().lstSongs), (std::vector<std::string>{"R - Loud"}));
}

TEST_F(LibraryTest, ASongChosenInTheTrackListShowsItsTagsAndItsHistory) {
    writeFile(dir / "Music/Rock/t.mp3",
              id3Tag(3, textFrame("TIT2", "Tune", 3) + textFrame("TPE1", "Band", 3) +
                            textFrame("TALB", "Record", 3) + textFrame("TYER", "1999", 3) +
                            textFrame("TCOM", "Writer", 3) +
                            textFrame("TOWN", "twTag~0~0:03~~~1:10~3.5~0~0~70", 3)) +
                  mpegFrames(4));
    open();
    desk::select(*console, "lstPlaylists", 0);
    setHistory("Band - Tune", "PlayCount", "8");
    setHistory("Band - Tune", "TunedOut", "1");
    setHistory("Band - Tune", "LastPlayed", "11/20/2026 8:00:00 PM");
    desk::select(*console, "lstSongs", 0);
    const auto& m = console->form();
    EXPECT_EQ(m.txtArtistName.text, "Band");
    EXPECT_EQ(m.txtSongName.text, "Tune");
    EXPECT_EQ(m.txtAlbum.text, "Record");
    EXPECT_EQ(m.txtSongYear.text, "1999");
    EXPECT_EQ(m.txtComposer.text, "Writer");
    // 1 of 8 is 12.5 %: rounded half to even.
    EXPECT_EQ(info(),
              "Tune Outs:1 | Play Count:8 | TuneOut Percentage:12% | Last Played:11/20/2026 "
              "8:00:00 PM");
    EXPECT_EQ(m.txtSweeper.text, "0:03");
    EXPECT_EQ(m.txtSweeper.hiddenValue, "3.5");
    EXPECT_EQ(m.lblSweepStart.backColor, 0u);
    EXPECT_EQ(m.txtNextStart.text, "1:10");
    EXPECT_EQ(m.lblNextStart.backColor, 0u);
    EXPECT_EQ(m.lblIntroUntil.backColor, 0xFFFFFFu);
}

TEST_F(LibraryTest, ASongWithNoHistoryShowsZeroesAndNoCuePoints) {
    addTrack("Rock", "a.mp3", "A", "One");
    open();
    desk::select(*console, "lstPlaylists", 0);
    console->form().txtSweeper.text = "old";
    desk::select(*console, "lstSongs", 0);
    EXPECT_TRUE(
        info().starts_with("Tune Outs:0 | Play Count:0 | TuneOut Percentage:0% | Last Played:"))
        << info();
    EXPECT_EQ(console->form().txtSweeper.text, "");
    EXPECT_EQ(console->form().lblSweepStart.backColor, 0xFFFFFFu);
}

TEST_F(LibraryTest,
       SearchAfterAPickInAnotherCategoryListsDashRowsAsTheSongListReadsTheActiveDirectory) {
    // fillSongList opens AppFolder + activeDirectory + name, and a pick points activeDirectory
    // at the category it picked from: the shown category's names are then looked up in the
    // other folder, where they do not exist.
    addTrack("Jazz", "j1.mp3", "J", "One");
    addTrack("Jazz", "j2.mp3", "J", "Two");
    addTrack("Rock", "r.mp3", "R", "Loud");
    open();
    desk::select(*console, "lstPlaylists", categoryIndex("Jazz"));
    autodj::lstPlaylist1_Click(*console, categoryIndex("Rock"));
    console->form().txtSearch.text = "One";
    autodj::cmdSearch_Click(*console);
    EXPECT_EQ(texts(console->form().lstSongs), (std::vector<std::string>{" - ", " - "}));
    EXPECT_FALSE(console->form().lstSongs.items[0].selected);
    // Choosing the category again sets the folder back (and resets the search box).
    desk::select(*console, "lstPlaylists", categoryIndex("Jazz"));
    EXPECT_EQ(console->form().txtSearch.text, "Type Search Here");
    console->form().txtSearch.text = "One";
    autodj::cmdSearch_Click(*console);
    EXPECT_EQ(texts(console->form().lstSongs), (std::vector<std::string>{"J - One", "J - Two"}));
    EXPECT_TRUE(console->form().lstSongs.items[0].selected);
    EXPECT_FALSE(console->form().lstSongs.items[1].selected);
}

TEST_F(LibraryTest, OnTheRotationScreenAClickDoesNothing) {
    addTrack("Rock", "a.mp3", "A", "One");
    open();
    console->screenMode = 2;
    autodj::lstPlaylists_Click(*console, 0);
    EXPECT_EQ(console->activeDirectory, "");
    EXPECT_EQ(info(), "");
}

TEST_F(LibraryTest, TitlesComeFromTheTagsLameWrites) {
    addCategory("Rock");
    lameTone(dir / "Music/Rock", "tone.mp3", "--tt 'Sea Song' --ta 'The Band'");
    open();
    autodj::lstPlaylists_Click(*console, 0);
    EXPECT_EQ(texts(console->form().lstSongs), (std::vector<std::string>{"The Band - Sea Song"}));
}

// --- figures
// --------------------------------------------------------------------------------------

TEST_F(LibraryTest, CategoryNotUsedByTheRotationShowsTheLastRepeatTimeOrZero) {
    for (const char* name : {"A", "B", "C"}) {
        addTrack(name, "1.mp3", name, "x");
        addTrack(name, "2.mp3", name, "y");
    }
    open();
    setAverage("A", 200);
    setAverage("B", 100);
    setAverage("C", 300);
    addRotationRow("A");
    addRotationRow(" B ");  // trimmed before the compare
    addRotationRow("C");
    addRotationRow("C");
    autodj::populateAllowableRepeatTime(*console, false);
    // Lap = 200 + 100 + 2 * 300 = 900 s.
    EXPECT_EQ(console->library->lapsPerCatagory.at(1), 2);
    EXPECT_EQ(console->library->lapsPerCatagory.at(3), 1);
    EXPECT_EQ(repeatOf("A"), 1800);
    EXPECT_EQ(repeatOf("B"), 1800);
    EXPECT_EQ(repeatOf("C"), 900);

    // B leaves the rotation: the pass stops at B, which keeps its last figure, as does C.
    auto& rows = console->form().lstRotation.rows;
    rows.erase(rows.begin() + 1);
    autodj::populateAllowableRepeatTime(*console, false);
    EXPECT_EQ(repeatOf("A"), 1600);  // lap = 200 + 600
    EXPECT_EQ(repeatOf("B"), 1800);
    EXPECT_EQ(repeatOf("C"), 900);
    const auto& printed = console->form().frmTarnDesk.drawing.texts;
    ASSERT_EQ(printed.size(), 1u);
    EXPECT_EQ(printed[0].text, " Error in populateAllowable RepeatTime:Division by zero");
    autodj::lstPlaylists_Click(*console, 1);
    EXPECT_NE(info().find("Repeat Time: 00 Hours 30 Minutes|"), std::string::npos) << info();

    // After the figures are renewed (categories changed) an unused category shows 0.
    autodj::renewRepeatTime(*console);
    setAverage("A", 200);
    autodj::populateAllowableRepeatTime(*console, false);
    EXPECT_EQ(repeatOf("B"), 0);
    EXPECT_EQ(repeatOf("C"), 0);
    autodj::lstPlaylists_Click(*console, 1);
    EXPECT_NE(info().find("Repeat Time: 00 Hours 00 Minutes|"), std::string::npos) << info();
}

TEST_F(LibraryTest, PopulateRestoresThePickerSelectionAndHidesTheStatus) {
    addTrack("A", "1.mp3", "A", "x");
    addTrack("B", "1.mp3", "B", "x");
    open();
    addRotationRow("A");
    addRotationRow("B");
    autodj::lstPlaylist1_Click(*console, 0);
    console->ui.status.frmStatus.visible = true;
    autodj::populateAllowableRepeatTime(*console, true);
    EXPECT_EQ(console->form().lstPlaylist1.listIndex, 0);
    EXPECT_EQ(console->activeDirectory, "/Music/A/");
    EXPECT_FALSE(console->ui.status.frmStatus.visible);
}

TEST_F(LibraryTest, CalculateAveragesTrackLengthsThroughTheEngine) {
    const auto a1 = addTrack("A", "1.mp3", "A", "x");
    const auto a2 = addTrack("A", "2.mp3", "A", "y");
    addCategory("Empty");
    const auto b1 = addTrack("B", "1.mp3", "B", "x");
    open();
    engine.fileSeconds[a1] = 180.2;
    engine.fileSeconds[a2] = 200.9;
    engine.fileSeconds[b1] = 61.5;
    autodj::cmdCalculate(*console, false);
    EXPECT_EQ(console->library->averageSong.at(1), 191);  // 381.1 / 2 = 190.55
    EXPECT_EQ(console->library->averageSong.at(2), 62);   // 61.5 to even
    EXPECT_EQ(console->library->averageSong.at(3), 0);    // Empty
    EXPECT_EQ(
        core::readIni(*console, console->appSettingsPath(), "tarnWave", "lastAverageSong", ""),
        "1");
    EXPECT_EQ(console->ui.status.lblProgress.caption, "Playlist: B Track Number: 1");
    EXPECT_TRUE(console->ui.status.frmStatus.visible);
    EXPECT_EQ(engine.count("streamFree"), 3);
    EXPECT_EQ(console->form().lstPlaylist1.listIndex, 2);  // left on the last category
}

TEST_F(LibraryTest, SilentCalculateLeavesTheStatusWindowAlone) {
    const auto a1 = addTrack("A", "1.mp3", "A", "x");
    open();
    engine.fileSeconds[a1] = 10;
    autodj::lookForLibraryTimes(*console);
    EXPECT_EQ(console->library->averageSong.at(1), 10);
    EXPECT_FALSE(console->ui.status.frmStatus.visible);
}

// "The window closes when its owner closes it": Calculate opens the status window and leaves it
// open; a later progress step shows it again after the operator closed it; the repeat-time pass,
// its owner at start-up, hides it.
TEST_F(LibraryTest, TheStatusWindowClosesWhenItsOwnerClosesItNotWhenCalculateEnds) {
    const auto a1 = addTrack("A", "1.mp3", "A", "x");
    open();
    console->form().lstRotation.rows.push_back(core::GridRow{{"", "A"}});
    engine.fileSeconds[a1] = 10;
    autodj::cmdCalculate(*console, false);
    EXPECT_TRUE(console->ui.status.frmStatus.visible);
    console->ui.status.frmStatus.visible = false;  // closed by the operator
    autodj::cmdCalculate(*console, false);
    EXPECT_TRUE(console->ui.status.frmStatus.visible);
    autodj::populateAllowableRepeatTime(*console, true);
    EXPECT_FALSE(console->ui.status.frmStatus.visible);
}

TEST_F(LibraryTest, CalculateWithNoCategoriesDoesNothing) {
    open();
    autodj::cmdCalculate(*console, false);
    EXPECT_FALSE(console->ui.status.frmStatus.visible);
    EXPECT_EQ(
        core::readIni(*console, console->appSettingsPath(), "tarnWave", "lastAverageSong", "none"),
        "none");
}

// --- making and removing categories
// ---------------------------------------------------------------

TEST_F(LibraryTest, MakingACategoryThroughTheDialog) {
    addTrack("Rock", "r.mp3", "R", "x");
    open();
    prompter.queueAnswer("Jazz");
    ASSERT_TRUE(desk::press(*console, "cmdAddPlayList"));
    ASSERT_EQ(prompter.shown().size(), 1u);
    EXPECT_EQ(prompter.shown()[0].kind, "name");
    EXPECT_EQ(prompter.shown()[0].title, "Create Catagory");
    EXPECT_EQ(prompter.shown()[0].text,
              "Enter new Catagory List Below and Press Create Create Catagory");
    EXPECT_EQ(console->ui.dialog.frmDialog.tag, "playlist");
    EXPECT_FALSE(console->ui.dialog.frmDialog.visible);
    EXPECT_TRUE(std::filesystem::is_directory(dir / "Music/Jazz"));
    EXPECT_EQ(texts(console->form().lstPlaylists), (std::vector<std::string>{"Jazz", "Rock"}));
    EXPECT_EQ(console->library->repeatTime.size(), 3u);
}

TEST_F(LibraryTest, MakingACategoryWithAnEmptyUnchangedOrCancelledNameTakesNoEffect) {
    open();
    for (const char* answer : {"", "Enter Name Here", "<cancel>"}) {
        prompter.queueAnswer(answer);
        desk::press(*console, "cmdAddPlayList");
    }
    EXPECT_EQ(prompter.shown().size(), 3u);
    EXPECT_FALSE(std::filesystem::exists(dir / "Music"));
    EXPECT_TRUE(console->form().lstPlaylists.items.empty());
}

TEST_F(LibraryTest, MakingACategoryCreatesTheMusicFolderWhenMissing) {
    open();
    prompter.queueAnswer("First");
    desk::press(*console, "cmdAddPlayList");
    EXPECT_TRUE(std::filesystem::is_directory(dir / "Music/First"));
    EXPECT_EQ(texts(console->form().lstPlaylist1), (std::vector<std::string>{"First"}));
}

TEST_F(LibraryTest, DeletingACategoryAsksThenTrashesAndDropsItsRotationRows) {
    addTrack("Jazz", "j.mp3", "J", "x");
    addTrack("Rock", "r.mp3", "R", "x");
    open();
    addRotationRow("Rock");
    addRotationRow("Jazz");
    addRotationRow("Rock ");
    std::filesystem::create_directories(dir / "Rotations");
    console->activeListName = "Drive.rot";
    console->trackList.assign(17, {});  // as start-up allocates it
    const char* planned[] = {"Rock one", "Jazz one", "Rock two"};
    for (int i = 0; i < 3; ++i) {
        console->trackList.at(static_cast<std::size_t>(i)).trackName = planned[i];
        console->form().lstPlaylist.rows.push_back(core::GridRow{{"", planned[i], "00:03:00.0"}});
    }
    desk::select(*console, "lstPlaylists", 1);

    prompter.queueAnswer("cancel");
    desk::keyDown(*console, "lstPlaylists", "Delete");
    EXPECT_TRUE(trash.trashed.empty());
    EXPECT_EQ(rotationCategories().size(), 3u);
    EXPECT_TRUE(std::filesystem::is_directory(dir / "Deleted"));  // made before the question
    ASSERT_EQ(prompter.shown().size(), 1u);
    EXPECT_EQ(prompter.shown()[0].text,
              "Are you sure you want to DELETE this folder and all its contents?");

    prompter.queueAnswer("ok");
    desk::keyDown(*console, "lstPlaylists", "Delete");
    EXPECT_EQ(trash.trashed, (std::vector<std::string>{(dir / "Music/Rock").string()}));
    EXPECT_EQ(rotationCategories(), (std::vector<std::string>{"Jazz"}));
    EXPECT_EQ(console->form().lstPlaylists.listIndex, -1);  // lists rebuilt
    // The rows went with their running records, and the rotation was saved without them.
    ASSERT_EQ(console->form().lstPlaylist.rowCount(), 1);
    EXPECT_EQ(console->form().lstPlaylist.rows[0].cells[1], "Jazz one");
    EXPECT_EQ(console->trackList.at(0).trackName, "Jazz one");
    const std::string saved = test::readFile(dir / "Rotations" / "Drive.rot");
    EXPECT_EQ(saved.size(), 300u);
    EXPECT_EQ(saved.substr(0, 4), "Jazz");
}

// --- searching, dropping, the voice track category
// -------------------------------------------------

TEST_F(LibraryTest, SearchMarksEveryRowHoldingTheTextAndBringsTheFirstIntoView) {
    addTrack("Rock", "1.mp3", "A", "Love Me");
    addTrack("Rock", "2.mp3", "B", "Hate Me");
    addTrack("Rock", "3.mp3", "C", "Lovely");
    addTrack("Rock", "4.mp3", "D", "love lower");
    open();
    desk::select(*console, "lstPlaylists", 0);
    desk::type(*console, "txtSearch", "Love");
    desk::press(*console, "cmdSearch");
    const auto& items = console->form().lstSongs.items;
    ASSERT_EQ(items.size(), 4u);
    EXPECT_TRUE(items[0].selected);
    EXPECT_FALSE(items[1].selected);
    EXPECT_TRUE(items[2].selected);
    EXPECT_FALSE(items[3].selected);  // the plain compare minds the case
    EXPECT_EQ(console->form().lstSongs.listIndex, 0);
    desk::type(*console, "txtSearch", "Hate");
    desk::press(*console, "cmdSearch");
    EXPECT_FALSE(items[0].selected);
    EXPECT_TRUE(items[1].selected);
    EXPECT_EQ(console->form().lstSongs.listIndex, 1);
}

TEST_F(LibraryTest, EmptySearchOnlyRefreshesTheSongs) {
    addTrack("Rock", "1.mp3", "A", "Love Me");
    open();
    desk::select(*console, "lstPlaylists", 0);
    addTrack("Rock", "2.mp3", "B", "New");
    desk::type(*console, "txtSearch", "");
    desk::press(*console, "cmdSearch");
    EXPECT_EQ(console->form().lstSongs.listCount(), 2);
    EXPECT_FALSE(console->form().lstSongs.items[0].selected);
}

TEST_F(LibraryTest, DroppedFilesAreCopiedIntoTheSelectedCategory) {
    addTrack("Rock", "old.mp3", "A", "Old");
    open();
    desk::select(*console, "lstPlaylists", 0);
    writeFile(dir / "incoming/new.mp3", "new bytes");
    writeFile(dir / "incoming/old.mp3", "replacement");
    desk::dropFiles(*console, "fileList",
                    {(dir / "incoming/new.mp3").string(), (dir / "incoming/old.mp3").string()});
    EXPECT_EQ(texts(console->form().fileList), (std::vector<std::string>{"new.mp3", "old.mp3"}));
    EXPECT_EQ(readFile(dir / "Music/Rock/old.mp3"), "replacement");
    EXPECT_TRUE(std::filesystem::exists(dir / "incoming/new.mp3"));
}

TEST_F(LibraryTest, DropDoesNothingWhileAPickIsInProgress) {
    addTrack("Rock", "old.mp3", "A", "Old");
    open();
    desk::select(*console, "lstPlaylists", 0);
    writeFile(dir / "incoming/new.mp3", "new bytes");
    console->pickInProgress = true;
    desk::dropFiles(*console, "fileList", {(dir / "incoming/new.mp3").string()});
    EXPECT_FALSE(std::filesystem::exists(dir / "Music/Rock/new.mp3"));
}

TEST_F(LibraryTest, FailedDropIsLogged) {
    addTrack("Rock", "old.mp3", "A", "Old");
    open();
    desk::select(*console, "lstPlaylists", 0);
    desk::dropFiles(*console, "fileList", {(dir / "nowhere/none.mp3").string()});
    EXPECT_EQ(logTexts(), (std::vector<std::string>{"Error in file drop: Path/File access error"}));
}

TEST_F(LibraryTest, PickActivePlaylistBringsUpVoiceTracks) {
    addTrack("Rock", "r.mp3", "R", "x");
    addTrack("VoiceTracks", "v.mp3", "VoiceTrack", "Hello");
    open();
    autodj::pickActivePlaylist(*console);
    EXPECT_EQ(console->form().lstPlaylists.listIndex, 1);
    EXPECT_EQ(console->activeDirectory, "/Music/VoiceTracks/");
    EXPECT_EQ(texts(console->form().lstSongs), (std::vector<std::string>{"VoiceTrack - Hello"}));
}

}  // namespace
}  // namespace tw::test
