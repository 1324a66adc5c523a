// The loudness meter on files written by the tests: tones whose loudness is known exactly,
// silence, MP3 against WAV, files it cannot read, a cancel from another thread, and ffmpeg's
// figures for the same files.

#include "audio/loudness_meter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <numbers>
#include <thread>

#include "audio/engine.h"
#include "tests/audio/ffmpeg_loudness.h"
#include "tests/audio/loudness_material.h"
#include "tests/testlib/temp_dir.h"

namespace tw::audio::test {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

constexpr double kMinusInfinity = -std::numeric_limits<double>::infinity();

LoudnessFigures measured(const fs::path& file) {
    LoudnessFigures f;
    int error = -100;
    EXPECT_EQ(measureLoudness(file.string(), nullptr, f, error), MeasureResult::Measured) << file;
    EXPECT_EQ(error, kOk);
    return f;
}

class LoudnessMeterTest : public ::testing::Test {
  protected:
    fs::path wav(const std::string& name, const Pcm& pcm) {
        const fs::path p = dir / name;
        writeWav(p, pcm);
        return p;
    }

    tw::test::TempDir dir;
};

// A 1 kHz tone on both channels of a stereo file reads its peak level in LUFS: the loudness
// scale is set so, and each rate has its own weighting filter.
class LoudnessMeterToneTest : public LoudnessMeterTest,
                              public ::testing::WithParamInterface<int> {};

TEST_P(LoudnessMeterToneTest, StereoToneAtMinus23PeakReadsMinus23Lufs) {
    const int rate = GetParam();
    const auto f = measured(wav("tone.wav", fadedSine(rate, 2, 1000, -23, 5)));
    EXPECT_NEAR(f.integratedLufs, -23.0, 0.1);
    EXPECT_NEAR(f.truePeakDbtp, -23.0, 0.1);
    EXPECT_NEAR(f.seconds, 5.0, 1e-9);
}

INSTANTIATE_TEST_SUITE_P(Rates, LoudnessMeterToneTest,
                         ::testing::Values(8000, 22050, 44100, 48000, 96000));

TEST_F(LoudnessMeterTest, MonoToneReadsAsBothSpeakersPlayIt) {
    const auto f = measured(wav("mono.wav", fadedSine(44100, 1, 1000, -23, 5)));
    EXPECT_NEAR(f.integratedLufs, -23.0, 0.1);
    EXPECT_NEAR(f.truePeakDbtp, -23.0, 0.1);
}

TEST_F(LoudnessMeterTest, NearFullScaleToneReadsItsPeak) {
    const auto f = measured(wav("loud.wav", fadedSine(48000, 2, 997, -0.5, 3)));
    EXPECT_NEAR(f.truePeakDbtp, -0.5, 0.1);
    EXPECT_NEAR(f.integratedLufs, -0.5, 0.1);
}

TEST_F(LoudnessMeterTest, PeakBetweenSamplesIsFound) {
    // Samples at 0.707 of the amplitude: a sample-peak meter would read 3 dB low.
    const auto f =
        measured(wav("quarter.wav", fadedSine(44100, 2, 11025, -1, 2, std::numbers::pi / 4)));
    EXPECT_NEAR(f.truePeakDbtp, -1.0, 0.1);
}

TEST_F(LoudnessMeterTest, SilenceReadsMinusInfinity) {
    Pcm silence{44100, 2, std::vector<std::int16_t>(44100 * 2 * 3, 0)};
    const auto f = measured(wav("silence.wav", silence));
    EXPECT_EQ(f.integratedLufs, kMinusInfinity);
    EXPECT_EQ(f.truePeakDbtp, kMinusInfinity);
    EXPECT_NEAR(f.seconds, 3.0, 1e-9);
}

TEST_F(LoudnessMeterTest, FileShorterThanOneGatingBlockHasAPeakButNoLoudness) {
    const auto f = measured(wav("short.wav", fadedSine(44100, 2, 1000, -10, 0.3)));
    EXPECT_EQ(f.integratedLufs, kMinusInfinity);
    EXPECT_NEAR(f.truePeakDbtp, -10.0, 0.1);
    EXPECT_NEAR(f.seconds, 0.3, 1e-4);
}

TEST_F(LoudnessMeterTest, SixChannelFileCountsItsFrontPairAsStereo) {
    const Pcm stereo = fadedSine(48000, 2, 1000, -20, 3);
    Pcm six{48000, 6, std::vector<std::int16_t>(stereo.frames() * 6, 0)};
    for (std::size_t i = 0; i < stereo.frames(); ++i) {
        six.samples[i * 6] = stereo.samples[i * 2];
        six.samples[i * 6 + 1] = stereo.samples[i * 2 + 1];
    }
    const auto f = measured(wav("six.wav", six));
    EXPECT_NEAR(f.integratedLufs, -20.0, 0.1);
}

TEST_F(LoudnessMeterTest, Mp3ReadsWithinThreeTenthsOfItsWav) {
    NoiseUnderChords spec;
    spec.seconds = 10;
    spec.peakDbfs = -8;
    const fs::path source = wav("music.wav", noiseUnderChords(spec));
    const fs::path mp3 = dir / "music.mp3";
    encodeMp3(source, mp3, "-b 192");
    const auto w = measured(source);
    const auto m = measured(mp3);
    EXPECT_TRUE(std::isfinite(w.integratedLufs));
    EXPECT_NEAR(m.integratedLufs, w.integratedLufs, 0.3);
    EXPECT_NEAR(m.truePeakDbtp, w.truePeakDbtp, 1.0);
    EXPECT_NEAR(m.seconds, w.seconds, 0.01);
}

TEST_F(LoudnessMeterTest, TextFileIsUnreadable) {
    std::string text;
    for (int i = 0; i < 2000; ++i) {
        text += "This is a note, not a song.\n";
    }
    tw::test::writeFile(dir / "note.mp3", text);
    LoudnessFigures f;
    f.seconds = 42;
    int error = kOk;
    EXPECT_EQ(measureLoudness((dir / "note.mp3").string(), nullptr, f, error),
              MeasureResult::Unreadable);
    EXPECT_EQ(error, kErrorFileForm);
    EXPECT_EQ(f.seconds, 42);
}

TEST_F(LoudnessMeterTest, MissingFileIsUnreadable) {
    LoudnessFigures f;
    int error = kOk;
    EXPECT_EQ(measureLoudness((dir / "gone.mp3").string(), nullptr, f, error),
              MeasureResult::Unreadable);
    EXPECT_EQ(error, kErrorFileOpen);
}

TEST_F(LoudnessMeterTest, CancelSetBeforehandReadsNothing) {
    const fs::path file = wav("tone.wav", fadedSine(44100, 2, 1000, -10, 1));
    const std::atomic<bool> cancel{true};
    LoudnessFigures f;
    f.seconds = 42;
    int error = -100;
    EXPECT_EQ(measureLoudness(file.string(), &cancel, f, error), MeasureResult::Cancelled);
    EXPECT_EQ(error, kOk);
    EXPECT_EQ(f.seconds, 42);
}

TEST_F(LoudnessMeterTest, CancelFromAnotherThreadStopsWithinABlock) {
    // Twenty minutes of stereo silence, written as a sparse file: the header, then a hole.
    Pcm header{48000, 2, {}};
    const fs::path file = dir / "long.wav";
    const std::uint64_t frames = 48000ull * 60 * 20;
    auto image = wavImage(header);
    const auto dataBytes = static_cast<std::uint32_t>(frames * 4);
    const auto riffBytes = static_cast<std::uint32_t>(36 + dataBytes);
    for (int i = 0; i < 4; ++i) {
        image[4 + i] = static_cast<std::uint8_t>(riffBytes >> (8 * i));
        image[40 + i] = static_cast<std::uint8_t>(dataBytes >> (8 * i));
    }
    {
        std::ofstream out(file, std::ios::binary);
        out.write(reinterpret_cast<const char*>(image.data()),
                  static_cast<std::streamsize>(image.size()));
    }
    fs::resize_file(file, image.size() + dataBytes);

    std::atomic<bool> cancel{false};
    LoudnessFigures f;
    int error = -100;
    MeasureResult result = MeasureResult::Measured;
    Clock::time_point returned;
    std::thread worker([&] {
        result = measureLoudness(file.string(), &cancel, f, error);
        returned = Clock::now();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const auto asked = Clock::now();
    cancel = true;
    worker.join();
    EXPECT_EQ(result, MeasureResult::Cancelled);
    EXPECT_EQ(error, kOk);
    EXPECT_LT(std::chrono::duration<double>(returned - asked).count(), 0.5);
}

// ffmpeg's figures for MP3 files made by lame: the loudness within 0.1 LU, the true peak within
// 0.2 dB (ffmpeg prints both to a tenth).
class LoudnessMeterFfmpegTest : public LoudnessMeterTest,
                                public ::testing::WithParamInterface<NoiseUnderChords> {};

TEST_P(LoudnessMeterFfmpegTest, FiguresAgreeWithFfmpeg) {
    const fs::path source = wav("music.wav", noiseUnderChords(GetParam()));
    const fs::path mp3 = dir / "music.mp3";
    encodeMp3(source, mp3, "-b 160");
    const auto ours = measured(mp3);
    FfmpegFigures theirs;
    std::string why;
    ASSERT_TRUE(ffmpegLoudness(mp3, theirs, why)) << why;
    EXPECT_NEAR(ours.integratedLufs, theirs.integratedLufs, 0.1);
    EXPECT_NEAR(ours.truePeakDbtp, theirs.truePeakDbtp, 0.2);
}

NoiseUnderChords material(int rate, int channels, double peakDbfs, bool squashed,
                          std::uint32_t seed) {
    NoiseUnderChords spec;
    spec.rate = rate;
    spec.channels = channels;
    spec.seconds = 8;
    spec.peakDbfs = peakDbfs;
    spec.squashed = squashed;
    spec.seed = seed;
    return spec;
}

INSTANTIATE_TEST_SUITE_P(Files, LoudnessMeterFfmpegTest,
                         ::testing::Values(material(44100, 2, -6, false, 1),
                                           material(48000, 1, -20, false, 2),
                                           material(44100, 2, -1, true, 3)),
                         [](const ::testing::TestParamInfo<NoiseUnderChords>& info) {
                             const NoiseUnderChords& s = info.param;
                             return std::string(s.channels == 1 ? "Mono" : "Stereo") +
                                    std::to_string(s.rate) + "Peak" +
                                    std::to_string(static_cast<int>(-s.peakDbfs)) +
                                    (s.squashed ? "Squashed" : "");
                         });

TEST(LoudnessMeterFfmpegSummaryTest, ReadsTheSummaryNotTheRunningLines) {
    const std::string output =
        "[Parsed_ebur128_0 @ 0x1] t: 0.4  TARGET:-23 LUFS    M: -20.0 S:-120.7     I: -20.0 LUFS"
        "       LRA:   0.0 LU  FTPK: -5.1 dBFS  TPK: -5.1 dBFS\n"
        "[Parsed_ebur128_0 @ 0x1] Summary:\n\n"
        "  Integrated loudness:\n    I:         -21.5 LUFS\n    Threshold: -31.5 LUFS\n\n"
        "  Loudness range:\n    LRA:         0.1 LU\n\n"
        "  True peak:\n    Peak:       -7.7 dBFS\n";
    FfmpegFigures f;
    ASSERT_TRUE(parseFfmpegSummary(output, f));
    EXPECT_DOUBLE_EQ(f.integratedLufs, -21.5);
    EXPECT_DOUBLE_EQ(f.truePeakDbtp, -7.7);
    EXPECT_FALSE(parseFfmpegSummary("Input #0, wav\n", f));
    ASSERT_TRUE(parseFfmpegSummary("Summary:\n    I: -70.0 LUFS\n    Peak: -inf dBFS\n", f));
    EXPECT_EQ(f.truePeakDbtp, kMinusInfinity);
}

}  // namespace
}  // namespace tw::audio::test
