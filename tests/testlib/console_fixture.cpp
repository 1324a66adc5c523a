#include "tests/testlib/console_fixture.h"

#include <sstream>

namespace tw::test {

std::vector<std::string> ConsoleFixture::appLogLines() const {
    std::vector<std::string> lines;
    std::istringstream in(readFile(dir / "app.log"));
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

}  // namespace tw::test
