// The source protocols' text: server texts, handshakes, answers, and the encodings titles need.

#include "audio/cast_protocol.h"

#include <gtest/gtest.h>

#include "audio/child_process.h"

namespace tw::audio {
namespace {

TEST(CastProtocolTest, AnIcecastServerTextGivesHostPortAndMount) {
    CastTarget t;
    ASSERT_TRUE(parseServerText("radio.example:8000/live", t));
    EXPECT_EQ(t.host, "radio.example");
    EXPECT_EQ(t.port, 8000);
    EXPECT_EQ(t.mount, "/live");
    EXPECT_EQ(t.protocol, CastProtocol::Icecast2);
    EXPECT_EQ(sourcePort(t), 8000);
}

TEST(CastProtocolTest, AShoutcastServerTakesItsSourceOnThePortAbove) {
    CastTarget t;
    ASSERT_TRUE(parseServerText("10.0.0.5:8000", t));
    EXPECT_EQ(t.protocol, CastProtocol::Shoutcast1);
    EXPECT_EQ(sourcePort(t), 8001);
    ASSERT_TRUE(parseServerText("10.0.0.5:8000,1", t));
    EXPECT_EQ(t.protocol, CastProtocol::Shoutcast2);
    EXPECT_EQ(t.sid, "1");
    EXPECT_EQ(sourcePort(t), 8001);
}

TEST(CastProtocolTest, AServerTextWithoutPortTakes8000AndABadOneIsRefused) {
    CastTarget t;
    ASSERT_TRUE(parseServerText("radio.example", t));
    EXPECT_EQ(t.port, 8000);
    EXPECT_FALSE(parseServerText("Enter Sever Path", t)) << "the profile's default path";
    EXPECT_FALSE(parseServerText("host:port", t));
    EXPECT_FALSE(parseServerText("host:70000", t));
    EXPECT_FALSE(parseServerText(":8000", t));
    EXPECT_FALSE(parseServerText("", t));
    EXPECT_FALSE(parseServerText("evil\r\nX-Injected: 1/live", t)) << "no line break in a host";
    EXPECT_FALSE(parseServerText("h\xC3\xA9st:8000", t));
}

TEST(CastProtocolTest, TheIcecastHandshakeIsAnHttpPutWithTheStationsHeaders) {
    CastTarget t;
    ASSERT_TRUE(parseServerText("127.0.0.1:8000/live", t));
    StationInfo info{"hack$(me)", "audio/mpeg", "My \"Station\"", "http://x", "Jazz; rm", "Desc",
                     128,         true};
    const std::string h = sourceHandshake(t, info);
    EXPECT_EQ(h.rfind("PUT /live HTTP/1.1\r\n", 0), 0u);
    EXPECT_NE(h.find("Authorization: Basic " + base64("source:hack$(me)") + "\r\n"),
              std::string::npos);
    EXPECT_NE(h.find("Ice-Name: My \"Station\"\r\n"), std::string::npos);
    EXPECT_NE(h.find("Ice-Genre: Jazz; rm\r\n"), std::string::npos);
    EXPECT_NE(h.find("Ice-Public: 1\r\n"), std::string::npos);
    EXPECT_NE(h.find("Ice-Audio-Info: bitrate=128\r\n"), std::string::npos);
    EXPECT_TRUE(h.ends_with("\r\n\r\n"));
}

TEST(CastProtocolTest, AStationTextCannotAddAHeaderOfItsOwn) {
    CastTarget t;
    ASSERT_TRUE(parseServerText("127.0.0.1:8000", t));
    StationInfo info{"pw", "audio/mpeg", "Name\r\nicy-pub:1", "", "", "", 64, false};
    const std::string h = shoutcastHeaders(info);
    EXPECT_NE(h.find("icy-name:Nameicy-pub:1\r\n"), std::string::npos);
    EXPECT_NE(h.find("icy-pub:0\r\n"), std::string::npos);
}

TEST(CastProtocolTest, ShoutcastTwoSendsThePasswordWithItsStreamId) {
    CastTarget t;
    ASSERT_TRUE(parseServerText("127.0.0.1:8000,3", t));
    EXPECT_EQ(sourceHandshake(t, StationInfo{"secret", "audio/mpeg", "", "", "", "", 128, false}),
              "secret:#3\r\n");
    ASSERT_TRUE(parseServerText("127.0.0.1:8000", t));
    EXPECT_EQ(sourceHandshake(t, StationInfo{"secret", "audio/mpeg", "", "", "", "", 128, false}),
              "secret\r\n");
}

TEST(CastProtocolTest, TheServersAnswersAreReadAsTheyCome) {
    EXPECT_EQ(readSourceAnswer(CastProtocol::Shoutcast1, "OK"), SourceAnswer::NeedMore);
    EXPECT_EQ(readSourceAnswer(CastProtocol::Shoutcast1, "OK2\r\nicy-caps:11\r\n"),
              SourceAnswer::Accepted);
    EXPECT_EQ(readSourceAnswer(CastProtocol::Shoutcast1, "invalid password\r\n"),
              SourceAnswer::Refused);
    EXPECT_EQ(readSourceAnswer(CastProtocol::Icecast2, "HTTP/1.0 200 OK\r\n"),
              SourceAnswer::Accepted);
    EXPECT_EQ(readSourceAnswer(CastProtocol::Icecast2, "HTTP/1.1 100 Continue\r\n"),
              SourceAnswer::Accepted);
    EXPECT_EQ(readSourceAnswer(CastProtocol::Icecast2, "HTTP/1.0 401 Authentication Required\r\n"),
              SourceAnswer::Refused);
    EXPECT_EQ(readSourceAnswer(CastProtocol::Icecast2, "HTTP/1.0\r\n"), SourceAnswer::Refused);
    EXPECT_EQ(readSourceAnswer(CastProtocol::Icecast1, "OK\n"), SourceAnswer::Accepted);
    EXPECT_EQ(readSourceAnswer(CastProtocol::Icecast2, std::string(5000, 'x')),
              SourceAnswer::Refused);
}

TEST(CastProtocolTest, Base64AndUrlEncodingFollowTheirStandards) {
    EXPECT_EQ(base64(""), "");
    EXPECT_EQ(base64("f"), "Zg==");
    EXPECT_EQ(base64("fo"), "Zm8=");
    EXPECT_EQ(base64("foobar"), "Zm9vYmFy");
    EXPECT_EQ(urlEncode("A b&c=d/é~"), "A%20b%26c%3Dd%2F%C3%A9~");
}

TEST(CastProtocolTest, TitlesArriveReadableFromUtf8AndFromLatin1) {
    EXPECT_EQ(asUtf8("Caf\xC3\xA9"), "Caf\xC3\xA9");
    EXPECT_EQ(asUtf8("Caf\xE9"), "Caf\xC3\xA9") << "Latin-1 text is converted";
    EXPECT_EQ(asLatin1("Caf\xC3\xA9"), "Caf\xE9");
    EXPECT_EQ(asLatin1("Caf\xE9"), "Caf\xE9");
    EXPECT_EQ(asLatin1("\xE2\x82\xAC 5"), "? 5") << "what Latin-1 cannot hold";
    EXPECT_EQ(asLatin1("cut \xC3"), "cut \xC3") << "not UTF-8: taken as Latin-1 already";
}

TEST(CommandLineTest, BlanksSplitAndDoubleQuotesGroup) {
    EXPECT_EQ(splitCommandLine("lame -r -s 44100 -b 128 -"),
              (std::vector<std::string>{"lame", "-r", "-s", "44100", "-b", "128", "-"}));
    EXPECT_EQ(splitCommandLine("  enc  \"a b\"  c\"d e\"f \"\" "),
              (std::vector<std::string>{"enc", "a b", "cd ef", ""}));
    EXPECT_EQ(splitCommandLine("prog ; $(x) `y` 'z' \\ |"),
              (std::vector<std::string>{"prog", ";", "$(x)", "`y`", "'z'", "\\", "|"}))
        << "nothing but blanks and double quotes has a meaning";
    EXPECT_TRUE(splitCommandLine("").empty());
}

}  // namespace
}  // namespace tw::audio
