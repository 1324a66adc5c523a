#include "web/now_playing.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "broadcast/cast_form.h"
#include "broadcast/cast_session.h"
#include "broadcast/cast_state.h"
#include "core/text.h"
#include "media/stream_opener.h"
#include "media/stream_time.h"
#include "web/played_log.h"

namespace tw::web {

namespace {

QString q(const std::string& s) {
    return QString::fromStdString(s);
}

QJsonValue isoOrNull(core::DateValue d) {
    if (d == 0) {
        return QJsonValue::Null;
    }
    return q(core::isoDateTime(d));
}

// Seconds to a tenth: enough for a progress bar, and stable text for a file that is compared.
double tenths(double seconds) {
    return std::round(seconds * 10.0) / 10.0;
}

audio::Handle playerStream(const core::Console& c, int n) {
    return n == 2 ? c.player2Stream : c.player1Stream;
}
const std::string& playerSong(const core::Console& c, int n) {
    return n == 2 ? c.nextSong2 : c.nextSong1;
}

// The player that sounds the last start: the active one as a rule, but while a start waits for
// an address to answer the active player has flipped and the other still plays it.
int playerOnAir(core::Console& c) {
    if (c.lastStart.path.empty()) {
        return 0;
    }
    const int first = c.activePlayer == 2 ? 2 : 1;
    for (const int n : {first, 3 - first}) {
        const audio::Handle h = playerStream(c, n);
        if (h != 0 && playerSong(c, n) == c.lastStart.path &&
            c.engine().channelIsActive(h) != audio::kStopped) {
            return n;
        }
    }
    return 0;
}

struct Item {
    std::string title, artist, album;
    bool address = false;
};

Item itemOnAir(core::Console& c, int player) {
    Item item;
    if (player == 0) {
        return item;
    }
    item.address = core::isStreamAddress(c.lastStart.path);
    if (item.address) {
        // What the station announced last; until it announces, what the start put on the air.
        item.title = c.currentTitle;
    } else {
        item.title = c.lastStart.title;
        item.artist = c.lastStart.artist;
        item.album = c.lastStart.album;
        if (item.title.empty() && item.artist.empty()) {
            item.title = c.currentTitle;  // an untagged file: its name, as Played.log has it
        }
    }
    return item;
}

QJsonObject nowObject(core::Console& c, int player) {
    const Item item = itemOnAir(c, player);
    QJsonObject now;
    now["title"] = q(item.title);
    now["artist"] = q(item.artist);
    now["album"] = q(item.album);
    now["started"] = player == 0 ? QJsonValue(QJsonValue::Null) : isoOrNull(c.lastStart.started);
    double duration = 0, elapsed = 0;
    if (player != 0) {
        const media::cbass_time t(c.engine());
        const audio::Handle h = playerStream(c, player);
        duration = t.GetDuration(h);
        elapsed = std::max(0.0, static_cast<double>(t.GetPlayingPos(h)));
    }
    if (item.address) {
        now["duration"] = QJsonValue::Null;  // a live station has no length
    } else {
        now["duration"] = tenths(std::max(0.0, duration));
    }
    now["elapsed"] = tenths(elapsed);
    return now;
}

// The waiting player: the one the next start takes.
QJsonObject nextObject(core::Console& c, int onAir) {
    int waiting = 0;
    if (onAir != 0) {
        waiting = 3 - onAir;
    } else {
        waiting = c.activePlayer == 1 ? 2 : 1;
    }
    const std::string& song = playerSong(c, waiting);
    const audio::Handle h = playerStream(c, waiting);
    // Through a crossfade the other player still sounds the outgoing track, in the mixer, until
    // its stream is gone and the player is loaded again: that is no next item yet.
    const bool waits = (h != 0 && c.engine().mixerChannelFlags(h, 0, 0) == 0xFFFFFFFFu) ||
                       media::isOpening(c, waiting);
    std::string title, artist;
    if (waits && !song.empty()) {
        if (core::isStreamAddress(song)) {
            title = song;  // nothing is announced before it plays
        } else {
            // The planner paints the waiting player with the tag's artist and title.
            const core::Element& label = waiting == 2 ? c.form().lblPlayer2 : c.form().lblplayer1;
            artist = label.caption;
            title = label.caption2;
        }
    }
    QJsonObject next;
    next["title"] = q(title);
    next["artist"] = q(artist);
    return next;
}

QJsonArray historyArray(const std::vector<PlayedStart>& starts) {
    QJsonArray history;
    for (const PlayedStart& s : starts) {
        QJsonObject o;
        o["title"] = q(s.title);
        o["artist"] = q(s.artist);
        o["started"] = isoOrNull(s.started);
        history.append(o);
    }
    return history;
}

const char* serverTypeName(const std::string& severType) {
    static const char* const kNames[] = {"None",     "Shoutcast 1", "Shoutcast 2",
                                         "Live 365", "Icecast 1",   "Icecast 2"};
    const double type = core::val(severType);
    if (type >= 0 && type <= 5) {
        return kNames[static_cast<int>(type)];
    }
    return "None";
}

// A label's figure; text that is no number in range counts as 0 rather than failing the snapshot.
std::int64_t figure(const std::string& caption) {
    const double v = core::val(caption);
    return std::isfinite(v) && std::fabs(v) < 1e15 ? static_cast<std::int64_t>(v) : 0;
}

bool encoderConnected(core::Console& c, int i) {
    const audio::Handle h = c.encoderHandles[static_cast<std::size_t>(i)];
    return h > 0 && c.engine().encodeIsActive(h) != audio::kStopped &&
           !broadcast::castConnecting(c, i);
}

}  // namespace

std::string nowPlayingJson(core::Console& c) {
    const QJsonObject root = nowPlayingObject(c, readLastStarts(c.playedLogPath(), kHistoryLength));
    return QJsonDocument(root).toJson(QJsonDocument::Compact).toStdString();
}

QJsonObject nowPlayingObject(core::Console& c, const std::vector<PlayedStart>& history) {
    QJsonObject root;
    const broadcast::CastState* cast = c.cast.get();
    root["station"] = q(cast ? cast->profiles[0].Name : std::string());
    root["mode"] = q(c.automated() ? core::kAutomated : core::kManual);
    root["list"] = q(c.activeListName);
    const int player = playerOnAir(c);
    root["now"] = nowObject(c, player);
    root["next"] = nextObject(c, player);
    root["history"] = historyArray(history);

    QJsonArray encoders;
    bool onAir = false;
    for (int i = 0; i < core::kEncoderCount && cast; ++i) {
        const broadcast::EncoderProfile& p = cast->profiles[static_cast<std::size_t>(i)];
        if (!broadcast::readsAsTrue(p.Enabled)) {
            continue;
        }
        const bool connected = encoderConnected(c, i);
        onAir = onAir || connected;
        QJsonObject e;
        e["number"] = i + 1;
        e["type"] = serverTypeName(p.severType);
        e["connected"] = connected;
        e["listeners"] = connected ? cast->encoderListeners[static_cast<std::size_t>(i)] : 0;
        encoders.append(e);
    }
    QJsonObject listeners;
    listeners["current"] = static_cast<qint64>(figure(c.form().lblListerners.caption));
    listeners["peak"] = static_cast<qint64>(figure(c.form().lblPeakListeners.caption));
    listeners["encoders"] = encoders;
    root["on_air"] = onAir;
    root["listeners"] = listeners;
    return root;
}

std::string nowPlayingLine(core::Console& c) {
    const Item item = itemOnAir(c, playerOnAir(c));
    if (item.artist.empty()) {
        return item.title;
    }
    return item.artist + " - " + item.title;
}

}  // namespace tw::web
