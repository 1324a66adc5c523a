// What stands at the end of a file: the ID3v1 tag and, for the full reader, a Lyrics3 block.
// Values only fill fields that are still empty, so an ID3v2 value wins over Lyrics3, and Lyrics3
// over ID3v1.

#include <algorithm>

#include "core/text.h"
#include "tags/lyrics3.h"
#include "tags/tag_reader.h"
#include "tags/text_codec.h"

namespace tw::tags {
namespace {

std::string v1Value(std::string_view bytes) {
    bytes = bytes.substr(0, bytes.find('\0'));
    while (!bytes.empty() && bytes.back() == ' ') {
        bytes.remove_suffix(1);
    }
    return latin1ToUtf8(bytes);
}

void fillIfEmpty(std::string& field, const std::string& value) {
    if (field.empty() && !value.empty()) {
        field = value;
    }
}

// Cuts "[mm:ss]" marks the way the console always has: from the second character behind the "["
// up to the "]".
std::string withoutTimestamps(std::string text) {
    std::size_t open = text.find('[');
    while (open != std::string::npos) {
        std::size_t close = text.find(']', open + 1);
        if (close == std::string::npos) {
            break;
        }
        std::string inner = text.substr(open + 1, close - open - 1);
        std::size_t colon = inner.find(':');
        auto whole = [](const std::string& s) {
            return !s.empty() &&
                   std::all_of(s.begin(), s.end(), [](char c) { return c >= '0' && c <= '9'; });
        };
        if (colon != std::string::npos && whole(inner.substr(0, colon)) &&
            whole(inner.substr(colon + 1)) && open + 2 <= close) {
            text.erase(open + 2, close - (open + 2) + 1);
        }
        open = text.find('[', open + 1);
    }
    return text;
}

void readLyrics3v2Fields(TagFields& fields, const std::string& block) {
    for (const Lyrics3Field& f : lyrics3Fields(block)) {
        std::string data = latin1ToUtf8(unescapeLyrics3(f.data));
        if (f.id == "IND") {
            // The flag is looked up at the field's own position within its data, which lies past
            // the end of any ordinary IND field: timestamps therefore stay in the lyrics.
            std::size_t index = f.position + 5;
            fields.lyricsTimestamps =
                index >= 1 && index <= f.data.size() && f.data[index - 1] == '1';
        } else if (f.id == "LYR") {
            fillIfEmpty(fields[Field::Lyrics],
                        fields.lyricsTimestamps ? withoutTimestamps(data) : data);
        } else if (f.id == "AUT") {
            fillIfEmpty(fields[Field::Lyricist], data);
        } else if (f.id == "EAL") {
            fillIfEmpty(fields[Field::Album], data);
        } else if (f.id == "EAR") {
            fillIfEmpty(fields[Field::Artist], data);
        } else if (f.id == "ETT") {
            fillIfEmpty(fields[Field::title], data);
        }
    }
}

}  // namespace

std::int64_t readTail(TagFields& fields, const FileReader& file, ReadDepth depth) {
    const std::int64_t length = file.size();
    std::int64_t audioEnd = length;
    std::string v1;
    if (length >= 128) {
        v1 = file.readAt(length - 128, 128);
    }
    if (v1.size() == 128 && v1.compare(0, 3, "TAG") == 0) {
        fields.ID3v1Exists = true;
        audioEnd -= 128;
    }
    if (depth == ReadDepth::Full) {
        Lyrics3Tail tail = findLyrics3(file, audioEnd);
        if (tail.kind == Lyrics3Tail::Kind::Version2) {
            fields.Lyrics3v2Exists = true;
            if (tail.blockValid) {
                audioEnd = tail.blockStart;  // the byte before the block, 1-based
                readLyrics3v2Fields(fields, tail.block);
            }
        } else if (tail.kind == Lyrics3Tail::Kind::Version1) {
            fields.Lyrics3v1Exists = true;
            if (tail.beginFound) {
                fillIfEmpty(fields[Field::Lyrics],
                            latin1ToUtf8(tail.v1Text.substr(tail.v1Begin + 11)));
            }
        }
    }
    if (!fields.ID3v1Exists) {
        return audioEnd;
    }
    fillIfEmpty(fields[Field::title], v1Value(std::string_view(v1).substr(3, 30)));
    fillIfEmpty(fields[Field::Artist], v1Value(std::string_view(v1).substr(33, 30)));
    fillIfEmpty(fields[Field::Album], v1Value(std::string_view(v1).substr(63, 30)));
    fillIfEmpty(fields[Field::year], v1Value(std::string_view(v1).substr(93, 4)));
    const int v = static_cast<std::uint8_t>(v1[125]) * 256 + static_cast<std::uint8_t>(v1[126]);
    if (v >= 1 && v <= 255) {
        fillIfEmpty(fields[Field::TrackNumber], std::to_string(v));
        fillIfEmpty(fields[Field::Comments], v1Value(std::string_view(v1).substr(97, 28)));
    } else {
        fillIfEmpty(fields[Field::Comments], v1Value(std::string_view(v1).substr(97, 30)));
    }
    if (fields.GenreID == 12 || fields.GenreID == 255) {
        fields.GenreID = static_cast<std::uint8_t>(v1[127]);
    }
    return audioEnd;
}

}  // namespace tw::tags
