#pragma once
// The property names of the tag object's text fields, for tools and reports.

#include <array>
#include <optional>
#include <string_view>

#include "tags/tag_fields.h"

namespace tw::tags {

struct FieldName {
    std::string_view name;
    Field field;
};

extern const std::array<FieldName, kFieldCount> kFieldNames;

std::optional<Field> fieldByName(std::string_view name);

}  // namespace tw::tags
