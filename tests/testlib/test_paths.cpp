#include "tests/testlib/test_paths.h"

#include <cstdlib>

namespace tw::test {

namespace {

std::string fromEnvironment(const char* name, const char* built) {
    const char* value = std::getenv(name);
    return value && *value ? value : built;
}

}  // namespace

std::string sourceDir() {
    return fromEnvironment("TW_SOURCE_DIR", TW_BUILT_SOURCE_DIR);
}

std::string binaryDir() {
    return fromEnvironment("TW_BINARY_DIR", TW_BUILT_BINARY_DIR);
}

}  // namespace tw::test
