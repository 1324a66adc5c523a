#pragma once
// The preview player: a track from the library heard on the studio output, outside the mixer, so
// never on the air. The mixer's monitor is muted while it runs and is never left muted by it.
//
// Thread contract: console thread only.

#include <string>

#include "core/console.h"

namespace tw::playout {

// Starts the preview of file, or stops the one running (whatever file is asked for).
void previewTrack(core::Console& c, const std::string& file);
// cmdPlayActiveSong: the track chosen in lstSongs goes to the preview; a path that is not in the
// list's collection is ignored.
void cmdPlayActiveSong_Click(core::Console& c);
// Mouse down on pctPreviewPlayer with the left button at x: seeks the preview, with the bar's
// own width as the reference. Nothing while no preview stream is open.
void seekPreview(core::Console& c, double x);
// cmdPreviewSelected let go: the idle face, "Preview" over "Selected" on green.
void cmdPreviewSelected_MouseUp(core::Console& c);
// tmrPreviewUpdate's beat: the voice track's time left on cmdVoiceTrack; while a preview runs,
// the builder's Preview button green or the running list's row of the previewed track chosen;
// the microphone's meter on picMicLevel.
void tmrPreviewUpdate_Timer(core::Console& c);

}  // namespace tw::playout
