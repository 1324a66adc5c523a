#include "core/clock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <random>
#include <thread>
#include <vector>

#include "core/format.h"
#include "tests/testlib/time_zone.h"

namespace tw::core {
namespace {

// The clocks read local time: these tests run in a zone with summer time and put the process's
// zone back after them.
class ClockTest : public ::testing::Test {
  protected:
    // Unix microseconds of a moment given in UTC.
    static std::int64_t utcMicros(int year, int month, int day, int hour, int minute, int second) {
        std::tm tm{};
        tm.tm_year = year - 1900;
        tm.tm_mon = month - 1;
        tm.tm_mday = day;
        tm.tm_hour = hour;
        tm.tm_min = minute;
        tm.tm_sec = second;
        return static_cast<std::int64_t>(timegm(&tm)) * 1000000;
    }
    // What the clock must read at a moment: the calendar worked out afresh.
    static DateValue expected(std::int64_t micros) {
        std::int64_t seconds = micros / 1000000;
        std::int64_t rest = micros % 1000000;
        if (rest < 0) {
            rest += 1000000;
            seconds -= 1;
        }
        return fromUnixTime(static_cast<std::time_t>(seconds), static_cast<long>(rest * 1000));
    }

  private:
    test::ScopedTimeZone zone_{"Europe/Berlin"};
};

TEST_F(ClockTest, TheVirtualClockReadsTheCalendarExactlyAtEveryMomentOfEverySecond) {
    // Moments around both changes of summer time, a new year, before 1970 and before 1899-12-30,
    // each second read at several of its moments, back and forth between seconds, so that a
    // second read again after another is served from the last second's calendar or worked out
    // anew, and neither may differ from the calendar by a bit.
    std::vector<std::int64_t> moments;
    for (const std::int64_t base :
         {utcMicros(2026, 3, 29, 0, 59, 58), utcMicros(2026, 10, 25, 0, 59, 58),
          utcMicros(2026, 12, 31, 22, 59, 58), utcMicros(1969, 12, 31, 23, 59, 58),
          utcMicros(1899, 12, 29, 23, 59, 58)}) {
        for (std::int64_t step = 0; step < 4'000'000; step += 250'000) {
            moments.push_back(base + step);
            moments.push_back(base + step + 999'999);
            moments.push_back(base + step);
        }
    }
    std::mt19937_64 random(7);
    std::uniform_int_distribution<std::int64_t> anyMoment(utcMicros(1900, 1, 1, 0, 0, 0),
                                                          utcMicros(2100, 1, 1, 0, 0, 0));
    for (int i = 0; i < 20000; ++i) {
        const std::int64_t m = anyMoment(random);
        moments.push_back(m);
        moments.push_back(m + 1);
    }
    VirtualClock clock{dateSerial(2026, 11, 25)};
    std::size_t differing = 0;
    for (const std::int64_t m : moments) {
        clock.setUnixMicros(m);
        const DateValue read = clock.exact();
        if (read != expected(m)) {
            ++differing;
            ADD_FAILURE() << "at " << m << " us: " << read << " instead of " << expected(m);
            if (differing > 5) {
                break;
            }
        }
    }
    EXPECT_EQ(differing, 0u);
}

TEST_F(ClockTest, TheVirtualClockMovesOnToTheNextSecondAndItsHourOfSummerTime) {
    VirtualClock clock{dateSerial(2026, 11, 25)};
    // 01:59:59.5 local time on the morning summer time begins: half a second later it is 03:00.
    clock.setUnixMicros(utcMicros(2026, 3, 29, 0, 59, 59) + 500'000);
    EXPECT_EQ(formatDate(clock.now(), "hh:nn:ss"), "01:59:59");
    clock.advanceSeconds(0.5);
    EXPECT_EQ(formatDate(clock.now(), "hh:nn:ss"), "03:00:00");
    clock.advanceSeconds(-0.25);
    EXPECT_EQ(formatDate(clock.now(), "hh:nn:ss"), "01:59:59");
}

TEST_F(ClockTest, ReadersOnManyThreadsAtOnceAllReadTheCalendar) {
    // One clock read from four threads while a fifth moves it from second to second: each read
    // is one of the two moments the clock can be at, exactly.
    VirtualClock clock{dateSerial(2026, 11, 25)};
    const std::int64_t first = utcMicros(2026, 10, 25, 0, 59, 59) + 300'000;
    const std::int64_t second = first + 1'000'000;
    clock.setUnixMicros(first);
    std::atomic<bool> done{false};
    std::atomic<int> wrong{0};
    std::atomic<long> reads{0};
    std::vector<std::thread> readers;
    for (int r = 0; r < 4; ++r) {
        readers.emplace_back([&] {
            const DateValue a = expected(first), b = expected(second);
            while (!done.load()) {
                const DateValue read = clock.exact();
                if (read != a && read != b) {
                    wrong.fetch_add(1);
                }
                reads.fetch_add(1);
            }
        });
    }
    for (long i = 0; reads.load() < 200000; ++i) {
        clock.setUnixMicros(i % 2 ? second : first);
    }
    done = true;
    for (auto& t : readers) {
        t.join();
    }
    EXPECT_EQ(wrong.load(), 0);
}

TEST_F(ClockTest, TheSystemClockReadsTheCalendarOfTheMachinesTime) {
    SystemClock clock;
    for (int i = 0; i < 1000; ++i) {
        timespec before{}, after{};
        clock_gettime(CLOCK_REALTIME, &before);
        const DateValue read = clock.exact();
        clock_gettime(CLOCK_REALTIME, &after);
        EXPECT_GE(read, fromUnixTime(before.tv_sec, before.tv_nsec));
        EXPECT_LE(read, fromUnixTime(after.tv_sec, after.tv_nsec));
    }
}

}  // namespace
}  // namespace tw::core
