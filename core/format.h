#pragma once
// The format strings of the console: date pictures ("ddd mmm dd, yyyy", "HH:MM:SS AMPM",
// "HH:MM.SS AMPM") and number pictures ("0#", "0#.0", "#.0", "00").

#include <string>
#include <string_view>

#include "core/dates.h"

namespace tw::core {

// Date picture. Tokens, without regard to case: d dd ddd dddd, m mm mmm mmmm (minutes when they
// follow an hour token), yy yyyy, h hh, n nn, s ss, AMPM and AM/PM (which put the hours on the
// 12-hour clock). Any other character stands as it is. English month and day names.
std::string formatDate(DateValue d, std::string_view picture);

// Number picture: "0" a digit always, "#" a digit when there is one; digits fill from the right, so
// "0#" gives at least two digits and "#.0" no leading zero. One "." gives the decimal places, each
// "0" or "#" after it one place. Rounding goes halves away from zero.
std::string formatNumber(double value, std::string_view picture);

}  // namespace tw::core
