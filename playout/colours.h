#pragma once
// The colours the player controls are painted in, as the console keeps colours: red in the low
// byte, blue in the high one.

#include <cstdint>

namespace tw::playout {

inline constexpr std::uint32_t kRed = 0x0000FF;
inline constexpr std::uint32_t kGreen = 0x00C000;
inline constexpr std::uint32_t kWhite = 0xFFFFFF;

}  // namespace tw::playout
