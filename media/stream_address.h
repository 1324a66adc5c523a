#pragma once
// Stream addresses and files: the rule that tells them apart lives in core (the tag reader needs
// it too).
//
// Thread contract: any thread.

#include <string_view>

#include "core/paths.h"

namespace tw::media {

using core::isStreamAddress;
// False for a blank path and for any stream address; otherwise whether the file exists.
bool fileExists(std::string_view path);

}  // namespace tw::media
