#include "web/played_log.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/testlib/temp_dir.h"

namespace tw::web {
namespace {

core::DateValue at(int hour, int minute, int second) {
    return core::dateSerial(2026, 11, 22) + core::timeSerial(hour, minute, second);
}

TEST(PlayedLogTest, TheLastLinesComeNewestFirstWithArtistAndTitleApart) {
    const auto starts = lastStarts(
        "A - One,11/22/2026 10:00:00 AM\nB - Two,11/22/2026 10:03:00 AM\n"
        "C - Three,11/22/2026 10:06:30 AM\n",
        2);
    ASSERT_EQ(starts.size(), 2u);
    EXPECT_EQ(starts[0].artist, "C");
    EXPECT_EQ(starts[0].title, "Three");
    EXPECT_EQ(starts[0].started, at(10, 6, 30));
    EXPECT_EQ(starts[1].artist, "B");
    EXPECT_EQ(starts[1].started, at(10, 3, 0));
}

TEST(PlayedLogTest, ATitleWithCommasAndDashesKeepsThemAndTheFirstDashDividesTheArtist) {
    const auto starts = lastStarts("Earth, Wind - Fire - Live,11/22/2026 1:02:03 PM", 5);
    ASSERT_EQ(starts.size(), 1u);
    EXPECT_EQ(starts[0].artist, "Earth, Wind");
    EXPECT_EQ(starts[0].title, "Fire - Live");
    EXPECT_EQ(starts[0].started, at(13, 2, 3));
}

TEST(PlayedLogTest, AKeyWithoutADashIsATitleWithoutAnArtist) {
    const auto starts = lastStarts("untagged file,11/22/2026 10:00:00 AM\r\n", 5);
    ASSERT_EQ(starts.size(), 1u);
    EXPECT_EQ(starts[0].artist, "");
    EXPECT_EQ(starts[0].title, "untagged file");
}

TEST(PlayedLogTest, LinesThatDoNotEndInADateArePassedOver) {
    const auto starts = lastStarts(
        "A - One,11/22/2026 10:00:00 AM\n\nno comma\nB - Two,not a date\n,\n"
        "C - Three,11/22/2026 10:06:00 AM\n\n",
        10);
    ASSERT_EQ(starts.size(), 2u);
    EXPECT_EQ(starts[0].title, "Three");
    EXPECT_EQ(starts[1].title, "One");
}

TEST(PlayedLogTest, TheFileIsReadFromItsTailAndAHalfLineAtTheCutIsDropped) {
    test::TempDir dir;
    std::string text;
    for (int i = 0; i < 500; ++i) {
        text += "Artist - Song " + std::to_string(i) + ",11/22/2026 10:00:00 AM\n";
    }
    test::writeFile(dir / "Played.log", text);
    const auto starts = readLastStarts((dir / "Played.log").string(), 1000, 1000);
    ASSERT_FALSE(starts.empty());
    EXPECT_LT(starts.size(), 40u) << "only the tail was read";
    EXPECT_EQ(starts.front().title, "Song 499");
    for (const auto& s : starts) {
        EXPECT_EQ(s.artist, "Artist") << "a line cut in its middle would have lost its artist";
    }
    EXPECT_EQ(starts.back().title, "Song " + std::to_string(500 - starts.size()));
}

TEST(PlayedLogTest, AMissingFileIsNoStarts) {
    test::TempDir dir;
    EXPECT_TRUE(readLastStarts((dir / "Played.log").string(), 20).empty());
}

}  // namespace
}  // namespace tw::web
