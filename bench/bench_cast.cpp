// The console thread during a cast start with twelve encoders whose servers take the connection
// and never answer (the connects wait their full 3 s): how long start() holds the console thread,
// and the longest of the result steps that come back to it. The reference is the same start
// against a server that answers at once (it refuses the password), so the ratio shows what dead
// servers add (nothing, as the connects run off the console thread). Real engine on the timed
// silent device, real lame.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>
#include <thread>

#include "audio/mix_engine.h"
#include "broadcast/cast_form.h"
#include "broadcast/cast_session.h"
#include "broadcast/cast_state.h"
#include "broadcast/connect_runner.h"
#include "core/console_ops.h"
#include "core/settings_store.h"
#include "sim/scripted_prompter.h"
#include "sim/virtual_event_loop.h"
#include "station/console_assembly.h"
#include "tests/audio/cast_servers.h"
#include "tests/testlib/temp_dir.h"

namespace {

using namespace tw;
using Clock = std::chrono::steady_clock;

// A port that takes connections into its backlog and never answers them.
struct SilentPort {
    SilentPort() {
        fd = ::socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        ::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
        ::listen(fd, 64);
        socklen_t len = sizeof addr;
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&addr), &len);
        port = ntohs(addr.sin_port);
    }
    ~SilentPort() { ::close(fd); }
    int fd = -1;
    int port = 0;
};

struct Station {
    test::TempDir dir;
    core::VirtualClock clock{core::dateSerial(2026, 11, 22) + core::timeSerial(10, 0, 0)};
    sim::VirtualEventLoop loop{clock};
    core::SettingsStore settings;
    audio::MixEngine engine{audio::EngineMode::SilentDevice};
    sim::ScriptedPrompter prompter;
    std::unique_ptr<core::Console> console;

    explicit Station(const std::string& server) {
        core::Services s{&clock, &settings, &engine, &prompter, &loop, nullptr};
        console = station::makeConsole(dir.str(), s);
        core::Console& c = *console;
        engine.init(-1, 44100, 0);
        c.mixerStream = engine.mixerStreamCreate(44100, 2, 0);
        engine.channelPlay(c.mixerStream, false);
        for (int i = 0; i < core::kEncoderCount; ++i) {
            const std::string section = broadcast::profileSection(i);
            core::writeIniValue(c, c.appSettingsPath(), section, "Enabled", "1");
            core::writeIniValue(c, c.appSettingsPath(), section, "severType", "1");
            core::writeIniValue(c, c.appSettingsPath(), section, "severPath", server);
        }
        broadcast::loadCastForm(c);
    }
    ~Station() {
        console->cast->connects.reset();
        engine.free();
    }
};

// One start and its results; the time is the longest the console thread was held.
void startAndSettle(benchmark::State& state, const std::string& server) {
    Station st(server);
    core::Console& c = *st.console;
    for (auto _ : state) {
        const auto t0 = Clock::now();
        broadcast::start(c);
        double longest = std::chrono::duration<double>(Clock::now() - t0).count();
        while (c.cast->connects->busy()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            const auto t1 = Clock::now();
            st.loop.processPending();
            longest = std::max(longest, std::chrono::duration<double>(Clock::now() - t1).count());
        }
        state.SetIterationTime(longest);
        broadcast::Stop_(c);
    }
}

void BM_CastStartTwelveDeadServers(benchmark::State& state) {
    SilentPort dead;
    startAndSettle(state, "127.0.0.1:" + std::to_string(dead.port - 1));  // source port = +1
}
BENCHMARK(BM_CastStartTwelveDeadServers)
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);

void BM_CastStartTwelveDeadServers_Reference(benchmark::State& state) {
    audio::test::FakeShoutcast server("pw", "");
    startAndSettle(state, server.server());
}
BENCHMARK(BM_CastStartTwelveDeadServers_Reference)
    ->UseManualTime()
    ->Iterations(3)
    ->Unit(benchmark::kMillisecond);

}  // namespace
