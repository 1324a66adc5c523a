// The loudness meter against ffmpeg's EBU R128 filter (true-peak mode) run on the same files:
//
// - agreement on 20 generated MP3 files (pink noise under chords, plain and squashed, and tones;
//   -30 to -6 dBFS peak; mono and stereo; 44.1 and 48 kHz; 10 to 30 s) and on 10 MP3 files of
//   the shared corpus, as counters: the largest differences in loudness and true peak and the
//   files within 0.1 LU and 0.2 dB; a line per file is printed before the table;
// - the time for a four-minute stereo 44.1 kHz MP3 (pink noise under chords; again squashed, so
//   that most of it sits near its peak), against ffmpeg on the same file as wall time, and the
//   same with libebur128 working out the true peak, for comparison.
//
//   build/bench/bench_loudness [--benchmark_filter=...]
//
// A mono file is measured by both as the players play it, on both sides. Files of the corpus
// that ffmpeg cannot read are passed over; files where ffmpeg gates nothing (under 0.4 s of
// sound, or silence) have no integrated loudness in either, so only their true peaks are
// compared, apart from the ten, and only above -60 dBTP.

#include <benchmark/benchmark.h>
#include <ebur128.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "audio/decoder.h"
#include "audio/engine.h"
#include "audio/loudness_meter.h"
#include "tests/audio/ffmpeg_loudness.h"
#include "tests/audio/loudness_material.h"
#include "tests/testlib/temp_dir.h"

namespace {

namespace fs = std::filesystem;
using namespace tw::audio;
using Clock = std::chrono::steady_clock;

constexpr double kLufsTolerance = 0.1;
constexpr double kPeakTolerance = 0.2;
constexpr std::size_t kCorpusFiles = 10;
// ffmpeg's reading where no block passes the gate.
constexpr double kFfmpegNothingGated = -70.0;
// Below this a peak is a few steps of 16 bits, where ffmpeg's floating-point decoding and
// resampling and our 16-bit samples differ by whole decibels: such files are counted, not compared.
constexpr double kNearSilenceDbtp = -60.0;

double secondsSince(Clock::time_point t) {
    return std::chrono::duration<double>(Clock::now() - t).count();
}

void writeMp3(const fs::path& mp3, const test::Pcm& pcm, const std::string& lameOptions) {
    const fs::path wav = fs::path(mp3).replace_extension(".wav");
    const auto image = test::wavImage(pcm);
    {
        std::ofstream out(wav, std::ios::binary);
        out.write(reinterpret_cast<const char*>(image.data()),
                  static_cast<std::streamsize>(image.size()));
        if (!out) {
            throw std::runtime_error("cannot write " + wav.string());
        }
    }
    const std::string command =
        "lame --quiet " + lameOptions + " '" + wav.string() + "' '" + mp3.string() + "'";
    if (std::system(command.c_str()) != 0) {
        throw std::runtime_error("failed: " + command);
    }
    fs::remove(wav);
}

struct Generated {
    std::string name;
    test::Pcm pcm;
    std::string lameOptions;
};

test::NoiseUnderChords chords(int rate, int channels, double seconds, double peak, bool squashed,
                              std::uint32_t seed) {
    test::NoiseUnderChords spec;
    spec.rate = rate;
    spec.channels = channels;
    spec.seconds = seconds;
    spec.peakDbfs = peak;
    spec.squashed = squashed;
    spec.seed = seed;
    return spec;
}

std::vector<Generated> generatedSet() {
    struct Row {
        const char* kind;  // "chords", "squashed" or a tone's frequency
        int rate;
        int channels;
        double seconds;
        double peak;
        const char* lame;
    };
    static constexpr Row kRows[] = {
        {"chords", 44100, 2, 20, -6, "-b 192"},   {"chords", 48000, 2, 15, -12, "-b 256"},
        {"chords", 44100, 1, 10, -18, "-b 128"},  {"chords", 48000, 1, 25, -24, "-V 2"},
        {"chords", 44100, 2, 30, -30, "-V 0"},    {"chords", 48000, 2, 12, -9, "-b 320"},
        {"chords", 44100, 1, 18, -15, "-V 4"},    {"squashed", 44100, 2, 20, -6, "-b 192"},
        {"squashed", 48000, 2, 10, -8, "-b 256"}, {"squashed", 44100, 1, 14, -10, "-b 160"},
        {"squashed", 48000, 1, 22, -20, "-V 2"},  {"1000", 44100, 2, 10, -6, "-b 192"},
        {"1000", 48000, 1, 12, -23, "-b 128"},    {"440", 44100, 2, 16, -18, "-V 2"},
        {"440", 48000, 1, 20, -30, "-b 192"},     {"3000", 44100, 1, 10, -12, "-b 256"},
        {"3000", 48000, 2, 28, -27, "-b 160"},    {"10000", 44100, 2, 10, -9, "-b 320"},
        {"10000", 48000, 1, 15, -21, "-V 0"},     {"6000", 44100, 2, 24, -14, "-b 224"},
    };
    std::vector<Generated> out;
    std::uint32_t seed = 100;
    for (const Row& r : kRows) {
        const std::string kind = r.kind;
        Generated g;
        char name[96];
        std::snprintf(name, sizeof name, "%02zu-%s-%d-%s-%+.0fdB-%.0fs.mp3", out.size() + 1,
                      kind.c_str(), r.rate, r.channels == 1 ? "mono" : "stereo", r.peak, r.seconds);
        g.name = name;
        if (kind == "chords" || kind == "squashed") {
            g.pcm = test::noiseUnderChords(
                chords(r.rate, r.channels, r.seconds, r.peak, kind == "squashed", ++seed));
        } else {
            g.pcm = test::fadedSine(r.rate, r.channels, std::stod(kind), r.peak, r.seconds, 0.4);
        }
        g.lameOptions = r.lame;
        out.push_back(std::move(g));
    }
    return out;
}

// The files, made once per run in a temporary folder.
class Material {
  public:
    Material() {
        for (auto& g : generatedSet()) {
            writeMp3(dir_ / g.name, g.pcm, g.lameOptions);
            generated_.push_back(dir_ / g.name);
        }
        writeMp3(track(), test::noiseUnderChords(chords(44100, 2, 240, -1, false, 7)), "-b 192");
        writeMp3(loudTrack(), test::noiseUnderChords(chords(44100, 2, 240, -0.3, true, 8)),
                 "-b 192");
    }

    const std::vector<fs::path>& generated() const { return generated_; }
    fs::path track() const { return dir_ / "four-minutes.mp3"; }
    fs::path loudTrack() const { return dir_ / "four-minutes-loud.mp3"; }

  private:
    tw::test::TempDir dir_;
    std::vector<fs::path> generated_;
};

const Material& material() {
    static const Material m;  // made on first use, removed at exit
    return m;
}

struct Comparison {
    std::size_t files = 0;
    std::size_t within = 0;
    double maxLufs = 0;
    double maxPeak = 0;
    std::size_t unreadable = 0;  // by our meter while ffmpeg reads them
    std::string lines;           // one per file, printed before the table

    void add(const fs::path& file, const LoudnessFigures& ours, const test::FfmpegFigures& theirs,
             bool compareLoudness) {
        ++files;
        const double dLufs = compareLoudness ? ours.integratedLufs - theirs.integratedLufs : 0;
        const double dPeak = ours.truePeakDbtp - theirs.truePeakDbtp;
        // ffmpeg decodes to floating point: what it reads as -100 dBTP is no sound at all in 16
        // bits, and our -infinity matches it.
        const bool peakOk = std::abs(dPeak) <= kPeakTolerance ||
                            (std::isinf(ours.truePeakDbtp) && theirs.truePeakDbtp < -90);
        if (compareLoudness) {
            maxLufs = std::max(maxLufs, std::abs(dLufs));
        }
        if (std::isfinite(dPeak)) {
            maxPeak = std::max(maxPeak, std::abs(dPeak));
        }
        if (std::abs(dLufs) <= kLufsTolerance && peakOk) {
            ++within;
        }
        char line[512];
        std::snprintf(line, sizeof line,
                      "  %-64s ours %7.2f LUFS %7.2f dBTP %6.2f s | ffmpeg %6.1f LUFS %6.1f dBTP"
                      " | dI %+5.2f dTP %+5.2f\n",
                      file.filename().string().c_str(), ours.integratedLufs, ours.truePeakDbtp,
                      ours.seconds, theirs.integratedLufs, theirs.truePeakDbtp, dLufs, dPeak);
        lines += line;
    }

    void report(benchmark::State& state, const std::string& prefix, bool loudness) const {
        state.counters[prefix + "files"] = static_cast<double>(files);
        state.counters[prefix + "within_tolerance"] = static_cast<double>(within);
        if (loudness) {
            state.counters[prefix + "max_abs_dLUFS"] = maxLufs;
        }
        state.counters[prefix + "max_abs_ddBTP"] = maxPeak;
        state.counters[prefix + "unreadable_by_us"] = static_cast<double>(unreadable);
    }
};

bool measure(const fs::path& file, LoudnessFigures& out) {
    int error = kOk;
    return measureLoudness(file.string(), nullptr, out, error) == MeasureResult::Measured;
}

void BM_AgreementGeneratedFiles(benchmark::State& state) {
    const auto& files = material().generated();
    for (auto _ : state) {
        Comparison c;
        double ours = 0;
        for (const auto& f : files) {
            test::FfmpegFigures theirs;
            std::string why;
            if (!test::ffmpegLoudness(f, theirs, why)) {
                state.SkipWithError(("ffmpeg cannot read " + f.string()).c_str());
                return;
            }
            LoudnessFigures figures;
            const auto t0 = Clock::now();
            if (!measure(f, figures)) {
                ++c.unreadable;
                continue;
            }
            ours += secondsSince(t0);
            c.add(f, figures, theirs, true);
        }
        state.SetIterationTime(ours);
        std::printf("Generated files, ours against ffmpeg:\n%s", c.lines.c_str());
        c.report(state, "", true);
    }
}
BENCHMARK(BM_AgreementGeneratedFiles)->UseManualTime()->Iterations(1)->Unit(benchmark::kSecond);

// The corpus's MP3 files in name order: the first ten with a gated loudness (a file whose
// figures and length are those of one already taken carries the same audio under other tags,
// and is passed over), and the true peaks of those where nothing is gated.
void BM_AgreementCorpusFiles(benchmark::State& state) {
    std::vector<fs::path> all;
    for (const auto& e : fs::directory_iterator(fs::path(TW_CORPUS_DIR) / "tags")) {
        if (e.path().extension() == ".mp3") {
            all.push_back(e.path());
        }
    }
    std::sort(all.begin(), all.end());
    for (auto _ : state) {
        Comparison chosen, ungated;
        std::size_t ffmpegCannot = 0, sameAudio = 0, untried = 0, nearSilence = 0;
        std::vector<std::pair<LoudnessFigures, test::FfmpegFigures>> taken;
        for (const auto& f : all) {
            test::FfmpegFigures theirs;
            std::string why;
            if (!test::ffmpegLoudness(f, theirs, why)) {
                ++ffmpegCannot;
                continue;
            }
            LoudnessFigures ours;
            const bool read = measure(f, ours);
            if (theirs.integratedLufs <= kFfmpegNothingGated) {
                if (!(theirs.truePeakDbtp > kNearSilenceDbtp)) {
                    ++nearSilence;
                } else if (!read) {
                    ++ungated.unreadable;
                    ungated.lines += "  " + f.filename().string() + " unreadable by our meter\n";
                } else {
                    ungated.add(f, ours, theirs, false);
                }
                continue;
            }
            if (chosen.files + chosen.unreadable >= kCorpusFiles) {
                ++untried;
                continue;
            }
            if (!read) {
                ++chosen.unreadable;
                chosen.lines += "  " + f.filename().string() + " unreadable by our meter\n";
                continue;
            }
            const bool seen = std::any_of(taken.begin(), taken.end(), [&](const auto& t) {
                return t.second.integratedLufs == theirs.integratedLufs &&
                       t.second.truePeakDbtp == theirs.truePeakDbtp &&
                       std::abs(t.first.seconds - ours.seconds) < 1e-6;
            });
            if (seen) {
                ++sameAudio;
                continue;
            }
            taken.emplace_back(ours, theirs);
            chosen.add(f, ours, theirs, true);
        }
        std::printf(
            "Corpus files with a gated loudness, ours against ffmpeg:\n%s"
            "Corpus files where nothing is gated, true peaks only (above -60 dBTP):\n%s",
            chosen.lines.c_str(), ungated.lines.c_str());
        chosen.report(state, "", true);
        ungated.report(state, "ungated_", false);
        state.counters["ungated_near_silence"] = static_cast<double>(nearSilence);
        state.counters["ffmpeg_cannot_read"] = static_cast<double>(ffmpegCannot);
        state.counters["same_audio_skipped"] = static_cast<double>(sameAudio);
        state.counters["gated_not_taken"] = static_cast<double>(untried);
        state.SetIterationTime(1);
    }
}
BENCHMARK(BM_AgreementCorpusFiles)->UseManualTime()->Iterations(1)->Unit(benchmark::kSecond);

double ffmpegSeconds(const fs::path& file) {
    const auto t0 = Clock::now();
    test::FfmpegFigures theirs;
    std::string why;
    if (!test::ffmpegLoudness(file, theirs, why)) {
        throw std::runtime_error("ffmpeg cannot read " + file.string());
    }
    return secondsSince(t0);
}

// The time per iteration of the measure and of ffmpeg beside it, and their ratio.
void reportAgainstFfmpeg(benchmark::State& state, const char* name, double ours, double theirs) {
    const auto n = static_cast<double>(state.iterations());
    state.counters[name] = ours / n * 1000;
    state.counters["ms_ffmpeg"] = theirs / n * 1000;
    state.counters["ratio_vs_ffmpeg"] = ours / theirs;
}

// Our meter on one file, timed; each iteration also runs ffmpeg on the file (not timed) for the
// ratio counter, so that both are measured under the same load.
void analyse(benchmark::State& state, const fs::path& file) {
    double ours = 0, theirs = 0;
    for (auto _ : state) {
        LoudnessFigures figures;
        const auto t0 = Clock::now();
        if (!measure(file, figures)) {
            state.SkipWithError("our meter cannot read the file");
            return;
        }
        const double t = secondsSince(t0);
        state.SetIterationTime(t);
        ours += t;
        theirs += ffmpegSeconds(file);
    }
    reportAgainstFfmpeg(state, "ms_ours", ours, theirs);
}

void analyseReference(benchmark::State& state, const fs::path& file) {
    for (auto _ : state) {
        state.SetIterationTime(ffmpegSeconds(file));
    }
}

void BM_AnalyseFourMinuteTrack(benchmark::State& state) {
    analyse(state, material().track());
}
void BM_AnalyseFourMinuteTrack_Reference(benchmark::State& state) {
    analyseReference(state, material().track());
}
void BM_AnalyseFourMinuteLoudTrack(benchmark::State& state) {
    analyse(state, material().loudTrack());
}
void BM_AnalyseFourMinuteLoudTrack_Reference(benchmark::State& state) {
    analyseReference(state, material().loudTrack());
}

// The same reading with libebur128 working out the true peak itself (every in-between point of
// every channel), to show what the scanner saves.
void BM_AnalyseFourMinuteTrackLibraryTruePeak(benchmark::State& state) {
    const fs::path file = material().track();
    double ours = 0, theirs = 0;
    for (auto _ : state) {
        const auto t0 = Clock::now();
        int error = kOk;
        auto decoder = openFile(FileWindow{file.string(), 0, 0}, error);
        if (!decoder) {
            state.SkipWithError("cannot open the file");
            return;
        }
        ebur128_state* st = ebur128_init(static_cast<unsigned>(decoder->channels()),
                                         static_cast<unsigned long>(decoder->rate()),
                                         EBUR128_MODE_I | EBUR128_MODE_TRUE_PEAK);
        std::vector<std::int16_t> block(4096 * static_cast<std::size_t>(decoder->channels()));
        std::size_t got;
        while ((got = decoder->read(block.data(), 4096)) > 0) {
            ebur128_add_frames_short(st, block.data(), got);
        }
        double lufs = 0, peak = 0;
        ebur128_loudness_global(st, &lufs);
        for (int c = 0; c < decoder->channels(); ++c) {
            double p = 0;
            ebur128_true_peak(st, static_cast<unsigned>(c), &p);
            peak = std::max(peak, p);
        }
        ebur128_destroy(&st);
        benchmark::DoNotOptimize(lufs + peak);
        const double t = secondsSince(t0);
        state.SetIterationTime(t);
        ours += t;
        theirs += ffmpegSeconds(file);
    }
    reportAgainstFfmpeg(state, "ms_library", ours, theirs);
}

BENCHMARK(BM_AnalyseFourMinuteTrack)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AnalyseFourMinuteTrack_Reference)
    ->UseManualTime()
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AnalyseFourMinuteLoudTrack)
    ->UseManualTime()
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AnalyseFourMinuteLoudTrack_Reference)
    ->UseManualTime()
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_AnalyseFourMinuteTrackLibraryTruePeak)
    ->UseManualTime()
    ->Iterations(5)
    ->Unit(benchmark::kMillisecond);

}  // namespace
