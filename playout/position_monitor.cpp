#include "playout/position_monitor.h"

#include <cerrno>
#include <string>

#include "broadcast/cast_state.h"
#include "broadcast/listeners.h"
#include "core/console_ops.h"
#include "core/failure.h"
#include "core/format.h"
#include "core/text.h"
#include "media/stream_opener.h"
#include "media/stream_time.h"
#include "playout/dead_air_alarm.h"
#include "playout/progress_bars.h"
#include "playout/stream_title.h"
#include "web/status_feed.h"

namespace tw::playout {

namespace {

using core::Element;

// Stage 2 and 3: the time left on a player, and the flashing in its last 15 seconds.
void showTimeLeft(core::Console& c, const media::cbass_time& t, audio::Handle stream, float pos,
                  float& timeLeft, Element& label) {
    timeLeft = t.GetDuration(stream) - pos;
    const bool differs = label.tag.empty() || static_cast<float>(core::val(label.tag)) != timeLeft;
    if (!differs) {
        return;
    }
    // Rounding first lets the seconds come out just below zero under a whole minute; such a
    // value is not shown and the tag keeps the last one shown.
    const std::int32_t minutes = core::intDiv(core::cLng(timeLeft), 60);
    const float seconds = timeLeft - static_cast<float>(minutes) * 60.0f;
    if (seconds >= 0) {
        label.caption =
            core::formatNumber(minutes, "0#") + ":" + core::formatNumber(seconds, "0#.0");
        label.tag = core::numberText(timeLeft);
    }
    if (timeLeft < 15.0f) {
        c.flashTicks += 1;
        if (c.flashTicks > 5) {
            label.foreColor = label.foreColor == 255 ? 0 : 255;
            c.flashTicks = 0;
        }
    }
}

std::string sweeperFile(core::Console& c, const core::CueRecord& cue) {
    const std::string folder = c.AppFolder + "/Sweepers/";
    if (cue.sweeperIndex > 0) {
        const std::int32_t index = c.tickCalls->findSweeperIndex(cue.sweeperIndex);
        const auto& items = c.form().flSweepers.items;
        if (index >= 0 && index < static_cast<std::int32_t>(items.size())) {
            return folder + items[static_cast<std::size_t>(index)].text;
        }
        return folder;
    }
    return folder + c.defaultSweeper;
}

// Stages 4 and 5: what the tick does for player n.
void transport(core::Console& c, const media::cbass_time& t, int n, float pos, float timeLeft) {
    if (media::isOpening(c, n)) {
        // Its address is still being opened: a start waits for it, and neither rule nor the
        // recovery path may act on a stream that is not there yet.
        return;
    }
    const audio::Handle stream = n == 1 ? c.player1Stream : c.player2Stream;
    const audio::Handle waiting = n == 1 ? c.player2Stream : c.player1Stream;
    core::CueRecord& cue = n == 1 ? c.cueRecord1 : c.cueRecord2;
    const int state = c.engine().channelIsActive(stream);
    if (state != audio::kStopped && c.activePlayer == n) {
        // Sweepers look at the microphone and the spot channel, not at the mode.
        if (pos >= cue.sweepStart && !cue.sweepFired && cue.sweeperAllowed && !c.micOn &&
            c.spotChannel == 0) {
            const std::string file = sweeperFile(c, cue);
            c.tickCalls->playSweeper(file);
            cue.sweepFired = true;
        }
        if (cue.nextStart > 0) {
            if (pos >= cue.nextStart && c.automated()) {
                c.tickCalls->startNExt();
            }
        } else if (c.crossfadeTime * 3 < t.GetDuration(waiting) && timeLeft <= c.crossfadeTime &&
                   c.automated()) {
            // A waiting track of three crossfades or less is never started early.
            c.tickCalls->startNExt();
        }
    } else if (state == audio::kStopped && c.activePlayer == n && c.automated()) {
        c.tickCalls->startNExt();
        c.tickCalls->loadNextSong(0);
    }
}

// Stage 8: listeners from every enabled encoder, reconnection, and the schedule.
void statisticsPass(core::Console& c) {
    std::int32_t total = 0;
    bool reconnect = false;
    // The listener variable starts at 0 with each poll, like the sum: the listeners of a server
    // that went away leave the figure (and are charged to the track on the air) instead of
    // standing in it for as long as the server is gone.
    c.listenercount = 0;
    for (int i = 0; i < core::kEncoderCount; ++i) {
        if (!c.tickCalls->getEncoderEnabled(i)) {
            continue;
        }
        const std::string answer = c.tickCalls->checkStats(i, c.listenercount);
        if (c.cast) {
            c.cast->encoderListeners[static_cast<std::size_t>(i)] =
                answer.empty() ? 0 : c.listenercount;
        }
        // An encoder still connecting has no statistics yet but is not dead: stopping it would
        // put a second source on its mount, and the original, which connected inside the
        // click, never met it in this state.
        if (answer.empty() && c.tickCalls->getStationAutoReConnect(i) &&
            !c.tickCalls->castConnecting(i)) {
            core::printMessageOnScreen(c,
                                       "Trying To RE-Connect to Server using settings in Encoder:" +
                                           std::to_string(i + 1));
            c.engine().encodeStop(c.encoderHandles[static_cast<std::size_t>(i)]);
            c.encoderHandles[static_cast<std::size_t>(i)] = 0;
            reconnect = true;
        }
        // A dead encoder leaves the variable as the one before it wrote it, so that figure
        // counts twice while a server is down.
        total += c.listenercount;
        c.form().lblListerners.caption = std::to_string(total);
        broadcast::lblListerners_Change(c);
    }
    if (reconnect) {
        c.tickCalls->castStart();
    }
    c.tickCalls->checkRotationSchedule();
    c.statsTicks = 0;
}

}  // namespace

void onPositionTimer(core::Console& c) {
    if (c.tmrCheckPositionBool) {
        tmrCheckPosition_Timer(c);
    }
    // What went on the air in this pass is told outward after it, with what comes next.
    web::statusFeedTick(c);
}

void tmrCheckPosition_Timer(core::Console& c) {
    if (!c.tmrCheckPositionBool) {
        return;
    }
    int stage = 1;
    try {
        auto& m = c.form();
        c.statsTicks += 1;
        const media::cbass_time t(c.engine());
        const float pos1 = t.GetPlayingPos(c.player1Stream);
        const float pos2 = t.GetPlayingPos(c.player2Stream);
        updateLevels(c);
        const core::DateValue now = c.now();
        // The comparison picture never matches the label's text, so the clock is written on
        // every tick.
        if (m.lblDateTime.caption != core::formatDate(now, "mmm HH:MM.SS AMPM AMPM")) {
            m.lblDateTime.caption = core::formatDate(now, "ddd mmm dd, yyyy") + "  " +
                                    core::formatDate(now, "HH:MM:SS AMPM");
        }
        // After the clock: while it is raised, the alarm writes over it.
        deadAirWatch(c, c.mixLevel);

        stage = 2;
        if (c.player1Stream != 0) {
            showTimeLeft(c, t, c.player1Stream, pos1, c.timeLeft1, m.lblTimeLeft1);
        }
        if (c.player2Stream != 0) {
            showTimeLeft(c, t, c.player2Stream, pos2, c.timeLeft2, m.lblTimeLeft2);
        }

        stage = 3;
        transport(c, t, 1, pos1, c.timeLeft1);
        stage = 4;
        // A start in stage 4 has flipped activePlayer: player 2 is judged in the same tick,
        // with the position read at its start.
        transport(c, t, 2, pos2, c.timeLeft2);

        stage = 5;
        showStreamTitle(c);
        drawPlayerBars(c, pos1, pos2);
        drawPreviewBar(c);

        stage = 6;
        if (c.statsTicks >= 100) {
            statisticsPass(c);
        }
    } catch (const std::exception& e) {
        const core::FailureInfo f = core::describeFailure(e);
        core::logError(c, "main Timer" + f.description + "  " + std::to_string(f.number) + " " +
                              std::to_string(errno) + " Error Location:" + std::to_string(stage));
    }
}

void updateLevels(core::Console& c) {
    std::uint32_t level = 0;
    try {
        if (c.mixerStream != 0) {
            level = c.engine().channelGetLevel(c.mixerStream);
            if (c.automated() && c.silenceTime > 0 && !c.micOn) {
                if (level != 0) {
                    c.silenceTicks = 0;
                } else if (static_cast<float>(c.silenceTicks) < c.silenceTime * 20) {
                    c.silenceTicks += 1;
                } else {
                    c.tickCalls->startNExt();
                }
            }
        }
    } catch (const std::exception& e) {
        core::logError(c, core::failureText("updateLevels dead air ", e));
    }
    c.mixLevel = level;  // no mixer is no sound
    try {
        drawLevelMeters(c, level);
    } catch (const std::exception& e) {
        core::logError(c, core::failureText("updateLevels meters ", e));
    }
}

}  // namespace tw::playout
