#pragma once
// The encoder profiles and the form frmCast ("Shoutcast/Icecast Server Settings") on which the
// operator edits one of them: loading and saving appSettings.ini, the profile buttons, the
// server-type rules, the save-then-close button, and the accessors the rest of the console reads.
//
// Thread contract: console thread only.

#include <cstdint>
#include <string>

#include "broadcast/cast_state.h"
#include "core/console.h"

namespace tw::broadcast {

// The texts, lists, tool tips and first look of the form; done once when the console loads it.
void loadCastForm(core::Console& c);

void loadEncoderDataFromIni(core::Console& c);
bool getEncoderEnabled(core::Console& c, int index);
bool getStationAutoReConnect(core::Console& c, int index);
std::string getStationURL(core::Console& c, int index);

void cmdEncoders_Click(core::Console& c, int index);
void showEncoderSettings(core::Console& c, int index);
void drawEncoderButtons(core::Console& c, int number);
void applyServerTypeRules(core::Console& c, int type);
void markSettingsChanged(core::Console& c);
void cmdSave_Click(core::Console& c);
void chkEnableEncoder_Click(core::Console& c);
// The operator picks a server type from the list.
void cmboServerType_Click(core::Console& c, int type);
// The console's "Settings Broadcast" button: shows the form on Encoder 1.
void cmdSettings_Click(core::Console& c);

// How the program reads a profile's switch: "1", "-1", "True" are true; "0", "False", "" false.
bool readsAsTrue(const std::string& text);

}  // namespace tw::broadcast
