// The MPEG audio figures of the full read.

#include <gtest/gtest.h>

#include "tags/id3_tag.h"
#include "tags/mpeg_header.h"
#include "tests/tags/tag_test_util.h"
#include "tests/testlib/temp_dir.h"

namespace tw::tags {
namespace {

using test::id3Tag;
using test::mpegFrame;
using test::mpegFrames;
using test::textFrame;

std::string be32(std::uint32_t v) {
    return {static_cast<char>(v >> 24), static_cast<char>(v >> 16), static_cast<char>(v >> 8),
            static_cast<char>(v)};
}

// A first frame carrying a Xing or Info block behind the 32 bytes of stereo side information.
std::string vbrFrame(const std::string& id, std::uint8_t flags, std::uint32_t frames,
                     std::uint32_t bytes) {
    std::string f = mpegFrame();
    std::string block = id + be32(flags);
    if (flags & 1) {
        block += be32(frames);
    }
    if (flags & 2) {
        block += be32(bytes);
    }
    f.replace(36, block.size(), block);
    return f;
}

class MpegScanTest : public ::testing::Test {
  protected:
    clsID3& read(const std::string& bytes) {
        auto p = dir_ / "t.mp3";
        test::writeFile(p, bytes);
        tag_.filename(p.string());
        tag_.RefreshID3Tags();
        return tag_;
    }
    test::TempDir dir_;
    clsID3 tag_;
};

TEST_F(MpegScanTest, ConstantBitrateFrameBehindTheTag) {
    std::string tag = id3Tag(3, textFrame("TIT2", "T", 3));
    auto& t = read(tag + mpegFrames(10));
    EXPECT_EQ(t.title(), "T");
    EXPECT_EQ(t.audioState().audioStart, static_cast<int>(tag.size()) + 1 + 4);
    EXPECT_EQ(t.Layer(), 1);
    EXPECT_EQ(t.MPEGVersion(), 2);
    EXPECT_EQ(t.ChannelMode(), 0);
    EXPECT_EQ(t.Padding(), 0);
    EXPECT_EQ(t.Encoding(), 0);
    EXPECT_EQ(t.SamplingRateFrequency(), 44100);
    EXPECT_EQ(t.FrameSamples(), 1152);
    EXPECT_DOUBLE_EQ(t.bitrate(), 128000);
    EXPECT_DOUBLE_EQ(t.FrameSize(), 1152 / 8.0 * 128000 / 44100);
    EXPECT_DOUBLE_EQ(t.Length(), (10 * 417 - 5) / 128000.0 * 8);
}

TEST_F(MpegScanTest, InfoBlockFillsCountsButStaysConstant) {
    auto& t = read(vbrFrame("Info", 3, 1000, 417000) + mpegFrames(5));
    EXPECT_EQ(t.audioState().vbrFrames, 1000);
    EXPECT_EQ(t.audioState().vbrBytes, 417000);
    EXPECT_EQ(t.Encoding(), 0);
    const int audioSize = 6 * 417 - 1 - 4 - 16;  // less the block's 16 bytes
    EXPECT_EQ(t.audioState().audioSize, audioSize);
    EXPECT_DOUBLE_EQ(t.Length(), audioSize / 128000.0 * 8);
}

TEST_F(MpegScanTest, XingBlockMakesItVariable) {
    auto& t = read(vbrFrame("Xing", 3, 1000, 400000) + mpegFrames(5));
    EXPECT_EQ(t.Encoding(), 1);
    EXPECT_DOUBLE_EQ(t.FrameSize(), 400.0);
    EXPECT_DOUBLE_EQ(t.Length(), 1000.0 * 1152 / 44100);
    EXPECT_DOUBLE_EQ(t.bitrate(), 44100 * 400.0 / 144);
}

TEST_F(MpegScanTest, XingWithoutFramesBitGivesZeroFiguresAndSamplingRateBitrate) {
    auto& t = read(vbrFrame("Xing", 2, 0, 400000) + mpegFrames(5));
    EXPECT_EQ(t.audioState().vbrFrames, 0);
    EXPECT_EQ(t.audioState().vbrBytes, 400000);
    EXPECT_EQ(t.Encoding(), 1);
    EXPECT_EQ(t.FrameSize(), 0);
    EXPECT_EQ(t.Length(), 0);
    EXPECT_DOUBLE_EQ(t.bitrate(), t.SamplingRateFrequency() * t.FrameSize() / 144);
}

TEST_F(MpegScanTest, VbriBlockAt32BytesBehindTheHeader) {
    std::string f = mpegFrame();
    std::string vbri = "VBRI" + std::string("\0\x01\0\0\0\x4B", 6) + be32(500000) + be32(2000) +
                       std::string("\0\x0A\0\x01\0\x02\0\x01", 8);
    f.replace(36, vbri.size(), vbri);
    auto& t = read(f + mpegFrames(3));
    EXPECT_EQ(t.Encoding(), 1);
    EXPECT_EQ(t.audioState().vbrQuality, 75);
    EXPECT_EQ(t.audioState().vbrBytes, 500000);
    EXPECT_EQ(t.audioState().vbrFrames, 2000);
    EXPECT_EQ(t.audioState().vbriEntries, 10);
    EXPECT_EQ(t.audioState().vbriEntrySize, 2);
    EXPECT_EQ(t.audioState().audioSize, 4 * 417 - 5 - 26 - 20);
    EXPECT_DOUBLE_EQ(t.Length(), 2000.0 * 1152 / 44100);
}

TEST_F(MpegScanTest, ReservedEmphasisRefusesTheFrame) {
    std::string bad = mpegFrame();
    bad[3] = '\x02';
    std::string junk(10, 'j');
    auto& t = read(bad + junk + mpegFrames(2));
    EXPECT_EQ(t.audioState().audioStart, 417 + 10 + 1 + 4);
}

TEST_F(MpegScanTest, JunkBeforeTheAudioIsPassedOver) {
    std::string junk("\xFF\x00\x12\xFF\xE0\x00\x00 garbage!", 16);
    auto& t = read(junk + mpegFrames(3));
    EXPECT_EQ(t.audioState().audioStart, static_cast<int>(junk.size()) + 1 + 4);
}

TEST_F(MpegScanTest, RefusedCandidateSkipsThreeBytesEvenOverARealHeader) {
    // 0xFF in front of a header reads as Layer I with bitrate index 15: refused, and the search
    // moves on 3 bytes, past the real header, to the next frame.
    auto& t = read("\xFF" + mpegFrames(2));
    EXPECT_EQ(t.audioState().audioStart, 1 + 417 + 1 + 4);
}

TEST_F(MpegScanTest, SyncByteInLastPositionOfChunkIsFound) {
    // The scan reads 20480-byte chunks from byte 1: a header whose 0xFF is the chunk's last byte.
    std::string bytes(20479, '\0');
    bytes += mpegFrames(2);
    auto& t = read(bytes);
    EXPECT_EQ(t.audioState().audioStart, 20480 + 4);
    EXPECT_EQ(t.bitrate(), 128000);
}

TEST_F(MpegScanTest, SyncByteInLastBytesOfAudioIsExaminedWithShortBuffer) {
    std::string tail = mpegFrame().substr(0, 40);
    auto& t = read(std::string(100, '\0') + tail);
    EXPECT_EQ(t.audioState().audioStart, 101 + 4);
    EXPECT_EQ(t.SamplingRateFrequency(), 44100);
}

TEST_F(MpegScanTest, NoAcceptedFrameKeepsTheLastCandidate) {
    // A lone 0xFF E2 pair: reserved version (raw 1), so refused; its bytes stay.
    auto& t = read(std::string(50, 'a') + "\xFF\xEA\x90\x00" + std::string(50, 'a'));
    EXPECT_EQ(t.audioState().audioStart, 0);
    EXPECT_EQ(t.MPEGVersion(), 1);
    EXPECT_EQ(t.SamplingRateFrequency(), -1);
}

TEST_F(MpegScanTest, MonoSideInformationMovesTheXingBlock) {
    std::string f = mpegFrame(true);
    std::string block = "Xing" + be32(1) + be32(77);
    f.replace(4 + 17, block.size(), block);
    auto& t = read(f + mpegFrames(2));
    EXPECT_EQ(t.ChannelMode(), 3);
    EXPECT_EQ(t.audioState().vbrFrames, 77);
}

TEST_F(MpegScanTest, ScanStartsBehindTheFooter) {
    std::string body = textFrame("TIT2", "T", 4);
    std::string tag = id3Tag(4, body, 0x10) + "3DI" + std::string(7, '\0');
    auto& t = read(tag + mpegFrames(2));
    EXPECT_EQ(t.audioState().audioStart, static_cast<int>(tag.size()) + 1 + 4);
}

TEST(MpegHeaderTest, FiguresOfTheRawFields) {
    AudioState a;
    a.headerBytes = {0xFD, 0xA2, 0x00};  // MPEG 1 Layer II, index 10, 44.1 kHz, padded
    EXPECT_EQ(mpeg::Layer(a), 2);
    EXPECT_EQ(mpeg::Padding(a), 1);
    EXPECT_EQ(mpeg::bitrate(a), 192000);
    a.headerBytes = {0xFF, 0x12, 0x00};  // Layer I padded: 4 bytes
    EXPECT_EQ(mpeg::Layer(a), 3);
    EXPECT_EQ(mpeg::Padding(a), 4);
    EXPECT_EQ(mpeg::FrameSamples(a), 384);
    a.headerBytes = {0xF3, 0xF0, 0x00};  // MPEG 2 Layer III, index 15
    EXPECT_EQ(mpeg::bitrate(a), -1000);
    EXPECT_EQ(mpeg::FrameSamples(a), 576);
    EXPECT_EQ(mpeg::SamplingRateFrequency(a), 22050);
    a.headerBytes = {0xE3, 0x04, 0x00};  // MPEG 2.5, index 1
    EXPECT_EQ(mpeg::MPEGVersion(a), 0);
    EXPECT_EQ(mpeg::SamplingRateFrequency(a), 12000);
    EXPECT_EQ(mpeg::bitrate(a), 0);  // index 0
}

}  // namespace
}  // namespace tw::tags
