// The homes the tests run in: the launcher gives every run of a test program a fresh one, the
// tests' main a folder of it to every test, and ScopedHome one to a part of a test. Nothing a
// test deletes or caches reaches the user's own folders, or the next test of the same run.

#include <pwd.h>
#include <unistd.h>

#include <QStandardPaths>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <gtest/gtest.h>

#include "tests/testlib/temp_dir.h"

namespace tw::test {
namespace {

namespace fs = std::filesystem;

std::string env(const char* name) {
    const char* v = std::getenv(name);
    return v ? v : "";
}

TEST(TestHomeTest, EveryTestRunsInAFreshHomeOfItsOwn) {
    const std::string home = env("HOME");
    ASSERT_FALSE(home.empty());
    const passwd* account = getpwuid(getuid());
    ASSERT_NE(account, nullptr);
    EXPECT_NE(fs::weakly_canonical(home), fs::weakly_canonical(account->pw_dir))
        << "the test runs in the user's own home";
    // The run's home is the launcher's; the test's a folder of it.
    const std::string runHome = env("TW_TEST_HOME");
    EXPECT_NE(fs::path(runHome).filename().string().find("tarnwave-home-"), std::string::npos)
        << runHome;
    EXPECT_EQ(fs::path(home).parent_path(), fs::path(runHome)) << home;
    EXPECT_EQ(fs::path(home).filename().string().rfind("test-", 0), 0u) << home;
    EXPECT_TRUE(fs::is_directory(home));
    EXPECT_EQ(env("XDG_DATA_HOME"), home + "/.local/share");
    EXPECT_EQ(env("XDG_CACHE_HOME"), home + "/.cache");
    EXPECT_EQ(env("XDG_CONFIG_HOME"), home + "/.config");
    EXPECT_TRUE(fs::is_directory(env("XDG_DATA_HOME")));
}

// These two run one after the other in one process (test_home_one_run in CMakeLists.txt), as
// the short tests of a shard do: the second finds none of what the first left.
TEST(TestHomeTest, ATestLeavesFilesInItsHome) {
    ASSERT_TRUE(fs::is_empty(env("XDG_DATA_HOME")));
    fs::create_directories(fs::path(env("XDG_DATA_HOME")) / "Trash/files");
    std::ofstream(fs::path(env("XDG_CONFIG_HOME")) / "left.conf") << "left\n";
    // A folder it cannot write to goes too.
    fs::create_directories(fs::path(env("HOME")) / "locked/inside");
    fs::permissions(fs::path(env("HOME")) / "locked",
                    fs::perms::owner_read | fs::perms::owner_exec);
}

TEST(TestHomeTest, TheNextTestFindsNoneOfThem) {
    EXPECT_TRUE(fs::is_empty(env("XDG_DATA_HOME")));
    EXPECT_TRUE(fs::is_empty(env("XDG_CONFIG_HOME")));
    EXPECT_FALSE(fs::exists(fs::path(env("HOME")) / "locked"));
    // The homes of the tests before it are gone: the run's home holds this test's alone.
    int homes = 0;
    for (const auto& entry : fs::directory_iterator(env("TW_TEST_HOME"))) {
        if (entry.path().filename().string().rfind("test-", 0) == 0) {
            ++homes;
            EXPECT_EQ(entry.path(), fs::path(env("HOME")));
        }
    }
    EXPECT_EQ(homes, 1);
}

TEST(TestHomeTest, AScopedHomeHoldsTheDataCacheAndConfigFoldersAndIsPutBack) {
    const std::string before[] = {env("HOME"), env("XDG_DATA_HOME"), env("XDG_CACHE_HOME"),
                                  env("XDG_CONFIG_HOME")};
    fs::path folder;
    {
        ScopedHome home;
        folder = home.home();
        EXPECT_EQ(env("HOME"), folder.string());
        EXPECT_NE(folder.string(), before[0]);
        const auto inside = [&folder](const QString& path) {
            return path.toStdString().rfind(folder.string() + "/", 0) == 0;
        };
        EXPECT_TRUE(inside(QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)));
        EXPECT_TRUE(inside(QStandardPaths::writableLocation(QStandardPaths::CacheLocation)));
        EXPECT_TRUE(inside(QStandardPaths::writableLocation(QStandardPaths::ConfigLocation)));
        EXPECT_EQ(home.trash(), folder / ".local/share/Trash");
    }
    EXPECT_FALSE(fs::exists(folder)) << "the folder goes with the scope";
    const std::string after[] = {env("HOME"), env("XDG_DATA_HOME"), env("XDG_CACHE_HOME"),
                                 env("XDG_CONFIG_HOME")};
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(after[i], before[i]) << i;
    }
}

}  // namespace
}  // namespace tw::test
