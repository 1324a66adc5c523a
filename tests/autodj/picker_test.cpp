// The song picker: the walk, the ages, the artist rule, and the failure paths.

#include "autodj/picker.h"

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <map>
#include <numeric>
#include <set>

#include "autodj/history.h"
#include "liveassist/settings_panel.h"
#include "station/startup.h"
#include "tags/id3_tag.h"
#include "tests/autodj/station_fixture.h"

namespace tw::test {
namespace {

class PickerTest : public StationFixture {
  protected:
    // The shuffled order the next pick walks, from the same clock reading and test seed.
    std::vector<std::int32_t> nextOrder(int count) {
        autodj::PickRandom r;
        r.setTestSeed(console->library->random.testSeed());
        const core::DateValue now = console->now();
        r.reseed(clock.timer() / 4 - (now - std::floor(now)));
        std::vector<std::int32_t> order(static_cast<std::size_t>(count));
        std::iota(order.begin(), order.end(), 0);
        autodj::ShuffleArray(order, r);
        return order;
    }
    std::string pick(const std::string& category, core::DateValue target) {
        core::DateValue previous = 0;
        return autodj::pickSongForCatagory(*console, category, target, previous);
    }
    std::string dateText(double daysFromNow) {
        return core::generalDate(core::wholeSeconds(clock.now() + daysFromNow));
    }
    core::DateValue target() { return clock.now(); }
    void setSeparationHours(const std::string& hours) {
        core::writeIniValue(*console, console->appSettingsPath(), "ArtistSeperation", "Hours",
                            hours);
        liveassist::readArtistSeperationTime(*console);
    }
    // n tracks t00.mp3... in category "Rock", by the artists given in turn.
    std::vector<std::string> rock(int n, const std::vector<std::string>& artists) {
        std::vector<std::string> paths;
        for (int i = 0; i < n; ++i) {
            char name[32];
            std::snprintf(name, sizeof name, "t%02d.mp3", i);
            paths.push_back(addTrack("Rock", name,
                                     artists[static_cast<std::size_t>(i) % artists.size()],
                                     "Song " + std::to_string(i)));
        }
        return paths;
    }
};

constexpr double kHour = 1.0 / 24;
constexpr double kMinute = kHour / 60;

// --- makeArtist and ShuffleArray ----------------------------------------------------------------

TEST(MakeArtist, CutsAtTheFirstSeparatorThatOccursAnywhere) {
    std::string a = "Craft Union";
    EXPECT_EQ(autodj::makeArtist(a), "cra");
    EXPECT_EQ(a, "craft union");  // lowered in place
    std::string b = "Ann feat. Bob";
    EXPECT_EQ(autodj::makeArtist(b), "ann ");
    std::string c = "Run vs Walk";
    EXPECT_EQ(autodj::makeArtist(c), "run ");
    // "feat" is looked for before "&" even when the "&" stands first.
    std::string d = "A & B feat C";
    EXPECT_EQ(autodj::makeArtist(d), "a & b ");
}

TEST(MakeArtist, ArtistTextWithNoSeparatorIsLoweredAndOtherwiseUntouched) {
    std::string a = "  The Beatles  ";
    EXPECT_EQ(autodj::makeArtist(a), "  the beatles  ");
    std::string empty;
    EXPECT_EQ(autodj::makeArtist(empty), "");
}

TEST(MakeArtist, TwoArtistTextsSharingWordsBeforeAnAmpersandAreOneKeyWithTheBlank) {
    std::string a = "Simon & Garfunkel";
    std::string b = "SIMON & Someone Else";
    EXPECT_EQ(autodj::makeArtist(a), "simon ");
    EXPECT_EQ(autodj::makeArtist(b), "simon ");
}

TEST(ShuffleArrayTest, PermutesInPlaceWhateverTheElementType) {
    autodj::PickRandom r;
    r.setTestSeed(7);
    r.reseed(1.5);
    std::vector<std::string> names = {"a", "b", "c", "d", "e", "f"};
    autodj::ShuffleArray(names, r);
    std::multiset<std::string> after(names.begin(), names.end());
    EXPECT_EQ(after, (std::multiset<std::string>{"a", "b", "c", "d", "e", "f"}));
    std::vector<int> one = {5};
    autodj::ShuffleArray(one, r);
    EXPECT_EQ(one, std::vector<int>{5});
    std::vector<int> none;
    autodj::ShuffleArray(none, r);
    EXPECT_TRUE(none.empty());
}

TEST(ShuffleArrayTest, SameSeedWalksAlikeAndPositionsAreUniform) {
    autodj::PickRandom a, b;
    a.reseed(123.25);
    b.reseed(123.25);
    std::vector<int> x(10), y(10);
    std::iota(x.begin(), x.end(), 0);
    std::iota(y.begin(), y.end(), 0);
    autodj::ShuffleArray(x, a);
    autodj::ShuffleArray(y, b);
    EXPECT_EQ(x, y);

    // Where element 0 lands over many shuffles of 5: each place about a fifth of the time.
    autodj::PickRandom r;
    r.reseed(0.75);
    const int rounds = 50000;
    std::array<int, 5> landed{};
    for (int i = 0; i < rounds; ++i) {
        std::vector<int> v = {0, 1, 2, 3, 4};
        autodj::ShuffleArray(v, r);
        landed[static_cast<std::size_t>(std::find(v.begin(), v.end(), 0) - v.begin())]++;
    }
    double chi = 0;
    for (int n : landed) {
        const double e = rounds / 5.0;
        chi += (n - e) * (n - e) / e;
    }
    EXPECT_LT(chi, 20.0);  // 4 degrees of freedom: far beyond the 0.1% point (18.5) means bias
}

TEST(PickRandomTest, TestSeedChangesTheWalkForTheSameClock) {
    autodj::PickRandom a, b;
    b.setTestSeed(99);
    a.reseed(42.0);
    b.reseed(42.0);
    int same = 0;
    for (int i = 0; i < 16; ++i) {
        same += a.next() == b.next();
    }
    EXPECT_LT(same, 16);
}

// --- the edge cases
// -------------------------------------------------------------------------------

TEST_F(PickerTest, EmptyCategoryReturnsEmptyAtOnceWithNoLogLine) {
    addCategory("Empty");
    open();
    EXPECT_EQ(pick("Empty", target()), "");
    EXPECT_FALSE(console->pickInProgress);
    EXPECT_TRUE(appLogLines().empty());
    EXPECT_EQ(console->form().cmdAutoManual.caption, core::kAutomated);
}

TEST_F(PickerTest, OneFileCategoryReturnsThatFileWhateverItsHistory) {
    const auto only = addTrack("Solo", "only.mp3", "Band", "Tune");
    open();
    setSeparationHours("5");
    setHistory("Band - Tune", "LastPlayed", dateText(10 * kMinute));  // planned later
    setHistory("band", "LastPlayed", dateText(-1 * kMinute));         // artist blocked
    EXPECT_EQ(pick("Solo", target()), only);
}

TEST_F(PickerTest, AllNeverPlayedFirstShuffledCandidateWinsAfterOneTagRead) {
    const auto files = rock(8, {"A", "B", "C", "D", "E", "F", "G", "H"});
    open();
    for (std::uint64_t seed = 1; seed <= 5; ++seed) {
        console->library->random.setTestSeed(seed);
        const auto order = nextOrder(8);
        // The second candidate is bad: visiting it would fail the pick, so success shows that
        // the walk stopped at the first.
        const auto second = files[static_cast<std::size_t>(order[1])];
        std::filesystem::resize_file(second, 0);
        EXPECT_EQ(pick("Rock", target()), files[static_cast<std::size_t>(order[0])]);
        addTrack("Rock", std::filesystem::path(second).filename().string(), "X", "Y");
    }
    EXPECT_TRUE(appLogLines().empty());
}

TEST_F(PickerTest, AllNeverPlayedOneArtistInsideSeparationFirstCandidateByAnotherArtistWins) {
    const auto files = rock(6, {"Blocked", "Blocked", "Blocked", "Free", "Blocked", "Other"});
    open();
    setSeparationHours("1");
    setHistory("blocked", "LastPlayed", dateText(-20 * kMinute));
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        console->library->random.setTestSeed(seed);
        const auto order = nextOrder(6);
        std::string expected;
        for (auto i : order) {
            if (i == 3 || i == 5) {
                expected = files[static_cast<std::size_t>(i)];
                break;
            }
        }
        EXPECT_EQ(pick("Rock", target()), expected) << "seed " << seed;
    }
}

TEST_F(PickerTest, AllFilesPlannedAfterTargetTimeFirstFileInNameOrderWins) {
    const auto files = rock(5, {"A", "B", "C", "D", "E"});
    open();
    for (int i = 0; i < 5; ++i) {
        setHistory("ABCDE"[i] + std::string(" - Song ") + std::to_string(i), "LastPlayed",
                   dateText((i + 1) * kHour));
    }
    for (std::uint64_t seed = 1; seed <= 4; ++seed) {
        console->library->random.setTestSeed(seed);
        EXPECT_EQ(pick("Rock", target()), files[0]);
        clock.advanceSeconds(1);
    }
}

TEST_F(PickerTest, TwoFilesWithEqualAgesTheOneFirstInShuffledOrderWins) {
    const auto files = rock(2, {"A", "B"});
    open();
    setHistory("A - Song 0", "LastPlayed", dateText(-2 * kHour));
    setHistory("B - Song 1", "LastPlayed", dateText(-2 * kHour));
    std::set<std::string> winners;
    for (std::uint64_t seed = 1; seed <= 12; ++seed) {
        console->library->random.setTestSeed(seed);
        const auto order = nextOrder(2);
        const auto got = pick("Rock", target());
        EXPECT_EQ(got, files[static_cast<std::size_t>(order[0])]);
        winners.insert(got);
    }
    EXPECT_EQ(winners.size(), 2u);  // both orders came up
}

TEST_F(PickerTest, LastPlayedFourCalendarYearsBackCountsAsNeverPlayedAndBeatsOldTracks) {
    const auto files = rock(3, {"A", "B", "C"});
    open();
    setHistory("A - Song 0", "LastPlayed", dateText(-400));  // about a year back
    setHistory("B - Song 1", "LastPlayed", core::generalDate(core::dateSerial(2022, 6, 1)));
    setHistory("C - Song 2", "LastPlayed", dateText(-3 * 365 + 40));  // three boundaries back
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        console->library->random.setTestSeed(seed);
        EXPECT_EQ(pick("Rock", target()), files[1]) << "seed " << seed;
    }
}

TEST_F(PickerTest, ArtistTextsSharingWordsBeforeAmpersandAreOneArtistForSeparation) {
    const auto files = rock(3, {"Simon & Garfunkel", "Simon & Friends", "Someone"});
    open();
    setSeparationHours("2");
    // The record written for one of them, under the key with its trailing blank.
    setHistory("simon ", "LastPlayed", dateText(-30 * kMinute));
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        console->library->random.setTestSeed(seed);
        EXPECT_EQ(pick("Rock", target()), files[2]) << "seed " << seed;
    }
}

TEST_F(PickerTest, EmptyArtistIsAKeyLikeAnyOtherSoUntaggedArtistsShareOneRecord) {
    const auto a = addTrack("Rock", "a.mp3", "", "First");
    const auto b = addTrack("Rock", "b.mp3", "", "Second");
    const auto c = addTrack("Rock", "c.mp3", "Named", "Third");
    open();
    setSeparationHours("1");
    setHistory("", "LastPlayed", dateText(-5 * kMinute));
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        console->library->random.setTestSeed(seed);
        EXPECT_EQ(pick("Rock", target()), c);
    }
    (void)a;
    (void)b;
}

TEST_F(PickerTest, ChangingHoursAffectsTheNextPickAndNoPickAlreadyHeld) {
    const auto files = rock(2, {"Near", "Far"});
    open();
    setHistory("Near - Song 0", "LastPlayed", dateText(-3 * kHour));
    setHistory("near", "LastPlayed", dateText(-90 * kMinute));
    setHistory("Far - Song 1", "LastPlayed", dateText(-2 * kHour));
    setHistory("far", "LastPlayed", dateText(-2 * kHour));
    setSeparationHours("1");
    // Separation one hour: both artists clear, the older track wins from any order.
    console->trackList.assign(1, {});
    console->trackList[0].trackPath = pick("Rock", target());
    EXPECT_EQ(console->trackList[0].trackPath, files[0]);
    // Two hours: "near" is blocked; once "far" is met it displaces or stays, so it wins in an order
    // that meets it first, and an order that meets "near" first holds "near" only until then.
    setSeparationHours("1.75");
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        console->library->random.setTestSeed(seed);
        const auto order = nextOrder(2);
        const auto got = pick("Rock", target());
        // Near first: held (first positive age), then far (clear, but younger) cannot displace.
        // Far first: held, then near (older, blocked) cannot displace.
        EXPECT_EQ(got, files[static_cast<std::size_t>(order[0])]);
    }
    EXPECT_EQ(console->trackList[0].trackPath, files[0]);  // the queue keeps what it had
}

// --- the held candidate
// ---------------------------------------------------------------------------

TEST_F(PickerTest, FirstPositiveAgeIsHeldWhateverItsArtistAndOnlyAnOlderClearOneDisplacesIt) {
    const auto files = rock(3, {"Blocked", "Young", "Old"});
    open();
    setSeparationHours("1");
    setHistory("Blocked - Song 0", "LastPlayed", dateText(-5 * kHour));
    setHistory("blocked", "LastPlayed", dateText(-10 * kMinute));
    setHistory("Young - Song 1", "LastPlayed", dateText(-2 * kHour));
    setHistory("young", "LastPlayed", dateText(-2 * kHour));
    setHistory("Old - Song 2", "LastPlayed", dateText(-8 * kHour));
    setHistory("old", "LastPlayed", dateText(-8 * kHour));
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        console->library->random.setTestSeed(seed);
        EXPECT_EQ(pick("Rock", target()), files[2]) << "seed " << seed;  // Old beats all
    }
    setHistory("Old - Song 2", "LastPlayed", dateText(-3 * kHour));
    for (std::uint64_t seed = 1; seed <= 10; ++seed) {
        console->library->random.setTestSeed(seed);
        const auto order = nextOrder(3);
        const auto got = pick("Rock", target());
        // Blocked (5 h) first: held, and Old (3 h) and Young (2 h) are both younger.
        // Otherwise the clear ones compete and Old, the older, wins.
        EXPECT_EQ(got, order[0] == 0 ? files[0] : files[2]) << "seed " << seed;
    }
}

TEST_F(PickerTest, ArtistWithoutRecordIsNotClearEnoughToDisplaceAHeldCandidate) {
    const auto files = rock(2, {"Known", "Unknown"});
    open();
    setSeparationHours("1");
    setHistory("Known - Song 0", "LastPlayed", dateText(-2 * kHour));
    setHistory("known", "LastPlayed", dateText(-2 * kHour));
    setHistory("Unknown - Song 1", "LastPlayed", dateText(-9 * kHour));
    // "unknown" has no record: age 0 is not the separation, so it cannot displace "known".
    for (std::uint64_t seed = 1; seed <= 8; ++seed) {
        console->library->random.setTestSeed(seed);
        const auto order = nextOrder(2);
        EXPECT_EQ(pick("Rock", target()), files[static_cast<std::size_t>(order[0])]);
    }
}

TEST_F(PickerTest, NegativeAgesAreNeverHeld) {
    const auto files = rock(3, {"A", "B", "C"});
    open();
    setHistory("A - Song 0", "LastPlayed", dateText(kHour));
    setHistory("B - Song 1", "LastPlayed", dateText(-kHour));
    setHistory("C - Song 2", "LastPlayed", dateText(2 * kHour));
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        console->library->random.setTestSeed(seed);
        EXPECT_EQ(pick("Rock", target()), files[1]);
    }
}

// --- results and side effects
// ---------------------------------------------------------------------

TEST_F(PickerTest, PreviousLastPlayedIsTheChosenTracksDateOrTheTargetTime) {
    rock(1, {"A"});
    open();
    core::DateValue previous = 0;
    const core::DateValue slot = clock.now() + kHour;
    autodj::pickSongForCatagory(*console, "Rock", slot, previous);
    EXPECT_EQ(core::generalDate(previous), core::generalDate(slot));
    setHistory("A - Song 0", "LastPlayed", "11/20/2026 8:15:30 PM");
    autodj::pickSongForCatagory(*console, "Rock", slot, previous);
    EXPECT_EQ(core::generalDate(previous), "11/20/2026 8:15:30 PM");
}

TEST_F(PickerTest, PickLeavesTheTagObjectOnTheChosenFileAndTheListOnTheCategory) {
    addTrack("Jazz", "j.mp3", "J", "Jay");
    const auto files = rock(4, {"A", "B"});
    open();
    // A history to read: one track and one artist with dates, the rest without.
    setHistory("A - Song 0", "LastPlayed", dateText(-3 * kHour));
    setHistory("A", "LastPlayed", dateText(-3 * kHour));
    const std::string historyBefore = readFile(console->playedIniPath());
    const auto got = pick("Rock", target());
    ASSERT_FALSE(got.empty());
    EXPECT_EQ(console->id3->filename(), got);
    tags::clsMp3TagData data;
    console->id3->returnID3Tag(data);
    EXPECT_EQ(console->AppFolder + console->activeDirectory +
                  std::filesystem::path(got).filename().string(),
              got);
    EXPECT_EQ(console->activeDirectory, "/Music/Rock/");
    EXPECT_EQ(console->form().lstPlaylist1.listIndex, categoryIndex("Rock"));
    EXPECT_EQ(console->form().fileList1.listCount(), 4);
    EXPECT_FALSE(console->pickInProgress);
    EXPECT_FALSE(data.mp3Title.empty());
    // The picker reads the history and writes nothing to it.
    EXPECT_EQ(readFile(console->playedIniPath()), historyBefore);
}

TEST_F(PickerTest, CategoryIsMatchedExactlyWithCaseAndCutAtTheDot) {
    addCategory("Dance.90s");
    const auto dotted = addTrack("Dance.90s", "d.mp3", "D", "Dee");
    rock(1, {"A"});
    open();
    // The list shows "Dance": the pick finds the item but points at a folder that is not there.
    EXPECT_EQ(pick("Dance", target()), "");
    EXPECT_EQ(console->activeDirectory, "/Music/Dance/");
    EXPECT_EQ(console->form().cmdAutoManual.caption, core::kAutomated);
    // The full folder name is no item of the list: the category is missing.
    EXPECT_EQ(pick("Dance.90s", target()), "");
    EXPECT_EQ(console->form().cmdAutoManual.caption, core::kManual);
    (void)dotted;
}

// --- failures
// -------------------------------------------------------------------------------------

TEST_F(PickerTest, MissingCategoryPrintsTheMessageAndPlacesTheConsoleInManualMode) {
    rock(1, {"A"});
    open();
    EXPECT_EQ(pick("rock", target()), "");  // case counts
    const auto& texts = console->form().frmTarnDesk.drawing.texts;
    ASSERT_EQ(texts.size(), 1u);
    EXPECT_EQ(texts[0].text,
              " Rotation Cannot Be found:  rock, MISSING OR DELETED, Placing Tarnwave in MANUAL "
              "MODE");
    const auto& frame = console->form().frmTrackList.rect;
    EXPECT_EQ(texts[0].x, frame.left);
    EXPECT_EQ(texts[0].y, frame.top + frame.height);
    EXPECT_EQ(console->form().cmdAutoManual.caption, core::kManual);
    EXPECT_FALSE(console->pickInProgress);
    // From manual mode too: the caption is put on "Automated" first, so the action flips to
    // manual again instead of to automatic.
    EXPECT_EQ(pick("Gone", target()), "");
    EXPECT_EQ(console->form().cmdAutoManual.caption, core::kManual);
}

TEST_F(PickerTest, BadFileFailsTheWholePickWithTheLogLine) {
    const auto files = rock(1, {"A"});
    open();
    std::filesystem::resize_file(files[0], 0);
    EXPECT_EQ(pick("Rock", target()), "");
    EXPECT_FALSE(console->pickInProgress);
    const auto texts = logTexts();
    ASSERT_EQ(texts.size(), 1u);
    EXPECT_EQ(texts[0], "Error in Pick Song for Catagory:File is empty state:3 filename:" +
                            files[0] + " activeDirectory:/Music/Rock/ index:0");
}

TEST_F(PickerTest, VanishedFileFailsThePickAndIsNotSkipped) {
    const auto files = rock(3, {"A", "B", "C"});
    open();
    console->library->random.setTestSeed(3);
    const auto order = nextOrder(3);
    // Every file old, so the walk visits all; the file met second vanishes after the list was read.
    for (int i = 0; i < 3; ++i) {
        setHistory("ABC"[i] + std::string(" - Song ") + std::to_string(i), "LastPlayed",
                   dateText(-(i + 1) * kHour));
    }
    // It vanishes in an event that runs at the pick's first yield, after the list was read.
    const auto victim = files[static_cast<std::size_t>(order[1])];
    loop.post([victim] { std::filesystem::remove(victim); });
    EXPECT_EQ(pick("Rock", target()), "");
    const auto texts = logTexts();
    ASSERT_EQ(texts.size(), 1u);
    EXPECT_NE(texts[0].find("Error in Pick Song for Catagory:File not found state:8 filename:" +
                            files[static_cast<std::size_t>(order[1])]),
              std::string::npos)
        << texts[0];
}

TEST_F(PickerTest, UnparsableDateTakesTheFailurePath) {
    rock(1, {"A"});
    open();
    setHistory("A - Song 0", "LastPlayed", "yesterday-ish");
    EXPECT_EQ(pick("Rock", target()), "");
    const auto texts = logTexts();
    ASSERT_EQ(texts.size(), 1u);
    EXPECT_NE(texts[0].find("Type mismatch state:5 "), std::string::npos) << texts[0];
}

TEST_F(PickerTest, ListLoadingStopsThePickAndLeavesPickInProgressSet) {
    rock(4, {"A", "B"});
    open();
    for (int i = 0; i < 4; ++i) {
        setHistory("AB"[i % 2] + std::string(" - Song ") + std::to_string(i), "LastPlayed",
                   dateText(-(i + 1) * kHour));
    }
    // A rotation starts loading in an event that runs at the pick's first yield.
    bool ran = false;
    loop.post([&] {
        ran = true;
        console->listLoading = true;
    });
    EXPECT_EQ(pick("Rock", target()), "");
    EXPECT_TRUE(ran);
    EXPECT_TRUE(console->pickInProgress);
    EXPECT_TRUE(appLogLines().empty());
}

TEST_F(PickerTest, SameInstantWalksAlikeAndALaterSecondWalksDifferently) {
    rock(12, {"A", "B", "C", "D", "E", "F", "G", "H", "I", "J", "K", "L"});
    open();
    const auto first = pick("Rock", target());
    EXPECT_EQ(pick("Rock", target()), first);
    std::set<std::string> seen{first};
    for (int i = 0; i < 20; ++i) {
        clock.advanceSeconds(1);
        seen.insert(pick("Rock", target()));
    }
    EXPECT_GT(seen.size(), 3u);
}

}  // namespace
}  // namespace tw::test
