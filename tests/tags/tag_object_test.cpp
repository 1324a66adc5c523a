// The tag object itself: genre table, the keyed lists, the two report methods and the calling
// order.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tags/id3_tag.h"
#include "tests/tags/tag_test_util.h"
#include "tests/testlib/temp_dir.h"

namespace tw::tags {
namespace {

using test::frame;
using test::id3Tag;
using test::mpegFrames;
using test::textFrame;

TEST(GenreTableTest, NamesAtTheEdgesOfTheList) {
    EXPECT_EQ(GenreName(-2), "Cover");
    EXPECT_EQ(GenreName(-1), "Remix");
    EXPECT_EQ(GenreName(0), "Blues");
    EXPECT_EQ(GenreName(12), "Other");
    EXPECT_EQ(GenreName(147), "Synthpop");
    EXPECT_EQ(GenreName(255), "Unknown");
    EXPECT_EQ(GenreName(-3), "");
    EXPECT_EQ(GenreName(148), "");
}

TEST(GenreTableTest, GenreName200IsEmpty) {
    EXPECT_EQ(GenreName(200), "");
}

TEST(GenreTableTest, SpellingsThatMatchesDependOn) {
    EXPECT_EQ(GenreName(7), "Hip-Hop");
    EXPECT_EQ(GenreName(29), "Jazz+Funk");
    EXPECT_EQ(GenreName(40), "AlternRock");
    EXPECT_EQ(GenreName(62), "Pop/Funk");
    EXPECT_EQ(GenreName(78), "Rock & Roll");
    EXPECT_EQ(GenreName(85), "Bebob");
    EXPECT_EQ(GenreName(90), "Avantgarde");
    EXPECT_EQ(GenreName(123), "A Cappella");
    EXPECT_EQ(GenreName(127), "Drum & Bass");
    EXPECT_EQ(GenreName(132), "BritPop");
    EXPECT_EQ(GenreName(134), "Polsk Punk");
    EXPECT_EQ(GenreName(136), "Christian Gangsta Rap");
    EXPECT_EQ(GenreName(140), "Contemporary Christian");
    EXPECT_EQ(GenreName(146), "JPop");
}

TEST(GenreTableTest, ToGenreIdOfJazzFunkWordsIsJazzPlusFunk) {
    EXPECT_EQ(ToGenreID("jazz funk"), 29);
}

TEST(GenreTableTest, ToGenreIdOfUnknownWordIsOther) {
    EXPECT_EQ(ToGenreID("Glitchcore"), 12);
}

TEST(GenreTableTest, ToGenreIdOfBlanksIs255) {
    EXPECT_EQ(ToGenreID("   "), 255);
    EXPECT_EQ(ToGenreID(""), 255);
}

TEST(GenreTableTest, ToGenreIdOfCoverIsMinusTwo) {
    EXPECT_EQ(ToGenreID("Cover"), -2);
    EXPECT_EQ(ToGenreID("remix"), -1);
}

TEST(GenreTableTest, RockAndRollSpellings) {
    EXPECT_EQ(ToGenreID("rock and roll"), 78);
    EXPECT_EQ(ToGenreID("Rock&Roll"), 78);
    EXPECT_EQ(ToGenreID("ROCK-ROLL"), 78);
    // " and " is removed only in lower case.
    EXPECT_EQ(ToGenreID("ROCK AND ROLL"), 12);
}

TEST(GenreTableTest, UnknownMatchesTheLastEntry) {
    EXPECT_EQ(ToGenreID("unknown"), 255);
    EXPECT_EQ(ToGenreID("Other"), 12);
}

TEST(MultiFrameDataTest, WithoutDuplicatesOnlyTheFirstItemIsKept) {
    MultiFrameData list;
    list.Add("http://a", std::nullopt, std::nullopt, false);
    list.Add("http://b", std::nullopt, std::nullopt, false);
    ASSERT_EQ(list.Count(), 1);
    EXPECT_EQ(list.Item(1), "http://a");
}

TEST(MultiFrameDataTest, WithDuplicatesOnlyIdenticalTextIsRefused) {
    MultiFrameData list;
    list.Add("a", std::nullopt, std::nullopt, true);
    list.Add("b", std::nullopt, std::nullopt, true);
    list.Add("a", std::nullopt, std::nullopt, true);
    ASSERT_EQ(list.Count(), 2);
    EXPECT_EQ(list.Item(2), "b");
}

TEST(MultiFrameDataTest, BeforeAndAfterPositions) {
    MultiFrameData list;
    list.Add("b", std::nullopt, std::nullopt, true);
    list.Add("a", 1, std::nullopt, true);
    list.Add("c", std::nullopt, 99, true);
    list.Add("front", 0, std::nullopt, true);
    list.Add("x", std::nullopt, 2, true);
    ASSERT_EQ(list.Count(), 5);
    EXPECT_EQ(list.Item(1), "front");
    EXPECT_EQ(list.Item(2), "a");
    EXPECT_EQ(list.Item(3), "x");
    EXPECT_EQ(list.Item(4), "b");
    EXPECT_EQ(list.Item(5), "c");
}

TEST(MultiFrameDataTest, ItemSetReplacesInPlaceAndRemoveAndClear) {
    MultiFrameData list;
    list.Add("a", std::nullopt, std::nullopt, true);
    list.Add("b", std::nullopt, std::nullopt, true);
    list.Item(1, "z");
    EXPECT_EQ(list.Item(1), "z");
    EXPECT_EQ(list.Item(2), "b");
    EXPECT_EQ(list.Item(3), "");
    list.Remove(1);
    EXPECT_EQ(list.Count(), 1);
    EXPECT_EQ(list.Item(1), "b");
    list.Clear();
    EXPECT_EQ(list.Count(), 0);
}

class TagObjectTest : public ::testing::Test {
  protected:
    std::string write(const std::string& name, const std::string& bytes) {
        auto p = dir_ / name;
        test::writeFile(p, bytes);
        return p.string();
    }
    test::TempDir dir_;
};

TEST_F(TagObjectTest, TwoWoarFramesGiveOneArtistUrl) {
    std::string body = textFrame("WOAR", "http://one", 3) + textFrame("WOAR", "http://two", 3);
    clsID3 tag;
    tag.filename(write("a.mp3", id3Tag(3, body) + mpegFrames(2)));
    ASSERT_EQ(tag.ArtistURL().Count(), 1);
    EXPECT_EQ(tag.ArtistURL().Item(1), "http://one");
}

TEST_F(TagObjectTest, TwoIdenticalApicFramesGiveOnePicture) {
    std::string pic = std::string("\0image/png\0\x03\0PNGDATA", 21);
    clsID3 tag;
    tag.filename(write("a.mp3", id3Tag(3, frame("APIC", pic, 3) + frame("APIC", pic, 3))));
    EXPECT_EQ(tag.AttachedPictures().Count(), 1);
    EXPECT_EQ(tag.AttachedPictures().Item(1), pic.substr(1));
}

TEST_F(TagObjectTest, TwoDifferentApicFramesGiveTwoPictures) {
    std::string a = std::string("\0image/png\0\x03\0AAAA", 18);
    std::string b = std::string("\0image/png\0\x04\0BBBB", 18);
    clsID3 tag;
    tag.filename(write("a.mp3", id3Tag(3, frame("APIC", a, 3) + frame("APIC", b, 3))));
    EXPECT_EQ(tag.AttachedPictures().Count(), 2);
}

TEST_F(TagObjectTest, NoTitleAndArtistGiveBareFileNameWithRoundBrackets) {
    clsID3 tag;
    tag.filename(write("Song [Live] x.mp3", mpegFrames(3)));
    clsMp3TagData data;
    tag.returnID3Tag(data);
    EXPECT_EQ(data.mp3Title, "Song (Live) x");
}

TEST_F(TagObjectTest, ReturnId3TagFillsTheRecordInOrder) {
    std::string body = textFrame("TIT2", "Ti[t]le", 3) + textFrame("TPE1", "Art", 3) +
                       textFrame("TALB", "Alb", 3) + textFrame("TYER", "1999x", 3) +
                       frame("COMM", std::string("\0eng\0Note", 9), 3) +
                       textFrame("TCOM", "Comp", 3) + textFrame("TCON", "(17)Rock", 3) +
                       textFrame("TOWN", "cue data", 3) + textFrame("TPUB", "Pub", 3) +
                       textFrame("TCOP", "(c) me", 3);
    clsID3 tag;
    tag.filename(write("a.mp3", id3Tag(3, body)));
    clsMp3TagData data;
    tag.returnID3Tag(data);
    EXPECT_EQ(data.Album, "Alb");
    EXPECT_EQ(data.Artist, "Art");
    EXPECT_EQ(data.comment, "Note");
    EXPECT_EQ(data.Composer, "Comp");
    EXPECT_EQ(data.Genre, "Rock");
    EXPECT_EQ(data.tarnWaveData, "cue data");
    EXPECT_EQ(data.Publisher, "Pub");
    EXPECT_EQ(data.recordLabel, "(c) me");  // no WCOP: the copyright text stands in
    EXPECT_EQ(data.songName, "Ti[t]le");
    EXPECT_EQ(data.songYear, 1999);
    EXPECT_EQ(data.mp3Title, "Art - Ti(t)le");
    EXPECT_EQ(data.newGenre, "");
}

TEST_F(TagObjectTest, YearTooLargeForADoubleGivesYearZero) {
    clsID3 tag;
    tag.filename(write("a.mp3", id3Tag(3, textFrame("TYER", "9E999", 3))));
    clsMp3TagData data;
    tag.returnID3Tag(data);
    EXPECT_EQ(data.songYear, 0);
}

TEST_F(TagObjectTest, RecordLabelPrefersTheCopyrightLink) {
    std::string body = textFrame("TCOP", "(c) me", 3) + frame("WCOP", "http://c", 3);
    clsID3 tag;
    tag.filename(write("a.mp3", id3Tag(3, body)));
    clsMp3TagData data;
    tag.returnID3Tag(data);
    EXPECT_EQ(data.recordLabel, "http://c");
}

TEST_F(TagObjectTest, TitleOnlyOfTaggedFile) {
    clsID3 tag;
    tag.filename(write("a.mp3", id3Tag(3, textFrame("TIT2", "T", 3) + textFrame("TPE1", "A", 3))));
    EXPECT_EQ(tag.returnID3TitleOnly(), "A - T");
}

TEST_F(TagObjectTest, TitleOnlyOfUntaggedFileWritesTagFromName) {
    std::string path = write("Band-Tune.mp3", mpegFrames(4));
    clsID3 tag;
    tag.filename(path);
    EXPECT_EQ(tag.returnID3TitleOnly(), "Band-Tune");
    EXPECT_EQ(tag.lastWriteError(), "");
    clsID3 again;
    again.filename(path);
    EXPECT_TRUE(again.ID3v2Exists());
    EXPECT_EQ(again.Artist(), "Band");
    EXPECT_EQ(again.title(), "Tune");
    EXPECT_EQ(again.returnID3TitleOnly(), "Band - Tune");
}

TEST_F(TagObjectTest, TitleOnlyOfMissingFileWritesNothing) {
    clsID3 tag;
    tag.filename((dir_ / "gone.mp3").string());
    EXPECT_EQ(tag.returnID3TitleOnly(), " - ");
    EXPECT_FALSE(std::filesystem::exists(dir_ / "gone.mp3"));
}

TEST_F(TagObjectTest, AssigningFilenameThrowsAwayUnsavedValues) {
    std::string path = write("a.mp3", id3Tag(3, textFrame("TIT2", "Old", 3)));
    clsID3 tag;
    tag.filename(path);
    tag.title("New");
    tag.filename(path);
    EXPECT_EQ(tag.title(), "Old");
}

TEST_F(TagObjectTest, MissingFileLeavesRevisionZero) {
    clsID3 tag;
    tag.filename((dir_ / "nothing.mp3").string());
    EXPECT_EQ(tag.ID3RevisionV2(), 0);
    EXPECT_EQ(tag.GenreID(), 255);
    EXPECT_FALSE(tag.ID3v2Exists());
}

TEST_F(TagObjectTest, StreamAddressGoesIntoArtist) {
    clsID3 tag;
    tag.filename("http://example.org:8000/stream");
    EXPECT_EQ(tag.Artist(), "http://example.org:8000/stream");
    EXPECT_EQ(tag.ID3RevisionV2(), 0);
}

TEST_F(TagObjectTest, NamedPipeDoesNotHoldTheReader) {
    const auto fifo = dir_ / "pipe.mp3";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0644), 0);
    clsID3 tag;
    tag.filename(fifo.string());
    tag.RefreshID3Tags();
    EXPECT_EQ(tag.ID3RevisionV2(), 3);
    EXPECT_FALSE(tag.ID3v2Exists());
    tag.title("T");
    tag.UpdateID3Tags();
    EXPECT_NE(tag.lastWriteError(), "");
}

TEST_F(TagObjectTest, FileWithoutTagHasRevisionThree) {
    clsID3 tag;
    tag.filename(write("a.mp3", mpegFrames(2)));
    EXPECT_EQ(tag.ID3RevisionV2(), 3);
    EXPECT_FALSE(tag.ID3v2Exists());
}

TEST_F(TagObjectTest, UnreadableFileHasRevisionThree) {
    std::string path = write("a.mp3", id3Tag(3, textFrame("TIT2", "T", 3)));
    std::filesystem::permissions(path, std::filesystem::perms::none);
    if (FILE* f = std::fopen(path.c_str(), "rb")) {
        std::fclose(f);
        GTEST_SKIP() << "running with rights that read any file";
    }
    clsID3 tag;
    tag.filename(path);
    EXPECT_EQ(tag.ID3RevisionV2(), 3);
    EXPECT_EQ(tag.title(), "");
}

TEST_F(TagObjectTest, LightReadLeavesAudioFiguresAlone) {
    clsID3 tag;
    tag.filename(write("a.mp3", mpegFrames(3)));
    EXPECT_EQ(tag.SamplingRateFrequency(), 11025);  // zeroed header bytes
    tag.RefreshID3Tags();
    EXPECT_EQ(tag.SamplingRateFrequency(), 44100);
    EXPECT_EQ(tag.bitrate(), 128000);
}

}  // namespace
}  // namespace tw::tags
