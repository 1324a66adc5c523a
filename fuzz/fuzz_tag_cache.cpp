// The tag cache's file is read back at every start; by then it may hold anything: a file cut by
// a full disk, one from another version, bytes of another file. The parser must take only a whole
// file of its format, and what it takes must be written back to the same records.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "autodj/tag_cache_file.h"
#include "fuzz/fuzz_check.h"

using tw::fuzz::check;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const auto records = tw::autodj::parseTagCache(text);
    if (!records) {
        return 0;
    }
    check(text.starts_with(tw::autodj::kTagCacheHeader) && text.ends_with("\n"));
    for (const auto& r : *records) {
        check(!r.name.empty() && r.name.size() <= size && r.artist.size() <= size &&
              r.mp3Title.size() <= size);
    }
    const std::string again = tw::autodj::serializeTagCache(*records);
    const auto back = tw::autodj::parseTagCache(again);
    check(back && back->size() == records->size());
    for (std::size_t i = 0; i < records->size(); ++i) {
        const auto& a = (*records)[i];
        const auto& b = (*back)[i];
        check(a.folder == b.folder && a.name == b.name && a.stamp == b.stamp &&
              a.artist == b.artist && a.mp3Title == b.mp3Title);
    }
    check(tw::autodj::serializeTagCache(*back) == again);
    return 0;
}
