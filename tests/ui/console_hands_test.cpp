// The operator's hands on the console window (offscreen): what the load shows, clicks on the
// transport buttons, a resize, drags between and within the lists, files dropped from the
// desktop and the Delete key.

#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QLineEdit>
#include <QMessageBox>
#include <QMimeData>
#include <QPushButton>
#include <QTest>
#include <QTimer>
#include <QUrl>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "audio/null_engine.h"
#include "core/console_ops.h"
#include "desk/console_layout.h"
#include "tests/testlib/temp_dir.h"
#include "tests/testlib/test_paths.h"
#include "tests/ui/element_geometry.h"
#include "tests/ui/no_audio_engine.h"
#include "tests/ui/qt_app.h"
#include "ui/element_painter.h"
#include "ui/qt_station.h"
#include "ui/visible_elements.h"

namespace tw::ui {
namespace {

namespace fs = std::filesystem;
using core::Element;
using core::ImageRole;

QRect area(const Element& e) {
    return QRect(static_cast<int>(e.rect.left), static_cast<int>(e.rect.top),
                 static_cast<int>(e.rect.width), static_cast<int>(e.rect.height));
}

int differingPixels(const QImage& a, const QImage& b, const QRect& r) {
    int n = 0;
    for (int y = r.top(); y <= r.bottom(); ++y) {
        for (int x = r.left(); x <= r.right(); ++x) {
            n += a.pixel(x, y) != b.pixel(x, y);
        }
    }
    return n;
}

// The middle of row `row` of a list or grid, in window pixels.
QPoint rowPoint(const Element& e, int row) {
    for (int y = static_cast<int>(e.rect.top); y < e.rect.top + e.rect.height; ++y) {
        if (rowAt(e, y) == row) {
            return QPoint(static_cast<int>(e.rect.left + e.rect.width) - 6, y + 3);
        }
    }
    ADD_FAILURE() << "no row " << row << " painted on " << e.name;
    return {};
}

class ConsoleHandsTest : public ::testing::Test {
  protected:
    ConsoleHandsTest()
        : station(std::make_unique<QtStation>(dir.str(), std::make_unique<test::NoAudioEngine>())) {
        window().setActionObserver([this](const std::string& action, const std::string& name) {
            actions.emplace_back(action, name);
        });
    }

    core::Console& c() { return station->console(); }
    SurfaceWidget& window() { return station->window(); }

    void loadAndShow() {
        station->load();
        window().show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&window()));
    }
    void categories(std::initializer_list<const char*> names) {
        for (const char* n : names) {
            fs::create_directories(dir / "Music" / n);
        }
    }
    QImage grab() {
        window().repaintChanges();
        return window().grab().toImage();
    }
    // A left-button drag from one point to another, through the points between.
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

    test::QtApp qt;
    test::TempDir dir;
    std::unique_ptr<QtStation> station;
    std::vector<std::pair<std::string, std::string>> actions;
};

TEST_F(ConsoleHandsTest, AfterLoadTheWindowShowsEveryCaptionOfTheCaptionPass) {
    loadAndShow();
    struct Expected {
        const char* name;
        ImageRole role;
        const char* caption;
        const char* caption2;
        int panel;  // the panel it stands in, 0 for none
    };
    const Expected table[] = {
        {"cmdOnAir", ImageRole::Gray, "OFF AIR", "", 0},
        {"cmdNewRotation", ImageRole::Gray, "New Rotation", "", 0},
        {"cmdRotationSchedule", ImageRole::Gray, "Schedule", "", 0},
        {"cmdArtistSongAlbum", ImageRole::Red, "Artist Info", "", 1},
        {"cmdMoreInfo", ImageRole::Gray, "More Info", "", 1},
        {"cmdAddPlayList", ImageRole::Plus, "", "", 3},
        {"cmdSearch", ImageRole::Gray, "Search", "", 1},
        {"cmdSkipNow", ImageRole::Blue, "NEXT", "", 0},
        {"cmdSettings", ImageRole::Settings, "Settings", "Broadcast", 0},
        {"cmdLoadPlaylist", ImageRole::Gray, "Load Playlist", "", 3},
        {"cmdSavePlaylist", ImageRole::Gray, "Save Playlist", "", 3},
        {"cmdPreviewSelected", ImageRole::Gray, "Preview", "", 0},
        {"cmdResetPlaylist", ImageRole::Gray, "Clear Playlist", "", 3},
        {"cmdDeleteItem", ImageRole::Gray, "Delete Selected", "", 3},
        {"cmdViewStatistics", ImageRole::Gray, "View Statistics", "", 0},
        {"cmdMic", ImageRole::Gray, "Off", "Microphone", 0},
    };
    for (const Expected& x : table) {
        Element& e = *c().form().find(x.name);
        EXPECT_EQ(e.image, x.role) << x.name;
        EXPECT_EQ(e.caption, x.caption) << x.name;
        EXPECT_EQ(e.caption2, x.caption2) << x.name;
        if (std::string(x.caption).empty()) {
            continue;
        }
        desk::showPanel(c(), x.panel == 0 ? 2 : x.panel);
        // On screen: the button with its printed lines differs from the same button without.
        const QImage shown = grab();
        const core::Drawing kept = e.drawing;
        e.drawing.texts.clear();
        const QImage bare = grab();
        e.drawing = kept;
        EXPECT_GT(differingPixels(shown, bare, area(e)), 20) << x.name << " shows no caption";
    }
    // And the player buttons, the waiting one gray, player 1 blue.
    EXPECT_EQ(c().form().lblplayer1.image, ImageRole::Blue);
    EXPECT_EQ(c().form().lblPlayer2.image, ImageRole::Gray);
}

TEST_F(ConsoleHandsTest, AClickOnNextReachesTheSkip) {
    loadAndShow();
    QTest::mouseClick(&window(), Qt::LeftButton, {}, centre(c().form().cmdSkipNow));
    ASSERT_FALSE(actions.empty());
    EXPECT_EQ(actions.front(), std::make_pair(std::string("press"), std::string("cmdSkipNow")));
    // A click beside it is not the skip.
    actions.clear();
    QTest::mouseClick(&window(), Qt::LeftButton, {},
                      QPoint(static_cast<int>(c().form().cmdSkipNow.rect.left) + 2,
                             static_cast<int>(c().form().cmdSkipNow.rect.top) - 4));
    for (const auto& a : actions) {
        EXPECT_NE(a.second, "cmdSkipNow");
    }
}

TEST_F(ConsoleHandsTest, TheModeButtonSwapsItsCaptionOnScreen) {
    loadAndShow();
    const Element& mode = c().form().cmdAutoManual;
    ASSERT_EQ(mode.caption, core::kAutomated);
    const QImage automated = grab();
    QTest::mouseClick(&window(), Qt::LeftButton, {}, centre(mode));
    EXPECT_EQ(mode.caption, core::kManual);
    EXPECT_FALSE(c().automated());
    const QImage manual = grab();
    EXPECT_GT(differingPixels(automated, manual, area(mode)), 20);
    QTest::mouseClick(&window(), Qt::LeftButton, {}, centre(mode));
    EXPECT_EQ(mode.caption, core::kAutomated);
}

TEST_F(ConsoleHandsTest, PausePaintsTheButton) {
    loadAndShow();
    c().activePlayer = 1;  // a player on the air: the press pauses rather than starts
    const Element& pause = c().form().cmdPausePlay1;
    const QImage playing = grab();
    const QColor before = playing.pixelColor(area(pause).topLeft() + QPoint(4, 4));
    QTest::mouseClick(&window(), Qt::LeftButton, {}, centre(pause));
    EXPECT_EQ(pause.backColor, 0x40u);
    const QColor paused = grab().pixelColor(area(pause).topLeft() + QPoint(4, 4));
    EXPECT_LT(paused.lightness(), 80) << "the paused colour is a dark red";
    EXPECT_NE(paused, before);
    QTest::mouseClick(&window(), Qt::LeftButton, {}, centre(pause));
    EXPECT_EQ(pause.backColor, 0u);
}

// The width of the dark writing on an element, in window pixels (0 when there is none).
int inkWidth(const QImage& image, const Element& e) {
    const QRect r = area(e).adjusted(2, 2, -2, -2);
    int first = -1, last = -1;
    for (int x = r.left(); x <= r.right(); ++x) {
        for (int y = r.top(); y <= r.bottom(); ++y) {
            if (QColor(image.pixel(x, y)).lightness() < 60) {
                first = first < 0 ? x : first;
                last = x;
                break;
            }
        }
    }
    return first < 0 ? 0 : last - first + 1;
}

TEST_F(ConsoleHandsTest, TheBoldCaptionsGrowWithTheWindow) {
    loadAndShow();
    const int design = inkWidth(grab(), c().form().cmdSkipNow);
    ASSERT_GT(design, 20) << "NEXT is written on the skip button";
    window().resize(1344, 962);
    const int big = inkWidth(grab(), c().form().cmdSkipNow);
    EXPECT_GT(big, design * 13 / 10);
    EXPECT_LT(big, design * 17 / 10);
    window().resize(896, 641);
    EXPECT_EQ(inkWidth(grab(), c().form().cmdSkipNow), design);
}

TEST_F(ConsoleHandsTest, AResizeScalesTheControlsAndOneBackAtTheDesignHeightShowsTheDesign) {
    loadAndShow();
    const core::Rect design = c().form().cmdSkipNow.rect;
    window().resize(800, 600);  // held at the design by the window's minimum
    EXPECT_DOUBLE_EQ(c().form().cmdSkipNow.rect.width, design.width);

    window().resize(1344, 962);
    const core::Rect big = c().form().cmdSkipNow.rect;
    EXPECT_DOUBLE_EQ(big.width, design.width * 1.5);
    EXPECT_DOUBLE_EQ(big.left, design.left * 1.5);
    // Drawn at its new place: a point of the larger button that was past the old one's corner.
    const QPoint inside(static_cast<int>(big.left + big.width) - 3,
                        static_cast<int>(big.top + big.height) - 3);
    ASSERT_GT(inside.x(), design.left + design.width);
    const QColor c1 = grab().pixelColor(inside);
    EXPECT_GT(c1.blue(), c1.red() + 40) << "the skip button's blue";

    window().resize(1000, 641);  // back at the design height: the design layout, not cut off
    EXPECT_DOUBLE_EQ(c().form().cmdSkipNow.rect.width, design.width);
    EXPECT_DOUBLE_EQ(c().form().cmdSkipNow.rect.left, design.left);
}

TEST_F(ConsoleHandsTest, ACategoryDraggedOntoTheRotationJoinsIt) {
    categories({"Jazz", "Rock", "Soul"});
    loadAndShow();
    const Element& cats = c().form().lstPlaylists;
    const Element& rotation = c().form().lstRotation;
    ASSERT_EQ(cats.listCount(), 3);
    const int rowsBefore = rotation.rowCount();
    const std::string category = cats.items[1].text;
    dragLeft(rowPoint(cats, 1), centre(rotation));
    ASSERT_EQ(rotation.rowCount(), rowsBefore + 1);
    EXPECT_EQ(rotation.rows.back().cells.at(1), category);
    EXPECT_EQ(actions.back().first, "release");

    // A press and release on the categories alone drops nothing.
    dragLeft(rowPoint(cats, 0), rowPoint(cats, 0));
    EXPECT_EQ(rotation.rowCount(), rowsBefore + 1);
}

TEST_F(ConsoleHandsTest, ARotationRowDraggedDownTravelsWithThePointer) {
    categories({"Jazz", "Rock", "Soul"});
    loadAndShow();
    const Element& cats = c().form().lstPlaylists;
    const Element& rotation = c().form().lstRotation;
    dragLeft(rowPoint(cats, 0), centre(rotation));
    dragLeft(rowPoint(cats, 2), centre(rotation));
    ASSERT_EQ(rotation.rowCount(), 2);
    const std::string first = rotation.rows[0].cells.at(1);
    const std::string second = rotation.rows[1].cells.at(1);
    dragLeft(rowPoint(rotation, 0), rowPoint(rotation, 1));
    EXPECT_EQ(rotation.rows[0].cells.at(1), second);
    EXPECT_EQ(rotation.rows[1].cells.at(1), first);
    EXPECT_EQ(rotation.row, 1);
}

TEST_F(ConsoleHandsTest, FilesDroppedOnTheSongListAreImportedByTheImportWithItsMessages) {
    categories({"Jazz", "Rock"});
    const fs::path outside = dir / "incoming.mp3";
    std::ofstream(outside) << "not really music";
    const fs::path notes = dir / "notes.txt";
    std::ofstream(notes) << "a text";
    loadAndShow();
    desk::showPanel(c(), 1);
    const Element& cats = c().form().lstPlaylists;
    QTest::mouseClick(&window(), Qt::LeftButton, {}, rowPoint(cats, 0));
    ASSERT_EQ(cats.listIndex, 0);
    const std::string category = cats.items[0].text;

    QStringList asked;
    QTimer answer;  // the import's message for the text file, answered as the operator would
    answer.setInterval(10);
    QObject::connect(&answer, &QTimer::timeout, [&] {
        if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            asked << box->text();
            box->button(QMessageBox::Ok)->click();
        }
    });
    answer.start();
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(QString::fromStdString(notes.string())),
                  QUrl::fromLocalFile(QString::fromStdString(outside.string()))});
    const QPointF at = centre(c().form().lstSongs);
    QDragEnterEvent enter(at.toPoint(), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(at, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window(), &drop);
    EXPECT_TRUE(drop.isAccepted());
    EXPECT_TRUE(c().ui.status.frmStatus.visible) << "the batch shows its progress";
    // The copies are made by the import's worker; the list shows the new track when it is done.
    const auto listed = [&] {
        for (const auto& item : c().form().lstSongs.items) {
            if (item.text == "incoming") {
                return true;
            }
        }
        return false;
    };
    ASSERT_TRUE(QTest::qWaitFor(listed, 5000));
    EXPECT_TRUE(fs::exists(dir / "Music" / category / "incoming.mp3"));
    EXPECT_FALSE(fs::exists(dir / "Music" / category / "notes.txt"));
    ASSERT_EQ(asked.size(), 1);
    EXPECT_EQ(asked[0].toStdString(),
              notes.string() + " Cannot be Imported,TarnWave only accepts .mp3 Files");
    answer.stop();

    // Dropped on the clock, nothing is taken.
    fs::remove(dir / "Music" / category / "incoming.mp3");
    QDropEvent elsewhere(QPointF(centre(c().form().lblDateTime)), Qt::CopyAction, &data,
                         Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window(), &elsewhere);
    EXPECT_FALSE(elsewhere.isAccepted());
    EXPECT_FALSE(fs::exists(dir / "Music" / category / "incoming.mp3"));
}

TEST_F(ConsoleHandsTest, TypingInTheSearchBoxShowsTheTextAndReturnMarksTheMatches) {
    categories({"Jazz"});
    for (const char* name : {"Alpha - One.mp3", "Beta - Two.mp3", "Alpha - Three.mp3"}) {
        std::ofstream(dir / "Music/Jazz" / name) << std::string(2000, '\0');
    }
    loadAndShow();
    QTest::mouseClick(&window(), Qt::LeftButton, {}, centre(c().form().cmdTrackList));
    const Element& songs = c().form().lstSongs;
    ASSERT_EQ(songs.listCount(), 3) << "the first category is shown at once";
    const Element& box = c().form().txtSearch;
    ASSERT_EQ(box.text, "Type Search Here");
    QTest::mouseClick(&window(), Qt::LeftButton, {}, centre(box));
    auto* editor = window().findChild<QLineEdit*>();
    ASSERT_NE(editor, nullptr);
    ASSERT_TRUE(editor->isVisible());
    QTest::keyClicks(editor, "Alpha");
    EXPECT_EQ(box.text, "Alpha") << "typing replaces the hint and reaches the console at once";
    EXPECT_EQ(editor->text(), QString("Alpha"));
    QTest::keyClick(editor, Qt::Key_Return);
    int marked = 0;
    for (const auto& item : songs.items) {
        marked += item.selected && item.text.starts_with("Alpha");
        EXPECT_EQ(item.selected, item.text.starts_with("Alpha")) << item.text;
    }
    EXPECT_EQ(marked, 2);
    // A click elsewhere closes the editor; the box keeps and paints the text.
    QTest::mouseClick(&window(), Qt::LeftButton, {}, centre(c().form().lblDateTime));
    EXPECT_FALSE(editor->isVisible());
    EXPECT_EQ(box.text, "Alpha");
}

TEST_F(ConsoleHandsTest, TheDeleteKeyOnTheCategoriesAsksAndDeletesTheCategory) {
    categories({"Jazz", "Rock"});
    loadAndShow();
    const Element& cats = c().form().lstPlaylists;
    QTest::mouseClick(&window(), Qt::LeftButton, {}, rowPoint(cats, 1));
    const std::string category = cats.items[1].text;
    QString asked;
    QTimer answer;
    answer.setInterval(10);
    QObject::connect(&answer, &QTimer::timeout, [&] {
        if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            answer.stop();
            asked = box->text();
            box->button(QMessageBox::Ok)->click();
        }
    });
    answer.start();
    QTest::keyClick(&window(), Qt::Key_Delete);
    EXPECT_FALSE(asked.isEmpty()) << "no confirmation was asked";
    EXPECT_FALSE(fs::exists(dir / "Music" / category));
    // In the trash of the test's own home, never in the user's.
    EXPECT_TRUE(fs::is_directory(qt.home().trash() / "files" / category));
    EXPECT_EQ(actions.back(), std::make_pair(std::string("key"), std::string("lstPlaylists")));
}

TEST_F(ConsoleHandsTest, TheDeleteKeyAfterAClickElsewhereDeletesNothing) {
    categories({"Jazz", "Rock"});
    loadAndShow();
    const Element& cats = c().form().lstPlaylists;
    QTest::mouseClick(&window(), Qt::LeftButton, {}, rowPoint(cats, 1));
    QTest::mouseClick(&window(), Qt::LeftButton, {}, centre(c().form().cmdMute));
    actions.clear();
    bool asked = false;
    QTimer refuse;  // a confirmation, if one came, is refused so the test ends
    refuse.setInterval(10);
    QObject::connect(&refuse, &QTimer::timeout, [&] {
        if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
            asked = true;
            box->reject();
        }
    });
    refuse.start();
    QTest::keyClick(&window(), Qt::Key_Delete);
    EXPECT_FALSE(asked);
    EXPECT_TRUE(actions.empty());
    EXPECT_TRUE(fs::exists(dir / "Music" / cats.items[1].text));
}

TEST_F(ConsoleHandsTest, AClickOnARotationRowsTickBoxTicksItsSweeper) {
    categories({"Jazz", "Rock"});
    loadAndShow();
    const Element& rotation = c().form().lstRotation;
    dragLeft(rowPoint(c().form().lstPlaylists, 0), centre(rotation));
    ASSERT_EQ(rotation.rowCount(), 1);
    const bool before = rotation.rows[0].checked;
    const QPoint row = rowPoint(rotation, 0);
    const QPoint tick(static_cast<int>(rotation.rect.left) + 6, row.y());
    ASSERT_EQ(columnAt(rotation, tick.x()), 0);
    QTest::mouseClick(&window(), Qt::LeftButton, {}, tick);
    EXPECT_NE(rotation.rows[0].checked, before);
    // A click on the category's own column only selects the row.
    QTest::mouseClick(&window(), Qt::LeftButton, {}, row);
    EXPECT_NE(rotation.rows[0].checked, before);
    EXPECT_EQ(rotation.row, 0);
}

TEST_F(ConsoleHandsTest, HelpOpensTheHelpPageInTheBrowser) {
    loadAndShow();
    std::vector<QUrl> opened;
    window().setUrlOpener([&](const QUrl& url) { opened.push_back(url); });
    QTest::mouseClick(&window(), Qt::LeftButton, {}, centre(c().form().cmdHelp));
    ASSERT_EQ(opened.size(), 1u);
    EXPECT_EQ(opened[0], SurfaceWidget::helpPage());
    ASSERT_TRUE(opened[0].isLocalFile());
    const std::string page = opened[0].toLocalFile().toStdString();
    EXPECT_TRUE(fs::is_regular_file(page));
    // The page is the program's own, not a file of the source tree.
    EXPECT_EQ(page.find(test::sourceDir()), std::string::npos) << page;
    // It is written to the cache of the test's own home, never to the user's.
    EXPECT_EQ(page.rfind(qt.home().home().string() + "/.cache/", 0), 0u) << page;
    EXPECT_NE(test::readFile(page).find("<html"), std::string::npos);
    // Other buttons open nothing.
    QTest::mouseClick(&window(), Qt::LeftButton, {}, centre(c().form().cmdMute));
    EXPECT_EQ(opened.size(), 1u);
}

// Pixels of r whose colour is close to the given one.
int pixelsNear(const QImage& image, const QRect& r, const QColor& colour) {
    int n = 0;
    for (int y = r.top(); y <= r.bottom(); ++y) {
        for (int x = r.left(); x <= r.right(); ++x) {
            const QColor p = image.pixelColor(x, y);
            n += std::abs(p.red() - colour.red()) + std::abs(p.green() - colour.green()) +
                     std::abs(p.blue() - colour.blue()) <
                 90;
        }
    }
    return n;
}

TEST_F(ConsoleHandsTest, TheMessageLineIsReadableUnderThePanels) {
    loadAndShow();
    core::printMessageOnScreen(c(), "Rotation saved as Morning Drive");
    const core::PrintedText& line = c().form().frmTarnDesk.drawing.texts.at(0);
    const QRect strip(static_cast<int>(line.x), static_cast<int>(line.y), 200, 12);
    // Nothing stands over it.
    for (int x = strip.left(); x <= strip.right(); x += 4) {
        for (int y = strip.top(); y <= strip.bottom(); y += 2) {
            ASSERT_EQ(elementAt(c().form(), x, y), nullptr) << x << "," << y;
        }
    }
    auto ink = [&](const QImage& image) {
        int n = 0;
        for (int y = strip.top(); y <= strip.bottom(); ++y) {
            for (int x = strip.left(); x <= strip.right(); ++x) {
                n += image.pixelColor(x, y).lightness() < 140;
            }
        }
        return n;
    };
    EXPECT_GT(ink(grab()), 60);
    c().form().frmTarnDesk.drawing.clear();
    EXPECT_EQ(ink(grab()), 0);
}

TEST_F(ConsoleHandsTest, ATimeLeftLabelIsDrawnInTheColourItFlashesTo) {
    loadAndShow();
    core::Element& left = c().form().lblTimeLeft1;
    left.caption = "00:12.0";
    left.foreColor = 0x0000FF;  // red, as the console numbers colours (blue in the high byte)
    const QImage red = grab();
    EXPECT_GT(pixelsNear(red, area(left), QColor(0xFF, 0, 0)), 15);
    left.foreColor = 0;
    const QImage black = grab();
    EXPECT_EQ(pixelsNear(black, area(left), QColor(0xFF, 0, 0)), 0);
    EXPECT_GT(pixelsNear(black, area(left), Qt::black), 15);
}

}  // namespace
}  // namespace tw::ui
