#include "tags/mpeg_header.h"

#include <array>

namespace tw::tags::mpeg {
namespace {

// Kilobits per second by bitrate index; rows MPEG 1 Layer I, II, III, MPEG 2 and 2.5 Layer I,
// MPEG 2 and 2.5 Layers II and III.
constexpr std::array<std::array<int, 16>, 5> kBitrates = {{
    {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448, -1},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384, -1},
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, -1},
    {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256, -1},
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160, -1},
}};

double safeDiv(double a, double b) {
    return b == 0 ? 0.0 : a / b;
}

}  // namespace

std::int32_t Layer(const AudioState& a) {
    return (a.headerBytes[0] >> 1) & 3;
}

std::int32_t MPEGVersion(const AudioState& a) {
    constexpr std::array<int, 4> kRemap = {0, 1, 3, 2};
    return kRemap[(a.headerBytes[0] >> 3) & 3];
}

std::int32_t ChannelMode(const AudioState& a) {
    return (a.headerBytes[2] >> 6) & 3;
}

std::int32_t Padding(const AudioState& a) {
    if ((a.headerBytes[1] & 0x02) == 0) {
        return 0;
    }
    return Layer(a) == 3 ? 4 : 1;
}

std::int32_t Encoding(const AudioState& a) {
    return a.vbrFlag ? 1 : 0;
}

std::int32_t SamplingRateFrequency(const AudioState& a) {
    constexpr std::array<std::array<int, 3>, 3> kRates = {{
        {44100, 22050, 11025},
        {48000, 24000, 12000},
        {32000, 16000, 8000},
    }};
    const int index = (a.headerBytes[1] >> 2) & 3;
    const int version = MPEGVersion(a);
    if (index == 3 || version == 1) {
        return -1;
    }
    const int column = version == 2 ? 0 : (version == 3 ? 1 : 2);
    return kRates[static_cast<std::size_t>(index)][static_cast<std::size_t>(column)];
}

std::int32_t FrameSamples(const AudioState& a) {
    switch (Layer(a)) {
        case 1:
            return MPEGVersion(a) == 2 ? 1152 : 576;
        case 2:
            return 1152;
        case 3:
            return 384;
        default:
            return 0;
    }
}

double bitrate(const AudioState& a) {
    if (Encoding(a) == 1) {
        const double frameSize = FrameSize(a);
        const double length = Length(a);
        if (frameSize != 0 || length <= 0) {
            return SamplingRateFrequency(a) * frameSize / 144;
        }
        return safeDiv(a.audioSize, length) * 8;
    }
    const int version = MPEGVersion(a);
    const int layer = Layer(a);
    int row = -1;
    if (version == 2) {
        row = layer == 3 ? 0 : (layer == 2 ? 1 : (layer == 1 ? 2 : -1));
    } else if (version == 3 || version == 0) {
        row = layer == 3 ? 3 : ((layer == 2 || layer == 1) ? 4 : -1);
    }
    if (row < 0) {
        return 0;
    }
    return kBitrates[static_cast<std::size_t>(row)][a.headerBytes[1] >> 4] * 1000.0;
}

double FrameSize(const AudioState& a) {
    if (Encoding(a) == 1) {
        return safeDiv(a.vbrBytes, a.vbrFrames);
    }
    return safeDiv(FrameSamples(a) / 8.0 * bitrate(a), SamplingRateFrequency(a)) + Padding(a);
}

double Length(const AudioState& a) {
    if (Encoding(a) == 1) {
        return safeDiv(static_cast<double>(a.vbrFrames) * FrameSamples(a),
                       SamplingRateFrequency(a));
    }
    return safeDiv(a.audioSize, bitrate(a)) * 8;
}

bool acceptableFrame(const AudioState& a) {
    const int mode = ChannelMode(a);
    const int layer = Layer(a);
    bool modeOk = false;
    if (mode == 1) {
        modeOk = (layer == 3 || layer == 2) ? true : (a.headerBytes[2] & 0x10) != 0;
    }
    const double rate = bitrate(a);
    if (MPEGVersion(a) == 1 || layer == 0 || SamplingRateFrequency(a) == -1 || rate == 0 ||
        rate == -1000 || (a.headerBytes[2] & 3) == 2) {
        return false;
    }
    // The limits are in kilobits, the rate in bits: for any real rate both tests pass.
    const bool first =
        ((rate < 32 || rate > 56) && rate != 80) || (mode != 0 && !modeOk && mode != 2);
    const bool second = (rate < 224 || rate > 384) || mode != 3;
    return first && second;
}

}  // namespace tw::tags::mpeg
