#pragma once
// Reading back the end of Played.log: one line per start, "<title>,<general date>", where the
// title is the play history's key ("Artist - Title", or the file's name for an untagged file, or
// what a stream address announced). The file is the station's own record, but anything may have
// written it, so every line is read with care and one that does not end in a date is passed
// over.
//
// Thread contract: any thread.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "core/dates.h"

namespace tw::web {

struct PlayedStart {
    std::string title;   // the part after the first " - ", or the whole key when it has none
    std::string artist;  // the part before it; empty when there is none
    core::DateValue started = 0;
};

// The last `count` starts in the text of a Played.log, newest first.
std::vector<PlayedStart> lastStarts(std::string_view text, std::size_t count);

// The same from the file itself, reading no more than its last `tailBytes`; nothing when it
// cannot be read.
std::vector<PlayedStart> readLastStarts(const std::string& path, std::size_t count,
                                        std::size_t tailBytes = 64 * 1024);

}  // namespace tw::web
