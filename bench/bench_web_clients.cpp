// The web status service under a crowd: the console with its 60 ms tick beating in real time, a
// start told every 20 s (every client gets each one, with the history of twenty starts), and
// 1,000 event-stream clients on the loopback address, held by a process of their own
// (web_event_clients) so that their reading is not counted as the console's.
// Figures: the console process's CPU over the run (as the iteration time, and as a share of one
// core), the resident memory the connections hold and what the run added to it, the longest gap
// between two ticks, and what the clients got. Reference, in the same run: the same console and
// starts without the service.
//
//   build/bench/bench_web_clients                                   1,000 clients, 60 s
//   TW_WEB_CLIENTS=1000 TW_WEB_SECONDS=600 build/bench/bench_web_clients

#include <benchmark/benchmark.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include "bench/bench_console.h"
#include "core/console_ops.h"
#include "sim/simulator.h"
#include "tests/testlib/temp_dir.h"
#include "tests/web/http_probe.h"
#include "web/status_feed.h"

extern char** environ;

namespace {

namespace fs = std::filesystem;
using namespace tw;
using bench::BenchConsole;
using namespace std::chrono_literals;

constexpr double kSecondsBetweenStarts = 20;

int envOr(const char* name, int fallback) {
    const char* v = std::getenv(name);
    return v ? std::max(1, std::atoi(v)) : fallback;
}

double cpuSeconds() {
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    return static_cast<double>(u.ru_utime.tv_sec + u.ru_stime.tv_sec) +
           static_cast<double>(u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

// A station whose history has twenty starts, so that every snapshot carries all of them.
void makeStation(const fs::path& dir) {
    std::string log;
    for (int i = 0; i < 20; ++i) {
        log += "Artist Number " + std::to_string(i) + " - A Title That Is Rather Long " +
               std::to_string(i) + ",11/26/2026 9:" + std::to_string(10 + i) + ":00 AM\n";
    }
    test::writeFile(dir / "Played.log", log);
}

struct Clients {
    pid_t pid = -1;
    int out = -1;

    Clients(std::uint16_t port, int n) {
        const std::string program =
            (fs::read_symlink("/proc/self/exe").parent_path() / "web_event_clients").string();
        int pipeFds[2];
        if (pipe(pipeFds) != 0) {
            return;
        }
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, pipeFds[0]);
        const std::string portText = std::to_string(port), count = std::to_string(n);
        char* argv[] = {const_cast<char*>(program.c_str()), const_cast<char*>(portText.c_str()),
                        const_cast<char*>(count.c_str()), nullptr};
        if (posix_spawn(&pid, program.c_str(), &actions, nullptr, argv, environ) != 0) {
            pid = -1;
        }
        posix_spawn_file_actions_destroy(&actions);
        close(pipeFds[1]);
        out = pipeFds[0];
    }
    // Stops them; their line: connected, closed by the server, fewest and most starts.
    std::string finish() {
        if (pid <= 0) {
            return {};
        }
        kill(pid, SIGTERM);
        std::string line;
        char buf[256];
        for (ssize_t n; (n = read(out, buf, sizeof buf)) > 0;) {
            line.append(buf, static_cast<std::size_t>(n));
        }
        waitpid(pid, nullptr, 0);
        close(out);
        pid = -1;
        return line;
    }
    ~Clients() { finish(); }
};

void run(benchmark::State& state, bool service) {
    const int clients = envOr("TW_WEB_CLIENTS", 1000);
    const double seconds = envOr("TW_WEB_SECONDS", 60);
    for (auto _ : state) {
        test::TempDir dir;
        makeStation(dir.path());
        BenchConsole bench(dir.str(), core::dateSerial(2026, 11, 26) + core::timeSerial(10, 0, 0));
        core::Console& c = bench.console();
        const std::uint16_t port = test::freeLoopbackPort();
        if (service) {
            core::writeIniValue(c, c.appSettingsPath(), "WebStatus", "Port", std::to_string(port));
        }
        web::startStatusFeed(c, {});
        // The position tick's share of the feed, on the console's 60 ms timer.
        const int tick = c.svc.loop->startTimer(60, [&c] { web::statusFeedTick(c); });
        std::unique_ptr<Clients> crowd;
        const long rssAlone = sim::residentKb();
        if (service) {
            crowd = std::make_unique<Clients>(port, clients);
            const auto until = BenchConsole::Clock::now() + 60s;
            while (web::statusFeedClients(c) < static_cast<std::size_t>(clients) &&
                   BenchConsole::Clock::now() < until) {
                std::this_thread::sleep_for(10ms);
            }
            state.counters["clients"] = static_cast<double>(web::statusFeedClients(c));
            // What the connections themselves hold in the console, before the run.
            state.counters["rss_clients_MB"] =
                static_cast<double>(sim::residentKb() - rssAlone) / 1024;
        }
        const long rssBefore = sim::residentKb();
        const double cpuBefore = cpuSeconds();
        const auto t0 = BenchConsole::Clock::now();
        double nextStart = 0;
        int starts = 0;
        bench.run([] {},
                  [&] {
                      const double at = BenchConsole::secondsSince(t0);
                      if (at >= nextStart && at < seconds) {
                          web::statusFeedStarted(c);
                          nextStart += kSecondsBetweenStarts;
                          ++starts;
                      }
                      return at < seconds;
                  });
        const double cpu = cpuSeconds() - cpuBefore;
        state.SetIterationTime(cpu);
        state.counters["cpu_pct_of_core"] = 100 * cpu / seconds;
        state.counters["rss_added_MB"] = static_cast<double>(sim::residentKb() - rssBefore) / 1024;
        state.counters["longest_tick_gap_ms"] = bench.longestTickGapMs();
        state.counters["starts"] = starts;
        if (crowd) {
            state.counters["clients_at_end"] = static_cast<double>(web::statusFeedClients(c));
            int connected = 0, closed = 0;
            long fewest = 0, most = 0;
            const std::string line = crowd->finish();
            std::fprintf(stderr,
                         "clients: connected, closed by the server, fewest and most starts: %s",
                         line.c_str());
            if (std::sscanf(line.c_str(), "%d %d %ld %ld", &connected, &closed, &fewest, &most) !=
                4) {
                state.SkipWithError("the clients said nothing");
            }
            state.counters["closed_by_server"] = closed;
            state.counters["client_starts_min"] = static_cast<double>(fewest);
            state.counters["client_starts_max"] = static_cast<double>(most);
            if (connected != clients || fewest != starts) {
                state.SkipWithError("not every client got every start");
            }
        }
        c.svc.loop->stopTimer(tick);
        web::stopStatusFeed(c);
    }
}

void BM_WebClients_Reference(benchmark::State& state) {
    run(state, false);
}
void BM_WebClients(benchmark::State& state) {
    run(state, true);
}

BENCHMARK(BM_WebClients_Reference)->UseManualTime()->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(BM_WebClients)->UseManualTime()->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace
