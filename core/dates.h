#pragma once
// Date values as the console has always kept them: a day count since 1899-12-30 with the time of
// day as its fraction, in local time. A time of day with no date part is a date in the last days of
// 1899. Before the base date the whole part counts days back and the fraction still counts the time
// forward (-1.25 is 1899-12-29 06:00).

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>

namespace tw::core {

using DateValue = double;

struct DateParts {
    int year = 1899, month = 12, day = 30;
    int hour = 0, minute = 0, second = 0;
    int weekday = 7;  // 1 Sunday .. 7 Saturday
};

DateValue dateSerial(int year, int month, int day);
DateValue timeSerial(int hour, int minute, int second);
DateValue makeDate(const DateParts& p);
// The parts of a date, to the nearest second.
DateParts dateParts(DateValue d);

// Local time of the machine.
DateValue fromUnixTime(std::time_t t, long nanoseconds = 0);
// The same in two steps, for a caller that reads many moments of one second: the second's local
// day and whole seconds since that day's midnight (the calendar, worked out by localtime_r), then
// the moment within it. fromLocalSecond(localSecond(t), ns) is exactly fromUnixTime(t, ns).
struct LocalSecond {
    std::int64_t day = 0;  // days since 1899-12-30
    double seconds = 0;    // whole seconds since midnight
};
LocalSecond localSecond(std::time_t t);
DateValue fromLocalSecond(const LocalSecond& s, long nanoseconds);
std::time_t toUnixTime(DateValue d);

// Seconds since the start of the day of a date value, with their fraction.
double secondsSinceMidnight(DateValue d);
// The date value cut to its whole second.
DateValue wholeSeconds(DateValue d);

// The general date text: "11/22/2026 1:19:57 AM". The date part is left out for a value with no
// date part, the time part for a value at exactly midnight.
std::string generalDate(DateValue d);

// ISO 8601 with the zone offset of local time at that moment: "2026-11-22T10:00:00+01:00".
std::string isoDateTime(DateValue d);

// Reads back everything generalDate writes, a date alone, a time alone (12- or 24-hour clock, the
// seconds after ":" or "."), and "YYYY-MM-DD HH:MM:SS". Blanks around the text are ignored. False
// when the text is no date.
bool parseDate(std::string_view text, DateValue& out);
// The same, failing with "Type mismatch" when the text is no date.
DateValue cDate(std::string_view text);

DateValue addSeconds(DateValue d, double seconds);
// Whole seconds and whole minutes from a to b (b later gives a positive count), from the parts
// of both dates to the nearest second.
std::int64_t diffSeconds(DateValue a, DateValue b);
std::int64_t diffMinutes(DateValue a, DateValue b);
// Calendar-year boundaries between a and b: year of b minus year of a.
int diffYears(DateValue a, DateValue b);
int weekday(DateValue d);  // 1 Sunday .. 7 Saturday

}  // namespace tw::core
