#pragma once
// The 44-byte header of a RIFF WAVE file of 16-bit PCM, for the files and images the console
// writes (the simulator's recording of the mix, the studio tone).
//
// Thread contract: a pure function, any thread.

#include <cstdint>
#include <string>

namespace tw::audio {

inline std::string pcm16WavHeader(std::uint32_t rate, std::uint16_t channels,
                                  std::uint32_t dataBytes) {
    std::string h;
    const auto put = [&h](std::uint32_t v, int bytes) {
        for (int i = 0; i < bytes; ++i) {
            h += static_cast<char>((v >> (8 * i)) & 0xFF);
        }
    };
    h += "RIFF";
    put(36 + dataBytes, 4);
    h += "WAVEfmt ";
    put(16, 4);
    put(1, 2);  // PCM
    put(channels, 2);
    put(rate, 4);
    put(rate * channels * 2u, 4);
    put(channels * 2u, 2);
    put(16, 2);
    h += "data";
    put(dataBytes, 4);
    return h;
}

}  // namespace tw::audio
