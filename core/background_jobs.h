#pragma once
// Short jobs on threads of their own (a connect, a kick request, the wait for an outside program),
// each ending within its own time limit. Finished threads are joined at the next run; the
// destructor joins the rest.
//
// Thread contract: run() and the destructor on one thread (the console thread); the jobs touch
// only what their own captures make safe to touch from another thread.

#include <atomic>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace tw::core {

class BackgroundJobs {
  public:
    BackgroundJobs() = default;
    ~BackgroundJobs() {
        for (Job& j : jobs_) {
            j.thread.join();
        }
    }
    BackgroundJobs(const BackgroundJobs&) = delete;
    BackgroundJobs& operator=(const BackgroundJobs&) = delete;

    void run(std::function<void()> work) {
        std::erase_if(jobs_, [](Job& j) {
            if (!j.done->load()) {
                return false;
            }
            j.thread.join();
            return true;
        });
        auto done = std::make_shared<std::atomic<bool>>(false);
        jobs_.push_back({std::thread([work = std::move(work), done] {
                             work();
                             done->store(true);
                         }),
                         done});
    }

  private:
    struct Job {
        std::thread thread;
        std::shared_ptr<std::atomic<bool>> done;
    };
    std::vector<Job> jobs_;
};

}  // namespace tw::core
