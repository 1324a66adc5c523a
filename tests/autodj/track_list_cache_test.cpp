// The track list of the library screen through the tag cache: every fill shows what a fill
// without the cache shows, after every kind of change behind the console's back, and what the
// list read serves the picker.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <thread>

#include "autodj/history.h"
#include "autodj/picker.h"
#include "autodj/tag_cache.h"
#include "autodj/tag_cache_file.h"
#include "tests/autodj/station_fixture.h"
#include "tests/tags/tag_test_util.h"

namespace tw::test {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> listTexts(const core::Element& list) {
    std::vector<std::string> out;
    for (const auto& item : list.items) {
        out.push_back(item.text);
    }
    return out;
}

// A category with a plain track, one whose title holds brackets (the history's key has
// parentheses, the list keeps the brackets) and one without any tag (the list names it from its
// file name and writes that into the file).
class TrackListCacheTest : public StationFixture {
  protected:
    void SetUp() override {
        plain = addTrack("Rock", "a.mp3", "A", "Song 0");
        brackets = addTrack("Rock", "b.mp3", "B", "Live [1999]");
        untagged = addTrack("Rock", "Cee-Untitled.mp3", "", "");
        open();
    }
    std::vector<std::string> fill() {
        autodj::lstPlaylists_Click(*console, categoryIndex("Rock"));
        return listTexts(console->form().lstSongs);
    }
    std::vector<std::string> fillWithoutCache() {
        auto cache = std::move(console->library->tagCache);
        auto titles = fill();
        console->library->tagCache = std::move(cache);
        return titles;
    }
    autodj::TagCache& cache() { return *console->library->tagCache; }

    std::string plain;
    std::string brackets;
    std::string untagged;
};

TEST_F(TrackListCacheTest, AFillWithTheCacheShowsWhatAFillWithoutShows) {
    EXPECT_EQ(fill(), (std::vector<std::string>{"A - Song 0", "B - Live [1999]", "Cee-Untitled"}));
    // The file without a tag was given one by the list, as it is without the cache.
    const std::vector<std::string> expected = {"A - Song 0", "B - Live [1999]", "Cee - Untitled"};
    EXPECT_EQ(fillWithoutCache(), expected);
    EXPECT_EQ(fill(), expected);
    EXPECT_EQ(fill(), expected);
    EXPECT_EQ(console->form().lblListInfo.caption.substr(0, 8), "3 Tracks");
}

TEST_F(TrackListCacheTest, AKeptTitleIsShownWithoutReadingTheFile) {
    ASSERT_EQ(fill().size(), 3u);
    EXPECT_EQ(cache().size(), 2u) << "the file without a tag is not kept while the list writes it";
    ASSERT_EQ(fill().size(), 3u);
    EXPECT_EQ(cache().size(), 3u) << "once written, it is kept like the others";
    // Saved once the files' stamps can be trusted, then written by hand with a title that only
    // the saved entry can show.
    std::this_thread::sleep_for(std::chrono::milliseconds(3200));
    ASSERT_TRUE(cache().save(-1));
    const std::string file = cache().file();
    auto records = autodj::parseTagCache(readFile(file));
    ASSERT_TRUE(records);
    ASSERT_EQ(records->size(), 3u);
    for (auto& r : *records) {
        if (r.name == "a.mp3") {
            r.listTitle = "A - Kept";
        }
    }
    writeFile(file, autodj::serializeTagCache(*records));
    console->library->tagCache = std::make_shared<autodj::TagCache>(file);
    EXPECT_EQ(fill()[0], "A - Kept");
    // Once the file changes, it is read again.
    const std::string bytes = taggedTrack("A", "Song 8");
    std::fstream(plain, std::ios::in | std::ios::out | std::ios::binary)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    EXPECT_EQ(fill()[0], "A - Song 8");
}

TEST_F(TrackListCacheTest, ATagEditedInPlaceKeepingSizeAndTimeIsSeenAtTheNextFill) {
    ASSERT_EQ(fill()[0], "A - Song 0");
    struct stat before {};
    ASSERT_EQ(::stat(plain.c_str(), &before), 0);
    const std::string bytes = taggedTrack("A", "Song 9");
    std::fstream(plain, std::ios::in | std::ios::out | std::ios::binary)
        .write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    const timespec times[2] = {before.st_atim, before.st_mtim};
    ASSERT_EQ(::utimensat(AT_FDCWD, plain.c_str(), times, 0), 0);
    EXPECT_EQ(fill()[0], "A - Song 9");
    EXPECT_EQ(fillWithoutCache()[0], "A - Song 9");
}

TEST_F(TrackListCacheTest, AFileReplacedOrDeletedIsSeenAtTheNextFill) {
    ASSERT_EQ(fill().size(), 3u);
    const fs::path fresh = dir / "Music/Rock/b.new";
    writeFile(fresh, taggedTrack("B", "Other"));
    fs::rename(fresh, brackets);
    fs::remove(untagged);
    const std::vector<std::string> expected = {"A - Song 0", "B - Other"};
    EXPECT_EQ(fill(), expected);
    EXPECT_EQ(fillWithoutCache(), expected);
}

TEST_F(TrackListCacheTest, WhatTheListReadServesThePickerWithTheSameKeys) {
    ASSERT_EQ(fill().size(), 3u);
    setHistory("A - Song 0", "LastPlayed", core::generalDate(clock.now() - 1.0));
    setHistory("B - Live (1999)", "LastPlayed", core::generalDate(clock.now() - 2.0));
    setHistory("Cee - Untitled", "LastPlayed", core::generalDate(clock.now() - 0.5));
    core::DateValue previous = 0;
    EXPECT_EQ(autodj::pickSongForCatagory(*console, "Rock", clock.now(), previous), brackets)
        << "the picker found the history of the key with parentheses";
    EXPECT_TRUE(appLogLines().empty());
}

// The fill takes a row's tags by its place in the cache's kept listing only where the row's name
// stands at that place: a list in another order, or with a name the listing lacks, is read by
// name.
TEST_F(TrackListCacheTest, RowsThatDoNotStandWhereTheKeptListingHasThemAreReadByName) {
    const std::vector<std::string> titles = {"A - Song 0", "B - Live [1999]", "Cee - Untitled"};
    ASSERT_EQ(fill(), (std::vector<std::string>{"A - Song 0", "B - Live [1999]", "Cee-Untitled"}));
    ASSERT_EQ(fill(), titles);
    ASSERT_EQ(cache().size(), 3u);
    auto& m = console->form();
    // The list in reverse order, as no listing of the folder gives it.
    std::reverse(m.fileList.items.begin(), m.fileList.items.end());
    autodj::fillSongList(*console);
    EXPECT_EQ(listTexts(m.lstSongs),
              (std::vector<std::string>{"Cee - Untitled", "B - Live [1999]", "A - Song 0"}));
    // A row dropped from the middle: the rows after it no longer stand at their places.
    m.fileList.items.erase(m.fileList.items.begin() + 1);
    autodj::fillSongList(*console);
    EXPECT_EQ(listTexts(m.lstSongs), (std::vector<std::string>{"Cee - Untitled", "A - Song 0"}));
    // The same fills without the cache show the same.
    std::reverse(m.fileList.items.begin(), m.fileList.items.end());
    auto kept = std::move(console->library->tagCache);
    autodj::fillSongList(*console);
    EXPECT_EQ(listTexts(m.lstSongs), (std::vector<std::string>{"A - Song 0", "Cee - Untitled"}));
    console->library->tagCache = std::move(kept);
    autodj::fillSongList(*console);
    EXPECT_EQ(listTexts(m.lstSongs), (std::vector<std::string>{"A - Song 0", "Cee - Untitled"}));
    EXPECT_EQ(fill(), titles);
    EXPECT_TRUE(appLogLines().empty());
}

// The share of plays tuned out that the list's caption gives is added up from the counts of each
// row's title, kept by the cache's memo: every way the counts change reaches the next fill.
TEST_F(TrackListCacheTest, TheTunedOutShareFollowsEveryChangeOfTheCounts) {
    const auto outs = [&](bool withCache) {
        console->form().lblListInfo.caption.clear();
        if (withCache) {
            fill();
        } else {
            fillWithoutCache();
        }
        const std::string& caption = console->form().lblListInfo.caption;
        const auto at = caption.find("outs% ");
        return at == std::string::npos ? std::string("<none>") : caption.substr(at + 6);
    };
    const auto both = [&] {
        const std::string with = outs(true);
        EXPECT_EQ(with, outs(false));
        return with;
    };
    ASSERT_EQ(fill().size(), 3u);
    EXPECT_EQ(both(), "0");
    // The list's title is the section, brackets and all (the picker's key has parentheses).
    setHistory("B - Live [1999]", "PlayCount", "4");
    setHistory("B - Live [1999]", "TunedOut", "1");
    EXPECT_EQ(both(), "25");
    autodj::writeHistory(*console, "A - Song 0", autodj::kPlayCount, "4");
    EXPECT_EQ(both(), "12");  // 12.5 taken to the even
    autodj::writeHistory(*console, "cee - untitled", autodj::kTunedOut, "3");
    EXPECT_EQ(both(), "50");
    core::deleteIniKey(*console, console->playedIniPath(), "B - Live [1999]", "TunedOut");
    EXPECT_EQ(both(), "38");
    // played.ini written by another program.
    writeFile(console->playedIniPath(),
              "[A - Song 0]\r\nPlayCount=10\r\nTunedOut=9\r\n[B - Live (1999)]\r\nPlayCount=5\r\n");
    EXPECT_EQ(both(), "90");
    EXPECT_TRUE(appLogLines().empty());
    // A count that is no number fails every fill with the same line, cache or not.
    setHistory("A - Song 0", "PlayCount", "ten");
    EXPECT_EQ(outs(true), "<none>");
    EXPECT_EQ(outs(true), "<none>");
    EXPECT_EQ(outs(false), "<none>");
    const auto texts = logTexts();
    ASSERT_EQ(texts.size(), 3u);
    EXPECT_NE(texts[0].find("Error in Playlist:"), std::string::npos) << texts[0];
    EXPECT_EQ(texts[1], texts[0]);
    EXPECT_EQ(texts[2], texts[0]);
}

TEST_F(TrackListCacheTest, SearchFindsTheSameRowsWithAndWithoutTheCache) {
    ASSERT_EQ(fill().size(), 3u);
    auto& m = console->form();
    const auto search = [&](const std::string& text) {
        m.txtSearch.text = text;
        autodj::cmdSearch_Click(*console);
        std::vector<int> found;
        for (int i = 0; i < m.lstSongs.listCount(); ++i) {
            if (m.lstSongs.items[static_cast<std::size_t>(i)].selected) {
                found.push_back(i);
            }
        }
        found.push_back(m.lstSongs.listIndex);
        return found;
    };
    EXPECT_EQ(search("Live"), (std::vector<int>{1, 1}));
    EXPECT_EQ(search(" - "), (std::vector<int>{0, 1, 2, 0}));
    auto kept = std::move(console->library->tagCache);
    EXPECT_EQ(search("Live"), (std::vector<int>{1, 1}));
    EXPECT_EQ(search(" - "), (std::vector<int>{0, 1, 2, 0}));
    console->library->tagCache = std::move(kept);
}

}  // namespace
}  // namespace tw::test
