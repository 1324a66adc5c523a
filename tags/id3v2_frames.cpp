#include "tags/id3v2_frames.h"

#include <algorithm>
#include <cstring>

#include "tags/frame_table.h"
#include "tags/text_codec.h"

namespace tw::tags {
namespace {

std::uint8_t byteAt(std::string_view s, std::size_t i) {
    return static_cast<std::uint8_t>(s[i]);
}

std::string_view cut(std::string_view s, std::size_t pos, std::size_t count) {
    if (pos >= s.size()) {
        return {};
    }
    return s.substr(pos, count);
}

// Encoding 1: the text is split at every byte-order mark; each mark decides the byte order of
// the piece behind it, and what stands before the first mark is taken byte for byte.
std::u32string decodeUtf16Pieces(std::string_view data) {
    std::u32string out;
    std::size_t start = 0;
    bool bigEndian = false;
    bool inPiece = false;
    auto flush = [&](std::size_t end) {
        std::string_view piece = data.substr(start, end - start);
        std::u32string chars = inPiece ? utf16ToChars(piece, bigEndian) : latin1ToChars(piece);
        out += chars;
    };
    for (std::size_t i = 0; i + 1 < data.size(); ++i) {
        std::uint8_t a = byteAt(data, i), b = byteAt(data, i + 1);
        if ((a == 0xFF && b == 0xFE) || (a == 0xFE && b == 0xFF)) {
            flush(i);
            inPiece = true;
            bigEndian = a == 0xFE;
            start = i + 2;
            ++i;
        }
    }
    flush(data.size());
    return out;
}

}  // namespace

Id3v2Header parseId3v2Header(std::string_view h) {
    Id3v2Header header;
    if (h.size() < 10 || h.substr(0, 3) != "ID3" || byteAt(h, 3) == 255 || byteAt(h, 4) == 255) {
        return header;
    }
    for (std::size_t i = 6; i < 10; ++i) {
        if (byteAt(h, i) >= 128) {
            return header;
        }
    }
    header.valid = true;
    header.revision = byteAt(h, 3);
    std::uint8_t flags = byteAt(h, 5);
    header.unsyncFlag = (flags & 0x80) != 0;
    if (header.revision < 3) {
        header.compressionFlag = (flags & 0x40) != 0;
    } else {
        header.extendedFlag = (flags & 0x40) != 0;
    }
    if (header.revision >= 4) {
        header.footerFlag = (flags & 0x10) != 0;
    }
    header.size = (std::uint32_t{byteAt(h, 6)} << 21) | (std::uint32_t{byteAt(h, 7)} << 14) |
                  (std::uint32_t{byteAt(h, 8)} << 7) | byteAt(h, 9);
    return header;
}

std::string undoTagUnsync(std::string_view raw, const Id3v2Header& header) {
    if (header.unsyncFlag && header.revision < 4) {
        return undoUnsync(raw);
    }
    return std::string(raw);
}

std::string dropExtendedHeader(std::string body, std::uint8_t revision) {
    if (body.size() < 4) {
        return {};
    }
    std::uint64_t size = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        size =
            revision < 4 ? (size << 8) | byteAt(body, i) : (size << 7) | (byteAt(body, i) & 0x7F);
    }
    std::uint64_t drop = size + 4;
    if (drop >= body.size()) {
        return {};
    }
    return body.substr(static_cast<std::size_t>(drop));
}

std::optional<std::int64_t> frameLength(std::string_view body, std::size_t pos,
                                        std::uint8_t revision) {
    std::int64_t size = 0;
    if (revision < 3) {
        if (pos + 6 > body.size()) {
            return std::nullopt;
        }
        size = (std::int64_t{byteAt(body, pos + 3)} << 16) | (byteAt(body, pos + 4) << 8) |
               byteAt(body, pos + 5);
        return size + 6;
    }
    if (pos + 8 > body.size()) {
        return std::nullopt;
    }
    for (std::size_t i = 4; i < 8; ++i) {
        std::uint8_t b = byteAt(body, pos + i);
        if (revision == 3) {
            // A size from 2^31 up does not fit the 32-bit count the frames were walked with.
            if (i == 4 && b >= 0x80) {
                return std::nullopt;
            }
            size = (size << 8) | b;
        } else {
            size = (size << 7) | (b & 0x7F);
        }
    }
    return size + 10;
}

std::string frameId(std::string_view body, std::size_t pos, std::uint8_t revision) {
    return std::string(cut(body, pos, frameIdLength(revision)));
}

bool isPaddingId(std::string_view id) {
    return std::all_of(id.begin(), id.end(), [](char c) { return c == '\0'; });
}

bool signatureAt(std::string_view body, std::size_t pos) {
    static constexpr char kHead[] = "\0\0\0MP3ext V";
    const std::string_view head(kHead, sizeof kHead - 1);
    std::string_view at = cut(body, pos, std::string_view::npos);
    std::size_t m = 0;
    for (std::size_t k = 0; k < head.size(); ++k) {
        std::string_view tail = head.substr(k);
        if (at.substr(0, tail.size()) == tail) {
            m = tail.size();
            break;
        }
    }
    std::size_t p = m;
    while (p < at.size() && ((at[p] >= '0' && at[p] <= '9') || at[p] == '.')) {
        ++p;
    }
    if (at.substr(std::min(p, at.size()), 9) == "(unicode)") {
        return true;
    }
    const std::string_view end = "unicode)";
    for (std::size_t k = 0; k < end.size(); ++k) {
        std::string_view tail = end.substr(k);
        if (at.substr(0, tail.size()) == tail) {
            return true;
        }
    }
    return false;
}

namespace {

// The bytes behind a frame's header, frame-level unsynchronisation undone; none when the frame
// says its data is compressed.
std::optional<std::string> frameData(std::string_view body, std::size_t pos,
                                     std::uint8_t revision) {
    const std::size_t hdr = frameHeaderLength(revision);
    auto total = frameLength(body, pos, revision);
    std::string data;
    if (total) {
        data = std::string(cut(body, pos + hdr, static_cast<std::size_t>(*total) - hdr));
    }
    if (revision >= 3 && pos + 9 < body.size()) {
        std::uint8_t flags = byteAt(body, pos + 9);
        if ((revision == 3 && (flags & 0x80)) || (revision >= 4 && (flags & 0x08))) {
            return std::nullopt;
        }
        if (revision >= 4 && (flags & 0x02)) {
            data = undoUnsync(data);
        }
    }
    return data;
}

// Takes the leading encoding byte off text when it is one the revision knows; else 0, and the
// text keeps its first byte.
std::uint8_t takeEncoding(std::string_view& text, std::uint8_t revision) {
    if (text.empty()) {
        return 0;
    }
    const std::uint8_t first = byteAt(text, 0);
    if (first == 0 || first == 1 || (revision >= 4 && (first == 2 || first == 3))) {
        text.remove_prefix(1);
        return first;
    }
    return 0;
}

std::u32string decodeText(std::string_view text, std::uint8_t encoding) {
    switch (encoding) {
        case 1:
            return decodeUtf16Pieces(text);
        case 2:
            return utf16ToChars(text, true);
        case 3:
            return utf8ToChars(text, true);
        default:
            return latin1ToChars(text);
    }
}

}  // namespace

DecodedFrame decodeFrame(std::string_view body, std::size_t pos, std::uint8_t revision) {
    DecodedFrame result;
    const std::string id = frameId(body, pos, revision);
    const std::optional<std::string> data = frameData(body, pos, revision);
    if (!data) {
        return result;
    }
    std::string_view text = *data;
    result.encoding = takeEncoding(text, revision);
    if (isPictureFrame(id)) {
        result.value = std::string(text);
        return result;
    }
    std::u32string chars = decodeText(text, result.encoding);
    if (isCommentFrame(id)) {
        chars.erase(0, std::min<std::size_t>(3, chars.size()));
        if (!chars.empty() && chars[0] == 0) {
            chars.erase(0, 1);
        } else {
            result.hasDescription = true;
        }
    }
    if (auto nul = chars.find(char32_t{0}); nul != std::u32string::npos) {
        chars.resize(nul);
    }
    result.value = charsToUtf8(chars);
    return result;
}

std::optional<UserText> decodeUserTextFrame(std::string_view body, std::size_t pos,
                                            std::uint8_t revision) {
    std::optional<std::string> data = frameData(body, pos, revision);
    if (!data) {
        return std::nullopt;
    }
    std::string_view text = *data;
    // What stands between the header and the text: a group byte (both revisions) and, at
    // revision 4, a data length. Encrypted data cannot be read at all.
    if (revision >= 3 && pos + 9 < body.size()) {
        const std::uint8_t flags = byteAt(body, pos + 9);
        const bool encrypted = revision == 3 ? (flags & 0x40) != 0 : (flags & 0x04) != 0;
        if (encrypted) {
            return std::nullopt;
        }
        std::size_t skip = 0;
        if (revision == 3) {
            skip = (flags & 0x20) ? 1 : 0;
        } else {
            skip = ((flags & 0x40) ? 1 : 0) + ((flags & 0x01) ? 4 : 0);
        }
        text.remove_prefix(std::min(skip, text.size()));
    }
    const std::uint8_t encoding = takeEncoding(text, revision);
    const std::u32string chars = decodeText(text, encoding);
    const std::size_t end = chars.find(char32_t{0});
    if (end == std::u32string::npos) {
        return std::nullopt;  // a description with no value behind it
    }
    std::u32string value = chars.substr(end + 1);
    if (auto nul = value.find(char32_t{0}); nul != std::u32string::npos) {
        value.resize(nul);  // revision 4 may list several values; the first is the one
    }
    return UserText{charsToUtf8(chars.substr(0, end)), charsToUtf8(value)};
}

}  // namespace tw::tags
