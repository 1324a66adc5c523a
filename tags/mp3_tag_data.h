#pragma once
// The summary of a track's tags that the rest of the console works with.

#include <cstdint>
#include <string>

namespace tw::tags {

struct clsMp3TagData {
    std::string Artist;
    std::string songName;
    std::string Album;
    // The key of the track's play history: see clsID3::returnID3Tag.
    std::string mp3Title;
    std::int32_t songYear = 0;
    std::string comment;
    std::string newGenre;  // filled by nothing
    std::string Genre;
    std::string Composer;
    std::string Publisher;
    std::string recordLabel;
    std::string tarnWaveData;
};

}  // namespace tw::tags
