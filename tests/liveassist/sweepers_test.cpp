// Sweepers: the toggle, the button's choice (the selected one, or a random one that is never the
// last of the folder), the numbers in their tags, the sweeper list of the details panel, the
// default sweeper, and the folder's drops and deletes.

#include "liveassist/sweepers.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <ostream>
#include <set>

#include "core/console_ops.h"
#include "desk/actions.h"
#include "playout/position_monitor.h"
#include "tags/cue_data.h"
#include "tests/autodj/station_fixture.h"
#include "tests/tags/tag_test_util.h"

namespace tw::test {
namespace {

class SweepersTest : public StationFixture {
  protected:
    // A sweeper file numbered n in its tag (0: no tag at all).
    std::string addSweeper(const std::string& name, int number) {
        std::string bytes;
        if (number != 0) {
            bytes = id3Tag(3, textFrame("TOWN", "twSTag~" + std::to_string(number), 3));
        }
        bytes += mpegFrames(4);
        const auto path = dir / ("Sweepers/" + name);
        writeFile(path, bytes);
        return path.string();
    }

    core::Console& openWithSweepers() {
        open();
        auto& list = console->form().flSweepers;
        list.path = console->AppFolder + "/Sweepers";
        core::refreshFileList(list);
        return *console;
    }

    std::string sweeperPath(const std::string& name) const {
        return (dir / ("Sweepers/" + name)).string();
    }

    int streamsOpened(const std::string& name) const {
        return engine.count("streamCreateFile " + sweeperPath(name));
    }
};

TEST_F(SweepersTest, PlayOverTwiceWithOneSelectedFileStartsItThenStopsIt) {
    addSweeper("id.mp3", 1);
    engine.fileSeconds[sweeperPath("id.mp3")] = 5;
    openWithSweepers();
    console->mixerStream = engine.mixerStreamCreate(44100, 2, 0);
    desk::select(*console, "flSweepers", 0);
    desk::press(*console, "cmdPlayOver");
    const audio::Handle first = console->sweeperStream;
    ASSERT_NE(first, 0u);
    EXPECT_EQ(engine.count("mixerAddChannel " + std::to_string(console->mixerStream) + " " +
                           std::to_string(first) + " " + std::to_string(audio::kStreamAutoFree)),
              1);
    desk::press(*console, "cmdPlayOver");
    EXPECT_EQ(console->sweeperStream, 0u);
    EXPECT_EQ(engine.count("channelStop " + std::to_string(first)), 1);
    EXPECT_EQ(streamsOpened("id.mp3"), 1) << "the second press plays nothing";
}

TEST_F(SweepersTest, AnEmptySweeperFolderWithNoSelectionPlaysNothing) {
    openWithSweepers();
    desk::press(*console, "cmdPlayOver");
    EXPECT_EQ(console->sweeperStream, 0u);
    EXPECT_EQ(engine.count("streamCreateFile"), 0);
}

TEST_F(SweepersTest, TheRandomChoiceNeverTakesTheLastFileUnlessItIsAlone) {
    for (const char* name : {"a.mp3", "b.mp3", "c.mp3"}) {
        addSweeper(name, 0);
        engine.fileSeconds[sweeperPath(name)] = 0.5;
    }
    openWithSweepers();
    std::set<std::string> played;
    for (int i = 0; i < 60; ++i) {
        clock.advanceSeconds(0.37);
        const auto before = engine.calls.size();
        liveassist::cmdPlayOver_Click(*console);
        for (auto k = before; k < engine.calls.size(); ++k) {
            for (const char* name : {"a.mp3", "b.mp3", "c.mp3"}) {
                if (engine.calls[k].starts_with("streamCreateFile " + sweeperPath(name))) {
                    played.insert(name);
                }
            }
        }
        console->sweeperStream = 0;  // each one ended before the next press
    }
    EXPECT_EQ(played, (std::set<std::string>{"a.mp3", "b.mp3"}));
    // The track list now shows the sweepers, until a category is chosen again.
    EXPECT_EQ(console->form().fileList.path, console->AppFolder + "/Sweepers");
}

TEST_F(SweepersTest, TheRandomChoiceOfAFolderOfOneTakesIt) {
    addSweeper("only.mp3", 0);
    engine.fileSeconds[sweeperPath("only.mp3")] = 0.5;
    openWithSweepers();
    liveassist::cmdPlayOver_Click(*console);
    EXPECT_EQ(streamsOpened("only.mp3"), 1);
}

TEST_F(SweepersTest, ANumberThatNoFileHoldsGivesTheFirstFile) {
    addSweeper("a.mp3", 1);
    addSweeper("b.mp3", 2);
    openWithSweepers();
    EXPECT_EQ(liveassist::findSweeperIndex(*console, 7), 0);
    EXPECT_EQ(liveassist::findSweeperIndex(*console, 2), 1);
}

// The tick's own choice at the sweep start, through the console's tick calls: the track's number
// finds its file, a number that no file holds gives the first file of the list, and no number
// the default sweeper.
struct TickSweeper {
    const char* name;
    std::int32_t number;  // the track's sweeper number
    const char* fired;    // the file that sounds
};

void PrintTo(const TickSweeper& p, std::ostream* os) {
    *os << p.name;
}

class TickSweeperTest : public SweepersTest, public ::testing::WithParamInterface<TickSweeper> {};

TEST_P(TickSweeperTest, TheTickFiresTheFileOfTheTracksNumber) {
    // The first file of the list holds 2, so the first file and number 1 are not the same.
    addSweeper("a.mp3", 2);
    addSweeper("b.mp3", 1);
    addSweeper("c.mp3", 3);
    for (const char* name : {"a.mp3", "b.mp3", "c.mp3"}) {
        engine.fileSeconds[sweeperPath(name)] = 4;
    }
    auto& c = openWithSweepers();
    c.defaultSweeper = "c.mp3";
    c.mixerStream = engine.mixerStreamCreate(44100, 2, 0);
    c.player1Stream = engine.addStream(200);
    engine.setPositionSeconds(c.player1Stream, 6);
    c.activePlayer = 1;
    c.cueRecord1.sweeperAllowed = true;
    c.cueRecord1.sweepStart = 5;
    c.cueRecord1.sweeperIndex = GetParam().number;
    c.tmrCheckPositionBool = true;
    playout::tmrCheckPosition_Timer(c);
    EXPECT_TRUE(c.cueRecord1.sweepFired);
    for (const char* name : {"a.mp3", "b.mp3", "c.mp3"}) {
        EXPECT_EQ(streamsOpened(name), name == std::string(GetParam().fired) ? 1 : 0) << name;
    }
    EXPECT_NE(c.sweeperStream, 0u);
}

INSTANTIATE_TEST_SUITE_P(
    , TickSweeperTest,
    ::testing::Values(TickSweeper{"ANumberNoFileHoldsFiresTheFirstFile", 7, "a.mp3"},
                      TickSweeper{"ANumberFiresItsOwnFile", 1, "b.mp3"},
                      TickSweeper{"NoNumberFiresTheDefault", 0, "c.mp3"}),
    [](const ::testing::TestParamInfo<TickSweeper>& info) { return info.param.name; });

TEST_F(SweepersTest, TwoFilesWithTheSameNumberFindTheFirst) {
    addSweeper("a.mp3", 1);
    addSweeper("b.mp3", 3);
    addSweeper("c.mp3", 3);
    openWithSweepers();
    EXPECT_EQ(tags::findSweeperById(*console, 3), 1);
}

TEST_F(SweepersTest, TheNextFreeNumberFillsTheFirstGap) {
    addSweeper("a.mp3", 1);
    addSweeper("b.mp3", 3);
    addSweeper("c.mp3", 0);
    openWithSweepers();
    EXPECT_EQ(tags::nextFreeSweeperNumber(*console), 2);
}

TEST_F(SweepersTest, TheNumberIsReadOnlyFromTheSweeperKeywordExactly) {
    EXPECT_EQ(tags::sweeperNumberFromTag("twSTag~12"), 12);
    EXPECT_EQ(tags::sweeperNumberFromTag("twstag~12"), 0);
    EXPECT_EQ(tags::sweeperNumberFromTag("twTag~ 3~a~b~c~d~1~2~3~4"), 0);
    EXPECT_EQ(tags::sweeperNumberFromTag("twSTag~4.9xyz"), 5);
    EXPECT_EQ(tags::sweeperNumberFromTag(""), 0);
}

TEST_F(SweepersTest, TheSweeperListHasNoSweeperFirstAndDeletedForNumbersWithoutAFile) {
    addSweeper("a.mp3", 1);
    addSweeper("d.mp3", 4);
    openWithSweepers();
    tags::fillSweeperList(*console);
    std::vector<std::string> rows;
    for (const auto& item : console->form().cmboSweeperList.items) {
        rows.push_back(item.text);
    }
    EXPECT_EQ(rows,
              (std::vector<std::string>{"No Sweeper", "a.mp3", "Deleted", "Deleted", "d.mp3"}));
}

TEST_F(SweepersTest, ADroppedFileWithTheNameOfASweeperReplacesItAndIsNumberedAnew) {
    addSweeper("a.mp3", 1);
    addSweeper("b.mp3", 2);
    openWithSweepers();
    // The new a.mp3 carries the number of another station's folder; the list's files are read
    // as they are after the copy, so its own 2 and b's 2 are taken and it gets 1.
    const auto outside = dir / "outside";
    std::filesystem::create_directories(outside);
    writeFile(outside / "a.mp3", id3Tag(3, textFrame("TOWN", "twSTag~2", 3)) + mpegFrames(6));
    desk::dropFiles(*console, "flSweepers", {(outside / "a.mp3").string()});
    EXPECT_EQ(tags::getSweeperNumber(*console, sweeperPath("a.mp3")), 1);
    EXPECT_NE(readFile(sweeperPath("a.mp3")).find(mpegFrames(6)), std::string::npos)
        << "the dropped audio replaced the old";
    // A new name joins the list with the lowest free number.
    writeFile(outside / "new.mp3", mpegFrames(3));
    desk::dropFiles(*console, "flSweepers", {(outside / "new.mp3").string()});
    EXPECT_EQ(tags::getSweeperNumber(*console, sweeperPath("new.mp3")), 3);
    EXPECT_EQ(console->form().flSweepers.listCount(), 3);
}

TEST_F(SweepersTest, FilesDroppedTogetherTakeANumberEach) {
    addSweeper("a.mp3", 1);
    openWithSweepers();
    const auto outside = dir / "outside";
    std::filesystem::create_directories(outside);
    std::vector<std::string> dropped;
    for (const char* name : {"x.mp3", "y.mp3", "z.mp3"}) {
        writeFile(outside / name, mpegFrames(3));
        dropped.push_back((outside / name).string());
    }
    desk::dropFiles(*console, "flSweepers", dropped);
    EXPECT_EQ(tags::getSweeperNumber(*console, sweeperPath("x.mp3")), 2);
    EXPECT_EQ(tags::getSweeperNumber(*console, sweeperPath("y.mp3")), 3);
    EXPECT_EQ(tags::getSweeperNumber(*console, sweeperPath("z.mp3")), 4);
    EXPECT_EQ(console->form().flSweepers.listCount(), 4);
}

TEST_F(SweepersTest, AClickShowsTheNumberAndDeleteSendsTheFileToTheTrash) {
    addSweeper("a.mp3", 5);
    openWithSweepers();
    desk::select(*console, "flSweepers", 0);
    EXPECT_EQ(console->form().lblSweepId.caption, "5");
    desk::keyDown(*console, "flSweepers", "Delete");
    EXPECT_EQ(trash.trashed, (std::vector<std::string>{sweeperPath("a.mp3")}));
}

TEST_F(SweepersTest, TheDefaultSweeperIsSavedAndPaintedOnItsButton) {
    addSweeper("voice.mp3", 1);
    openWithSweepers();
    desk::select(*console, "flSweepers", 0);
    desk::press(*console, "cmdDefaultSweeper");
    EXPECT_EQ(console->defaultSweeper, "voice.mp3");
    EXPECT_EQ(core::readIni(*console, appSettingsFile(), "tarnWave", "DefaultSweeper", ""),
              "voice.mp3");
    console->defaultSweeper.clear();
    liveassist::readDefaultSweeper(*console);
    EXPECT_EQ(console->defaultSweeper, "voice.mp3");
}

TEST_F(SweepersTest, AFileThatCannotBeOpenedSoundsNothingAndSaysNothing) {
    openWithSweepers();
    console->mixerStream = engine.mixerStreamCreate(44100, 2, 0);
    liveassist::playSweeper(*console, console->AppFolder + "/Sweepers/");
    EXPECT_EQ(console->sweeperStream, 0u);
    EXPECT_TRUE(prompter.shown().empty());
}

}  // namespace
}  // namespace tw::test
