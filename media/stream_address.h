#pragma once
// The one rule by which the console tells a stream address from a file: the text "http://" in it.
//
// Thread contract: any thread.

#include <string_view>

namespace tw::media {

bool isStreamAddress(std::string_view path);
// False for a blank path and for any stream address; otherwise whether the file exists.
bool fileExists(std::string_view path);

}  // namespace tw::media
