#include "playout/manual_transport.h"

#include "autodj/history.h"
#include "autodj/library_state.h"
#include "autodj/loudness.h"
#include "autodj/planner.h"
#include "core/console_ops.h"
#include "core/paths.h"
#include "core/text.h"
#include "media/stream_opener.h"
#include "media/stream_time.h"
#include "media/track_scan.h"
#include "playout/player_start.h"
#include "tags/cue_data.h"
#include "tags/id3_tag.h"

namespace tw::playout {

namespace {

constexpr std::uint32_t kPausedColor = 0x40;

audio::Handle& streamOf(core::Console& c, int n) {
    return n == 1 ? c.player1Stream : c.player2Stream;
}
audio::Handle& syncOf(core::Console& c, int n) {
    return n == 1 ? c.sync1 : c.sync2;
}

}  // namespace

void cmdSkipNow_Click(core::Console& c) {
    startNExt(c);
    if (c.automated()) {
        autodj::loadNextSong(c, 0);
    }
}

void cmdAutoManual_Click(core::Console& c) {
    auto& caption = c.form().cmdAutoManual.caption;
    caption = caption == core::kAutomated ? core::kManual : core::kAutomated;
}

void pausePlay(core::Console& c, int n) {
    core::Element& button = n == 1 ? c.form().cmdPausePlay1 : c.form().cmdPausePlay2;
    const audio::Handle stream = streamOf(c, n);
    audio::Engine& e = c.engine();
    if (button.backColor == kPausedColor) {
        e.mixerChannelFlags(stream, 0, audio::kMixerPause);
        button.backColor = 0;
    } else {
        e.mixerChannelFlags(stream, audio::kMixerPause, audio::kMixerPause);
        button.backColor = kPausedColor;
    }
    if (c.activePlayer == 0) {
        // The first start by hand: none of a start's book-keeping (history, log, titles, the
        // free sync) is done for a track started this way.
        c.activePlayer = static_cast<std::int16_t>(n);
        e.mixerAddChannel(c.mixerStream, stream, audio::kStreamAutoFree);
        e.channelPlay(stream, false);
        button.backColor = 0;
    }
}

void eject(core::Console& c, int n) {
    audio::Engine& e = c.engine();
    const audio::Handle stream = streamOf(c, n);
    e.channelRemoveSync(stream, syncOf(c, n));
    e.streamFree(stream);
    core::printOnButton(n == 1 ? c.form().lblplayer1 : c.form().lblPlayer2, core::ImageRole::Gray,
                        "Empty", "");
    if (c.activePlayer == n) {
        c.activePlayer = 0;
    }
}

void fadeOut(core::Console& c, int n) {
    audio::Engine& e = c.engine();
    const audio::Handle stream = streamOf(c, n);
    e.channelRemoveSync(stream, syncOf(c, n));
    e.channelSlideAttribute(stream, audio::kAttribVol, -100.0f,
                            static_cast<std::uint32_t>(core::cLng(c.crossfadeTime * 1000.0)));
}

void seekPlayer(core::Console& c, int n, double x) {
    audio::Engine& e = c.engine();
    const audio::Handle stream = streamOf(c, n);
    // The reference width follows the window's size, not the bar's drawn width.
    c.barScale = core::cLng(static_cast<double>(e.channelGetLength(stream)) / c.playerBarWidth);
    media::seekStream(e, stream, static_cast<std::int64_t>(core::cLng(x)) * c.barScale, 0);
}

void cmdMute_Click(core::Console& c) {
    core::Element& button = c.form().cmdMute;
    if (!c.muted) {
        button.backColor = 0xFF;
        if (c.mixerStream != 0) {
            c.engine().channelSetAttribute(c.mixerStream, audio::kAttribVol, 0.0f);
            c.muted = true;
        }
    } else {
        button.backColor = 0xFFFFFF;
        if (c.mixerStream != 0) {
            c.engine().channelSetAttribute(c.mixerStream, audio::kAttribVol, 1.0f);
            c.muted = false;
        }
    }
}

namespace {

bool playerTakesDrops(const core::Console& c, int n) {
    return c.activePlayer == 0 || c.activePlayer != n;
}

// Replaces player n's stream with one on path, freeing the old one.
audio::Handle reopen(core::Console& c, int n, const std::string& path) {
    audio::Handle& stream = streamOf(c, n);
    if (stream != 0) {
        c.engine().streamFree(stream);
    }
    media::openingOn(c, n) = 0;  // an address still being opened for the player is not wanted
    stream = media::openStream(c.engine(), path, 0, 0, audio::kStreamDecode, path);
    autodj::applyLoudness(c, stream, path, autodj::LoudnessKind::Track);
    return stream;
}

}  // namespace

void dropElementOnPlayer(core::Console& c, int n, const std::string& toolTip) {
    if (!playerTakesDrops(c, n)) {
        return;
    }
    (n == 1 ? c.nextSong1 : c.nextSong2) = toolTip;
    const audio::Handle stream = reopen(c, n, toolTip);
    core::printOnButton(n == 1 ? c.form().lblplayer1 : c.form().lblPlayer2, core::ImageRole::Gray,
                        core::parsePath(toolTip, 4));
    (n == 1 ? c.nextSongName1 : c.nextSongName2) = toolTip;
    const std::int32_t end = media::SetTrackStart(c, toolTip, stream);
    core::CueRecord& cue = n == 1 ? c.cueRecord1 : c.cueRecord2;
    if (cue.nextStart == 0) {
        cue.nextStart = static_cast<float>(end);
    }
}

void dropTrackOnPlayer(core::Console& c, int n, const std::string& rowText) {
    if (!playerTakesDrops(c, n)) {
        return;
    }
    const std::string path = autodj::trackPathOfRow(*c.library, c.form().lstSongs, rowText);
    if (path.empty()) {
        return;
    }
    (n == 1 ? c.nextSong1 : c.nextSong2) = path;
    const audio::Handle stream = reopen(c, n, path);
    c.id3->filename(path);
    tags::clsMp3TagData tag;
    c.id3->returnID3Tag(tag);
    const std::string lastPlayed =
        autodj::readHistory(c, tag.mp3Title, autodj::kLastPlayed, core::generalDate(c.now()));
    // Player 2's button never reads the tune-outs: it shows 0.
    const std::string outs =
        n == 1 ? autodj::readHistory(c, tag.mp3Title, autodj::kTunedOut, "0") : "0";
    const std::string count = autodj::readHistory(c, tag.mp3Title, autodj::kPlayCount, "0");
    (n == 1 ? c.form().cmdPlayer1Pick : c.form().cmdPlayer2Pick).caption =
        "LastPlayed:" + lastPlayed + " Outs:" + outs + " Count:" + count;
    core::printOnButton(n == 1 ? c.form().lblplayer1 : c.form().lblPlayer2, core::ImageRole::Gray,
                        tag.Artist, tag.songName);
    (n == 1 ? c.nextSongName1 : c.nextSongName2) = tag.mp3Title;
    core::CueRecord& cue = n == 1 ? c.cueRecord1 : c.cueRecord2;
    cue = tags::readCueRecord(c, path);
    media::drawCueMarkers(c, stream, n == 1 ? c.form().pctMarkers1 : c.form().pctMarkers2, cue);
}

void keyUp(core::Console& c, int keyCode) {
    if (keyCode == 120) {
        cmdSkipNow_Click(c);
    } else if (keyCode == 121) {
        autodj::loadNextSong(c, 0);
    }
}

}  // namespace tw::playout
