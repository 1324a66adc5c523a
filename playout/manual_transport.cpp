#include "playout/manual_transport.h"

#include "autodj/planner.h"
#include "core/console_ops.h"
#include "core/text.h"
#include "playout/player_start.h"
#include "playout/stream_time.h"

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
    seekStream(e, stream, static_cast<std::int64_t>(core::cLng(x)) * c.barScale, 0);
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

void keyUp(core::Console& c, int keyCode) {
    if (keyCode == 120) {
        cmdSkipNow_Click(c);
    } else if (keyCode == 121) {
        autodj::loadNextSong(c, 0);
    }
    // F1 to F8 (112 to 119) belong to the sampler.
}

}  // namespace tw::playout
