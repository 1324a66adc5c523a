#pragma once
// The checkout's and the build's folders, for the tests that run a script of the checkout or
// write a picture into the build. They come from the test launcher's environment (test_env.sh),
// so that no test file is compiled with a folder in it: a second checkout then compiles the
// tests from the compiler cache. A program started without the launcher (a benchmark) gets the
// folders of its own build.
//
// Thread contract: any thread.

#include <string>

namespace tw::test {

std::string sourceDir();
std::string binaryDir();

}  // namespace tw::test
