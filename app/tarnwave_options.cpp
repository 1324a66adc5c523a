#include "app/tarnwave_options.h"

#include <cmath>
#include <sstream>

namespace tw::app {

bool parseTarnwaveOptions(int argc, char** argv, OtherArguments others, TarnwaveOptions& out,
                          std::string& error) {
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool takesValue =
            arg == "--quit-after" || arg == "--screenshot" || arg == "--station";
        if (takesValue && i + 1 >= argc) {
            error = arg + " needs a value";
            return false;
        }
        if (arg == "--quit-after") {
            const std::string text = argv[++i];
            std::istringstream in(text);
            double seconds = 0;
            in >> seconds;
            if (in.fail() || !in.eof() || !std::isfinite(seconds) || seconds < 0) {
                error = "--quit-after needs a number of seconds, not \"" + text + "\"";
                return false;
            }
            out.quitAfterSeconds = seconds;
        } else if (arg == "--screenshot") {
            out.screenshot = argv[++i];
            if (out.screenshot.empty()) {
                error = "--screenshot needs a file name";
                return false;
            }
        } else if (arg == "--station") {
            out.station = argv[++i];
            if (out.station.empty()) {
                error = "--station needs a folder";
                return false;
            }
        } else if (arg == "--headless") {
            out.headless = true;
        } else if (arg == "--help" || arg == "-h") {
            out.help = true;
        } else if (arg == "--version") {
            out.version = true;
        } else if (arg.rfind("--", 0) == 0) {
            error = "unknown option " + arg;
            return false;
        } else if (others == OtherArguments::Refuse) {
            error = "unknown argument \"" + arg + "\"";
            return false;
        }
    }
    return true;
}

}  // namespace tw::app
