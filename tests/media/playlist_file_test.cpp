#include "media/playlist_file.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/autodj/station_fixture.h"

namespace tw::media {
namespace {

namespace fs = std::filesystem;
using test::readFile;
using test::writeFile;

core::clsTrackListing track(const std::string& path) {
    core::clsTrackListing t;
    t.trackPath = path;
    return t;
}

class PlaylistFileTest : public test::StationFixture {
  protected:
    PlaylistFileTest() { open(); }
    std::string pls(const std::string& name, const std::string& text) {
        const auto path = dir / "Playlist" / name;
        writeFile(path, text);
        return path.string();
    }
    std::vector<core::clsTrackListing> tracks;
};

TEST_F(PlaylistFileTest, SavingThreeTracksGivesFile1ToFile3AndACountOfTwo) {
    // The array is kept one longer than its entries: three tracks and a spare record.
    const std::vector<core::clsTrackListing> list = {
        track("/m/a.mp3"), track("/m/b.mp3"), track("/m/c.mp3"), {}};
    const std::string path = (dir / "three.pls").string();
    ASSERT_TRUE(savePlaylistFile(path, list));
    EXPECT_EQ(readFile(path),
              "[playlist]\nFile1=/m/a.mp3\nFile2=/m/b.mp3\nFile3=/m/c.mp3\n"
              "NumberOfEntries=2\nVersion=2\n");
    ASSERT_EQ(loadPlaylistFile(*console, path, tracks), 2);
    ASSERT_EQ(tracks.size(), 3u);
    EXPECT_EQ(tracks[0].trackPath, "/m/a.mp3");
    EXPECT_EQ(tracks[2].trackPath, "/m/c.mp3");
}

TEST_F(PlaylistFileTest, AFileFromAnotherProgramWithATrueCountOfThreeLoadsThreeTracks) {
    const auto path = pls("other.pls",
                          "[playlist]\r\nFile1=/m/a.mp3\r\nTitle1=A\r\nLength1=200\r\n"
                          "File2=/m/b.mp3\r\nFile3=/m/c.mp3\r\nNumberOfEntries=3\r\nVersion=2\r\n");
    ASSERT_EQ(loadPlaylistFile(*console, path, tracks), 3);
    ASSERT_EQ(tracks.size(), 4u);  // the fourth key is empty and its slot stays empty
    EXPECT_EQ(tracks[2].trackPath, "/m/c.mp3");
    EXPECT_TRUE(tracks[3].trackPath.empty());
}

TEST_F(PlaylistFileTest, AFileWithNoCountLineLoadsFile1AndFile2AtMost) {
    const auto path =
        pls("nocount.pls", "[playlist]\nFile1=/m/a.mp3\nFile2=/m/b.mp3\nFile3=/m/c.mp3\n");
    ASSERT_EQ(loadPlaylistFile(*console, path, tracks), 1);
    ASSERT_EQ(tracks.size(), 2u);
    EXPECT_EQ(tracks[0].trackPath, "/m/a.mp3");
    EXPECT_EQ(tracks[1].trackPath, "/m/b.mp3");
}

class PlaylistAddressTest : public PlaylistFileTest,
                            public ::testing::WithParamInterface<const char*> {};

TEST_P(PlaylistAddressTest, AnAddressEntryIsNeverTestedForExistenceAndIsNamedByItself) {
    const std::string url = GetParam();
    const auto path = pls("radio.pls", "[playlist]\nfile1=" + url + "\nNumberOfEntries=0\n");
    ASSERT_EQ(loadPlaylistFile(*console, path, tracks), 1);
    EXPECT_TRUE(tracks[0].trackIsURL);
    EXPECT_EQ(tracks[0].trackName, url);
    EXPECT_EQ(tracks[0].trackPath, url);
    EXPECT_FALSE(fileIsThere(tracks[0].trackPath));
    EXPECT_EQ(engine.count("streamCreate"), 0);  // nothing was opened to test it
}

INSTANTIATE_TEST_SUITE_P(Schemes, PlaylistAddressTest,
                         ::testing::Values("http://127.0.0.1:1/live", "https://127.0.0.1:1/live"),
                         [](const ::testing::TestParamInfo<const char*>& info) {
                             return std::string(info.index == 0 ? "Http" : "Https");
                         });

TEST_F(PlaylistFileTest, AnEmptyPathGivesZero) {
    EXPECT_EQ(loadPlaylistFile(*console, "", tracks), 0);
    EXPECT_EQ(loadPlaylistFile(*console, "   ", tracks), 0);
    EXPECT_FALSE(fileIsThere(""));
    EXPECT_TRUE(isBlank("   "));
}

TEST_F(PlaylistFileTest, KeysAndTheSectionAreMatchedWithoutRegardToCase) {
    const auto path = pls("case.pls", "[PlayList]\nFILE1=/m/a.mp3\nnumberofentries=0\n");
    ASSERT_EQ(loadPlaylistFile(*console, path, tracks), 1);
    EXPECT_EQ(tracks[0].trackPath, "/m/a.mp3");
}

TEST_F(PlaylistFileTest, AFileEntryIsNamedByItsTagsTitleLine) {
    const std::string a = addTrack("Rock", "a.mp3", "Queen", "Bicycle");
    const auto path = pls("named.pls", "[playlist]\nFile1=" + a + "\nNumberOfEntries=0\n");
    ASSERT_EQ(loadPlaylistFile(*console, path, tracks), 1);
    EXPECT_EQ(tracks[0].trackName, "Queen - Bicycle");
    EXPECT_FALSE(tracks[0].trackIsURL);
}

TEST_F(PlaylistFileTest, RelativePathsAreTakenFromThePlaylistsFolder) {
    const std::string a = addTrack("Rock", "a b.mp3", "Queen", "Bicycle");
    const auto path =
        pls("rel.pls",
            "[playlist]\nFile1=../Music/Rock/a b.mp3\nFile2=..\\Music\\Rock\\a b.mp3\n"
            "File3=file://" +
                (dir / "Music/Rock/").string() + "a%20b.mp3\nNumberOfEntries=3\n");
    ASSERT_EQ(loadPlaylistFile(*console, path, tracks), 3);
    EXPECT_EQ(tracks[0].trackPath, a);
    EXPECT_EQ(tracks[1].trackPath, a);
    EXPECT_EQ(tracks[2].trackPath, a);
    EXPECT_TRUE(fileIsThere(tracks[0].trackPath));
}

TEST_F(PlaylistFileTest, AValueLongerThan749CharactersIsCutByTheReader) {
    const std::string longPath = "/" + std::string(800, 'x');
    const auto path = pls("long.pls", "[playlist]\nFile1=" + longPath + "\nNumberOfEntries=0\n");
    ASSERT_EQ(loadPlaylistFile(*console, path, tracks), 1);
    EXPECT_EQ(tracks[0].trackPath.size(), kPlsValueLimit);
}

TEST_F(PlaylistFileTest, AFileWithoutTheSectionOrWithGarbageGivesNoEntries) {
    EXPECT_EQ(loadPlaylistFile(*console, pls("a.pls", "File1=/m/a.mp3\n"), tracks), 0);
    EXPECT_EQ(loadPlaylistFile(*console, pls("b.pls", std::string("\0\xff\x01[pl", 6)), tracks), 0);
    EXPECT_EQ(loadPlaylistFile(*console, pls("c.pls", "[playlist]\nNumberOfEntries=5\n"), tracks),
              5);  // a count with every line blank: slots, all empty
    for (const auto& t : tracks) {
        EXPECT_TRUE(t.trackPath.empty());
    }
}

TEST_F(PlaylistFileTest, AHugeCountIsReadAsTheLinesTheFileCanHold) {
    const PlsEntries e = readPlsEntries("[playlist]\nNumberOfEntries=999999999999\nFile1=/a\n");
    EXPECT_GT(e.count, 0);
    EXPECT_LT(e.texts.size(), 100u);
    EXPECT_EQ(e.texts[0], "/a");
}

TEST_F(PlaylistFileTest, ACountTooLargeForANumberIsNoCount) {
    const PlsEntries e = readPlsEntries("[playlist]\nNumberOfEntries=9e9999999999\nFile1=/a\n");
    EXPECT_EQ(e.count, 1);
    ASSERT_EQ(e.texts.size(), 2u);
    EXPECT_EQ(e.texts[0], "/a");
}

TEST_F(PlaylistFileTest, AnEmptyArraySavesAPlaylistWithNoEntries) {
    const std::string path = (dir / "empty.pls").string();
    ASSERT_TRUE(savePlaylistFile(path, std::vector<core::clsTrackListing>(1)));
    EXPECT_EQ(readFile(path), "[playlist]\nNumberOfEntries=-1\nVersion=2\n");
    EXPECT_EQ(loadPlaylistFile(*console, path, tracks), 0);
}

TEST_F(PlaylistFileTest, AWriteThatCannotBeDoneReportsItAndLeavesNoFile) {
    writeFile(dir / "plain", "x");
    const std::string path = (dir / "plain" / "list.pls").string();
    EXPECT_FALSE(savePlaylistFile(path, {track("/m/b.mp3"), {}}));
    EXPECT_EQ(readFile(dir / "plain"), "x");
}

}  // namespace
}  // namespace tw::media
