// The simulator's commands for whole stations: rotations, categories and the recording of the mix.

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <sstream>
#include <string>

#include "audio/engine.h"
#include "audio/mix_engine.h"
#include "audio/null_engine.h"
#include "core/dates.h"
#include "sim/simulator.h"
#include "station_run.h"
#include "tests/testlib/temp_dir.h"

namespace tw {
namespace {

core::DateValue commandsStart() {
    core::DateValue d = 0;
    EXPECT_TRUE(core::parseDate("2026-11-02 06:00:00", d));
    return d;
}

std::string run(sim::Simulator& sim, const std::string& line) {
    std::ostringstream out;
    std::string error;
    return sim.execute(line, out, error) ? std::string() : error;
}

std::string padded(const std::string& s) {
    return s + std::string(100 - s.size(), ' ');
}

std::uint32_t le32(const std::string& b, std::size_t at) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(b[at])) |
           static_cast<std::uint32_t>(static_cast<unsigned char>(b[at + 1])) << 8 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(b[at + 2])) << 16 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(b[at + 3])) << 24;
}

std::int16_t sampleAt(const std::string& wav, std::size_t index) {
    const std::size_t at = 44 + 2 * index;
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(
        static_cast<unsigned char>(wav[at]) | static_cast<unsigned char>(wav[at + 1]) << 8));
}

TEST(SimulatorStationCommands, RotationWritesOneRecordPerCategoryAndLeavesTheGridAsItWas) {
    test::ScopedHome home;  // the simulator's desktop trash is in it
    test::TempDir dir;
    sim::Simulator sim(dir.str(), commandsStart(), std::make_unique<audio::NullEngine>());
    ASSERT_EQ(run(sim, "load"), "");
    auto& grid = sim.console().form().lstRotation;
    core::GridRow shown;
    shown.cells = {"", "Shown"};
    grid.rows = {shown};
    grid.row = 0;

    ASSERT_EQ(run(sim, "rotation Morning Rock Jazz"), "");

    const std::string bytes = test::readFile(dir / "Rotations/Morning.rot");
    EXPECT_EQ(bytes, padded("Rock") + padded("False") + padded("saved") + padded("Jazz") +
                         padded("False") + padded("saved"));
    ASSERT_EQ(grid.rows.size(), 1u);
    EXPECT_EQ(grid.rows[0].cells[1], "Shown");
    EXPECT_EQ(grid.row, 0);
    bool listed = false;
    for (const auto& item : sim.console().form().flRotations.items) {
        listed = listed || item.text == "Morning.rot";
    }
    EXPECT_TRUE(listed) << "the rotation files' list was not refreshed";
}

TEST(SimulatorStationCommands, RotationKeepsAGivenExtensionAndNeedsACategory) {
    test::ScopedHome home;  // the simulator's desktop trash is in it
    test::TempDir dir;
    sim::Simulator sim(dir.str(), commandsStart(), std::make_unique<audio::NullEngine>());
    ASSERT_EQ(run(sim, "load"), "");
    EXPECT_NE(run(sim, "rotation Lonely"), "");
    ASSERT_EQ(run(sim, "rotation Night.rot Blues"), "");
    EXPECT_EQ(test::readFile(dir / "Rotations/Night.rot").size(), 300u);
    EXPECT_FALSE(std::filesystem::exists(dir / "Rotations/Night.rot.rot"));
}

TEST(SimulatorStationCommands, CategoryMakesTheFolderThroughTheCreateAction) {
    test::ScopedHome home;  // the simulator's desktop trash is in it
    test::TempDir dir;
    sim::Simulator sim(dir.str(), commandsStart(), std::make_unique<audio::NullEngine>());
    ASSERT_EQ(run(sim, "load"), "");
    ASSERT_EQ(run(sim, "category Swing"), "");
    EXPECT_TRUE(std::filesystem::is_directory(dir / "Music/Swing"));
    bool listed = false;
    for (const auto& item : sim.console().form().lstPlaylists.items) {
        listed = listed || item.text == "Swing";
    }
    EXPECT_TRUE(listed) << "the category list was not rebuilt";
    // Already there: no prompt is asked, so no answer is taken.
    ASSERT_EQ(run(sim, "category Swing"), "");
    EXPECT_NE(run(sim, "category Two Words"), "");
}

TEST(SimulatorStationCommands, RecordNeedsAnEngineThatRendersOffline) {
    test::ScopedHome home;  // the simulator's desktop trash is in it
    test::TempDir dir;
    sim::Simulator sim(dir.str(), commandsStart(), std::make_unique<audio::NullEngine>());
    ASSERT_EQ(run(sim, "load"), "");
    EXPECT_NE(run(sim, "record " + (dir / "mix.wav").string() + " 1"), "");
    EXPECT_NE(run(sim, "record only-a-file"), "");
}

TEST(SimulatorStationCommands, RecordWritesTheMixersBusAsSixteenBitStereo) {
    test::ScopedHome home;  // the simulator's desktop trash is in it
    test::TempDir dir;
    // The track comes from a library of its own: a station with a library and a rotation puts
    // its first track on the air by itself, and this mixer is to start empty.
    const auto library = dir / "library";
    ASSERT_EQ(test::makeDemoStation(library, 1, 1, 20, 20, 1), "");
    std::string track;
    for (const auto& e : std::filesystem::directory_iterator(library / "Music/Rock")) {
        track = e.path().string();
    }
    ASSERT_FALSE(track.empty());
    const auto station = dir / "station";
    std::filesystem::create_directories(station);

    sim::Simulator sim(station.string(), commandsStart(),
                       std::make_unique<audio::MixEngine>(audio::EngineMode::Offline));
    ASSERT_TRUE(sim.rendersMix());
    ASSERT_EQ(run(sim, "load"), "");
    const auto silent = dir / "silent.wav";
    ASSERT_EQ(run(sim, "record " + silent.string() + " 0.5"), "");
    const std::string quiet = test::readFile(silent);
    ASSERT_EQ(quiet.size(), 44u + 22050u * 4u);
    for (std::size_t i = 0; i < 22050u * 2u; ++i) {
        ASSERT_EQ(sampleAt(quiet, i), 0) << "sample " << i << " of an empty mixer";
    }

    auto& c = sim.console();
    audio::Engine& engine = *c.svc.engine;
    const auto stream = engine.streamCreateFile(track, 0, 0, audio::kStreamDecode);
    ASSERT_NE(stream, 0u);
    ASSERT_NE(c.mixerStream, 0u);
    ASSERT_TRUE(engine.mixerAddChannel(c.mixerStream, stream, 0));
    const auto wavPath = dir / "mix.wav";
    ASSERT_EQ(run(sim, "record " + wavPath.string() + " 2"), "");

    const std::string wav = test::readFile(wavPath);
    ASSERT_EQ(wav.size(), 44u + 2u * 44100u * 4u);
    EXPECT_EQ(wav.substr(0, 4), "RIFF");
    EXPECT_EQ(le32(wav, 4), wav.size() - 8);
    EXPECT_EQ(wav.substr(8, 8), "WAVEfmt ");
    EXPECT_EQ(le32(wav, 16), 16u);
    EXPECT_EQ(le32(wav, 20) & 0xffffu, 1u);      // PCM
    EXPECT_EQ(le32(wav, 20) >> 16, 2u);          // stereo
    EXPECT_EQ(le32(wav, 24), 44100u);            // rate
    EXPECT_EQ(le32(wav, 28), 44100u * 4u);       // bytes a second
    EXPECT_EQ(le32(wav, 32), 4u | (16u << 16));  // block, bits
    EXPECT_EQ(wav.substr(36, 4), "data");
    EXPECT_EQ(le32(wav, 40), 2u * 44100u * 4u);

    // The chord is heard in the second second (the fade-in is over), the same on both sides of a
    // mono track.
    double energy = 0;
    int peak = 0;
    for (std::size_t f = 44100; f < 2 * 44100; ++f) {
        const int left = sampleAt(wav, 2 * f);
        EXPECT_EQ(left, sampleAt(wav, 2 * f + 1)) << "frame " << f;
        energy += static_cast<double>(left) * left;
        peak = std::max(peak, left < 0 ? -left : left);
    }
    EXPECT_GT(energy / 44100.0, 1000.0 * 1000.0) << "the recorded mix is too quiet";
    EXPECT_LT(peak, 32767) << "the recorded mix is clipped";
}

}  // namespace
}  // namespace tw
