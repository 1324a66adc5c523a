// loudness.ini can be anything by the time the console reads it: half written by a killed run,
// edited by hand, restored from elsewhere. Whatever it holds, the reader must keep only whole,
// sane entries, and what it keeps must come back unchanged through a write and a second read.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "fuzz/fuzz_check.h"
#include "media/loudness_file.h"

using tw::fuzz::check;

namespace {

bool sameEntry(const tw::media::LoudnessEntry& a, const tw::media::LoudnessEntry& b) {
    const auto sameLevel = [](double x, double y) {
        return (std::isinf(x) && std::isinf(y)) || std::fabs(x - y) < 0.006;
    };
    return a.sameFile(b) && sameLevel(a.lufs, b.lufs) && a.fromReplayGain == b.fromReplayGain &&
           a.peakDbtp.has_value() == b.peakDbtp.has_value() &&
           (!a.peakDbtp || sameLevel(*a.peakDbtp, *b.peakDbtp));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const auto first = tw::media::parseLoudnessFile(bytes);
    for (const auto& r : first.records) {
        check(!r.name.empty());
        check(std::isfinite(r.entry.lufs) || r.entry.lufs < 0);
        check(r.entry.writtenNsec >= 0 && r.entry.writtenNsec < 1'000'000'000);
        check(r.entry.size >= 0);
    }
    const auto second =
        tw::media::parseLoudnessFile(tw::media::serializeLoudnessFile(first.records));
    check(second.rejected == 0);
    std::size_t j = 0;
    for (const auto& r : first.records) {
        // Names that cannot stand in a section line are left out of the file.
        if (r.name.find_first_of("\r\n") != std::string::npos || r.name.front() == ' ' ||
            r.name.back() == ' ') {
            continue;
        }
        check(j < second.records.size());
        check(second.records[j].name == r.name);
        check(sameEntry(second.records[j].entry, r.entry));
        ++j;
    }
    check(j == second.records.size());
    return 0;
}
