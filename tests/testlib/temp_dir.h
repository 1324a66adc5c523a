#pragma once
// A fresh folder under the system's temporary folder (or under a folder given), removed with
// everything in it at the end, folders a test made read-only included.

#include <filesystem>
#include <set>
#include <string>
#include <vector>

namespace tw::test {

class TempDir {
  public:
    TempDir();
    // A folder named `prefix` and six random characters inside `parent`.
    TempDir(const std::filesystem::path& parent, const std::string& prefix);
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::string str() const { return path_.string(); }
    std::filesystem::path operator/(const std::string& tail) const { return path_ / tail; }

  private:
    std::filesystem::path path_;
};

// Runs the rest of a scope inside a folder, and sets one environment variable for it: the
// working folder and the variable are put back when the scope ends, so that a library that
// writes beside the working folder never writes into the source tree.
class ScopedSurroundings {
  public:
    ScopedSurroundings(const std::filesystem::path& folder, const char* variable,
                       const std::string& value);
    ~ScopedSurroundings();
    ScopedSurroundings(const ScopedSurroundings&) = delete;
    ScopedSurroundings& operator=(const ScopedSurroundings&) = delete;

  private:
    std::filesystem::path oldFolder_;
    const char* variable_;
    bool hadValue_ = false;
    std::string oldValue_;
};

// Gives the rest of a scope a home of its own in a fresh temporary folder: HOME and the XDG data,
// cache and config folders point there, so that the desktop trash, Qt's caches and a library's
// settings stay in the test's folder and go with it. Each variable is put back when the scope
// ends. The test programs' launcher gives every run such a home already, and their main one to
// each test inside it (tests/testlib/test_main.cpp); this gives one to a part of a test, also
// when a program runs by hand.
class ScopedHome {
  public:
    ScopedHome();
    // The home as a folder `test-` and six random characters inside `parent`.
    explicit ScopedHome(const std::filesystem::path& parent);
    ~ScopedHome();
    ScopedHome(const ScopedHome&) = delete;
    ScopedHome& operator=(const ScopedHome&) = delete;

    const std::filesystem::path& home() const { return folder_.path(); }
    // $XDG_DATA_HOME/Trash: where the desktop trash puts what the test deletes.
    std::filesystem::path trash() const { return folder_ / ".local/share/Trash"; }

  private:
    // HOME and the XDG folders to the folder, the old values kept.
    void pointHere();
    struct Saved {
        const char* variable;
        bool hadValue;
        std::string value;
    };
    TempDir folder_;
    std::vector<Saved> saved_;
};

// Whole contents of a file as bytes; empty when it cannot be read.
std::string readFile(const std::filesystem::path& p);
// Writes bytes to a file, creating its folder.
void writeFile(const std::filesystem::path& p, const std::string& bytes);
// The names of the entries of a folder, without the folder.
std::set<std::string> entriesOf(const std::filesystem::path& folder);

}  // namespace tw::test
