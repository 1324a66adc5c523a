// A station folder on a small file system that fills up while the console is on the air, in
// virtual time on the real engine: the air goes on, the history already written stays as it was,
// the failed writes are told at most once a minute, and history is written again once there is
// room. Mounting needs the superuser; without it the test is skipped.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "core/dates.h"
#include "tests/app/station_run.h"
#include "tests/testlib/temp_dir.h"

namespace tw {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> linesOf(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

std::string bytesOf(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

int countContaining(const std::vector<std::string>& lines, const std::string& text) {
    int n = 0;
    for (const auto& l : lines) {
        n += l.find(text) != std::string::npos;
    }
    return n;
}

// Every history line is "title,date time".
void expectWholeLines(const std::vector<std::string>& lines) {
    static const std::regex form(R"(^.+,\d{1,2}/\d{1,2}/\d{4} \d{1,2}:\d{2}:\d{2} [AP]M$)");
    for (const auto& line : lines) {
        EXPECT_TRUE(std::regex_match(line, form)) << line;
    }
}

class DiskFullScenario : public ::testing::Test {
  protected:
    void SetUp() override {
        if (::geteuid() != 0) {
            GTEST_SKIP() << "mounting a small file system needs the superuser";
        }
        mount_ = dir_ / "disk";
        fs::create_directories(mount_);
        ASSERT_EQ(::mount("tw-disk-full-test", mount_.c_str(), "tmpfs", 0, "size=8m,mode=0755"), 0)
            << std::strerror(errno);
        mounted_ = true;
        station_ = mount_ / "station";
        // 3 categories of 4 tracks, 20 to 40 s: about 2 MB.
        ASSERT_EQ(test::makeDemoStation(station_, 3, 4, 20, 40, 6), "");
    }

    void TearDown() override {
        run_.reset();
        if (mounted_) {
            ::umount2(mount_.c_str(), MNT_DETACH);
        }
    }

    // Takes every byte the file system has left.
    void fill() {
        const int fd = ::open((mount_ / "filler").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
        ASSERT_GE(fd, 0);
        const std::string block(4096, 'f');
        while (::write(fd, block.data(), block.size()) > 0) {
        }
        ::close(fd);
    }

    test::TempDir dir_;
    fs::path mount_;
    fs::path station_;
    bool mounted_ = false;
    std::unique_ptr<test::StationRun> run_;
};

TEST_F(DiskFullScenario, TheAirGoesOnNoHistoryIsLostFailuresAreToldOnceAMinuteAndWritingComesBack) {
    run_ = std::make_unique<test::StationRun>(station_.string(),
                                              core::dateSerial(2026, 3, 2) + 10.0 / 24);
    ASSERT_EQ(run_->exec("load"), "");
    ASSERT_EQ(run_->exec("select flRotations 0"), "");
    run_->advance(300);
    const std::string history = bytesOf(station_ / "Played.log");
    const auto historyLines = linesOf(station_ / "Played.log");
    ASSERT_GE(historyLines.size(), 5u);

    const std::size_t logLinesBefore = linesOf(station_ / "app.log").size();
    fill();
    const fs::path told = dir_ / "stderr";
    const int startsBefore = run_->starts();
    {
        // What cannot go to app.log goes to the standard error: kept in a file outside the disk.
        const int saved = ::dup(STDERR_FILENO);
        const int fd = ::open(told.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        ::dup2(fd, STDERR_FILENO);
        ::close(fd);
        // An hour: long enough for the last pages of Played.log and app.log to fill as well.
        run_->advance(3600);
        ::dup2(saved, STDERR_FILENO);
        ::close(saved);
    }
    const int startsWhileFull = run_->starts() - startsBefore;
    EXPECT_GE(startsWhileFull, 90) << "tracks of 20 to 40 s go on starting";
    EXPECT_TRUE(run_->silences(5.0).empty()) << "no silence on the air";
    // Played.log's last page takes lines for a while; after that each start's line is lost
    // whole. What was there stays, and no line is cut.
    const std::string whileFull = bytesOf(station_ / "Played.log");
    EXPECT_EQ(whileFull.substr(0, history.size()), history);
    const auto linesWhileFull = linesOf(station_ / "Played.log");
    EXPECT_LT(linesWhileFull.size() + 30, historyLines.size() + startsWhileFull)
        << "the history lines of the full disk's last half hour at least are lost";
    expectWholeLines(linesWhileFull);
    // The lines about the failures: in app.log while its last page had room, then on the
    // standard error; at most one a minute in all.
    const auto logLines = linesOf(station_ / "app.log");
    const std::vector<std::string> newLogLines(logLines.begin() + logLinesBefore, logLines.end());
    const auto stderrLines = linesOf(told);
    const int onStderr = countContaining(stderrLines, "tarnwave: Cannot write ");
    const int inLog = countContaining(newLogLines, "Cannot write ") +
                      countContaining(newLogLines, "Writing works again");
    EXPECT_GE(onStderr, 1) << "app.log filled up too";
    EXPECT_LE(onStderr + inLog, 61) << "at most one line a minute";
    // A line comes with the first failure a minute after the last, and the failures come with
    // the starts, 20 to 40 s apart.
    EXPECT_GE(onStderr + inLog, 40) << "a failing disk is told every minute or so";
    EXPECT_EQ(countContaining(stderrLines, "No space left on device"), onStderr);

    fs::remove(mount_ / "filler");
    run_->advance(180);
    const std::string after = bytesOf(station_ / "Played.log");
    EXPECT_EQ(after.substr(0, history.size()), history);
    EXPECT_GE(linesOf(station_ / "Played.log").size(), linesWhileFull.size() + 4)
        << "new history lines once there is room";
    expectWholeLines(linesOf(station_ / "Played.log"));
    const auto finalLog = linesOf(station_ / "app.log");
    const auto lastTold =
        std::find_if(finalLog.rbegin(), finalLog.rend(), [](const std::string& line) {
            return line.find("Cannot write ") != std::string::npos ||
                   line.find("Writing works again") != std::string::npos;
        });
    ASSERT_NE(lastTold, finalLog.rend());
    EXPECT_NE(lastTold->find("Writing works again"), std::string::npos) << *lastTold;
    ASSERT_EQ(run_->exec("unload"), "");
}

}  // namespace
}  // namespace tw
