// The details panel's cue points: read from the track's own tag, marked from the preview's clock,
// written back with the tag fields through the safe writer, and what a failed write leaves.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <ostream>
#include <vector>

#include "autodj/track_details.h"
#include "core/text.h"
#include "desk/actions.h"
#include "media/waveform_cache.h"
#include "tags/cue_data.h"
#include "tags/id3_tag.h"
#include "tags/tag_writer.h"
#include "tests/autodj/station_fixture.h"
#include "tests/tags/tag_test_util.h"

namespace tw::test {
namespace {

class CuePointsTest : public StationFixture {
  protected:
    // A track in Music/Rock whose TOWN frame holds owner (none when empty), at tag revision rev.
    std::string addCueTrack(const std::string& owner, int rev = 3, int frames = 40) {
        return addCueFile("t.mp3", "Tune", owner, mpegFrames(frames), rev);
    }
    // The file Music/Rock/name: a tag with the title and owner, then the audio bytes.
    std::string addCueFile(const std::string& name, const std::string& title,
                           const std::string& owner, const std::string& audio, int rev = 3) {
        std::string body = textFrame(rev == 2 ? "TT2" : "TIT2", title, rev) +
                           textFrame(rev == 2 ? "TP1" : "TPE1", "Band", rev);
        if (!owner.empty() && rev != 2) {
            body += textFrame("TOWN", owner, rev);
        }
        const auto path = dir / "Music/Rock" / name;
        writeFile(path, id3Tag(rev, body) + audio);
        return path.string();
    }
    // A sweeper file holding number n in its tag.
    void addSweeper(const std::string& name, int n) {
        writeFile(dir / "Sweepers" / name,
                  id3Tag(3, textFrame("TOWN", "twSTag~" + std::to_string(n), 3)) + mpegFrames(2));
    }
    void showSweepers() {
        m().flSweepers.path = console->AppFolder + "/Sweepers";
        core::refreshFileList(m().flSweepers);
    }
    // The row of lstSongs that shows the title.
    int songRow(const std::string& title) {
        for (int i = 0; i < m().lstSongs.listCount(); ++i) {
            if (m().lstSongs.items[static_cast<std::size_t>(i)].text.find(title) !=
                std::string::npos) {
                return i;
            }
        }
        return -1;
    }
    // The cue markers on the details picture (the waveform's columns are one pixel wide).
    std::vector<core::Fill> markers() {
        std::vector<core::Fill> out;
        for (const auto& f : m().pctPreviewMarkers.drawing.fills) {
            if (f.width == 3) {
                out.push_back(f);
            }
        }
        return out;
    }
    // Runs the event loop until the details picture has its waveform.
    bool waitForWaveform() {
        for (int i = 0; i < 1000; ++i) {
            const auto& fills = m().pctPreviewMarkers.drawing.fills;
            if (fills.size() > markers().size()) {
                return true;
            }
            usleep(2000);
            loop.processPending();
        }
        return false;
    }

    // Opens the console, the Rock category and its first track in the details panel.
    void showFirstTrack() {
        open();
        desk::select(*console, "lstPlaylists", 0);
        desk::select(*console, "lstSongs", 0);
    }

    std::string storedOwner(const std::string& path) {
        tags::clsID3 tag;
        tag.filename(path);
        return tag.FileOwner();
    }

    core::MainForm& m() { return console->form(); }
};

TEST_F(CuePointsTest, TheRecordTakesItsTokensInOrder) {
    const std::string path = addCueTrack("twTag~ 2~0:05~0:12~3:40~3:55~5.5~12~220.25~235");
    open();
    m().lstRotation.rows = {{{"Rock"}, true, false}};
    m().lstRotation.row = 0;
    const core::CueRecord r = tags::readCueRecord(*console, path);
    EXPECT_TRUE(r.tagPresent);
    EXPECT_TRUE(r.sweeperAllowed) << "the rotation row's tick, not the file";
    EXPECT_EQ(r.sweeperIndex, 2);
    EXPECT_EQ(r.sweepText, "0:05");
    EXPECT_EQ(r.nextText, "3:55");
    EXPECT_FLOAT_EQ(r.sweepStart, 5.5f);
    EXPECT_FLOAT_EQ(r.introUntil, 12.0f);
    EXPECT_FLOAT_EQ(r.outroUntil, 220.25f);
    EXPECT_FLOAT_EQ(r.nextStart, 235.0f);
}

TEST_F(CuePointsTest, SecondsWithADecimalCommaAreCutAtTheComma) {
    const std::string path = addCueTrack("twTag~-1~a~b~c~d~3,75~12,5~~");
    open();
    const core::CueRecord r = tags::readCueRecord(*console, path);
    EXPECT_FLOAT_EQ(r.sweepStart, 3.0f);
    EXPECT_FLOAT_EQ(r.introUntil, 12.0f);
    EXPECT_FLOAT_EQ(r.outroUntil, 0.0f);
}

TEST_F(CuePointsTest, TheKeywordInAnotherCaseIsNoTag) {
    const std::string path = addCueTrack("TWTAG~ 1~a~b~c~d~1~2~3~4");
    open();
    const core::CueRecord r = tags::readCueRecord(*console, path);
    EXPECT_FALSE(r.tagPresent);
    EXPECT_FLOAT_EQ(r.nextStart, 0.0f);
    desk::select(*console, "lstPlaylists", 0);
    desk::select(*console, "lstSongs", 0);
    EXPECT_EQ(m().txtSweeper.text, "") << "the panel shows blanks";
    EXPECT_EQ(m().lblNextStart.backColor, 0xFFFFFFu);
}

TEST_F(CuePointsTest, AShortFieldCountGivesEmptyTokensWithTheTagPresent) {
    const std::string path = addCueTrack("twTag~ 0~0:05");
    open();
    const core::CueRecord r = tags::readCueRecord(*console, path);
    EXPECT_TRUE(r.tagPresent);
    EXPECT_EQ(r.sweepText, "0:05");
    EXPECT_EQ(r.introText, "");
    EXPECT_FLOAT_EQ(r.sweepStart, 0.0f);
}

// What the panel chooses in the sweeper list for the second of two tracks, the first having
// chosen row 2: the refill empties the list and its choice, the second track's token 2 chooses a
// row of the new list when it is below its count ("-1" choosing none), and a number past the list
// leaves the refilled list with no choice. The update then writes the second track's own choice.
struct SweeperChoice {
    const char* name;
    const char* owner;    // the second track's TOWN frame ("" none)
    int chosen;           // the row chosen for it, -1 none
    const char* written;  // token 2 as the update writes it
};

void PrintTo(const SweeperChoice& p, std::ostream* os) {
    *os << p.name;
}

class SweeperChoiceTest : public CuePointsTest,
                          public ::testing::WithParamInterface<SweeperChoice> {};

TEST_P(SweeperChoiceTest, TheNextTrackNeverTakesTheSweeperOfTheTrackShownBefore) {
    const SweeperChoice& p = GetParam();
    addSweeper("a.mp3", 1);
    addSweeper("b.mp3", 2);
    addCueFile("one.mp3", "One", "twTag~ 2~~~~~~~~", mpegFrames(20));
    const std::string second = addCueFile("two.mp3", "Two", p.owner, mpegFrames(20));
    open();
    showSweepers();
    desk::select(*console, "lstPlaylists", 0);
    const int one = songRow("One"), two = songRow("Two");
    ASSERT_GE(one, 0);
    ASSERT_GE(two, 0);
    desk::select(*console, "lstSongs", one);
    ASSERT_EQ(m().cmboSweeperList.listCount(), 3);  // "No Sweeper", "a.mp3", "b.mp3"
    ASSERT_EQ(m().cmboSweeperList.listIndex, 2);
    EXPECT_EQ(m().cmboSweeperList.text, "b.mp3");

    desk::select(*console, "lstSongs", two);
    EXPECT_EQ(m().cmboSweeperList.listIndex, p.chosen);
    EXPECT_EQ(m().cmboSweeperList.text,
              p.chosen < 0 ? std::string()
                           : m().cmboSweeperList.items[static_cast<std::size_t>(p.chosen)].text);
    desk::press(*console, "cmdUpdateTag");
    EXPECT_EQ(core::token("~", 2, storedOwner(second)), p.written) << storedOwner(second);
}

INSTANTIATE_TEST_SUITE_P(
    , SweeperChoiceTest,
    ::testing::Values(SweeperChoice{"MinusOneChoosesNone", "twTag~-1~~~~~~~~", -1, "-1"},
                      SweeperChoice{"AnUntaggedTrackChoosesNone", "", -1, "-1"},
                      SweeperChoice{"ForeignOwnerTextChoosesNone", "bought at a shop", -1, "-1"},
                      SweeperChoice{"ANumberPastTheListLeavesTheRefilledListUnchosen",
                                    "twTag~ 9~~~~~~~~", -1, "-1"},
                      SweeperChoice{"TheListsCountIsPastIt", "twTag~ 3~~~~~~~~", -1, "-1"},
                      SweeperChoice{"ItsOwnRow", "twTag~ 1~~~~~~~~", 1, " 1"},
                      SweeperChoice{"RowZeroIsNoSweeper", "twTag~ 0~~~~~~~~", 0, " 0"}),
    [](const ::testing::TestParamInfo<SweeperChoice>& info) { return info.param.name; });

TEST_F(CuePointsTest, ASweeperIndexInTheTagSelectsItsRowOfTheRefilledList) {
    writeFile(dir / "Sweepers/a.mp3", id3Tag(3, textFrame("TOWN", "twSTag~2", 3)) + mpegFrames(2));
    addCueTrack("twTag~ 2~~~~~~~~");
    open();
    m().flSweepers.path = console->AppFolder + "/Sweepers";
    core::refreshFileList(m().flSweepers);
    desk::select(*console, "lstPlaylists", 0);
    desk::select(*console, "lstSongs", 0);
    ASSERT_EQ(m().cmboSweeperList.listCount(), 3);
    EXPECT_EQ(m().cmboSweeperList.items[2].text, "a.mp3");
    EXPECT_EQ(m().cmboSweeperList.listIndex, 2);
}

TEST_F(CuePointsTest, UpdateWritesTheFieldsAndTheCueTextWithABlankBeforeTheIndex) {
    const std::string path = addCueTrack("");
    showFirstTrack();
    m().txtArtistName.text = "  New Band ";
    m().txtRecordLabel.text = "Label";
    m().txtOutro.text = "3:10";
    m().txtOutro.hiddenValue = "190.5";
    m().cmboSweeperList.listIndex = 3;
    desk::press(*console, "cmdUpdateTag");
    EXPECT_EQ(storedOwner(path), "twTag~ 3~~~3:10~~~~190.5~");
    tags::clsID3 tag;
    tag.filename(path);
    EXPECT_EQ(tag.Artist(), "New Band");
    EXPECT_EQ(tag.title(), "Tune");
    EXPECT_EQ(tag.Copyright(), "Label");
    EXPECT_EQ(tag.CopyrightInfo(), "Label");
    m().cmboSweeperList.listIndex = -1;
    desk::press(*console, "cmdUpdateTag");
    EXPECT_TRUE(storedOwner(path).starts_with("twTag~-1~")) << storedOwner(path);
}

TEST_F(CuePointsTest, ATildeTypedInATextShiftsEveryLaterToken) {
    const std::string path = addCueTrack("");
    showFirstTrack();
    m().txtSweeper.text = "a~b";
    m().txtNextStart.hiddenValue = "200";
    desk::press(*console, "cmdUpdateTag");
    const core::CueRecord r = tags::readCueRecord(*console, path);
    EXPECT_EQ(r.sweepText, "a");
    EXPECT_EQ(r.introText, "b");
    EXPECT_FLOAT_EQ(r.outroUntil, 0.0f);
    EXPECT_FLOAT_EQ(r.nextStart, 0.0f) << "200 moved to the eleventh field, which nobody reads";
}

TEST_F(CuePointsTest, AMarkTakesThePreviewClockAndTheRightButtonClearsIt) {
    const std::string path = addCueTrack("");
    engine.fileSeconds[path] = 240;
    showFirstTrack();
    desk::press(*console, "cmdPlayActiveSong");
    ASSERT_NE(console->previewPlayer, 0u);
    EXPECT_EQ(m().cmdPlayActiveSong.backColor, 0xC000u);
    engine.setPositionSeconds(console->previewPlayer, 83.5);
    desk::press(*console, "lblIntroUntil", desk::MouseButton::Left);
    EXPECT_EQ(m().txtIntroUntil.text, "01:23.5");
    EXPECT_EQ(m().txtIntroUntil.hiddenValue, "83.5");
    EXPECT_EQ(storedOwner(path), "twTag~-1~~01:23.5~~~~83.5~~");
    EXPECT_FALSE(m().pctPreviewMarkers.drawing.fills.empty()) << "the new marker is drawn";
    desk::press(*console, "lblIntroUntil", desk::MouseButton::Right);
    EXPECT_EQ(m().txtIntroUntil.text, "");
    EXPECT_EQ(storedOwner(path), "twTag~-1~~~~~~~~");
}

TEST_F(CuePointsTest, AMarkWithoutAPreviewKeepsTheTextAndStillWrites) {
    const std::string path = addCueTrack("twTag~-1~0:05~~~~5~~~");
    showFirstTrack();
    desk::press(*console, "lblSweepStart", desk::MouseButton::Left);
    EXPECT_EQ(m().txtSweeper.text, "0:05");
    EXPECT_EQ(storedOwner(path), "twTag~-1~0:05~~~~5~~~");
}

TEST_F(CuePointsTest, ChoosingAnotherTrackStopsThePreviewAndUnmutes) {
    const std::string path = addCueTrack("");
    engine.fileSeconds[path] = 240;
    showFirstTrack();
    console->mixerStream = engine.mixerStreamCreate(44100, 2, 0);
    desk::press(*console, "cmdPlayActiveSong");
    ASSERT_TRUE(console->muted) << "the preview mutes the mixer's monitor";
    desk::select(*console, "lstSongs", 0);
    EXPECT_EQ(console->previewPlayer, 0u);
    EXPECT_FALSE(console->muted);
    EXPECT_EQ(m().cmdPlayActiveSong.backColor, 0xFFFFFFu);
}

TEST_F(CuePointsTest, AFailedWriteShowsItsMessageLeavesTheFileAndShowsTheOldPoints) {
    const std::string path = addCueTrack("twTag~-1~~~~~~~~30");
    const std::string before = readFile(path);
    engine.fileSeconds[path] = 240;
    showFirstTrack();
    desk::press(*console, "cmdPlayActiveSong");
    console->id3->setWriteHooks(
        {[](tags::WriteStep s) { return s == tags::WriteStep::Rename ? EACCES : 0; }});
    m().txtNextStart.hiddenValue = "60";
    desk::press(*console, "cmdUpdateTag");
    EXPECT_EQ(readFile(path), before);
    ASSERT_EQ(prompter.shown().size(), 1u);
    EXPECT_TRUE(prompter.shown()[0].text.starts_with("error updating the mp3 tag:"))
        << prompter.shown()[0].text;
    ASSERT_FALSE(logTexts().empty());
    EXPECT_TRUE(logTexts().back().starts_with("Error writing the tag of " + path));
    // The marker stands where the stored 30 s puts it, not at the 60 s of the panel.
    const auto& fills = m().pctPreviewMarkers.drawing.fills;
    ASSERT_FALSE(fills.empty());
    const double width = m().pctPreviewMarkers.scaleWidth();
    EXPECT_NEAR(fills.back().x, width * 30 / 240, 1.0);
}

// With no preview running the markers stand on the waveform by time, as the tag holds them: a
// write that failed leaves them on the stored point, one that worked moves them.
TEST_F(CuePointsTest, WithoutAPreviewTheMarkersShowWhatTheTagHoldsAfterAnUpdate) {
    const auto tone = lameTone(dir.path(), "tone.mp3");  // one second
    addCueFile("t.mp3", "Tune", "twTag~-1~~~~~~~~0.3", readFile(tone));
    showFirstTrack();
    ASSERT_TRUE(waitForWaveform());
    ASSERT_EQ(console->previewPlayer, 0u);
    const double width = m().pctPreviewMarkers.scaleWidth();
    ASSERT_EQ(markers().size(), 1u);
    EXPECT_NEAR(markers()[0].x, width * 0.3, 2.0);

    console->id3->setWriteHooks(
        {[](tags::WriteStep s) { return s == tags::WriteStep::Rename ? EACCES : 0; }});
    m().txtNextStart.hiddenValue = "0.6";
    desk::press(*console, "cmdUpdateTag");
    ASSERT_EQ(prompter.shown().size(), 1u) << "the write failed";
    ASSERT_TRUE(waitForWaveform());
    ASSERT_EQ(markers().size(), 1u);
    EXPECT_NEAR(markers()[0].x, width * 0.3, 2.0) << "the stored 0.3 s, not the panel's 0.6 s";

    console->id3->setWriteHooks({});
    desk::press(*console, "cmdUpdateTag");
    ASSERT_TRUE(waitForWaveform());
    ASSERT_EQ(markers().size(), 1u);
    EXPECT_NEAR(markers()[0].x, width * 0.6, 2.0);
}

TEST_F(CuePointsTest, ACueTagInARevisionTwoTagIsLostSilently) {
    const std::string path = addCueTrack("", 2);
    showFirstTrack();
    m().txtSweeper.hiddenValue = "5";
    desk::press(*console, "cmdUpdateTag");
    EXPECT_FALSE(tags::readCueRecord(*console, path).tagPresent);
    EXPECT_TRUE(prompter.shown().empty());
}

// Writes through the panel onto a file system of the test's own: read-only, or all but full.
class CuePointsOnAMountTest : public CuePointsTest {
  protected:
    bool mountRock(const char* options) {
        rock_ = dir / "Music/Rock";
        std::filesystem::create_directories(rock_);
        return ::mount("tw-cue-test", rock_.c_str(), "tmpfs", 0, options) == 0;
    }
    void TearDown() override {
        if (!rock_.empty()) {
            ::umount2(rock_.c_str(), MNT_DETACH);
        }
    }
    std::filesystem::path rock_;
};

TEST_F(CuePointsOnAMountTest, AWriteOnAReadOnlyFileSystemLeavesTheTrackPlayable) {
    if (!mountRock("size=1m")) {
        GTEST_SKIP() << "cannot mount a file system here; the writer's step failures cover it";
    }
    const std::string path = addCueTrack("twTag~-1~~~~~~~~30");
    const std::string before = readFile(path);
    ASSERT_EQ(::mount(nullptr, rock_.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr), 0);
    showFirstTrack();
    m().txtNextStart.hiddenValue = "60";
    desk::press(*console, "cmdUpdateTag");
    EXPECT_EQ(readFile(path), before);
    EXPECT_EQ(prompter.shown().size(), 1u);
    EXPECT_FLOAT_EQ(tags::readCueRecord(*console, path).nextStart, 30.0f);
}

TEST_F(CuePointsOnAMountTest, AWriteOnAFullDiskLeavesTheTrackAsItWas) {
    if (!mountRock("size=64k")) {
        GTEST_SKIP() << "cannot mount a file system here; the writer's step failures cover it";
    }
    const std::string path = addCueTrack("twTag~-1~~~~~~~~30", 3, 100);  // ~41 kB of 64
    const std::string before = readFile(path);
    showFirstTrack();
    m().txtNextStart.hiddenValue = "60";
    desk::press(*console, "cmdUpdateTag");
    EXPECT_EQ(readFile(path), before);
    EXPECT_EQ(prompter.shown().size(), 1u);
    int entries = 0;
    for (const auto& e : std::filesystem::directory_iterator(rock_)) {
        (void)e;
        ++entries;
    }
    EXPECT_EQ(entries, 1) << "no temporary file is left";
}

TEST_F(CuePointsTest, AConsoleKilledInTheMiddleOfACueWriteLeavesTheTrackAsItWas) {
    const std::string path = addCueTrack("twTag~-1~~~~~~~~30", 3, 120);
    const std::string before = readFile(path);
    showFirstTrack();
    m().txtNextStart.hiddenValue = "60";
    // Only the forking thread lives on in the child: a lock another thread held at the fork (the
    // waveform worker's, measuring the track just shown) would never be given back there. The
    // worker goes first; the panel draws without a waveform then.
    console->waveforms.reset();
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        int writes = 0;
        console->id3->setWriteHooks({[&writes](tags::WriteStep s) {
            if (s == tags::WriteStep::WriteData && ++writes == 3) {
                ::raise(SIGKILL);
            }
            return 0;
        }});
        autodj::cmdUpdateTag_Click(*console);
        ::_exit(0);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(readFile(path), before);
    EXPECT_FLOAT_EQ(tags::readCueRecord(*console, path).nextStart, 30.0f);
}

TEST_F(CuePointsTest, TheDetailsPanelDrawsTheWaveformOnceMeasured) {
    const auto tone = lameTone(dir.path(), "tone.mp3");
    std::filesystem::create_directories(dir / "Music/Rock");
    std::filesystem::rename(tone, dir / "Music/Rock/tone.mp3");
    showFirstTrack();
    ASSERT_TRUE(console->waveforms);
    for (int i = 0; i < 500 && m().pctPreviewMarkers.drawing.fills.empty(); ++i) {
        usleep(2000);
        loop.processPending();
    }
    const auto& fills = m().pctPreviewMarkers.drawing.fills;
    ASSERT_EQ(fills.size(), static_cast<std::size_t>(m().pctPreviewMarkers.scaleWidth()));
    // The tone is loud all through (but for the encoder's lead-in and tail): the columns stand
    // well above the middle line.
    for (std::size_t i = fills.size() / 10; i < fills.size() * 9 / 10; ++i) {
        EXPECT_GT(fills[i].height, m().pctPreviewMarkers.scaleHeight() / 3) << i;
    }
}

}  // namespace
}  // namespace tw::test

namespace tw::test {
namespace {

TEST_F(CuePointsTest, TheTwoPagesOfThePanelAreChosenByTheirButtons) {
    addCueTrack("");
    showFirstTrack();
    desk::press(*console, "cmdMoreInfo");
    EXPECT_TRUE(m().frmMoreInfo.visible);
    EXPECT_FALSE(m().frmNameTitleArtist.visible);
    EXPECT_EQ(m().cmdMoreInfo.image, core::ImageRole::Red);
    EXPECT_EQ(m().cmdArtistSongAlbum.image, core::ImageRole::Gray);
    desk::press(*console, "cmdArtistSongAlbum");
    EXPECT_FALSE(m().frmMoreInfo.visible);
    EXPECT_TRUE(m().frmNameTitleArtist.visible);
    EXPECT_EQ(m().cmdArtistSongAlbum.image, core::ImageRole::Red);
}

}  // namespace
}  // namespace tw::test
