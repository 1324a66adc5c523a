// One tick of the position monitor with two loaded players, the on-air one in its crossfade
// window, bars, labels and meters redrawn. The engine is the test stand-in, whose calls cost next
// to nothing, so the figure is the tick's own work. The reference is the bare set of engine
// queries one tick makes, so the ratio shows how much the logic adds to them.

#include <benchmark/benchmark.h>

#include <memory>

#include "core/console.h"
#include "core/settings_store.h"
#include "media/stream_time.h"
#include "playout/position_monitor.h"
#include "sim/scripted_prompter.h"
#include "sim/virtual_event_loop.h"
#include "tests/testlib/fake_engine.h"
#include "tests/testlib/temp_dir.h"

namespace {

using namespace tw;

struct Station {
    test::TempDir dir;
    core::VirtualClock clock{core::dateSerial(2026, 11, 22) + core::timeSerial(10, 0, 0)};
    sim::VirtualEventLoop loop{clock};
    core::SettingsStore settings;
    test::FakeEngine engine;
    sim::ScriptedPrompter prompter;
    std::unique_ptr<core::Console> console;

    Station() {
        core::Services s{&clock, &settings, &engine, &prompter, &loop, nullptr};
        console = std::make_unique<core::Console>(dir.str(), s);
        core::Console& c = *console;
        c.tmrCheckPositionBool = true;
        c.mixerStream = engine.mixerStreamCreate(44100, 2, 0);
        engine.channel(c.mixerStream).level = (20000u << 16) | 18000u;
        c.player1Stream = engine.addStream(240);
        c.player2Stream = engine.addStream(200);
        c.activePlayer = 1;
        c.cueRecord1.sweepFired = true;
        c.cueRecord1.introUntil = 12;
    }
};

void BM_Tick(benchmark::State& state) {
    Station st;
    core::Console& c = *st.console;
    double pos = 30;
    for (auto _ : state) {
        // Move both players on, as a real tick sees them, so labels and bars redraw each time.
        pos += 0.06;
        if (pos > 200) {
            pos = 30;
        }
        st.engine.setPositionSeconds(c.player1Stream, pos);
        st.engine.setPositionSeconds(c.player2Stream, 0);
        playout::tmrCheckPosition_Timer(c);
        if (c.statsTicks >= 99) {
            c.statsTicks = 0;
        }
    }
}
BENCHMARK(BM_Tick);

void BM_Tick_Reference(benchmark::State& state) {
    Station st;
    core::Console& c = *st.console;
    audio::Engine& e = st.engine;
    double pos = 30;
    for (auto _ : state) {
        pos += 0.06;
        if (pos > 200) {
            pos = 30;
        }
        st.engine.setPositionSeconds(c.player1Stream, pos);
        st.engine.setPositionSeconds(c.player2Stream, 0);
        const media::cbass_time t(e);
        benchmark::DoNotOptimize(t.GetPlayingPos(c.player1Stream));
        benchmark::DoNotOptimize(t.GetPlayingPos(c.player2Stream));
        benchmark::DoNotOptimize(e.channelGetLevel(c.mixerStream));
        benchmark::DoNotOptimize(t.GetDuration(c.player1Stream));
        benchmark::DoNotOptimize(t.GetDuration(c.player2Stream));
        benchmark::DoNotOptimize(e.channelIsActive(c.player1Stream));
        benchmark::DoNotOptimize(e.channelIsActive(c.player2Stream));
        benchmark::DoNotOptimize(e.channelGetLength(c.player1Stream));
        benchmark::DoNotOptimize(e.channelGetPosition(c.player1Stream));
        benchmark::DoNotOptimize(e.channelGetLength(c.player2Stream));
        benchmark::DoNotOptimize(e.channelGetPosition(c.player2Stream));
    }
}
BENCHMARK(BM_Tick_Reference);

}  // namespace
