#pragma once
// The loudness of the station's files: what loudness.ini kept, and a worker that measures the
// files the console asks for (or takes their ReplayGain tags), one at a time, in the order asked,
// a file wanted for play-out before all others.
//
// A file is known while it is the file that was measured: same size, same write time. A file
// that changed since is unknown again and is measured anew when asked; one that could not be
// read is not asked again until it changes.
//
// Thread contract: every member function and callback belongs to the console thread. The worker
// thread only runs the measure function, and its results reach the console thread through the
// event loop. The destructor cancels the file being measured (within one block of audio), drops
// the rest of the queue and joins the worker; a result posted before it is dropped.

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "core/event_loop.h"
#include "media/loudness_file.h"

namespace tw::media {

struct MeasuredLoudness {
    double lufs = 0;
    std::optional<double> peakDbtp;
    bool fromReplayGain = false;
};

enum class MeasureOutcome { Measured, Unreadable, Cancelled };

// Measures one file; runs on the worker. Returns Cancelled soon after cancel becomes true.
using LoudnessMeasure = std::function<MeasureOutcome(
    const std::string& path, const std::atomic<bool>& cancel, MeasuredLoudness& out)>;

// The file's ReplayGain tags when it has them (reference -18 LUFS), else the engine's decoders
// through the EBU R128 meter.
LoudnessMeasure replayGainOrMeter();

class LoudnessLibrary {
  public:
    struct Progress {
        std::size_t done = 0;   // files answered since the queue was last empty
        std::size_t total = 0;  // files asked since the queue was last empty
    };

    LoudnessLibrary(core::EventLoop& loop, std::string stationFolder, LoudnessMeasure measure);
    ~LoudnessLibrary();
    LoudnessLibrary(const LoudnessLibrary&) = delete;
    LoudnessLibrary& operator=(const LoudnessLibrary&) = delete;

    // Reads loudness.ini. Returns how many of its sections were rejected (incomplete, values out
    // of range); a file that cannot be read counts as empty.
    std::size_t load();
    // Writes loudness.ini when something changed since it was last written. False, with errno
    // set, when it could not be written (the old file stays).
    bool save();
    std::string path() const { return folder_ + "/loudness.ini"; }

    // What is known of the file as it is now.
    std::optional<LoudnessEntry> find(const std::string& path) const;
    // Asks for the file unless it is known, queued, or unreadable as it is: at the front of the
    // queue when urgent (it is about to play), else at the back.
    void ask(const std::string& path, bool urgent);
    void askAll(const std::vector<std::string>& paths);
    bool busy() const { return progress_.done < progress_.total; }
    Progress progress() const { return progress_; }
    std::size_t knownCount() const { return known_.size(); }
    // Every file known as it is now, with what is known of it.
    std::vector<std::pair<std::string, LoudnessEntry>> knownFiles() const;
    // The file was rewritten by the console itself without a change to its audio (its tags): the
    // entry takes the file's new size and time. False when it was not known or is gone.
    bool restamp(const std::string& path);

    // Runs after each file the worker answered (path, known now or not).
    std::function<void(const std::string& path)> onAnswer;
    // Runs when loudness.ini could not be written (errno).
    std::function<void(int err)> onSaveFailure;

  private:
    struct Shared;
    struct Stamp {
        std::int64_t size = 0, sec = 0, nsec = 0;
        bool operator==(const Stamp&) const = default;
    };
    static std::optional<Stamp> stampOf(const std::string& path);
    std::string nameOf(const std::string& path) const;
    void answer(const std::string& path, MeasureOutcome outcome, const MeasuredLoudness& figures,
                const Stamp& stamp);
    void work(std::stop_token stop);

    core::EventLoop& loop_;
    const std::string folder_;
    const LoudnessMeasure measure_;
    std::unordered_map<std::string, LoudnessEntry> known_;  // by full path
    std::unordered_map<std::string, Stamp> unreadable_;
    Progress progress_;
    std::size_t unsaved_ = 0;
    std::shared_ptr<Shared> shared_;
    std::jthread worker_;  // last: it starts after what it uses
};

}  // namespace tw::media
