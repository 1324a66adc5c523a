// The ways the simulator renders offline give the same samples and syncs as the engine's plain
// offline render: with the read-ahead worker (decodeAhead) the same card output, bus and syncs,
// at the same blocks, as decoding inline; without a card output (render's `out` null) the same
// bus and syncs. Over resampled and native streams, a stream played straight to the card,
// starts, seeks, pauses, removals and ends, with the console's calls between the blocks while
// the worker decodes beside them.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "audio/mix_engine.h"
#include "tests/audio/audio_fixtures.h"
#include "tests/testlib/temp_dir.h"

namespace tw::audio::test {
namespace {

namespace fs = std::filesystem;

// The files the run plays: an MP3 at 22050 Hz mono (decoded and resampled), a WAV at the mix's
// own rate and a WAV at 48000 Hz stereo (resampled on both channels).
struct Material {
    tw::test::TempDir dir;
    fs::path mono, native, stereo48;

    Material() {
        writeWav(dir / "mono.wav", sine(22050, 1, 440.0, 0.5, 22050 * 14));
        mono = dir / "mono.mp3";
        encodeMp3(dir / "mono.wav", mono, "--quiet -m m -b 48");
        native = dir / "native.wav";
        writeWav(native, ramp(44100, 2, 44100 * 9));
        stereo48 = dir / "stereo48.wav";
        writeWav(stereo48, sine(48000, 2, 1000.0, 0.25, 48000 * 6));
    }
};

// What a run gave: the card's output, the mixer bus, and each sync with the block it came in.
struct Rendered {
    std::vector<float> out, bus;
    std::vector<std::string> syncs;
};

class Player {
  public:
    // `card`: whether render() is asked for the card output.
    Player(bool ahead, bool card) : card_(card) {
        if (ahead) {
            EXPECT_TRUE(engine_.decodeAhead());
        }
        EXPECT_TRUE(engine_.init(-1, 44100, 0));
        mixer_ = engine_.mixerStreamCreate(44100, 2, 0);
        EXPECT_TRUE(engine_.channelPlay(mixer_, false));
    }
    Handle add(const fs::path& file, const std::string& name, std::uint32_t flags = 0) {
        const Handle h = engine_.streamCreateFile(file.string(), 0, 0, kStreamDecode);
        EXPECT_NE(h, 0u);
        noteEnd(h, name);
        EXPECT_TRUE(engine_.mixerAddChannel(mixer_, h, flags));
        return h;
    }
    // Blocks of the simulator's size (4096 frames) and, between them, an odd one.
    void render(std::size_t blocks) {
        for (std::size_t i = 0; i < blocks; ++i) {
            const std::size_t frames = i % 7 == 3 ? 1000 : 4096;
            const std::size_t at = run_.out.size();
            run_.out.resize(at + frames * 2);
            run_.bus.resize(at + frames * 2);
            ASSERT_TRUE(engine_.render(frames, card_ ? run_.out.data() + at : nullptr,
                                       run_.bus.data() + at));
            ++blocks_;
        }
    }
    // A stream played straight to the card (as the preview plays).
    Handle playDirect(const fs::path& file, const std::string& name) {
        const Handle h = engine_.streamCreateFile(file.string(), 0, 0, 0);
        EXPECT_NE(h, 0u);
        noteEnd(h, name);
        EXPECT_TRUE(engine_.channelPlay(h, true));
        return h;
    }
    MixEngine& engine() { return engine_; }
    Rendered finish() {
        engine_.free();
        return std::move(run_);
    }

  private:
    // Records the stream's end with the block it came in.
    void noteEnd(Handle h, const std::string& name) {
        engine_.channelSetSync(h, kSyncEnd, 0, [this, name](Handle, Handle, std::uint32_t) {
            run_.syncs.push_back(name + " ended in block " + std::to_string(blocks_));
        });
    }

    MixEngine engine_{EngineMode::Offline};
    const bool card_;
    Handle mixer_ = 0;
    Rendered run_;
    std::size_t blocks_ = 0;
};

// The first frame where two renderings differ, or -1 (with the frame count when their lengths
// differ).
long firstDifference(const std::vector<float>& a, const std::vector<float>& b) {
    if (a.size() != b.size()) {
        return static_cast<long>(std::min(a.size(), b.size()) / 2);
    }
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (std::memcmp(&a[i], &b[i], sizeof(float)) != 0) {
            return static_cast<long>(i / 2);
        }
    }
    return -1;
}

Rendered play(const Material& m, bool ahead, bool card = true) {
    Player p(ahead, card);
    MixEngine& e = p.engine();
    const Handle mono = p.add(m.mono, "mono");
    p.render(40);
    // The worker gets time to run far ahead here, and none elsewhere.
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    const Handle native = p.add(m.native, "native");
    p.render(25);
    EXPECT_TRUE(
        e.channelSetPosition(mono, static_cast<std::uint64_t>(e.channelSeconds2Bytes(mono, 9.5))));
    p.render(10);
    EXPECT_TRUE(e.channelSetPosition(native, 0));
    p.render(3);
    e.mixerChannelFlags(native, kMixerPause, kMixerPause);
    const Handle stereo48 = p.add(m.stereo48, "stereo48");
    p.render(30);
    e.mixerChannelFlags(native, 0, kMixerPause);
    EXPECT_TRUE(e.mixerChannelRemove(stereo48));
    p.render(20);
    e.streamFree(stereo48);
    p.playDirect(m.stereo48, "direct");
    // Every stream to its end.
    p.render(120);
    return p.finish();
}

TEST(DecodeAheadTest, RendersTheSameSamplesAndSyncsAsDecodingInline) {
    const Material m;
    const Rendered decodedInline = play(m, false);
    const Rendered ahead = play(m, true);
    EXPECT_EQ(firstDifference(ahead.out, decodedInline.out), -1);
    EXPECT_EQ(firstDifference(ahead.bus, decodedInline.bus), -1);
    {
        long d = firstDifference(ahead.bus, decodedInline.bus);
        for (long k = d - 2; d >= 0 && k < d + 6; ++k)
            printf("DBG %ld %.9g %.9g\n", k, ahead.bus[2 * k], decodedInline.bus[2 * k]);
    }
    EXPECT_EQ(ahead.syncs, decodedInline.syncs);
    // All but the removed stream ended, and there was sound.
    EXPECT_EQ(decodedInline.syncs.size(), 3u);
    EXPECT_GT(rms(decodedInline.bus, 0, 0, decodedInline.bus.size() / 2), 0.05);
}

TEST(OfflineRenderTest, WithoutTheCardOutputTheBusAndTheSyncsAreTheSame) {
    const Material m;
    const Rendered withCard = play(m, false);
    const Rendered without = play(m, false, false);
    const Rendered aheadWithout = play(m, true, false);
    for (const Rendered* r : {&without, &aheadWithout}) {
        EXPECT_EQ(firstDifference(r->bus, withCard.bus), -1);
        EXPECT_EQ(r->syncs, withCard.syncs);
    }
    EXPECT_EQ(withCard.syncs.size(), 3u);
}

// How many of this process's threads are read-ahead workers.
long workers() {
    long n = 0;
    for (const auto& task : fs::directory_iterator("/proc/self/task")) {
        std::ifstream in(task.path() / "comm");
        std::string name;
        std::getline(in, name);
        n += name == "tw-readahead";
    }
    return n;
}

// The count once it is `expected`, or after 5 s (a new thread names itself when it runs).
long workersOnceThere(long expected) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (workers() != expected && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return workers();
}

TEST(DecodeAheadTest, OnlyAnOfflineEngineNotYetStartedTakesTheWorker) {
    ASSERT_EQ(workers(), 0);
    {
        MixEngine offline(EngineMode::Offline);
        ASSERT_TRUE(offline.decodeAhead());
        EXPECT_EQ(workers(), 0);
        ASSERT_TRUE(offline.init(-1, 44100, 0));
        EXPECT_EQ(workersOnceThere(1), 1);
        EXPECT_FALSE(offline.decodeAhead());
        EXPECT_EQ(offline.errorGetCode(), kErrorAlready);
        ASSERT_TRUE(offline.free());
        EXPECT_EQ(workers(), 0);
    }
    {
        // Without it an offline engine has no thread of its own.
        MixEngine offline(EngineMode::Offline);
        ASSERT_TRUE(offline.init(-1, 44100, 0));
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        EXPECT_EQ(workers(), 0);
    }
    MixEngine device(EngineMode::SilentDevice);
    EXPECT_FALSE(device.decodeAhead());
    EXPECT_EQ(device.errorGetCode(), kErrorNotAvailable);
}

}  // namespace
}  // namespace tw::audio::test
