#pragma once
// Positional reads from a file that never fail loudly: a read past the end gives what is there.

#include <cstdint>
#include <string>

namespace tw::tags {

class FileReader {
  public:
    explicit FileReader(const std::string& path);
    ~FileReader();
    FileReader(const FileReader&) = delete;
    FileReader& operator=(const FileReader&) = delete;

    bool isOpen() const { return fd_ >= 0; }
    std::int64_t size() const { return size_; }
    // Up to count bytes from the 0-based offset; fewer at the end, none for a negative offset.
    std::string readAt(std::int64_t offset, std::int64_t count) const;

  private:
    int fd_ = -1;
    std::int64_t size_ = 0;
};

}  // namespace tw::tags
