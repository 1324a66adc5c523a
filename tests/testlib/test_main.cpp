// The test programs' main: GoogleTest's, with a home of its own for every test.
//
// The launcher (tests/test_env.sh.in) gives each run of a program a fresh home and names it in
// TW_TEST_HOME. A run may hold many tests (scripts/test.sh and the sanitizer build run the short
// tests of a program together, tests/CMakeLists.txt, TW_TEST_SHARDS), so each test gets a folder
// of that home with the XDG data, cache and config folders inside it, named by HOME and
// XDG_*_HOME while the test runs and removed when it ends: what one test leaves in its trash or
// settings is never seen by the next. Without TW_TEST_HOME (a program started by hand) the
// environment is left alone.
//
// Threads: the listener runs on the main thread between tests, when no test's threads should be
// running; the environment is only changed there.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>

namespace {

namespace fs = std::filesystem;

// A test may leave folders it made read-only: they are opened up before the removal.
void removeTree(const fs::path& root) {
    std::error_code ec;
    ::chmod(root.c_str(), 0700);
    for (auto it = fs::recursive_directory_iterator(root, ec);
         !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
        if (it->is_directory(ec) && !it->is_symlink(ec)) {
            ::chmod(it->path().c_str(), 0700);
        }
    }
    fs::remove_all(root, ec);
}

class HomePerTest final : public ::testing::EmptyTestEventListener {
  public:
    explicit HomePerTest(fs::path base) : base_(std::move(base)) {}

  private:
    void OnTestStart(const ::testing::TestInfo&) override {
        home_ = base_ / ("test-" + std::to_string(++count_));
        const fs::path data = home_ / ".local/share", cache = home_ / ".cache",
                       config = home_ / ".config";
        std::error_code ec;
        for (const auto& folder : {data, cache, config}) {
            fs::create_directories(folder, ec);
        }
        ::setenv("HOME", home_.c_str(), 1);
        ::setenv("XDG_DATA_HOME", data.c_str(), 1);
        ::setenv("XDG_CACHE_HOME", cache.c_str(), 1);
        ::setenv("XDG_CONFIG_HOME", config.c_str(), 1);
    }
    void OnTestEnd(const ::testing::TestInfo&) override { removeTree(home_); }

    fs::path base_, home_;
    int count_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    if (const char* base = std::getenv("TW_TEST_HOME"); base != nullptr && *base != '\0') {
        ::testing::UnitTest::GetInstance()->listeners().Append(new HomePerTest(base));
    }
    return RUN_ALL_TESTS();
}
