#pragma once
// The cast session: the console's On Air button and the form's Start, the connects, the stop,
// the servers' statistics, the titles, the kick, and the failure texts. The connects run off the
// console thread (connect_runner.h); everything else answers at once from the engine.
//
// Thread contract: console thread only.

#include <cstdint>
#include <functional>
#include <string>

#include "core/console.h"

namespace tw::broadcast {

// Encoder 0 decides: not active, the mixer is made sure of (startServer) and the session starts;
// active, it stops.
void btnStart_Click(core::Console& c, const std::function<void()>& startServer);
// Starts every enabled encoder that has no handle and connects it.
void start(core::Console& c);
void Stop_(core::Console& c);
// The connect of encoder index is still under way (or its result not yet applied): the poll
// leaves it alone, since it has no statistics yet and is not dead.
bool castConnecting(core::Console& c, int index);
// The server's statistics text ("" = not connected); listeners is written only on an answer.
// Without one, an encoder whose program ended by itself has that written to app.log.
std::string checkStats(core::Console& c, int index, std::int32_t& listeners);
// A new track on the air: its title to every enabled encoder (kept to be sent again after a
// reconnect).
void sendTitle(core::Console& c, const std::string& title);
// The free text of txtSendText, to encoder 0 only.
void cmdSendMessage_Click(core::Console& c);
// "Kick and Connect" for the profile on the form.
void cmdKickSource_Click(core::Console& c);

// The command line and content type of a profile's format at kbps.
struct EncoderCommand {
    std::string commandLine;
    std::string contentType;
};
EncoderCommand encoderCommand(double encoderType, std::int32_t kbps);
// The server text of step 7: what the running text becomes for the next encoder.
std::string buildServerText(const std::string& running, const std::string& severType,
                            const std::string& severPath, const std::string& severPort,
                            const std::string& severID, const std::string& severMount);

}  // namespace tw::broadcast
