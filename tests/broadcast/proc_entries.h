#pragma once
// Reading /proc for the cast tests: the threads and the child programs of this process, their
// names and their command lines.

#include <fcntl.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

namespace tw::test {

// The text of a file under /proc, or "" when it is gone: a thread or a program may end between
// the listing and the reading (the stream library would throw on that).
inline std::string procText(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return {};
    }
    std::string text;
    char buf[512];
    for (ssize_t n; (n = ::read(fd, buf, sizeof buf)) > 0;) {
        text.append(buf, static_cast<std::size_t>(n));
    }
    ::close(fd);
    return text;
}

// The names of the entries of a /proc folder that are numbers (processes, threads).
inline std::vector<std::string> procNumbers(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code error;
    for (std::filesystem::directory_iterator it(folder, error), end; !error && it != end;
         it.increment(error)) {
        const std::string name = it->path().filename().string();
        if (name.find_first_not_of("0123456789") == std::string::npos) {
            names.push_back(name);
        }
    }
    return names;
}

// One process as its stat line tells it: "pid (comm) state ppid ...". Empty fields when it is
// gone.
struct ProcStat {
    std::string name;
    std::string state;
    std::string parent;
};

inline ProcStat procStat(const std::string& pid) {
    const std::string text = procText("/proc/" + pid + "/stat");
    const auto open = text.find('(');
    const auto close = text.rfind(')');
    if (open == std::string::npos || close == std::string::npos || close < open) {
        return {};
    }
    ProcStat s;
    s.name = text.substr(open + 1, close - open - 1);
    std::istringstream rest(text.substr(close + 2));
    rest >> s.state >> s.parent;
    return s;
}

}  // namespace tw::test
