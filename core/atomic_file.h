#pragma once
// Replacing a whole file so that its path shows either the old or the new contents, whatever
// happens meanwhile: a crash, a full disk, a kill between two steps.
//
// Thread contract: any thread, for different paths.

#include <sys/stat.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace tw::core {

// Who may read a file that replaceFile writes.
enum class FileAccess {
    kKeepMode,   // an existing file keeps its mode, a new one gets the umask's
    kOwnerOnly,  // 0600 whatever the file had: it holds secrets
};

// Whether replaceFile waits for the disk. A file that is written again soon and whose loss in a
// power cut does no harm (what is on the air now) need not hold the writer up.
enum class Durability {
    kSynced,    // the bytes and the rename are on the disk when replaceFile returns
    kUnsynced,  // replaced whole all the same, but left to the system to write out
};

struct ReplacedFile {
    struct stat written {};         // the new file's status
    std::optional<mode_t> oldMode;  // the permission bits of the file replaced, when there was one
};

// Writes bytes to a temporary file beside path, syncs it (unless told otherwise), gives it the
// mode access asks for, and renames it over path. Returns the new file's status and the old
// file's mode, or nothing (with errno saying why) when the file was left as it was.
std::optional<ReplacedFile> replaceFile(const std::string& path, const std::string& bytes,
                                        FileAccess access,
                                        Durability durability = Durability::kSynced);

// The same for a file too large to be held whole in memory: produce writes it piece by piece
// through the sink, which returns false (errno set) when a write failed; produce then returns
// false at once, and so does it for a reason of its own, and the file is left as it was.
using FileSink = std::function<bool(std::string_view)>;
using FileProducer = std::function<bool(const FileSink&)>;
std::optional<ReplacedFile> replaceFileWith(const std::string& path, const FileProducer& produce,
                                            FileAccess access,
                                            Durability durability = Durability::kSynced);

// Copies a file into a folder under its own name, over a file of that name: copied beside the
// target first and renamed into place, so that a failed copy never leaves half a file. Returns
// the target's path; throws Failure "Path/File access error" when it cannot be done.
std::string copyIntoFolder(const std::string& file, const std::string& folder);

}  // namespace tw::core
