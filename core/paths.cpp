#include "core/paths.h"

namespace tw::core {

namespace {

bool isSeparator(char c) {
    return c == '/' || c == '\\';
}

struct PathParts {
    std::string_view drive;   // "C:" or empty
    std::string_view folder;  // from after the drive up to and with the last separator
    std::string_view name;    // after the last separator, without extension
    std::string_view ext;     // from the last "." of the file name, or empty
};

PathParts split(std::string_view path) {
    PathParts p;
    std::string_view rest = path;
    if (rest.size() >= 2 && rest[1] == ':' &&
        ((rest[0] >= 'A' && rest[0] <= 'Z') || (rest[0] >= 'a' && rest[0] <= 'z'))) {
        p.drive = rest.substr(0, 2);
        rest.remove_prefix(2);
    }
    std::size_t lastSep = std::string_view::npos;
    for (std::size_t i = rest.size(); i > 0; --i) {
        if (isSeparator(rest[i - 1])) {
            lastSep = i - 1;
            break;
        }
    }
    std::string_view file = rest;
    if (lastSep != std::string_view::npos) {
        p.folder = rest.substr(0, lastSep + 1);
        file = rest.substr(lastSep + 1);
    }
    std::size_t dot = file.rfind('.');
    if (dot == std::string_view::npos) {
        p.name = file;
    } else {
        p.name = file.substr(0, dot);
        p.ext = file.substr(dot);
    }
    return p;
}

std::string withoutTrailingSeparator(std::string s) {
    if (!s.empty() && isSeparator(s.back())) {
        s.pop_back();
    }
    return s;
}

}  // namespace

std::string parsePath(std::string_view path, int part) {
    PathParts p = split(path);
    std::string drive(p.drive), folder(p.folder), name(p.name), ext(p.ext);
    switch (part) {
        case 1:
            return drive;
        case -1:
            return drive.empty() ? drive : drive.substr(0, 1);
        case 2:
            return folder;
        case -2:
            return withoutTrailingSeparator(folder);
        case 3:
            return drive + folder;
        case -3:
            return withoutTrailingSeparator(drive + folder);
        case 4:
        case -4:
            return name;
        case 5:
            return ext;
        case -5:
            return ext.empty() ? ext : ext.substr(1);
        case 6:
        case -6:
            return name + ext;
        case 7:
        case -7:
            return drive + folder + name;
        default:
            return {};
    }
}

std::string TokenReader::getToken(std::string_view delimiter, int number, std::string_view text,
                                  std::string_view quotes) {
    if (number > 0) {
        position_ = 0;
    } else if (number < 0) {
        return {};
    }
    int skip = number > 0 ? number - 1 : 0;
    const char quote = quotes.empty() ? '\0' : quotes.front();
    while (true) {
        if (position_ > text.size() || delimiter.empty()) {
            return {};
        }
        // Find the end of the token that starts at position_.
        std::size_t i = position_;
        bool inQuotes = false;
        std::size_t end = std::string_view::npos;
        while (i < text.size()) {
            if (quote != '\0' && text[i] == quote) {
                inQuotes = !inQuotes;
                ++i;
                continue;
            }
            if (!inQuotes && text.compare(i, delimiter.size(), delimiter) == 0) {
                end = i;
                break;
            }
            ++i;
        }
        std::string_view tok;
        if (end == std::string_view::npos) {
            tok = text.substr(position_);
            position_ = text.size() + 1;  // past the last token
        } else {
            tok = text.substr(position_, end - position_);
            position_ = end + delimiter.size();
        }
        if (skip == 0) {
            return std::string(tok);
        }
        --skip;
    }
}

std::string token(std::string_view delimiter, int number, std::string_view text,
                  std::string_view quotes) {
    TokenReader reader;
    return reader.getToken(delimiter, number, text, quotes);
}

bool isStreamAddress(std::string_view path) {
    return path.find("http://") != std::string_view::npos ||
           path.find("https://") != std::string_view::npos;
}

}  // namespace tw::core
