// Voice tracks: the take's buffer and its growth, the WAV image, the dialog in its voice track
// mode, the encoder started without a shell, and the take played on the air or in the studio.

#include "liveassist/voice_tracks.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <thread>

#include "desk/actions.h"
#include "liveassist/microphone.h"
#include "tags/id3_tag.h"
#include "tests/autodj/station_fixture.h"
#include "tests/tags/tag_test_util.h"
#include "tests/testlib/temp_dir.h"

namespace tw::test {
namespace {

namespace fs = std::filesystem;

std::uint32_t le32(const std::string& b, std::size_t at) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(b[at])) |
           static_cast<std::uint32_t>(static_cast<unsigned char>(b[at + 1])) << 8 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(b[at + 2])) << 16 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(b[at + 3])) << 24;
}

class VoiceTracksTest : public StationFixture {
  protected:
    // Starts a take and feeds it `bytes` bytes of samples through its callback.
    void recordBytes(std::size_t bytes) {
        auto& c = *console;
        if (c.recordChannel == 0) {
            desk::press(c, "cmdRecord");
        }
        ASSERT_NE(c.recordChannel, 0u);
        std::vector<std::int16_t> samples(bytes / 2, 1000);
        ASSERT_TRUE(engine.recordProcs.at(c.recordChannel)(c.recordChannel, samples.data(),
                                                           samples.size()));
    }
    std::string wavPath() const { return (dir / "VoiceTrack1.wav").string(); }
    // The console hears of the encoder's end through its loop: waits (half a minute at most, for a
    // loaded machine) until the category's list holds a track the test looks for.
    bool waitUntilListed(core::Console& c, const std::function<bool(const std::string&)>& wanted) {
        const auto listed = [&] {
            for (const auto& item : c.form().lstSongs.items) {
                if (wanted(item.text)) {
                    return true;
                }
            }
            return false;
        };
        for (int i = 0; i < 1500 && !listed(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            loop.processPending();
        }
        return listed();
    }
};

TEST_F(VoiceTracksTest, RecordStartsAPausedTakeWithTheVoiceChainAndItsCaption) {
    auto& c = openWithMicrophone();
    desk::press(c, "cmdRecord");
    EXPECT_EQ(c.form().cmdRecord.caption, "Recording");
    ASSERT_NE(c.recordChannel, 0u);
    EXPECT_EQ(engine.count("recordStart " + std::to_string(audio::kRecordPause) + " proc"), 1);
    EXPECT_EQ(engine.count("channelPlay " + h(c.recordChannel)), 1);
    EXPECT_EQ(c.recordLength, 44);
    EXPECT_EQ(c.recordBuffer.size(), 200000u);
    EXPECT_EQ(std::string(c.recordBuffer.begin(), c.recordBuffer.begin() + 4), "RIFF");
    EXPECT_NE(c.voiceFx[0], 0u);
}

TEST_F(VoiceTracksTest, TheTakesAmplifierKeepsItsDefaultsAndTheMasterOneTakesTheVoiceValues) {
    auto& c = openWithMicrophone();
    desk::press(c, "cmdCompressor");
    const audio::Handle master = c.masterDampFx;
    desk::press(c, "cmdRecord");
    EXPECT_EQ(engine.count("fxSetParameters " + h(master) + " damp 0.98 0.40 0.01 2.00 0.40 -1"),
              1);
    EXPECT_EQ(engine.count("fxSetParameters " + h(c.voiceFx[2])), 0);
}

TEST_F(VoiceTracksTest, ATakeOfNoSamplesLeavesA44ByteFileWithDataLengthZero) {
    auto& c = openWithMicrophone();
    desk::press(c, "cmdRecord");
    desk::press(c, "cmdRecord");  // the dialog is cancelled: no answer queued
    const std::string wav = readFile(wavPath());
    ASSERT_EQ(wav.size(), 44u);
    EXPECT_EQ(wav.substr(0, 4), "RIFF");
    EXPECT_EQ(le32(wav, 4), 36u);
    EXPECT_EQ(wav.substr(8, 8), "WAVEfmt ");
    EXPECT_EQ(le32(wav, 24), 44100u);
    EXPECT_EQ(le32(wav, 28), 176400u);
    EXPECT_EQ(wav.substr(36, 4), "data");
    EXPECT_EQ(le32(wav, 40), 0u);
    EXPECT_EQ(c.form().cmdRecord.caption, "Record");
}

TEST_F(VoiceTracksTest, ATakeEndingExactlyOnAStepHasGrownBeforeTheLastCopy) {
    auto& c = openWithMicrophone();
    recordBytes(200000 - 44 - 1000);
    EXPECT_EQ(c.recordBuffer.size(), 200000u);
    recordBytes(1000);  // ends exactly on 200000
    EXPECT_EQ(c.recordLength, 200000);
    EXPECT_EQ(c.recordBuffer.size(), 400000u);
}

TEST_F(VoiceTracksTest, TheBufferGrowsInWholeStepsNotPerBlock) {
    auto& c = openWithMicrophone();
    recordBytes(700000);
    EXPECT_EQ(c.recordLength, 700044);
    EXPECT_EQ(c.recordBuffer.size(), 800000u);
    recordBytes(4);
    EXPECT_EQ(c.recordBuffer.size(), 800000u);
}

TEST_F(VoiceTracksTest, StoppingWritesTheLengthsAndTheFileAndOpensTheTakeInMemory) {
    auto& c = openWithMicrophone();
    recordBytes(4000);
    const audio::Handle channel = c.recordChannel;
    desk::press(c, "cmdRecord");
    EXPECT_EQ(engine.count("channelStop " + h(channel)), 1);
    EXPECT_EQ(c.recordChannel, 0u);
    const std::string wav = readFile(wavPath());
    ASSERT_EQ(wav.size(), 4044u);
    EXPECT_EQ(le32(wav, 4), 4036u);
    EXPECT_EQ(le32(wav, 40), 4000u);
    EXPECT_EQ(c.form().cmdVoiceTrack.caption, "VoiceTrack");
    EXPECT_EQ(c.form().cmdVoiceTrack.image, core::ImageRole::Green);
    EXPECT_EQ(c.form().cmdVoiceTrack.toolTip, wavPath());
}

TEST_F(VoiceTracksTest, CancelInTheDialogKeepsTheWavAndVoiceTrackCanStillPlayIt) {
    auto& c = openWithMicrophone();
    recordBytes(4000);
    desk::press(c, "cmdRecord");
    ASSERT_EQ(prompter.shown().back().kind, "name");
    EXPECT_TRUE(fs::exists(wavPath()));
    EXPECT_FALSE(fs::exists(dir / "Music/VoiceTracks"));
    engine.fileSeconds[wavPath()] = 2;
    desk::press(c, "cmdVoiceTrack");
    ASSERT_NE(c.spotChannel, 0u);
    EXPECT_EQ(engine.count("streamCreateFile " + wavPath()), 1);
}

TEST_F(VoiceTracksTest, TheDialogInVoiceTrackModeHasItsCaptions) {
    auto& c = openWithMicrophone();
    liveassist::setUpVoiceTrack(c);
    const auto& d = c.ui.dialog;
    EXPECT_EQ(d.frmDialog.tag, "VoiceTrack");
    EXPECT_EQ(d.cmdCreate.caption, "Save VoiceTrack");
    EXPECT_EQ(d.cmdCancel.caption, "Cancel");
    EXPECT_EQ(d.lblExplanation.caption, "Enter Name for Voicetrack Below to save");
    EXPECT_EQ(d.txtInputData.text, "Enter Name Here");
}

TEST_F(VoiceTracksTest, TheNameLeftAtEnterNameHereSavesNothing) {
    auto& c = openWithMicrophone();
    recordBytes(400);
    prompter.queueAnswer("Enter Name Here");
    desk::press(c, "cmdRecord");
    EXPECT_FALSE(fs::exists(dir / "Music/VoiceTracks"));
    liveassist::saveVoiceTrack(c, "");
    EXPECT_FALSE(fs::exists(dir / "Music/VoiceTracks"));
}

TEST_F(VoiceTracksTest, ANamedTakeIsEncodedWithoutAShellIntoTheCategoryAndTagged) {
    auto& c = openWithMicrophone();
    recordBytes(44100 * 4);  // one second
    const std::string name = "Morning \"Show\" $(touch x) Ümlaut";
    prompter.queueAnswer(name);
    desk::press(c, "cmdRecord");
    const fs::path mp3 = dir / "Music/VoiceTracks" / (name + ".mp3");
    for (int i = 0; i < 300 && !fs::exists(mp3); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    // The console hears of the end through its loop and shows the new track.
    EXPECT_TRUE(waitUntilListed(
        c, [](const std::string& text) { return text.find("Morning") != std::string::npos; }));
    ASSERT_TRUE(fs::exists(mp3));
    EXPECT_FALSE(fs::exists(dir / "x")) << "nothing reached a shell";
    tags::clsID3 tag;
    tag.filename(mp3.string());
    EXPECT_EQ(tag.title(), name);
    EXPECT_EQ(tag.Artist(), "VoiceTrack");
    auto& categories = c.form().lstPlaylists;
    ASSERT_GE(categories.listIndex, 0);
    EXPECT_EQ(categories.items[static_cast<std::size_t>(categories.listIndex)].text, "VoiceTracks");
}

std::vector<std::string> playlistErrors(const std::vector<std::string>& log) {
    std::vector<std::string> out;
    for (const auto& line : log) {
        if (line.find("Error in Playlist:") != std::string::npos) {
            out.push_back(line);
        }
    }
    return out;
}

std::string selectedCategory(const core::Console& c) {
    const auto& list = c.ui.main.lstPlaylists;
    if (list.listIndex < 0 || list.listIndex >= list.listCount()) {
        return "<none>";
    }
    return list.items[static_cast<std::size_t>(list.listIndex)].text;
}

TEST_F(VoiceTracksTest, TheFirstTakeSavedMakesItsCategoryWithoutAPlaylistErrorAndShowsIn) {
    addCategory("Jazz");
    addTrack("Jazz", "a.mp3", "Artist", "Song");
    addCategory("Rock");
    auto& c = openWithMicrophone();
    ASSERT_EQ(c.form().lstPlaylists.listCount(), 2);
    recordBytes(44100 * 4);
    prompter.queueAnswer("Drive Link");
    desk::press(c, "cmdRecord");
    // At once, with the encoder still at work: the new category is up and selected.
    EXPECT_EQ(playlistErrors(logTexts()), std::vector<std::string>{});
    EXPECT_EQ(selectedCategory(c), "VoiceTracks");
    EXPECT_EQ(c.activeDirectory, "/Music/VoiceTracks/");
    EXPECT_NE(c.form().lblListInfo.caption.find("| Approxiamate Repeat Time: 00 Hours 00 Minutes"),
              std::string::npos)
        << c.form().lblListInfo.caption;
    // Once the encoder has ended, the track shows in it.
    EXPECT_TRUE(waitUntilListed(
        c, [](const std::string& text) { return text == "VoiceTrack - Drive Link"; }));
    EXPECT_EQ(selectedCategory(c), "VoiceTracks");
    EXPECT_EQ(c.form().lblListInfo.caption.rfind("1 Tracks |", 0), 0u)
        << c.form().lblListInfo.caption;
    EXPECT_EQ(playlistErrors(logTexts()), std::vector<std::string>{});
    // Every category has its figure again, the new one included.
    EXPECT_EQ(c.library->repeatTime.size(), 4u);
}

TEST_F(VoiceTracksTest, ATakeSavedIntoTheExistingCategoryKeepsTheLibraryFigures) {
    addCategory("Jazz");
    addCategory("VoiceTracks");
    addTrack("VoiceTracks", "Old Link.mp3", "VoiceTrack", "Old Link");
    auto& c = openWithMicrophone();
    // Counted before: two hours and five minutes until VoiceTracks repeats.
    c.library->repeatTime.at(2) = 2 * 3600 + 5 * 60;
    c.library->averageSong.at(1) = 200;
    recordBytes(44100 * 4);
    prompter.queueAnswer("New Link");
    desk::press(c, "cmdRecord");
    auto listed = [&c] { return c.form().lstSongs.listCount() == 2; };
    for (int i = 0; i < 500 && !listed(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        loop.processPending();
    }
    ASSERT_TRUE(listed());
    EXPECT_EQ(selectedCategory(c), "VoiceTracks");
    EXPECT_NE(c.form().lblListInfo.caption.find("02 Hours 05 Minutes"), std::string::npos)
        << c.form().lblListInfo.caption;
    EXPECT_EQ(c.library->averageSong.at(1), 200);
    EXPECT_EQ(playlistErrors(logTexts()), std::vector<std::string>{});
}

TEST_F(VoiceTracksTest, LiveModeDucksAndAddsTheTakeToTheMixUntilItIsFreed) {
    auto& c = openWithMicrophone();
    writeFile(wavPath(), "x");
    engine.fileSeconds[wavPath()] = 2;
    c.player1Stream = engine.addStream(60);
    desk::press(c, "cmdVoiceTrack");
    const audio::Handle take = c.spotChannel;
    ASSERT_NE(take, 0u);
    EXPECT_EQ(
        engine.count("streamCreateFile " + wavPath() + " " + std::to_string(audio::kStreamDecode)),
        1);
    EXPECT_EQ(engine.count("channelSlideAttribute " + h(c.player1Stream) + " 2 0.500000 1000"), 1);
    EXPECT_EQ(engine.count("mixerAddChannel " + h(c.mixerStream) + " " + h(take) + " " +
                           std::to_string(audio::kStreamAutoFree)),
              1);
    EXPECT_EQ(engine.count("channelSetSync " + h(take) + " 8"), 1);
    engine.finish(take);
    loop.processPending();
    EXPECT_EQ(c.spotChannel, 0u);
    EXPECT_EQ(engine.count("channelSlideAttribute " + h(c.player1Stream) + " 2 1.000000 1000"), 1);
}

TEST_F(VoiceTracksTest, TheTakeCountsDownOnItsButtonAndTheBeatStopsWhenNothingIsLeftToShow) {
    auto& c = openWithMicrophone();
    engine.fileSeconds[wavPath()] = 12;
    desk::press(c, "cmdVoiceTrack");
    ASSERT_NE(c.previewTimerId, 0);
    engine.setPositionSeconds(c.spotChannel, 2);
    loop.advance(0.1);
    EXPECT_EQ(c.form().cmdVoiceTrack.caption, "00:00:10.0");
    engine.finish(c.spotChannel);
    loop.advance(0.1);
    EXPECT_EQ(c.spotChannel, 0u);
    EXPECT_EQ(c.form().cmdVoiceTrack.caption, "VoiceTrack");
    EXPECT_EQ(c.previewTimerId, 0) << "no beat while there is nothing to show";
}

TEST_F(VoiceTracksTest, TheMicrophonesMeterFollowsItsLevel) {
    auto& c = openWithMicrophone();
    c.form().picMicLevel.rect.width = 100;
    c.form().picMicLevel.rect.height = 10;
    desk::press(c, "cmdMic");
    engine.channel(c.micChannel).level = 16384 | (16384u << 16);
    loop.advance(0.1);
    ASSERT_EQ(c.form().picMicLevel.drawing.fills.size(), 1u);
    EXPECT_DOUBLE_EQ(c.form().picMicLevel.drawing.fills[0].width, 50);
}

TEST_F(VoiceTracksTest, PreviewModePlaysInTheStudioAndStillRestoresThePlayersAtTheEnd) {
    auto& c = openWithMicrophone();
    engine.fileSeconds[wavPath()] = 2;
    c.player2Stream = engine.addStream(60);
    desk::press(c, "optSamplerMode(1)");
    desk::press(c, "cmdVoiceTrack");
    const audio::Handle take = c.spotChannel;
    ASSERT_NE(take, 0u);
    EXPECT_EQ(engine.count("streamCreateFile " + wavPath() + " 0"), 1);
    EXPECT_EQ(engine.count("mixerAddChannel " + h(c.mixerStream) + " " + h(take)), 0);
    EXPECT_EQ(engine.count("channelSetSync " + h(take) + " 2"), 1);
    EXPECT_EQ(engine.count("channelSlideAttribute"), 0);
    liveassist::spotEnded(c);
    EXPECT_EQ(engine.count("channelSlideAttribute " + h(c.player2Stream) + " 2 1.000000 1000"), 1);
}

TEST_F(VoiceTracksTest, MoveToPlayerModeAndTheRightButtonDoNothing) {
    auto& c = openWithMicrophone();
    engine.fileSeconds[wavPath()] = 2;
    desk::press(c, "cmdVoiceTrack", desk::MouseButton::Right);
    desk::press(c, "optSamplerMode(2)");
    desk::press(c, "cmdVoiceTrack");
    EXPECT_EQ(c.spotChannel, 0u);
    EXPECT_EQ(engine.count("streamCreateFile"), 0);
}

TEST_F(VoiceTracksTest, APressWhileASampleSoundsStopsThatSampleInsteadOfStartingTheTake) {
    auto& c = openWithMicrophone();
    engine.fileSeconds[wavPath()] = 2;
    const audio::Handle sample = engine.addStream(5);
    liveassist::setMicPreview(c, sample);
    desk::press(c, "cmdVoiceTrack");
    EXPECT_EQ(engine.count("channelStop " + h(sample)), 1);
    EXPECT_EQ(c.spotChannel, 0u);
    EXPECT_EQ(engine.count("streamCreateFile"), 0);
    EXPECT_EQ(c.form().cmdVoiceTrack.caption, "VoiceTrack");
}

TEST_F(VoiceTracksTest, StartUpShowsWhetherATakeExists) {
    engine.recordDevices = {"Desk mic"};
    open();
    liveassist::showVoiceTrackState(*console);
    EXPECT_EQ(console->form().cmdVoiceTrack.caption, "NO VoiceTrack");
    EXPECT_EQ(console->form().cmdVoiceTrack.image, core::ImageRole::Gray);
    writeFile(wavPath(), "RIFF");
    liveassist::showVoiceTrackState(*console);
    EXPECT_EQ(console->form().cmdVoiceTrack.caption, "VoiceTrack");
}

TEST_F(VoiceTracksTest, WithoutARecordingDeviceTheTakeFailsWithItsMessage) {
    open();
    desk::press(*console, "cmdRecord");
    EXPECT_EQ(console->recordChannel, 0u);
    ASSERT_FALSE(prompter.shown().empty());
    EXPECT_EQ(prompter.shown().back().text.substr(0, 24), "Couldn't start recording");
    EXPECT_TRUE(console->recordBuffer.empty());
}

}  // namespace
}  // namespace tw::test
