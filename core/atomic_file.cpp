#include "core/atomic_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "core/failure.h"
#include "core/unfinished_files.h"

namespace tw::core {

namespace {

bool writeAll(int fd, std::string_view bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            if (n == 0) {
                errno = ENOSPC;
            }
            return false;
        }
        done += static_cast<std::size_t>(n);
    }
    return true;
}

std::string folderOf(const std::string& path) {
    const auto slash = path.rfind('/');
    if (slash == std::string::npos) {
        return ".";
    }
    return slash == 0 ? "/" : path.substr(0, slash);
}

// Opens the temporary file afresh (O_EXCL), so that nothing put at its name beforehand (a link,
// a file someone else holds open) is ever written through. The name carries our process id, so
// what sits there is a file left by an earlier process that had our id (killed in the middle of
// a flush) or one put there on purpose: either is removed and the open tried again, so that a
// leftover never blocks the writes. A folder in its place stays, and the write fails with EEXIST.
int openFreshFile(const std::string& temp, mode_t mode) {
    for (int attempt = 0; attempt < 3; ++attempt) {
        const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode);
        if (fd >= 0 || errno != EEXIST) {
            return fd;
        }
        if (::unlink(temp.c_str()) != 0) {
            break;
        }
    }
    errno = EEXIST;
    return -1;
}

}  // namespace

// Replaces the file at path with bytes so that the path shows either the old or the new contents,
// whatever happens meanwhile. The temporary file has one name per target and process: a flush
// killed half-way leaves at most that one file behind, which the next start sweeps away
// (core/unfinished_files.h).
std::optional<ReplacedFile> replaceFile(const std::string& path, const std::string& bytes,
                                        FileAccess access, Durability durability) {
    return replaceFileWith(
        path, [&bytes](const FileSink& sink) { return sink(bytes); }, access, durability);
}

std::optional<ReplacedFile> replaceFileWith(const std::string& path, const FileProducer& produce,
                                            FileAccess access, Durability durability) {
    const bool synced = durability == Durability::kSynced;
    const std::string folder = folderOf(path);
    const std::string temp = unfinishedPath(path, "tmp");
    struct stat old {};
    const bool exists = ::stat(path.c_str(), &old) == 0;
    if (exists && !S_ISREG(old.st_mode)) {
        errno = EISDIR;
        return std::nullopt;
    }
    // The temporary file starts readable by its owner alone unless it is a new file of no secret,
    // and gets its final mode before any byte is written: a secret never sits, not for a moment,
    // in a file others can read. A private file is made 0600 whatever the umask or its old mode.
    const bool ownerOnly = access == FileAccess::kOwnerOnly;
    const mode_t createMode = (exists || ownerOnly) ? 0600 : 0666;
    const int fd = openFreshFile(temp, createMode);
    if (fd < 0) {
        return std::nullopt;
    }
    const bool setMode = ownerOnly || exists;
    const mode_t mode = ownerOnly ? mode_t{0600} : (old.st_mode & 07777);
    ReplacedFile result;
    if (exists) {
        result.oldMode = old.st_mode & 07777;
    }
    const FileSink sink = [fd](std::string_view bytes) { return writeAll(fd, bytes); };
    bool ok = (!setMode || ::fchmod(fd, mode) == 0) && produce(sink) &&
              (!synced || ::fdatasync(fd) == 0) && ::fstat(fd, &result.written) == 0;
    int err = ok ? 0 : errno;
    if (::close(fd) != 0 && ok) {
        ok = false;
        err = errno;
    }
    if (ok && ::rename(temp.c_str(), path.c_str()) != 0) {
        ok = false;
        err = errno;
    }
    if (!ok) {
        ::unlink(temp.c_str());
        errno = err;  // the caller's reason
        return std::nullopt;
    }
    // Syncing the folder makes the rename itself survive a power cut. Without it the old file
    // may come back, still whole, so a failure here is no reason to report anything.
    const int dir = synced ? ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC) : -1;
    if (dir >= 0) {
        ::fsync(dir);
        ::close(dir);
    }
    return result;
}

std::string copyIntoFolder(const std::string& file, const std::string& folder) {
    namespace fs = std::filesystem;
    const fs::path target = fs::path(folder) / fs::path(file).filename();
    const fs::path partial = unfinishedPath(target.string(), "copy");
    std::error_code ec;
    fs::copy_file(file, partial, fs::copy_options::overwrite_existing, ec);
    if (!ec) {
        fs::rename(partial, target, ec);
    }
    if (ec) {
        fs::remove(partial, ec);
        throw Failure(kErrPathFileAccess, "Path/File access error");
    }
    return target.string();
}

}  // namespace tw::core
