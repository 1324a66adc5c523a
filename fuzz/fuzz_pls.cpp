// Playlist files come from other players and from anywhere on disk. Reading one must never crash,
// hang or read out of bounds, and what it gives must keep the reader's own rules.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "media/playlist_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tw::media;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const PlsEntries entries = readPlsEntries(bytes);
    if (entries.count < 0 || (entries.count == 0) != entries.texts.empty() ||
        (entries.count > 0 &&
         entries.texts.size() != static_cast<std::size_t>(entries.count) + 1) ||
        entries.texts.size() > size / 7 + 2) {
        __builtin_trap();
    }
    for (const auto& text : entries.texts) {
        if (text.size() > kPlsValueLimit || (!text.empty() && isBlank(text))) {
            __builtin_trap();
        }
        const std::string resolved = resolvePlsEntry(text, "/station/Playlist");
        if (text.empty() != resolved.empty() && text.rfind("file://", 0) != 0) {
            __builtin_trap();
        }
    }
    return 0;
}
