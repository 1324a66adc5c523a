#include "ui/visible_elements.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace tw::ui {
namespace {

using core::MainForm;

bool drawn(MainForm& f, const core::Element& e) {
    const auto list = drawnElements(f);
    return std::find(list.begin(), list.end(), &e) != list.end();
}

class VisibleElementsTest : public ::testing::Test {
  protected:
    VisibleElementsTest() {
        for (core::Element* e : form.all()) {
            e->rect = {};
        }
        form.frmTrackList.rect = {100, 100, 300, 200};
        form.lstSongs.rect = {110, 110, 100, 100};
        form.lstSongs.container = "frmTrackList";
        form.frmMoreInfo.rect = {220, 110, 100, 100};
        form.frmMoreInfo.container = "frmTrackList";
        form.txtAlbum.rect = {230, 120, 50, 20};
        form.txtAlbum.container = "frmMoreInfo";
        form.cmdSkipNow.rect = {10, 10, 50, 30};
    }
    MainForm form;
};

TEST_F(VisibleElementsTest, ElementsWithoutASizeAreNotDrawn) {
    EXPECT_TRUE(drawn(form, form.cmdSkipNow));
    EXPECT_FALSE(drawn(form, form.cmdMute));
    form.cmdSkipNow.rect.width = 0;
    EXPECT_FALSE(drawn(form, form.cmdSkipNow));
}

TEST_F(VisibleElementsTest, HiddenElementIsNotDrawn) {
    form.cmdSkipNow.visible = false;
    EXPECT_FALSE(drawn(form, form.cmdSkipNow));
}

TEST_F(VisibleElementsTest, HiddenFrameHidesWhatStandsInItAtEveryDepth) {
    EXPECT_TRUE(drawn(form, form.txtAlbum));
    form.frmMoreInfo.visible = false;
    EXPECT_FALSE(drawn(form, form.txtAlbum));
    EXPECT_TRUE(drawn(form, form.lstSongs));
    form.frmMoreInfo.visible = true;
    form.frmTrackList.visible = false;
    EXPECT_FALSE(drawn(form, form.txtAlbum));
    EXPECT_FALSE(drawn(form, form.lstSongs));
}

TEST_F(VisibleElementsTest, FramesAreDrawnBehindEverythingElse) {
    const auto list = drawnElements(form);
    ASSERT_FALSE(list.empty());
    bool pastFrames = false;
    for (const core::Element* e : list) {
        if (e->kind != core::ElementKind::Frame) {
            pastFrames = true;
        } else {
            EXPECT_FALSE(pastFrames) << e->name;
        }
    }
}

TEST_F(VisibleElementsTest, ContainerLoopIsTreatedAsHiddenInsteadOfHanging) {
    form.frmTrackList.container = "frmMoreInfo";
    EXPECT_FALSE(drawn(form, form.txtAlbum));
}

TEST_F(VisibleElementsTest, PointFindsTheElementOverItsFrame) {
    EXPECT_EQ(elementAt(form, 120, 120), &form.lstSongs);
    EXPECT_EQ(elementAt(form, 240, 125), &form.txtAlbum);
    EXPECT_EQ(elementAt(form, 240, 180), &form.frmMoreInfo);
    EXPECT_EQ(elementAt(form, 350, 250), &form.frmTrackList);
    EXPECT_EQ(elementAt(form, 20, 20), &form.cmdSkipNow);
    EXPECT_EQ(elementAt(form, 5, 5), nullptr);
    // The right and bottom edges belong to the neighbour.
    EXPECT_EQ(elementAt(form, 60, 20), nullptr);
}

TEST_F(VisibleElementsTest, PointOnAHiddenElementFindsNothingThere) {
    form.frmTrackList.visible = false;
    EXPECT_EQ(elementAt(form, 120, 120), nullptr);
}

TEST_F(VisibleElementsTest, ShownDataStandsInFrontOfThePanelsAndAPressReachesTheRowUnderIt) {
    form.lblShowData.rect = {100, 100, 300, 200};
    form.lblShowData.visible = true;
    const auto order = drawnElements(form);
    ASSERT_FALSE(order.empty());
    EXPECT_EQ(order.back(), &form.lblShowData);
    EXPECT_EQ(elementAt(form, 150, 150), &form.lstSongs);
    form.lblShowData.visible = false;
    EXPECT_EQ(elementAt(form, 150, 150), &form.lstSongs);
}

}  // namespace
}  // namespace tw::ui
