#include "core/ini_document.h"

#include <gtest/gtest.h>

#include <string>

namespace tw::core {
namespace {

std::string valueOf(const IniDocument& doc, std::string_view section, std::string_view key) {
    const auto v = doc.find(section, key);
    return v ? std::string(*v) : std::string("<none>");
}

TEST(IniDocumentTest, SectionAndKeyNamesMatchWithoutRegardToCase) {
    const IniDocument doc("[Tarnwave]\nLastPeak=17\n");
    EXPECT_EQ(valueOf(doc, "tarnWAVE", "lastpeak"), "17");
    EXPECT_EQ(valueOf(doc, "TARNWAVE", "LASTPEAK"), "17");
}

TEST(IniDocumentTest, CaseFoldingIsAsciiOnlyAndOtherBytesMatchExactly) {
    const IniDocument doc("[Motörhead - Ace]\nPlayCount=3\n[ÄRA]\nk=1\n");
    EXPECT_EQ(valueOf(doc, "MOTöRHEAD - ACE", "playcount"), "3");
    EXPECT_EQ(valueOf(doc, "MOTÖRHEAD - ACE", "playcount"), "<none>");
    EXPECT_EQ(valueOf(doc, "ÄRA", "k"), "1");
    EXPECT_EQ(valueOf(doc, "äRA", "k"), "<none>");
}

TEST(IniDocumentTest, TwoKeysFoundTogetherAreTheKeysFoundOneByOne) {
    const IniDocument doc("[a]\nx=1\ny='two'\n[b]\nx=3\n[A]\nz=4\n");
    for (const char* section : {"a", " A ", "b", "none"}) {
        for (const char* key1 : {"x", "Y", "z", ""}) {
            for (const char* key2 : {"x", "y", "z"}) {
                const auto both = doc.find(section, key1, key2);
                EXPECT_EQ(both[0], doc.find(section, key1)) << section << key1;
                EXPECT_EQ(both[1], doc.find(section, key2)) << section << key2;
            }
        }
    }
    EXPECT_EQ(doc.find("a", "y", "x")[0], "two");
}

TEST(IniDocumentTest, FirstSectionOfANameWins) {
    const IniDocument doc("[a]\nx=first\n[b]\ny=2\n[A]\nx=second\nonlyHere=1\n");
    EXPECT_EQ(valueOf(doc, "a", "x"), "first");
    // The second section of the same name is never looked at, not even for keys the first lacks.
    EXPECT_EQ(valueOf(doc, "a", "onlyHere"), "<none>");
}

TEST(IniDocumentTest, FirstKeyOfANameWinsWithinItsSection) {
    const IniDocument doc("[s]\nKey=one\nkey=two\nKEY=three\n");
    EXPECT_EQ(valueOf(doc, "s", "key"), "one");
}

TEST(IniDocumentTest, BlanksAroundNamesAndValuesDoNotCount) {
    const IniDocument doc(
        "  [  My Section \t]  \n \t Some Key \t=  \t a value with  inner blanks \t\n");
    EXPECT_EQ(valueOf(doc, "My Section", "Some Key"), "a value with  inner blanks");
    EXPECT_EQ(valueOf(doc, " My Section  ", "\tSome Key "), "a value with  inner blanks");
}

TEST(IniDocumentTest, MatchingPairOfQuotesIsRemoved) {
    const IniDocument doc(
        "[q]\n"
        "double=\"quoted text\"\n"
        "single='quoted text'\n"
        "mixed=\"not a pair'\n"
        "open=\"only at the start\n"
        "inner=a \"b\" c\n"
        "twice=\"\"twice\"\"\n"
        "lone=\"\n"
        "blanksOutside=  \" kept inside \"  \n");
    EXPECT_EQ(valueOf(doc, "q", "double"), "quoted text");
    EXPECT_EQ(valueOf(doc, "q", "single"), "quoted text");
    EXPECT_EQ(valueOf(doc, "q", "mixed"), "\"not a pair'");
    EXPECT_EQ(valueOf(doc, "q", "open"), "\"only at the start");
    EXPECT_EQ(valueOf(doc, "q", "inner"), "a \"b\" c");
    EXPECT_EQ(valueOf(doc, "q", "twice"), "\"twice\"");
    EXPECT_EQ(valueOf(doc, "q", "lone"), "\"");
    EXPECT_EQ(valueOf(doc, "q", "blanksOutside"), " kept inside ");
}

TEST(IniDocumentTest, KeysBeforeTheFirstSectionBelongToNoSection) {
    const IniDocument doc("loose=1\n[s]\nk=2\n");
    EXPECT_EQ(valueOf(doc, "", "loose"), "<none>");
    EXPECT_EQ(valueOf(doc, "s", "loose"), "<none>");
    EXPECT_EQ(valueOf(doc, "s", "k"), "2");
}

TEST(IniDocumentTest, CommentsAndStrayLinesAreNotKeys) {
    const IniDocument doc("[s]\n;k=commented\njust some text\n[no closing bracket\nk=real\n");
    EXPECT_EQ(valueOf(doc, "s", "k"), "real");
    EXPECT_EQ(valueOf(doc, "s", ";k"), "<none>");
    EXPECT_EQ(valueOf(doc, "no closing bracket", "k"), "<none>");
}

TEST(IniDocumentTest, EmptyValueIsAValue) {
    const IniDocument doc("[s]\nempty=\nblank=   \n");
    EXPECT_EQ(valueOf(doc, "s", "empty"), "");
    EXPECT_EQ(valueOf(doc, "s", "blank"), "");
    EXPECT_EQ(valueOf(doc, "s", "absent"), "<none>");
}

TEST(IniDocumentTest, ReadingBackGivesEveryByteAsItWas) {
    const std::string bytes =
        "; station settings\r\n\r\n  [A]  \r\nk = v \r\nstray\rcr-only=1\r\n\n[B]\nx=\"y\"\n\tz";
    const IniDocument doc(bytes);
    EXPECT_EQ(doc.serialize(), bytes);
    EXPECT_EQ(doc.byteSize(), bytes.size());
    EXPECT_TRUE(doc.sameBytes(bytes));
    EXPECT_FALSE(doc.sameBytes(bytes + "\n"));
    EXPECT_FALSE(doc.sameBytes(bytes.substr(0, bytes.size() - 1) + "Z"));
}

TEST(IniDocumentTest, WriteReplacesTheFirstMatchingLineAndKeepsAllOthers) {
    IniDocument doc("; top\n[s]\n  Count = 1 ; old\ncount=2\n\n[t]\nCount=9\n");
    EXPECT_TRUE(doc.set("S", "COUNT", "5"));
    EXPECT_EQ(doc.serialize(), "; top\n[s]\nCount=5\ncount=2\n\n[t]\nCount=9\n");
    EXPECT_EQ(valueOf(doc, "s", "count"), "5");
}

TEST(IniDocumentTest, WriteOfNewKeyGoesAfterTheLastKeyOfItsSection) {
    IniDocument doc("[s]\na=1\n; note\nb=2\n\n\n[t]\nc=3\n");
    EXPECT_TRUE(doc.set("s", "new", "x"));
    EXPECT_EQ(doc.serialize(), "[s]\na=1\n; note\nb=2\nnew=x\n\n\n[t]\nc=3\n");
}

TEST(IniDocumentTest, WriteOfNewKeyInSectionWithoutKeysGoesUnderItsHeader) {
    IniDocument doc("[s]\n\n[t]\n");
    EXPECT_TRUE(doc.set("s", "k", "v"));
    EXPECT_EQ(doc.serialize(), "[s]\nk=v\n\n[t]\n");
}

TEST(IniDocumentTest, WriteOfNewSectionGoesAtTheEnd) {
    IniDocument doc("[s]\na=1\n");
    EXPECT_TRUE(doc.set("New One", "k", "v"));
    EXPECT_EQ(doc.serialize(), "[s]\na=1\n[New One]\nk=v\n");

    IniDocument noFinalBreak("[s]\na=1");
    EXPECT_TRUE(noFinalBreak.set("t", "k", "v"));
    EXPECT_EQ(noFinalBreak.serialize(), "[s]\na=1\n[t]\nk=v\n");

    IniDocument empty;
    EXPECT_TRUE(empty.set("t", "k", "v"));
    EXPECT_EQ(empty.serialize(), "[t]\nk=v\n");
}

TEST(IniDocumentTest, WriteAfterLastLineWithoutBreakAddsTheBreak) {
    IniDocument doc("[s]\na=1");
    EXPECT_TRUE(doc.set("s", "b", "2"));
    EXPECT_EQ(doc.serialize(), "[s]\na=1\nb=2\n");
}

TEST(IniDocumentTest, WriteWithNoValueDeletesTheFirstMatchingKey) {
    IniDocument doc("[s]\nk=1\nother=x\nK=2\n");
    EXPECT_TRUE(doc.set("s", "k", std::nullopt));
    EXPECT_EQ(doc.serialize(), "[s]\nother=x\nK=2\n");
    // The next key of the same name comes into view.
    EXPECT_EQ(valueOf(doc, "s", "k"), "2");
    EXPECT_FALSE(doc.set("s", "absent", std::nullopt));
    EXPECT_FALSE(doc.set("no such section", "k", std::nullopt));
    EXPECT_EQ(doc.serialize(), "[s]\nother=x\nK=2\n");
}

TEST(IniDocumentTest, WriteOfEmptyTextKeepsTheKey) {
    IniDocument doc("[s]\nk=1\n");
    EXPECT_TRUE(doc.set("s", "k", ""));
    EXPECT_EQ(doc.serialize(), "[s]\nk=\n");
    EXPECT_EQ(valueOf(doc, "s", "k"), "");
}

TEST(IniDocumentTest, WriteOfTheSameValueChangesNothing) {
    IniDocument doc("[s]\nk = 1\n");
    EXPECT_FALSE(doc.set("s", "k", "1"));
    EXPECT_EQ(doc.serialize(), "[s]\nk = 1\n");
}

TEST(IniDocumentTest, CrLfFileKeepsCrLfForNewLines) {
    IniDocument doc("[s]\r\na=1\r\n");
    EXPECT_TRUE(doc.set("s", "a", "2"));
    EXPECT_TRUE(doc.set("s", "b", "3"));
    EXPECT_TRUE(doc.set("t", "c", "4"));
    EXPECT_EQ(doc.serialize(), "[s]\r\na=2\r\nb=3\r\n[t]\r\nc=4\r\n");
}

TEST(IniDocumentTest, ValueWithLineBreakIsWrittenAsItStands) {
    IniDocument doc("[s]\nk=1\nafter=2\n");
    EXPECT_TRUE(doc.set("s", "k", "first line\nsecond line"));
    EXPECT_EQ(doc.serialize(), "[s]\nk=first line\nsecond line\nafter=2\n");
    // Read back as the file reads: the part before the break, the rest a stray line.
    EXPECT_EQ(valueOf(doc, "s", "k"), "first line");
    EXPECT_EQ(valueOf(doc, "s", "after"), "2");
    EXPECT_EQ(valueOf(doc, "s", "second line"), "<none>");
}

TEST(IniDocumentTest, ValueThatBreaksIntoAHeaderReadsAsTheFileWould) {
    IniDocument doc("[s]\nk=1\nafter=2\n");
    EXPECT_TRUE(doc.set("s", "k", "x\r\n[other]\r\nz=9"));
    EXPECT_EQ(valueOf(doc, "s", "k"), "x");
    EXPECT_EQ(valueOf(doc, "other", "z"), "9");
    EXPECT_EQ(valueOf(doc, "other", "after"), "2");
    EXPECT_EQ(valueOf(doc, "s", "after"), "<none>");
}

TEST(IniDocumentTest, KeyNameWithEqualsSignReadsAsTheFileWould) {
    IniDocument doc;
    EXPECT_TRUE(doc.set("s", "a=b", "c"));
    EXPECT_EQ(doc.serialize(), "[s]\na=b=c\n");
    EXPECT_EQ(valueOf(doc, "s", "a"), "b=c");
}

TEST(IniDocumentTest, LargeSectionLooksUpKeysByIndexWithFirstMatchWinning) {
    std::string text = "[playlist]\n";
    for (int i = 1; i <= 2000; ++i) {
        text += "File" + std::to_string(i) + "=/music/" + std::to_string(i) + ".mp3\n";
    }
    text += "file7=duplicate\nNumberOfEntries=1999\nVersion=2\n";
    IniDocument doc(text);
    EXPECT_EQ(valueOf(doc, "playlist", "file1"), "/music/1.mp3");
    EXPECT_EQ(valueOf(doc, "playlist", "FILE2000"), "/music/2000.mp3");
    EXPECT_EQ(valueOf(doc, "playlist", "file7"), "/music/7.mp3");
    EXPECT_EQ(valueOf(doc, "playlist", "file2001"), "<none>");
    EXPECT_TRUE(doc.set("playlist", "File7", std::nullopt));
    EXPECT_EQ(valueOf(doc, "playlist", "file7"), "duplicate");
    EXPECT_TRUE(doc.set("playlist", "File2001", "/music/new.mp3"));
    EXPECT_EQ(valueOf(doc, "playlist", "file2001"), "/music/new.mp3");
    EXPECT_TRUE(doc.set("playlist", "Version", "3"));
    EXPECT_EQ(valueOf(doc, "playlist", "version"), "3");
    EXPECT_EQ(IniDocument(doc.serialize()).serialize(), doc.serialize());
}

TEST(IniDocumentTest, ManyRewritesOfOneKeyKeepTheDocumentWhole) {
    IniDocument doc("[s]\nk=0\n[t]\nx=1\n");
    const std::string big(40'000, 'v');
    for (int i = 0; i < 200; ++i) {
        EXPECT_TRUE(doc.set("s", "k", big + std::to_string(i)));
    }
    EXPECT_EQ(doc.serialize(), "[s]\nk=" + big + "199\n[t]\nx=1\n");
    EXPECT_EQ(valueOf(doc, "t", "x"), "1");
}

TEST(CutToCodePointsTest, CutsAsciiAtTheCount) {
    const std::string text(1000, 'a');
    EXPECT_EQ(cutToCodePoints(text, 255).size(), 255u);
    EXPECT_EQ(cutToCodePoints(text, 749).size(), 749u);
    EXPECT_EQ(cutToCodePoints("short", 255), "short");
    EXPECT_EQ(cutToCodePoints("abc", 0), "");
}

TEST(CutToCodePointsTest, CutsUtf8BetweenCodePoints) {
    // "é" is two bytes, "€" three, "𝄞" four.
    const std::string text = "aé€𝄞b";
    EXPECT_EQ(cutToCodePoints(text, 1), "a");
    EXPECT_EQ(cutToCodePoints(text, 2), "aé");
    EXPECT_EQ(cutToCodePoints(text, 3), "aé€");
    EXPECT_EQ(cutToCodePoints(text, 4), "aé€𝄞");
    EXPECT_EQ(cutToCodePoints(text, 5), text);
    std::string many;
    for (int i = 0; i < 300; ++i) {
        many += "€";
    }
    EXPECT_EQ(cutToCodePoints(many, 255).size(), 255u * 3);
}

TEST(CutToCodePointsTest, BrokenBytesCountOneEach) {
    const std::string text = "\x80\x80\xE2\x82x";  // two stray continuations, a cut-off "€", "x"
    EXPECT_EQ(cutToCodePoints(text, 2), "\x80\x80");
    EXPECT_EQ(cutToCodePoints(text, 3), "\x80\x80\xE2");
    EXPECT_EQ(cutToCodePoints(text, 5), text);
}

}  // namespace
}  // namespace tw::core
