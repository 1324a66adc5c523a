// The picker over many seeded runs of a rotation build: 30 files by 10 artists, separation one
// hour, slots four minutes apart, each pick recorded in the history as the rotation build does.
// Each answer is checked against the picker's own rules from the ages the test keeps itself and
// the walk's order; the rate at which an artist comes back inside the hour is reported.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <map>
#include <numeric>

#include "autodj/history.h"
#include "autodj/picker.h"
#include "liveassist/settings_panel.h"
#include "station/startup.h"
#include "tests/autodj/station_fixture.h"

namespace tw::test {
namespace {

constexpr int kFiles = 30;
constexpr int kArtists = 10;
constexpr int kRuns = 40;
constexpr int kPicks = 60;
constexpr double kOneMinute = 1.0 / 1440;

class PickerPropertyTest : public StationFixture {
  protected:
    std::vector<std::int32_t> nextOrder() {
        autodj::PickRandom r;
        r.setTestSeed(console->library->random.testSeed());
        const core::DateValue now = console->now();
        r.reseed(clock.timer() / 4 - (now - std::floor(now)));
        std::vector<std::int32_t> order(kFiles);
        std::iota(order.begin(), order.end(), 0);
        autodj::ShuffleArray(order, r);
        return order;
    }
};

struct Track {
    std::string path, name, artistKey;
    int artist = 0;
};

TEST_F(PickerPropertyTest, SeededRotationBuildsKeepThePickersRules) {
    std::vector<Track> tracks;
    for (int i = 0; i < kFiles; ++i) {
        char file[16];
        std::snprintf(file, sizeof file, "f%02d.mp3", i);
        Track t;
        t.artist = i % kArtists;
        const std::string artist = "Artist " + std::to_string(t.artist);
        const std::string title = "Song " + std::to_string(i);
        t.path = addTrack("Rotation", file, artist, title);
        t.name = artist + " - " + title;
        std::string a = artist;
        t.artistKey = autodj::makeArtist(a);
        tracks.push_back(t);
    }
    open();
    core::writeIniValue(*console, console->appSettingsPath(), "ArtistSeperation", "Hours", "1");
    ASSERT_EQ(liveassist::readArtistSeperationTime(*console), 1);
    const double separationMinutes = 60;

    int picks = 0, instant = 0, held = 0, fallback = 0, displaced = 0;
    int repeatsInsideHour = 0;
    for (int run = 1; run <= kRuns; ++run) {
        std::filesystem::remove(console->playedIniPath());
        // A rotation build runs as one console event: its writes reach the disk when it ends.
        core::EventScope build(settings);
        console->library->random.setTestSeed(static_cast<std::uint64_t>(run));
        std::map<int, core::DateValue> trackLast;            // file -> planned time
        std::map<int, core::DateValue> artistLast;           // artist -> planned time
        std::vector<std::pair<core::DateValue, int>> slots;  // target, artist
        const core::DateValue start = clock.now();
        for (int p = 0; p < kPicks; ++p) {
            clock.advanceSeconds(1);  // the build takes its time between picks
            const core::DateValue target = core::wholeSeconds(start + (p + 1) * 4 * kOneMinute);
            const auto order = nextOrder();
            auto trackAge = [&](int i) -> std::int64_t {
                auto it = trackLast.find(i);
                return it == trackLast.end() ? 0 : core::diffSeconds(it->second, target);
            };
            auto artistAge = [&](int i) -> std::int64_t {
                auto it = artistLast.find(tracks[static_cast<std::size_t>(i)].artist);
                return it == artistLast.end() ? 0 : core::diffMinutes(it->second, target);
            };
            auto clear = [&](int i) { return artistAge(i) >= separationMinutes; };
            auto instantOk = [&](int i) {
                return (clear(i) || artistAge(i) == 0) && trackAge(i) == 0;
            };

            core::DateValue previous = 0;
            const std::string got =
                autodj::pickSongForCatagory(*console, "Rotation", target, previous);
            ASSERT_FALSE(got.empty()) << "run " << run << " pick " << p;
            int chosen = -1;
            for (int i = 0; i < kFiles; ++i) {
                if (tracks[static_cast<std::size_t>(i)].path == got) {
                    chosen = i;
                }
            }
            ASSERT_GE(chosen, 0);
            ++picks;

            int firstInstant = -1, firstHeld = -1;
            for (int i : order) {
                if (firstInstant < 0 && instantOk(i)) {
                    firstInstant = i;
                }
                if (firstHeld < 0 && trackAge(i) > 0) {
                    firstHeld = i;
                }
            }
            if (firstInstant >= 0) {
                // The walk ends at the first instant choice, and that never breaks separation.
                ++instant;
                EXPECT_EQ(chosen, firstInstant) << "run " << run << " pick " << p;
                EXPECT_TRUE(artistAge(chosen) == 0 || artistAge(chosen) >= separationMinutes);
            } else if (firstHeld >= 0) {
                ++held;
                ASSERT_GT(trackAge(chosen), 0) << "run " << run << " pick " << p;
                if (chosen != firstHeld) {
                    // Replaced only by an older candidate whose artist is clear.
                    ++displaced;
                    EXPECT_TRUE(clear(chosen)) << "run " << run << " pick " << p;
                    EXPECT_GT(trackAge(chosen), trackAge(firstHeld));
                }
                // Nothing met after the answer could have displaced it.
                bool after = false;
                for (int i : order) {
                    if (after) {
                        EXPECT_FALSE(clear(i) && trackAge(i) > trackAge(chosen))
                            << "run " << run << " pick " << p << " candidate " << i;
                    }
                    after = after || i == chosen;
                }
            } else {
                ++fallback;
                EXPECT_EQ(chosen, 0) << "nothing held: the first file in name order";
            }
            // previousLastPlayed: the track's planned date before this pick, or the slot.
            const auto last = trackLast.find(chosen);
            EXPECT_EQ(core::generalDate(previous),
                      core::generalDate(last == trackLast.end() ? target : last->second));

            for (const auto& [when, artist] : slots) {
                if (artist == tracks[static_cast<std::size_t>(chosen)].artist &&
                    core::diffMinutes(when, target) < separationMinutes) {
                    ++repeatsInsideHour;
                    break;
                }
            }
            // Recorded as the rotation build records a plan.
            const Track& t = tracks[static_cast<std::size_t>(chosen)];
            autodj::planPick(*console, t.name, t.artistKey, target);
            trackLast[chosen] = target;
            artistLast[t.artist] = target;
            slots.emplace_back(target, t.artist);
        }
    }
    const double rate = 100.0 * repeatsInsideHour / picks;
    std::printf(
        "picker property: %d runs, %d picks; instant %d, held %d (displaced %d), fallback %d; "
        "artist repeated inside the hour in %d picks (%.1f%%)\n",
        kRuns, picks, instant, held, displaced, fallback, repeatsInsideHour, rate);
    RecordProperty("picks", picks);
    RecordProperty("artistRepeatsInsideHour", repeatsInsideHour);
    // Every branch of the rules came up, so the checks above were exercised.
    EXPECT_GT(instant, 0);
    EXPECT_GT(held, 0);
    EXPECT_GT(displaced, 0);
    EXPECT_TRUE(appLogLines().empty());
}

}  // namespace
}  // namespace tw::test
