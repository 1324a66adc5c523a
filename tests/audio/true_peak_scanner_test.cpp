// The true-peak scanner against libebur128's own true-peak meter, which reads the same quantity
// by working out every point: the two must agree within 0.2 dB on tones across the band and on
// music-like material, and the scanner must find peaks that fall between samples.

#include <ebur128.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "audio/true_peak_scanner.h"
#include "tests/audio/loudness_material.h"

namespace tw::audio::test {
namespace {

double db(double ratio) {
    return 20.0 * std::log10(ratio);
}

double libraryTruePeakDb(const Pcm& pcm) {
    ebur128_state* st = ebur128_init(static_cast<unsigned>(pcm.channels),
                                     static_cast<unsigned long>(pcm.rate), EBUR128_MODE_TRUE_PEAK);
    EXPECT_NE(st, nullptr);
    if (!st) {
        return 0;
    }
    EXPECT_EQ(ebur128_add_frames_short(st, pcm.samples.data(), pcm.frames()), EBUR128_SUCCESS);
    double highest = 0;
    for (int c = 0; c < pcm.channels; ++c) {
        double p = 0;
        EXPECT_EQ(ebur128_true_peak(st, static_cast<unsigned>(c), &p), EBUR128_SUCCESS);
        highest = std::max(highest, p);
    }
    ebur128_destroy(&st);
    return db(highest);
}

double scannerPeakDb(const Pcm& pcm) {
    TruePeakScanner scanner(pcm.channels, pcm.rate);
    scanner.add(pcm.samples.data(), pcm.frames());
    return db(scanner.peak());
}

class TruePeakScannerToneTest : public ::testing::TestWithParam<int> {};

TEST_P(TruePeakScannerToneTest, AgreesWithTheLibraryOnTonesAcrossTheBand) {
    const int rate = GetParam();
    const double top = std::min(20000.0, rate * 0.45);
    for (double hz = 100; hz <= top; hz += hz < rate * 0.3 ? 700 : 90) {
        for (double phase : {0.3, 1.2}) {
            const Pcm tone = fadedSine(rate, 1, hz, -6, 0.1, phase);
            const double ours = scannerPeakDb(tone);
            EXPECT_NEAR(ours, libraryTruePeakDb(tone), 0.2) << hz << " Hz, phase " << phase;
            // A tone's true peak is its amplitude: the scanner never reads it much higher.
            EXPECT_LT(ours, -6 + 0.1) << hz << " Hz, phase " << phase;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Rates, TruePeakScannerToneTest,
                         ::testing::Values(8000, 22050, 44100, 48000, 96000));

TEST(TruePeakScannerTest, AgreesWithTheLibraryOnNoiseUnderChords) {
    for (int rate : {44100, 48000, 96000}) {
        for (int channels : {1, 2}) {
            for (bool squashed : {false, true}) {
                NoiseUnderChords spec;
                spec.rate = rate;
                spec.channels = channels;
                spec.seconds = 3;
                spec.peakDbfs = -1;
                spec.squashed = squashed;
                spec.seed = static_cast<std::uint32_t>(rate + channels);
                const Pcm music = noiseUnderChords(spec);
                EXPECT_NEAR(scannerPeakDb(music), libraryTruePeakDb(music), 0.2)
                    << rate << " Hz, " << channels << " channels, squashed " << squashed;
            }
        }
    }
}

TEST(TruePeakScannerTest, FindsThePeakBetweenTheSamplesOfAQuarterRateTone) {
    // At a quarter of the rate and 45 degrees, every sample lands at 0.707 of the amplitude: the
    // samples alone read 3 dB low. A louder lone sample comes first, so the in-between points are
    // worked out while a higher sample peak is already known.
    const int rate = 48000;
    Pcm signal = fadedSine(rate, 2, rate / 4.0, -1, 1, std::numbers::pi / 4);
    const double amplitude = std::pow(10.0, -1 / 20.0);
    std::int16_t loudestSample = 0;
    for (std::int16_t s : signal.samples) {
        loudestSample = std::max(loudestSample, s);
    }
    EXPECT_NEAR(db(loudestSample / 32767.0), db(amplitude) - 3.01, 0.05);
    // A lone sample between the samples peak and the true peak, at the start.
    std::vector<std::int16_t> lead(static_cast<std::size_t>(rate / 10) * 2, 0);
    lead[100] = static_cast<std::int16_t>(32767 * amplitude * 0.8);
    signal.samples.insert(signal.samples.begin(), lead.begin(), lead.end());
    EXPECT_NEAR(scannerPeakDb(signal), -1, 0.1);
}

TEST(TruePeakScannerTest, AnyPieceSizesGiveTheSameAnswer) {
    NoiseUnderChords spec;
    spec.seconds = 2;
    spec.peakDbfs = -3;
    const Pcm music = noiseUnderChords(spec);
    TruePeakScanner whole(2, spec.rate);
    whole.add(music.samples.data(), music.frames());
    TruePeakScanner pieces(2, spec.rate);
    const std::size_t sizes[] = {1, 7, 15, 16, 17, 1000, 4095, 4096, 4097, 9000};
    std::size_t at = 0;
    for (std::size_t k = 0; at < music.frames(); ++k) {
        const std::size_t n = std::min(sizes[k % std::size(sizes)], music.frames() - at);
        pieces.add(music.samples.data() + at * 2, n);
        at += n;
    }
    EXPECT_GT(whole.peak(), std::pow(10.0, -3 / 20.0));
    EXPECT_EQ(pieces.peak(), whole.peak());
}

TEST(TruePeakScannerTest, OversamplesFourTimesBelow96kHzTwiceBelow192kHzThenNotAtAll) {
    EXPECT_EQ(TruePeakScanner(2, 8000).factor(), 4);
    EXPECT_EQ(TruePeakScanner(2, 48000).factor(), 4);
    EXPECT_EQ(TruePeakScanner(2, 96000).factor(), 2);
    EXPECT_EQ(TruePeakScanner(2, 176400).factor(), 2);
    EXPECT_EQ(TruePeakScanner(2, 192000).factor(), 1);
    // With no in-between points, the peak is the highest sample.
    const Pcm tone = fadedSine(192000, 1, 48000, -1, 0.1, std::numbers::pi / 4);
    std::int16_t loudest = 0;
    for (std::int16_t s : tone.samples) {
        loudest = std::max(loudest, s);
    }
    EXPECT_DOUBLE_EQ(scannerPeakDb(tone), db(loudest / 32768.0));
}

TEST(TruePeakScannerTest, SilenceHasNoPeak) {
    const std::vector<std::int16_t> silence(4096 * 2, 0);
    TruePeakScanner scanner(2, 44100);
    scanner.add(silence.data(), 4096);
    EXPECT_EQ(scanner.peak(), 0.0);
}

}  // namespace
}  // namespace tw::audio::test
