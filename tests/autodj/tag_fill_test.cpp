// The tag cache filled ahead on its worker: every category's tags come in while no pick has
// walked it, the picks that follow read nothing from the disk and choose as they would without
// the cache, and a tag read off the console thread is believed only as far as its file's stamp
// says it is still the file's.

#include "autodj/tag_fill.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "autodj/library_jobs.h"
#include "autodj/library_state.h"
#include "autodj/tag_cache.h"
#include "tests/autodj/two_track_station.h"
#include "tests/tags/tag_test_util.h"

namespace tw::test {
namespace {

namespace fs = std::filesystem;

// Rock's two tracks (t01 the pick) and Jazz's two (j00 the pick).
class TagFillTest : public TwoCategoryStation {
  protected:
    TagFillTest() { watchStatusWindow(); }
    // Lets the files' stamps grow old enough to be trusted.
    void settle() { std::this_thread::sleep_for(std::chrono::milliseconds(3200)); }
    autodj::TagCache& cache() { return *console->library->tagCache; }
    // Runs the console thread's events until the fill has ended (at most ten seconds).
    void fill(std::chrono::milliseconds showAfter = autodj::kTagFillShowAfter) {
        autodj::startTagFill(*console, showAfter);
        ASSERT_TRUE(runUntilTagFillEnds()) << "the fill did not end";
    }
    std::string jazzPick() {
        core::DateValue previous = 0;
        return autodj::pickSongForCatagory(*console, "Jazz", clock.now(), previous);
    }
    // t00 written again in place with the tag "A - Song 9", a title never played: the pick
    // when its tag is read.
    void retitleT00() {
        const std::string bytes = taggedTrack("A", "Song 9");
        std::fstream out(t00, std::ios::in | std::ios::out | std::ios::binary);
        out.seekp(0);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
    std::string rock() const { return (dir / "Music/Rock/").string(); }
    // t00 looked at as the worker looks: Rock watched, the clock read, then the lstat.
    struct Look {
        struct stat st {};
        std::int64_t statAt = 0;
    };
    Look lookAtT00() {
        (void)cache().knownNames(rock());
        Look look;
        look.statAt = autodj::TagCache::clockNs();
        EXPECT_EQ(::lstat(t00.c_str(), &look.st), 0);
        return look;
    }
};

TEST_F(TagFillTest, EveryCategoryIsReadAheadAndThePicksReadNoTagFromTheDisk) {
    settle();
    fill();
    EXPECT_EQ(cache().size(), 4u);
    EXPECT_EQ(pick(), t01);
    EXPECT_EQ(jazzPick(), j00);
    EXPECT_EQ(cache().stores(), 0u) << "a tag was read on the console thread";
    EXPECT_EQ(pickWithoutCache(), t01);
    EXPECT_TRUE(statusSeen.empty()) << "a fill shorter than its delay shows no progress";
    EXPECT_TRUE(appLogLines().empty());
}

TEST_F(TagFillTest, AFillAfterAPickReadsOnlyWhatThePickDidNotAndTheSavedFileHoldsAll) {
    settle();
    ASSERT_EQ(pick(), t01);
    ASSERT_EQ(cache().stores(), 2u);
    fill();
    EXPECT_EQ(cache().size(), 4u);
    EXPECT_EQ(jazzPick(), j00);
    EXPECT_EQ(cache().stores(), 2u);
    // Saved at the fill's end only when the interval is due: the pick saved a moment ago.
    ASSERT_TRUE(cache().save(-1));
    auto records = autodj::parseTagCache([&] {
        std::ifstream in(dir / "tags.cache", std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }());
    ASSERT_TRUE(records);
    EXPECT_EQ(records->size(), 4u);
}

TEST_F(TagFillTest, ACategoryAPickWalkedWholeIsNotListedAgainUntilANameChanges) {
    settle();
    const std::string pattern = console->form().fileList1.pattern;
    EXPECT_FALSE(cache().holdsWholeListing(rock(), pattern)) << "no pick walked it yet";
    ASSERT_EQ(pick(), t01);
    EXPECT_TRUE(cache().holdsWholeListing(rock(), pattern));
    addTrack("Rock", "t02.mp3", "E", "Song 4");
    EXPECT_FALSE(cache().holdsWholeListing(rock(), pattern));
}

TEST_F(TagFillTest, ATagReadBeforeItsFileChangedIsCheckedByTheStampAtItsFirstUse) {
    settle();
    // Read ahead as the worker reads: the stat, then the tag; the file changes before the
    // console thread offers it, and the change's notification was applied before the offer.
    const Look look = lookAtT00();
    retitleT00();
    cache().catchUp();
    EXPECT_TRUE(cache().offer(rock(), "t00.mp3", look.st, look.statAt,
                              autodj::cachedTagOf("A", "Song 0", "A - Song 0")));
    EXPECT_EQ(pick(), t00) << "the offered tag was believed";
    EXPECT_EQ(pickWithoutCache(), t00);
}

TEST_F(TagFillTest, AnOfferedTagIsBelievedWhileTheFileIsAsItWas) {
    settle();
    const Look look = lookAtT00();
    // A title never played, which only the offered entry says: the pick shows it was used.
    EXPECT_TRUE(cache().offer(rock(), "t00.mp3", look.st, look.statAt,
                              autodj::cachedTagOf("A", "Song 9", "A - Song 9")));
    EXPECT_EQ(pick(), t00);
}

TEST_F(TagFillTest, FilesWrittenAMomentAgoAreReadOnceTheirStampsCanTellAChange) {
    // Made a moment ago, as an import's copies are: a stamp taken now could not show a change
    // made in the same tick, so the cache refuses it; the fill reads them a few seconds on.
    const Look look = lookAtT00();
    EXPECT_FALSE(cache().offer(rock(), "t00.mp3", look.st, look.statAt,
                               autodj::cachedTagOf("A", "Song 9", "A - Song 9")));
    fill();
    EXPECT_EQ(cache().size(), 4u);
    EXPECT_EQ(pick(), t01);
    EXPECT_EQ(cache().stores(), 0u);
}

TEST_F(TagFillTest, AnOfferNeverReplacesATagAPickRead) {
    settle();
    ASSERT_EQ(pick(), t01);
    const Look look = lookAtT00();
    EXPECT_FALSE(cache().offer(rock(), "t00.mp3", look.st, look.statAt,
                               autodj::cachedTagOf("A", "Song 9", "A - Song 9")));
    EXPECT_EQ(pick(), t01);
}

TEST_F(TagFillTest, ALinkAFileWithASecondNameAndAnEmptyFileAreLeftToThePicks) {
    fs::create_symlink(j00, dir / "Music/Jazz/link.mp3");
    fs::create_hard_link(j01, dir / "Music/Jazz/second.mp3");
    { std::ofstream(dir / "Music/Jazz/empty.mp3"); }
    settle();
    fill();
    EXPECT_EQ(cache().size(), 3u) << "Rock's two files and j00; j01 has a second name now";
    EXPECT_EQ(pick(), t01);
    EXPECT_EQ(cache().stores(), 0u);
}

TEST_F(TagFillTest, ItsProgressShowsOnLibraryUpdateAndTheWindowClosesAtItsEnd) {
    settle();
    fill(std::chrono::milliseconds(0));
    ASSERT_FALSE(statusSeen.empty());
    const std::string last = console->form().lstPlaylist1.items.back().text;
    EXPECT_EQ(statusSeen.back(), "Reading Tags: " + last + " Track Number: 2");
    EXPECT_FALSE(console->ui.status.frmStatus.visible);
    EXPECT_EQ(cache().size(), 4u);
}

TEST_F(TagFillTest, AWindowAnotherJobLeftOpenKeepsItsText) {
    // The recount leaves its last figure on an open window, for the operator to close.
    core::setStatusText(*console, "Playlist: Rock Track Number: 2");
    core::ShowStatus(*console, 1.0);
    settle();
    fill(std::chrono::milliseconds(0));
    ASSERT_FALSE(statusSeen.empty());
    for (const std::string& text : statusSeen) {
        EXPECT_EQ(text, "Playlist: Rock Track Number: 2");
    }
    EXPECT_TRUE(console->ui.status.frmStatus.visible);
    EXPECT_EQ(cache().size(), 4u);
}

TEST_F(TagFillTest, AFillAskedForWhileOneRunsRunsOnceMoreAndFindsTheNewFile) {
    settle();
    autodj::startTagFill(*console);
    addTrack("Rock", "t02.mp3", "E", "Song 4");
    settle();
    fill();  // asked for while the first may still run
    EXPECT_EQ(cache().size(), 5u);
    EXPECT_EQ(cache().stores(), 0u);
}

TEST_F(TagFillTest, StoppingAFillUnderWayEndsItWithoutAnEvent) {
    settle();
    autodj::startTagFill(*console, std::chrono::milliseconds(0));
    autodj::stopTagFill(*console);
    EXPECT_FALSE(autodj::tagFillBusy(*console));
    loop.processPending();
    EXPECT_TRUE(statusSeen.empty());
    EXPECT_EQ(pick(), t01);
}

}  // namespace
}  // namespace tw::test
