#pragma once
// The command line of the console program. Its own options take two dashes; Qt's (-platform,
// -style, ...) take one and are left to Qt.

#include <optional>
#include <string>

namespace tw::app {

struct TarnwaveOptions {
    std::optional<double> quitAfterSeconds;  // --quit-after SECONDS
    std::string screenshot;                  // --screenshot FILE.png, "" for none
    std::string station;                     // --station DIR, "" when none is named
    bool headless = false;                   // --headless
    bool help = false;                       // --help, -h
    bool version = false;                    // --version
};

inline constexpr const char* kTarnwaveUsage =
    "usage: tarnwave [--station DIR] [--headless] [--quit-after SECONDS] [--screenshot FILE.png]\n"
    "       tarnwave --help | --version\n"
    "  --station DIR         the station folder (else $TARNWAVE_HOME, else the folder of the\n"
    "                        program, or ~/.local/share/tarnwave/station when it is installed)\n"
    "  --headless            no window, also with a display: for a server or a service\n"
    "  --quit-after SECONDS  unload and exit after that many seconds\n"
    "  --screenshot FILE     save the console window as a PNG just before it unloads\n"
    "  --help                this text\n"
    "  --version             the program's name and version\n";

// What to do with an argument that is not the console's own.
enum class OtherArguments {
    LeaveToQt,  // before Qt has seen the command line: an argument with one dash, or a value
                // after one, may be Qt's
    Refuse,     // after Qt has taken its own: whatever is left must be the console's
};

// False with a message in error for an unknown option or a missing or bad value.
bool parseTarnwaveOptions(int argc, char** argv, OtherArguments others, TarnwaveOptions& out,
                          std::string& error);

}  // namespace tw::app
