// Spoken text: the line rendered into spoken.wav at 44.1 kHz 16-bit stereo, played over the music
// through its own chain while the players dip to 0.55, the toggle, and a missing synthesiser.

#include "liveassist/speech.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "desk/actions.h"
#include "liveassist/microphone.h"
#include "tests/autodj/station_fixture.h"
#include "tests/testlib/temp_dir.h"

namespace tw::test {
namespace {

namespace fs = std::filesystem;

class SpeechTest : public StationFixture {
  protected:
    core::Console& station() {
        open();
        console->mixerStream = engine.mixerStreamCreate(44100, 2, 0);
        engine.fileSeconds[spoken()] = 1;
        return *console;
    }
    std::string spoken() const { return (dir / "spoken.wav").string(); }
};

TEST_F(SpeechTest, ALineIsRenderedAsA44kStereoWavThatIsAudible) {
    auto& c = station();
    c.form().txtSendText.text = "Good morning, this is the station.";
    desk::press(c, "cmdSayIt");
    const std::string wav = readFile(spoken());
    ASSERT_GT(wav.size(), 44u + 44100u) << "more than a quarter second of speech";
    EXPECT_EQ(wav.substr(0, 4), "RIFF");
    EXPECT_EQ(static_cast<unsigned char>(wav[22]), 2) << "stereo";
    EXPECT_EQ(static_cast<unsigned char>(wav[24]) | static_cast<unsigned char>(wav[25]) << 8,
              44100 & 0xFFFF);
    EXPECT_EQ(static_cast<unsigned char>(wav[34]), 16) << "16-bit";
    double sum = 0;
    const std::size_t n = (wav.size() - 44) / 2;
    for (std::size_t i = 0; i < n; ++i) {
        const auto lo = static_cast<unsigned char>(wav[44 + 2 * i]);
        const auto hi = static_cast<signed char>(wav[45 + 2 * i]);
        const double v = static_cast<std::int16_t>(hi * 256 + lo) / 32768.0;
        sum += v * v;
    }
    EXPECT_GT(std::sqrt(sum / static_cast<double>(n)), 0.02) << "speech, not silence";
    EXPECT_EQ(engine.count("streamCreateFile " + spoken()), 1);
}

TEST_F(SpeechTest, AnEmptyTextIsSpokenAsItIsAndThePlayersDipForTheShortPlay) {
    auto& c = station();
    c.player1Stream = engine.addStream(60);
    c.player2Stream = engine.addStream(60);
    liveassist::sayText(c, "");
    EXPECT_EQ(readFile(spoken()).size(), 44u);
    ASSERT_NE(c.spokenStream, 0u);
    EXPECT_EQ(engine.count("mixerAddChannel " + h(c.mixerStream) + " " + h(c.spokenStream) + " " +
                           std::to_string(audio::kStreamAutoFree)),
              1);
    EXPECT_EQ(engine.count("channelSetAttribute " + h(c.player1Stream) + " 2 0.550000"), 1);
    EXPECT_EQ(engine.count("channelSetAttribute " + h(c.player2Stream) + " 2 0.550000"), 1);
    EXPECT_EQ(engine.count("channelSlideAttribute"), 0) << "at once, without a slide";
    engine.finish(c.spokenStream);
    loop.processPending();
    EXPECT_EQ(engine.count("channelSlideAttribute " + h(c.player1Stream) + " 2 1.000000 1000"), 1);
}

TEST_F(SpeechTest, TheSpokenStreamGetsItsChorusAndChainInOrder) {
    auto& c = station();
    liveassist::playSpoken(c, spoken());
    const std::string s = h(c.spokenStream);
    EXPECT_EQ(engine.count("channelSetFX " + s + " 0 0"), 1);
    EXPECT_EQ(engine.count("fxReset " + s), 1);
    EXPECT_EQ(engine.count("fxSetParameters " + h(c.voiceFx[0]) + " eq 80.00 3.00 2.00"), 1);
    EXPECT_EQ(engine.count("fxSetParameters " + h(c.voiceFx[1]) + " eq 9000.00 3.00 3.00"), 1);
    EXPECT_EQ(
        engine.count("fxSetParameters " + h(c.voiceFx[2]) + " damp 0.90 0.11 0.01 0.05 0.01 -1"),
        1);
    EXPECT_EQ(engine.count("fxSetParameters " + h(c.voiceFx[3]) +
                           " compressor 3.00 0.10 200.00 -5.00 6.00 0.00"),
              1);
    EXPECT_EQ(engine.effects.at(c.flangerFx).type, audio::kFxChorus);
}

TEST_F(SpeechTest, ASecondPressDuringTheSpeechStopsIt) {
    auto& c = station();
    liveassist::playSpoken(c, spoken());
    const audio::Handle first = c.spokenStream;
    liveassist::playSpoken(c, spoken());
    EXPECT_EQ(engine.count("channelStop " + h(first)), 1);
    EXPECT_EQ(c.spokenStream, 0u);
    EXPECT_EQ(engine.count("streamCreateFile " + spoken()), 1) << "nothing new is played";
}

TEST_F(SpeechTest, NoPlayerLoadedMeansNoVolumeCallAndTheSpeechSounds) {
    auto& c = station();
    liveassist::playSpoken(c, spoken());
    EXPECT_NE(c.spokenStream, 0u);
    EXPECT_EQ(engine.count("channelSetAttribute"), 0);
}

TEST_F(SpeechTest, SpeechWhileTheMicrophoneIsOpenTakesOverItsEffectHandles) {
    engine.recordDevices = {"Desk mic"};
    auto& c = station();
    desk::press(c, "cmdMic");
    const audio::Handle mic = c.micChannel;
    liveassist::playSpoken(c, spoken());
    desk::press(c, "cmdMic");
    // The close removes the speech's handles from the microphone: it finds none of them there.
    for (audio::Handle fx : {c.voiceFx[1], c.voiceFx[2], c.voiceFx[3]}) {
        EXPECT_EQ(engine.effects.at(fx).channel, c.spokenStream);
    }
    int onMic = 0;
    for (const auto& [fx, e] : engine.effects) {
        onMic += e.channel == mic;
    }
    EXPECT_EQ(onMic, 4) << "the microphone keeps its chain, as the console always did";
}

TEST_F(SpeechTest, AMissingSynthesiserGivesALogLineAndNoSound) {
    auto& c = station();
    c.voice = std::make_shared<liveassist::SpeechVoice>((dir / "no-such-synthesiser").string());
    liveassist::sayText(c, "Hello");
    EXPECT_EQ(engine.count("streamCreateFile"), 0);
    bool logged = false;
    for (const auto& line : logTexts()) {
        logged = logged || line.starts_with("sayText");
    }
    EXPECT_TRUE(logged);
}

}  // namespace
}  // namespace tw::test
