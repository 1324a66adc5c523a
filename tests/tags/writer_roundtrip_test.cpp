// Files written by other programs read with the right values, and every file the writer
// produces reads back in ffprobe with the same title, artist and album while its audio decodes
// to the same samples.

#include <gtest/gtest.h>

#include "tags/id3_tag.h"
#include "tests/tags/tag_test_util.h"
#include "tests/testlib/temp_dir.h"

namespace tw::tags {
namespace {

using test::quoted;
using test::run;

struct Source {
    const char* name;
    const char* command;  // %W is the tone, %O the output; empty for lame's own tags
    const char* lameArgs;
    int revision;
    bool id3v1;
};

void PrintTo(const Source& s, std::ostream* os) {
    *os << s.name;
}

const Source kSources[] = {
    {"LameId3v2", "",
     "--tt \"Lame Title\" --ta \"Lame Artist\" --tl \"Lame Album\" --ty 2001 --tc \"A note\" "
     "--tn 5 --add-id3v2",
     3, true},
    {"LameId3v1Only", "",
     "--tt \"Lame Title\" --ta \"Lame Artist\" --tl \"Lame Album\" --ty 2001 --tc \"A note\" "
     "--tn 5 --id3v1-only",
     0, true},
    {"FfmpegId3v23",
     "ffmpeg -v quiet -i %W -metadata title=\"Lame Title\" -metadata artist=\"Lame Artist\" "
     "-metadata album=\"Lame Album\" -metadata date=2001 -metadata comment=\"A note\" "
     "-metadata track=5 -id3v2_version 3 %O",
     "", 3, false},
    {"FfmpegId3v24",
     "ffmpeg -v quiet -i %W -metadata title=\"Lame Title\" -metadata artist=\"Lame Artist\" "
     "-metadata album=\"Lame Album\" -metadata date=2001-06-30 -metadata comment=\"A note\" "
     "-metadata track=5 -id3v2_version 4 %O",
     "", 4, false},
};

std::string replaceAll(std::string s, const std::string& from, const std::string& to) {
    for (auto p = s.find(from); p != std::string::npos; p = s.find(from, p + to.size())) {
        s.replace(p, from.size(), to);
    }
    return s;
}

class OtherProgramsTest : public ::testing::TestWithParam<Source> {
  protected:
    std::filesystem::path make() {
        const Source& s = GetParam();
        if (std::string(s.command).empty()) {
            return test::lameTone(dir_.path(), "track.mp3", s.lameArgs);
        }
        const auto wav = dir_ / "tone.wav";
        run("sox -q -n -r 44100 -c 2 -b 16 " + quoted(wav) + " synth 1 sine 440");
        const auto out = dir_ / "track.mp3";
        run(replaceAll(replaceAll(s.command, "%W", quoted(wav)), "%O", quoted(out)));
        std::filesystem::remove(wav);
        return out;
    }
    test::TempDir dir_;
};

TEST_P(OtherProgramsTest, ReadsTheirValues) {
    const auto file = make();
    ASSERT_TRUE(std::filesystem::exists(file));
    clsID3 tag;
    tag.filename(file.string());
    EXPECT_EQ(tag.title(), "Lame Title");
    EXPECT_EQ(tag.Artist(), "Lame Artist");
    EXPECT_EQ(tag.Album(), "Lame Album");
    EXPECT_EQ(tag.year(), "2001");
    EXPECT_EQ(tag.TrackNumber(), "5");
    EXPECT_EQ(tag.ID3v1Exists(), GetParam().id3v1);
    EXPECT_EQ(tag.ID3RevisionV2(), GetParam().revision == 0 ? 3 : GetParam().revision);
    if (std::string(GetParam().command).empty()) {
        EXPECT_EQ(tag.Comments(), "A note");
    } else {
        // ffmpeg files a comment as a user text frame ("TXXX" described "comment"), which
        // feeds no field.
        EXPECT_EQ(tag.Comments(), "");
    }
    tag.RefreshID3Tags();
    EXPECT_EQ(tag.SamplingRateFrequency(), 44100);
    EXPECT_EQ(tag.MPEGVersion(), 2);
    EXPECT_EQ(tag.Layer(), 1);
    // An Info block leaves the file "constant": its length comes from the first frame's bitrate,
    // which ffmpeg sets as low as the block allows.
    EXPECT_EQ(tag.Encoding(), 0);
    EXPECT_DOUBLE_EQ(tag.Length(), tag.audioState().audioSize / tag.bitrate() * 8);
    if (std::string(GetParam().command).empty()) {
        EXPECT_NEAR(tag.Length(), 1.0, 0.1);
    }
}

TEST_P(OtherProgramsTest, UpdateKeepsAudioAndFfprobeReadsTheNewValues) {
    const auto file = make();
    const std::string audioBefore = test::decodedAudio(file);
    ASSERT_GT(audioBefore.size(), 100000u);
    clsID3 tag;
    tag.filename(file.string());
    tag.title("Neuer Titel \xC3\xA4");
    tag.Artist("Band \xE9\x9F\xB3");  // outside ISO-8859-1
    tag.Album("An album whose name is longer than thirty characters");
    tag.UpdateID3Tags();
    ASSERT_EQ(tag.lastWriteError(), "");
    EXPECT_EQ(test::ffprobeTags(file),
              "title=Neuer Titel \xC3\xA4\nartist=Band \xE9\x9F\xB3\n"
              "album=An album whose name is longer than thirty characters");
    EXPECT_TRUE(test::decodedAudio(file) == audioBefore) << "audio changed";
    clsID3 back;
    back.filename(file.string());
    EXPECT_EQ(back.title(), "Neuer Titel \xC3\xA4");
    EXPECT_EQ(back.Artist(), "Band \xE9\x9F\xB3");
    EXPECT_EQ(back.Album(), "An album whose name is longer than thirty characters");
    EXPECT_EQ(back.year(), "2001");

    // A second update on the result, and the delete, keep the audio too.
    back.title("Again");
    back.UpdateID3Tags();
    EXPECT_EQ(test::ffprobeTags(file),
              "title=Again\nartist=Band \xE9\x9F\xB3\n"
              "album=An album whose name is longer than thirty characters");
    EXPECT_TRUE(test::decodedAudio(file) == audioBefore) << "audio changed";
    back.DeleteID3Tags();
    EXPECT_EQ(test::ffprobeTags(file), "title=\nartist=\nalbum=");
    EXPECT_TRUE(test::decodedAudio(file) == audioBefore) << "audio changed";
}

INSTANTIATE_TEST_SUITE_P(Sources, OtherProgramsTest, ::testing::ValuesIn(kSources),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(WriterRoundTripTest, UntaggedLameFileGainsTagsFfprobeReads) {
    test::TempDir dir;
    const auto file = test::lameTone(dir.path(), "plain.mp3");
    const std::string audioBefore = test::decodedAudio(file);
    clsID3 tag;
    tag.filename(file.string());
    EXPECT_FALSE(tag.ID3v2Exists());
    tag.title("T");
    tag.Artist("A");
    tag.Album("L");
    tag.UpdateID3Tags();
    EXPECT_EQ(test::ffprobeTags(file), "title=T\nartist=A\nalbum=L");
    EXPECT_TRUE(test::decodedAudio(file) == audioBefore) << "audio changed";
}

TEST(WriterRoundTripTest, Revision2FileKeepsItsRevisionAndAudio) {
    test::TempDir dir;
    const auto plain = test::lameTone(dir.path(), "plain.mp3");
    const std::string audio = test::readFile(plain);
    const auto file = dir / "v22.mp3";
    test::writeFile(
        file, test::id3Tag(2, test::textFrame("TT2", "Old", 2) + test::textFrame("TP1", "Who", 2) +
                                  std::string(64, '\0')) +
                  audio);
    const std::string audioBefore = test::decodedAudio(file);
    clsID3 tag;
    tag.filename(file.string());
    tag.title("New");
    tag.Album("Disc");
    tag.UpdateID3Tags();
    EXPECT_EQ(test::ffprobeTags(file), "title=New\nartist=Who\nalbum=Disc");
    EXPECT_TRUE(test::decodedAudio(file) == audioBefore) << "audio changed";
    tag.filename(file.string());
    EXPECT_EQ(tag.ID3RevisionV2(), 2);
}

}  // namespace
}  // namespace tw::tags
