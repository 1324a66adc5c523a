#pragma once
// Which decoder a stream address needs: from the Content-Type the server gives, or, when that is
// missing or says nothing we know, from the first bytes of the body.
//
// Pure: no I/O, no state. Any thread.

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tw::audio {

enum class StreamFormat {
    Unknown,  // undecided: the type says nothing, or the bytes so far do not tell
    Mp3,      // MPEG audio frames (layers I to III), decoded by libmpg123
    Aac,      // AAC in ADTS frames
};

// "audio/mpeg" is MP3; "audio/aac", "audio/aacp" and "audio/x-aac" are AAC. Case and parameters
// ("; charset=...") do not matter. Unknown for anything else.
StreamFormat formatFromContentType(std::string_view contentType);

// Looks at the start of a body: a leading ID3v2 tag is passed over, then the first frame header
// that the next header confirms decides. Unknown while the bytes do not reach that far; with
// `complete` (no more will come) a lone last frame decides too.
StreamFormat sniffFormat(const std::uint8_t* data, std::size_t size, bool complete);

// The length of the MPEG audio frame (layer I, II or III) whose header starts `data`, 0 when the
// four bytes there are not such a header (or a free-format one, whose length the header omits).
std::size_t mpegFrameBytes(const std::uint8_t* data, std::size_t size);

}  // namespace tw::audio
