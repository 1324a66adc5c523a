#pragma once
// frmDialog, the small modal box that asks for a name: of a new category ("playlist"), a new
// rotation ("rotation") or a voice track ("VoiceTrack"). Its captions follow the mode; the
// operator's answer comes through the Prompter.
//
// Thread contract: console thread only.

#include <optional>
#include <string>

#include "core/console.h"

namespace tw::core {

inline constexpr const char* kNameDialogStart = "Enter Name Here";

// Gives the dialog the captions of its mode and the starting text.
void setUpNameDialog(core::Console& c, const std::string& mode);
// Shows the dialog in its mode and waits for the operator. The name when Create was pressed on a
// text that is neither empty nor the starting text; nothing otherwise.
std::optional<std::string> askForName(core::Console& c, const std::string& mode);

}  // namespace tw::core
