#include "app/command_line.h"

namespace tw::app {

std::string versionLine(std::string_view program) {
    return std::string(program) + " " + TW_VERSION;
}

std::string refusalLine(std::string_view program, std::string_view why) {
    const std::string name(program);
    return name + ": " + std::string(why) + " (" + name + " --help lists the options)";
}

}  // namespace tw::app
