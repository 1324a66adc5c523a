#pragma once
// The tag readers work on files: each input is written to a private temporary file first.

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace tw::fuzz {

class InputFile {
  public:
    InputFile(const std::uint8_t* data, std::size_t size) {
        // Memory-backed where there is such a folder: a run writes hundreds of thousands of files.
        const char* tmp = std::getenv("TMPDIR");
        const std::string base =
            tmp ? tmp : (::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp");
        folder_ = base + "/tw-fuzz-tag-XXXXXX";
        if (::mkdtemp(folder_.data()) == nullptr) {
            std::abort();
        }
        path_ = folder_ + "/track.mp3";
        int fd = ::open(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (fd < 0) {
            std::abort();
        }
        std::size_t done = 0;
        while (done < size) {
            ssize_t n = ::write(fd, data + done, size - done);
            if (n <= 0) {
                std::abort();
            }
            done += static_cast<std::size_t>(n);
        }
        ::close(fd);
    }
    ~InputFile() {
        ::unlink(path_.c_str());
        ::rmdir(folder_.c_str());
    }
    const std::string& path() const { return path_; }
    const std::string& folder() const { return folder_; }

  private:
    std::string folder_;
    std::string path_;
};

}  // namespace tw::fuzz
