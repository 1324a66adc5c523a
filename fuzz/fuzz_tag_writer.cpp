// The writer on a copy: the input is read, its fields changed and written back, then the result
// is read again and written once more. Nothing may crash, and every write must succeed.

#include <cstdlib>

#include "fuzz/fuzz_tag_common.h"
#include "tags/id3_tag.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    tw::fuzz::InputFile input(data, size);
    tw::tags::clsID3 tag;
    tag.filename(input.path());
    const bool hadTag = tag.ID3v2Exists();
    // Values that take every path of the writer: long ones (Lyrics3), wide ones (UTF-16/UTF-8),
    // a track number and lists.
    tag.title(tag.title() + " \xE9\x9F\xB3 and a title longer than thirty characters");
    tag.Comments(size % 2 ? "" : "Note\r\nline");
    tag.TrackNumber(size % 3 ? "7" : "300");
    tag.ArtistURL().Add("http://artist", std::nullopt, std::nullopt, false);
    tag.UpdateID3Tags();
    if (!tag.lastWriteError().empty()) {
        std::abort();
    }
    tag.filename(input.path());
    // A fresh tag must read back. An old one is kept frame by frame, and a frame whose size
    // runs past the end of the tag hides what is added behind it, as it always has.
    if (!hadTag && tag.title().find("\xE9\x9F\xB3") == std::string::npos) {
        std::abort();
    }
    tag.RefreshID3Tags();
    tag.UpdateID3Tags();
    tag.DeleteID3Tags();
    return 0;
}
