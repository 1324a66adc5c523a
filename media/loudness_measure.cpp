#include <cmath>

#include "audio/loudness_meter.h"
#include "media/loudness_library.h"
#include "tags/replay_gain.h"

namespace tw::media {

LoudnessMeasure replayGainOrMeter() {
    return [](const std::string& path, const std::atomic<bool>& cancel, MeasuredLoudness& out) {
        // A tagger has done the work already: its gain is relative to its own reference level,
        // its peak a sample peak.
        if (const auto rg = tags::readReplayGain(path)) {
            out.lufs = tags::kReplayGainReferenceLufs - rg->trackGainDb;
            out.peakDbtp.reset();
            if (rg->trackPeak) {
                out.peakDbtp = *rg->trackPeak > 0 ? 20.0 * std::log10(*rg->trackPeak) : -HUGE_VAL;
            }
            out.fromReplayGain = true;
            return MeasureOutcome::Measured;
        }
        audio::LoudnessFigures figures;
        int error = 0;
        switch (audio::measureLoudness(path, &cancel, figures, error)) {
            case audio::MeasureResult::Measured:
                out.lufs = figures.integratedLufs;
                out.peakDbtp = figures.truePeakDbtp;
                out.fromReplayGain = false;
                return MeasureOutcome::Measured;
            case audio::MeasureResult::Cancelled:
                return MeasureOutcome::Cancelled;
            case audio::MeasureResult::Unreadable:
                break;
        }
        return MeasureOutcome::Unreadable;
    };
}

}  // namespace tw::media
