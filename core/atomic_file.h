#pragma once
// Replacing a whole file so that its path shows either the old or the new contents, whatever
// happens meanwhile: a crash, a full disk, a kill between two steps.
//
// Thread contract: any thread, for different paths.

#include <sys/stat.h>

#include <optional>
#include <string>

namespace tw::core {

// Writes bytes to a temporary file beside path, syncs it, gives it the old file's mode (or 0600
// for a new private file, else the umask's), and renames it over path. Returns the new file's
// status, or nothing when the file was left as it was.
std::optional<struct stat> replaceFile(const std::string& path, const std::string& bytes,
                                       bool privateWhenNew);

}  // namespace tw::core
