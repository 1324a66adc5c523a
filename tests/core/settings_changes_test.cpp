// The settings store's record of the sections written to a file, which a reader that keeps what
// it read (the picker's history memo) follows; and the lookup names it gives them.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "core/ini_document.h"
#include "core/settings_store.h"
#include "tests/testlib/temp_dir.h"

namespace tw::core {
namespace {

std::vector<std::string> sorted(std::vector<std::string> names) {
    std::sort(names.begin(), names.end());
    return names;
}

class SettingsChangesTest : public ::testing::Test {
  protected:
    std::string played() const { return (dir_.path() / "played.ini").string(); }

    test::TempDir dir_;
    SettingsStore store_;
};

TEST(LookupNameTest, TrimsBlanksAndFoldsAsciiLettersOnly) {
    EXPECT_EQ(IniDocument::lookupName(" \tThe Band - Song ONE \t"), "the band - song one");
    EXPECT_EQ(IniDocument::lookupName("ÄRGER Über"), "Ärger Über");
    EXPECT_EQ(IniDocument::lookupName(""), "");
}

TEST(LookupNameTest, TwoNamesFindOneSectionExactlyWhenTheirLookupNamesAreEqual) {
    IniDocument doc("[The Band - Song]\nLastPlayed=1\n[Ärger]\nLastPlayed=2\n");
    for (const char* name : {"the band - song", "  THE BAND - SONG ", "Ärger", " ärger"}) {
        const bool found = doc.find(name, "LastPlayed").has_value();
        const std::string key = IniDocument::lookupName(name);
        EXPECT_EQ(found, key == "the band - song" || key == "Ärger") << name;
    }
}

TEST_F(SettingsChangesTest, AFirstLookKnowsNothingAndALaterOneWithoutWritesKnowsNoChange) {
    const auto first = store_.changesSince(played(), 0);
    EXPECT_TRUE(first.all);
    EXPECT_NE(first.serial, 0u);
    const auto second = store_.changesSince(played(), first.serial);
    EXPECT_FALSE(second.all);
    EXPECT_EQ(second.serial, first.serial);
    EXPECT_TRUE(second.sections.empty());
}

TEST_F(SettingsChangesTest, WrittenSectionsAreListedByTheirLookupNamesOncePerWrite) {
    const auto start = store_.changesSince(played(), 0);
    store_.write(played(), "  The Band - Song ", "LastPlayed", "11/26/2026 10:00:00");
    store_.write(played(), "the band", "Pending", "no");
    store_.write(played(), "THE BAND", "Pending", std::nullopt);  // a deletion is a write
    const auto after = store_.changesSince(played(), start.serial);
    EXPECT_FALSE(after.all);
    EXPECT_GT(after.serial, start.serial);
    EXPECT_EQ(sorted(after.sections),
              (std::vector<std::string>{"the band", "the band", "the band - song"}));
    // Only what came after a serial.
    store_.write(played(), "Other", "LastPlayed", "x");
    const auto last = store_.changesSince(played(), after.serial);
    EXPECT_EQ(last.sections, std::vector<std::string>{"other"});
}

TEST_F(SettingsChangesTest, AWriteThatChangesNothingAndAnotherFilesWritesAreNotListed) {
    store_.write(played(), "Song", "LastPlayed", "1");
    const auto start = store_.changesSince(played(), 0);
    store_.write(played(), "Song", "LastPlayed", "1");
    store_.write((dir_.path() / "appSettings.ini").string(), "Song", "LastPlayed", "2");
    const auto after = store_.changesSince(played(), start.serial);
    EXPECT_FALSE(after.all);
    EXPECT_TRUE(after.sections.empty());
    EXPECT_EQ(after.serial, start.serial);
}

TEST_F(SettingsChangesTest, AFileChangedByAnotherProgramMakesEverythingChanged) {
    store_.write(played(), "Song", "LastPlayed", "1");
    const auto start = store_.changesSince(played(), 0);
    test::writeFile(played(), "[Song]\nLastPlayed=22\n[Other]\nLastPlayed=3\n");
    const auto after = store_.changesSince(played(), start.serial);
    EXPECT_TRUE(after.all);
    EXPECT_GT(after.serial, start.serial);
    EXPECT_EQ(store_.read(played(), "Other", "LastPlayed", ""), "3");
    EXPECT_FALSE(store_.changesSince(played(), after.serial).all);
}

TEST_F(SettingsChangesTest, AReaderTooManyWritesBehindLearnsThatEverythingMayHaveChanged) {
    const auto start = store_.changesSince(played(), 0);
    const EventScope event(store_);  // one write to the disk at the end, not five thousand
    for (int i = 0; i < 5000; ++i) {
        store_.write(played(), "Song " + std::to_string(i), "LastPlayed", "1");
    }
    const auto after = store_.changesSince(played(), start.serial);
    EXPECT_TRUE(after.all);
    store_.write(played(), "Song X", "LastPlayed", "1");
    const auto next = store_.changesSince(played(), after.serial);
    EXPECT_FALSE(next.all);
    EXPECT_EQ(next.sections, std::vector<std::string>{"song x"});
}

TEST_F(SettingsChangesTest, ForgettingTheCachedFilesMakesEverythingChanged) {
    const auto start = store_.changesSince(played(), 0);
    store_.dropCache();
    EXPECT_TRUE(store_.changesSince(played(), start.serial).all);
}

}  // namespace
}  // namespace tw::core
