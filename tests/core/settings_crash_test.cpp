// A console killed in the middle of writing played.ini must find, on the next start, a whole file:
// the one before the flush or the one after it, never a mixture and never half of one.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <random>
#include <set>
#include <string>
#include <thread>

#include "core/ini_document.h"
#include "core/settings_store.h"
#include "core/unfinished_files.h"
#include "tests/testlib/temp_dir.h"

namespace tw::core {
namespace {

namespace fs = std::filesystem;

constexpr int kSections = 3000;
constexpr int kRounds = 50;

std::string padFor(int version, int section) {
    return std::string(20 + (version * 7 + section) % 150, static_cast<char>('a' + version % 26));
}

// The whole file as it stands after the writer's flush number `version`.
std::string versionText(int version) {
    std::string text;
    for (int s = 0; s < kSections; ++s) {
        text += "[Track " + std::to_string(s) + "]\nGen=" + std::to_string(version) +
                "\nPad=" + padFor(version, s) + "\n";
    }
    return text;
}

// The child: carries on from whatever version is on disk, one flush per version, until killed.
[[noreturn]] void writeForever(const std::string& file) {
    SettingsStore store;
    int version = std::stoi(store.read(file, "Track 0", "Gen", "0"));
    for (;;) {
        ++version;
        EventScope event(store);
        for (int s = 0; s < kSections; ++s) {
            const std::string section = "Track " + std::to_string(s);
            store.write(file, section, "Gen", std::to_string(version));
            store.write(file, section, "Pad", padFor(version, s));
        }
    }
}

ino_t inodeOf(const fs::path& p) {
    struct stat st {};
    return ::stat(p.c_str(), &st) == 0 ? st.st_ino : 0;
}

TEST(SettingsCrashTest, KilledWriterLeavesAWholeVersionAndAtMostOneTemporaryFile) {
    test::TempDir dir;
    const fs::path file = dir / "played.ini";
    test::writeFile(file, versionText(0));

    std::mt19937 random(20261122);
    std::uniform_int_distribution<int> delayMs(0, 25);
    int lastVersion = 0;
    int killedMidFlush = 0;
    for (int round = 0; round < kRounds; ++round) {
        const ino_t before = inodeOf(file);
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            writeForever(file.string());
        }
        const std::string temp = ".played.ini.tw-" + std::to_string(child) + ".tmp";
        // Wait for the writer's first flush to land (the file is replaced, so its inode changes),
        // so that even a slow machine gets its kills among the flushes; then let it run on.
        const auto giveUp = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (inodeOf(file) == before && std::chrono::steady_clock::now() < giveUp) {
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
        if (round % 2 == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(delayMs(random)));
        } else {
            // Every other round aims at the flush itself: the kill follows the moment the
            // temporary file shows, so the hard case is met however slow the build is.
            const auto until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
            while (!fs::exists(dir / temp) && std::chrono::steady_clock::now() < until) {
                std::this_thread::sleep_for(std::chrono::microseconds(20));
            }
        }
        ASSERT_EQ(::kill(child, SIGKILL), 0);
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status));

        const std::string bytes = test::readFile(file);
        const IniDocument doc(bytes);
        const auto gen = doc.find("track 0", "gen");
        ASSERT_TRUE(gen.has_value()) << "round " << round;
        const int version = std::stoi(std::string(*gen));
        ASSERT_EQ(bytes, versionText(version)) << "round " << round;
        // Every round saw one flush land, so the file must have moved on.
        ASSERT_GT(version, lastVersion) << "round " << round;
        lastVersion = version;

        const auto entries = test::entriesOf(dir.path());
        if (entries.count(temp)) {
            ++killedMidFlush;
        }
        // Each round's writer has a name of its own; what an earlier one left is swept as at a
        // start.
        sweepUnfinishedFiles(dir.str());
        ASSERT_TRUE(entries == std::set<std::string>({"played.ini"}) ||
                    entries == std::set<std::string>({"played.ini", temp}))
            << "round " << round << ": " << entries.size() << " entries";
    }
    // Some kills must have landed inside a flush, or the hard case was never tested.
    EXPECT_GT(killedMidFlush, 0);

    // The next start clears what the last kill left.
    sweepUnfinishedFiles(dir.str());
    EXPECT_EQ(test::entriesOf(dir.path()), std::set<std::string>{"played.ini"});
}

}  // namespace
}  // namespace tw::core
