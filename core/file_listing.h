#pragma once
// A file list's folder read as refreshFileList (console_ops.h) reads it, in two steps, so that a
// caller that knows the folder did not change can keep the names and fill the list from them.
//
// Thread contract: any thread, on lists it alone touches.

#include <string>
#include <vector>

#include "core/surface.h"

namespace tw::core {

// The names refreshFileList puts in list, in its order. False when the folder holds a symbolic
// link, whose target can change kind with no change in the folder itself, or could not be read
// whole: such a listing is not to be kept.
bool listFileNames(const Element& list, std::vector<std::string>& names);
// The list as refreshFileList leaves it, from names listFileNames gave.
void fillFileList(Element& list, const std::vector<std::string>& names);

}  // namespace tw::core
