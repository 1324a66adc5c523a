// A week of the schedule in virtual time, in a time zone with summer time: three rotations and a
// playlist switch at the painted hours, and the changes of the clock neither skip nor double a
// switch. The engine is the test's stand-in playing in virtual time, so a week costs seconds.

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <map>
#include <memory>
#include <sstream>

#include "autodj/rotation_file.h"
#include "core/dates.h"
#include "core/text.h"
#include "sim/simulator.h"
#include "station_run.h"
#include "tests/tags/tag_test_util.h"
#include "tests/testlib/fake_engine.h"
#include "tests/testlib/temp_dir.h"
#include "tests/testlib/time_zone.h"

namespace tw {
namespace {

namespace fs = std::filesystem;

constexpr double kPollSeconds = 100 * 0.06;  // the position monitor's poll of the schedule
const char* const kLists[] = {"Alpha.rot", "Beta.rot", "Gamma.rot", "Talk.pls"};

// The painted week: the same hours every day, and Wednesday with a playlist at noon.
std::string cellOf(int day, int hour) {
    static const std::map<int, std::string> daily = {
        {0, "Alpha.rot"}, {2, "Beta.rot"},   {3, "Gamma.rot"}, {6, "Talk.pls"}, {9, "Alpha.rot"},
        {13, "Beta.rot"}, {17, "Gamma.rot"}, {20, "Talk.pls"}, {22, "Beta.rot"}};
    if (day == 4 && hour == 12) {
        return "Talk.pls";
    }
    auto it = daily.find(hour);
    return it == daily.end() ? std::string() : it->second;
}

struct Switch {
    std::string list;
    int day = 0, hour = 0;
    double secondsIntoHour = 0;
};

class ScheduleScenario : public ::testing::Test {
  protected:
    // First of the members: the zone is set before anything reads local time and put back after
    // the last of them is gone.
    test::ScopedTimeZone zone_{"Europe/Berlin"};

    void SetUp() override {
        station_ = dir_ / "station";
        makeStation();
    }

    void makeStation() {
        int n = 0;
        for (const std::string category : {"Alpha", "Beta", "Gamma", "Talk"}) {
            fs::create_directories(station_ / "Music" / category);
            for (int i = 1; i <= 12; ++i, ++n) {
                const std::string title = category + " Song " + std::to_string(i);
                const std::string artist = category + " Artist " + std::to_string(i);
                const fs::path file = station_ / "Music" / category / (title + ".mp3");
                test::writeFile(file, test::taggedTrack(artist, title));
                lengths_[file.string()] = 150 + (n * 37) % 120;
                listOfTitle_[artist + " - " + title] =
                    category == "Talk" ? "Talk.pls" : category + ".rot";
                if (category == "Talk") {
                    talk_.push_back(file.string());
                }
            }
        }
        fs::create_directories(station_ / "Rotations");
        for (const std::string category : {"Alpha", "Beta", "Gamma"}) {
            std::string records;
            for (int row = 0; row < 3; ++row) {
                records += autodj::encodeRotationRecord(category, false);
            }
            test::writeFile(station_ / "Rotations" / (category + ".rot"), records);
        }
        std::string pls = "[playlist]\n";
        for (std::size_t i = 0; i < talk_.size(); ++i) {
            pls += "File" + std::to_string(i + 1) + "=" + talk_[i] + "\n";
        }
        pls += "NumberOfEntries=" + std::to_string(talk_.size() - 1) + "\nVersion=2\n";
        test::writeFile(station_ / "Playlist" / "Talk.pls", pls);
        std::string ini;
        for (int day = 1; day <= 7; ++day) {
            ini += "[" + std::to_string(day) + "]\n";
            for (int hour = 0; hour <= 24; ++hour) {
                if (!cellOf(day, hour).empty()) {
                    ini += std::to_string(hour) + "=" + cellOf(day, hour) + "\n";
                }
            }
        }
        test::writeFile(station_ / "rotationSchedule.ini", ini);
    }

    // Runs the station from a local start for `hours` and gives its Played.log.
    std::vector<std::string> run(core::DateValue start, int hours) {
        auto engine = std::make_unique<test::FakeEngine>();
        engine->recordCalls = false;
        engine->fileSeconds = lengths_;
        test::FakeEngine* playing = engine.get();
        sim::Simulator sim(station_.string(), start, std::move(engine),
                           [playing](std::int64_t micros) { playing->play(micros); });
        std::string error;
        for (const std::string line : {"load", "press chkEnableSchedule"}) {
            EXPECT_TRUE(sim.execute(line, out_, error)) << line << ": " << error;
        }
        for (int h = 0; h < hours; ++h) {
            EXPECT_TRUE(sim.execute("advance 3600", out_, error)) << error;
        }
        EXPECT_TRUE(sim.execute("unload", out_, error)) << error;
        std::vector<std::string> lines;
        std::istringstream in(test::readFile(station_ / "Played.log"));
        for (std::string line; std::getline(in, line);) {
            if (!line.empty()) {
                lines.push_back(line);
            }
        }
        return lines;
    }

    // The switches seen in Played.log: a line whose list differs from the line before it.
    std::vector<Switch> switchesIn(const std::vector<std::string>& lines) {
        std::vector<Switch> seen;
        std::string running;
        for (const auto& line : lines) {
            const auto comma = line.rfind(',');
            EXPECT_NE(comma, std::string::npos) << line;
            const std::string title = line.substr(0, comma);
            const auto it = listOfTitle_.find(title);
            EXPECT_NE(it, listOfTitle_.end()) << "a track of no list: " << line;
            if (it == listOfTitle_.end() || it->second == running) {
                continue;
            }
            running = it->second;
            const core::DateValue when = core::cDate(line.substr(comma + 1));
            const core::DateParts p = core::dateParts(when);
            seen.push_back({running, core::weekday(when), p.hour, p.minute * 60.0 + p.second});
        }
        return seen;
    }

    // The switches the painted week asks for, walking real time minute by minute.
    static std::vector<Switch> expectedSwitches(core::DateValue start, int hours,
                                                std::string running) {
        std::vector<Switch> due;
        std::tm tm{};
        const std::time_t first = core::toUnixTime(start);
        for (std::time_t t = first; t <= first + hours * 3600; t += 60) {
            localtime_r(&t, &tm);
            const std::string cell = cellOf(tm.tm_wday + 1, tm.tm_hour);
            if (!cell.empty() && cell != running) {
                running = cell;
                due.push_back({cell, tm.tm_wday + 1, tm.tm_hour, tm.tm_min * 60.0 + tm.tm_sec});
            }
        }
        return due;
    }

    // Tracks of 150 to 270 s: more than 8 starts an hour.
    void judge(core::DateValue start, int hours) {
        const auto lines = run(start, hours);
        ASSERT_GT(lines.size(), static_cast<std::size_t>(hours) * 8);
        auto seen = switchesIn(lines);
        ASSERT_FALSE(seen.empty());
        // The list the station started with is where the walk starts.
        const std::string first = seen.front().list;
        seen.erase(seen.begin());
        const auto due = expectedSwitches(start, hours, first);
        std::ostringstream both;
        for (const auto& w : seen) {
            both << "seen " << w.list << " " << w.day << " " << w.hour << " +" << w.secondsIntoHour
                 << "\n";
        }
        for (const auto& w : due) {
            both << "due " << w.list << " " << w.day << " " << w.hour << " +" << w.secondsIntoHour
                 << "\n";
        }
        ASSERT_EQ(seen.size(), due.size()) << both.str();
        for (std::size_t i = 0; i < due.size(); ++i) {
            SCOPED_TRACE("switch " + std::to_string(i) + " to " + due[i].list + " on day " +
                         std::to_string(due[i].day) + " at " + std::to_string(due[i].hour));
            EXPECT_EQ(seen[i].list, due[i].list);
            EXPECT_EQ(seen[i].day, due[i].day);
            EXPECT_EQ(seen[i].hour, due[i].hour);
            // Within one poll of the hour (the first one from the run's start, not the hour's).
            EXPECT_LE(seen[i].secondsIntoHour, due[i].secondsIntoHour + kPollSeconds + 1);
        }
    }

    test::TempDir dir_;
    fs::path station_;
    std::map<std::string, double> lengths_;
    std::map<std::string, std::string> listOfTitle_;
    std::vector<std::string> talk_;
    std::ostringstream out_;
};

TEST_F(ScheduleScenario, AWeekAcrossTheChangeToSummerTimeSwitchesAtEveryPaintedHour) {
    // Berlin goes from 02:00 to 03:00 on Sunday 28 March 2027: the 2 o'clock cell never comes,
    // and the 3 o'clock one comes an hour after the 1 o'clock one.
    // Under a sanitizer the night of the change only, from Saturday's 22 o'clock cell to past
    // Sunday's 6 o'clock one: a week there costs minutes, two days 29 s.
    if (TW_TEST_SANITIZED) {
        judge(core::dateSerial(2027, 3, 27) + core::timeSerial(22, 0, 4), 8);
    } else {
        judge(core::dateSerial(2027, 3, 25) + core::timeSerial(12, 0, 4), 7 * 24);
    }
}

TEST_F(ScheduleScenario, TheHourThatComesTwiceInAutumnSwitchesOnce) {
    // Berlin goes from 03:00 back to 02:00 on Sunday 31 October 2027. Under a sanitizer the
    // night of the change only, as above (two days took 27 s there).
    if (TW_TEST_SANITIZED) {
        judge(core::dateSerial(2027, 10, 30) + core::timeSerial(22, 0, 4), 9);
    } else {
        judge(core::dateSerial(2027, 10, 30) + core::timeSerial(12, 0, 4), 2 * 24);
    }
}

}  // namespace
}  // namespace tw
