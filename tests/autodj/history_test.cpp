// The play history: who writes which key, and what the readers make of it.

#include "autodj/history.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "autodj/picker.h"
#include "core/failure.h"
#include "tests/autodj/station_fixture.h"

namespace tw::test {
namespace {

constexpr double kOneHour = 1.0 / 24;

class HistoryTest : public StationFixture {
  protected:
    std::string pick(const std::string& category, core::DateValue target) {
        core::DateValue previous = 0;
        return autodj::pickSongForCatagory(*console, category, target, previous);
    }
    std::string now() { return core::generalDate(clock.now()); }
    std::string at(double days) {
        return core::generalDate(core::wholeSeconds(clock.now() + days));
    }
};

TEST_F(HistoryTest, LifeOfAPlannedTrackAsTheKeysShowIt) {
    open();
    const std::string track = "Band - Tune";
    const std::string artist = "band";
    EXPECT_EQ(history(track, "LastPlayed"), "<none>");  // 1. never played: no section

    autodj::planPick(*console, track, artist, clock.now() + kOneHour);  // 2. picked for T
    EXPECT_EQ(history(track, "LastPlayed"), at(kOneHour));
    EXPECT_EQ(history(track, "Pending"), "empty");
    EXPECT_EQ(history(artist, "LastPlayed"), at(kOneHour));

    clock.advanceSeconds(3600);  // 3. started at S
    const std::string s = now();
    autodj::recordStart(*console, track, artist);
    EXPECT_EQ(history(track, "LastPlayed"), s);
    EXPECT_EQ(history(track, "Pending"), "no");
    EXPECT_EQ(history(track, "PlayCount"), "1");
    EXPECT_EQ(history(artist, "LastPlayed"), s);
    EXPECT_EQ(history(artist, "Pending"), "empty");  // the artist keeps what the plan wrote

    autodj::planPick(*console, track, artist, clock.now() + 2 * kOneHour);  // 4. next plan at U
    EXPECT_EQ(history(track, "Pending"), s);
    EXPECT_EQ(history(track, "LastPlayed"), at(2 * kOneHour));

    autodj::withdrawPlan(*console, track, artist);  // 5. withdrawn before it played
    EXPECT_EQ(history(track, "LastPlayed"), s);
    EXPECT_EQ(history(track, "Pending"), "no");
    EXPECT_EQ(history(artist, "LastPlayed"), s);
    EXPECT_EQ(history(artist, "Pending"), "no");

    clock.advanceSeconds(60);
    autodj::recordStart(*console, track, artist);
    EXPECT_EQ(history(track, "PlayCount"), "2");
}

TEST_F(HistoryTest, AStartWritesTheDatesBeforeTheCountThatIsNoNumber) {
    open();
    setHistory("Band - Tune", "PlayCount", "many");
    setHistory("Band - Tune", "Pending", "empty");
    const std::string s = now();
    EXPECT_THROW(autodj::recordStart(*console, "Band - Tune", "band"), core::Failure);
    EXPECT_EQ(history("Band - Tune", "LastPlayed"), s);
    EXPECT_EQ(history("Band - Tune", "Pending"), "no");
    EXPECT_EQ(history("band", "LastPlayed"), s);
    EXPECT_EQ(history("Band - Tune", "PlayCount"), "many");
}

TEST_F(HistoryTest, RePickRefillAndRetimeWriteTheirOwnKeys) {
    open();
    autodj::planPick(*console, "Old - One", "old", clock.now() + kOneHour);
    autodj::releasePlan(*console, "Old - One", "old");
    for (const char* section : {"Old - One", "old"}) {
        EXPECT_EQ(history(section, "Pending"), "no");
        EXPECT_EQ(history(section, "LastPlayed"), now());
    }

    setHistory("New - Two", "Pending", "no");
    autodj::planRefill(*console, "New - Two", "new", clock.now() + 2 * kOneHour,
                       clock.now() + 2 * kOneHour);  // never played: the picker gave the slot
    EXPECT_EQ(history("New - Two", "LastPlayed"), at(2 * kOneHour));
    EXPECT_EQ(history("New - Two", "Pending"), at(2 * kOneHour));  // a date, never "empty"
    EXPECT_EQ(history("new", "LastPlayed"), at(2 * kOneHour));
    EXPECT_EQ(history("new", "Pending"), "<none>");  // the artist's Pending is not written

    autodj::retimePlan(*console, "New - Two", clock.now() + 3 * kOneHour);
    EXPECT_EQ(history("New - Two", "LastPlayed"), at(3 * kOneHour));
    EXPECT_EQ(history("New - Two", "Pending"), at(2 * kOneHour));
    EXPECT_EQ(history("new", "LastPlayed"), at(2 * kOneHour));
}

TEST_F(HistoryTest, TrackSectionWithoutLastPlayedBehavesAsNeverPlayedWhateverItsCounters) {
    const auto heavy = addTrack("Rock", "a.mp3", "A", "Heavy");
    const auto old = addTrack("Rock", "b.mp3", "B", "Old");
    open();
    setHistory("A - Heavy", "PlayCount", "250");
    setHistory("A - Heavy", "TunedOut", "99");
    setHistory("A - Heavy", "Pending", "no");
    setHistory("B - Old", "LastPlayed", at(-10 * kOneHour));
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        console->library->random.setTestSeed(seed);
        EXPECT_EQ(pick("Rock", clock.now()), heavy);  // the instant choice, from any order
    }
    (void)old;
}

TEST_F(HistoryTest, AfterAWithdrawnEmptyPlanLastPlayedIsGoneAndTheTrackIsNewAgain) {
    const auto fresh = addTrack("Rock", "a.mp3", "A", "Fresh");
    const auto old = addTrack("Rock", "b.mp3", "B", "Old");
    open();
    setHistory("B - Old", "LastPlayed", at(-10 * kOneHour));
    autodj::planPick(*console, "A - Fresh", "a", clock.now() - kOneHour);
    autodj::withdrawPlan(*console, "A - Fresh", "a");
    EXPECT_EQ(history("A - Fresh", "LastPlayed"), "<none>");
    EXPECT_EQ(history("a", "LastPlayed"), "<none>");
    EXPECT_EQ(history("A - Fresh", "Pending"), "no");
    for (std::uint64_t seed = 1; seed <= 6; ++seed) {
        console->library->random.setTestSeed(seed);
        EXPECT_EQ(pick("Rock", clock.now()), fresh);
    }
    (void)old;
}

TEST_F(HistoryTest, DeletingTheFileMakesEveryTrackAndArtistNewAtTheNextPick) {
    const auto a = addTrack("Rock", "a.mp3", "A", "One");
    const auto b = addTrack("Rock", "b.mp3", "B", "Two");
    open();
    autodj::planPick(*console, "A - One", "a", clock.now() - 2 * kOneHour);
    autodj::planPick(*console, "B - Two", "b", clock.now() + kOneHour);
    settings.flush();
    // Planned later, "Two" is never held; "One" is the answer from any order.
    EXPECT_EQ(pick("Rock", clock.now()), a);
    ASSERT_TRUE(std::filesystem::remove(console->playedIniPath()));
    // Both new now: the first candidate of the walk wins, and each comes up over several orders.
    std::set<std::string> winners;
    for (std::uint64_t seed = 1; seed <= 12; ++seed) {
        console->library->random.setTestSeed(seed);
        winners.insert(pick("Rock", clock.now()));
    }
    EXPECT_EQ(winners, (std::set<std::string>{a, b}));
}

// Section names are trimmed as the profile files trim them: the artist key "ann " is stored as
// [ann], and the key with or without its blank finds it.
TEST_F(HistoryTest, SectionNameWithABlankAtItsEndIsStoredTrimmedAndFoundEitherWay) {
    open();
    std::string artist = "Ann feat. Bob";
    const std::string key = autodj::makeArtist(artist);
    ASSERT_EQ(key, "ann ");
    autodj::planPick(*console, "Ann feat. Bob - Song", key, clock.now());
    settings.flush();
    const std::string bytes = test::readFile(console->playedIniPath());
    EXPECT_NE(bytes.find("[ann]"), std::string::npos) << bytes;
    EXPECT_EQ(bytes.find("[ann ]"), std::string::npos) << bytes;
    EXPECT_EQ(history("ann ", "LastPlayed"), now());
    EXPECT_EQ(history("ann", "Pending"), "empty");
}

TEST_F(HistoryTest, ValueWrittenWithALineBreakComesBackWithBlanks) {
    open();
    autodj::writeHistory(*console, "Band - Tune", "LastTIMETunedOut", "one\r\ntwo\nthree");
    EXPECT_EQ(history("Band - Tune", "LastTIMETunedOut"), "one  two three");
}

TEST_F(HistoryTest, KeysMatchWithoutRegardToCase) {
    open();
    setHistory("Band - Tune", "Lastplayed", at(-kOneHour));
    EXPECT_EQ(history("Band - Tune", "LastPlayed"), at(-kOneHour));
}

TEST_F(HistoryTest, ReturnLastPlayedDataShowsPendingAndThePercentage) {
    const auto path = addTrack("Rock", "a.mp3", "A", "Song");
    open();
    setHistory("A - Song", "PlayCount", "8");
    setHistory("A - Song", "TunedOut", "1");
    std::string last, percent;
    autodj::returnLastPlayedData(*console, path, last, percent);
    EXPECT_EQ(last, now());     // no Pending kept: the present time
    EXPECT_EQ(percent, "12%");  // 12.5 to even
    setHistory("A - Song", "Pending", "empty");
    autodj::returnLastPlayedData(*console, path, last, percent);
    EXPECT_EQ(last, "empty");
    setHistory("A - Song", "Pending", at(-kOneHour));
    setHistory("A - Song", "TunedOut", "3");
    autodj::returnLastPlayedData(*console, path, last, percent);
    EXPECT_EQ(last, at(-kOneHour));
    EXPECT_EQ(percent, "38%");  // 37.5 to even
}

TEST_F(HistoryTest, ReturnLastPlayedDataWithNoPlaysLogsAndLeavesTheTextsEmpty) {
    const auto path = addTrack("Rock", "a.mp3", "A", "Song");
    open();
    setHistory("A - Song", "TunedOut", "2");
    std::string last, percent;
    autodj::returnLastPlayedData(*console, path, last, percent);
    EXPECT_EQ(last, "");
    EXPECT_EQ(percent, "");
    setHistory("A - Song", "TunedOut", "0");
    autodj::returnLastPlayedData(*console, path, last, percent);
    EXPECT_EQ(logTexts(), (std::vector<std::string>{"returnLastPlayedData: Division by zero",
                                                    "returnLastPlayedData: Overflow"}));
}

TEST_F(HistoryTest, CounterThatIsNoNumberFailsTheCaller) {
    const auto path = addTrack("Rock", "a.mp3", "A", "Song");
    open();
    setHistory("A - Song", "PlayCount", "many");
    std::string last, percent;
    autodj::returnLastPlayedData(*console, path, last, percent);
    EXPECT_EQ(logTexts(), (std::vector<std::string>{"returnLastPlayedData: Type mismatch"}));
}

TEST_F(HistoryTest, StampStartedTrackStampsEveryRowOfThatPath) {
    open();
    console->trackList.assign(3, {});
    console->trackList[0].trackPath = "/x/a.mp3";
    console->trackList[0].trackName = "A - One";
    console->trackList[1].trackPath = "/x/b.mp3";
    console->trackList[1].trackName = "B - Two";
    console->trackList[2].trackPath = "/x/a.mp3";
    console->trackList[2].trackName = "A - One";
    autodj::stampStartedTrack(*console, "/x/a.mp3");
    EXPECT_EQ(console->trackList[0].timeOn, clock.now());
    EXPECT_EQ(console->trackList[1].timeOn, 0);
    EXPECT_EQ(console->trackList[2].timeOn, clock.now());
    EXPECT_EQ(history("A - One", "LastPlayed"), now());
    EXPECT_EQ(history("B - Two", "LastPlayed"), "<none>");
}

TEST_F(HistoryTest, TuneOutChargeCountsAndStamps) {
    open();
    autodj::chargeTuneOut(*console, "A - One");
    autodj::chargeTuneOut(*console, "A - One");
    EXPECT_EQ(history("A - One", "TunedOut"), "2");
    EXPECT_EQ(history("A - One", "LastTIMETunedOut"), now());
}

}  // namespace
}  // namespace tw::test
