#pragma once
// Replaces a file by a new one built beside it, never touching the old one before the rename.

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "tags/tag_writer.h"

namespace tw::tags {

// Sink for the new file's bytes; false once a write has failed.
class ReplacementSink {
  public:
    virtual ~ReplacementSink() = default;
    virtual bool write(std::string_view bytes) = 0;
};

// Calls fill with a sink on the temporary file; the result is renamed over path only when fill
// and every later step succeed. Empty text on success, else the reason.
std::string replaceFile(const std::string& path, const WriteHooks& hooks,
                        const std::function<bool(ReplacementSink&)>& fill);

}  // namespace tw::tags
