#pragma once
// The console's own TickCalls: each call goes to the module that owns it.

#include <memory>

#include "core/console.h"

namespace tw::station {

std::unique_ptr<core::TickCalls> makeConsoleTickCalls(core::Console& c);

}  // namespace tw::station
