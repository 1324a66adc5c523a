#include "reporting/statistics.h"

#include <algorithm>
#include <cmath>
#include <memory>

#include "autodj/history.h"
#include "core/console_ops.h"
#include "core/failure.h"
#include "core/paths.h"
#include "core/text.h"
#include "core/worker.h"
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

// What the report's worker and the console thread share: the tracks are fixed before the start,
// the titles are the worker's until its end.
struct ReportState {
    struct Track {
        std::string category;
        std::string path;
    };
    std::vector<Track> tracks;
    std::vector<std::string> titles;  // by track
};

struct ReportJob {
    std::unique_ptr<core::Worker> worker;
    std::shared_ptr<ReportState> state;  // the report that runs, if any
};

namespace {

// The worker's part: every track's title, read through a tag object of the job's own.
void readTitles(core::Worker& w, ReportState& s) {
    tags::clsID3 tag;
    const std::size_t count = s.tracks.size();
    for (std::size_t i = 0; i < count && !w.CancellationPending(); ++i) {
        tag.filename(s.tracks[i].path);
        s.titles[i] = tag.returnID3TitleOnly();
        w.ReportLatest(static_cast<int>((i + 1) * 100 / count));
    }
}

// The console thread's part, at the worker's end: the history of each title, the order, the
// grid, and the progress of the rows on the button.
void fillReport(core::Console& c) {
    const std::shared_ptr<ReportState> s = std::move(c.reportJob->state);
    auto& grid = c.ui.statistics.lstSongList;
    try {
        std::vector<ReportRow> rows;
        rows.reserve(s->tracks.size());
        const std::string played = c.playedIniPath();
        for (std::size_t i = 0; i < s->tracks.size(); ++i) {
            ReportRow r;
            r.category = s->tracks[i].category;
            r.trackName = std::move(s->titles[i]);
            r.playCount = core::cLngText(
                autodj::readHistory(c, played, r.trackName, autodj::kPlayCount, "0"));
            r.tuneOuts =
                core::cLngText(autodj::readHistory(c, played, r.trackName, autodj::kTunedOut, "0"));
            r.percentage = tuneOutPercentage(r.tuneOuts, r.playCount);
            rows.push_back(std::move(r));
        }
        sortByPercentage(rows);
        grid.rows.reserve(rows.size());
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const ReportRow& r = rows[i];
            core::GridRow row;
            row.cells = {r.category, r.trackName, std::to_string(r.playCount),
                         std::to_string(r.tuneOuts), std::to_string(r.percentage)};
            grid.rows.push_back(std::move(row));
        }
    } catch (const std::exception& e) {
        core::logError(c,
                       "Error in the statistics report: " + core::describeFailure(e).description);
    }
    paintButton(c, "Report", "Process");
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
    std::stable_sort(rows.begin(), rows.end(), [](const ReportRow& a, const ReportRow& b) {
        return a.percentage < b.percentage;
    });
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
    if (reportRunning(c)) {
        return;  // one report at a time; its end paints the button back
    }
    auto& f = c.ui.statistics;
    auto& grid = f.lstSongList;
    grid.rows.clear();
    grid.row = -1;
    auto state = std::make_shared<ReportState>();
    try {
        for (const auto& item : f.lstCatagories.items) {
            if (!item.selected) {
                continue;
            }
            f.flSongs.path = categoryFolder(c, item.text);
            core::refreshFileList(f.flSongs);
            for (const auto& file : f.flSongs.items) {
                state->tracks.push_back({item.text, f.flSongs.path + "/" + file.text});
            }
        }
    } catch (const std::exception& e) {
        core::logError(c,
                       "Error in the statistics report: " + core::describeFailure(e).description);
        return;
    }
    if (state->tracks.empty()) {
        return;
    }
    state->titles.resize(state->tracks.size());
    if (!c.reportJob) {
        c.reportJob = std::make_shared<ReportJob>();
        c.reportJob->worker = std::make_unique<core::Worker>(
            *c.svc.loop, core::Worker::Events{
                             [](core::Worker& w, const std::any& param) {
                                 readTitles(w, *std::any_cast<std::shared_ptr<ReportState>>(param));
                             },
                             [&c](int percent) {
                                 if (reportRunning(c)) {
                                     paintButton(c, std::to_string(percent) + "%", "");
                                 }
                             },
                             [&c] { fillReport(c); }});
    }
    c.reportJob->state = state;
    paintButton(c, "0%", "");
    c.reportJob->worker->StartWorkAsync(state);
}

bool reportRunning(const core::Console& c) {
    return c.reportJob && c.reportJob->state;
}

}  // namespace tw::reporting
