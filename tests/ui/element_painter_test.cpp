#include "ui/element_painter.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QPainter>

#include "core/console_ops.h"
#include "tests/ui/qt_app.h"

namespace tw::ui {
namespace {

using core::ImageRole;

class ElementPainterTest : public ::testing::Test {
  protected:
    ElementPainterTest() {
        for (core::Element* e : form.all()) {
            e->rect = {};
        }
        form.frmTarnDesk.rect = {0, 0, 200, 100};
    }

    QImage paint() {
        QImage image(200, 100, QImage::Format_RGB32);
        image.fill(Qt::magenta);
        QPainter p(&image);
        paintConsole(p, form);
        return image;
    }

    test::QtApp qt;
    core::MainForm form;
};

TEST_F(ElementPainterTest, PictureButtonIsPaintedInTheColourOfItsRole) {
    form.cmdSkipNow.rect = {10, 10, 80, 40};
    core::printOnButton(form.cmdSkipNow, ImageRole::Blue, "");
    form.cmdSearch.rect = {110, 10, 80, 40};
    core::printOnButton(form.cmdSearch, ImageRole::Red, "");
    const QImage image = paint();
    const QColor blue = image.pixelColor(50, 30);
    EXPECT_GT(blue.blue(), blue.red() + 40) << blue.name().toStdString();
    const QColor red = image.pixelColor(150, 30);
    EXPECT_GT(red.red(), red.blue() + 40) << red.name().toStdString();
}

TEST_F(ElementPainterTest, FormIsCoveredInItsBackColour) {
    form.frmTarnDesk.backColor = 0x00FF00;  // green in the console's colour order
    const QImage image = paint();
    EXPECT_EQ(image.pixelColor(0, 0), QColor(0, 255, 0));
    EXPECT_EQ(image.pixelColor(199, 99), QColor(0, 255, 0));
}

TEST_F(ElementPainterTest, ConsoleColourNumbersHaveBlueInTheHighByte) {
    form.lblListInfo.rect = {0, 0, 50, 50};
    form.lblListInfo.backColor = 0xFF0000;
    EXPECT_EQ(paint().pixelColor(25, 25), QColor(0, 0, 255));
}

TEST_F(ElementPainterTest, LevelFillRunsFromGreenToRedAndStopsAtItsWidth) {
    form.pctPlayer1.rect = {0, 0, 200, 20};
    form.pctPlayer1.backColor = 0xFFFFFF;
    form.pctPlayer1.drawing.fills.push_back({0, 0, 100, 20, ImageRole::GYR, 0});
    const QImage image = paint();
    const QColor left = image.pixelColor(3, 10);
    const QColor right = image.pixelColor(97, 10);
    EXPECT_GT(left.green(), left.red()) << left.name().toStdString();
    EXPECT_GT(right.red(), right.green()) << right.name().toStdString();
    EXPECT_EQ(image.pixelColor(150, 10), QColor(Qt::white));
}

TEST_F(ElementPainterTest, ColourFillOfAPictureIsDrawnAtItsPlaceInThePicture) {
    form.pctMarkers1.rect = {20, 20, 100, 20};
    form.pctMarkers1.drawing.fills.push_back({50, 0, 4, 20, ImageRole::None, 0x0000FF});
    const QImage image = paint();
    EXPECT_EQ(image.pixelColor(71, 30), QColor(255, 0, 0));
    EXPECT_NE(image.pixelColor(60, 30), QColor(255, 0, 0));
}

TEST_F(ElementPainterTest, ElementInAHiddenFrameIsNotPainted) {
    form.frmTrackList.rect = {0, 0, 200, 100};
    form.frmTrackList.visible = false;
    form.cmdArtistSongAlbum.rect = {10, 10, 80, 40};
    form.cmdArtistSongAlbum.container = "frmTrackList";
    core::printOnButton(form.cmdArtistSongAlbum, ImageRole::Red, "Artist Info");
    const QColor hidden = paint().pixelColor(50, 45);
    form.frmTrackList.visible = true;
    const QColor shown = paint().pixelColor(50, 45);
    EXPECT_NE(hidden, shown);
    EXPECT_GT(shown.red(), shown.blue() + 40) << shown.name().toStdString();
}

TEST_F(ElementPainterTest, NothingOfAButtonIsPaintedOutsideItsRect) {
    form.cmdSearch.rect = {60, 40, 40, 20};
    // The centring rule puts a long caption's start far left of the button.
    core::printOnButton(form.cmdSearch, ImageRole::Gray, "A caption far too long for the button");
    const QImage image = paint();
    const QColor back = image.pixelColor(0, 0);
    for (int y = 0; y < 100; ++y) {
        for (int x = 0; x < 200; ++x) {
            const bool inside = x >= 60 && x < 100 && y >= 40 && y < 60;
            if (!inside) {
                ASSERT_EQ(image.pixelColor(x, y), back) << x << "," << y;
            }
        }
    }
}

TEST_F(ElementPainterTest, RowsOfAListFollowEachOtherFromTheTop) {
    core::Element& list = form.lstPlaylists;
    list.rect = {0, 0, 100, 200};
    list.items = {{"Jazz", 1, "", false}, {"Rock", 1, "", false}, {"Soul", 1, "", false}};
    EXPECT_EQ(rowAt(list, 0), -1);  // the border
    EXPECT_EQ(rowAt(list, 2), 0);
    int last = 0;
    for (double y = 2; y < 200; y += 0.5) {
        const int row = rowAt(list, y);
        if (row == -1) {
            break;
        }
        ASSERT_TRUE(row == last || row == last + 1) << y;
        last = row;
    }
    EXPECT_EQ(last, 2);
    EXPECT_EQ(rowAt(list, 190), -1);  // below the last row
}

TEST_F(ElementPainterTest, HeaderOfAGridIsNoRow) {
    core::Element& grid = form.lstRotation;
    grid.rect = {0, 0, 100, 200};
    grid.columns = {"Sweeper", "Catagory"};
    grid.rows = {{{"", "Rock"}, false, false}};
    EXPECT_EQ(rowAt(grid, 3), -1);
    int y = 3;
    while (y < 200 && rowAt(grid, y) != 0) {
        ++y;
    }
    EXPECT_GT(y, 8) << "the first row starts under the header";
    EXPECT_LT(y, 60);
}

TEST_F(ElementPainterTest, TheRotationShowsEachRowsTickAsABoxInItsFirstColumn) {
    core::Element& grid = form.lstRotation;
    grid.rect = {0, 0, 200, 100};
    grid.columns = {"Sweeper", "Catagory"};
    grid.rows = {{{"", "Rock"}, false, false}, {{"", "Jazz"}, true, false}};
    ASSERT_TRUE(hasTickColumn(grid));
    EXPECT_FALSE(hasTickColumn(form.lstPlaylist));
    const QImage image = paint();
    int y0 = 0, y1 = 0;
    for (int y = 0; y < 100; ++y) {
        if (rowAt(grid, y) == 0 && y0 == 0) {
            y0 = y;
        }
        if (rowAt(grid, y) == 1 && y1 == 0) {
            y1 = y;
        }
    }
    ASSERT_GT(y1, y0);
    const int rowHeight = y1 - y0;
    // Pixels of a row's first 16 columns darker than the given lightness.
    auto darker = [&](int top, int lightness) {
        int n = 0;
        for (int y = top; y < top + rowHeight; ++y) {
            for (int x = 2; x < 16; ++x) {
                n += QColor(image.pixel(x, y)).lightness() < lightness;
            }
        }
        return n;
    };
    EXPECT_GT(darker(y1, 60), darker(y0, 60) + 5) << "the ticked row shows a tick";
    EXPECT_GT(darker(y0, 200), 10) << "the unticked row shows an empty box";
}

TEST_F(ElementPainterTest, ColumnOfAGridIsFoundAcrossIt) {
    core::Element& grid = form.lstPlaylist;
    grid.rect = {10, 0, 202, 100};
    grid.columns = {"Time On", "Track Name", "Length", "Re-Pick"};
    EXPECT_EQ(columnAt(grid, 5), -1);
    EXPECT_EQ(columnAt(grid, 12), 0);
    EXPECT_EQ(columnAt(grid, 62), 1);
    EXPECT_EQ(columnAt(grid, 210), 3);
    EXPECT_EQ(columnAt(grid, 212), -1);
    EXPECT_EQ(columnAt(form.lstPlaylists, 12), -1);
}

TEST_F(ElementPainterTest, AButtonPaintedAtAnOlderSizeIsStretchedToItsPresentOne) {
    core::Element& b = form.cmdSkipNow;
    b.rect = {10, 10, 100, 30};
    core::printOnButton(b, ImageRole::Blue, "NEXT");
    b.rect = {10, 10, 150, 45};  // grown since, not repainted
    const QImage image = paint();
    // The far corner is the role's blue, not the form.
    const QColor corner = image.pixelColor(10 + 150 - 3, 10 + 45 - 3);
    EXPECT_GT(corner.blue(), corner.red() + 40) << corner.name().toStdString();
    // The caption stays about the middle: its ink is centred within a few pixels.
    double sumX = 0, sumY = 0;
    int n = 0;
    for (int y = 10; y < 55; ++y) {
        for (int x = 10; x < 160; ++x) {
            if (image.pixelColor(x, y).lightness() < 90) {
                sumX += x;
                sumY += y;
                ++n;
            }
        }
    }
    ASSERT_GT(n, 20);
    EXPECT_NEAR(sumX / n, 10 + 75, 8);
    EXPECT_NEAR(sumY / n, 10 + 22.5, 8);
}

TEST_F(ElementPainterTest, AOneLineLabelsLongTextIsSetSmallerThenShortenedNeverWrapped) {
    const QFont font = consoleFont(8, false);
    const QString facts = "Tune Outs:0 | Play Count:12 | TuneOut Percentage:0% | Last Played:11/25";
    const double width = QFontMetricsF(font).horizontalAdvance(facts) * 0.8;
    const FittedLine smaller = fitOneLine(facts, font, width);
    EXPECT_EQ(smaller.text, facts) << "a fifth too long: set smaller, all of it";
    EXPECT_LT(smaller.font.pixelSize(), font.pixelSize());
    EXPECT_GE(smaller.font.pixelSize(), font.pixelSize() * 2 / 3);
    EXPECT_LE(QFontMetricsF(smaller.font).horizontalAdvance(smaller.text), width);

    const FittedLine shortened = fitOneLine(facts + facts, font, width);
    EXPECT_EQ(shortened.font.pixelSize(), font.pixelSize() * 2 / 3);
    EXPECT_TRUE(shortened.text.endsWith(QChar(0x2026))) << shortened.text.toStdString();
    EXPECT_LE(QFontMetricsF(shortened.font).horizontalAdvance(shortened.text), width);

    const FittedLine fits = fitOneLine("Tune Outs:0", font, width);
    EXPECT_EQ(fits.font.pixelSize(), font.pixelSize());
    EXPECT_EQ(fits.text, QString("Tune Outs:0"));
}

}  // namespace
}  // namespace tw::ui
