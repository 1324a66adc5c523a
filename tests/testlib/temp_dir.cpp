#include "tests/testlib/temp_dir.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace tw::test {

namespace {

std::filesystem::path systemTemporaryFolder() {
    const char* base = std::getenv("TMPDIR");
    return base && *base ? base : "/tmp";
}

}  // namespace

TempDir::TempDir() : TempDir(systemTemporaryFolder(), "tarnwave-test-") {}

TempDir::TempDir(const std::filesystem::path& parent, const std::string& prefix) {
    std::string pattern = (parent / (prefix + "XXXXXX")).string();
    if (!mkdtemp(pattern.data())) {
        throw std::runtime_error("cannot create a temporary folder in " + parent.string());
    }
    path_ = pattern;
}

// The folders are opened to their owner on the way down, before the iterator enters them, so
// that a read-only one (a test of a folder that cannot be written) goes too.
TempDir::~TempDir() {
    namespace fs = std::filesystem;
    std::error_code ec;
    fs::permissions(path_, fs::perms::owner_all, fs::perm_options::add, ec);
    for (auto it = fs::recursive_directory_iterator(path_, ec);
         !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
        std::error_code ignored;
        if (it->is_directory(ignored) && !it->is_symlink(ignored)) {
            fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ignored);
        }
    }
    fs::remove_all(path_, ec);
}

ScopedSurroundings::ScopedSurroundings(const std::filesystem::path& folder, const char* variable,
                                       const std::string& value)
    : oldFolder_(std::filesystem::current_path()), variable_(variable) {
    if (const char* old = std::getenv(variable)) {
        hadValue_ = true;
        oldValue_ = old;
    }
    setenv(variable, value.c_str(), 1);
    std::filesystem::current_path(folder);
}

ScopedSurroundings::~ScopedSurroundings() {
    std::error_code ec;
    std::filesystem::current_path(oldFolder_, ec);
    if (hadValue_) {
        setenv(variable_, oldValue_.c_str(), 1);
    } else {
        unsetenv(variable_);
    }
}

ScopedHome::ScopedHome() {
    pointHere();
}

ScopedHome::ScopedHome(const std::filesystem::path& parent) : folder_(parent, "test-") {
    pointHere();
}

void ScopedHome::pointHere() {
    const std::pair<const char*, std::filesystem::path> places[] = {
        {"HOME", folder_.path()},
        {"XDG_DATA_HOME", folder_ / ".local/share"},
        {"XDG_CACHE_HOME", folder_ / ".cache"},
        {"XDG_CONFIG_HOME", folder_ / ".config"},
    };
    for (const auto& [variable, place] : places) {
        std::filesystem::create_directories(place);
        const char* old = std::getenv(variable);
        saved_.push_back({variable, old != nullptr, old ? old : ""});
        setenv(variable, place.c_str(), 1);
    }
}

ScopedHome::~ScopedHome() {
    for (const Saved& s : saved_) {
        if (s.hadValue) {
            setenv(s.variable, s.value.c_str(), 1);
        } else {
            unsetenv(s.variable);
        }
    }
}

std::string readFile(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeFile(const std::filesystem::path& p, const std::string& bytes) {
    std::filesystem::create_directories(p.parent_path());
    std::ofstream out(p, std::ios::binary | std::ios::trunc);
    out << bytes;
}

std::set<std::string> entriesOf(const std::filesystem::path& folder) {
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.insert(entry.path().filename().string());
    }
    return names;
}

}  // namespace tw::test
