#include "reporting/download_sheet.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <thread>

#include "core/program_runner.h"
#include "desk/actions.h"
#include "tests/autodj/station_fixture.h"
#include "tests/tags/tag_test_util.h"

namespace tw::reporting {
namespace {

namespace fs = std::filesystem;
using test::readFile;
using test::writeFile;

const std::string kRule(89, '-');

// The test's own PATH: only the programs it puts there.
class PathGuard {
  public:
    explicit PathGuard(const std::string& path) {
        if (const char* old = std::getenv("PATH")) {
            old_ = old;
        }
        setenv("PATH", path.c_str(), 1);
    }
    ~PathGuard() { setenv("PATH", old_.c_str(), 1); }

  private:
    std::string old_;
};

class DownloadSheetTest : public test::StationFixture {
  protected:
    DownloadSheetTest() {
        open();
        bin_ = dir / "bin";
        fs::create_directories(bin_);
    }
    // A track whose tag names everything the sheet shows but the marketing label.
    std::string track(const std::string& artist, const std::string& title) {
        const fs::path path = dir / "Music" / "Rock" / (title + "x.mp3");
        writeFile(path, test::id3Tag(3, test::textFrame("TIT2", title, 3) +
                                            test::textFrame("TPE1", artist, 3) +
                                            test::textFrame("TCOM", "Mercury", 3) +
                                            test::textFrame("TPUB", "EMI", 3) +
                                            test::textFrame("TALB", "Jazz", 3)) +
                            test::mpegFrames(2));
        return path.string();
    }
    std::string sheetPath(const std::string& name) {
        return (dir / "Download Sheets" / name).string();
    }
    bool shown(const std::string& part) {
        for (const auto& t : console->form().frmTarnDesk.drawing.texts) {
            if (t.text.find(part) != std::string::npos) {
                return true;
            }
        }
        return false;
    }
    fs::path bin_;
};

TEST_F(DownloadSheetTest, TheSheetHasItsTwentyFiveLinesInOrder) {
    const std::string text =
        downloadSheetText("Bicycle", "Queen", "Mercury", "EMI", "Jazz", "Hollywood");
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    ASSERT_EQ(lines.size(), 25u);
    EXPECT_EQ(lines[0], kRule);
    EXPECT_EQ(lines[3], "  File#:_________________________________");
    EXPECT_EQ(lines[5], "  Song Name: Bicycle");
    EXPECT_EQ(lines[7], "  Artist: Queen");
    EXPECT_EQ(lines[9], "  Composers :Mercury");
    EXPECT_EQ(lines[11], "  Publishers :EMI");
    EXPECT_EQ(lines[13], "  Album Title :Jazz");
    EXPECT_EQ(lines[15], "  Marketing Label :Hollywood");
    EXPECT_EQ(lines[17], "  Intro Time:________________");
    EXPECT_EQ(lines[19], "  Length:____________________");
    EXPECT_EQ(lines[21],
              "  End Type: Fade__ Long Fade__ Cold Fade__  Cold__        Other__________");
    EXPECT_EQ(lines[24], kRule);
    for (int empty : {1, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 23}) {
        EXPECT_EQ(lines[static_cast<std::size_t>(empty)], "") << empty;
    }
}

TEST_F(DownloadSheetTest, WithoutAPrinterCommandTheSheetIsSavedAndItsPlaceShown) {
    PathGuard path(bin_.string());
    console->detailsSong = track("Queen", "Bicycle");
    ASSERT_TRUE(desk::press(*console, "cmdSaveDownloadSheet"));
    const std::string sheet = sheetPath("Queen-Bicycle.txt");
    EXPECT_EQ(readFile(sheet), downloadSheetText("Bicycle", "Queen", "Mercury", "EMI", "Jazz", ""));
    EXPECT_TRUE(shown(sheet));
}

TEST_F(DownloadSheetTest, WithLpOnThePathTheSheetIsSentToIt) {
    const fs::path printed = dir / "printed.txt";
    writeFile(bin_ / "lp", "#!/bin/sh\ncat \"$1\" > '" + printed.string() + "'\n");
    fs::permissions(bin_ / "lp", fs::perms::owner_all);
    PathGuard path(bin_.string() + ":/usr/bin:/bin");
    console->detailsSong = track("Queen", "Bicycle");
    desk::press(*console, "cmdSaveDownloadSheet");
    ASSERT_TRUE(console->programs);
    for (int i = 0; i < 500 && console->programs->running() > 0; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    EXPECT_EQ(readFile(printed), readFile(sheetPath("Queen-Bicycle.txt")));
    EXPECT_FALSE(shown("download sheet"));
}

TEST_F(DownloadSheetTest, ASecondSheetForTheSameTrackReplacesTheFirst) {
    PathGuard path(bin_.string());
    fs::create_directories(dir / "Download Sheets");
    writeFile(sheetPath("Queen-Bicycle.txt"), std::string(5000, 'x'));
    console->detailsSong = track("Queen", "Bicycle");
    desk::press(*console, "cmdSaveDownloadSheet");
    desk::press(*console, "cmdSaveDownloadSheet");
    EXPECT_EQ(readFile(sheetPath("Queen-Bicycle.txt")),
              downloadSheetText("Bicycle", "Queen", "Mercury", "EMI", "Jazz", ""));
}

TEST_F(DownloadSheetTest, AnEmptyArtistAndTitleGiveAFileNamedOnlyTheHyphen) {
    PathGuard path(bin_.string());
    // A tag with an album only: no artist, no title.
    const fs::path plain = dir / "Music" / "Rock" / "plain.mp3";
    writeFile(plain, test::id3Tag(3, test::textFrame("TALB", "Jazz", 3)) + test::mpegFrames(2));
    console->detailsSong = plain.string();
    desk::press(*console, "cmdSaveDownloadSheet");
    EXPECT_TRUE(fs::exists(sheetPath("-.txt")));
}

TEST_F(DownloadSheetTest, ANameTheFileSystemCannotHoldEndsTheActionWithNothingShown) {
    PathGuard path(bin_.string());
    console->detailsSong = track("AC/DC", "Thunder");
    desk::press(*console, "cmdSaveDownloadSheet");
    EXPECT_FALSE(shown("download sheet"));
    EXPECT_TRUE(fs::is_empty(dir / "Download Sheets"));
}

}  // namespace
}  // namespace tw::reporting
