#include "autodj/schedule.h"

#include <gtest/gtest.h>

#include "autodj/rotation_file.h"
#include "autodj/rotations.h"
#include "core/console_ops.h"
#include "desk/actions.h"
#include "desk/playlist_actions.h"
#include "tests/autodj/station_fixture.h"

namespace tw::autodj {
namespace {

using test::readFile;
using test::writeFile;

class ScheduleTest : public test::StationFixture {
  protected:
    ScheduleTest() {
        a = addTrack("Rock", "a.mp3", "Queen", "Bicycle");
        b = addTrack("Rock", "b.mp3", "Toto", "Africa");
        engine.fileSeconds[a] = 200;
        engine.fileSeconds[b] = 65;
        writeFile(dir / "Rotations" / "Morning.rot", encodeRotationRecord("Rock", false));
        writeFile(dir / "Rotations" / "Evening.rot", encodeRotationRecord("Rock", true));
        writeFile(dir / "Rotations" / "Show.rot", encodeRotationRecord("Rock", false));
        writeFile(dir / "Playlist" / "Show.pls",
                  "[playlist]\nFile1=" + b + "\nNumberOfEntries=0\n");
        makeWithRecordedTick();
        open();
        auto& m = console->form();
        m.flRotations.path = dir.str() + "/Rotations";
        m.flRotations.pattern = "*.rot";
        m.flPlaylists.path = dir.str() + "/Playlist";
        m.flPlaylists.pattern = "*.pls";
        core::refreshFileList(m.flRotations);
        core::refreshFileList(m.flPlaylists);
        showRotationIcons(*console);
        m.chkEnableSchedule.value = 1;
    }
    core::Console& c() { return *console; }
    void at(int day, int hour, int minute) {
        // 2026-11-22 is a Sunday, day 1 of the schedule's week.
        clock.set(core::dateSerial(2026, 11, 21 + day) + core::timeSerial(hour, minute, 0));
    }
    void schedule(int day, int hour, const std::string& value) {
        core::writeIniValue(c(), c().schedulePath(), std::to_string(day), std::to_string(hour),
                            value);
    }
    std::string stored(int day, int hour) { return scheduleValue(c(), day, hour); }
    // Opens frmSchedule and selects an item of its list by name.
    void chooseForPainting(const std::string& name) {
        ASSERT_TRUE(desk::press(c(), "cmdRotationSchedule"));
        const auto& items = c().ui.schedule.lstRotationOrList.items;
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (items[i].text == name) {
                c().ui.schedule.lstRotationOrList.listIndex = static_cast<int>(i);
                return;
            }
        }
        FAIL() << name;
    }
    std::string a, b;
};

TEST_F(ScheduleTest, TheCurrentHoursCellSwitchesToItsRotationAtOnce) {
    at(2, 9, 0);
    schedule(2, 9, "Morning.rot");
    EXPECT_TRUE(checkRotationSchedule(c()));
    EXPECT_EQ(c().activeListName, "Morning.rot");
    EXPECT_EQ(c().listMode, 0);
    EXPECT_EQ(tick->count("startNExt"), 1);
    EXPECT_EQ(c().form().lstRotation.row, c().form().lstRotation.rowCount() - 1);
    EXPECT_EQ(c().form().chkEnableSchedule.value, 1);  // the schedule's own choice keeps it on
}

TEST_F(ScheduleTest, At0030TheValueForHourZeroIsReadWhichOnlyAPressLeftOfTheGridCanSet) {
    chooseForPainting("Evening.rot");
    // x ÷ 45 gives 0 left of the first drawn cell; row 4 is Wednesday.
    desk::schedulePress(c(), 20, scheduleCellTop(4) + 5);
    EXPECT_EQ(stored(4, 0), "Evening.rot");
    at(4, 0, 30);
    EXPECT_TRUE(checkRotationSchedule(c()));
    EXPECT_EQ(c().activeListName, "Evening.rot");
}

TEST_F(ScheduleTest, TheCellOfHour24IsPaintedAndStoredButNeverReadByTheCheck) {
    chooseForPainting("Evening.rot");
    desk::schedulePress(c(), scheduleCellLeft(24) + 5, scheduleCellTop(3) + 5);
    EXPECT_EQ(stored(3, 24), "Evening.rot");
    for (int hour = 0; hour < 24; ++hour) {
        at(3, hour, 59);
        EXPECT_FALSE(checkRotationSchedule(c())) << hour;
    }
    at(4, 0, 0);  // the hour after 23 is 0 of the next day
    EXPECT_FALSE(checkRotationSchedule(c()));
    EXPECT_EQ(tick->count("startNExt"), 0);
}

TEST_F(ScheduleTest, SundayIsSectionOneAndSaturdaySectionSeven) {
    schedule(1, 10, "Morning.rot");
    schedule(7, 10, "Evening.rot");
    at(1, 10, 5);
    ASSERT_TRUE(checkRotationSchedule(c()));
    EXPECT_EQ(c().activeListName, "Morning.rot");
    at(7, 10, 5);
    ASSERT_TRUE(checkRotationSchedule(c()));
    EXPECT_EQ(c().activeListName, "Evening.rot");
    EXPECT_NE(readFile(dir / "rotationSchedule.ini").find("[7]\n10=Evening.rot"),
              std::string::npos);
}

TEST_F(ScheduleTest, ForARotationAndAPlaylistOfOneNameTheExtensionDecides) {
    schedule(2, 11, "Show.pls");
    at(2, 11, 0);
    ASSERT_TRUE(checkRotationSchedule(c()));
    EXPECT_EQ(c().activeListName, "Show.pls");
    EXPECT_EQ(c().listMode, -1);
    schedule(2, 12, "Show.rot");
    at(2, 12, 0);
    ASSERT_TRUE(checkRotationSchedule(c()));
    EXPECT_EQ(c().activeListName, "Show.rot");
    EXPECT_EQ(c().listMode, 0);
}

TEST_F(ScheduleTest, AValueEqualToTheRunningListDoesNothingEvenAfterARestartByHand) {
    schedule(2, 9, "Morning.rot");
    at(2, 9, 0);
    ASSERT_TRUE(checkRotationSchedule(c()));
    // The operator picks the same rotation by hand (which clears the tick) and sets the tick again.
    const auto& items = c().form().lstRotationOrList.items;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (items[i].text == "Morning.rot") {
            desk::select(c(), "lstRotationOrList", static_cast<int>(i));
        }
    }
    EXPECT_EQ(c().form().chkEnableSchedule.value, 0);
    c().form().chkEnableSchedule.value = 1;
    const int starts = tick->count("startNExt");
    at(2, 9, 30);
    EXPECT_FALSE(checkRotationSchedule(c()));
    EXPECT_EQ(tick->count("startNExt"), starts);
}

TEST_F(ScheduleTest, UncheckingTheBoxStopsTheSwitchingAtOnceAndTheRunningListStays) {
    schedule(2, 9, "Morning.rot");
    schedule(2, 10, "Evening.rot");
    at(2, 9, 0);
    ASSERT_TRUE(checkRotationSchedule(c()));
    c().form().chkEnableSchedule.value = 0;
    at(2, 10, 0);
    EXPECT_FALSE(checkRotationSchedule(c()));
    EXPECT_EQ(c().activeListName, "Morning.rot");
    EXPECT_GT(c().form().lstPlaylist.rowCount(), 0);
}

TEST_F(ScheduleTest, AnEmptyCellLetsTheRunningListRunOn) {
    schedule(2, 9, "Morning.rot");
    at(2, 9, 0);
    ASSERT_TRUE(checkRotationSchedule(c()));
    at(2, 10, 0);
    EXPECT_FALSE(checkRotationSchedule(c()));
    EXPECT_EQ(c().activeListName, "Morning.rot");
}

TEST_F(ScheduleTest, AListThatIsNotThereIsPassedOverSilentlyAtEveryCheck) {
    schedule(2, 9, "Gone.rot");
    at(2, 9, 0);
    EXPECT_FALSE(checkRotationSchedule(c()));
    EXPECT_FALSE(checkRotationSchedule(c()));
    EXPECT_TRUE(logTexts().empty());
    EXPECT_EQ(c().activeListName, "");
}

TEST_F(ScheduleTest, AScheduledPlaylistThatCannotBeReadIsTriedOncePerHourWithOneMessage) {
    schedule(2, 9, "Morning.rot");
    at(2, 9, 0);
    ASSERT_TRUE(checkRotationSchedule(c()));
    c().activePlayer = 1;  // a track of it is on the air
    const int starts = tick->count("startNExt");
    writeFile(dir / "Playlist" / "Broken.pls", "this is no playlist\n");
    core::refreshFileList(c().form().flPlaylists);
    schedule(2, 10, "Broken.pls");
    schedule(2, 11, "Broken.pls");
    const auto attempts = [this] {
        int n = 0;
        for (const auto& line : logTexts()) {
            n += line.find("Broken.pls") != std::string::npos;
        }
        return n;
    };
    const auto shown = [this] {
        for (const auto& t : c().form().frmTarnDesk.drawing.texts) {
            if (t.text.find("Broken.pls could not be loaded") != std::string::npos) {
                return true;
            }
        }
        return false;
    };
    // Polls every six seconds through the hour: one attempt, one message, and the track on the
    // air is never cut.
    at(2, 10, 0);
    EXPECT_FALSE(checkRotationSchedule(c()));
    EXPECT_TRUE(shown());
    c().form().frmTarnDesk.drawing.clear();
    for (int second = 6; second < 3600; second += 6) {
        clock.set(core::dateSerial(2026, 11, 23) + core::timeSerial(10, 0, 0) + second / 86400.0);
        EXPECT_FALSE(checkRotationSchedule(c()));
    }
    EXPECT_EQ(tick->count("startNExt"), starts) << "the air was cut at the polls";
    EXPECT_FALSE(shown()) << "the message came again within the hour";
    EXPECT_EQ(attempts(), 1);
    EXPECT_EQ(c().activeListName, "Morning.rot");
    // The next hour tries once more.
    at(2, 11, 0);
    EXPECT_FALSE(checkRotationSchedule(c()));
    EXPECT_TRUE(shown());
    EXPECT_EQ(attempts(), 2);
    at(2, 11, 1);
    EXPECT_FALSE(checkRotationSchedule(c()));
    EXPECT_EQ(attempts(), 2);
    // A file put right is taken at the next poll, within the hour.
    writeFile(dir / "Playlist" / "Broken.pls", "[playlist]\nFile1=" + b + "\nNumberOfEntries=0\n");
    at(2, 11, 2);
    EXPECT_TRUE(checkRotationSchedule(c()));
    EXPECT_EQ(c().activeListName, "Broken.pls");
    EXPECT_EQ(tick->count("startNExt"), starts + 1);
}

TEST_F(ScheduleTest, WithoutTheFileTheScheduleIsEmpty) {
    at(2, 9, 0);
    EXPECT_FALSE(checkRotationSchedule(c()));
    EXPECT_FALSE(std::filesystem::exists(dir / "rotationSchedule.ini"));
}

TEST_F(ScheduleTest, ANewDayResetsTheThrottledYieldOnlyWhileTheScheduleIsOn) {
    at(2, 23, 59);
    checkRotationSchedule(c());
    c().lastYield = 86000;
    at(3, 0, 0);
    checkRotationSchedule(c());
    EXPECT_EQ(c().lastYield, 0);
    EXPECT_EQ(c().lastScheduleDay, 3);
    c().lastYield = 86000;
    c().form().chkEnableSchedule.value = 0;
    at(4, 0, 0);
    checkRotationSchedule(c());
    EXPECT_EQ(c().lastYield, 86000);
    EXPECT_EQ(c().lastScheduleDay, 3);
}

TEST_F(ScheduleTest, TheGridIsDrawnGreenWhereSetRedWhereNotWithNamesAndPictures) {
    schedule(3, 5, "Morning.rot");
    schedule(3, 6, "Show.pls");
    ASSERT_TRUE(desk::press(c(), "cmdRotationSchedule"));
    EXPECT_TRUE(c().ui.schedule.frmSchedule.visible);
    const auto& drawing = c().ui.schedule.pctSchedule.drawing;
    int green = 0, red = 0, rotationPictures = 0, playlistPictures = 0;
    for (const auto& f : drawing.fills) {
        green += f.image == core::ImageRole::None && f.color == 0x008550;
        red += f.image == core::ImageRole::None && f.color == 0x0000FF;
        rotationPictures += f.image == core::ImageRole::Rotation;
        playlistPictures += f.image == core::ImageRole::Playlist;
        if (f.image == core::ImageRole::Rotation) {
            EXPECT_EQ(f.x, 5 * 45);
            EXPECT_EQ(f.y, 2 * 57 + 10);
            EXPECT_EQ(f.width, 42);
        }
    }
    EXPECT_EQ(green, 2);
    EXPECT_EQ(red, 24 * 7 - 2);
    EXPECT_EQ(rotationPictures, 1);
    EXPECT_EQ(playlistPictures, 1);
    int numbers = 0;
    bool named = false;
    for (const auto& t : drawing.texts) {
        numbers += t.text == "7";
        named = named || (t.text == "Morning" && t.x == 5 * 45 && t.y == 2 * 57 + 10 + 22);
    }
    EXPECT_EQ(numbers, 6);  // the hour on every row but Sunday's
    EXPECT_TRUE(named);
    // Its own list: the rotations, then the playlists.
    const auto& items = c().ui.schedule.lstRotationOrList.items;
    ASSERT_EQ(items.size(), 4u);
    EXPECT_EQ(items.back().text, "Show.pls");
}

TEST_F(ScheduleTest, APressPaintsTheSelectedListAndADragPaintsEveryCellItCrosses) {
    chooseForPainting("Morning.rot");
    const double y = scheduleCellTop(5) + 20;
    desk::schedulePress(c(), scheduleCellLeft(8) + 1, y);
    for (int hour = 8; hour <= 11; ++hour) {
        desk::scheduleMove(c(), scheduleCellLeft(hour) + 10, y, true);
    }
    for (int hour = 8; hour <= 11; ++hour) {
        EXPECT_EQ(stored(5, hour), "Morning.rot") << hour;
    }
    EXPECT_EQ(stored(5, 12), "");
    // Moving without the button only shows the cell's value as the tip.
    desk::scheduleMove(c(), scheduleCellLeft(12) + 10, y, false);
    EXPECT_EQ(stored(5, 12), "");
    desk::scheduleMove(c(), scheduleCellLeft(9) + 10, y, false);
    EXPECT_EQ(c().ui.schedule.pctSchedule.toolTip, "Morning.rot");
}

TEST_F(ScheduleTest, ACellIsChangedOnlyByPaintingItOver) {
    chooseForPainting("Morning.rot");
    const double y = scheduleCellTop(2) + 20;
    desk::schedulePress(c(), scheduleCellLeft(3) + 1, y);
    c().ui.schedule.lstRotationOrList.listIndex = -1;
    desk::schedulePress(c(), scheduleCellLeft(3) + 1, y);  // no eraser: nothing selected, no change
    EXPECT_EQ(stored(2, 3), "Morning.rot");
    desk::scheduleDrop(c(), scheduleCellLeft(3) + 1, y, "Show.pls");
    EXPECT_EQ(stored(2, 3), "Show.pls");
}

TEST_F(ScheduleTest, ARemovedListLeavesItsCellsShowingItsName) {
    schedule(2, 9, "Evening.rot");
    std::filesystem::remove(dir / "Rotations" / "Evening.rot");
    desk::press(c(), "cmdRotationSchedule");
    bool named = false;
    for (const auto& t : c().ui.schedule.pctSchedule.drawing.texts) {
        named = named || t.text == "Evening";
    }
    EXPECT_TRUE(named);
}

TEST_F(ScheduleTest, APositionGivesItsCellByIntegerDivisionOfTheRoundedCoordinates) {
    EXPECT_EQ(scheduleCellAt(44.4, 9).hour, 0);
    EXPECT_EQ(scheduleCellAt(44.6, 9).hour, 1);
    EXPECT_EQ(scheduleCellAt(0, 56.6).day, 2);
    EXPECT_EQ(scheduleCellAt(0, 56.4).day, 1);
    EXPECT_EQ(scheduleCellLeft(9), 405);
    EXPECT_EQ(scheduleCellTop(7), 352);
}

}  // namespace
}  // namespace tw::autodj
