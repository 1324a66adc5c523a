// The console window's lists and grids scroll: the wheel moves the rows, a click takes the row
// under the pointer wherever the list shows from, a row the console selects (the search's first
// match) is brought into view, and another category's tracks show from their top.

#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QLineEdit>
#include <QTest>
#include <QWheelEvent>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "tests/testlib/temp_dir.h"
#include "tests/ui/element_geometry.h"
#include "tests/ui/no_audio_engine.h"
#include "tests/ui/qt_app.h"
#include "ui/element_fingerprint.h"
#include "ui/element_painter.h"
#include "ui/qt_station.h"

namespace tw::ui {
namespace {

namespace fs = std::filesystem;
using core::Element;

// A point of row `row` of a list or grid as it is painted now, or a null point when the row is
// not shown.
QPoint shownRow(const Element& e, int row) {
    for (int y = static_cast<int>(e.rect.top); y < e.rect.top + e.rect.height; ++y) {
        if (rowAt(e, y) == row) {
            return QPoint(static_cast<int>(e.rect.left + e.rect.width / 2), y + 3);
        }
    }
    return {};
}

class ListScrollTest : public ::testing::Test {
  protected:
    ListScrollTest()
        : station(std::make_unique<QtStation>(dir.str(), std::make_unique<test::NoAudioEngine>())) {
    }
    core::Console& c() { return station->console(); }
    SurfaceWidget& window() { return station->window(); }

    // A category of untagged tracks "Track 00 - Title" and on.
    void category(const std::string& name, int tracks) {
        fs::create_directories(dir / "Music" / name);
        for (int i = 0; i < tracks; ++i) {
            const std::string number = (i < 10 ? "0" : "") + std::to_string(i);
            std::ofstream(dir / "Music" / name / ("Track " + number + " - Title.mp3"))
                << std::string(2000, '\0');
        }
    }
    void showTrackList() {
        station->load();
        window().show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&window()));
        QTest::mouseClick(&window(), Qt::LeftButton, {}, centre(c().form().cmdTrackList));
    }
    // Notches of the wheel over a point: negative ones turn it towards the operator (down).
    void wheel(const QPoint& at, int notches) {
        QWheelEvent event(QPointF(at), window().mapToGlobal(QPointF(at)), QPoint(),
                          QPoint(0, notches * 120), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase,
                          false);
        QApplication::sendEvent(&window(), &event);
    }
    const Element& songs() { return c().form().lstSongs; }

    test::QtApp qt;
    test::TempDir dir;
    std::unique_ptr<QtStation> station;
};

TEST_F(ListScrollTest, TheWheelScrollsTheTrackListAndAClickTakesTheRowUnderThePointer) {
    category("Jazz", 80);
    showTrackList();
    ASSERT_EQ(songs().listCount(), 80);
    ASSERT_GT(80, rowsShown(songs())) << "the list must be longer than its box";
    ASSERT_FALSE(shownRow(songs(), 0).isNull());
    ASSERT_TRUE(shownRow(songs(), 70).isNull()) << "row 70 is below the box before scrolling";
    window().repaintChanges();
    const QImage before = window().grab().toImage();

    wheel(centre(songs()), -1);
    EXPECT_EQ(songs().topIndex, 3) << "three rows a notch";
    EXPECT_TRUE(shownRow(songs(), 0).isNull());
    window().repaintChanges();
    EXPECT_NE(window().grab().toImage(), before) << "the list is painted from its new top";

    const QPoint row5 = shownRow(songs(), 5);
    ASSERT_FALSE(row5.isNull());
    QTest::mouseClick(&window(), Qt::LeftButton, {}, row5);
    EXPECT_EQ(songs().listIndex, 5);
    // The name's halves as the list wrote them into the untagged file, blanks kept.
    EXPECT_EQ(c().form().txtSongName.text, " Title") << "the details are the clicked row's track";
    EXPECT_EQ(c().form().txtArtistName.text, "Track 05 ");
}

TEST_F(ListScrollTest, TheWheelStopsWithTheLastRowAtTheBottomAndTheFirstAtTheTop) {
    category("Jazz", 80);
    showTrackList();
    wheel(centre(songs()), 3);
    EXPECT_EQ(songs().topIndex, 0);
    wheel(centre(songs()), -100);
    EXPECT_EQ(songs().topIndex, 80 - rowsShown(songs()));
    const QPoint last = shownRow(songs(), 79);
    ASSERT_FALSE(last.isNull()) << "the last track can be reached";
    QTest::mouseClick(&window(), Qt::LeftButton, {}, last);
    EXPECT_EQ(songs().listIndex, 79);
    wheel(centre(songs()), 100);
    EXPECT_EQ(songs().topIndex, 0);
}

TEST_F(ListScrollTest, TheSearchBringsItsFirstMatchIntoView) {
    category("Jazz", 80);
    showTrackList();
    QTest::mouseClick(&window(), Qt::LeftButton, {}, centre(c().form().txtSearch));
    auto* editor = window().findChild<QLineEdit*>();
    ASSERT_NE(editor, nullptr);
    QTest::keyClicks(editor, "Track 63");
    QTest::keyClick(editor, Qt::Key_Return);
    ASSERT_EQ(songs().listIndex, 63);
    window().repaintChanges();
    const QPoint match = shownRow(songs(), 63);
    ASSERT_FALSE(match.isNull()) << "the match is shown";
    EXPECT_FALSE(shownRow(songs(), 62).isNull()) << "moved as little as it takes: at the bottom";
}

TEST_F(ListScrollTest, AnotherCategoryShowsItsTracksFromTheTop) {
    category("Blues", 12);
    category("Jazz", 80);
    showTrackList();
    const auto& lists = c().form().lstPlaylists;
    ASSERT_EQ(lists.listCount(), 2);
    QTest::mouseClick(&window(), Qt::LeftButton, {}, shownRow(lists, 1));
    ASSERT_EQ(songs().listCount(), 80);
    wheel(centre(songs()), -5);
    ASSERT_EQ(songs().topIndex, 15);
    QTest::mouseClick(&window(), Qt::LeftButton, {}, shownRow(lists, 0));
    ASSERT_EQ(songs().listCount(), 12);
    window().repaintChanges();
    EXPECT_EQ(songs().topIndex, 0);
    EXPECT_FALSE(shownRow(songs(), 0).isNull());
}

TEST(ListScrollPainterTest, AGridShowsAndHitsItsRowsFromItsTopRowWithinItsRows) {
    test::QtApp qt;
    Element grid("lstRotation", core::ElementKind::Grid);
    grid.rect = {10, 10, 300, 200};
    grid.columns = {"Category", "Track"};
    for (int i = 0; i < 50; ++i) {
        grid.rows.push_back({{"Rock", "Row " + std::to_string(i)}});
    }
    const int shown = rowsShown(grid);
    ASSERT_LT(shown, 50);
    EXPECT_EQ(rowAt(grid, shownRow(grid, 0).y()), 0);
    grid.topIndex = 10;
    EXPECT_EQ(topRow(grid), 10);
    EXPECT_TRUE(shownRow(grid, 9).isNull());
    EXPECT_FALSE(shownRow(grid, 10).isNull());
    grid.topIndex = 1000;
    EXPECT_EQ(topRow(grid), 50 - shown) << "never past the last row at the bottom";
    EXPECT_FALSE(shownRow(grid, 49).isNull());
    EXPECT_EQ(topShowing(grid, 0, 30), 30 - shown + 1);
    EXPECT_EQ(topShowing(grid, 20, 5), 5);
    EXPECT_EQ(topShowing(grid, 20, 25), 20) << "a row in view moves nothing";
}

TEST(ListScrollPainterTest, TheWindowsLookCountsTheRowsInViewAndOnlyTheNumberOfTheOthers) {
    test::QtApp qt;
    Element list("lstSongs", core::ElementKind::ListBox);
    list.rect = {10, 10, 300, 200};
    for (int i = 0; i < 1000; ++i) {
        list.items.push_back({"Track " + std::to_string(i), 0, {}, false});
    }
    const std::size_t before = shownFingerprint(list);
    const int shown = rowsShown(list);
    Element changed = list;
    changed.items[500].text = "Other";
    changed.items[600].selected = true;
    EXPECT_EQ(shownFingerprint(changed), before) << "nothing painted changed";
    EXPECT_NE(elementFingerprint(changed), elementFingerprint(list));
    changed.items[static_cast<std::size_t>(shown - 1)].text = "Other";
    EXPECT_NE(shownFingerprint(changed), before) << "the last row in view";
    changed = list;
    changed.items.pop_back();
    EXPECT_NE(shownFingerprint(changed), before) << "the thumb tells the number of rows";
    changed = list;
    changed.topIndex = 500;
    const std::size_t scrolled = shownFingerprint(changed);
    EXPECT_NE(scrolled, before);
    changed.items[500].text = "Other";
    EXPECT_NE(shownFingerprint(changed), scrolled) << "in view once scrolled to";
    changed = list;
    changed.listIndex = 999;
    EXPECT_NE(shownFingerprint(changed), before) << "the console's selection, to be followed";
}

}  // namespace
}  // namespace tw::ui
