#pragma once
// The web status service's control requests carried out with the console's own buttons: NEXT,
// the mode button (only when the mode asked for is not the one on), and Send to encoder 1 with
// the message in its text box for the press (the operator's own text there comes back after it).
//
// Thread contract: console thread only (the feed posts the requests to the event loop).

#include "core/console.h"
#include "web/control_request.h"

namespace tw::station {

void carryOutWebControl(core::Console& c, const web::ControlRequest& request);

// Starts the status feed from the settings with the hand above.
void startWebStatus(core::Console& c);

}  // namespace tw::station
