// The picker with its tag cache against the picker reading every tag from the disk: the same
// generated station through the same simulated day, with the same changes made behind the
// console's back (a tag edited, a file replaced, one emptied, one deleted, one added), must put
// the same tracks on the air at the same times: Played.log compared line for line.
//
// TW_SCENARIO_HOURS sets the span (24 by default; 2 when built with a sanitizer).

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "autodj/library_state.h"
#include "autodj/tag_cache.h"
#include "core/dates.h"
#include "station_run.h"
#include "tags/id3_tag.h"
#include "tests/testlib/temp_dir.h"

namespace tw {
namespace {

namespace fs = std::filesystem;

constexpr double kHour = 3600.0;

double spanHours() {
    if (const char* text = std::getenv("TW_SCENARIO_HOURS")) {
        const double hours = std::atof(text);
        if (hours >= 1.0) {
            return hours;
        }
    }
    return TW_SCENARIO_SANITIZED ? 2.0 : 24.0;
}

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

// What changes behind the console's back, hour by hour, the same on both stations.
void changeBehindTheConsole(const fs::path& station, int hour) {
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
        default:  // a new file beside it, a copy of a track of another category
            fs::copy_file(nthTrack(station, static_cast<std::size_t>(hour + 1)),
                          track.parent_path() / ("added-" + std::to_string(hour) + ".mp3"));
    }
}

// Runs the day on `station`; without the cache when `withCache` is false.
void runDay(const fs::path& station, bool withCache, double span) {
    test::StationRun run(station.string(), [] {
        core::DateValue d = 0;
        EXPECT_TRUE(core::parseDate("2026-11-02 06:00:00", d));
        return d;
    }());
    if (!withCache) {
        run.console().library->tagCache.reset();
    }
    ASSERT_EQ(run.exec("load"), "");
    ASSERT_EQ(run.exec("select flRotations 0"), "");
    for (int hour = 0; hour * kHour < span; ++hour) {
        run.advance(kHour);
        changeBehindTheConsole(station, hour);
    }
    ASSERT_EQ(run.exec("unload"), "");
}

TEST(TagCacheScenario, ADayPicksTheSameTracksAtTheSameTimesWithAndWithoutTheCache) {
    test::TempDir dir;
    const fs::path withCache = dir / "with";
    const fs::path without = dir / "without";
    ASSERT_EQ(test::makeScenarioStation(withCache), "");
    ASSERT_EQ(test::makeScenarioStation(without), "");
    const double span = spanHours() * kHour;

    runDay(without, false, span);
    runDay(withCache, true, span);

    EXPECT_FALSE(fs::exists(without / "tags.cache"));
    EXPECT_TRUE(fs::exists(withCache / "tags.cache"));
    const auto expected = lines(without / "Played.log");
    const auto got = lines(withCache / "Played.log");
    ASSERT_GE(expected.size(), static_cast<std::size_t>(span / 90.0));
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
    EXPECT_FALSE(failuresWithout.empty()) << "no pick met an emptied file: the day tests less";
    EXPECT_EQ(pickerLines(withCache), failuresWithout);
}

}  // namespace
}  // namespace tw
