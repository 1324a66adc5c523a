// The library's figures: average track length per category, and from it with the rotation grid
// the laps and the repeat time of each category.

#include <cmath>

#include "autodj/history.h"
#include "autodj/library.h"
#include "autodj/library_state.h"
#include "core/console_ops.h"
#include "core/failure.h"
#include "core/text.h"
#include "media/stream_time.h"

namespace tw::autodj {

namespace {

// Length of one file in milliseconds, rounded, through a decoding stream.
double fileMilliseconds(core::Console& c, const std::string& path) {
    audio::Engine& engine = c.engine();
    const audio::Handle h = media::openStream(engine, path, 0, 0, audio::kStreamDecode, path);
    const media::cbass_time times(engine);
    const double ms = core::roundHalfEven(static_cast<double>(times.GetDuration(h)) * 1000);
    engine.streamFree(h);
    return ms;
}

std::int32_t& figure(std::vector<std::int32_t>& figures, std::size_t itemNumber) {
    if (itemNumber >= figures.size()) {
        core::failSubscript();
    }
    return figures[itemNumber];
}

}  // namespace

void cmdCalculate(core::Console& c, bool silent) {
    auto& m = c.form();
    const int categories = m.lstPlaylist1.listCount();
    if (categories == 0) {
        return;
    }
    if (!silent) {
        core::ShowStatus(c, 0);
    }
    std::int32_t lastTrack = 0;
    for (int i = 0; i < categories; ++i) {
        lstPlaylist1_Click(c, i);
        const auto& files = m.fileList1.items;
        if (files.empty()) {
            continue;
        }
        const std::string& category = m.lstPlaylist1.items[static_cast<std::size_t>(i)].text;
        const auto count = static_cast<std::int32_t>(files.size());
        double total = 0;
        for (std::int32_t j = 0; j < count; ++j) {
            total += fileMilliseconds(
                c, c.AppFolder + c.activeDirectory + files[static_cast<std::size_t>(j)].text);
            lastTrack = j + 1;
            if (!silent) {
                core::setStatusText(
                    c, "Playlist: " + category + " Track Number: " + std::to_string(lastTrack));
                core::ShowStatus(c, static_cast<double>(lastTrack) / count);
            }
        }
        figure(c.library->averageSong, static_cast<std::size_t>(i) + 1) =
            core::cLng(total / 1000 / count);
        core::yieldUi(c);
    }
    core::writeIniValue(c, c.appSettingsPath(), "tarnWave", "lastAverageSong",
                        std::to_string(lastTrack));
}

void lookForLibraryTimes(core::Console& c) {
    cmdCalculate(c, true);
}

void populateAllowableRepeatTime(core::Console& c, bool flag) {
    (void)flag;  // callers pass it; the figures are the same either way
    auto& m = c.form();
    const int categories = m.lstPlaylist1.listCount();
    if (categories == 0) {
        return;
    }
    const int savedIndex = m.lstPlaylist1.listIndex;
    auto& lib = *c.library;
    try {
        // The lap: one pass of the rotation, each row counting its category's average length.
        double lapLength = 0;
        for (int i = 0; i < categories; ++i) {
            const std::string name =
                core::trim(m.lstPlaylist1.items[static_cast<std::size_t>(i)].text);
            for (const auto& row : m.lstRotation.rows) {
                if (row.cells.size() > 1 && core::trim(row.cells[1]) == name) {
                    lapLength += figure(lib.averageSong, static_cast<std::size_t>(i) + 1);
                }
            }
        }
        for (int i = 0; i < categories; ++i) {
            lstPlaylist1_Click(c, i);
            const std::string name =
                core::trim(m.lstPlaylist1.items[static_cast<std::size_t>(i)].text);
            int uses = 0;
            for (const auto& row : m.lstRotation.rows) {
                uses += row.cells.size() > 1 && core::trim(row.cells[1]) == name;
            }
            // A category that no row uses divides by 0 and ends the pass here.
            const std::int32_t laps = core::cLng(checkedDivide(m.fileList1.listCount(), uses));
            figure(lib.lapsPerCatagory, static_cast<std::size_t>(i) + 1) = laps;
            figure(lib.repeatTime, static_cast<std::size_t>(i) + 1) =
                core::cLng(static_cast<double>(laps) * lapLength);
        }
        if (savedIndex >= 0 && savedIndex < categories) {
            lstPlaylist1_Click(c, savedIndex);
        }
        core::closeStatus(c);
    } catch (const std::exception& e) {
        core::printMessageOnScreen(
            c, " Error in populateAllowable RepeatTime:" + core::describeFailure(e).description);
    }
}

}  // namespace tw::autodj
