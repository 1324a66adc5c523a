// A playlist with a stream address on the console as the program runs it: Qt's event loop and
// timers, the engine of our own on its timed silent device, and a station of the test's own on
// the loopback interface that takes the connection and never answers. The console's tick goes on
// at its pace meanwhile; when the open gives up, the address is logged and shown, and the next
// row of the playlist takes its place and plays.

#include <gtest/gtest.h>

#include <QTest>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>

#include "audio/mix_engine.h"
#include "autodj/rotations.h"
#include "core/console_ops.h"
#include "desk/actions.h"
#include "tests/audio/icy_server.h"
#include "tests/testlib/temp_dir.h"
#include "tests/testlib/test_paths.h"
#include "tests/ui/qt_app.h"
#include "ui/qt_station.h"

namespace tw::ui {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

class StreamAddressOnAirTest : public ::testing::Test {
  protected:
    void SetUp() override {
        // One category of two tracks of 20 s and a rotation over it, made by the demo script.
        const std::string script = test::sourceDir() + "/scripts/make-demo-station.sh";
        const std::string cmd = "TW_BUILD_DIR='" + test::binaryDir() + "' '" + script + "' '" +
                                dir.str() + "' 1 2 20 20 2 > /dev/null 2>&1";
        ASSERT_EQ(std::system(cmd.c_str()), 0) << cmd;
        for (const auto& e : fs::recursive_directory_iterator(dir / "Music")) {
            if (e.path().extension() == ".mp3") {
                tracks.push_back(e.path().string());
            }
        }
        ASSERT_EQ(tracks.size(), 2u);
        std::sort(tracks.begin(), tracks.end());
        station = std::make_unique<QtStation>(
            dir.str(), std::make_unique<audio::MixEngine>(audio::EngineMode::SilentDevice));
        station->load();
        ASSERT_EQ(c().activePlayer, 1) << "the console goes on the air by itself at start";
    }
    void TearDown() override { station.reset(); }

    core::Console& c() { return station->console(); }

    // Writes the playlist of the address and the two tracks; gives its row in lstRotationOrList.
    int writePlaylist(const std::string& url) {
        const fs::path pls = dir / "Playlist" / "Live.pls";
        std::ofstream(pls) << "[playlist]\nFile1=" << url << "\nFile2=" << tracks[0]
                           << "\nFile3=" << tracks[1] << "\nNumberOfEntries=2\nVersion=2\n";
        core::refreshFileList(c().form().flRotations);
        core::refreshFileList(c().form().flPlaylists);
        autodj::showRotationIcons(c());
        const auto& items = c().form().lstRotationOrList.items;
        for (std::size_t i = 0; i < items.size(); ++i) {
            if (items[i].text == "Live.pls") {
                return static_cast<int>(i);
            }
        }
        return -1;
    }

    // Runs the event loop for `ms`, noting the longest stretch between two ticks of the position
    // monitor (each tick moves statsTicks on).
    double runWatchingTicks(int ms) {
        QTimer watch;
        watch.setTimerType(Qt::PreciseTimer);
        std::int32_t seen = c().statsTicks;
        auto last = Clock::now();
        double longest = 0;
        QObject::connect(&watch, &QTimer::timeout, [&] {
            if (c().statsTicks == seen) {
                return;
            }
            seen = c().statsTicks;
            const auto now = Clock::now();
            longest =
                std::max(longest, std::chrono::duration<double, std::milli>(now - last).count());
            last = now;
        });
        watch.start(2);
        QTest::qWait(ms);
        return longest;
    }

    bool shown(const std::string& text) {
        for (const auto& t : c().form().frmTarnDesk.drawing.texts) {
            if (t.text.find(text) != std::string::npos) {
                return true;
            }
        }
        return false;
    }

    test::QtApp qt;
    test::TempDir dir;
    std::vector<std::string> tracks;
    std::unique_ptr<QtStation> station;
};

TEST_F(StreamAddressOnAirTest, AnAddressThatNeverAnswersNeverHoldsTheTick) {
    audio::test::IcyServer::Answer nothing;
    nothing.silent = true;
    audio::test::IcyServer silent(nothing);
    const int row = writePlaylist(silent.url());
    ASSERT_GE(row, 0);
    runWatchingTicks(300);
    // The operator picks the playlist while the rotation's track is on the air: the address is
    // loaded on the waiting player.
    QTimer::singleShot(
        0, [&] { station->loop().post([&] { desk::select(c(), "lstRotationOrList", row); }); });
    const double longest = runWatchingTicks(4500);
    std::cout << "longest gap between two ticks: " << longest << " ms\n";
    EXPECT_LT(longest, 200.0) << "the console thread waited for the network";
    EXPECT_EQ(c().activeListName, "Live.pls");

    // The open gave up after its 3 s: logged, shown, and the next row waits in its place.
    const std::string log = test::readFile(dir / "app.log");
    EXPECT_NE(log.find("could not be opened: " + silent.url()), std::string::npos) << log;
    EXPECT_TRUE(shown(silent.url()));
    EXPECT_EQ(c().nextSong2, tracks[0]);
    ASSERT_NE(c().player2Stream, 0u);
    station->loop().post([&] { desk::press(c(), "cmdSkipNow"); });
    runWatchingTicks(600);
    EXPECT_EQ(c().activePlayer, 2);
    EXPECT_GT(c().engine().channelGetPosition(c().player2Stream), 0) << "the next row plays";
}

}  // namespace
}  // namespace tw::ui
