#include "web/control_request.h"

#include <gtest/gtest.h>

namespace tw::web {
namespace {

TEST(ControlRequestTest, EachPathGivesItsRequest) {
    EXPECT_EQ(parseControl("/api/next", "ignored")->kind, ControlKind::Next);
    EXPECT_EQ(parseControl("/api/mode", " auto\r\n")->value, "auto");
    EXPECT_EQ(parseControl("/api/mode", "manual")->value, "manual");
    EXPECT_EQ(parseControl("/api/message", "  On air at ten  ")->value, "On air at ten");
    EXPECT_FALSE(parseControl("/api/other", "auto"));
    EXPECT_FALSE(parseControl("/api/mode", "Auto"));
    EXPECT_FALSE(parseControl("/api/mode", "auto manual"));
    EXPECT_FALSE(parseControl("/api/message", " \t "));
    EXPECT_FALSE(parseControl("/api/message", std::string_view("a\0b", 3)));
}

TEST(ControlRequestTest, Utf8IsCheckedWhole) {
    EXPECT_TRUE(isUtf8("Caf\xc3\xa9 \xe2\x82\xac \xf0\x9f\x8e\xb5"));
    EXPECT_FALSE(isUtf8("\xc0\xaf"));          // an overlong slash
    EXPECT_FALSE(isUtf8("\xe0\x80\xaf"));      // overlong in three bytes
    EXPECT_FALSE(isUtf8("\xed\xa0\x80"));      // a surrogate
    EXPECT_FALSE(isUtf8("\xf4\x90\x80\x80"));  // past U+10FFFF
    EXPECT_FALSE(isUtf8("\xe2\x82"));          // cut short
    EXPECT_FALSE(isUtf8("\x80"));
}

TEST(ControlRequestTest, OnlyTheWholeTokenAfterBearerMatches) {
    EXPECT_TRUE(bearerMatches("Bearer abc123", "abc123"));
    EXPECT_FALSE(bearerMatches("Bearer abc12", "abc123"));
    EXPECT_FALSE(bearerMatches("Bearer abc1234", "abc123"));
    EXPECT_FALSE(bearerMatches("Bearer abc123abc123", "abc123")) << "the token twice";
    EXPECT_FALSE(bearerMatches("Bearer ", "abc123"));
    EXPECT_FALSE(bearerMatches("bearer abc123", "abc123"));
    EXPECT_FALSE(bearerMatches("abc123", "abc123"));
    EXPECT_FALSE(bearerMatches("Bearer ", "")) << "no token set matches nothing";
}

}  // namespace
}  // namespace tw::web
