#include "playout/engine_setup.h"
#include "station/console_assembly.h"

#include <gtest/gtest.h>

#include "audio/mix_engine.h"
#include "core/console_ops.h"
#include "core/settings_store.h"
#include "sim/scripted_prompter.h"
#include "sim/virtual_event_loop.h"
#include "tests/testlib/temp_dir.h"

namespace tw::playout {
namespace {

// startServer on the real engine, offline: the one mixer comes up and runs with the master chain
// on, the trace is written, and a second call does nothing.
TEST(EngineSetupTest, StartServerBringsUpTheOneMixerOnce) {
    test::TempDir dir;
    core::VirtualClock clock(core::dateSerial(2026, 11, 22) + core::timeSerial(8, 0, 0));
    sim::VirtualEventLoop loop(clock);
    core::SettingsStore settings;
    audio::MixEngine engine(audio::EngineMode::Offline);
    sim::ScriptedPrompter prompter;
    auto console =
        station::makeConsole(dir.str(), {&clock, &settings, &engine, &prompter, &loop, nullptr});
    core::Console& c = *console;
    startServer(c);
    ASSERT_NE(c.mixerStream, 0u);
    EXPECT_NE(engine.channelIsActive(c.mixerStream), audio::kStopped);
    EXPECT_NE(c.compressorId, 0u) << "the master chain is on from the start";
    EXPECT_NE(c.masterDampFx, 0u);
    EXPECT_NE(c.masterEqFx, 0u);
    EXPECT_EQ(c.form().cmdCompressor.backColor, 0x0080FFu);
    const audio::Handle first = c.mixerStream;
    startServer(c);
    EXPECT_EQ(c.mixerStream, first);
    EXPECT_EQ(test::readFile(dir / "app.log"),
              "#Time:11/22/2026 8:00:00 AMTarnWave minbuf:0 TarnWave Latency:0#\n");
    EXPECT_TRUE(engine.render(4410));
    EXPECT_EQ(engine.channelGetLevel(c.mixerStream), 0u) << "a mixer with nothing in it is silent";
}

}  // namespace
}  // namespace tw::playout
