#include "core/paths.h"

#include <gtest/gtest.h>

#include <tuple>

namespace tw::core {
namespace {

class ParsePathTest : public ::testing::TestWithParam<std::tuple<std::string, int, std::string>> {};

TEST_P(ParsePathTest, GivesThePartAsked) {
    const auto& [path, part, expected] = GetParam();
    EXPECT_EQ(parsePath(path, part), expected) << path << " part " << part;
}

INSTANTIATE_TEST_SUITE_P(
    AllParts, ParsePathTest,
    ::testing::Values(std::make_tuple("C:\\Music\\Rock\\song.mp3", 1, "C:"),
                      std::make_tuple("C:\\Music\\Rock\\song.mp3", 2, "\\Music\\Rock\\"),
                      std::make_tuple("C:\\Music\\Rock\\song.mp3", 3, "C:\\Music\\Rock\\"),
                      std::make_tuple("C:\\Music\\Rock\\song.mp3", 4, "song"),
                      std::make_tuple("C:\\Music\\Rock\\song.mp3", 5, ".mp3"),
                      std::make_tuple("C:\\Music\\Rock\\song.mp3", 6, "song.mp3"),
                      std::make_tuple("C:\\Music\\Rock\\song.mp3", 7, "C:\\Music\\Rock\\song"),
                      std::make_tuple("C:\\Music\\Rock\\song.mp3", -1, "C"),
                      std::make_tuple("C:\\Music\\Rock\\song.mp3", -2, "\\Music\\Rock"),
                      std::make_tuple("C:\\Music\\Rock\\song.mp3", -3, "C:\\Music\\Rock"),
                      std::make_tuple("C:\\Music\\Rock\\song.mp3", -4, "song"),
                      std::make_tuple("C:\\Music\\Rock\\song.mp3", -5, "mp3"),
                      std::make_tuple("C:\\Music\\Rock\\song.mp3", -6, "song.mp3"),
                      std::make_tuple("C:\\Music\\Rock\\song.mp3", -7, "C:\\Music\\Rock\\song"),
                      std::make_tuple("/srv/station/Music/Pop/a.b.mp3", 2,
                                      "/srv/station/Music/Pop/"),
                      std::make_tuple("/srv/station/Music/Pop/a.b.mp3", 4, "a.b"),
                      std::make_tuple("/srv/station/Music/Pop/a.b.mp3", 1, ""),
                      std::make_tuple("/srv/station/Music/Dance.90s", 4, "Dance"),
                      std::make_tuple("/srv/station/Music/", 6, ""),
                      std::make_tuple("C:\\Music\\", 4, ""), std::make_tuple("noext", 5, ""),
                      std::make_tuple("noext", 4, "noext"), std::make_tuple("x.mp3", 8, ""),
                      std::make_tuple("", 4, "")));

TEST(GetTokenTest, NumberedTokensFromOne) {
    EXPECT_EQ(token("~", 1, "twTag~ 3~a~b"), "twTag");
    EXPECT_EQ(token("~", 2, "twTag~ 3~a~b"), " 3");
    EXPECT_EQ(token("~", 4, "twTag~ 3~a~b"), "b");
}

TEST(GetTokenTest, PastTheLastTokenIsEmpty) {
    EXPECT_EQ(token("~", 5, "twTag~ 3~a~b"), "");
    EXPECT_EQ(token("~", 1, ""), "");
}

TEST(GetTokenTest, ZeroContinuesFromWhereTheLastCallStopped) {
    TokenReader r;
    EXPECT_EQ(r.getToken(".", 1, "1.5.25"), "1");
    EXPECT_EQ(r.getToken(".", 0, "1.5.25"), "5");
    EXPECT_EQ(r.getToken(".", 0, "1.5.25"), "25");
    EXPECT_EQ(r.getToken(".", 0, "1.5.25"), "");
    EXPECT_EQ(r.getToken(".", 2, "1.5.25"), "5");  // a positive number restarts
}

TEST(GetTokenTest, DelimiterInsideQuotesDoesNotSplit) {
    EXPECT_EQ(token(" ", 2, "lame \"my file.wav\" out.mp3", "\""), "\"my file.wav\"");
    EXPECT_EQ(token(" ", 3, "lame \"my file.wav\" out.mp3", "\""), "out.mp3");
}

TEST(GetTokenTest, EmptyTokensBetweenDelimitersCount) {
    EXPECT_EQ(token("~", 3, "a~~c"), "c");
    EXPECT_EQ(token("~", 2, "a~~c"), "");
}

}  // namespace
}  // namespace tw::core
