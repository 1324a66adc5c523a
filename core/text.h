#pragma once
// Text and number helpers with the console's own conversion rules: the numeric value of a text
// (leading number only), number text with a leading blank, halves-to-even rounding, and the
// checked conversions to whole numbers that fail with "Overflow" instead of wrapping.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tw::core {

// The numeric value of a text: reads a leading number, skipping blanks inside it, accepting a sign,
// one "." as the decimal point and an exponent; stops at the first other character; 0 when there is
// none. "12abc" is 12, " 1 2" is 12, "abc" is 0, "1.5.2" is 1.5, "-" is 0.
double val(std::string_view text);
// The same for numbers read from files, which must not fail: nothing when the number is too large
// for a double ("1E999").
std::optional<double> finiteVal(std::string_view text);

// Number to text with a leading blank for a number that is not negative: 25 -> " 25", -1 -> "-1",
// 0.5 -> " .5", 1.5 -> " 1.5". Whole numbers print without a decimal point.
std::string str(double value);
std::string str(std::int64_t value);
inline std::string str(int value) {
    return str(static_cast<std::int64_t>(value));
}

// Shortest text that reads back as the same number, without a leading blank ("1.5", "-3", "0.1").
std::string numberText(double value);

// Halves to even: 1.5 -> 2, 2.5 -> 2, -0.5 -> 0.
double roundHalfEven(double value);
// Halves away from zero: 2.5 -> 3, -2.5 -> -3 (the rule of the format strings).
double roundHalfAway(double value);

// Checked conversions to a whole number, halves to even. Out of range (or not a number) fails
// with "Overflow".
std::int32_t cLng(double value);
std::int16_t cInt(double value);
// Text to whole number where the text must be a number: blanks around it allowed, otherwise
// "Type mismatch". Used where the console converts a text without taking its numeric value.
std::int32_t cLngText(std::string_view text);
double cDblText(std::string_view text);

// Integer division that truncates towards zero, both operands rounded first (halves to even), as
// the console's "\" operator does. Division by zero fails.
std::int32_t intDiv(double a, double b);

std::string trim(std::string_view s);
std::string trimLeft(std::string_view s);
std::string trimRight(std::string_view s);
// An ASCII capital in lower case; every other byte as it is.
inline char lowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
std::string toLower(std::string_view s);  // ASCII letters only; other bytes as they are
std::string toUpper(std::string_view s);
bool equalsNoCase(std::string_view a, std::string_view b);
bool containsText(std::string_view haystack, std::string_view needle);  // case sensitive

// UTF-8 aware length and cut, in code points.
std::size_t charCount(std::string_view s);
std::string leftChars(std::string_view s, std::size_t n);

// How many times c occurs in text.
int countChar(std::string_view text, char c);

// Replaces every occurrence of find in text from position start (1-based; 0 means 1) onward.
// A negative start works from the end backwards: the search begins -start characters from the
// end and walks towards the front. changed is set when anything was replaced (and left as it was
// otherwise). An empty find replaces nothing.
std::string replaceText(std::string_view text, std::string_view find, std::string_view replacement,
                        int start, bool& changed);

// Splits text at every occurrence of delimiter (no quote handling).
std::vector<std::string> split(std::string_view text, std::string_view delimiter);

// Copies a zero-terminated 8-bit text (at most maxLen bytes) into a byte array.
std::vector<std::uint8_t> ansiToBytes(const char* text, std::size_t maxLen = SIZE_MAX);

}  // namespace tw::core
