#pragma once
// A console with its cast form loaded on the engine stand-in, and helpers to write profiles.

#include <sys/stat.h>

#include <chrono>
#include <string>
#include <thread>

#include "broadcast/cast_form.h"
#include "broadcast/cast_session.h"
#include "broadcast/cast_state.h"
#include "broadcast/connect_runner.h"
#include "core/console_ops.h"
#include "tests/testlib/console_fixture.h"

namespace tw::test {

class CastFixture : public ConsoleFixture {
  protected:
    // Builds the console and loads frmCast as the start-up does; the mixer exists. A recording
    // device is there, as on a studio machine with a microphone.
    core::Console& open() {
        engine.recordDevices = {"Desk mic"};
        make();
        console->mixerStream = 0x10000001u;
        broadcast::loadCastForm(*console);
        return *console;
    }
    void setProfile(int index, const std::string& key, const std::string& value) {
        core::writeIniValue(*console, appSettingsFile(), broadcast::profileSection(index), key,
                            value);
    }
    std::string profileValue(int index, const std::string& key) {
        return core::readIni(*console, appSettingsFile(), broadcast::profileSection(index), key,
                             "<none>");
    }
    core::CastForm& form() { return console->ui.cast; }
    // Runs the connect results that came back (the connects run on threads of their own).
    void settle() {
        for (int i = 0; i < 200 && console->cast->connects && console->cast->connects->busy();
             ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            loop.processPending();
        }
        loop.processPending();
    }
};

}  // namespace tw::test
