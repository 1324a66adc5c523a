#pragma once
// What every program of the console says about its command line, in one form: the version line
// and the one line that refuses a command line (exit status 2).

#include <string>
#include <string_view>

namespace tw::app {

// "tarnwave 0.1.0": the program's name and the project's version.
std::string versionLine(std::string_view program);

// "tarnwave: unknown option --foo (tarnwave --help lists the options)": one line, no newline,
// for standard error.
std::string refusalLine(std::string_view program, std::string_view why);

}  // namespace tw::app
