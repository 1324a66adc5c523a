#pragma once
// The length of a file, measured through a decoding stream of its own; no player is touched.
//
// Thread contract: console thread only.

#include <string>

#include "audio/engine.h"

namespace tw::media {

// Seconds, through GetDuration; 0 when the file cannot be opened.
float getSongSeconds(audio::Engine& e, const std::string& path);
// The same as the time text of GetTime.
std::string getSongLength(audio::Engine& e, const std::string& path);

}  // namespace tw::media
