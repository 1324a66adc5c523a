// What stands at the end of a file: ID3v1 and Lyrics3.

#include <gtest/gtest.h>

#include "tags/id3_tag.h"
#include "tests/tags/tag_test_util.h"
#include "tests/testlib/temp_dir.h"

namespace tw::tags {
namespace {

using test::id3Tag;
using test::id3v1;
using test::mpegFrames;
using test::textFrame;

class TailReaderTest : public ::testing::Test {
  protected:
    clsID3& read(const std::string& bytes, bool full = false) {
        auto p = dir_ / "t.mp3";
        test::writeFile(p, bytes);
        tag_.filename(p.string());
        if (full) {
            tag_.RefreshID3Tags();
        }
        return tag_;
    }
    static std::string lyrics3v2(const std::string& fields) {
        std::string block = "LYRICSBEGIN" + fields;
        char size[8];
        std::snprintf(size, sizeof size, "%06zu", block.size());
        return block + size + "LYRICS200";
    }
    static std::string field(const std::string& id, const std::string& data) {
        char size[8];
        std::snprintf(size, sizeof size, "%05zu", data.size());
        return id + size + data;
    }
    test::TempDir dir_;
    clsID3 tag_;
};

TEST_F(TailReaderTest, Id3v1FieldsAreRead) {
    auto& t = read(mpegFrames(2) + id3v1("Title", "Artist", "Album", "1984", "Comment", 17));
    EXPECT_TRUE(t.ID3v1Exists());
    EXPECT_EQ(t.title(), "Title");
    EXPECT_EQ(t.Artist(), "Artist");
    EXPECT_EQ(t.Album(), "Album");
    EXPECT_EQ(t.year(), "1984");
    EXPECT_EQ(t.Comments(), "Comment");
    EXPECT_EQ(t.GenreID(), 17);
    EXPECT_EQ(t.Genre(), "");  // the genre text is not derived from the byte
    EXPECT_EQ(t.ID3RevisionV2(), 3);
}

TEST_F(TailReaderTest, Id3v2TitleWinsOverId3v1Title) {
    auto& t = read(id3Tag(3, textFrame("TIT2", "From v2", 3)) + mpegFrames(1) +
                   id3v1("From v1", "V1 artist", "", "", "", 255));
    EXPECT_EQ(t.title(), "From v2");
    EXPECT_EQ(t.Artist(), "V1 artist");
}

TEST_F(TailReaderTest, TitleOfExactlyThirtyCharactersTakenWhole) {
    const std::string title30 = "123456789012345678901234567890";
    auto& t = read(mpegFrames(1) + id3v1(title30, "", "", "", "", 255));
    EXPECT_EQ(t.title(), title30);
}

TEST_F(TailReaderTest, BlankPaddingIsTrimmedAndNulPaddingCut) {
    auto& t = read(mpegFrames(1) +
                   id3v1("Blank padded      ", std::string("Nul\0junk", 8), "", "", "", 255));
    EXPECT_EQ(t.title(), "Blank padded");
    EXPECT_EQ(t.Artist(), "Nul");
}

TEST_F(TailReaderTest, Version11TrackAndShortComment) {
    std::string comment = std::string("Short comment").append(15, '\0') + std::string("\0\x07", 2);
    auto& t = read(mpegFrames(1) + id3v1("T", "", "", "", comment, 255));
    EXPECT_EQ(t.TrackNumber(), "7");
    EXPECT_EQ(t.Comments(), "Short comment");
}

TEST_F(TailReaderTest, Byte126NonZeroAndByte127ZeroIsVersion10) {
    std::string comment = "123456789012345678901234567" + std::string("8\0", 2) + "";
    comment.resize(30, '\0');
    comment[28] = 'Z';
    comment[29] = '\0';
    auto& t = read(mpegFrames(1) + id3v1("T", "", "", "", comment, 255));
    EXPECT_EQ(t.TrackNumber(), "");
    EXPECT_EQ(t.Comments(), "1234567890123456789012345678Z");
}

TEST_F(TailReaderTest, Byte126NonZeroAndByte127NonZeroKeepsAllThirtyBytes) {
    const std::string comment = "123456789012345678901234567890";
    auto& t = read(mpegFrames(1) + id3v1("T", "", "", "", comment, 255));
    EXPECT_EQ(t.TrackNumber(), "");
    EXPECT_EQ(t.Comments(), comment);
}

TEST_F(TailReaderTest, Bytes126And127ZeroIsVersion10) {
    auto& t = read(mpegFrames(1) + id3v1("T", "", "", "", "Comment", 255));
    EXPECT_EQ(t.TrackNumber(), "");
    EXPECT_EQ(t.Comments(), "Comment");
}

TEST_F(TailReaderTest, GenreByteReplacesOnlyOtherOrUnknown) {
    auto& fromV2 = read(id3Tag(3, textFrame("TCON", "(17)", 3)) + id3v1("", "", "", "", "", 8));
    EXPECT_EQ(fromV2.GenreID(), 17);
    auto& other = read(id3Tag(3, textFrame("TCON", "(12)", 3)) + id3v1("", "", "", "", "", 8));
    EXPECT_EQ(other.GenreID(), 8);
}

TEST_F(TailReaderTest, Latin1BytesBecomeUtf8) {
    auto& t = read(id3v1("Caf\xE9", "", "", "", "", 255));
    EXPECT_EQ(t.title(), "Caf\xC3\xA9");
}

TEST_F(TailReaderTest, FileShorterThan128BytesHasNoTag) {
    auto& t = read("TAG" + std::string(100, 'x'));
    EXPECT_FALSE(t.ID3v1Exists());
    EXPECT_EQ(t.title(), "");
}

TEST_F(TailReaderTest, Lyrics3v2WithId3v1EndsAudioBeforeTheBlock) {
    const int frames = 10;
    std::string block = lyrics3v2(field("IND", "10") + field("ETT", "Lyrics title"));
    auto& t = read(mpegFrames(frames) + block + id3v1("", "", "", "", "", 255), true);
    EXPECT_TRUE(t.Lyrics3v2Exists());
    // The first frame's header starts at byte 1, so the audio begins at byte 5.
    EXPECT_EQ(t.audioState().audioStart, 5);
    EXPECT_EQ(t.audioState().audioSize, frames * 417 - 5);
    EXPECT_EQ(t.title(), "Lyrics title");
}

TEST_F(TailReaderTest, Lyrics3v2FieldsFillOnlyEmptyFields) {
    std::string block =
        lyrics3v2(field("IND", "11") + field("LYR", "Line one[CR][LF]Line two") +
                  field("AUT", "Writer") + field("EAL", "Long album") +
                  field("EAR", "Long artist") + field("ETT", "Long title") + field("XYZ", "other"));
    auto& t = read(id3Tag(3, textFrame("TPE1", "V2 artist", 3)) + mpegFrames(2) + block +
                       id3v1("V1 title", "V1 artist", "V1 album", "", "", 255),
                   true);
    EXPECT_EQ(t.Lyrics(), "Line one\r\nLine two");
    EXPECT_EQ(t.Lyricist(), "Writer");
    EXPECT_EQ(t.Album(), "Long album");
    EXPECT_EQ(t.Artist(), "V2 artist");
    EXPECT_EQ(t.title(), "Long title");
}

TEST_F(TailReaderTest, Lyrics3TimestampsAreKept) {
    std::string block = lyrics3v2(field("IND", "11") + field("LYR", "[00:02]Sing"));
    auto& t = read(mpegFrames(2) + block + id3v1("", "", "", "", "", 255), true);
    EXPECT_EQ(t.Lyrics(), "[00:02]Sing");
}

TEST_F(TailReaderTest, LongTitleOnlyInEttSeenByFullReaderOnly) {
    const std::string longTitle = "A title that is much longer than thirty characters";
    std::string block = lyrics3v2(field("IND", "10") + field("ETT", longTitle));
    std::string bytes = mpegFrames(2) + block + id3v1(longTitle.substr(0, 30), "", "", "", "", 255);
    EXPECT_EQ(read(bytes).title(), longTitle.substr(0, 30));
    EXPECT_FALSE(tag_.Lyrics3v2Exists());
    EXPECT_EQ(read(bytes, true).title(), longTitle);
}

TEST_F(TailReaderTest, Lyrics3v2WithBadSizeIsIgnored) {
    std::string block = lyrics3v2(field("ETT", "T"));
    block.replace(block.size() - 15, 6, "00abcd");
    auto& t = read(mpegFrames(3) + block + id3v1("", "", "", "", "", 255), true);
    EXPECT_TRUE(t.Lyrics3v2Exists());
    EXPECT_EQ(t.title(), "");
    EXPECT_EQ(t.audioState().audioSize, 3 * 417 + static_cast<int>(block.size()) - 5);
}

TEST_F(TailReaderTest, Lyrics3v2SizeTooLargeForANumberIsIgnored) {
    std::string block = lyrics3v2(field("ETT", "T"));
    block.replace(block.size() - 15, 6, "1E9999");
    auto& t = read(mpegFrames(3) + block + id3v1("", "", "", "", "", 255), true);
    EXPECT_TRUE(t.Lyrics3v2Exists());
    EXPECT_EQ(t.title(), "");
    EXPECT_EQ(t.audioState().audioSize, 3 * 417 + static_cast<int>(block.size()) - 5);
}

TEST_F(TailReaderTest, Lyrics3v1TextBecomesLyrics) {
    std::string block =
        "LYRICSBEGINOld style lyrics, and then some more text" + std::string("LYRICSEND");
    auto& t = read(mpegFrames(3) + block + id3v1("", "", "", "", "", 255), true);
    EXPECT_TRUE(t.Lyrics3v1Exists());
    // The read stops 19 bytes short: the last 11 characters of the text are not in it.
    EXPECT_EQ(t.Lyrics(), "Old style lyrics, and then som");
    // The block stays inside the audio.
    EXPECT_EQ(t.audioState().audioSize, 3 * 417 + static_cast<int>(block.size()) - 5);
}

TEST_F(TailReaderTest, Lyrics3v1SearchedInTheLast5100Bytes) {
    std::string lyrics(6000, 'x');
    std::string block = "LYRICSBEGIN" + lyrics + "LYRICSEND";
    auto& t = read(mpegFrames(2) + block + id3v1("", "", "", "", "", 255), true);
    EXPECT_TRUE(t.Lyrics3v1Exists());
    EXPECT_EQ(t.Lyrics(), "");
}

}  // namespace
}  // namespace tw::tags
