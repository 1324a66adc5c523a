#include "station_run.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

#include "audio/capture_device.h"
#include "audio/mix_engine.h"
#include "tests/testlib/temp_dir.h"
#include "tests/testlib/test_paths.h"

namespace tw::test {

namespace {

std::string quoted(const std::string& s) {
    std::string out = "'";
    for (char ch : s) {
        out += ch == '\'' ? std::string("'\\''") : std::string(1, ch);
    }
    return out + "'";
}

}  // namespace

std::string makeDemoStation(const std::filesystem::path& dir, int categories, int tracks,
                            int minSeconds, int maxSeconds, int artists) {
    const std::string script = test::sourceDir() + "/scripts/make-demo-station.sh";
    std::ostringstream cmd;
    cmd << "TW_BUILD_DIR=" << quoted(test::binaryDir()) << " " << quoted(script) << " "
        << quoted(dir.string()) << " " << categories << " " << tracks << " " << minSeconds << " "
        << maxSeconds << " " << artists << " > "
        << quoted((dir.parent_path() / "make.log").string()) << " 2>&1";
    const int status = std::system(cmd.str().c_str());
    if (status != 0) {
        std::ifstream log(dir.parent_path() / "make.log");
        std::stringstream text;
        text << log.rdbuf();
        return "make-demo-station.sh failed (" + std::to_string(status) + "): " + text.str();
    }
    return {};
}

std::filesystem::path keptDemoLibrary(std::string& error) {
    namespace fs = std::filesystem;
    const fs::path kept = fs::path(test::binaryDir()) / "tests/app/demo-station-6x40";
    if (fs::is_directory(kept / "Music")) {
        return kept;
    }
    // The scenarios that start together on a fresh build take turns: one makes the library while
    // the others wait for it, instead of each making its own on the same cores.
    const std::string lockPath = kept.string() + ".lock";
    const int lock = ::open(lockPath.c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0644);
    if (lock < 0 || ::flock(lock, LOCK_EX) != 0) {
        if (lock >= 0) {
            ::close(lock);
        }
        error = "cannot lock " + lockPath;
        return {};
    }
    struct Unlock {
        int fd;
        ~Unlock() { ::close(fd); }
    } const unlock{lock};
    if (fs::is_directory(kept / "Music")) {
        return kept;
    }
    const fs::path making = kept.string() + ".making-" + std::to_string(::getpid());
    fs::remove_all(making);
    fs::create_directories(making);
    error = makeDemoStation(making / "station", 6, 40, 20, 90, 15);
    if (!error.empty()) {
        fs::remove_all(making);
        return {};
    }
    std::error_code ec;
    fs::rename(making / "station", kept, ec);
    fs::remove_all(making);
    if (ec && !fs::is_directory(kept / "Music")) {
        error = "cannot keep the demo library: " + ec.message();
        return {};
    }
    return kept;
}

std::string makeScenarioStation(const std::filesystem::path& station) {
    std::string error;
    const std::filesystem::path library = keptDemoLibrary(error);
    if (!error.empty()) {
        return error;
    }
    copyStation(library, station);
    writeFile(station / "appSettings.ini", "[ArtistSeperation]\r\nHours=0.5\r\n");
    return {};
}

void copyStation(const std::filesystem::path& from, const std::filesystem::path& to) {
    std::filesystem::copy(from, to,
                          std::filesystem::copy_options::recursive |
                              std::filesystem::copy_options::overwrite_existing);
}

namespace {

std::unique_ptr<audio::MixEngine> offlineEngine(
    const std::string& mic, const std::function<void(audio::MixEngine&)>& prepare) {
    auto engine = std::make_unique<audio::MixEngine>(audio::EngineMode::Offline);
    if (!mic.empty()) {
        engine->useCapture(audio::simulatedCapture(mic));
    }
    if (prepare) {
        prepare(*engine);
    }
    return engine;
}

}  // namespace

StationRun::StationRun(const std::string& station, core::DateValue start, const std::string& mic,
                       const std::function<void(audio::MixEngine&)>& prepare)
    : sim_(station, start, offlineEngine(mic, prepare)) {
    sim_.setBusSink([this](const float* bus, std::size_t frames) { onBus(bus, frames); });
}

std::string StationRun::exec(const std::string& line) {
    std::ostringstream out;
    std::string error;
    if (!sim_.execute(line, out, error)) {
        return error.empty() ? "failed: " + line : error;
    }
    return {};
}

void StationRun::advance(double seconds, double step) {
    for (double done = 0; done < seconds; done += step) {
        sim_.loop().advance(std::min(step, seconds - done));
        auto& c = sim_.console();
        const audio::Handle streams[2] = {c.player1Stream, c.player2Stream};
        for (int i = 0; i < 2; ++i) {
            Watched& w = players_[i];
            const audio::Handle h = streams[i];
            if (h != w.stream) {
                w = Watched{h, h == 0 ? 0 : c.svc.engine->channelGetPosition(h), false};
            } else if (h != 0 && !w.counted &&
                       c.svc.engine->channelGetPosition(h) != w.firstPosition) {
                ++starts_;
                w.counted = true;
            }
        }
    }
}

void StationRun::onBus(const float* bus, std::size_t frames) {
    // The counters in locals: as members they would be stored at every frame.
    std::int64_t at = frames_, zeroStart = zeroRunStart_;
    for (std::size_t i = 0; i < frames; ++i, ++at) {
        if (bus[2 * i] == 0.0f && bus[2 * i + 1] == 0.0f) {
            if (zeroStart < 0) {
                zeroStart = at;
            }
            continue;
        }
        if (zeroStart < 0 && firstSoundFrame_ >= 0) {
            continue;  // sound after sound
        }
        if (firstSoundFrame_ < 0) {
            firstSoundFrame_ = at;
        } else if (at - zeroStart >= longestKept_) {
            zeroRuns_.emplace_back(zeroStart, at - zeroStart);
        }
        zeroStart = -1;
    }
    frames_ = at;
    zeroRunStart_ = zeroStart;
}

std::vector<SilenceStretch> StationRun::silences(double longerThan) const {
    std::vector<SilenceStretch> out;
    auto keep = [&](std::int64_t start, std::int64_t length) {
        const double seconds = static_cast<double>(length) / 44100.0;
        if (seconds > longerThan) {
            out.push_back({static_cast<double>(start) / 44100.0, seconds});
        }
    };
    for (const auto& [start, length] : zeroRuns_) {
        keep(start, length);
    }
    if (firstSoundFrame_ >= 0 && zeroRunStart_ >= 0) {
        keep(zeroRunStart_, frames_ - zeroRunStart_);
    }
    return out;
}

double scenarioHours() {
    if (const char* text = std::getenv("TW_SCENARIO_HOURS")) {
        const double hours = std::atof(text);
        if (hours >= 1.0) {
            return hours;
        }
    }
    return TW_TEST_SANITIZED ? 2.0 : 24.0;
}

}  // namespace tw::test
