// A whole day of a generated station in virtual time (6 categories of 40 tracks, 15 artists),
// rendered through the engine offline: the wall time of the 24-hour scenario. The reference
// renders the same day on a station with no library, the mixer empty. BM_StationHour is one hour
// of the same, against the same hour with the mixer empty: the cost of a simulated hour of music
// (decoding, resampling, mixing, the mixer's effects and the console's ticks) over that of the
// bare clock and engine.
//
// TW_BENCH_STATION_HOURS sets the span of the day (24 by default).

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <string>

#include "core/dates.h"
#include "tests/app/station_run.h"
#include "tests/testlib/temp_dir.h"

namespace {

namespace fs = std::filesystem;

double spanSeconds() {
    if (const char* text = std::getenv("TW_BENCH_STATION_HOURS")) {
        const double hours = std::atof(text);
        if (hours > 0) {
            return hours * 3600.0;
        }
    }
    return 24 * 3600.0;
}

tw::core::DateValue startDate() {
    tw::core::DateValue d = 0;
    tw::core::parseDate("2026-11-02 06:00:00", d);
    return d;
}

// `seconds` on `station`: load, select the first rotation when there is one, advance second by
// second as the scenario tests do.
void runSpan(benchmark::State& state, const fs::path& station, bool selectRotation,
             double seconds) {
    tw::test::StationRun run(station.string(), startDate());
    if (const auto error = run.exec("load"); !error.empty()) {
        state.SkipWithError(error.c_str());
        return;
    }
    if (selectRotation) {
        if (const auto error = run.exec("select flRotations 0"); !error.empty()) {
            state.SkipWithError(error.c_str());
            return;
        }
    }
    run.advance(seconds);
    state.counters["starts"] = run.starts();
    state.counters["rendered_h"] = run.renderedSeconds() / 3600.0;
    state.counters["silences"] = static_cast<double>(run.silences(0.5).size());
    state.counters["rss_kB"] = static_cast<double>(tw::test::residentKb());
}

void stationSpan(benchmark::State& state, double seconds) {
    std::string error;
    const fs::path library = tw::test::keptDemoLibrary(error);
    if (!error.empty()) {
        state.SkipWithError(error.c_str());
        return;
    }
    for (auto _ : state) {
        state.PauseTiming();
        tw::test::TempDir dir;
        tw::test::copyStation(library, dir / "station");
        tw::test::writeFile(dir / "station/appSettings.ini", "[ArtistSeperation]\r\nHours=0.5\r\n");
        state.ResumeTiming();
        runSpan(state, dir / "station", true, seconds);
    }
}

void emptySpan(benchmark::State& state, double seconds) {
    for (auto _ : state) {
        state.PauseTiming();
        tw::test::TempDir dir;
        fs::create_directories(dir / "station");
        state.ResumeTiming();
        runSpan(state, dir / "station", false, seconds);
    }
}

void BM_StationDay(benchmark::State& state) {
    stationSpan(state, spanSeconds());
}
BENCHMARK(BM_StationDay)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

void BM_StationDay_Reference(benchmark::State& state) {
    emptySpan(state, spanSeconds());
}
BENCHMARK(BM_StationDay_Reference)->Iterations(1)->Unit(benchmark::kSecond)->UseRealTime();

void BM_StationHour(benchmark::State& state) {
    stationSpan(state, 3600.0);
}
BENCHMARK(BM_StationHour)->Iterations(3)->Unit(benchmark::kSecond)->UseRealTime();

void BM_StationHour_Reference(benchmark::State& state) {
    emptySpan(state, 3600.0);
}
BENCHMARK(BM_StationHour_Reference)->Iterations(3)->Unit(benchmark::kSecond)->UseRealTime();

}  // namespace
