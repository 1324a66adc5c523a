#pragma once
// APEv2 tags (and the older APEv1) as they end a file: items, then a 32-byte footer, the whole
// either last in the file or just before a 128-byte ID3v1 tag. An item is a 4-byte little-endian
// value size, 4 bytes of flags, a key ending in a NUL, then the value.
// Thread contract: pure functions over the caller's bytes; any thread.

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace tw::tags {

// No tag this console reads is larger: the few items a tagger writes take hundreds of bytes, and
// a size field beyond this is far more likely to be damage than a tag.
inline constexpr std::size_t kMaxApeTagSize = 16 * 1024 * 1024;
inline constexpr std::size_t kApeFooterSize = 32;
// What findApeTag must see of a file's end to find the footer in both places.
inline constexpr std::size_t kApeSearchLength = kApeFooterSize + 128;

struct ApeTagSpot {
    std::uint32_t version = 0;    // 2000 or 1000
    std::uint32_t itemCount = 0;  // as the footer gives it; the walk trusts the sizes only
    std::size_t itemsSize = 0;    // bytes of the items, which end where the footer begins
    // Bytes from the first item to the end of the data the footer was found in.
    std::size_t fromEnd = 0;
};

// The footer of a tag ending tail or ending 128 bytes before its end where an ID3v1 tag stands.
// Nothing when there is none, or when its sizes are impossible (smaller than a footer, larger
// than kMaxApeTagSize); the spot may reach further back than tail does.
std::optional<ApeTagSpot> findApeTag(std::span<const std::uint8_t> tail);

struct ApeItem {
    std::string_view key;
    std::string_view value;  // the bytes as they are
    std::uint32_t flags = 0;
    // Bits 1 and 2 of the flags give the kind of value; 0 is UTF-8 text.
    bool isText() const { return ((flags >> 1) & 3) == 0; }
};

// The items of the tag at spot, which must lie within tail, in their order; the walk ends at the
// first item whose key or value would run past the items. The views point into tail.
std::vector<ApeItem> apeItems(std::span<const std::uint8_t> tail, const ApeTagSpot& spot);

}  // namespace tw::tags
