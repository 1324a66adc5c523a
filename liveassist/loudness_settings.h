#pragma once
// The loudness target in the settings panel, and the measurement of the whole station behind it.
//
// cboLoudnessTarget offers "Off", "-23 LUFS", "-18 LUFS", "-16 LUFS" and "-14 LUFS", and takes a
// typed level (Return) between -40 and -5 LUFS; the choice is written at once as
// "[Loudness] Target" ("Off" removes the key). With a target set, every file of the station
// (the categories, the sweepers, the sampler's buttons) that is not yet known is measured in the
// background, after start-up and when the target is first set; lblLoudnessProgress tells how far.
//
// Thread contract: console thread only.

#include <string>
#include <vector>

#include "core/console.h"

namespace tw::liveassist {

inline constexpr const char* kLoudnessOff = "Off";

// Fills cboLoudnessTarget and lblLoudnessProgress from the settings (the window's load).
void fillLoudnessTargets(core::Console& c);
// The operator chose an entry of cboLoudnessTarget.
void cboLoudnessTarget_Click(core::Console& c);
// Return in cboLoudnessTarget: its text as the target. A text that is no level in range gets a
// message and the saved target shows again.
void cboLoudnessTarget_Enter(core::Console& c);

// Every file of the station the loudness stage can play.
std::vector<std::string> stationAudioFiles(core::Console& c);
// With a target set: asks for every file of the station (those known are skipped).
void startLoudnessScan(core::Console& c);

}  // namespace tw::liveassist
