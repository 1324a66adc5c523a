// The background worker: its job on a thread of its own, progress and completion as events on the
// thread that runs the event loop, the busy rule, waiting reports, pause, cancel and destruction.

#include "core/worker.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

#include "core/dates.h"
#include "sim/virtual_event_loop.h"

namespace tw::core {
namespace {

using namespace std::chrono_literals;

class WorkerTest : public ::testing::Test {
  protected:
    // Runs the loop's events until done() or two seconds.
    template <typename Done>
    bool pumpUntil(Done done) {
        const auto end = std::chrono::steady_clock::now() + 2s;
        while (!done() && std::chrono::steady_clock::now() < end) {
            loop.processPending();
            std::this_thread::sleep_for(1ms);
        }
        return done();
    }

    VirtualClock clock{dateSerial(2026, 11, 25)};
    sim::VirtualEventLoop loop{clock};
    const std::thread::id consoleThread = std::this_thread::get_id();
};

TEST_F(WorkerTest, TheJobRunsOnItsOwnThreadAndItsEventsOnTheConsoleThread) {
    std::thread::id jobThread;
    std::vector<int> progress;
    bool completed = false;
    bool eventsOnConsoleThread = true;
    Worker w(loop, {[&](Worker& self, const std::any& param) {
                        jobThread = std::this_thread::get_id();
                        for (int i = 1; i <= std::any_cast<int>(param); ++i) {
                            self.ReportProgress(i * 25);
                        }
                    },
                    [&](int percent) {
                        eventsOnConsoleThread &= std::this_thread::get_id() == consoleThread;
                        progress.push_back(percent);
                    },
                    [&] {
                        eventsOnConsoleThread &= std::this_thread::get_id() == consoleThread;
                        completed = true;
                    }});
    EXPECT_EQ(w.WorkerStatus(), Worker::Idle);
    w.StartWorkAsync(4);
    ASSERT_TRUE(pumpUntil([&] { return completed; }));
    EXPECT_NE(jobThread, consoleThread);
    EXPECT_TRUE(eventsOnConsoleThread);
    EXPECT_EQ(progress, (std::vector<int>{25, 50, 75, 100})) << "every report before the end";
    EXPECT_EQ(w.WorkerStatus(), Worker::Finished);
    EXPECT_FALSE(w.IsBusy());
}

TEST_F(WorkerTest, AStartWhileBusyDoesNothing) {
    std::atomic<bool> release{false};
    std::atomic<int> runs{0};
    int completions = 0;
    Worker w(loop, {[&](Worker&, const std::any&) {
                        ++runs;
                        while (!release.load()) {
                            std::this_thread::sleep_for(1ms);
                        }
                    },
                    nullptr, [&] { ++completions; }});
    w.StartWorkAsync(1);
    EXPECT_TRUE(w.IsBusy());
    w.StartWorkAsync(2);
    release.store(true);
    ASSERT_TRUE(pumpUntil([&] { return completions == 1; }));
    EXPECT_EQ(runs.load(), 1);
    w.StartWorkAsync(3);  // after the end, a new job starts
    ASSERT_TRUE(pumpUntil([&] { return completions == 2; }));
    EXPECT_EQ(runs.load(), 2);
}

TEST_F(WorkerTest, AReportThatIsNotPostedWaitsUntilTheConsoleHasHandledIt) {
    std::atomic<bool> handled{false};
    std::atomic<bool> jobSawItHandled{false};
    bool completed = false;
    Worker w(loop, {[&](Worker& self, const std::any&) {
                        self.ReportProgress(50, false);
                        jobSawItHandled.store(handled.load());
                    },
                    [&](int) { handled.store(true); }, [&] { completed = true; }});
    w.StartWorkAsync({});
    std::this_thread::sleep_for(20ms);
    EXPECT_TRUE(w.IsBusy()) << "the job waits for the console";
    ASSERT_TRUE(pumpUntil([&] { return completed; }));
    EXPECT_TRUE(jobSawItHandled.load());
}

TEST_F(WorkerTest, CancelIsSeenByTheJobWhichStopsByItself) {
    std::atomic<int> steps{0};
    bool completed = false;
    Worker w(loop, {[&](Worker& self, const std::any&) {
                        while (!self.CancellationPending()) {
                            ++steps;
                            std::this_thread::sleep_for(1ms);
                        }
                    },
                    nullptr, [&] { completed = true; }});
    w.StartWorkAsync({});
    std::this_thread::sleep_for(10ms);
    w.CancelWork();
    ASSERT_TRUE(pumpUntil([&] { return completed; }));
    EXPECT_GT(steps.load(), 0);
}

TEST_F(WorkerTest, APausedJobHoldsAtItsNextReportUntilResumed) {
    std::atomic<int> reports{0};
    std::atomic<bool> go{false};
    bool completed = false;
    Worker w(loop, {[&](Worker& self, const std::any&) {
                        while (!go.load()) {
                            std::this_thread::sleep_for(1ms);
                        }
                        for (int i = 0; i < 3; ++i) {
                            self.ReportProgress(i);
                            ++reports;
                        }
                    },
                    nullptr, [&] { completed = true; }});
    w.StartWorkAsync({});
    w.PauseWork();
    EXPECT_EQ(w.WorkerStatus(), Worker::Paused);
    EXPECT_TRUE(w.IsBusy());
    go.store(true);
    std::this_thread::sleep_for(30ms);
    EXPECT_EQ(reports.load(), 0) << "held at the first report";
    w.ResumeWork();
    EXPECT_NE(w.WorkerStatus(), Worker::Paused) << "running, or already at its end";
    ASSERT_TRUE(pumpUntil([&] { return completed; }));
    EXPECT_EQ(reports.load(), 3);
}

TEST_F(WorkerTest, DestroyedWhileItsJobWaitsTheWorkerLetsTheJobGoAndRaisesNothingLater) {
    bool progressed = false;
    bool completed = false;
    {
        Worker w(loop, {[&](Worker& self, const std::any&) {
                            self.ReportProgress(10, false);  // nobody pumps the loop
                            self.ReportProgress(20);
                        },
                        [&](int) { progressed = true; }, [&] { completed = true; }});
        w.StartWorkAsync({});
        std::this_thread::sleep_for(10ms);
        w.PauseWork();
    }
    loop.processPending();  // what the job posted finds its worker gone
    EXPECT_FALSE(progressed);
    EXPECT_FALSE(completed);
}

TEST_F(WorkerTest, AJobThatThrowsStillCompletes) {
    bool completed = false;
    Worker w(loop, {[](Worker&, const std::any&) { throw std::runtime_error("disk gone"); },
                    nullptr, [&] { completed = true; }});
    w.StartWorkAsync({});
    ASSERT_TRUE(pumpUntil([&] { return completed; }));
}

TEST_F(WorkerTest, TheParameterIsTheJobsUntilItsEnd) {
    std::string seen;
    bool completed = false;
    Worker w(loop, {[&](Worker& self, const std::any&) {
                        seen = std::any_cast<std::string>(self.Param());
                    },
                    nullptr, [&] { completed = true; }});
    w.StartWorkAsync(std::string("batch 7"));
    ASSERT_TRUE(pumpUntil([&] { return completed; }));
    EXPECT_EQ(seen, "batch 7");
    EXPECT_FALSE(w.Param().has_value()) << "cleared at the end";
}

TEST_F(WorkerTest, LatestReportsStandInForOneAnotherAndCarryTheLastPercent) {
    std::vector<int> progress;
    bool completed = false;
    Worker w(loop, {[&](Worker& self, const std::any&) {
                        for (int i = 1; i <= 100; ++i) {
                            self.ReportLatest(i);
                        }
                    },
                    [&](int percent) { progress.push_back(percent); }, [&] { completed = true; }});
    w.StartWorkAsync({});
    while (w.IsBusy()) {
        std::this_thread::sleep_for(1ms);  // the job ends before the console thread looks
    }
    ASSERT_TRUE(pumpUntil([&] { return completed; }));
    EXPECT_EQ(progress, std::vector<int>{100}) << "one event, with the latest percent";
}

}  // namespace
}  // namespace tw::core
