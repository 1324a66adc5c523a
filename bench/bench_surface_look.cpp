// The console window's look at its surface (every beat while it is shown) with a category of
// 100,000 tracks on the library screen: the track list and the Playlist Builder's list hold a row
// per track, and so do the two hidden file lists. The look that hashes only the rows in view
// against the one that hashes every row.

#include <benchmark/benchmark.h>

#include <QGuiApplication>
#include <cstdlib>
#include <string>
#include <vector>

#include "core/surface.h"
#include "ui/element_fingerprint.h"

namespace {

using namespace tw;

constexpr int kTracks = 100'000;

std::vector<core::Element> surface() {
    std::vector<core::Element> lists;
    const char* names[] = {"lstSongs", "lstBuilderCatagoryList", "fileList", "fileList1"};
    for (const char* name : names) {
        core::Element e(name, core::ElementKind::ListBox);
        // The two hidden helper lists have no place; the others stand where the console puts them.
        if (std::string(name).starts_with("lst")) {
            e.rect = {176, 232, 300, 266};
        }
        for (int i = 0; i < kTracks; ++i) {
            e.items.push_back(
                {"Bench Artist " + std::to_string(i % 2000) + " - Bench Song " + std::to_string(i),
                 0,
                 {},
                 false});
        }
        lists.push_back(std::move(e));
    }
    return lists;
}

// The rows in view are measured with the console's font, which needs a GUI application: one on
// the offscreen platform, made at the first look and kept for the program's life.
QGuiApplication& application() {
    static int argc = 1;
    static char name[] = "bench_surface_look";
    static char* argv[] = {name, nullptr};
    if (!std::getenv("QT_QPA_PLATFORM")) {
        ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    }
    static QGuiApplication app(argc, argv);
    return app;
}

template <typename Look>
void look(benchmark::State& state, Look fingerprint) {
    application();
    static const std::vector<core::Element> lists = surface();
    std::size_t sum = 0;
    for (auto _ : state) {
        for (const auto& e : lists) {
            sum += fingerprint(e);
        }
        benchmark::DoNotOptimize(sum);
    }
}

void BM_LookAt100kTracks(benchmark::State& state) {
    look(state, [](const core::Element& e) { return ui::shownFingerprint(e); });
}
BENCHMARK(BM_LookAt100kTracks)->Unit(benchmark::kMicrosecond);

void BM_LookAt100kTracks_Reference(benchmark::State& state) {
    look(state, [](const core::Element& e) { return ui::elementFingerprint(e); });
}
BENCHMARK(BM_LookAt100kTracks_Reference)->Unit(benchmark::kMicrosecond);

}  // namespace
