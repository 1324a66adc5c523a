#include "autodj/pick_random.h"

#include <bit>

namespace tw::autodj {

namespace {

// splitmix64: spreads neighbouring clock values over the whole seed space.
std::uint64_t mix(std::uint64_t x) {
    x += 0x9E3779B97F4A7C15ULL;
    x = (x ^ (x >> 30)) * 0xBF58476D1CE4E5B9ULL;
    x = (x ^ (x >> 27)) * 0x94D049BB133111EBULL;
    return x ^ (x >> 31);
}

}  // namespace

void PickRandom::reseed(double clockValue) {
    engine_.seed(mix(std::bit_cast<std::uint64_t>(clockValue) ^ mix(testSeed_)));
}

double PickRandom::next() {
    return static_cast<double>(engine_() >> 11) * 0x1.0p-53;
}

}  // namespace tw::autodj
