// The import of 10,000 MP3 files into one category, as the operator starts it from the Add
// button: the copies and the read-ahead of the titles on the import worker, then the refreshed
// track list and the recount of the library on the recount worker. The console thread runs its
// events as the application does, with the 60 ms tick timer beating in real time; the figures
// are the whole job's time, the longest any one console event held the thread, and the longest
// gap between two ticks.
//
// The files come from bench/make-import-files.sh (one second of tone each, own ID3v1 title),
// made once in a temporary folder. References, in the same run: the bare copies of the same
// files on one thread, and the bare copies plus the bare length measurement of every copy.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "autodj/library.h"
#include "autodj/library_jobs.h"
#include "autodj/library_state.h"
#include "bench/bench_console.h"
#include "core/console.h"
#include "desk/actions.h"
#include "media/song_length.h"
#include "tests/testlib/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using namespace tw;
using Clock = bench::BenchConsole::Clock;
using bench::BenchConsole;

constexpr int kFiles = 10'000;

// The source files, made once per run.
const std::vector<std::string>& sourceFiles() {
    static const test::TempDir folder;
    static const std::vector<std::string> files = [] {
        const std::string command = std::string(TW_SOURCE_DIR) + "/bench/make-import-files.sh '" +
                                    folder.str() + "' " + std::to_string(kFiles) + " > /dev/null";
        if (std::system(command.c_str()) != 0) {
            throw std::runtime_error("make-import-files.sh failed");
        }
        std::vector<std::string> out;
        for (const auto& e : fs::directory_iterator(folder.path())) {
            out.push_back(e.path().string());
        }
        std::sort(out.begin(), out.end());
        return out;
    }();
    return files;
}

// A station with two categories, "Imported" chosen on the track list.
struct Station {
    test::TempDir dir;
    std::unique_ptr<bench::BenchConsole> bench;

    Station() {
        fs::create_directories(dir.path() / "Music" / "Imported");
        fs::create_directories(dir.path() / "Music" / "Other");
        bench = std::make_unique<bench::BenchConsole>(
            dir.str(), core::dateSerial(2026, 11, 25) + core::timeSerial(10, 0, 0));
        core::Console& c = bench->console();
        c.form().dirList.path = c.AppFolder + "/Music";
        autodj::showplayLists(c);
        autodj::renewRepeatTime(c);
        desk::select(c, "lstPlaylists", 0);  // "Imported"
    }
};

void BM_ImportTenThousandFiles(benchmark::State& state) {
    const auto& files = sourceFiles();
    for (auto _ : state) {
        Station st;
        core::Console& c = st.bench->console();
        const double total = st.bench->run([&] { autodj::importFiles(c, files); },
                                           [&] { return autodj::libraryJobsBusy(c); });
        state.SetIterationTime(total);
        if (c.form().lstSongs.listCount() != kFiles) {
            state.SkipWithError("the track list does not show every imported file");
        }
        state.counters["files"] = kFiles;
        state.counters["longest_event_ms"] = st.bench->longestEventMs();
        state.counters["longest_tick_gap_ms"] = st.bench->longestTickGapMs();
        state.counters["average_s"] = c.library->averageSong.at(1);
    }
}

// The bare copies.
void BM_ImportTenThousandFiles_Reference(benchmark::State& state) {
    const auto& files = sourceFiles();
    for (auto _ : state) {
        test::TempDir target;
        const auto t0 = Clock::now();
        for (const auto& f : files) {
            fs::copy_file(f, target.path() / fs::path(f).filename());
        }
        double lengths = 0;
        for (const auto& f : files) {
            lengths += media::fileSeconds((target.path() / fs::path(f).filename()).string());
        }
        benchmark::DoNotOptimize(lengths);
        state.SetIterationTime(BenchConsole::secondsSince(t0));
    }
}

BENCHMARK(BM_ImportTenThousandFiles)->UseManualTime()->Iterations(1)->Unit(benchmark::kSecond);
BENCHMARK(BM_ImportTenThousandFiles_Reference)
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kSecond);

}  // namespace
