#pragma once
// The kick request of a Shoutcast server ("admin.cgi?mode=kicksrc"): an HTTP GET off the console
// thread; when the server asks for a log-in, the operator is asked for user and password on the
// console thread and the request goes again with them.
//
// Thread contract: kickSource on the console thread; the request on a thread of its own whose
// answer comes back as a posted event.

#include <string>

#include "core/console.h"

namespace tw::broadcast {

void kickSource(core::Console& c, const std::string& url, const std::string& userPassword = {});

}  // namespace tw::broadcast
