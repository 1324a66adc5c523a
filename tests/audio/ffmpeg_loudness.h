#pragma once
// The reference the loudness meter is held against: ffmpeg's EBU R128 filter with its true-peak
// mode, run on a file, its closing summary read back.

#include <filesystem>
#include <string>

namespace tw::audio::test {

struct FfmpegFigures {
    double integratedLufs = 0;  // "I:" of the summary; ffmpeg gives -70.0 where nothing is gated
    double truePeakDbtp = 0;    // "Peak:" under the summary's "True peak:"; -inf for silence
};

// The command that is run, its standard error sent to its standard output. A mono file is taken
// as the players play it, on both sides (the filter's dual-mono option; it leaves other files
// alone).
std::string ffmpegLoudnessCommand(const std::filesystem::path& file);

// Runs the command; false, with ffmpeg's output in `why`, when it fails or prints no summary.
bool ffmpegLoudness(const std::filesystem::path& file, FfmpegFigures& out, std::string& why);

// Reads the figures out of the filter's output; false when the summary is not there.
bool parseFfmpegSummary(const std::string& output, FfmpegFigures& out);

}  // namespace tw::audio::test
