#include "core/text.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>

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

// Every number text reads as strtod reads it, at the edges of the doubles too: below the smallest
// one a value is zero, among the subnormal ones it is exact, beyond the largest it overflows.
TEST(ValTest, ReadsAsStrtodAtTheEdgesOfTheDoubles) {
    for (const char* text :
         {"1e-400", "4.9e-324", "2.2250738585072011e-308", "1e-310", "1.7976931348623157e308",
          "+0.1", "-5e-324", "123456789012345678901"}) {
        EXPECT_EQ(val(text), std::strtod(text, nullptr)) << text;
    }
    EXPECT_FALSE(finiteVal("1e400").has_value());
    EXPECT_FALSE(finiteVal("-1d400").has_value());
}

// The fewest significant digits of "%G" that read back as the value, searched from one digit up.
std::string fewestDigitsText(double value) {
    char buf[64];
    for (int precision = 1; precision <= 17; ++precision) {
        std::snprintf(buf, sizeof buf, "%.*G", precision, value);
        if (std::strtod(buf, nullptr) == value) {
            break;
        }
    }
    std::string s = buf;
    if (s.rfind("0.", 0) == 0) {
        s.erase(0, 1);
    } else if (s.rfind("-0.", 0) == 0) {
        s.erase(1, 1);
    }
    return s;
}

TEST(NumberTextTest, GivesTheFewestDigitsThatReadBackForEveryKindOfValue) {
    std::mt19937_64 random(20261123);
    std::uniform_real_distribution<double> seconds(-10.0, 4000.0);
    std::uniform_int_distribution<std::uint64_t> bits;
    for (int i = 0; i < 200000; ++i) {
        const double timeLeft = static_cast<float>(seconds(random));  // as the tick writes it
        ASSERT_EQ(numberText(timeLeft), fewestDigitsText(timeLeft)) << timeLeft;
        double any = 0;
        const std::uint64_t b = bits(random);
        std::memcpy(&any, &b, sizeof any);
        if (std::isfinite(any) && any != 0) {
            ASSERT_EQ(numberText(any), fewestDigitsText(any)) << any;
        }
    }
    for (double v : {0.5, -0.25, 100000.0, 1e-5, 123456789.0, 0.1, 1.0 / 3, 5e-324, 1.7e308}) {
        EXPECT_EQ(numberText(v), fewestDigitsText(v)) << v;
    }
    EXPECT_EQ(numberText(0.5), ".5");
    EXPECT_EQ(numberText(100000.0), "1E+05");
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
