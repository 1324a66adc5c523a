#include "tags/lyrics3.h"

#include <algorithm>

#include "core/text.h"

namespace tw::tags {

Lyrics3Tail findLyrics3(const FileReader& file, std::int64_t audioEnd) {
    Lyrics3Tail tail;
    const std::string footer = file.readAt(audioEnd - 9, 9);
    if (audioEnd < 9) {
        return tail;
    }
    if (footer == "LYRICS200") {
        tail.kind = Lyrics3Tail::Kind::Version2;
        const double size = core::finiteVal(file.readAt(audioEnd - 15, 6)).value_or(0);
        if (size <= 0 || size > static_cast<double>(audioEnd)) {
            return tail;
        }
        const auto n = static_cast<std::int64_t>(size);
        std::string block = file.readAt(audioEnd - 15 - n, n);
        if (audioEnd - 15 - n >= 0 && block.compare(0, 11, "LYRICSBEGIN") == 0) {
            tail.blockValid = true;
            tail.block = std::move(block);
            tail.blockStart = audioEnd - 15 - n;
        }
    } else if (footer == "LYRICSEND") {
        tail.kind = Lyrics3Tail::Kind::Version1;
        if (audioEnd - 20 <= 5100) {
            tail.v1Text = file.readAt(0, audioEnd - 20);
        } else {
            tail.v1Text = file.readAt(audioEnd - 5120, 5100);
        }
        std::size_t at = tail.v1Text.rfind("LYRICSBEGIN");
        if (at != std::string::npos) {
            tail.beginFound = true;
            tail.v1Begin = at;
        }
    }
    return tail;
}

std::vector<Lyrics3Field> lyrics3Fields(const std::string& block) {
    std::vector<Lyrics3Field> out;
    std::size_t pos = 11;  // 0-based; position 12 counted from 1
    while (pos < block.size()) {
        if (pos + 8 > block.size()) {
            break;
        }
        std::string digits = block.substr(pos + 3, 5);
        if (!std::all_of(digits.begin(), digits.end(),
                         [](char c) { return c >= '0' && c <= '9'; })) {
            break;
        }
        std::size_t size = std::stoul(digits);
        Lyrics3Field f;
        f.id = block.substr(pos, 3);
        f.data = block.substr(pos + 8, size);
        f.position = pos + 1;
        out.push_back(std::move(f));
        pos += 8 + size;
    }
    return out;
}

std::string unescapeLyrics3(std::string_view data) {
    std::string s(data);
    bool changed = false;
    s = core::replaceText(s, "[CR][LF]", "\r\n", 1, changed);
    s = core::replaceText(s, "[CR]", "\r", 1, changed);
    s = core::replaceText(s, "[LF]", "\n", 1, changed);
    return s;
}

std::string escapeLyrics3(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n') {
            out += "[CR][LF]";
            ++i;
        } else if (text[i] == '\r') {
            out += "[CR]";
        } else if (text[i] == '\n') {
            out += "[LF]";
        } else {
            out.push_back(text[i]);
        }
    }
    return out;
}

}  // namespace tw::tags
