#include "core/text.h"

#include <gtest/gtest.h>

#include <cmath>

#include "core/failure.h"

namespace tw::core {
namespace {

TEST(ValTest, ReadsLeadingNumberAndStopsAtFirstOtherCharacter) {
    EXPECT_DOUBLE_EQ(val("12abc"), 12.0);
    EXPECT_DOUBLE_EQ(val("1.5.2"), 1.5);
    EXPECT_DOUBLE_EQ(val("-3.25 dB"), -3.25);
    EXPECT_DOUBLE_EQ(val("+7"), 7.0);
    EXPECT_DOUBLE_EQ(val(".5"), 0.5);
    EXPECT_DOUBLE_EQ(val("1e3x"), 1000.0);
}

TEST(ValTest, SkipsBlanksInsideTheNumber) {
    EXPECT_DOUBLE_EQ(val(" 1 2 3"), 123.0);
    EXPECT_DOUBLE_EQ(val("\t- 4 . 5"), -4.5);
}

TEST(ValTest, GivesZeroWhenThereIsNoNumber) {
    EXPECT_DOUBLE_EQ(val(""), 0.0);
    EXPECT_DOUBLE_EQ(val("abc"), 0.0);
    EXPECT_DOUBLE_EQ(val("-"), 0.0);
    EXPECT_DOUBLE_EQ(val("."), 0.0);
}

TEST(ValTest, DecimalCommaIsCutAtTheComma) {
    EXPECT_DOUBLE_EQ(val("12,75"), 12.0);
}

TEST(StrTest, PutsABlankAheadOfNonNegativeNumbers) {
    EXPECT_EQ(str(25), " 25");
    EXPECT_EQ(str(-1), "-1");
    EXPECT_EQ(str(0), " 0");
    EXPECT_EQ(str(1.5), " 1.5");
    EXPECT_EQ(str(0.5), " .5");
    EXPECT_EQ(str(-0.5), "-.5");
    EXPECT_EQ(str(3.0), " 3");
}

TEST(RoundingTest, HalvesGoToEven) {
    EXPECT_EQ(roundHalfEven(1.5), 2.0);
    EXPECT_EQ(roundHalfEven(2.5), 2.0);
    EXPECT_EQ(roundHalfEven(-0.5), 0.0);
    EXPECT_EQ(roundHalfEven(-1.5), -2.0);
    EXPECT_EQ(roundHalfEven(2.6), 3.0);
    EXPECT_EQ(cLng(0.5), 0);
    EXPECT_EQ(cLng(3.5), 4);
}

TEST(RoundingTest, FormatRoundingGoesAwayFromZero) {
    EXPECT_EQ(roundHalfAway(2.5), 3.0);
    EXPECT_EQ(roundHalfAway(-2.5), -3.0);
}

TEST(ConversionTest, OutOfRangeWholeNumberFailsWithOverflow) {
    try {
        cLng(3e9);
        FAIL() << "no failure";
    } catch (const Failure& f) {
        EXPECT_EQ(f.number(), kErrOverflow);
        EXPECT_EQ(f.description(), "Overflow");
    }
    EXPECT_THROW(cInt(40000), Failure);
    EXPECT_THROW(cLng(std::nan("")), Failure);
}

TEST(ConversionTest, TextThatIsNoNumberIsATypeMismatch) {
    EXPECT_EQ(cLngText(" 42 "), 42);
    try {
        cLngText("4x");
        FAIL();
    } catch (const Failure& f) {
        EXPECT_EQ(f.number(), kErrTypeMismatch);
    }
    EXPECT_THROW(cLngText(""), Failure);
}

TEST(ConversionTest, IntegerDivisionTruncatesAndRejectsZero) {
    EXPECT_EQ(intDiv(7, 2), 3);
    EXPECT_EQ(intDiv(-7, 2), -3);
    EXPECT_EQ(intDiv(7.5, 2), 4);  // 7.5 rounds to 8 first
    try {
        intDiv(1, 0.4);
        FAIL();
    } catch (const Failure& f) {
        EXPECT_EQ(f.number(), kErrDivisionByZero);
    }
}

TEST(ReplaceTextTest, ReplacesFromStartOnward) {
    bool changed = false;
    EXPECT_EQ(replaceText("a[b]c[d]", "[", "(", 0, changed), "a(b]c(d]");
    EXPECT_TRUE(changed);
    changed = false;
    EXPECT_EQ(replaceText("xaxa", "x", "y", 2, changed), "xaya");
    EXPECT_TRUE(changed);
    changed = false;
    EXPECT_EQ(replaceText("abc", "z", "y", 1, changed), "abc");
    EXPECT_FALSE(changed);
}

TEST(ReplaceTextTest, NegativeStartWorksFromTheEndBackwards) {
    bool changed = false;
    // Search starts two characters from the end: only the first "ab" begins at or before it.
    EXPECT_EQ(replaceText("ab-ab", "ab", "X", -3, changed), "X-ab");
    EXPECT_TRUE(changed);
    changed = false;
    EXPECT_EQ(replaceText("ab-ab", "ab", "X", -1, changed), "X-X");
}

TEST(CountCharTest, CountsOccurrences) {
    EXPECT_EQ(countChar("a~b~c", '~'), 2);
    EXPECT_EQ(countChar("", '~'), 0);
}

TEST(TextTest, TrimAndCaseAndUtf8Cut) {
    EXPECT_EQ(trim("  a b  "), "a b");
    EXPECT_EQ(toLower("AbC é"), "abc é");
    EXPECT_TRUE(equalsNoCase("LastPlayed", "lastplayed"));
    EXPECT_EQ(charCount("héllo"), 5u);
    EXPECT_EQ(leftChars("héllo", 2), "hé");
}

TEST(TextTest, AnsiToBytesStopsAtTheTerminator) {
    const char text[] = {'a', 'b', '\0', 'c'};
    auto bytes = ansiToBytes(text);
    ASSERT_EQ(bytes.size(), 2u);
    EXPECT_EQ(bytes[1], 'b');
    EXPECT_TRUE(ansiToBytes(nullptr).empty());
}

}  // namespace
}  // namespace tw::core
