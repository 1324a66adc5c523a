// Failed writes told at most once a minute, and writing that works again told once.

#include "core/write_failures.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace tw::core {
namespace {

TEST(WriteFailuresTest, TheFirstFailureIsToldAtOnceWithItsReason) {
    WriteFailures f;
    const auto line = f.failed("/st/Played.log", ENOSPC, 1000);
    ASSERT_TRUE(line);
    EXPECT_EQ(*line,
              "Cannot write /st/Played.log: No space left on device (1 write failed since the last "
              "line about it; at most one such line a minute)");
}

TEST(WriteFailuresTest, AFailureEverySecondForTenMinutesGivesTenLinesThatCountTheRest) {
    WriteFailures f;
    int lines = 0;
    std::string last;
    for (int s = 0; s < 600; ++s) {
        if (auto line = f.failed("/st/played.ini", ENOSPC, 5000.0 + s)) {
            ++lines;
            last = *line;
        }
    }
    EXPECT_EQ(lines, 10);
    EXPECT_NE(last.find("(60 writes failed since the last line about it"), std::string::npos)
        << last;
}

TEST(WriteFailuresTest, SuccessAfterFailuresIsToldOnceAMinuteAfterTheLastLine) {
    WriteFailures f;
    EXPECT_FALSE(f.succeeded(10)) << "nothing failed";
    ASSERT_TRUE(f.failed("/st/Played.log", ENOSPC, 100));
    EXPECT_FALSE(f.failed("/st/Played.log", ENOSPC, 110));
    EXPECT_FALSE(f.succeeded(120)) << "within the minute of the last line";
    const auto line = f.succeeded(161);
    ASSERT_TRUE(line);
    EXPECT_EQ(*line, "Writing works again (1 write failed since the last line about it)");
    EXPECT_FALSE(f.succeeded(400)) << "told once";
    // Failing again is told at once when the minute has passed.
    EXPECT_TRUE(f.failed("/st/Played.log", ENOSPC, 230));
}

TEST(WriteFailuresTest, AClockThatGoesBackNeverSilencesTheLines) {
    WriteFailures f;
    ASSERT_TRUE(f.failed("/st/app.log", ENOSPC, 7200));
    EXPECT_TRUE(f.failed("/st/app.log", ENOSPC, 3600)) << "summer time ended: an hour back";
}

}  // namespace
}  // namespace tw::core
