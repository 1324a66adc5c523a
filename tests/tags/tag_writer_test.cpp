// The bytes the tag writer produces.

#include <gtest/gtest.h>

#include "tags/id3_tag.h"
#include "tests/tags/tag_test_util.h"
#include "tests/testlib/temp_dir.h"

namespace tw::tags {
namespace {

using test::frame;
using test::id3Header;
using test::id3Tag;
using test::id3v1;
using test::mpegFrames;
using test::textFrame;

class TagWriterTest : public ::testing::Test {
  protected:
    std::string path() const { return (dir_ / "t.mp3").string(); }
    clsID3& load(const std::string& bytes) {
        test::writeFile(path(), bytes);
        tag_.filename(path());
        return tag_;
    }
    std::string update() {
        tag_.UpdateID3Tags();
        EXPECT_EQ(tag_.lastWriteError(), "");
        return test::readFile(path());
    }
    clsID3& reread() {
        tag_.filename(path());
        return tag_;
    }
    test::TempDir dir_;
    clsID3 tag_;
};

TEST_F(TagWriterTest, UntaggedFileWithTitleGetsRevision3TagPaddingAndId3v1) {
    const std::string audio = mpegFrames(4);
    load(audio).title("Song");
    const std::string body =
        textFrame("TCON", "(255)", 3) + textFrame("TIT2", "Song", 3) + std::string(2048, '\0');
    const std::string expected = id3Tag(3, body) + audio + id3v1("Song", "", "", "", "", 255);
    EXPECT_EQ(update(), expected);
}

TEST_F(TagWriterTest, AllFieldsClearedGiveOnlyTheGenreFrameAndNoId3v1) {
    const std::string audio = mpegFrames(2);
    auto& t = load(id3Tag(3, textFrame("TIT2", "Old", 3) + textFrame("TPE1", "A", 3) +
                                 std::string(100, '\0')) +
                   audio + id3v1("Old", "A", "", "", "", 255));
    t.title("");
    t.Artist("");
    // Both frames are removed; the genre frame is added; the padding stays as it was.
    EXPECT_EQ(update(), id3Tag(3, textFrame("TCON", "(255)", 3) + std::string(100, '\0')) + audio);
    auto& back = reread();
    EXPECT_EQ(back.GenreID(), 255);
    EXPECT_EQ(back.Genre(), "");
    EXPECT_FALSE(back.ID3v1Exists());
}

TEST_F(TagWriterTest, Revision4TdrcOfFullDateComesBackAsYear) {
    load(id3Tag(4, textFrame("TYER", "1999", 4) + textFrame("TDRC", "2004-05-06", 4)) +
         mpegFrames(2));
    EXPECT_EQ(tag_.year(), "2004");
    const std::string bytes = update();
    EXPECT_NE(bytes.find(textFrame("TDRC", "2004", 4)), std::string::npos);
    // In a revision 4 file TYER is a frame of no field: it stays as it was.
    EXPECT_NE(bytes.find(textFrame("TYER", "1999", 4)), std::string::npos);
    EXPECT_EQ(reread().year(), "2004");
    EXPECT_EQ(tag_.ID3RevisionV2(), 4);
}

TEST_F(TagWriterTest, Revision2FileDoesNotSaveFileOwner) {
    load(id3Tag(2, textFrame("TT2", "T", 2)) + mpegFrames(2));
    tag_.FileOwner("cue data");
    tag_.Artist("A");
    const std::string bytes = update();
    EXPECT_EQ(bytes.find("cue data"), std::string::npos);
    auto& back = reread();
    EXPECT_EQ(back.ID3RevisionV2(), 2);
    EXPECT_EQ(back.FileOwner(), "");
    EXPECT_EQ(back.Artist(), "A");
    EXPECT_EQ(back.title(), "T");
}

TEST_F(TagWriterTest, EmptiedCommentsRemoveMainFrameAndKeepDescribedOnes) {
    const std::string described = frame("COMM", std::string("\0engiTunNORM\0 0001", 18), 3);
    load(id3Tag(3, frame("COMM", std::string("\0eng\0Main", 9), 3) + described +
                       frame("COMM", std::string("\0eng\0Second", 11), 3)) +
         mpegFrames(2));
    EXPECT_EQ(tag_.Comments(), "Second");
    tag_.Comments("");
    const std::string bytes = update();
    EXPECT_EQ(bytes.find("Main"), std::string::npos);
    EXPECT_EQ(bytes.find("Second"), std::string::npos);
    EXPECT_NE(bytes.find(described), std::string::npos);
}

TEST_F(TagWriterTest, CommentsRewrittenWithLanguageAndEmptyDescription) {
    load(id3Tag(3, frame("COMM", std::string("\0deu\0Alt", 8), 3)) + mpegFrames(2));
    tag_.Comments("Neu");
    const std::string bytes = update();
    EXPECT_NE(bytes.find(frame("COMM", std::string("\0eng\0Neu", 8), 3)), std::string::npos);
}

TEST_F(TagWriterTest, ThreeApicFramesAndOneItemKeepOnlyTheFirstReplaced) {
    auto pic = [](char c) { return std::string("\0image/png\0\x03\0", 14) + std::string(8, c); };
    load(id3Tag(3, frame("APIC", pic('a'), 3) + textFrame("TIT2", "T", 3) +
                       frame("APIC", pic('b'), 3) + frame("APIC", pic('c'), 3)) +
         mpegFrames(2));
    ASSERT_EQ(tag_.AttachedPictures().Count(), 3);
    MultiFrameData one;
    one.Add(pic('z').substr(1), std::nullopt, std::nullopt, true);
    tag_.AttachedPictures(one);
    const std::string bytes = update();
    EXPECT_NE(bytes.find(frame("APIC", pic('z'), 3)), std::string::npos);
    EXPECT_LT(bytes.find("APIC"), bytes.find("TIT2"));
    EXPECT_EQ(bytes.find("aaaaaaaa"), std::string::npos);
    EXPECT_EQ(bytes.find("bbbbbbbb"), std::string::npos);
    EXPECT_EQ(bytes.find("cccccccc"), std::string::npos);
    EXPECT_EQ(reread().AttachedPictures().Count(), 1);
}

TEST_F(TagWriterTest, TitleOf31CharactersGoesToLyrics3Ett) {
    const std::string title = "1234567890123456789012345678901";
    const std::string audio = mpegFrames(2);
    load(audio).title(title);
    const std::string bytes = update();
    const std::string lyrics = "LYRICSBEGININD0000200ETT00031" + title + "000060LYRICS200";
    const std::string tail = lyrics + id3v1(title.substr(0, 30), "", "", "", "", 255);
    ASSERT_GE(bytes.size(), tail.size());
    EXPECT_EQ(bytes.substr(bytes.size() - tail.size()), tail);
    clsID3 full;
    full.filename(path());
    full.RefreshID3Tags();
    EXPECT_TRUE(full.Lyrics3v2Exists());
    EXPECT_EQ(full.audioState().audioSize + full.audioState().audioStart,
              static_cast<int>(bytes.size() - tail.size()));
}

TEST_F(TagWriterTest, LongFieldsInLyrics3InAlbumArtistTitleOrder) {
    load(mpegFrames(1));
    tag_.title(std::string(40, 't'));
    tag_.Artist(std::string(300, 'r'));
    tag_.Album(std::string(31, 'l'));
    const std::string bytes = update();
    const std::string fields = "EAL00031" + std::string(31, 'l') + "EAR00250" +
                               std::string(250, 'r') + "ETT00040" + std::string(40, 't');
    EXPECT_NE(bytes.find("LYRICSBEGININD0000200" + fields), std::string::npos);
}

TEST_F(TagWriterTest, Lyrics3LineBreaksAreEscaped) {
    load(mpegFrames(1));
    tag_.title("A long title with a\r\nbreak and\rmore and\nmore");
    const std::string bytes = update();
    EXPECT_NE(bytes.find("ETT00056A long title with a[CR][LF]break and[CR]more and[LF]more"),
              std::string::npos);
}

TEST_F(TagWriterTest, TrackNumber300GivesNoTrackByteButTrck) {
    load(mpegFrames(1));
    tag_.TrackNumber("300");
    tag_.Comments("123456789012345678901234567890xx");
    const std::string bytes = update();
    const std::string v1 = bytes.substr(bytes.size() - 128);
    EXPECT_EQ(v1.substr(97, 30), "123456789012345678901234567890");
    EXPECT_NE(bytes.find(textFrame("TRCK", "300", 3)), std::string::npos);
}

TEST_F(TagWriterTest, TrackNumberTooLargeForADoubleGivesNoTrackByte) {
    load(mpegFrames(1));
    tag_.TrackNumber("1E999");
    tag_.Comments("123456789012345678901234567890xx");
    const std::string bytes = update();
    EXPECT_EQ(bytes.substr(bytes.size() - 128).substr(97, 30), "123456789012345678901234567890");
}

TEST_F(TagWriterTest, TrackNumberInRangeGivesVersion11Byte) {
    load(mpegFrames(1));
    tag_.TrackNumber("7");
    tag_.TracksTotal("12");
    tag_.Comments("Note");
    const std::string bytes = update();
    const std::string v1 = bytes.substr(bytes.size() - 128);
    EXPECT_EQ(v1.substr(97, 30), std::string("Note").append(24, '\0') + std::string("\0\x07", 2));
    EXPECT_NE(bytes.find(textFrame("TRCK", "7/12", 3)), std::string::npos);
    auto& back = reread();
    EXPECT_EQ(back.TrackNumber(), "7");
    EXPECT_EQ(back.TracksTotal(), "12");
}

TEST_F(TagWriterTest, TwoUpdatesInTheSameSecond) {
    load(mpegFrames(2)).title("One");
    update();
    reread().title("Two");
    update();
    EXPECT_EQ(reread().title(), "Two");
    int files = 0;
    for (auto& e : std::filesystem::directory_iterator(dir_.path())) {
        (void)e;
        ++files;
    }
    EXPECT_EQ(files, 1);
}

TEST_F(TagWriterTest, UnknownAndRepeatedFramesAndPaddingAreKept) {
    const std::string txxx = textFrame("TXXX", std::string("desc\0value", 10), 3);
    const std::string second = textFrame("TIT2", "Second", 3);
    const std::string audio = mpegFrames(2);
    load(id3Tag(3, textFrame("TIT2", "First", 3) + txxx + second + std::string(300, '\0')) + audio);
    tag_.title("New");
    const std::string bytes = update();
    const std::string body = textFrame("TIT2", "New", 3) + txxx + second +
                             textFrame("TCON", "(255)", 3) + std::string(300, '\0');
    EXPECT_EQ(bytes, id3Tag(3, body) + audio + id3v1("New", "", "", "", "", 255));
}

TEST_F(TagWriterTest, GenreFrameTexts) {
    load(mpegFrames(1));
    tag_.Genre("Rock");
    tag_.GenreID(17);
    EXPECT_NE(update().find(textFrame("TCON", "(17)Rock", 3)), std::string::npos);
    reread().Genre("Chillwave");
    tag_.GenreID(255);
    tag_.title("T");
    std::string bytes = update();
    EXPECT_NE(bytes.find(textFrame("TCON", "Chillwave", 3)), std::string::npos);
    EXPECT_EQ(static_cast<std::uint8_t>(bytes.back()), 12);  // no such genre: "Other"
    reread().Genre("other");
    tag_.GenreID(-1);
    bytes = update();
    EXPECT_NE(bytes.find(textFrame("TCON", "(RX)", 3)), std::string::npos);
    EXPECT_EQ(static_cast<std::uint8_t>(bytes.back()), 12);
}

TEST_F(TagWriterTest, UnicodeTextInRevision3IsUtf16WithMark) {
    load(mpegFrames(1)).title("\xE9\x9F\xB3");  // U+97F3
    const std::string bytes = update();
    EXPECT_NE(bytes.find(frame("TIT2", std::string("\x01\xFF\xFE\xF3\x97", 5), 3)),
              std::string::npos);
    EXPECT_EQ(reread().title(), "\xE9\x9F\xB3");
    EXPECT_EQ(bytes.substr(bytes.size() - 125, 1), "?");  // ID3v1 has no form for it
}

TEST_F(TagWriterTest, UnicodeCommentInRevision3ReadsBack) {
    load(mpegFrames(1)).Comments("\xE2\x82\xAC 5");
    update();
    EXPECT_EQ(reread().Comments(), "\xE2\x82\xAC 5");
}

TEST_F(TagWriterTest, UnicodeTextInRevision4IsUtf8) {
    load(id3Tag(4, textFrame("TIT2", "x", 4)) + mpegFrames(1));
    tag_.Artist("\xF0\x9F\x8E\xB5 Band");
    const std::string bytes = update();
    EXPECT_NE(bytes.find(frame("TPE1", "\x03\xF0\x9F\x8E\xB5 Band", 4)), std::string::npos);
    EXPECT_EQ(reread().Artist(), "\xF0\x9F\x8E\xB5 Band");
}

TEST_F(TagWriterTest, Latin1TextIsWrittenAsIso88591) {
    load(mpegFrames(1)).title("Caf\xC3\xA9");
    EXPECT_NE(update().find(textFrame("TIT2", "Caf\xE9", 3)), std::string::npos);
}

TEST_F(TagWriterTest, HeaderFlagsAreClearedAndUnsyncUndone) {
    std::string body = textFrame("TPE1", std::string("A\xFF\0B", 4), 3);
    body[7] = 4;
    const std::string audio = mpegFrames(1);
    load(id3Tag(3, body, 0x80) + audio);
    EXPECT_EQ(tag_.Artist(),
              "A\xC3\xBF"
              "B");
    const std::string bytes = update();
    EXPECT_EQ(bytes[5], '\0');
    EXPECT_NE(bytes.find(textFrame("TPE1",
                                   "A\xFF"
                                   "B",
                                   3)),
              std::string::npos);
    EXPECT_EQ(reread().Artist(),
              "A\xC3\xBF"
              "B");
}

TEST_F(TagWriterTest, FrameLevelUnsyncOfKeptFrameIsUndone) {
    const std::string kept = frame("PRIV", std::string("x\xFF\0y", 4), 4, 0x02);
    load(id3Tag(4, kept) + mpegFrames(1));
    const std::string bytes = update();
    EXPECT_NE(bytes.find(frame("PRIV", "x\xFFy", 4, 0x00)), std::string::npos);
}

TEST_F(TagWriterTest, ExtendedHeaderAndFooterGoAway) {
    const std::string audio = mpegFrames(2);
    std::string ext("\0\0\0\x06\0\0\0\0\0\0", 10);
    load(id3Tag(3, ext + textFrame("TIT2", "T", 3), 0x40) + audio);
    std::string bytes = update();
    EXPECT_EQ(bytes[5], '\0');
    EXPECT_EQ(reread().title(), "T");
    std::string tag4 = id3Tag(4, textFrame("TIT2", "T", 4), 0x10) + "3DI" + std::string(7, '\0');
    load(tag4 + audio);
    bytes = update();
    EXPECT_EQ(bytes.find("3DI"), std::string::npos);
    EXPECT_NE(bytes.find(audio), std::string::npos);
}

TEST_F(TagWriterTest, OldLyrics3v2BlockIsDropped) {
    const std::string audio = mpegFrames(2);
    const std::string block =
        "LYRICSBEGININD00002"
        "10"
        "LYR00005hello"
        "000034LYRICS200";
    load(audio + block + id3v1("T", "", "", "", "", 255));
    const std::string bytes = update();
    EXPECT_EQ(bytes.find("LYRICS"), std::string::npos);
    EXPECT_NE(bytes.find(audio + id3v1("T", "", "", "", "", 255)), std::string::npos);
}

TEST_F(TagWriterTest, OldLyrics3v1BlockLeavesItsFirstFiveBytes) {
    const std::string audio = mpegFrames(2);
    const std::string block = "LYRICSBEGINsome old lyrics text that is long enoughLYRICSEND";
    load(audio + block + id3v1("T", "", "", "", "", 255));
    const std::string bytes = update();
    EXPECT_NE(bytes.find(audio + "LYRIC" + id3v1("T", "", "", "", "", 255)), std::string::npos);
}

TEST_F(TagWriterTest, CompressedTagLosesItsFrames) {
    const std::string audio = mpegFrames(1);
    load(id3Tag(2, textFrame("TT2", "Lost", 2), 0x40) + audio);
    tag_.Artist("A");
    const std::string bytes = update();
    EXPECT_EQ(bytes.find("Lost"), std::string::npos);
    EXPECT_EQ(reread().Artist(), "A");
    EXPECT_EQ(tag_.ID3RevisionV2(), 2);
}

TEST_F(TagWriterTest, DeleteLeavesOnlyTheAudio) {
    const std::string audio = mpegFrames(3);
    load(id3Tag(3, textFrame("TIT2", "T", 3)) + audio +
         "LYRICSBEGIN"
         "IND000021"
         "1"
         "000021LYRICS200" +
         id3v1("T", "", "", "", "", 255));
    tag_.DeleteID3Tags();
    EXPECT_EQ(tag_.lastWriteError(), "");
    EXPECT_EQ(tag_.title(), "");
    EXPECT_EQ(tag_.ID3RevisionV2(), 0);
    EXPECT_EQ(test::readFile(path()), audio);
}

TEST_F(TagWriterTest, UpdateOfMissingFileCreatesNothing) {
    tag_.filename(path());
    tag_.title("T");
    tag_.UpdateID3Tags();
    EXPECT_NE(tag_.lastWriteError(), "");
    EXPECT_FALSE(std::filesystem::exists(path()));
}

TEST_F(TagWriterTest, PictureKeepsTheEncodingOfItsDescription) {
    // A UTF-8 description: the picture bytes are written back under the same encoding byte.
    const std::string pic =
        std::string("\x03image/png\0\x03", 13) + "Bild \xC3\xBC" + std::string("\0PNGDATA", 8);
    load(id3Tag(4, frame("APIC", pic, 4) + textFrame("TIT2", "T", 4)) + mpegFrames(1));
    tag_.title("New");
    EXPECT_NE(update().find(frame("APIC", pic, 4)), std::string::npos);
    // A picture the caller sets is bytes with no description encoding of its own.
    MultiFrameData fresh;
    fresh.Add(std::string("image/png\0\x03\0NEW", 15), std::nullopt, std::nullopt, true);
    reread().AttachedPictures(fresh);
    EXPECT_NE(update().find(frame("APIC", std::string("\0image/png\0\x03\0NEW", 16), 4)),
              std::string::npos);
}

TEST_F(TagWriterTest, ListFramesAddedForEveryItem) {
    load(mpegFrames(1));
    MultiFrameData links;
    links.Add("http://artist", std::nullopt, std::nullopt, false);
    tag_.ArtistURL(links);
    MultiFrameData pics;
    pics.Add(std::string("image/jpeg\0\x03\0P1", 15), std::nullopt, std::nullopt, true);
    pics.Add(std::string("image/jpeg\0\x03\0P2", 15), std::nullopt, std::nullopt, true);
    tag_.AttachedPictures(pics);
    const std::string bytes = update();
    EXPECT_NE(bytes.find(frame("WOAR", std::string("\0http://artist", 14), 3)), std::string::npos);
    auto& back = reread();
    EXPECT_EQ(back.ArtistURL().Item(1), "http://artist");
    EXPECT_EQ(back.AttachedPictures().Count(), 2);
    EXPECT_EQ(back.AttachedPictures().Item(2), std::string("image/jpeg\0\x03\0P2", 15));
}

TEST_F(TagWriterTest, ALinkFrameHasNoTextEncodingSoOtherLettersAreEscaped) {
    load(mpegFrames(1));
    MultiFrameData links;
    links.Add("http://caf\xC3\xA9.example/\xE2\x82\xAC", std::nullopt, std::nullopt, false);
    tag_.ArtistURL(links);
    const std::string bytes = update();
    // é fits Latin-1 but € does not: the whole address is written as escaped UTF-8 behind the 0
    // byte.
    const std::string escaped = "http://caf%C3%A9.example/%E2%82%AC";
    EXPECT_NE(bytes.find(frame("WOAR", std::string(1, '\0') + escaped, 3)), std::string::npos);
    EXPECT_EQ(bytes.find("\xFF\xFE"), std::string::npos) << "no UTF-16 text in a link frame";
    EXPECT_EQ(reread().ArtistURL().Item(1), escaped);
    MultiFrameData latin;
    latin.Add("http://caf\xC3\xA9.example/", std::nullopt, std::nullopt, false);
    tag_.ArtistURL(latin);
    EXPECT_NE(update().find(frame("WOAR", std::string(1, '\0') + "http://caf\xE9.example/", 3)),
              std::string::npos);
}

}  // namespace
}  // namespace tw::tags
