// The light read: ID3v2 and ID3v1, as for every track the console looks at.

#include "fuzz/fuzz_tag_common.h"
#include "tags/id3_tag.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    tw::fuzz::InputFile input(data, size);
    tw::tags::clsID3 tag;
    tag.filename(input.path());
    tw::tags::clsMp3TagData record;
    tag.returnID3Tag(record);
    return 0;
}
