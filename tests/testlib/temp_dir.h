#pragma once
// A fresh folder under the system's temporary folder, removed with everything in it at the end.

#include <filesystem>
#include <string>

namespace tw::test {

class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::string str() const { return path_.string(); }
    std::filesystem::path operator/(const std::string& tail) const { return path_ / tail; }

  private:
    std::filesystem::path path_;
};

// Whole contents of a file as bytes; empty when it cannot be read.
std::string readFile(const std::filesystem::path& p);
// Writes bytes to a file, creating its folder.
void writeFile(const std::filesystem::path& p, const std::string& bytes);

}  // namespace tw::test
