#include "playout/preview.h"

#include "autodj/library_state.h"
#include "autodj/track_details.h"
#include "media/stream_time.h"
#include "media/track_scan.h"
#include "playout/manual_transport.h"
#include "tags/cue_data.h"

namespace tw::playout {

namespace {

constexpr std::uint32_t kRed = 0xFF;
constexpr std::uint32_t kGreen = 0xC000;
constexpr std::uint32_t kWhite = 0xFFFFFF;

}  // namespace

void previewTrack(core::Console& c, const std::string& file) {
    auto& m = c.form();
    if (c.previewPlayer != 0) {
        c.engine().channelStop(c.previewPlayer);
        c.previewPlayer = 0;
        cmdMute_Click(c);
        m.cmdPlayActiveSong.backColor = kWhite;
        m.pctPreviewPlayer.drawing.clear();
        m.pctPreviewMarkers.drawing.clear();
        // Muted by the operator before the preview: the press above unmuted it, this one
        // would mute it again; the mixer is never left muted.
        if (m.cmdMute.backColor == kRed) {
            cmdMute_Click(c);
        }
        autodj::drawDetailsPicture(c);
        return;
    }
    c.previewSong = file;
    c.previewPlayer = media::openStream(c.engine(), file, 0, 0, audio::kStreamAutoFree, file);
    c.engine().channelPlay(c.previewPlayer, false);
    m.cmdPlayActiveSong.backColor = kGreen;
    c.previewCue = tags::readCueRecord(c, file);
    media::drawCueMarkers(c, c.previewPlayer, m.pctPreviewMarkers, c.previewCue);
    autodj::drawDetailsPicture(c);
    if (m.cmdMute.backColor != kRed) {
        cmdMute_Click(c);
    }
}

void cmdPlayActiveSong_Click(core::Console& c) {
    const auto& list = c.form().lstSongs;
    const auto& files = c.library->trackFiles;
    if (list.listIndex < 0 || list.listIndex >= static_cast<int>(files.size())) {
        return;
    }
    previewTrack(c, files[static_cast<std::size_t>(list.listIndex)]);
}

}  // namespace tw::playout
