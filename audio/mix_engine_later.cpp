// Recording is not built yet. Each operation answers as it will when there is no capture device:
// the feature itself is missing (kErrorNotAvailable), or the device was never opened (kErrorInit).

#include "audio/mix_engine.h"

namespace tw::audio {

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
