// Twelve encoders pointed at a host name whose name server never answers, with the reconnect on:
// the console on the real engine (the timed silent device), the name server a silent one of the
// test's own on the loopback interface. Every connect gives up within its 3 s, the polls never
// pile connects or programs on top of those still running, and the console thread never waits.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "audio/mix_engine.h"
#include "broadcast/cast_form.h"
#include "broadcast/cast_session.h"
#include "broadcast/cast_state.h"
#include "broadcast/connect_runner.h"
#include "core/console_ops.h"
#include "playout/position_monitor.h"
#include "sim/scripted_prompter.h"
#include "sim/virtual_event_loop.h"
#include "station/console_assembly.h"
#include "tests/audio/name_server.h"
#include "tests/broadcast/proc_entries.h"
#include "tests/testlib/console_fixture.h"

namespace tw::test {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

// Threads of this process with the given name.
int threadsNamed(const std::string& name) {
    int n = 0;
    for (const std::string& task : procNumbers("/proc/self/task")) {
        n += procText("/proc/self/task/" + task + "/comm") == name + "\n";
    }
    return n;
}

// Running (not yet reaped) child programs of this process with the given name.
int childrenNamed(const std::string& name) {
    int n = 0;
    const std::string self = std::to_string(::getpid());
    for (const std::string& pid : procNumbers("/proc")) {
        const ProcStat s = procStat(pid);
        n += s.name == name && s.parent == self && s.state != "Z";
    }
    return n;
}

// How long this thread has waited for a processor while it could run, in nanoseconds (0 where the
// system does not say): on a loaded machine that is other programs' time, not a wait of ours.
long long runQueueNs() {
    std::istringstream in(procText("/proc/self/task/" + std::to_string(::gettid()) + "/schedstat"));
    long long onCpu = 0, waiting = 0;
    in >> onCpu >> waiting;
    return waiting;
}

class CastNameDeadlineTest : public ::testing::Test {
  protected:
    CastNameDeadlineTest()
        : clock(core::dateSerial(2026, 11, 22) + core::timeSerial(10, 0, 0)), loop(clock) {
        settings.addPrivateFileName("appSettings.ini");
    }
    void SetUp() override {
        ASSERT_TRUE(engine.init(-1, 44100, 0));
        engine.setNameServers(names.address());
        core::Services s;
        s.clock = &clock;
        s.settings = &settings;
        s.engine = &engine;
        s.prompter = &prompter;
        s.loop = &loop;
        s.trash = &trash;
        console = station::makeConsole(dir.str(), s);
        broadcast::loadCastForm(*console);
        console->mixerStream = engine.mixerStreamCreate(44100, 2, 0);
        ASSERT_TRUE(engine.channelPlay(console->mixerStream, false));
        for (int i = 0; i < core::kEncoderCount; ++i) {
            for (auto [key, value] : {std::pair{"Enabled", "1"},
                                      {"severType", "5"},
                                      {"severPath", "radio.never-answers.test"},
                                      {"severPort", "8000"},
                                      {"severMount", "live"},
                                      {"autoReConnect", "1"}}) {
                core::writeIniValue(*console, (dir / "appSettings.ini").string(),
                                    broadcast::profileSection(i), key, value);
            }
        }
        broadcast::loadEncoderDataFromIni(*console);
    }
    void TearDown() override {
        console.reset();
        engine.free();
    }

    TempDir dir;
    core::VirtualClock clock;
    sim::VirtualEventLoop loop;
    core::SettingsStore settings;
    audio::test::FakeNameServer names{audio::test::FakeNameServer::Mode::Silent};
    audio::MixEngine engine{audio::EngineMode::SilentDevice};
    sim::ScriptedPrompter prompter;
    RecordingTrash trash;
    std::unique_ptr<core::Console> console;
};

TEST_F(CastNameDeadlineTest,
       TwelveEncodersOnANameThatNeverResolvesHoldTwelveOfEachAndNeverTheConsole) {
    // The figures are sampled all along by a thread of the test's own.
    std::atomic<bool> done{false};
    std::atomic<int> mostConnects{0}, mostPrograms{0};
    std::thread sampler([&] {
        while (!done) {
            mostConnects = std::max(mostConnects.load(), threadsNamed("tw-connect"));
            mostPrograms = std::max(mostPrograms.load(), childrenNamed("lame"));
            std::this_thread::sleep_for(2ms);
        }
    });
    // The longest the console thread was held by the start, by the connects' results coming back
    // and by a poll: the time each took less the time it stood in the processor's queue.
    Clock::duration longest[3]{};
    Clock::duration longestWall{};
    const auto timed = [&](int kind, const auto& step) {
        const long long queuedBefore = runQueueNs();
        const auto from = Clock::now();
        step();
        const auto wall = Clock::now() - from;
        const auto queued = std::chrono::nanoseconds(runQueueNs() - queuedBefore);
        longestWall = std::max(longestWall, wall);
        longest[kind] = std::max(longest[kind], wall - std::min<Clock::duration>(wall, queued));
    };
    auto& c = *console;
    c.tmrCheckPositionBool = true;
    timed(0, [&] { broadcast::start(c); });
    const auto began = Clock::now();
    auto nextPoll = began + 3500ms;
    int polls = 0;
    int reconnects = 0;
    while (Clock::now() - began < 18s) {
        timed(1, [&] { loop.processPending(); });
        if (Clock::now() >= nextPoll) {
            nextPoll += 3500ms;
            c.statsTicks = 99;
            timed(2, [&] { playout::tmrCheckPosition_Timer(c); });
            ++polls;
            for (const auto& t : c.form().frmTarnDesk.drawing.texts) {
                reconnects += t.text.rfind("Trying To RE-Connect", 0) == 0;
            }
        }
        std::this_thread::sleep_for(5ms);
    }
    done = true;
    sampler.join();
    const auto ms = [](Clock::duration d) {
        return std::chrono::duration_cast<std::chrono::milliseconds>(d).count();
    };
    const auto longestMs = ms(std::max({longest[0], longest[1], longest[2]}));
    std::cout << "FIGURES polls " << polls << " reconnect messages " << reconnects
              << " most connect threads " << mostConnects << " most encoder programs "
              << mostPrograms << " console held at most: start " << ms(longest[0])
              << " ms, results " << ms(longest[1]) << " ms, poll " << ms(longest[2])
              << " ms (the longest step " << ms(longestWall)
              << " ms by the clock, with the machine's load); name queries " << names.queries()
              << "\n";
    EXPECT_GE(polls, 4);
    EXPECT_GT(reconnects, 0) << "the connects gave up and the polls tried again";
    EXPECT_GT(names.queries(), 0);
    EXPECT_GT(mostConnects.load(), 0);
    EXPECT_LE(mostConnects.load(), 12);
    EXPECT_GT(mostPrograms.load(), 0);
    EXPECT_LE(mostPrograms.load(), 12);
    EXPECT_LE(longestMs, 50);
    // The failures said why.
    std::ifstream log(dir / "app.log");
    const std::string logged((std::istreambuf_iterator<char>(log)),
                             std::istreambuf_iterator<char>());
    EXPECT_NE(logged.find("couldn't connect to radio.never-answers.test:8000/live: host name not "
                          "resolved, no answer from the name server within 3 s#"),
              std::string::npos)
        << logged;
}

}  // namespace
}  // namespace tw::test
