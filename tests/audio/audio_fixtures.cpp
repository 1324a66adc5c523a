#include "tests/audio/audio_fixtures.h"

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <numbers>

namespace tw::audio::test {

Pcm sine(int rate, int channels, double hz, double amplitude, std::size_t frames) {
    Pcm p{rate, channels, {}};
    p.samples.resize(frames * static_cast<std::size_t>(channels));
    for (std::size_t i = 0; i < frames; ++i) {
        const double v = amplitude * 32767.0 *
                         std::sin(2.0 * std::numbers::pi * hz * static_cast<double>(i) / rate);
        for (int c = 0; c < channels; ++c) {
            p.samples[i * static_cast<std::size_t>(channels) + static_cast<std::size_t>(c)] =
                static_cast<std::int16_t>(std::lround(v));
        }
    }
    return p;
}

Pcm constant(int rate, std::int16_t left, std::int16_t right, std::size_t frames) {
    Pcm p{rate, 2, {}};
    for (std::size_t i = 0; i < frames; ++i) {
        p.samples.push_back(left);
        p.samples.push_back(right);
    }
    return p;
}

Pcm ramp(int rate, int channels, std::size_t frames) {
    Pcm p{rate, channels, {}};
    for (std::size_t i = 0; i < frames; ++i) {
        for (int c = 0; c < channels; ++c) {
            p.samples.push_back(static_cast<std::int16_t>(i % 32768));
        }
    }
    return p;
}

std::vector<std::uint8_t> wavImage(const Pcm& pcm) {
    std::vector<std::uint8_t> out;
    auto put32 = [&](std::uint32_t v) {
        for (int i = 0; i < 4; ++i) {
            out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
        }
    };
    auto put16 = [&](std::uint16_t v) {
        out.push_back(static_cast<std::uint8_t>(v));
        out.push_back(static_cast<std::uint8_t>(v >> 8));
    };
    auto tag = [&](const char* t) {
        for (int i = 0; i < 4; ++i) {
            out.push_back(static_cast<std::uint8_t>(t[i]));
        }
    };
    const auto dataBytes = static_cast<std::uint32_t>(pcm.samples.size() * 2);
    tag("RIFF");
    put32(36 + dataBytes);
    tag("WAVE");
    tag("fmt ");
    put32(16);
    put16(1);
    put16(static_cast<std::uint16_t>(pcm.channels));
    put32(static_cast<std::uint32_t>(pcm.rate));
    put32(static_cast<std::uint32_t>(pcm.rate * pcm.channels * 2));
    put16(static_cast<std::uint16_t>(pcm.channels * 2));
    put16(16);
    tag("data");
    put32(dataBytes);
    for (std::int16_t s : pcm.samples) {
        put16(static_cast<std::uint16_t>(s));
    }
    return out;
}

void writeWav(const std::filesystem::path& path, const Pcm& pcm) {
    const auto image = wavImage(pcm);
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(image.data()),
              static_cast<std::streamsize>(image.size()));
    ASSERT_TRUE(out.good()) << path;
}

void encodeMp3(const std::filesystem::path& wav, const std::filesystem::path& mp3,
               const std::string& options) {
    const std::string cmd =
        "lame --quiet " + options + " '" + wav.string() + "' '" + mp3.string() + "'";
    ASSERT_EQ(std::system(cmd.c_str()), 0) << cmd;
    ASSERT_TRUE(std::filesystem::exists(mp3));
}

void encodeAdts(const std::filesystem::path& wav, const std::filesystem::path& aac,
                const std::string& options) {
    const std::string cmd = "ffmpeg -loglevel quiet -nostdin -y -i '" + wav.string() +
                            "' -c:a aac " + options + " -f adts '" + aac.string() + "'";
    ASSERT_EQ(std::system(cmd.c_str()), 0) << cmd;
    ASSERT_TRUE(std::filesystem::exists(aac));
}

double rms(const std::vector<float>& stereo, int channel, std::size_t from, std::size_t to) {
    double sum = 0;
    for (std::size_t i = from; i < to; ++i) {
        const double v = stereo[2 * i + static_cast<std::size_t>(channel)];
        sum += v * v;
    }
    return std::sqrt(sum / static_cast<double>(to - from));
}

double frequency(const std::vector<float>& stereo, int channel, std::size_t from, std::size_t to,
                 double rate) {
    // Rising zero crossings, placed between samples by linear interpolation.
    double first = -1, last = -1;
    int count = 0;
    for (std::size_t i = from + 1; i < to; ++i) {
        const double a = stereo[2 * (i - 1) + static_cast<std::size_t>(channel)];
        const double b = stereo[2 * i + static_cast<std::size_t>(channel)];
        if (a < 0 && b >= 0) {
            const double t = static_cast<double>(i - 1) + a / (a - b);
            if (first < 0) {
                first = t;
            }
            last = t;
            ++count;
        }
    }
    if (count < 2) {
        return 0;
    }
    return (count - 1) * rate / (last - first);
}

double toDb(double ratio) {
    return 20.0 * std::log10(ratio);
}

void OfflineEngineTest::SetUp() {
    ASSERT_TRUE(engine.init(-1, 44100, kDeviceLatency));
    mixer = engine.mixerStreamCreate(44100, 2, 0);
    ASSERT_NE(mixer, 0u);
    ASSERT_TRUE(engine.channelPlay(mixer, false));
}

std::vector<float> OfflineEngineTest::render(std::size_t frames) {
    std::vector<float> out(frames * 2);
    EXPECT_TRUE(engine.render(frames, out.data()));
    return out;
}

std::vector<float> OfflineEngineTest::render(std::size_t frames, std::vector<float>& bus) {
    std::vector<float> out(frames * 2);
    bus.assign(frames * 2, 0.0f);
    EXPECT_TRUE(engine.render(frames, out.data(), bus.data()));
    return out;
}

Handle OfflineEngineTest::wavStream(const Pcm& pcm, const std::string& name, std::uint32_t flags) {
    const auto path = dir / name;
    writeWav(path, pcm);
    const Handle h = engine.streamCreateFile(path.string(), 0, 0, flags);
    EXPECT_NE(h, 0u) << "error " << engine.errorGetCode();
    return h;
}

}  // namespace tw::audio::test
