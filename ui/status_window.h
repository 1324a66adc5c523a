#pragma once
// The console's progress window (frmStatus): shown while the model says it is visible, in front
// of the console and without blocking it, with its bar (pctStatus) and text (lblProgress) drawn
// from the model. It looks at the model on its own beat; nothing in the console waits for it.
// The operator may close it: it then stays closed for the jobs under way, until he starts one.
//
// Thread contract: console thread only (a widget, and it reads the console).

#include <QWidget>
#include <memory>

#include "core/console.h"
#include "ui/visible_beat.h"

namespace tw::ui {

class StatusWindow final : public QWidget {
  public:
    // owner: the console's window, which this one stands in front of (may be nullptr).
    StatusWindow(core::Console& console, QWidget* owner, int beatMs = 100);

    // Shows or hides the window as frmStatus says and repaints it; called by the beat, and
    // public so that a caller need not wait for it.
    void follow();

  protected:
    void paintEvent(QPaintEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

  private:
    core::Console& console_;
    std::unique_ptr<VisibleBeat> beat_;  // follows while the console window is shown
};

}  // namespace tw::ui
