#include "tags/safe_replace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "core/paths.h"
#include "core/unfinished_files.h"

namespace tw::tags {
namespace {

int hook(const WriteHooks& hooks, WriteStep step) {
    return hooks.beforeStep ? hooks.beforeStep(step) : 0;
}

std::string failure(const char* what, int err) {
    return std::string(what) + ": " + std::strerror(err);
}

// Writes everything or fails with errno set (ENOSPC for a write that took nothing).
bool writeAll(int fd, const char* data, std::size_t size) {
    while (size > 0) {
        ssize_t n = ::write(fd, data, size);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            if (n == 0) {
                errno = ENOSPC;
            }
            return false;
        }
        data += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

class FdSink : public ReplacementSink {
  public:
    FdSink(int fd, const WriteHooks& hooks) : fd_(fd), hooks_(hooks) {}

    bool write(std::string_view bytes) override {
        if (!error_.empty()) {
            return false;
        }
        if (int err = hook(hooks_, WriteStep::WriteData)) {
            error_ = failure("writing the new file", err);
            return false;
        }
        if (!writeAll(fd_, bytes.data(), bytes.size())) {
            error_ = failure("writing the new file", errno);
            return false;
        }
        return true;
    }
    const std::string& error() const { return error_; }

  private:
    int fd_;
    const WriteHooks& hooks_;
    std::string error_;
};

}  // namespace

bool copyFileRange(const FileReader& file, std::int64_t from, std::int64_t to,
                   ReplacementSink& sink) {
    constexpr std::int64_t kBlock = 20480;
    for (std::int64_t pos = from; pos <= to; pos += kBlock) {
        const std::int64_t count = std::min(kBlock, to - pos + 1);
        const std::string chunk = file.readAt(pos - 1, count);
        if (static_cast<std::int64_t>(chunk.size()) != count || !sink.write(chunk)) {
            return false;
        }
    }
    return true;
}

std::string trackAttributes(const std::string& path, struct stat& attributes) {
    if (::stat(path.c_str(), &attributes) != 0) {
        return failure("reading the track's attributes", errno);
    }
    if (!S_ISREG(attributes.st_mode)) {
        return "the track is not a regular file";
    }
    return {};
}

namespace {

// Where the bytes of path really live: a symbolic link is followed to its target.
std::string resolvedTrack(const std::string& path, std::string& error) {
    struct stat link {};
    if (::lstat(path.c_str(), &link) != 0 || !S_ISLNK(link.st_mode)) {
        return path;
    }
    char* real = ::realpath(path.c_str(), nullptr);
    if (real == nullptr) {
        error = failure("following the track's link", errno);
        return {};
    }
    std::string target(real);
    std::free(real);
    return target;
}

// A track with other hard links keeps its inode: the complete, flushed image is copied into it.
// The room is reserved first, so that a full disk fails before the first byte is overwritten.
// Before the first byte the image takes a name the start-up sweep leaves alone: if the copy fails
// half way, or the console is killed during it, the whole new image stays beside the track (and a
// failure names it).
std::string copyImageInto(const std::string& temp, const std::string& path,
                          const struct stat& old) {
    const std::string kept = temp.substr(0, temp.rfind(".tw-")) + ".tw-whole";
    if (::rename(temp.c_str(), kept.c_str()) != 0) {
        const int err = errno;
        ::unlink(temp.c_str());
        return failure("keeping the new file", err);
    }
    int from = ::open(kept.c_str(), O_RDONLY | O_CLOEXEC);
    if (from < 0) {
        const int err = errno;
        ::unlink(kept.c_str());
        return failure("reading the new file", err);
    }
    struct stat image {};
    ::fstat(from, &image);
    int to = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    if (to < 0) {
        int err = errno;
        ::close(from);
        ::unlink(kept.c_str());
        return failure("opening the track for writing", err);
    }
    auto fail = [&](const char* what, int err, bool touched) {
        ::close(from);
        ::close(to);
        if (!touched) {
            ::unlink(kept.c_str());
            return failure(what, err);
        }
        return failure(what, err) + "; the complete new file is kept as " + kept;
    };
    if (image.st_size > old.st_size) {
        if (int err = ::posix_fallocate(to, 0, image.st_size);
            err != 0 && err != EOPNOTSUPP && err != EINVAL) {
            return fail("making room in the track", err, false);
        }
    }
    std::vector<char> block(1 << 16);
    for (;;) {
        ssize_t n = ::read(from, block.data(), block.size());
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0) {
            return fail("reading the new file", errno, true);
        }
        if (n == 0) {
            break;
        }
        if (!writeAll(to, block.data(), static_cast<std::size_t>(n))) {
            return fail("writing into the track", errno, true);
        }
    }
    if (::ftruncate(to, image.st_size) != 0 || ::fsync(to) != 0) {
        return fail("finishing the track", errno, true);
    }
    const struct timespec times[2] = {old.st_atim, old.st_mtim};
    ::futimens(to, times);
    ::close(from);
    ::close(to);
    ::unlink(kept.c_str());
    return {};
}

}  // namespace

std::string replaceFile(const std::string& givenPath, const struct stat& old,
                        const WriteHooks& hooks,
                        const std::function<bool(ReplacementSink&)>& fill) {
    std::string linkError;
    const std::string path = resolvedTrack(givenPath, linkError);
    if (path.empty()) {
        return linkError;
    }
    std::string folder = core::parsePath(path, 3);
    std::string pattern = core::unfinishedPath(path, "tagXXXXXX");
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    if (int err = hook(hooks, WriteStep::CreateTemp)) {
        return failure("creating the new file", err);
    }
    int fd = ::mkstemp(name.data());
    if (fd < 0) {
        return failure("creating the new file", errno);
    }
    const std::string temp(name.data());
    auto abandon = [&](std::string reason) {
        ::close(fd);
        ::unlink(temp.c_str());
        return reason;
    };
    FdSink sink(fd, hooks);
    if (!fill(sink)) {
        return abandon(sink.error().empty() ? "reading the track" : sink.error());
    }
    if (int err = hook(hooks, WriteStep::Flush); err || ::fsync(fd) != 0) {
        return abandon(failure("flushing the new file", err ? err : errno));
    }
    if (int err = hook(hooks, WriteStep::CopyAttributes); err) {
        return abandon(failure("copying the track's attributes", err));
    }
    if (::fchmod(fd, old.st_mode & 07777) != 0) {
        return abandon(failure("copying the track's mode", errno));
    }
    // Only root may give the file away; a user's own file already has the right owner.
    if (::fchown(fd, old.st_uid, old.st_gid) != 0 && errno != EPERM) {
        return abandon(failure("copying the track's owner", errno));
    }
    const struct timespec times[2] = {old.st_atim, old.st_mtim};
    if (::futimens(fd, times) != 0) {
        return abandon(failure("copying the track's times", errno));
    }
    if (::close(fd) != 0) {
        int err = errno;
        ::unlink(temp.c_str());
        return failure("closing the new file", err);
    }
    if (int err = hook(hooks, WriteStep::Rename)) {
        ::unlink(temp.c_str());
        return failure("replacing the track", err);
    }
    if (old.st_nlink > 1) {
        return copyImageInto(temp, path, old);
    }
    if (::rename(temp.c_str(), path.c_str()) != 0) {
        int err = errno;
        ::unlink(temp.c_str());
        return failure("replacing the track", err);
    }
    int dir = ::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dir >= 0) {
        ::fsync(dir);
        ::close(dir);
    }
    return {};
}

}  // namespace tw::tags
