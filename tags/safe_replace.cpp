#include "tags/safe_replace.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "core/paths.h"

namespace tw::tags {
namespace {

int hook(const WriteHooks& hooks, WriteStep step) {
    return hooks.beforeStep ? hooks.beforeStep(step) : 0;
}

std::string failure(const char* what, int err) {
    return std::string(what) + ": " + std::strerror(err);
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
        while (!bytes.empty()) {
            ssize_t n = ::write(fd_, bytes.data(), bytes.size());
            if (n < 0 && errno == EINTR) {
                continue;
            }
            if (n <= 0) {
                error_ = failure("writing the new file", n < 0 ? errno : ENOSPC);
                return false;
            }
            bytes.remove_prefix(static_cast<std::size_t>(n));
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

std::string trackAttributes(const std::string& path, struct stat& attributes) {
    if (::stat(path.c_str(), &attributes) != 0) {
        return failure("reading the track's attributes", errno);
    }
    if (!S_ISREG(attributes.st_mode)) {
        return "the track is not a regular file";
    }
    return {};
}

std::string replaceFile(const std::string& path, const struct stat& old, const WriteHooks& hooks,
                        const std::function<bool(ReplacementSink&)>& fill) {
    std::string folder = core::parsePath(path, 3);
    std::string pattern = folder + "." + core::parsePath(path, 6) + ".tw-tag-XXXXXX";
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
    if (int err = hook(hooks, WriteStep::Rename);
        err || ::rename(temp.c_str(), path.c_str()) != 0) {
        err = err ? err : errno;
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
