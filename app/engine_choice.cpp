#include "app/engine_choice.h"

#include "audio/null_engine.h"

namespace tw::app {

std::unique_ptr<audio::Engine> makeEngine() {
    // Until the engine of our own is built, the console runs on the engine that refuses every
    // call: it comes up, ticks and logs, and plays nothing.
    return std::make_unique<audio::NullEngine>();
}

}  // namespace tw::app
