// The server's password on the air to a real Icecast 2 (Debian's icecast2, started by the test on
// a free loopback port), the console on the real engine (the timed silent device): the encoder
// programs that run meanwhile (lame, then ffmpeg) never carry it in their command line or their
// environment, where every user of the machine can read it (/proc/<pid>/cmdline), app.log never
// holds it, not even when the server refuses it, and the settings file that holds it is the
// owner's alone.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <utility>
#include <vector>

#include "audio/mix_engine.h"
#include "broadcast/cast_form.h"
#include "broadcast/cast_session.h"
#include "broadcast/cast_state.h"
#include "broadcast/connect_runner.h"
#include "core/console_ops.h"
#include "sim/scripted_prompter.h"
#include "sim/virtual_event_loop.h"
#include "station/console_assembly.h"
#include "tests/audio/cast_servers.h"
#include "tests/broadcast/proc_entries.h"
#include "tests/testlib/console_fixture.h"

namespace tw::test {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

constexpr const char* kPassword = "Tarn-source-pw-93f1";
constexpr const char* kWrongPassword = "Tarn-wrong-pw-5e27";

// Every program below this process seen while it runs: its name, command line and environment
// (NUL-separated as /proc gives them), sampled every few milliseconds by a thread of its own.
class ProgramWatch {
  public:
    ProgramWatch()
        : self_(std::to_string(::getpid())), thread_([this] {
              while (!done_) {
                  sample();
                  std::this_thread::sleep_for(2ms);
              }
          }) {}
    ~ProgramWatch() { stop(); }
    ProgramWatch(const ProgramWatch&) = delete;
    ProgramWatch& operator=(const ProgramWatch&) = delete;

    void stop() {
        done_ = true;
        if (thread_.joinable()) {
            thread_.join();
        }
    }
    struct Seen {
        std::string name, commandLine, environment;
    };
    std::vector<Seen> seen() {
        std::lock_guard lock(mutex_);
        std::vector<Seen> all;
        for (const auto& [pid, s] : seen_) {
            all.push_back(s);
        }
        return all;
    }
    bool sawRunning(const std::string& name) {
        std::lock_guard lock(mutex_);
        for (const auto& [pid, s] : seen_) {
            if (s.name == name) {
                return true;
            }
        }
        return false;
    }

  private:
    void sample() {
        // This process's children, theirs, and so on.
        std::map<std::string, ProcStat> all;
        for (const std::string& pid : procNumbers("/proc")) {
            all.emplace(pid, procStat(pid));
        }
        std::set<std::string> ours{self_};
        for (bool grew = true; grew;) {
            grew = false;
            for (const auto& [pid, s] : all) {
                if (!ours.contains(pid) && ours.contains(s.parent)) {
                    ours.insert(pid);
                    grew = true;
                }
            }
        }
        for (const std::string& pid : ours) {
            const ProcStat& s = all[pid];
            if (pid == self_ || s.state == "Z") {
                continue;
            }
            Seen now{s.name, procText("/proc/" + pid + "/cmdline"),
                     procText("/proc/" + pid + "/environ")};
            std::lock_guard lock(mutex_);
            seen_[pid + " " + now.commandLine] = std::move(now);
        }
    }

    const std::string self_;
    std::atomic<bool> done_{false};
    std::mutex mutex_;
    std::map<std::string, Seen> seen_;  // by pid and command line (a pid can be used again)
    std::thread thread_;
};

class CastSecretsTest : public ::testing::Test {
  protected:
    CastSecretsTest()
        : clock(core::dateSerial(2026, 11, 22) + core::timeSerial(10, 0, 0)), loop(clock) {
        settings.addPrivateFileName("appSettings.ini");
        loop.wrapEvent = [this](const std::function<void()>& fn) {
            core::EventScope scope(settings);
            fn();
        };
    }
    void SetUp() override {
        if (!std::filesystem::exists("/usr/bin/icecast2")) {
            GTEST_SKIP() << "icecast2 is not installed here (scripts/install-deps.sh installs it)";
        }
        // A server that does not come up (its free port taken meanwhile on a busy machine) is
        // tried again on another port; one that never does fails the test.
        for (int attempt = 0; attempt < 3 && !(icecast && icecast->ok()); ++attempt) {
            icecast = std::make_unique<audio::test::Icecast>(
                dir / ("icecast" + std::to_string(attempt)), kPassword);
        }
        ASSERT_TRUE(icecast->ok()) << "icecast2 did not come up";
        ASSERT_TRUE(engine.init(-1, 44100, 0));
        core::Services s;
        s.clock = &clock;
        s.settings = &settings;
        s.engine = &engine;
        s.prompter = &prompter;
        s.loop = &loop;
        s.trash = &trash;
        // The settings file as a script or an editor makes it: readable by everyone.
        writeFile(dir / "appSettings.ini", "[ArtistSeperation]\r\nHours=0.5\r\n");
        std::filesystem::permissions(dir / "appSettings.ini",
                                     static_cast<std::filesystem::perms>(0644));
        console = station::makeConsole(dir.str(), s);
        broadcast::loadCastForm(*console);
        console->mixerStream = engine.mixerStreamCreate(44100, 2, 0);
        ASSERT_TRUE(engine.channelPlay(console->mixerStream, false));
    }
    void TearDown() override {
        console.reset();
        engine.free();
    }

    // The operator's profile for encoder 1, typed into the cast window and saved: Icecast 2 on
    // the test's server, MP3 (format 0) or AAC (format 1), and the password given.
    void saveProfile(const std::string& mount, int format, const std::string& password) {
        auto& c = *console;
        broadcast::cmdSettings_Click(c);
        broadcast::cmboServerType_Click(c, 5);
        auto& f = c.ui.cast;
        f.txtServer.text = "127.0.0.1";
        f.txtPortNumber.text = std::to_string(icecast->port());
        f.txtMountPoint.text = mount;
        f.txtPassword.text = password;
        f.txtName.text = "Tarn FM";
        for (int i = 0; i < 3; ++i) {
            f.Options[static_cast<std::size_t>(i)].value = i == format ? 1 : 0;
        }
        f.chkReconnect.value = 0;
        broadcast::cmdSave_Click(c);
        settings.flush();
    }

    // Starts the cast and runs the connect's result on the console thread.
    void startAndSettle() {
        core::EventScope scope(settings);
        broadcast::start(*console);
        for (int i = 0; i < 2000 && console->cast->connects && console->cast->connects->busy();
             ++i) {
            std::this_thread::sleep_for(5ms);
            loop.processPending();
        }
        loop.processPending();
    }

    // Stops the cast and waits until its program has ended.
    void stopAndWait(const std::string& program) {
        broadcast::Stop_(*console);
        const auto deadline = Clock::now() + 10s;
        while (Clock::now() < deadline && childRunning(program)) {
            std::this_thread::sleep_for(20ms);
        }
    }

    // The server answers a listener on the mount only while a source sends to it.
    bool onTheAir(const std::string& mount) {
        const auto deadline = Clock::now() + 10s;
        while (Clock::now() < deadline) {
            if (audio::test::listen(icecast->port(), "/" + mount, 500)
                    .rfind("HTTP/1.0 200 OK", 0) == 0) {
                return true;
            }
            std::this_thread::sleep_for(50ms);
        }
        return false;
    }

    static bool childRunning(const std::string& name) {
        const std::string self = std::to_string(::getpid());
        for (const std::string& pid : procNumbers("/proc")) {
            const ProcStat s = procStat(pid);
            if (s.name == name && s.parent == self && s.state != "Z") {
                return true;
            }
        }
        return false;
    }

    TempDir dir;
    core::VirtualClock clock;
    sim::VirtualEventLoop loop;
    core::SettingsStore settings;
    std::unique_ptr<audio::test::Icecast> icecast;
    audio::MixEngine engine{audio::EngineMode::SilentDevice};
    sim::ScriptedPrompter prompter;
    RecordingTrash trash;
    std::unique_ptr<core::Console> console;
};

TEST_F(CastSecretsTest, ThePasswordIsInNoProgramsCommandLineNorInTheLogAndItsFileIsPrivate) {
    ProgramWatch watch;
    // MP3 from lame, then AAC from ffmpeg: each on the air, its program watched all along.
    for (const auto& [mount, encoderType, program] :
         {std::tuple{std::string("live"), 0, std::string("lame")},
          std::tuple{std::string("aac"), 1, std::string("ffmpeg")}}) {
        SCOPED_TRACE(program);
        saveProfile(mount, encoderType, kPassword);
        startAndSettle();
        EXPECT_TRUE(onTheAir(mount)) << "the cast is on the air";
        EXPECT_TRUE(watch.sawRunning(program));
        stopAndWait(program);
    }
    // A password the server refuses: the failure is logged, the password is not.
    saveProfile("live", 0, kWrongPassword);
    startAndSettle();
    stopAndWait("lame");
    watch.stop();

    const auto seen = watch.seen();
    int encoders = 0;
    for (const auto& program : seen) {
        encoders += program.name == "lame" || program.name == "ffmpeg";
        for (const char* secret : {kPassword, kWrongPassword}) {
            EXPECT_EQ(program.commandLine.find(secret), std::string::npos)
                << program.name << " had it in its command line";
            EXPECT_EQ(program.environment.find(secret), std::string::npos)
                << program.name << " had it in its environment";
        }
    }
    EXPECT_GE(encoders, 3) << "lame twice and ffmpeg once were seen running";

    const std::string log = readFile(dir / "app.log");
    EXPECT_NE(log.find("wrong password"), std::string::npos) << "the refusal is logged:\n" << log;
    EXPECT_NE(log.find("other users could read it (mode 0644)"), std::string::npos) << log;
    for (const char* secret : {kPassword, kWrongPassword}) {
        EXPECT_EQ(log.find(secret), std::string::npos) << "app.log holds a password:\n" << log;
    }
    struct stat st {};
    ASSERT_EQ(::stat((dir / "appSettings.ini").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0600u);
    EXPECT_NE(readFile(dir / "appSettings.ini").find(kWrongPassword), std::string::npos)
        << "the password the operator saved is in the file";
}

}  // namespace
}  // namespace tw::test
