#include "tests/testlib/temp_dir.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace tw::test {

TempDir::TempDir() {
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/tarnwave-test-XXXXXX";
    if (!mkdtemp(pattern.data())) {
        throw std::runtime_error("cannot create a temporary folder");
    }
    path_ = pattern;
}

TempDir::~TempDir() {
    std::error_code ec;
    std::filesystem::permissions(path_, std::filesystem::perms::owner_all,
                                 std::filesystem::perm_options::add, ec);
    std::filesystem::remove_all(path_, ec);
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

std::string readFile(const std::filesystem::path& p) {
    std::ifstream in(p, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeFile(const std::filesystem::path& p, const std::string& bytes) {
    std::filesystem::create_directories(p.parent_path());
    std::ofstream out(p, std::ios::binary | std::ios::trunc);
    out << bytes;
}

}  // namespace tw::test
