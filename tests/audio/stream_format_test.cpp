// What a stream address holds, told from its type or its first bytes, and AAC cut into its ADTS
// frames, from files encoded by the tests.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "audio/adts_frame.h"
#include "audio/stream_format.h"
#include "tests/audio/audio_fixtures.h"

namespace tw::audio::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes bytesOf(const std::string& s) {
    return Bytes(s.begin(), s.end());
}

// An ID3v2.4 tag of `size` bytes of content, holding bytes that look like an ADTS and an MPEG
// frame header, as a picture or a text may.
Bytes id3Tag(std::size_t size) {
    Bytes tag = {'I', 'D', '3', 4, 0, 0};
    for (int shift : {21, 14, 7, 0}) {
        tag.push_back(static_cast<std::uint8_t>((size >> shift) & 0x7F));
    }
    for (std::size_t i = 0; i < size; ++i) {
        static const std::uint8_t kLookalikes[] = {0xFF, 0xF1, 0x50, 0x80, 0x02, 0x1F, 0xFC,
                                                   0xFF, 0xFB, 0x90, 0x64, 'x',  'y',  'z'};
        tag.push_back(kLookalikes[i % sizeof kLookalikes]);
    }
    return tag;
}

class StreamFormatTest : public ::testing::Test {
  protected:
    // A 0.5 s tone as ADTS and as MP3, made once for all the tests of the suite.
    static void SetUpTestSuite() {
        dir_ = new tw::test::TempDir;
        writeWav(*dir_ / "tone.wav", sine(44100, 2, 997.0, 0.5, 22050));
        encodeAdts(*dir_ / "tone.wav", *dir_ / "tone.aac", "-b:a 128k");
        encodeMp3(*dir_ / "tone.wav", *dir_ / "tone.mp3", "-b 128");
        aac_ = new Bytes(bytesOf(tw::test::readFile(*dir_ / "tone.aac")));
        mp3_ = new Bytes(bytesOf(tw::test::readFile(*dir_ / "tone.mp3")));
    }
    static void TearDownTestSuite() {
        delete aac_;
        delete mp3_;
        delete dir_;
    }

    // The frames of the file by walking its headers one after the other.
    static std::vector<Bytes> walkFrames(const Bytes& data) {
        std::vector<Bytes> frames;
        std::size_t pos = 0;
        while (auto h = parseAdtsHeader(data.data() + pos, data.size() - pos)) {
            if (pos + h->frameBytes > data.size()) {
                break;
            }
            frames.emplace_back(data.begin() + static_cast<std::ptrdiff_t>(pos),
                                data.begin() + static_cast<std::ptrdiff_t>(pos + h->frameBytes));
            pos += h->frameBytes;
        }
        return frames;
    }

    // What the splitter gives for the data cut at `cut` (and finished after it).
    static std::vector<Bytes> split(const Bytes& data, std::size_t cut,
                                    std::uint64_t* skipped = nullptr) {
        AdtsSplitter s;
        std::vector<Bytes> frames;
        Bytes frame;
        AdtsHeader h;
        s.push(data.data(), cut);
        while (s.next(frame, h)) {
            frames.push_back(frame);
        }
        s.push(data.data() + cut, data.size() - cut);
        s.finish();
        while (s.next(frame, h)) {
            EXPECT_EQ(frame.size(), h.frameBytes);
            frames.push_back(frame);
        }
        EXPECT_EQ(s.buffered(), 0u);
        if (skipped) {
            *skipped = s.skipped();
        }
        return frames;
    }

    static inline tw::test::TempDir* dir_ = nullptr;
    static inline Bytes* aac_ = nullptr;
    static inline Bytes* mp3_ = nullptr;
};

TEST_F(StreamFormatTest, TheEncodersHeaderReadsAsItsFormat) {
    auto h = parseAdtsHeader(aac_->data(), aac_->size());
    ASSERT_TRUE(h);
    EXPECT_EQ(h->profile, 1);  // AAC LC
    EXPECT_EQ(h->rateIndex, 4);
    EXPECT_EQ(h->sampleRate, 44100);
    EXPECT_EQ(h->channelConfig, 2);
    EXPECT_FALSE(h->hasCrc);
    EXPECT_EQ(h->headerBytes, 7u);
    EXPECT_EQ(h->rawBlocks, 1);
    // Half a second is about 22 frames of 1024 samples, and they fill the file exactly.
    const auto frames = walkFrames(*aac_);
    EXPECT_GE(frames.size(), 22u);
    EXPECT_LE(frames.size(), 26u);
    std::size_t total = 0;
    for (const Bytes& f : frames) {
        total += f.size();
    }
    EXPECT_EQ(total, aac_->size());
}

TEST_F(StreamFormatTest, HeadersThatCannotBeAreRefused) {
    Bytes h(aac_->begin(), aac_->begin() + 7);
    EXPECT_TRUE(parseAdtsHeader(h.data(), 7));
    EXPECT_FALSE(parseAdtsHeader(h.data(), 6));
    Bytes layer = h;
    layer[1] |= 0x02;  // layer bits 01: an MPEG audio header, not ADTS
    EXPECT_FALSE(parseAdtsHeader(layer.data(), 7));
    Bytes rate = h;
    rate[2] = static_cast<std::uint8_t>((rate[2] & ~0x3C) | (13 << 2));
    EXPECT_FALSE(parseAdtsHeader(rate.data(), 7));
    Bytes shortFrame = h;  // a length of 7: no room for any audio
    shortFrame[3] &= 0xFC;
    shortFrame[4] = 0;
    shortFrame[5] = static_cast<std::uint8_t>((shortFrame[5] & 0x1F) | (7 << 5));
    EXPECT_FALSE(parseAdtsHeader(shortFrame.data(), 7));
}

TEST_F(StreamFormatTest, FramesComeOutWholeWhereverTheBytesAreCut) {
    const auto expected = walkFrames(*aac_);
    for (std::size_t cut = 0; cut <= aac_->size(); cut += 7) {
        ASSERT_EQ(split(*aac_, cut), expected) << "cut at " << cut;
    }
}

TEST_F(StreamFormatTest, ByteByByteGivesEveryFrame) {
    AdtsSplitter s;
    Bytes frame;
    AdtsHeader h;
    std::vector<Bytes> frames;
    for (std::uint8_t b : *aac_) {
        s.push(&b, 1);
        while (s.next(frame, h)) {
            frames.push_back(frame);
        }
    }
    // In step, each frame comes out as soon as it is whole, the last one too.
    EXPECT_EQ(frames, walkFrames(*aac_));
    s.finish();
    EXPECT_FALSE(s.next(frame, h));
    EXPECT_EQ(s.buffered(), 0u);
}

TEST_F(StreamFormatTest, TheFirstFrameWaitsForTheHeaderAfterIt) {
    const auto frames = walkFrames(*aac_);
    AdtsSplitter s;
    Bytes frame;
    AdtsHeader h;
    s.push(frames[0].data(), frames[0].size());
    EXPECT_FALSE(s.next(frame, h));
    s.push(frames[1].data(), 6);
    EXPECT_FALSE(s.next(frame, h));  // a header needs seven bytes
    s.push(frames[1].data() + 6, 1);
    ASSERT_TRUE(s.next(frame, h));
    EXPECT_EQ(frame, frames[0]);
    // A lone frame at the end of a stream is taken as it is.
    AdtsSplitter lone;
    lone.push(frames[0].data(), frames[0].size());
    EXPECT_FALSE(lone.next(frame, h));
    lone.finish();
    ASSERT_TRUE(lone.next(frame, h));
    EXPECT_EQ(frame, frames[0]);
}

TEST_F(StreamFormatTest, ATagAndNoiseBeforeTheFramesArePassedOver) {
    Bytes data = id3Tag(300);
    const std::size_t junk = data.size();
    data.insert(data.end(), aac_->begin(), aac_->end());
    std::uint64_t skipped = 0;
    EXPECT_EQ(split(data, data.size() / 2, &skipped), walkFrames(*aac_));
    EXPECT_EQ(skipped, junk);
}

TEST_F(StreamFormatTest, ADamagedFrameIsLostAndTheSplitterFindsItsStepAgain) {
    const auto frames = walkFrames(*aac_);
    Bytes data;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        Bytes f = frames[i];
        if (i == 5) {
            f[1] = 0x00;  // its header's sync is gone
        }
        data.insert(data.end(), f.begin(), f.end());
    }
    std::uint64_t skipped = 0;
    const auto got = split(data, 1000, &skipped);
    std::vector<Bytes> expected = frames;
    expected.erase(expected.begin() + 5);
    EXPECT_EQ(got, expected);
    EXPECT_EQ(skipped, frames[5].size());
}

TEST_F(StreamFormatTest, AFrameCutShortByTheEndIsDropped) {
    const auto frames = walkFrames(*aac_);
    Bytes data(aac_->begin(), aac_->end() - static_cast<std::ptrdiff_t>(frames.back().size() / 2));
    const auto got = split(data, data.size());
    EXPECT_EQ(got, std::vector<Bytes>(frames.begin(), frames.end() - 1));
}

TEST_F(StreamFormatTest, TheFirstBytesTellAacFromMp3) {
    EXPECT_EQ(sniffFormat(aac_->data(), aac_->size(), false), StreamFormat::Aac);
    EXPECT_EQ(sniffFormat(mp3_->data(), mp3_->size(), false), StreamFormat::Mp3);
    for (const Bytes* data : {aac_, mp3_}) {
        Bytes tagged = id3Tag(500);
        tagged.insert(tagged.end(), data->begin(), data->end());
        EXPECT_EQ(sniffFormat(tagged.data(), tagged.size(), false),
                  data == aac_ ? StreamFormat::Aac : StreamFormat::Mp3);
        // Within the tag nothing is decided yet, however much it looks like audio.
        EXPECT_EQ(sniffFormat(tagged.data(), 200, false), StreamFormat::Unknown);
    }
}

TEST_F(StreamFormatTest, OneFrameWaitsForTheNextUnlessTheStreamHasEnded) {
    const Bytes first = walkFrames(*aac_).front();
    EXPECT_EQ(sniffFormat(first.data(), first.size(), false), StreamFormat::Unknown);
    EXPECT_EQ(sniffFormat(first.data(), first.size(), true), StreamFormat::Aac);
    EXPECT_EQ(sniffFormat(aac_->data(), 3, false), StreamFormat::Unknown);
    const Bytes text = bytesOf("<html><body>Not found</body></html>");
    EXPECT_EQ(sniffFormat(text.data(), text.size(), true), StreamFormat::Unknown);
    EXPECT_EQ(sniffFormat(nullptr, 0, true), StreamFormat::Unknown);
}

TEST(StreamFormatTypeTest, TheContentTypeNamesTheDecoder) {
    EXPECT_EQ(formatFromContentType("audio/mpeg"), StreamFormat::Mp3);
    EXPECT_EQ(formatFromContentType("Audio/MPEG; charset=binary"), StreamFormat::Mp3);
    EXPECT_EQ(formatFromContentType("audio/aac"), StreamFormat::Aac);
    EXPECT_EQ(formatFromContentType("audio/aacp"), StreamFormat::Aac);
    EXPECT_EQ(formatFromContentType(" audio/x-aac "), StreamFormat::Aac);
    EXPECT_EQ(formatFromContentType("application/octet-stream"), StreamFormat::Unknown);
    EXPECT_EQ(formatFromContentType(""), StreamFormat::Unknown);
}

TEST(StreamFormatTypeTest, MpegFrameLengthsFollowBitrateRateAndPadding) {
    const std::uint8_t layer3[] = {0xFF, 0xFB, 0x90, 0x64};  // MPEG-1 layer III 128k 44100
    EXPECT_EQ(mpegFrameBytes(layer3, 4), 417u);
    const std::uint8_t padded[] = {0xFF, 0xFB, 0x92, 0x64};
    EXPECT_EQ(mpegFrameBytes(padded, 4), 418u);
    const std::uint8_t mpeg2[] = {0xFF, 0xF3, 0x80, 0x64};  // MPEG-2 layer III 64k 22050
    EXPECT_EQ(mpegFrameBytes(mpeg2, 4), 208u);
    const std::uint8_t layer2[] = {0xFF, 0xFD, 0xA4, 0x64};  // MPEG-1 layer II 192k 48000
    EXPECT_EQ(mpegFrameBytes(layer2, 4), 576u);
    const std::uint8_t layer1[] = {0xFF, 0xFF, 0x90, 0x64};  // MPEG-1 layer I 288k 44100
    EXPECT_EQ(mpegFrameBytes(layer1, 4), 312u);
    const std::uint8_t freeFormat[] = {0xFF, 0xFB, 0x00, 0x64};
    EXPECT_EQ(mpegFrameBytes(freeFormat, 4), 0u);
    const std::uint8_t adts[] = {0xFF, 0xF1, 0x50, 0x80};
    EXPECT_EQ(mpegFrameBytes(adts, 4), 0u);
    EXPECT_EQ(mpegFrameBytes(layer3, 3), 0u);
}

}  // namespace
}  // namespace tw::audio::test
