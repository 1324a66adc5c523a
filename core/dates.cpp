#include "core/dates.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <string>
#include <vector>

#include "core/failure.h"
#include "core/within_years.h"

namespace tw::core {

namespace {

// Days from 1970-01-01 of a civil date (proleptic Gregorian calendar).
std::int64_t daysFromCivil(std::int64_t y, unsigned m, unsigned d) {
    y -= m <= 2;
    const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
    const unsigned yoe = static_cast<unsigned>(y - era * 400);
    const unsigned doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

void civilFromDays(std::int64_t z, int& y, int& m, int& d) {
    z += 719468;
    const std::int64_t era = (z >= 0 ? z : z - 146096) / 146097;
    const unsigned doe = static_cast<unsigned>(z - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const std::int64_t yy = static_cast<std::int64_t>(yoe) + era * 400;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    d = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
    m = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    y = static_cast<int>(yy + (m <= 2));
}

const std::int64_t kBaseDay = daysFromCivil(1899, 12, 30);

// A date value as whole days from the base date and whole seconds into that day.
struct DaySeconds {
    std::int64_t day;
    std::int64_t seconds;
};

DaySeconds split(DateValue d) {
    double whole = std::trunc(d);
    double frac = std::fabs(d - whole);
    auto secs = static_cast<std::int64_t>(std::llround(frac * 86400.0));
    auto day = static_cast<std::int64_t>(whole);
    if (secs >= 86400) {
        secs -= 86400;
        day += d < 0 ? -1 : 1;
    }
    return {day, secs};
}

DateValue join(std::int64_t day, double seconds) {
    double t = seconds / 86400.0;
    return day >= 0 ? static_cast<double>(day) + t : static_cast<double>(day) - t;
}

// Seconds on one straight line through all dates, for differences.
std::int64_t serialSeconds(DateValue d) {
    DaySeconds ds = split(d);
    return ds.day * 86400 + ds.seconds;
}

DateValue fromSerialSeconds(std::int64_t s) {
    std::int64_t day = s >= 0 ? s / 86400 : -((-s + 86399) / 86400);
    std::int64_t secs = s - day * 86400;
    return join(day, static_cast<double>(secs));
}

int daysInMonth(int y, int m) {
    static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (m == 2 && ((y % 4 == 0 && y % 100 != 0) || y % 400 == 0)) {
        return 29;
    }
    return kDays[m - 1];
}

// A small cursor over the text being parsed.
struct Cursor {
    std::string_view s;
    std::size_t i = 0;
    void skipBlanks() {
        while (i < s.size() && s[i] == ' ') {
            ++i;
        }
    }
    bool number(int& out, int maxDigits) {
        int n = 0, digits = 0;
        while (i < s.size() && std::isdigit(static_cast<unsigned char>(s[i])) &&
               digits < maxDigits) {
            n = n * 10 + (s[i] - '0');
            ++i;
            ++digits;
        }
        out = n;
        return digits > 0;
    }
    bool literal(char c) {
        if (i < s.size() && s[i] == c) {
            ++i;
            return true;
        }
        return false;
    }
    bool atEnd() const { return i >= s.size(); }
};

bool parseTime(Cursor& c, int& h, int& mi, int& se) {
    if (!c.number(h, 2) || !c.literal(':') || !c.number(mi, 2)) {
        return false;
    }
    se = 0;
    // "HH:MM.SS", as the running list shows its times, reads like "HH:MM:SS".
    if ((c.literal(':') || c.literal('.')) && !c.number(se, 2)) {
        return false;
    }
    c.skipBlanks();
    if (c.i + 2 <= c.s.size()) {
        std::string ampm(c.s.substr(c.i, 2));
        for (char& ch : ampm) {
            ch = static_cast<char>(std::toupper(static_cast<unsigned char>(ch)));
        }
        if (ampm == "AM" || ampm == "PM") {
            if (h > 12) {
                return false;
            }
            if (ampm == "AM" && h == 12) {
                h = 0;
            } else if (ampm == "PM" && h < 12) {
                h += 12;
            }
            c.i += 2;
        }
    }
    return h <= 23 && mi <= 59 && se <= 59;
}

}  // namespace

DateValue dateSerial(int year, int month, int day) {
    return static_cast<double>(
        daysFromCivil(year, static_cast<unsigned>(month), static_cast<unsigned>(day)) - kBaseDay);
}

DateValue timeSerial(int hour, int minute, int second) {
    return (hour * 3600.0 + minute * 60.0 + second) / 86400.0;
}

DateValue makeDate(const DateParts& p) {
    std::int64_t day =
        daysFromCivil(p.year, static_cast<unsigned>(p.month), static_cast<unsigned>(p.day)) -
        kBaseDay;
    return join(day, p.hour * 3600.0 + p.minute * 60.0 + p.second);
}

DateParts dateParts(DateValue d) {
    DaySeconds ds = split(d);
    DateParts p;
    civilFromDays(ds.day + kBaseDay, p.year, p.month, p.day);
    p.hour = static_cast<int>(ds.seconds / 3600);
    p.minute = static_cast<int>(ds.seconds / 60 % 60);
    p.second = static_cast<int>(ds.seconds % 60);
    // 1899-12-30 was a Saturday.
    std::int64_t w = ((ds.day % 7) + 7 + 6) % 7;  // 0 Sunday
    p.weekday = static_cast<int>(w) + 1;
    return p;
}

LocalSecond localSecond(std::time_t t) {
    std::tm tm{};
    localtime_r(&t, &tm);
    const std::int64_t day = daysFromCivil(tm.tm_year + 1900, static_cast<unsigned>(tm.tm_mon + 1),
                                           static_cast<unsigned>(tm.tm_mday)) -
                             kBaseDay;
    return {day, tm.tm_hour * 3600.0 + tm.tm_min * 60.0 + tm.tm_sec};
}

DateValue fromLocalSecond(const LocalSecond& s, long nanoseconds) {
    return join(s.day, s.seconds + nanoseconds / 1e9);
}

DateValue fromUnixTime(std::time_t t, long nanoseconds) {
    return fromLocalSecond(localSecond(t), nanoseconds);
}

std::time_t toUnixTime(DateValue d) {
    DateParts p = dateParts(d);
    std::tm tm{};
    tm.tm_year = p.year - 1900;
    tm.tm_mon = p.month - 1;
    tm.tm_mday = p.day;
    tm.tm_hour = p.hour;
    tm.tm_min = p.minute;
    tm.tm_sec = p.second;
    tm.tm_isdst = -1;
    return std::mktime(&tm);
}

double secondsSinceMidnight(DateValue d) {
    double whole = std::trunc(d);
    return std::fabs(d - whole) * 86400.0;
}

DateValue wholeSeconds(DateValue d) {
    double whole = std::trunc(d);
    double secs = std::floor(std::fabs(d - whole) * 86400.0 + 1e-6);
    return join(static_cast<std::int64_t>(whole), secs);
}

std::string isoDateTime(DateValue d) {
    const std::time_t t = toUnixTime(wholeSeconds(d));
    std::tm tm{};
    if (t == static_cast<std::time_t>(-1) || localtime_r(&t, &tm) == nullptr) {
        return {};
    }
    const long offset = tm.tm_gmtoff;
    const long minutes = (offset < 0 ? -offset : offset) / 60;
    char text[96];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d%c%02ld:%02ld",
                  tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec,
                  offset < 0 ? '-' : '+', minutes / 60, minutes % 60);
    return text;
}

std::string generalDate(DateValue d) {
    DaySeconds ds = split(d);
    DateParts p = dateParts(d);
    std::string out;
    bool showDate = ds.day != 0;
    bool showTime = ds.seconds != 0 || !showDate;
    if (showDate) {
        out = std::to_string(p.month) + "/" + std::to_string(p.day) + "/" + std::to_string(p.year);
    }
    if (showTime) {
        int h12 = p.hour % 12 == 0 ? 12 : p.hour % 12;
        char buf[32];
        std::snprintf(buf, sizeof buf, "%d:%02d:%02d %s", h12, p.minute, p.second,
                      p.hour < 12 ? "AM" : "PM");
        if (!out.empty()) {
            out += " ";
        }
        out += buf;
    }
    return out;
}

bool parseDate(std::string_view text, DateValue& out) {
    Cursor c{text};
    c.skipBlanks();
    std::size_t start = c.i;
    int a = 0;
    bool haveDate = false;
    std::int64_t day = 0;
    if (c.number(a, 4)) {
        if (c.literal('-')) {
            // YYYY-MM-DD
            int m = 0, d = 0;
            if (!c.number(m, 2) || !c.literal('-') || !c.number(d, 2)) {
                return false;
            }
            if (m < 1 || m > 12 || d < 1 || d > daysInMonth(a, m)) {
                return false;
            }
            day = daysFromCivil(a, static_cast<unsigned>(m), static_cast<unsigned>(d)) - kBaseDay;
            haveDate = true;
        } else if (c.literal('/')) {
            // M/D/YYYY
            int d = 0, y = 0;
            if (!c.number(d, 2) || !c.literal('/') || !c.number(y, 4)) {
                return false;
            }
            if (a < 1 || a > 12 || d < 1 || d > daysInMonth(y, a)) {
                return false;
            }
            day = daysFromCivil(y, static_cast<unsigned>(a), static_cast<unsigned>(d)) - kBaseDay;
            haveDate = true;
        } else {
            c.i = start;  // a time
        }
    }
    c.skipBlanks();
    int h = 0, mi = 0, se = 0;
    bool haveTime = false;
    if (!c.atEnd()) {
        if (!parseTime(c, h, mi, se)) {
            return false;
        }
        haveTime = true;
        c.skipBlanks();
    }
    if (!c.atEnd() || (!haveDate && !haveTime)) {
        return false;
    }
    out = join(day, h * 3600.0 + mi * 60.0 + se);
    return true;
}

DateValue cDate(std::string_view text) {
    DateValue d = 0;
    if (!parseDate(text, d)) {
        failTypeMismatch();
    }
    return d;
}

DateValue addSeconds(DateValue d, double seconds) {
    return fromSerialSeconds(serialSeconds(d) + static_cast<std::int64_t>(std::nearbyint(seconds)));
}

std::int64_t diffSeconds(DateValue a, DateValue b) {
    return serialSeconds(b) - serialSeconds(a);
}

std::int64_t diffMinutes(DateValue a, DateValue b) {
    auto floorDiv = [](std::int64_t x) { return x >= 0 ? x / 60 : -((-x + 59) / 60); };
    return floorDiv(serialSeconds(b)) - floorDiv(serialSeconds(a));
}

int diffYears(DateValue a, DateValue b) {
    return dateParts(b).year - dateParts(a).year;
}

// A date's year is that of its day, and years follow days: the year is at least the earliest one
// exactly when the day is at least that year's first.
WithinYears::WithinYears(DateValue reference, int years)
    : firstDay_(daysFromCivil(dateParts(reference).year - years, 1, 1) - kBaseDay) {}

bool WithinYears::operator()(DateValue d) const {
    return split(d).day >= firstDay_;
}

int weekday(DateValue d) {
    return dateParts(d).weekday;
}

}  // namespace tw::core
