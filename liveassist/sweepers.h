#pragma once
// Sweepers: short produced items laid over the music.
//
// Thread contract: console thread only.

#include <cstdint>
#include <string>

#include "core/console.h"

namespace tw::liveassist {

void playSweeper(core::Console& c, const std::string& path);
// First index in flSweepers whose file holds that sweeper number, else 0.
std::int32_t findSweeperIndex(core::Console& c, std::int32_t number);
// Reads "DefaultSweeper" and paints its name on cmdDefaultSweeper.
void readDefaultSweeper(core::Console& c);

}  // namespace tw::liveassist
