// The table's rows for the library: the categories, the track list and its details panel, the
// rotation screen and the Playlist Builder.

#include <QFontMetricsF>
#include <QImage>
#include <algorithm>
#include <filesystem>
#include <set>

#include "autodj/library_state.h"
#include "core/console_ops.h"
#include "desk/actions.h"
#include "desk/console_layout.h"
#include "liveassist/sampler.h"
#include "tests/ui/gesture_table.h"
#include "ui/element_painter.h"
#include "ui/visible_elements.h"

namespace tw::test {

namespace {

namespace fs = std::filesystem;
using B = GestureBench;

bool exists(B& b, const std::string& tail) {
    return fs::exists(b.folder() / tail);
}

bool listed(const core::Element& list, const std::string& text) {
    for (const auto& item : list.items) {
        if (item.text == text) {
            return true;
        }
    }
    return false;
}

int selectedItems(const core::Element& list) {
    int n = 0;
    for (const auto& item : list.items) {
        n += item.selected;
    }
    return n;
}

// The search marked one track of the list, at row.
void onlyMarked(B& b, int row) {
    EXPECT_EQ(selectedItems(b.m().lstSongs), 1);
    EXPECT_TRUE(b.m().lstSongs.items.at(static_cast<std::size_t>(row)).selected);
}

int selectedRows(const core::Element& grid) {
    int n = 0;
    for (const auto& row : grid.rows) {
        n += row.selected;
    }
    return n;
}

// The track list with the first category ("Jazz") shown.
void trackList(B& b) {
    desk::showPanel(b.c(), 1);
    desk::select(b.c(), "lstPlaylists", 0);
    ASSERT_EQ(b.m().lstSongs.listCount(), 3);
}

void libraryTrackChosen(B& b) {
    trackList(b);
    desk::select(b.c(), "lstSongs", 1);
}

// The details panel's second page, the cue points and sweepers, for the first track.
void morePage(B& b) {
    trackList(b);
    desk::select(b.c(), "lstSongs", 0);
    desk::press(b.c(), "cmdMoreInfo");
    ASSERT_TRUE(b.m().frmMoreInfo.visible);
}

void previewOnMorePage(B& b) {
    morePage(b);
    desk::press(b.c(), "cmdPlayActiveSong");
    ASSERT_NE(b.c().previewPlayer, 0u);
    b.engine().channelSetPosition(b.c().previewPlayer,
                                  b.engine().channelSeconds2Bytes(b.c().previewPlayer, 2.5));
}

void rotationScreen(B& b) {
    desk::showPanel(b.c(), 2);
    ASSERT_EQ(b.m().lstRotation.rowCount(), 2) << "the demo rotation's rows";
}

void builder(B& b) {
    desk::showPanel(b.c(), 3);
    desk::select(b.c(), "lstPlaylists", 1);  // the builder lists the chosen category's tracks
    ASSERT_EQ(b.m().lstBuilderCatagoryList.listCount(), 3);
}

void builderWithRows(B& b) {
    builder(b);
    for (int i = 0; i < 3; ++i) {
        desk::select(b.c(), "lstBuilderCatagoryList", i);
        desk::dragElement(b.c(), "lstBuilderCatagoryList", "lstPlayListBuilder");
    }
    ASSERT_EQ(b.m().lstPlayListBuilder.rowCount(), 3);
}

std::string firstCell(const core::Element& grid, int row) {
    return grid.rows.at(static_cast<std::size_t>(row)).cells.at(0);
}

// A text box of the details panel takes what is typed.
GestureRow typingRow(const std::string& box, bool morePageBox) {
    return {"Typing" + box,
            box,
            Gesture::Typing,
            morePageBox ? morePage : libraryTrackChosen,
            [box](B& b) { b.type(box, "Typed 7"); },
            [box](B& b) { EXPECT_EQ(b.m().find(box)->text, "Typed 7"); }};
}

// A press on a cue mark: the left button takes the preview's place, the right clears it.
void markRows(std::vector<GestureRow>& rows, const std::string& label, const std::string& box) {
    rows.push_back({"LeftPressOn" + label + "MarksThePreviewsPlace", label, Gesture::LeftClick,
                    previewOnMorePage, [label](B& b) { b.click(label); },
                    [box](B& b) {
                        const core::Element& e = *b.m().find(box);
                        EXPECT_NEAR(std::stod(e.hiddenValue), 2.5, 0.1);
                        EXPECT_FALSE(e.text.empty());
                    }});
    rows.push_back({"RightPressOn" + label + "ClearsIt", label, Gesture::RightClick,
                    [label](B& b) {
                        previewOnMorePage(b);
                        desk::press(b.c(), label);
                    },
                    [label](B& b) { b.click(label, Qt::RightButton); },
                    [box](B& b) {
                        EXPECT_EQ(b.m().find(box)->text, "");
                        EXPECT_EQ(b.m().find(box)->hiddenValue, "");
                    }});
}

}  // namespace

std::vector<GestureRow> libraryGestures() {
    std::vector<GestureRow> rows = {
        // --- the categories
        {"ACategoryClickedListsItsTracks", "lstPlaylists", Gesture::RowClick,
         [](B& b) { desk::showPanel(b.c(), 1); }, [](B& b) { b.clickRow("lstPlaylists", 1); },
         [](B& b) {
             EXPECT_EQ(b.m().lstPlaylists.listIndex, 1);
             EXPECT_TRUE(listed(b.m().lstSongs, "Delta - Four"));
             EXPECT_EQ(b.m().lblListInfo.caption.rfind("3 Tracks", 0), 0u);
         }},
        {"DeleteOnACategorySendsItToTheTrash", "lstPlaylists", Gesture::DeleteKey,
         [](B& b) { b.answer("ok"); }, [](B& b) { b.deleteKey("lstPlaylists", 1); },
         [](B& b) {
             ASSERT_EQ(b.trashed().size(), 1u);
             EXPECT_EQ(fs::path(b.trashed()[0]).filename(), "Rock");
             EXPECT_EQ(b.asked().at(0),
                       "Are you sure you want to DELETE this folder and all its contents?");
         }},
        {"ACategoryCarriedOntoTheRotationJoinsIt", "lstPlaylists", Gesture::RowDrag, rotationScreen,
         [](B& b) { b.dragRow("lstPlaylists", 0, "lstRotation"); },
         [](B& b) {
             ASSERT_EQ(b.m().lstRotation.rowCount(), 3);
             EXPECT_TRUE(exists(b, "Rotations/Demo.rot"));
         }},
        {"NewCategoryButtonMakesACategory", "cmdAddPlayList", Gesture::LeftClick,
         [](B& b) {
             desk::showPanel(b.c(), 3);
             b.answer("name:Soul");
         },
         [](B& b) { b.click("cmdAddPlayList"); },
         [](B& b) {
             EXPECT_TRUE(exists(b, "Music/Soul"));
             EXPECT_TRUE(listed(b.m().lstPlaylists, "Soul"));
             EXPECT_TRUE(b.m().frmTrackList.visible);
         }},
        // --- the track list
        {"ATrackClickedFillsTheDetails", "lstSongs", Gesture::RowClick, trackList,
         [](B& b) { b.clickRow("lstSongs", 1); },
         [](B& b) {
             EXPECT_EQ(b.m().txtArtistName.text, "Beta");
             EXPECT_EQ(b.m().txtSongName.text, "Two");
         }},
        {"ATrackClickedShowsItsLoudnessUnderItsTagFields", "lstSongs", Gesture::RowClick,
         [](B& b) {
             b.measured("Music/Jazz/Beta - Two.mp3", -12.41, -0.32);
             core::writeIniValue(b.c(), b.c().appSettingsPath(), "Loudness", "Target", "-16");
             trackList(b);
         },
         [](B& b) { b.clickRow("lstSongs", 1); },
         [](B& b) {
             const core::Element& line = b.m().lblLoudnessInfo;
             EXPECT_EQ(line.caption, "Loudness -12.4 LUFS  Peak -0.3 dBTP  Gain -3.6 dB");
             // Drawn on the Artist Info page, whole, clear of every other element.
             const auto drawn = ui::drawnElements(b.m());
             ASSERT_NE(std::find(drawn.begin(), drawn.end(), &line), drawn.end());
             const QRectF at = b.placeOf("lblLoudnessInfo");
             EXPECT_TRUE(b.placeOf("frmNameTitleArtist").contains(at));
             for (const core::Element* e : drawn) {
                 if (e != &line && e->kind != core::ElementKind::Frame) {
                     EXPECT_FALSE(at.intersects(b.placeOf(e->name))) << "over " << e->name;
                 }
             }
             const QFontMetricsF m(ui::consoleFont(line.fontSize, line.fontBold));
             EXPECT_LE(m.horizontalAdvance(QString::fromStdString(line.caption)), at.width());
             EXPECT_LE(m.height(), at.height());
             QWidget& w = b.windowOf("lblLoudnessInfo");
             const QImage shown = w.grab().toImage().copy(at.toAlignedRect());
             const std::string caption = line.caption;
             b.m().lblLoudnessInfo.caption.clear();
             const QImage blank = w.grab().toImage().copy(at.toAlignedRect());
             b.m().lblLoudnessInfo.caption = caption;
             EXPECT_NE(shown, blank) << "the line is painted";
         }},
        {"DeleteOnATrackSendsItToTheTrash", "lstSongs", Gesture::DeleteKey,
         [](B& b) {
             trackList(b);
             b.answer("yes");
         },
         [](B& b) { b.deleteKey("lstSongs", 2); },
         [](B& b) {
             ASSERT_EQ(b.trashed().size(), 1u);
             EXPECT_EQ(fs::path(b.trashed()[0]).filename(), "Gamma - Three.mp3");
         }},
        {"TheTrackMenusEntrySendsTheChosenTracksToTheTrash", "clkDelTrack", Gesture::MenuEntry,
         [](B& b) {
             trackList(b);
             b.answer("yes");
         },
         [](B& b) {
             b.clickRow("lstSongs", 0, Qt::RightButton);
             b.chooseInMenu(0);
         },
         [](B& b) {
             ASSERT_EQ(b.trashed().size(), 1u);
             EXPECT_EQ(fs::path(b.trashed()[0]).filename(), "Alpha - One.mp3");
             EXPECT_EQ(b.asked().at(0),
                       "Are you Sure you would like to move all the selected "
                       "file to the Recycle Bin");
         }},
        {"FilesDroppedOnTheTrackListAreImported", "lstSongs", Gesture::FileDrop,
         [](B& b) {
             trackList(b);
             b.answer("ok");
         },
         [](B& b) {
             ASSERT_TRUE(b.dropFiles(
                 "lstSongs", {b.outsideFile("notes.txt", "text"), b.outsideTrack("Fresh.mp3")}));
         },
         [](B& b) {
             EXPECT_TRUE(b.waitFor([&] { return listed(b.m().lstSongs, "Outside - Fresh.mp3"); }))
                 << "the import's refresh lists the new track";
             EXPECT_TRUE(exists(b, "Music/Jazz/Fresh.mp3"));
             EXPECT_FALSE(exists(b, "Music/Jazz/notes.txt"));
             ASSERT_FALSE(b.asked().empty());
             EXPECT_NE(b.asked()[0].find(" Cannot be Imported,TarnWave only accepts .mp3 Files"),
                       std::string::npos);
         }},
        {"AddTracksImportsTheFileChosen", "pctAddSongs", Gesture::LeftClick,
         [](B& b) {
             trackList(b);
             b.answer("file:" + b.outsideTrack("Chosen.mp3"));
         },
         [](B& b) { b.click("pctAddSongs"); },
         [](B& b) { EXPECT_TRUE(b.waitFor([&] { return exists(b, "Music/Jazz/Chosen.mp3"); })); }},
        {"CalculateRecountsTheLibrary", "cmdCalculate", Gesture::LeftClick, trackList,
         [](B& b) { b.click("cmdCalculate"); },
         [](B& b) {
             EXPECT_TRUE(b.waitFor([&] {
                 return b.iniValue("appSettings.ini", "tarnWave", "lastAverageSong") != "<none>";
             }));
         }},
        {"ATrackCarriedOntoTheWaitingPlayerGoesOnIt", "lblPlayer2", Gesture::RowDrag, trackList,
         [](B& b) { b.dragRow("lstSongs", 2, "lblPlayer2"); },
         [](B& b) {
             EXPECT_EQ(fs::path(b.c().nextSong2).filename(), "Gamma - Three.mp3");
             EXPECT_EQ(b.m().lblPlayer2.caption, "Gamma");
         }},
        {"ATrackCarriedOntoPlayerOneWhilePlayerTwoIsOnTheAirGoesOnIt", "lblplayer1",
         Gesture::RowDrag,
         [](B& b) {
             desk::press(b.c(), "cmdSkipNow");
             ASSERT_EQ(b.c().activePlayer, 2);
             // The track handed over is freed and player 1 loaded again before the operator's
             // hand comes.
             b.waitFor([] { return false; }, 100);
             ASSERT_TRUE(b.waitFor([&] { return !b.m().fadeTimer.enabled; }));
             trackList(b);
         },
         [](B& b) { b.dragRow("lstSongs", 0, "lblplayer1"); },
         [](B& b) {
             EXPECT_EQ(fs::path(b.c().nextSong1).filename(), "Alpha - One.mp3");
             EXPECT_EQ(b.m().lblplayer1.caption, "Alpha");
         }},
        {"ATrackCarriedOntoThePlayerOnTheAirIsRefused", "lblplayer1", Gesture::RowDrag,
         [](B& b) {
             trackList(b);
             ASSERT_EQ(b.c().activePlayer, 1);
             b.memo["next"] = b.c().nextSong1;
         },
         [](B& b) { b.dragRow("lstSongs", 0, "lblplayer1"); },
         [](B& b) { EXPECT_EQ(b.c().nextSong1, b.memo["next"]); }},
        {"ATrackCarriedOntoASampleButtonFillsIt", "lstSongs", Gesture::RowDrag, trackList,
         [](B& b) { b.dragRow("lstSongs", 1, "cmdSampler(3)"); },
         [](B& b) {
             EXPECT_EQ(fs::path(liveassist::samplePath(b.c(), 3)).filename(), "Beta - Two.mp3");
             EXPECT_TRUE(exists(b, "Samples/Beta - Two.mp3"));
         }},
        {"TypingInTheSearchBoxKeepsTheText", "txtSearch", Gesture::Typing, trackList,
         [](B& b) { b.type("txtSearch", "Beta"); },
         [](B& b) { EXPECT_EQ(b.m().txtSearch.text, "Beta"); }},
        {"ReturnInTheSearchBoxMarksTheMatches", "txtSearch", Gesture::ReturnKey,
         [](B& b) {
             trackList(b);
             desk::type(b.c(), "txtSearch", "Gamma");
         },
         [](B& b) { b.returnKey("txtSearch"); }, [](B& b) { onlyMarked(b, 2); }},
        {"SearchMarksTheMatches", "cmdSearch", Gesture::LeftClick,
         [](B& b) {
             trackList(b);
             desk::type(b.c(), "txtSearch", "ta - ");
         },
         [](B& b) { b.click("cmdSearch"); }, [](B& b) { onlyMarked(b, 1); }},
        {"UpdateTagWritesTheDetailsIntoTheFile", "cmdUpdateTag", Gesture::LeftClick,
         [](B& b) {
             libraryTrackChosen(b);
             desk::type(b.c(), "txtGenre", "Swing");
         },
         [](B& b) { b.click("cmdUpdateTag"); },
         [](B& b) {
             desk::select(b.c(), "lstSongs", 0);
             desk::select(b.c(), "lstSongs", 1);  // read back from the file
             EXPECT_EQ(b.m().txtGenre.text, "Swing");
         }},
        {"DownloadSheetWritesTheSheet", "cmdSaveDownloadSheet", Gesture::LeftClick,
         libraryTrackChosen, [](B& b) { b.click("cmdSaveDownloadSheet"); },
         [](B& b) {
             EXPECT_TRUE(exists(b, "Download Sheets"));
             EXPECT_FALSE(fs::is_empty(b.folder() / "Download Sheets"));
         }},
        {"MoreInfoShowsTheCuePage", "cmdMoreInfo", Gesture::LeftClick, libraryTrackChosen,
         [](B& b) { b.click("cmdMoreInfo"); },
         [](B& b) {
             EXPECT_TRUE(b.m().frmMoreInfo.visible);
             EXPECT_FALSE(b.m().frmNameTitleArtist.visible);
             EXPECT_EQ(b.m().cmdMoreInfo.image, core::ImageRole::Red);
         }},
        {"ArtistInfoShowsTheTagPage", "cmdArtistSongAlbum", Gesture::LeftClick, morePage,
         [](B& b) { b.click("cmdArtistSongAlbum"); },
         [](B& b) {
             EXPECT_TRUE(b.m().frmNameTitleArtist.visible);
             EXPECT_FALSE(b.m().frmMoreInfo.visible);
         }},
        {"TheSweeperListOpensAndTheChoiceShows", "cmboSweeperList", Gesture::Choice, morePage,
         [](B& b) { b.choose("cmboSweeperList", 2); },
         [](B& b) {
             EXPECT_EQ(b.m().cmboSweeperList.listIndex, 2);
             EXPECT_EQ(b.m().cmboSweeperList.text, "Sweep B.mp3");
         }},
        {"ASweeperClickedShowsItsNumber", "flSweepers", Gesture::RowClick, morePage,
         [](B& b) { b.clickRow("flSweepers", 1); },
         [](B& b) { EXPECT_EQ(b.m().lblSweepId.caption, "2"); }},
        {"DeleteOnASweeperSendsItToTheTrash", "flSweepers", Gesture::DeleteKey, morePage,
         [](B& b) { b.deleteKey("flSweepers", 0); },
         [](B& b) {
             ASSERT_EQ(b.trashed().size(), 1u);
             EXPECT_EQ(fs::path(b.trashed()[0]).filename(), "Sweep A.mp3");
         }},
        {"FilesDroppedOnTheSweepersTakeNumbersOfTheirOwn", "flSweepers", Gesture::FileDrop,
         morePage,
         [](B& b) {
             ASSERT_TRUE(b.dropFiles("flSweepers",
                                     {b.outsideTrack("Id 1.mp3"), b.outsideTrack("Id 2.mp3")}));
         },
         [](B& b) {
             EXPECT_TRUE(exists(b, "Sweepers/Id 1.mp3"));
             EXPECT_TRUE(exists(b, "Sweepers/Id 2.mp3"));
             std::set<std::string> numbers;
             const auto& list = b.m().flSweepers;
             for (int i = 0; i < list.listCount(); ++i) {
                 desk::select(b.c(), "flSweepers", i);
                 numbers.insert(b.m().lblSweepId.caption);
             }
             EXPECT_EQ(numbers, (std::set<std::string>{"1", "2", "3", "4"}));
         }},
        // --- the rotation screen
        {"AClickOnARotationRowsTickTicksIt", "lstRotation", Gesture::RowClick, rotationScreen,
         [](B& b) { b.clickRow("lstRotation", 1, Qt::LeftButton, {}, 0); },
         [](B& b) { EXPECT_TRUE(b.m().lstRotation.rows.at(1).checked); }},
        {"ARotationRowCarriedDownChangesPlaces", "lstRotation", Gesture::RowDrag, rotationScreen,
         [](B& b) { b.dragRow("lstRotation", 0, "lstRotation", 1); },
         [](B& b) {
             EXPECT_EQ(b.m().lstRotation.rows.at(0).cells.at(1), "Rock");
             EXPECT_EQ(b.m().lstRotation.rows.at(1).cells.at(1), "Jazz");
         }},
        {"DeleteOnARotationRowTakesItOut", "lstRotation", Gesture::DeleteKey, rotationScreen,
         [](B& b) { b.deleteKey("lstRotation", 1); },
         [](B& b) { EXPECT_EQ(b.m().lstRotation.rowCount(), 1); }},
        {"RePickOnARowThrowsItsTrackAwayAndPicksAgain", "lstPlaylist", Gesture::RowClick,
         [](B& b) {
             rotationScreen(b);
             b.m().lstPlaylist.rows.at(1).cells.at(1) = "(not picked again yet)";
         },
         [](B& b) { b.clickRow("lstPlaylist", 1, Qt::LeftButton, {}, 3); },
         [](B& b) {
             // The row shows its new pick, and the waiting player holds it. (The picker may
             // take the same track again: with three tracks each is due soon.)
             const auto& row = b.m().lstPlaylist.rows.at(1).cells;
             EXPECT_EQ(row.at(1), b.c().trackList.at(1).trackName);
             EXPECT_EQ(row.at(3), "ClickToRepick");
             EXPECT_EQ(b.c().nextSong2, b.c().trackList.at(1).trackPath);
         }},
        {"TheTitleColumnShowsTheRowsHistory", "lstPlaylist", Gesture::RowClick, rotationScreen,
         [](B& b) { b.clickRow("lstPlaylist", 1, Qt::LeftButton, {}, 1); },
         [](B& b) {
             EXPECT_TRUE(b.m().lblShowData.visible);
             EXPECT_EQ(b.m().lblShowData.caption.rfind("lastPlayed: ", 0), 0u);
             // The balloon leaves the rows under it to the operator's hand.
             desk::select(b.c(), "lstPlaylist", -1);
             b.clickRow("lstPlaylist", 0, Qt::LeftButton, {}, 1);
             EXPECT_EQ(b.m().lstPlaylist.row, 0);
         }},
        {"TheTimeColumnPreviewsTheRowsTrack", "lstPlaylist", Gesture::RowClick, rotationScreen,
         [](B& b) { b.clickRow("lstPlaylist", 1, Qt::LeftButton, {}, 0); },
         [](B& b) {
             EXPECT_NE(b.c().previewPlayer, 0u);
             EXPECT_EQ(b.c().previewSong, b.c().trackList.at(1).trackPath);
         }},
        {"ARunningListRowCarriedUpChangesPlaces", "lstPlaylist", Gesture::RowDrag,
         [](B& b) {
             rotationScreen(b);
             b.memo["path"] = b.c().trackList.at(1).trackPath;
         },
         [](B& b) { b.dragRow("lstPlaylist", 1, "lstPlaylist", 0); },
         [](B& b) { EXPECT_EQ(b.c().trackList.at(0).trackPath, b.memo["path"]); }},
        {"AListChosenRunsAndTheScheduleStops", "lstRotationOrList", Gesture::RowClick,
         [](B& b) {
             rotationScreen(b);
             b.m().chkEnableSchedule.value = 1;
         },
         [](B& b) { b.clickRow("lstRotationOrList", 0); },
         [](B& b) {
             EXPECT_EQ(b.m().chkEnableSchedule.value, 0);
             EXPECT_EQ(b.c().activeListName, "Demo.rot");
             EXPECT_EQ(b.c().listMode, 0);
         }},
        {"DeleteOnAListSendsItsFileToTheTrash", "lstRotationOrList", Gesture::DeleteKey,
         rotationScreen, [](B& b) { b.deleteKey("lstRotationOrList", 0); },
         [](B& b) {
             ASSERT_EQ(b.trashed().size(), 1u);
             EXPECT_EQ(fs::path(b.trashed()[0]).filename(), "Demo.rot");
         }},
        {"TheScheduleTickToggles", "chkEnableSchedule", Gesture::LeftClick, rotationScreen,
         [](B& b) { b.click("chkEnableSchedule"); },
         [](B& b) { EXPECT_EQ(b.m().chkEnableSchedule.value, 1); }},
        {"NewRotationMakesTheRotationNamed", "cmdNewRotation", Gesture::LeftClick,
         [](B& b) { b.answer("name:Evening"); }, [](B& b) { b.click("cmdNewRotation"); },
         [](B& b) { EXPECT_TRUE(exists(b, "Rotations/Evening.rot")); }},
        // --- the Playlist Builder
        {"ABuilderTrackClickedShowsItsHistory", "lstBuilderCatagoryList", Gesture::RowClick,
         builder, [](B& b) { b.clickRow("lstBuilderCatagoryList", 1); },
         [](B& b) {
             EXPECT_EQ(b.m().lblLastPlayed.caption.rfind("Tune Outs:", 0), 0u);
             EXPECT_EQ(b.m().lstBuilderCatagoryList.listIndex, 1) << "Preview's choice";
         }},
        {"ABuilderTrackCarriedOntoTheGridJoinsIt", "lstBuilderCatagoryList", Gesture::RowDrag,
         builder, [](B& b) { b.dragRow("lstBuilderCatagoryList", 2, "lstPlayListBuilder"); },
         [](B& b) {
             ASSERT_EQ(b.m().lstPlayListBuilder.rowCount(), 1);
             EXPECT_EQ(firstCell(b.m().lstPlayListBuilder, 0), "Zeta - Six");
         }},
        {"ABuilderTrackCarriedOntoTheWaitingPlayerGoesOnIt", "lstBuilderCatagoryList",
         Gesture::RowDrag, builder,
         [](B& b) { b.dragRow("lstBuilderCatagoryList", 0, "lblPlayer2"); },
         [](B& b) { EXPECT_EQ(fs::path(b.c().nextSong2).filename(), "Delta - Four.mp3"); }},
        {"ABuilderTrackCarriedOntoASampleButtonFillsIt", "lstBuilderCatagoryList", Gesture::RowDrag,
         builder, [](B& b) { b.dragRow("lstBuilderCatagoryList", 1, "cmdSampler(10)"); },
         [](B& b) {
             EXPECT_EQ(fs::path(liveassist::samplePath(b.c(), 10)).filename(),
                       "Epsilon - Five.mp3");
         }},
        {"ABuilderRowCarriedDownChangesPlaces", "lstPlayListBuilder", Gesture::RowDrag,
         [](B& b) {
             builderWithRows(b);
             b.memo["first"] = firstCell(b.m().lstPlayListBuilder, 0);
             b.memo["second"] = firstCell(b.m().lstPlayListBuilder, 1);
         },
         [](B& b) { b.dragRow("lstPlayListBuilder", 0, "lstPlayListBuilder", 2); },
         [](B& b) {
             EXPECT_EQ(firstCell(b.m().lstPlayListBuilder, 2), b.memo["first"]);
             EXPECT_EQ(firstCell(b.m().lstPlayListBuilder, 0), b.memo["second"]);
         }},
        {"CtrlClicksChooseSeveralBuilderRows", "lstPlayListBuilder", Gesture::RowClick,
         builderWithRows,
         [](B& b) {
             b.clickRow("lstPlayListBuilder", 0);
             b.clickRow("lstPlayListBuilder", 2, Qt::LeftButton, Qt::ControlModifier);
         },
         [](B& b) { EXPECT_EQ(selectedRows(b.m().lstPlayListBuilder), 2); }},
        {"APlaylistDroppedOnTheBuilderIsLoaded", "lstPlayListBuilder", Gesture::FileDrop, builder,
         [](B& b) {
             const std::string track = (b.folder() / "Music/Jazz/Alpha - One.mp3").string();
             ASSERT_TRUE(b.dropFiles("lstPlayListBuilder",
                                     {b.outsideFile("Mine.pls", "[playlist]\nFile1=" + track +
                                                                    "\nTitle1=Alpha - One\n"
                                                                    "NumberOfEntries=1\n")}));
         },
         [](B& b) { EXPECT_EQ(b.m().lstPlayListBuilder.rowCount(), 1); }},
        {"DeleteSelectedTakesOutTheChosenRows", "cmdDeleteItem", Gesture::LeftClick,
         [](B& b) {
             builderWithRows(b);
             desk::select(b.c(), "lstPlayListBuilder", 1);
         },
         [](B& b) { b.click("cmdDeleteItem"); },
         [](B& b) { EXPECT_EQ(b.m().lstPlayListBuilder.rowCount(), 2); }},
        {"ClearPlaylistEmptiesTheBuilder", "cmdResetPlaylist", Gesture::LeftClick, builderWithRows,
         [](B& b) { b.click("cmdResetPlaylist"); },
         [](B& b) { EXPECT_EQ(b.m().lstPlayListBuilder.rowCount(), 0); }},
        {"SavePlaylistWritesTheFileNamed", "cmdSavePlaylist", Gesture::LeftClick,
         [](B& b) {
             builderWithRows(b);
             b.answer("file:" + (b.folder() / "Playlist/Mine.pls").string());
         },
         [](B& b) { b.click("cmdSavePlaylist"); },
         [](B& b) {
             EXPECT_TRUE(exists(b, "Playlist/Mine.pls"));
             EXPECT_TRUE(listed(b.m().lstRotationOrList, "Mine.pls"));
         }},
        {"LoadPlaylistLoadsTheFileChosen", "cmdLoadPlaylist", Gesture::LeftClick,
         [](B& b) {
             builder(b);
             const std::string track = (b.folder() / "Music/Rock/Zeta - Six.mp3").string();
             b.answer("file:" + b.outsideFile("Old.pls", "[playlist]\nFile1=" + track + "\nFile2=" +
                                                             track + "\nNumberOfEntries=2\n"));
         },
         [](B& b) { b.click("cmdLoadPlaylist"); },
         [](B& b) { EXPECT_EQ(b.m().lstPlayListBuilder.rowCount(), 2); }},
    };
    for (const char* box : {"txtArtistName", "txtSongName", "txtGenre", "txtAlbum", "txtSongYear",
                            "txtComposer", "txtPublisher", "txtRecordLabel"}) {
        rows.push_back(typingRow(box, false));
    }
    for (const char* box : {"txtSweeper", "txtIntroUntil", "txtOutro", "txtNextStart"}) {
        rows.push_back(typingRow(box, true));
    }
    markRows(rows, "lblSweepStart", "txtSweeper");
    markRows(rows, "lblIntroUntil", "txtIntroUntil");
    markRows(rows, "lblOutroUntil", "txtOutro");
    markRows(rows, "lblNextStart", "txtNextStart");
    return rows;
}

}  // namespace tw::test
