#pragma once
// Which field each known frame identifier feeds, for both identifier lengths. The reader and the
// writer share this table, so a three-letter and a four-letter frame always meet in one field.

#include <array>
#include <optional>
#include <string_view>

#include "tags/tag_fields.h"

namespace tw::tags {

enum class FrameKind {
    Text,        // the field as it is
    Comment,     // language and description in front; only the frame without description
    Lyrics,      // as Comment
    Genre,       // "(code)name"
    Track,       // number "/" total
    Disc,        // number "/" total
    YearOfDate,  // the text before the first "-"
    Commercial,  // list items
    ArtistLink,  // list items
    Picture,     // list items, kept as bytes
};

struct FrameRole {
    FrameKind kind;
    Field field;
};

std::optional<FrameRole> frameRole(std::string_view id);

// The order in which the writer visits frames, and so the order of new frames in a file.
extern const std::array<std::string_view, 38> frameIds4;
extern const std::array<std::string_view, 33> frameIds3;
extern const std::array<std::string_view, 5> lyricsFieldIds;

inline bool isCommentFrame(std::string_view id) {
    return id == "COMM" || id == "COM" || id == "USLT" || id == "ULT";
}
// Link frames (WCOM, WOAR and their short forms) hold an address, which has no text encoding.
inline bool isUrlFrame(std::string_view id) {
    return !id.empty() && id[0] == 'W';
}
inline bool isPictureFrame(std::string_view id) {
    return id == "APIC" || id == "PIC";
}

}  // namespace tw::tags
