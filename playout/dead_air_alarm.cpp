#include "playout/dead_air_alarm.h"

#include <algorithm>
#include <memory>

#include "audio/child_process.h"
#include "core/clock.h"
#include "core/console_ops.h"
#include "core/program_runner.h"
#include "core/text.h"
#include "playout/colours.h"

namespace tw::playout {

namespace {

constexpr double kFlashSeconds = 0.5;
constexpr double kDay = 24 * 3600;

std::string setting(core::Console& c, const char* key, const char* def) {
    return core::readIni(c, c.appSettingsPath(), "DeadAir", key, def);
}

}  // namespace

void DeadAirAlarm::watch(core::Console& c, std::uint32_t level, double timer) {
    double elapsed = last_ < 0 ? 0 : timer - last_;
    if (elapsed < 0) {
        elapsed += kDay;  // the timer went round midnight
    }
    last_ = timer;
    const std::uint32_t loudest = std::max(level & 0xFFFF, level >> 16);
    if (loudest >= kDeadAirLevel) {
        quiet_ = 0;
        if (raised_) {
            clear(c);
        }
        return;
    }
    quiet_ += elapsed;
    if (!raised_) {
        // Read only while the mix is quiet: a station on the air never asks the store.
        // Whatever the file says, a day at most: no text makes the tick fail here.
        const double wanted = std::clamp(core::val(setting(c, "Seconds", "10")), 0.0, kDay);
        const int seconds = static_cast<int>(wanted);
        if (seconds > 0 && quiet_ >= seconds) {
            raise(c, seconds);
        }
    }
    if (raised_) {
        flash(c, timer);
    }
}

void DeadAirAlarm::raise(core::Console& c, int seconds) {
    raised_ = true;
    flashOn_ = false;
    flashedAt_ = -kDay;
    core::logError(c,
                   "DEAD AIR: the mix has been silent for " + std::to_string(seconds) + " seconds");
    const std::string command = setting(c, "Command", "");
    std::vector<std::string> argv = audio::splitCommandLine(command);
    if (argv.empty()) {
        return;
    }
    argv.push_back(core::readIni(c, c.appSettingsPath(), "Shoutcast", "Name", "Station Name"));
    if (!c.programs) {
        c.programs = std::make_shared<core::ProgramRunner>(*c.svc.loop);
    }
    const std::string program = argv.front();
    const bool started = c.programs->start(argv, c.AppFolder, [&c, program](int status) {
        if (status != 0) {
            core::logError(c,
                           "DEAD AIR: " + program + " ended with status " + std::to_string(status));
        }
    });
    if (!started) {
        core::logError(c, "DEAD AIR: " + program + " could not be started");
    }
}

void DeadAirAlarm::clear(core::Console& c) {
    raised_ = false;
    core::Element& clock = c.form().lblDateTime;
    clock.foreColor = 0;
    // The tick writes the time there again at its next pass.
    clock.caption.clear();
    core::logError(c, "DEAD AIR ended: sound is back");
}

void DeadAirAlarm::flash(core::Console& c, double timer) {
    double since = timer - flashedAt_;
    if (since < 0) {
        since += kDay;
    }
    if (since >= kFlashSeconds) {
        flashOn_ = !flashOn_;
        flashedAt_ = timer;
    }
    core::Element& clock = c.form().lblDateTime;
    clock.foreColor = kRed;
    if (flashOn_) {
        clock.caption = kDeadAirCaption;
    }
}

void deadAirWatch(core::Console& c, std::uint32_t level) {
    if (!c.deadAir) {
        c.deadAir = std::make_shared<DeadAirAlarm>();
    }
    c.deadAir->watch(c, level, c.svc.clock->timer());
}

}  // namespace tw::playout
