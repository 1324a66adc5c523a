#pragma once
// Download sheets: a one-page paper form for a track, to be filled in by hand by whoever logs the
// track into another system. Written as a text file in "Download Sheets" and sent to the printer
// with `lp` where the machine has it; without a printer command the sheet's place is shown.
//
// Thread contract: console thread only.

#include <string>

#include "core/console.h"

namespace tw::reporting {

// The sheet's text for a track's tag fields.
std::string downloadSheetText(const std::string& title, const std::string& artist,
                              const std::string& composer, const std::string& publisher,
                              const std::string& album, const std::string& marketingLabel);

// cmdSaveDownloadSheet: the sheet of the track the details panel shows, written to
// AppFolder/Download Sheets/<Artist>-<title>.txt (replacing an older one) and printed. Any failure
// ends the action with nothing shown.
void cmdSaveDownloadSheet_Click(core::Console& c);

}  // namespace tw::reporting
