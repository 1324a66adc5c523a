#pragma once
// What the console keeps about its library between operations: the per-category figures, the
// paths behind the rows of lstSongs, and the picker's generator.
//
// Thread contract: console thread only.

#include <cstdint>
#include <string>
#include <vector>

#include "autodj/pick_random.h"

namespace tw::autodj {

struct LibraryState {
    // Indexed by the category's item number from 1; element 0 is unused. renewRepeatTime sizes
    // them to the number of categories.
    std::vector<std::int32_t> averageSong;
    std::vector<std::int32_t> lapsPerCatagory;
    std::vector<std::int32_t> repeatTime;
    // Full paths of the files on lstSongs, in list order.
    std::vector<std::string> trackFiles;
    PickRandom random;
};

}  // namespace tw::autodj
