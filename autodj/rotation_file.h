#pragma once
// The rotation file: no header, one fixed record of 300 bytes per row, in order. Each record is
// three fields of 100 bytes, left-justified and padded with blanks: the category's folder name,
// "True" or "False" for the row's sweeper tick, and the marker "saved". An empty rotation is an
// empty file.

#include <string>
#include <string_view>
#include <vector>

namespace tw::autodj {

inline constexpr std::size_t kRotationFieldSize = 100;
inline constexpr std::size_t kRotationRecordSize = 3 * kRotationFieldSize;

struct RotationRecord {
    std::string category;  // as stored, padding removed (trimmed of blanks)
    std::string sweeper;
    std::string marker;
};

// A field of 100 bytes: the text cut to 100 bytes (never inside a character) and padded with
// blanks.
std::string rotationField(std::string_view text);
std::string encodeRotationRecord(std::string_view category, bool sweeper);

// Every whole record of the file's bytes. A trailing part shorter than a record is not a record.
std::vector<RotationRecord> decodeRotation(std::string_view bytes);

// The text of the sweeper field as a yes or no: "True"/"False" in any case, or a number (not 0
// is yes). Anything else fails as a type mismatch.
bool sweeperFieldValue(const std::string& text);

}  // namespace tw::autodj
