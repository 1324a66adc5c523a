#include "media/loudness_library.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <deque>
#include <fstream>
#include <iterator>
#include <mutex>
#include <unordered_set>

#include "audio/thread_name.h"
#include "core/atomic_file.h"

namespace tw::media {

namespace {

// Results gathered before loudness.ini is written again while the queue still runs: a long first
// scan keeps most of its work through a kill, and a large file is not rewritten per track.
constexpr std::size_t kSaveEvery = 200;

}  // namespace

struct LoudnessLibrary::Shared {
    std::mutex mutex;
    std::condition_variable_any wake;
    std::deque<std::string> queue;           // under mutex
    std::unordered_set<std::string> queued;  // console thread only: what waits or is measured
    std::atomic<bool> cancel{false};         // the file under way is to be left
    bool alive = true;                       // console thread only: results are still wanted
};

LoudnessLibrary::LoudnessLibrary(core::EventLoop& loop, std::string stationFolder,
                                 LoudnessMeasure measure)
    : loop_(loop),
      folder_(std::move(stationFolder)),
      measure_(std::move(measure)),
      shared_(std::make_shared<Shared>()),
      worker_([this](std::stop_token stop) {
          audio::nameThisThread("tw-loudness");
          work(stop);
      }) {}

LoudnessLibrary::~LoudnessLibrary() {
    shared_->alive = false;
    shared_->cancel = true;
    worker_.request_stop();
    shared_->wake.notify_all();
}

std::optional<LoudnessLibrary::Stamp> LoudnessLibrary::stampOf(const std::string& path) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        return std::nullopt;
    }
    return Stamp{static_cast<std::int64_t>(st.st_size),
                 static_cast<std::int64_t>(st.st_mtim.tv_sec),
                 static_cast<std::int64_t>(st.st_mtim.tv_nsec)};
}

std::string LoudnessLibrary::nameOf(const std::string& path) const {
    const std::string prefix = folder_ + "/";
    return path.compare(0, prefix.size(), prefix) == 0 ? path.substr(prefix.size()) : path;
}

std::size_t LoudnessLibrary::load() {
    std::ifstream in(path(), std::ios::binary);
    if (!in) {
        return 0;
    }
    const std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    LoudnessFileContents contents = parseLoudnessFile(bytes);
    for (LoudnessRecord& r : contents.records) {
        std::string full = r.name.front() == '/' ? r.name : folder_ + "/" + r.name;
        known_.insert_or_assign(std::move(full), r.entry);
    }
    return contents.rejected;
}

bool LoudnessLibrary::save() {
    if (unsaved_ == 0) {
        return true;
    }
    std::vector<LoudnessRecord> records;
    records.reserve(known_.size());
    for (const auto& [path, entry] : known_) {
        records.push_back({nameOf(path), entry});
    }
    std::sort(records.begin(), records.end(),
              [](const LoudnessRecord& a, const LoudnessRecord& b) { return a.name < b.name; });
    if (!core::replaceFile(path(), serializeLoudnessFile(records), core::FileAccess::kKeepMode)) {
        const int err = errno;
        if (onSaveFailure) {
            onSaveFailure(err);
        }
        return false;
    }
    unsaved_ = 0;
    return true;
}

std::optional<LoudnessEntry> LoudnessLibrary::find(const std::string& path) const {
    const auto it = known_.find(path);
    if (it == known_.end()) {
        return std::nullopt;
    }
    const auto stamp = stampOf(path);
    if (!stamp ||
        !(Stamp{it->second.size, it->second.writtenSec, it->second.writtenNsec} == *stamp)) {
        return std::nullopt;
    }
    return it->second;
}

std::vector<std::pair<std::string, LoudnessEntry>> LoudnessLibrary::knownFiles() const {
    std::vector<std::pair<std::string, LoudnessEntry>> out;
    for (const auto& [path, entry] : known_) {
        if (find(path)) {
            out.emplace_back(path, entry);
        }
    }
    std::sort(out.begin(), out.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
    return out;
}

bool LoudnessLibrary::restamp(const std::string& path) {
    const auto it = known_.find(path);
    const auto stamp = stampOf(path);
    if (it == known_.end() || !stamp) {
        return false;
    }
    it->second.size = stamp->size;
    it->second.writtenSec = stamp->sec;
    it->second.writtenNsec = stamp->nsec;
    ++unsaved_;
    return true;
}

void LoudnessLibrary::ask(const std::string& path, bool urgent) {
    Shared& s = *shared_;
    if (s.queued.contains(path)) {
        if (urgent) {  // moved to the front
            std::lock_guard lock(s.mutex);
            if (const auto it = std::find(s.queue.begin(), s.queue.end(), path);
                it != s.queue.end()) {
                s.queue.erase(it);
                s.queue.push_front(path);
            }
        }
        return;
    }
    if (find(path)) {
        return;
    }
    if (const auto it = unreadable_.find(path); it != unreadable_.end()) {
        const auto stamp = stampOf(path);
        if (!stamp || *stamp == it->second) {
            return;
        }
    }
    s.queued.insert(path);
    ++progress_.total;
    {
        std::lock_guard lock(s.mutex);
        if (urgent) {
            s.queue.push_front(path);
        } else {
            s.queue.push_back(path);
        }
    }
    s.wake.notify_all();
}

void LoudnessLibrary::askAll(const std::vector<std::string>& paths) {
    for (const std::string& p : paths) {
        ask(p, false);
    }
}

void LoudnessLibrary::answer(const std::string& path, MeasureOutcome outcome,
                             const MeasuredLoudness& figures, const Stamp& stamp) {
    shared_->queued.erase(path);
    ++progress_.done;
    if (outcome == MeasureOutcome::Measured) {
        LoudnessEntry e;
        e.size = stamp.size;
        e.writtenSec = stamp.sec;
        e.writtenNsec = stamp.nsec;
        e.lufs = figures.lufs;
        e.peakDbtp = figures.peakDbtp;
        e.fromReplayGain = figures.fromReplayGain;
        known_.insert_or_assign(path, e);
        unreadable_.erase(path);
        ++unsaved_;
    } else if (outcome == MeasureOutcome::Unreadable) {
        unreadable_.insert_or_assign(path, stamp);
    }
    const bool drained = progress_.done >= progress_.total;
    if (drained || unsaved_ >= kSaveEvery) {
        save();
    }
    if (drained) {
        progress_ = {};
    }
    if (onAnswer) {
        onAnswer(path);
    }
}

void LoudnessLibrary::work(std::stop_token stop) {
    Shared& s = *shared_;
    while (!stop.stop_requested()) {
        std::string path;
        {
            std::unique_lock lock(s.mutex);
            s.wake.wait(lock, stop, [&] { return !s.queue.empty(); });
            if (stop.stop_requested()) {
                return;
            }
            path = std::move(s.queue.front());
            s.queue.pop_front();
        }
        // The stamp from before the reading: a file written meanwhile is measured again when it
        // is next asked for, since its stamp no longer matches.
        const auto stamp = stampOf(path);
        MeasuredLoudness figures;
        MeasureOutcome outcome = MeasureOutcome::Unreadable;
        if (stamp) {
            outcome = measure_(path, s.cancel, figures);
        }
        if (outcome == MeasureOutcome::Cancelled || stop.stop_requested()) {
            return;
        }
        loop_.post([this, shared = shared_, path = std::move(path), outcome, figures,
                    stamp = stamp.value_or(Stamp{})] {
            if (shared->alive) {
                answer(path, outcome, figures, stamp);
            }
        });
    }
}

}  // namespace tw::media
