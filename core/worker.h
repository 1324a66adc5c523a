#pragma once
// A background worker for the console's long jobs (an import, a recount of the library): DoWork
// runs on a thread of the worker's own, and its progress and its end reach the owner as events
// on the console thread, through the console's event loop.
//
//   status 0 idle, 1 paused, 2 running, 3 finished; IsBusy in 1 and 2.
//   StartWorkAsync does nothing while the worker is busy.
//   PauseWork and ResumeWork hold and free the job at its next ReportProgress or
//   waitWhilePaused(); a thread cannot be stopped from outside without harm, so DoWork pauses
//   only where it looks.
//   CancelWork sets CancellationPending; DoWork reads it and stops by itself.
//   ReportProgress(percent, post): ProgressChanged(percent) on the console thread, queued when post
//   is true, else the job waits until the handler has run (so that, say, a message box is
//   answered before the job goes on).
//   WorkCompleted runs on the console thread after DoWork has returned, and after every progress
//   event the job reported.
//
// Thread contract: the worker object, StartWorkAsync, PauseWork, ResumeWork, CancelWork, IsBusy
// and WorkerStatus belong to the console thread; DoWork runs on the worker's thread and may call
// ReportProgress, CancellationPending, Param and waitWhilePaused. Events are never raised after
// the worker is destroyed: the destructor cancels the job, frees a paused one, lets a waiting
// report go and joins the thread.

#include <any>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>

#include "core/event_loop.h"

namespace tw::core {

class Worker {
  public:
    enum Status : int { Idle = 0, Paused = 1, Running = 2, Finished = 3 };

    struct Events {
        std::function<void(Worker&, const std::any& param)> DoWork;  // the worker's thread
        std::function<void(int percent)> ProgressChanged;            // the console thread
        std::function<void()> WorkCompleted;                         // the console thread
    };

    Worker(EventLoop& loop, Events events);
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    // Console thread.
    void StartWorkAsync(std::any param);
    bool IsBusy() const;
    void PauseWork();
    void ResumeWork();
    void CancelWork();
    int WorkerStatus() const { return status_.load(); }

    // The job's thread.
    void ReportProgress(int percent, bool post = true);
    // A posted report that stands in for any still waiting: at most one is queued, and it raises
    // ProgressChanged with the latest percent. For jobs that report far faster than the console
    // thread needs to look; the job updates what the handler reads before it calls this.
    void ReportLatest(int percent);
    bool CancellationPending() const { return cancel_.load(); }
    const std::any& Param() const { return param_; }
    void waitWhilePaused();

  private:
    // What the console thread's queued events share with the worker: alive ends with it.
    struct Shared {
        std::mutex mutex;
        std::condition_variable changed;
        bool alive = true;
        bool paused = false;
        long long reportsAnswered = 0;
    };

    void raiseProgress(int percent);

    EventLoop& loop_;
    Events events_;
    std::shared_ptr<Shared> shared_ = std::make_shared<Shared>();
    std::atomic<int> status_{Idle};
    std::atomic<bool> cancel_{false};
    std::any param_;
    std::thread thread_;
    long long reportsSent_ = 0;  // the job's thread only
    std::atomic<int> latestPercent_{0};
    std::atomic<bool> latestQueued_{false};
};

}  // namespace tw::core
