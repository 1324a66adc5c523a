#pragma once
// The Lyrics3 block in front of an ID3v1 tag, as the readers and the writer find it.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tags/file_reader.h"

namespace tw::tags {

struct Lyrics3Tail {
    enum class Kind { None, Version1, Version2 } kind = Kind::None;
    // Version 2: the block from "LYRICSBEGIN" to the size digits, and where it starts.
    bool blockValid = false;
    std::string block;
    std::int64_t blockStart = 0;  // 1-based position of the byte before the block
    // Version 1: the text read for the search (it stops 19 bytes short of the end of the block).
    std::string v1Text;
    bool beginFound = false;
    std::size_t v1Begin = 0;  // 0-based position of "LYRICSBEGIN" in v1Text
};

// audioEnd is the 1-based position of the last byte before the ID3v1 tag (or of the file).
Lyrics3Tail findLyrics3(const FileReader& file, std::int64_t audioEnd);

struct Lyrics3Field {
    std::string id;
    std::string data;
    std::size_t position = 0;  // 1-based position of the field in the block
};
// Fields from position 12 on; stops at the end or at a size that is not all digits.
std::vector<Lyrics3Field> lyrics3Fields(const std::string& block);

std::string unescapeLyrics3(std::string_view data);
std::string escapeLyrics3(std::string_view text);

}  // namespace tw::tags
