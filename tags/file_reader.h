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
    // The path named nothing (as opposed to naming something that could not be opened).
    bool notFound() const { return notFound_; }
    std::int64_t size() const { return size_; }
    // Up to count bytes from the 0-based offset; fewer at the end, none for a negative offset.
    std::string readAt(std::int64_t offset, std::int64_t count) const;

  private:
    // The first bytes of the file, read at once: for most tracks the whole tag lies in them, so
    // a light read costs one read call for the front of the file.
    static constexpr std::int64_t kHead = 8192;

    int fd_ = -1;
    bool notFound_ = false;
    std::int64_t size_ = 0;
    std::string head_;
};

}  // namespace tw::tags
