#pragma once
// libmpg123 handles set up the same way for files and network streams.

#include <mpg123.h>

namespace tw::audio {

// A new handle that accepts every rate with 16-bit signed output, gapless trimming on and the
// library's messages off; null on failure. The caller owns it (mpg123_delete).
mpg123_handle* newMp3Handle();

}  // namespace tw::audio
