// The text readers fed by files the station does not control: dates from played.ini, numbers
// from settings and cue tags, token and path splitting. None may crash, hang or read out of
// bounds, and a date that reads must write back as text that reads as the same date.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "core/dates.h"
#include "core/failure.h"
#include "core/format.h"
#include "core/paths.h"
#include "core/text.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    using namespace tw::core;

    DateValue d = 0;
    if (parseDate(text, d)) {
        const std::string written = generalDate(d);
        DateValue back = 0;
        if (!parseDate(written, back) || diffSeconds(d, back) != 0) {
            __builtin_trap();
        }
        formatDate(d, "ddd mmm dd, yyyy  HH:MM:SS AMPM");
    }
    try {
        const double v = val(text);
        formatNumber(v, "0#.0");
        formatNumber(v, "#.0");
        str(v);
        cLng(v);
    } catch (const Failure&) {
        // Overflow is the conversion's answer to a number out of range.
    }
    formatDate(static_cast<double>(size % 80000) - 1000.5, text.substr(0, 64));
    TokenReader tokens;
    const std::string delimiter = size > 0 ? std::string(1, text[0]) : "~";
    for (int i = 1; i <= 12; ++i) {
        tokens.getToken(delimiter, i == 1 ? 1 : 0, text, "\"");
    }
    for (int part = -8; part <= 8; ++part) {
        parsePath(text, part);
    }
    bool changed = false;
    replaceText(text, "[", "(", static_cast<int>(size % 7) - 3, changed);
    return 0;
}
