// The picker's tag cache: every change made behind the console's back is seen at the next pick,
// the saved file serves a new run and a damaged one is ignored, and the file's text survives its
// own parser.

#include "autodj/tag_cache.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

#include "autodj/picker.h"
#include "autodj/tag_cache_file.h"
#include "tests/autodj/two_track_station.h"
#include "tests/tags/tag_test_util.h"

namespace tw::test {
namespace {

namespace fs = std::filesystem;

std::string fileText(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// The two-track station (t01 the pick): a tag, a file or a name changed on t00 that gives it a
// title never played makes t00 the pick.
class TagCacheTest : public TwoTrackStation {
  protected:
    // Lets the files' stamps grow old enough to be trusted (saved, kept through an overflow).
    void settle() { std::this_thread::sleep_for(std::chrono::milliseconds(3200)); }
    autodj::TagCache& cache() { return *console->library->tagCache; }
    std::string cacheFile() const { return (dir / "tags.cache").string(); }
    // The cache as a restart finds it: read from the station's file at the first pick.
    void restart() {
        cache().save(-1);
        console->library->tagCache = std::make_shared<autodj::TagCache>(cacheFile());
    }
    // The saved file's text with t00's history key changed to one that makes t00 the pick, which
    // only a saved entry that is believed can say.
    std::string savedWithALyingTitle() {
        auto records = autodj::parseTagCache(fileText(cacheFile()));
        if (!records || records->size() != 2u) {
            ADD_FAILURE() << "the saved file does not hold the two tracks";
            return {};
        }
        for (auto& r : *records) {
            if (r.name == "t00.mp3") {
                r.mp3Title = "A - Song 9";
            }
        }
        return autodj::serializeTagCache(*records);
    }
    // Writes the file again in place (same inode): the tag says title, the bytes keep their size
    // when title has as many characters as the old one.
    void rewriteInPlace(const std::string& path, const std::string& artist,
                        const std::string& title) {
        const std::string bytes = taggedTrack(artist, title);
        std::fstream out(path, std::ios::in | std::ios::out | std::ios::binary);
        out.seekp(0);
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }
};

class TagCacheTwoCategoriesTest : public TwoCategoryStation {};

TEST_F(TagCacheTwoCategoriesTest, AListRefilledWhileThePickYieldsIsWalkedByItsNames) {
    ASSERT_EQ(pick(), t01);  // Rock's listing is kept from here on: the next pick walks by position
    // An event at the pick's first yield fills the pick's list with Jazz. The second candidate
    // is then Jazz's file at its position, and decides: met after A (an hour), j01 (half an
    // hour) does not win and the pick is the first position, j00; met after B (two days), j00
    // (three days) wins. Rock's tags at those positions would give j01 either way.
    const auto run = [&] {
        console->lastYield = 0;
        loop.post([this] { autodj::lstPlaylist1_Click(*console, categoryIndex("Jazz")); });
        return pick();
    };
    EXPECT_EQ(run(), j00);
    auto cacheHeld = std::move(console->library->tagCache);
    EXPECT_EQ(run(), j00);
    console->library->tagCache = std::move(cacheHeld);
    EXPECT_TRUE(appLogLines().empty());
}

TEST_F(TagCacheTest, APickThatLetsEventsRunKeepsFindingTagsByPosition) {
    ASSERT_EQ(pick(), t01);  // Rock's listing is kept from here on: the next pick walks by position
    // Events run at the pick's first yield, after its first candidate: one of them fills the
    // pick's list again with its own category, the same names. The second candidate is still
    // found by its position, not looked up by its name.
    const std::uint64_t finds = cache().finds();
    console->lastYield = 0;
    loop.post([this] { autodj::lstPlaylist1_Click(*console, categoryIndex("Rock")); });
    EXPECT_EQ(pick(), t01);
    EXPECT_EQ(cache().finds(), finds);
    EXPECT_TRUE(appLogLines().empty());
}

TEST_F(TagCacheTest, APickWithTheCacheIsThePickWithout) {
    EXPECT_EQ(pick(), t01);
    EXPECT_EQ(cache().size(), 2u);
    EXPECT_EQ(pick(), t01);
    EXPECT_EQ(pickWithoutCache(), t01);
    EXPECT_TRUE(appLogLines().empty());
}

TEST_F(TagCacheTest, ATagEditedInPlaceKeepingSizeAndTimeIsSeenAtTheNextPick) {
    ASSERT_EQ(pick(), t01);
    struct stat before {};
    ASSERT_EQ(::stat(t00.c_str(), &before), 0);
    rewriteInPlace(t00, "A", "Song 9");
    // The time of writing put back as it was: only the notification tells.
    const timespec times[2] = {before.st_atim, before.st_mtim};
    ASSERT_EQ(::utimensat(AT_FDCWD, t00.c_str(), times, 0), 0);
    struct stat after {};
    ASSERT_EQ(::stat(t00.c_str(), &after), 0);
    ASSERT_EQ(after.st_size, before.st_size);
    EXPECT_EQ(pick(), t00);
    EXPECT_EQ(pickWithoutCache(), t00);
}

TEST_F(TagCacheTest, AFileReplacedUnderItsNameIsSeenAtTheNextPick) {
    ASSERT_EQ(pick(), t01);
    const std::string fresh = (dir / "Music/Rock/t00.new").string();
    writeFile(fresh, taggedTrack("A", "Song 9"));
    fs::rename(fresh, t00);
    EXPECT_EQ(pick(), t00);
    EXPECT_EQ(pickWithoutCache(), t00);
}

TEST_F(TagCacheTest, ADeletedFileIsNoCandidateAtTheNextPick) {
    ASSERT_EQ(pick(), t01);
    fs::remove(t01);
    EXPECT_EQ(pick(), t00);
    // Put back with another tag under the same name: read anew, not taken from the cache.
    writeFile(t01, taggedTrack("B", "Song 8"));
    setHistory("A - Song 0", "LastPlayed", dateText(-3.0));
    setHistory("B - Song 8", "LastPlayed", dateText(-4.0));
    EXPECT_EQ(pick(), t01);
    EXPECT_EQ(pickWithoutCache(), t01);
    EXPECT_TRUE(appLogLines().empty());
}

TEST_F(TagCacheTest, AnEmptiedFileFailsTheNextPickWithTheSameLine) {
    ASSERT_EQ(pick(), t01);
    fs::resize_file(t01, 0);
    EXPECT_EQ(pick(), "");
    EXPECT_EQ(pickWithoutCache(), "");
    const auto texts = logTexts();
    ASSERT_EQ(texts.size(), 2u);
    EXPECT_NE(texts[0].find("Error in Pick Song for Catagory:File is empty state:"),
              std::string::npos)
        << texts[0];
    EXPECT_EQ(texts[0], texts[1]);
}

TEST_F(TagCacheTest, AFileEmptiedWhileThePickYieldsFailsItAsWithoutTheCache) {
    ASSERT_EQ(pick(), t01);
    console->lastYield = 0;
    // Every candidate is walked (both have played); the change comes in an event run at the
    // pick's first yield, so the second candidate meets it.
    const auto run = [&] {
        const std::string a = t00;
        const std::string b = t01;
        loop.post([a, b] {
            fs::resize_file(a, 0);
            fs::resize_file(b, 0);
        });
        const std::string path = pick();
        writeFile(t00, taggedTrack("A", "Song 0"));
        writeFile(t01, taggedTrack("B", "Song 1"));
        return path;
    };
    EXPECT_EQ(run(), "");
    // The pick lets events run at most once in 0.05 s of the clock, which stands still here.
    console->lastYield = 0;
    auto cacheHeld = std::move(console->library->tagCache);
    EXPECT_EQ(run(), "");
    console->library->tagCache = std::move(cacheHeld);
    const auto texts = logTexts();
    ASSERT_EQ(texts.size(), 2u);
    EXPECT_NE(texts[0].find("File is empty state:8"), std::string::npos) << texts[0];
    EXPECT_EQ(texts[0], texts[1]);
}

TEST_F(TagCacheTest, ANewFileIsACandidateAtTheNextPick) {
    ASSERT_EQ(pick(), t01);
    const std::string t02 = addTrack("Rock", "t02.mp3", "C", "Song 2");
    EXPECT_EQ(pick(), t02);
    EXPECT_EQ(pickWithoutCache(), t02);
}

// The folder's watch sees no change made to a file through a name in another folder: such files
// are read from the disk at every pick.
TEST_F(TagCacheTest, AFileBehindALinkOrWithASecondNameIsReadAtEveryPick) {
    const fs::path outside = dir / "outside";
    fs::create_directories(outside);
    fs::rename(t00, outside / "target.mp3");
    fs::create_symlink(outside / "target.mp3", t00);
    fs::create_hard_link(t01, outside / "second-name.mp3");
    ASSERT_EQ(pick(), t01);
    rewriteInPlace((outside / "target.mp3").string(), "A", "Song 9");
    EXPECT_EQ(pick(), t00);
    rewriteInPlace((outside / "target.mp3").string(), "A", "Song 0");
    ASSERT_EQ(pick(), t01);
    // t01 under its second name: "Song 7", never played, against t00's hour-old "Song 0".
    setHistory("A - Song 0", "LastPlayed", dateText(-3.0));
    rewriteInPlace((outside / "second-name.mp3").string(), "B", "Song 7");
    EXPECT_EQ(pick(), t01);
    EXPECT_EQ(pickWithoutCache(), t01);
    EXPECT_EQ(cache().size(), 0u);
}

TEST_F(TagCacheTest, ChangesLostToAFullNotificationQueueAreFoundByTheFilesStamps) {
    settle();
    ASSERT_EQ(pick(), t01);
    std::ifstream limitFile("/proc/sys/fs/inotify/max_queued_events");
    long limit = 0;
    limitFile >> limit;
    ASSERT_GT(limit, 0);
    // Each file made and removed queues three notifications; the queue overflows well before.
    const fs::path flood = dir / "Music/Rock";
    for (long i = 0; i < limit / 3 + 100; ++i) {
        const std::string name = (flood / ("flood" + std::to_string(i) + ".tmp")).string();
        const int fd = ::open(name.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644);
        ASSERT_GE(fd, 0);
        ::close(fd);
        ::unlink(name.c_str());
    }
    // This change raises no notification any more: the queue is full.
    fs::remove(t00);
    writeFile(t00, taggedTrack("A", "Song 9"));
    EXPECT_EQ(pick(), t00);
    EXPECT_EQ(pickWithoutCache(), t00);
}

TEST_F(TagCacheTest, TheSavedFileServesARestartUntilAFileChanged) {
    settle();
    ASSERT_EQ(pick(), t01);
    restart();
    // A saved entry whose stamp still matches is believed: its tag is not read again.
    writeFile(cacheFile(), savedWithALyingTitle());
    EXPECT_EQ(pick(), t00);

    // A file changed while the console was not running is read again.
    restart();
    rewriteInPlace(t00, "A", "Song 0");
    EXPECT_EQ(pick(), t01);
    EXPECT_EQ(pickWithoutCache(), t01);
}

// The records before a cut are read one by one, but none of them is believed: the file is whole
// or it is no file.
TEST_F(TagCacheTest, ARecordBeforeTheCutOfASavedFileIsNotBelieved) {
    settle();
    ASSERT_EQ(pick(), t01);
    restart();
    const std::string text = savedWithALyingTitle();
    ASSERT_NE(text.rfind("end\t"), std::string::npos);
    writeFile(cacheFile(), text.substr(0, text.rfind("end\t")));
    EXPECT_EQ(pick(), t01);
    restart();
    writeFile(cacheFile(), text);
    EXPECT_EQ(pick(), t00) << "the same records in a whole file are believed";
}

TEST_F(TagCacheTest, ADamagedOrForeignCacheFileIsIgnoredAndWrittenAgain) {
    settle();
    for (const std::string& text :
         {// The format before the track list's titles were kept: read as foreign.
          std::string(
              "TarnWave tag cache 1\nF\t/x/\nT\tt00.mp3\t1\t2\t3\t4\tA\tA - Song 9\nend\t1\n"),
          std::string("TarnWave tag cache 2\nT\tt00.mp3\t1\t2\t3\t4\tA\tA - Song 9\t\n"),
          std::string("\x7f"
                      "ELF\x02\x01\x01"),
          std::string("some other program's cache 1\nend\t0\n")}) {
        console->library->tagCache = std::make_shared<autodj::TagCache>(cacheFile());
        writeFile(cacheFile(), text);
        EXPECT_EQ(pick(), t01);
        EXPECT_EQ(pickWithoutCache(), t01);
        cache().save(-1);
        const auto saved = autodj::parseTagCache(fileText(cacheFile()));
        ASSERT_TRUE(saved);
        EXPECT_EQ(saved->size(), 2u);
    }
}

TEST(TagCacheFileTest, RecordsComeBackAsTheyWereWrittenWithEveryAwkwardCharacter) {
    const std::vector<autodj::SavedTag> records = {
        {"/s/Music/Rock/",
         "a\tb\nc\\d.mp3",
         {7, 1234, -5, 1'700'000'000'123'456'789},
         "",
         "x",
         " - "},
        {"/s/Music/Rock/", "plain.mp3", {8, 1, 2, 3}, "Art\r\nist", "Art - T\\t", ""},
        {"/s/Music/Jazz\n/", "j.mp3", {9, 4, 5, 6}, "J", "J - (K)", "J - [K]\t"},
    };
    const auto back = autodj::parseTagCache(autodj::serializeTagCache(records));
    ASSERT_TRUE(back);
    ASSERT_EQ(back->size(), records.size());
    for (std::size_t i = 0; i < records.size(); ++i) {
        EXPECT_EQ((*back)[i].folder, records[i].folder);
        EXPECT_EQ((*back)[i].name, records[i].name);
        EXPECT_EQ((*back)[i].stamp, records[i].stamp);
        EXPECT_EQ((*back)[i].artist, records[i].artist);
        EXPECT_EQ((*back)[i].mp3Title, records[i].mp3Title);
        EXPECT_EQ((*back)[i].listTitle, records[i].listTitle);
    }
}

// A library's cache is written in pieces of a bounded size, never held whole, and the pieces
// make the same file as the whole text; a sink that fails stops the writer for good.
TEST(TagCacheFileTest, TheWriterHandsOverBoundedPiecesThatMakeTheWholeFile) {
    std::vector<autodj::SavedTag> records;
    for (int i = 0; i < 5000; ++i) {
        const std::string folder = i < 2500 ? "/s/Music/Rock/" : "/s/Music/Jazz/";
        records.push_back({folder, "track" + std::to_string(i) + ".mp3",
                           autodj::FileStamp{static_cast<std::uint64_t>(i), i, i + 1, i + 2},
                           "Artist " + std::to_string(i % 7), "Title\t" + std::to_string(i), ""});
    }
    std::string joined;
    std::size_t pieces = 0;
    std::size_t largest = 0;
    autodj::TagCacheWriter writer([&](std::string_view piece) {
        joined += piece;
        ++pieces;
        largest = std::max(largest, piece.size());
        return true;
    });
    for (const auto& r : records) {
        ASSERT_TRUE(writer.add(r.folder, r.name, r.stamp, r.artist, r.mp3Title, r.listTitle));
    }
    ASSERT_TRUE(writer.finish());
    const std::string whole = autodj::serializeTagCache(records);
    EXPECT_EQ(joined, whole);
    EXPECT_GT(pieces, whole.size() / autodj::TagCacheWriter::kPiece);
    EXPECT_LT(largest, autodj::TagCacheWriter::kPiece + 200) << "a piece and one record at most";
    const auto back = autodj::parseTagCache(joined);
    ASSERT_TRUE(back);
    ASSERT_EQ(back->size(), records.size());
    EXPECT_EQ((*back)[4999].folder, "/s/Music/Jazz/");
    EXPECT_EQ((*back)[4999].mp3Title, "Title\t4999");

    int calls = 0;
    autodj::TagCacheWriter failing([&calls](std::string_view) { return ++calls < 2; });
    bool accepted = true;
    for (const auto& r : records) {
        accepted = failing.add(r.folder, r.name, r.stamp, r.artist, r.mp3Title, r.listTitle);
        if (!accepted) {
            break;
        }
    }
    EXPECT_FALSE(accepted);
    EXPECT_FALSE(failing.finish());
    EXPECT_EQ(calls, 2) << "nothing is handed over after a failed piece";
}

// Read one record at a time, a file gives the records that the whole-text reader gives, each
// with its folder; a cut file is no file, whatever was handed over before the cut.
TEST(TagCacheFileTest, ReadingRecordByRecordGivesEachWithItsFolder) {
    const std::vector<autodj::SavedTag> records = {
        {"/f/", "a.mp3", {1, 2, 3, 4}, "A", "A - B", ""},
        {"/f/", "b.mp3", {5, 6, 7, 8}, "C", "C - (D)", "C - [D]"},
        {"/g/", "c.mp3", {9, 10, 11, 12}, "E", "E - F", ""}};
    const std::string text = autodj::serializeTagCache(records);
    std::vector<std::string> seen;
    EXPECT_TRUE(autodj::readTagCache(text, [&](const std::string& folder, autodj::SavedTag& r) {
        EXPECT_TRUE(r.folder.empty());
        seen.push_back(folder + r.name + "|" + r.mp3Title);
    }));
    EXPECT_EQ(seen,
              (std::vector<std::string>{"/f/a.mp3|A - B", "/f/b.mp3|C - (D)", "/g/c.mp3|E - F"}));
    seen.clear();
    EXPECT_FALSE(autodj::readTagCache(
        text.substr(0, text.size() - 1),
        [&](const std::string& folder, autodj::SavedTag& r) { seen.push_back(folder + r.name); }));
    EXPECT_EQ(seen.size(), 3u) << "the records came before the cut end line";
}

TEST(TagCacheFileTest, ACutFileOrAWrongCountIsNoFile) {
    const std::vector<autodj::SavedTag> records = {
        {"/f/", "a.mp3", {1, 2, 3, 4}, "A", "A - B", ""},
        {"/f/", "b.mp3", {5, 6, 7, 8}, "C", "C - (D)", "C - [D]"}};
    const std::string text = autodj::serializeTagCache(records);
    for (std::size_t cut = 0; cut < text.size(); ++cut) {
        EXPECT_FALSE(autodj::parseTagCache(text.substr(0, cut))) << "cut at " << cut;
    }
    std::string wrongCount = text;
    wrongCount.replace(wrongCount.rfind("end\t2"), 5, "end\t3");
    EXPECT_FALSE(autodj::parseTagCache(wrongCount));
    EXPECT_FALSE(autodj::parseTagCache(text + "T\tc.mp3\t1\t2\t3\t4\tA\tB\t\n"));
    EXPECT_TRUE(autodj::parseTagCache(text));
    // A record of the earlier format (no list title) under this format's header.
    EXPECT_FALSE(autodj::parseTagCache(std::string(autodj::kTagCacheHeader) +
                                       "\nF\t/f/\nT\ta.mp3\t1\t2\t3\t4\tA\tA - B\nend\t1\n"));
}

}  // namespace
}  // namespace tw::test
