// Effects and recording are not built yet. Each operation answers as it will on
// a handle it does not know: a channel the console names must still be live (kErrorHandle when it
// is not), and otherwise the feature itself is missing (kErrorNotAvailable).

#include "audio/mix_engine.h"

namespace tw::audio {

Handle MixEngine::channelSetFX(Handle h, std::uint32_t, int) {
    std::lock_guard lock(mutex_);
    fail(channels_.get(h) ? kErrorNotAvailable : kErrorHandle);
    return 0;
}

bool MixEngine::channelRemoveFX(Handle, Handle) {
    return fail(kErrorHandle);
}
bool MixEngine::fxSetParameters(Handle, const ParamEq&) {
    return fail(kErrorHandle);
}
bool MixEngine::fxSetParameters(Handle, const Compressor&) {
    return fail(kErrorHandle);
}
bool MixEngine::fxSetParameters(Handle, const DynamicAmp&) {
    return fail(kErrorHandle);
}
bool MixEngine::fxReset(Handle) {
    return fail(kErrorHandle);
}

bool MixEngine::recordGetDeviceInfo(int, RecordDeviceInfo&) {
    return fail(kErrorNotAvailable);
}
bool MixEngine::recordInit(int) {
    return fail(kErrorNotAvailable);
}
bool MixEngine::recordSetDevice(int) {
    return fail(kErrorInit);
}
bool MixEngine::recordFree() {
    return fail(kErrorInit);
}

std::string MixEngine::recordGetInputName(int) {
    fail(kErrorInit);
    return {};
}

int MixEngine::recordGetInput(int, float&) {
    fail(kErrorInit);
    return -1;
}

bool MixEngine::recordSetInput(int, std::uint32_t, float) {
    return fail(kErrorInit);
}

Handle MixEngine::recordStart(std::uint32_t, std::uint32_t, std::uint32_t, RecordProc) {
    fail(kErrorInit);
    return 0;
}

}  // namespace tw::audio
