// The picker's memo of last plays: it gives what reading played.ini gives, forgets a section
// written since it was read (through the console, or by another program), never keeps a value
// that is no date, and a pick with it is the pick without it after every kind of change.

#include "autodj/history_memo.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

#include "autodj/history.h"
#include "autodj/picker.h"
#include "autodj/tag_cache.h"
#include "core/failure.h"
#include "tests/autodj/two_track_station.h"
#include "tests/testlib/temp_dir.h"

namespace tw::test {
namespace {

using autodj::HistoryMemo;

class HistoryMemoTest : public ::testing::Test {
  protected:
    std::string played() const { return (dir.path() / "played.ini").string(); }
    std::string read(const std::string& section) {
        return store.read(played(), section, autodj::kLastPlayed, "none");
    }
    // The memo's value of a section, counting the reads it made.
    const HistoryMemo::LastPlayed& value(const std::string& section) {
        return memo.lastPlayed(memo.slotOf(section), [&] {
            ++reads;
            return read(section);
        });
    }

    TempDir dir;
    core::SettingsStore store;
    HistoryMemo memo;
    int reads = 0;
};

TEST_F(HistoryMemoTest, KeepsNoDateAndADateAndReadsEachOnceUntilWritten) {
    store.write(played(), "A - Song", "LastPlayed", "11/20/2026 10:00:00");
    memo.follow(store, played());
    EXPECT_EQ(value("A - Song").kind, HistoryMemo::Kind::kDate);
    EXPECT_EQ(value("A - Song").date, core::cDate("11/20/2026 10:00:00"));
    EXPECT_EQ(value("B - Song").kind, HistoryMemo::Kind::kNone);
    EXPECT_EQ(value("b - song ").kind, HistoryMemo::Kind::kNone);
    EXPECT_EQ(reads, 2);
    EXPECT_EQ(memo.slotOf("  a - SONG"), memo.slotOf("A - Song"));
    EXPECT_EQ(memo.size(), 2u);
    EXPECT_EQ(memo.known(), 2u);
}

TEST_F(HistoryMemoTest, ASectionWrittenSinceIsReadAgainAndTheOthersAreNot) {
    store.write(played(), "A - Song", "LastPlayed", "11/20/2026 10:00:00");
    memo.follow(store, played());
    value("A - Song");
    value("B - Song");
    value("artist");
    store.write(played(), " a - song", "LastPlayed", "11/21/2026 10:00:00");
    store.write(played(), "ARTIST", "Pending", "no");  // any key of the section
    memo.follow(store, played());
    EXPECT_EQ(memo.known(), 1u);
    reads = 0;
    EXPECT_EQ(value("A - Song").date, core::cDate("11/21/2026 10:00:00"));
    EXPECT_EQ(value("B - Song").kind, HistoryMemo::Kind::kNone);
    EXPECT_EQ(value("artist").kind, HistoryMemo::Kind::kNone);
    EXPECT_EQ(reads, 2);
}

TEST_F(HistoryMemoTest, AFileChangedByAnotherProgramOrAnotherFileIsReadAgainWhole) {
    writeFile(played(), "[A - Song]\nLastPlayed=11/20/2026 10:00:00\n");
    memo.follow(store, played());
    value("A - Song");
    value("B - Song");
    writeFile(played(),
              "[A - Song]\nLastPlayed=11/22/2026 11:00:00\n[B - Song]\nLastPlayed=none\n");
    memo.follow(store, played());
    EXPECT_EQ(memo.known(), 0u);
    EXPECT_EQ(value("A - Song").date, core::cDate("11/22/2026 11:00:00"));
    const std::string other = (dir.path() / "other.ini").string();
    memo.follow(store, other);
    EXPECT_EQ(memo.known(), 0u);
}

TEST_F(HistoryMemoTest, AValueThatIsNoDateFailsAsReadingDoesAndIsNeverKept) {
    store.write(played(), "A - Song", "LastPlayed", "yesterday");
    memo.follow(store, played());
    for (int i = 0; i < 2; ++i) {
        EXPECT_THROW(value("A - Song"), core::Failure);
    }
    EXPECT_EQ(reads, 2);
    EXPECT_EQ(memo.known(), 0u);
}

TEST_F(HistoryMemoTest, CountsAreReadOnceUntilTheirSectionIsWrittenAndNoNumberIsEverKept) {
    store.write(played(), "A - Song", "TunedOut", "2");
    store.write(played(), "A - Song", "PlayCount", "7");
    store.write(played(), "B - Song", "PlayCount", "seven");
    memo.follow(store, played());
    const auto counts = [&](const std::string& section) {
        return memo.counts(memo.slotOf(section), [&] {
            ++reads;
            return store.read(played(), section, "TunedOut", "PlayCount", "0");
        });
    };
    for (int i = 0; i < 2; ++i) {
        const HistoryMemo::Counts a = counts("a - song");
        EXPECT_EQ(a.tunedOut, 2);
        EXPECT_EQ(a.playCount, 7);
        const HistoryMemo::Counts none = counts("C - Song");
        EXPECT_EQ(none.tunedOut, 0);
        EXPECT_EQ(none.playCount, 0);
    }
    EXPECT_EQ(reads, 2);
    for (int i = 0; i < 2; ++i) {
        EXPECT_THROW(counts("B - Song"), core::Failure);
    }
    EXPECT_EQ(reads, 4);
    // Counts and last play share the slot: a write of either key of the section forgets both.
    EXPECT_EQ(value("A - Song").kind, HistoryMemo::Kind::kNone);
    EXPECT_EQ(reads, 5);
    store.write(played(), "A - SONG", "PlayCount", "8");
    memo.follow(store, played());
    EXPECT_EQ(counts("A - Song").playCount, 8);
    EXPECT_EQ(counts("C - Song").playCount, 0);
    EXPECT_EQ(reads, 6) << "A read again, C kept";
}

// The two-track station, every pick checked against the pick without the cache (and its memo).
class HistoryMemoPickTest : public TwoTrackStation {
  protected:
    std::string pickWith() { return TwoTrackStation::pick(); }
    std::string pick() {
        const std::string with = pickWith();
        EXPECT_EQ(with, pickWithoutCache());
        return with;
    }
    HistoryMemo& memo() { return console->library->tagCache->history(); }
};

TEST_F(HistoryMemoPickTest, ATrackPlayedSinceTheLastPickIsSeenAtTheNext) {
    EXPECT_EQ(pick(), t01);
    EXPECT_EQ(memo().known(), 4u);  // two tracks and two artists
    autodj::writeHistory(*console, "B - Song 1", autodj::kLastPlayed, dateText(-1.0 / 1440));
    EXPECT_EQ(pick(), t00);
    setHistory("A - Song 0", "LastPlayed", dateText(-3.0));
    EXPECT_EQ(pick(), t00);
    setHistory("B - Song 1", "LastPlayed", dateText(-4.0));
    EXPECT_EQ(pick(), t01);
    // No history at all: taken as soon as it is met.
    core::deleteIniKey(*console, console->playedIniPath(), "A - Song 0", "LastPlayed");
    EXPECT_EQ(pick(), t00);
    EXPECT_TRUE(appLogLines().empty());
}

TEST_F(HistoryMemoPickTest, AnArtistPlayedSinceTheLastPickIsSeenAtTheNext) {
    console->artistSeperationTime = 1;  // an hour
    for (const char* track : {"A - Song 0", "B - Song 1"}) {
        core::deleteIniKey(*console, console->playedIniPath(), track, "LastPlayed");
    }
    // Tracks without history are taken at once unless their artist played within the hour.
    setHistory("a", "LastPlayed", dateText(-1.0 / 1440));
    EXPECT_EQ(pick(), t01);
    core::deleteIniKey(*console, console->playedIniPath(), "A", "LastPlayed");
    setHistory("B", "LastPlayed", dateText(-1.0 / 1440));
    EXPECT_EQ(pick(), t00);
}

TEST_F(HistoryMemoPickTest, PlayedIniChangedByAnotherProgramIsSeenAtTheNextPick) {
    EXPECT_EQ(pick(), t01);
    writeFile(console->playedIniPath(), "[A - Song 0]\r\nLastPlayed=" + dateText(-5.0) +
                                            "\r\n[B - Song 1]\r\nLastPlayed=" + dateText(-4.0) +
                                            "\r\n");
    EXPECT_EQ(pick(), t00);
}

TEST_F(HistoryMemoPickTest, AHistoryThatIsNoDateFailsEveryPickWithTheSameLine) {
    EXPECT_EQ(pick(), t01);
    setHistory("B - Song 1", "LastPlayed", "soon");
    setHistory("A - Song 0", "LastPlayed", "soon");
    EXPECT_EQ(pick(), "");
    EXPECT_EQ(pick(), "");
    const auto texts = logTexts();
    ASSERT_EQ(texts.size(), 4u);
    EXPECT_NE(texts[0].find("Type mismatch state:5"), std::string::npos) << texts[0];
    for (const std::string& text : texts) {
        EXPECT_EQ(text, texts[0]);
    }
}

TEST_F(HistoryMemoPickTest, ATrackPlayedWhileThePickYieldsIsSeenByTheRestOfTheWalk) {
    EXPECT_EQ(pick(), t01);
    // Both candidates are walked (both have played). In an event run at the pick's first yield,
    // A becomes the oldest and B half an hour old: whichever is met first, the second decides,
    // and only as the event left it: t00 (A first: B no longer older than A's hour; B first: A
    // older than B's two days).
    const auto run = [&] {
        console->lastYield = 0;
        loop.post([this] {
            setHistory("A - Song 0", "LastPlayed", dateText(-3.0));
            setHistory("B - Song 1", "LastPlayed", dateText(-1.0 / 48));
        });
        const std::string path = pickWith();
        setHistory("A - Song 0", "LastPlayed", dateText(-1.0 / 24));
        setHistory("B - Song 1", "LastPlayed", dateText(-2.0));
        return path;
    };
    EXPECT_EQ(run(), t00);
    auto cache = std::move(console->library->tagCache);
    EXPECT_EQ(run(), t00);
    console->library->tagCache = std::move(cache);
}

}  // namespace
}  // namespace tw::test
