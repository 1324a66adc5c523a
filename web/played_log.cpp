#include "web/played_log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tw::web {

namespace {

bool parseLine(std::string_view line, PlayedStart& out) {
    if (!line.empty() && line.back() == '\r') {
        line.remove_suffix(1);
    }
    // The title may hold commas; the date never does, so the last comma divides them.
    const std::size_t comma = line.rfind(',');
    if (comma == std::string_view::npos) {
        return false;
    }
    core::DateValue started = 0;
    if (!core::parseDate(line.substr(comma + 1), started)) {
        return false;
    }
    const std::string_view key = line.substr(0, comma);
    const std::size_t dash = key.find(" - ");
    if (dash == std::string_view::npos) {
        out.artist.clear();
        out.title = std::string(key);
    } else {
        out.artist = std::string(key.substr(0, dash));
        out.title = std::string(key.substr(dash + 3));
    }
    out.started = started;
    return true;
}

}  // namespace

std::vector<PlayedStart> lastStarts(std::string_view text, std::size_t count) {
    std::vector<PlayedStart> starts;
    std::size_t end = text.size();
    while (end > 0 && starts.size() < count) {
        // A line ends at its "\n"; the last line may lack one (a write cut short by a kill
        // leaves no half line, but a hand-edited file may).
        std::size_t lineEnd = end;
        if (text[lineEnd - 1] == '\n') {
            --lineEnd;
        }
        const std::size_t newline =
            lineEnd == 0 ? std::string_view::npos : text.rfind('\n', lineEnd - 1);
        const std::size_t begin = newline == std::string_view::npos ? 0 : newline + 1;
        PlayedStart s;
        if (parseLine(text.substr(begin, lineEnd - begin), s)) {
            starts.push_back(std::move(s));
        }
        end = begin;
    }
    return starts;
}

std::vector<PlayedStart> readLastStarts(const std::string& path, std::size_t count,
                                        std::size_t tailBytes) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return {};
    }
    struct stat st {};
    std::string text;
    if (::fstat(fd, &st) == 0 && st.st_size > 0) {
        const auto size = static_cast<std::size_t>(st.st_size);
        const std::size_t from = size > tailBytes ? size - tailBytes : 0;
        text.resize(size - from);
        std::size_t got = 0;
        while (got < text.size()) {
            const ssize_t n =
                ::pread(fd, text.data() + got, text.size() - got, static_cast<off_t>(from + got));
            if (n <= 0) {
                break;
            }
            got += static_cast<std::size_t>(n);
        }
        text.resize(got);
        // A tail that starts inside a line starts at the next whole one.
        if (from > 0) {
            const std::size_t newline = text.find('\n');
            text.erase(0, newline == std::string::npos ? text.size() : newline + 1);
        }
    }
    ::close(fd);
    return lastStarts(text, count);
}

}  // namespace tw::web
