// AAC in ADTS frames as a stream address brings it, and the first bytes that decide a stream's
// format: any bytes, cut into any pieces, give the same whole frames as in one piece (each with a
// valid header of its own length), never a crash, a hang or a read out of bounds.
//
// The input: one byte that sets how the bytes are cut, then the stream.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <vector>

#include "audio/adts_frame.h"
#include "audio/stream_format.h"

using tw::audio::AdtsHeader;
using tw::audio::AdtsSplitter;

namespace {

using Frames = std::vector<std::vector<std::uint8_t>>;

// Drains the splitter, checking every frame against its own header.
void drain(AdtsSplitter& s, Frames& frames) {
    std::vector<std::uint8_t> frame;
    AdtsHeader h;
    while (s.next(frame, h)) {
        auto again = tw::audio::parseAdtsHeader(frame.data(), frame.size());
        if (!again || again->frameBytes != frame.size() || h.frameBytes != frame.size()) {
            std::abort();
        }
        frames.push_back(frame);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 1) {
        return 0;
    }
    std::uint32_t cutter = data[0] + 1u;
    const std::uint8_t* stream = data + 1;
    const std::size_t bytes = size - 1;

    AdtsSplitter whole;
    Frames wholeFrames;
    whole.push(stream, bytes);
    whole.finish();
    drain(whole, wholeFrames);

    AdtsSplitter pieces;
    Frames pieceFrames;
    for (std::size_t at = 0; at < bytes;) {
        cutter = cutter * 1103515245u + 12345u;
        const std::size_t n = std::min<std::size_t>(1 + (cutter >> 16) % 512, bytes - at);
        pieces.push(stream + at, n);
        drain(pieces, pieceFrames);
        at += n;
    }
    pieces.finish();
    drain(pieces, pieceFrames);

    std::size_t framed = 0;
    for (const auto& f : wholeFrames) {
        framed += f.size();
    }
    if (pieceFrames != wholeFrames || whole.buffered() != 0 || pieces.buffered() != 0 ||
        framed + whole.skipped() != bytes || pieces.skipped() != whole.skipped()) {
        std::abort();
    }

    // Sniffing a growing start never reads past what it is given, and once it has decided, more
    // bytes do not change its mind.
    tw::audio::StreamFormat decided = tw::audio::StreamFormat::Unknown;
    for (std::size_t n = 0; n <= bytes; n += 1 + n / 2) {
        const auto f = tw::audio::sniffFormat(stream, n, false);
        if (decided != tw::audio::StreamFormat::Unknown && f != decided) {
            std::abort();
        }
        decided = f;
    }
    tw::audio::sniffFormat(stream, bytes, true);
    tw::audio::mpegFrameBytes(stream, bytes);
    tw::audio::formatFromContentType(
        std::string_view(reinterpret_cast<const char*>(stream), bytes));
    return 0;
}
