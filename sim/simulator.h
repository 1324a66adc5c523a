#pragma once
// The station simulator: the console's logic, headless, in virtual time, driven by a scenario of
// one command a line:
//   load                      runs Form_Load
//   advance SECONDS           ticks and timers run in virtual time
//   press ELEMENT [left|right] [X [Y]]  X, Y: the pointer's position across and down it
//   drag SOURCE TARGET        an element dragged onto another (a track onto a player)
//   key CODE                  a key released (120 is F9)
//   select ELEMENT ROW
//   type ELEMENT TEXT
//   slide SLIDER VALUE        a slider moved by the operator ("slide
//   frmAppSettings.sldrTrimThreshold 12") key ELEMENT KEY           a key on an element ("key
//   lstPlaylists Delete") drop ELEMENT PATH...      files dropped on an element (paths without
//   blanks) pick CATEGORY [DATE]      runs the song picker for a slot at DATE ("YYYY-MM-DD
//   HH:MM:SS",
//                             default now) and prints "picked PATH" or "picked <none>"
//   answer TEXT               queues the answer of the next prompt
//   rotation NAME CAT...      writes the rotation Rotations/NAME (".rot" added when missing) with
//                             one row per category, no sweeper, through the console's own save;
//                             the grid on the screen is left as it was. Select it with
//                             "select flRotations ROW" or "select lstRotationOrList ROW".
//   category NAME             makes the category Music/NAME through the library's create action
//                             (its name prompt answered with NAME); nothing when it is there
//   record FILE SECONDS       advances like "advance" while writing the mix the engine rendered
//                             (the mixer before its volume, 44100 Hz stereo) to FILE as 16-bit
//                             PCM WAV; needs a simulator built on an offline MixEngine
//   dump [NAME]               the console's state and surface (or one element or variable) as JSON
//   resources                 prints "resources handles N channels N syncs N effects N encoders N
//                             rss N kB": the engine's live handles (on a MixEngine) and the
//                             process's resident memory
//   unload                    runs Form_Unload
// Blank lines and lines starting with "#" are skipped. An unknown command or a bad argument stops
// the run with a message and exit status 2.
//
// Thread contract: one thread drives a simulator.

#include <cstdint>
#include <functional>
#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "audio/engine.h"
#include "audio/mix_engine.h"
#include "core/console.h"
#include "core/settings_store.h"
#include "core/trash.h"
#include "sim/scripted_prompter.h"
#include "sim/virtual_event_loop.h"

namespace tw::sim {

// The render function for an offline engine: turns each stretch of virtual time into that many
// frames of 44100 Hz audio, carrying the fractions over so that no time is lost.
std::function<void(std::int64_t)> offlineRenderer(std::function<bool(std::size_t)> renderFrames);

// VmRSS of this process in kB, 0 when it cannot be read.
long residentKb();

class Simulator {
  public:
    // Receives every stretch of the mix the engine rendered: `frames` frames of interleaved
    // stereo at 44100 Hz, the mixer before its volume. Runs on the simulator's thread.
    using BusSink = std::function<void(const float* bus, std::size_t frames)>;

    // render, when given, advances the engine by that many microseconds of audio, before the
    // virtual clock moves on.
    Simulator(std::string station, core::DateValue start, std::unique_ptr<audio::Engine> engine,
              std::function<void(std::int64_t)> render = {});
    // On an offline engine: the simulator renders it in step with virtual time itself, and the
    // mix can be recorded ("record") and watched (setBusSink).
    Simulator(std::string station, core::DateValue start,
              std::unique_ptr<audio::MixEngine> offlineEngine);
    ~Simulator();
    Simulator(const Simulator&) = delete;
    Simulator& operator=(const Simulator&) = delete;

    // The sink for the rendered mix (empty: none). Only a simulator on an offline MixEngine
    // renders; "record" feeds its file and this sink alike.
    void setBusSink(BusSink sink) { busSink_ = std::move(sink); }
    bool rendersMix() const { return mix_ != nullptr; }

    // Runs a whole scenario; returns the exit status (0, or 2 on a bad command).
    int run(std::istream& in, std::ostream& out, std::ostream& err);
    // Runs one line; false with a message on a bad command.
    bool execute(const std::string& line, std::ostream& out, std::string& error);

    core::Console& console() { return *console_; }
    ScriptedPrompter& prompter() { return prompter_; }
    VirtualEventLoop& loop() { return loop_; }

  private:
    void renderMix(std::size_t frames);
    bool record(const std::string& file, double seconds, std::string& error);

    core::VirtualClock clock_;
    VirtualEventLoop loop_;
    core::SettingsStore settings_;
    ScriptedPrompter prompter_;
    core::DesktopTrash trash_;
    std::unique_ptr<audio::Engine> engine_;
    std::function<void(std::int64_t)> render_;  // advances the engine by virtual time
    std::unique_ptr<core::Console> console_;
    audio::MixEngine* mix_ = nullptr;  // the engine above when it renders offline
    std::vector<float> busBlock_;      // one block of the mixer's output
    BusSink busSink_;
    BusSink recordSink_;  // set while "record" runs
};

}  // namespace tw::sim
