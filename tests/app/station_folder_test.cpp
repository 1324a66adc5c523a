// Where a program keeps its station, and the first words on a station it made by itself.

#include "app/station_folder.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "app/new_station_hint.h"
#include "station/startup.h"
#include "tests/testlib/console_fixture.h"
#include "tests/testlib/temp_dir.h"

namespace tw::app {
namespace {

namespace fs = std::filesystem;

class StationFolderTest : public ::testing::Test {
  protected:
    StationFolderTest() {
        fs::create_directories(program);
        places.programFolder = program.string();
        places.dataHome = (dir / "data").string();
        places.home = (dir / "home").string();
    }

    std::string dataStation() const { return (dir / "data/tarnwave/station").string(); }

    test::TempDir dir;
    fs::path program = dir / "build/app";
    StationPlaces places;
};

TEST_F(StationFolderTest, AWritableProgramFolderIsTheStationAsBefore) {
    const StationFolder s = chooseStationFolder(places);
    EXPECT_EQ(s.folder, program.string());
    EXPECT_EQ(s.source, StationSource::ProgramFolder);
}

TEST_F(StationFolderTest, TarnwaveHomeIsTheStationWhenNoneIsNamed) {
    places.environment = (dir / "radio").string();
    const StationFolder s = chooseStationFolder(places);
    EXPECT_EQ(s.folder, (dir / "radio").string());
    EXPECT_EQ(s.source, StationSource::Environment);
}

TEST_F(StationFolderTest, TheNamedFolderWinsOverTarnwaveHome) {
    places.environment = (dir / "radio").string();
    places.named = (dir / "other").string();
    const StationFolder s = chooseStationFolder(places);
    EXPECT_EQ(s.folder, (dir / "other").string());
    EXPECT_EQ(s.source, StationSource::Named);
}

TEST_F(StationFolderTest, AReadOnlyProgramFolderGivesTheDataFolderWhichIsMade) {
    fs::permissions(program, fs::perms::owner_read | fs::perms::owner_exec | fs::perms::group_read |
                                 fs::perms::group_exec | fs::perms::others_read |
                                 fs::perms::others_exec);
    const StationFolder s = chooseStationFolder(places);
    EXPECT_EQ(s.folder, dataStation());
    EXPECT_EQ(s.source, StationSource::DataFolder);
    EXPECT_FALSE(fs::exists(s.folder)) << "the choice makes nothing";
    ASSERT_TRUE(makeStationFolder(s));
    EXPECT_TRUE(fs::is_directory(dataStation()));
    EXPECT_TRUE(fs::is_empty(program)) << "nothing was written beside the program";
}

TEST_F(StationFolderTest, AnInstallsBinFolderGivesTheDataFolderAlthoughItCanBeWritten) {
    fs::create_directories(dir / "usr/bin");
    fs::create_directories(dir / "usr/share");
    places.programFolder = (dir / "usr/bin").string();
    ASSERT_TRUE(permitsWriting(dir / "usr/bin"));
    const StationFolder s = chooseStationFolder(places);
    EXPECT_EQ(s.folder, dataStation());
    EXPECT_EQ(s.source, StationSource::DataFolder);
}

TEST_F(StationFolderTest, ABinFolderWithNoShareBesideItIsNoInstall) {
    // A folder of the operator's own that happens to be called bin, the program copied into it.
    fs::create_directories(dir / "station/bin");
    places.programFolder = (dir / "station/bin").string();
    EXPECT_EQ(chooseStationFolder(places).folder, (dir / "station/bin").string());
}

TEST_F(StationFolderTest, AnUnsetOrRelativeDataHomeMeansTheHomesLocalShare) {
    fs::permissions(program,
                    fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write,
                    fs::perm_options::remove);
    const std::string inHome = (dir / "home/.local/share/tarnwave/station").string();
    places.dataHome = "";
    EXPECT_EQ(chooseStationFolder(places).folder, inHome);
    places.dataHome = "relative/data";
    EXPECT_EQ(chooseStationFolder(places).folder, inHome);
}

TEST_F(StationFolderTest, ARelativeNamedFolderIsMadeAbsoluteWithNoSeparatorAtItsEnd) {
    const test::ScopedSurroundings inside(dir.path(), "TW_UNUSED", "");
    places.named = "radio/./one/";
    const StationFolder s = chooseStationFolder(places);
    EXPECT_EQ(s.folder, (dir / "radio/one").string());
}

TEST_F(StationFolderTest, MakingTheFolderFailsWhenAFileIsInTheWay) {
    test::writeFile(dir / "radio", "not a folder");
    EXPECT_FALSE(makeStationFolder({(dir / "radio/one").string(), StationSource::Named}));
    EXPECT_FALSE(makeStationFolder({(dir / "radio").string(), StationSource::Named}));
}

TEST_F(StationFolderTest, WritingIsJudgedByThePermissionBitsForEveryUser) {
    const fs::path f = dir / "judged";
    fs::create_directories(f);
    EXPECT_TRUE(permitsWriting(f));
    fs::permissions(f, fs::perms::owner_write, fs::perm_options::remove);
    EXPECT_FALSE(permitsWriting(f)) << "also for the superuser, who could write anyway";
    test::writeFile(dir / "file", "x");
    EXPECT_FALSE(permitsWriting(dir / "file")) << "a file is no folder";
    EXPECT_FALSE(permitsWriting(dir / "missing"));
}

TEST_F(StationFolderTest, AFolderOfAnotherUserIsJudgedByItsBitsForOthers) {
    const fs::path f = dir / "theirs";
    fs::create_directories(f);
    // Given to an account that is neither this process's user nor in its groups.
    if (::chown(f.c_str(), 65534, 65534) != 0) {
        GTEST_SKIP() << "giving a folder to another user needs the superuser";
    }
    ::chmod(f.c_str(), 0775);
    EXPECT_FALSE(permitsWriting(f));
    ::chmod(f.c_str(), 0757);
    EXPECT_TRUE(permitsWriting(f));
}

// The hint on the message line, after the console's own start-up.
class NewStationHintTest : public test::ConsoleFixture {
  protected:
    std::string messageLine() {
        const auto& texts = console->ui.main.frmTarnDesk.drawing.texts;
        return texts.empty() ? std::string() : texts.back().text;
    }
};

TEST_F(NewStationHintTest, AStationMadeInTheDataFolderWithNoCategorySaysWhereItIsAndWhatToDo) {
    core::Console& c = make();
    station::Form_Load(c);
    const std::string shown = showNewStationHint(c, {dir.str(), StationSource::DataFolder});
    EXPECT_EQ(shown, newStationHint(dir.str()));
    EXPECT_EQ(messageLine(), shown);
    EXPECT_NE(shown.find(dir.str()), std::string::npos) << shown;
    EXPECT_NE(shown.find("MP3"), std::string::npos) << shown;
    EXPECT_NE(shown.find("--station"), std::string::npos) << shown;
}

TEST_F(NewStationHintTest, AStationWithACategoryHasNoHint) {
    fs::create_directories(dir / "Music/Rock");
    core::Console& c = make();
    station::Form_Load(c);
    EXPECT_EQ(showNewStationHint(c, {dir.str(), StationSource::DataFolder}), "");
    EXPECT_EQ(messageLine(), "");
}

TEST_F(NewStationHintTest, AStationChosenByTheOperatorHasNoHint) {
    core::Console& c = make();
    station::Form_Load(c);
    for (const StationSource source :
         {StationSource::Named, StationSource::Environment, StationSource::ProgramFolder}) {
        EXPECT_EQ(showNewStationHint(c, {dir.str(), source}), "");
    }
    EXPECT_EQ(messageLine(), "");
}

}  // namespace
}  // namespace tw::app
