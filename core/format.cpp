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

bool startsWithNoCase(std::string_view s, std::size_t at, std::string_view token) {
    return s.size() - at >= token.size() && equalsNoCase(s.substr(at, token.size()), token);
}

std::size_t runOf(std::string_view s, std::size_t at, char lower) {
    std::size_t n = 0;
    while (at + n < s.size() && std::tolower(static_cast<unsigned char>(s[at + n])) == lower) {
        ++n;
    }
    return n;
}

std::string twoDigits(int v) {
    if (v >= 0 && v < 100) {
        return {static_cast<char>('0' + v / 10), static_cast<char>('0' + v % 10)};
    }
    char buf[16];
    std::snprintf(buf, sizeof buf, "%02d", v);
    return buf;
}

}  // namespace

std::string formatDate(DateValue d, std::string_view picture) {
    const DateParts p = dateParts(d);
    // The 12-hour clock applies to the whole picture when it holds an AM/PM token anywhere.
    bool twelveHour = false;
    for (std::size_t at = 0; at < picture.size() && !twelveHour; ++at) {
        twelveHour =
            startsWithNoCase(picture, at, "AMPM") || startsWithNoCase(picture, at, "AM/PM");
    }
    const int hour = twelveHour ? (p.hour % 12 == 0 ? 12 : p.hour % 12) : p.hour;
    std::string out;
    bool afterHour = false;
    std::size_t i = 0;
    while (i < picture.size()) {
        if (startsWithNoCase(picture, i, "AMPM")) {
            out += p.hour < 12 ? "AM" : "PM";
            i += 4;
            continue;
        }
        if (startsWithNoCase(picture, i, "AM/PM")) {
            out += p.hour < 12 ? "AM" : "PM";
            i += 5;
            continue;
        }
        const char c = static_cast<char>(std::tolower(static_cast<unsigned char>(picture[i])));
        std::size_t n = 0;
        switch (c) {
            case 'd':
                n = runOf(picture, i, 'd');
                if (n == 1)
                    out += std::to_string(p.day);
                else if (n == 2)
                    out += twoDigits(p.day);
                else if (n == 3)
                    out += std::string(kDayNames[p.weekday - 1]).substr(0, 3);
                else
                    out += kDayNames[p.weekday - 1];
                afterHour = false;
                break;
            case 'm':
                n = runOf(picture, i, 'm');
                if (afterHour && n <= 2) {
                    out += n == 1 ? std::to_string(p.minute) : twoDigits(p.minute);
                } else if (n == 1) {
                    out += std::to_string(p.month);
                } else if (n == 2) {
                    out += twoDigits(p.month);
                } else if (n == 3) {
                    out += std::string(kMonthNames[p.month - 1]).substr(0, 3);
                } else {
                    out += kMonthNames[p.month - 1];
                }
                afterHour = false;
                break;
            case 'y':
                n = runOf(picture, i, 'y');
                out += n <= 2 ? twoDigits(p.year % 100) : std::to_string(p.year);
                afterHour = false;
                break;
            case 'h':
                n = runOf(picture, i, 'h');
                out += n == 1 ? std::to_string(hour) : twoDigits(hour);
                afterHour = true;
                break;
            case 'n':
                n = runOf(picture, i, 'n');
                out += n == 1 ? std::to_string(p.minute) : twoDigits(p.minute);
                afterHour = false;
                break;
            case 's':
                n = runOf(picture, i, 's');
                out += n == 1 ? std::to_string(p.second) : twoDigits(p.second);
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
