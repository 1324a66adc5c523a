#include "playout/player_start.h"

#include <cerrno>

#include "autodj/history.h"
#include "autodj/picker.h"
#include "autodj/planner.h"
#include "broadcast/cast_session.h"
#include "core/console_ops.h"
#include "core/failure.h"
#include "core/text.h"
#include "liveassist/microphone.h"
#include "media/stream_opener.h"
#include "media/stream_time.h"
#include "tags/id3_tag.h"
#include "web/status_feed.h"

namespace tw::playout {

namespace {

// The free sync: the engine calls it on its own thread when the stream is gone. It only asks the
// console thread to switch fadeTimer on; the load itself happens there.
audio::SyncProc freeSync(core::Console& c) {
    core::EventLoop* loop = c.svc.loop;
    return [loop, &c](audio::Handle, audio::Handle, std::uint32_t) {
        if (loop) {
            loop->post([&c] { core::setFadeTimerEnabled(c, true); });
        }
    };
}

// A mixer source held by the mixer's pause flag. A stream outside the mixer (or gone) answers
// with all bits set, which is no pause.
bool pausedInMixer(audio::Engine& e, audio::Handle stream) {
    const std::uint32_t flags = e.mixerChannelFlags(stream, 0, 0);
    return flags != 0xFFFFFFFFu && (flags & audio::kMixerPause) != 0;
}

bool inMixer(audio::Engine& e, audio::Handle stream) {
    return stream != 0 && e.mixerChannelFlags(stream, 0, 0) != 0xFFFFFFFFu;
}

// Player n holds a track that waits for its start: a stream loaded and not yet in the mix, or an
// address still being opened.
bool waitsToStart(core::Console& c, int n) {
    if (media::isOpening(c, n)) {
        return true;
    }
    audio::Engine& e = c.engine();
    const audio::Handle stream = n == 1 ? c.player1Stream : c.player2Stream;
    return stream != 0 && !inMixer(e, stream) && e.channelIsActive(stream) != audio::kStopped;
}

}  // namespace

void startNExt(core::Console& c) {
    auto& m = c.form();
    audio::Engine& e = c.engine();
    try {
        if (m.lstPlaylist.rows.empty() && m.lstRotation.rows.empty() && c.activePlayer == 0) {
            return;
        }
        c.silenceTicks = 0;
        m.cmdPausePlay1.backColor = 0;
        m.cmdPausePlay2.backColor = 0;

        int incoming = 0;
        const bool answered = c.startWhenOpened != 0 && c.startWhenOpened == c.activePlayer &&
                              !media::isOpening(c, c.activePlayer);
        if (answered) {
            // The address this start waited for has answered: the start goes on where it
            // stopped, on the player it flipped to then.
            incoming = c.activePlayer;
        } else if (c.activePlayer == 1) {
            incoming = 2;
        } else if (c.activePlayer == 2 || c.activePlayer == 0) {
            incoming = 1;
        } else {
            return;
        }
        c.startWhenOpened = 0;
        const int outgoing = incoming == 1 ? 2 : 1;
        // The flip comes first: if nothing waits on the incoming player, the next tick's
        // recovery path acts on the other one.
        c.activePlayer = static_cast<std::int16_t>(incoming);
        if (media::isOpening(c, incoming)) {
            // Its address has not answered yet. The track on the air plays on, unfaded, until
            // it does; the answer finishes this start (or, when the address cannot be opened,
            // the tick's recovery starts the other player).
            c.startWhenOpened = static_cast<std::int16_t>(incoming);
            return;
        }
        const audio::Handle in = incoming == 1 ? c.player1Stream : c.player2Stream;
        audio::Handle out = outgoing == 1 ? c.player1Stream : c.player2Stream;
        if (in == 0) {
            return;
        }
        // While the address was being opened the other player may have been loaded with the
        // next row: only a track still in the mix is the outgoing one.
        if (answered && !inMixer(e, out)) {
            out = 0;
        }
        const media::cbass_time t(e);
        // Items of a minute or less (jingles) run out at full level under the next track. The
        // target below silence makes the fade reach nothing long before its time is up.
        if (out != 0 && t.GetDuration(out) > 60.0f) {
            e.channelSlideAttribute(
                out, audio::kAttribVol, -100.0f,
                static_cast<std::uint32_t>(core::cLng(c.crossfadeTime * 1000.0)));
        }
        if (!e.mixerAddChannel(c.mixerStream, in, audio::kStreamAutoFree)) {
            return;
        }
        // A paused track stays in the mixer, held, after its hand-over, and the start has just
        // cleared its paused look: the next press on its button would put it back on the air
        // beside the new track. It goes now, as a faded track goes at its end, and its free sync
        // loads the player again.
        if (out != 0 && pausedInMixer(e, out)) {
            e.streamFree(out);
        }
        const std::string path = incoming == 2 ? c.nextSong2 : c.nextSong1;
        autodj::stampStartedTrack(c, path);

        c.id3->filename(path);
        tags::clsMp3TagData tag;
        c.id3->returnID3Tag(tag);
        c.currentTitle = tag.mp3Title;
        if (core::isStreamAddress(path)) {
            c.lastStart = {path, {}, {}, {}, c.now()};
        } else {
            c.lastStart = {path, tag.songName, tag.Artist, tag.Album, c.now()};
        }
        std::string artist = tag.Artist;
        autodj::recordStart(c, c.currentTitle, autodj::makeArtist(artist));
        core::logPlayed(c, c.currentTitle, c.now());
        web::statusFeedStarted(c);

        // Jingles of 15 seconds or less leave the title on the air as it is.
        if (t.GetDuration(in) > 15.0f) {
            broadcast::sendTitle(c, c.currentTitle);
        }
        core::printOnButton(incoming == 2 ? m.lblPlayer2 : m.lblplayer1, core::ImageRole::Blue,
                            tag.Artist, tag.songName);
        const audio::Handle sync = e.channelSetSync(in, audio::kSyncFree, 0, freeSync(c));
        (incoming == 2 ? c.sync2 : c.sync1) = sync;
    } catch (const std::exception& ex) {
        const core::FailureInfo f = core::describeFailure(ex);
        core::logError(c, "StartNext" + f.description + "  " + std::to_string(f.number) +
                              " Bass Error:" + std::to_string(e.errorGetCode()) + " " + f.source);
    }
}

void fadeTimer_Timer(core::Console& c) {
    if (!c.automated()) {
        return;
    }
    // When the player that is not active holds a track waiting for its start, either the stream
    // that went was the track on the air itself, run out before anything started the next one,
    // or the tick's recovery has already started the waiting track and loaded the empty player.
    // A load would put the row after that track in its place, and it would never be heard; the
    // recovery path starts it and loads the player that is empty.
    const int waiting = c.activePlayer == 1 ? 2 : 1;
    if (!waitsToStart(c, waiting)) {
        autodj::loadNextSong(c, 0);
    }
    core::setFadeTimerEnabled(c, false);
}

void setPlayersVolume(core::Console& c, float value) {
    c.engine().channelSetAttribute(c.player1Stream, audio::kAttribVol, value);
    c.engine().channelSetAttribute(c.player2Stream, audio::kAttribVol, value);
}

void duckPlayers(core::Console& c) {
    liveassist::slidePlayers(c, 0.5f, 1000);
}

void restorePlayers(core::Console& c) {
    liveassist::slidePlayers(c, 1.0f, 1000);
}

}  // namespace tw::playout

namespace tw::core {

void setFadeTimerEnabled(Console& c, bool enabled) {
    // A free sync that arrives after the console closed has nothing left to load.
    if (c.unloaded && enabled) {
        return;
    }
    c.ui.main.fadeTimer.enabled = enabled;
    if (!c.svc.loop) {
        return;
    }
    if (enabled && c.fadeTimerId == 0) {
        c.fadeTimerId = c.svc.loop->startTimer(c.ui.main.fadeTimer.interval,
                                               [&c] { playout::fadeTimer_Timer(c); });
    } else if (!enabled && c.fadeTimerId != 0) {
        c.svc.loop->stopTimer(c.fadeTimerId);
        c.fadeTimerId = 0;
    }
}

}  // namespace tw::core
