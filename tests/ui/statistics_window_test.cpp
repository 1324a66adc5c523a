// The "Song Statistics" window on the offscreen platform: opened from the console's button, a
// category ticked by a click on its row, the report run by a press on Report and shown in the
// grid, scrolled with the wheel, and rendered to PNG at its design size and at 150 % with every
// element inside the window.

#include "ui/statistics_window.h"
#include "tests/ui/element_geometry.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QFontMetricsF>
#include <QImage>
#include <QTest>
#include <QWheelEvent>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "desk/actions.h"
#include "reporting/statistics.h"
#include "tests/tags/tag_test_util.h"
#include "tests/testlib/temp_dir.h"
#include "tests/testlib/test_paths.h"
#include "tests/ui/no_audio_engine.h"
#include "tests/ui/qt_app.h"
#include "ui/element_painter.h"
#include "ui/qt_station.h"

namespace tw::ui {
namespace {

using core::Element;
using Rows = std::vector<std::vector<std::string>>;

// What is wrong with the places of the form's shown elements in a window of this size: outside
// it, empty, or on top of one another. Empty when nothing is.
std::vector<std::string> layoutFaults(core::StatisticsForm& f, const QSize& size) {
    std::vector<const Element*> shown;
    for (const Element* e : f.all()) {
        if (e->kind != core::ElementKind::Form && e->visible) {
            shown.push_back(e);
        }
    }
    std::vector<std::string> faults;
    if (shown.size() != 3) {
        faults.push_back(std::to_string(shown.size()) + " elements shown");
    }
    const QRect window(QPoint(0, 0), size);
    for (std::size_t i = 0; i < shown.size(); ++i) {
        const QRect r = rectOf(*shown[i]);
        if (r.isEmpty()) {
            faults.push_back(shown[i]->name + " has no size");
        } else if (!window.contains(r)) {
            faults.push_back(shown[i]->name + " lies outside the window");
        }
        for (std::size_t j = i + 1; j < shown.size(); ++j) {
            if (r.intersects(rectOf(*shown[j]))) {
                faults.push_back(shown[i]->name + " overlaps " + shown[j]->name);
            }
        }
    }
    return faults;
}

class StatisticsWindowTest : public ::testing::Test {
  protected:
    StatisticsWindowTest() {
        track("Rock", "a.mp3", "Queen", "Bicycle");
        track("Rock", "b.mp3", "Toto", "Africa");
        track("Pop", "c.mp3", "Abba", "Waterloo");
        test::writeFile(dir / "played.ini",
                        "[Queen - Bicycle]\r\nPlayCount=4\r\nTunedOut=1\r\n"
                        "[Abba - Waterloo]\r\nPlayCount=2\r\nTunedOut=3\r\n");
        station = std::make_unique<QtStation>(dir.str(), std::make_unique<test::NoAudioEngine>());
    }
    void track(const std::string& category, const std::string& name, const std::string& artist,
               const std::string& title) {
        test::writeFile(dir / "Music" / category / name,
                        test::id3Tag(3, test::textFrame("TIT2", title, 3) +
                                            test::textFrame("TPE1", artist, 3)) +
                            test::mpegFrames(4));
    }
    core::Console& c() { return station->console(); }
    core::StatisticsForm& form() { return c().ui.statistics; }
    StatisticsWindow& window() { return station->statisticsWindow(); }

    void openStatistics() {
        station->load();
        station->window().show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&station->window()));
        ASSERT_FALSE(window().isVisible());
        ASSERT_TRUE(desk::press(c(), "cmdViewStatistics"));
        // The window notices the form on its own beat.
        ASSERT_TRUE(QTest::qWaitFor([this] { return window().isVisible(); }, 3000));
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&window()));
    }
    int categoryNamed(const std::string& text) {
        const auto& items = form().lstCatagories.items;
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (items[i].text == text) {
                return static_cast<int>(i);
            }
        }
        ADD_FAILURE() << text << " is not listed";
        return -1;
    }
    // The middle of a category's row, found by what the window says is there.
    QPoint categoryPoint(int row) {
        const Element& list = form().lstCatagories;
        const int x = static_cast<int>(list.rect.left + list.rect.width / 2);
        int top = -1;
        int bottom = -1;
        for (int y = static_cast<int>(list.rect.top); y < list.rect.top + list.rect.height; ++y) {
            if (window().categoryAt(QPointF(x, y)) == row) {
                top = top < 0 ? y : top;
                bottom = y;
            }
        }
        EXPECT_GE(top, 0) << "no row " << row << " in the list";
        return QPoint(x, (top + bottom) / 2);
    }
    // How many pixels high the window draws a category's row.
    int categoryRowHeight(int row) {
        const Element& list = form().lstCatagories;
        const int x = static_cast<int>(list.rect.left + list.rect.width / 2);
        int height = 0;
        for (int y = static_cast<int>(list.rect.top); y < list.rect.top + list.rect.height; ++y) {
            height += window().categoryAt(QPointF(x, y)) == row ? 1 : 0;
        }
        return height;
    }
    QPoint reportButtonPoint() { return rectOf(form().cmdRunReport).center(); }
    // A press on Report, then the events until the report's worker has ended and the window
    // has followed.
    void pressReport() {
        QTest::mouseClick(&window(), Qt::LeftButton, {}, reportButtonPoint());
        EXPECT_TRUE(QTest::qWaitFor([&] { return !reporting::reportRunning(c()); }, 10000));
        QCoreApplication::processEvents();
        window().follow();
    }
    Rows reportRows() {
        Rows rows;
        for (const auto& r : form().lstSongList.rows) {
            rows.push_back(r.cells);
        }
        return rows;
    }
    void wheel(const QPoint& at, int notches) {
        QWheelEvent event(at, window().mapToGlobal(at), QPoint(), QPoint(0, notches * 120),
                          Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(&window(), &event);
    }
    // The window as it is drawn now, saved to test-output/<name>.png and read back.
    QImage render(const std::string& name) {
        const std::filesystem::path folder =
            std::filesystem::path(test::binaryDir()) / "test-output";
        std::filesystem::create_directories(folder);
        const std::filesystem::path file = folder / (name + ".png");
        std::filesystem::remove(file);
        EXPECT_TRUE(window().grab().toImage().save(QString::fromStdString(file.string())));
        return QImage(QString::fromStdString(file.string()));
    }

    test::QtApp qt;
    test::TempDir dir;
    std::unique_ptr<QtStation> station;
};

TEST_F(StatisticsWindowTest, TheButtonOpensTheWindowTitledWithTheCategoriesAndClosingHidesIt) {
    openStatistics();
    EXPECT_EQ(window().windowTitle(), QString("Song Statistics"));
    ASSERT_EQ(form().lstCatagories.listCount(), 2);
    EXPECT_NE(window().categoryAt(categoryPoint(categoryNamed("Rock"))), -1);
    // Below the last category there is no row to click.
    const Element& list = form().lstCatagories;
    EXPECT_EQ(
        window().categoryAt(QPointF(list.rect.left + 20, list.rect.top + list.rect.height - 4)),
        -1);

    window().close();
    EXPECT_FALSE(form().frmStatistics.visible);
    EXPECT_FALSE(window().isVisible());
    QTest::qWait(250);
    EXPECT_FALSE(window().isVisible());
    ASSERT_TRUE(desk::press(c(), "cmdViewStatistics"));
    EXPECT_TRUE(QTest::qWaitFor([this] { return window().isVisible(); }, 3000));
}

TEST_F(StatisticsWindowTest, AClickOnACategoryRowTogglesItsTick) {
    openStatistics();
    const int rock = categoryNamed("Rock");
    const int pop = categoryNamed("Pop");
    const QImage before = window().grab().toImage();
    QTest::mouseClick(&window(), Qt::LeftButton, {}, categoryPoint(rock));
    EXPECT_TRUE(form().lstCatagories.items[static_cast<std::size_t>(rock)].selected);
    EXPECT_FALSE(form().lstCatagories.items[static_cast<std::size_t>(pop)].selected);
    const QImage ticked = window().grab().toImage();
    EXPECT_NE(ticked, before) << "the tick is drawn";
    // Only the list changed: the grid and the button look as before.
    EXPECT_EQ(ticked.copy(rectOf(form().lstSongList)), before.copy(rectOf(form().lstSongList)));
    // The tick is drawn in the box at the row's left end.
    const QPoint row = categoryPoint(rock);
    const int boxCentre = static_cast<int>(form().lstCatagories.rect.left) + 4 + 6;
    const QRect box(boxCentre - 3, row.y() - 3, 7, 7);
    EXPECT_NE(ticked.copy(box), before.copy(box));
    QTest::mouseClick(&window(), Qt::LeftButton, {}, row);
    EXPECT_FALSE(form().lstCatagories.items[static_cast<std::size_t>(rock)].selected);
    const QImage unticked = window().grab().toImage();
    EXPECT_EQ(unticked.copy(box), before.copy(box));
}

TEST_F(StatisticsWindowTest, APressOnReportFillsTheGridWithTheTickedCategory) {
    openStatistics();
    EXPECT_EQ(form().cmdRunReport.caption, "Report");
    // Nothing ticked: the report is empty and so is the grid.
    const QImage empty = window().grab().toImage();
    pressReport();
    EXPECT_TRUE(reportRows().empty());

    QTest::mouseClick(&window(), Qt::LeftButton, {}, categoryPoint(categoryNamed("Rock")));
    const QImage ticked = window().grab().toImage();
    pressReport();
    EXPECT_EQ(reportRows(), (Rows{{"Rock", "Toto - Africa", "0", "0", "0"},
                                  {"Rock", "Queen - Bicycle", "4", "1", "25"}}));
    EXPECT_EQ(form().cmdRunReport.caption, "Report");  // the progress is painted back
    const QImage reported = window().grab().toImage();
    const QRect grid = rectOf(form().lstSongList);
    EXPECT_NE(reported.copy(grid), ticked.copy(grid)) << "the rows are drawn";
    EXPECT_EQ(ticked.copy(grid), empty.copy(grid));

    // Pop as well: its track joins, the highest percentage last.
    QTest::mouseClick(&window(), Qt::LeftButton, {}, categoryPoint(categoryNamed("Pop")));
    pressReport();
    ASSERT_EQ(reportRows().size(), 3u);
    EXPECT_EQ(reportRows()[2],
              (std::vector<std::string>{"Pop", "Abba - Waterloo", "2", "3", "150"}));
    EXPECT_NE(window().grab().toImage().copy(grid), reported.copy(grid));
}

TEST_F(StatisticsWindowTest, TheWheelScrollsAReportLongerThanTheGrid) {
    openStatistics();
    Element& grid = form().lstSongList;
    for (int i = 0; i < 80; ++i) {
        grid.rows.push_back({{"Rock", "Track " + std::to_string(i), "1", "0", "0"}, false, false});
    }
    window().follow();
    const QImage top = window().grab().toImage();
    const QPoint inGrid = rectOf(grid).center();
    wheel(inGrid, 1);  // up at the top: nothing to show above
    EXPECT_EQ(window().firstReportRow(), 0);
    wheel(inGrid, -2);
    EXPECT_EQ(window().firstReportRow(), 6);
    EXPECT_NE(window().grab().toImage().copy(rectOf(grid)), top.copy(rectOf(grid)));
    // Never past the end: the last row stays in sight.
    wheel(inGrid, -100);
    const int last = window().firstReportRow();
    EXPECT_GT(last, 6);
    EXPECT_LT(last, 80);
    wheel(inGrid, -1);
    EXPECT_EQ(window().firstReportRow(), last);
    // A list shorter than its box does not scroll.
    const QRect list = rectOf(form().lstCatagories);
    const QImage listBefore = window().grab().toImage().copy(list);
    wheel(list.center(), -1);
    EXPECT_EQ(window().grab().toImage().copy(list), listBefore);
}

// The printed lines of the Report button as drawn at the design size that do not fit it.
std::vector<std::string> clippedCaptions(const Element& button) {
    std::vector<std::string> clipped;
    for (const core::PrintedText& t : button.drawing.texts) {
        const double width = QFontMetricsF(consoleFont(t.fontSize, t.bold))
                                 .horizontalAdvance(QString::fromStdString(t.text));
        if (t.x < 0 || t.x + width > button.rect.width || t.y < 0 ||
            t.y + QFontMetricsF(consoleFont(t.fontSize, t.bold)).height() > button.rect.height) {
            clipped.push_back(t.text);
        }
    }
    return clipped;
}

TEST_F(StatisticsWindowTest, RenderedAtTheDesignSizeAndAtOneAndAHalfTimesEverythingIsInside) {
    openStatistics();
    QTest::mouseClick(&window(), Qt::LeftButton, {}, categoryPoint(categoryNamed("Rock")));
    QTest::mouseClick(&window(), Qt::LeftButton, {}, categoryPoint(categoryNamed("Pop")));
    pressReport();
    ASSERT_EQ(reportRows().size(), 3u);

    const QSize design = StatisticsWindow::designSize();
    ASSERT_EQ(window().size(), design);
    for (const std::string& fault : layoutFaults(form(), design)) {
        ADD_FAILURE() << "at the design size: " << fault;
    }
    EXPECT_TRUE(clippedCaptions(form().cmdRunReport).empty());
    const QImage small = render("statistics-" + std::to_string(design.width()) + "x" +
                                std::to_string(design.height()));
    EXPECT_EQ(small.size(), design);

    const core::Rect gridAtDesign = form().lstSongList.rect;
    const int rowAtDesign = categoryRowHeight(0);
    const QSize large = design * 3 / 2;
    window().resize(large);
    ASSERT_EQ(window().size(), large);
    // The places follow the window, and the rows grow with their text.
    EXPECT_EQ(rectOf(form().frmStatistics).size(), large);
    EXPECT_DOUBLE_EQ(form().lstSongList.rect.left, gridAtDesign.left * 1.5);
    EXPECT_DOUBLE_EQ(form().lstSongList.rect.width, gridAtDesign.width * 1.5);
    EXPECT_DOUBLE_EQ(form().lstSongList.rect.height, gridAtDesign.height * 1.5);
    EXPECT_GE(categoryRowHeight(0), rowAtDesign * 4 / 3);
    for (const std::string& fault : layoutFaults(form(), large)) {
        ADD_FAILURE() << "at 150 %: " << fault;
    }
    const QImage big = render("statistics-" + std::to_string(large.width()) + "x" +
                              std::to_string(large.height()));
    EXPECT_EQ(big.size(), large);

    // The hands still find the rows where they are drawn now.
    QTest::mouseClick(&window(), Qt::LeftButton, {}, categoryPoint(categoryNamed("Rock")));
    EXPECT_FALSE(
        form().lstCatagories.items[static_cast<std::size_t>(categoryNamed("Rock"))].selected);
    pressReport();
    EXPECT_EQ(reportRows(), (Rows{{"Pop", "Abba - Waterloo", "2", "3", "150"}}));
}

TEST_F(StatisticsWindowTest, TheFaultCheckFindsAnElementOutsideAndOneOnAnother) {
    openStatistics();
    const QSize design = StatisticsWindow::designSize();
    ASSERT_TRUE(layoutFaults(form(), design).empty());
    form().cmdRunReport.rect.top += 100;
    EXPECT_EQ(layoutFaults(form(), design),
              (std::vector<std::string>{"cmdRunReport lies outside the window"}));
    form().cmdRunReport.rect.top = form().lstCatagories.rect.top;
    EXPECT_EQ(layoutFaults(form(), design),
              (std::vector<std::string>{"lstCatagories overlaps cmdRunReport"}));
}

}  // namespace
}  // namespace tw::ui
