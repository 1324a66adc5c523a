// The picker with its tag cache against the picker reading every tag from the disk: the same
// generated station through the same simulated day, with the same changes made behind the
// console's back (a tag edited, a file replaced, one emptied, one deleted, one added), must put
// the same tracks on the air at the same times: Played.log compared line for line.
//
// The engine is the test's stand-in playing in virtual time (every track of the library opens
// with a length of its own, the same in both runs), so the day costs seconds: what is judged is
// the picks, not the sound. TW_SCENARIO_HOURS sets the span (24 by default; 2 when built with a
// sanitizer).

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "autodj/library_state.h"
#include "autodj/tag_cache.h"
#include "core/dates.h"
#include "sim/simulator.h"
#include "station_run.h"
#include "tags/id3_tag.h"
#include "tests/testlib/fake_engine.h"
#include "tests/testlib/temp_dir.h"

namespace tw {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> lines(const fs::path& file) {
    std::vector<std::string> out;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        out.push_back(line);
    }
    return out;
}

// The n-th track (in name order) of the n-th category (in name order).
fs::path nthTrack(const fs::path& station, std::size_t n) {
    std::vector<fs::path> categories;
    for (const auto& e : fs::directory_iterator(station / "Music")) {
        if (e.is_directory()) {
            categories.push_back(e.path());
        }
    }
    std::sort(categories.begin(), categories.end());
    std::vector<fs::path> tracks;
    for (const auto& e : fs::directory_iterator(categories.at(n % categories.size()))) {
        if (e.path().extension() == ".mp3") {
            tracks.push_back(e.path());
        }
    }
    std::sort(tracks.begin(), tracks.end());
    return tracks.at(n % tracks.size());
}

// The seconds the stand-in plays a track for: 150 to 290, by its name, the same in both runs.
// Every start writes the history and Played.log to the disk, which is most of what the day
// costs: tracks of a usual length keep it to about 400 starts.
double secondsOf(const fs::path& track) {
    std::uint32_t h = 2166136261u;
    for (const char ch : track.filename().string()) {
        h = (h ^ static_cast<unsigned char>(ch)) * 16777619u;
    }
    return 150.0 + h % 141;
}

// Every track of the station opens on the stand-in, as the console names it.
void openEveryTrack(const fs::path& station, test::FakeEngine& engine) {
    for (const auto& e : fs::recursive_directory_iterator(station / "Music")) {
        if (e.path().extension() == ".mp3") {
            engine.fileSeconds[e.path().string()] = secondsOf(e.path());
        }
    }
}

// What changes behind the console's back, hour by hour, the same on both stations.
void changeBehindTheConsole(const fs::path& station, int hour, test::FakeEngine& engine) {
    const fs::path track = nthTrack(station, static_cast<std::size_t>(hour));
    switch (hour % 5) {
        case 0: {  // a tag edited in place by another program
            tags::clsID3 id3;
            id3.filename(track.string());
            id3.title(id3.title() + " (edit " + std::to_string(hour) + ")");
            id3.UpdateID3Tags();
            break;
        }
        case 1: {  // replaced by a copy of another track under its name
            const fs::path other = nthTrack(station, static_cast<std::size_t>(hour + 7));
            const fs::path part = track.string() + ".part";
            fs::copy_file(other, part);
            fs::rename(part, track);
            break;
        }
        case 2:  // emptied
            fs::resize_file(track, 0);
            break;
        case 3:  // deleted
            fs::remove(track);
            break;
        default: {  // a new file beside it, a copy of a track of another category
            const fs::path added = track.parent_path() / ("added-" + std::to_string(hour) + ".mp3");
            fs::copy_file(nthTrack(station, static_cast<std::size_t>(hour + 1)), added);
            engine.fileSeconds[added.string()] = secondsOf(added);
        }
    }
}

// Runs the day on `station`; without the cache when `withCache` is false.
void runDay(const fs::path& station, bool withCache, double span) {
    test::ScopedHome home;  // the simulator's desktop trash is in it
    auto engine = std::make_unique<test::FakeEngine>();
    engine->recordCalls = false;
    test::FakeEngine* playing = engine.get();
    openEveryTrack(station, *playing);
    core::DateValue start = 0;
    ASSERT_TRUE(core::parseDate("2026-11-02 06:00:00", start));
    sim::Simulator sim(station.string(), start, std::move(engine),
                       [playing](std::int64_t micros) { playing->play(micros); });
    if (!withCache) {
        sim.console().library->tagCache.reset();
    }
    std::ostringstream out;
    std::string error;
    ASSERT_TRUE(sim.execute("load", out, error)) << error;
    ASSERT_TRUE(sim.execute("select flRotations 0", out, error)) << error;
    for (int hour = 0; hour * test::kScenarioHour < span; ++hour) {
        ASSERT_TRUE(sim.execute("advance 3600", out, error)) << error;
        changeBehindTheConsole(station, hour, *playing);
    }
    ASSERT_TRUE(sim.execute("unload", out, error)) << error;
}

TEST(TagCacheScenario, ADayPicksTheSameTracksAtTheSameTimesWithAndWithoutTheCache) {
    test::TempDir dir;
    const fs::path withCache = dir / "with";
    const fs::path without = dir / "without";
    ASSERT_EQ(test::makeScenarioStation(withCache), "");
    ASSERT_EQ(test::makeScenarioStation(without), "");
    const double span = test::scenarioHours() * test::kScenarioHour;

    runDay(without, false, span);
    runDay(withCache, true, span);

    EXPECT_FALSE(fs::exists(without / "tags.cache"));
    EXPECT_TRUE(fs::exists(withCache / "tags.cache"));
    const auto expected = lines(without / "Played.log");
    const auto got = lines(withCache / "Played.log");
    // Back to back, tracks of 150 to 290 s: a day needs about 400 starts, never fewer than the
    // longest tracks allow nor more than the shortest.
    ASSERT_GE(expected.size(), static_cast<std::size_t>(span / 290.0));
    ASSERT_LE(expected.size(), static_cast<std::size_t>(span / 150.0) + 2);
    ASSERT_EQ(got.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        ASSERT_EQ(got[i], expected[i]) << "line " << i + 1;
    }
    // The picker's failure lines (the emptied files) are the same too.
    const auto pickerLines = [](const fs::path& station) {
        std::vector<std::string> out;
        for (const auto& line : lines(station / "app.log")) {
            const auto at = line.find("Error in Pick Song for Catagory:");
            if (at != std::string::npos) {
                std::string text = line;
                // The station folders differ: compare what follows each one's path.
                const std::string folder = station.string();
                for (auto p = text.find(folder); p != std::string::npos; p = text.find(folder)) {
                    text.erase(p, folder.size());
                }
                out.push_back(text);
            }
        }
        return out;
    };
    const auto failuresWithout = pickerLines(without);
    const bool metEmptied = std::any_of(
        failuresWithout.begin(), failuresWithout.end(),
        [](const std::string& line) { return line.find("File is empty") != line.npos; });
    // A short span (under a sanitizer) ends before a pick meets the file emptied at its third
    // hour; a whole day always does.
    if (span >= 24 * test::kScenarioHour) {
        EXPECT_TRUE(metEmptied) << "no pick met an emptied file: the day tests less";
    }
    EXPECT_EQ(pickerLines(withCache), failuresWithout);
}

}  // namespace
}  // namespace tw
