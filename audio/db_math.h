#pragma once
// Logarithm and power of two for the effects' per-sample dB conversions, without the library's
// calls: a few multiplications each, within a few parts in 10^7 of the exact value (a gain error
// near -130 dB), for any finite input.
//
// Thread contract: pure functions, any thread.

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace tw::audio {

namespace db_math_detail {

using F4 = float __attribute__((vector_size(16)));
using I4 = std::int32_t __attribute__((vector_size(16)));

// ln m = 2 artanh s = 2 s (1 + s^2/3 + s^4/5 + ...), s = (m - 1) / (m + 1): the series' factor
// after 2 s, for a float or four of them.
template <class T>
inline T artanhSeries(T s2) {
    return 1.0f + s2 * (1.0f / 3 + s2 * (1.0f / 5 + s2 * (1.0f / 7 + s2 * (1.0f / 9))));
}

// `four` on each four of the `n` values in place (the compiler's vector types: SSE on x86, NEON
// on ARM, plain code elsewhere), `one` on the one to three left over.
template <class Four, class One>
inline void inFours(float* x, std::size_t n, Four four, One one) {
    std::size_t i = 0;
    for (; i + 4 <= n; i += 4) {
        F4 v;
        std::memcpy(&v, x + i, sizeof v);
        v = four(v);
        std::memcpy(x + i, &v, sizeof v);
    }
    for (; i < n; ++i) {
        x[i] = one(x[i]);
    }
}

}  // namespace db_math_detail

// log2(x) for a positive normal x (the callers keep x at 1e-9 or above).
inline float log2Fast(float x) {
    const auto bits = std::bit_cast<std::uint32_t>(x);
    // x = m * 2^e with m in [sqrt(1/2), sqrt(2)), where the series below converges fastest.
    int e = static_cast<int>((bits >> 23) & 0xFFu) - 127;
    float m = std::bit_cast<float>((bits & 0x007FFFFFu) | 0x3F800000u);
    if (m > 1.41421356f) {
        m *= 0.5f;
        ++e;
    }
    // ln m = 2 artanh s, s = (m - 1) / (m + 1), |s| < 0.172: five terms leave under 3e-8.
    const float s = (m - 1.0f) / (m + 1.0f);
    const float s2 = s * s;
    const float series = db_math_detail::artanhSeries(s2);
    constexpr float kLog2e = 1.44269504f;
    return static_cast<float>(e) + 2.0f * kLog2e * s * series;
}

// log2 for each of `n` positive normal values in place, four at a time, by log2Fast's own
// steps (the same series, the halving as a selection): within its few parts in 10^7.
inline void log2Block(float* x, std::size_t n) {
    using db_math_detail::F4;
    using db_math_detail::I4;
    db_math_detail::inFours(
        x, n,
        [](F4 v) {
            I4 bits;
            std::memcpy(&bits, &v, sizeof bits);
            I4 e = ((bits >> 23) & 0xFF) - 127;
            const I4 mantissa = (bits & 0x007FFFFF) | 0x3F800000;
            F4 m;
            std::memcpy(&m, &mantissa, sizeof m);
            const I4 high = m > 1.41421356f;  // all ones where the mantissa is halved
            m = high ? m * 0.5f : m;
            e -= high;
            const F4 s = (m - 1.0f) / (m + 1.0f);
            const F4 series = db_math_detail::artanhSeries(s * s);
            constexpr float kLog2e = 1.44269504f;
            return __builtin_convertvector(e, F4) + 2.0f * kLog2e * s * series;
        },
        log2Fast);
}

namespace db_math_detail {

// e^x by its series, at compile time, for 0 <= x < 1.
constexpr double expSeries(double x) {
    double term = 1, sum = 1;
    for (int n = 1; n < 30; ++n) {
        term *= x / n;
        sum += term;
    }
    return sum;
}

// 2^(j/64) for j = 0..63.
inline constexpr std::array<float, 64> kSixtyFourths = [] {
    std::array<float, 64> t{};
    for (int j = 0; j < 64; ++j) {
        t[static_cast<std::size_t>(j)] =
            static_cast<float>(expSeries(j / 64.0 * 0.693147180559945309));
    }
    return t;
}();

}  // namespace db_math_detail

// 2^y. Below 2^-126 it gives 2^-126 and above 2^127 it gives 2^127: for a gain, silence and
// overload either way. A NaN (from audio that carries one) gives 2^-126, silence.
inline float exp2Fast(float y) {
    y = std::min(127.0f, std::max(-126.0f, y));
    // y = k/64 + r with k whole and |r| <= 1/128: 2^(k/64) from the exponent and the table, 2^r =
    // e^(r ln 2) by its series to the third power, whose remainder is under 1e-10.
    const int k = static_cast<int>(y * 64.0f + 8192.5f) - 8192;  // rounds: the sum is positive
    const float r = (y - static_cast<float>(k) * (1.0f / 64)) * 0.693147181f;
    const float p = 1.0f + r * (1.0f + r * (0.5f + r * (1.0f / 6)));
    const float scale = std::bit_cast<float>(static_cast<std::uint32_t>((k >> 6) + 127) << 23);
    return p * db_math_detail::kSixtyFourths[static_cast<std::size_t>(k & 63)] * scale;
}

// 2^y for each of `n` values in place, four at a time (the compiler's vector types: SSE on x86,
// NEON on ARM, plain code elsewhere). As exp2Fast, by the series to the sixth power instead of
// the table: within 1.2e-7.
inline void exp2Block(float* y, std::size_t n) {
    using db_math_detail::F4;
    using db_math_detail::I4;
    db_math_detail::inFours(
        y, n,
        [](F4 v) {
            v = v > -126.0f ? v : -126.0f;  // a NaN fails the comparison: silence
            v = v < 127.0f ? v : 127.0f;
            // v = k + f with k whole and |f| <= 1/2, rounded through a positive sum.
            const I4 k = __builtin_convertvector(v + 128.5f, I4) - 128;
            const F4 f = (v - __builtin_convertvector(k, F4)) * 0.693147181f;
            const F4 p =
                1.0f + f * (1.0f + f * (0.5f + f * (1.0f / 6 +
                                                    f * (1.0f / 24 + f * (1.0f / 120 + f / 720)))));
            const I4 bits = (k + 127) << 23;
            F4 scale;
            std::memcpy(&scale, &bits, sizeof scale);
            return p * scale;
        },
        exp2Fast);
}

}  // namespace tw::audio
