// The "Rotation Scheduler" window on the offscreen platform: opened from the console's button,
// its week grid painted by presses, drags and items carried from its list, written to
// rotationSchedule.ini, drawn green where a list is scheduled and red where none is, and rendered
// to PNG at its size and at 150 % with every name inside its cell and its list.

#include "ui/schedule_window.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QFontMetricsF>
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
#include <vector>

#include "autodj/schedule.h"
#include "desk/actions.h"
#include "tests/testlib/temp_dir.h"
#include "tests/ui/no_audio_engine.h"
#include "tests/ui/qt_app.h"
#include "tests/ui/window_snapshot.h"
#include "ui/console_colors.h"
#include "ui/element_painter.h"
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

QRectF cellOf(int hour, int day) {
    return QRectF(autodj::scheduleCellLeft(hour), autodj::scheduleCellTop(day),
                  autodj::kScheduleCellSize, autodj::kScheduleCellSize);
}

// What lies outside where it belongs in a window of this size: the list or the grid outside the
// window or over each other, a cell of the grid outside it. Empty when nothing does.
std::vector<std::string> layoutFaults(const core::Element& grid, const QSize& size) {
    std::vector<std::string> faults;
    const QRectF window(QPointF(0, 0), size);
    const QRectF list = ScheduleWindow::listArea();
    const QRectF area = ScheduleWindow::gridArea();
    if (!window.contains(list)) {
        faults.push_back("the list lies outside the window");
    }
    if (!window.contains(area)) {
        faults.push_back("the grid lies outside the window");
    }
    if (list.intersects(area)) {
        faults.push_back("the list overlaps the grid");
    }
    // Clear of the grid's one-pixel border.
    const QRectF inside(1, 1, area.width() - 2, area.height() - 2);
    for (const core::Fill& f : grid.drawing.fills) {
        if (!inside.contains(QRectF(f.x, f.y, f.width, f.height))) {
            faults.push_back("a cell at " + std::to_string(static_cast<int>(f.x)) + ", " +
                             std::to_string(static_cast<int>(f.y)) + " lies outside the grid");
        }
    }
    return faults;
}

// The lines printed on the grid, and the day names beside it, that do not fit their place: an
// hour's number over its column and clear of every cell, a list's name within its cell's
// height (its width is the window's to fit), a day in the margin left of the first hour.
std::vector<std::string> clippedGridTexts(const core::Element& grid) {
    std::vector<std::string> clipped;
    for (const core::PrintedText& t : grid.drawing.texts) {
        const QFontMetricsF m(ui::consoleFont(t.fontSize, t.bold));
        const QRectF line(t.x, t.y, m.horizontalAdvance(QString::fromStdString(t.text)),
                          m.height());
        const autodj::ScheduleCell cell = autodj::scheduleCellAt(t.x, t.y + m.height() / 2);
        const QRectF own = cellOf(cell.hour, cell.day);
        bool fits = line.left() >= own.left() && line.top() >= 0;
        if (line.top() < own.top()) {
            // Above the cells of its row: the hour's number.
            fits = fits && line.right() <= own.right() && line.bottom() <= own.top();
            for (const core::Fill& f : grid.drawing.fills) {
                fits = fits && !line.intersects(QRectF(f.x, f.y, f.width, f.height));
            }
        } else {
            fits = fits && line.bottom() <= own.bottom();
        }
        if (!fits) {
            clipped.push_back(t.text);
        }
    }
    const QFontMetricsF m(ui::consoleFont(8, false));
    for (const char* day : {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"}) {
        if (4 + m.horizontalAdvance(day) > autodj::scheduleCellLeft(1) - 2) {
            clipped.push_back(day);
        }
    }
    return clipped;
}

// The names on the grid that run over the cell after their own (after the last hour, over the
// grid's margin and edge) in the window drawn at a scale: taken away, that cell looks otherwise.
std::vector<std::string> namesRunOver(ScheduleWindow& window, core::Element& grid, double scale) {
    std::vector<std::string> over;
    const QImage shown = test::snapshot(window, scale);
    for (std::size_t i = 0; i < grid.drawing.texts.size(); ++i) {
        const core::PrintedText t = grid.drawing.texts[i];
        const autodj::ScheduleCell cell = autodj::scheduleCellAt(t.x, t.y);
        const QRectF own = cellOf(cell.hour, cell.day);
        if (t.y < own.top() || t.y >= own.bottom()) {
            continue;  // an hour's number, between the rows
        }
        const QRectF after(ScheduleWindow::windowPoint(own.topRight()),
                           QSizeF(autodj::kScheduleCellSize + 3, own.height()));
        grid.drawing.texts.erase(grid.drawing.texts.begin() + static_cast<std::ptrdiff_t>(i));
        const QImage without = test::snapshot(window, scale);
        grid.drawing.texts.insert(grid.drawing.texts.begin() + static_cast<std::ptrdiff_t>(i), t);
        const QRect pixels(QRectF(after.topLeft() * scale, after.size() * scale).toAlignedRect());
        if (shown.copy(pixels) != without.copy(pixels)) {
            over.push_back(t.text + " of hour " + std::to_string(cell.hour) + " on day " +
                           std::to_string(cell.day));
        }
    }
    return over;
}

// A list's name as it fits the window's list: beside the item's picture, shortened with an
// ellipsis when it is wider than the room left.
std::string fittedToTheList(const std::string& name) {
    const double room = ScheduleWindow::listArea().width() - 2 - (16 + 8) - 2;
    return QFontMetricsF(ui::consoleFont(8, false))
        .elidedText(QString::fromStdString(name), Qt::ElideRight, room)
        .toStdString();
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

TEST_F(ScheduleWindowTest, RenderedAtTheDesignSizeAndAtOneAndAHalfTimesNothingIsClipped) {
    for (const char* name :
         {"Overnight.rot", "Weekend Classic Hits.rot", "Sunday Morning Acoustic Sessions.rot"}) {
        test::writeFile(dir / "Rotations" / name, "");
    }
    test::writeFile(dir / "Playlist" / "Saturday Night Dance Party.pls",
                    "[playlist]\nNumberOfEntries=0\n");
    openSchedule();
    const auto paint = [&](const std::string& item, int day, int from, int to) {
        QTest::mouseClick(&schedule(), Qt::LeftButton, {}, itemPoint(itemNamed(item)));
        dragLeft(cellPoint(from, day), cellPoint(to, day));
    };
    paint("Sunday Morning Acoustic Sessions.rot", 1, 7, 11);
    paint("Morning.rot", 2, 6, 10);
    paint("Evening.pls", 2, 18, 22);
    paint("Overnight.rot", 3, 1, 5);
    paint("Weekend Classic Hits.rot", 7, 8, 14);
    paint("Saturday Night Dance Party.pls", 7, 20, 24);
    schedule().follow();

    const QSize design = schedule().size();
    for (const std::string& fault : layoutFaults(c().ui.schedule.pctSchedule, design)) {
        ADD_FAILURE() << fault;
    }
    for (const std::string& text : clippedGridTexts(c().ui.schedule.pctSchedule)) {
        ADD_FAILURE() << "clipped: " << text;
    }
    // A name too long for the list is shown shortened to its width with an ellipsis, and one
    // that fits as it is: the list looks as it does with the names so shortened.
    auto& items = c().ui.schedule.lstRotationOrList.items;
    std::vector<std::string> names;
    int shortened = 0;
    for (core::ListItem& item : items) {
        names.push_back(item.text);
        item.text = fittedToTheList(item.text);
        shortened += item.text != names.back();
    }
    const QImage asFitted = test::snapshot(schedule(), 1);
    for (std::size_t i = 0; i < items.size(); ++i) {
        items[i].text = names[i];
    }
    EXPECT_GE(shortened, 1) << "a name is longer than the list is wide";
    const QRect list = ScheduleWindow::listArea().toRect();
    EXPECT_EQ(test::snapshot(schedule(), 1).copy(list), asFitted.copy(list));

    const QColor back = ui::consoleColor(c().ui.schedule.frmSchedule.backColor);
    for (const double scale : {1.0, 1.5}) {
        const QImage shown = test::snapshot(schedule(), scale);
        ASSERT_EQ(shown.size(), design * scale);
        EXPECT_EQ(test::inkOnTheEdge(shown, static_cast<int>(4 * scale), back), 0)
            << "at " << scale * 100 << " %";
        for (const std::string& name :
             namesRunOver(schedule(), c().ui.schedule.pctSchedule, scale)) {
            ADD_FAILURE() << "at " << scale * 100 << " %, over the next cell: " << name;
        }
        EXPECT_EQ(test::savePng(shown, "schedule").size(), design * scale);
    }
}

TEST_F(ScheduleWindowTest, TheChecksFindANameOverTheNextCellAndANumberOverItsOwn) {
    openSchedule();
    core::Element& grid = c().ui.schedule.pctSchedule;
    ASSERT_TRUE(layoutFaults(grid, schedule().size()).empty());
    ASSERT_TRUE(clippedGridTexts(grid).empty());
    // A line printed near the right edge of the cell of hour 3 on Monday, not from its left edge
    // as the console prints: it runs into the cell of hour 4.
    const double top = autodj::scheduleCellTop(2);
    grid.drawing.texts.push_back(
        {"Hits", autodj::scheduleCellLeft(3) + 30, top + 4, 0xFFFFFF, grid.fontSize, false});
    EXPECT_EQ(namesRunOver(schedule(), grid, 1.5),
              std::vector<std::string>{"Hits of hour 3 on day 2"});
    grid.drawing.texts.pop_back();
    // An hour's number low enough to stand on its cell.
    grid.drawing.texts.push_back(
        {"25", autodj::scheduleCellLeft(5), top - 6, 0, grid.fontSize, false});
    EXPECT_EQ(clippedGridTexts(grid), std::vector<std::string>{"25"});
    grid.drawing.texts.pop_back();
    grid.drawing.fills.push_back({1100, top, autodj::kScheduleCellSize, autodj::kScheduleCellSize,
                                  core::ImageRole::None, 0xFF});
    EXPECT_EQ(layoutFaults(grid, schedule().size()),
              std::vector<std::string>{"a cell at 1100, 67 lies outside the grid"});
}

}  // namespace
}  // namespace tw::ui
