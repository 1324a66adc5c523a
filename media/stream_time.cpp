#include "media/stream_time.h"

#include <cmath>

#include "core/format.h"
#include "core/text.h"

namespace tw::media {

std::string GetTime(double seconds) {
    const double s = seconds;
    const double h = s / 60 / 60;
    const double m = (h - std::trunc(h)) * 60;
    const double sec = s - std::trunc(m) * 60;
    return core::formatNumber(std::trunc(h), "00") + ":" + core::formatNumber(std::trunc(m), "00") +
           ":" + core::formatNumber(sec, "0#.0");
}

float cbass_time::GetPlayingPos(audio::Handle h) const {
    return static_cast<float>(engine_.channelBytes2Seconds(h, engine_.channelGetPosition(h)));
}

float cbass_time::GetDuration(audio::Handle h) const {
    const std::int64_t length = engine_.channelGetLength(h);
    // A live stream address has no length: it runs until it ends or falls silent, so it counts
    // as a day long rather than as already over.
    if (length < 0 && h != 0 && engine_.channelIsActive(h) != audio::kStopped) {
        return kUnknownStreamSeconds;
    }
    return static_cast<float>(engine_.channelBytes2Seconds(h, length));
}

std::int32_t cbass_time::GetBytesPerSecond(audio::Handle h) const {
    audio::ChannelInfo info;
    engine_.channelGetInfo(h, info);
    std::int32_t bps = static_cast<std::int32_t>(info.freq * info.chans);
    return (info.flags & audio::kSample8Bits) ? bps : bps * 2;
}

float cbass_time::GetBitsPerSecond(audio::Handle h, double fileLength) const {
    return static_cast<float>(fileLength * 8 / GetDuration(h) / 1000);
}

std::string cbass_time::GetMode(audio::Handle h) const {
    audio::ChannelInfo info;
    engine_.channelGetInfo(h, info);
    if (info.chans == 1) {
        return "Mono";
    }
    if (info.chans == 2) {
        return "Stereo";
    }
    return std::to_string(info.chans) + " MultiChannel";
}

std::int32_t cbass_time::GetBits(audio::Handle h) const {
    audio::ChannelInfo info;
    engine_.channelGetInfo(h, info);
    if (info.flags & audio::kSample8Bits) {
        return 8;
    }
    if (info.flags & audio::kSampleFloat) {
        return 32;
    }
    return 16;
}

std::int32_t cbass_time::GetFrequency(audio::Handle h) const {
    float f = 0;
    engine_.channelGetAttribute(h, audio::kAttribFreq, f);
    return static_cast<std::int32_t>(f);
}

std::uint32_t cbass_time::GetDXver() const {
    return engine_.getInfo().dsver;
}

audio::Handle streamCreateFileW(audio::Engine& e, const std::string& file, std::uint64_t offset,
                                std::uint64_t length, std::uint32_t flags) {
    return e.streamCreateFile(file, offset, length, flags | audio::kUnicode);
}

audio::Handle openStream(audio::Engine& e, const std::string& file, std::uint64_t offset,
                         std::uint64_t length, std::uint32_t flags, const std::string& url) {
    audio::Handle h = streamCreateFileW(e, file, offset, length, flags);
    if (h == 0) {
        h = e.streamCreateUrl(url, static_cast<std::uint32_t>(offset), flags);
    }
    return h;
}

double bytes2Seconds(audio::Engine& e, audio::Handle h, std::int64_t bytes) {
    return e.channelBytes2Seconds(h, bytes);
}

bool seekStream(audio::Engine& e, audio::Handle h, std::int64_t position, int mode) {
    (void)mode;  // 0: bytes, the only mode the console uses
    if (position < 0) {
        return false;
    }
    return e.channelSetPosition(h, static_cast<std::uint64_t>(position));
}

audio::Handle setStreamSync(audio::Engine& e, audio::Handle h, std::uint32_t type,
                            std::uint64_t parameter, audio::SyncProc proc) {
    return e.channelSetSync(h, type, parameter, std::move(proc));
}

std::string previewClockText(float seconds) {
    const std::int32_t minutes = core::intDiv(core::cLng(seconds), 60);
    return core::formatNumber(minutes, "0#") + ":" +
           core::formatNumber(seconds - static_cast<float>(minutes) * 60.0f, "0#.0");
}

}  // namespace tw::media
