#include "media/stream_address.h"

#include <sys/stat.h>

#include <string>

#include "core/text.h"

namespace tw::media {

bool fileExists(std::string_view path) {
    if (core::trim(path).empty() || isStreamAddress(path)) {
        return false;
    }
    struct stat st {};
    return ::stat(std::string(path).c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

}  // namespace tw::media
