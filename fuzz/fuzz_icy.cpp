// A stream address's body with ICY metadata, and the header lines before it: any bytes, cut into
// any pieces, give the same audio and title as in one piece, never a crash, a hang or a read out
// of bounds.
//
// The input: two bytes of interval (0 to 1023: 0 is a body without metadata), one byte that sets
// how the body is cut, then the body. The body also goes through as header lines and as a block.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "audio/icy_demux.h"

using tw::audio::IcyDemux;

namespace {

IcyDemux withInterval(std::size_t interval) {
    IcyDemux d;
    d.headerLine("ICY 200 OK\r\n");
    d.headerLine("Icy-MetaInt: " + std::to_string(interval) + "\r\n");
    if (d.interval() != interval) {
        std::abort();
    }
    return d;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 3) {
        return 0;
    }
    const std::size_t interval = (data[0] | (data[1] << 8)) & 0x3FF;
    std::uint32_t cutter = data[2] + 1u;
    const std::string_view body(reinterpret_cast<const char*>(data + 3), size - 3);

    IcyDemux whole = withInterval(interval);
    std::string audio;
    whole.feed(body, audio);
    const auto title = whole.takeTitle();

    IcyDemux pieces = withInterval(interval);
    std::string audioInPieces;
    std::optional<std::string> lastTitle;
    for (std::size_t at = 0; at < body.size();) {
        cutter = cutter * 1103515245u + 12345u;
        const std::size_t n = 1 + (cutter >> 16) % 64;
        pieces.feed(body.substr(at, n), audioInPieces);
        if (auto t = pieces.takeTitle()) {
            lastTitle = std::move(t);
        }
        at += n;
    }
    if (audioInPieces != audio || lastTitle != title || audio.size() > body.size() ||
        (interval == 0 && audio != body) || (title && title->size() > IcyDemux::kMaxBlock)) {
        std::abort();
    }

    // The same bytes as headers and as one block.
    IcyDemux headers;
    std::size_t start = 0;
    while (start < body.size()) {
        const std::size_t end = body.find('\n', start);
        const std::string_view line = body.substr(
            start, end == std::string_view::npos ? std::string_view::npos : end + 1 - start);
        headers.headerLine(line);
        tw::audio::headerValue(line, "content-type");
        tw::audio::isStatusLine(line);
        start += line.size();
    }
    if (auto t = tw::audio::streamTitleOf(body); t && t->size() > body.size()) {
        std::abort();
    }
    return 0;
}
