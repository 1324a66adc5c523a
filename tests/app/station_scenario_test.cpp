// Whole days of a generated station in virtual time, rendered through the engine offline: 6
// categories of 40 tracks (20 to 90 s) by 15 artists, half an hour between an artist's tracks.
//
// TW_SCENARIO_HOURS sets the span (24 by default; 2 when built with a sanitizer, whose memory
// figures say nothing about the console's own and whose speed would make a day take hours).

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "autodj/picker.h"
#include "core/dates.h"
#include "core/text.h"
#include "station_run.h"
#include "tags/id3_tag.h"
#include "tags/mp3_tag_data.h"
#include "tests/testlib/temp_dir.h"

namespace tw {
namespace {

namespace fs = std::filesystem;

core::DateValue startDate() {
    core::DateValue d = 0;
    EXPECT_TRUE(core::parseDate("2026-11-02 06:00:00", d));
    return d;
}

std::vector<std::string> lines(const fs::path& file) {
    std::vector<std::string> out;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
        if (!core::trim(line).empty()) {
            out.push_back(line);
        }
    }
    return out;
}

// played.ini as section -> key (lower case) -> value.
std::map<std::string, std::map<std::string, std::string>> readPlayed(const fs::path& file) {
    std::map<std::string, std::map<std::string, std::string>> out;
    std::string section;
    for (std::string line : lines(file)) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (line.size() >= 2 && line.front() == '[' && line.back() == ']') {
            section = line.substr(1, line.size() - 2);
            out[section];
            continue;
        }
        const auto eq = line.find('=');
        if (eq != std::string::npos) {
            out[section][core::toLower(core::trim(line.substr(0, eq)))] =
                core::trim(line.substr(eq + 1));
        }
    }
    return out;
}

long playCountSum(const fs::path& playedIni) {
    long sum = 0;
    for (const auto& [section, keys] : readPlayed(playedIni)) {
        if (auto it = keys.find("playcount"); it != keys.end()) {
            sum += std::atol(it->second.c_str());
        }
    }
    return sum;
}

std::string joined(const std::vector<test::SilenceStretch>& stretches) {
    std::ostringstream out;
    for (const auto& s : stretches) {
        out << "  " << s.lengthSeconds << " s from " << s.startSeconds << " s\n";
    }
    return out.str();
}

class StationScenario : public ::testing::Test {
  protected:
    void SetUp() override {
        if (!TW_SCENARIO_ON_AIR) {
            GTEST_SKIP() << "the station scenarios are switched off (-DTW_SCENARIO_ON_AIR=OFF)";
        }
        station_ = dir_ / "station";
        ASSERT_EQ(test::makeScenarioStation(station_), "");
        run_ = std::make_unique<test::StationRun>(station_.string(), startDate());
        ASSERT_EQ(run_->exec("load"), "");
        // Demo.rot is the only rotation: row 0 of the rotation files.
        ASSERT_EQ(run_->exec("select flRotations 0"), "");
        ASSERT_EQ(run_->console().activeListName, "Demo.rot");
    }

    std::vector<std::string> appLog() { return lines(station_ / "app.log"); }
    int playedLines() { return static_cast<int>(lines(station_ / "Played.log").size()); }
    std::string categoryOfRow(int row) {
        return run_->console()
            .form()
            .lstRotation.rows.at(static_cast<std::size_t>(row))
            .cells.at(1);
    }

    test::TempDir dir_;
    fs::path station_;
    std::unique_ptr<test::StationRun> run_;
};

TEST_F(StationScenario, ADayOnTheAirStartsLogsAndPlansEveryTrackWithoutSilence) {
    const double span = test::scenarioHours() * test::kScenarioHour;
    run_->advance(test::kScenarioHour);
    const long hourOne = test::residentKb();
    run_->advance(span - test::kScenarioHour);
    const long last = test::residentKb();

    // Every start is logged once and counted once. A track is at most 90 s long, so a span needs
    // at least span / 90 starts.
    const int starts = run_->starts();
    EXPECT_GE(starts, static_cast<int>(span / 90.0));
    EXPECT_EQ(playedLines(), starts);
    const long playCounts = playCountSum(station_ / "played.ini");
    EXPECT_EQ(playCounts, starts);

    // The mix is never silent for more than half a second once the first track is on the air.
    ASSERT_TRUE(run_->heardSound());
    EXPECT_LT(run_->firstSoundSeconds(), 30.0);
    const auto silences = run_->silences(0.5);
    EXPECT_TRUE(silences.empty()) << "digital silence in the mix:\n" << joined(silences);

    if (!TW_TEST_SANITIZED) {
        EXPECT_LE(last - hourOne, 5 * 1024)
            << "hour 1: " << hourOne << " kB, end: " << last << " kB";
    }
    std::cout << "[ figures  ] " << test::scenarioHours() << " h, " << starts
              << " starts, VmRSS hour 1 " << hourOne << " kB, end " << last
              << " kB, silences > 0.5 s: " << silences.size() << "\n";

    // The list selected again. A track's plan is open while its section's Pending is a date or
    // "empty". Selecting a list withdraws every open plan of the running list before the new
    // list plans its rows; the build then loads row 0, and that refills the row behind it (the
    // last) without withdrawing the pick the build had just made there: that one pick is left
    // open by the rules, its LastPlayed one crossfade before the refilled row's time. Plans left
    // open that way by an earlier build may still be open too, as long as they are in neither
    // list. Nothing else may stay open outside the new list.
    auto& c = run_->console();
    const auto openTracks = [&](const std::set<std::string>& tracks) {
        std::map<std::string, core::DateValue> open;
        for (const auto& [section, keys] : readPlayed(station_ / "played.ini")) {
            const auto pending = keys.find("pending");
            const auto last = keys.find("lastplayed");
            if (tracks.count(section) && pending != keys.end() && pending->second != "no") {
                open[section] = last == keys.end() ? 0 : core::cDate(last->second);
            }
        }
        return open;
    };
    const auto listedTracks = [&] {
        std::set<std::string> listed;
        for (std::size_t i = 0; i + 1 < c.trackList.size(); ++i) {
            listed.insert(c.trackList[i].trackName);
        }
        return listed;
    };
    std::set<std::string> tracks;
    for (const auto& e : fs::recursive_directory_iterator(station_ / "Music")) {
        if (e.path().extension() == ".mp3") {
            tags::clsID3 id3;
            id3.filename(e.path().string());
            tags::clsMp3TagData data;
            id3.returnID3Tag(data);
            tracks.insert(data.mp3Title);
        }
    }
    ASSERT_EQ(tracks.size(), 240u);
    const auto oldList = listedTracks();
    const auto openBefore = openTracks(tracks);

    ASSERT_EQ(run_->exec("select flRotations 0"), "");
    const auto newList = listedTracks();
    ASSERT_EQ(newList.empty(), false);
    const std::size_t lastRow = static_cast<std::size_t>(c.form().lstRotation.rowCount() - 1);
    const core::DateValue refilledAt = c.trackList.at(lastRow).timeOn;
    int buildPicks = 0;
    for (const auto& [track, lastPlayed] : openTracks(tracks)) {
        if (newList.count(track)) {
            continue;
        }
        const double before = (refilledAt - lastPlayed) * 86400.0;
        if (before >= 0 && before <= c.crossfadeTime + 1.0) {
            ++buildPicks;
            continue;
        }
        EXPECT_TRUE(openBefore.count(track) && !oldList.count(track))
            << track << " keeps an open plan outside the new list";
    }
    EXPECT_LE(buildPicks, 1);
}

TEST_F(StationScenario, ADeletedCategoryLeavesTheRotationAndTheStationOnTheAir) {
    // On the air for a while first: an hour, or ten minutes under a sanitizer (the day scenario
    // takes the hours on the air through it).
    run_->advance(TW_TEST_SANITIZED ? 600 : test::kScenarioHour);
    // The operator deletes the category of the rotation's third row on the library screen. (A
    // folder taken away behind the console's back goes unnoticed: the category lists are only
    // read again by the library's own actions.)
    const std::string category = categoryOfRow(2);
    const auto& items = run_->console().form().lstPlaylists.items;
    const auto at = std::find_if(items.begin(), items.end(),
                                 [&](const auto& item) { return item.text == category; });
    ASSERT_NE(at, items.end());
    ASSERT_EQ(run_->exec("select lstPlaylists " + std::to_string(at - items.begin())), "");
    ASSERT_EQ(run_->exec("answer ok"), "");
    ASSERT_EQ(run_->exec("key lstPlaylists Delete"), "");
    ASSERT_FALSE(fs::exists(station_ / "Music" / category));
    EXPECT_TRUE(fs::is_directory(run_->home().trash() / "files" / category))
        << "in the trash of the run's own home, never in the user's";
    // The rotation file was saved without the category's rows.
    const std::string rot = test::readFile(station_ / "Rotations" / "Demo.rot");
    ASSERT_EQ(rot.size() % 300, 0u);
    for (std::size_t r = 0; r < rot.size(); r += 300) {
        EXPECT_NE(core::trim(rot.substr(r, 100)), category);
    }
    auto& c = run_->console();
    for (const auto& row : c.form().lstRotation.rows) {
        EXPECT_NE(core::trim(row.cells.at(1)), category);
    }
    // Two laps of the rotation go by in automation, with new starts.
    const int before = playedLines();
    for (int i = 0; i < 20; ++i) {
        run_->advance(60);
        ASSERT_EQ(c.form().cmdAutoManual.caption, "Automated") << "after " << i + 1 << " min";
    }
    EXPECT_GT(playedLines(), before + 5);
    // The rotation loads again as it was saved, and the station stays on the air.
    ASSERT_EQ(run_->exec("select flRotations 0"), "");
    EXPECT_EQ(c.form().lstRotation.rowCount(), static_cast<int>(rot.size() / 300));
    const int reloaded = playedLines();
    run_->advance(10 * 60);
    EXPECT_EQ(c.form().cmdAutoManual.caption, "Automated");
    EXPECT_GT(playedLines(), reloaded + 2);
    for (const auto& line : appLog()) {
        EXPECT_EQ(line.find("Error in Pick Song"), std::string::npos) << line;
    }
}

// Deletes the file of the track planned right after the one on the air; its path.
std::string deleteNextTrack(core::Console& c) {
    const std::size_t rows = c.trackList.size() - 1;
    const auto next = static_cast<std::size_t>(c.rotationPosition + 1) % rows;
    const std::string gone = c.trackList.at(next).trackPath;
    EXPECT_TRUE(!gone.empty() && fs::remove(gone)) << "cannot delete \"" << gone << "\"";
    return gone;
}

TEST_F(StationScenario, ADeletedTrackFileLeavesTheStationOnTheAir) {
    run_->advance(test::kScenarioHour);
    deleteNextTrack(run_->console());
    const int startsBefore = run_->starts();
    const int linesBefore = playedLines();

    run_->advance(2 * test::kScenarioHour);

    EXPECT_GE(run_->starts() - startsBefore, static_cast<int>(2 * test::kScenarioHour / 90.0));
    EXPECT_EQ(playedLines() - linesBefore, run_->starts() - startsBefore);
    EXPECT_EQ(playCountSum(station_ / "played.ini"), playedLines());
    const auto silences = run_->silences(0.5);
    EXPECT_TRUE(silences.empty()) << "digital silence in the mix:\n" << joined(silences);
}

// A file that vanishes from a category is no candidate at the next pick, since each pick reads
// the folder afresh; a file that is still listed but cannot serve (emptied here) makes the whole
// pick fail with the picker's line, and the station goes on.
TEST_F(StationScenario, ATrackFileEmptiedMidRunIsLoggedByThePickerAndTheStationGoesOn) {
    run_->advance(test::kScenarioHour);
    core::Console& c = run_->console();
    const std::size_t rows = c.trackList.size() - 1;
    const auto next = static_cast<std::size_t>(c.rotationPosition + 1) % rows;
    const std::string emptied = c.trackList.at(next).trackPath;
    ASSERT_FALSE(emptied.empty());
    fs::resize_file(emptied, 0);
    const int startsBefore = run_->starts();

    run_->advance(2 * test::kScenarioHour);

    bool logged = false;
    for (const auto& line : appLog()) {
        logged = logged || (line.find("Error in Pick Song for Catagory:") != std::string::npos &&
                            line.find(" state:") != std::string::npos);
    }
    EXPECT_TRUE(logged) << "app.log has no failure line of the picker after " << emptied
                        << " was emptied";
    EXPECT_GE(run_->starts() - startsBefore, static_cast<int>(2 * test::kScenarioHour / 90.0));
}

}  // namespace
}  // namespace tw
