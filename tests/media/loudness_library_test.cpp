// loudness.ini and the loudness library: what is kept, what is stale, the order of the queue, the
// files that cannot be read, and the end of the worker at shut-down.

#include <gtest/gtest.h>
#include <utime.h>

#include <chrono>
#include <cmath>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>
#include <thread>

#include "core/clock.h"
#include "core/dates.h"
#include "media/loudness_file.h"
#include "media/loudness_library.h"
#include "sim/virtual_event_loop.h"
#include "tests/testlib/temp_dir.h"

namespace tw::media {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;
using test::readFile;
using test::writeFile;

TEST(LoudnessFileTest, WhatIsWrittenReadsBackTheSame) {
    LoudnessEntry measured{5123456, 1764123456, 123456789, -12.41, -0.32, false};
    LoudnessEntry tagged{77, -5, 0, -11.5, std::nullopt, true};
    LoudnessEntry silent{10, 1, 2, -HUGE_VAL, -HUGE_VAL, false};
    const std::vector<LoudnessRecord> records = {{"Music/Rock/Song [live] = good.mp3", measured},
                                                 {"/elsewhere/b.mp3", tagged},
                                                 {"Sweepers/quiet.mp3", silent}};
    const std::string text = serializeLoudnessFile(records);
    const LoudnessFileContents back = parseLoudnessFile(text);
    EXPECT_EQ(back.rejected, 0u);
    ASSERT_EQ(back.records.size(), 3u);
    EXPECT_EQ(back.records[0].name, "Music/Rock/Song [live] = good.mp3");
    EXPECT_TRUE(back.records[0].entry.sameFile(measured));
    EXPECT_DOUBLE_EQ(back.records[0].entry.lufs, -12.41);
    EXPECT_DOUBLE_EQ(*back.records[0].entry.peakDbtp, -0.32);
    EXPECT_FALSE(back.records[0].entry.fromReplayGain);
    EXPECT_TRUE(back.records[1].entry.sameFile(tagged));
    EXPECT_TRUE(back.records[1].entry.fromReplayGain);
    EXPECT_FALSE(back.records[1].entry.peakDbtp);
    EXPECT_TRUE(std::isinf(back.records[2].entry.lufs));
    EXPECT_TRUE(std::isinf(*back.records[2].entry.peakDbtp));
    EXPECT_NE(text.find("[Music/Rock/Song [live] = good.mp3]\nSize=5123456\n"
                        "Written=1764123456.123456789\nLoudness=-12.41\nPeak=-0.32\n"
                        "From=Measured\n"),
              std::string::npos);
}

TEST(LoudnessFileTest, ANameThatCannotStandInASectionIsNotWritten) {
    const std::string text =
        serializeLoudnessFile({{"two\nlines.mp3", {}}, {" blank.mp3", {}}, {"", {}}});
    EXPECT_EQ(text, "");
}

TEST(LoudnessFileTest, ACorruptFileKeepsItsWholeSectionsAndCountsTheRest) {
    const std::string text =
        "garbage before any section\n"
        "[good.mp3]\nSize=10\nWritten=1.000000002\nLoudness=-14\nPeak=-1.5\nFrom=Measured\n"
        "[no peak but measured.mp3]\nSize=10\nWritten=1.0\nLoudness=-14\nFrom=Measured\n"
        "[bad size.mp3]\nSize=ten\nWritten=1.0\nLoudness=-14\nPeak=-1\nFrom=Measured\n"
        "[loud beyond reason.mp3]\nSize=1\nWritten=1.0\nLoudness=900\nPeak=-1\nFrom=Measured\n"
        "[nan.mp3]\nSize=1\nWritten=1.0\nLoudness=nan\nPeak=-1\nFrom=Measured\n"
        "[bad nanoseconds.mp3]\nSize=1\nWritten=1.1000000000\nLoudness=-9\nPeak=-1\n"
        "From=Measured\n"
        "[unknown source.mp3]\nSize=1\nWritten=1.0\nLoudness=-9\nPeak=-1\nFrom=Guess\n"
        "[open section\nSize=1\n"
        "[tagged.mp3]\r\nSize=3\r\nWritten=4.5\r\nLoudness=-20.25\r\nFrom=ReplayGain\r\n"
        "[cut short.mp3]\nSize=1\nWri";
    const LoudnessFileContents c = parseLoudnessFile(text);
    ASSERT_EQ(c.records.size(), 2u);
    EXPECT_EQ(c.records[0].name, "good.mp3");
    EXPECT_EQ(c.records[0].entry.writtenNsec, 2);
    EXPECT_EQ(c.records[1].name, "tagged.mp3");
    EXPECT_DOUBLE_EQ(c.records[1].entry.lufs, -20.25);
    EXPECT_EQ(c.records[1].entry.writtenNsec, 5);
    EXPECT_EQ(c.rejected, 7u);
    const std::string binary("[\0\xff]\n\0=\0\n", 10);
    EXPECT_TRUE(parseLoudnessFile(binary).records.empty());
}

// A measure that answers from a table and records the order it was asked in; a path listed in
// `hold` waits until released or cancelled.
struct ScriptedMeasure {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<std::string> asked;
    std::string hold;
    bool released = false;
    bool cancelled = false;

    LoudnessMeasure fn() {
        return [this](const std::string& path, const std::atomic<bool>& cancel,
                      MeasuredLoudness& out) {
            std::unique_lock lock(mutex);
            asked.push_back(fs::path(path).filename().string());
            changed.notify_all();
            if (fs::path(path).filename() == hold) {
                while (!released) {
                    if (cancel) {
                        cancelled = true;
                        changed.notify_all();
                        return MeasureOutcome::Cancelled;
                    }
                    changed.wait_for(lock, 1ms);
                }
            }
            if (path.find("bad") != std::string::npos) {
                return MeasureOutcome::Unreadable;
            }
            out.lufs = -10.0 - static_cast<double>(asked.size());
            out.peakDbtp = -2.0;
            return MeasureOutcome::Measured;
        };
    }
    bool waitAsked(std::size_t n) {
        std::unique_lock lock(mutex);
        return changed.wait_for(lock, 10s, [&] { return asked.size() >= n; });
    }
};

class LoudnessLibraryTest : public ::testing::Test {
  protected:
    LoudnessLibraryTest()
        : clock(core::dateSerial(2026, 11, 26) + core::timeSerial(10, 0, 0)), loop(clock) {}

    std::string track(const std::string& name, const std::string& bytes = "audio") {
        const fs::path p = dir.path() / "Music" / "Rock" / name;
        writeFile(p, bytes);
        return p.string();
    }
    std::unique_ptr<LoudnessLibrary> make() {
        auto lib = std::make_unique<LoudnessLibrary>(loop, dir.str(), measure.fn());
        lib->load();
        return lib;
    }
    // Runs posted answers until the library has nothing left to do.
    void settle(LoudnessLibrary& lib) {
        for (int i = 0; i < 10000 && lib.busy(); ++i) {
            loop.processPending();
            std::this_thread::sleep_for(1ms);
        }
        ASSERT_FALSE(lib.busy());
    }

    test::TempDir dir;
    core::VirtualClock clock;
    sim::VirtualEventLoop loop;
    ScriptedMeasure measure;
};

TEST_F(LoudnessLibraryTest, AMeasuredFileIsKnownAndKeptForTheNextRun) {
    const std::string a = track("a.mp3");
    {
        auto lib = make();
        EXPECT_FALSE(lib->find(a));
        lib->ask(a, false);
        EXPECT_TRUE(lib->busy());
        settle(*lib);
        ASSERT_TRUE(lib->find(a));
        EXPECT_DOUBLE_EQ(lib->find(a)->lufs, -11.0);
    }
    EXPECT_NE(readFile(dir.path() / "loudness.ini").find("[Music/Rock/a.mp3]"), std::string::npos);
    auto again = make();
    ASSERT_TRUE(again->find(a));
    EXPECT_DOUBLE_EQ(again->find(a)->lufs, -11.0);
    again->ask(a, false);
    EXPECT_FALSE(again->busy()) << "a known file is not measured again";
    EXPECT_EQ(measure.asked.size(), 1u);
}

TEST_F(LoudnessLibraryTest, AFileReplacedSinceItWasMeasuredIsStaleAndMeasuredAgain) {
    const std::string a = track("a.mp3");
    auto lib = make();
    lib->ask(a, false);
    settle(*lib);
    ASSERT_TRUE(lib->find(a));
    track("a.mp3", "other audio, longer");
    EXPECT_FALSE(lib->find(a)) << "another size";
    lib->ask(a, false);
    settle(*lib);
    ASSERT_TRUE(lib->find(a));
    EXPECT_DOUBLE_EQ(lib->find(a)->lufs, -12.0);
    // Same size, another write time: a tag edited elsewhere.
    track("a.mp3", "other audio, LONGER");
    const struct utimbuf times { 1000, 1000 };
    ASSERT_EQ(::utime(a.c_str(), &times), 0);
    EXPECT_FALSE(lib->find(a));
    fs::remove(a);
    EXPECT_FALSE(lib->find(a)) << "a file gone";
}

TEST_F(LoudnessLibraryTest, AFileAboutToPlayIsMeasuredBeforeAllOthers) {
    measure.hold = "first.mp3";
    auto lib = make();
    lib->askAll({track("first.mp3"), track("b.mp3"), track("c.mp3"), track("d.mp3")});
    ASSERT_TRUE(measure.waitAsked(1));
    lib->ask(track("now.mp3"), true);
    lib->ask(dir.str() + "/Music/Rock/c.mp3", true);  // already waiting: moved to the front
    {
        std::lock_guard lock(measure.mutex);
        measure.released = true;
    }
    settle(*lib);
    EXPECT_EQ(measure.asked,
              (std::vector<std::string>{"first.mp3", "c.mp3", "now.mp3", "b.mp3", "d.mp3"}));
    EXPECT_EQ(lib->knownCount(), 5u);
    EXPECT_EQ(lib->progress().total, 0u) << "the count starts again once all are answered";
}

TEST_F(LoudnessLibraryTest, AnUnreadableFileIsNotAskedAgainUntilItChanges) {
    const std::string bad = track("bad.mp3");
    auto lib = make();
    lib->ask(bad, false);
    settle(*lib);
    EXPECT_FALSE(lib->find(bad));
    lib->ask(bad, true);
    EXPECT_FALSE(lib->busy());
    track("bad.mp3", "now it is something else");
    lib->ask(bad, true);
    EXPECT_TRUE(lib->busy());
    settle(*lib);
    EXPECT_EQ(measure.asked.size(), 2u);
    lib->ask(dir.str() + "/Music/Rock/missing.mp3", false);
    settle(*lib);
    EXPECT_EQ(measure.asked.size(), 2u) << "a missing file is not given to the measure";
}

TEST_F(LoudnessLibraryTest, ShutDownLeavesTheFileUnderWayAndKeepsWhatWasMeasured) {
    const std::string a = track("a.mp3");
    const std::string b = track("b.mp3");
    measure.hold = "b.mp3";
    auto lib = make();
    lib->askAll({a, b, track("c.mp3")});
    ASSERT_TRUE(measure.waitAsked(2));
    // a's answer is taken; b is being measured.
    for (int i = 0; i < 1000 && !lib->find(a); ++i) {
        loop.processPending();
        std::this_thread::sleep_for(1ms);
    }
    ASSERT_TRUE(lib->find(a));
    ASSERT_TRUE(lib->save());
    const auto t0 = std::chrono::steady_clock::now();
    lib.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - t0, 2s);
    EXPECT_TRUE(measure.cancelled);
    loop.processPending();  // nothing posted may run against the library now
    EXPECT_EQ(measure.asked.size(), 2u) << "c is never started";
    auto again = make();
    EXPECT_TRUE(again->find(a));
    EXPECT_FALSE(again->find(b));
}

TEST_F(LoudnessLibraryTest, ACorruptLoudnessFileIsReportedAndItsGoodEntriesKept) {
    const std::string a = track("a.mp3");
    {
        auto lib = make();
        lib->ask(a, false);
        settle(*lib);
    }
    std::string text = readFile(dir.path() / "loudness.ini");
    text += "[Music/Rock/b.mp3]\nSize=zzz\n\x01\x02\n[";
    writeFile(dir.path() / "loudness.ini", text);
    LoudnessLibrary lib(loop, dir.str(), measure.fn());
    EXPECT_EQ(lib.load(), 1u);
    EXPECT_TRUE(lib.find(a));
    writeFile(dir.path() / "loudness.ini", std::string(4096, '\xff'));
    LoudnessLibrary garbage(loop, dir.str(), measure.fn());
    EXPECT_EQ(garbage.load(), 0u);
    EXPECT_EQ(garbage.knownCount(), 0u);
}

TEST_F(LoudnessLibraryTest, AFileOutsideTheStationIsKeptUnderItsFullPath) {
    test::TempDir other;
    writeFile(other.path() / "x.mp3", "audio");
    const std::string x = (other.path() / "x.mp3").string();
    {
        auto lib = make();
        lib->ask(x, false);
        settle(*lib);
    }
    EXPECT_NE(readFile(dir.path() / "loudness.ini").find("[" + x + "]"), std::string::npos);
    EXPECT_TRUE(make()->find(x));
}

TEST_F(LoudnessLibraryTest, AFailedWriteOfTheFileIsReportedAndTheOldFileStays) {
    const std::string a = track("a.mp3");
    auto lib = make();
    int failure = 0;
    lib->onSaveFailure = [&](int err) { failure = err; };
    fs::create_directories(dir.path() / "loudness.ini" / "in the way");
    lib->ask(a, false);
    settle(*lib);
    EXPECT_NE(failure, 0);
    EXPECT_TRUE(fs::is_directory(dir.path() / "loudness.ini"));
}

}  // namespace
}  // namespace tw::media
