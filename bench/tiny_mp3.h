#pragma once
// The smallest tagged MP3s a library can be made of: an ID3v2.3 tag with the title and the artist,
// then whole MPEG-1 Layer III frames of silence at 128 kbit/s, 44.1 kHz (417 bytes each).

#include <cstdint>
#include <string>

namespace tw::bench {

inline std::string syncsafe(std::uint32_t n) {
    return {static_cast<char>((n >> 21) & 0x7F), static_cast<char>((n >> 14) & 0x7F),
            static_cast<char>((n >> 7) & 0x7F), static_cast<char>(n & 0x7F)};
}

inline std::string textFrame(const char* id, const std::string& text) {
    const auto size = static_cast<std::uint32_t>(text.size() + 1);
    std::string f(id, 4);
    f += {static_cast<char>(size >> 24), static_cast<char>(size >> 16),
          static_cast<char>(size >> 8), static_cast<char>(size)};
    f += std::string(2, '\0');  // flags
    f += '\0';                  // ISO-8859-1
    return f + text;
}

inline std::string tinyMp3(const std::string& artist, const std::string& title, int frames) {
    const std::string body = textFrame("TIT2", title) + textFrame("TPE1", artist);
    std::string file = "ID3";
    file += {3, 0, 0};
    file += syncsafe(static_cast<std::uint32_t>(body.size()));
    file += body;
    std::string frame(417, '\0');
    frame[0] = static_cast<char>(0xFF);
    frame[1] = static_cast<char>(0xFB);
    frame[2] = static_cast<char>(0x90);
    for (int i = 0; i < frames; ++i) {
        file += frame;
    }
    return file;
}

}  // namespace tw::bench
