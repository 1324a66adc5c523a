#include "tags/cue_data.h"

#include "core/paths.h"
#include "core/text.h"
#include "tags/id3_tag.h"

namespace tw::tags {

core::CueRecord readCueRecord(core::Console& c, const std::string& path) {
    core::CueRecord r;
    if (path.empty()) {
        return r;
    }
    c.id3->filename(path);
    clsMp3TagData tag;
    c.id3->returnID3Tag(tag);
    const std::string& text = tag.tarnWaveData;
    // Each field on its own: one that fails keeps its reset value.
    if (core::token("~", 1, text) == "twTag") {
        r.tagPresent = true;
        try {
            r.sweeperIndex = core::cLng(core::val(core::token("~", 2, text)));
        } catch (const std::exception&) {
        }
        r.sweepText = core::token("~", 3, text);
        r.introText = core::token("~", 4, text);
        r.outroText = core::token("~", 5, text);
        r.nextText = core::token("~", 6, text);
        r.sweepStart = static_cast<float>(core::val(core::token("~", 7, text)));
        r.introUntil = static_cast<float>(core::val(core::token("~", 8, text)));
        r.outroUntil = static_cast<float>(core::val(core::token("~", 9, text)));
        r.nextStart = static_cast<float>(core::val(core::token("~", 10, text)));
    }
    const auto& grid = c.form().lstRotation;
    r.sweeperAllowed = grid.rowCount() > 0 && grid.row >= 0 && grid.row < grid.rowCount() &&
                       grid.rows[static_cast<std::size_t>(grid.row)].checked;
    return r;
}

}  // namespace tw::tags
