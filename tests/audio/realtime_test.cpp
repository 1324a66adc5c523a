// The audio callback never allocates: every allocation made on the calling thread while the
// callback runs is counted. A program of its own, because it replaces operator new.

#include <cstdlib>
#include <new>

#include "tests/audio/audio_fixtures.h"

namespace {

thread_local bool watching = false;
thread_local int allocations = 0;

}  // namespace

void* operator new(std::size_t n) {
    if (watching) {
        ++allocations;
    }
    if (void* p = std::malloc(n ? n : 1)) {
        return p;
    }
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}

namespace tw::audio::test {
namespace {

TEST(AudioRealtimeTest, AllocationWatchSeesAnAllocation) {
    allocations = 0;
    watching = true;
    // Called directly, so that the compiler may not leave the allocation out.
    void* p = ::operator new(64);
    watching = false;
    ::operator delete(p);
    EXPECT_EQ(allocations, 1);
}

TEST_F(OfflineEngineTest, AudioRealtimeCallbackNeverAllocates) {
    const Handle a = wavStream(sine(44100, 2, 440.0, 0.3, 44100 * 2), "a.wav");
    const Handle b = wavStream(sine(48000, 1, 440.0, 0.3, 48000 * 2), "b.wav");
    const Handle c = wavStream(constant(44100, 100, 100, 4410), "short.wav");
    const Handle d = wavStream(constant(44100, 100, 100, 44100), "preview.wav", kStreamAutoFree);
    int ends = 0;
    engine.channelSetSync(c, kSyncEnd, 0, [&](Handle, Handle, std::uint32_t) { ++ends; });
    ASSERT_TRUE(engine.mixerAddChannel(mixer, a, 0));
    ASSERT_TRUE(engine.mixerAddChannel(mixer, b, 0));
    ASSERT_TRUE(engine.mixerAddChannel(mixer, c, kStreamAutoFree));
    ASSERT_TRUE(engine.channelPlay(d, false));
    ASSERT_TRUE(engine.channelSlideAttribute(a, kAttribVol, 0.0f, 500));
    ASSERT_TRUE(engine.channelSlideAttribute(mixer, kAttribVol, 0.5f, 300));
    // Every effect, on a stream and on the mixer; one gets new parameters and a reset midway.
    const Handle eq = engine.channelSetFX(a, kFxParamEq, 0);
    ASSERT_NE(eq, 0u);
    ASSERT_NE(engine.channelSetFX(a, kFxChorus, 1), 0u);
    ASSERT_NE(engine.channelSetFX(b, kFxFlanger, 0), 0u);
    const Handle comp = engine.channelSetFX(mixer, kFxCompressor, 2);
    ASSERT_NE(comp, 0u);
    ASSERT_NE(engine.channelSetFX(mixer, kFxDynamicAmp, 1), 0u);
    std::vector<float> out(441 * 2);
    int total = 0;
    for (int block = 0; block < 100; ++block) {
        if (block == 30) {
            engine.mixerChannelFlags(b, kMixerPause, kMixerPause);
        }
        if (block == 45) {
            engine.fxSetParameters(eq, ParamEq{2000, 6, -6});
            engine.fxSetParameters(comp, Compressor{3, 5, 100, -18, 3, 5});
            engine.fxReset(comp);
        }
        if (block == 60) {
            engine.mixerChannelFlags(b, 0, kMixerPause);
            engine.channelSetPosition(a, 1000 * 4);
        }
        engine.prefill(441 * 4);
        allocations = 0;
        watching = true;
        engine.mixBlock(out.data(), 441);
        watching = false;
        total += allocations;
        engine.finishBlock();
    }
    EXPECT_EQ(total, 0);
    EXPECT_EQ(ends, 1);  // the blocks did include a stream's end and its report
}

}  // namespace
}  // namespace tw::audio::test
