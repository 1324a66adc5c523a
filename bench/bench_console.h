#pragma once
// A console for the benchmarks that time a background job as the operator lives it: the engine's
// stand-in, a virtual event loop driven in real time, and what the console thread went through
// meanwhile (the longest event, the longest gap between two 60 ms ticks).
//
// Thread contract: one thread (the benchmark's) is the console thread.

#include <algorithm>
#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "core/console.h"
#include "core/settings_store.h"
#include "sim/scripted_prompter.h"
#include "sim/virtual_event_loop.h"
#include "station/console_assembly.h"
#include "tests/testlib/fake_engine.h"

namespace tw::bench {

class BenchConsole {
  public:
    using Clock = std::chrono::steady_clock;

    BenchConsole(const std::string& folder, core::DateValue start) : clock_(start), loop_(clock_) {
        engine_.recordCalls = false;
        core::Services s{&clock_, &settings_, &engine_, &prompter_, &loop_, nullptr};
        console_ = station::makeConsole(folder, s);
        loop_.wrapEvent = [this](const std::function<void()>& fn) { event(fn); };
    }

    core::Console& console() { return *console_; }

    // Runs fn as one console event, timed.
    void event(const std::function<void()>& fn) {
        core::EventScope scope(settings_);
        const auto t0 = Clock::now();
        fn();
        longestEvent_ = std::max(longestEvent_, secondsSince(t0));
    }

    // Starts the job as one event, then runs the console's events in real time, with a 60 ms
    // tick beating, while busy() holds. Returns the seconds the whole took.
    double run(const std::function<void()>& start, const std::function<bool()>& busy) {
        auto lastTick = Clock::now();
        const int timer = loop_.startTimer(60, [&] {
            const auto now = Clock::now();
            longestGap_ =
                std::max(longestGap_, std::chrono::duration<double>(now - lastTick).count());
            lastTick = now;
        });
        const auto t0 = Clock::now();
        event(start);
        auto last = Clock::now();
        lastTick = last;
        while (busy()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
            const auto now = Clock::now();
            loop_.advance(std::chrono::duration<double>(now - last).count());
            last = now;
        }
        loop_.stopTimer(timer);
        return secondsSince(t0);
    }

    double longestEventMs() const { return longestEvent_ * 1000; }
    double longestTickGapMs() const { return longestGap_ * 1000; }

    static double secondsSince(Clock::time_point t) {
        return std::chrono::duration<double>(Clock::now() - t).count();
    }

  private:
    core::VirtualClock clock_;
    sim::VirtualEventLoop loop_;
    core::SettingsStore settings_;
    test::FakeEngine engine_;
    sim::ScriptedPrompter prompter_;
    std::unique_ptr<core::Console> console_;
    double longestEvent_ = 0;
    double longestGap_ = 0;
};

}  // namespace tw::bench
