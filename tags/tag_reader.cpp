#include "tags/tag_reader.h"

#include "core/paths.h"

namespace tw::tags {

void readTags(TagFields& fields, const std::string& path, ReadDepth depth) {
    fields.resetTags();
    if (depth == ReadDepth::Full) {
        fields.audio = AudioState{};
    }
    // A stream address is no file: the console shows it where the artist would stand.
    if (core::isStreamAddress(path)) {
        fields[Field::Artist] = path;
        return;
    }
    FileReader file(path);
    if (file.notFound()) {
        return;  // nothing there: every value stays reset, revision 0
    }
    if (!file.isOpen()) {
        fields.revision = 3;
        return;
    }
    const Id3v2Header header = readId3v2(fields, file);
    const std::int64_t audioEnd = readTail(fields, file, depth);
    if (depth == ReadDepth::Light) {
        return;
    }
    std::int64_t scanStart = 1;
    if (header.valid) {
        scanStart = 11 + static_cast<std::int64_t>(header.size) + (header.footerFlag ? 10 : 0);
    }
    scanMpegAudio(fields.audio, file, scanStart, audioEnd);
}

}  // namespace tw::tags
