// The "Rotation Scheduler" window on the offscreen platform: opened from the console's button,
// its week grid painted by presses, drags and items carried from its list, written to
// rotationSchedule.ini, and drawn green where a list is scheduled and red where none is.

#include "ui/schedule_window.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QMouseEvent>
#include <QTest>
#include <QToolTip>
#include <QWheelEvent>
#include <algorithm>
#include <filesystem>
#include <map>
#include <memory>
#include <sstream>
#include <string>

#include "autodj/schedule.h"
#include "desk/actions.h"
#include "tests/testlib/temp_dir.h"
#include "tests/ui/no_audio_engine.h"
#include "tests/ui/qt_app.h"
#include "ui/qt_station.h"

namespace tw::ui {
namespace {

namespace fs = std::filesystem;

// rotationSchedule.ini as it stands on the disk: "day/hour" -> list, non-empty values only.
std::map<std::string, std::string> scheduleFile(const fs::path& path) {
    std::map<std::string, std::string> cells;
    std::istringstream in(test::readFile(path));
    std::string line;
    std::string section;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (line.size() > 2 && line.front() == '[' && line.back() == ']') {
            section = line.substr(1, line.size() - 2);
        } else if (const auto eq = line.find('=');
                   eq != std::string::npos && eq + 1 < line.size()) {
            cells[section + "/" + line.substr(0, eq)] = line.substr(eq + 1);
        }
    }
    return cells;
}

// The middle of the cell of an hour and day, in window pixels.
QPoint cellPoint(int hour, int day) {
    const double half = autodj::kScheduleCellSize / 2.0;
    return ScheduleWindow::windowPoint(
               QPointF(autodj::scheduleCellLeft(hour) + half, autodj::scheduleCellTop(day) + half))
        .toPoint();
}

// A pixel of the cell's own colour: inside its top left corner, clear of its picture and text.
QPoint cellCornerPoint(int hour, int day) {
    return ScheduleWindow::windowPoint(
               QPointF(autodj::scheduleCellLeft(hour) + 3, autodj::scheduleCellTop(day) + 3))
        .toPoint();
}

class ScheduleWindowTest : public ::testing::Test {
  protected:
    ScheduleWindowTest() {
        test::writeFile(dir / "Rotations" / "Morning.rot", "");
        test::writeFile(dir / "Playlist" / "Evening.pls", "[playlist]\nNumberOfEntries=0\n");
        station = std::make_unique<QtStation>(dir.str(), std::make_unique<test::NoAudioEngine>());
    }
    core::Console& c() { return station->console(); }
    ScheduleWindow& schedule() { return station->scheduleWindow(); }
    std::map<std::string, std::string> cells() {
        return scheduleFile(dir / "rotationSchedule.ini");
    }

    void openSchedule() {
        station->load();
        station->window().show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&station->window()));
        ASSERT_FALSE(schedule().isVisible());
        ASSERT_TRUE(desk::press(c(), "cmdRotationSchedule"));
        // The window notices the form on its own beat.
        ASSERT_TRUE(QTest::qWaitFor([this] { return schedule().isVisible(); }, 3000));
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&schedule()));
    }
    // The middle of an item of the window's list, found by what the window says is there.
    QPoint itemPoint(int item) {
        const QRectF list = ScheduleWindow::listArea();
        for (int y = static_cast<int>(list.top()); y < list.bottom(); ++y) {
            const QPoint at(static_cast<int>(list.left() + list.width() / 2), y);
            if (schedule().itemAt(at) == item) {
                return at + QPoint(0, 6);
            }
        }
        ADD_FAILURE() << "no item " << item << " in the list";
        return {};
    }
    int itemNamed(const std::string& text) {
        const auto& items = c().ui.schedule.lstRotationOrList.items;
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (items[i].text == text) {
                return static_cast<int>(i);
            }
        }
        ADD_FAILURE() << text << " is not listed";
        return -1;
    }
    void moveTo(const QPoint& at, Qt::MouseButtons held) {
        QMouseEvent move(QEvent::MouseMove, at, schedule().mapToGlobal(at), Qt::NoButton, held,
                         Qt::NoModifier);
        QApplication::sendEvent(&schedule(), &move);
    }
    // A left-button drag through the points between, as a hand moves.
    void dragLeft(const QPoint& from, const QPoint& to, int steps = 12) {
        QTest::mousePress(&schedule(), Qt::LeftButton, {}, from);
        for (int i = 1; i <= steps; ++i) {
            moveTo(from + (to - from) * i / steps, Qt::LeftButton);
        }
        QTest::mouseRelease(&schedule(), Qt::LeftButton, {}, to);
    }

    test::QtApp qt;
    test::TempDir dir;
    std::unique_ptr<QtStation> station;
};

TEST_F(ScheduleWindowTest, TheButtonOpensTheWindowTitledWithBothListsAndTheWindowClosesIt) {
    openSchedule();
    EXPECT_EQ(schedule().windowTitle(), QString("Rotation Scheduler"));
    const auto& list = c().ui.schedule.lstRotationOrList;
    ASSERT_EQ(list.listCount(), 2);
    EXPECT_EQ(list.items[0].text, "Morning.rot");
    EXPECT_EQ(list.items[1].text, "Evening.pls");
    // The whole grid, 24 hours by 7 days, fits the window drawn one pixel per unit.
    const QPointF lastCorner(autodj::scheduleCellLeft(24) + autodj::kScheduleCellSize,
                             autodj::scheduleCellTop(7) + autodj::kScheduleCellSize);
    EXPECT_TRUE(schedule().rect().contains(ScheduleWindow::windowPoint(lastCorner).toPoint()));
    EXPECT_FALSE(ScheduleWindow::gridArea().intersects(ScheduleWindow::listArea()));

    schedule().close();
    EXPECT_FALSE(c().ui.schedule.frmSchedule.visible);
    EXPECT_FALSE(schedule().isVisible());
    // It stays closed on the beat, and the button shows it again.
    QTest::qWait(250);
    EXPECT_FALSE(schedule().isVisible());
    desk::press(c(), "cmdRotationSchedule");
    EXPECT_TRUE(QTest::qWaitFor([this] { return schedule().isVisible(); }, 3000));
}

TEST_F(ScheduleWindowTest, APressOnACellWritesTheChosenItemIntoIt) {
    openSchedule();
    // Nothing chosen: the grid has no eraser and a press writes nothing.
    QTest::mouseClick(&schedule(), Qt::LeftButton, {}, cellPoint(9, 3));
    EXPECT_TRUE(cells().empty());

    const int morning = itemNamed("Morning.rot");
    QTest::mouseClick(&schedule(), Qt::LeftButton, {}, itemPoint(morning));
    EXPECT_EQ(c().ui.schedule.lstRotationOrList.listIndex, morning);
    QTest::mouseClick(&schedule(), Qt::LeftButton, {}, cellPoint(9, 3));
    EXPECT_EQ(cells(), (std::map<std::string, std::string>{{"3/9", "Morning.rot"}}));
    EXPECT_EQ(autodj::scheduleValue(c(), 3, 9), "Morning.rot");

    // Left of the first cell is the margin of hour 0.
    const QPoint margin = ScheduleWindow::windowPoint(
                              QPointF(autodj::scheduleCellLeft(1) / 2, autodj::scheduleCellTop(5)))
                              .toPoint();
    QTest::mouseClick(&schedule(), Qt::LeftButton, {}, margin);
    EXPECT_EQ(cells()["5/0"], "Morning.rot");
}

TEST_F(ScheduleWindowTest, DraggingWithTheButtonHeldPaintsEveryCellItCrosses) {
    openSchedule();
    QTest::mouseClick(&schedule(), Qt::LeftButton, {}, itemPoint(itemNamed("Evening.pls")));
    dragLeft(cellPoint(3, 5), cellPoint(5, 5));
    EXPECT_EQ(cells(),
              (std::map<std::string, std::string>{
                  {"5/3", "Evening.pls"}, {"5/4", "Evening.pls"}, {"5/5", "Evening.pls"}}));

    // A quick hand: one move from the press to a cell four hours on paints the cells between.
    QTest::mousePress(&schedule(), Qt::LeftButton, {}, cellPoint(3, 6));
    moveTo(cellPoint(7, 6), Qt::LeftButton);
    QTest::mouseRelease(&schedule(), Qt::LeftButton, {}, cellPoint(7, 6));
    for (int hour = 3; hour <= 7; ++hour) {
        EXPECT_EQ(cells()["6/" + std::to_string(hour)], "Evening.pls") << hour;
    }
    EXPECT_EQ(cells().count("6/8"), 0u);
    ASSERT_EQ(cells().size(), 8u);

    // Passing over the grid with no button held only shows the cell's list as its tip.
    moveTo(cellPoint(8, 5), Qt::NoButton);
    moveTo(cellPoint(4, 5), Qt::NoButton);
    EXPECT_EQ(cells().size(), 8u);
    EXPECT_EQ(c().ui.schedule.pctSchedule.toolTip, "Evening.pls");
    EXPECT_EQ(QToolTip::text(), QString("Evening.pls"));
    moveTo(cellPoint(8, 5), Qt::NoButton);
    EXPECT_EQ(c().ui.schedule.pctSchedule.toolTip, "");
}

TEST_F(ScheduleWindowTest, AnItemCarriedFromTheListIsWrittenOnlyWhereItIsLetGo) {
    openSchedule();
    const int evening = itemNamed("Evening.pls");
    dragLeft(itemPoint(evening), cellPoint(12, 2));
    EXPECT_EQ(c().ui.schedule.lstRotationOrList.listIndex, evening) << "the press chose it";
    EXPECT_EQ(cells(), (std::map<std::string, std::string>{{"2/12", "Evening.pls"}}))
        << "the cells on the way stay as they were";

    // Let go outside the grid, it goes nowhere.
    dragLeft(itemPoint(itemNamed("Morning.rot")), itemPoint(evening));
    EXPECT_EQ(cells().size(), 1u);
}

TEST_F(ScheduleWindowTest, AScheduledCellIsGreenAndAnEmptyOneRed) {
    openSchedule();
    QTest::mouseClick(&schedule(), Qt::LeftButton, {}, itemPoint(itemNamed("Morning.rot")));
    QTest::mouseClick(&schedule(), Qt::LeftButton, {}, cellPoint(9, 3));
    const QImage shown = schedule().grab().toImage();
    EXPECT_EQ(shown.pixelColor(cellCornerPoint(9, 3)), QColor(0x50, 0x85, 0x00));
    EXPECT_EQ(shown.pixelColor(cellCornerPoint(10, 3)), QColor(0xFF, 0x00, 0x00));
    EXPECT_EQ(shown.pixelColor(cellCornerPoint(9, 4)), QColor(0xFF, 0x00, 0x00));
    // The rotation's picture and name are drawn over the green cell.
    const QRect cell(cellCornerPoint(9, 3), QSize(36, 36));
    int other = 0;
    for (int y = cell.top(); y <= cell.bottom(); ++y) {
        for (int x = cell.left(); x <= cell.right(); ++x) {
            other += shown.pixelColor(x, y) != QColor(0x50, 0x85, 0x00);
        }
    }
    EXPECT_GT(other, 20);
}

TEST_F(ScheduleWindowTest, AListLongerThanItsBoxScrollsWithTheWheel) {
    for (int i = 10; i < 40; ++i) {
        test::writeFile(dir / "Rotations" / ("R" + std::to_string(i) + ".rot"), "");
    }
    openSchedule();
    const auto& list = c().ui.schedule.lstRotationOrList;
    ASSERT_EQ(list.listCount(), 32);
    const QPoint top = itemPoint(0);
    const auto wheel = [&](int notches) {
        QWheelEvent event(top, schedule().mapToGlobal(top), QPoint(), QPoint(0, 120 * notches),
                          Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(&schedule(), &event);
    };
    wheel(-1);
    EXPECT_EQ(schedule().itemAt(top), 3) << "one notch down scrolls three items";
    QTest::mouseClick(&schedule(), Qt::LeftButton, {}, top);
    EXPECT_EQ(list.listIndex, 3);
    wheel(-20);
    int last = -1;
    const QRectF box = ScheduleWindow::listArea();
    for (int y = static_cast<int>(box.top()); y < box.bottom(); ++y) {
        last = std::max(last, schedule().itemAt(QPointF(box.center().x(), y)));
    }
    EXPECT_EQ(last, list.listCount() - 1) << "the last item shows at the bottom, no further";
    wheel(20);
    EXPECT_EQ(schedule().itemAt(top), 0);
}

}  // namespace
}  // namespace tw::ui
