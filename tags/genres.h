#pragma once
// The genre list shared by ID3v1 bytes and ID3v2 genre references.

#include <cstdint>
#include <string>
#include <string_view>

namespace tw::tags {

// -2 "Cover", -1 "Remix", 0 to 147 the extended ID3v1 list, 255 "Unknown"; empty otherwise.
std::string GenreName(std::int32_t GenreID);
// Matches names loosely (case, blanks and joining marks left out); 255 for a blank name, 12
// ("Other") for a name on no list.
std::int32_t ToGenreID(std::string_view Genre);

}  // namespace tw::tags
