#include "media/playlist_file.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "core/atomic_file.h"
#include "core/console_ops.h"
#include "core/text.h"
#include "media/stream_address.h"
#include "tags/id3_tag.h"

namespace tw::media {

namespace {

constexpr std::string_view kSection = "playlist";

// The whole file, or nothing when it cannot be read or is too large to be a playlist.
std::optional<std::string> readSmallFile(const std::string& path) {
    std::error_code ec;
    const auto size = std::filesystem::file_size(path, ec);
    if (ec || size > kPlsFileLimit) {
        return std::nullopt;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        return std::nullopt;
    }
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

int hexDigit(char ch) {
    if (ch >= '0' && ch <= '9') {
        return ch - '0';
    }
    if (ch >= 'a' && ch <= 'f') {
        return ch - 'a' + 10;
    }
    if (ch >= 'A' && ch <= 'F') {
        return ch - 'A' + 10;
    }
    return -1;
}

std::string percentDecoded(std::string_view s) {
    std::string out;
    out.reserve(s.size());
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '%' && i + 2 < s.size()) {
            const int hi = hexDigit(s[i + 1]);
            const int lo = hexDigit(s[i + 2]);
            if (hi >= 0 && lo >= 0) {
                out.push_back(static_cast<char>(hi * 16 + lo));
                i += 2;
                continue;
            }
        }
        out.push_back(s[i]);
    }
    return out;
}

}  // namespace

bool isBlank(std::string_view text) {
    return core::trim(text).empty();
}

bool fileIsThere(std::string_view path) {
    return fileExists(path);
}

std::string readPlsValue(const core::IniDocument& file, std::string_view section,
                         std::string_view key, const std::string& def) {
    const auto found = file.find(section, core::toLower(key));
    if (!found) {
        return def;
    }
    const std::string value(found->substr(0, kPlsValueLimit));
    return isBlank(value) ? def : value;
}

PlsEntries readPlsEntries(std::string_view bytes) {
    const core::IniDocument file(bytes);
    PlsEntries result;
    // A count beyond the lines the file can hold is read as that many lines.
    const double most = static_cast<double>(bytes.size() / 7 + 1);
    // A count too large for a number at all ("9E99999") is no count, like a count that is no
    // number.
    const double counted =
        core::finiteVal(readPlsValue(file, kSection, "NumberOfEntries", "0")).value_or(0);
    int n = counted >= 1 ? static_cast<int>(std::min(counted, most)) : 0;
    if (n <= 0) {
        if (readPlsValue(file, kSection, "File1", "").empty()) {
            return result;
        }
        n = 1;
    }
    result.count = n;
    result.texts.resize(static_cast<std::size_t>(n) + 1);
    for (int i = 0; i <= n; ++i) {
        const std::string text =
            readPlsValue(file, kSection, "File" + std::to_string(i + 1), std::string());
        if (!isBlank(text)) {
            result.texts[static_cast<std::size_t>(i)] = text;
        }
    }
    return result;
}

std::string resolvePlsEntry(const std::string& entry, const std::string& playlistFolder) {
    std::string text = core::trim(entry);
    if (isStreamAddress(text)) {
        return text;
    }
    if (text.rfind("file://", 0) == 0) {
        std::string_view rest = std::string_view(text).substr(7);
        // "file://host/path": only the local host is meant here.
        if (!rest.empty() && rest.front() != '/') {
            const auto slash = rest.find('/');
            rest = slash == std::string_view::npos ? std::string_view() : rest.substr(slash);
        }
        return percentDecoded(rest);
    }
    if (text.empty() || text.front() == '/' || text.find("://") != std::string::npos ||
        playlistFolder.empty()) {
        return text;
    }
    for (auto& ch : text) {
        if (ch == '\\') {
            ch = '/';
        }
    }
    return (std::filesystem::path(playlistFolder) / text).lexically_normal().string();
}

int loadPlaylistFile(core::Console& c, const std::string& path,
                     std::vector<core::clsTrackListing>& tracks) {
    if (!fileExists(path)) {
        return 0;
    }
    const auto bytes = readSmallFile(path);
    if (!bytes) {
        return 0;
    }
    const PlsEntries entries = readPlsEntries(*bytes);
    if (entries.count == 0) {
        return 0;
    }
    const std::string folder = std::filesystem::path(path).parent_path().string();
    std::vector<core::clsTrackListing> loaded(entries.texts.size());
    for (std::size_t i = 0; i < entries.texts.size(); ++i) {
        if (entries.texts[i].empty()) {
            continue;
        }
        core::clsTrackListing& t = loaded[i];
        t.trackPath = resolvePlsEntry(entries.texts[i], folder);
        if (isStreamAddress(t.trackPath)) {
            // An address is never opened here: it has no tag, and it is not tested for existence.
            t.trackName = t.trackPath;
            t.trackIsURL = true;
        } else {
            c.id3->filename(t.trackPath);
            t.trackName = c.id3->returnID3TitleOnly();
        }
    }
    tracks = std::move(loaded);
    return entries.count;
}

bool savePlaylistFile(const std::string& path, const std::vector<core::clsTrackListing>& tracks) {
    const std::size_t upper = tracks.empty() ? 0 : tracks.size() - 1;
    std::string text = "[playlist]\n";
    for (std::size_t i = 1; i <= upper; ++i) {
        text += "File" + std::to_string(i) + "=" + tracks[i - 1].trackPath + "\n";
    }
    text += "NumberOfEntries=" + std::to_string(static_cast<long>(upper) - 1) + "\n";
    text += "Version=2\n";
    return core::replaceFile(path, text, core::FileAccess::kKeepMode).has_value();
}

std::string noEntriesMessage(const std::string& path) {
    return "The playlist " + std::filesystem::path(path).filename().string() +
           " could not be loaded: it holds no \"[playlist]\" section with a \"File1=\" entry.";
}

}  // namespace tw::media
