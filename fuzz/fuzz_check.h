#pragma once
// What a fuzz target asserts of a parser's answer: a broken promise stops the run at once, as a
// crash, so that the fuzzer keeps the input that broke it.

#include <cstdlib>

namespace tw::fuzz {

inline void check(bool condition) {
    if (!condition) {
        std::abort();
    }
}

}  // namespace tw::fuzz
