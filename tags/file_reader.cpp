#include "tags/file_reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace tw::tags {

FileReader::FileReader(const std::string& path) {
    // Not blocking: a named pipe or device under a track's name must not hold the console.
    fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd_ < 0) {
        notFound_ = errno == ENOENT || errno == ENOTDIR;
        return;
    }
    struct stat st {};
    if (::fstat(fd_, &st) == 0 && S_ISREG(st.st_mode)) {
        size_ = st.st_size;
    }
    head_ = readAt(0, kHead);
}

FileReader::~FileReader() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

std::string FileReader::readAt(std::int64_t offset, std::int64_t count) const {
    if (fd_ < 0 || offset < 0 || count <= 0 || offset >= size_) {
        return {};
    }
    count = std::min(count, size_ - offset);
    if (offset + count <= static_cast<std::int64_t>(head_.size())) {
        return head_.substr(static_cast<std::size_t>(offset), static_cast<std::size_t>(count));
    }
    std::string out(static_cast<std::size_t>(count), '\0');
    std::size_t got = 0;
    while (got < out.size()) {
        ssize_t n = ::pread(fd_, out.data() + got, out.size() - got,
                            static_cast<off_t>(offset + static_cast<std::int64_t>(got)));
        if (n <= 0) {
            break;
        }
        got += static_cast<std::size_t>(n);
    }
    out.resize(got);
    return out;
}

}  // namespace tw::tags
