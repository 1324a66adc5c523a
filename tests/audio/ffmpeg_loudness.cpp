#include "tests/audio/ffmpeg_loudness.h"

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>

namespace tw::audio::test {

namespace {

// The number after `label` at or after `from`, where the label starts a line's text.
bool numberAfter(const std::string& text, std::size_t from, const std::string& label, double& out) {
    for (std::size_t at = text.find(label, from); at != std::string::npos;
         at = text.find(label, at + 1)) {
        if (at > 0 && text[at - 1] != ' ' && text[at - 1] != '\n') {
            continue;
        }
        const char* start = text.c_str() + at + label.size();
        char* end = nullptr;
        const double v = std::strtod(start, &end);
        if (end == start) {
            return false;
        }
        out = v;
        return true;
    }
    return false;
}

}  // namespace

std::string ffmpegLoudnessCommand(const std::filesystem::path& file) {
    return "ffmpeg -nostats -hide_banner -nostdin -i '" + file.string() +
           "' -af ebur128=peak=true:dualmono=true -f null - 2>&1";
}

bool parseFfmpegSummary(const std::string& output, FfmpegFigures& out) {
    const std::size_t summary = output.rfind("Summary:");
    if (summary == std::string::npos) {
        return false;
    }
    FfmpegFigures f;
    if (!numberAfter(output, summary, "I:", f.integratedLufs) ||
        !numberAfter(output, summary, "Peak:", f.truePeakDbtp)) {
        return false;
    }
    out = f;
    return true;
}

bool ffmpegLoudness(const std::filesystem::path& file, FfmpegFigures& out, std::string& why) {
    const std::string command = ffmpegLoudnessCommand(file);
    FILE* pipe = ::popen(command.c_str(), "r");
    if (!pipe) {
        why = "cannot run: " + command;
        return false;
    }
    std::string output;
    char buffer[4096];
    std::size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0) {
        output.append(buffer, n);
    }
    const int status = ::pclose(pipe);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || !parseFfmpegSummary(output, out)) {
        why = output;
        return false;
    }
    return true;
}

}  // namespace tw::audio::test
