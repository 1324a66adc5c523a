// A long session of the operator's voice on the real engine, in virtual time: ten thousand
// microphone openings, two thousand previews of the take, a thousand samples and three hundred
// voice tracks (many saved under a name already taken). The console keeps every record channel
// and preview it ever opened, as it always did; the engine's handles and the process's memory
// must stay flat all the same, the station on the air, and app.log free of failures.
//
// The figures are printed; scripts/resource-soak.sh gives the same run through tarnwave-sim.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>
#include <thread>
#include <utility>
#include <vector>

#include "core/dates.h"
#include "core/program_runner.h"
#include "tests/app/station_run.h"
#include "tests/testlib/temp_dir.h"

namespace tw {
namespace {

namespace fs = std::filesystem;

// What a run is made of, in rounds, so that every kind of work runs all through the session.
// A sanitizer build does a fifth of each round's work (2,000 openings, 400 previews, 200 samples,
// 100 voice tracks) in as many rounds: the same code and the same comparison of the first rounds
// with the last, where the full count took 71 to 106 s of a two-core sanitizer run (24 s so).
constexpr int kRounds = 100;
constexpr int kShare = TW_TEST_SANITIZED ? 5 : 1;
constexpr int kMicPerRound = 100 / kShare;                 // 10,000 microphone openings
constexpr int kPreviewsPerRound = 20 / kShare;             // 2,000 previews of the take
constexpr int kSamplesPerRound = 10 / kShare;              // 1,000 samples
constexpr int kTakesPerRound = TW_TEST_SANITIZED ? 1 : 3;  // 300 voice tracks
constexpr int kTrackNames = 40;  // names repeat: a track is saved over an older one

struct Resources {
    long handles = -1;
    long rssKb = -1;
    std::string text;  // the simulator's line, for a failure's message
};

class ResourceScenario : public ::testing::Test {
  protected:
    void SetUp() override {
        station_ = dir_ / "station";
        ASSERT_EQ(test::makeScenarioStation(station_), "");
        const fs::path mic = dir_ / "voice.wav";
        const fs::path sample = dir_ / "jingle.wav";
        const std::string make = "sox -q -n -r 44100 -c 1 -b 16 '" + mic.string() +
                                 "' synth 3 sine 700 vol 0.5 && sox -q -n -r 44100 -c 2 -b 16 '" +
                                 sample.string() + "' synth 0.3 sine 1200 vol 0.4";
        ASSERT_EQ(std::system(make.c_str()), 0);
        run_ = std::make_unique<test::StationRun>(
            station_.string(), core::dateSerial(2026, 3, 2) + 10.0 / 24, mic.string());
        exec("load");
        exec("select flRotations 0");
        for (int i = 0; i < 400 && (c().player1Stream == 0 || c().player2Stream == 0); ++i) {
            run_->advance(0.06, 0.06);
        }
        ASSERT_NE(c().activePlayer, 0);
        exec("drop cmdSampler(1) " + sample.string());
        // A take to preview from the start, kept without a name.
        exec("press cmdRecord");
        run_->advance(0.3, 0.06);
        exec("press cmdRecord");
    }

    core::Console& c() { return run_->console(); }
    void exec(const std::string& line) { ASSERT_EQ(run_->exec(line), "") << line; }

    Resources resources() {
        std::ostringstream out;
        std::string error;
        EXPECT_TRUE(run_->sim().execute("resources", out, error)) << error;
        std::istringstream words(out.str());
        Resources r;
        r.text = out.str();
        for (std::string w; words >> w;) {
            if (w == "handles") {
                words >> r.handles;
            } else if (w == "rss") {
                words >> r.rssKb;
            }
        }
        return r;
    }

    void micOpening(int n) {
        // Either button: the left one ducks the music and brings it back.
        const std::string button = n % 2 == 0 ? "left" : "right";
        exec("press cmdMic " + button);
        ASSERT_NE(c().micChannel, 0u) << "opening " << n << " has no microphone";
        run_->advance(0.06, 0.06);
        exec("press cmdMic " + button);
        run_->advance(0.06, 0.06);
    }

    void preview(int n) {
        exec("press optSamplerMode(1)");
        exec("press cmdVoiceTrack");
        ASSERT_NE(c().spotChannel, 0u) << "preview " << n << " does not play";
        if (n % 2 == 0) {
            run_->advance(0.12, 0.06);
            exec("press cmdVoiceTrack");  // stopped before its end
        }
        run_->advance(0.48, 0.06);
    }

    void sample(int n) {
        exec(n % 2 == 0 ? "press optSamplerMode(0)" : "press optSamplerMode(1)");
        exec("press cmdSampler(1)");
        ASSERT_NE(c().spotChannel, 0u) << "sample " << n << " does not play";
        run_->advance(0.42, 0.06);
    }

    void voiceTrack(int n) {
        exec("press cmdRecord");
        ASSERT_NE(c().recordChannel, 0u) << "take " << n << " does not record";
        run_->advance(0.3, 0.06);
        exec("answer Link " + std::to_string(n % kTrackNames));
        exec("press cmdRecord");
        run_->advance(0.12, 0.06);
    }

    void round(int r) {
        for (int i = 0; i < kMicPerRound; ++i) {
            ASSERT_NO_FATAL_FAILURE(micOpening(r * kMicPerRound + i));
        }
        for (int i = 0; i < kPreviewsPerRound; ++i) {
            ASSERT_NO_FATAL_FAILURE(preview(r * kPreviewsPerRound + i));
        }
        for (int i = 0; i < kSamplesPerRound; ++i) {
            ASSERT_NO_FATAL_FAILURE(sample(r * kSamplesPerRound + i));
        }
        for (int i = 0; i < kTakesPerRound; ++i) {
            ASSERT_NO_FATAL_FAILURE(voiceTrack(r * kTakesPerRound + i));
        }
    }

    // Lets the encoders still running finish in real time, the station going on meanwhile;
    // false after 30 s.
    bool encodersDone() {
        for (int i = 0; i < 1500; ++i) {
            if (!c().programs || c().programs->running() == 0) {
                run_->advance(0.12, 0.06);  // their ends reach the console
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            run_->advance(0.06, 0.06);
        }
        return false;
    }

    test::TempDir dir_;
    fs::path station_;
    std::unique_ptr<test::StationRun> run_;
};

TEST_F(ResourceScenario, TenThousandMicrophoneOpeningsAndThousandsOfPreviewsKeepTheEngineFlat) {
    // The first rounds fill what is meant to fill: the engine's idle streams, the VoiceTracks
    // category with all its names, the allocator's pools. The figures are then taken after every
    // round, and the lowest and the highest of the first twenty rounds measured are compared with
    // those of the last twenty, which stand at least 46 rounds apart: a leak of 40 kB a round
    // (160 bytes a press) is seen.
    constexpr int kWarmUp = 14;
    constexpr int kWindow = 20;
    for (int r = 0; r < kWarmUp; ++r) {
        ASSERT_NO_FATAL_FAILURE(round(r));
    }
    ASSERT_TRUE(encodersDone());
    const int startsBefore = run_->starts();
    std::vector<Resources> seen;
    for (int r = kWarmUp; r < kRounds; ++r) {
        ASSERT_NO_FATAL_FAILURE(round(r));
        // A take's encoder runs in real time and holds its handle until it ends: on a busy
        // machine one may still be running when the round's virtual time is over.
        ASSERT_TRUE(encodersDone());
        seen.push_back(resources());
    }
    ASSERT_TRUE(encodersDone());
    seen.push_back(resources());
    const auto span = [&seen](std::size_t from, std::size_t to) {
        Resources low{LONG_MAX, LONG_MAX, {}}, high{-1, -1, {}};
        for (std::size_t i = from; i < to; ++i) {
            low = {std::min(low.handles, seen[i].handles), std::min(low.rssKb, seen[i].rssKb), {}};
            high = {
                std::max(high.handles, seen[i].handles), std::max(high.rssKb, seen[i].rssKb), {}};
        }
        return std::pair{low, high};
    };
    const auto [firstLow, firstHigh] = span(0, kWindow);
    const auto [lastLow, lastHigh] = span(seen.size() - kWindow, seen.size());
    const Resources& start = seen.front();
    const Resources& end = seen.back();
    std::cout << "[ figures  ] " << kRounds * kMicPerRound << " microphone openings, "
              << kRounds * kPreviewsPerRound << " previews, " << kRounds * kSamplesPerRound
              << " samples, " << kRounds * kTakesPerRound << " voice tracks, "
              << run_->renderedSeconds() << " s on the air, " << run_->starts()
              << " starts\n[ figures  ] after round " << kWarmUp + 1 << ": " << start.handles
              << " handles, VmRSS " << start.rssKb << " kB; at the end: " << end.handles
              << " handles, VmRSS " << end.rssKb << " kB\n[ figures  ] rounds " << kWarmUp + 1
              << " to " << kWarmUp + kWindow << ": handles " << firstLow.handles << " to "
              << firstHigh.handles << ", VmRSS " << firstLow.rssKb << " to " << firstHigh.rssKb
              << " kB; the last " << kWindow << " rounds: handles " << lastLow.handles << " to "
              << lastHigh.handles << ", VmRSS " << lastLow.rssKb << " to " << lastHigh.rssKb
              << " kB\n";

    ASSERT_GT(start.handles, 0) << "the simulator reports the engine's handles";
    ASSERT_GT(start.rssKb, 0) << "the simulator reports its memory";
    // A handle lost stays lost: every figure after it is one higher, the lowest of the last
    // rounds too, which is then above what the first rounds mostly gave (their middle figure; a
    // figure of a sound just starting or ending at that moment of a busy machine's timeline is
    // one more or one less). A figure may catch one channel more than the first rounds ever
    // did, never two.
    std::vector<long> firstHandles;
    for (std::size_t i = 0; i < kWindow; ++i) {
        firstHandles.push_back(seen[i].handles);
    }
    std::nth_element(firstHandles.begin(), firstHandles.begin() + kWindow / 2, firstHandles.end());
    EXPECT_LE(lastLow.handles, firstHandles[kWindow / 2]) << "the engine's live handles stay flat";
    for (std::size_t i = seen.size() - kWindow; i < seen.size(); ++i) {
        EXPECT_LE(seen[i].handles, firstHigh.handles + 1)
            << "the engine's live handles stay flat; at the end of round "
            << kWarmUp + 1 + static_cast<int>(i) << ": " << seen[i].text;
    }
    if (!TW_TEST_SANITIZED) {
        // Each figure holds the rings live at its moment (a megabyte each: the players' as they
        // hand over, and those the audio thread has not yet let go), and which of those states
        // the twenty rounds at either end meet depends on the machine's timeline: a ring more
        // at one end is the swing; more than that and half a megabyte is growth.
        constexpr long kRingKb = 1024;
        EXPECT_LT(lastLow.rssKb - firstLow.rssKb, kRingKb + 512)
            << "VmRSS at its lowest grows by less than a ring and half a megabyte";
        EXPECT_LT(lastHigh.rssKb - firstHigh.rssKb, kRingKb + 512)
            << "VmRSS at its highest grows by less than a ring and half a megabyte";
    }
    // Tracks of 20 to 90 s over the rounds' virtual time (47 minutes, a fifth of it sanitized).
    EXPECT_GT(run_->starts(), startsBefore + 20 / kShare) << "tracks went on starting";
    const auto silences = run_->silences(1.0);
    EXPECT_TRUE(silences.empty()) << silences.size() << " stretches of silence, the first at "
                                  << silences.front().startSeconds << " s";
    // app.log holds the start-up's trace and nothing else: no failure of any kind.
    std::ifstream log(station_ / "app.log");
    int lines = 0;
    for (std::string line; std::getline(log, line); ++lines) {
        EXPECT_NE(line.find("TarnWave"), std::string::npos) << line;
    }
    EXPECT_GT(lines, 0);
    std::vector<std::string> tracks;
    for (const auto& f : fs::directory_iterator(station_ / "Music/VoiceTracks")) {
        tracks.push_back(f.path().filename().string());
        EXPECT_NE(tracks.back()[0], '.') << "a part file is left: " << tracks.back();
    }
    EXPECT_EQ(tracks.size(), static_cast<std::size_t>(kTrackNames));
}

}  // namespace
}  // namespace tw
