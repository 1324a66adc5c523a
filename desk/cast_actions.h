#pragma once
// The operator's hands on the cast: the console's On Air, Settings Broadcast and Send buttons,
// the peak figure's reset, and every control of frmCast.
//
// Thread contract: console thread only.

#include <string_view>

#include "core/console.h"

namespace tw::desk {

// Each gives true when the element is one of the cast's and the action has run.
bool castPress(core::Console& c, std::string_view name);
bool castSelect(core::Console& c, std::string_view name, int row);
bool castTyped(core::Console& c, std::string_view name);
bool castDoubleClick(core::Console& c, std::string_view name);

}  // namespace tw::desk
