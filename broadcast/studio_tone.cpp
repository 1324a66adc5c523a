#include "broadcast/studio_tone.h"

#include <cmath>
#include <cstdint>
#include <memory>
#include <numbers>
#include <vector>

namespace tw::broadcast {

namespace {

void put16(std::vector<std::uint8_t>& out, std::uint32_t v) {
    out.push_back(static_cast<std::uint8_t>(v & 0xFF));
    out.push_back(static_cast<std::uint8_t>((v >> 8) & 0xFF));
}

void put32(std::vector<std::uint8_t>& out, std::uint32_t v) {
    put16(out, v & 0xFFFF);
    put16(out, v >> 16);
}

// A RIFF image of a 1000 Hz tone at half scale, 44100 Hz, 16-bit stereo, one second.
std::shared_ptr<const std::vector<std::uint8_t>> toneImage() {
    constexpr std::uint32_t kRate = 44100, kFrames = 44100, kBytes = kFrames * 4;
    auto wav = std::make_shared<std::vector<std::uint8_t>>();
    wav->reserve(44 + kBytes);
    for (char ch : std::string_view("RIFF")) {
        wav->push_back(static_cast<std::uint8_t>(ch));
    }
    put32(*wav, 36 + kBytes);
    for (char ch : std::string_view("WAVEfmt ")) {
        wav->push_back(static_cast<std::uint8_t>(ch));
    }
    put32(*wav, 16);
    put16(*wav, 1);
    put16(*wav, 2);
    put32(*wav, kRate);
    put32(*wav, kRate * 4);
    put16(*wav, 4);
    put16(*wav, 16);
    for (char ch : std::string_view("data")) {
        wav->push_back(static_cast<std::uint8_t>(ch));
    }
    put32(*wav, kBytes);
    for (std::uint32_t i = 0; i < kFrames; ++i) {
        const double v = 0.5 * std::sin(2 * std::numbers::pi * 1000.0 * i / kRate);
        const auto s =
            static_cast<std::uint16_t>(static_cast<std::int16_t>(std::lround(v * 32767)));
        put16(*wav, s);
        put16(*wav, s);
    }
    return wav;
}

}  // namespace

void playStudioTone(core::Console& c) {
    auto image = toneImage();
    const std::uint64_t size = image->size();
    const audio::Handle h =
        c.engine().streamCreateMemory(std::move(image), 0, size, audio::kStreamAutoFree);
    if (h != 0) {
        c.engine().channelPlay(h, false);
    }
}

}  // namespace tw::broadcast
