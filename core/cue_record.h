#pragma once
// A track's cue points and their texts, as each player holds them while the track is loaded.

#include <cstdint>
#include <string>

namespace tw::core {

struct CueRecord {
    bool sweeperAllowed = false;
    std::string sweepText;
    std::string introText;
    std::string outroText;
    std::string nextText;
    bool tagPresent = false;
    std::int32_t sweeperIndex = 0;
    float sweepStart = 0;  // seconds from the start of the file
    float introUntil = 0;
    float outroUntil = 0;
    float nextStart = 0;
    bool sweepFired = false;
};

}  // namespace tw::core
