// The studio output: the streams played straight out (previews, studio-only samples and voice
// tracks) on a card of their own, away from the mixer's monitor on the main card. The audio
// thread writes them into the studio feed; the studio card's thread reads it.

#include "audio/mix_engine.h"

namespace tw::audio {

bool MixEngine::getOutputDeviceName(int device, std::string& name) {
    std::lock_guard lock(mutex_);
    if (device < 0) {
        return fail(kErrorDevice);
    }
    if (mode_ != EngineMode::Device || silentByEnvironment()) {
        // The silent modes have one studio output of their own, for a headless run's tests.
        if (device != 0 || mode_ == EngineMode::Device) {
            return fail(kErrorDevice);
        }
        name = "Silent studio output";
        return ok();
    }
    if (!cardNames_) {
        cardNames_ = cardOutputNames();
    }
    if (static_cast<std::size_t>(device) >= cardNames_->size()) {
        return fail(kErrorDevice);
    }
    name = (*cardNames_)[static_cast<std::size_t>(device)];
    return ok();
}

bool MixEngine::setStudioDevice(int device) {
    std::lock_guard lock(mutex_);
    if (!initialised_) {
        return fail(kErrorInit);
    }
    // Off first: the old card's thread has stopped reading before a new one starts.
    core_.setStudio(nullptr);
    studioOutput_.reset();
    if (device < 0) {
        return ok();
    }
    if (mode_ == EngineMode::Offline) {
        core_.setStudio(studioRing_.get());
        return ok();
    }
    if (mode_ == EngineMode::SilentDevice) {
        if (device != 0) {
            return fail(kErrorDevice);
        }
        studioOutput_ = openSilentOutput(updateMs_, *studioRing_);
    } else if (!silentByEnvironment()) {
        studioOutput_ = openCardOutput(device, updateMs_, *studioRing_);
    }
    if (!studioOutput_) {
        return fail(kErrorDevice);
    }
    core_.setStudio(studioRing_.get());
    return ok();
}

void MixEngine::readStudio(float* out, std::size_t frames) {
    if (mode_ == EngineMode::Offline) {
        studioRing_->produce(out, frames);
    }
}

}  // namespace tw::audio
