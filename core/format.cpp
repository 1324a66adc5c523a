#include "core/format.h"

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "core/text.h"

namespace tw::core {

namespace {

const char* const kMonthNames[] = {"January",   "February", "March",    "April",
                                   "May",       "June",     "July",     "August",
                                   "September", "October",  "November", "December"};
const char* const kDayNames[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                 "Thursday", "Friday", "Saturday"};

// The length of the AM/PM token at `at` ("AMPM" or "AM/PM", in any case), or 0 where none starts.
std::size_t amPmAt(std::string_view s, std::size_t at) {
    const std::size_t left = s.size() - at;
    if (left < 4 || lowerAscii(s[at]) != 'a' || lowerAscii(s[at + 1]) != 'm') {
        return 0;
    }
    if (lowerAscii(s[at + 2]) == 'p' && lowerAscii(s[at + 3]) == 'm') {
        return 4;
    }
    return left >= 5 && s[at + 2] == '/' && lowerAscii(s[at + 3]) == 'p' &&
                   lowerAscii(s[at + 4]) == 'm'
               ? 5
               : 0;
}

std::size_t runOf(std::string_view s, std::size_t at, char lower) {
    std::size_t n = 0;
    while (at + n < s.size() && lowerAscii(s[at + n]) == lower) {
        ++n;
    }
    return n;
}

// The position monitor formats the clock on every tick: the digits go straight into the text.
void appendNumber(std::string& out, int v) {
    char buf[16];
    out.append(buf, std::to_chars(buf, buf + sizeof buf, v).ptr);
}

void appendTwoDigits(std::string& out, int v) {
    if (v >= 0 && v < 100) {
        out.push_back(static_cast<char>('0' + v / 10));
        out.push_back(static_cast<char>('0' + v % 10));
        return;
    }
    char buf[16];
    std::snprintf(buf, sizeof buf, "%02d", v);
    out += buf;
}

// One place of a date as "d" (as many digits as it needs) or "dd" (at least two).
void appendDigits(std::string& out, int v, std::size_t letters) {
    if (letters == 1) {
        appendNumber(out, v);
    } else {
        appendTwoDigits(out, v);
    }
}

}  // namespace

std::string formatDate(DateValue d, std::string_view picture) {
    const DateParts p = dateParts(d);
    // The 12-hour clock applies to the whole picture when it holds an AM/PM token anywhere.
    bool twelveHour = false;
    for (std::size_t at = 0; at < picture.size() && !twelveHour; ++at) {
        twelveHour = lowerAscii(picture[at]) == 'a' && amPmAt(picture, at) != 0;
    }
    const int hour = twelveHour ? (p.hour % 12 == 0 ? 12 : p.hour % 12) : p.hour;
    std::string out;
    out.reserve(picture.size() + 16);
    bool afterHour = false;
    std::size_t i = 0;
    while (i < picture.size()) {
        const char c = lowerAscii(picture[i]);
        if (const std::size_t token = c == 'a' ? amPmAt(picture, i) : 0) {
            out += p.hour < 12 ? "AM" : "PM";
            i += token;
            continue;
        }
        std::size_t n = 0;
        switch (c) {
            case 'd':
                n = runOf(picture, i, 'd');
                if (n <= 2)
                    appendDigits(out, p.day, n);
                else if (n == 3)
                    out.append(kDayNames[p.weekday - 1], 3);
                else
                    out += kDayNames[p.weekday - 1];
                afterHour = false;
                break;
            case 'm':
                n = runOf(picture, i, 'm');
                if (afterHour && n <= 2) {
                    appendDigits(out, p.minute, n);
                } else if (n <= 2) {
                    appendDigits(out, p.month, n);
                } else if (n == 3) {
                    out.append(kMonthNames[p.month - 1], 3);
                } else {
                    out += kMonthNames[p.month - 1];
                }
                afterHour = false;
                break;
            case 'y':
                n = runOf(picture, i, 'y');
                if (n <= 2) {
                    appendTwoDigits(out, p.year % 100);
                } else {
                    appendNumber(out, p.year);
                }
                afterHour = false;
                break;
            case 'h':
                n = runOf(picture, i, 'h');
                appendDigits(out, hour, n);
                afterHour = true;
                break;
            case 'n':
                n = runOf(picture, i, 'n');
                appendDigits(out, p.minute, n);
                afterHour = false;
                break;
            case 's':
                n = runOf(picture, i, 's');
                appendDigits(out, p.second, n);
                afterHour = false;
                break;
            default:
                // Separators keep an hour token's claim on a following "m".
                out.push_back(picture[i]);
                n = 1;
                if (c != ':' && c != ' ') {
                    afterHour = afterHour && (c == '.');
                }
                break;
        }
        i += n;
    }
    return out;
}

std::string formatNumber(double value, std::string_view picture) {
    if (!std::isfinite(value)) {
        return numberText(value);  // no digits to place: "INF", "-INF" or "NAN"
    }
    std::size_t dot = picture.find('.');
    std::string_view intPart = picture.substr(0, dot);
    std::string_view fracPart = dot == std::string_view::npos ? "" : picture.substr(dot + 1);
    int decimals = 0;
    for (char c : fracPart) {
        if (c == '0' || c == '#') {
            ++decimals;
        }
    }
    // Minimum integer digits: from the leftmost "0" placeholder to the end of the integer part.
    int minDigits = 0;
    {
        int placeholders = 0;
        bool seenZero = false;
        for (char c : intPart) {
            if (c == '0' || c == '#') {
                if (c == '0') {
                    seenZero = true;
                }
                if (seenZero) {
                    ++placeholders;
                }
            }
        }
        minDigits = placeholders;
    }
    const bool negative = value < 0;
    // Round on the decimal text of the number (15 significant digits), halves away from zero, so
    // that 2.675 gives 2.68 as the operator would expect, whatever its binary form. The digits
    // as printf's "%.14e" gives them, exactly rounded, without printf's cost (the position
    // monitor formats times on every tick).
    char buf[64];
    *std::to_chars(buf, buf + sizeof buf - 1, std::fabs(value), std::chars_format::scientific, 14)
         .ptr = '\0';
    std::string mantissa;
    mantissa.push_back(buf[0]);
    mantissa.append(buf + 2, 14);
    int pointPos = std::atoi(std::strchr(buf, 'e') + 1) + 1;  // digits before the point
    int keep = pointPos + decimals;
    std::string kept;
    if (keep < 0) {
        pointPos = 0;  // under half of the last decimal place: the value shows as zero
    } else {
        if (keep < static_cast<int>(mantissa.size())) {
            kept = mantissa.substr(0, static_cast<std::size_t>(keep));
            if (mantissa[static_cast<std::size_t>(keep)] >= '5') {
                int i = keep - 1;
                while (i >= 0 && kept[static_cast<std::size_t>(i)] == '9') {
                    kept[static_cast<std::size_t>(i)] = '0';
                    --i;
                }
                if (i >= 0) {
                    ++kept[static_cast<std::size_t>(i)];
                } else {
                    kept.insert(0, "1");
                    ++pointPos;
                }
            }
        } else {
            kept = mantissa + std::string(static_cast<std::size_t>(keep) - mantissa.size(), '0');
        }
    }
    // kept holds the digits down to the last decimal place; the point stands pointPos digits in.
    if (pointPos < 0) {
        kept.insert(0, static_cast<std::size_t>(-pointPos), '0');
        pointPos = 0;
    }
    while (static_cast<int>(kept.size()) < pointPos + decimals) {
        kept.push_back('0');
    }
    std::string whole = kept.substr(0, static_cast<std::size_t>(pointPos));
    std::string frac = kept.substr(static_cast<std::size_t>(pointPos));
    if (whole.empty()) {
        whole = "0";
    }
    // Strip leading zeros down to the minimum the picture asks for.
    std::size_t lead = 0;
    while (lead < whole.size() && whole[lead] == '0' &&
           static_cast<int>(whole.size() - lead) > minDigits) {
        ++lead;
    }
    whole = whole.substr(lead);
    while (static_cast<int>(whole.size()) < minDigits) {
        whole.insert(0, "0");
    }
    std::string out = negative ? "-" : "";
    out += whole;
    if (dot != std::string_view::npos) {
        out += ".";
        out += frac;
    }
    return out;
}

}  // namespace tw::core
