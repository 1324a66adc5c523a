#include "autodj/planner.h"

#include "core/paths.h"
#include "core/text.h"

namespace tw::autodj {

void loadNextSong(core::Console& c, std::int16_t flag) {
    // Nothing to load until the running list is picked from the library.
    (void)c;
    (void)flag;
}

void rePickItem(core::Console& c, int i) {
    // Rows are re-picked once the song picker is in place.
    (void)c;
    (void)i;
}

core::DateValue nextStartTime(core::Console& c) {
    const auto& m = c.form();
    const core::DateValue now = c.now();
    // Only the first label's tag is tested for emptiness, whichever player is on the air.
    if (m.lblTimeLeft1.tag.empty()) {
        return now;
    }
    if (c.activePlayer == 1) {
        return core::addSeconds(now, core::val(m.lblTimeLeft1.tag));
    }
    if (c.activePlayer == 2) {
        return core::addSeconds(now, core::val(m.lblTimeLeft2.tag));
    }
    return now;
}

std::int32_t timeToSeconds(std::string_view text) {
    if (text.empty()) {
        return 0;
    }
    const double h = core::val(core::token(":", 1, text));
    const double m = core::val(core::token(":", 2, text));
    const double s = core::val(core::token(":", 3, text));
    return core::cLng(h * 3600 + m * 60 + s);
}

}  // namespace tw::autodj
