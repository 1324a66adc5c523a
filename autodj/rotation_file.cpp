#include "autodj/rotation_file.h"

#include "core/failure.h"
#include "core/text.h"

namespace tw::autodj {

std::string rotationField(std::string_view text) {
    std::size_t n = std::min(text.size(), kRotationFieldSize);
    // Back up to the start of a character so that a cut name stays valid text.
    while (n > 0 && n < text.size() && (static_cast<unsigned char>(text[n]) & 0xC0) == 0x80) {
        --n;
    }
    std::string field(text.substr(0, n));
    field.resize(kRotationFieldSize, ' ');
    return field;
}

std::string encodeRotationRecord(std::string_view category, bool sweeper) {
    return rotationField(category) + rotationField(sweeper ? "True" : "False") +
           rotationField("saved");
}

std::vector<RotationRecord> decodeRotation(std::string_view bytes) {
    std::vector<RotationRecord> records;
    const std::size_t count = bytes.size() / kRotationRecordSize;
    records.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
        const std::string_view r = bytes.substr(i * kRotationRecordSize, kRotationRecordSize);
        records.push_back({core::trim(r.substr(0, kRotationFieldSize)),
                           core::trim(r.substr(kRotationFieldSize, kRotationFieldSize)),
                           core::trim(r.substr(2 * kRotationFieldSize, kRotationFieldSize))});
    }
    return records;
}

bool sweeperFieldValue(const std::string& text) {
    const std::string t = core::trim(text);
    if (core::equalsNoCase(t, "true")) {
        return true;
    }
    if (core::equalsNoCase(t, "false")) {
        return false;
    }
    return core::cDblText(t) != 0;
}

}  // namespace tw::autodj
