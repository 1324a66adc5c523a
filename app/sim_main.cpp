// tarnwave-sim [--start "YYYY-MM-DD HH:MM:SS"] [--mic FILE] STATION [SCRIPT]
// Runs the console headless in virtual time on the station folder STATION, reading the scenario
// from SCRIPT or from standard input. --mic FILE gives the simulated console a microphone that
// plays FILE (WAV or MP3) over and over; without it there is no capture device.

#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <string>

#include "audio/capture_device.h"
#include "audio/mix_engine.h"
#include "core/clock.h"
#include "core/dates.h"
#include "sim/simulator.h"

namespace {

int usage() {
    std::cerr << "usage: tarnwave-sim [--start \"YYYY-MM-DD HH:MM:SS\"] [--mic FILE] STATION "
                 "[SCRIPT]\n";
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    tw::core::DateValue start = tw::core::SystemClock().now();
    std::string station, script, mic;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--start") {
            if (i + 1 >= argc || !tw::core::parseDate(argv[i + 1], start)) {
                std::cerr << "tarnwave-sim: --start needs a date such as \"2026-11-22 10:00:00\"\n";
                return 2;
            }
            ++i;
        } else if (arg == "--mic") {
            if (i + 1 >= argc || !std::filesystem::is_regular_file(argv[i + 1])) {
                std::cerr << "tarnwave-sim: --mic needs a WAV or MP3 file\n";
                return 2;
            }
            mic = argv[++i];
        } else if (arg == "--help" || arg == "-h") {
            usage();
            return 0;
        } else if (!arg.empty() && arg[0] == '-') {
            std::cerr << "tarnwave-sim: unknown option " << arg << "\n";
            return usage();
        } else if (station.empty()) {
            station = arg;
        } else if (script.empty()) {
            script = arg;
        } else {
            return usage();
        }
    }
    if (station.empty()) {
        return usage();
    }
    std::error_code ec;
    std::filesystem::create_directories(station, ec);
    if (!std::filesystem::is_directory(station)) {
        std::cerr << "tarnwave-sim: cannot use the station folder " << station << "\n";
        return 2;
    }
    station = std::filesystem::absolute(station).lexically_normal().string();
    if (station.size() > 1 && station.back() == '/') {
        station.pop_back();
    }

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
