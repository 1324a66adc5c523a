#pragma once
// The console put together: the model, its tag reader, its library state, the tick's calls into
// the modules and the design layout of its surface. Every program and test fixture makes its
// console here, so that the model itself depends on nothing above it.
//
// Thread contract: console thread only.

#include <memory>
#include <string>

#include "core/console.h"

namespace tw::station {

std::unique_ptr<core::Console> makeConsole(std::string appFolder, core::Services services);

}  // namespace tw::station
