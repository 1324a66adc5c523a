// The whole station measured in the background while the console runs: a category of four-minute
// tracks (one MP3 of pink noise under chords, linked under many names, so that each name is a
// file of its own to the library) asked for as start-up asks for it, measured on the loudness
// worker, the answers taken on the console thread with the 60 ms tick timer beating in real time.
// Figures: the whole job's time, the longest any console event held the thread, the longest gap
// between two ticks, and loudness.ini's size. Reference, in the same run: the bare meter on the
// same files, one after the other on one thread.
//
//   build/bench/bench_loudness_library                       200 tracks
//   TW_LOUDNESS_TRACKS=2000 build/bench/bench_loudness_library

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "audio/loudness_meter.h"
#include "autodj/loudness.h"
#include "bench/bench_console.h"
#include "core/console.h"
#include "core/console_ops.h"
#include "liveassist/loudness_settings.h"
#include "media/loudness_library.h"
#include "tests/testlib/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using namespace tw;
using Clock = bench::BenchConsole::Clock;
using bench::BenchConsole;

int trackCount() {
    const char* n = std::getenv("TW_LOUDNESS_TRACKS");
    return n ? std::max(1, std::atoi(n)) : 200;
}

// The station's music, made once per run: one four-minute MP3 under trackCount() names.
struct Library {
    test::TempDir dir;
    std::vector<std::string> files;

    Library() {
        const fs::path folder = dir.path() / "Music" / "Loud";
        fs::create_directories(folder);
        const fs::path first = folder / "track0000.mp3";
        const std::string command =
            "sox -q -n -r 44100 -c 2 -b 16 -t wav - synth 240 pinknoise synth 240 sine mix 220 "
            "synth 240 sine mix 329.63 vol -6 dB 2>/dev/null | lame --quiet -b 192 - '" +
            first.string() + "'";
        if (std::system(command.c_str()) != 0) {
            throw std::runtime_error("failed: " + command);
        }
        files.push_back(first.string());
        for (int i = 1; i < trackCount(); ++i) {
            char name[32];
            std::snprintf(name, sizeof name, "track%04d.mp3", i);
            fs::create_hard_link(first, folder / name);
            files.push_back((folder / name).string());
        }
    }
};

const Library& library() {
    static const Library lib;
    return lib;
}

void BM_MeasureTheStationInTheBackground(benchmark::State& state) {
    const Library& lib = library();
    for (auto _ : state) {
        fs::remove(lib.dir.path() / "loudness.ini");
        fs::remove(lib.dir.path() / "appSettings.ini");
        BenchConsole bench(lib.dir.str(),
                           core::dateSerial(2026, 11, 26) + core::timeSerial(10, 0, 0));
        core::Console& c = bench.console();
        core::writeIniValue(c, c.appSettingsPath(), "Loudness", "Target", "-16");
        const double total = bench.run([&] { liveassist::startLoudnessScan(c); },
                                       [&] { return c.loudness && c.loudness->busy(); });
        state.SetIterationTime(total);
        if (!c.loudness || c.loudness->knownCount() != lib.files.size()) {
            state.SkipWithError("not every track was measured");
        }
        std::error_code ec;
        state.counters["files"] = static_cast<double>(lib.files.size());
        state.counters["ms_per_file"] = total * 1000 / static_cast<double>(lib.files.size());
        state.counters["longest_event_ms"] = bench.longestEventMs();
        state.counters["longest_tick_gap_ms"] = bench.longestTickGapMs();
        state.counters["loudness_ini_kB"] =
            static_cast<double>(fs::file_size(lib.dir.path() / "loudness.ini", ec)) / 1024;
        autodj::stopLoudness(c);
    }
}

void BM_MeasureTheStationInTheBackground_Reference(benchmark::State& state) {
    const Library& lib = library();
    for (auto _ : state) {
        const auto t0 = Clock::now();
        for (const std::string& f : lib.files) {
            audio::LoudnessFigures figures;
            int error = 0;
            benchmark::DoNotOptimize(audio::measureLoudness(f, nullptr, figures, error));
        }
        state.SetIterationTime(BenchConsole::secondsSince(t0));
    }
}

BENCHMARK(BM_MeasureTheStationInTheBackground)
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kSecond);
BENCHMARK(BM_MeasureTheStationInTheBackground_Reference)
    ->UseManualTime()
    ->Iterations(1)
    ->Unit(benchmark::kSecond);

}  // namespace
