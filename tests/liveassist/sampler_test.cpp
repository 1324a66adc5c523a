// The sampler's ten buttons: what they hold in appSettings.ini, how a press plays in each mode,
// the function keys, drops from the file manager and from the track list, and the Delete key.

#include "liveassist/sampler.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "core/console_ops.h"
#include "core/text.h"
#include "desk/actions.h"
#include "liveassist/voice_tracks.h"
#include "tests/autodj/station_fixture.h"

namespace tw::test {
namespace {

namespace fs = std::filesystem;

class SamplerTest : public StationFixture {
  protected:
    // The station as start-up leaves it: the samples read and painted.
    core::Console& station() {
        open();
        console->mixerStream = engine.mixerStreamCreate(44100, 2, 0);
        liveassist::loadSamples(*console);
        liveassist::showSamples(*console);
        return *console;
    }
    // A sound file outside the station, as the file manager would drop it.
    std::string outsideFile(const std::string& name) {
        fs::create_directories(dir / "desktop");
        const std::string path = (dir / "desktop" / name).string();
        std::ofstream(path) << "sound of " << name;
        return path;
    }
    std::string samples() const { return (dir / "Samples").string(); }
    core::Element& button(int n) {
        return console->form().cmdSampler[static_cast<std::size_t>(n - 1)];
    }
    std::string ini(int n, const std::string& key) {
        return core::readIni(*console, console->appSettingsPath(), "Sample" + std::to_string(n),
                             key, "<none>");
    }
    // A sample on button n that the engine can open for `seconds`.
    std::string assign(int n, const std::string& name, double seconds = 4) {
        desk::dropFiles(*console, "cmdSampler(" + std::to_string(n) + ")", {outsideFile(name)});
        const std::string copy = samples() + "/" + name;
        engine.fileSeconds[copy] = seconds;
        return copy;
    }
};

TEST_F(SamplerTest, AtStartEveryButtonIsUnassignedOnGrayWithTheDropHint) {
    station();
    for (int n = 1; n <= 10; ++n) {
        EXPECT_EQ(button(n).caption, "unnassiged");
        EXPECT_EQ(button(n).image, core::ImageRole::Gray);
        EXPECT_EQ(button(n).toolTip,
                  "Drag and Drop Sample Files Here, Use F1 to F8 on Keyboard for shortcuts.");
    }
}

TEST_F(SamplerTest, AClickOnAnEmptyButtonPlaysNothing) {
    auto& c = station();
    const std::size_t before = engine.calls.size();
    desk::press(c, "cmdSampler(4)");
    for (std::size_t i = before; i < engine.calls.size(); ++i) {
        EXPECT_FALSE(engine.calls[i].starts_with("streamCreateFile")) << engine.calls[i];
    }
    EXPECT_EQ(c.spotChannel, 0u);
}

TEST_F(SamplerTest, ADroppedFileIsCopiedIntoSamplesAndShownWithItsName) {
    auto& c = station();
    const std::string copy = assign(2, "horn.mp3");
    EXPECT_TRUE(fs::exists(copy));
    EXPECT_EQ(ini(2, "path"), copy);
    EXPECT_EQ(ini(2, "loop"), "false");
    EXPECT_EQ(ini(2, "fadeOut"), "false");
    EXPECT_EQ(button(2).caption, "horn.mp3");
    EXPECT_EQ(button(2).image, core::ImageRole::Blue);
    EXPECT_EQ(button(2).toolTip, copy);
    EXPECT_EQ(liveassist::samplePath(c, 2), copy);
}

TEST_F(SamplerTest, ANameTooLongForTheButtonIsCutWithAnEllipsisAndTheToolTipKeepsThePath) {
    station();
    const std::string copy = assign(1, "the_morning_show_opening_theme_2026.mp3");
    const std::string& caption = button(1).caption;
    EXPECT_TRUE(caption.ends_with("\u2026")) << caption;
    EXPECT_TRUE(caption.starts_with("the_morning")) << caption;
    EXPECT_LE(core::charCount(caption), static_cast<std::size_t>(button(1).scaleWidth() / 5));
    EXPECT_EQ(button(1).toolTip, copy);
    EXPECT_GE(button(1).drawing.texts.at(0).x, 0);
}

TEST_F(SamplerTest, DroppingThreeFilesKeepsTheFirstAndIgnoresTheOtherTwo) {
    auto& c = station();
    desk::dropFiles(c, "cmdSampler(1)",
                    {outsideFile("one.mp3"), outsideFile("two.mp3"), outsideFile("three.mp3")});
    EXPECT_EQ(ini(1, "path"), samples() + "/one.mp3");
    EXPECT_TRUE(fs::exists(samples() + "/one.mp3"));
    EXPECT_FALSE(fs::exists(samples() + "/two.mp3"));
    EXPECT_FALSE(fs::exists(samples() + "/three.mp3"));
    EXPECT_EQ(ini(2, "path"), "<none>");
}

TEST_F(SamplerTest, LiveModePlaysOverTheMusicThroughTheMixerWithoutDucking) {
    auto& c = station();
    c.player1Stream = engine.addStream(60);
    const std::string copy = assign(3, "laser.mp3");
    desk::press(c, "optSamplerMode(0)");
    desk::press(c, "cmdSampler(3)");
    ASSERT_NE(c.spotChannel, 0u);
    const std::string h = std::to_string(c.spotChannel);
    EXPECT_EQ(engine.count("streamCreateFile " + copy + " " +
                           std::to_string(audio::kStreamDecode | audio::kUnicode)),
              1);
    EXPECT_EQ(engine.count("mixerAddChannel " + std::to_string(c.mixerStream) + " " + h), 1);
    EXPECT_EQ(engine.count("channelSetSync " + h + " " + std::to_string(audio::kSyncFree)), 1);
    EXPECT_EQ(engine.count("channelSlideAttribute " + std::to_string(c.player1Stream)), 0)
        << "a sample does not duck the players";
}

TEST_F(SamplerTest, PreviewModePlaysInTheStudioOnlyAndItsEndFreesTheSpotChannel) {
    auto& c = station();
    const std::string copy = assign(5, "bed.mp3");
    desk::press(c, "optSamplerMode(1)");
    desk::press(c, "cmdSampler(5)");
    ASSERT_NE(c.spotChannel, 0u);
    const std::string h = std::to_string(c.spotChannel);
    EXPECT_EQ(engine.count("streamCreateFile " + copy + " " + std::to_string(audio::kUnicode)), 1);
    EXPECT_EQ(engine.count("mixerAddChannel"), 0) << "never on the air";
    EXPECT_EQ(engine.count("channelPlay " + h), 1);
    EXPECT_EQ(engine.count("channelSetSync " + h + " " + std::to_string(audio::kSyncEnd)), 1);
}

TEST_F(SamplerTest, ASecondPressRestartsTheSampleAndAnotherButtonCutsTheFirst) {
    auto& c = station();
    assign(1, "a.mp3");
    assign(2, "b.mp3");
    desk::press(c, "cmdSampler(1)");
    const audio::Handle first = c.spotChannel;
    desk::press(c, "cmdSampler(1)");
    EXPECT_EQ(engine.count("channelStop " + std::to_string(first)), 1);
    const audio::Handle second = c.spotChannel;
    EXPECT_NE(second, first);
    desk::press(c, "cmdSampler(2)");
    EXPECT_EQ(engine.count("channelStop " + std::to_string(second)), 1);
    EXPECT_NE(c.spotChannel, second);
}

TEST_F(SamplerTest, F1ToF8PressTheFirstEightButtonsAndF9NeverReachesTheSampler) {
    auto& c = station();
    const std::string eight = assign(8, "eight.mp3");
    assign(9, "nine.mp3");
    desk::keyUp(c, 119);  // F8
    EXPECT_EQ(engine.count("streamCreateFile " + eight), 1);
    const int before = engine.count("streamCreateFile " + samples());
    desk::keyUp(c, 120);  // F9: the skip
    EXPECT_EQ(engine.count("streamCreateFile " + samples()), before) << "no sample opened by F9";
    EXPECT_EQ(engine.count("streamCreateFile " + samples() + "/nine.mp3"), 0);
}

TEST_F(SamplerTest, MoveToPlayerMakesTheButtonsDragSourcesOnly) {
    auto& c = station();
    const std::string copy = assign(6, "drop.mp3");
    desk::press(c, "optSamplerMode(2)");
    desk::press(c, "cmdSampler(6)");
    EXPECT_EQ(c.spotChannel, 0u) << "a press plays nothing";
    EXPECT_EQ(engine.count("streamCreateFile " + copy), 0);
    desk::dragElement(c, "cmdSampler(6)", "lblPlayer2");
    EXPECT_EQ(c.nextSong2, copy);
    desk::dragElement(c, "cmdSampler(7)", "lblplayer1");
    EXPECT_NE(c.nextSong1, button(7).toolTip) << "an empty button carries no file";
}

TEST_F(SamplerTest, ClearedValuesAreEmptyNotNoneSoTheButtonShowsAnEmptyPathOnBlue) {
    auto& c = station();
    const std::string copy = assign(4, "gone.mp3");
    desk::keyDown(c, "cmdSampler(4)", "Delete");
    EXPECT_EQ(ini(4, "path"), "");
    EXPECT_EQ(ini(4, "loop"), "");
    EXPECT_EQ(ini(4, "fadeOut"), "");
    EXPECT_EQ(button(4).image, core::ImageRole::Blue);
    EXPECT_EQ(button(4).caption, "");
    EXPECT_TRUE(fs::exists(copy)) << "the file stays in the folder";
    desk::press(c, "cmdSampler(4)");  // an empty path opens nothing that plays
    EXPECT_EQ(c.spotChannel, 0u);
}

TEST_F(SamplerTest, ATrackDraggedFromTheTrackListBecomesTheSample) {
    addTrack("Jingles", "id.mp3", "Station", "Ident");
    auto& c = station();
    desk::select(c, "lstPlaylists", categoryIndex("Jingles"));
    ASSERT_EQ(c.form().lstSongs.listCount(), 1);
    desk::select(c, "lstSongs", 0);
    desk::dragElement(c, "lstSongs", "cmdSampler(10)");
    EXPECT_EQ(ini(10, "path"), samples() + "/id.mp3");
    EXPECT_TRUE(fs::exists(samples() + "/id.mp3"));
    EXPECT_EQ(button(10).caption, "id.mp3");
}

TEST_F(SamplerTest, AFileThatCannotBeCopiedLeavesTheButtonAndLogsTheDrop) {
    auto& c = station();
    desk::dropFiles(c, "cmdSampler(2)", {(dir / "nowhere.mp3").string()});
    EXPECT_EQ(ini(2, "path"), "<none>");
    const auto lines = logTexts();
    ASSERT_FALSE(lines.empty());
    EXPECT_TRUE(lines.back().starts_with("Error in file drop: ")) << lines.back();
}

TEST_F(SamplerTest, ASampleThatCannotBeOpenedGivesSilenceAndNothingHangs) {
    auto& c = station();
    assign(3, "broken.mp3");
    engine.fileSeconds.clear();  // the engine cannot open it
    desk::press(c, "cmdSampler(3)");
    EXPECT_EQ(c.spotChannel, 0u);
    desk::press(c, "cmdSampler(3)");
    EXPECT_EQ(c.spotChannel, 0u);
}

TEST_F(SamplerTest, SamplesComeBackFromTheSettingsAtTheNextStart) {
    station();
    const std::string copy = assign(7, "back.mp3");
    settings.flush();
    console.reset();
    station();
    EXPECT_EQ(button(7).caption, "back.mp3");
    EXPECT_EQ(button(7).toolTip, copy);
}

}  // namespace
}  // namespace tw::test
