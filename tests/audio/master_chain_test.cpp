// The master chain's effects against the per-sample forms they replace, on speech, music, a sweep,
// silence and loud passages cut by silence: the engine's output stays within -70 dB of the
// reference's. The measure is the largest difference of any sample against full scale (it holds
// for silence too, where there is no signal to compare an error's energy with); for the signals
// that have energy, the error's energy against the signal's is held to the same bound.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "audio/db_math.h"
#include "tests/audio/master_chain_reference.h"

namespace tw::audio::test {
namespace {

constexpr double kBoundDb = -70.0;

struct Material {
    std::string name;
    std::function<std::vector<float>()> make;
};

void PrintTo(const Material& m, std::ostream* os) {
    *os << m.name;
}

class MasterChainTest : public ::testing::TestWithParam<Material> {};

TEST_P(MasterChainTest, StaysWithin70DbOfThePerSampleForms) {
    const std::vector<float> in = GetParam().make();
    EngineMasterChain engine;
    ReferenceMasterChain reference;
    const Difference d = differenceOf(runChain(engine, in), runChain(reference, in));
    std::printf("%-16s peak error %8.1f dBFS, error energy %8.1f dB\n", GetParam().name.c_str(),
                d.peakDbfs, d.energyDb);
    EXPECT_LE(d.peakDbfs, kBoundDb);
    EXPECT_LE(d.energyDb, kBoundDb);
}

INSTANTIATE_TEST_SUITE_P(
    Signals, MasterChainTest,
    ::testing::Values(Material{"Speech", [] { return signals::speech(20); }},
                      Material{"Music", [] { return signals::music(30); }},
                      Material{"Sweep", [] { return signals::sweep(20); }},
                      Material{"Silence", [] { return signals::silence(10); }},
                      Material{"LoudAndSilence", [] { return signals::loudAndSilence(30); }}),
    [](const ::testing::TestParamInfo<Material>& info) { return info.param.name; });

// The bound means something: a compressor threshold a tenth of a dB away is well outside it.
TEST(MasterChainMeasureTest, ATenthOfADbOnTheThresholdIsOutsideTheBound) {
    const std::vector<float> in = signals::music(10);
    Compressor moved = kMasterCompressor;
    moved.threshold -= 0.1f;
    EngineMasterChain engine(moved);
    ReferenceMasterChain reference;
    const Difference d = differenceOf(runChain(engine, in), runChain(reference, in));
    EXPECT_GT(d.peakDbfs, kBoundDb);
    EXPECT_GT(d.energyDb, kBoundDb);
}

// The same with a slower compressor that looks 4 ms ahead, as a voice chain sets one.
TEST(MasterChainLookAheadTest, StaysWithin70DbOfThePerSampleFormsWithALookAhead) {
    const Compressor ahead{4.0f, 10.0f, 200.0f, -18.0f, 3.0f, 4.0f};
    for (const auto& in : {signals::speech(10), signals::loudAndSilence(10)}) {
        EngineMasterChain engine(ahead);
        ReferenceMasterChain reference(ahead);
        const Difference d = differenceOf(runChain(engine, in), runChain(reference, in));
        EXPECT_LE(d.peakDbfs, kBoundDb);
        EXPECT_LE(d.energyDb, kBoundDb);
    }
}

// The EQ works in double. Held against the exact filter of its coefficients (the frame-by-frame
// form in double), over the whole range of its settings, in blocks of every size the mixer hands
// over, its output is that filter's rounded to float: under -110 dB of full scale. The float
// filter it replaced is printed beside it: a narrow band at a low centre makes it ring with its
// own rounding (-69 dB at the master chain's 80 Hz on the sweep).
TEST(EqPrecisionTest, IsTheExactFilterRoundedToFloatForEverySetting) {
    const std::vector<float> music = signals::music(1.5);
    const std::vector<float> sweep = signals::sweep(1.5);
    double ourWorst = -HUGE_VAL, floatWorst = -HUGE_VAL;
    for (const float centre : {20.0f, 80.0f, 1000.0f, 8000.0f, 20000.0f}) {
        for (const float bandwidth : {1.0f, 2.0f, 12.0f, 36.0f}) {
            for (const float gain : {-15.0f, 1.0f, 12.0f}) {
                const ParamEq p{centre, bandwidth, gain};
                for (const auto* in : {&music, &sweep}) {
                    EngineEq engine(p);
                    ReferenceEq<float> inFloat(p);
                    ReferenceEq<double> exact(p);
                    const std::vector<float> truth = runChain(exact, *in);
                    const double ours = differenceOf(runChain(engine, *in), truth).peakDbfs;
                    ourWorst = std::max(ourWorst, ours);
                    floatWorst =
                        std::max(floatWorst, differenceOf(runChain(inFloat, *in), truth).peakDbfs);
                    ASSERT_LE(ours, -110.0)
                        << centre << " Hz, " << bandwidth << "/12 octave, " << gain << " dB";
                }
            }
        }
    }
    std::printf("largest error against the exact filter: %.1f dBFS (a float filter: %.1f dBFS)\n",
                ourWorst, floatWorst);
}

// A filter that is not the same one is far outside that bound: the centre a hertz away.
TEST(EqPrecisionTest, AHertzOffTheCentreIsOutsideTheBound) {
    const std::vector<float> in = signals::sweep(1.5);
    EngineEq engine(ParamEq{1001.0f, 2.0f, 12.0f});
    ReferenceEq<double> exact(ParamEq{1000.0f, 2.0f, 12.0f});
    EXPECT_GT(differenceOf(runChain(engine, in), runChain(exact, in)).peakDbfs, -60.0);
}

bool subnormal(float v) {
    return std::fpclassify(v) == FP_SUBNORMAL;
}

// Left alone, a float EQ rings down into subnormal numbers after the sound stops and stays there
// for as long as the silence lasts (the frame-by-frame float filter does, below); the chain gives
// true zeros instead, so that silence costs no more than sound.
TEST(MasterChainSilenceTest, AfterTheSoundStopsTheChainGivesZerosNotSubnormals) {
    std::vector<float> in = signals::music(2);
    in.resize(in.size() + signals::framesOf(20) * 2, 0.0f);
    EngineMasterChain engine;
    ReferenceEq<float> floatEq(kMasterEq);
    const std::vector<float> out = runChain(engine, in);
    const std::vector<float> ref = runChain(floatEq, in);
    const std::size_t tail = out.size() - signals::framesOf(10) * 2;
    EXPECT_TRUE(std::any_of(ref.begin() + static_cast<std::ptrdiff_t>(tail), ref.end(), subnormal));
    for (std::size_t i = tail; i < out.size(); ++i) {
        ASSERT_EQ(out[i], 0.0f) << "sample " << i;
    }
}

TEST(DbMathTest, Log2IsWithinAFewPartsIn10MillionOfTheLibrarys) {
    for (float x = 1e-9f; x < 4.0f; x *= 1.0001f) {
        const double exact = std::log2(static_cast<double>(x));
        ASSERT_NEAR(log2Fast(x), exact, 3e-7 * std::max(1.0, std::fabs(exact))) << x;
    }
}

TEST(DbMathTest, Exp2IsWithinAFewPartsIn10MillionOfTheLibrarys) {
    for (float y = -40.0f; y < 10.0f; y += 0.000731f) {
        const double exact = std::exp2(static_cast<double>(y));
        ASSERT_NEAR(exp2Fast(y) / exact, 1.0, 4e-7) << y;
    }
    EXPECT_EQ(exp2Fast(-1000.0f), std::exp2(-126.0f));
    EXPECT_EQ(exp2Fast(std::nanf("")), std::exp2(-126.0f));
}

TEST(DbMathTest, Exp2OfABlockIsWithinAFewPartsIn10MillionOfTheLibrarys) {
    std::vector<float> ys;
    for (float y = -40.0f; y < 10.0f; y += 0.000731f) {
        ys.push_back(y);
    }
    std::vector<float> out = ys;
    exp2Block(out.data(), out.size());
    for (std::size_t i = 0; i < ys.size(); ++i) {
        ASSERT_NEAR(out[i] / std::exp2(static_cast<double>(ys[i])), 1.0, 4e-7) << ys[i];
    }
    // The edges, in the four-wide part and in the tail.
    for (std::size_t n : {4, 3}) {
        float edges[4] = {-1000.0f, std::nanf(""), 500.0f, 0.0f};
        exp2Block(edges, n);
        EXPECT_EQ(edges[0], std::exp2(-126.0f)) << n;
        EXPECT_EQ(edges[1], std::exp2(-126.0f)) << n;
        EXPECT_EQ(edges[2], std::exp2(127.0f)) << n;
    }
}

// Four at a time the logarithm takes log2Fast's own steps: the same values, in the four-wide part
// and in the tail, on both sides of the mantissa's halving.
TEST(DbMathTest, Log2OfABlockGivesLog2FastsValues) {
    std::vector<float> xs;
    for (float x = 1e-9f; x < 4.0f; x *= 1.0001f) {
        xs.push_back(x);
    }
    xs.push_back(1.41421356f);
    xs.push_back(std::nextafter(1.41421356f, 2.0f));
    std::vector<float> out = xs;
    log2Block(out.data(), out.size());
    for (std::size_t i = 0; i < xs.size(); ++i) {
        ASSERT_EQ(out[i], log2Fast(xs[i])) << xs[i];
        ASSERT_NEAR(out[i], std::log2(static_cast<double>(xs[i])),
                    3e-7 * std::max(1.0, std::fabs(std::log2(static_cast<double>(xs[i])))))
            << xs[i];
    }
}

}  // namespace
}  // namespace tw::audio::test
