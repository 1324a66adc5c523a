#pragma once
// The program settings window (frmAppSettings, "TarnWave Settings"): the crossfade, the dead-air
// time, the artist separation and the auto-trim, each written to appSettings.ini the moment it
// changes and read back by the console at once; the two logs shown; the play history reset. There
// is no OK or Cancel. Also the console's readers of those four settings, which start-up uses.
//
// The two-box fields (seconds and the part after the point) work by colour: the box painted green
// is the one its slider drives; with neither green the slider drives the second box. Values set
// here by the console (on opening, or a box's click) do not count as the operator's change: only
// sliderChanged writes.
//
// Thread contract: console thread only.

#include <string_view>

#include "core/console.h"

namespace tw::liveassist {

// The console's copies of the settings, from appSettings.ini.
void readCrossfadeTime(core::Console& c);  // a crossfade of 0 is taken as 0.1 s
void readSilenceTime(core::Console& c);
std::int32_t readArtistSeperationTime(core::Console& c);  // the hours, rounded
void readAutoTrimValues(core::Console& c);

// cmdProgramSettings: fills the window from the settings and shows it.
void cmdProgramSettings_Click(core::Console& c);
// The window's load: microphone lists, both two-box fields, the separation and the auto-trim.
void frmAppSettings_Load(core::Console& c);
// A click in box 0 or 1 of txtCrossfadeSeconds or txtSilenceSeconds (named without index).
void twoBoxField_Click(core::Console& c, std::string_view field, int index);
// The operator moved a slider (sldCrossfadeSeconds, sldrSilenceValue, sldrArtistSeperation,
// sldrTrimThreshold) to value; false for another name. The value is kept within the range.
bool sliderChanged(core::Console& c, std::string_view slider, int value);
// chkEnableAutoTrim's click, after its value changed.
void chkEnableAutoTrim_Click(core::Console& c);
void cmdViewAppLog_Click(core::Console& c);
void cmdViewPlayedLog_Click(core::Console& c);
// played.ini to the trash: every track and artist is new at the next pick.
void cmdResetPlayed_Click(core::Console& c);

// The studio output for previews and studio-only samples: "[Preview] Device" names the card;
// empty, or a card the machine no longer has, means the main output.
inline constexpr const char* kMainOutput = "Main output (with the monitor)";
// Fills cboStudioOutput: the main output, then the engine's cards; the saved one chosen.
void fillStudioOutputs(core::Console& c);
// The operator's choice in cboStudioOutput: the engine routes the studio streams there and the
// name is saved. A card that cannot be opened leaves the main output, with a message.
void cboStudioOutput_Click(core::Console& c);
// At start-up: the saved card, if the machine still has it; else a line in app.log.
void applyStudioOutput(core::Console& c);

}  // namespace tw::liveassist
