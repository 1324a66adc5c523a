// The preview player: a library track heard in the studio only, the mixer's monitor muted while
// it plays and never left muted by it.

#include "playout/preview.h"

#include <gtest/gtest.h>

#include <cmath>

#include "desk/actions.h"
#include "playout/manual_transport.h"
#include "tests/autodj/station_fixture.h"

namespace tw::test {
namespace {

class PreviewTest : public StationFixture {
  protected:
    core::Console& station() {
        track = addTrack("Rock", "a.mp3", "Queen", "Bicycle");
        open();
        console->mixerStream = engine.mixerStreamCreate(44100, 2, 0);
        engine.fileSeconds[track] = 180;
        return *console;
    }
    std::string track;
};

TEST_F(PreviewTest, APreviewPlaysOutsideTheMixerAndMutesItsMonitor) {
    auto& c = station();
    playout::previewTrack(c, track);
    ASSERT_NE(c.previewPlayer, 0u);
    EXPECT_EQ(engine.count("streamCreateFile " + track + " " +
                           std::to_string(audio::kStreamAutoFree | audio::kUnicode)),
              1);
    EXPECT_EQ(engine.count("channelPlay " + std::to_string(c.previewPlayer)), 1);
    EXPECT_EQ(engine.count("mixerAddChannel"), 0) << "never on the air";
    EXPECT_TRUE(c.muted);
    EXPECT_EQ(c.form().cmdMute.backColor, 0xFFu);
    EXPECT_EQ(c.form().cmdPlayActiveSong.backColor, 0xC000u);
    EXPECT_EQ(c.previewSong, track);
}

TEST_F(PreviewTest, ASecondCallStopsThePreviewAndUnmutesWhateverFileItNames) {
    auto& c = station();
    playout::previewTrack(c, track);
    const audio::Handle h = c.previewPlayer;
    playout::previewTrack(c, "/another/file.mp3");
    EXPECT_EQ(c.previewPlayer, 0u);
    EXPECT_EQ(engine.count("channelStop " + std::to_string(h)), 1);
    EXPECT_FALSE(c.muted);
    EXPECT_EQ(c.form().cmdPlayActiveSong.backColor, 0xFFFFFFu);
    EXPECT_TRUE(c.form().pctPreviewPlayer.drawing.empty());
    EXPECT_TRUE(c.form().pctPreviewMarkers.drawing.empty());
}

TEST_F(PreviewTest, APreviewStartedAndStoppedWithTheMixerAlreadyMutedLeavesItUnmuted) {
    auto& c = station();
    desk::press(c, "cmdMute");  // the operator mutes first
    ASSERT_TRUE(c.muted);
    playout::previewTrack(c, track);
    EXPECT_TRUE(c.muted);
    playout::previewTrack(c, track);
    EXPECT_FALSE(c.muted) << "the mixer is never left muted by a preview";
    EXPECT_EQ(c.form().cmdMute.backColor, 0xFFFFFFu);
}

TEST_F(PreviewTest, AStreamThatEndedByItselfLeavesItsHandleAndTheNextPressTakesTheStopBranch) {
    auto& c = station();
    playout::previewTrack(c, track);
    const audio::Handle h = c.previewPlayer;
    engine.remove(h);  // freed by the engine at its end
    EXPECT_EQ(c.previewPlayer, h) << "a stale handle";
    playout::previewTrack(c, track);
    EXPECT_EQ(c.previewPlayer, 0u) << "the press stops rather than starts";
    EXPECT_FALSE(c.muted);
}

TEST_F(PreviewTest, ThePlayButtonPreviewsTheChosenTrackAndNothingWithoutAChoice) {
    auto& c = station();
    desk::select(c, "lstPlaylists", categoryIndex("Rock"));
    desk::press(c, "cmdPlayActiveSong");
    EXPECT_EQ(c.previewPlayer, 0u) << "no track chosen";
    desk::select(c, "lstSongs", 0);
    desk::press(c, "cmdPlayActiveSong");
    EXPECT_NE(c.previewPlayer, 0u);
    EXPECT_EQ(c.previewSong, track);
}

TEST_F(PreviewTest, WhileAPreviewRunsTheBuilderShowsItsPreviewButtonAloneUntilTheStop) {
    auto& c = station();
    desk::press(c, "cmdPlaylistBuilder");
    ASSERT_TRUE(c.form().frmPlaylistBuilder.visible);
    playout::previewTrack(c, track);
    playout::tmrPreviewUpdate_Timer(c);
    EXPECT_EQ(c.form().cmdPreviewSelected.image, core::ImageRole::Green);
    EXPECT_EQ(c.form().cmdPreviewSelected.caption, "Preview");
    EXPECT_EQ(c.form().cmdPreviewSelected.caption2, "");
    // The stop brings back the idle face: "Preview" over "Selected".
    playout::previewTrack(c, track);
    EXPECT_EQ(c.form().cmdPreviewSelected.image, core::ImageRole::Green);
    EXPECT_EQ(c.form().cmdPreviewSelected.caption, "Preview");
    EXPECT_EQ(c.form().cmdPreviewSelected.caption2, "Selected");
}

TEST_F(PreviewTest, ALetGoOnThePreviewButtonPaintsTheIdleFace) {
    auto& c = station();
    desk::release(c, "cmdPreviewSelected");
    EXPECT_EQ(c.form().cmdPreviewSelected.image, core::ImageRole::Green);
    EXPECT_EQ(c.form().cmdPreviewSelected.caption, "Preview");
    EXPECT_EQ(c.form().cmdPreviewSelected.caption2, "Selected");
}

TEST_F(PreviewTest, APressOnThePreviewBarSeeksWithTheBarsOwnWidthAsTheReference) {
    auto& c = station();
    playout::previewTrack(c, track);
    ASSERT_NE(c.previewPlayer, 0u);
    auto& bar = c.form().pctPreviewPlayer;
    bar.rect.width = 125;  // half the player bars' reference width: the bar's own width counts
    const std::int64_t length = c.engine().channelGetLength(c.previewPlayer);
    ASSERT_GT(length, 0);
    desk::press(c, "pctPreviewPlayer", desk::MouseButton::Left, 50);
    const std::int64_t scale = static_cast<std::int64_t>(std::llround(length / 125.0));
    EXPECT_EQ(c.engine().channelGetPosition(c.previewPlayer), 50 * scale);
    // The right button does not seek.
    desk::press(c, "pctPreviewPlayer", desk::MouseButton::Right, 100);
    EXPECT_EQ(c.engine().channelGetPosition(c.previewPlayer), 50 * scale);
}

TEST_F(PreviewTest, WhileAPreviewRunsTheRunningListChoosesTheRowOfThePreviewedTrack) {
    auto& c = station();
    desk::press(c, "cmdRotationList");
    ASSERT_TRUE(c.form().frmRotationList.visible);
    auto& grid = c.form().lstPlaylist;
    grid.rows = {core::GridRow{{"10:00", "Other"}}, core::GridRow{{"10:03", "Queen - Bicycle"}}};
    c.trackList.assign(17, {});
    c.trackList[0].trackPath = "/elsewhere/other.mp3";
    c.trackList[1].trackPath = track;
    playout::previewTrack(c, track);
    playout::tmrPreviewUpdate_Timer(c);
    EXPECT_EQ(grid.row, 1);
    EXPECT_TRUE(grid.rows[1].selected);
    EXPECT_FALSE(grid.rows[0].selected);
}

}  // namespace
}  // namespace tw::test
