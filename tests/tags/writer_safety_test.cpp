// The writer's safety net: whatever fails, the track stays byte for byte as it was; on success it
// keeps its mode and times.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>

#include "tags/id3_tag.h"
#include "tests/tags/tag_test_util.h"
#include "tests/testlib/temp_dir.h"

namespace tw::tags {
namespace {

using test::id3Tag;
using test::mpegFrames;
using test::textFrame;

class WriterSafetyTest : public ::testing::Test {
  protected:
    void SetUp() override {
        original_ = id3Tag(3, textFrame("TIT2", "Old", 3)) + mpegFrames(120);  // several chunks
        test::writeFile(path(), original_);
        struct timespec times[2] = {{1000000000, 0}, {1100000000, 500}};
        ASSERT_EQ(::utimensat(AT_FDCWD, path().c_str(), times, 0), 0);
        ASSERT_EQ(::chmod(path().c_str(), 0640), 0);
    }
    std::string path() const { return (dir_ / "track.mp3").string(); }
    int entries() const {
        int n = 0;
        for (auto& e : std::filesystem::directory_iterator(dir_.path())) {
            (void)e;
            ++n;
        }
        return n;
    }
    void expectUntouched() {
        EXPECT_EQ(test::readFile(path()), original_);
        struct stat st {};
        ASSERT_EQ(::stat(path().c_str(), &st), 0);
        EXPECT_EQ(st.st_mtim.tv_sec, 1100000000);
        EXPECT_EQ(st.st_mode & 07777, 0640u);
    }
    test::TempDir dir_;
    std::string original_;
};

TEST_F(WriterSafetyTest, SuccessKeepsModeAndTimes) {
    clsID3 tag;
    tag.filename(path());
    tag.title("New");
    // Reading the tags may have moved the access time: the one kept is the one before the write.
    struct stat before {};
    ASSERT_EQ(::stat(path().c_str(), &before), 0);
    tag.UpdateID3Tags();
    EXPECT_EQ(tag.lastWriteError(), "");
    struct stat st {};
    ASSERT_EQ(::stat(path().c_str(), &st), 0);
    EXPECT_EQ(st.st_mtim.tv_sec, 1100000000);
    EXPECT_EQ(st.st_mtim.tv_nsec, 500);
    EXPECT_EQ(st.st_atim.tv_sec, before.st_atim.tv_sec);
    EXPECT_EQ(st.st_mode & 07777, 0640u);
    EXPECT_EQ(entries(), 1);
    tag.filename(path());
    EXPECT_EQ(tag.title(), "New");
}

TEST_F(WriterSafetyTest, ATrackWithTheLongestNameTheFileSystemAllowsIsWritten) {
    // 255 bytes, 2-byte letters included: the temporary name beside it is cut, never the track's.
    std::string name;
    while (name.size() < 240) {
        name += "\xC3\xA9";  // é
    }
    name += std::string(255 - 4 - name.size(), 'x') + ".mp3";
    ASSERT_EQ(name.size(), 255u);
    const std::string track = (dir_ / name).string();
    test::writeFile(track, original_);
    clsID3 tag;
    tag.filename(track);
    tag.title("Long");
    tag.UpdateID3Tags();
    EXPECT_EQ(tag.lastWriteError(), "");
    tag.filename(track);
    EXPECT_EQ(tag.title(), "Long");
    EXPECT_EQ(entries(), 2) << "no temporary file is left";
}

TEST_F(WriterSafetyTest, ATrackThatIsASymbolicLinkIsWrittenAtItsTarget) {
    test::TempDir elsewhere;
    const std::string link = (elsewhere / "linked.mp3").string();
    ASSERT_EQ(::symlink(path().c_str(), link.c_str()), 0);
    clsID3 tag;
    tag.filename(link);
    tag.title("Through the link");
    tag.UpdateID3Tags();
    EXPECT_EQ(tag.lastWriteError(), "");
    struct stat st {};
    ASSERT_EQ(::lstat(link.c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode)) << "the link stays a link";
    tag.filename(path());
    EXPECT_EQ(tag.title(), "Through the link");
    EXPECT_EQ(entries(), 1);
}

TEST_F(WriterSafetyTest, ATrackWithAnotherHardLinkKeepsIt) {
    const std::string other = (dir_ / "other name.mp3").string();
    ASSERT_EQ(::link(path().c_str(), other.c_str()), 0);
    struct stat before {};
    ASSERT_EQ(::stat(path().c_str(), &before), 0);
    clsID3 tag;
    tag.filename(path());
    tag.title("Shared");
    tag.UpdateID3Tags();
    EXPECT_EQ(tag.lastWriteError(), "");
    struct stat after {};
    ASSERT_EQ(::stat(path().c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_nlink, 2u);
    EXPECT_EQ(after.st_mtim.tv_sec, 1100000000);
    EXPECT_EQ(after.st_mode & 07777, 0640u);
    tag.filename(other);
    EXPECT_EQ(tag.title(), "Shared");
    EXPECT_NE(test::readFile(other).find(mpegFrames(120)), std::string::npos);
    EXPECT_EQ(entries(), 2) << "no temporary file is left";
}

TEST_F(WriterSafetyTest, AHardLinkedTrackWhoseWriteFailsIsUntouched) {
    const std::string other = (dir_ / "other.mp3").string();
    ASSERT_EQ(::link(path().c_str(), other.c_str()), 0);
    clsID3 tag;
    tag.filename(path());
    tag.title("New");
    tag.setWriteHooks({[](WriteStep step) { return step == WriteStep::Rename ? EIO : 0; }});
    tag.UpdateID3Tags();
    EXPECT_NE(tag.lastWriteError(), "");
    expectUntouched();
    EXPECT_EQ(entries(), 2);
}

class WriterStepFailureTest : public WriterSafetyTest,
                              public ::testing::WithParamInterface<WriteStep> {};

TEST_P(WriterStepFailureTest, FailureAtStepLeavesTrackAsItWas) {
    clsID3 tag;
    tag.filename(path());
    tag.title("New");
    const WriteStep failing = GetParam();
    tag.setWriteHooks({[failing](WriteStep step) { return step == failing ? EIO : 0; }});
    tag.UpdateID3Tags();
    EXPECT_NE(tag.lastWriteError(), "");
    expectUntouched();
    EXPECT_EQ(entries(), 1) << "the temporary file is removed";
    tag.DeleteID3Tags();
    EXPECT_NE(tag.lastWriteError(), "");
    expectUntouched();
}

INSTANTIATE_TEST_SUITE_P(EveryStep, WriterStepFailureTest,
                         ::testing::Values(WriteStep::CreateTemp, WriteStep::WriteData,
                                           WriteStep::Flush, WriteStep::CopyAttributes,
                                           WriteStep::Rename));

TEST_F(WriterSafetyTest, FullDiskInTheMiddleOfTheAudio) {
    clsID3 tag;
    tag.filename(path());
    tag.title("New");
    int writes = 0;
    tag.setWriteHooks({[&writes](WriteStep step) {
        return step == WriteStep::WriteData && ++writes == 4 ? ENOSPC : 0;
    }});
    tag.UpdateID3Tags();
    EXPECT_GE(writes, 4);
    EXPECT_NE(tag.lastWriteError().find("No space left"), std::string::npos)
        << tag.lastWriteError();
    expectUntouched();
    EXPECT_EQ(entries(), 1);
}

TEST_F(WriterSafetyTest, ReadOnlyFolder) {
    ASSERT_EQ(::chmod(dir_.path().c_str(), 0555), 0);
    const std::string probe = (dir_ / "probe").string();
    if (FILE* f = std::fopen(probe.c_str(), "w")) {
        std::fclose(f);
        std::filesystem::remove(probe);
        ::chmod(dir_.path().c_str(), 0755);
        GTEST_SKIP() << "running with rights that write into any folder; the step failures above "
                        "stand in for this case";
    }
    clsID3 tag;
    tag.filename(path());
    tag.title("New");
    tag.UpdateID3Tags();
    EXPECT_NE(tag.lastWriteError(), "");
    ::chmod(dir_.path().c_str(), 0755);
    expectUntouched();
}

TEST_F(WriterSafetyTest, SmallFullFileSystem) {
    // A real full disk, where the test may mount one.
    test::TempDir mountPoint;
    if (::mount("tw-tags-test", mountPoint.str().c_str(), "tmpfs", 0, "size=64k") != 0) {
        GTEST_SKIP() << "cannot mount a small file system here; the full-disk stand-in covers it";
    }
    const std::string track = (mountPoint / "track.mp3").string();
    const std::string bytes = id3Tag(3, textFrame("TIT2", "Old", 3)) + mpegFrames(100);  // ~41 kB
    {
        std::ofstream out(track, std::ios::binary);
        out << bytes;
    }
    clsID3 tag;
    tag.filename(track);
    tag.title("New");
    tag.UpdateID3Tags();
    const std::string error = tag.lastWriteError();
    const std::string after = test::readFile(track);
    int left = 0;
    for (auto& e : std::filesystem::directory_iterator(mountPoint.path())) {
        (void)e;
        ++left;
    }
    ::umount(mountPoint.str().c_str());
    EXPECT_NE(error, "");
    EXPECT_EQ(after, bytes);
    EXPECT_EQ(left, 1);
}

class WriterKilledTest : public WriterSafetyTest,
                         public ::testing::WithParamInterface<WriteStep> {};

TEST_P(WriterKilledTest, ProcessKilledBeforeStepLeavesTrackAsItWas) {
    const WriteStep killAt = GetParam();
    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        clsID3 tag;
        tag.filename(path());
        tag.title("New");
        int writes = 0;
        tag.setWriteHooks({[killAt, &writes](WriteStep step) {
            // Halfway through the data, or at the step itself.
            if (step == killAt && (step != WriteStep::WriteData || ++writes == 3)) {
                ::raise(SIGKILL);
            }
            return 0;
        }});
        tag.UpdateID3Tags();
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), SIGKILL);
    expectUntouched();
}

INSTANTIATE_TEST_SUITE_P(EveryStep, WriterKilledTest,
                         ::testing::Values(WriteStep::CreateTemp, WriteStep::WriteData,
                                           WriteStep::Flush, WriteStep::CopyAttributes,
                                           WriteStep::Rename));

TEST_F(WriterSafetyTest, KilledAfterTheRenameLeavesTheNewFileComplete) {
    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        clsID3 tag;
        tag.filename(path());
        tag.title("New");
        tag.UpdateID3Tags();
        ::raise(SIGKILL);
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    clsID3 tag;
    tag.filename(path());
    EXPECT_EQ(tag.title(), "New");
    const std::string now = test::readFile(path());
    EXPECT_NE(now.find(mpegFrames(120)), std::string::npos);
}

}  // namespace
}  // namespace tw::tags
