#pragma once
// Outside programs that the console starts and does not wait for (the voice track's encoder): each
// is started directly, without a shell, with its standard streams on /dev/null, and its end is
// reported on the console thread.
//
// Thread contract: start() and the destructor on the console thread. Each program has a waiter
// thread of its own; `done` runs on the console thread through the event loop. The destructor
// ends the programs still running (SIGTERM) and waits for their waiters.

#include <sys/types.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "core/background_jobs.h"
#include "core/event_loop.h"

namespace tw::core {

// Runs argv[0] (looked up on the PATH) to its end: `input` goes to its standard input, its
// standard output comes back in `output`, its standard error is discarded. False when it cannot
// be started or does not exit with status 0. Blocks the calling thread meanwhile.
bool runCapturing(const std::vector<std::string>& argv, const std::string& input,
                  std::string& output);

class ProgramRunner {
  public:
    explicit ProgramRunner(EventLoop& loop);
    ~ProgramRunner();
    ProgramRunner(const ProgramRunner&) = delete;
    ProgramRunner& operator=(const ProgramRunner&) = delete;

    // Starts argv[0] (looked up on the PATH) in `folder`. False when it cannot be started; else
    // `done` gets its exit status (0 for success, -1 when it did not exit normally) later.
    bool start(const std::vector<std::string>& argv, const std::string& folder,
               std::function<void(int status)> done);

    // How many of the programs started are still running; any thread.
    std::size_t running() {
        std::lock_guard lock(mutex_);
        return running_.size();
    }

  private:
    EventLoop& loop_;
    std::mutex mutex_;
    std::vector<pid_t> running_;
    bool closing_ = false;    // no `done` is posted any more
    BackgroundJobs waiters_;  // last: joined first, after the programs were told to end
};

}  // namespace tw::core
