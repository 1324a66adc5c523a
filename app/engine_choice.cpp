#include "app/engine_choice.h"

#include "audio/mix_engine.h"

namespace tw::app {

std::unique_ptr<audio::Engine> makeEngine() {
    // The sound card, or the timed silent device when there is none (or TARNWAVE_AUDIO=null), so
    // that the mix, the encoders and the casts go on headless.
    return std::make_unique<audio::MixEngine>(audio::EngineMode::Device);
}

}  // namespace tw::app
