#pragma once
// The bytes of the frames, the ID3v1 tag and the Lyrics3 block the writer produces.

#include <cstdint>
#include <string>
#include <string_view>

#include "tags/tag_fields.h"

namespace tw::tags {

// The text a field gives for a known frame identifier ("(255)" for a file with no genre).
std::string frameValue(const TagFields& fields, std::string_view id);
std::string genreFrameText(const TagFields& fields);

// A frame in ISO-8859-1 when the text fits, else UTF-16 with a byte-order mark (revisions 2 and
// 3) or UTF-8 (revision 4). Comments and lyrics get language "eng" and an empty description;
// every other frame, links and pictures too, a leading encoding byte.
// A picture is bytes: it keeps the encoding byte it was read with (pictureEncoding).
std::string buildFrame(std::string_view id, const std::string& value, std::uint8_t revision,
                       std::uint8_t pictureEncoding = 0);
std::string frameSizeBytes(std::uint64_t size, std::uint8_t revision);

// The 128 bytes of the ID3v1 tag, or nothing when there is nothing to put in it.
std::string buildId3v1(const TagFields& fields);
// A Lyrics3 v2 block holding the title, artist and album that are too long for ID3v1; nothing
// when all three fit.
std::string buildLyrics3(const TagFields& fields);

std::string syncsafe4(std::uint64_t size);

}  // namespace tw::tags
