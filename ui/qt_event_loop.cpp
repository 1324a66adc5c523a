#include "ui/qt_event_loop.h"

#include <QCoreApplication>
#include <utility>

namespace tw::ui {

QtEventLoop::QtEventLoop(EventWrapper wrapEvent) : wrapEvent_(std::move(wrapEvent)) {}

QtEventLoop::~QtEventLoop() {
    // Nothing may fire while the members go; context_ then deletes the timers and drops every
    // queued call that has not run.
    for (auto& [id, t] : timers_) {
        t.timer->stop();
    }
}

void QtEventLoop::runEvent(const std::function<void()>& fn) {
    if (wrapEvent_) {
        wrapEvent_(fn);
    } else {
        fn();
    }
}

int QtEventLoop::startTimer(int intervalMs, std::function<void()> callback) {
    const int id = nextId_++;
    auto* timer = new QTimer(&context_);
    timer->setTimerType(Qt::PreciseTimer);
    timer->setInterval(intervalMs < 0 ? 0 : intervalMs);
    QObject::connect(timer, &QTimer::timeout, &context_,
                     [this, id, cb = std::move(callback)] { fire(id, cb); });
    timers_[id] = Timer{timer, false};
    timer->start();
    return id;
}

void QtEventLoop::fire(int id, const std::function<void()>& callback) {
    auto it = timers_.find(id);
    // A callback that yields (processPending) must not run itself again inside itself: the
    // nested timeout is skipped and the timer simply fires at its next interval.
    if (it == timers_.end() || it->second.running) {
        return;
    }
    it->second.running = true;
    runEvent(callback);
    // The callback may have stopped its own timer (or others): look it up again.
    it = timers_.find(id);
    if (it != timers_.end()) {
        it->second.running = false;
    }
}

void QtEventLoop::stopTimer(int id) {
    auto it = timers_.find(id);
    if (it == timers_.end()) {
        return;
    }
    QTimer* timer = it->second.timer;
    timers_.erase(it);
    timer->stop();
    // The timer may be the one whose timeout is being delivered right now.
    timer->deleteLater();
}

void QtEventLoop::post(std::function<void()> work) {
    QMetaObject::invokeMethod(
        &context_, [this, w = std::move(work)] { runEvent(w); }, Qt::QueuedConnection);
}

void QtEventLoop::processPending() {
    QCoreApplication::processEvents();
}

}  // namespace tw::ui
