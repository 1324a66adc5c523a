#pragma once
// The uniform generator behind the picker's shuffle. It is reseeded from the clock at every pick,
// so that the walk through a category depends on the moment of the pick; tests fold a seed of
// their own into every reseed to get many different, repeatable runs.
//
// Thread contract: console thread only (the console owns the one instance).

#include <cstdint>
#include <random>
#include <utility>
#include <vector>

namespace tw::autodj {

class PickRandom {
  public:
    // Reseeds from a value that the clock gives (any double); the test seed is mixed in.
    void reseed(double clockValue);
    // A draw in [0, 1) with 53 bits of the generator.
    double next();
    // Folded into every later reseed. 0 (the console's default) leaves the clock alone in charge.
    void setTestSeed(std::uint64_t seed) { testSeed_ = seed; }
    std::uint64_t testSeed() const { return testSeed_; }

  private:
    std::mt19937_64 engine_{0};
    std::uint64_t testSeed_ = 0;
};

// Fisher-Yates from the top down: for i from the last index down to 1, j = floor(r * (i + 1)),
// swap i and j. Works on any element type.
template <typename T>
void ShuffleArray(std::vector<T>& values, PickRandom& random) {
    if (values.size() < 2) {
        return;
    }
    const std::size_t lo = 0;
    for (std::size_t i = values.size() - 1; i >= lo + 1; --i) {
        const double r = random.next();
        auto j =
            static_cast<std::size_t>(r * static_cast<double>(i - lo + 1) + static_cast<double>(lo));
        if (j > i) {
            j = i;  // r is below 1, so only rounding could get here
        }
        std::swap(values[i], values[j]);
    }
}

}  // namespace tw::autodj
