#pragma once
// The ID3v2 layout as this system reads it, shared by the readers and the writer: header test,
// tag body, frame lengths, the end-of-frames tests and the decoding of one frame.
// Thread contract: pure functions of their arguments; any thread.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tw::tags {

struct Id3v2Header {
    bool valid = false;
    std::uint8_t revision = 3;
    bool unsyncFlag = false;
    bool compressionFlag = false;
    bool extendedFlag = false;
    bool footerFlag = false;
    std::uint32_t size = 0;  // the 7-bit size of the header
};

// The first 10 bytes of a file. Only "ID3", version and revision below 255 and four size bytes
// below 128 make a tag; the flags byte is not judged.
Id3v2Header parseId3v2Header(std::string_view first10);

// Undoes the whole-tag unsynchronisation below revision 4.
std::string undoTagUnsync(std::string_view raw, const Id3v2Header& header);
// Drops an extended header. At revision 4 its size counts itself, yet 4 more bytes are dropped
// all the same, as files written by this console have always been read.
std::string dropExtendedHeader(std::string body, std::uint8_t revision);

inline std::size_t frameIdLength(std::uint8_t revision) {
    return revision < 3 ? 3 : 4;
}
inline std::size_t frameHeaderLength(std::uint8_t revision) {
    return revision < 3 ? 6 : 10;
}

// Header plus size field of the frame at pos (0-based); none when the size cannot be read.
std::optional<std::int64_t> frameLength(std::string_view body, std::size_t pos,
                                        std::uint8_t revision);
std::string frameId(std::string_view body, std::size_t pos, std::uint8_t revision);
bool isPaddingId(std::string_view id);
// Recognises what one encoder leaves behind the last frame ("MP3ext V..." and its tail, whole or
// with its head cut off). An identifier beginning with ")" counts as such a tail.
bool signatureAt(std::string_view body, std::size_t pos);

struct DecodedFrame {
    std::string value;  // UTF-8; for pictures the bytes behind the encoding byte as they are
    bool hasDescription = false;
    std::uint8_t encoding = 0;  // the encoding byte that was taken, 0 when none
};
DecodedFrame decodeFrame(std::string_view body, std::size_t pos, std::uint8_t revision);

// A user text frame ("TXXX", "TXX"): a description, then a value, both in the frame's encoding.
inline bool isUserTextFrame(std::string_view id) {
    return id == "TXXX" || id == "TXX";
}
struct UserText {
    std::string description;  // UTF-8
    std::string value;        // UTF-8, the first value when several are listed
};
// None when the frame's data is compressed or encrypted, or holds no value behind the
// description.
std::optional<UserText> decodeUserTextFrame(std::string_view body, std::size_t pos,
                                            std::uint8_t revision);

}  // namespace tw::tags
