#pragma once

// A timer that beats only while a widget is shown. The console's windows look at the console's
// state on a beat to repaint and follow it; a console no one sees (headless, or not shown yet)
// then costs no wake-ups at all.
//
// Thread contract: the console thread only, like the widgets it serves.

#include <QObject>
#include <QTimer>
#include <QWidget>
#include <functional>

namespace tw::ui {

class VisibleBeat : public QObject {
  public:
    VisibleBeat(QWidget& watched, int intervalMs, std::function<void()> beat);

    bool running() const { return timer_.isActive(); }

  protected:
    bool eventFilter(QObject* object, QEvent* event) override;

  private:
    QWidget& watched_;
    QTimer timer_;
};

}  // namespace tw::ui
