#pragma once
// The settings window's frame for the web status service and the now-playing command: the port,
// the address, the token and the command as appSettings.ini holds them, and under them the
// address to open (or why the service is off). Return in a box takes what it holds: the setting
// is written and the service starts again with it. The token never shows on the screen (the
// window draws a bullet for each of its characters).
//
// Thread contract: console thread only.

#include <string_view>

#include "core/console.h"

namespace tw::web {

// Fills the frame from the settings (the window's load).
void fillWebStatusSettings(core::Console& c);
// Return in one of the frame's boxes (its name without the window's); false for a box of another
// frame. A port that is no number from 0 to 65535 gets a message and the saved one shows again.
bool webStatusBox_Enter(core::Console& c, std::string_view box);

}  // namespace tw::web
