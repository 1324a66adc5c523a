// The library's heavy paths on a large station: one pick in a category of 5,000 files that all
// have history (so no never-played shortcut ends the walk) with a played.ini of 50,000 sections;
// the song list of a 5,000-file category; the averaging pass over 2,000 files.
//
// The files are tiny but valid: an ID3v2.3 tag with artist and title in front of two MPEG frames.
// Lengths for the averaging pass come from the test engine stand-in (every file opens as a stream
// of a known length), so that figure is the console's own cost around the engine's.
//
// References, measured in the same run: the bare work the operation cannot avoid (the tag read and
// the history reads per file, as a flat loop), so the ratio is the console logic's overhead.

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "autodj/history.h"
#include "autodj/library.h"
#include "autodj/library_state.h"
#include "autodj/picker.h"
#include "bench/tiny_mp3.h"
#include "core/console.h"
#include "core/console_ops.h"
#include "core/settings_store.h"
#include "reporting/statistics.h"
#include "sim/scripted_prompter.h"
#include "sim/virtual_event_loop.h"
#include "station/console_assembly.h"
#include "tags/id3_tag.h"
#include "tests/testlib/fake_engine.h"

namespace {

namespace fs = std::filesystem;
using namespace tw;

constexpr int kCategoryFiles = 5'000;
constexpr int kCalculateFiles = 2'000;
constexpr int kHistorySections = 50'000;
constexpr int kArtists = 500;

// Two frames of audio after the tag.
std::string trackFile(const std::string& artist, const std::string& title) {
    return bench::tinyMp3(artist, title, 2);
}

std::string artistName(int i) {
    return "Bench Artist " + std::to_string(i % kArtists);
}
std::string titleOf(int i) {
    return "Bench Song " + std::to_string(i);
}

class Station {
  public:
    Station() : clock_(core::dateSerial(2026, 11, 22) + core::timeSerial(10, 0, 0)), loop_(clock_) {
        std::string pattern = (fs::temp_directory_path() / "tarnwave-bench-XXXXXX").string();
        if (!::mkdtemp(pattern.data())) {
            throw std::runtime_error("cannot create a temporary folder");
        }
        root_ = pattern;
        settings_.addPrivateFileName("appSettings.ini");
        core::Services s;
        s.clock = &clock_;
        s.settings = &settings_;
        s.engine = &engine_;
        s.prompter = &prompter_;
        s.loop = &loop_;
        console_ = station::makeConsole(root_.string(), s);
    }
    ~Station() {
        console_.reset();
        std::error_code ec;
        fs::remove_all(root_, ec);
    }
    Station(const Station&) = delete;
    Station& operator=(const Station&) = delete;

    void addCategory(const std::string& name, int files) {
        const fs::path folder = root_ / "Music" / name;
        fs::create_directories(folder);
        for (int i = 0; i < files; ++i) {
            const fs::path path = folder / ("track" + std::to_string(100000 + i) + ".mp3");
            std::ofstream(path, std::ios::binary) << trackFile(artistName(i), titleOf(i));
            engine_.fileSeconds[path.string()] = 150 + i % 120;
        }
    }

    // Every track of the category and every artist has a date in the past; the rest of the
    // sections are other tracks' counters, as a long-running station collects them.
    void writeHistory(int categoryFiles) {
        std::ofstream out(root_ / "played.ini", std::ios::binary);
        int sections = 0;
        for (int i = 0; i < categoryFiles; ++i, ++sections) {
            out << "[" << artistName(i) << " - " << titleOf(i) << "]\nLastPlayed=11/" << 1 + i % 20
                << "/2026 " << 1 + i % 12 << ":" << 10 + i % 50
                << ":00 PM\nPending=no\nPlayCount=" << 1 + i % 40 << "\nTunedOut=" << i % 3 << "\n";
        }
        for (int a = 0; a < kArtists; ++a, ++sections) {
            out << "[bench artist " << a << "]\nLastPlayed=11/21/2026 " << 1 + a % 12
                << ":00:00 AM\nPending=no\n";
        }
        for (int i = 0; sections < kHistorySections; ++i, ++sections) {
            out << "[Other Artist " << i % 4000 << " - Other Song " << i
                << "]\nLastPlayed=10/2/2025 3:04:05 PM\nPending=no\nPlayCount=7\nTunedOut=1\n";
        }
    }

    core::Console& open() {
        auto& c = *console_;
        c.form().dirList.path = c.AppFolder + "/Music";
        autodj::showplayLists(c);
        autodj::renewRepeatTime(c);
        core::writeIniValue(c, c.appSettingsPath(), "ArtistSeperation", "Hours", "1");
        c.artistSeperationTime = 1;
        return c;
    }

    core::Console& console() { return *console_; }
    core::SettingsStore& settings() { return settings_; }
    sim::VirtualEventLoop& loop() { return loop_; }

  private:
    fs::path root_;
    core::VirtualClock clock_;
    sim::VirtualEventLoop loop_;
    core::SettingsStore settings_;
    test::FakeEngine engine_;
    sim::ScriptedPrompter prompter_;
    std::unique_ptr<core::Console> console_;
};

Station& pickStation() {
    static const std::unique_ptr<Station> station = [] {
        auto s = std::make_unique<Station>();
        s->addCategory("Big", kCategoryFiles);
        s->writeHistory(kCategoryFiles);
        s->open();
        return s;
    }();
    return *station;
}

void BM_PickSongForCatagory(benchmark::State& state) {
    Station& s = pickStation();
    core::Console& c = s.console();
    const core::DateValue target = c.now() + 1.0 / 24;
    std::string last;
    for (auto _ : state) {
        // A pick always runs inside a console event (a tick, a timer, the operator's press).
        core::EventScope event(s.settings());
        core::DateValue previous = 0;
        last = autodj::pickSongForCatagory(c, "Big", target, previous);
        benchmark::DoNotOptimize(last);
    }
    if (last.empty()) {
        state.SkipWithError("the pick gave nothing");
    }
}
BENCHMARK(BM_PickSongForCatagory)->Unit(benchmark::kMillisecond)->UseRealTime();

// The floor of a pick: every tag and both history dates of every file, in a flat loop.
void BM_PickSongForCatagory_Reference(benchmark::State& state) {
    Station& s = pickStation();
    core::Console& c = s.console();
    const std::string folder = c.AppFolder + "/Music/Big/";
    autodj::lstPlaylist1_Click(c, 0);
    const auto& files = c.form().fileList1.items;
    tags::clsMp3TagData data;
    for (auto _ : state) {
        std::size_t total = 0;
        for (const auto& f : files) {
            c.id3->filename(folder + f.text);
            c.id3->returnID3Tag(data);
            total += autodj::readHistory(c, data.mp3Title, autodj::kLastPlayed, "none").size();
            std::string artist = data.Artist;
            total += autodj::readHistory(c, autodj::makeArtist(artist), autodj::kLastPlayed, "none")
                         .size();
        }
        benchmark::DoNotOptimize(total);
    }
}
BENCHMARK(BM_PickSongForCatagory_Reference)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_FillSongList(benchmark::State& state) {
    Station& s = pickStation();
    core::Console& c = s.console();
    autodj::lstPlaylists_Click(c, 0);
    std::int32_t outs = 0;
    for (auto _ : state) {
        outs = autodj::fillSongList(c);
        benchmark::DoNotOptimize(outs);
    }
    if (c.form().lstSongs.listCount() != kCategoryFiles) {
        state.SkipWithError("the song list is incomplete");
    }
}
BENCHMARK(BM_FillSongList)->Unit(benchmark::kMillisecond)->UseRealTime();

// The floor of the song list: the title read of every file, in a flat loop.
void BM_FillSongList_Reference(benchmark::State& state) {
    Station& s = pickStation();
    core::Console& c = s.console();
    const std::string folder = c.AppFolder + "/Music/Big/";
    autodj::lstPlaylists_Click(c, 0);
    const auto& files = c.form().fileList.items;
    for (auto _ : state) {
        std::size_t total = 0;
        for (const auto& f : files) {
            c.id3->filename(folder + f.text);
            total += c.id3->returnID3TitleOnly().size();
        }
        benchmark::DoNotOptimize(total);
    }
}
BENCHMARK(BM_FillSongList_Reference)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_CmdCalculate(benchmark::State& state) {
    static const std::unique_ptr<Station> station = [] {
        auto s = std::make_unique<Station>();
        s->addCategory("Alpha", kCalculateFiles / 2);
        s->addCategory("Beta", kCalculateFiles / 4);
        s->addCategory("Gamma", kCalculateFiles / 4);
        s->open();
        return s;
    }();
    core::Console& c = station->console();
    for (auto _ : state) {
        core::EventScope event(station->settings());
        autodj::cmdCalculate(c, false);
    }
    if (c.library->averageSong.at(1) == 0) {
        state.SkipWithError("no average was computed");
    }
}
BENCHMARK(BM_CmdCalculate)->Unit(benchmark::kMillisecond)->UseRealTime();

// The statistics report of one ticked category of 5,000 tracks with history: every tag read
// again, two history reads per track, the exchange sort and the grid. Its reference is the same
// reads as a flat loop.
void BM_StatisticsReport(benchmark::State& state) {
    Station& s = pickStation();
    core::Console& c = s.console();
    reporting::showCatagoryList(c);
    for (auto& item : c.ui.statistics.lstCatagories.items) {
        item.selected = item.text == "Big";
    }
    for (auto _ : state) {
        {
            core::EventScope event(s.settings());
            reporting::cmdRunReport_Click(c);
        }
        // The tags are read on the report's worker; its end fills the grid.
        while (reporting::reportRunning(c)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            s.loop().processPending();
        }
    }
    if (c.ui.statistics.lstSongList.rowCount() != kCategoryFiles) {
        state.SkipWithError("the report did not list every track");
    }
}
BENCHMARK(BM_StatisticsReport)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_StatisticsReport_Reference(benchmark::State& state) {
    Station& s = pickStation();
    core::Console& c = s.console();
    const std::string folder = c.AppFolder + "/Music/Big/";
    autodj::lstPlaylist1_Click(c, 0);
    const auto& files = c.form().fileList1.items;
    tags::clsID3 tag;
    for (auto _ : state) {
        std::size_t total = 0;
        for (const auto& f : files) {
            tag.filename(folder + f.text);
            const std::string name = tag.returnID3TitleOnly();
            total += autodj::readHistory(c, name, autodj::kPlayCount, "0").size();
            total += autodj::readHistory(c, name, autodj::kTunedOut, "0").size();
        }
        benchmark::DoNotOptimize(total);
    }
}
BENCHMARK(BM_StatisticsReport_Reference)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
