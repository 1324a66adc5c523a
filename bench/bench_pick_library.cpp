// A pick on a station of 100,000 tracks, all with history (so the walk visits every file), each
// followed (untimed) by the plan of the track it gave, as on the air: with the tag cache and its
// memo of last plays against the picker reading every tag from the disk and every history from
// the settings, and the first pick after a start with the saved cache (or after the tag fill has
// run) against one without it. The console's memory (VmRSS) with the whole category in the cache
// is printed. The category's listing, kept by the cache, against the folder listed and sorted
// afresh. The library screen's track list and its search with the titles kept, against every
// title read from its file. The statistics report of the category against the titles alone read
// in one loop.
//
// The library is made by the program in a temporary folder and removed at its end: tiny files of
// an ID3v2.3 tag (artist, title) and one MPEG frame. Making it takes a while; the files are then
// left three seconds to age, since the cache saves only stamps old enough to be trusted.

#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <time.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#include "autodj/history.h"
#include "autodj/library.h"
#include "autodj/library_state.h"
#include "autodj/picker.h"
#include "autodj/tag_cache.h"
#include "autodj/tag_fill.h"
#include "bench/tiny_mp3.h"
#include "core/console.h"
#include "core/console_ops.h"
#include "core/settings_store.h"
#include "reporting/statistics.h"
#include "sim/scripted_prompter.h"
#include "sim/simulator.h"
#include "sim/virtual_event_loop.h"
#include "station/console_assembly.h"
#include "tags/id3_tag.h"
#include "tests/testlib/fake_engine.h"

namespace {

namespace fs = std::filesystem;
using namespace tw;

constexpr int kTracks = 100'000;
constexpr int kArtists = 2'000;

// One frame of audio after the tag.
std::string trackFile(const std::string& artist, const std::string& title) {
    return bench::tinyMp3(artist, title, 1);
}

std::string artistName(int i) {
    return "Bench Artist " + std::to_string(i % kArtists);
}
std::string titleOf(int i) {
    return "Bench Song " + std::to_string(i);
}

class Library {
  public:
    Library() {
        std::string pattern = (fs::temp_directory_path() / "tarnwave-bench-XXXXXX").string();
        if (!::mkdtemp(pattern.data())) {
            throw std::runtime_error("cannot create a temporary folder");
        }
        root_ = pattern;
        const fs::path folder = root_ / "Music" / "Big";
        fs::create_directories(folder);
        for (int i = 0; i < kTracks; ++i) {
            std::ofstream(folder / ("track" + std::to_string(100000 + i) + ".mp3"),
                          std::ios::binary)
                << trackFile(artistName(i), titleOf(i));
        }
        std::ofstream out(root_ / "played.ini", std::ios::binary);
        for (int i = 0; i < kTracks; ++i) {
            out << "[" << artistName(i) << " - " << titleOf(i) << "]\nLastPlayed=11/" << 1 + i % 20
                << "/2026 " << 1 + i % 12 << ":" << 10 + i % 50
                << ":00 PM\nPending=no\nPlayCount=" << 1 + i % 40 << "\nTunedOut=" << i % 3 << "\n";
        }
        for (int a = 0; a < kArtists; ++a) {
            out << "[bench artist " << a << "]\nLastPlayed=11/21/2026 " << 1 + a % 12
                << ":00:00 AM\nPending=no\n";
        }
        out.close();
        std::this_thread::sleep_for(std::chrono::milliseconds(3200));
    }
    ~Library() {
        std::error_code ec;
        fs::remove_all(root_, ec);
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;

    const fs::path& root() const { return root_; }

  private:
    fs::path root_;
};

Library& library() {
    static Library lib;
    return lib;
}

// A console on the library, its lists built as start-up builds them.
class Station {
  public:
    explicit Station(const std::string& cacheFile = {})
        : clock_(core::dateSerial(2026, 11, 22) + core::timeSerial(10, 0, 0)), loop_(clock_) {
        core::Services s;
        s.clock = &clock_;
        s.settings = &settings_;
        s.engine = &engine_;
        s.prompter = &prompter_;
        s.loop = &loop_;
        console_ = station::makeConsole(library().root().string(), s);
        slot_ = console_->now() + 1.0 / 24;
        if (!cacheFile.empty()) {
            console_->library->tagCache = std::make_shared<autodj::TagCache>(cacheFile);
        }
        auto& c = *console_;
        c.form().dirList.path = c.AppFolder + "/Music";
        autodj::showplayLists(c);
        autodj::renewRepeatTime(c);
        c.artistSeperationTime = 1;
    }

    // A pick for the slot at target, in an event as the console's picks are.
    std::string pickFor(core::DateValue target) {
        core::EventScope event(settings_);
        core::DateValue previous = 0;
        return autodj::pickSongForCatagory(*console_, "Big", target, previous);
    }
    std::string pick() { return pickFor(console_->now() + 1.0 / 24); }
    // A pick for the next slot, four minutes after the last, and the plan of the track it gave
    // written to the history as the rotation writes it (track and artist; played.ini written
    // out): the next pick meets a history that changed, as on the air, and still walks every
    // file (a planned track is four minutes old for the next slot, never one without history).
    std::string pickNext() {
        slot_ += 4.0 / 1440;
        return pickFor(slot_);
    }
    void planLast(const std::string& path) {
        if (!path.empty()) {
            core::EventScope event(settings_);
            tags::clsMp3TagData data;
            console_->id3->returnID3Tag(data);
            std::string artist = data.Artist;
            autodj::planPick(*console_, data.mp3Title, autodj::makeArtist(artist), slot_);
        }
    }
    core::Console& console() { return *console_; }
    core::SettingsStore& settings() { return settings_; }

    sim::VirtualEventLoop& loop() { return loop_; }

  private:
    core::VirtualClock clock_;
    sim::VirtualEventLoop loop_;
    core::SettingsStore settings_;
    test::FakeEngine engine_;
    sim::ScriptedPrompter prompter_;
    std::unique_ptr<core::Console> console_;
    core::DateValue slot_ = 0;
};

// The processor time of the calling thread.
double threadCpuSeconds() {
    timespec t{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) / 1e9;
}

// The console that picks all along, its cache filled by its first pick.
Station& onAir() {
    static const std::unique_ptr<Station> station = [] {
        const long before = sim::residentKb();
        auto s = std::make_unique<Station>();
        if (s->pick().empty()) {
            throw std::runtime_error("the first pick gave nothing");
        }
        const long after = sim::residentKb();
        std::printf(
            "MEMORY console with %d tracks in the tag cache: VmRSS %.1f MB (%.1f MB before "
            "the first pick; %zu entries)\n",
            kTracks, after / 1024.0, before / 1024.0, s->console().library->tagCache->size());
        return s;
    }();
    return *station;
}

// The console without its tag cache while this lives, as a console without one: the references.
class CacheAside {
  public:
    explicit CacheAside(core::Console& c) : c_(c), cache_(std::move(c.library->tagCache)) {}
    ~CacheAside() { c_.library->tagCache = std::move(cache_); }
    CacheAside(const CacheAside&) = delete;
    CacheAside& operator=(const CacheAside&) = delete;

  private:
    core::Console& c_;
    std::shared_ptr<autodj::TagCache> cache_;
};

// Picks for the state's iterations, each followed by its plan out of the timing; the last pick.
std::string timePicks(benchmark::State& state, Station& s) {
    std::string last;
    for (auto _ : state) {
        last = s.pickNext();
        benchmark::DoNotOptimize(last);
        state.PauseTiming();
        s.planLast(last);
        state.ResumeTiming();
    }
    return last;
}

void BM_Pick100k(benchmark::State& state) {
    Station& s = onAir();
    const std::string last = timePicks(state, s);
    if (last.empty()) {
        state.SkipWithError("the pick gave nothing");
    }
    state.counters["VmRSS_MB"] = static_cast<double>(sim::residentKb()) / 1024.0;
}
BENCHMARK(BM_Pick100k)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

// Every tag read from the disk at each pick, as without the cache.
void BM_Pick100k_Reference(benchmark::State& state) {
    Station& s = onAir();
    std::string last;
    {
        const CacheAside aside(s.console());
        last = timePicks(state, s);
    }
    if (last.empty()) {
        state.SkipWithError("the pick gave nothing");
    }
}
BENCHMARK(BM_Pick100k_Reference)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// The category listed as the picker lists it at each pick: from the tag cache's kept listing.
void BM_ListCategory100k(benchmark::State& state) {
    Station& s = onAir();
    auto& c = s.console();
    const int big = 0;  // the station's only category
    for (auto _ : state) {
        autodj::lstPlaylist1_Click(c, big);
        benchmark::DoNotOptimize(c.form().fileList1.items.data());
    }
    if (c.form().fileList1.items.size() != static_cast<std::size_t>(kTracks)) {
        state.SkipWithError("the list is not the category");
    }
}
BENCHMARK(BM_ListCategory100k)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0);

// The same folder listed and sorted afresh, as without the cache.
void BM_ListCategory100k_Reference(benchmark::State& state) {
    Station& s = onAir();
    auto& list = s.console().form().fileList1;
    for (auto _ : state) {
        core::refreshFileList(list);
        benchmark::DoNotOptimize(list.items.data());
    }
    if (list.items.size() != static_cast<std::size_t>(kTracks)) {
        state.SkipWithError("the list is not the category");
    }
}
BENCHMARK(BM_ListCategory100k_Reference)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MinTime(1.0);

// The library screen's track list of the category (listed, every title and the history's counts
// read, the category's caption), with the titles the picker's walk kept.
// With firstFill, the lists are emptied (untimed) before each fill, as for the first fill after a
// start: the fill has no texts of an earlier one to write its own into.
void trackList(benchmark::State& state, bool withCache, bool firstFill = false) {
    Station& s = onAir();
    auto& c = s.console();
    {
        std::optional<CacheAside> aside;
        if (!withCache) {
            aside.emplace(c);
        }
        for (auto _ : state) {
            if (firstFill) {
                state.PauseTiming();
                c.form().lstSongs.items = {};
                c.form().lstBuilderCatagoryList.items = {};
                c.library->trackFiles = {};
                state.ResumeTiming();
            }
            // One event of the window, as a click is.
            core::EventScope event(s.settings());
            autodj::lstPlaylists_Click(c, 0);
            benchmark::DoNotOptimize(c.form().lstSongs.items.data());
        }
    }
    if (c.form().lstSongs.items.size() != static_cast<std::size_t>(kTracks) ||
        c.form().lstSongs.items[5].text != artistName(5) + " - " + titleOf(5)) {
        state.SkipWithError("the list is not the category");
    }
}
void BM_TrackList100k(benchmark::State& state) {
    trackList(state, true);
}
BENCHMARK(BM_TrackList100k)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0);
// Every title read from its file, as without the cache.
void BM_TrackList100k_Reference(benchmark::State& state) {
    trackList(state, false);
}
BENCHMARK(BM_TrackList100k_Reference)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
void BM_TrackList100kFirstFill(benchmark::State& state) {
    trackList(state, true, true);
}
BENCHMARK(BM_TrackList100kFirstFill)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0);
void BM_TrackList100kFirstFill_Reference(benchmark::State& state) {
    trackList(state, false, true);
}
BENCHMARK(BM_TrackList100kFirstFill_Reference)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);

// The track list's search for one title (the list filled again first, as the button does).
void search(benchmark::State& state, bool withCache) {
    Station& s = onAir();
    auto& c = s.console();
    autodj::lstPlaylists_Click(c, 0);
    c.form().txtSearch.text = titleOf(kTracks - 7);
    {
        std::optional<CacheAside> aside;
        if (!withCache) {
            aside.emplace(c);
        }
        for (auto _ : state) {
            core::EventScope event(s.settings());
            autodj::cmdSearch_Click(c);
            benchmark::DoNotOptimize(c.form().lstSongs.listIndex);
        }
    }
    if (c.form().lstSongs.listIndex != kTracks - 7) {
        state.SkipWithError("the search did not find the title");
    }
}
void BM_Search100k(benchmark::State& state) {
    search(state, true);
}
BENCHMARK(BM_Search100k)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0);
void BM_Search100k_Reference(benchmark::State& state) {
    search(state, false);
}
BENCHMARK(BM_Search100k_Reference)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// The statistics report of the category, from the press to the filled grid: the titles read on
// the report's worker, then the history, the order and the grid on the console thread.
void BM_StatisticsReport100k(benchmark::State& state) {
    Station& s = onAir();
    auto& c = s.console();
    reporting::cmdViewStatistics_Click(c);
    reporting::lstCatagories_Click(c, 0);
    for (auto _ : state) {
        reporting::cmdRunReport_Click(c);
        while (reporting::reportRunning(c)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            s.loop().processPending();
        }
    }
    if (c.ui.statistics.lstSongList.rows.size() != static_cast<std::size_t>(kTracks)) {
        state.SkipWithError("the report is not the category");
    }
}
BENCHMARK(BM_StatisticsReport100k)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2);
// Only what the report cannot do without: every title of the category read, in one loop.
void BM_StatisticsReport100k_Reference(benchmark::State& state) {
    Station& s = onAir();
    const auto& files = s.console().form().fileList1.items;
    const std::string folder = (library().root() / "Music" / "Big").string() + "/";
    tags::clsID3 tag;
    for (auto _ : state) {
        for (const auto& file : files) {
            tag.filename(folder + file.text);
            benchmark::DoNotOptimize(tag.returnID3TitleOnly());
        }
    }
}
BENCHMARK(BM_StatisticsReport100k_Reference)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(2);

// A new console on the station: its lists built and its first pick, the saved cache read.
void BM_FirstPickAfterStart(benchmark::State& state) {
    onAir().console().library->tagCache->save(-1);
    const std::string saved = (library().root() / "tags.cache").string();
    std::string last;
    for (auto _ : state) {
        Station s(saved);
        last = s.pick();
        benchmark::DoNotOptimize(last);
    }
    if (last.empty()) {
        state.SkipWithError("the pick gave nothing");
    }
}
BENCHMARK(BM_FirstPickAfterStart)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// The same without a saved cache: every tag read from the disk.
void BM_FirstPickAfterStart_Reference(benchmark::State& state) {
    const std::string none = (library().root() / "no-such-folder" / "tags.cache").string();
    std::string last;
    for (auto _ : state) {
        Station s(none);
        last = s.pick();
        benchmark::DoNotOptimize(last);
    }
    if (last.empty()) {
        state.SkipWithError("the pick gave nothing");
    }
}
BENCHMARK(BM_FirstPickAfterStart_Reference)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);

// A new console without a saved cache whose tag fill (autodj/tag_fill.h) has run, as on a
// station whose other categories a start reads ahead: its first pick, against the same pick with
// every tag read from the disk (BM_FirstPickAfterStart_Reference). The fill itself is not timed;
// its wall time and the console thread's processor time in it are printed as counters.
void BM_FirstPickAfterFill(benchmark::State& state) {
    const std::string none = (library().root() / "no-such-folder" / "tags.cache").string();
    std::string last;
    double fillSeconds = 0;
    double consoleSeconds = 0;
    for (auto _ : state) {
        state.PauseTiming();
        Station s(none);
        const auto begun = std::chrono::steady_clock::now();
        const double cpuBefore = threadCpuSeconds();
        autodj::startTagFill(s.console());
        while (autodj::tagFillBusy(s.console())) {
            s.loop().processPending();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        consoleSeconds = threadCpuSeconds() - cpuBefore;
        fillSeconds =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - begun).count();
        state.ResumeTiming();
        last = s.pick();
        benchmark::DoNotOptimize(last);
    }
    if (last.empty()) {
        state.SkipWithError("the pick gave nothing");
    }
    state.counters["fill_s"] = fillSeconds;
    state.counters["fill_console_cpu_s"] = consoleSeconds;
}
BENCHMARK(BM_FirstPickAfterFill)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);
// Its reference is the first pick with every tag read from the disk, under the name that pairs.
BENCHMARK(BM_FirstPickAfterStart_Reference)
    ->Name("BM_FirstPickAfterFill_Reference")
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(3);

}  // namespace
