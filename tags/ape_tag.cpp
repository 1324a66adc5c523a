#include "tags/ape_tag.h"

#include <cstring>

namespace tw::tags {
namespace {

std::uint32_t le32(std::span<const std::uint8_t> bytes, std::size_t at) {
    return std::uint32_t{bytes[at]} | (std::uint32_t{bytes[at + 1]} << 8) |
           (std::uint32_t{bytes[at + 2]} << 16) | (std::uint32_t{bytes[at + 3]} << 24);
}

// The 32 bytes of a footer with behind bytes between them and the end of the data.
std::optional<ApeTagSpot> footerAt(std::span<const std::uint8_t> footer, std::size_t behind) {
    if (std::memcmp(footer.data(), "APETAGEX", 8) != 0) {
        return std::nullopt;
    }
    ApeTagSpot spot;
    spot.version = le32(footer, 8);
    const std::uint32_t tagSize = le32(footer, 12);
    spot.itemCount = le32(footer, 16);
    const std::uint32_t flags = le32(footer, 20);
    // Bit 29 marks a header; a header found where the footer belongs is no tag's end.
    if ((spot.version != 2000 && spot.version != 1000) || (flags & (1u << 29)) != 0 ||
        tagSize < kApeFooterSize || tagSize > kMaxApeTagSize) {
        return std::nullopt;
    }
    spot.itemsSize = tagSize - kApeFooterSize;
    spot.fromEnd = tagSize + behind;
    return spot;
}

}  // namespace

std::optional<ApeTagSpot> findApeTag(std::span<const std::uint8_t> tail) {
    if (tail.size() >= kApeFooterSize) {
        if (auto spot = footerAt(tail.last(kApeFooterSize), 0)) {
            return spot;
        }
    }
    if (tail.size() >= kApeSearchLength) {
        const auto id3v1 = tail.last(128);
        if (std::memcmp(id3v1.data(), "TAG", 3) == 0) {
            return footerAt(tail.subspan(tail.size() - kApeSearchLength, kApeFooterSize), 128);
        }
    }
    return std::nullopt;
}

std::vector<ApeItem> apeItems(std::span<const std::uint8_t> tail, const ApeTagSpot& spot) {
    std::vector<ApeItem> items;
    if (spot.fromEnd > tail.size() || spot.itemsSize > spot.fromEnd) {
        return items;
    }
    const std::span<const std::uint8_t> area =
        tail.subspan(tail.size() - spot.fromEnd, spot.itemsSize);
    const auto text = [&](std::size_t at, std::size_t count) {
        return std::string_view(reinterpret_cast<const char*>(area.data()) + at, count);
    };
    std::size_t pos = 0;
    // Every item takes at least 9 bytes, so the walk ends with the area whatever the count says.
    for (std::uint32_t i = 0; i < spot.itemCount && area.size() - pos >= 9; ++i) {
        const std::uint32_t valueSize = le32(area, pos);
        const std::uint32_t flags = le32(area, pos + 4);
        const std::size_t keyStart = pos + 8;
        const void* nul = std::memchr(area.data() + keyStart, 0, area.size() - keyStart);
        if (nul == nullptr) {
            break;
        }
        const std::size_t keyEnd = static_cast<const std::uint8_t*>(nul) - area.data();
        const std::size_t valueStart = keyEnd + 1;
        if (valueSize > area.size() - valueStart) {
            break;
        }
        items.push_back({text(keyStart, keyEnd - keyStart), text(valueStart, valueSize), flags});
        pos = valueStart + valueSize;
    }
    return items;
}

}  // namespace tw::tags
