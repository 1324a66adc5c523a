// The homes the tests run in: the launcher gives every test program a fresh one, and ScopedHome
// gives one to a single test. Nothing a test deletes or caches reaches the user's own folders.

#include <pwd.h>
#include <unistd.h>

#include <QStandardPaths>
#include <cstdlib>
#include <filesystem>
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

TEST(TestHomeTest, EveryTestProgramRunsInAFreshHomeOfItsOwn) {
    const std::string home = env("HOME");
    ASSERT_FALSE(home.empty());
    const passwd* account = getpwuid(getuid());
    ASSERT_NE(account, nullptr);
    EXPECT_NE(fs::weakly_canonical(home), fs::weakly_canonical(account->pw_dir))
        << "the test runs in the user's own home";
    EXPECT_NE(fs::path(home).filename().string().find("tarnwave-home-"), std::string::npos) << home;
    EXPECT_TRUE(fs::is_directory(home));
    EXPECT_EQ(env("XDG_DATA_HOME"), home + "/.local/share");
    EXPECT_EQ(env("XDG_CACHE_HOME"), home + "/.cache");
    EXPECT_EQ(env("XDG_CONFIG_HOME"), home + "/.config");
    EXPECT_TRUE(fs::is_directory(env("XDG_DATA_HOME")));
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
