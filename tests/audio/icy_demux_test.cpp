// The ICY metadata taken out of a stream address's body, whatever pieces the network cuts it in.

#include "audio/icy_demux.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/audio/icy_server.h"

namespace tw::audio::test {
namespace {

// Audio that names each of its bytes, so that a byte lost, doubled or taken from a block shows.
std::string audioBytes(std::size_t n, std::size_t from) {
    std::string s;
    for (std::size_t i = 0; i < n; ++i) {
        s.push_back(static_cast<char>('a' + (from + i) % 26));
    }
    return s;
}

// A body with the interval's audio between the given blocks, and the audio alone.
struct Body {
    std::string bytes;
    std::string audio;
};

Body bodyWith(std::size_t interval, const std::vector<std::string>& blocks) {
    Body b;
    for (const std::string& block : blocks) {
        const std::string audio = audioBytes(interval, b.audio.size());
        b.audio += audio;
        b.bytes += audio + block;
    }
    const std::string tail = audioBytes(interval / 2, b.audio.size());
    b.audio += tail;
    b.bytes += tail;
    return b;
}

IcyDemux demuxWithInterval(std::size_t interval) {
    IcyDemux d;
    d.headerLine("HTTP/1.1 200 OK\r\n");
    d.headerLine("Content-Type: audio/mpeg\r\n");
    d.headerLine("icy-metaint: " + std::to_string(interval) + "\r\n");
    return d;
}

// The blocks of the tests: a title, an empty block, the largest block there can be with a title
// that fills it to its end and no terminator, a block without a title, and a title with an
// apostrophe inside.
std::vector<std::string> testBlocks() {
    std::string longest = "StreamTitle='" + std::string(IcyDemux::kMaxBlock, 'x');
    longest.resize(IcyDemux::kMaxBlock);
    return {icyBlock("StreamTitle='First song';StreamUrl='http://example.invalid/';"),
            std::string(1, '\0'), icyBlock(longest), icyBlock("StreamUrl='nothing';"),
            icyBlock("StreamTitle='Guns N' Roses - Patience';")};
}

TEST(IcyDemuxTest, BlocksAreTakenOutAndTheLatestTitleIsKept) {
    const auto blocks = testBlocks();
    ASSERT_EQ(blocks[2].size(), 1 + IcyDemux::kMaxBlock);
    ASSERT_EQ(static_cast<unsigned char>(blocks[2][0]), 255);
    const Body body = bodyWith(37, blocks);
    IcyDemux d = demuxWithInterval(37);
    EXPECT_EQ(d.interval(), 37u);
    std::string audio;
    d.feed(body.bytes, audio);
    EXPECT_EQ(audio, body.audio);
    EXPECT_EQ(d.takeTitle(), "Guns N' Roses - Patience");
    EXPECT_EQ(d.takeTitle(), std::nullopt);  // once only
}

TEST(IcyDemuxTest, EveryTitleComesInTurnAsItsBlockEnds) {
    const auto blocks = testBlocks();
    const std::string longTitle(IcyDemux::kMaxBlock - 13, 'x');
    const std::vector<std::optional<std::string>> expected = {
        "First song", std::nullopt, longTitle, std::nullopt, "Guns N' Roses - Patience"};
    IcyDemux d = demuxWithInterval(16);
    std::string audio;
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        d.feed(audioBytes(16, 0), audio);
        EXPECT_EQ(d.takeTitle(), std::nullopt) << "before block " << i;
        d.feed(blocks[i], audio);
        EXPECT_EQ(d.takeTitle(), expected[i]) << "block " << i;
    }
    EXPECT_EQ(audio.size(), 16 * blocks.size());
}

TEST(IcyDemuxTest, ACutAtAnyByteGivesTheSameAudioAndTitle) {
    const Body body = bodyWith(23, testBlocks());
    for (std::size_t cut = 0; cut <= body.bytes.size(); ++cut) {
        IcyDemux d = demuxWithInterval(23);
        std::string audio;
        d.feed(std::string_view(body.bytes).substr(0, cut), audio);
        d.takeTitle();
        d.feed(std::string_view(body.bytes).substr(cut), audio);
        ASSERT_EQ(audio, body.audio) << "cut at " << cut;
        // The last block is the last title; a cut after it leaves it to the first half.
        const auto title = d.takeTitle();
        const std::size_t lastBlockEnd = body.bytes.size() - 23 / 2;
        if (cut < lastBlockEnd) {
            ASSERT_EQ(title, "Guns N' Roses - Patience") << "cut at " << cut;
        } else {
            ASSERT_EQ(title, std::nullopt) << "cut at " << cut;
        }
    }
}

TEST(IcyDemuxTest, ByteByByteGivesTheSameAudioAndTitle) {
    const Body body = bodyWith(1, testBlocks());
    IcyDemux d = demuxWithInterval(1);
    std::string audio;
    for (char c : body.bytes) {
        d.feed(std::string_view(&c, 1), audio);
    }
    EXPECT_EQ(audio, body.audio);
    EXPECT_EQ(d.takeTitle(), "Guns N' Roses - Patience");
}

TEST(IcyDemuxTest, WithoutAnIntervalTheWholeBodyIsAudio) {
    const Body body = bodyWith(10, testBlocks());
    IcyDemux d;
    d.headerLine("icy-name: Test\r\n");
    std::string audio;
    d.feed(body.bytes, audio);
    EXPECT_EQ(audio, body.bytes);
    EXPECT_EQ(d.takeTitle(), std::nullopt);
}

TEST(IcyDemuxTest, TheIntervalHeaderIsReadInAnyCaseAndANewResponseForgetsIt) {
    IcyDemux d;
    d.headerLine("ICY-METAINT:8192\r\n");
    EXPECT_EQ(d.interval(), 8192u);
    d.headerLine("Icy-MetaInt:  16000 \r\n");
    EXPECT_EQ(d.interval(), 16000u);
    d.headerLine("icy-metaint: lots\r\n");
    EXPECT_EQ(d.interval(), 0u);
    d.headerLine("icy-metaint: 99999999999999999999999999\r\n");
    EXPECT_EQ(d.interval(), 0u);
    d.headerLine("icy-metaint: 4000");
    EXPECT_EQ(d.interval(), 4000u);
    d.headerLine("HTTP/1.1 200 OK\r\n");  // the answer after a redirect
    EXPECT_EQ(d.interval(), 0u);
}

TEST(IcyDemuxTest, HeaderValuesAreFoundByNameInAnyCase) {
    EXPECT_EQ(headerValue("Content-Type: audio/aacp\r\n", "content-type"), "audio/aacp");
    EXPECT_EQ(headerValue("CONTENT-TYPE:audio/mpeg", "content-type"), "audio/mpeg");
    EXPECT_EQ(headerValue("content-type:\r\n", "content-type"), "");
    EXPECT_EQ(headerValue("content-length: 5\r\n", "content-type"), std::nullopt);
    EXPECT_EQ(headerValue("ICY 200 OK\r\n", "content-type"), std::nullopt);
    EXPECT_EQ(headerValue("\r\n", "content-type"), std::nullopt);
    EXPECT_TRUE(isStatusLine("ICY 200 OK\r\n"));
    EXPECT_TRUE(isStatusLine("HTTP/1.1 302 Found\r\n"));
    EXPECT_FALSE(isStatusLine("icy-br: 128\r\n"));
}

TEST(IcyDemuxTest, TheTitleEndsAtItsTerminatorOrAtTheEndOfTheBlock) {
    using namespace std::string_literals;
    EXPECT_EQ(streamTitleOf("StreamTitle='A - B';StreamUrl='x';\0\0\0"s), "A - B");
    EXPECT_EQ(streamTitleOf("StreamTitle='No end\0\0\0\0"s), "No end");
    EXPECT_EQ(streamTitleOf("StreamTitle='';"), "");
    EXPECT_EQ(streamTitleOf("StreamTitle='It's';"), "It's");
    EXPECT_EQ(streamTitleOf("StreamUrl='x';\0"s), std::nullopt);
    EXPECT_EQ(streamTitleOf(""), std::nullopt);
}

}  // namespace
}  // namespace tw::audio::test
