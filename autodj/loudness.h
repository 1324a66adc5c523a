#pragma once
// Every item on the air at the same loudness: when "[Loudness] Target" in appSettings.ini holds a
// level in LUFS, each track, sweeper, sample, voice track and spoken line plays through the
// engine's loudness stage at
//
//     gain = target - its integrated loudness (+ "[Loudness] JingleOffset" dB for sweepers and
//            samples), lowered so that its true peak after the gain stays at or below -1 dBTP,
//            and never more than +20 dB (a near-silent file is not lifted into its noise).
//
// The stage sits under the console's volumes: fades, ducking and slides act on top as before. A
// file not yet measured plays at unity and goes to the front of the measurement queue. Without
// a target nothing is measured and no stream is touched: the mix is what it was.
//
// Thread contract: console thread only.

#include <optional>
#include <string>
#include <vector>

#include "audio/engine.h"
#include "core/console.h"
#include "media/loudness_file.h"

namespace tw::autodj {

enum class LoudnessKind { Track, Jingle };  // a jingle: a sweeper or a sample

inline constexpr double kTruePeakCeiling = -1.0;  // dBTP after the gain
inline constexpr double kLargestLift = 20.0;      // dB
inline constexpr double kReplayGainReference = -18.0;

// The gain rule, in dB.
double loudnessGainDb(double targetLufs, const media::LoudnessEntry& e, double offsetDb);

// "[Loudness] Target" as a level between -40 and -5 LUFS; none when absent, empty or anything else.
std::optional<double> loudnessTarget(core::Console& c);
// "[Loudness] JingleOffset" within +-20 dB, 0 when absent or anything else.
double jingleOffset(core::Console& c);

// The station's loudness library, made (and loudness.ini read) at the first call. Null while no
// target is set.
media::LoudnessLibrary* loudnessLibrary(core::Console& c);

// Puts a stream just made for path through the loudness stage (or asks for the file first).
void applyLoudness(core::Console& c, audio::Handle stream, const std::string& path,
                   LoudnessKind kind);
// The same for a file made a moment ago that plays at once (a spoken line): measured here, on the
// calling thread, since it is short and its answer is wanted now.
void applyLoudnessMeasuredNow(core::Console& c, audio::Handle stream, const std::string& path);
// A file that has just come into the station (an import, a voice track, a sweeper or a sample
// dropped): measured next, behind what is about to play.
void askLoudness(core::Console& c, const std::string& path);
void askLoudness(core::Console& c, const std::vector<std::string>& paths);

// The details panel's line: "Loudness -12.4 LUFS  Peak -0.3 dBTP  Gain -3.6 dB".
std::string loudnessLine(core::Console& c, const std::string& path);
// The settings panel's progress line.
std::string loudnessProgressLine(core::Console& c);

// Writes loudness.ini and stops the measurement (the file under way is left): at shut-down.
void stopLoudness(core::Console& c);

// "Write ReplayGain Tags": every file the console measured itself gets its track gain (against
// -18 LUFS) and peak as ReplayGain tags, through the safe tag writer, on a worker with its
// progress in "Library Update". Files whose loudness came from their tags are left as they are.
// A second press while it runs does nothing.
void cmdWriteReplayGain_Click(core::Console& c);
bool replayGainJobBusy(const core::Console& c);

}  // namespace tw::autodj
