// What becomes of a take when something goes wrong: a take that cannot be written as
// VoiceTrack1.wav, a take whose buffer cannot grow, an encoder that fails or is still working at
// shut-down, a name that is already taken. The operator's work is never lost and no half-written
// MP3 ever sits in the library. The encoder is a stand-in program put first on the PATH.

#include <sys/stat.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "core/program_runner.h"
#include "core/unfinished_files.h"
#include "desk/actions.h"
#include "liveassist/voice_tracks.h"
#include "station/startup.h"
#include "tests/autodj/station_fixture.h"
#include "tests/testlib/temp_dir.h"

namespace tw::test {
namespace {

namespace fs = std::filesystem;

// Whether the file holds `bytes` (the library may tag a new track once it shows it).
bool holds(const fs::path& p, const std::string& bytes) {
    return readFile(p).find(bytes) != std::string::npos;
}

// The files of a folder, by name.
std::vector<std::string> namesIn(const fs::path& folder) {
    std::vector<std::string> out;
    std::error_code ec;
    for (const auto& e : fs::directory_iterator(folder, ec)) {
        out.push_back(e.path().filename().string());
    }
    std::sort(out.begin(), out.end());
    return out;
}

class VoiceTrackSavingTest : public StationFixture {
  protected:
    void SetUp() override {
        fs::create_directories(bin_.path());
        const char* path = std::getenv("PATH");
        path_ = std::make_unique<ScopedSurroundings>(
            dir.path(), "PATH", bin_.str() + ":" + (path ? path : "/usr/bin:/bin"));
    }

    // A stand-in for lame: `body` runs in sh with $in the take it was given (a file, or "-" for
    // its standard input) and $out the file it is to write.
    void fakeLame(const std::string& body) {
        const fs::path lame = bin_ / "lame";
        writeFile(lame,
                  "#!/bin/sh\n"
                  "for a in \"$@\"; do in=$out; out=$a; done\n" +
                      body + "\n");
        fs::permissions(lame, fs::perms::owner_all);
    }

    // Starts a take and feeds it `bytes` bytes of the sample value `value`; false when the
    // take's callback refused them.
    bool recordBytes(std::size_t bytes, std::int16_t value = 1000) {
        auto& c = *console;
        if (c.recordChannel == 0) {
            desk::press(c, "cmdRecord");
        }
        std::vector<std::int16_t> samples(bytes / 2, value);
        return engine.recordProcs.at(c.recordChannel)(c.recordChannel, samples.data(),
                                                      samples.size());
    }

    // Lets the encoders end and their ends reach the console; false after 10 s.
    bool settle() {
        auto& c = *console;
        for (int i = 0; i < 1000; ++i) {
            loop.processPending();
            if (!c.programs || c.programs->running() == 0) {
                loop.processPending();
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

    bool logged(const std::string& part) {
        for (const auto& line : logTexts()) {
            if (line.find(part) != std::string::npos) {
                return true;
            }
        }
        return false;
    }

    fs::path tracks() const { return dir / "Music/VoiceTracks"; }

    TempDir bin_;
    std::unique_ptr<ScopedSurroundings> path_;
};

TEST_F(VoiceTrackSavingTest, AFailedEncoderWritesItsExitStatusAndItsLastLineToTheLog) {
    fakeLame(
        "echo 'LAME 3.100 stand-in' >&2\n"
        "printf 'Frame 1/3\\rFrame 2/3\\r' >&2\n"
        "echo 'Error writing the output: No space left on device' >&2\n"
        "exit 3");
    auto& c = openWithMicrophone();
    recordBytes(4000);
    prompter.queueAnswer("Broken Link");
    desk::press(c, "cmdRecord");
    ASSERT_TRUE(settle());
    EXPECT_TRUE(logged("exit status 3")) << "app.log: " << readFile(dir / "app.log");
    EXPECT_TRUE(logged("Error writing the output: No space left on device"))
        << "app.log: " << readFile(dir / "app.log");
    EXPECT_TRUE(logged("Broken Link")) << "app.log: " << readFile(dir / "app.log");
    EXPECT_EQ(namesIn(tracks()), std::vector<std::string>{}) << "no file is left behind";
}

TEST_F(VoiceTrackSavingTest, AnEncoderThatSucceedsLeavesNoLine) {
    fakeLame("echo 'all fine' >&2; cat -- \"$in\" > \"$out\"");
    auto& c = openWithMicrophone();
    recordBytes(4000);
    prompter.queueAnswer("Good Link");
    desk::press(c, "cmdRecord");
    ASSERT_TRUE(settle());
    EXPECT_TRUE(holds(tracks() / "Good Link.mp3", readFile(dir / "VoiceTrack1.wav")));
    EXPECT_EQ(namesIn(tracks()), std::vector<std::string>{"Good Link.mp3"});
    EXPECT_FALSE(logged("all fine"));
}

TEST_F(VoiceTrackSavingTest, ATrackSavedUnderAnExistingNameStaysWholeUntilTheNewOneIsWhole) {
    fs::create_directories(tracks());
    writeFile(tracks() / "Link.mp3", "the old link, whole");
    // Half a file, a moment's work, then the encoder fails.
    fakeLame("printf 'half of the new' > \"$out\"; sleep 0.3; exit 1");
    auto& c = openWithMicrophone();
    recordBytes(4000);
    prompter.queueAnswer("Link");
    desk::press(c, "cmdRecord");
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    EXPECT_TRUE(holds(tracks() / "Link.mp3", "the old link, whole")) << "while it encodes";
    ASSERT_TRUE(settle());
    EXPECT_TRUE(holds(tracks() / "Link.mp3", "the old link, whole")) << "after it failed";
    EXPECT_EQ(namesIn(tracks()), std::vector<std::string>{"Link.mp3"});

    fakeLame("printf 'the new link' > \"$out\"; sleep 0.3");
    recordBytes(4000);
    prompter.queueAnswer("Link");
    desk::press(c, "cmdRecord");
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    EXPECT_TRUE(holds(tracks() / "Link.mp3", "the old link, whole")) << "while it encodes";
    ASSERT_TRUE(settle());
    EXPECT_TRUE(holds(tracks() / "Link.mp3", "the new link"));
    EXPECT_FALSE(holds(tracks() / "Link.mp3", "the old link"));
    EXPECT_EQ(namesIn(tracks()), std::vector<std::string>{"Link.mp3"});
}

TEST_F(VoiceTrackSavingTest, ATakeThatCannotBeWrittenIsSavedFromMemoryNotFromTheLastTake) {
    fakeLame("cat -- \"$in\" > \"$out\"");
    auto& c = openWithMicrophone();
    recordBytes(4000, 1000);
    desk::press(c, "cmdRecord");  // the first take, kept without a name
    const std::string first = readFile(dir / "VoiceTrack1.wav");
    ASSERT_EQ(first.size(), 4044u);
    // The next take cannot be written: its temporary file's name is taken by a folder.
    fs::create_directories(core::unfinishedPath((dir / "VoiceTrack1.wav").string(), "tmp"));
    recordBytes(2000, 2000);
    prompter.queueAnswer("OK");  // the message that the take could not be written
    prompter.queueAnswer("Second Link");
    desk::press(c, "cmdRecord");
    EXPECT_TRUE(std::any_of(prompter.shown().begin(), prompter.shown().end(), [](const auto& s) {
        return s.text.find("Can't create the file") != std::string::npos;
    }));
    EXPECT_EQ(readFile(dir / "VoiceTrack1.wav"), first) << "the last take stays as it was";
    ASSERT_TRUE(settle());
    const fs::path saved = tracks() / "Second Link.mp3";
    ASSERT_TRUE(fs::exists(saved)) << "the take is saved under its new name";
    EXPECT_FALSE(holds(saved, first.substr(0, 44))) << "the new name got the previous take";
    std::string second = first.substr(0, 44);  // the header, with the second take's lengths
    second.replace(4, 4, std::string("\xF4\x07\0\0", 4));  // 2036: 2044 bytes less 8
    second.replace(40, 4, std::string("\xD0\x07\0\0", 4));
    for (int i = 0; i < 1000; ++i) {
        second += std::string("\xD0\x07", 2);  // 2000, little-endian
    }
    EXPECT_TRUE(holds(saved, second)) << "the new take, from memory";
}

TEST_F(VoiceTrackSavingTest, ATakeThatCannotGrowIsWrittenAsFarAsItWasRecorded) {
    auto& c = openWithMicrophone();
    c.recordLimit = 400000;
    bool accepted = true;
    int blocks = 0;
    while (accepted && blocks < 100) {
        accepted = recordBytes(40000);
        blocks += accepted ? 1 : 0;
    }
    ASSERT_FALSE(accepted) << "the take never stopped growing";
    loop.processPending();
    EXPECT_EQ(c.recordChannel, 0u);
    EXPECT_EQ(c.form().cmdRecord.caption, "Record");
    ASSERT_FALSE(prompter.shown().empty());
    EXPECT_NE(prompter.shown().back().text.find("Out of memory!"), std::string::npos);
    const std::string wav = readFile(dir / "VoiceTrack1.wav");
    ASSERT_EQ(wav.size(), 44u + 40000u * static_cast<std::size_t>(blocks)) << "what was recorded";
    EXPECT_EQ(c.form().cmdVoiceTrack.caption, "VoiceTrack");
    // The take's record channel is stopped, so it holds nothing more of the engine's.
    EXPECT_EQ(engine.channelIsActive(engine.recordProcs.rbegin()->first), audio::kStopped);
}

TEST_F(VoiceTrackSavingTest, AnEncoderStillWorkingAtShutDownFinishesItsTrack) {
    fakeLame("sleep 1; cat -- \"$in\" > \"$out\"");
    auto& c = openWithMicrophone();
    recordBytes(4000);
    prompter.queueAnswer("Last Link");
    desk::press(c, "cmdRecord");
    station::Form_Unload(c);
    EXPECT_TRUE(holds(tracks() / "Last Link.mp3", readFile(dir / "VoiceTrack1.wav")));
    EXPECT_EQ(namesIn(tracks()), std::vector<std::string>{"Last Link.mp3"});
}

}  // namespace
}  // namespace tw::test
