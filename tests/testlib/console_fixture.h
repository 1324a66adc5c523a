#pragma once
// A console on a fresh station folder, with a virtual clock and event loop, the engine stand-in,
// a scripted prompter and a trash that only records. Nothing is loaded until a test says so.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "core/console.h"
#include "core/settings_store.h"
#include "sim/scripted_prompter.h"
#include "sim/virtual_event_loop.h"
#include "station/console_assembly.h"
#include "tests/testlib/fake_engine.h"
#include "tests/testlib/temp_dir.h"

namespace tw::test {

class RecordingTrash final : public core::Trash {
  public:
    bool moveToTrash(const std::string& path) override {
        trashed.push_back(path);
        return true;
    }
    std::vector<std::string> trashed;
};

// Records what the tick asks of the rest of the console.
class RecordingTickCalls final : public core::TickCalls {
  public:
    std::vector<std::string> calls;
    std::function<void()> onStartNExt;      // what a start does to the console, if anything
    std::function<void(int)> onCheckStats;  // runs as encoder i is asked, before its answer
    bool encoderEnabled[12] = {};
    bool autoReconnect[12] = {};
    std::string answers[12];
    std::int32_t listeners[12] = {};
    bool connecting[12] = {};
    std::int32_t sweeperIndexResult = 0;

    void startNExt() override {
        calls.push_back("startNExt");
        if (onStartNExt) {
            onStartNExt();
        }
    }
    void loadNextSong(std::int16_t flag) override {
        calls.push_back("loadNextSong " + std::to_string(flag));
    }
    void playSweeper(const std::string& path) override { calls.push_back("playSweeper " + path); }
    std::int32_t findSweeperIndex(std::int32_t i) override {
        calls.push_back("findSweeperIndex " + std::to_string(i));
        return sweeperIndexResult;
    }
    bool checkRotationSchedule() override {
        calls.push_back("checkRotationSchedule");
        return false;
    }
    bool getEncoderEnabled(int i) override { return encoderEnabled[i]; }
    bool previewRuns = false;  // what togglePreview answers
    bool togglePreview(const std::string& path) override {
        calls.push_back("togglePreview " + path);
        return previewRuns;
    }
    bool getStationAutoReConnect(int i) override { return autoReconnect[i]; }
    std::string checkStats(int i, std::int32_t& l) override {
        calls.push_back("checkStats " + std::to_string(i));
        if (onCheckStats) {
            onCheckStats(i);
        }
        if (!answers[i].empty()) {
            l = listeners[i];
        }
        return answers[i];
    }
    bool castConnecting(int i) override { return connecting[i]; }
    void castStart() override { calls.push_back("castStart"); }

    int count(const std::string& name) const {
        int n = 0;
        for (const auto& c : calls) {
            n += c == name;
        }
        return n;
    }
};

class ConsoleFixture : public ::testing::Test {
  protected:
    ConsoleFixture()
        : clock(core::dateSerial(2026, 11, 22) + core::timeSerial(10, 0, 0)), loop(clock) {
        settings.addPrivateFileName("appSettings.ini");
        loop.wrapEvent = [this](const std::function<void()>& fn) {
            core::EventScope scope(settings);
            fn();
        };
    }

    // Builds the console; call after preparing the station folder.
    core::Console& make() {
        core::Services s;
        s.clock = &clock;
        s.settings = &settings;
        s.engine = &engine;
        s.prompter = &prompter;
        s.loop = &loop;
        s.trash = &trash;
        console = station::makeConsole(dir.str(), s);
        return *console;
    }

    // The console with the tick's calls recorded instead of carried out.
    core::Console& makeWithRecordedTick() {
        make();
        auto calls = std::make_unique<RecordingTickCalls>();
        tick = calls.get();
        console->tickCalls = std::move(calls);
        return *console;
    }

    std::vector<std::string> appLogLines() const;
    std::string appSettingsFile() const { return (dir / "appSettings.ini").string(); }

    TempDir dir;
    core::VirtualClock clock;
    sim::VirtualEventLoop loop;
    core::SettingsStore settings;
    FakeEngine engine;
    sim::ScriptedPrompter prompter;
    RecordingTrash trash;
    std::unique_ptr<core::Console> console;
    RecordingTickCalls* tick = nullptr;
};

}  // namespace tw::test
