// ReplayGain values: their texts, where they are read from in a file, and how they are written.

#include <gtest/gtest.h>

#include <cctype>
#include <clocale>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <limits>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "tags/replay_gain.h"
#include "tests/tags/tag_test_util.h"
#include "tests/testlib/temp_dir.h"

namespace tw::tags {
namespace {

using test::frame;
using test::id3Tag;
using test::id3v1;
using test::mpegFrames;
using test::textFrame;

const std::string kGain = "REPLAYGAIN_TRACK_GAIN";
const std::string kPeak = "REPLAYGAIN_TRACK_PEAK";

// --- texts ---------------------------------------------------------------------------------

struct GainText {
    const char* name;
    const char* text;
    double value;
};

// Cases print as their names, not as bytes.
void PrintTo(const GainText& c, std::ostream* os) {
    *os << c.name;
}

class ReplayGainDbTextTest : public ::testing::TestWithParam<GainText> {};

TEST_P(ReplayGainDbTextTest, ReadsTheGain) {
    const auto gain = parseReplayGainDb(GetParam().text);
    ASSERT_TRUE(gain.has_value()) << "\"" << GetParam().text << "\"";
    EXPECT_DOUBLE_EQ(*gain, GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, ReplayGainDbTextTest,
    ::testing::Values(
        GainText{"Negative", "-6.53 dB", -6.53}, GainText{"Plus", "+2.10 dB", 2.10},
        GainText{"NoBlankBeforeUnit", "-6.53dB", -6.53},
        GainText{"LowerCaseUnit", "-6.53 db", -6.53}, GainText{"UpperCaseUnit", "-6.53 DB", -6.53},
        GainText{"BlanksAround", " -6.53 dB ", -6.53},
        GainText{"TabsAndLineEnd", "\t-6.53 dB\r\n", -6.53}, GainText{"NoUnit", "-6.53", -6.53},
        GainText{"DecimalComma", "-6,53 dB", -6.53}, GainText{"NoSign", "6.53 dB", 6.53},
        GainText{"Whole", "-12 dB", -12.0}, GainText{"Zero", "0.00 dB", 0.0},
        GainText{"Lowest", "-64.00 dB", -64.0}, GainText{"Highest", "64", 64.0},
        GainText{"ManyDecimals", "-6.530000 dB", -6.53}),
    [](const auto& info) { return std::string(info.param.name); });

class ReplayGainDbRejectTest : public ::testing::TestWithParam<const char*> {};

TEST_P(ReplayGainDbRejectTest, GivesNothing) {
    EXPECT_FALSE(parseReplayGainDb(GetParam()).has_value()) << "\"" << GetParam() << "\"";
}

INSTANTIATE_TEST_SUITE_P(Garbage, ReplayGainDbRejectTest,
                         ::testing::Values("", "   ", "dB", " dB", "-", "+ dB", "abc", "loud",
                                           "-6.53 dBx", "-6.53 dB junk", "-6.53 d B", "dB -6.53",
                                           "- 6.53 dB", "--6.53", "+-1", "6.5.3", "6,5.3",
                                           "6 53 dB", ".5 dB", "5. dB", "1e3", "-6.53e0 dB", "0x10",
                                           "nan", "NaN dB", "inf", "-inf dB", "infinity", "64.01",
                                           "-100 dB", "1000000 dB", "-6.53 dB\x01",
                                           "000000000000000000000000000000001"));

struct PeakText {
    const char* name;
    const char* text;
    double value;
};

void PrintTo(const PeakText& c, std::ostream* os) {
    *os << c.name;
}

class ReplayGainPeakTextTest : public ::testing::TestWithParam<PeakText> {};

TEST_P(ReplayGainPeakTextTest, ReadsThePeak) {
    const auto peak = parseReplayGainPeak(GetParam().text);
    ASSERT_TRUE(peak.has_value()) << "\"" << GetParam().text << "\"";
    EXPECT_DOUBLE_EQ(*peak, GetParam().value);
}

INSTANTIATE_TEST_SUITE_P(Forms, ReplayGainPeakTextTest,
                         ::testing::Values(PeakText{"SixDecimals", "0.988547", 0.988547},
                                           PeakText{"FullScale", "1.000000", 1.0},
                                           PeakText{"AboveFullScale", "1.2", 1.2},
                                           PeakText{"DecimalComma", "0,988547", 0.988547},
                                           PeakText{"BlanksAround", " 0.5 ", 0.5},
                                           PeakText{"Silence", "0", 0.0},
                                           PeakText{"Highest", "100", 100.0}),
                         [](const auto& info) { return std::string(info.param.name); });

class ReplayGainPeakRejectTest : public ::testing::TestWithParam<const char*> {};

TEST_P(ReplayGainPeakRejectTest, GivesNothing) {
    EXPECT_FALSE(parseReplayGainPeak(GetParam()).has_value()) << "\"" << GetParam() << "\"";
}

INSTANTIATE_TEST_SUITE_P(Garbage, ReplayGainPeakRejectTest,
                         ::testing::Values("", " ", "-0.5", "-0", "abc", "0.98x", "0.98 dB",
                                           "100.5", "1e-3", "nan", "inf", "0.9.8", ".98"));

TEST(ReplayGainTextTest, GainIsWrittenAsTheTaggersWriteIt) {
    EXPECT_EQ(formatReplayGainDb(-6.53), "-6.53 dB");
    EXPECT_EQ(formatReplayGainDb(2.1), "+2.10 dB");
    EXPECT_EQ(formatReplayGainDb(0.0), "+0.00 dB");
    EXPECT_EQ(formatReplayGainDb(-0.001), "+0.00 dB");
    EXPECT_EQ(formatReplayGainDb(-64.0), "-64.00 dB");
    EXPECT_EQ(formatReplayGainDb(12.0), "+12.00 dB");
}

TEST(ReplayGainTextTest, PeakIsWrittenWithSixDecimals) {
    EXPECT_EQ(formatReplayGainPeak(0.988547), "0.988547");
    EXPECT_EQ(formatReplayGainPeak(1.0), "1.000000");
    EXPECT_EQ(formatReplayGainPeak(1.23456789), "1.234568");
    EXPECT_EQ(formatReplayGainPeak(0.0), "0.000000");
}

TEST(ReplayGainTextTest, WrittenTextsReadBack) {
    for (double gain = -64.0; gain <= 64.0; gain += 0.37) {
        const auto back = parseReplayGainDb(formatReplayGainDb(gain));
        ASSERT_TRUE(back.has_value()) << gain;
        EXPECT_NEAR(*back, gain, 0.005 + 1e-9);
    }
    for (double peak = 0.0; peak <= 100.0; peak += 0.713) {
        const auto back = parseReplayGainPeak(formatReplayGainPeak(peak));
        ASSERT_TRUE(back.has_value()) << peak;
        EXPECT_NEAR(*back, peak, 0.0000005 + 1e-12);
    }
}

// A station set to a language with a decimal comma: the texts read and write as anywhere else.
// The locale is compiled into the test's folder, since a machine often has none installed.
TEST(ReplayGainTextTest, DecimalCommaLocaleChangesNothing) {
    test::TempDir dir;
    int status = 0;
    test::run("localedef -i de_DE -f UTF-8 " + test::quoted(dir / "de_DE.UTF-8") + " 2>&1",
              &status);
    if (status != 0) {
        GTEST_SKIP() << "localedef cannot build de_DE.UTF-8 here";
    }
    test::ScopedSurroundings surroundings(dir.path(), "LOCPATH", dir.str());
    ASSERT_NE(std::setlocale(LC_ALL, "de_DE.UTF-8"), nullptr);
    char printed[16];
    std::snprintf(printed, sizeof printed, "%.2f", 1.5);
    const std::string localText = printed;
    const auto gain = parseReplayGainDb("-6.53 dB");
    const auto peak = parseReplayGainPeak("0.988547");
    const std::string gainText = formatReplayGainDb(-6.53);
    const std::string peakText = formatReplayGainPeak(0.988547);
    std::setlocale(LC_ALL, "C");
    ASSERT_EQ(localText, "1,50") << "the locale did not take effect";
    ASSERT_TRUE(gain.has_value());
    EXPECT_DOUBLE_EQ(*gain, -6.53);
    ASSERT_TRUE(peak.has_value());
    EXPECT_DOUBLE_EQ(*peak, 0.988547);
    EXPECT_EQ(gainText, "-6.53 dB");
    EXPECT_EQ(peakText, "0.988547");
}

// --- building tags -------------------------------------------------------------------------

std::string le32(std::uint32_t v) {
    std::string out;
    for (int shift : {0, 8, 16, 24}) {
        out.push_back(static_cast<char>((v >> shift) & 0xFF));
    }
    return out;
}

std::string utf16(const std::string& ascii, bool bigEndian) {
    std::string out;
    for (char c : ascii) {
        out += bigEndian ? std::string{'\0', c} : std::string{c, '\0'};
    }
    return out;
}

// A user text frame's data in the given encoding: 0 ISO-8859-1, 1 UTF-16 with a byte-order mark
// in front of each text, 2 UTF-16 big-endian, 3 UTF-8.
std::string userTextData(const std::string& description, const std::string& value, int encoding) {
    std::string data(1, static_cast<char>(encoding));
    switch (encoding) {
        case 1:
            return data + "\xFF\xFE" + utf16(description, false) + std::string(2, '\0') +
                   "\xFF\xFE" + utf16(value, false);
        case 2:
            return data + utf16(description, true) + std::string(2, '\0') + utf16(value, true);
        default:
            return data + description + std::string(1, '\0') + value;
    }
}

std::string txxx(const std::string& description, const std::string& value, int revision,
                 int encoding = 0) {
    return frame(revision < 3 ? "TXX" : "TXXX", userTextData(description, value, encoding),
                 revision);
}

std::string apeItem(const std::string& key, const std::string& value, std::uint32_t flags = 0) {
    return le32(static_cast<std::uint32_t>(value.size())) + le32(flags) + key +
           std::string(1, '\0') + value;
}

struct ApeOptions {
    std::uint32_t version = 2000;
    bool header = true;
    std::optional<std::uint32_t> count = std::nullopt;  // the item count the footer claims
    std::optional<std::uint32_t> size = std::nullopt;   // the tag size the footer claims
    std::uint32_t footerFlags = 0;
};

// Items, with a header in front (as mp3gain writes it) and the footer behind.
std::string apeTag(const std::vector<std::string>& items, ApeOptions options = {}) {
    std::string body;
    for (const auto& item : items) {
        body += item;
    }
    const std::uint32_t size = options.size.value_or(static_cast<std::uint32_t>(body.size() + 32));
    const std::uint32_t count = options.count.value_or(static_cast<std::uint32_t>(items.size()));
    const std::uint32_t headerFlag = options.header ? 0x80000000u : 0;
    auto part = [&](std::uint32_t flags) {
        return "APETAGEX" + le32(options.version) + le32(size) + le32(count) + le32(flags) +
               std::string(8, '\0');
    };
    std::string tag = options.header ? part(headerFlag | 0x20000000u) : std::string();
    return tag + body + part(headerFlag | options.footerFlags);
}

std::string mp3gainApe(const std::string& gain, const std::string& peak) {
    return apeTag({apeItem("MP3GAIN_MINMAX", "130,190"), apeItem(kGain, gain), apeItem(kPeak, peak),
                   apeItem("MP3GAIN_UNDO", "+000,+000,N")});
}

// --- reading ---------------------------------------------------------------------------------

struct FileCase {
    const char* name;
    std::function<std::string()> bytes;
    std::optional<double> gain;
    std::optional<double> peak;
};

void PrintTo(const FileCase& c, std::ostream* os) {
    *os << c.name;
}

const std::string& audio() {
    static const std::string bytes = mpegFrames(3);
    return bytes;
}

std::string padding(std::size_t n = 64) {
    return std::string(n, '\0');
}

std::vector<FileCase> fileCases() {
    const std::string g = "-6.53 dB", p = "0.988547";
    return {
        {"Id3v23Latin1", [=] { return id3Tag(3, txxx(kGain, g, 3) + txxx(kPeak, p, 3)) + audio(); },
         -6.53, 0.988547},
        {"Id3v23Utf16WithMarks",
         [=] { return id3Tag(3, txxx(kGain, g, 3, 1) + txxx(kPeak, p, 3, 1)) + audio(); }, -6.53,
         0.988547},
        {"Id3v24Utf8BehindALargeFrame",
         [=] {
             return id3Tag(4, frame("PRIV", std::string(300, 'x'), 4) + txxx(kGain, g, 4, 3) +
                                  txxx(kPeak, p, 4, 3) + padding()) +
                    audio();
         },
         -6.53, 0.988547},
        {"Id3v24Utf16BigEndian",
         [=] { return id3Tag(4, txxx(kGain, g, 4, 2) + txxx(kPeak, p, 4, 2)) + audio(); }, -6.53,
         0.988547},
        {"Id3v22ShortFrames",
         [=] { return id3Tag(2, txxx(kGain, g, 2) + txxx(kPeak, p, 2) + padding()) + audio(); },
         -6.53, 0.988547},
        {"LowerCaseDescriptions",
         [] {
             return id3Tag(3, textFrame("TIT2", "Song", 3) +
                                  txxx("replaygain_track_gain", "+2.10 dB", 3) +
                                  txxx("replaygain_track_peak", "1.2", 3)) +
                    audio();
         },
         2.10, 1.2},
        {"AlbumValuesAreNotTrackValues",
         [] {
             return id3Tag(3, txxx("REPLAYGAIN_ALBUM_GAIN", "-9.00 dB", 3) +
                                  txxx("REPLAYGAIN_ALBUM_PEAK", "1.000000", 3) +
                                  txxx(kGain, "-4.00 dB", 3)) +
                    audio();
         },
         -4.0, std::nullopt},
        {"GainWithoutPeak", [=] { return id3Tag(3, txxx(kGain, g, 3)) + audio(); }, -6.53,
         std::nullopt},
        {"OnlyPeakGivesNothing", [=] { return id3Tag(3, txxx(kPeak, p, 3)) + audio(); },
         std::nullopt, std::nullopt},
        {"NoTagsGiveNothing", [] { return audio(); }, std::nullopt, std::nullopt},
        {"EmptyFileGivesNothing", [] { return std::string(); }, std::nullopt, std::nullopt},
        {"UnreadableGainThenAReadableOne",
         [] { return id3Tag(3, txxx(kGain, "loud", 3) + txxx(kGain, "-3.00 dB", 3)) + audio(); },
         -3.0, std::nullopt},
        {"WholeTagUnsynchronisation",
         [=] {
             // The frame in front holds FF E0, which the tag carries as FF 00 E0; its size counts
             // the bytes without the inserted 00.
             const std::string priv = frame("PRIV", "\xFF\xE0", 3);
             const std::string carried = priv.substr(0, 10) + std::string("\xFF\x00\xE0", 3);
             return id3Tag(3, carried + txxx(kGain, g, 3) + txxx(kPeak, p, 3), 0x80) + audio();
         },
         -6.53, 0.988547},
        {"Id3v24GroupAndDataLengthBytes",
         [=] {
             // Flags: grouping (0x40), unsynchronisation (0x02), data length (0x01).
             const std::string data = userTextData(kGain, g, 3);
             const std::string lengthBytes{'\0', '\0', '\0', static_cast<char>(data.size())};
             return id3Tag(4, frame("TXXX", "\x07" + lengthBytes + data, 4, 0x43)) + audio();
         },
         -6.53, std::nullopt},
        {"CompressedFrameIsSkipped",
         [=] { return id3Tag(3, frame("TXXX", userTextData(kGain, g, 0), 3, 0x80)) + audio(); },
         std::nullopt, std::nullopt},
        {"EncryptedFrameIsSkipped",
         [=] { return id3Tag(3, frame("TXXX", userTextData(kGain, g, 0), 3, 0x40)) + audio(); },
         std::nullopt, std::nullopt},
        {"DescriptionWithoutValue",
         [] { return id3Tag(3, frame("TXXX", std::string(1, '\0') + kGain, 3)) + audio(); },
         std::nullopt, std::nullopt},
        {"FrameSizeRunningPastTheTagEndsTheWalk",
         [=] {
             std::string lying = textFrame("TIT2", "Song", 3);
             lying[4] = '\x7F';  // 2 GB less a little
             return id3Tag(3, txxx(kGain, g, 3) + lying + txxx(kPeak, p, 3)) + audio();
         },
         -6.53, std::nullopt},
        {"FrameSizeBeyondTwoGigabytesEndsTheWalk",
         [=] {
             std::string lying = textFrame("TIT2", "Song", 3);
             lying[4] = '\x80';
             return id3Tag(3, lying + txxx(kGain, g, 3)) + audio();
         },
         std::nullopt, std::nullopt},
        {"GainFrameLongerThanTheTag",
         [=] {
             std::string gain = txxx(kGain, g, 3);
             gain[5] = '\x10';  // a megabyte
             return id3Tag(3, gain) + audio();
         },
         -6.53, std::nullopt},
        {"TagSizePastTheFileEnd",
         [=] {
             std::string tag = id3Tag(3, txxx(kGain, g, 3));
             tag[6] = '\x7F';
             return tag;
         },
         -6.53, std::nullopt},
        {"FrameCutShortAtTheFileEnd",
         [=] {
             const std::string tag = id3Tag(3, txxx(kGain, g, 3) + txxx(kPeak, p, 3));
             return tag.substr(0, tag.size() - 4);
         },
         -6.53, 0.98},
        {"ApeAtTheEnd", [=] { return audio() + mp3gainApe(g, p); }, -6.53, 0.988547},
        {"ApeBeforeId3v1",
         [=] { return audio() + mp3gainApe(g, p) + id3v1("Song", "", "", "", "", 255); }, -6.53,
         0.988547},
        {"ApeVersion1WithoutHeader",
         [=] {
             return audio() + apeTag({apeItem(kGain, g), apeItem(kPeak, p)},
                                     {.version = 1000, .header = false});
         },
         -6.53, 0.988547},
        {"ApeLowerCaseKeys",
         [] {
             return audio() + apeTag({apeItem("replaygain_track_gain", "-1.50 dB"),
                                      apeItem("replaygain_track_peak", "0,5")});
         },
         -1.5, 0.5},
        {"ApeValueEndingInNul",
         [] { return audio() + apeTag({apeItem(kGain, std::string("-1.50 dB\0", 9))}); }, -1.5,
         std::nullopt},
        {"Id3IsPreferredOverApe",
         [=] {
             return id3Tag(3, txxx(kGain, g, 3) + txxx(kPeak, p, 3)) + audio() +
                    mp3gainApe("-1.00 dB", "0.500000");
         },
         -6.53, 0.988547},
        {"Id3WithoutGainLeavesItToApe",
         [=] {
             return id3Tag(3, txxx(kPeak, p, 3)) + audio() + mp3gainApe("-1.00 dB", "0.500000");
         },
         -1.0, 0.5},
        {"ApeOnlyPeakGivesNothing", [=] { return audio() + apeTag({apeItem(kPeak, p)}); },
         std::nullopt, std::nullopt},
        {"ApeFooterCut",
         [=] {
             const std::string file = audio() + mp3gainApe(g, p);
             return file.substr(0, file.size() - 5);
         },
         std::nullopt, std::nullopt},
        {"ApeTagSizeLargerThanTheFile",
         [=] { return audio() + apeTag({apeItem(kGain, g)}, {.size = 1000000}); }, std::nullopt,
         std::nullopt},
        {"ApeTagSizeSmallerThanAFooter",
         [=] { return audio() + apeTag({apeItem(kGain, g)}, {.size = 12}); }, std::nullopt,
         std::nullopt},
        {"ApeTagSizeOfFourGigabytes",
         [=] { return audio() + apeTag({apeItem(kGain, g)}, {.size = 0xFFFFFFFFu}); }, std::nullopt,
         std::nullopt},
        {"ApeItemSizeLyingEndsTheWalk",
         [=] {
             std::string peak = apeItem(kPeak, p);
             peak[3] = '\xFF';
             return audio() + apeTag({apeItem(kGain, g), peak});
         },
         -6.53, std::nullopt},
        {"ApeItemCountLargerThanTheItems",
         [=] {
             return audio() + apeTag({apeItem(kGain, g), apeItem(kPeak, p)}, {.count = 5000});
         },
         -6.53, 0.988547},
        {"ApeItemCountSmallerThanTheItems",
         [=] {
             return audio() + apeTag({apeItem(kGain, g), apeItem(kPeak, p)}, {.count = 1});
         },
         -6.53, std::nullopt},
        {"ApeKeyWithoutEnd",
         [=] {
             std::string item = apeItem(kGain, "");
             item.pop_back();  // the key's NUL
             return audio() + apeTag({item});
         },
         std::nullopt, std::nullopt},
        {"ApeBinaryItemIsNoText", [=] { return audio() + apeTag({apeItem(kGain, g, 2)}); },
         std::nullopt, std::nullopt},
        {"ApeHeaderWhereTheFooterBelongs",
         [=] { return audio() + apeTag({apeItem(kGain, g)}, {.footerFlags = 0x20000000u}); },
         std::nullopt, std::nullopt},
        {"ApeUnknownVersion",
         [=] { return audio() + apeTag({apeItem(kGain, g)}, {.version = 3000}); }, std::nullopt,
         std::nullopt},
    };
}

class ReplayGainReadTest : public ::testing::TestWithParam<FileCase> {
  protected:
    test::TempDir dir_;
};

TEST_P(ReplayGainReadTest, FindsTheValues) {
    const auto path = dir_ / "track.mp3";
    test::writeFile(path, GetParam().bytes());
    const std::optional<ReplayGain> read = readReplayGain(path.string());
    if (!GetParam().gain) {
        EXPECT_FALSE(read.has_value());
        return;
    }
    ASSERT_TRUE(read.has_value());
    EXPECT_DOUBLE_EQ(read->trackGainDb, *GetParam().gain);
    ASSERT_EQ(read->trackPeak.has_value(), GetParam().peak.has_value());
    if (GetParam().peak) {
        EXPECT_DOUBLE_EQ(*read->trackPeak, *GetParam().peak);
    }
}

INSTANTIATE_TEST_SUITE_P(Files, ReplayGainReadTest, ::testing::ValuesIn(fileCases()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(ReplayGainReadFileTest, MissingFileGivesNothing) {
    test::TempDir dir;
    EXPECT_FALSE(readReplayGain((dir / "none.mp3").string()).has_value());
    EXPECT_FALSE(readReplayGain(dir.str()).has_value());
}

TEST(ReplayGainReadFileTest, ApeTagInMemoryReadsAsInAFile) {
    const std::string tail = mp3gainApe("-6.53 dB", "0.988547") + id3v1("", "", "", "", "", 255);
    const auto read =
        readApeReplayGain({reinterpret_cast<const std::uint8_t*>(tail.data()), tail.size()});
    ASSERT_TRUE(read.has_value());
    EXPECT_DOUBLE_EQ(read->trackGainDb, -6.53);
    EXPECT_DOUBLE_EQ(read->trackPeak.value_or(0), 0.988547);
    // The same bytes cut in front of the tag's first item leave the tag out of reach.
    const auto cut = readApeReplayGain(
        {reinterpret_cast<const std::uint8_t*>(tail.data()) + 40, tail.size() - 40});
    EXPECT_FALSE(cut.has_value());
}

// --- writing ---------------------------------------------------------------------------------

// The frames every write below gives, -6.53 dB and 0.988547.
std::string rgFrames(int revision) {
    return txxx(kGain, "-6.53 dB", revision) + txxx(kPeak, "0.988547", revision);
}

// Files differ at one place; show that place rather than two whole files.
::testing::AssertionResult sameBytes(const std::string& actual, const std::string& expected) {
    if (actual == expected) {
        return ::testing::AssertionSuccess();
    }
    std::size_t at = 0;
    while (at < actual.size() && at < expected.size() && actual[at] == expected[at]) {
        ++at;
    }
    const auto excerpt = [&](const std::string& s) {
        return ::testing::PrintToString(s.substr(at, 48));
    };
    return ::testing::AssertionFailure()
           << "sizes " << actual.size() << " and " << expected.size() << ", first difference at "
           << at << ": " << excerpt(actual) << " instead of " << excerpt(expected);
}

class ReplayGainWriteTest : public ::testing::Test {
  protected:
    std::string path() const { return (dir_ / "track.mp3").string(); }
    void load(const std::string& bytes) { test::writeFile(path(), bytes); }
    std::string write(double gain, double peak) {
        std::string error;
        EXPECT_TRUE(writeReplayGain(path(), gain, peak, error)) << error;
        EXPECT_EQ(error, "");
        return test::readFile(path());
    }
    std::vector<std::string> folderEntries() const {
        std::vector<std::string> names;
        for (const auto& e : std::filesystem::directory_iterator(dir_.path())) {
            names.push_back(e.path().filename().string());
        }
        return names;
    }
    test::TempDir dir_;
};

std::size_t countNoCase(std::string haystack, std::string needle) {
    for (char& c : haystack) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    for (char& c : needle) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    std::size_t n = 0;
    for (auto at = haystack.find(needle); at != std::string::npos;
         at = haystack.find(needle, at + 1)) {
        ++n;
    }
    return n;
}

TEST_F(ReplayGainWriteTest, WrittenValuesReadBack) {
    load(audio());
    write(-6.53, 0.988547);
    const auto read = readReplayGain(path());
    ASSERT_TRUE(read.has_value());
    EXPECT_DOUBLE_EQ(read->trackGainDb, -6.53);
    EXPECT_DOUBLE_EQ(read->trackPeak.value_or(0), 0.988547);
}

TEST_F(ReplayGainWriteTest, FileWithoutTagGetsARevision3TagWithPadding) {
    load(audio());
    const std::string expected =
        id3Tag(3, txxx(kGain, "+2.10 dB", 3) + txxx(kPeak, "1.200000", 3) + padding(2048)) +
        audio();
    EXPECT_TRUE(sameBytes(write(2.1, 1.2), expected));
    EXPECT_EQ(folderEntries(), std::vector<std::string>{"track.mp3"});
}

TEST_F(ReplayGainWriteTest, OtherFramesAudioAndEndTagsAreKeptByteForByte) {
    const std::string frames = textFrame("TIT2", "Title", 3) + txxx("ARTISTS", "A; B", 3, 1) +
                               txxx("REPLAYGAIN_ALBUM_GAIN", "-9.00 dB", 3) +
                               frame("APIC", std::string("\0image/png\0\x03\0PNG", 16), 3);
    const std::string end =
        audio() + mp3gainApe("-1.00 dB", "0.500000") + id3v1("Title", "", "", "", "", 255);
    load(id3Tag(3, frames + padding(100)) + end);
    const std::string expected = id3Tag(3, rgFrames(3) + frames + padding(100)) + end;
    EXPECT_TRUE(sameBytes(write(-6.53, 0.988547), expected));
}

TEST_F(ReplayGainWriteTest, FramesOfAnyCaseAreReplacedNotAdded) {
    const std::string title = textFrame("TIT2", "Title", 3);
    const std::string album = txxx("replaygain_album_gain", "-9.00 dB", 3);
    load(id3Tag(3, txxx("replaygain_track_gain", "-1.00 dB", 3) + title +
                       txxx("Replaygain_Track_Peak", "0.5", 3, 1) + album +
                       txxx(kGain, "-2.00 dB", 3)) +
         audio());
    const std::string expected = id3Tag(3, rgFrames(3) + title + album + padding(2048)) + audio();
    EXPECT_TRUE(sameBytes(write(-6.53, 0.988547), expected));
}

TEST_F(ReplayGainWriteTest, WritingTwiceLeavesOneFrameOfEach) {
    load(id3Tag(3, textFrame("TIT2", "Title", 3) + padding(500)) + audio());
    write(-6.53, 0.988547);
    const std::string bytes = write(-3.25, 0.75);
    EXPECT_EQ(countNoCase(bytes, kGain), 1u);
    EXPECT_EQ(countNoCase(bytes, kPeak), 1u);
    EXPECT_NE(bytes.find(txxx(kGain, "-3.25 dB", 3)), std::string::npos);
    EXPECT_NE(bytes.find(txxx(kPeak, "0.750000", 3)), std::string::npos);
    EXPECT_EQ(bytes.size(), 10 + textFrame("TIT2", "Title", 3).size() +
                                txxx(kGain, "-3.25 dB", 3).size() +
                                txxx(kPeak, "0.750000", 3).size() + 500 + audio().size());
    const auto read = readReplayGain(path());
    ASSERT_TRUE(read.has_value());
    EXPECT_DOUBLE_EQ(read->trackGainDb, -3.25);
    EXPECT_DOUBLE_EQ(read->trackPeak.value_or(0), 0.75);
}

class ReplayGainWriteRevisionTest : public ReplayGainWriteTest,
                                    public ::testing::WithParamInterface<int> {};

TEST_P(ReplayGainWriteRevisionTest, FramesTakeTheTagsRevision) {
    const int revision = GetParam();
    const std::string title = textFrame(revision < 3 ? "TT2" : "TIT2", "Title", revision);
    load(id3Tag(revision, title + padding(10)) + audio());
    const std::string expected =
        id3Tag(revision, rgFrames(revision) + title + padding(10)) + audio();
    EXPECT_TRUE(sameBytes(write(-6.53, 0.988547), expected));
    EXPECT_TRUE(readReplayGain(path()).has_value());
}

INSTANTIATE_TEST_SUITE_P(Revisions, ReplayGainWriteRevisionTest, ::testing::Values(2, 3, 4));

TEST_F(ReplayGainWriteTest, WholeTagUnsynchronisationIsUndoneAndItsFlagCleared) {
    const std::string priv = frame("PRIV", "\xFF\xE0", 3);
    const std::string carried = priv.substr(0, 10) + std::string("\xFF\x00\xE0", 3);
    load(id3Tag(3, carried + padding(20), 0x80) + audio());
    const std::string expected = id3Tag(3, rgFrames(3) + priv + padding(20)) + audio();
    EXPECT_TRUE(sameBytes(write(-6.53, 0.988547), expected));
}

TEST_F(ReplayGainWriteTest, FrameSizeRunningPastTheTagDoesNotHideTheNewFrames) {
    std::string lying = textFrame("TIT2", "Title", 3);
    lying[4] = '\x7F';
    load(id3Tag(3, lying + txxx(kGain, "-1.00 dB", 3)) + audio());
    write(-6.53, 0.988547);
    const auto read = readReplayGain(path());
    ASSERT_TRUE(read.has_value());
    EXPECT_DOUBLE_EQ(read->trackGainDb, -6.53);
    EXPECT_DOUBLE_EQ(read->trackPeak.value_or(0), 0.988547);
}

TEST_F(ReplayGainWriteTest, ValuesOutOfRangeAreRefusedAndTheFileIsUntouched) {
    const std::string before = id3Tag(3, textFrame("TIT2", "Title", 3)) + audio();
    load(before);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    for (auto [gain, peak] : std::vector<std::pair<double, double>>{
             {64.5, 0.5}, {-70, 0.5}, {nan, 0.5}, {inf, 0.5}, {-6, -0.1}, {-6, 100.5}, {-6, nan}}) {
        std::string error;
        EXPECT_FALSE(writeReplayGain(path(), gain, peak, error)) << gain << " " << peak;
        EXPECT_NE(error, "");
    }
    EXPECT_TRUE(sameBytes(test::readFile(path()), before));
}

TEST_F(ReplayGainWriteTest, CompressedTagIsLeftAlone) {
    const std::string before = id3Tag(2, textFrame("TT2", "Title", 2), 0x40) + audio();
    load(before);
    std::string error;
    EXPECT_FALSE(writeReplayGain(path(), -6.53, 0.988547, error));
    EXPECT_NE(error, "");
    EXPECT_TRUE(sameBytes(test::readFile(path()), before));
    EXPECT_EQ(folderEntries(), std::vector<std::string>{"track.mp3"});
}

TEST_F(ReplayGainWriteTest, MissingFileFails) {
    std::string error;
    EXPECT_FALSE(writeReplayGain(path(), -6.53, 0.988547, error));
    EXPECT_NE(error, "");
    EXPECT_TRUE(folderEntries().empty());
}

// --- other programs ----------------------------------------------------------------------------

class ReplayGainFfmpegTest : public ::testing::TestWithParam<int> {
  protected:
    test::TempDir dir_;
};

TEST_P(ReplayGainFfmpegTest, ReadsWhatFfmpegWrites) {
    const auto tone = test::lameTone(dir_.path(), "tone.mp3");
    const auto tagged = dir_ / "tagged.mp3";
    int status = 0;
    test::run("ffmpeg -v quiet -y -i " + test::quoted(tone) + " -c copy -id3v2_version " +
                  std::to_string(GetParam()) +
                  " -metadata REPLAYGAIN_TRACK_GAIN='-6.53 dB' -metadata "
                  "replaygain_track_peak=0.988547 " +
                  test::quoted(tagged),
              &status);
    ASSERT_EQ(status, 0);
    const auto read = readReplayGain(tagged.string());
    ASSERT_TRUE(read.has_value());
    EXPECT_DOUBLE_EQ(read->trackGainDb, -6.53);
    EXPECT_DOUBLE_EQ(read->trackPeak.value_or(0), 0.988547);
}

TEST_P(ReplayGainFfmpegTest, FfprobeReadsWhatIsWritten) {
    const auto tone = test::lameTone(dir_.path(), "tone.mp3");
    const auto tagged = dir_ / "tagged.mp3";
    test::run("ffmpeg -v quiet -y -i " + test::quoted(tone) + " -c copy -id3v2_version " +
              std::to_string(GetParam()) + " -metadata title=Song " + test::quoted(tagged));
    const std::string audioBefore = test::decodedAudio(tagged);
    ASSERT_GT(audioBefore.size(), 100000u);
    std::string error;
    ASSERT_TRUE(writeReplayGain(tagged.string(), -6.53, 0.988547, error)) << error;
    const std::string tags = test::run(
        "ffprobe -v quiet -show_entries "
        "format_tags=title,REPLAYGAIN_TRACK_GAIN,REPLAYGAIN_TRACK_PEAK -of default=nw=1 " +
        test::quoted(tagged));
    EXPECT_NE(tags.find("TAG:title=Song\n"), std::string::npos) << tags;
    EXPECT_NE(tags.find("TAG:REPLAYGAIN_TRACK_GAIN=-6.53 dB\n"), std::string::npos) << tags;
    EXPECT_NE(tags.find("TAG:REPLAYGAIN_TRACK_PEAK=0.988547\n"), std::string::npos) << tags;
    EXPECT_TRUE(test::decodedAudio(tagged) == audioBefore) << "audio changed";
}

INSTANTIATE_TEST_SUITE_P(Id3Revisions, ReplayGainFfmpegTest, ::testing::Values(3, 4));

}  // namespace
}  // namespace tw::tags
