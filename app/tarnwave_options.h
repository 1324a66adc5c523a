#pragma once
// The command line of the console program (after Qt has taken its own arguments).

#include <optional>
#include <string>

namespace tw::app {

struct TarnwaveOptions {
    std::optional<double> quitAfterSeconds;  // --quit-after SECONDS
    std::string screenshot;                  // --screenshot FILE.png, "" for none
    bool help = false;                       // --help
};

inline constexpr const char* kTarnwaveUsage =
    "usage: tarnwave [--quit-after SECONDS] [--screenshot FILE.png]\n"
    "  The station folder is $TARNWAVE_HOME, else the folder of the program.\n"
    "  --quit-after SECONDS  unload and exit after that many seconds\n"
    "  --screenshot FILE     save the console window as a PNG just before it unloads\n";

// False with a message in error for an unknown option or a missing or bad value.
bool parseTarnwaveOptions(int argc, char** argv, TarnwaveOptions& out, std::string& error);

}  // namespace tw::app
