// ReplayGain values come from any tagger's texts and any file's tags. The whole input is read as a
// gain text, a peak text, the end of a file with an APEv2 tag and an ID3v2 tag body; nothing may
// crash, hang or read out of bounds, every value found must be in range, and every text written
// must read back. Then the ReplayGain frames are written into the body and must read back exactly,
// whatever damage the body's other frames carry.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "fuzz/fuzz_check.h"
#include "tags/replay_gain.h"

using tw::fuzz::check;

namespace {

using tw::tags::ReplayGain;

bool gainInRange(double gain) {
    return std::isfinite(gain) && std::fabs(gain) <= tw::tags::kMaxReplayGainDb;
}

bool peakInRange(double peak) {
    return std::isfinite(peak) && peak >= 0 && peak <= tw::tags::kMaxReplayGainPeak;
}

void checkFound(const std::optional<ReplayGain>& found) {
    if (found) {
        check(gainInRange(found->trackGainDb));
        check(!found->trackPeak || peakInRange(*found->trackPeak));
    }
}

void checkTexts(std::string_view text) {
    if (const auto gain = tw::tags::parseReplayGainDb(text)) {
        check(gainInRange(*gain));
        const auto back = tw::tags::parseReplayGainDb(tw::tags::formatReplayGainDb(*gain));
        check(back && std::fabs(*back - *gain) <= 0.005 + 1e-9);
    }
    if (const auto peak = tw::tags::parseReplayGainPeak(text)) {
        check(peakInRange(*peak));
        const auto back = tw::tags::parseReplayGainPeak(tw::tags::formatReplayGainPeak(*peak));
        check(back && std::fabs(*back - *peak) <= 5e-7 + 1e-12);
    }
}

// Values to write, taken from the input's first bytes so that the fuzzer varies them too.
std::uint32_t numberAt(std::span<const std::uint8_t> bytes, std::size_t at) {
    std::uint32_t n = 0;
    for (std::size_t i = at; i < at + 4 && i < bytes.size(); ++i) {
        n = (n << 8) | bytes[i];
    }
    return n;
}

void checkId3(std::span<const std::uint8_t> data) {
    if (data.empty()) {
        return;
    }
    const auto revision = static_cast<std::uint8_t>(data[0] % 6);
    const std::string_view body(reinterpret_cast<const char*>(data.data()) + 1, data.size() - 1);
    checkFound(tw::tags::readId3ReplayGain(body, revision));
    if (revision < 2 || revision > 4) {
        return;
    }
    const double gain = static_cast<double>(numberAt(data, 1) % 12801) / 100.0 - 64.0;
    const double peak = static_cast<double>(numberAt(data, 5) % 100000001) / 1e6;
    const std::string written = tw::tags::withReplayGainFrames(body, revision, gain, peak);
    const auto read = tw::tags::readId3ReplayGain(written, revision);
    check(read.has_value());
    check(read->trackGainDb ==
          tw::tags::parseReplayGainDb(tw::tags::formatReplayGainDb(gain)).value_or(1000));
    check(read->trackPeak ==
          tw::tags::parseReplayGainPeak(tw::tags::formatReplayGainPeak(peak)).value_or(1000));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::uint8_t> bytes(data, size);
    checkTexts(std::string_view(reinterpret_cast<const char*>(data), size));
    checkFound(tw::tags::readApeReplayGain(bytes));
    checkId3(bytes);
    return 0;
}
