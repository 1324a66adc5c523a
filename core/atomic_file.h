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
// status, or nothing (with errno saying why) when the file was left as it was.
std::optional<struct stat> replaceFile(const std::string& path, const std::string& bytes,
                                       bool privateWhenNew);

// Copies a file into a folder under its own name, over a file of that name: copied beside the
// target first and renamed into place, so that a failed copy never leaves half a file. Returns
// the target's path; throws Failure "Path/File access error" when it cannot be done.
std::string copyIntoFolder(const std::string& file, const std::string& folder);

}  // namespace tw::core
