// Loudness on the air, in virtual time: six tracks of pink noise under a chord, from very quiet to
// very loud, in one rotation. With a target of -16 LUFS every track measures within 1 LU of it on
// the air, away from its crossfades; with no target each measures as its file does. The master
// chain is switched off for both runs (the operator's cmdCompressor), so that the figures are the
// loudness stage's own and not the chain's levelling.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "audio/loudness_meter.h"
#include "audio/wav_header.h"
#include "core/dates.h"
#include "media/loudness_library.h"
#include "sim/virtual_event_loop.h"
#include "tests/app/station_run.h"
#include "tests/testlib/temp_dir.h"

namespace tw {
namespace {

namespace fs = std::filesystem;

constexpr int kTracks = 6;
constexpr double kTrackSeconds = 70;
constexpr double kMargin = 10;  // seconds left out at each end: the crossfades and the ramps

double measureWav(const fs::path& file) {
    audio::LoudnessFigures f;
    int error = 0;
    EXPECT_EQ(audio::measureLoudness(file.string(), nullptr, f, error),
              audio::MeasureResult::Measured)
        << file;
    return f.integratedLufs;
}

class LoudnessScenario : public ::testing::Test {
  protected:
    // Track i at `vol` dB: pink noise with an A minor chord over it, 70 s, each with its title.
    void makeStation(const std::string& settings) {
        station_ = dir_ / "station";
        for (const char* f : {"Music/Levels", "Rotations"}) {
            fs::create_directories(station_ / f);
        }
        const double vols[kTracks] = {-24, -19, -14, -9, -4, 0.5};
        for (int i = 0; i < kTracks; ++i) {
            const fs::path mp3 = station_ / ("Music/Levels/level" + std::to_string(i) + ".mp3");
            const fs::path wav = dir_ / ("level" + std::to_string(i) + ".wav");
            const std::string len = std::to_string(static_cast<int>(kTrackSeconds));
            const std::string cmd =
                "sox -q -n -r 44100 -c 2 -b 16 '" + wav.string() + "' synth " + len +
                " pinknoise synth " + len + " sine mix 220 synth " + len +
                " sine mix 261.63 synth " + len + " sine mix 329.63 vol " +
                std::to_string(vols[i]) + " dB 2>/dev/null && lame --quiet -b 192 --tt 'Level " +
                std::to_string(i) + "' --ta 'Noise " + std::to_string(i) + "' '" + wav.string() +
                "' '" + mp3.string() + "' && rm '" + wav.string() + "'";
            ASSERT_EQ(std::system(cmd.c_str()), 0) << cmd;
            fileLufs_[mp3.string()] = measureWav(mp3);
        }
        std::ofstream rot(station_ / "Rotations/Levels.rot", std::ios::binary);
        rot << pad("Levels") << pad("False") << pad("saved");
        rot.close();
        std::ofstream(station_ / "appSettings.ini", std::ios::binary) << settings;
    }

    // What the station measured before the run, as a first start-up's background scan leaves it.
    void measureAhead() {
        core::VirtualClock clock(core::dateSerial(2026, 3, 2));
        sim::VirtualEventLoop loop(clock);
        media::LoudnessLibrary lib(loop, station_.string(), media::replayGainOrMeter());
        for (const auto& [path, lufs] : fileLufs_) {
            lib.ask(path, false);
        }
        for (int i = 0; i < 60000 && lib.busy(); ++i) {
            loop.processPending();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        ASSERT_FALSE(lib.busy());
    }

    static std::string pad(const std::string& s) { return s + std::string(100 - s.size(), ' '); }

    // Plays `tracks` hand-overs and measures every whole track on the air between them: its path
    // and loudness.
    std::vector<std::pair<std::string, double>> playAndMeasure(int tracks) {
        std::vector<std::pair<std::string, double>> out;
        test::StationRun run(station_.string(), core::dateSerial(2026, 3, 2) + 10.0 / 24);
        std::vector<float> heard;
        run.sim().setBusSink([&heard](const float* bus, std::size_t frames) {
            heard.insert(heard.end(), bus, bus + 2 * frames);
        });
        EXPECT_EQ(run.exec("load"), "");
        EXPECT_EQ(run.exec("press cmdCompressor"), "");  // the master chain off
        core::Console& c = run.console();
        EXPECT_EQ(c.compressorId, 0u);
        int player = c.activePlayer;
        std::string onAir = player == 1 ? c.nextSong1 : c.nextSong2;
        std::size_t startSample = heard.size();
        for (double t = 0;
             t < tracks * (kTrackSeconds + 5) && static_cast<int>(out.size()) < tracks; t += 0.06) {
            run.advance(0.06, 0.06);
            if (c.activePlayer == player) {
                continue;
            }
            if (player != 0) {
                out.emplace_back(onAir, segmentLufs(heard, startSample, heard.size()));
            }
            player = c.activePlayer;
            onAir = player == 1 ? c.nextSong1 : c.nextSong2;
            startSample = heard.size();
            // Only the running track's samples are kept.
            heard.erase(heard.begin(), heard.begin() + static_cast<std::ptrdiff_t>(startSample));
            startSample = 0;
        }
        return out;
    }

    double segmentLufs(const std::vector<float>& heard, std::size_t from, std::size_t to) {
        const std::size_t margin = static_cast<std::size_t>(kMargin * 44100) * 2;
        EXPECT_GT(to - from, 3 * margin);
        std::string image;
        const std::size_t first = from + margin, last = to - margin;
        std::vector<std::int16_t> pcm;
        pcm.reserve(last - first);
        for (std::size_t i = first; i < last; ++i) {
            const float v = std::clamp(heard[i], -1.0f, 1.0f);
            pcm.push_back(static_cast<std::int16_t>(std::lround(v * 32767.0f)));
        }
        const auto bytes = static_cast<std::uint32_t>(pcm.size() * 2);
        image = audio::pcm16WavHeader(44100, 2, bytes);
        image.append(reinterpret_cast<const char*>(pcm.data()), bytes);
        const fs::path wav = dir_ / "segment.wav";
        std::ofstream(wav, std::ios::binary) << image;
        return measureWav(wav);
    }

    test::TempDir dir_;
    fs::path station_;
    std::map<std::string, double> fileLufs_;
};

TEST_F(LoudnessScenario, EveryTrackMeasuresWithinOneLuOfTheTargetOnTheAir) {
    makeStation("[Crossfade]\r\ntime=2\r\n[Loudness]\r\nTarget=-16\r\n");
    double lowest = 0, highest = -100;
    for (const auto& [path, lufs] : fileLufs_) {
        lowest = std::min(lowest, lufs);
        highest = std::max(highest, lufs);
    }
    EXPECT_LT(lowest, -28) << "the quietest file";
    EXPECT_GT(highest, -7.5) << "the loudest file";
    measureAhead();
    const auto played = playAndMeasure(kTracks);
    ASSERT_EQ(played.size(), static_cast<std::size_t>(kTracks));
    for (const auto& [path, lufs] : played) {
        EXPECT_NEAR(lufs, -16.0, 1.0) << path << " (its file: " << fileLufs_[path] << " LUFS)";
        std::printf("on the air at -16: %s file %.2f LUFS, air %.2f LUFS\n",
                    fs::path(path).filename().c_str(), fileLufs_[path], lufs);
    }
}

TEST_F(LoudnessScenario, WithoutATargetEveryTrackMeasuresAsItsFile) {
    makeStation("[Crossfade]\r\ntime=2\r\n");
    const auto played = playAndMeasure(kTracks);
    ASSERT_EQ(played.size(), static_cast<std::size_t>(kTracks));
    for (const auto& [path, lufs] : played) {
        EXPECT_NEAR(lufs, fileLufs_[path], 0.5) << path;
    }
    EXPECT_FALSE(fs::exists(station_ / "loudness.ini"));
}

}  // namespace
}  // namespace tw
