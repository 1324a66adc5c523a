// The console window on the air: a small generated station, the engine of our own on its timed
// silent device, and the operator's clicks on the transport buttons.

#include <gtest/gtest.h>

#include <QTest>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include "audio/mix_engine.h"
#include "tests/testlib/temp_dir.h"
#include "tests/testlib/test_paths.h"
#include "tests/ui/element_geometry.h"
#include "tests/ui/qt_app.h"
#include "ui/qt_station.h"

namespace tw::ui {
namespace {

class ConsoleOnAirTest : public ::testing::Test {
  protected:
    void SetUp() override {
        // One category of two tracks and a rotation over it, made by the demo station script.
        const std::string script = test::sourceDir() + "/scripts/make-demo-station.sh";
        const std::string cmd = "TW_BUILD_DIR='" + test::binaryDir() + "' '" + script + "' '" +
                                dir.str() + "' 1 2 20 20 2 > /dev/null 2>&1";
        ASSERT_EQ(std::system(cmd.c_str()), 0) << cmd;
        station = std::make_unique<QtStation>(
            dir.str(), std::make_unique<audio::MixEngine>(audio::EngineMode::SilentDevice));
        station->load();
        station->window().show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&station->window()));
    }
    core::Console& c() { return station->console(); }

    test::QtApp qt;
    test::TempDir dir;
    std::unique_ptr<QtStation> station;
};

TEST_F(ConsoleOnAirTest, AClickOnNextStartsTheWaitingPlayer) {
    ASSERT_EQ(c().activePlayer, 1) << "the console goes on the air by itself at start";
    const audio::Handle waiting = c().player2Stream;
    ASSERT_NE(waiting, 0u);
    QTest::mouseClick(&station->window(), Qt::LeftButton, {}, centre(c().form().cmdSkipNow));
    EXPECT_EQ(c().activePlayer, 2);
    QTest::qWait(300);
    EXPECT_NE(c().engine().channelIsActive(waiting), audio::kStopped);
    EXPECT_GT(c().engine().channelGetPosition(waiting), 0) << "the waiting player is playing";
    EXPECT_EQ(c().form().lblPlayer2.image, core::ImageRole::Blue);
}

TEST_F(ConsoleOnAirTest, PausePaintsTheButtonAndHoldsThePosition) {
    const audio::Handle playing = c().player1Stream;
    QTest::qWait(200);
    QTest::mouseClick(&station->window(), Qt::LeftButton, {}, centre(c().form().cmdPausePlay1));
    EXPECT_EQ(c().form().cmdPausePlay1.backColor, 0x40u);
    QTest::qWait(100);  // the pause reaches the mix at its next block
    const std::int64_t held = c().engine().channelGetPosition(playing);
    QTest::qWait(400);
    EXPECT_EQ(c().engine().channelGetPosition(playing), held);
    QTest::mouseClick(&station->window(), Qt::LeftButton, {}, centre(c().form().cmdPausePlay1));
    EXPECT_EQ(c().form().cmdPausePlay1.backColor, 0u);
    QTest::qWait(300);
    EXPECT_GT(c().engine().channelGetPosition(playing), held);
}

}  // namespace
}  // namespace tw::ui
