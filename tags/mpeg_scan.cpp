// The search for the first MPEG audio frame and its Xing, Info or VBRI block. Nothing is decoded;
// only one header is judged, with no check that a second frame follows it.

#include <algorithm>
#include <cstring>

#include "core/text.h"
#include "tags/mpeg_header.h"
#include "tags/tag_reader.h"

namespace tw::tags {
namespace {

constexpr std::int64_t kChunk = 20480;
constexpr std::int64_t kCandidate = 156;

// Big-endian, built byte by byte; only a 4-byte value takes its top byte as signed. Bytes
// missing at the end of the buffer leave the value at 0.
std::int32_t bigEndian(const std::string& buf, std::size_t at, int count) {
    if (at + static_cast<std::size_t>(count) > buf.size()) {
        return 0;
    }
    std::uint32_t v = 0;
    for (int i = 0; i < count; ++i) {
        v = (v << 8) | static_cast<std::uint8_t>(buf[at + static_cast<std::size_t>(i)]);
    }
    return static_cast<std::int32_t>(v);
}

std::string lowered4(const std::string& buf, std::size_t at) {
    if (at + 4 > buf.size()) {
        return {};
    }
    std::string s = buf.substr(at, 4);
    for (char& c : s) {
        c = core::lowerAscii(c);
    }
    return s;
}

void readVbrBlocks(AudioState& a, const std::string& frame) {
    const int version = mpeg::MPEGVersion(a);
    const bool mono = mpeg::ChannelMode(a) == 3;
    const std::size_t side = version == 2 ? (mono ? 17 : 32) : (mono ? 9 : 17);
    const std::size_t xing = 3 + side;  // the buffer starts behind the sync byte
    const std::string tag = lowered4(frame, xing);
    if (tag == "xing" || tag == "info") {
        const std::uint8_t flags =
            xing + 8 <= frame.size() ? static_cast<std::uint8_t>(frame[xing + 7]) : 0;
        std::size_t at = xing + 8;
        std::int32_t length = 8;
        if (flags & 0x01) {
            a.vbrFrames = bigEndian(frame, at, 4);
            at += 4;
            length += 4;
        }
        if (flags & 0x02) {
            a.vbrBytes = bigEndian(frame, at, 4);
            at += 4;
            length += 4;
        }
        if (flags & 0x04) {
            if (at + 100 <= frame.size()) {
                std::memcpy(a.vbrToc.data(), frame.data() + at, 100);
            }
            at += 100;
            length += 100;
        }
        if (flags & 0x08) {
            a.vbrQuality = bigEndian(frame, at, 4);
            length += 4;
        }
        if (tag == "xing") {
            a.vbrFlag = true;
        }
        a.audioSize -= length;
    }
    if (lowered4(frame, 35) == "vbri") {
        a.vbrFlag = true;
        a.vbrQuality = bigEndian(frame, 43, 2);
        a.vbrBytes = bigEndian(frame, 45, 4);
        a.vbrFrames = bigEndian(frame, 49, 4);
        a.vbriEntries = bigEndian(frame, 53, 2);
        a.vbriEntrySize = bigEndian(frame, 57, 2);
        a.audioSize -= 26 + a.vbriEntries * a.vbriEntrySize;
    }
}

}  // namespace

void scanMpegAudio(AudioState& a, const FileReader& file, std::int64_t scanStart,
                   std::int64_t audioEnd) {
    std::string frame;
    bool found = false;
    for (std::int64_t pos = std::max<std::int64_t>(scanStart, 1); pos <= audioEnd && !found;
         pos += kChunk) {
        const std::string chunk = file.readAt(pos - 1, std::min(kChunk, audioEnd - pos + 1));
        if (chunk.empty()) {
            break;
        }
        std::size_t s = 0;
        while (s < chunk.size()) {
            const auto hit = chunk.find('\xFF', s);
            if (hit == std::string::npos) {
                break;
            }
            const std::int64_t syncPos = pos + static_cast<std::int64_t>(hit);  // 1-based
            const std::int64_t count = std::min(kCandidate, audioEnd - syncPos);
            if (hit + 1 + static_cast<std::size_t>(std::max<std::int64_t>(count, 0)) <=
                chunk.size()) {
                frame.assign(chunk, hit + 1,
                             static_cast<std::size_t>(std::max<std::int64_t>(count, 0)));
            } else {
                frame = file.readAt(syncPos, count);
            }
            for (std::size_t i = 0; i < 3; ++i) {
                a.headerBytes[i] = i < frame.size() ? static_cast<std::uint8_t>(frame[i]) : 0;
            }
            if ((a.headerBytes[0] & 0xE0) != 0xE0) {
                s = hit + 1;
                continue;
            }
            if (mpeg::acceptableFrame(a)) {
                a.audioStart = static_cast<std::int32_t>(syncPos + 4);
                found = true;
                break;
            }
            s = hit + 4;
        }
    }
    a.audioSize = static_cast<std::int32_t>(audioEnd - a.audioStart);
    readVbrBlocks(a, frame);
}

}  // namespace tw::tags
