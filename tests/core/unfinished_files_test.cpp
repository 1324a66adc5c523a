// The unfinished files' names, and the sweep that removes those of a writer that no longer runs.

#include "core/unfinished_files.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "core/atomic_file.h"
#include "tests/testlib/temp_dir.h"

namespace tw::core {
namespace {

namespace fs = std::filesystem;

// The id of a process that has ended: a child that exits at once, reaped.
pid_t endedProcess() {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return child;
}

std::set<std::string> entriesUnder(const fs::path& root) {
    std::set<std::string> names;
    for (const auto& e : fs::recursive_directory_iterator(root)) {
        names.insert(fs::relative(e.path(), root).string());
    }
    return names;
}

TEST(UnfinishedFilesTest, ANameCarriesThisProcessAndItsKindBesideTheTarget) {
    const std::string pid = std::to_string(::getpid());
    EXPECT_EQ(unfinishedPath("/st/played.ini", "tmp"), "/st/.played.ini.tw-" + pid + ".tmp");
    EXPECT_EQ(unfinishedPath("a.mp3", "copy"), ".a.mp3.tw-" + pid + ".copy");
    EXPECT_EQ(unfinishedFileWriter(".played.ini.tw-" + pid + ".tmp"), ::getpid());
}

TEST(UnfinishedFilesTest, ALongNameIsCutOnACharacterBoundaryToFitTheLimit) {
    // 126 two-byte characters: 252 bytes, the longest name a folder can hold but three.
    std::string name;
    for (int i = 0; i < 126; ++i) {
        name += "\xC3\xA9";
    }
    const std::string path = unfinishedPath("/st/" + name + ".mp3", "tagXXXXXX");
    const std::string file = path.substr(4);
    EXPECT_LE(file.size(), 255u);
    EXPECT_TRUE(file.ends_with(".tw-" + std::to_string(::getpid()) + ".tagXXXXXX")) << file;
    const std::string kept = file.substr(1, file.rfind(".tw-") - 1);
    EXPECT_EQ(kept.size() % 2, 0u) << "no character split in two";
}

TEST(UnfinishedFilesTest, EachFormNamesItsWriterAndNoOtherNameDoes) {
    EXPECT_EQ(unfinishedFileWriter(".appSettings.ini.tw-42.tmp"), 42);
    EXPECT_EQ(unfinishedFileWriter(".Song.mp3.tw-42.copy"), 42);
    EXPECT_EQ(unfinishedFileWriter(".Song.mp3.tw-42.tagAb12Z9"), 42);
    EXPECT_EQ(unfinishedFileWriter(".tw-42-7.part"), 42);
    EXPECT_EQ(unfinishedFileWriter(".a.tw-1.mp3.tw-42.tmp"), 42) << "the last .tw- is ours";
    for (const char* other :
         {"played.ini.tw-42.tmp", ".played.ini.tmp", ".Song.mp3.tw-whole", ".Song.mp3.tw-42.txt",
          ".Song.mp3.tw-42.tag", ".Song.mp3.tw-x42.tmp", ".tw-42.part", ".tw-42-x.part",
          ".Song.mp3.tw-0.tmp", ".hidden", "Song.mp3.part", ".tw-.tmp"}) {
        EXPECT_EQ(unfinishedFileWriter(other), std::nullopt) << other;
    }
}

TEST(UnfinishedFilesTest, TheSweepRemovesWhatAnEndedWriterLeftTwoFoldersDeepAndNothingElse) {
    test::TempDir dir;
    const fs::path st = dir.path();
    fs::create_directories(st / "Music/Rock/Live");
    const std::string dead = std::to_string(endedProcess());
    const std::string alive = std::to_string(::getpid());
    for (const std::string& f : std::vector<std::string>{
             ".played.ini.tw-" + dead + ".tmp", "Music/Rock/.A.mp3.tw-" + dead + ".tagQwErTy",
             "Music/Rock/.B.mp3.tw-" + dead + ".copy", "Music/.tw-" + dead + "-3.part",
             // Kept: a writer that runs, names of others, the kept image of a tag write, and a
             // folder deeper than the console writes.
             ".appSettings.ini.tw-" + alive + ".tmp", ".hidden", "Music/Rock/.A.mp3.tw-whole",
             "Music/Rock/Live/.C.mp3.tw-" + dead + ".copy", "Music/Rock/A.mp3"}) {
        test::writeFile(st / f, "x");
    }
    fs::create_directories(st / (".folder.tw-" + dead + ".tmp"));

    EXPECT_EQ(sweepUnfinishedFiles(st.string()), 4);
    EXPECT_EQ(entriesUnder(st),
              (std::set<std::string>{
                  ".appSettings.ini.tw-" + alive + ".tmp", ".hidden", "Music", "Music/Rock",
                  "Music/Rock/.A.mp3.tw-whole", "Music/Rock/A.mp3", "Music/Rock/Live",
                  "Music/Rock/Live/.C.mp3.tw-" + dead + ".copy", ".folder.tw-" + dead + ".tmp"}));
}

TEST(UnfinishedFilesTest, AReplacedFileAndACopyLeaveNoUnfinishedFile) {
    test::TempDir dir;
    test::writeFile(dir / "source.mp3", "audio");
    fs::create_directories(dir / "Rock");
    ASSERT_TRUE(replaceFile((dir / "played.ini").string(), "[t]\n", FileAccess::kKeepMode));
    EXPECT_EQ(copyIntoFolder((dir / "source.mp3").string(), (dir / "Rock").string()),
              (dir / "Rock/source.mp3").string());
    EXPECT_EQ(entriesUnder(dir.path()),
              (std::set<std::string>{"played.ini", "source.mp3", "Rock", "Rock/source.mp3"}));
}

TEST(UnfinishedFilesTest, AFileWrittenInPiecesIsWholeOrLeftAsItWas) {
    test::TempDir dir;
    const std::string path = (dir / "tags.cache").string();
    ASSERT_TRUE(replaceFile(path, "old\n", FileAccess::kKeepMode));
    const auto pieces = [](int fromPiece) {
        return [fromPiece](const FileSink& sink) {
            for (int i = 0; i < 3; ++i) {
                if (i == fromPiece) {
                    errno = ENOSPC;
                    return false;  // the producer stops: a write failed or its data went bad
                }
                if (!sink("piece " + std::to_string(i) + "\n")) {
                    return false;
                }
            }
            return true;
        };
    };
    for (int failAt = 0; failAt < 3; ++failAt) {
        EXPECT_FALSE(
            replaceFileWith(path, pieces(failAt), FileAccess::kKeepMode, Durability::kUnsynced))
            << "failing at piece " << failAt;
        EXPECT_EQ(errno, ENOSPC);
        EXPECT_EQ(test::readFile(dir / "tags.cache"), "old\n") << "failing at piece " << failAt;
        EXPECT_EQ(entriesUnder(dir.path()), (std::set<std::string>{"tags.cache"}));
    }
    ASSERT_TRUE(replaceFileWith(path, pieces(-1), FileAccess::kKeepMode, Durability::kUnsynced));
    EXPECT_EQ(test::readFile(dir / "tags.cache"), "piece 0\npiece 1\npiece 2\n");
    EXPECT_EQ(entriesUnder(dir.path()), (std::set<std::string>{"tags.cache"}));
}

}  // namespace
}  // namespace tw::core
