#pragma once
// The library's categories: one folder under Music each.
//
// Thread contract: console thread only.

#include "core/console.h"

namespace tw::autodj {

// Rebuilds both category lists from the folders of dirList.
void showplayLists(core::Console& c);
// Resizes the per-category figures to the number of categories.
void renewRepeatTime(core::Console& c);

}  // namespace tw::autodj
