#include "media/song_length.h"

#include "audio/decoder.h"
#include "media/stream_time.h"

namespace tw::media {

float getSongSeconds(audio::Engine& e, const std::string& path) {
    const audio::Handle h = openStream(e, path, 0, 0, audio::kStreamDecode, path);
    const float seconds = cbass_time(e).GetDuration(h);
    e.streamFree(h);
    return seconds;
}

double fileSeconds(const std::string& path) {
    int error = 0;
    const auto decoder = audio::openFile({path, 0, 0}, error);
    if (!decoder || decoder->rate() <= 0 || decoder->lengthFrames() < 0) {
        return 0;
    }
    return static_cast<double>(decoder->lengthFrames()) / decoder->rate();
}

std::string getSongLength(audio::Engine& e, const std::string& path) {
    return GetTime(getSongSeconds(e, path));
}

}  // namespace tw::media
