// The texts of ReplayGain values, read and written without the process locale: a station set to a
// language with a decimal comma must neither misread "-6.53 dB" nor write "-6,53 dB".

#include <charconv>
#include <cmath>

#include "core/text.h"
#include "tags/replay_gain.h"

namespace tw::tags {
namespace {

// Longer than any value a tagger writes; a longer text is damage, not a number.
constexpr std::size_t kMaxNumberLength = 32;

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::string_view withoutBlanks(std::string_view text) {
    while (!text.empty() && isBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

// Digits, then at most one "." or "," followed by digits. Some taggers write the comma of the
// locale they ran in; both mean the same.
std::optional<double> unsignedDecimal(std::string_view text) {
    if (text.empty() || text.size() > kMaxNumberLength) {
        return std::nullopt;
    }
    char buffer[kMaxNumberLength];
    std::size_t before = 0, after = 0;
    bool point = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c >= '0' && c <= '9') {
            ++(point ? after : before);
            buffer[i] = c;
        } else if ((c == '.' || c == ',') && !point) {
            point = true;
            buffer[i] = '.';
        } else {
            return std::nullopt;
        }
    }
    if (before == 0 || (point && after == 0)) {
        return std::nullopt;
    }
    double value = 0;
    const auto [end, error] =
        std::from_chars(buffer, buffer + text.size(), value, std::chars_format::fixed);
    if (error != std::errc() || end != buffer + text.size() || !std::isfinite(value)) {
        return std::nullopt;
    }
    return value;
}

std::string fixed(double value, int decimals) {
    char buffer[64];
    const auto [end, error] =
        std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, decimals);
    if (error != std::errc()) {
        return {};
    }
    return std::string(buffer, end);
}

}  // namespace

std::optional<double> parseReplayGainDb(std::string_view text) {
    text = withoutBlanks(text);
    if (text.size() >= 2 && core::equalsNoCase(text.substr(text.size() - 2), "dB")) {
        text = withoutBlanks(text.substr(0, text.size() - 2));
    }
    bool negative = false;
    if (!text.empty() && (text.front() == '+' || text.front() == '-')) {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    const std::optional<double> magnitude = unsignedDecimal(text);
    if (!magnitude || *magnitude > kMaxReplayGainDb) {
        return std::nullopt;
    }
    return negative ? -*magnitude : *magnitude;
}

std::optional<double> parseReplayGainPeak(std::string_view text) {
    const std::optional<double> peak = unsignedDecimal(withoutBlanks(text));
    if (!peak || *peak > kMaxReplayGainPeak) {
        return std::nullopt;
    }
    return peak;
}

std::string formatReplayGainDb(double gainDb) {
    const std::string magnitude = fixed(std::fabs(gainDb), 2);
    const bool negative = gainDb < 0 && magnitude != "0.00";
    return (negative ? "-" : "+") + magnitude + " dB";
}

std::string formatReplayGainPeak(double peak) {
    return fixed(peak, 6);
}

}  // namespace tw::tags
