#include "autodj/library_jobs.h"

#include <deque>
#include <filesystem>
#include <mutex>

#include "autodj/library.h"
#include "autodj/library_state.h"
#include "autodj/loudness.h"
#include "autodj/tag_fill.h"
#include "core/atomic_file.h"
#include "core/console_ops.h"
#include "core/failure.h"
#include "core/paths.h"
#include "core/prompter.h"
#include "core/text.h"
#include "core/worker.h"
#include "media/song_length.h"
#include "tags/id3_tag.h"

namespace tw::autodj {

namespace fs = std::filesystem;

// The states below have linkage: LibraryJobs, declared in the header, holds them.

// What an import's thread and the console thread share; every field under the mutex.
struct ImportState {
    std::vector<std::string> files;
    std::string folder;  // the category's folder when the batch started
    std::mutex mutex;
    std::size_t done = 0;
    std::string current;
    std::vector<std::string> rejected;  // waiting for their message
    std::string error;
    std::unordered_map<std::string, LibraryState::TitleHint> titles;
};

struct RecountCategory {
    std::size_t itemNumber = 0;  // from 1
    std::string name;
    std::vector<std::string> paths;
};

// What a recount's thread and the console thread share; every field under the mutex.
struct RecountState {
    std::vector<RecountCategory> categories;
    std::mutex mutex;
    std::string category;
    std::int32_t track = 0;
    std::size_t count = 0;
    std::vector<double> totalMs;  // by category, as measured
    std::int32_t lastTrack = 0;
};

namespace {

bool isMp3(const std::string& path) {
    return core::toLower(core::parsePath(path, 5)) == ".mp3";
}

}  // namespace

struct LibraryJobs {
    std::unique_ptr<core::Worker> importer;
    std::shared_ptr<ImportState> import;
    // Batches handed in while one ran, with the folder chosen when they came.
    std::deque<std::pair<std::vector<std::string>, std::string>> waiting;
    std::unique_ptr<core::Worker> recounter;
    std::shared_ptr<RecountState> recount;
    bool recountAgain = false;  // asked for while one ran
};

namespace {

LibraryJobs& jobs(core::Console& c) {
    if (!c.libraryJobs) {
        c.libraryJobs = std::make_shared<LibraryJobs>();
    }
    return *c.libraryJobs;
}

// Reads the titles of the folder's tracks, as the track list will show them.
std::unordered_map<std::string, LibraryState::TitleHint> readTitles(const std::string& folder,
                                                                    const core::Worker& w) {
    std::unordered_map<std::string, LibraryState::TitleHint> titles;
    std::error_code ec;
    tags::clsID3 tag;  // one of the job's own: the console's belongs to its thread
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        if (w.CancellationPending()) {
            break;
        }
        const std::string path = it->path().string();
        if (!it->is_regular_file(ec) || !isMp3(path)) {
            continue;
        }
        tag.filename(path);
        std::string title = tag.returnID3TitleOnly();
        if (!tag.lastWriteError().empty()) {
            continue;  // the fill reads it again and logs the failure
        }
        const auto written = fs::last_write_time(path, ec);
        if (!ec) {
            titles[path] = {std::move(title), written};
        }
    }
    return titles;
}

void importDoWork(core::Worker& w, const std::shared_ptr<ImportState>& s) {
    const std::size_t count = s->files.size();
    for (std::size_t i = 0; i < count && !w.CancellationPending(); ++i) {
        const std::string& file = s->files[i];
        const int percent = static_cast<int>((i + 1) * 100 / count);
        if (!isMp3(file)) {
            {
                const std::lock_guard lock(s->mutex);
                s->rejected.push_back(file);
                s->done = i + 1;
                s->current = file;
            }
            w.ReportProgress(percent, false);  // its message is answered before the next file
            continue;
        }
        try {
            core::copyIntoFolder(file, s->folder);
        } catch (const std::exception& e) {
            const std::lock_guard lock(s->mutex);
            s->error = file + ": " + core::describeFailure(e).description;
            break;
        }
        {
            const std::lock_guard lock(s->mutex);
            s->done = i + 1;
            s->current = file;
        }
        w.ReportLatest(percent);
    }
    auto titles = readTitles(s->folder, w);
    const std::lock_guard lock(s->mutex);
    s->titles = std::move(titles);
}

void importProgress(core::Console& c, ImportState& s) {
    std::vector<std::string> rejected;
    std::string current;
    double fraction = 0;
    {
        const std::lock_guard lock(s.mutex);
        rejected.swap(s.rejected);
        current = s.current;
        fraction = s.files.empty() ? 0 : static_cast<double>(s.done) / s.files.size();
    }
    core::setStatusText(c, "Importing:" + current);
    core::ShowStatus(c, fraction);
    for (const std::string& path : rejected) {
        c.svc.prompter->messageBox(path + " Cannot be Imported,TarnWave only accepts .mp3 Files",
                                   "TarnWave", core::MessageButtons::Ok, core::MessageIcon::None);
    }
}

void startImport(core::Console& c, std::vector<std::string> files, const std::string& folder);

void importCompleted(core::Console& c) {
    LibraryJobs& j = jobs(c);
    const std::shared_ptr<ImportState> s = std::move(j.import);
    std::string error;
    std::vector<std::string> copies;
    {
        const std::lock_guard lock(s->mutex);
        error = s->error;
        c.library->titleHints = std::move(s->titles);
        for (std::size_t i = 0; i < s->done && i < s->files.size(); ++i) {
            if (isMp3(s->files[i])) {
                copies.push_back(s->folder + "/" + fs::path(s->files[i]).filename().string());
            }
        }
    }
    if (!error.empty()) {
        core::logError(c, "Error in importFiles: " + error);
        core::printMessageOnScreen(c, "Error in importFiles: " + error);
    }
    core::closeStatus(c);
    auto& m = c.form();
    core::refreshFileList(m.fileList);
    core::refreshFileList(m.fileList1);
    if (m.lstPlaylists.listIndex >= 0) {
        lstPlaylists_Click(c, m.lstPlaylists.listIndex);
    }
    c.library->titleHints.clear();
    askLoudness(c, copies);  // measured as soon as they are in
    cmdCalculate_Click(c);
    startTagFill(c);  // their tags as well, for the picks and the track list
    if (!j.waiting.empty()) {
        auto [files, folder] = std::move(j.waiting.front());
        j.waiting.pop_front();
        startImport(c, std::move(files), folder);
    }
}

// A job's worker: its thread runs doWork on the job's state; its progress shows the state the
// console holds in `current` while the job runs; its end runs completed.
template <typename State>
std::unique_ptr<core::Worker> jobWorker(
    core::Console& c, void (*doWork)(core::Worker&, const std::shared_ptr<State>&),
    void (*progress)(core::Console&, State&), std::shared_ptr<State> LibraryJobs::*current,
    void (*completed)(core::Console&)) {
    return std::make_unique<core::Worker>(
        *c.svc.loop, core::Worker::Events{[doWork](core::Worker& w, const std::any& param) {
                                              doWork(w,
                                                     std::any_cast<std::shared_ptr<State>>(param));
                                          },
                                          [&c, progress, current](int) {
                                              if (c.libraryJobs && c.libraryJobs.get()->*current) {
                                                  progress(c, *(c.libraryJobs.get()->*current));
                                              }
                                          },
                                          [&c, completed] { completed(c); }});
}

void startImport(core::Console& c, std::vector<std::string> files, const std::string& folder) {
    LibraryJobs& j = jobs(c);
    if (!j.importer) {
        j.importer =
            jobWorker(c, &importDoWork, &importProgress, &LibraryJobs::import, &importCompleted);
    }
    auto s = std::make_shared<ImportState>();
    s->files = std::move(files);
    s->folder = folder;
    j.import = s;
    core::ShowStatus(c, 0);
    j.importer->StartWorkAsync(s);
}

void recountDoWork(core::Worker& w, const std::shared_ptr<RecountState>& s) {
    for (std::size_t i = 0; i < s->categories.size() && !w.CancellationPending(); ++i) {
        const RecountCategory& category = s->categories[i];
        double total = 0;
        for (std::size_t t = 0; t < category.paths.size() && !w.CancellationPending(); ++t) {
            total += core::roundHalfEven(media::fileSeconds(category.paths[t]) * 1000);
            {
                const std::lock_guard lock(s->mutex);
                s->category = category.name;
                s->track = static_cast<std::int32_t>(t + 1);
                s->count = category.paths.size();
                s->lastTrack = s->track;
            }
            w.ReportLatest(static_cast<int>((t + 1) * 100 / category.paths.size()));
        }
        const std::lock_guard lock(s->mutex);
        s->totalMs[i] = total;
    }
}

void recountProgress(core::Console& c, RecountState& s) {
    const std::lock_guard lock(s.mutex);
    if (s.count == 0) {
        return;
    }
    core::setStatusText(c, "Playlist: " + s.category + " Track Number: " + std::to_string(s.track));
    core::ShowStatus(c, static_cast<double>(s.track) / s.count);
}

void recountCompleted(core::Console& c) {
    LibraryJobs& j = jobs(c);
    const std::shared_ptr<RecountState> s = std::move(j.recount);
    try {
        const std::lock_guard lock(s->mutex);
        auto& averages = c.library->averageSong;
        for (std::size_t i = 0; i < s->categories.size(); ++i) {
            const RecountCategory& category = s->categories[i];
            // The categories may have changed while the job ran: a figure without its place
            // waits for the next recount.
            if (category.itemNumber < averages.size()) {
                averages[category.itemNumber] =
                    core::cLng(s->totalMs[i] / 1000 / static_cast<double>(category.paths.size()));
            }
        }
        core::writeIniValue(c, c.appSettingsPath(), "tarnWave", "lastAverageSong",
                            std::to_string(s->lastTrack));
    } catch (const std::exception& e) {
        core::logError(c, "Error in cmdCalculate: " + core::describeFailure(e).description);
    }
    if (j.recountAgain) {
        j.recountAgain = false;
        cmdCalculate_Click(c);
    }
}

}  // namespace

void importFiles(core::Console& c, const std::vector<std::string>& files) {
    if (files.empty()) {
        return;
    }
    // The category the operator sees on the track list.
    const auto& categories = c.form().lstPlaylists;
    if (categories.listIndex < 0 || categories.listIndex >= categories.listCount()) {
        core::printMessageOnScreen(c, "Choose a category to import into");
        return;
    }
    const std::string folder =
        c.AppFolder + "/Music/" +
        categories.items[static_cast<std::size_t>(categories.listIndex)].text;
    LibraryJobs& j = jobs(c);
    if (j.import) {
        j.waiting.emplace_back(files, folder);  // after the batch that runs
        return;
    }
    startImport(c, files, folder);
}

void pctAddSongs_Click(core::Console& c) {
    core::FileDialog dialog;
    dialog.title = "Add Tracks";
    dialog.filter = "*.mp3|*.mp3*";
    dialog.multiSelect = true;
    const auto chosen = c.svc.prompter->openFiles(dialog);
    if (chosen && !chosen->empty()) {
        importFiles(c, *chosen);
    }
}

void lstSongs_DragDrop(core::Console& c, const std::vector<std::string>& files) {
    importFiles(c, files);
}

void deleteSelectedTracks(core::Console& c) {
    auto& m = c.form();
    const auto answer = c.svc.prompter->messageBox(
        "Are you Sure you would like to move all the selected file to the Recycle Bin", "TarnWave",
        core::MessageButtons::YesNo, core::MessageIcon::Question);
    if (answer != core::Answer::Yes) {
        return;
    }
    try {
        const auto& rows = m.lstSongs.items;
        const auto& files = c.library->trackFiles;
        bool any = false;
        for (std::size_t i = 0; i < rows.size() && i < files.size(); ++i) {
            if (rows[i].selected) {
                core::moveToRecycle(c, files[i], 0, true);
                any = true;
            }
        }
        const int chosen = m.lstSongs.listIndex;
        if (!any && chosen >= 0 && chosen < static_cast<int>(files.size())) {
            core::moveToRecycle(c, files[static_cast<std::size_t>(chosen)], 0, true);
        }
        core::refreshFileList(m.fileList);
        core::refreshFileList(m.fileList1);
        if (m.lstPlaylists.listIndex >= 0) {
            lstPlaylists_Click(c, m.lstPlaylists.listIndex);
        }
    } catch (const std::exception& e) {
        c.svc.prompter->messageBox(
            "Error Trying to Delete File, Try Again:" + core::describeFailure(e).description,
            "TarnWave", core::MessageButtons::Ok, core::MessageIcon::None);
    }
}

void cmdCalculate_Click(core::Console& c) {
    LibraryJobs& j = jobs(c);
    if (j.recount) {
        j.recountAgain = true;
        return;
    }
    auto& m = c.form();
    const int count = m.lstPlaylist1.listCount();
    if (count == 0) {
        return;
    }
    auto s = std::make_shared<RecountState>();
    for (int i = 0; i < count; ++i) {
        lstPlaylist1_Click(c, i);
        const auto& files = m.fileList1.items;
        if (files.empty()) {
            continue;
        }
        RecountCategory category;
        category.itemNumber = static_cast<std::size_t>(i) + 1;
        category.name = m.lstPlaylist1.items[static_cast<std::size_t>(i)].text;
        category.paths.reserve(files.size());
        for (const auto& file : files) {
            category.paths.push_back(c.AppFolder + c.activeDirectory + file.text);
        }
        s->categories.push_back(std::move(category));
    }
    s->totalMs.assign(s->categories.size(), 0);
    if (!j.recounter) {
        j.recounter = jobWorker(c, &recountDoWork, &recountProgress, &LibraryJobs::recount,
                                &recountCompleted);
    }
    j.recount = s;
    core::ShowStatus(c, 0);
    j.recounter->StartWorkAsync(s);
}

bool libraryJobsBusy(const core::Console& c) {
    return c.libraryJobs &&
           (c.libraryJobs->import || c.libraryJobs->recount || !c.libraryJobs->waiting.empty());
}

}  // namespace tw::autodj
