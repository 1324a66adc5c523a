#pragma once
// What the engine's tests share: test signals written as WAV files or encoded to MP3 with the lame
// program (to AAC with ffmpeg), an offline engine with its mixer running, and measurements of
// rendered audio.

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "audio/mix_engine.h"
#include "tests/testlib/temp_dir.h"

namespace tw::audio::test {

// 16-bit interleaved samples with their format.
struct Pcm {
    int rate = 44100;
    int channels = 2;
    std::vector<std::int16_t> samples;
    std::size_t frames() const { return samples.size() / static_cast<std::size_t>(channels); }
};

// A sine of `hz` at `amplitude` (0..1 of full scale) on every channel.
Pcm sine(int rate, int channels, double hz, double amplitude, std::size_t frames);
// A constant value per channel (left, right), for exact arithmetic through the mixer.
Pcm constant(int rate, std::int16_t left, std::int16_t right, std::size_t frames);
// Each frame carries its own index (modulo 32768) on every channel, so that a frame can be named.
Pcm ramp(int rate, int channels, std::size_t frames);

// A RIFF WAVE image of the samples.
std::vector<std::uint8_t> wavImage(const Pcm& pcm);
void writeWav(const std::filesystem::path& path, const Pcm& pcm);
// Encodes a WAV with lame and the given options; fails the test when lame fails.
void encodeMp3(const std::filesystem::path& wav, const std::filesystem::path& mp3,
               const std::string& options);

// Encodes a WAV to AAC in ADTS frames with ffmpeg and the given options; fails the test when
// ffmpeg fails.
void encodeAdts(const std::filesystem::path& wav, const std::filesystem::path& aac,
                const std::string& options);

// Measurements over [from, to) frames of one channel of interleaved stereo float audio.
double rms(const std::vector<float>& stereo, int channel, std::size_t from, std::size_t to);
double frequency(const std::vector<float>& stereo, int channel, std::size_t from, std::size_t to,
                 double rate);
double toDb(double ratio);

// An offline engine with its mixer created and running.
class OfflineEngineTest : public ::testing::Test {
  protected:
    void SetUp() override;

    // Renders `frames` frames; returns the card output (interleaved stereo).
    std::vector<float> render(std::size_t frames);
    // The same, also giving the mixer bus before its volume.
    std::vector<float> render(std::size_t frames, std::vector<float>& bus);
    // A decoding stream of a WAV written to the temporary folder.
    Handle wavStream(const Pcm& pcm, const std::string& name, std::uint32_t flags = kStreamDecode);

    tw::test::TempDir dir;
    MixEngine engine{EngineMode::Offline};
    Handle mixer = 0;
};

}  // namespace tw::audio::test
