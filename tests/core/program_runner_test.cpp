// Outside programs the console does not wait for: how each ended (exit status, signal, the last
// line it printed), its standard input, its file written beside the target and put in place only
// when whole, and the end of the programs still running at shut-down.

#include "core/program_runner.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "core/dates.h"
#include "sim/virtual_event_loop.h"
#include "tests/testlib/temp_dir.h"

namespace tw::core {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

class ProgramRunnerTest : public ::testing::Test {
  protected:
    // Runs the loop's events until an end was reported or five seconds.
    bool pumpUntilEnded() {
        const auto end = std::chrono::steady_clock::now() + 5s;
        while (!ended && std::chrono::steady_clock::now() < end) {
            loop.processPending();
            std::this_thread::sleep_for(1ms);
        }
        return ended.has_value();
    }
    std::function<void(const ProgramEnd&)> keep() {
        return [this](const ProgramEnd& e) { ended = e; };
    }
    ProgramJob sh(const std::string& script) {
        ProgramJob job;
        job.argv = {"sh", "-c", script};
        job.folder = dir.str();
        return job;
    }

    test::TempDir dir;
    VirtualClock clock{dateSerial(2026, 11, 25)};
    sim::VirtualEventLoop loop{clock};
    ProgramRunner runner{loop};
    std::optional<ProgramEnd> ended;
};

TEST_F(ProgramRunnerTest, AFailureComesWithItsExitStatusAndTheLastLineItPrinted) {
    ASSERT_TRUE(runner.start(
        sh("echo starting; printf '10%%\\r20%%\\r' >&2; echo 'disk full' >&2; echo; exit 4"),
        keep()));
    ASSERT_TRUE(pumpUntilEnded());
    EXPECT_EQ(ended->status, 4);
    EXPECT_EQ(ended->signal, 0);
    EXPECT_EQ(ended->lastLine, "disk full");
    EXPECT_FALSE(ended->whole());
    EXPECT_EQ(ended->describe("lame"), "lame ended with exit status 4: disk full");
}

TEST_F(ProgramRunnerTest, ItsInputIsFedToItAndItsFileIsPutInPlaceWhenWhole) {
    const std::string target = (dir / "out.mp3").string();
    std::ofstream(target) << "old";
    ProgramJob job = sh("cat > \"$0\"");
    job.partFile = runner.partFileFor(target);
    job.argv.push_back(job.partFile);
    job.input = std::string(300000, 'x');  // more than a pipe holds
    EXPECT_EQ(fs::path(job.partFile).parent_path(), dir.path());
    EXPECT_NE(runner.partFileFor(target), job.partFile);
    job.target = target;
    ASSERT_TRUE(runner.start(job, keep()));
    ASSERT_TRUE(pumpUntilEnded());
    EXPECT_TRUE(ended->whole());
    EXPECT_EQ(test::readFile(target), std::string(300000, 'x'));
    EXPECT_FALSE(fs::exists(job.partFile));
}

TEST_F(ProgramRunnerTest, AFailedProgramsPartFileGoesAndTheTargetStays) {
    const std::string target = (dir / "out.mp3").string();
    std::ofstream(target) << "old";
    ProgramJob job = sh("echo half > \"$0\"; exit 1");
    job.partFile = runner.partFileFor(target);
    job.argv.push_back(job.partFile);
    job.target = target;
    ASSERT_TRUE(runner.start(job, keep()));
    ASSERT_TRUE(pumpUntilEnded());
    EXPECT_EQ(test::readFile(target), "old");
    EXPECT_FALSE(fs::exists(job.partFile));
}

TEST_F(ProgramRunnerTest, AProgramThatCannotBeStartedIsReportedAtOnce) {
    ProgramJob job;
    job.argv = {"no-such-program-here"};
    EXPECT_FALSE(runner.start(job, keep()));
    EXPECT_EQ(ProgramEnd{}.describe("lame"), "lame could not be started");
}

TEST_F(ProgramRunnerTest, FinishWaitsForAProgramThatEndsInTime) {
    const std::string target = (dir / "late.mp3").string();
    ProgramJob job = sh("sleep 0.3; echo done > \"$0\"");
    job.partFile = runner.partFileFor(target);
    job.argv.push_back(job.partFile);
    job.target = target;
    ASSERT_TRUE(runner.start(job, keep()));
    runner.finish(5s);
    ASSERT_TRUE(ended.has_value()) << "its end is reported inside finish";
    EXPECT_TRUE(ended->whole());
    EXPECT_EQ(test::readFile(target), "done\n");
}

TEST_F(ProgramRunnerTest, FinishEndsAProgramPastItsTimeAndRemovesItsPartFile) {
    const std::string target = (dir / "never.mp3").string();
    ProgramJob job = sh("echo half > \"$0\"; exec sleep 30");
    job.partFile = runner.partFileFor(target);
    job.argv.push_back(job.partFile);
    job.target = target;
    ASSERT_TRUE(runner.start(job, keep()));
    std::this_thread::sleep_for(100ms);
    const auto before = std::chrono::steady_clock::now();
    runner.finish(200ms);
    EXPECT_LT(std::chrono::steady_clock::now() - before, 3s);
    ASSERT_TRUE(ended.has_value());
    EXPECT_EQ(ended->signal, SIGTERM);
    EXPECT_EQ(ended->describe("lame"), "lame was ended by signal 15");
    EXPECT_FALSE(fs::exists(job.partFile));
    EXPECT_FALSE(fs::exists(target));
    EXPECT_EQ(runner.running(), 0u);
}

TEST_F(ProgramRunnerTest, AProgramThatIgnoresTheEndIsKilled) {
    ASSERT_TRUE(runner.start(sh("trap '' TERM; echo ready; sleep 3 & wait; sleep 3"), keep()));
    std::this_thread::sleep_for(200ms);
    runner.finish(100ms);
    ASSERT_TRUE(ended.has_value());
    EXPECT_EQ(ended->signal, SIGKILL);
}

}  // namespace
}  // namespace tw::core
