#include "core/unfinished_files.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <filesystem>

namespace tw::core {

namespace {

constexpr std::size_t kNameMax = 255;

bool allDigits(std::string_view s) {
    return !s.empty() && s.find_first_not_of("0123456789") == std::string_view::npos;
}

std::optional<pid_t> pidOf(std::string_view digits) {
    pid_t pid = 0;
    const auto [end, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), pid);
    if (ec != std::errc() || end != digits.data() + digits.size() || pid <= 0) {
        return std::nullopt;
    }
    return pid;
}

// Still running: a process we may not signal runs as well.
bool running(pid_t pid) {
    return pid == ::getpid() || ::kill(pid, 0) == 0 || errno == EPERM;
}

int sweepFolder(const std::filesystem::path& folder) {
    namespace fs = std::filesystem;
    int removed = 0;
    std::error_code ec;
    for (fs::directory_iterator it(folder, ec), end; !ec && it != end; it.increment(ec)) {
        const auto writer = unfinishedFileWriter(it->path().filename().string());
        std::error_code typeError;
        if (writer && !running(*writer) && it->is_regular_file(typeError) &&
            ::unlink(it->path().c_str()) == 0) {
            ++removed;
        }
    }
    return removed;
}

}  // namespace

std::string unfinishedPath(const std::string& target, std::string_view kind) {
    const auto slash = target.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : target.substr(0, slash + 1);
    std::string name = slash == std::string::npos ? target : target.substr(slash + 1);
    const std::string tail = ".tw-" + std::to_string(::getpid()) + "." + std::string(kind);
    if (1 + name.size() + tail.size() > kNameMax) {
        std::size_t cut = kNameMax - 1 - tail.size();
        while (cut > 0 && (static_cast<unsigned char>(name[cut]) & 0xC0) == 0x80) {
            --cut;  // never split a UTF-8 sequence
        }
        name.resize(cut);
    }
    return folder + "." + name + tail;
}

std::optional<pid_t> unfinishedFileWriter(std::string_view name) {
    if (!name.starts_with('.')) {
        return std::nullopt;
    }
    // An outside program's output: ".tw-<pid>-<n>.part".
    if (name.starts_with(".tw-") && name.ends_with(".part")) {
        const std::string_view middle = name.substr(4, name.size() - 4 - 5);
        const auto dash = middle.find('-');
        if (dash != std::string_view::npos && allDigits(middle.substr(dash + 1))) {
            return pidOf(middle.substr(0, dash));
        }
        return std::nullopt;
    }
    // ".<name>.tw-<pid>.<kind>": the last ".tw-" is ours, whatever the name holds.
    const auto at = name.rfind(".tw-");
    if (at == std::string_view::npos || at == 0) {
        return std::nullopt;
    }
    const std::string_view rest = name.substr(at + 4);
    const auto dot = rest.find('.');
    if (dot == std::string_view::npos || !allDigits(rest.substr(0, dot))) {
        return std::nullopt;
    }
    const std::string_view kind = rest.substr(dot + 1);
    const bool known =
        kind == "tmp" || kind == "copy" || (kind.size() == 9 && kind.starts_with("tag"));
    return known ? pidOf(rest.substr(0, dot)) : std::nullopt;
}

int sweepUnfinishedFiles(const std::string& stationFolder) {
    namespace fs = std::filesystem;
    int removed = sweepFolder(stationFolder);
    std::error_code ec;
    for (fs::directory_iterator it(stationFolder, ec), end; !ec && it != end; it.increment(ec)) {
        std::error_code typeError;
        if (!it->is_directory(typeError)) {
            continue;
        }
        removed += sweepFolder(it->path());
        std::error_code innerError;
        for (fs::directory_iterator inner(it->path(), innerError), innerEnd;
             !innerError && inner != innerEnd; inner.increment(innerError)) {
            std::error_code innerType;
            if (inner->is_directory(innerType)) {
                removed += sweepFolder(inner->path());
            }
        }
    }
    return removed;
}

}  // namespace tw::core
