// Rotation files come from the operator's folder and may be anything. Reading one must never
// crash or read out of bounds, and what is read must write back to records of the same texts.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "autodj/rotation_file.h"
#include "core/failure.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace tw::autodj;
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const auto records = decodeRotation(bytes);
    if (records.size() != size / kRotationRecordSize) {
        __builtin_trap();
    }
    for (const auto& r : records) {
        bool sweeper = false;
        try {
            sweeper = sweeperFieldValue(r.sweeper);
        } catch (const tw::core::Failure&) {
        }
        const std::string again = encodeRotationRecord(r.category, sweeper);
        const auto back = decodeRotation(again);
        if (again.size() != kRotationRecordSize || back.size() != 1 || back[0].marker != "saved") {
            __builtin_trap();
        }
        if (r.category.size() <= kRotationFieldSize && back[0].category != r.category &&
            back[0].category != r.category.substr(0, back[0].category.size())) {
            __builtin_trap();
        }
    }
    return 0;
}
