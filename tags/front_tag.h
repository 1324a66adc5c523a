#pragma once
// The ID3v2 tag at the front of a file, taken in the one way the readers and the writers share.
// Thread contract: a free function on the caller's own FileReader; any thread.

#include <cstdint>
#include <string>

#include "tags/file_reader.h"
#include "tags/id3v2_frames.h"

namespace tw::tags {

struct FrontTag {
    Id3v2Header header;  // valid is false when the file does not begin with a tag
    // The frames and the padding: whole-tag unsynchronisation undone, an extended header dropped.
    // Empty when there is no tag or its frames are compressed.
    std::string body;
    std::int64_t audioStart = 1;  // 1-based position of the first byte behind the tag (and footer)
};

FrontTag readFrontTag(const FileReader& file);

}  // namespace tw::tags
