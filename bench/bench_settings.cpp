// The settings store against the classic profile calls, which open and scan the whole file for
// every key. The picker reads two keys of played.ini per candidate and startNExt writes a handful,
// so both paths matter once the history holds tens of thousands of tracks.

#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "core/settings_store.h"

namespace {

namespace fs = std::filesystem;

constexpr int kHistorySections = 50'000;

class BenchFolder {
  public:
    BenchFolder() {
        std::string pattern = (fs::temp_directory_path() / "tarnwave-bench-XXXXXX").string();
        if (!::mkdtemp(pattern.data())) {
            throw std::runtime_error("cannot create a temporary folder");
        }
        path_ = pattern;
    }
    ~BenchFolder() {
        std::error_code ec;
        fs::remove_all(path_, ec);
    }
    BenchFolder(const BenchFolder&) = delete;
    BenchFolder& operator=(const BenchFolder&) = delete;
    std::string file(const std::string& name) const { return (path_ / name).string(); }

  private:
    fs::path path_;
};

std::string trackSection(int i) {
    return "Artist " + std::to_string(i % 7919) + " - Title of the Song Number " +
           std::to_string(i);
}

// A played.ini as the console grows it: track sections with their counters, artist sections with
// their dates, in the order tracks were first played.
std::string playedIni(int sections) {
    std::string text;
    for (int i = 0; i < sections; ++i) {
        if (i % 4 == 3) {
            text += "[artist " + std::to_string(i % 7919) +
                    "]\nLastPlayed=11/21/2026 9:14:03 PM\nPending=no\n";
        } else {
            text += "[" + trackSection(i) +
                    "]\nLastPlayed=11/21/2026 9:14:03 PM\nPending=no\nPlayCount=" +
                    std::to_string(i % 97) + "\nTunedOut=" + std::to_string(i % 5) + "\n";
        }
    }
    return text;
}

void writeText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

std::string readText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::vector<std::string> probeSections() {
    std::vector<std::string> names;
    for (int i = 0; i < 1024; ++i) {
        const int track = (i * 48'611) % kHistorySections;
        names.push_back(trackSection(track % 4 == 3 ? track - 1 : track));
    }
    return names;
}

bool equalFolded(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        const auto x = static_cast<unsigned char>(a[i]);
        const auto y = static_cast<unsigned char>(b[i]);
        if (x != y && !(x >= 'A' && x <= 'Z' && x + 32 == y) &&
            !(y >= 'A' && y <= 'Z' && y + 32 == x)) {
            return false;
        }
    }
    return true;
}

std::string_view trimmed(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) {
        s.remove_prefix(1);
    }
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r')) {
        s.remove_suffix(1);
    }
    return s;
}

struct KeyPlace {
    std::size_t sectionEnd = std::string::npos;  // where a new key of the section would go
    std::size_t lineBegin = std::string::npos;   // the key's line, when found
    std::size_t lineEnd = std::string::npos;
    std::string_view value;
};

// The classic profile lookup: the whole file text, scanned line by line from the top.
KeyPlace scanFor(const std::string& text, std::string_view section, std::string_view key) {
    KeyPlace place;
    bool inSection = false;
    std::size_t at = 0;
    while (at < text.size()) {
        std::size_t end = text.find('\n', at);
        if (end == std::string::npos) {
            end = text.size();
        }
        const std::string_view line = trimmed(std::string_view(text).substr(at, end - at));
        if (!line.empty() && line.front() == '[') {
            if (inSection) {
                return place;
            }
            const auto close = line.rfind(']');
            inSection = close != std::string_view::npos &&
                        equalFolded(trimmed(line.substr(1, close - 1)), section);
        } else if (inSection) {
            const auto eq = line.find('=');
            if (eq != std::string_view::npos && equalFolded(trimmed(line.substr(0, eq)), key)) {
                place.lineBegin = at;
                place.lineEnd = end;
                place.value = trimmed(line.substr(eq + 1));
                return place;
            }
            place.sectionEnd = std::min(end + 1, text.size());
        }
        at = end + 1;
    }
    return place;
}

std::string classicRead(const std::string& path, std::string_view section, std::string_view key,
                        std::string_view def) {
    const std::string text = readText(path);
    const KeyPlace place = scanFor(text, section, key);
    return std::string(place.lineBegin == std::string::npos ? def : place.value);
}

void classicWrite(const std::string& path, std::string_view section, std::string_view key,
                  std::string_view value) {
    std::string text = readText(path);
    const KeyPlace place = scanFor(text, section, key);
    const std::string line = std::string(key) + "=" + std::string(value);
    if (place.lineBegin != std::string::npos) {
        text.replace(place.lineBegin, place.lineEnd - place.lineBegin, line);
    } else if (place.sectionEnd != std::string::npos) {
        text.insert(place.sectionEnd, line + "\n");
    } else {
        text += "[" + std::string(section) + "]\n" + line + "\n";
    }
    writeText(path, text);
}

void BM_ReadIni(benchmark::State& state) {
    BenchFolder folder;
    const std::string path = folder.file("played.ini");
    writeText(path, playedIni(kHistorySections));
    const auto sections = probeSections();
    tw::core::SettingsStore store;
    if (store.read(path, sections[0], "LastPlayed", "none") == "none") {
        state.SkipWithError("history not found");
        return;
    }
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(store.read(path, sections[i++ & 1023], "LastPlayed", "none"));
    }
}
BENCHMARK(BM_ReadIni);

void BM_ReadIni_Reference(benchmark::State& state) {
    BenchFolder folder;
    const std::string path = folder.file("played.ini");
    writeText(path, playedIni(kHistorySections));
    const auto sections = probeSections();
    if (classicRead(path, sections[0], "LastPlayed", "none") == "none") {
        state.SkipWithError("history not found");
        return;
    }
    std::size_t i = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(classicRead(path, sections[i++ & 1023], "LastPlayed", "none"));
    }
}
BENCHMARK(BM_ReadIni_Reference)->Unit(benchmark::kMicrosecond);

// One console event's worth of history and more: 200 tracks, five keys each, of which 20 tracks
// are new to the file, then the flush.
void BM_Write1000AndFlush(benchmark::State& state) {
    BenchFolder folder;
    const std::string path = folder.file("played.ini");
    writeText(path, playedIni(kHistorySections));
    tw::core::SettingsStore store;
    store.read(path, "any", "LastPlayed", "none");
    int round = 0;
    for (auto _ : state) {
        ++round;
        const std::string when = "11/22/2026 1:" + std::to_string(10 + round % 50) + ":07 AM";
        tw::core::EventScope event(store);
        for (int t = 0; t < 200; ++t) {
            const std::string section =
                t < 180 ? trackSection(t * 211 % kHistorySections)
                        : "New Artist - New Song " + std::to_string(round * 1000 + t);
            store.write(path, section, "LastPlayed", when);
            store.write(path, section, "Pending", "no");
            store.write(path, section, "PlayCount", std::to_string(round));
            store.write(path, section, "TunedOut", std::to_string(round % 3));
            store.write(path, section, "LastTIMETunedOut", when);
        }
    }
    if (store.read(path, trackSection(211), "PlayCount", "") != std::to_string(round)) {
        state.SkipWithError("writes were lost");
    }
}
BENCHMARK(BM_Write1000AndFlush)->Unit(benchmark::kMillisecond)->UseRealTime();

// The classic profile call writing one key: read, scan and rewrite the whole file.
void BM_Write1000AndFlush_Reference(benchmark::State& state) {
    BenchFolder folder;
    const std::string path = folder.file("played.ini");
    writeText(path, playedIni(kHistorySections));
    int round = 0;
    for (auto _ : state) {
        ++round;
        classicWrite(path, trackSection(round * 211 % kHistorySections), "PlayCount",
                     std::to_string(round));
    }
}
BENCHMARK(BM_Write1000AndFlush_Reference)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
