#include "liveassist/sweepers.h"

#include "core/console_ops.h"

namespace tw::liveassist {

void playSweeper(core::Console& c, const std::string& path) {
    // Sweepers sound once they have a mixer to go to.
    (void)c;
    (void)path;
}

std::int32_t findSweeperIndex(core::Console& c, std::int32_t number) {
    // Sweeper numbers live in the sweepers' own tags; with none read, the first file stands in.
    (void)c;
    (void)number;
    return 0;
}

void readDefaultSweeper(core::Console& c) {
    c.defaultSweeper = core::readIni(c, c.appSettingsPath(), "tarnWave", "DefaultSweeper", "");
    core::printOnButton(c.form().cmdDefaultSweeper,
                        c.defaultSweeper.empty() ? core::ImageRole::Gray : core::ImageRole::Red,
                        c.defaultSweeper);
}

}  // namespace tw::liveassist
