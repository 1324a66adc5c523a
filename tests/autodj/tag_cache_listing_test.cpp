// The category listing the tag cache keeps between picks: after every kind of change to the
// folder's names (made behind the console's back) the list the picker walks is, name for name and
// in the same order, what a fresh listing of the folder gives.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "autodj/library.h"
#include "autodj/tag_cache.h"
#include "core/console_ops.h"
#include "core/file_listing.h"
#include "tests/autodj/station_fixture.h"
#include "tests/tags/tag_test_util.h"

namespace tw::test {
namespace {

namespace fs = std::filesystem;

class CategoryListingTest : public StationFixture {
  protected:
    void SetUp() override {
        // Names that sort differently with and without regard to case.
        for (const std::string name : {"b.mp3", "A.MP3", "a.mp3", "C.mp3", "z.mp3"}) {
            addTrack("Rock", name, "Artist " + name, "Title " + name);
        }
        writeFile(dir / "Music/Rock/notes.txt", "not a track");
        open();
        rock = (dir / "Music/Rock").string();
        folder = rock + "/";
    }
    // The category's list as the picker takes it (lstPlaylist1_Click).
    std::vector<std::string> listedByThePicker() {
        autodj::lstPlaylist1_Click(*console, categoryIndex("Rock"));
        return namesOf(console->form().fileList1);
    }
    // The folder listed afresh, as without the cache.
    std::vector<std::string> listedAfresh() {
        core::Element fresh = console->form().fileList1;
        fresh.path = rock;
        core::refreshFileList(fresh);
        return namesOf(fresh);
    }
    static std::vector<std::string> namesOf(const core::Element& list) {
        std::vector<std::string> names;
        for (const auto& item : list.items) {
            names.push_back(item.text);
        }
        return names;
    }
    bool listingKept() {
        return console->library->tagCache->listing(folder, console->form().fileList1.pattern) !=
               nullptr;
    }
    // A change, then: the kept listing is dropped, and the list taken again is the fresh one (and
    // kept again, unless stillUnkept).
    void judge(const std::string& what, const std::function<void()>& change,
               bool stillUnkept = false) {
        SCOPED_TRACE(what);
        ASSERT_FALSE(listedByThePicker().empty());
        ASSERT_TRUE(listingKept() || stillUnkept);
        change();
        EXPECT_FALSE(listingKept());
        EXPECT_EQ(listedByThePicker(), listedAfresh());
        EXPECT_EQ(listingKept(), !stillUnkept);
    }

    std::string rock;
    std::string folder;
};

TEST_F(CategoryListingTest, TheKeptListingIsTheFreshOneAfterEveryKindOfChange) {
    EXPECT_EQ(listedByThePicker(), listedAfresh());
    EXPECT_TRUE(listingKept());
    // Nothing changed: served from the cache, the same list. A tag written changes no name.
    EXPECT_EQ(listedByThePicker(), listedAfresh());
    writeFile(rock + "/b.mp3", taggedTrack("Other", "Tag"));
    EXPECT_TRUE(listingKept());
    EXPECT_EQ(listedByThePicker(), listedAfresh());

    judge("created", [&] { writeFile(rock + "/B.mp3", taggedTrack("N", "New")); });
    judge("created, not a track", [&] { writeFile(rock + "/x.wav", "wave"); });
    judge("deleted", [&] { fs::remove(rock + "/a.mp3"); });
    judge("renamed in the folder", [&] { fs::rename(rock + "/z.mp3", rock + "/0.mp3"); });
    judge("renamed to another case", [&] { fs::rename(rock + "/C.mp3", rock + "/c.mp3"); });
    judge("a track renamed to no track", [&] { fs::rename(rock + "/0.mp3", rock + "/0.bak"); });
    const fs::path outside = dir / "outside";
    fs::create_directories(outside);
    writeFile(outside / "in.mp3", taggedTrack("I", "In"));
    judge("moved in", [&] { fs::rename(outside / "in.mp3", rock + "/in.mp3"); });
    judge("moved out", [&] { fs::rename(rock + "/in.mp3", outside / "in.mp3"); });
    judge("a second name made", [&] { fs::create_hard_link(outside / "in.mp3", rock + "/h.mp3"); });
    judge("a folder made", [&] { fs::create_directories(rock + "/folder.mp3"); });
    judge("a folder removed", [&] { fs::remove(rock + "/folder.mp3"); });
    // A folder with a symbolic link in it is listed afresh every time: the link's target can
    // become a folder with no change here.
    judge(
        "a link made", [&] { fs::create_symlink(outside / "in.mp3", rock + "/l.mp3"); }, true);
    fs::remove(outside / "in.mp3");
    fs::create_directories(outside / "in.mp3");
    EXPECT_EQ(listedByThePicker(), listedAfresh());
    EXPECT_FALSE(listingKept());
    fs::remove(rock + "/l.mp3");
    EXPECT_EQ(listedByThePicker(), listedAfresh());
    EXPECT_TRUE(listingKept());

    judge("the folder replaced", [&] {
        fs::rename(rock, dir / "Music/Rock.old");
        fs::create_directories(rock);
        writeFile(rock + "/new.mp3", taggedTrack("N", "Folder"));
    });
}

TEST_F(CategoryListingTest, ANameChangedWhileTheNotificationQueueWasFullIsListed) {
    ASSERT_EQ(listedByThePicker(), listedAfresh());
    std::ifstream limitFile("/proc/sys/fs/inotify/max_queued_events");
    long limit = 0;
    limitFile >> limit;
    ASSERT_GT(limit, 0);
    judge("after an overflow", [&] {
        // Each file made and removed queues three notifications; the queue overflows well before.
        for (long i = 0; i < limit / 3 + 100; ++i) {
            const std::string name = rock + "/flood" + std::to_string(i) + ".tmp";
            const int fd = ::open(name.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
            ASSERT_GE(fd, 0);
            ::close(fd);
            ::unlink(name.c_str());
        }
        // Raises no notification any more: the queue is full.
        writeFile(rock + "/late.mp3", taggedTrack("L", "Late"));
    });
}

TEST_F(CategoryListingTest, WithoutTheCacheTheFolderIsListedAfresh) {
    console->library->tagCache.reset();
    EXPECT_EQ(listedByThePicker(), listedAfresh());
    writeFile(rock + "/B.mp3", taggedTrack("N", "New"));
    EXPECT_EQ(listedByThePicker(), listedAfresh());
}

}  // namespace
}  // namespace tw::test
