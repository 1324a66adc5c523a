// The operator's voice on the air, in virtual time on the real engine: the microphone from the
// simulated device ducking the music, a voice track recorded, named and encoded into its category,
// a spoken line over the music, and a long session of all of them that stays on the air.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <thread>

#include "core/dates.h"
#include "core/program_runner.h"
#include "tags/id3_tag.h"
#include "tests/app/station_run.h"
#include "tests/testlib/temp_dir.h"

namespace tw {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> everyLine(const fs::path& file) {
    std::ifstream in(file);
    std::vector<std::string> out;
    for (std::string line; std::getline(in, line);) {
        out.push_back(line);
    }
    return out;
}

class VoiceScenario : public ::testing::Test {
  protected:
    void SetUp() override {
        station_ = dir_ / "station";
        ASSERT_EQ(test::makeScenarioStation(station_), "");
        mic_ = dir_ / "voice.wav";
        ASSERT_NO_FATAL_FAILURE(makeMicrophone(mic_));
        run_ = std::make_unique<test::StationRun>(
            station_.string(), core::dateSerial(2026, 3, 2) + 10.0 / 24, mic_.string());
        ASSERT_EQ(run_->exec("load"), "");
        ASSERT_EQ(run_->exec("select flRotations 0"), "");
        for (int i = 0; i < 400 && (c().player1Stream == 0 || c().player2Stream == 0); ++i) {
            run_->advance(0.06, 0.06);
        }
        ASSERT_NE(c().activePlayer, 0);
    }

    // What the simulated microphone plays, over and over.
    virtual void makeMicrophone(const fs::path& wav) {
        const std::string cmd =
            "sox -q -n -r 44100 -c 1 -b 16 '" + wav.string() + "' synth 3 sine 700 vol 0.5";
        ASSERT_EQ(std::system(cmd.c_str()), 0);
    }

    core::Console& c() { return run_->console(); }
    float volume(audio::Handle h) {
        float v = -1;
        c().engine().channelGetAttribute(h, audio::kAttribVol, v);
        return v;
    }
    audio::Handle onAir() { return c().activePlayer == 1 ? c().player1Stream : c().player2Stream; }
    // Advances while the external encoder works in real time, until `done` or 15 s.
    template <typename Done>
    bool waitFor(Done done) {
        for (int i = 0; i < 750 && !done(); ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            run_->advance(0.06, 0.06);
        }
        return done();
    }

    test::TempDir dir_;
    fs::path station_;
    fs::path mic_;
    std::unique_ptr<test::StationRun> run_;
};

TEST_F(VoiceScenario, TheMicrophoneDucksTheMusicToHalfWithinOneSecondAndBringsItBack) {
    const audio::Handle player = onAir();
    ASSERT_EQ(run_->exec("press cmdMic left"), "");
    ASSERT_NE(c().micChannel, 0u);
    run_->advance(0.5, 0.05);
    EXPECT_NEAR(volume(player), 0.75, 0.03) << "half-way down the slide at 500 ms";
    run_->advance(0.5, 0.05);
    EXPECT_NEAR(volume(player), 0.5, 0.01) << "at half volume at 1000 ms";
    EXPECT_GT(c().engine().channelGetLevel(c().micChannel) & 0xFFFF, 8000u)
        << "the microphone is heard in the mix";
    ASSERT_EQ(run_->exec("press cmdMic left"), "");
    run_->advance(0.5, 0.05);
    EXPECT_NEAR(volume(player), 0.75, 0.03);
    run_->advance(0.5, 0.05);
    EXPECT_NEAR(volume(player), 1.0, 0.01);
}

TEST_F(VoiceScenario, AVoiceTrackRecordedFromTheMicrophoneBecomesATrackOfItsCategory) {
    // The library screen is up, where the category list acts on what is chosen in it.
    ASSERT_EQ(run_->exec("press cmdTrackList"), "");
    ASSERT_EQ(c().screenMode, 1);
    ASSERT_EQ(run_->exec("press cmdRecord"), "");
    run_->advance(3.0, 0.06);
    ASSERT_EQ(run_->exec("answer Drive Time Link"), "");
    ASSERT_EQ(run_->exec("press cmdRecord"), "");
    const auto wav = fs::file_size(station_ / "VoiceTrack1.wav");
    EXPECT_NEAR(static_cast<double>(wav - 44) / 176400.0, 3.0, 0.03) << "3 s of 44.1 kHz stereo";
    const fs::path mp3 = station_ / "Music/VoiceTracks/Drive Time Link.mp3";
    // The encoder runs on its own; the file is whole once it has ended.
    ASSERT_TRUE(waitFor([&] { return c().programs && c().programs->running() == 0; }));
    ASSERT_TRUE(fs::exists(mp3));
    run_->advance(0.5, 0.06);  // the encoder's end reaches the console
    bool listed = false;
    for (const auto& item : c().form().lstPlaylists.items) {
        listed = listed || item.text == "VoiceTracks";
    }
    EXPECT_TRUE(listed) << "the category list shows the new category";
    // The new category is up on the library screen with the new track in it, and the save left
    // no failure line behind.
    const auto& categories = c().form().lstPlaylists;
    ASSERT_GE(categories.listIndex, 0);
    EXPECT_EQ(categories.items[static_cast<std::size_t>(categories.listIndex)].text, "VoiceTracks");
    const auto& songs = c().form().lstSongs.items;
    EXPECT_TRUE(std::any_of(songs.begin(), songs.end(), [](const auto& item) {
        return item.text == "VoiceTrack - Drive Time Link";
    }));
    for (const auto& line : everyLine(station_ / "app.log")) {
        EXPECT_EQ(line.find("Error in Playlist:"), std::string::npos) << line;
    }
    tags::clsID3 tag;
    tag.filename(mp3.string());
    tag.RefreshID3Tags();
    EXPECT_EQ(tag.title(), "Drive Time Link");
    EXPECT_EQ(tag.Artist(), "VoiceTrack");
    // The planner and the players take it like any track.
    const audio::Handle stream =
        c().engine().streamCreateFile(mp3.string(), 0, 0, audio::kStreamDecode);
    ASSERT_NE(stream, 0u);
    EXPECT_NEAR(c().engine().channelBytes2Seconds(stream, c().engine().channelGetLength(stream)),
                3.0, 0.1);
    c().engine().streamFree(stream);
}

TEST_F(VoiceScenario, ASpokenLineIsHeardOverTheMusicAndThePlayersComeBackAfterIt) {
    const audio::Handle player = onAir();
    ASSERT_EQ(run_->exec("type txtSendText Good evening and welcome to the late show"), "");
    ASSERT_EQ(run_->exec("press cmdSayIt"), "");
    ASSERT_NE(c().spokenStream, 0u);
    run_->advance(0.12, 0.06);
    EXPECT_NEAR(volume(player), 0.55, 0.001);
    std::uint32_t loudest = 0;
    for (int i = 0; i < 300 && c().engine().channelIsActive(c().spokenStream) != 0; ++i) {
        loudest = std::max(loudest, c().engine().channelGetLevel(c().spokenStream) & 0xFFFF);
        run_->advance(0.06, 0.06);
    }
    EXPECT_GT(loudest, 8000u) << "the speech is heard over the music";
    run_->advance(1.1, 0.06);
    EXPECT_NEAR(volume(player), 1.0, 0.01);
}

TEST_F(VoiceScenario, ASecondPressDuringTheSpeechStopsItAndThePlayersComeBackThroughItsEnd) {
    const audio::Handle player = onAir();
    ASSERT_EQ(run_->exec("type txtSendText This line is stopped before it has been said in full"),
              "");
    ASSERT_EQ(run_->exec("press cmdSayIt"), "");
    const audio::Handle speech = c().spokenStream;
    run_->advance(0.5, 0.06);
    EXPECT_NEAR(volume(player), 0.55, 0.001);
    ASSERT_EQ(run_->exec("press cmdSayIt"), "");
    EXPECT_EQ(c().engine().channelIsActive(speech), 0) << "stopped, and gone with its stop";
    run_->advance(1.1, 0.06);
    EXPECT_NEAR(volume(player), 1.0, 0.01);
}

TEST_F(VoiceScenario, AHundredMicrophoneOpeningsAndTwentyVoiceTracksKeepTheStationOnTheAir) {
    auto micCycle = [&] {
        ASSERT_EQ(run_->exec("press cmdMic left"), "");
        run_->advance(2.0, 0.06);
        ASSERT_EQ(run_->exec("press cmdMic left"), "");
        run_->advance(1.2, 0.06);
    };
    auto voiceTrack = [&](int n) {
        ASSERT_EQ(run_->exec("press cmdRecord"), "");
        run_->advance(2.0, 0.06);
        ASSERT_EQ(run_->exec("answer Link " + std::to_string(n)), "");
        ASSERT_EQ(run_->exec("press cmdRecord"), "");
        run_->advance(1.0, 0.06);
    };
    for (int i = 0; i < 5; ++i) {
        micCycle();
    }
    voiceTrack(0);
    const long before = test::residentKb();
    const int startsBefore = run_->starts();
    for (int i = 0; i < 95; ++i) {
        micCycle();
    }
    for (int i = 1; i < 20; ++i) {
        voiceTrack(i);
    }
    ASSERT_TRUE(waitFor([&] { return c().programs && c().programs->running() == 0; }));
    run_->advance(5.0, 0.06);
    const long after = test::residentKb();
    EXPECT_GT(run_->starts(), startsBefore + 2) << "tracks went on starting";
    const auto silences = run_->silences(1.0);
    EXPECT_TRUE(silences.empty()) << silences.size() << " stretches of silence";
    for (const auto& line : everyLine(station_ / "app.log")) {
        EXPECT_EQ(line.find("Error"), std::string::npos) << line;
    }
    int tracks = 0;
    for ([[maybe_unused]] const auto& f : fs::directory_iterator(station_ / "Music/VoiceTracks")) {
        ++tracks;
    }
    EXPECT_EQ(tracks, 20);
    if (!TW_TEST_SANITIZED) {
        EXPECT_LE(after - before, 4 * 1024) << "VmRSS " << before << " kB, then " << after << " kB";
    }
    std::cout << "[ figures  ] 100 microphone openings, 20 voice tracks, " << run_->starts()
              << " starts, VmRSS " << before << " kB, then " << after << " kB\n";
}

// The figures of a file's 16-bit samples that tell a clip: the peak, the samples at full scale
// (32767 or -32768) and the longest run of one value at the file's own peak.
struct ClipFigures {
    double peakDb = -200;
    std::size_t fullScale = 0;
    std::size_t longestRunAtPeak = 0;
    double soxFlatFactor = -1;  // sox's "Flat factor" of the same file
};

std::ostream& operator<<(std::ostream& out, const ClipFigures& f) {
    return out << "peak " << f.peakDb << " dBFS, " << f.fullScale << " samples at full scale, "
               << "longest run at the peak " << f.longestRunAtPeak << ", sox flat factor "
               << f.soxFlatFactor;
}

// sox's "Flat factor" of a file sox reads; -1 when it cannot be had.
double soxFlatFactor(const fs::path& file) {
    const std::string cmd = "sox '" + file.string() + "' -n stats 2>&1";
    FILE* pipe = popen(cmd.c_str(), "r");
    if (!pipe) {
        return -1;
    }
    double flat = -1;
    char line[256];
    while (std::fgets(line, sizeof line, pipe)) {
        const std::string text(line);
        if (text.rfind("Flat factor", 0) == 0) {
            flat = std::stod(text.substr(11));
        }
    }
    pclose(pipe);
    return flat;
}

class LoudVoiceScenario : public VoiceScenario {
  protected:
    // Speech and bursts of 80 Hz and 10 kHz (what the voice chain lifts) after silence, the whole
    // brought to a peak of -2 dBFS.
    void makeMicrophone(const fs::path& wav) override {
        const fs::path speech = dir_ / "speech.wav";
        const fs::path bursts = dir_ / "bursts.wav";
        const std::string say = "espeak-ng -w '" + speech.string() +
                                "' 'Good evening, this is the late show. Stay with us for the "
                                "news, the weather and the best music all night long.'";
        ASSERT_EQ(std::system(say.c_str()), 0);
        const std::string tones = "sox -q -n -r 22050 -c 1 -b 16 '" + bursts.string() +
                                  "' synth 0.3 sine 80 synth 0.3 sine mix 10000 pad 0.4 0 "
                                  "repeat 4";
        ASSERT_EQ(std::system(tones.c_str()), 0);
        const std::string join = "sox -q '" + speech.string() + "' '" + bursts.string() +
                                 "' -r 44100 -b 16 '" + wav.string() + "' norm -2";
        ASSERT_EQ(std::system(join.c_str()), 0);
    }

    // Decodes a WAV or MP3 file through the engine, as the players would, and measures it.
    ClipFigures measure(const fs::path& file) {
        ClipFigures f;
        audio::Engine& e = c().engine();
        const audio::Handle h = e.streamCreateFile(file.string(), 0, 0, audio::kStreamDecode);
        EXPECT_NE(h, 0u) << file;
        std::vector<std::int16_t> all;
        std::vector<std::int16_t> block(8192);
        for (;;) {
            const std::int64_t got = e.channelGetData(h, block.data(), 2 * 8192);
            if (got <= 0) {
                break;
            }
            all.insert(all.end(), block.begin(), block.begin() + got / 2);
        }
        e.streamFree(h);
        int peak = 0;
        for (const std::int16_t v : all) {
            peak = std::max(peak, std::abs(static_cast<int>(v)));
            f.fullScale += v >= 32767 || v <= -32768 ? 1 : 0;
        }
        f.peakDb = peak > 0 ? 20 * std::log10(peak / 32768.0) : -200;
        for (std::size_t ch = 0; ch < 2; ++ch) {
            std::size_t run = 0;
            for (std::size_t i = ch; i < all.size(); i += 2) {
                run = std::abs(static_cast<int>(all[i])) == peak ? run + 1 : 0;
                f.longestRunAtPeak = std::max(f.longestRunAtPeak, run);
            }
        }
        f.soxFlatFactor = file.extension() == ".wav" ? soxFlatFactor(file) : -1;
        return f;
    }
};

TEST_F(LoudVoiceScenario, ATakeFromAMicrophonePeakingAtMinusTwoDbfsIsNotClippedInTheWavOrTheMp3) {
    const ClipFigures mic = measure(mic_);
    ASSERT_NEAR(mic.peakDb, -2.0, 0.1);
    ASSERT_EQ(run_->exec("press cmdRecord"), "");
    run_->advance(12.0, 0.06);
    ASSERT_EQ(run_->exec("answer Loud Link"), "");
    ASSERT_EQ(run_->exec("press cmdRecord"), "");
    const fs::path wav = station_ / "VoiceTrack1.wav";
    const ClipFigures take = measure(wav);
    EXPECT_EQ(take.fullScale, 0u) << take;
    EXPECT_LE(take.longestRunAtPeak, 2u) << take;
    EXPECT_EQ(take.soxFlatFactor, 0.0) << take;
    EXPECT_GT(take.peakDb, -6.0) << "the take is still loud: " << take;
    const fs::path mp3 = station_ / "Music/VoiceTracks/Loud Link.mp3";
    ASSERT_TRUE(waitFor([&] { return c().programs && c().programs->running() == 0; }));
    ASSERT_TRUE(fs::exists(mp3));
    const ClipFigures encoded = measure(mp3);
    EXPECT_EQ(encoded.fullScale, 0u) << encoded;
    EXPECT_LE(encoded.longestRunAtPeak, 2u) << encoded;
    std::cout << "[ figures  ] microphone: " << mic << "\n[ figures  ] take: " << take
              << "\n[ figures  ] mp3: " << encoded << "\n";
}

TEST_F(LoudVoiceScenario, TheLiveMicrophonePeakingAtMinusTwoDbfsOverTheMusicIsNotClippedOnAir) {
    ASSERT_EQ(run_->exec("press cmdMic left"), "");
    run_->advance(1.5, 0.06);
    const fs::path air = dir_ / "air.wav";
    ASSERT_EQ(run_->exec("record " + air.string() + " 12"), "");
    ASSERT_EQ(run_->exec("press cmdMic left"), "");
    const ClipFigures mix = measure(air);
    EXPECT_EQ(mix.fullScale, 0u) << mix;
    EXPECT_LE(mix.longestRunAtPeak, 2u) << mix;
    EXPECT_EQ(mix.soxFlatFactor, 0.0) << mix;
    std::cout << "[ figures  ] the air with the microphone open: " << mix << "\n";
}

}  // namespace
}  // namespace tw
