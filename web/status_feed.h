#pragma once
// What is on the air, told outward as it changes: the web status service (when a port is set),
// nowplaying.txt and nowplaying.json in the station folder, and the operator's now-playing
// command. All of it is off the console's way: the service answers from the snapshots published
// here, the files are small and replaced whole, the command is started and never waited for.
//
// appSettings.ini:
//   [WebStatus] Port     absent, empty or 0: no service
//               Address  the numeric address to listen on; 127.0.0.1 unless the operator says
//               Token    empty: the control requests are refused
//   [NowPlaying] Command a program and its own arguments (no shell); at every start it is run
//                        with the artist, the title and the length in whole seconds added
//
// At a start (statusFeedStarted) nothing is told at once: the start's own event goes on to load
// the waiting player, and the next position tick tells the start with what comes next. Between
// starts the tick looks four times a second for a change of the mode, the encoders on the air,
// the listeners or the next item, and tells each as its own event ("mode", "on_air",
// "listeners", "next"); a snapshot without a change goes to the service once a second, so that
// what it answers has the elapsed time of that second.
//
// A control request that the service accepted runs on the console thread, posted to its event
// loop, through the hand that startStatusFeed was given (the desk's buttons); one that arrives
// after the feed was stopped or replaced is dropped.
//
// Thread contract: console thread only.

#include <cstddef>
#include <functional>
#include <string>

#include "core/console.h"
#include "web/control_request.h"
#include "web/status_service.h"

namespace tw::web {

struct FeedSettings {
    bool serviceOn = false;
    ServiceSettings service;
    std::string command;
    // Why a setting was not taken, for app.log; empty when all were.
    std::string problem;
};

// The feed's settings as appSettings.ini holds them.
FeedSettings readFeedSettings(core::Console& c);

// What the operator opens in a browser for a service on `address` and `port`:
// "http://127.0.0.1:8080/", "http://[::1]:8080/".
std::string serviceUrl(const std::string& address, unsigned port);

using ControlHand = std::function<void(core::Console&, const ControlRequest&)>;

// Starts the feed from the settings, in place of one running; a service that cannot start is one
// app.log line, and the files and the command still work.
void startStatusFeed(core::Console& c, ControlHand hand);
// Starts it again from the settings with the hand it had (the settings window changed them);
// nothing when no feed was started.
void restartStatusFeed(core::Console& c);
// The now-playing command from now on, the service left as it runs.
void useNowPlayingCommand(core::Console& c, const std::string& commandLine);
// Ends the feed: the service closes its connections; a command still running is left to the
// console's program runner.
void stopStatusFeed(core::Console& c);

// A start went on the air (startNExt).
void statusFeedStarted(core::Console& c);
// The position tick.
void statusFeedTick(core::Console& c);

// The address the service answers on, as serviceUrl writes it; empty when it does not run.
std::string statusFeedUrl(const core::Console& c);
// The event streams open now; 0 without a service.
std::size_t statusFeedClients(const core::Console& c);
// The reason the service set in appSettings.ini does not run, for the settings window; empty
// when it runs or none is set.
std::string statusFeedProblem(const core::Console& c);

}  // namespace tw::web
