#include "sim/simulator.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <sstream>

#include "audio/null_engine.h"
#include "tests/testlib/temp_dir.h"

namespace tw::sim {
namespace {

namespace fs = std::filesystem;

struct RunResult {
    int status;
    std::string output;
};

// Runs the tarnwave-sim program of this build with a scenario on its standard input.
RunResult runSim(const std::string& args, const std::string& scenario) {
    const char* bin = std::getenv("TW_BINARY_DIR");
    EXPECT_NE(bin, nullptr);
    test::TempDir scratch;
    const fs::path input = scratch / "scenario.txt";
    test::writeFile(input, scenario);
    const std::string cmd =
        std::string(bin) + "/app/tarnwave-sim " + args + " < '" + input.string() + "' 2>&1";
    RunResult r{0, {}};
    FILE* p = popen(cmd.c_str(), "r");
    char buf[4096];
    while (std::size_t n = fread(buf, 1, sizeof buf, p)) {
        r.output.append(buf, n);
    }
    const int raw = pclose(p);
    r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    return r;
}

TEST(SimulatorProgramTest, LoadAdvanceUnloadOnAnEmptyFolderLeavesFoldersAndTraces) {
    test::TempDir station;
    RunResult r = runSim("--start \"2026-11-22 10:00:00\" '" + station.str() + "'",
                         "load\nadvance 600\nunload\n");
    ASSERT_EQ(r.status, 0) << r.output;
    for (const char* f : {"Music", "Rotations", "Sweepers", "Playlist"}) {
        EXPECT_TRUE(fs::is_directory(station / f)) << f;
    }
    std::istringstream log(test::readFile(station / "app.log"));
    std::vector<std::string> texts;
    const std::regex form(R"(^#Time:(\d{1,2}/\d{1,2}/\d{4} \d{1,2}:\d{2}:\d{2} [AP]M)(.*)#$)");
    for (std::string line; std::getline(log, line);) {
        std::smatch m;
        ASSERT_TRUE(std::regex_match(line, m, form)) << line;
        texts.push_back(m[2]);
    }
    const std::vector<std::string> expected = {
        "TarnWave Starting Before Voice", "TarnWave Starting After Voice",
        "TarnWave Starting Before loading settings", "TarnWave Starting Before Startserver",
        "TarnWave minbuf:0 TarnWave Latency:0", "TarnWave Starting Before Firstload",
        "TarnWave Started",
        // An empty station is silent: the alarm says so.
        "DEAD AIR: the mix has been silent for 10 seconds", "TarnWave Unloaded"};
    EXPECT_EQ(texts, expected);
    EXPECT_NE(
        test::readFile(station / "app.log").find("#Time:11/22/2026 10:10:00 AMTarnWave Unloaded#"),
        std::string::npos);
}

TEST(SimulatorProgramTest, AnUnknownCommandStopsTheRunWithStatusTwo) {
    test::TempDir station;
    RunResult r = runSim("'" + station.str() + "'", "load\nfrobnicate now\nunload\n");
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.output.find("line 2: unknown command \"frobnicate\""), std::string::npos)
        << r.output;
    EXPECT_EQ(test::readFile(station / "app.log").find("Unloaded"), std::string::npos);
}

TEST(SimulatorProgramTest, BadArgumentsStopWithStatusTwo) {
    test::TempDir station;
    EXPECT_EQ(runSim("'" + station.str() + "'", "advance soon\n").status, 2);
    EXPECT_EQ(runSim("'" + station.str() + "'", "press noSuchButton\n").status, 2);
    EXPECT_EQ(runSim("'" + station.str() + "'", "select lstRotation x\n").status, 2);
    EXPECT_EQ(runSim("'" + station.str() + "'", "dump nothingHere\n").status, 2);
    EXPECT_EQ(runSim("--start yesterday '" + station.str() + "'", "").status, 2);
    EXPECT_EQ(runSim("", "").status, 2);
}

class SimulatorTest : public ::testing::Test {
  protected:
    SimulatorTest()
        : sim(station.str(), core::dateSerial(2026, 11, 22) + core::timeSerial(9, 59, 58),
              std::make_unique<audio::NullEngine>()) {}
    std::string exec(const std::string& line) {
        std::ostringstream out;
        std::string error;
        EXPECT_TRUE(sim.execute(line, out, error)) << line << ": " << error;
        return out.str();
    }
    test::ScopedHome home;  // the simulator's desktop trash is in it
    test::TempDir station;
    Simulator sim;
};

TEST_F(SimulatorTest, TheClockLabelTicksInVirtualTime) {
    exec("load");
    exec("advance 2.5");
    EXPECT_EQ(exec("dump lblDateTime").find("\"caption\":\"Sun Nov 22, 2026  10:00:00 AM\""),
              exec("dump lblDateTime").find("\"caption\""));
    EXPECT_EQ(exec("dump statsTicks"), "41\n");
}

TEST_F(SimulatorTest, PressingTheModeButtonSwapsItsCaption) {
    exec("load");
    exec("press cmdAutoManual");
    EXPECT_EQ(sim.console().form().cmdAutoManual.caption, "Manual");
    exec("press cmdAutoManual right");
    EXPECT_EQ(sim.console().form().cmdAutoManual.caption, "Automated");
}

TEST_F(SimulatorTest, PanelButtonsSwitchPanels) {
    exec("load");
    exec("press cmdTrackList");
    EXPECT_TRUE(sim.console().form().frmTrackList.visible);
    EXPECT_FALSE(sim.console().form().frmRotationList.visible);
    EXPECT_EQ(sim.console().screenMode, 1);
}

TEST_F(SimulatorTest, TypeSetsTextAndAnswerQueuesForThePrompter) {
    exec("type txtSendText Hello, world  again");
    EXPECT_EQ(sim.console().form().txtSendText.text, "Hello, world  again");
    exec("answer cancel");
    EXPECT_EQ(sim.prompter().pendingAnswers(), 1u);
}

TEST_F(SimulatorTest, DumpGivesTheWholeConsoleAsJson) {
    exec("load");
    const std::string all = exec("dump");
    EXPECT_EQ(all.rfind("{\"state\":{", 0), 0u);
    EXPECT_NE(all.find("\"activePlayer\":0"), std::string::npos);
    EXPECT_NE(all.find("\"cmdSkipNow\":{\"name\":\"cmdSkipNow\""), std::string::npos);
    EXPECT_NE(all.find("\"frmCast\":{"), std::string::npos);
    EXPECT_NE(exec("dump frmCast.txtGenre").find("\"name\":\"txtGenre\""), std::string::npos);
}

TEST_F(SimulatorTest, SelectingARowOutOfRangeIsABadArgument) {
    exec("load");
    std::ostringstream out;
    std::string error;
    EXPECT_FALSE(sim.execute("select flRotations 3", out, error));
    EXPECT_NE(error.find("flRotations"), std::string::npos);
    EXPECT_FALSE(sim.execute("load", out, error));  // twice
}

}  // namespace
}  // namespace tw::sim
