#include "core/console_ops.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "core/failure.h"
#include "core/file_listing.h"
#include "tests/testlib/console_fixture.h"

namespace tw::core {
namespace {

namespace fs = std::filesystem;
using test::readFile;
using test::writeFile;

class ConsoleOpsTest : public test::ConsoleFixture {};

TEST_F(ConsoleOpsTest, ASectionThatDoesNotExistReadsAsTheDefaultAndCreatesNoFile) {
    Console& c = make();
    EXPECT_EQ(readIni(c, c.playedIniPath(), "Nobody - Nothing", "LastPlayed", "none"), "none");
    EXPECT_FALSE(fs::exists(dir / "played.ini"));
}

TEST_F(ConsoleOpsTest, AValueLongerThan255CharactersComesBackCut) {
    Console& c = make();
    writeIniValue(c, c.playedIniPath(), "s", "k", std::string(300, 'x'));
    EXPECT_EQ(readIni(c, c.playedIniPath(), "s", "k", ""), std::string(255, 'x'));
}

TEST_F(ConsoleOpsTest, ALineBreakInWriteIniIsCleanedInTheCallersTextAndKeptInTheFile) {
    Console& c = make();
    std::string value = "first\r\nsecond";
    writeIni(c, c.playedIniPath(), "Track", "Note", value);
    EXPECT_EQ(value, "first  second");
    EXPECT_NE(readFile(dir / "played.ini").find("Note=first\r\nsecond"), std::string::npos);
    EXPECT_EQ(readIni(c, c.playedIniPath(), "Track", "Note", ""), "first");
}

TEST_F(ConsoleOpsTest, AWriteWithNoValueRemovesTheKey) {
    Console& c = make();
    writeIniValue(c, c.playedIniPath(), "T", "LastPlayed", "1/1/2026");
    deleteIniKey(c, c.playedIniPath(), "T", "Lastplayed");
    EXPECT_EQ(readIni(c, c.playedIniPath(), "T", "LastPlayed", "none"), "none");
}

TEST_F(ConsoleOpsTest, AppLogLinesHaveTheTimeFormAndNoSeparators) {
    Console& c = make();
    logError(c, "TarnWave Started");
    EXPECT_EQ(readFile(dir / "app.log"), "#Time:11/22/2026 10:00:00 AMTarnWave Started#\n");
}

TEST_F(ConsoleOpsTest, AFullAppLogMovesAsideAndFiveAreKept) {
    Console& c = make();
    const fs::path log = dir / "app.log";
    for (int round = 1; round <= 7; ++round) {
        logError(c, "round " + std::to_string(round));
        fs::resize_file(log, kAppLogLimit);  // the log reaches its size
    }
    logError(c, "after");
    EXPECT_EQ(appLogLines(), (std::vector<std::string>{"#Time:11/22/2026 10:00:00 AMafter#"}));
    for (int n = 1; n <= kAppLogsKept; ++n) {
        const fs::path kept = dir / ("app.log." + std::to_string(n));
        ASSERT_TRUE(fs::exists(kept)) << kept;
        EXPECT_EQ(fs::file_size(kept), kAppLogLimit);
        // The newest first: .1 began with the last round, .5 with the third.
        const std::string first = "#Time:11/22/2026 10:00:00 AMround " + std::to_string(8 - n);
        EXPECT_EQ(readFile(kept).substr(0, first.size()), first) << kept;
    }
    EXPECT_FALSE(fs::exists(dir / "app.log.6"));
}

TEST_F(ConsoleOpsTest, AnAppLogJustUnderItsSizeGrowsOn) {
    Console& c = make();
    logError(c, "first");
    fs::resize_file(dir / "app.log", kAppLogLimit - 1);
    logError(c, "second");
    EXPECT_FALSE(fs::exists(dir / "app.log.1"));
    EXPECT_GT(fs::file_size(dir / "app.log"), kAppLogLimit);
}

TEST_F(ConsoleOpsTest, PlayedLogIsNeverCut) {
    Console& c = make();
    logPlayed(c, "A - B", c.now());
    fs::resize_file(dir / "Played.log", 3 * kAppLogLimit);
    logPlayed(c, "C - D", c.now());
    EXPECT_FALSE(fs::exists(dir / "Played.log.1"));
    EXPECT_EQ(fs::file_size(dir / "Played.log"), 3 * kAppLogLimit + 29);
}

TEST_F(ConsoleOpsTest, ALineBreakInALogEntryIsWrittenAsItStands) {
    Console& c = make();
    logError(c, "one\ntwo");
    EXPECT_EQ(appLogLines(), (std::vector<std::string>{"#Time:11/22/2026 10:00:00 AMone", "two#"}));
}

TEST_F(ConsoleOpsTest, AFailingLogIsSwallowed) {
    core::Services s;
    s.clock = &clock;
    s.settings = &settings;
    s.engine = &engine;
    Console c((dir / "gone" / "deeper").string(), s);
    logError(c, "nothing happens");
    logPlayed(c, "A - B", c.now());
    EXPECT_FALSE(fs::exists(dir / "gone"));
}

// appSettings.ini as the demo script, an editor or a backup left it, readable by others, with a
// server's password in it: the operator's next save closes it and app.log says so, once.
class SettingsMadePrivateTest : public ConsoleOpsTest,
                                public ::testing::WithParamInterface<mode_t> {};

TEST_P(SettingsMadePrivateTest, TheFirstWriteMakesItOwnerOnlyWithOneLineAndNoSecretInTheLog) {
    const fs::path file = dir / "appSettings.ini";
    writeFile(file, "[Shoutcast]\r\nPW=old-Pw-4711\r\n[ArtistSeperation]\r\nHours=0.5\r\n");
    fs::permissions(file, static_cast<fs::perms>(GetParam()));
    writeFile(dir / "played.ini", "[A - B]\r\nPlayCount=1\r\n");
    fs::permissions(dir / "played.ini", static_cast<fs::perms>(0644));
    Console& c = make();
    writeIniValue(c, c.appSettingsPath(), "Shoutcast", "PW", "new-Pw-0815");
    writeIniValue(c, c.appSettingsPath(), "Shoutcast", "Name", "Tarn FM");
    {
        EventScope event(settings);
        writeIniValue(c, c.appSettingsPath(), "Shoutcast", "PW", "newer-Pw-0816");
    }
    writeIniValue(c, c.playedIniPath(), "A - B", "PlayCount", "2");
    struct stat st {};
    ASSERT_EQ(::stat(file.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0600u);
    ASSERT_EQ(::stat((dir / "played.ini").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 07777, 0644u) << "a file of no secret keeps its mode";
    char mode[8];
    std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(GetParam()));
    EXPECT_EQ(appLogLines(),
              (std::vector<std::string>{
                  "#Time:11/22/2026 10:00:00 AMTarnWave made " + c.appSettingsPath() +
                  " readable by its owner only: other users could read it (mode " + mode + ")#"}));
    const std::string log = readFile(dir / "app.log");
    for (const char* secret : {"old-Pw-4711", "new-Pw-0815", "newer-Pw-0816"}) {
        EXPECT_EQ(log.find(secret), std::string::npos) << secret;
    }
    EXPECT_NE(readFile(file).find("PW=newer-Pw-0816"), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(DemoAndGroupModes, SettingsMadePrivateTest,
                         ::testing::Values(mode_t{0644}, mode_t{0664}), [](const auto& info) {
                             return "Mode0" + std::to_string(info.param >> 6) +
                                    std::to_string((info.param >> 3) & 7) +
                                    std::to_string(info.param & 7);
                         });

TEST_F(ConsoleOpsTest, PlayedLogKeepsCommasInTitlesSoReadersSplitAtTheLastComma) {
    Console& c = make();
    logPlayed(c, "Crosby, Stills - Helplessly", c.now());
    const std::string line = readFile(dir / "Played.log");
    EXPECT_EQ(line, "Crosby, Stills - Helplessly,11/22/2026 10:00:00 AM\n");
    const auto last = line.rfind(',');
    EXPECT_EQ(line.substr(0, last), "Crosby, Stills - Helplessly");
}

TEST_F(ConsoleOpsTest, FailureTextNamesTheRoutineDescriptionAndNumber) {
    EXPECT_EQ(failureText("StartNext", Failure(kErrOverflow, "Overflow")), "StartNextOverflow  6");
}

TEST_F(ConsoleOpsTest, TheMessageLineReplacesTheLastMessageUnderTheTrackListFrame) {
    Console& c = make();
    printMessageOnScreen(c, "first");
    printMessageOnScreen(c, "Please select song to preview");
    const auto& texts = c.form().frmTarnDesk.drawing.texts;
    ASSERT_EQ(texts.size(), 1u);
    EXPECT_EQ(texts[0].text, "Please select song to preview");
    EXPECT_DOUBLE_EQ(texts[0].x, c.form().frmTrackList.rect.left);
    EXPECT_DOUBLE_EQ(texts[0].y,
                     c.form().frmTrackList.rect.top + c.form().frmTrackList.rect.height);
}

TEST(PrintOnButtonTest, ASingleLineStartsOneFontSizeAboveTheMiddle) {
    Element b("cmdOnAir", ElementKind::PictureButton);
    b.rect = {0, 0, 120, 36};
    printOnButton(b, ImageRole::Gray, "  OFF AIR  ");
    EXPECT_EQ(b.caption, "OFF AIR");
    EXPECT_EQ(b.image, ImageRole::Gray);
    EXPECT_EQ(b.fontSize, 10);
    EXPECT_TRUE(b.fontBold);
    ASSERT_EQ(b.drawing.texts.size(), 1u);
    EXPECT_DOUBLE_EQ(b.drawing.texts[0].x, 60 - (7 / 2.8) * 10);
    EXPECT_DOUBLE_EQ(b.drawing.texts[0].y, 18 + 0.5 - 10);
    ASSERT_EQ(b.drawing.fills.size(), 1u);
    EXPECT_DOUBLE_EQ(b.drawing.fills[0].width, 120);
}

TEST(PrintOnButtonTest, TwoLinesStartTwoFontSizesAboveTheMiddle) {
    Element b("cmdSettings", ElementKind::PictureButton);
    b.rect = {0, 0, 100, 40};
    printOnButton(b, ImageRole::Settings, "Settings", "Broadcast", 8);
    ASSERT_EQ(b.drawing.texts.size(), 2u);
    EXPECT_DOUBLE_EQ(b.drawing.texts[0].y, 20 + 0.5 - 16);
    EXPECT_DOUBLE_EQ(b.drawing.texts[1].y, 20 + 0.5);
    EXPECT_DOUBLE_EQ(b.drawing.texts[1].x, 50 - (9 / 2.8) * 8);
}

TEST(PrintOnButtonTest, AVeryLongCaptionStartsLeftOfTheButton) {
    Element b("lblplayer1", ElementKind::PictureButton);
    b.rect = {0, 0, 250, 50};
    printOnButton(b, ImageRole::Blue, std::string(80, 'W'));
    EXPECT_LT(b.drawing.texts[0].x, 0);
}

TEST_F(ConsoleOpsTest, TheYieldRunsAtMostOnceInFiftyMilliseconds) {
    Console& c = make();
    int ran = 0;
    auto count = [&] {
        loop.post([&] { ++ran; });
        yieldUi(c);
    };
    count();
    EXPECT_EQ(ran, 1);
    count();  // no time has passed: the posted work waits
    EXPECT_EQ(ran, 1);
    clock.advanceSeconds(0.049);
    count();
    EXPECT_EQ(ran, 1);
    clock.advanceSeconds(0.002);
    yieldUi(c);
    EXPECT_EQ(ran, 3);
}

TEST_F(ConsoleOpsTest, AfterMidnightTheYieldStaysSilentUntilItsStampIsReset) {
    clock.set(dateSerial(2026, 11, 22) + timeSerial(23, 59, 59));
    Console& c = make();
    int ran = 0;
    yieldUi(c);
    clock.advanceSeconds(2);  // 00:00:01 of the next day
    loop.post([&] { ++ran; });
    yieldUi(c);
    EXPECT_EQ(ran, 0);
    c.lastYield = 0;
    yieldUi(c);
    EXPECT_EQ(ran, 1);
}

TEST_F(ConsoleOpsTest, RecycleSendsToTheTrashWithTheFlagsOfTheCall) {
    Console& c = make();
    EXPECT_EQ(moveToRecycle(c, "/x/a.mp3", 16, true), 20);
    EXPECT_EQ(moveToRecycle(c, "/x/b.mp3", 16, false), 64);
    EXPECT_EQ(trash.trashed, (std::vector<std::string>{"/x/a.mp3", "/x/b.mp3"}));
}

TEST(DesktopTrashTest, MovesAFileIntoTheTrashFolder) {
    test::ScopedHome home;
    test::TempDir station;
    writeFile(station / "song.mp3", "abc");
    DesktopTrash trash;
    EXPECT_TRUE(trash.moveToTrash((station / "song.mp3").string()));
    EXPECT_FALSE(fs::exists(station / "song.mp3"));
    EXPECT_TRUE(fs::exists(home.trash() / "files" / "song.mp3"));
    EXPECT_TRUE(fs::exists(home.trash() / "info" / "song.mp3.trashinfo"));
}

TEST(DesktopTrashTest, AMissingDataFolderIsMadeBeforeTheTrashIsUsed) {
    test::ScopedHome home;
    test::TempDir station;
    fs::remove_all(home.home() / ".local");
    writeFile(station / "song.mp3", "abc");
    DesktopTrash trash;
    EXPECT_TRUE(trash.moveToTrash((station / "song.mp3").string()));
    EXPECT_TRUE(fs::exists(home.trash() / "files" / "song.mp3"));
}

TEST_F(ConsoleOpsTest, StatusWindowShowsItsBarToTheFraction) {
    Console& c = make();
    ShowStatus(c, 0.25);
    EXPECT_TRUE(c.ui.status.frmStatus.visible);
    ASSERT_EQ(c.ui.status.pctStatus.drawing.fills.size(), 1u);
    EXPECT_DOUBLE_EQ(c.ui.status.pctStatus.drawing.fills[0].width,
                     c.ui.status.pctStatus.rect.width * 0.25);
    closeStatus(c);
    EXPECT_FALSE(c.ui.status.frmStatus.visible);
}

TEST(FileListTest, MatchesTheExtensionWithoutRegardToCaseAndSortsLikewise) {
    test::TempDir d;
    for (const char* n : {"b.MP3", "A.mp3", "c.wav", "a2.Mp3"}) {
        writeFile(d / n, "x");
    }
    fs::create_directories(d / "sub.mp3");
    Element list("fileList", ElementKind::FileList);
    list.path = d.str();
    list.pattern = "*.mp3";
    refreshFileList(list);
    std::vector<std::string> names;
    for (const auto& i : list.items) {
        names.push_back(i.text);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"A.mp3", "a2.Mp3", "b.MP3"}));
    list.path = (d / "missing").string();
    refreshFileList(list);
    EXPECT_TRUE(list.items.empty());
}

TEST(FileListTest, AFillWritesOverEveryRowOfTheLastOneAndKeepsNothingOfIt) {
    // Filled again with a listing as long, a longer and a shorter one: every row is the listing's
    // name with nothing of what the row held before (picture, tag, selection), and no selected row.
    Element list("fileList", ElementKind::FileList);
    fillFileList(list, {"a.mp3", "b.mp3", "c.mp3"});
    for (auto& item : list.items) {
        item.picture = 3;
        item.tag = "kept";
        item.selected = true;
    }
    list.listIndex = 1;
    const std::vector<std::vector<std::string>> listings = {
        {"d.mp3", "a very long name that is kept on the heap.mp3", "f.mp3"},
        {"g.mp3", "h.mp3", "i.mp3", "j.mp3", "k.mp3"},
        {"l.mp3"},
        {}};
    for (const auto& names : listings) {
        fillFileList(list, names);
        EXPECT_EQ(list.listIndex, -1);
        ASSERT_EQ(list.items.size(), names.size());
        for (std::size_t i = 0; i < names.size(); ++i) {
            EXPECT_EQ(list.items[i].text, names[i]);
            EXPECT_EQ(list.items[i].picture, 0);
            EXPECT_EQ(list.items[i].tag, "");
            EXPECT_FALSE(list.items[i].selected);
        }
        for (auto& item : list.items) {
            item.picture = 3;
            item.tag = "kept";
            item.selected = true;
        }
        list.listIndex = 0;
    }
}

TEST_F(ConsoleOpsTest, FadeTimerRunsOnTheLoopOnlyWhileEnabled) {
    Console& c = make();
    setFadeTimerEnabled(c, true);
    EXPECT_TRUE(c.form().fadeTimer.enabled);
    EXPECT_TRUE(loop.timerActive(c.fadeTimerId));
    loop.advance(0.01);  // automated: one tick loads and switches it off
    EXPECT_FALSE(c.form().fadeTimer.enabled);
    EXPECT_EQ(c.fadeTimerId, 0);
}

TEST_F(ConsoleOpsTest, FadeTimerWaitsInManualModeUntilTheModeReturns) {
    Console& c = make();
    c.form().cmdAutoManual.caption = kManual;
    setFadeTimerEnabled(c, true);
    loop.advance(0.5);
    EXPECT_TRUE(c.form().fadeTimer.enabled);
    c.form().cmdAutoManual.caption = kAutomated;
    loop.advance(0.002);
    EXPECT_FALSE(c.form().fadeTimer.enabled);
}

}  // namespace
}  // namespace tw::core
