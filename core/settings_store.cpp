#include "core/settings_store.h"

#include "core/atomic_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <unordered_map>
#include <utility>
#include <vector>

#include "core/ini_document.h"
#include "core/text.h"

namespace tw::core {

// What a file looked like on disk when the cached copy matched it. (Outside the anonymous
// namespace: the store's Impl, a class with linkage, holds one.)
struct DiskStamp {
    bool exists = false;
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    timespec mtime{};

    bool operator==(const DiskStamp& o) const {
        return exists == o.exists && device == o.device && inode == o.inode && size == o.size &&
               mtime.tv_sec == o.mtime.tv_sec && mtime.tv_nsec == o.mtime.tv_nsec;
    }
};

namespace {

// Settings files are small; played.ini grows by a few hundred bytes a track. Anything past this is
// not ours, and reading it would only stall the console.
constexpr off_t kLargestFile = off_t{1} << 30;

DiskStamp stampOf(const struct stat& st) {
    return {true, st.st_dev, st.st_ino, st.st_size, st.st_mtim};
}

DiskStamp currentStamp(const std::string& path) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) {
        return {};
    }
    return stampOf(st);
}

enum class ReadResult { kRead, kMissing, kUnreadable };

ReadResult readWholeFile(const std::string& path, std::vector<char>& bytes, DiskStamp& stamp) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return (errno == ENOENT || errno == ENOTDIR) ? ReadResult::kMissing
                                                     : ReadResult::kUnreadable;
    }
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || st.st_size > kLargestFile) {
        ::close(fd);
        return ReadResult::kUnreadable;
    }
    // The size can change under us; read to the end whatever it is now.
    bytes.resize(static_cast<std::size_t>(st.st_size) + 1);
    std::size_t used = 0;
    for (;;) {
        if (used == bytes.size()) {
            if (bytes.size() > static_cast<std::size_t>(kLargestFile)) {
                ::close(fd);
                return ReadResult::kUnreadable;
            }
            bytes.resize(bytes.size() * 2);
        }
        const ssize_t got = ::read(fd, bytes.data() + used, bytes.size() - used);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            ::close(fd);
            return ReadResult::kUnreadable;
        }
        if (got == 0) {
            break;
        }
        used += static_cast<std::size_t>(got);
    }
    ::close(fd);
    bytes.resize(used);
    stamp = stampOf(st);
    return ReadResult::kRead;
}

std::string nameOf(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

timespec now() {
    timespec t{};
    ::clock_gettime(CLOCK_REALTIME, &t);
    return t;
}

bool before(const timespec& a, const timespec& b) {
    return a.tv_sec < b.tv_sec || (a.tv_sec == b.tv_sec && a.tv_nsec < b.tv_nsec);
}

// File times advance by clock ticks, not nanoseconds: two writes within one tick can leave the
// same time and size. While a file's time is that close to the moment we read it, the stamp alone
// cannot prove it unchanged.
timespec uncertainTimeAfterWrite() {
    timespec tick{};
    if (::clock_getres(CLOCK_REALTIME_COARSE, &tick) != 0) {
        tick = {0, 10'000'000};
    }
    long long ns = (static_cast<long long>(tick.tv_sec) * 1'000'000'000LL + tick.tv_nsec) * 2;
    ns = std::max(ns, 2'000'000LL);
    return {static_cast<time_t>(ns / 1'000'000'000LL), static_cast<long>(ns % 1'000'000'000LL)};
}

timespec add(const timespec& a, const timespec& b) {
    timespec sum{a.tv_sec + b.tv_sec, a.tv_nsec + b.tv_nsec};
    if (sum.tv_nsec >= 1'000'000'000L) {
        sum.tv_nsec -= 1'000'000'000L;
        ++sum.tv_sec;
    }
    return sum;
}

}  // namespace

struct SettingsStore::Impl {
    struct Entry {
        IniDocument doc;
        DiskStamp stamp;
        // Until this moment a change by someone else may not show in the stamp (see above).
        timespec uncertainUntil{};
        bool uncertain = false;
        // Changes not yet on disk. While there are any, the cached copy wins over the disk: it is
        // what the next flush writes.
        bool dirty = false;
        // The file is there but cannot be read; writing would replace what we never saw.
        bool readable = true;
        // The event in which the disk was last looked at: within one event it is looked at once.
        std::uint64_t checkedInEvent = 0;
        // The store's change serial when the document was read, and the sections written since
        // (their serials and lookup names), for changesSince.
        std::uint64_t readSerial = 0;
        std::vector<std::pair<std::uint64_t, std::string>> written;
    };

    std::unordered_map<std::string, Entry> files;
    std::vector<std::string> privateNames;
    std::function<void(const std::string&, int)> failureHandler;
    std::function<void(const std::string&, mode_t)> madePrivateHandler;
    int eventDepth = 0;
    std::uint64_t eventSerial = 0;   // counts the outermost events; 0 is "no event"
    std::uint64_t changeSerial = 0;  // counts the documents read and the sections written
    timespec uncertainty = uncertainTimeAfterWrite();

    void trust(Entry& e, const DiskStamp& stamp) {
        e.stamp = stamp;
        e.uncertainUntil = add(stamp.mtime, uncertainty);
        e.uncertain = stamp.exists && before(now(), e.uncertainUntil);
    }

    void load(Entry& e, const std::string& path) {
        std::vector<char> bytes;
        DiskStamp stamp;
        const ReadResult result = readWholeFile(path, bytes, stamp);
        e.readable = result != ReadResult::kUnreadable;
        e.doc = result == ReadResult::kRead ? IniDocument(std::move(bytes)) : IniDocument();
        trust(e, stamp);
        wasRead(e);
    }

    // A document read from the disk: what its readers kept may all be out of date.
    void wasRead(Entry& e) {
        e.readSerial = ++changeSerial;
        e.written.clear();
    }

    void wasWritten(Entry& e, std::string_view section) {
        // A reader more than this many writes behind learns only that anything may have changed.
        constexpr std::size_t kWrittenKept = 4096;
        if (e.written.size() >= kWrittenKept) {
            wasRead(e);
        }
        e.written.emplace_back(++changeSerial, IniDocument::lookupName(section));
    }

    void refresh(Entry& e, const std::string& path) {
        if (!(currentStamp(path) == e.stamp) || !e.readable) {
            load(e, path);
            return;
        }
        if (!e.uncertain) {
            return;
        }
        std::vector<char> bytes;
        DiskStamp stamp;
        if (readWholeFile(path, bytes, stamp) != ReadResult::kRead) {
            load(e, path);
            return;
        }
        if (!e.doc.sameBytes(std::string_view(bytes.data(), bytes.size()))) {
            e.doc = IniDocument(std::move(bytes));
            trust(e, stamp);
            wasRead(e);
            return;
        }
        if (!before(now(), e.uncertainUntil)) {
            e.uncertain = false;
        }
    }

    Entry& open(const std::string& path) {
        auto [it, added] = files.try_emplace(path);
        Entry& e = it->second;
        const std::uint64_t event = eventDepth > 0 ? eventSerial : 0;
        if (added) {
            load(e, path);
        } else if (!e.dirty && (event == 0 || e.checkedInEvent != event)) {
            // A pick reads the history hundreds of times in one event; one look at the disk per
            // event is enough to see what others changed in between.
            refresh(e, path);
        }
        e.checkedInEvent = event;
        return e;
    }

    bool isPrivate(const std::string& path) const {
        const std::string name = toLower(nameOf(path));
        return std::find(privateNames.begin(), privateNames.end(), name) != privateNames.end();
    }

    // Writes one changed file. On failure the cached copy is dropped, so that what the console
    // reads next is what the disk holds, as when a classic write fails.
    bool flushFile(const std::string& path, Entry& e) {
        const bool secret = isPrivate(path);
        const auto written = replaceFile(path, e.doc.serialize(),
                                         secret ? FileAccess::kOwnerOnly : FileAccess::kKeepMode);
        if (!written) {
            const int err = errno;
            if (failureHandler) {
                failureHandler(path, err);
            }
            return false;
        }
        // A private file that others could read (made by hand, by a script, restored from a
        // backup) has just been closed to them: the operator learns why its mode changed.
        if (secret && written->oldMode && (*written->oldMode & 077) != 0 && madePrivateHandler) {
            madePrivateHandler(path, *written->oldMode);
        }
        const DiskStamp stamp = stampOf(written->written);
        e.dirty = false;
        trust(e, stamp);
        return true;
    }

    void flushAll() {
        for (auto it = files.begin(); it != files.end();) {
            if (it->second.dirty && !flushFile(it->first, it->second)) {
                it = files.erase(it);
            } else {
                ++it;
            }
        }
    }
};

SettingsStore::SettingsStore() : impl_(std::make_unique<Impl>()) {}

SettingsStore::~SettingsStore() {
    try {
        impl_->flushAll();
    } catch (...) {
        // Nothing can be reported from here; the files on disk are whole either way.
    }
}

std::string SettingsStore::read(const std::string& file, std::string_view section,
                                std::string_view key, std::string_view def, std::size_t maxChars) {
    try {
        const auto value = impl_->open(file).doc.find(section, key);
        return std::string(cutToCodePoints(value ? *value : def, maxChars));
    } catch (...) {
        return std::string(cutToCodePoints(def, maxChars));
    }
}

std::array<std::string, 2> SettingsStore::read(const std::string& file, std::string_view section,
                                               std::string_view key1, std::string_view key2,
                                               std::string_view def, std::size_t maxChars) {
    try {
        const auto values = impl_->open(file).doc.find(section, key1, key2);
        return {std::string(cutToCodePoints(values[0].value_or(def), maxChars)),
                std::string(cutToCodePoints(values[1].value_or(def), maxChars))};
    } catch (...) {
        const std::string value(cutToCodePoints(def, maxChars));
        return {value, value};
    }
}

void SettingsStore::write(const std::string& file, std::string_view section, std::string_view key,
                          std::optional<std::string_view> value) {
    try {
        Impl::Entry& e = impl_->open(file);
        if (!e.readable || !e.doc.set(section, key, value)) {
            return;
        }
        impl_->wasWritten(e, section);
        e.dirty = true;
        if (impl_->eventDepth == 0 && !impl_->flushFile(file, e)) {
            impl_->files.erase(file);
        }
    } catch (...) {
        // A failed write is not reported; drop whatever half-state the cache holds.
        impl_->files.erase(file);
    }
}

SettingsStore::SectionChanges SettingsStore::changesSince(const std::string& file,
                                                          std::uint64_t serial) {
    SectionChanges out;
    try {
        const Impl::Entry& e = impl_->open(file);
        out.serial = e.written.empty() ? e.readSerial : e.written.back().first;
        if (serial == 0 || serial < e.readSerial) {
            return out;
        }
        out.all = false;
        for (auto it = e.written.rbegin(); it != e.written.rend() && it->first > serial; ++it) {
            out.sections.push_back(it->second);
        }
    } catch (...) {
        // Nothing is known: the reader forgets all it kept.
        out = {};
    }
    return out;
}

void SettingsStore::beginEvent() {
    if (impl_->eventDepth++ == 0) {
        ++impl_->eventSerial;
    }
}

void SettingsStore::endEvent() {
    if (impl_->eventDepth > 0 && --impl_->eventDepth == 0) {
        flush();
    }
}

void SettingsStore::flush() {
    try {
        impl_->flushAll();
    } catch (...) {
        impl_->files.clear();
    }
}

void SettingsStore::addPrivateFileName(std::string name) {
    impl_->privateNames.push_back(toLower(std::move(name)));
}

void SettingsStore::onWriteFailure(std::function<void(const std::string& path, int err)> handler) {
    impl_->failureHandler = std::move(handler);
}

void SettingsStore::onMadePrivate(
    std::function<void(const std::string& path, mode_t oldMode)> handler) {
    impl_->madePrivateHandler = std::move(handler);
}

void SettingsStore::dropCache() {
    flush();
    impl_->files.clear();
}

}  // namespace tw::core
