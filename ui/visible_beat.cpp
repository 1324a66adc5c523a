#include "ui/visible_beat.h"

#include <QEvent>

namespace tw::ui {

VisibleBeat::VisibleBeat(QWidget& watched, int intervalMs, std::function<void()> beat)
    : watched_(watched) {
    timer_.setTimerType(Qt::CoarseTimer);
    timer_.setInterval(intervalMs);
    QObject::connect(&timer_, &QTimer::timeout, this, std::move(beat));
    watched_.installEventFilter(this);
    if (watched_.isVisible()) {
        timer_.start();
    }
}

bool VisibleBeat::eventFilter(QObject* object, QEvent* event) {
    if (object == &watched_) {
        if (event->type() == QEvent::Show) {
            timer_.start();
        } else if (event->type() == QEvent::Hide) {
            timer_.stop();
        }
    }
    return false;
}

}  // namespace tw::ui
