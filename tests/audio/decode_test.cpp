// Decoding streams: exact lengths, sample-accurate seeking, WAV files and memory images.

#include <algorithm>
#include <cmath>
#include <cstring>

#include "tests/audio/audio_fixtures.h"

namespace tw::audio::test {
namespace {

// Reads a whole decoding stream through channelGetData.
std::vector<std::int16_t> readAll(Engine& engine, Handle h) {
    std::vector<std::int16_t> all;
    std::vector<std::int16_t> block(4096);
    for (;;) {
        const std::int64_t got = engine.channelGetData(h, block.data(), 4096 * 2);
        if (got <= 0) {
            EXPECT_EQ(got, 0);
            break;
        }
        all.insert(all.end(), block.begin(), block.begin() + got / 2);
    }
    return all;
}

struct LengthCase {
    const char* name;
    int rate;
    int channels;
    const char* lameOptions;
};

class AudioDecodeLengthTest : public OfflineEngineTest,
                              public ::testing::WithParamInterface<LengthCase> {};

TEST_P(AudioDecodeLengthTest, LengthEqualsSourceSampleCount) {
    const LengthCase& c = GetParam();
    // Not a multiple of the 1152-sample MPEG frame, so that padding must be taken off exactly.
    const std::size_t frames = static_cast<std::size_t>(c.rate) * 3 + 777;
    writeWav(dir / "tone.wav", sine(c.rate, c.channels, 440.0, 0.5, frames));
    encodeMp3(dir / "tone.wav", dir / "tone.mp3", c.lameOptions);
    const Handle h = engine.streamCreateFile((dir / "tone.mp3").string(), 0, 0, kStreamDecode);
    ASSERT_NE(h, 0u) << engine.errorGetCode();
    ChannelInfo info;
    ASSERT_TRUE(engine.channelGetInfo(h, info));
    EXPECT_EQ(info.freq, static_cast<std::uint32_t>(c.rate));
    EXPECT_EQ(info.chans, static_cast<std::uint32_t>(c.channels));
    const std::int64_t bytesPerFrame = 2 * c.channels;
    EXPECT_EQ(engine.channelGetLength(h), static_cast<std::int64_t>(frames) * bytesPerFrame);
    // What is decoded agrees with the length that is reported.
    EXPECT_EQ(readAll(engine, h).size(), frames * static_cast<std::size_t>(c.channels));
}

INSTANTIATE_TEST_SUITE_P(
    Mp3, AudioDecodeLengthTest,
    ::testing::Values(LengthCase{"Cbr", 44100, 2, "-b 128 --cbr"},
                      LengthCase{"Vbr", 44100, 2, "-V 4"},
                      LengthCase{"GaplessAbr", 44100, 2, "--abr 96 --resample 44.1"},
                      LengthCase{"Mpeg2Mono", 22050, 1, "-b 64 -m m --resample 22.05"},
                      LengthCase{"Rate32k", 32000, 2, "-b 128 --resample 32"},
                      LengthCase{"Rate48k", 48000, 1, "-b 96 -m m --resample 48"}),
    [](const auto& info) { return std::string(info.param.name); });

TEST_F(OfflineEngineTest, AudioDecodeUntaggedMp3LengthMatchesWhatIsDecoded) {
    // Without the LAME tag nothing tells the encoder's padding: the length is found by a scan and
    // must agree with the samples the decoder then gives.
    writeWav(dir / "tone.wav", sine(44100, 2, 440.0, 0.5, 44100 + 999));
    encodeMp3(dir / "tone.wav", dir / "untagged.mp3", "-b 128 -t");
    const Handle h = engine.streamCreateFile((dir / "untagged.mp3").string(), 0, 0, kStreamDecode);
    ASSERT_NE(h, 0u);
    const std::int64_t length = engine.channelGetLength(h);
    EXPECT_GE(length, (44100 + 999) * 4);
    EXPECT_EQ(static_cast<std::int64_t>(readAll(engine, h).size()) * 2, length);
}

TEST_F(OfflineEngineTest, AudioDecodeMp3InsideALargerFile) {
    const std::size_t frames = 44100 + 555;
    writeWav(dir / "tone.wav", sine(44100, 2, 440.0, 0.5, frames));
    encodeMp3(dir / "tone.wav", dir / "tone.mp3", "-b 128");
    const std::string mp3 = tw::test::readFile(dir / "tone.mp3");
    // Someone else's bytes before and after the MP3: only the window given is the stream.
    tw::test::writeFile(dir / "bundle.bin",
                        std::string(1000, '\x7f') + mp3 + std::string(3000, '\xff'));
    const Handle h =
        engine.streamCreateFile((dir / "bundle.bin").string(), 1000, mp3.size(), kStreamDecode);
    ASSERT_NE(h, 0u) << engine.errorGetCode();
    EXPECT_EQ(engine.channelGetLength(h), static_cast<std::int64_t>(frames) * 4);
    EXPECT_EQ(readAll(engine, h).size(), frames * 2);
}

TEST_F(OfflineEngineTest, AudioDecodeWavLengthAndData) {
    const Pcm pcm = ramp(32000, 1, 12345);
    const Handle h = wavStream(pcm, "ramp.wav");
    EXPECT_EQ(engine.channelGetLength(h), 12345 * 2);
    EXPECT_EQ(readAll(engine, h), pcm.samples);
    EXPECT_EQ(engine.channelIsActive(h), kStopped);  // a decoding stream stops at its end
}

TEST_F(OfflineEngineTest, AudioDecodeReadingToTheEndFiresTheEndSyncOnce) {
    const Handle h = wavStream(ramp(44100, 2, 3000), "ramp.wav");
    int ends = 0;
    engine.channelSetSync(h, kSyncEnd, 0, [&](Handle, Handle, std::uint32_t) { ++ends; });
    std::vector<std::int16_t> block(2000 * 2);
    EXPECT_EQ(engine.channelGetData(h, block.data(), 2000 * 4), 2000 * 4);
    EXPECT_EQ(engine.channelIsActive(h), kPlaying);
    EXPECT_EQ(ends, 0);
    EXPECT_EQ(engine.channelGetData(h, block.data(), 2000 * 4), 1000 * 4);
    EXPECT_EQ(ends, 1);
    EXPECT_EQ(engine.channelIsActive(h), kStopped);
    EXPECT_EQ(engine.channelGetData(h, block.data(), 2000 * 4), 0);
    EXPECT_EQ(ends, 1);
}

TEST_F(OfflineEngineTest, AudioDecodeMemoryImageWithOffset) {
    const Pcm pcm = ramp(44100, 2, 5000);
    auto image = wavImage(pcm);
    // The console hands over a block that holds the RIFF image after some bytes of its own.
    image.insert(image.begin(), 100, 0xAB);
    auto data = std::make_shared<const std::vector<std::uint8_t>>(std::move(image));
    const Handle h = engine.streamCreateMemory(data, 100, 0, kStreamDecode);
    ASSERT_NE(h, 0u) << engine.errorGetCode();
    EXPECT_EQ(engine.channelGetLength(h), 5000 * 4);
    EXPECT_EQ(readAll(engine, h), pcm.samples);
}

TEST_F(OfflineEngineTest, AudioDecodeRejectsWhatIsNotAudio) {
    tw::test::writeFile(dir / "text.mp3", std::string(5000, 'x'));
    EXPECT_EQ(engine.streamCreateFile((dir / "text.mp3").string(), 0, 0, kStreamDecode), 0u);
    EXPECT_NE(engine.errorGetCode(), kOk);
    EXPECT_EQ(engine.streamCreateFile((dir / "missing.mp3").string(), 0, 0, kStreamDecode), 0u);
    EXPECT_EQ(engine.errorGetCode(), kErrorFileOpen);
}

TEST_F(OfflineEngineTest, AudioDecodeWavSeekLandsOnRequestedFrame) {
    const Handle h = wavStream(ramp(44100, 2, 40000), "ramp.wav");
    for (std::int64_t frame : {30001, 7, 19999, 0}) {
        ASSERT_TRUE(engine.channelSetPosition(h, static_cast<std::uint64_t>(frame) * 4));
        EXPECT_EQ(engine.channelGetPosition(h), frame * 4);
        std::int16_t got[2] = {};
        ASSERT_EQ(engine.channelGetData(h, got, 4), 4);
        EXPECT_EQ(got[0], static_cast<std::int16_t>(frame));
    }
    EXPECT_FALSE(engine.channelSetPosition(h, 40001ull * 4));
}

TEST_F(OfflineEngineTest, AudioDecodeMp3SeekLandsOnRequestedFrame) {
    const std::size_t frames = 44100 * 4 + 321;
    // A chirp: no two stretches of it look alike, so a misplaced seek cannot match by chance.
    Pcm pcm{44100, 2, {}};
    for (std::size_t i = 0; i < frames; ++i) {
        const double t = static_cast<double>(i) / 44100.0;
        const auto v = static_cast<std::int16_t>(12000 * std::sin(2 * M_PI * (200 + 300 * t) * t));
        pcm.samples.push_back(v);
        pcm.samples.push_back(v);
    }
    writeWav(dir / "chirp.wav", pcm);
    encodeMp3(dir / "chirp.wav", dir / "chirp.mp3", "-b 192");
    const std::string path = (dir / "chirp.mp3").string();
    const Handle whole = engine.streamCreateFile(path, 0, 0, kStreamDecode);
    const std::vector<std::int16_t> reference = readAll(engine, whole);
    ASSERT_EQ(reference.size(), frames * 2);

    const Handle h = engine.streamCreateFile(path, 0, 0, kStreamDecode);
    for (std::size_t frame :
         {std::size_t{100000}, std::size_t{1153}, std::size_t{44100 * 3 + 17}}) {
        ASSERT_TRUE(engine.channelSetPosition(h, frame * 4));
        std::vector<std::int16_t> got(2000 * 2);
        ASSERT_EQ(engine.channelGetData(h, got.data(), 2000 * 4), 2000 * 4);
        // The decoded block must line up with the reference at offset 0 and nowhere nearby.
        auto error = [&](long shift) {
            double e = 0;
            for (std::size_t i = 100; i < 1900; ++i) {
                const double d = got[2 * i] - reference[2 * (frame + i + shift)];
                e += d * d;
            }
            return e;
        };
        const double atZero = error(0);
        for (long shift : {-2L, -1L, 1L, 2L}) {
            EXPECT_LT(atZero * 100, error(shift)) << "frame " << frame << " shift " << shift;
        }
        EXPECT_LT(std::sqrt(atZero / 1800), 8.0) << "frame " << frame;
    }
}

// The samples after a seek do not depend on how far the stream had been read before it (the
// read-ahead reads as far as it gets): the same every time, down to the last bit.
TEST_F(OfflineEngineTest, AudioDecodeMp3SeekGivesTheSameSamplesWhereverTheStreamWas) {
    writeWav(dir / "tone.wav", sine(22050, 1, 440.0, 0.5, 22050 * 14));
    encodeMp3(dir / "tone.wav", dir / "tone.mp3", "--quiet -m m -b 48");
    const std::string path = (dir / "tone.mp3").string();
    const std::uint64_t target = 22050 * 19 / 2 * 2;  // 9.5 s, in bytes of 16-bit mono
    auto afterSeek = [&](std::uint32_t readBefore) {
        const Handle h = engine.streamCreateFile(path, 0, 0, kStreamDecode);
        std::vector<std::int16_t> skip(readBefore / 2);
        EXPECT_EQ(engine.channelGetData(h, skip.data(), readBefore),
                  static_cast<std::int64_t>(readBefore));
        EXPECT_TRUE(engine.channelSetPosition(h, target));
        std::vector<std::int16_t> got(22050);
        EXPECT_EQ(engine.channelGetData(h, got.data(), 22050 * 2), 22050 * 2);
        engine.streamFree(h);
        return got;
    };
    const std::vector<std::int16_t> fromStart = afterSeek(2);
    for (const std::uint32_t seconds : {1u, 5u, 8u, 9u}) {
        EXPECT_TRUE(afterSeek(seconds * 22050 * 2) == fromStart) << seconds << " s read before";
    }
}

TEST_F(OfflineEngineTest, AudioDecodeSeekInTheMixLandsOnRequestedFrame) {
    const Handle h = wavStream(ramp(44100, 2, 44100), "ramp.wav");
    ASSERT_TRUE(engine.mixerAddChannel(mixer, h, 0));
    render(1000);
    ASSERT_TRUE(engine.channelSetPosition(h, 25000ull * 4));
    EXPECT_EQ(engine.channelGetPosition(h), 25000 * 4);
    const auto out = render(10);
    for (int i = 0; i < 10; ++i) {
        EXPECT_FLOAT_EQ(out[2 * i] * 32768.0f, static_cast<float>(25000 + i));
    }
    EXPECT_EQ(engine.channelGetPosition(h), 25010 * 4);
}

TEST_F(OfflineEngineTest, AudioDecodeBytesAndSecondsFollowTheSourceFormat) {
    const Handle h = wavStream(ramp(22050, 1, 22050), "mono.wav");
    EXPECT_DOUBLE_EQ(engine.channelBytes2Seconds(h, 22050), 0.5);
    EXPECT_EQ(engine.channelSeconds2Bytes(h, 0.25), 11024);
    EXPECT_DOUBLE_EQ(engine.channelBytes2Seconds(mixer, 176400), 1.0);
}

}  // namespace
}  // namespace tw::audio::test
