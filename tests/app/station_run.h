#pragma once
// A whole station in virtual time for the scenario tests and the benchmark: the demo library made
// by scripts/make-demo-station.sh, the simulator on an offline engine, and what the run is judged
// by (starts on the air, stretches of digital silence in the mix, the process's memory).
//
// Thread contract: one thread drives a StationRun.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "audio/mix_engine.h"
#include "core/dates.h"
#include "sim/simulator.h"
#include "tests/testlib/sanitized.h"
#include "tests/testlib/temp_dir.h"

namespace tw::test {

// Runs scripts/make-demo-station.sh on `dir` with these figures; empty, or what went wrong.
std::string makeDemoStation(const std::filesystem::path& dir, int categories, int tracks,
                            int minSeconds, int maxSeconds, int artists);

// The scenarios' library (6 categories of 40 tracks of 20 to 90 s by 15 artists), made once and
// kept in the build folder between runs, since making it costs more than most checks. It is made
// in a folder of its own and renamed into place, so a run that stopped half-way leaves nothing
// that looks finished. Empty with `error` set when it cannot be made.
std::filesystem::path keptDemoLibrary(std::string& error);

// A station folder `station` holding a copy of the kept library, with half an hour of artist
// separation; empty, or what went wrong.
std::string makeScenarioStation(const std::filesystem::path& station);

// Copies every file and folder of `from` into `to`.
void copyStation(const std::filesystem::path& from, const std::filesystem::path& to);

using sim::residentKb;

constexpr double kScenarioHour = 3600.0;

// The span of a whole-day scenario in hours: TW_SCENARIO_HOURS when set (at least 1), else 24, or
// 2 in a sanitizer's build, whose speed would make a day take hours.
double scenarioHours();

struct SilenceStretch {
    double startSeconds = 0;  // from the start of the run
    double lengthSeconds = 0;
};

class StationRun {
  public:
    // `mic`, when given, is the file the simulated microphone plays; `prepare`, when given, sets
    // the engine up before the console gets it.
    StationRun(const std::string& station, core::DateValue start, const std::string& mic = {},
               const std::function<void(audio::MixEngine&)>& prepare = {});

    sim::Simulator& sim() { return sim_; }
    // The home the run has to itself: the simulator's desktop trash is in it.
    const ScopedHome& home() const { return home_; }
    core::Console& console() { return sim_.console(); }

    // One scenario line; the message of a bad one, or empty.
    std::string exec(const std::string& line);
    // Moves virtual time on by `seconds`, in steps of `step`, watching the players after each.
    void advance(double seconds, double step = 1.0);

    // Starts on the air seen: a player's stream whose position moved since it was first seen.
    // Every track gets a stream of its own (handles are never the same twice); a stream loaded
    // and waiting keeps its position, and a start that fails adds nothing to the mix, so only
    // real starts count.
    int starts() const { return starts_; }
    double renderedSeconds() const { return static_cast<double>(frames_) / 44100.0; }
    bool heardSound() const { return firstSoundFrame_ >= 0; }
    double firstSoundSeconds() const { return static_cast<double>(firstSoundFrame_) / 44100.0; }
    // The stretches of exact digital zero longer than `longerThan` seconds (half a second at the
    // least: shorter ones are not kept) after the first sound, the one still running included.
    std::vector<SilenceStretch> silences(double longerThan) const;

  private:
    void onBus(const float* bus, std::size_t frames);

    ScopedHome home_;  // before the simulator, which deletes into its trash
    sim::Simulator sim_;
    int starts_ = 0;
    struct Watched {
        audio::Handle stream = 0;
        std::int64_t firstPosition = 0;
        bool counted = false;
    };
    Watched players_[2];  // player 1 and player 2
    std::int64_t frames_ = 0;
    std::int64_t firstSoundFrame_ = -1;
    std::int64_t zeroRunStart_ = -1;  // the frame the running stretch of zero began, or -1
    std::vector<std::pair<std::int64_t, std::int64_t>> zeroRuns_;  // start, length; after sound
    std::int64_t longestKept_ = 22050;  // runs shorter than this are not kept
};

}  // namespace tw::test
