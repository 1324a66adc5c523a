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
