// The console on the Qt services, in its window, on the offscreen platform.

#include <gtest/gtest.h>

#include <QDateTime>
#include <QHelpEvent>
#include <QImage>
#include <QLocale>
#include <QRegularExpression>
#include <QScreen>
#include <QTest>
#include <QToolTip>
#include <cmath>
#include <filesystem>
#include <memory>
#include <set>

#include "audio/null_engine.h"
#include "core/console_ops.h"
#include "tests/testlib/temp_dir.h"
#include "tests/ui/no_audio_engine.h"
#include "tests/ui/qt_app.h"
#include "ui/element_painter.h"
#include "ui/qt_station.h"

namespace tw::ui {
namespace {

// "Sun Nov 22, 2026  01:05:09 PM"
bool hasClockForm(const std::string& caption) {
    const QRegularExpression form(
        R"(^(Sun|Mon|Tue|Wed|Thu|Fri|Sat) (Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) )"
        R"(\d{2}, \d{4}  (0[1-9]|1[0-2]):[0-5]\d:[0-5]\d (AM|PM)$)");
    return form.match(QString::fromStdString(caption)).hasMatch();
}

QDateTime clockTime(const std::string& caption) {
    return QLocale::c().toDateTime(QString::fromStdString(caption),
                                   "ddd MMM dd, yyyy  hh:mm:ss AP");
}

// Pixels of rect (in window pixels) clearly darker than the white the label stands on.
int inkIn(const QImage& image, const QRect& rect) {
    int ink = 0;
    for (int y = rect.top(); y <= rect.bottom(); ++y) {
        for (int x = rect.left(); x <= rect.right(); ++x) {
            if (QColor(image.pixel(x, y)).lightness() < 140) {
                ++ink;
            }
        }
    }
    return ink;
}

// The model's places are the window's pixels.
QRect windowRect(const core::Element& e) {
    return QRect(static_cast<int>(e.rect.left), static_cast<int>(e.rect.top),
                 static_cast<int>(e.rect.width), static_cast<int>(e.rect.height));
}

class ConsoleWindowTest : public ::testing::Test {
  protected:
    ConsoleWindowTest()
        : station(std::make_unique<QtStation>(dir.str(), std::make_unique<test::NoAudioEngine>())) {
    }

    core::Console& c() { return station->console(); }
    SurfaceWidget& window() { return station->window(); }

    void loadAndShow() {
        station->load();
        window().show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&window()));
    }

    test::QtApp qt;
    test::TempDir dir;
    std::unique_ptr<QtStation> station;
};

TEST_F(ConsoleWindowTest, ClockLabelTicksWithTheSystemTime) {
    loadAndShow();
    QTest::qWait(200);
    const std::string first = c().form().lblDateTime.caption;
    ASSERT_TRUE(hasClockForm(first)) << first;

    QTest::qWait(1300);
    const std::string later = c().form().lblDateTime.caption;
    ASSERT_TRUE(hasClockForm(later)) << later;
    EXPECT_NE(later, first) << "the clock did not move in 1.3 s";

    const QDateTime shown = clockTime(later);
    ASSERT_TRUE(shown.isValid()) << later;
    EXPECT_LE(std::abs(shown.secsTo(QDateTime::currentDateTime())), 3) << later;
    EXPECT_GE(clockTime(later).toSecsSinceEpoch(), clockTime(first).toSecsSinceEpoch() + 1);
}

TEST_F(ConsoleWindowTest, RenderedWindowShowsTheClockText) {
    loadAndShow();
    QTest::qWait(300);
    const QImage image = window().grab().toImage();
    ASSERT_EQ(image.size(), window().size());

    std::set<QRgb> colours;
    for (int y = 0; y < image.height(); y += 3) {
        for (int x = 0; x < image.width(); x += 3) {
            colours.insert(image.pixel(x, y));
        }
    }
    EXPECT_GT(colours.size(), 20u) << "the window is (nearly) blank";

    const QRect clock = windowRect(c().form().lblDateTime);
    const int withText = inkIn(image, clock);
    EXPECT_GT(withText, 40);
    EXPECT_LT(withText, clock.width() * clock.height() / 2) << "a solid block, not text";

    // The ink is the caption's: without it the label is bare. (No event runs in between, so no
    // tick can write the clock back before the grab.)
    c().form().lblDateTime.caption.clear();
    EXPECT_EQ(inkIn(window().grab().toImage(), clock), 0);
}

TEST_F(ConsoleWindowTest, WindowTitleFollowsTheConsoleCaption) {
    loadAndShow();
    const QString expected =
        QString::fromStdString("TarnWave Internet Radio Automation Software " + c().version);
    // The title follows on the window's repaint beat.
    EXPECT_TRUE(QTest::qWaitFor([&] { return window().windowTitle() == expected; }, 1000))
        << window().windowTitle().toStdString();
    c().form().frmTarnDesk.caption = "Another caption";
    EXPECT_TRUE(QTest::qWaitFor([&] { return window().windowTitle() == "Another caption"; }, 1000))
        << window().windowTitle().toStdString();
}

TEST_F(ConsoleWindowTest, WindowStartsAtTheDesignSizeAndNeverShrinksBelowIt) {
    EXPECT_EQ(window().size(), QSize(896, 641));
    window().resize(600, 400);
    EXPECT_EQ(window().size(), QSize(896, 641));
}

TEST_F(ConsoleWindowTest, ClickOnAPanelButtonShowsItsPanel) {
    loadAndShow();
    ASSERT_EQ(c().screenMode, 2);
    const QRect button = windowRect(c().form().cmdTrackList);
    QTest::mouseClick(&window(), Qt::LeftButton, {}, button.center());
    EXPECT_EQ(c().screenMode, 1);
    EXPECT_TRUE(c().form().frmTrackList.visible);
    EXPECT_FALSE(c().form().frmRotationList.visible);
}

TEST_F(ConsoleWindowTest, ClickLandsOnTheSameElementInALargerWindow) {
    loadAndShow();
    window().resize(1344, 962);
    const QRect button = windowRect(c().form().cmdAutoManual);
    ASSERT_GT(button.width(), 100);  // scaled: 90 design pixels wide
    QTest::mouseClick(&window(), Qt::LeftButton, {}, button.center());
    EXPECT_EQ(c().form().cmdAutoManual.caption, core::kManual);
    QTest::mouseClick(&window(), Qt::LeftButton, {}, button.center());
    EXPECT_EQ(c().form().cmdAutoManual.caption, core::kAutomated);
}

TEST_F(ConsoleWindowTest, ClickOnTheBareFormDoesNothing) {
    loadAndShow();
    const std::string mode = c().form().cmdAutoManual.caption;
    QTest::mouseClick(&window(), Qt::LeftButton, {}, QPoint(2, 40));
    EXPECT_EQ(c().form().cmdAutoManual.caption, mode);
    EXPECT_EQ(c().screenMode, 2);
}

TEST_F(ConsoleWindowTest, ClickOnAListRowSelectsItWhereItIsPainted) {
    for (const char* category : {"Jazz", "Rock", "Soul"}) {
        std::filesystem::create_directories(dir / "Music" / category);
    }
    loadAndShow();
    const core::Element& list = c().form().lstPlaylists;
    ASSERT_EQ(list.listCount(), 3);
    ASSERT_EQ(list.listIndex, -1);
    int y = static_cast<int>(list.rect.top);
    while (y < list.rect.top + list.rect.height && rowAt(list, y) != 1) {
        ++y;
    }
    ASSERT_EQ(rowAt(list, y), 1) << "no second row painted";
    // Near the right edge, where no text is: the window is at its design size, one to one.
    const QPoint at(static_cast<int>(list.rect.left + list.rect.width) - 4, y + 2);
    QTest::mouseClick(&window(), Qt::LeftButton, {}, at);
    EXPECT_EQ(list.listIndex, 1);
    EXPECT_EQ(window().grab().toImage().pixelColor(at), QColor(0x33, 0x66, 0xCC));

    // Below the last row: the selection stays.
    QTest::mouseClick(&window(), Qt::LeftButton, {},
                      QPoint(at.x(), static_cast<int>(list.rect.top + list.rect.height) - 5));
    EXPECT_EQ(list.listIndex, 1);
}

TEST_F(ConsoleWindowTest, OnlyThePlacesThatChangedAreRepainted) {
    loadAndShow();
    window().repaintChanges();
    EXPECT_TRUE(window().repaintChanges().isEmpty()) << "nothing changed in between";

    core::MainForm& m = c().form();
    core::printOnButton(m.cmdSkipNow, core::ImageRole::Green, "NEXT");
    const QRegion changed = window().repaintChanges();
    EXPECT_TRUE(changed.contains(windowRect(m.cmdSkipNow)));
    EXPECT_FALSE(changed.contains(windowRect(m.cmdSampler[9]).center()));

    // A move repaints where it was and where it is now.
    const QRect before = windowRect(m.cmdMute);
    m.cmdMute.rect.left += 300;
    const QRegion moved = window().repaintChanges();
    EXPECT_TRUE(moved.contains(before));
    EXPECT_TRUE(moved.contains(windowRect(m.cmdMute)));

    // The form's own colour is all of the window.
    m.frmTarnDesk.backColor = 0xC0C0C0;
    EXPECT_EQ(window().repaintChanges(), QRegion(window().rect()));
}

TEST_F(ConsoleWindowTest, WhatIsOnScreenFollowsTheSurfaceAfterPartialRepaints) {
    loadAndShow();
    QTest::qWait(150);
    core::MainForm& m = c().form();
    m.lblListInfo.caption = "Twelve tracks, forty-seven minutes";
    core::printOnButton(m.cmdSkipNow, core::ImageRole::Red, "STOP");
    m.frmRotationList.visible = false;
    QTest::qWait(200);
    // The screen shows what the window paints (its backing store); a fresh full render must
    // look the same wherever nothing ticks.
    const QImage onScreen = window().screen()->grabWindow(window().winId()).toImage();
    const QImage fresh = window().grab().toImage();
    ASSERT_EQ(onScreen.size(), fresh.size());
    const QRect clock = windowRect(m.lblDateTime);
    int differing = 0;
    for (int y = 0; y < fresh.height(); ++y) {
        for (int x = 0; x < fresh.width(); ++x) {
            if (!clock.contains(x, y) && onScreen.pixel(x, y) != fresh.pixel(x, y)) {
                ++differing;
            }
        }
    }
    EXPECT_EQ(differing, 0);
}

TEST_F(ConsoleWindowTest, ToolTipIsThatOfTheElementUnderThePointer) {
    loadAndShow();
    const QPoint at = windowRect(c().form().chkEnableSchedule).center();
    QHelpEvent help(QEvent::ToolTip, at, window().mapToGlobal(at));
    QApplication::sendEvent(&window(), &help);
    EXPECT_EQ(QToolTip::text().toStdString(), c().form().chkEnableSchedule.toolTip);
}

TEST_F(ConsoleWindowTest, UnloadStopsTheTickAndWritesTheLog) {
    loadAndShow();
    QTest::qWait(100);
    EXPECT_EQ(station->loop().timerCount(), 1u);
    station->unload();
    EXPECT_TRUE(c().unloaded);
    EXPECT_EQ(station->loop().timerCount(), 0u);
    EXPECT_NE(test::readFile(dir / "app.log").find("TarnWave Unloaded"), std::string::npos);
    const std::string frozen = c().form().lblDateTime.caption;
    QTest::qWait(1100);
    EXPECT_EQ(c().form().lblDateTime.caption, frozen);
}

TEST_F(ConsoleWindowTest, StationGoingAwayUnloadsALoadedConsole) {
    station->load();
    station.reset();
    EXPECT_NE(test::readFile(dir / "app.log").find("TarnWave Unloaded"), std::string::npos);
}

}  // namespace
}  // namespace tw::ui
