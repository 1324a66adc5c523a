// The scaling of the console's controls with its window, and its resize rule.

#include "desk/size_form_controls.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "core/console_ops.h"
#include "core/text.h"
#include "desk/console_layout.h"
#include "playout/position_monitor.h"
#include "station/startup.h"
#include "tests/testlib/console_fixture.h"

namespace tw::desk {
namespace {

using core::Console;
using core::Element;

class SizeFormControlsTest : public test::ConsoleFixture {
  protected:
    Console& loaded() {
        Console& c = make();
        station::Form_Load(c);
        return c;
    }
    // Every place of the console now, in the form's element order.
    static std::vector<core::Rect> places(Console& c) {
        std::vector<core::Rect> out;
        for (const Element* e : c.ui.main.all()) {
            out.push_back(e->rect);
        }
        return out;
    }
    static bool same(const core::Rect& a, const core::Rect& b) {
        return a.left == b.left && a.top == b.top && a.width == b.width && a.height == b.height;
    }
    static bool samePlaces(const std::vector<core::Rect>& a, const std::vector<core::Rect>& b) {
        return std::equal(a.begin(), a.end(), b.begin(), b.end(), same);
    }
    int logLinesWith(const std::string& text) const {
        const auto lines = appLogLines();
        return static_cast<int>(std::count_if(lines.begin(), lines.end(), [&](const auto& l) {
            return l.find(text) != std::string::npos;
        }));
    }
};

TEST_F(SizeFormControlsTest, FormLoadRecordsTheDesignOfEveryControl) {
    Console& c = loaded();
    ASSERT_EQ(c.savedLayout.size(), c.ui.main.all().size());
    EXPECT_EQ(c.savedLayout.front().name, "frmTarnDesk");
    EXPECT_DOUBLE_EQ(c.savedLayout.front().rect.width, kDesignWidth);
    EXPECT_DOUBLE_EQ(c.savedLayout.front().rect.height, kDesignHeight);
    const auto skip = std::find_if(c.savedLayout.begin(), c.savedLayout.end(),
                                   [](const auto& p) { return p.name == "cmdSkipNow"; });
    ASSERT_NE(skip, c.savedLayout.end());
    EXPECT_TRUE(same(skip->rect, c.ui.main.cmdSkipNow.rect));
}

TEST_F(SizeFormControlsTest, AWindowOfExactlyTheDesignSizeIsNoResize) {
    Console& c = loaded();
    const auto before = places(c);
    c.formScale = 0.5f;  // a marker: an accepted resize would set it
    EXPECT_FALSE(resizeConsole(c, 896, 641));
    EXPECT_TRUE(samePlaces(places(c), before));
    EXPECT_FLOAT_EQ(c.formScale, 0.5f);
}

TEST_F(SizeFormControlsTest, AWindowWiderButNotTallerIsNoResize) {
    Console& c = loaded();
    const auto before = places(c);
    EXPECT_FALSE(resizeConsole(c, 1400, 641));
    EXPECT_FALSE(resizeConsole(c, 1400, 600));
    EXPECT_FALSE(resizeConsole(c, 896, 900));
    EXPECT_TRUE(samePlaces(places(c), before));
    EXPECT_DOUBLE_EQ(c.playerBarWidth, 250);
}

TEST_F(SizeFormControlsTest, AWindowBroughtBackToTheDesignSizeShowsTheDesignLayout) {
    Console& c = loaded();
    const auto design = places(c);
    ASSERT_TRUE(resizeConsole(c, 1344, 962));
    ASSERT_FALSE(samePlaces(places(c), design));
    EXPECT_TRUE(resizeConsole(c, 896, 641));
    EXPECT_TRUE(samePlaces(places(c), design));
    EXPECT_DOUBLE_EQ(c.ui.main.frmTarnDesk.rect.width, 896);
    EXPECT_DOUBLE_EQ(c.playerBarWidth, 250);
    EXPECT_FLOAT_EQ(c.formScale, 1.0f);
    // Wider but not taller than the design, from a larger layout: the design layout too.
    ASSERT_TRUE(resizeConsole(c, 1344, 962));
    EXPECT_TRUE(resizeConsole(c, 1400, 600));
    EXPECT_TRUE(samePlaces(places(c), design));
    EXPECT_FALSE(resizeConsole(c, 896, 641));
}

TEST_F(SizeFormControlsTest, ALargerWindowScalesEveryControlByItsFactors) {
    Console& c = loaded();
    ASSERT_TRUE(resizeConsole(c, 1344, 961.5));
    const auto& m = c.ui.main;
    EXPECT_DOUBLE_EQ(m.frmTarnDesk.rect.width, 1344);
    // cmdSkipNow is designed at 8, 150, 120 x 40.
    EXPECT_DOUBLE_EQ(m.cmdSkipNow.rect.left, 12);
    EXPECT_DOUBLE_EQ(m.cmdSkipNow.rect.top, 225);
    EXPECT_DOUBLE_EQ(m.cmdSkipNow.rect.width, 180);
    EXPECT_DOUBLE_EQ(m.cmdSkipNow.rect.height, 60);
    // A combo box keeps its height.
    EXPECT_DOUBLE_EQ(m.cmboSweeperList.rect.height, 22);
    EXPECT_DOUBLE_EQ(m.cmboSweeperList.rect.width, 222);
    // Timers and the window itself are not controls the pass moves.
    EXPECT_DOUBLE_EQ(m.frmTarnDesk.rect.left, 0);
}

TEST_F(SizeFormControlsTest, AResizeRepaintsTheCaptionButtonsAtTheirNewSize) {
    Console& c = loaded();
    ASSERT_TRUE(resizeConsole(c, 1344, 962));
    const Element& skip = c.ui.main.cmdSkipNow;
    ASSERT_FALSE(skip.drawing.fills.empty());
    EXPECT_DOUBLE_EQ(skip.drawing.fills[0].width, skip.rect.width);
    EXPECT_DOUBLE_EQ(skip.drawing.fills[0].height, skip.rect.height);
    EXPECT_EQ(skip.caption, "NEXT");
    const Element& player = c.ui.main.lblplayer1;
    ASSERT_FALSE(player.drawing.fills.empty());
    EXPECT_DOUBLE_EQ(player.drawing.fills[0].width, player.rect.width);
}

TEST_F(SizeFormControlsTest, AResizeSetsTheBarReferenceAndTheFormScale) {
    Console& c = loaded();
    ASSERT_TRUE(resizeConsole(c, 1344, 962));
    const Element& bar = c.ui.main.pctPlayer1;
    EXPECT_DOUBLE_EQ(bar.rect.width, 375);
    EXPECT_DOUBLE_EQ(c.playerBarWidth, 375);
    EXPECT_DOUBLE_EQ(c.playerBarHeight, bar.rect.height);
    EXPECT_FLOAT_EQ(c.formScale, 1.5f);
}

TEST_F(SizeFormControlsTest, ResizeControlsToPercentageOfAHundredReturnsEverythingToTheDesign) {
    Console& c = loaded();
    const auto design = places(c);
    std::vector<int> fonts;
    for (const Element* e : c.ui.main.all()) {
        fonts.push_back(e->fontSize);
    }
    ASSERT_TRUE(resizeConsole(c, 1500, 1100));
    ASSERT_FALSE(samePlaces(places(c), design));

    clsSizeFormControls sizer(c, c.savedLayout);
    sizer.ResizeControlsToPercentage(c.ui.main.all(), 100);
    // Every control is back; the window itself is the caller's to size.
    auto now = places(c);
    now.front() = design.front();
    EXPECT_TRUE(samePlaces(now, design));
    std::size_t i = 0;
    for (const Element* e : c.ui.main.all()) {
        if (e->kind != core::ElementKind::PictureButton) {  // the caption pass sets its own
            EXPECT_EQ(e->fontSize, fonts[i]) << e->name;
        }
        ++i;
    }
    EXPECT_DOUBLE_EQ(sizer.x_size(), 1.0);
    EXPECT_DOUBLE_EQ(sizer.y_size(), 1.0);
}

TEST_F(SizeFormControlsTest, AResizeDuringATickMakesTheBarsFollowAtTheNextRedraw) {
    Console& c = makeWithRecordedTick();
    station::Form_Load(c);
    c.tmrCheckPositionBool = true;
    c.mixerStream = engine.mixerStreamCreate(44100, 2, 0);
    engine.channel(c.mixerStream).level = 0x10001000;
    const audio::Handle h = engine.addStream(200, audio::kPlaying);
    engine.setPositionSeconds(h, 100);  // half way
    c.player1Stream = h;
    c.activePlayer = 1;

    playout::tmrCheckPosition_Timer(c);
    const Element& bar = c.ui.main.pctPlayer1;
    ASSERT_EQ(bar.drawing.fills.size(), 1u);
    const double before = bar.drawing.fills[0].width;
    EXPECT_NEAR(before, 125, 2);

    ASSERT_TRUE(resizeConsole(c, 1344, 962));
    engine.setPositionSeconds(h, 100.1);  // the tick redraws only a moved bar
    playout::tmrCheckPosition_Timer(c);
    ASSERT_EQ(bar.drawing.fills.size(), 1u);
    EXPECT_NEAR(bar.drawing.fills[0].width, bar.rect.width / 2, 2);
    EXPECT_EQ(c.barScale,
              core::cLng(static_cast<double>(engine.channel(h).length) / bar.rect.width));
}

TEST_F(SizeFormControlsTest, AControlThatFailsIsLoggedAndThePassGoesOn) {
    Console& c = loaded();
    const core::Rect skipBefore = c.ui.main.cmdSkipNow.rect;
    clsSizeFormControls sizer(c, c.savedLayout);
    // At 5000 % a left of 800 is far past the 16-bit range, a left of 8 is not.
    sizer.ResizeControlsToPercentage(c.ui.main.all(), 5000);
    EXPECT_GE(logLinesWith("error in resizeControls cmdSettings"), 1);
    EXPECT_DOUBLE_EQ(c.ui.main.cmdSettings.rect.left, 766) << "a failed control keeps its place";
    EXPECT_EQ(logLinesWith("error in resizeControls lblDateTime"), 0);
    EXPECT_DOUBLE_EQ(c.ui.main.lblDateTime.rect.left, 400);
    EXPECT_DOUBLE_EQ(c.ui.main.cmdSkipNow.rect.left, skipBefore.left * 50);
}

TEST_F(SizeFormControlsTest, AControlWithoutSavedValuesKeepsItsPlace) {
    Console& c = loaded();
    c.savedLayout.erase(std::remove_if(c.savedLayout.begin(), c.savedLayout.end(),
                                       [](const auto& p) { return p.name == "cmdMute"; }),
                        c.savedLayout.end());
    const core::Rect mute = c.ui.main.cmdMute.rect;
    ASSERT_TRUE(resizeConsole(c, 1344, 962));
    EXPECT_TRUE(same(c.ui.main.cmdMute.rect, mute));
    EXPECT_DOUBLE_EQ(c.ui.main.cmdSkipNow.rect.width, 180);
}

TEST_F(SizeFormControlsTest, FontsFollowTheSmallerFactorOrTheSizeSet) {
    Console& c = loaded();
    c.ui.main.lblListInfo.fontSize = 8;
    clsSizeFormControls sizer(c, c.savedLayout);
    sizer.GetLocation(c.ui.main.all());
    c.ui.main.frmTarnDesk.rect.width = 896 * 2;
    c.ui.main.frmTarnDesk.rect.height = 641 * 1.5;
    sizer.ResizeControls(c.ui.main.all());
    EXPECT_DOUBLE_EQ(sizer.x_size(), 2);
    EXPECT_DOUBLE_EQ(sizer.y_size(), 1.5);
    EXPECT_EQ(c.ui.main.lblListInfo.fontSize, 12);
    sizer.SetFontSize(9);
    sizer.ResizeControls(c.ui.main.all());
    EXPECT_EQ(c.ui.main.lblListInfo.fontSize, 9);
    sizer.SetFontSize(0);
    sizer.SetFontSizeNew(false);
    sizer.ResizeControls(c.ui.main.all());
    EXPECT_EQ(c.ui.main.lblListInfo.fontSize, 8);
}

TEST_F(SizeFormControlsTest, CenterFormAndResizeFormPlaceTheWindowOnTheScreen) {
    Element frm("frmTest", core::ElementKind::Form);
    frm.rect = {0, 0, 800, 600};
    clsSizeFormControls::CenterForm(frm, 1920, 1080);
    EXPECT_DOUBLE_EQ(frm.rect.left, 560);
    EXPECT_DOUBLE_EQ(frm.rect.top, 240);
    clsSizeFormControls::ResizeForm(frm, 0.5, 0.75, 1920, 1080);
    EXPECT_DOUBLE_EQ(frm.rect.width, 960);
    EXPECT_DOUBLE_EQ(frm.rect.height, 810);
    EXPECT_DOUBLE_EQ(frm.rect.left, 480);
    EXPECT_DOUBLE_EQ(frm.rect.top, 135);
}

}  // namespace
}  // namespace tw::desk
