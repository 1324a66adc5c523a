#include "media/loudness_file.h"

#include <charconv>
#include <cmath>
#include <cstdio>

#include "core/text.h"

namespace tw::media {

namespace {

std::string_view trim(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) {
        s.remove_prefix(1);
    }
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r')) {
        s.remove_suffix(1);
    }
    return s;
}

template <typename T>
bool parseWhole(std::string_view s, T& out) {
    const auto [end, ec] = std::from_chars(s.data(), s.data() + s.size(), out);
    return ec == std::errc() && end == s.data() + s.size();
}

// A level in dB: finite within what a file can hold, or "-inf" for silence.
bool parseLevel(std::string_view s, double& out) {
    if (s == "-inf") {
        out = -HUGE_VAL;
        return true;
    }
    // Kept to the hundredth it is written with, so that what is read is what a write gives back.
    if (!parseWhole(s, out) || !std::isfinite(out)) {
        return false;
    }
    out = std::round(out * 100) / 100;
    return out > -200 && out < 100;
}

std::string formatLevel(double v) {
    if (!std::isfinite(v)) {
        return "-inf";
    }
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.2f", v);
    return buf;
}

// What one section gathered; complete when every field it needs was read and valid.
struct Pending {
    LoudnessRecord record;
    bool open = false, bad = false, size = false, written = false, lufs = false, from = false;
};

void finish(Pending& p, LoudnessFileContents& out) {
    if (!p.open) {
        return;
    }
    const bool peakNeeded = !p.record.entry.fromReplayGain;
    if (!p.bad && p.size && p.written && p.lufs && p.from &&
        (!peakNeeded || p.record.entry.peakDbtp) && !p.record.name.empty()) {
        out.records.push_back(std::move(p.record));
    } else {
        ++out.rejected;
    }
    p = Pending{};
}

void readKey(Pending& p, std::string_view key, std::string_view value) {
    LoudnessEntry& e = p.record.entry;
    if (core::equalsNoCase(key, "Size")) {
        p.size = parseWhole(value, e.size) && e.size >= 0;
        p.bad |= !p.size;
    } else if (core::equalsNoCase(key, "Written")) {
        const std::size_t dot = value.find('.');
        p.written = dot != std::string_view::npos &&
                    parseWhole(value.substr(0, dot), e.writtenSec) &&
                    parseWhole(value.substr(dot + 1), e.writtenNsec) && e.writtenNsec >= 0 &&
                    e.writtenNsec < 1'000'000'000;
        p.bad |= !p.written;
    } else if (core::equalsNoCase(key, "Loudness")) {
        p.lufs = parseLevel(value, e.lufs);
        p.bad |= !p.lufs;
    } else if (core::equalsNoCase(key, "Peak")) {
        double peak = 0;
        if (parseLevel(value, peak)) {
            e.peakDbtp = peak;
        } else {
            p.bad = true;
        }
    } else if (core::equalsNoCase(key, "From")) {
        p.from = core::equalsNoCase(value, "Measured") || core::equalsNoCase(value, "ReplayGain");
        e.fromReplayGain = core::equalsNoCase(value, "ReplayGain");
        p.bad |= !p.from;
    }
}

}  // namespace

LoudnessFileContents parseLoudnessFile(std::string_view bytes) {
    LoudnessFileContents out;
    Pending p;
    while (!bytes.empty()) {
        const std::size_t nl = bytes.find('\n');
        const std::string_view line =
            trim(nl == std::string_view::npos ? bytes : bytes.substr(0, nl));
        bytes.remove_prefix(nl == std::string_view::npos ? bytes.size() : nl + 1);
        if (line.empty() || line.front() == ';') {
            continue;
        }
        if (line.front() == '[') {
            const std::size_t close = line.rfind(']');
            if (close == std::string_view::npos) {
                p.bad = true;
                continue;
            }
            finish(p, out);
            p.open = true;
            p.record.name = std::string(trim(line.substr(1, close - 1)));
            continue;
        }
        const std::size_t eq = line.find('=');
        if (eq == std::string_view::npos || !p.open) {
            p.bad |= p.open;
            continue;
        }
        readKey(p, trim(line.substr(0, eq)), trim(line.substr(eq + 1)));
    }
    finish(p, out);
    return out;
}

std::string serializeLoudnessFile(const std::vector<LoudnessRecord>& records) {
    std::string out;
    out.reserve(records.size() * 128);
    for (const LoudnessRecord& r : records) {
        // A name that cannot stand in a section line is not kept; its file is measured again.
        if (r.name.empty() || r.name.find_first_of("\r\n") != std::string::npos ||
            r.name.front() == ' ' || r.name.back() == ' ') {
            continue;
        }
        const LoudnessEntry& e = r.entry;
        char written[64];
        std::snprintf(written, sizeof written, "%lld.%09lld", static_cast<long long>(e.writtenSec),
                      static_cast<long long>(e.writtenNsec));
        out += '[';
        out += r.name;
        out += "]\nSize=" + std::to_string(e.size) + "\nWritten=" + written +
               "\nLoudness=" + formatLevel(e.lufs) + '\n';
        if (e.peakDbtp) {
            out += "Peak=" + formatLevel(*e.peakDbtp) + '\n';
        }
        out += e.fromReplayGain ? "From=ReplayGain\n\n" : "From=Measured\n\n";
    }
    return out;
}

}  // namespace tw::media
