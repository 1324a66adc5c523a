#pragma once
// The two readers behind the tag object: the light one (ID3v2 and ID3v1, what the console needs
// for every track) and the full one (also Lyrics3 and the MPEG audio figures).

#include <cstdint>
#include <string>
#include <string_view>

#include "tags/file_reader.h"
#include "tags/id3v2_frames.h"
#include "tags/tag_fields.h"

namespace tw::tags {

enum class ReadDepth { Light, Full };

// Never fails: whatever cannot be read stays at its reset value.
void readTags(TagFields& fields, const std::string& path, ReadDepth depth);

// The steps, for the readers and the tests.
Id3v2Header readId3v2(TagFields& fields, const FileReader& file);
// Reads ID3v1 (and with Full, Lyrics3) and gives the 1-based position of the last audio byte.
std::int64_t readTail(TagFields& fields, const FileReader& file, ReadDepth depth);
void scanMpegAudio(AudioState& audio, const FileReader& file, std::int64_t scanStart,
                   std::int64_t audioEnd);

// Walks the frames of a prepared tag body and stores their values.
void readId3v2Frames(TagFields& fields, std::string_view body, std::uint8_t revision);

}  // namespace tw::tags
