#pragma once
// The now-playing snapshot: what is on the air, what comes next, the last starts and the
// listeners, as one JSON document (UTF-8, times in ISO 8601 with the zone offset). The console
// builds it and hands the text on; whoever serves or writes it never reads the console.
//
//   {"station", "on_air", "mode", "list",
//    "now": {"title", "artist", "album", "started", "duration", "elapsed"},
//    "next": {"title", "artist"},
//    "history": [{"title", "artist", "started"}, ...]   the last 20 starts, newest first
//    "listeners": {"current", "peak", "encoders": [{"number", "type", "connected",
//                  "listeners"}]}}
//
// "now" and "next" are always there; with nothing on the air their texts are empty, "started"
// is null and the figures are 0. A stream address has an empty artist and album, the title it
// announced, and a null duration.
//
// Thread contract: console thread only (it reads the console, the engine and Played.log).

#include <QJsonObject>
#include <cstddef>
#include <string>
#include <vector>

#include "core/console.h"
#include "web/played_log.h"

namespace tw::web {

inline constexpr std::size_t kHistoryLength = 20;

// The snapshot as compact JSON text, its history read from the end of Played.log.
std::string nowPlayingJson(core::Console& c);

// The snapshot with the history given (newest first, kHistoryLength at most): whoever publishes
// it often reads Played.log only when a start wrote to it.
QJsonObject nowPlayingObject(core::Console& c, const std::vector<PlayedStart>& history);

// "Artist - Title" of the item on the air, as nowplaying.txt holds it ("Title" alone without an
// artist); empty when nothing is on the air.
std::string nowPlayingLine(core::Console& c);

}  // namespace tw::web
