// The details panel's waveform: any file, MP3 or PCM or neither, is measured without a crash, a
// hang or a read out of bounds, and every column stays on the 16-bit scale.

#include <cstdlib>

#include "audio/peak_envelope.h"
#include "fuzz/fuzz_tag_common.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    tw::fuzz::InputFile input(data, size);
    const tw::audio::PeakEnvelope e = tw::audio::peakEnvelope(input.path(), 37);
    if (e.ok() && e.peaks.size() != 37) {
        std::abort();
    }
    for (std::uint16_t p : e.peaks) {
        if (p > 32767) {
            std::abort();
        }
    }
    return 0;
}
