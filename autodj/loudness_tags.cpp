// The measurements written into the files' ReplayGain tags, for the players that read them.

#include <cmath>
#include <mutex>

#include "autodj/library_jobs.h"
#include "autodj/loudness.h"
#include "core/console_ops.h"
#include "core/worker.h"
#include "media/loudness_library.h"
#include "tags/replay_gain.h"

namespace tw::autodj {

// These have linkage: ReplayGainJob, declared in a header, holds them.
struct ReplayGainWrite {
    std::string path;
    double gainDb = 0;
    double peak = 0;  // linear
};

// What the job's thread and the console thread share; every field under the mutex.
struct ReplayGainState {
    std::vector<ReplayGainWrite> files;
    std::mutex mutex;
    std::size_t done = 0;
    std::vector<std::string> written;                           // waiting to be restamped
    std::vector<std::pair<std::string, std::string>> failures;  // path, why
};

struct ReplayGainJob {
    std::unique_ptr<core::Worker> worker;
    std::shared_ptr<ReplayGainState> state;
};

namespace {

void doWork(core::Worker& w, const std::shared_ptr<ReplayGainState>& s) {
    for (std::size_t i = 0; i < s->files.size() && !w.CancellationPending(); ++i) {
        const ReplayGainWrite& f = s->files[i];
        std::string error;
        const bool ok = tags::writeReplayGain(f.path, f.gainDb, f.peak, error);
        {
            const std::lock_guard lock(s->mutex);
            s->done = i + 1;
            if (ok) {
                s->written.push_back(f.path);
            } else {
                s->failures.emplace_back(f.path, error);
            }
        }
        w.ReportLatest(static_cast<int>((i + 1) * 100 / s->files.size()));
    }
}

// The files written so far keep their measurement under their new size and time.
void takeWritten(core::Console& c, ReplayGainState& s) {
    std::vector<std::string> written;
    std::vector<std::pair<std::string, std::string>> failures;
    {
        const std::lock_guard lock(s.mutex);
        written.swap(s.written);
        failures.swap(s.failures);
    }
    if (c.loudness) {
        for (const std::string& path : written) {
            c.loudness->restamp(path);
        }
    }
    for (const auto& [path, why] : failures) {
        core::logError(c, "ReplayGain tags not written to " + path + ": " + why);
    }
}

void progress(core::Console& c) {
    if (!c.replayGainJob || !c.replayGainJob->state) {
        return;
    }
    ReplayGainState& s = *c.replayGainJob->state;
    takeWritten(c, s);
    std::size_t done = 0;
    {
        const std::lock_guard lock(s.mutex);
        done = s.done;
    }
    core::setStatusText(c, "Writing ReplayGain Tags: " + std::to_string(done) + " of " +
                               std::to_string(s.files.size()));
    core::ShowStatus(c, static_cast<double>(done) / static_cast<double>(s.files.size()));
}

void completed(core::Console& c) {
    const std::shared_ptr<ReplayGainState> s = std::move(c.replayGainJob->state);
    std::size_t failed = 0;
    {
        const std::lock_guard lock(s->mutex);
        failed = s->failures.size();
    }
    takeWritten(c, *s);
    if (c.loudness) {
        c.loudness->save();
    }
    core::closeStatus(c);
    const std::size_t done = s->done - failed;
    core::printMessageOnScreen(
        c, "ReplayGain tags written to " + std::to_string(done) + " files" +
               (failed > 0 ? ", " + std::to_string(failed) + " could not be written (see app.log)"
                           : std::string()));
}

}  // namespace

void cmdWriteReplayGain_Click(core::Console& c) {
    if (replayGainJobBusy(c)) {
        return;
    }
    media::LoudnessLibrary* lib = loudnessLibrary(c);
    if (!lib) {
        core::printMessageOnScreen(c,
                                   "Choose a loudness target first: the files are measured then");
        return;
    }
    auto s = std::make_shared<ReplayGainState>();
    for (const auto& [path, e] : lib->knownFiles()) {
        if (e.fromReplayGain || !std::isfinite(e.lufs) || !e.peakDbtp ||
            !std::isfinite(*e.peakDbtp)) {
            continue;
        }
        s->files.push_back(
            {path, kReplayGainReference - e.lufs, std::pow(10.0, *e.peakDbtp / 20.0)});
    }
    if (s->files.empty()) {
        core::printMessageOnScreen(c, "No measured files to write ReplayGain tags to");
        return;
    }
    if (!c.replayGainJob) {
        c.replayGainJob = std::make_shared<ReplayGainJob>();
        c.replayGainJob->worker = std::make_unique<core::Worker>(
            *c.svc.loop, core::Worker::Events{
                             [](core::Worker& w, const std::any& param) {
                                 doWork(w, std::any_cast<std::shared_ptr<ReplayGainState>>(param));
                             },
                             [&c](int) { progress(c); }, [&c] { completed(c); }});
    }
    c.replayGainJob->state = s;
    core::reopenStatus(c);
    core::ShowStatus(c, 0);
    c.replayGainJob->worker->StartWorkAsync(s);
}

bool replayGainJobBusy(const core::Console& c) {
    return c.replayGainJob && c.replayGainJob->state;
}

}  // namespace tw::autodj
