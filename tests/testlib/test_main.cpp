// The test programs' main: GoogleTest's, with a home of its own for every test.
//
// The launcher (tests/test_env.sh.in) gives each run of a program a fresh home and names it in
// TW_TEST_HOME. A run may hold many tests (scripts/test.sh and the sanitizer build run the short
// tests of a program together, tests/CMakeLists.txt, TW_TEST_SHARDS), so each test gets a folder
// of that home with the XDG data, cache and config folders inside it (a test::ScopedHome), named
// by HOME and XDG_*_HOME while the test runs and removed when it ends: what one test leaves in
// its trash or settings is never seen by the next. Without TW_TEST_HOME (a program started by
// hand) the environment is left alone.
//
// Threads: the listener runs on the main thread between tests, when no test's threads should be
// running; the environment is only changed there.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <utility>

#include "tests/testlib/temp_dir.h"

namespace {

class HomePerTest final : public ::testing::EmptyTestEventListener {
  public:
    explicit HomePerTest(std::filesystem::path base) : base_(std::move(base)) {}

  private:
    void OnTestStart(const ::testing::TestInfo&) override {
        home_ = std::make_unique<tw::test::ScopedHome>(base_);
    }
    void OnTestEnd(const ::testing::TestInfo&) override { home_.reset(); }

    std::filesystem::path base_;
    std::unique_ptr<tw::test::ScopedHome> home_;
};

}  // namespace

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    if (const char* base = std::getenv("TW_TEST_HOME"); base != nullptr && *base != '\0') {
        ::testing::UnitTest::GetInstance()->listeners().Append(new HomePerTest(base));
    }
    return RUN_ALL_TESTS();
}
