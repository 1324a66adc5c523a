// The tarnwave-tag program.

#include <gtest/gtest.h>

#include "tests/tags/tag_test_util.h"
#include "tests/testlib/temp_dir.h"
#include "tests/testlib/test_paths.h"

namespace tw::tags {
namespace {

using test::quoted;

class TarnwaveTagTest : public ::testing::Test {
  protected:
    std::string tool(const std::string& args, int* status) {
        return test::run(test::binaryDir() + "/app/tarnwave-tag " + args + " 2>/dev/null", status);
    }
    std::filesystem::path file() {
        auto p = dir_ / "Some Band - Song.mp3";
        test::writeFile(p, test::id3Tag(3, test::textFrame("TIT2", "Song \"1\"", 3) +
                                               test::textFrame("TPE1", "Some Band", 3) +
                                               test::textFrame("TCON", "(17)Rock", 3)) +
                               test::mpegFrames(5) +
                               test::id3v1("Song", "Some Band", "", "1999", "", 17));
        return p;
    }
    test::TempDir dir_;
};

TEST_F(TarnwaveTagTest, PrintsEveryFieldAsJson) {
    int status = -1;
    const std::string out = tool(quoted(file()), &status);
    EXPECT_EQ(status, 0);
    EXPECT_NE(out.find("\"title\": \"Song \\\"1\\\"\""), std::string::npos) << out;
    EXPECT_NE(out.find("\"Artist\": \"Some Band\""), std::string::npos);
    EXPECT_NE(out.find("\"GenreID\": 17"), std::string::npos);
    EXPECT_NE(out.find("\"Genre\": \"Rock\""), std::string::npos);
    EXPECT_NE(out.find("\"year\": \"1999\""), std::string::npos);
    EXPECT_NE(out.find("\"ID3v1Exists\": true"), std::string::npos);
    EXPECT_NE(out.find("\"ID3v2Exists\": true"), std::string::npos);
    EXPECT_NE(out.find("\"Lyrics3v1Exists\": false"), std::string::npos);
    EXPECT_NE(out.find("\"Lyrics3v2Exists\": false"), std::string::npos);
    EXPECT_NE(out.find("\"ID3RevisionV2\": 3"), std::string::npos);
    EXPECT_NE(out.find("\"InternetRadioStationOwner\": \"\""), std::string::npos);
    EXPECT_NE(out.find("\"AttachedPictures\": []"), std::string::npos);
    EXPECT_EQ(out.find("\"bitrate\""), std::string::npos);
}

TEST_F(TarnwaveTagTest, FullAddsTheMpegFigures) {
    int status = -1;
    const std::string out = tool("--full " + quoted(file()), &status);
    EXPECT_EQ(status, 0);
    for (const char* key :
         {"\"Layer\": 1", "\"MPEGVersion\": 2", "\"ChannelMode\": 0", "\"Padding\": 0",
          "\"Encoding\": 0", "\"SamplingRateFrequency\": 44100", "\"bitrate\": 128000",
          "\"FrameSamples\": 1152", "\"FrameSize\": ", "\"Length\": "}) {
        EXPECT_NE(out.find(key), std::string::npos) << key << "\n" << out;
    }
}

TEST_F(TarnwaveTagTest, DisplayGivesTheRecord) {
    int status = -1;
    const std::string out = tool("--display " + quoted(file()), &status);
    EXPECT_EQ(status, 0);
    EXPECT_NE(out.find("\"mp3Title\": \"Some Band - Song \\\"1\\\"\""), std::string::npos) << out;
    EXPECT_NE(out.find("\"songYear\": 1999"), std::string::npos);
}

TEST_F(TarnwaveTagTest, SetWritesTheFields) {
    const auto f = file();
    int status = -1;
    tool("--set title=Other --set Album=Disc --set GenreID=8 " + quoted(f), &status);
    EXPECT_EQ(status, 0);
    const std::string out = tool(quoted(f), &status);
    EXPECT_NE(out.find("\"title\": \"Other\""), std::string::npos) << out;
    EXPECT_NE(out.find("\"Album\": \"Disc\""), std::string::npos);
    EXPECT_NE(out.find("\"Artist\": \"Some Band\""), std::string::npos);
    EXPECT_NE(out.find("\"GenreID\": 8"), std::string::npos);
}

TEST_F(TarnwaveTagTest, DeleteStripsTheTags) {
    const auto f = file();
    int status = -1;
    tool("--delete " + quoted(f), &status);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(test::readFile(f), test::mpegFrames(5));
}

TEST_F(TarnwaveTagTest, MissingFileGivesTheResetObjectAndStatus1) {
    int status = -1;
    const std::string out = tool(quoted(dir_ / "none.mp3"), &status);
    EXPECT_EQ(status, 1);
    EXPECT_NE(out.find("\"ID3RevisionV2\": 0"), std::string::npos) << out;
    EXPECT_NE(out.find("\"GenreID\": 255"), std::string::npos);
}

TEST_F(TarnwaveTagTest, BytesThatAreNoUtf8StayValidJson) {
    const auto f = file();
    int status = -1;
    tool("--set " + quoted("Comments=caf\xE9") + " " + quoted(f), &status);
    const std::string out = tool(quoted(f), &status);
    EXPECT_NE(out.find("\"Comments\": \"caf\xC3\xA9\""), std::string::npos) << out;
}

TEST_F(TarnwaveTagTest, WrongCommandLineGivesStatus2) {
    int status = -1;
    tool("", &status);
    EXPECT_EQ(status, 2);
    tool("--set Nonsense=1 " + quoted(file()), &status);
    EXPECT_EQ(status, 2);
}

}  // namespace
}  // namespace tw::tags
