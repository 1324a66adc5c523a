// The logs and the settings on a station folder that is a small file system filled to the last
// byte: no line is ever left half written, the failures are told at most once a minute (on the
// standard error while app.log cannot take them) and writing goes on when space comes back.
// Mounting needs the superuser; without it the tests are skipped.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "core/console_ops.h"
#include "tests/testlib/console_fixture.h"

namespace tw::core {
namespace {

namespace fs = std::filesystem;
using test::readFile;
using test::writeFile;

// The standard error sent to a file for the life of the scope.
class CapturedStderr {
  public:
    explicit CapturedStderr(const fs::path& file) : saved_(::dup(STDERR_FILENO)) {
        const int fd = ::open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        ::dup2(fd, STDERR_FILENO);
        ::close(fd);
    }
    ~CapturedStderr() {
        ::dup2(saved_, STDERR_FILENO);
        ::close(saved_);
    }
    CapturedStderr(const CapturedStderr&) = delete;
    CapturedStderr& operator=(const CapturedStderr&) = delete;

  private:
    int saved_;
};

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

class FullDiskLogsTest : public test::ConsoleFixture {
  protected:
    void SetUp() override {
        if (::geteuid() != 0) {
            GTEST_SKIP() << "mounting a small file system needs the superuser";
        }
        // Three pages: one for the files the test writes, the rest for the filler, so that room
        // made again holds a line of Played.log and one of app.log.
        ASSERT_EQ(::mount("tw-full-disk-test", dir.str().c_str(), "tmpfs", 0, "size=12k,mode=0755"),
                  0)
            << std::strerror(errno);
        mounted_ = true;
    }
    void TearDown() override {
        if (mounted_) {
            ::umount2(dir.str().c_str(), MNT_DETACH);
        }
    }

    // Fills what is left of the file system.
    void fill() {
        const int fd = ::open((dir / "filler").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        ASSERT_GE(fd, 0);
        const std::string block(512, 'f');
        while (::write(fd, block.data(), block.size()) > 0) {
        }
        ::close(fd);
    }
    void makeRoom() { fs::remove(dir / "filler"); }

    bool mounted_ = false;
    test::TempDir outside_;
};

TEST_F(FullDiskLogsTest, AHistoryLineThatDoesNotFitIsLeftOutWholeAndTheNextComesOnItsOwnLine) {
    Console& c = make();
    // Played.log ends six bytes short of its page: a line starts to fit and then the disk is full.
    const std::string history = std::string(4089, 'h') + "\n";
    writeFile(dir / "Played.log", history);
    fill();
    logPlayed(c, "Band - Lost", c.now());
    EXPECT_EQ(readFile(dir / "Played.log"), history) << "nothing of the line that did not fit";
    makeRoom();
    logPlayed(c, "Band - Kept", c.now());
    EXPECT_EQ(readFile(dir / "Played.log"), history + "Band - Kept,11/22/2026 10:00:00 AM\n");
}

TEST_F(FullDiskLogsTest, TenMinutesOfFailedWritesGiveTenLinesOnStandardErrorThenOneInAppLog) {
    Console& c = make();
    // 113 lines of 36 bytes: the next line does not fit in the page.
    std::string history;
    for (int i = 0; i < 113; ++i) {
        history += "Band - Before,11/22/2026 9:59:00 AM\n";
    }
    writeFile(dir / "Played.log", history);
    fill();
    const fs::path err = outside_ / "stderr";
    {
        CapturedStderr capture(err);
        // A start every five seconds: a history line, its play count and a line in app.log.
        for (int i = 0; i < 120; ++i) {
            logPlayed(c, "Band - Track " + std::to_string(i), c.now());
            writeIniValue(c, c.playedIniPath(), "Band - Track " + std::to_string(i), "PlayCount",
                          "1");
            logError(c, "a failure of the tick");
            clock.advanceSeconds(5);
        }
    }
    const auto told = linesOf(readFile(err));
    ASSERT_EQ(told.size(), 10u) << readFile(err);
    EXPECT_EQ(told[0],
              "tarnwave: Cannot write " + (dir / "Played.log").string() +
                  ": No space left on device (1 write failed since the last line about it; at most "
                  "one such line a minute)");
    EXPECT_NE(told[1].find("(36 writes failed"), std::string::npos)
        << "twelve starts of three writes each: " << told[1];
    EXPECT_EQ(readFile(dir / "Played.log"), history);

    makeRoom();
    logPlayed(c, "Band - After", c.now());
    const auto log = linesOf(readFile(dir / "app.log"));
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0],
              "#Time:11/22/2026 10:10:00 AMWriting works again (35 writes failed since the last "
              "line about it)#");
    EXPECT_EQ(readFile(dir / "Played.log"), history + "Band - After,11/22/2026 10:10:00 AM\n");
}

}  // namespace
}  // namespace tw::core
