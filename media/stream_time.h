#pragma once
// Time queries on a stream, and the thin wrappers through which the console opens and positions
// streams. Lengths and positions are byte counts of the decoded 16-bit form.
//
// Thread contract: console thread only.

#include <cstdint>
#include <string>

#include "audio/engine.h"

namespace tw::media {

// The time text of a number of seconds: hours "00", minutes "00", seconds "0#.0". The seconds are
// not reduced by the hours: from one hour on they show more than 59 (3700 gives "01:01:3640.0").
std::string GetTime(double seconds);

// The length given to a playing stream that has none of its own (a stream address).
inline constexpr float kUnknownStreamSeconds = 86400.0f;

class cbass_time {
  public:
    explicit cbass_time(audio::Engine& engine) : engine_(engine) {}

    std::string GetTime(double seconds) const { return media::GetTime(seconds); }
    float GetPlayingPos(audio::Handle h) const;
    float GetDuration(audio::Handle h) const;
    std::int32_t GetBytesPerSecond(audio::Handle h) const;
    float GetBitsPerSecond(audio::Handle h, double fileLength) const;
    std::string GetMode(audio::Handle h) const;
    std::int32_t GetBits(audio::Handle h) const;
    std::int32_t GetFrequency(audio::Handle h) const;
    std::uint32_t GetDXver() const;

  private:
    audio::Engine& engine_;
};

// A position as the preview clock shows it: minutes "0#", ":", seconds "0#.0".
std::string previewClockText(float seconds);

// The stream wrappers.
audio::Handle streamCreateFileW(audio::Engine& e, const std::string& file, std::uint64_t offset,
                                std::uint64_t length, std::uint32_t flags);
// A file first; a path that is no file is tried as a stream address.
audio::Handle openStream(audio::Engine& e, const std::string& file, std::uint64_t offset,
                         std::uint64_t length, std::uint32_t flags, const std::string& url);
double bytes2Seconds(audio::Engine& e, audio::Handle h, std::int64_t bytes);
bool seekStream(audio::Engine& e, audio::Handle h, std::int64_t position, int mode);
audio::Handle setStreamSync(audio::Engine& e, audio::Handle h, std::uint32_t type,
                            std::uint64_t parameter, audio::SyncProc proc);
// Low and high word of a 32-bit value; the high word as an unsigned 16-bit value.
inline std::uint16_t loWord(std::uint32_t v) {
    return static_cast<std::uint16_t>(v & 0xFFFF);
}
inline std::uint16_t hiWord(std::uint32_t v) {
    return static_cast<std::uint16_t>(v >> 16);
}

}  // namespace tw::media
