// The simulator's commands for the library: making and selecting categories, picking, dumping.

#include <gtest/gtest.h>

#include <sstream>

#include "audio/null_engine.h"
#include "core/dates.h"
#include "sim/simulator.h"
#include "tests/tags/tag_test_util.h"
#include "tests/testlib/temp_dir.h"

namespace tw::test {
namespace {

class SimulatorLibraryTest : public ::testing::Test {
  protected:
    SimulatorLibraryTest() {
        for (const char* artist : {"A", "B"}) {
            writeFile(station / ("Music/Rock/" + std::string(artist) + ".mp3"),
                      id3Tag(3, textFrame("TIT2", "Song", 3) + textFrame("TPE1", artist, 3)) +
                          mpegFrames(2));
        }
        sim = std::make_unique<sim::Simulator>(
            station.str(), core::dateSerial(2026, 11, 22) + core::timeSerial(10, 0, 0),
            std::make_unique<audio::NullEngine>());
    }
    int run(const std::string& scenario) {
        std::istringstream in(scenario);
        out.str("");
        err.str("");
        return sim->run(in, out, err);
    }
    ScopedHome home;  // the simulator's desktop trash is in it
    TempDir station;
    std::unique_ptr<sim::Simulator> sim;
    std::ostringstream out, err;
};

TEST_F(SimulatorLibraryTest, ScenarioMakesSelectsAndPicksFromCategories) {
    ASSERT_EQ(run("load\n"
                  "answer Jazz\n"
                  "press cmdAddPlayList\n"
                  "select lstPlaylists 1\n"
                  "pick Rock 2026-11-22 10:04:00\n"
                  "pick Jazz\n"
                  "dump lstPlaylists\n"
                  "dump lblListInfo\n"),
              0)
        << err.str();
    const std::string text = out.str();
    EXPECT_NE(text.find("picked " + station.str() + "/Music/Rock/"), std::string::npos) << text;
    EXPECT_NE(text.find("picked <none>"), std::string::npos) << text;  // Jazz is empty
    EXPECT_NE(text.find("\"Jazz\""), std::string::npos) << text;
    EXPECT_NE(text.find("2 Tracks | Approxiamate Repeat Time: 00 Hours 00 Minutes| outs% 0"),
              std::string::npos)
        << text;
    EXPECT_TRUE(std::filesystem::is_directory(station / "Music/Jazz"));
}

TEST_F(SimulatorLibraryTest, PickOfAMissingCategoryPrintsNoneAndTurnsToManual) {
    ASSERT_EQ(run("load\npick Nowhere\ndump cmdAutoManual\n"), 0) << err.str();
    EXPECT_NE(out.str().find("picked <none>"), std::string::npos);
    EXPECT_NE(out.str().find("\"Manual\""), std::string::npos) << out.str();
}

TEST_F(SimulatorLibraryTest, BadPickAndKeyCommandsStopTheRun) {
    EXPECT_EQ(run("pick\n"), 2);
    EXPECT_NE(err.str().find("pick needs a category"), std::string::npos) << err.str();
    EXPECT_EQ(run("pick Rock not-a-date\n"), 2);
    EXPECT_EQ(run("key lstPlaylists\n"), 2);
    EXPECT_EQ(run("drop fileList\n"), 2);
}

}  // namespace
}  // namespace tw::test
