#pragma once
// Stream addresses opened off the console thread. An open waits for the network (up to the
// engine's 3 s); the console thread only asks for it and takes the stream when it comes back as a
// posted event, so that no tick is ever late because a station is slow, silent or gone.
//
// Thread contract: open() and the destructor on the console thread. Each open runs on a thread
// of its own and touches only the engine (whose streamCreateUrl may be called from any thread).
// `done` runs on the console thread and never after the opener is gone. The destructor waits for
// the opens still under way, each within its time limit.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "audio/engine.h"
#include "core/background_jobs.h"
#include "core/console.h"
#include "core/event_loop.h"

namespace tw::media {

class StreamOpener {
  public:
    // The stream (0 when the address could not be opened) and the engine's error for it.
    using Done = std::function<void(audio::Handle stream, int error)>;

    StreamOpener(audio::Engine& engine, core::EventLoop& loop);
    ~StreamOpener();
    StreamOpener(const StreamOpener&) = delete;
    StreamOpener& operator=(const StreamOpener&) = delete;

    void open(const std::string& url, std::uint32_t flags, Done done);

    // Waits until every open asked for has posted its answer, at most `limit`; false when some
    // are still under way then. For the simulator, whose virtual time must not run ahead of the
    // network while an address is being opened.
    bool waitForAnswers(std::chrono::milliseconds limit);

  private:
    struct Shared {
        bool alive = true;  // console thread only
    };

    audio::Engine& engine_;
    core::EventLoop& loop_;
    std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
    std::mutex mutex_;  // underWay_
    std::condition_variable answered_;
    int underWay_ = 0;           // opens whose answer has not been posted yet
    core::BackgroundJobs jobs_;  // last: joined first, while everything it uses still stands
};

// The console's opener, made at its first use.
StreamOpener& streamOpener(core::Console& c);

// The number of the open under way on player n (1 or 2), 0 when none. A load that puts anything
// else on the player sets it to 0, so that the open's late stream is freed when it comes.
std::uint32_t& openingOn(core::Console& c, int n);
bool isOpening(const core::Console& c, int n);

}  // namespace tw::media
