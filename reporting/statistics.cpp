#include "reporting/statistics.h"

#include <cmath>

#include "autodj/history.h"
#include "core/console_ops.h"
#include "core/failure.h"
#include "core/paths.h"
#include "core/text.h"
#include "tags/id3_tag.h"

namespace tw::reporting {

namespace {

void paintButton(core::Console& c, const std::string& caption, const std::string& second) {
    core::printOnButton(c.ui.statistics.cmdRunReport, core::ImageRole::Gray, caption, second);
}

std::string categoryFolder(core::Console& c, const std::string& category) {
    return c.AppFolder + "/Music/" + category;
}

}  // namespace

std::int32_t tuneOutPercentage(std::int32_t tuneOuts, std::int32_t playCount) {
    if (playCount == 0) {
        return 0;
    }
    const double share = static_cast<double>(tuneOuts) / playCount * 100.0;
    return core::cLng(core::roundHalfEven(share * 10.0) / 10.0);
}

void sortByPercentage(std::vector<ReportRow>& rows) {
    bool swapped = true;
    while (swapped) {
        swapped = false;
        for (std::size_t i = 1; i < rows.size(); ++i) {
            if (rows[i].percentage < rows[i - 1].percentage) {
                std::swap(rows[i], rows[i - 1]);
                swapped = true;
            }
        }
    }
}

void cmdViewStatistics_Click(core::Console& c) {
    auto& f = c.ui.statistics;
    if (!f.frmStatistics.visible) {
        showCatagoryList(c);
    }
    f.frmStatistics.visible = true;
    paintButton(c, "Report", "Process");
}

void showCatagoryList(core::Console& c) {
    auto& f = c.ui.statistics;
    auto& folders = c.form().dirList;
    core::refreshFileList(folders);
    f.lstCatagories.items.clear();
    f.lstCatagories.listIndex = -1;
    for (const auto& folder : folders.items) {
        f.lstCatagories.items.push_back({core::parsePath(folder.text, 6), 0, {}, false});
    }
    f.flSongs.pattern = c.form().fileList.pattern.empty() ? "*.mp3" : c.form().fileList.pattern;
    core::refreshFileList(f.flSongs);
}

void lstCatagories_Click(core::Console& c, int row) {
    auto& list = c.ui.statistics.lstCatagories;
    if (row < 0 || row >= list.listCount()) {
        return;
    }
    auto& item = list.items[static_cast<std::size_t>(row)];
    item.selected = !item.selected;  // the tick and the selection go together
}

void cmdRunReport_Click(core::Console& c) {
    auto& f = c.ui.statistics;
    auto& grid = f.lstSongList;
    grid.rows.clear();
    grid.row = -1;
    std::vector<ReportRow> rows;
    try {
        std::vector<std::pair<std::string, std::vector<std::string>>> ticked;
        std::size_t total = 0;
        for (const auto& item : f.lstCatagories.items) {
            if (!item.selected) {
                continue;
            }
            f.flSongs.path = categoryFolder(c, item.text);
            core::refreshFileList(f.flSongs);
            std::vector<std::string> files;
            for (const auto& file : f.flSongs.items) {
                files.push_back(file.text);
            }
            total += files.size();
            ticked.emplace_back(item.text, std::move(files));
        }
        if (total == 0) {
            return;
        }
        rows.reserve(total);
        tags::clsID3 tag;  // a tag object of its own: the console's keeps what it holds
        for (const auto& [category, files] : ticked) {
            for (const auto& file : files) {
                tag.filename(categoryFolder(c, category) + "/" + file);
                ReportRow r;
                r.category = category;
                r.trackName = tag.returnID3TitleOnly();
                r.playCount =
                    core::cLngText(autodj::readHistory(c, r.trackName, autodj::kPlayCount, "0"));
                r.tuneOuts =
                    core::cLngText(autodj::readHistory(c, r.trackName, autodj::kTunedOut, "0"));
                r.percentage = tuneOutPercentage(r.tuneOuts, r.playCount);
                rows.push_back(std::move(r));
            }
        }
        sortByPercentage(rows);
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const ReportRow& r = rows[i];
            core::GridRow row;
            row.cells = {r.category, r.trackName, std::to_string(r.playCount),
                         std::to_string(r.tuneOuts), std::to_string(r.percentage)};
            grid.rows.push_back(std::move(row));
            const auto percent = core::cLng(static_cast<double>(i + 1) / rows.size() * 100.0);
            paintButton(c, std::to_string(percent) + "%", "");
            core::yieldUi(c);
        }
    } catch (const std::exception& e) {
        core::logError(c,
                       "Error in the statistics report: " + core::describeFailure(e).description);
    }
    paintButton(c, "Report", "Process");
}

}  // namespace tw::reporting
