// The synthesiser's WAV as it streams it: any bytes give the samples of a well-formed image or the
// failure, never a crash, a hang or a read out of bounds.

#include <cstdlib>
#include <string>

#include "core/failure.h"
#include "liveassist/speech.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string wav(reinterpret_cast<const char*>(data), size);
    try {
        int rate = 0;
        const auto samples = tw::liveassist::speechSamples(wav, rate);
        if (rate <= 0 || samples.size() > size / 2) {
            std::abort();
        }
    } catch (const tw::core::Failure&) {
    }
    return 0;
}
