#pragma once
// The audio engine the console program runs on. One place to change when the engine changes.

#include <memory>

#include "audio/engine.h"

namespace tw::app {

std::unique_ptr<audio::Engine> makeEngine();

}  // namespace tw::app
