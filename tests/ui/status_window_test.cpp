// The progress window follows frmStatus: shown with its bar at the share ShowStatus gives,
// hidden when the console closes it.

#include "ui/status_window.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QTest>
#include <memory>

#include "audio/null_engine.h"
#include "core/console_ops.h"
#include "tests/testlib/temp_dir.h"
#include "tests/ui/no_audio_engine.h"
#include "tests/ui/qt_app.h"
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

TEST_F(StatusWindowTest, TheWindowFollowsOnItsOwnBeat) {
    core::closeStatus(c());
    EXPECT_TRUE(QTest::qWaitFor([&] { return !status().isVisible(); }, 1000));
    core::setStatusText(c(), "Reading the library");
    EXPECT_TRUE(QTest::qWaitFor([&] { return status().isVisible(); }, 1000));
}

}  // namespace
}  // namespace tw::ui
