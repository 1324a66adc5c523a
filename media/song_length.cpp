#include "media/song_length.h"

#include "media/stream_time.h"

namespace tw::media {

float getSongSeconds(audio::Engine& e, const std::string& path) {
    const audio::Handle h = openStream(e, path, 0, 0, audio::kStreamDecode, path);
    const float seconds = cbass_time(e).GetDuration(h);
    e.streamFree(h);
    return seconds;
}

std::string getSongLength(audio::Engine& e, const std::string& path) {
    return GetTime(getSongSeconds(e, path));
}

}  // namespace tw::media
