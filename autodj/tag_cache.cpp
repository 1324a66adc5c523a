#include "autodj/tag_cache.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/inotify.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <optional>
#include <vector>

#include "core/atomic_file.h"

namespace tw::autodj {

namespace {

// Every change to a file of the folder, and the folder itself going away.
constexpr std::uint32_t kWatchMask = IN_MODIFY | IN_CLOSE_WRITE | IN_ATTRIB | IN_CREATE |
                                     IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO | IN_DELETE_SELF |
                                     IN_MOVE_SELF | IN_ONLYDIR;
constexpr double kSaveInterval = 600;
// A change made in the same tick of the file system's clock as the last one leaves the stamp as it
// was. A stamp is trusted once its time of change is this much older than the present: a change
// after that shows in it (file systems with whole-second or two-second times included).
constexpr std::int64_t kSettleNs = 3'000'000'000;
// A saved file larger than this is not ours.
constexpr off_t kLargestFile = off_t{1} << 30;

std::int64_t nanoseconds(const timespec& t) {
    return static_cast<std::int64_t>(t.tv_sec) * 1'000'000'000 + t.tv_nsec;
}

std::int64_t nowNs() {
    timespec t{};
    ::clock_gettime(CLOCK_REALTIME, &t);
    return nanoseconds(t);
}

// The clock from which a stamp can tell any change made after it was taken.
std::int64_t settledFrom(const FileStamp& stamp) {
    return stamp.changedNs + kSettleNs + 1;
}

bool settled(const FileStamp& stamp, std::int64_t now) {
    return now >= settledFrom(stamp);
}

FileStamp stampOf(const struct stat& st) {
    return {static_cast<std::uint64_t>(st.st_ino), static_cast<std::int64_t>(st.st_size),
            nanoseconds(st.st_mtim), nanoseconds(st.st_ctim)};
}

bool readWhole(const std::string& path, std::string& text) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    struct stat st {};
    bool ok = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && st.st_size <= kLargestFile;
    if (ok) {
        text.resize(static_cast<std::size_t>(st.st_size));
        std::size_t got = 0;
        while (got < text.size()) {
            const ssize_t n = ::read(fd, text.data() + got, text.size() - got);
            if (n < 0 && errno == EINTR) {
                continue;
            }
            if (n <= 0) {
                ok = false;
                break;
            }
            got += static_cast<std::size_t>(n);
        }
    }
    ::close(fd);
    return ok;
}

}  // namespace

TagCache::TagCache(std::string file)
    : file_(std::move(file)), notify_(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

TagCache::~TagCache() {
    if (notify_ >= 0) {
        ::close(notify_);
    }
}

CachedTag cachedTagOf(const std::string& artist, const std::string& title,
                      const std::string& mp3Title) {
    std::string listed = artist + std::string(kUntitled) + title;
    if (listed == mp3Title) {
        listed.clear();
    }
    return {artist, mp3Title, std::move(listed)};
}

const std::string* listTitleOf(const CachedTag& tag) {
    if (tag.listTitle.empty()) {
        return &tag.mp3Title;
    }
    return tag.listTitle == kUntitled ? nullptr : &tag.listTitle;
}

void TagCache::load() {
    loaded_ = true;
    std::string text;
    if (!readWhole(file_, text)) {
        return;
    }
    // Read straight into the cache's own tables, without a copy of every record between.
    decltype(folders_) read;
    Folder* last = nullptr;  // the folder of the record before (node addresses stay put)
    std::string lastName;
    const bool whole = readTagCache(text, [&](const std::string& folder, SavedTag& r) {
        if (!last || lastName != folder) {
            last = &read[folder];
            lastName = folder;
        }
        last->entries[std::move(r.name)] = {
            r.stamp, {std::move(r.artist), std::move(r.mp3Title), std::move(r.listTitle)}, false};
    });
    text = std::string();
    if (!whole) {
        return;  // damaged or not ours: built again, and written over at the next save
    }
    ++changes_;
    ++drops_;
    if (folders_.empty()) {
        folders_ = std::move(read);
        return;
    }
    for (auto& [folder, f] : read) {
        for (auto& [name, e] : f.entries) {
            folders_[folder].entries[name] = std::move(e);
        }
    }
}

void TagCache::beginWalk(const std::string& folder) {
    if (Folder* const f = watchFolder(folder)) {
        walkName_ = folder;
        walk_ = f;
    }
}

TagCache::Folder* TagCache::watchFolder(const std::string& folder) {
    if (!loaded_) {
        load();
    }
    if (notify_ < 0) {
        return nullptr;
    }
    catchUp();
    struct stat st {};
    const bool there = ::stat(folder.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
    auto it = folders_.find(folder);
    if (it != folders_.end() && it->second.watch >= 0 &&
        (!there || it->second.device != st.st_dev || it->second.inode != st.st_ino)) {
        // Replaced or gone since it was watched: what is kept is checked by its stamp.
        ::inotify_rm_watch(notify_, it->second.watch);
        watched_.erase(it->second.watch);
        it->second.watch = -1;
        dropListing(it->second);
    }
    if (!there) {
        return nullptr;
    }
    Folder& f = folders_[folder];
    if (f.watch >= 0) {
        return &f;
    }
    const int watch = ::inotify_add_watch(notify_, folder.c_str(), kWatchMask);
    if (watch < 0) {
        return &f;
    }
    if (const auto other = watched_.find(watch);
        other != watched_.end() && other->second != folder) {
        // The same folder under another name: only the first name is served.
        return &f;
    }
    uncheck(f, nowNs());
    f.watch = watch;
    f.device = st.st_dev;
    f.inode = st.st_ino;
    watched_[watch] = folder;
    return &f;
}

void TagCache::catchUp() {
    if (notify_ < 0) {
        return;
    }
    alignas(struct inotify_event) char buffer[64 * 1024];
    for (;;) {
        const ssize_t n = ::read(notify_, buffer, sizeof buffer);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            return;
        }
        applyEvents(buffer, static_cast<std::size_t>(n));
    }
}

void TagCache::applyEvents(const char* bytes, std::size_t size) {
    std::size_t at = 0;
    while (at + sizeof(struct inotify_event) <= size) {
        struct inotify_event ev {};
        std::memcpy(&ev, bytes + at, sizeof ev);
        const char* name = bytes + at + sizeof ev;
        at += sizeof ev + ev.len;
        ++changes_;
        ++drops_;
        if (ev.mask & IN_Q_OVERFLOW) {
            uncheckAll();
            continue;
        }
        const auto w = watched_.find(ev.wd);
        if (w == watched_.end()) {
            continue;
        }
        Folder& f = folders_[w->second];
        if (ev.mask & (IN_IGNORED | IN_DELETE_SELF | IN_MOVE_SELF | IN_UNMOUNT)) {
            if (!(ev.mask & IN_IGNORED)) {
                ::inotify_rm_watch(notify_, ev.wd);
            }
            watched_.erase(w);
            f.watch = -1;
            f.entries.clear();
            dropListing(f);
            continue;
        }
        if (ev.mask & (IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO)) {
            dropListing(f);
        }
        if (ev.len > 0) {
            f.entries.erase(std::string(name));  // the name is padded with NULs
        }
    }
}

void TagCache::uncheck(Folder& f, std::int64_t now) {
    ++changes_;
    ++drops_;
    // An entry whose stamp is too young to tell a change is read again.
    std::erase_if(f.entries, [now](const auto& item) { return !settled(item.second.stamp, now); });
    for (auto& [name, e] : f.entries) {
        e.checked = false;
    }
    dropListing(f);
}

void TagCache::dropListing(Folder& f) {
    ++f.nameChanges;
    f.listed = false;
    f.names.clear();
    f.names.shrink_to_fit();
    f.placed.clear();
    f.placed.shrink_to_fit();
    f.placedAt = 0;
}

const std::vector<std::string>* TagCache::listing(std::string_view folder,
                                                  const std::string& pattern) {
    catchUp();
    Folder* const f = watchedFolder(folder);
    if (!f) {
        return nullptr;
    }
    // The folder's own times as well: a name changed on another machine, in a folder mounted
    // over the network, raises no notification here but shows in them.
    struct stat st {};
    if (::stat(std::string(folder).c_str(), &st) != 0) {
        dropListing(*f);
        return nullptr;
    }
    const FileStamp stamp = {static_cast<std::uint64_t>(st.st_ino), 0, nanoseconds(st.st_mtim),
                             nanoseconds(st.st_ctim)};
    if (f->listed && !(f->listStamp == stamp)) {
        dropListing(*f);
    }
    f->askedAt = f->nameChanges;
    f->askedStamp = stamp;
    if (!f->listed || f->listPattern != pattern) {
        return nullptr;
    }
    ++served_;
    return &f->names;
}

void TagCache::keepListing(std::string_view folder, const std::string& pattern,
                           std::vector<std::string> names) {
    // A name that changed while it was being taken (or since listing was asked) leaves it out.
    catchUp();
    Folder* const f = watchedFolder(folder);
    if (!f || f->nameChanges != f->askedAt) {
        return;
    }
    f->listed = true;
    f->listStamp = f->askedStamp;
    f->listPattern = pattern;
    f->names = std::move(names);
    f->placedAt = 0;
}

const std::vector<const CachedTag*>* TagCache::tagsByPosition(std::string_view folder) {
    Folder* const f = watchedFolder(folder);
    if (!f || !f->listed) {
        return nullptr;
    }
    if (f->placedAt != changes_) {
        f->placed.resize(f->names.size());
        for (std::size_t i = 0; i < f->names.size(); ++i) {
            const auto it = f->entries.find(f->names[i]);
            f->placed[i] = it != f->entries.end() && it->second.checked ? &it->second.tag : nullptr;
        }
        f->placedAt = changes_;
    }
    return &f->placed;
}

const std::vector<std::string>* TagCache::placedNames(std::string_view folder) {
    Folder* const f = watchedFolder(folder);
    return f && f->listed ? &f->names : nullptr;
}

void TagCache::uncheckAll() {
    const std::int64_t now = nowNs();
    for (auto& [folder, f] : folders_) {
        uncheck(f, now);
    }
}

TagCache::Folder* TagCache::watchedFolder(std::string_view folder) {
    Folder* f = nullptr;
    if (walk_ && folder == walkName_) {
        f = walk_;
    } else if (const auto it = folders_.find(std::string(folder)); it != folders_.end()) {
        f = &it->second;
    }
    return f && f->watch >= 0 ? f : nullptr;
}

const CachedTag* TagCache::find(std::string_view folder, const std::string& name) {
    ++finds_;
    Folder* const f = watchedFolder(folder);
    if (!f) {
        return nullptr;
    }
    auto& entries = f->entries;
    const auto it = entries.find(name);
    if (it == entries.end()) {
        return nullptr;
    }
    if (!it->second.checked) {
        struct stat st {};
        if (::lstat((std::string(folder) + name).c_str(), &st) != 0 || !keepable(st) ||
            !(stampOf(st) == it->second.stamp)) {
            entries.erase(it);
            ++changes_;
            ++drops_;
            return nullptr;
        }
        it->second.checked = true;
        ++changes_;
    }
    return &it->second.tag;
}

void TagCache::store(std::string_view folder, const std::string& name, const struct stat& st,
                     CachedTag tag) {
    Folder* const f = watchedFolder(folder);
    if (!f || !keepable(st)) {
        return;
    }
    // The stat before the read followed links: the name itself must be the file.
    struct stat own {};
    if (::lstat((std::string(folder) + name).c_str(), &own) != 0 || !keepable(own) ||
        own.st_ino != st.st_ino || own.st_dev != st.st_dev) {
        return;
    }
    f->entries[name] = {stampOf(st), std::move(tag), true};
    ++changes_;
    ++stores_;
    dirty_ = true;
}

bool TagCache::holdsWholeListing(const std::string& folder, const std::string& pattern) {
    Folder* const f = watchFolder(folder);
    if (!f || f->watch < 0 || !f->listed || f->listPattern != pattern) {
        return false;
    }
    return std::all_of(f->names.begin(), f->names.end(),
                       [f](const std::string& name) { return f->entries.contains(name); });
}

std::optional<std::vector<std::size_t>> TagCache::knownNames(const std::string& folder) {
    Folder* const f = watchFolder(folder);
    if (!f || f->watch < 0) {
        return std::nullopt;
    }
    std::vector<std::size_t> known;
    known.reserve(f->entries.size());
    for (const auto& [name, e] : f->entries) {
        known.push_back(nameHash(name));
    }
    std::sort(known.begin(), known.end());
    return known;
}

bool TagCache::offer(std::string_view folder, const std::string& name, const struct stat& st,
                     std::int64_t statAtNs, CachedTag tag) {
    Folder* const f = watchedFolder(folder);
    // The stamp proves the file unchanged at its first use only when a change after the stat
    // would show in it (see kSettleNs): the entry is checked by it then, as a saved one is.
    if (!f || !keepable(st) || !settled(stampOf(st), statAtNs)) {
        return false;
    }
    const auto [it, added] = f->entries.try_emplace(name);
    if (!added) {
        return false;  // read by a pick meanwhile, or known: what is there is as good or newer
    }
    it->second = {stampOf(st), std::move(tag), false};
    ++changes_;
    dirty_ = true;
    return true;
}

std::size_t TagCache::nameHash(std::string_view name) {
    return std::hash<std::string_view>{}(name);
}

std::int64_t TagCache::clockNs() {
    return nowNs();
}

std::int64_t TagCache::trustedFrom(const struct stat& st) {
    return settledFrom(stampOf(st));
}

bool TagCache::keepable(const struct stat& st) {
    return S_ISREG(st.st_mode) && st.st_nlink == 1 && st.st_size > 0;
}

bool TagCache::save(double nowSeconds) {
    if (!dirty_ || (nowSeconds >= 0 && lastSave_ >= 0 && nowSeconds - lastSave_ < kSaveInterval)) {
        return false;
    }
    // Entries whose stamp cannot yet tell a change are left for a later save. The file is
    // written as it is made, in pieces: a library's whole text and a copy of its records would
    // double the console's memory for the moment of the save.
    const std::int64_t now = nowNs();
    bool left = false;
    const auto produce = [&](const core::FileSink& sink) {
        TagCacheWriter writer(sink);
        for (const auto& [folder, f] : folders_) {
            for (const auto& [name, e] : f.entries) {
                if (!settled(e.stamp, now)) {
                    left = true;
                } else if (!writer.add(folder, name, e.stamp, e.tag.artist, e.tag.mp3Title,
                                       e.tag.listTitle)) {
                    return false;
                }
            }
        }
        return writer.finish();
    };
    // A lost write costs only reads at the next start, so the disk is not waited for; a write
    // that failed is tried again after the same interval.
    lastSave_ = nowSeconds;
    if (!core::replaceFileWith(file_, produce, core::FileAccess::kKeepMode,
                               core::Durability::kUnsynced)) {
        return false;
    }
    dirty_ = left;
    return true;
}

std::size_t TagCache::size() const {
    std::size_t n = 0;
    for (const auto& [folder, f] : folders_) {
        n += f.entries.size();
    }
    return n;
}

}  // namespace tw::autodj
