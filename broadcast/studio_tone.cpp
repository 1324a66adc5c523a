#include "broadcast/studio_tone.h"

#include <cmath>
#include <cstdint>
#include <memory>
#include <numbers>
#include <string>
#include <vector>

#include "audio/wav_header.h"
#include "broadcast/cast_state.h"

namespace tw::broadcast {

namespace {

// A RIFF image of a 1000 Hz tone at half scale, 44100 Hz, 16-bit stereo, one second.
std::shared_ptr<const std::vector<std::uint8_t>> toneImage() {
    constexpr std::uint32_t kRate = 44100, kFrames = 44100;
    const std::string header = audio::pcm16WavHeader(kRate, 2, kFrames * 4);
    auto wav = std::make_shared<std::vector<std::uint8_t>>(header.begin(), header.end());
    wav->reserve(header.size() + kFrames * 4);
    for (std::uint32_t i = 0; i < kFrames; ++i) {
        const double v = 0.5 * std::sin(2 * std::numbers::pi * 1000.0 * i / kRate);
        const auto s =
            static_cast<std::uint16_t>(static_cast<std::int16_t>(std::lround(v * 32767)));
        for (int channel = 0; channel < 2; ++channel) {
            wav->push_back(static_cast<std::uint8_t>(s & 0xFF));
            wav->push_back(static_cast<std::uint8_t>(s >> 8));
        }
    }
    return wav;
}

}  // namespace

void playStudioTone(core::Console& c) {
    // Made once: twelve failed connects come back together, and each sounds its tone.
    auto& kept = c.cast->toneImage;
    if (!kept) {
        kept = toneImage();
    }
    auto image = kept;
    const std::uint64_t size = image->size();
    const audio::Handle h =
        c.engine().streamCreateMemory(std::move(image), 0, size, audio::kStreamAutoFree);
    if (h != 0) {
        c.engine().channelPlay(h, false);
    }
}

}  // namespace tw::broadcast
