#include "playout/preview.h"

#include "autodj/library_state.h"
#include "autodj/track_details.h"
#include "core/console_ops.h"
#include "core/settings_store.h"
#include "core/text.h"
#include "media/stream_time.h"
#include "media/track_scan.h"
#include "playout/colours.h"
#include "playout/manual_transport.h"
#include "tags/cue_data.h"

namespace tw::playout {

namespace {

// While a preview runs, the panel on show says so: on the Playlist Builder its Preview button
// turns green; on the running list the row of the previewed track is chosen, if it is there.
void showPreviewOnPanel(core::Console& c) {
    auto& m = c.form();
    if (m.frmPlaylistBuilder.visible) {
        if (m.cmdPreviewSelected.image != core::ImageRole::Green) {
            core::printOnButton(m.cmdPreviewSelected, core::ImageRole::Green, "Preview");
        }
    } else if (m.frmRotationList.visible) {
        auto& grid = m.lstPlaylist;
        for (int i = 0; i < grid.rowCount() && i < static_cast<int>(c.trackList.size()); ++i) {
            if (c.trackList[static_cast<std::size_t>(i)].trackPath == c.previewSong) {
                grid.row = i;
                for (int r = 0; r < grid.rowCount(); ++r) {
                    grid.rows[static_cast<std::size_t>(r)].selected = r == i;
                }
                break;
            }
        }
    }
}

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
        if (m.cmdPreviewSelected.image == core::ImageRole::Green) {
            cmdPreviewSelected_MouseUp(c);  // back to the idle face
        }
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
    core::wakePreviewTimer(c);
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

void seekPreview(core::Console& c, double x) {
    audio::Engine& e = c.engine();
    const double width = c.form().pctPreviewPlayer.scaleWidth();
    if (width <= 0) {
        return;
    }
    // A stale handle reads a length of -1; the seek that follows fails without effect.
    c.barScale = core::cLng(static_cast<double>(e.channelGetLength(c.previewPlayer)) / width);
    media::seekStream(e, c.previewPlayer, static_cast<std::int64_t>(core::cLng(x)) * c.barScale, 0);
}

void cmdPreviewSelected_MouseUp(core::Console& c) {
    core::printOnButton(c.form().cmdPreviewSelected, core::ImageRole::Green, "Preview", "Selected");
}

void tmrPreviewUpdate_Timer(core::Console& c) {
    auto& m = c.form();
    audio::Engine& e = c.engine();
    if (c.spotChannel != 0) {
        if (e.channelIsActive(c.spotChannel) != audio::kStopped) {
            const media::cbass_time t(e);
            const std::string left =
                media::GetTime(t.GetDuration(c.spotChannel) - t.GetPlayingPos(c.spotChannel));
            core::printOnButton(m.cmdVoiceTrack, core::ImageRole::Green, left, "", 7);
            m.cmdVoiceTrack.tag = "counting";
        } else if (m.cmdVoiceTrack.tag == "counting") {
            core::printOnButton(m.cmdVoiceTrack, core::ImageRole::Green, "VoiceTrack", "", 7);
            m.cmdVoiceTrack.tag.clear();
        }
    } else if (m.cmdVoiceTrack.tag == "counting") {
        // Its end came through the sync before the beat saw it.
        core::printOnButton(m.cmdVoiceTrack, core::ImageRole::Green, "VoiceTrack", "", 7);
        m.cmdVoiceTrack.tag.clear();
    }
    if (c.previewPlayer != 0) {
        showPreviewOnPanel(c);
    }
    if (c.micChannel != 0) {
        const std::uint32_t level = e.channelGetLevel(c.micChannel);
        core::Element& meter = m.picMicLevel;
        meter.drawing.clear();
        const double width = meter.scaleWidth() * media::loWord(level) / 32768.0;
        meter.drawing.fills.push_back(
            {0, 0, width, meter.scaleHeight(), core::ImageRole::GYRVolume, 0});
    }
    if (c.spotChannel == 0 && c.previewPlayer == 0 && c.micChannel == 0 && c.previewTimerId != 0) {
        c.svc.loop->stopTimer(c.previewTimerId);
        c.previewTimerId = 0;
    }
}

}  // namespace tw::playout

namespace tw::core {

void wakePreviewTimer(Console& c) {
    if (c.previewTimerId != 0 || !c.svc.loop || !c.form().tmrPreviewUpdate.enabled) {
        return;
    }
    c.previewTimerId = c.svc.loop->startTimer(c.form().tmrPreviewUpdate.interval, [&c] {
        EventScope event(*c.svc.settings);
        playout::tmrPreviewUpdate_Timer(c);
    });
}

}  // namespace tw::core
