#pragma once
// What the rest of the console asks of the cast form: the profiles' switches and the server poll.
//
// Thread contract: console thread only.

#include <cstdint>
#include <string>

#include "core/console.h"

namespace tw::broadcast {

bool getEncoderEnabled(core::Console& c, int index);
bool getStationAutoReConnect(core::Console& c, int index);
// The server's statistics text, "" when it gave none; listeners is written only on an answer.
std::string checkStats(core::Console& c, int index, std::int32_t& listeners);
// Connects every enabled encoder that has no handle.
void start(core::Console& c);

}  // namespace tw::broadcast
