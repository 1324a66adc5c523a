#include "core/dates.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "core/failure.h"
#include "core/format.h"
#include "core/within_years.h"

namespace tw::core {
namespace {

TEST(DateValueTest, DayCountFromTheBaseDate) {
    EXPECT_DOUBLE_EQ(dateSerial(1899, 12, 30), 0.0);
    EXPECT_DOUBLE_EQ(dateSerial(1900, 1, 1), 2.0);
    EXPECT_DOUBLE_EQ(dateSerial(2026, 11, 22), 46348.0);
    EXPECT_DOUBLE_EQ(timeSerial(6, 0, 0), 0.25);
}

TEST(DateValueTest, BeforeTheBaseDateTheTimeStillCountsForward) {
    DateParts p = dateParts(-1.25);
    EXPECT_EQ(p.year, 1899);
    EXPECT_EQ(p.month, 12);
    EXPECT_EQ(p.day, 29);
    EXPECT_EQ(p.hour, 6);
    EXPECT_DOUBLE_EQ(makeDate(p), -1.25);
}

TEST(DateValueTest, PartsRoundToTheNearestSecondAcrossMidnight) {
    DateValue almost = dateSerial(2026, 12, 31) + (86400.0 - 0.4) / 86400.0;
    DateParts p = dateParts(almost);
    EXPECT_EQ(p.year, 2027);
    EXPECT_EQ(p.month, 1);
    EXPECT_EQ(p.day, 1);
    EXPECT_EQ(p.hour, 0);
}

TEST(DateValueTest, WeekdayCountsSundayAsOne) {
    EXPECT_EQ(weekday(dateSerial(2026, 11, 22)), 1);  // a Sunday
    EXPECT_EQ(weekday(dateSerial(2026, 11, 28)), 7);  // a Saturday
    EXPECT_EQ(weekday(0.0), 7);                       // 1899-12-30 was a Saturday
    EXPECT_EQ(weekday(-1.0), 6);
}

TEST(GeneralDateTest, DateAndTimeOnTheTwelveHourClock) {
    EXPECT_EQ(generalDate(dateSerial(2026, 11, 22) + timeSerial(1, 19, 57)),
              "11/22/2026 1:19:57 AM");
    EXPECT_EQ(generalDate(dateSerial(2026, 11, 22) + timeSerial(13, 5, 0)),
              "11/22/2026 1:05:00 PM");
    EXPECT_EQ(generalDate(dateSerial(2026, 11, 22) + timeSerial(12, 0, 1)),
              "11/22/2026 12:00:01 PM");
}

TEST(GeneralDateTest, MidnightLeavesOutTheTime) {
    EXPECT_EQ(generalDate(dateSerial(2026, 1, 1)), "1/1/2026");
}

TEST(GeneralDateTest, TimeOnlyValueLeavesOutTheDate) {
    EXPECT_EQ(generalDate(timeSerial(0, 30, 0)), "12:30:00 AM");
    EXPECT_EQ(generalDate(0.0), "12:00:00 AM");
}

class DateRoundTripTest : public ::testing::TestWithParam<double> {};

TEST_P(DateRoundTripTest, ParserReadsBackWhatTheWriterWrites) {
    DateValue d = GetParam();
    DateValue back = -99;
    ASSERT_TRUE(parseDate(generalDate(d), back)) << generalDate(d);
    EXPECT_EQ(generalDate(back), generalDate(d));
    EXPECT_EQ(diffSeconds(d, back), 0);
}

INSTANTIATE_TEST_SUITE_P(Values, DateRoundTripTest,
                         ::testing::Values(dateSerial(2026, 11, 22) + timeSerial(1, 19, 57),
                                           dateSerial(2026, 12, 31) + timeSerial(23, 59, 59),
                                           dateSerial(2000, 2, 29), timeSerial(12, 0, 0),
                                           timeSerial(0, 0, 1), dateSerial(1999, 1, 1) + 0.5,
                                           -1.25));

TEST(ParseDateTest, AcceptsIsoFormAndTwentyFourHourTimes) {
    DateValue d = 0;
    ASSERT_TRUE(parseDate("2026-11-22 13:05:09", d));
    EXPECT_EQ(generalDate(d), "11/22/2026 1:05:09 PM");
    ASSERT_TRUE(parseDate(" 7:30 PM ", d));
    EXPECT_EQ(generalDate(d), "7:30:00 PM");
    ASSERT_TRUE(parseDate("12:00:00 AM", d));
    EXPECT_DOUBLE_EQ(d, 0.0);
}

TEST(ParseDateTest, RejectsWhatIsNoDate) {
    DateValue d = 0;
    EXPECT_FALSE(parseDate("", d));
    EXPECT_FALSE(parseDate("none", d));
    EXPECT_FALSE(parseDate("2/30/2026", d));
    EXPECT_FALSE(parseDate("13/1/2026", d));
    EXPECT_FALSE(parseDate("11/22/2026 25:00:00", d));
    EXPECT_FALSE(parseDate("11/22/2026 1:19:57 AM x", d));
    EXPECT_FALSE(parseDate("empty", d));
    try {
        cDate("no");
        FAIL();
    } catch (const Failure& f) {
        EXPECT_EQ(f.number(), kErrTypeMismatch);
    }
}

TEST(DateDiffTest, SecondsAndMinutesBetweenDates) {
    DateValue a = dateSerial(2026, 11, 22) + timeSerial(10, 0, 59);
    DateValue b = dateSerial(2026, 11, 22) + timeSerial(10, 1, 0);
    EXPECT_EQ(diffSeconds(a, b), 1);
    EXPECT_EQ(diffMinutes(a, b), 1);  // minute boundaries, not elapsed minutes
    EXPECT_EQ(diffSeconds(b, a), -1);
    EXPECT_EQ(diffMinutes(dateSerial(2026, 1, 1), dateSerial(2026, 1, 2)), 1440);
}

TEST(DateDiffTest, YearBoundariesCountChangesOfTheYearNumber) {
    EXPECT_EQ(diffYears(dateSerial(2026, 12, 31) + timeSerial(23, 59, 59), dateSerial(2027, 1, 1)),
              1);
    EXPECT_EQ(diffYears(dateSerial(2026, 1, 1), dateSerial(2026, 12, 31)), 0);
    // A time of day alone lies in 1899.
    EXPECT_EQ(diffYears(timeSerial(14, 0, 0), dateSerial(2026, 11, 22)), 127);
}

// Many dates against one reference give what diffYears gives, dates on either side of a new year
// by less than a second (which round into the next day, and year) and before the base date
// included.
TEST(DateDiffTest, WithinYearsIsDiffYearsAgainstOneReference) {
    std::mt19937_64 random(20261127);
    std::uniform_real_distribution<double> anyDate(dateSerial(100, 1, 1), dateSerial(9999, 12, 31));
    std::uniform_real_distribution<double> nearMidnight(-1.0, 1.0);
    std::uniform_int_distribution<int> anyYear(1800, 2100);
    std::uniform_int_distribution<int> anyYears(0, 5);
    int near = 0;
    for (int i = 0; i < 200000; ++i) {
        const DateValue reference = i % 2 ? anyDate(random) : dateSerial(anyYear(random), 6, 1);
        const int years = anyYears(random);
        const WithinYears within(reference, years);
        // Half the dates a second or less from some new year's midnight.
        DateValue d = anyDate(random);
        if (i % 2 == 0) {
            d = dateSerial(anyYear(random), 1, 1) + nearMidnight(random) / 86400.0;
        }
        near += i % 2 == 0 && within(d) != within(d - 2.0 / 86400.0);
        ASSERT_EQ(within(d), diffYears(d, reference) <= years)
            << "date " << d << " reference " << reference << " years " << years;
    }
    EXPECT_GT(near, 100) << "dates that cross the year's line are among those tried";
    const WithinYears threeYears(dateSerial(2026, 11, 27), 3);
    EXPECT_TRUE(threeYears(dateSerial(2023, 1, 1)));
    EXPECT_TRUE(threeYears(dateSerial(2023, 1, 1) - 0.4 / 86400.0)) << "rounds into 2023";
    EXPECT_FALSE(threeYears(dateSerial(2023, 1, 1) - 0.6 / 86400.0));
    EXPECT_FALSE(threeYears(-1.25));
    EXPECT_TRUE(WithinYears(-1.25, 0)(-1.75));
    EXPECT_FALSE(WithinYears(dateSerial(1899, 12, 29), 0)(dateSerial(1898, 12, 31)));
}

TEST(DateAddTest, AddsWholeSecondsAcrossDays) {
    DateValue d = addSeconds(dateSerial(2026, 12, 31) + timeSerial(23, 59, 30), 45);
    EXPECT_EQ(generalDate(d), "1/1/2027 12:00:15 AM");
    EXPECT_EQ(generalDate(addSeconds(d, -45)), "12/31/2026 11:59:30 PM");
}

TEST(FormatDateTest, ClockPictures) {
    DateValue d = dateSerial(2026, 11, 22) + timeSerial(13, 5, 9);
    EXPECT_EQ(formatDate(d, "ddd mmm dd, yyyy"), "Sun Nov 22, 2026");
    EXPECT_EQ(formatDate(d, "HH:MM:SS AMPM"), "01:05:09 PM");
    EXPECT_EQ(formatDate(d, "HH:MM.SS AMPM"), "01:05.09 PM");
    EXPECT_EQ(formatDate(d, "mmm HH:MM.SS AMPM AMPM"), "Nov 01:05.09 PM PM");
    EXPECT_EQ(formatDate(dateSerial(2026, 3, 1), "HH:MM:SS AMPM"), "12:00:00 AM");
    EXPECT_EQ(formatDate(d, "hh:nn"), "13:05");
    EXPECT_EQ(formatDate(d, "dddd d/m/yy"), "Sunday 22/11/26");
}

TEST(FormatDateTest, TheAmPmTokenInAnyCaseAndItsNearMisses) {
    const DateValue d = dateSerial(2026, 11, 22) + timeSerial(9, 7, 3);
    EXPECT_EQ(formatDate(d, "h aM/pM"), "9 AM");
    EXPECT_EQ(formatDate(d + 0.5, "h ampm"), "9 PM");
    // "AM/P" and "AMP" are no token: the hour keeps the 24-hour clock, the letters stay or
    // read as places ("m" the month, "p" itself).
    EXPECT_EQ(formatDate(d + 0.5, "h AM/P"), "21 A11/P");
    EXPECT_EQ(formatDate(d + 0.5, "h AMP"), "21 A11P");
    // A token at the very end, and one cut short by the end.
    EXPECT_EQ(formatDate(d, "AMPM"), "AM");
    EXPECT_EQ(formatDate(d, "AMP"), "A11P");
    // Places of one letter take as many digits as they need; a run of three or more years
    // writes the whole year.
    EXPECT_EQ(formatDate(d, "d/m/y h:n:s"), "22/11/26 9:7:3");
    EXPECT_EQ(formatDate(d, "yyy ddd mmm"), "2026 Sun Nov");
}

TEST(FormatNumberTest, Pictures) {
    EXPECT_EQ(formatNumber(5, "0#"), "05");
    EXPECT_EQ(formatNumber(123, "0#"), "123");
    EXPECT_EQ(formatNumber(0, "0#"), "00");
    EXPECT_EQ(formatNumber(3.25, "0#.0"), "03.3");
    EXPECT_EQ(formatNumber(59.96, "0#.0"), "60.0");
    EXPECT_EQ(formatNumber(12.34, "#.0"), "12.3");
    EXPECT_EQ(formatNumber(0.5, "#.0"), ".5");
    EXPECT_EQ(formatNumber(-12.25, "#.0"), "-12.3");
    EXPECT_EQ(formatNumber(7, "00"), "07");
    EXPECT_EQ(formatNumber(2.675, "0.00"), "2.68");
}

TEST(FormatNumberTest, HalvesRoundAwayFromZero) {
    EXPECT_EQ(formatNumber(2.5, "0"), "3");
    EXPECT_EQ(formatNumber(-2.5, "0"), "-3");
    EXPECT_EQ(formatNumber(0.05, "#.0"), ".1");
}

// A value under half of the picture's last decimal place shows as zero with the picture's
// decimals (a time a hair past a whole minute, say), not with a zero for every place down to its
// first digit.
TEST(FormatNumberTest, AValueThatRoundsToZeroHasThePicturesDecimals) {
    EXPECT_EQ(formatNumber(0.00001, "0#.0"), "00.0");
    EXPECT_EQ(formatNumber(0.0004, "0.00"), "0.00");
    EXPECT_EQ(formatNumber(1e-20, "#.0"), ".0");
    EXPECT_EQ(formatNumber(0.00001, "0"), "0");
    EXPECT_EQ(formatNumber(0.04, "0#.0"), "00.0");
    EXPECT_EQ(formatNumber(0.005, "0.00"), "0.01");
}

// A value with no digits to place (a length that came out infinite, say) gives its own text
// instead of taking the console down.
TEST(FormatNumberTest, AValueWithNoDigitsGivesItsOwnText) {
    EXPECT_EQ(formatNumber(std::numeric_limits<double>::infinity(), "0#.0"), "INF");
    EXPECT_EQ(formatNumber(-std::numeric_limits<double>::infinity(), "0"), "-INF");
    EXPECT_EQ(formatNumber(std::numeric_limits<double>::quiet_NaN(), "0#"), "NAN");
}

TEST(DateValueTest, WholeSecondsCutsTheFraction) {
    DateValue d = dateSerial(2026, 11, 22) + (36000.0 + 0.9) / 86400.0;
    EXPECT_EQ(generalDate(wholeSeconds(d)), "11/22/2026 10:00:00 AM");
    EXPECT_NEAR(secondsSinceMidnight(d), 36000.9, 1e-4);
}

}  // namespace
}  // namespace tw::core
