#include "autodj/tag_fill.h"

#include <sys/stat.h>

#include <algorithm>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "autodj/library.h"
#include "autodj/library_jobs.h"
#include "autodj/library_state.h"
#include "autodj/tag_cache.h"
#include "core/console_ops.h"
#include "core/file_listing.h"
#include "core/worker.h"
#include "tags/id3_tag.h"

namespace tw::autodj {

// The states below have linkage: TagFill, declared in library_state.h, holds them.

struct TagFillFolder {
    std::string category;
    std::string folder;              // with its trailing separator, as the picker names it
    std::vector<std::size_t> known;  // TagCache::nameHash of the names the cache held, sorted
};

struct TagRead {
    std::size_t folder = 0;  // in TagFillState::folders
    std::string name;
    struct stat st {};
    std::int64_t statAtNs = 0;
    CachedTag tag;
};

// What the fill's thread and the console thread share; the fields below the mutex under it.
struct TagFillState {
    std::vector<TagFillFolder> folders;
    std::string pattern;
    std::mutex mutex;
    std::condition_variable drained;
    std::vector<TagRead> ready;  // read, not yet offered
    std::size_t folderAt = 0;
    std::size_t read = 0;   // in the folder at folderAt
    std::size_t count = 0;  // to be read there
};

struct TagFill {
    std::unique_ptr<core::Worker> worker;
    std::shared_ptr<TagFillState> job;
    std::chrono::milliseconds showAfter = kTagFillShowAfter;
    std::chrono::steady_clock::time_point started;
    bool shown = false;  // its progress is on "Library Update"
    bool again = false;  // asked for while it ran
};

namespace {

bool unknown(const TagFillFolder& f, const std::string& name) {
    return !std::binary_search(f.known.begin(), f.known.end(), TagCache::nameHash(name));
}

enum class Look { kRead, kYoung, kLeft };

// The tags of one file as a pick would read them, when the cache may keep them; kYoung when its
// stamp cannot yet tell a change made after the look.
Look readAhead(tags::clsID3& id3, const std::string& folder, const std::string& name, TagRead& r) {
    const std::string path = folder + name;
    r.statAtNs = TagCache::clockNs();
    if (::lstat(path.c_str(), &r.st) != 0 || !TagCache::keepable(r.st)) {
        return Look::kLeft;  // the picks read it (and fail for it) as they always did
    }
    if (r.statAtNs < TagCache::trustedFrom(r.st)) {
        return Look::kYoung;
    }
    tags::clsMp3TagData data;
    id3.filename(path);
    id3.returnID3Tag(data);
    r.name = name;
    r.tag = cachedTagOf(data.Artist, data.songName, data.mp3Title);
    return Look::kRead;
}

// Hands a read tag to the console thread; waits while kTagFillBacklog of them wait there.
void hand(core::Worker& w, TagFillState& s, TagRead r) {
    std::unique_lock lock(s.mutex);
    s.ready.push_back(std::move(r));
    while (s.ready.size() >= kTagFillBacklog && !w.CancellationPending()) {
        s.drained.wait_for(lock, std::chrono::milliseconds(50));
    }
}

// Sleeps until the clock reaches atNs, or the job is cancelled.
void waitUntil(const core::Worker& w, std::int64_t atNs) {
    while (!w.CancellationPending()) {
        const std::int64_t left = atNs - TagCache::clockNs();
        if (left <= 0) {
            return;
        }
        std::this_thread::sleep_for(
            std::chrono::nanoseconds(std::min<std::int64_t>(left, 50'000'000)));
    }
}

void fillDoWork(core::Worker& w, const std::shared_ptr<TagFillState>& s) {
    tags::clsID3 id3;  // one of the job's own: the console's belongs to its thread
    for (std::size_t i = 0; i < s->folders.size() && !w.CancellationPending(); ++i) {
        const TagFillFolder& f = s->folders[i];
        core::Element list;
        list.path = f.folder.substr(0, f.folder.size() - 1);
        list.pattern = s->pattern;
        std::vector<std::string> names;
        core::listFileNames(list, names);  // a listing not to be kept still names files to read
        std::erase_if(names, [&f](const std::string& name) { return !unknown(f, name); });
        {
            const std::lock_guard lock(s->mutex);
            s->folderAt = i;
            s->read = 0;
            s->count = names.size();
        }
        std::vector<std::string> young;
        std::int64_t trusted = 0;
        // Reads one file and hands its tags over; a young one is kept for later.
        const auto look = [&](const std::string& name) {
            TagRead r;
            r.folder = i;
            const Look seen = readAhead(id3, f.folder, name, r);
            if (seen == Look::kRead) {
                hand(w, *s, std::move(r));
            } else if (seen == Look::kYoung) {
                young.push_back(name);
                trusted = std::max(trusted, TagCache::trustedFrom(r.st));
            }
        };
        for (std::size_t n = 0; n < names.size() && !w.CancellationPending(); ++n) {
            look(names[n]);
            {
                const std::lock_guard lock(s->mutex);
                s->read = n + 1;
            }
            w.ReportLatest(static_cast<int>((n + 1) * 100 / names.size()));
        }
        // Files written a moment ago (an import's copies): read once their stamps can tell a
        // change, a few seconds on; one still changing then is left to the picks.
        if (young.empty()) {
            continue;
        }
        waitUntil(w, trusted);
        names = std::exchange(young, {});
        for (std::size_t n = 0; n < names.size() && !w.CancellationPending(); ++n) {
            look(names[n]);
            w.ReportLatest(100);
        }
    }
}

void offerReady(core::Console& c, TagFillState& s) {
    std::vector<TagRead> ready;
    {
        const std::lock_guard lock(s.mutex);
        ready.swap(s.ready);
    }
    s.drained.notify_one();
    TagCache* const cache = c.library->tagCache.get();
    if (!cache) {
        return;
    }
    for (TagRead& r : ready) {
        cache->offer(s.folders[r.folder].folder, r.name, r.st, r.statAtNs, std::move(r.tag));
    }
}

void fillProgress(core::Console& c, TagFillState& s) {
    offerReady(c, s);
    TagFill& fill = *c.library->tagFill;
    if (!fill.shown && std::chrono::steady_clock::now() - fill.started < fill.showAfter) {
        return;
    }
    if (libraryJobsBusy(c) || (!fill.shown && c.ui.status.frmStatus.visible)) {
        return;  // an import or a recount shows its own progress, or left its window open
    }
    std::string category;
    std::size_t read = 0;
    std::size_t count = 0;
    {
        const std::lock_guard lock(s.mutex);
        category = s.folders[s.folderAt].category;
        read = s.read;
        count = s.count;
    }
    if (count == 0) {
        return;
    }
    core::setStatusText(c, "Reading Tags: " + category + " Track Number: " + std::to_string(read));
    core::ShowStatus(c, static_cast<double>(read) / static_cast<double>(count));
    fill.shown = true;
}

// Closes "Library Update" when the fill opened it and no other job shows there now.
void closeOwnStatus(core::Console& c, TagFill& fill) {
    if (fill.shown && !libraryJobsBusy(c)) {
        core::closeStatus(c);
    }
    fill.shown = false;
}

void fillCompleted(core::Console& c) {
    TagFill& fill = *c.library->tagFill;
    const std::shared_ptr<TagFillState> s = std::move(fill.job);
    if (s) {
        offerReady(c, *s);
    }
    closeOwnStatus(c, fill);
    if (TagCache* const cache = c.library->tagCache.get()) {
        cache->save(c.now() * 86400.0);
    }
    if (fill.again) {
        fill.again = false;
        startTagFill(c, fill.showAfter);
    }
}

}  // namespace

void startTagFill(core::Console& c, std::chrono::milliseconds showAfter) {
    TagCache* const cache = c.library->tagCache.get();
    if (!cache) {
        return;
    }
    if (!c.library->tagFill) {
        c.library->tagFill = std::make_shared<TagFill>();
    }
    TagFill& fill = *c.library->tagFill;
    if (fill.job) {
        fill.again = true;
        return;
    }
    auto s = std::make_shared<TagFillState>();
    const auto& m = c.form();
    s->pattern = m.fileList1.pattern;
    for (const auto& item : m.lstPlaylist1.items) {
        TagFillFolder f;
        f.category = item.text;
        f.folder = c.AppFolder + categoryFolder(item.text);
        if (cache->holdsWholeListing(f.folder, s->pattern)) {
            continue;  // a pick walked it: not even listed again
        }
        // The watch stands before the worker looks at any of the folder's files; what it read
        // of a folder that cannot be watched would not be kept.
        auto known = cache->knownNames(f.folder);
        if (!known) {
            continue;
        }
        f.known = std::move(*known);
        s->folders.push_back(std::move(f));
    }
    if (s->folders.empty()) {
        return;
    }
    if (!fill.worker) {
        fill.worker = std::make_unique<core::Worker>(
            *c.svc.loop, core::Worker::Events{
                             [](core::Worker& w, const std::any& param) {
                                 fillDoWork(w, std::any_cast<std::shared_ptr<TagFillState>>(param));
                             },
                             [&c](int) {
                                 const auto& f = c.library->tagFill;
                                 if (f && f->job) {
                                     fillProgress(c, *f->job);
                                 }
                             },
                             [&c] { fillCompleted(c); }});
    }
    fill.job = s;
    fill.showAfter = showAfter;
    fill.started = std::chrono::steady_clock::now();
    fill.worker->StartWorkAsync(s);
}

void stopTagFill(core::Console& c) {
    if (!c.library->tagFill) {
        return;
    }
    TagFill& fill = *c.library->tagFill;
    // The worker's destructor cancels the job and joins its thread; no event of it runs after.
    fill.worker.reset();
    fill.job.reset();
    fill.again = false;
    closeOwnStatus(c, fill);
}

bool tagFillBusy(const core::Console& c) {
    return c.library && c.library->tagFill &&
           (c.library->tagFill->job || c.library->tagFill->again);
}

}  // namespace tw::autodj
