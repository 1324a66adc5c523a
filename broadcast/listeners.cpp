#include "broadcast/listeners.h"

#include "autodj/history.h"
#include "broadcast/cast_state.h"
#include "core/console_ops.h"
#include "core/dates.h"
#include "core/text.h"

namespace tw::broadcast {

void lblListerners_Change(core::Console& c) {
    auto& s = *c.cast;
    auto& m = c.form();
    if (m.lblListerners.caption == s.listenersShown) {
        return;
    }
    s.listenersShown = m.lblListerners.caption;
    const std::int32_t now = core::cLng(core::val(m.lblListerners.caption));
    // A signed difference: listeners lost are charged, listeners won are given back.
    const std::int32_t stored =
        core::cLng(core::val(autodj::readHistory(c, c.currentTitle, autodj::kTunedOut, "0")));
    const std::int32_t delta = s.lastListenerCount - now;
    autodj::writeHistory(c, c.currentTitle, autodj::kTunedOut, std::to_string(stored + delta));
    autodj::writeHistory(c, c.currentTitle, autodj::kLastTimeTunedOut, core::generalDate(c.now()));
    s.lastListenerCount = now;
    if (core::val(m.lblPeakListeners.caption) < s.lastListenerCount) {
        m.lblPeakListeners.caption = core::str(s.lastListenerCount);
        lblPeakListeners_Change(c);
    }
}

void lblPeakListeners_Change(core::Console& c) {
    auto& s = *c.cast;
    const std::string& caption = c.form().lblPeakListeners.caption;
    if (caption == s.peakShown) {
        return;
    }
    s.peakShown = caption;
    core::writeIniValue(c, c.appSettingsPath(), "tarnWave", "lastPeak", caption);
}

void lblPeakListeners_DblClick(core::Console& c) {
    c.form().lblPeakListeners.caption.assign(1, '0');
    lblPeakListeners_Change(c);
}

}  // namespace tw::broadcast
