#pragma once
// Outside programs that the console starts and does not wait for (the voice track's encoder, the
// printer): each is started directly, without a shell, and its end is reported on the console
// thread with its exit status and the last line it printed, so that a failure can be told.
//
// A program that writes a file is given a part file beside its target (partFileFor) and the
// runner puts that file into place only when the program ended whole (exit status 0): a program
// that fails, is killed, or is still running when the console goes leaves no half file under the
// target's name, and a file of that name stays as it was until the new one is complete.
//
// Thread contract: start(), finish(), partFileFor() and the destructor on the console thread.
// Each program has a waiter thread of its own, which feeds its standard input, reads what it
// prints, waits for it and puts its file into place or removes it; `done` runs on the console
// thread, through the event loop or inside finish(). The destructor ends the programs still
// running (SIGTERM, SIGKILL a second later) and waits for their waiters; their `done` does not
// run then.

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
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

// How a program ended.
struct ProgramEnd {
    int status = -1;        // its exit status; -1 when it did not exit by itself
    int signal = 0;         // the signal that ended it, else 0
    std::string lastLine;   // the last line it printed, on its standard output or error
    std::string fileError;  // why its file could not be put into place; empty when it could
    bool whole() const { return status == 0 && fileError.empty(); }
    // "lame ended with exit status 3: <its last line>", and the like.
    std::string describe(const std::string& program) const;
};

struct ProgramJob {
    std::vector<std::string> argv;
    std::string folder;                // its working folder; empty: the console's
    std::optional<std::string> input;  // its standard input; none: /dev/null
    std::string partFile;              // the file it writes (from partFileFor), or empty
    std::string target;                // where the part file goes when the program ended whole
};

class ProgramRunner {
  public:
    explicit ProgramRunner(EventLoop& loop);
    ~ProgramRunner();
    ProgramRunner(const ProgramRunner&) = delete;
    ProgramRunner& operator=(const ProgramRunner&) = delete;

    // Starts the job's program. False when it cannot be started (its part file is removed then);
    // else `done` gets its end later.
    bool start(ProgramJob job, std::function<void(const ProgramEnd&)> done);
    // Starts argv[0] in `folder`; `done` gets its exit status (0 for success, -1 when it did not
    // exit normally).
    bool start(const std::vector<std::string>& argv, const std::string& folder,
               std::function<void(int status)> done);

    // A name for a part file in the target's folder: hidden, short whatever the target's name,
    // and different for every call.
    std::string partFileFor(const std::string& target);

    // Shut-down: gives the programs still running up to `limit` to end by themselves, then ends
    // the rest (SIGTERM, SIGKILL a second later). Every `done` of a program that ended and was
    // not yet reported runs before this returns.
    void finish(std::chrono::milliseconds limit);

    // How many of the programs started are still running; any thread.
    std::size_t running() {
        std::lock_guard lock(state_->mutex);
        return state_->running.size();
    }

  private:
    // What the waiters share with the console thread; the event loop's posts hold it too, so
    // that one that runs after the runner has gone finds it still there.
    struct State {
        std::mutex mutex;
        std::condition_variable ended;  // a program's end was recorded
        std::vector<pid_t> running;
        std::deque<std::function<void()>> reports;  // `done` calls the console has yet to run
        bool closing = false;                       // no `done` is kept any more
        // Console thread: runs the reports queued so far.
        void runReports();
    };
    // Signals the programs still running; false when none is.
    bool signalRunning(int sig);
    // Waits until none runs or `until`; true when none runs.
    bool waitUntil(std::chrono::steady_clock::time_point until);

    EventLoop& loop_;
    std::shared_ptr<State> state_ = std::make_shared<State>();
    std::uint64_t parts_ = 0;
    BackgroundJobs waiters_;  // last: joined first, after the programs were told to end
};

}  // namespace tw::core
