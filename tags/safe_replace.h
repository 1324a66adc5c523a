#pragma once
// Replaces a file by a new one built beside it, never touching the old one before the rename.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include <sys/stat.h>

#include "tags/file_reader.h"
#include "tags/tag_writer.h"

namespace tw::tags {

// Sink for the new file's bytes; false once a write has failed.
class ReplacementSink {
  public:
    virtual ~ReplacementSink() = default;
    virtual bool write(std::string_view bytes) = 0;
};

// The track's mode, owner and times, taken before anything reads it.
std::string trackAttributes(const std::string& path, struct stat& attributes);

// Calls fill with a sink on the temporary file; the result is given the attributes and renamed
// over path only when fill and every later step succeed. Empty text on success, else the reason.
std::string replaceFile(const std::string& path, const struct stat& attributes,
                        const WriteHooks& hooks, const std::function<bool(ReplacementSink&)>& fill);

// Writes the bytes from 1-based position from to position to (both included) into the sink, block
// by block; false when the file gives fewer bytes than asked or the sink fails.
bool copyFileRange(const FileReader& file, std::int64_t from, std::int64_t to,
                   ReplacementSink& sink);

}  // namespace tw::tags
