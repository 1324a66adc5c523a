#include "audio/stream_format.h"

#include <algorithm>
#include <cctype>
#include <string>

#include "audio/adts_frame.h"

namespace tw::audio {

namespace {

// Kilobits per second by [MPEG-1 ? 0 : 1][layer I, II, III][index]; index 0 is free format.
constexpr int kKbps[2][3][15] = {
    {{0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
     {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
     {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320}},
    {{0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
     {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
     {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160}},
};
// Hz by [version bits: 2.5, reserved, 2, 1][index].
constexpr int kMpegRates[4][3] = {
    {11025, 12000, 8000}, {0, 0, 0}, {22050, 24000, 16000}, {44100, 48000, 32000}};

// The bytes a header needs before sniffing can judge it: an ADTS header is the longer.
constexpr std::size_t kHeaderBytes = AdtsHeader::kMinBytes;

// The version, layer and rate bits of an MPEG audio header: the same in every frame of a stream.
bool sameMpegStream(const std::uint8_t* a, const std::uint8_t* b) {
    return (a[1] & 0xFE) == (b[1] & 0xFE) && (a[2] & 0x0C) == (b[2] & 0x0C);
}

// The bytes of a leading ID3v2 tag, footer included; 0 when the data does not start with one.
// When the tag's own header is not all there yet, `incomplete` is set.
std::size_t id3Bytes(const std::uint8_t* data, std::size_t size, bool& incomplete) {
    incomplete = false;
    constexpr std::uint8_t kId3[3] = {'I', 'D', '3'};
    if (!std::equal(data, data + std::min<std::size_t>(size, 3), kId3)) {
        return 0;
    }
    if (size < 10) {
        incomplete = true;
        return 0;
    }
    std::size_t n = 0;
    for (int i = 6; i < 10; ++i) {
        if (data[i] & 0x80) {
            return 0;  // not a tag: its size bytes are seven bits each
        }
        n = (n << 7) | data[i];
    }
    return 10 + n + ((data[5] & 0x10) ? 10 : 0);
}

}  // namespace

StreamFormat formatFromContentType(std::string_view contentType) {
    std::string type(contentType.substr(0, contentType.find(';')));
    std::transform(type.begin(), type.end(), type.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    type.erase(0, type.find_first_not_of(" \t"));
    type.erase(type.find_last_not_of(" \t") + 1);
    if (type == "audio/mpeg") {
        return StreamFormat::Mp3;
    }
    if (type == "audio/aac" || type == "audio/aacp" || type == "audio/x-aac") {
        return StreamFormat::Aac;
    }
    return StreamFormat::Unknown;
}

std::size_t mpegFrameBytes(const std::uint8_t* data, std::size_t size) {
    if (size < 4 || data[0] != 0xFF || (data[1] & 0xE0) != 0xE0) {
        return 0;
    }
    const int version = (data[1] >> 3) & 3;      // 0: 2.5, 1: reserved, 2: MPEG-2, 3: MPEG-1
    const int layer = 4 - ((data[1] >> 1) & 3);  // the bits 11 are layer I, 01 layer III
    const int bitrateIndex = data[2] >> 4;
    const int rateIndex = (data[2] >> 2) & 3;
    if (version == 1 || layer == 4 || bitrateIndex == 0 || bitrateIndex == 15 || rateIndex == 3) {
        return 0;
    }
    const std::size_t bps =
        1000u * static_cast<std::size_t>(kKbps[version == 3 ? 0 : 1][layer - 1][bitrateIndex]);
    const auto rate = static_cast<std::size_t>(kMpegRates[version][rateIndex]);
    const std::size_t padding = (data[2] >> 1) & 1;
    if (layer == 1) {
        return (12 * bps / rate + padding) * 4;
    }
    // Layer III outside MPEG-1 has half as many samples per frame.
    const std::size_t perFrame = layer == 3 && version != 3 ? 72 : 144;
    return perFrame * bps / rate + padding;
}

StreamFormat sniffFormat(const std::uint8_t* data, std::size_t size, bool complete) {
    bool tagIncomplete = false;
    const std::size_t start = id3Bytes(data, size, tagIncomplete);
    if (tagIncomplete) {
        return StreamFormat::Unknown;
    }
    for (std::size_t i = start; i < size; ++i) {
        if (data[i] != 0xFF) {
            continue;
        }
        const std::size_t left = size - i;
        if (left < kHeaderBytes) {
            break;
        }
        std::size_t frame = 0;
        StreamFormat format = StreamFormat::Unknown;
        if (auto h = parseAdtsHeader(data + i, left)) {
            frame = h->frameBytes;
            format = StreamFormat::Aac;
            if (left >= frame + kHeaderBytes) {
                auto after = parseAdtsHeader(data + i + frame, left - frame);
                if (after && after->sameStream(*h)) {
                    return format;
                }
                continue;
            }
        } else if ((frame = mpegFrameBytes(data + i, left)) != 0) {
            format = StreamFormat::Mp3;
            if (left >= frame + kHeaderBytes) {
                const std::uint8_t* after = data + i + frame;
                if (mpegFrameBytes(after, left - frame) != 0 && sameMpegStream(data + i, after)) {
                    return format;
                }
                continue;
            }
        } else {
            continue;
        }
        // A possible frame whose successor has not arrived: wait for it, unless nothing more
        // will come and the frame is the last thing there.
        if (!complete) {
            return StreamFormat::Unknown;
        }
        if (left >= frame) {
            return format;
        }
    }
    return StreamFormat::Unknown;
}

}  // namespace tw::audio
