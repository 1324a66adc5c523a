#pragma once
// The cast connects of one start, made off the console thread: all at once, each within the
// engine's 3 s, so that twelve dead servers cost three seconds and never a tick of the console.
// Each result comes back to the console thread as a posted event, and the results are applied in
// encoder order, as the start's loop would have met them.
//
// Thread contract: run(), connecting(), busy() and the destructor on the console thread. The
// connects run on threads of their own (named "tw-connect") and touch only the engine (whose cast
// calls are safe from any thread) and their batch. apply runs on the console thread, never after
// the runner is gone.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "audio/engine.h"
#include "core/background_jobs.h"
#include "core/event_loop.h"

namespace tw::broadcast {

struct ConnectRequest {
    int index = 0;
    audio::Handle encoder = 0;
    std::string server, password, contentType, name, url, genre, description;
    std::uint32_t kbps = 0;
    bool isPublic = false;
};

class ConnectRunner {
  public:
    // why: the engine's reason when the connect failed, empty when it succeeded.
    using Apply =
        std::function<void(const ConnectRequest&, bool connected, const std::string& why)>;

    ConnectRunner(audio::Engine& engine, core::EventLoop& loop) : engine_(engine), loop_(loop) {}
    ~ConnectRunner();
    ConnectRunner(const ConnectRunner&) = delete;
    ConnectRunner& operator=(const ConnectRunner&) = delete;

    void run(std::vector<ConnectRequest> requests, Apply apply);
    // Connects whose results have not all been applied yet.
    bool busy() const;
    // The connect of this encoder (index and handle) is under way or its result not yet applied.
    bool connecting(int index, audio::Handle encoder) const;

  private:
    struct Batch;

    audio::Engine& engine_;
    core::EventLoop& loop_;
    std::vector<std::shared_ptr<Batch>> batches_;
    core::BackgroundJobs jobs_;  // last: joined first, while the batches still stand
};

}  // namespace tw::broadcast
