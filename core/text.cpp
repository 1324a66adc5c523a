#include "core/text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "core/failure.h"

namespace tw::core {

namespace {

bool isIgnoredBlank(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}
bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// Strips the blanks that the numeric value ignores, then takes the longest prefix that is a
// number: [sign] digits [. digits] [E|D [sign] digits].
std::string numericPrefix(std::string_view text) {
    // The text itself where it holds no blanks (the common case: a copy costs more than a scan).
    std::string stripped;
    std::string_view s = text;
    if (std::any_of(text.begin(), text.end(), isIgnoredBlank)) {
        stripped.reserve(text.size());
        for (char c : text) {
            if (!isIgnoredBlank(c)) {
                stripped.push_back(c);
            }
        }
        s = stripped;
    }
    std::size_t i = 0;
    if (i < s.size() && (s[i] == '+' || s[i] == '-')) {
        ++i;
    }
    const std::size_t wholeFrom = i;
    while (i < s.size() && isDigit(s[i])) {
        ++i;
    }
    bool digits = i > wholeFrom;
    if (i < s.size() && s[i] == '.') {
        const std::size_t fractionFrom = ++i;
        while (i < s.size() && isDigit(s[i])) {
            ++i;
        }
        digits = digits || i > fractionFrom;
    }
    if (!digits) {
        return {};
    }
    std::string out(s.substr(0, i));
    if (i < s.size() && (s[i] == 'e' || s[i] == 'E' || s[i] == 'd' || s[i] == 'D')) {
        std::size_t j = i + 1;
        if (j < s.size() && (s[j] == '+' || s[j] == '-')) {
            ++j;
        }
        const std::size_t exponentFrom = j;
        while (j < s.size() && isDigit(s[j])) {
            ++j;
        }
        if (j > exponentFrom) {
            out.push_back('e');
            out.append(s.substr(i + 1, j - i - 1));
        }
    }
    return out;
}

// The value of a number's text, as strtod reads it: from_chars where it reads the whole text (it
// takes no '+' and gives up on a value out of range, which strtod makes infinite or zero).
double readNumber(const std::string& text) {
    const char* first = text.data();
    const char* last = first + text.size();
    if (first != last && *first == '+') {
        ++first;
    }
    double v = 0;
    const auto r = std::from_chars(first, last, v);
    if (r.ec == std::errc() && r.ptr == last) {
        return v;
    }
    return std::strtod(text.c_str(), nullptr);
}

double prefixValue(std::string_view text) {
    const std::string prefix = numericPrefix(text);
    return prefix.empty() ? 0.0 : readNumber(prefix);
}

}  // namespace

double val(std::string_view text) {
    const double v = prefixValue(text);
    if (!std::isfinite(v)) {
        failOverflow();
    }
    return v;
}

std::optional<double> finiteVal(std::string_view text) {
    const double v = prefixValue(text);
    if (!std::isfinite(v)) {
        return std::nullopt;
    }
    return v;
}

std::string numberText(double value) {
    if (value == 0) {
        return "0";
    }
    char buf[64];
    // No fewer digits than the shortest text that reads back as the value can do: the search for
    // the precision starts there (the position monitor writes such a text on every tick).
    int shortest = 1;
    if (const auto r = std::to_chars(buf, buf + sizeof buf, value, std::chars_format::scientific);
        r.ec == std::errc()) {
        int digits = 0;
        for (const char* p = buf; p != r.ptr && *p != 'e'; ++p) {
            digits += *p >= '0' && *p <= '9';
        }
        shortest = std::max(1, digits);
    }
    // As printf's "%.*G" gives it: exactly rounded, in capitals.
    std::string s;
    for (int precision = shortest; precision <= 17; ++precision) {
        const auto r =
            std::to_chars(buf, buf + sizeof buf, value, std::chars_format::general, precision);
        s.assign(buf, r.ptr);
        if (readNumber(s) == value) {
            break;
        }
    }
    s = toUpper(s);
    // "0.5" reads ".5" in the console's number text.
    if (s.rfind("0.", 0) == 0) {
        s.erase(0, 1);
    } else if (s.rfind("-0.", 0) == 0) {
        s.erase(1, 1);
    }
    return s;
}

std::string str(double value) {
    std::string s = numberText(value);
    return value < 0 ? s : " " + s;
}

std::string str(std::int64_t value) {
    std::string s = std::to_string(value);
    return value < 0 ? s : " " + s;
}

double roundHalfEven(double value) {
    return std::nearbyint(value);
}

double roundHalfAway(double value) {
    return std::round(value);
}

std::int32_t cLng(double value) {
    if (std::isnan(value)) {
        failOverflow();
    }
    double r = roundHalfEven(value);
    if (r < static_cast<double>(std::numeric_limits<std::int32_t>::min()) ||
        r > static_cast<double>(std::numeric_limits<std::int32_t>::max())) {
        failOverflow();
    }
    return static_cast<std::int32_t>(r);
}

std::int16_t cInt(double value) {
    if (std::isnan(value)) {
        failOverflow();
    }
    double r = roundHalfEven(value);
    if (r < -32768.0 || r > 32767.0) {
        failOverflow();
    }
    return static_cast<std::int16_t>(r);
}

double cDblText(std::string_view text) {
    std::string t = trim(text);
    if (t.empty()) {
        failTypeMismatch();
    }
    char* end = nullptr;
    double v = std::strtod(t.c_str(), &end);
    if (end == t.c_str() || *end != '\0') {
        failTypeMismatch();
    }
    if (!std::isfinite(v)) {
        failOverflow();
    }
    return v;
}

std::int32_t cLngText(std::string_view text) {
    return cLng(cDblText(text));
}

std::int32_t intDiv(double a, double b) {
    std::int32_t x = cLng(a);
    std::int32_t y = cLng(b);
    if (y == 0) {
        failDivisionByZero();
    }
    if (x == std::numeric_limits<std::int32_t>::min() && y == -1) {
        failOverflow();
    }
    return x / y;
}

std::string trimLeft(std::string_view s) {
    std::size_t i = 0;
    while (i < s.size() && s[i] == ' ') {
        ++i;
    }
    return std::string(s.substr(i));
}

std::string trimRight(std::string_view s) {
    std::size_t n = s.size();
    while (n > 0 && s[n - 1] == ' ') {
        --n;
    }
    return std::string(s.substr(0, n));
}

std::string trim(std::string_view s) {
    return trimLeft(trimRight(s));
}

std::string toLower(std::string_view s) {
    std::string out(s);
    for (char& c : out) {
        c = lowerAscii(c);
    }
    return out;
}

std::string toUpper(std::string_view s) {
    std::string out(s);
    for (char& c : out) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return out;
}

bool equalsNoCase(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (lowerAscii(a[i]) != lowerAscii(b[i])) {
            return false;
        }
    }
    return true;
}

bool containsText(std::string_view haystack, std::string_view needle) {
    return haystack.find(needle) != std::string_view::npos;
}

std::size_t charCount(std::string_view s) {
    std::size_t n = 0;
    for (char c : s) {
        if ((static_cast<unsigned char>(c) & 0xC0) != 0x80) {
            ++n;
        }
    }
    return n;
}

std::string leftChars(std::string_view s, std::size_t n) {
    std::size_t seen = 0;
    for (std::size_t i = 0; i < s.size(); ++i) {
        if ((static_cast<unsigned char>(s[i]) & 0xC0) != 0x80) {
            if (seen == n) {
                return std::string(s.substr(0, i));
            }
            ++seen;
        }
    }
    return std::string(s);
}

int countChar(std::string_view text, char c) {
    int n = 0;
    for (char x : text) {
        n += (x == c);
    }
    return n;
}

std::string replaceText(std::string_view text, std::string_view find, std::string_view replacement,
                        int start, bool& changed) {
    if (find.empty() || text.empty()) {
        return std::string(text);
    }
    if (start >= 0) {
        std::size_t from = start == 0 ? 0 : static_cast<std::size_t>(start - 1);
        if (from >= text.size()) {
            return std::string(text);
        }
        std::string out(text.substr(0, from));
        std::size_t pos = from;
        while (true) {
            std::size_t hit = text.find(find, pos);
            if (hit == std::string_view::npos) {
                out.append(text.substr(pos));
                break;
            }
            out.append(text.substr(pos, hit - pos));
            out.append(replacement);
            pos = hit + find.size();
            changed = true;
        }
        return out;
    }
    // From the end backwards: occurrences that begin at or before the start position, found
    // from the back, each replaced in turn.
    long long begin = static_cast<long long>(text.size()) + start;
    if (begin < 0) {
        return std::string(text);
    }
    std::string out(text);
    std::size_t searchFrom = static_cast<std::size_t>(begin);
    while (true) {
        std::size_t hit = std::string_view(out).rfind(find, searchFrom);
        if (hit == std::string_view::npos) {
            break;
        }
        out.replace(hit, find.size(), replacement);
        changed = true;
        if (hit == 0) {
            break;
        }
        searchFrom = hit - 1;
    }
    return out;
}

std::vector<std::string> split(std::string_view text, std::string_view delimiter) {
    std::vector<std::string> parts;
    if (delimiter.empty()) {
        parts.emplace_back(text);
        return parts;
    }
    std::size_t pos = 0;
    while (true) {
        std::size_t hit = text.find(delimiter, pos);
        if (hit == std::string_view::npos) {
            parts.emplace_back(text.substr(pos));
            return parts;
        }
        parts.emplace_back(text.substr(pos, hit - pos));
        pos = hit + delimiter.size();
    }
}

std::vector<std::uint8_t> ansiToBytes(const char* text, std::size_t maxLen) {
    std::vector<std::uint8_t> bytes;
    if (!text) {
        return bytes;
    }
    for (std::size_t i = 0; i < maxLen && text[i] != '\0'; ++i) {
        bytes.push_back(static_cast<std::uint8_t>(text[i]));
    }
    return bytes;
}

}  // namespace tw::core
