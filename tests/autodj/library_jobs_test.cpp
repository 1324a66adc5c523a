// The library's long jobs on their workers: the import by dialog and by drop with its messages and
// progress, the delete to the trash, and the recount of the figures off the console thread.

#include "autodj/library_jobs.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "autodj/library_state.h"
#include "autodj/picker.h"
#include "autodj/tag_cache.h"
#include "core/unfinished_files.h"
#include "desk/actions.h"
#include "tests/audio/audio_fixtures.h"
#include "tests/autodj/station_fixture.h"

namespace tw::test {
namespace {

namespace fs = std::filesystem;

std::string bytesOf(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

class LibraryJobsTest : public StationFixture {
  protected:
    LibraryJobsTest() { watchStatusWindow(); }
    // The station with category "Rock" chosen on the track list.
    core::Console& station() {
        addCategory("Rock");
        addCategory("Jazz");
        open();
        desk::select(*console, "lstPlaylists", categoryIndex("Rock"));
        return *console;
    }
    // A file outside the station, tagged, as the file manager would offer it.
    std::string outside(const std::string& name, const std::string& title = "Song") {
        fs::create_directories(dir / "desktop");
        return fs::path(addTrack("../desktop", name, "Band", title)).lexically_normal().string();
    }
    // Runs the console thread's events until the jobs are done (at most ten seconds).
    void settle() {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (autodj::libraryJobsBusy(*console) && std::chrono::steady_clock::now() < end) {
            loop.processPending();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        ASSERT_FALSE(autodj::libraryJobsBusy(*console)) << "the jobs did not end";
    }
    std::string rock() const { return (dir / "Music" / "Rock").string(); }
};

TEST_F(LibraryJobsTest, ImportCopiesTheTracksIntoTheChosenCategoryWithProgressAndShowsThem) {
    auto& c = station();
    const std::string a = outside("a.mp3", "First");
    const std::string b = outside("b.mp3", "Second");
    autodj::importFiles(c, {a, b});
    EXPECT_TRUE(c.ui.status.frmStatus.visible) << "the status window shows at once";
    settle();
    EXPECT_TRUE(fs::exists(rock() + "/a.mp3"));
    EXPECT_TRUE(fs::exists(rock() + "/b.mp3"));
    EXPECT_TRUE(fs::exists(a)) << "a copy, not a move";
    EXPECT_EQ(bytesOf(rock() + "/a.mp3"), bytesOf(a)) << "the tag is not touched";
    ASSERT_FALSE(statusSeen.empty());
    EXPECT_TRUE(statusSeen.front().starts_with("Importing:")) << statusSeen.front();
    EXPECT_EQ(c.form().lstSongs.listCount(), 2);
    EXPECT_EQ(c.form().lstSongs.items[0].text, "Band - First");
    EXPECT_EQ(c.form().fileList.listCount(), 2);
    EXPECT_TRUE(c.library->titleHints.empty()) << "the titles read ahead are used once";
}

TEST_F(LibraryJobsTest, AfterAnImportTheRecountLeavesTheStatusWindowOpenAsCalculateDoes) {
    auto& c = station();
    autodj::importFiles(c, {outside("a.mp3")});
    settle();
    EXPECT_TRUE(c.ui.status.frmStatus.visible) << "its owner, the operator, closes it";
    EXPECT_EQ(c.ui.status.lblProgress.caption, "Playlist: Rock Track Number: 1");
}

TEST_F(LibraryJobsTest, CapitalMp3IsAccepted) {
    auto& c = station();
    autodj::importFiles(c, {outside("LOUD.MP3")});
    settle();
    EXPECT_TRUE(fs::exists(rock() + "/LOUD.MP3"));
    EXPECT_TRUE(prompter.shown().empty());
}

TEST_F(LibraryJobsTest, ABatchOfOneFileThatIsNoMp3ShowsItsMessageAndStillRefreshes) {
    auto& c = station();
    addTrack("Rock", "already.mp3", "Band", "There");
    const std::string wav = (dir / "voice.wav").string();
    std::ofstream(wav) << "RIFF";
    autodj::importFiles(c, {wav});
    settle();
    ASSERT_EQ(prompter.shown().size(), 1u);
    EXPECT_EQ(prompter.shown()[0].text,
              wav + " Cannot be Imported,TarnWave only accepts .mp3 Files");
    EXPECT_FALSE(fs::exists(rock() + "/voice.wav"));
    EXPECT_EQ(c.form().lstSongs.listCount(), 1) << "the list was refreshed";
}

TEST_F(LibraryJobsTest, TheMessagesComeInTheOrderOfTheFilesAndTheBatchGoesOn) {
    auto& c = station();
    const std::string one = (dir / "one.txt").string();
    const std::string two = (dir / "two.ogg").string();
    std::ofstream(one) << "1";
    std::ofstream(two) << "2";
    autodj::importFiles(c, {one, outside("x.mp3"), two, outside("y.mp3")});
    settle();
    ASSERT_EQ(prompter.shown().size(), 2u);
    EXPECT_TRUE(prompter.shown()[0].text.starts_with(one));
    EXPECT_TRUE(prompter.shown()[1].text.starts_with(two));
    EXPECT_TRUE(fs::exists(rock() + "/x.mp3"));
    EXPECT_TRUE(fs::exists(rock() + "/y.mp3"));
}

TEST_F(LibraryJobsTest, AFileOfTheSameNameInTheCategoryIsReplacedWithoutAsking) {
    auto& c = station();
    addTrack("Rock", "same.mp3", "Old", "Version");
    const std::string fresh = outside("same.mp3", "Newer");
    autodj::importFiles(c, {fresh});
    settle();
    EXPECT_EQ(bytesOf(rock() + "/same.mp3"), bytesOf(fresh));
    EXPECT_TRUE(prompter.shown().empty()) << "nothing asked";
    EXPECT_EQ(c.form().lstSongs.items.at(0).text, "Band - Newer");
}

TEST_F(LibraryJobsTest, AFileThatCannotBeCopiedEndsTheBatchAndTheCopiesSoFarStay) {
    auto& c = station();
    const std::string first = outside("first.mp3");
    const std::string missing = (dir / "missing.mp3").string();
    const std::string last = outside("last.mp3");
    autodj::importFiles(c, {first, missing, last});
    settle();
    EXPECT_TRUE(fs::exists(rock() + "/first.mp3"));
    EXPECT_FALSE(fs::exists(rock() + "/last.mp3")) << "the batch ended at the error";
    const auto lines = logTexts();
    ASSERT_FALSE(lines.empty());
    EXPECT_TRUE(lines.back().starts_with("Error in importFiles: " + missing)) << lines.back();
    EXPECT_EQ(c.form().lstSongs.listCount(), 1);
    for (const auto& entry : fs::directory_iterator(rock())) {
        EXPECT_FALSE(core::unfinishedFileWriter(entry.path().filename().string()))
            << "no half file left: " << entry.path();
    }
}

TEST_F(LibraryJobsTest, ABatchHandedInWhileOneRunsWaitsItsTurn) {
    auto& c = station();
    autodj::importFiles(c, {outside("1.mp3"), outside("2.mp3")});
    autodj::importFiles(c, {outside("3.mp3")});
    settle();
    for (const char* name : {"1.mp3", "2.mp3", "3.mp3"}) {
        EXPECT_TRUE(fs::exists(rock() + "/" + name)) << name;
    }
    EXPECT_EQ(c.form().lstSongs.listCount(), 3);
}

TEST_F(LibraryJobsTest, WithNoCategoryChosenNothingIsCopied) {
    addCategory("Rock");
    auto& c = open();
    c.form().lstPlaylists.listIndex = -1;
    autodj::importFiles(c, {outside("stray.mp3")});
    EXPECT_FALSE(autodj::libraryJobsBusy(c));
    EXPECT_FALSE(fs::exists(rock() + "/stray.mp3"));
    EXPECT_FALSE(fs::exists(dir / "stray.mp3"));
}

TEST_F(LibraryJobsTest, TheAddButtonImportsTheChosenFilesAndCancelDoesNothing) {
    auto& c = station();
    prompter.queueAnswer("<cancel>");
    desk::press(c, "pctAddSongs");
    EXPECT_FALSE(autodj::libraryJobsBusy(c));
    ASSERT_EQ(prompter.shown().size(), 1u);
    EXPECT_EQ(prompter.shown()[0].kind, "open");
    prompter.queueAnswer(outside("picked.mp3"));
    desk::press(c, "pctAddSongs");
    settle();
    EXPECT_TRUE(fs::exists(rock() + "/picked.mp3"));
}

TEST_F(LibraryJobsTest, FilesDroppedOnTheTrackListAreImported) {
    auto& c = station();
    desk::dropFiles(c, "lstSongs", {outside("dropped.mp3")});
    settle();
    EXPECT_TRUE(fs::exists(rock() + "/dropped.mp3"));
}

TEST_F(LibraryJobsTest, DeleteAsksThenSendsTheSelectedTracksToTheTrash) {
    addCategory("Rock");
    addTrack("Rock", "keep.mp3", "Band", "Keep");
    const std::string gone = addTrack("Rock", "gone.mp3", "Band", "Gone");
    auto& c = open();
    desk::select(c, "lstPlaylists", categoryIndex("Rock"));
    const int row = c.library->trackFiles.at(0) == gone ? 0 : 1;
    desk::select(c, "lstSongs", row);
    prompter.queueAnswer("no");
    desk::keyDown(c, "lstSongs", "Delete");
    EXPECT_TRUE(trash.trashed.empty());
    EXPECT_EQ(prompter.shown().back().text,
              "Are you Sure you would like to move all the selected file to the Recycle Bin");
    prompter.queueAnswer("yes");
    desk::keyDown(c, "lstSongs", "Delete");
    ASSERT_EQ(trash.trashed.size(), 1u);
    EXPECT_EQ(trash.trashed[0], gone);
}

TEST_F(LibraryJobsTest, TheRecountMeasuresEveryTrackOffTheConsoleThread) {
    addCategory("Rock");
    addCategory("Empty");
    const auto wav = dir / "tone.wav";
    audio::test::writeWav(wav, audio::test::sine(44100, 2, 440, 0.3, 44100 * 2));
    audio::test::encodeMp3(wav, dir / "Music/Rock/two.mp3", "--quiet -b 128");
    audio::test::writeWav(wav, audio::test::sine(44100, 2, 440, 0.3, 44100 * 5));
    audio::test::encodeMp3(wav, dir / "Music/Rock/five.mp3", "--quiet -b 128");
    auto& c = open();
    desk::press(c, "cmdCalculate");
    EXPECT_TRUE(autodj::libraryJobsBusy(c)) << "the figures come from the worker";
    settle();
    const int rockItem = categoryIndex("Rock") + 1;
    EXPECT_EQ(c.library->averageSong.at(static_cast<std::size_t>(rockItem)), 4);  // 3.5 to even
    EXPECT_EQ(c.library->averageSong.at(static_cast<std::size_t>(categoryIndex("Empty") + 1)), 0);
    EXPECT_EQ(core::readIni(c, c.appSettingsPath(), "tarnWave", "lastAverageSong", ""), "2");
    ASSERT_FALSE(statusSeen.empty());
    EXPECT_EQ(statusSeen.back(), "Playlist: Rock Track Number: 2");
}

TEST_F(LibraryJobsTest, ARecountAskedForWhileOneRunsRunsAgainAfterIt) {
    addCategory("Rock");
    addTrack("Rock", "a.mp3", "Band", "A");
    auto& c = open();
    autodj::cmdCalculate_Click(c);
    autodj::cmdCalculate_Click(c);
    settle();
    EXPECT_FALSE(autodj::libraryJobsBusy(c));
}

TEST_F(LibraryJobsTest, TheImportedTracksTagsAreReadAheadForThePicks) {
    auto& c = station();
    autodj::importFiles(c, {outside("a.mp3", "First"), outside("b.mp3", "Second")});
    settle();
    // The copies are read once their stamps are old enough to be trusted, a few seconds on.
    ASSERT_TRUE(runUntilTagFillEnds()) << "the fill did not end";
    autodj::TagCache& cache = *c.library->tagCache;
    EXPECT_EQ(cache.size(), 2u);
    core::DateValue previous = 0;
    const std::string picked = autodj::pickSongForCatagory(c, "Rock", clock.now(), previous);
    EXPECT_TRUE(picked == rock() + "/a.mp3" || picked == rock() + "/b.mp3") << picked;
    EXPECT_EQ(cache.stores(), 0u) << "the pick read a tag from the disk";
}

TEST_F(LibraryJobsTest, AConsoleClosedDuringAnImportStopsItCleanly) {
    auto& c = station();
    std::vector<std::string> files;
    for (int i = 0; i < 200; ++i) {
        files.push_back(outside("many" + std::to_string(i) + ".mp3"));
    }
    autodj::importFiles(c, files);
    console.reset();  // the worker is cancelled and joined; no event reaches the gone console
    loop.processPending();
    SUCCEED();
}

}  // namespace
}  // namespace tw::test
