#pragma once
// Writing and deleting tags. The new file is always built completely beside the track, flushed,
// given the track's mode and times and then renamed over it: until that rename the track is
// untouched, so a failure at any step leaves it as it was.

#include <functional>
#include <string>

#include "tags/tag_fields.h"

namespace tw::tags {

enum class WriteStep {
    CreateTemp,      // the temporary file beside the track
    WriteData,       // each block of bytes written into it
    Flush,           // its data forced to the disk
    CopyAttributes,  // the track's mode, owner and times given to it
    Rename,          // it replaces the track
};

// A stand-in for the file system's failures in tests: returns 0 to go on, or an errno value with
// which the step fails.
struct WriteHooks {
    std::function<int(WriteStep)> beforeStep;
};

// Both give an empty text on success, else what went wrong.
std::string updateTagsInFile(const TagFields& fields, const std::string& path,
                             const WriteHooks& hooks);
std::string deleteTagsInFile(const std::string& path, const WriteHooks& hooks);

}  // namespace tw::tags
