#include "core/worker.h"

namespace tw::core {

Worker::Worker(EventLoop& loop, Events events) : loop_(loop), events_(std::move(events)) {}

Worker::~Worker() {
    cancel_.store(true);
    {
        const std::lock_guard lock(shared_->mutex);
        shared_->alive = false;
        shared_->paused = false;
    }
    shared_->changed.notify_all();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void Worker::StartWorkAsync(std::any param) {
    if (IsBusy()) {
        return;
    }
    if (thread_.joinable()) {
        thread_.join();  // the last job has ended: its thread only has to be collected
    }
    cancel_.store(false);
    {
        const std::lock_guard lock(shared_->mutex);
        shared_->paused = false;
    }
    param_ = std::move(param);
    status_.store(Running);
    thread_ = std::thread([this] {
        try {
            if (events_.DoWork) {
                events_.DoWork(*this, param_);
            }
        } catch (...) {
            // A job reports its own failures; an escaped one must not end the program.
        }
        status_.store(Finished);
        std::weak_ptr<Shared> weak = shared_;
        loop_.post([this, weak] {
            const auto shared = weak.lock();
            if (!shared || !shared->alive) {
                return;
            }
            param_.reset();
            if (events_.WorkCompleted) {
                events_.WorkCompleted();
            }
        });
    });
}

bool Worker::IsBusy() const {
    const int s = status_.load();
    return s == Paused || s == Running;
}

void Worker::PauseWork() {
    if (status_.load() != Running) {
        return;
    }
    {
        const std::lock_guard lock(shared_->mutex);
        shared_->paused = true;
    }
    status_.store(Paused);
}

void Worker::ResumeWork() {
    if (status_.load() != Paused) {
        return;
    }
    {
        const std::lock_guard lock(shared_->mutex);
        shared_->paused = false;
    }
    status_.store(Running);
    shared_->changed.notify_all();
}

void Worker::CancelWork() {
    cancel_.store(true);
}

void Worker::waitWhilePaused() {
    std::unique_lock lock(shared_->mutex);
    shared_->changed.wait(lock, [this] { return !shared_->paused || !shared_->alive; });
}

void Worker::raiseProgress(int percent) {
    if (events_.ProgressChanged) {
        events_.ProgressChanged(percent);
    }
}

void Worker::ReportLatest(int percent) {
    latestPercent_.store(percent);
    if (latestQueued_.exchange(true)) {
        return;  // the report that waits will read this percent
    }
    waitWhilePaused();
    std::weak_ptr<Shared> weak = shared_;
    loop_.post([this, weak] {
        const auto shared = weak.lock();
        if (!shared || !shared->alive) {
            return;
        }
        // Cleared before the handler reads the job's state: a later update posts again.
        latestQueued_.store(false);
        raiseProgress(latestPercent_.load());
    });
}

void Worker::ReportProgress(int percent, bool post) {
    waitWhilePaused();
    std::weak_ptr<Shared> weak = shared_;
    if (post) {
        loop_.post([this, weak, percent] {
            const auto shared = weak.lock();
            if (shared && shared->alive) {
                raiseProgress(percent);
            }
        });
        return;
    }
    const long long ticket = ++reportsSent_;
    loop_.post([this, weak, percent, ticket] {
        const auto shared = weak.lock();
        if (!shared) {
            return;
        }
        bool alive = false;
        {
            const std::lock_guard lock(shared->mutex);
            alive = shared->alive;
        }
        if (alive) {
            raiseProgress(percent);
        }
        {
            const std::lock_guard lock(shared->mutex);
            shared->reportsAnswered = ticket;
        }
        shared->changed.notify_all();
    });
    std::unique_lock lock(shared_->mutex);
    shared_->changed.wait(lock,
                          [&] { return shared_->reportsAnswered >= ticket || !shared_->alive; });
}

}  // namespace tw::core
