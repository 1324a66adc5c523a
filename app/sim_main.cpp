// tarnwave-sim [--start "YYYY-MM-DD HH:MM:SS"] [--mic FILE] [--station DIR | STATION] [SCRIPT]
// Runs the console headless in virtual time on the station folder (--station DIR, else STATION,
// else $TARNWAVE_HOME), reading the scenario from SCRIPT or from standard input. --mic FILE gives
// the simulated console a microphone that plays FILE (WAV or MP3) over and over; without it there
// is no capture device.

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "app/command_line.h"
#include "app/station_folder.h"
#include "audio/capture_device.h"
#include "audio/mix_engine.h"
#include "core/clock.h"
#include "core/dates.h"
#include "sim/simulator.h"

namespace {

constexpr const char* kUsage =
    "usage: tarnwave-sim [--start \"YYYY-MM-DD HH:MM:SS\"] [--mic FILE] [--station DIR | STATION] "
    "[SCRIPT]\n"
    "       tarnwave-sim --help | --version\n"
    "  Runs the console headless in virtual time on the station folder: --station DIR, else\n"
    "  STATION, else $TARNWAVE_HOME. The scenario comes from SCRIPT, else standard input.\n"
    "  --start DATE  the virtual clock's start (default: now)\n"
    "  --mic FILE    a simulated microphone that plays FILE (WAV or MP3) in a loop\n"
    "  --help        this text\n"
    "  --version     the program's name and version\n";

int refuse(const std::string& why) {
    std::cerr << tw::app::refusalLine("tarnwave-sim", why) << "\n";
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    tw::core::DateValue start = tw::core::SystemClock().now();
    std::string named, script, mic;
    std::vector<std::string> positional;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--start") {
            if (i + 1 >= argc || !tw::core::parseDate(argv[i + 1], start)) {
                return refuse("--start needs a date such as \"2026-11-22 10:00:00\"");
            }
            ++i;
        } else if (arg == "--mic") {
            if (i + 1 >= argc || !std::filesystem::is_regular_file(argv[i + 1])) {
                return refuse("--mic needs a WAV or MP3 file");
            }
            mic = argv[++i];
        } else if (arg == "--station") {
            if (i + 1 >= argc || std::string(argv[i + 1]).empty()) {
                return refuse("--station needs a folder");
            }
            named = argv[++i];
        } else if (arg == "--help" || arg == "-h") {
            std::cout << kUsage;
            return 0;
        } else if (arg == "--version") {
            std::cout << tw::app::versionLine("tarnwave-sim") << "\n";
            return 0;
        } else if (!arg.empty() && arg[0] == '-') {
            return refuse("unknown option " + arg);
        } else {
            positional.push_back(arg);
        }
    }
    // With --station the one other argument is the script; without, the first is the station.
    std::string station = named;
    if (station.empty() && !positional.empty()) {
        station = positional.front();
        positional.erase(positional.begin());
    }
    if (positional.size() > 1) {
        return refuse("one scenario at most, not also \"" + positional[1] + "\"");
    }
    if (!positional.empty()) {
        script = positional.front();
    }
    if (station.empty()) {
        const char* home = std::getenv("TARNWAVE_HOME");
        station = home ? home : "";
    }
    if (station.empty()) {
        return refuse("no station folder: name one with --station DIR");
    }
    std::error_code ec;
    std::filesystem::create_directories(station, ec);
    if (!std::filesystem::is_directory(station)) {
        std::cerr << "tarnwave-sim: cannot use the station folder " << station << "\n";
        return 2;
    }
    station = tw::app::plainFolder(station);

    // The engine renders offline: exactly as much audio as virtual time moves on.
    auto engine = std::make_unique<tw::audio::MixEngine>(tw::audio::EngineMode::Offline);
    if (!mic.empty()) {
        engine->useCapture(tw::audio::simulatedCapture(mic));
    }
    tw::sim::Simulator sim(station, start, std::move(engine));
    if (script.empty()) {
        return sim.run(std::cin, std::cout, std::cerr);
    }
    std::ifstream in(script);
    if (!in) {
        std::cerr << "tarnwave-sim: cannot read " << script << "\n";
        return 2;
    }
    return sim.run(in, std::cout, std::cerr);
}
