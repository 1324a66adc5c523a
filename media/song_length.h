#pragma once
// The length of a file, measured through a decoding stream of its own; no player is touched.
//
// Thread contract: getSongSeconds and getSongLength on the console thread (they use the engine);
// fileSeconds on any thread (a decoder of its own).

#include <string>

#include "audio/engine.h"

namespace tw::media {

// Seconds, through GetDuration; 0 when the file cannot be opened.
float getSongSeconds(audio::Engine& e, const std::string& path);
// Seconds from the file's own decoder, without the engine, for jobs off the console thread; the
// same figure as getSongSeconds for a file. 0 when the file cannot be decoded.
double fileSeconds(const std::string& path);
// The same as the time text of GetTime.
std::string getSongLength(audio::Engine& e, const std::string& path);

}  // namespace tw::media
