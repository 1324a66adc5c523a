#pragma once
// The console's state and surface as JSON, for the simulator's dump and for tests that compare
// whole states.
//
// Thread contract: console thread only.

#include <optional>
#include <string>
#include <string_view>

#include "core/console.h"

namespace tw::sim {

std::string jsonString(std::string_view s);
std::string elementJson(const core::Element& e);
// Every run-time variable of the console by name, and every element of every window.
std::string consoleJson(core::Console& c);
// One element ("cmdSkipNow", "frmCast.txtGenre") or one variable ("activePlayer"); nothing when
// the name is neither.
std::optional<std::string> namedJson(core::Console& c, std::string_view name);

}  // namespace tw::sim
