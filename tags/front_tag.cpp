#include "tags/front_tag.h"

namespace tw::tags {

FrontTag readFrontTag(const FileReader& file) {
    FrontTag tag;
    tag.header = parseId3v2Header(file.readAt(0, 10));
    if (!tag.header.valid) {
        return tag;
    }
    tag.audioStart =
        11 + static_cast<std::int64_t>(tag.header.size) + (tag.header.footerFlag ? 10 : 0);
    if (tag.header.compressionFlag) {
        return tag;
    }
    tag.body = undoTagUnsync(file.readAt(10, tag.header.size), tag.header);
    if (tag.header.extendedFlag) {
        tag.body = dropExtendedHeader(std::move(tag.body), tag.header.revision);
    }
    return tag;
}

}  // namespace tw::tags
