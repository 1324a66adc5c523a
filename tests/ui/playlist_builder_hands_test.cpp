// The operator's hands on the Playlist Builder (offscreen): tracks carried from the builder's
// track list onto its grid, rows dragged within the grid, several rows chosen with Ctrl and
// removed together, and a playlist file dropped from the desktop.

#include <gtest/gtest.h>

#include <QApplication>
#include <QDropEvent>
#include <QMimeData>
#include <QMouseEvent>
#include <QTest>
#include <QUrl>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "autodj/library_state.h"
#include "tests/tags/tag_test_util.h"
#include "tests/testlib/temp_dir.h"
#include "tests/ui/element_geometry.h"
#include "tests/ui/no_audio_engine.h"
#include "tests/ui/qt_app.h"
#include "ui/element_painter.h"
#include "ui/qt_station.h"

namespace tw::ui {
namespace {

using core::Element;

// The middle of row `row` of a list or grid, in window pixels.
QPoint rowPoint(const Element& e, int row) {
    for (int y = static_cast<int>(e.rect.top); y < e.rect.top + e.rect.height; ++y) {
        if (rowAt(e, y) == row) {
            return QPoint(static_cast<int>(e.rect.left + e.rect.width / 2), y + 3);
        }
    }
    ADD_FAILURE() << "no row " << row << " painted on " << e.name;
    return {};
}

// A point of the grid below its last row.
QPoint belowTheRows(const Element& grid) {
    const QPoint at(static_cast<int>(grid.rect.left + grid.rect.width / 2),
                    static_cast<int>(grid.rect.top + grid.rect.height) - 8);
    EXPECT_EQ(rowAt(grid, at.y()), -1) << "the grid is full down to its bottom";
    return at;
}

class PlaylistBuilderHandsTest : public ::testing::Test {
  protected:
    PlaylistBuilderHandsTest() {
        a = track("a.mp3", "Queen", "Bicycle");
        b = track("b.mp3", "Toto", "Africa");
        station = std::make_unique<QtStation>(dir.str(), std::make_unique<test::NoAudioEngine>());
    }
    std::string track(const std::string& name, const std::string& artist,
                      const std::string& title) {
        const auto path = dir / "Music" / "Rock" / name;
        test::writeFile(path, test::id3Tag(3, test::textFrame("TIT2", title, 3) +
                                                  test::textFrame("TPE1", artist, 3)) +
                                  test::mpegFrames(4));
        return path.string();
    }
    core::Console& c() { return station->console(); }
    SurfaceWidget& window() { return station->window(); }
    Element& tracks() { return c().form().lstBuilderCatagoryList; }
    Element& grid() { return c().form().lstPlayListBuilder; }

    void openBuilder() {
        station->load();
        window().show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&window()));
        QTest::mouseClick(&window(), Qt::LeftButton, {}, centre(c().form().cmdPlaylistBuilder));
        ASSERT_TRUE(c().form().frmPlaylistBuilder.visible);
        QTest::mouseClick(&window(), Qt::LeftButton, {}, rowPoint(c().form().lstPlaylists, 0));
        ASSERT_EQ(tracks().listCount(), 2) << "the category's two tracks";
    }
    // The row of the builder's track list that holds the file.
    int trackRow(const std::string& path) {
        const auto& files = c().library->trackFiles;
        for (std::size_t i = 0; i < files.size(); ++i) {
            if (files[i] == path) {
                return static_cast<int>(i);
            }
        }
        ADD_FAILURE() << path << " is not listed";
        return -1;
    }
    std::string trackText(const std::string& path) {
        return tracks().items.at(static_cast<std::size_t>(trackRow(path))).text;
    }
    void dragLeft(const QPoint& from, const QPoint& to) {
        QTest::mousePress(&window(), Qt::LeftButton, {}, from);
        const int steps = 6;
        for (int i = 1; i <= steps; ++i) {
            const QPoint at = from + (to - from) * i / steps;
            QMouseEvent move(QEvent::MouseMove, at, window().mapToGlobal(at), Qt::NoButton,
                             Qt::LeftButton, Qt::NoModifier);
            QApplication::sendEvent(&window(), &move);
        }
        QTest::mouseRelease(&window(), Qt::LeftButton, {}, to);
    }
    void carry(const std::string& path, const QPoint& to) {
        dragLeft(rowPoint(tracks(), trackRow(path)), to);
    }
    std::vector<std::string> names() {
        std::vector<std::string> out;
        for (const auto& r : grid().rows) {
            out.push_back(r.cells.at(0));
        }
        return out;
    }
    std::vector<std::string> paths() {
        std::vector<std::string> out;
        for (int i = 0; i < grid().rowCount(); ++i) {
            out.push_back(c().builderList.at(static_cast<std::size_t>(i)).trackPath);
        }
        return out;
    }

    test::QtApp qt;
    test::TempDir dir;
    std::string a, b;
    std::unique_ptr<QtStation> station;
};

TEST_F(PlaylistBuilderHandsTest, ATrackLetGoBelowTheLastRowIsAppendedAndOnARowGoesInThere) {
    openBuilder();
    carry(a, belowTheRows(grid()));
    carry(b, belowTheRows(grid()));
    EXPECT_EQ(names(), (std::vector<std::string>{trackText(a), trackText(b)}));
    EXPECT_EQ(paths(), (std::vector<std::string>{a, b}));
    // Let go on the first row, it goes in at the first row.
    carry(b, rowPoint(grid(), 0));
    EXPECT_EQ(paths(), (std::vector<std::string>{b, a, b}));
    EXPECT_EQ(grid().rows.at(0).cells.at(0), trackText(b));
}

TEST_F(PlaylistBuilderHandsTest, ATrackCarriedOverTheGridMarksWhereItWouldLand) {
    openBuilder();
    carry(a, belowTheRows(grid()));
    carry(b, belowTheRows(grid()));
    // Over the second row, then below the rows, and let go on the track list: nothing lands.
    QTest::mousePress(&window(), Qt::LeftButton, {}, rowPoint(tracks(), trackRow(a)));
    for (const QPoint& at : {rowPoint(grid(), 1), belowTheRows(grid())}) {
        QMouseEvent move(QEvent::MouseMove, at, window().mapToGlobal(at), Qt::NoButton,
                         Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&window(), &move);
        if (at == rowPoint(grid(), 1)) {
            EXPECT_EQ(grid().row, 1);
            EXPECT_TRUE(grid().rows.at(1).selected);
        }
    }
    EXPECT_EQ(grid().row, grid().rowCount()) << "the mark stands at the end";
    QTest::mouseRelease(&window(), Qt::LeftButton, {}, rowPoint(tracks(), 0));
    EXPECT_EQ(grid().rowCount(), 2);
    // The mark past the last row paints no row.
    window().repaintChanges();
    const QImage image = window().grab().toImage();
    EXPECT_FALSE(image.isNull());
}

TEST_F(PlaylistBuilderHandsTest, ARowDraggedOntoAnotherChangesPlacesWithIt) {
    openBuilder();
    carry(a, belowTheRows(grid()));
    carry(b, belowTheRows(grid()));
    ASSERT_EQ(paths(), (std::vector<std::string>{a, b}));
    dragLeft(rowPoint(grid(), 0), rowPoint(grid(), 1));
    EXPECT_EQ(paths(), (std::vector<std::string>{b, a}));
    EXPECT_EQ(names(), (std::vector<std::string>{trackText(b), trackText(a)}));
    EXPECT_EQ(grid().row, 1) << "the dragged row stays chosen where it went";
}

TEST_F(PlaylistBuilderHandsTest, RowsChosenWithCtrlAreDeletedTogether) {
    openBuilder();
    carry(a, belowTheRows(grid()));
    carry(b, belowTheRows(grid()));
    carry(a, belowTheRows(grid()));
    ASSERT_EQ(paths(), (std::vector<std::string>{a, b, a}));
    QTest::mouseClick(&window(), Qt::LeftButton, {}, rowPoint(grid(), 0));
    QTest::mouseClick(&window(), Qt::LeftButton, Qt::ControlModifier, rowPoint(grid(), 2));
    // Ctrl on the middle row twice: in, then out again.
    QTest::mouseClick(&window(), Qt::LeftButton, Qt::ControlModifier, rowPoint(grid(), 1));
    EXPECT_TRUE(grid().rows.at(1).selected);
    QTest::mouseClick(&window(), Qt::LeftButton, Qt::ControlModifier, rowPoint(grid(), 1));
    EXPECT_TRUE(grid().rows.at(0).selected);
    EXPECT_FALSE(grid().rows.at(1).selected);
    EXPECT_TRUE(grid().rows.at(2).selected);
    EXPECT_NE(grid().row, 1);
    QTest::mouseClick(&window(), Qt::LeftButton, {}, centre(c().form().cmdDeleteItem));
    EXPECT_EQ(paths(), (std::vector<std::string>{b}));

    // Shift chooses the run from the chosen row to the clicked one.
    carry(a, belowTheRows(grid()));
    carry(a, belowTheRows(grid()));
    ASSERT_EQ(grid().rowCount(), 3);
    QTest::mouseClick(&window(), Qt::LeftButton, {}, rowPoint(grid(), 1));
    QTest::mouseClick(&window(), Qt::LeftButton, Qt::ShiftModifier, rowPoint(grid(), 2));
    QTest::mouseClick(&window(), Qt::LeftButton, {}, centre(c().form().cmdDeleteItem));
    EXPECT_EQ(paths(), (std::vector<std::string>{b}));
}

TEST_F(PlaylistBuilderHandsTest, APlaylistDroppedFromTheDesktopIsLoadedIntoTheGrid) {
    const auto playlist = dir / "incoming.pls";
    test::writeFile(playlist, "[playlist]\nFile1=" + b + "\nFile2=" + a + "\nNumberOfEntries=2\n");
    openBuilder();
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(QString::fromStdString(playlist.string()))});
    const QPointF at = centre(grid());
    QDragEnterEvent enter(at.toPoint(), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDragMoveEvent over(at.toPoint(), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window(), &over);
    EXPECT_TRUE(over.isAccepted());
    QDropEvent drop(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window(), &drop);
    EXPECT_TRUE(drop.isAccepted());
    EXPECT_EQ(paths(), (std::vector<std::string>{b, a}));
}

}  // namespace
}  // namespace tw::ui
