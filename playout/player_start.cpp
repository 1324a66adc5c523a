#include "playout/player_start.h"

#include "autodj/planner.h"
#include "core/console_ops.h"

namespace tw::playout {

void startNExt(core::Console& c) {
    // The players come on the air with the engine; until then there is nothing to start.
    (void)c;
}

void fadeTimer_Timer(core::Console& c) {
    if (!c.automated()) {
        return;
    }
    autodj::loadNextSong(c, 0);
    core::setFadeTimerEnabled(c, false);
}

}  // namespace tw::playout

namespace tw::core {

void setFadeTimerEnabled(Console& c, bool enabled) {
    c.ui.main.fadeTimer.enabled = enabled;
    if (!c.svc.loop) {
        return;
    }
    if (enabled && c.fadeTimerId == 0) {
        c.fadeTimerId = c.svc.loop->startTimer(c.ui.main.fadeTimer.interval,
                                               [&c] { playout::fadeTimer_Timer(c); });
    } else if (!enabled && c.fadeTimerId != 0) {
        c.svc.loop->stopTimer(c.fadeTimerId);
        c.fadeTimerId = 0;
    }
}

}  // namespace tw::core
