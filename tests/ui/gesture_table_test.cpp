// The operator's gestures on the real windows, row by row of the table, at the design size and
// at half as large again; and the table's own completeness: every element of every window has
// its gestures in it, or is named with the reason why the operator does not act on it.

#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>

#include "tests/ui/gesture_table.h"
#include "tests/ui/qt_app.h"

namespace tw::test {

const char* gestureName(Gesture g) {
    switch (g) {
        case Gesture::LeftClick:
            return "LeftClick";
        case Gesture::RightClick:
            return "RightClick";
        case Gesture::DoubleClick:
            return "DoubleClick";
        case Gesture::HeldMove:
            return "HeldMove";
        case Gesture::RowClick:
            return "RowClick";
        case Gesture::RowDrag:
            return "RowDrag";
        case Gesture::ElementDrag:
            return "ElementDrag";
        case Gesture::FileDrop:
            return "FileDrop";
        case Gesture::DeleteKey:
            return "DeleteKey";
        case Gesture::FunctionKey:
            return "FunctionKey";
        case Gesture::ReturnKey:
            return "ReturnKey";
        case Gesture::Typing:
            return "Typing";
        case Gesture::Choice:
            return "Choice";
        case Gesture::MenuEntry:
            return "MenuEntry";
        case Gesture::CloseBox:
            return "CloseBox";
    }
    return "";
}

std::vector<GestureRow> allGestures() {
    std::vector<GestureRow> all;
    for (auto part : {playerGestures, libraryGestures, liveGestures, windowGestures}) {
        for (GestureRow& row : part()) {
            all.push_back(std::move(row));
        }
    }
    return all;
}

std::vector<NoGesture> elementsWithoutGestures() {
    const std::string shows = "shows what the console writes; no gesture acts on it";
    const std::string hidden = "a list the console keeps hidden as its own helper";
    const std::string frame = "a frame: the elements standing in it take the gestures";
    return {
        {"frmTarnDesk", "the console window itself: its message line is written, not touched"},
        {"lblTimeLeft1", shows},
        {"lblTimeLeft2", shows},
        {"lblDateTime", shows},
        {"lblListerners", shows + " (the poll's listener figure)"},
        {"lblListInfo", shows},
        {"lblLoudnessInfo", shows + " (the chosen track's loudness)"},
        {"lblShowData", "the history balloon that lstPlaylist's title column shows"},
        {"lblSweepId", shows + " (flSweepers' click)"},
        {"lblLastPlayed", shows + " (lstBuilderCatagoryList's click)"},
        {"pctMarkers1", shows + " (the cue marks)"},
        {"pctMarkers2", shows + " (the cue marks)"},
        {"pctPreviewMarkers", shows + " (the cue marks)"},
        {"picMicLevel", shows + " (the microphone's meter)"},
        {"lstPlaylist1", hidden},
        {"dirList", hidden},
        {"fileList", hidden},
        {"fileList1", hidden},
        {"flRotations", hidden},
        {"flPlaylists", hidden},
        {"frmTrackList", frame},
        {"frmRotationList", frame},
        {"frmPlaylistBuilder", frame},
        {"frmNameTitleArtist", frame},
        {"frmMoreInfo", frame},
        {"fadeTimer", "a timer"},
        {"tmrPreviewUpdate", "a timer"},
        {"frmStatus.pctStatus", shows + " (the job's progress)"},
        {"frmStatus.lblProgress", shows + " (the job's progress)"},
        {"frmDialog.lblExplanation", shows + " (the dialog's question)"},
        {"frmDialog", "the name dialog's window: its close box is its Cancel button"},
        {"frmCast.frameServer", frame},
        {"frmCast.lblMount", shows},
        {"frmCast.lblSid", shows},
        {"frmCast.lblShowStatus", shows + " (the profile's connection)"},
        {"frmAppSettings.frmCrossFadeTime", frame},
        {"frmAppSettings.frmSilenceDetection", frame},
        {"frmAppSettings.frmArtistSeperation", frame},
        {"frmAppSettings.Frame1", frame},
        {"frmAppSettings.frmResetPlayeData", frame},
        {"frmAppSettings.frmMicrophone", frame},
        {"frmAppSettings.frmStudioOutput", frame},
        {"frmAppSettings.frmLoudness", frame},
        {"frmAppSettings.lblLoudnessProgress", shows + " (the measurement's progress)"},
        {"frmAppSettings.frmWebStatus", frame},
        {"frmAppSettings.lblWebStatusUrl", shows + " (where the status page is, or why it is off)"},
        {"frmAppSettings.lblPeriod", shows},
        {"frmAppSettings.lblArtistSepperationText", shows},
        {"frmAppSettings.lblTrimThreshold", shows + " (the trim slider's value)"},
        {"frmAppSettings.txtArtistSeperation", shows + " (the separation slider's value)"},
        {"frmSchedule.flRotations", hidden},
        {"frmSchedule.flPlaylists", hidden},
        {"frmStatistics.flSongs", hidden},
        {"frmStatistics.lstSongList", shows + " (the report; the wheel scrolls it)"},
    };
}

namespace {

struct Run {
    std::size_t row;
    int percent;
};

class WindowGestureTest : public ::testing::TestWithParam<Run> {
  protected:
    QtApp qt;
};

TEST_P(WindowGestureTest, ReachesTheConsoleThroughTheWindow) {
    const std::vector<GestureRow> rows = allGestures();
    const GestureRow& row = rows.at(GetParam().row);
    SCOPED_TRACE(row.element + " " + gestureName(row.gesture));
    GestureBench bench;
    bench.load(GetParam().percent / 100.0);
    if (row.prepare) {
        row.prepare(bench);
        ASSERT_FALSE(HasFatalFailure()) << "the stage could not be set";
    }
    row.act(bench);
    ASSERT_FALSE(HasFatalFailure()) << "the gesture could not be made on the window";
    row.check(bench);
}

std::vector<Run> runs() {
    std::vector<Run> all;
    const std::size_t count = allGestures().size();
    for (std::size_t i = 0; i < count; ++i) {
        all.push_back({i, 100});
        all.push_back({i, 150});
    }
    return all;
}

INSTANTIATE_TEST_SUITE_P(Table, WindowGestureTest, ::testing::ValuesIn(runs()),
                         [](const ::testing::TestParamInfo<Run>& info) {
                             static const std::vector<GestureRow> rows = allGestures();
                             return rows.at(info.param.row).name + "_" +
                                    std::to_string(info.param.percent);
                         });

TEST(GestureTableTest, EveryElementOfEveryWindowHasItsGesturesOrItsReason) {
    QtApp qt;
    GestureBench bench;
    std::set<std::string> inTable;
    std::map<std::string, int> names;
    for (const GestureRow& row : allGestures()) {
        inTable.insert(row.element);
        EXPECT_EQ(++names[row.name], 1) << "two rows are named " << row.name;
        EXPECT_NE(
            bench.c().ui.find(row.element == "frmCast" || row.element == "frmAppSettings" ||
                                      row.element == "frmSchedule" ||
                                      row.element == "frmStatistics" || row.element == "frmStatus"
                                  ? row.element + "." + row.element
                                  : row.element),
            nullptr)
            << row.name << " names no element: " << row.element;
    }
    std::set<std::string> passive;
    for (const NoGesture& n : elementsWithoutGestures()) {
        passive.insert(n.element);
        EXPECT_EQ(inTable.count(n.element), 0u) << n.element << " has rows and a reason";
    }
    auto& ui = bench.c().ui;
    const auto look = [&](const std::string& form, std::vector<core::Element*> elements) {
        for (const core::Element* e : elements) {
            const std::string name = form.empty() || e->kind == core::ElementKind::Form
                                         ? (form.empty() ? e->name : form)
                                         : form + "." + e->name;
            const bool closable =
                e->kind == core::ElementKind::Form && !form.empty() && form != "frmDialog";
            if (e->kind == core::ElementKind::Form && !closable) {
                EXPECT_TRUE(passive.count(name) || inTable.count(name))
                    << name << " has no row and no reason why";
                continue;
            }
            EXPECT_TRUE(inTable.count(name) || passive.count(name))
                << name << " has no gesture in the table and no reason why";
        }
    };
    look("", ui.main.all());
    look("frmStatus", ui.status.all());
    look("frmDialog", ui.dialog.all());
    look("frmCast", ui.cast.all());
    look("frmAppSettings", ui.settings.all());
    look("frmSchedule", ui.schedule.all());
    look("frmStatistics", ui.statistics.all());
}

TEST(GestureTableTest, TheTableHoldsEveryKindOfGesture) {
    std::set<Gesture> kinds;
    for (const GestureRow& row : allGestures()) {
        kinds.insert(row.gesture);
    }
    EXPECT_EQ(kinds.size(), 15u);
    std::cout << "The gesture table has " << allGestures().size() << " rows, "
              << elementsWithoutGestures().size() << " elements without a gesture.\n";
}

}  // namespace
}  // namespace tw::test
