// The progress window follows frmStatus: shown with its bar at the share ShowStatus gives,
// hidden when the console closes it, and rendered to PNG at its size and at 150 % with its text
// on its one line.

#include "ui/status_window.h"

#include <gtest/gtest.h>

#include <QFontMetricsF>
#include <QImage>
#include <QTest>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "audio/null_engine.h"
#include "autodj/library.h"
#include "autodj/library_state.h"
#include "autodj/tag_cache.h"
#include "autodj/tag_fill.h"
#include "core/console_ops.h"
#include "tests/tags/tag_test_util.h"
#include "tests/testlib/temp_dir.h"
#include "tests/ui/element_fit.h"
#include "tests/ui/no_audio_engine.h"
#include "tests/ui/qt_app.h"
#include "tests/ui/window_snapshot.h"
#include "ui/console_colors.h"
#include "ui/element_painter.h"
#include "ui/qt_station.h"

namespace tw::ui {
namespace {

class StatusWindowTest : public ::testing::Test {
  protected:
    StatusWindowTest()
        : station(std::make_unique<QtStation>(dir.str(), std::make_unique<test::NoAudioEngine>())) {
        station->load();
        station->window().show();
    }
    core::Console& c() { return station->console(); }
    StatusWindow& status() { return station->statusWindow(); }

    test::QtApp qt;
    test::TempDir dir;
    std::unique_ptr<QtStation> station;
};

// Pixels along the middle of the bar that are neither white nor grey: the level fill.
int colouredAcross(const QImage& image, const core::Rect& bar, double from, double to) {
    int n = 0;
    const int y = static_cast<int>(bar.top + bar.height / 2);
    for (int x = static_cast<int>(bar.left + bar.width * from);
         x < static_cast<int>(bar.left + bar.width * to); ++x) {
        n += QColor(image.pixel(x, y)).saturation() > 80;
    }
    return n;
}

TEST_F(StatusWindowTest, ShowStatusShowsTheWindowWithItsBarAtTheShare) {
    core::closeStatus(c());
    status().follow();
    EXPECT_FALSE(status().isVisible());

    core::ShowStatus(c(), 0.5);
    status().follow();
    ASSERT_TRUE(status().isVisible());
    EXPECT_EQ(status().windowTitle(), "Library Update");
    const core::Rect bar = c().ui.status.pctStatus.rect;
    const QImage image = status().grab().toImage();
    const int quarter = static_cast<int>(bar.width / 4);
    EXPECT_GT(colouredAcross(image, bar, 0.05, 0.45), quarter) << "the filled half";
    EXPECT_EQ(colouredAcross(image, bar, 0.55, 0.95), 0) << "the empty half";

    core::closeStatus(c());
    status().follow();
    EXPECT_FALSE(status().isVisible());
}

// A category of many tracks that the start did not find: the tag fill reads it on its worker, its
// progress in the window while the console's events run on, and the window closes at its end.
TEST_F(StatusWindowTest, TheTagFillShowsItsProgressInTheWindowAndClosesItAtItsEnd) {
    constexpr int kTracks = 5000;
    const std::filesystem::path folder = dir.path() / "Music" / "Archive";
    std::filesystem::create_directories(folder);
    for (int i = 0; i < kTracks; ++i) {
        std::ofstream(folder / ("a" + std::to_string(10000 + i) + ".mp3"), std::ios::binary)
            << test::taggedTrack("Artist " + std::to_string(i % 50), "Song " + std::to_string(i));
    }
    core::closeStatus(c());
    autodj::showplayLists(c());
    // Files a moment old are read once their stamps can be trusted: the window shows meanwhile.
    autodj::startTagFill(c(), std::chrono::milliseconds(0));
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            status().follow();
            return status().isVisible();
        },
        15000));
    EXPECT_EQ(status().windowTitle(), "Library Update");
    EXPECT_TRUE(
        c().ui.status.lblProgress.caption.starts_with("Reading Tags: Archive Track Number: "))
        << c().ui.status.lblProgress.caption;
    ASSERT_TRUE(QTest::qWaitFor([&] { return !autodj::tagFillBusy(c()); }, 30000));
    status().follow();
    EXPECT_FALSE(status().isVisible());
    EXPECT_EQ(c().library->tagCache->size(), static_cast<std::size_t>(kTracks));
}

TEST_F(StatusWindowTest, TheWindowFollowsOnItsOwnBeat) {
    core::closeStatus(c());
    EXPECT_TRUE(QTest::qWaitFor([&] { return !status().isVisible(); }, 1000));
    core::setStatusText(c(), "Reading the library");
    EXPECT_TRUE(QTest::qWaitFor([&] { return status().isVisible(); }, 1000));
}

// The label's text as it fits its one line: whole when it does, else shortened in the middle, so
// that both what is being done and the end of a file's name stay in sight.
core::Element fittedLabel(const core::Element& label) {
    core::Element fitted = label;
    fitted.caption =
        QFontMetricsF(consoleFont(label.fontSize, label.fontBold))
            .elidedText(QString::fromStdString(label.caption), Qt::ElideMiddle, label.rect.width)
            .toStdString();
    return fitted;
}

TEST_F(StatusWindowTest, RenderedAtTheDesignSizeAndAtOneAndAHalfTimesNothingIsClipped) {
    // What the library's import shows while it copies a file in.
    const std::string importing =
        "Importing:/home/operator/Music/Incoming/Some Artist - A Rather Long Track Title.mp3";
    core::setStatusText(c(), importing);
    core::ShowStatus(c(), 0.4);
    status().follow();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&status()));
    const core::StatusForm& f = c().ui.status;
    const QSize design(static_cast<int>(f.frmStatus.rect.width),
                       static_cast<int>(f.frmStatus.rect.height));
    ASSERT_EQ(status().size(), design);
    // Both in the window, neither over the other.
    const QRectF window(QPointF(0, 0), design);
    EXPECT_TRUE(window.contains(test::placeOf(f.lblProgress)));
    EXPECT_TRUE(window.contains(test::placeOf(f.pctStatus)));
    EXPECT_FALSE(test::placeOf(f.lblProgress).intersects(test::placeOf(f.pctStatus)));

    // The text is longer than its line: it is shown shortened to it with an ellipsis, keeping
    // its start and the file's name.
    const core::Element label = fittedLabel(f.lblProgress);
    ASSERT_NE(label.caption, importing);
    EXPECT_TRUE(label.caption.starts_with("Importing:/home/")) << label.caption;
    EXPECT_TRUE(label.caption.ends_with("Track Title.mp3")) << label.caption;
    EXPECT_NE(label.caption.find("\u2026"), std::string::npos) << label.caption;
    EXPECT_TRUE(test::clippedTexts(label).empty());
    EXPECT_LE(QFontMetricsF(consoleFont(label.fontSize, label.fontBold)).height(),
              label.rect.height)
        << "one line";
    const QColor back = ui::consoleColor(f.frmStatus.backColor);
    for (const double scale : {1.0, 1.5}) {
        const QImage shown = test::snapshot(status(), scale);
        ASSERT_EQ(shown.size(), design * scale);
        EXPECT_EQ(test::pixelsNotItsOwn(shown, label, back), 0) << "at " << scale * 100 << " %";
        EXPECT_EQ(test::pixelsNotItsOwn(shown, f.pctStatus, back), 0)
            << "at " << scale * 100 << " %";
        EXPECT_EQ(test::inkOnTheEdge(shown, static_cast<int>(4 * scale), back), 0)
            << "at " << scale * 100 << " %";
        EXPECT_EQ(test::savePng(shown, "status").size(), design * scale);
    }

    // A text that fits is shown whole.
    core::setStatusText(c(), "Playlist: Rock Track Number: 12");
    status().follow();
    ASSERT_TRUE(test::clippedTexts(f.lblProgress).empty());
    EXPECT_EQ(test::pixelsNotItsOwn(test::snapshot(status(), 1), f.lblProgress, back), 0);
}

}  // namespace
}  // namespace tw::ui
