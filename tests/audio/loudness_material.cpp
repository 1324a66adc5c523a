#include "tests/audio/loudness_material.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <numbers>
#include <vector>

namespace tw::audio::test {

namespace {

constexpr double kTwoPi = 2 * std::numbers::pi;

// Rises over the first and falls over the last `fade` frames, a raised cosine.
double fadeGain(std::size_t i, std::size_t frames, std::size_t fade) {
    const std::size_t fromEnd = frames - 1 - i;
    const std::size_t edge = std::min(i, fromEnd);
    if (edge >= fade) {
        return 1.0;
    }
    return 0.5 -
           0.5 * std::cos(std::numbers::pi * static_cast<double>(edge) / static_cast<double>(fade));
}

// A small linear congruential generator: the same numbers on every machine and every run.
class Random {
  public:
    explicit Random(std::uint32_t seed) : state_(seed * 2654435761u + 1) {}
    // Uniform in [-1, 1).
    double next() {
        state_ = state_ * 1664525u + 1013904223u;
        return static_cast<double>(state_ >> 8) / 8388608.0 - 1.0;
    }

  private:
    std::uint32_t state_;
};

// Pink noise by summing rows of held random values, row r changing every 2^r samples: each
// octave carries about the same power.
class PinkNoise {
  public:
    explicit PinkNoise(std::uint32_t seed) : random_(seed) {
        for (double& r : rows_) {
            r = random_.next();
        }
    }
    double next() {
        ++counter_;
        const int row = std::countr_zero(counter_) % static_cast<int>(rows_.size());
        sum_ += -rows_[static_cast<std::size_t>(row)];
        rows_[static_cast<std::size_t>(row)] = random_.next();
        sum_ += rows_[static_cast<std::size_t>(row)];
        return (sum_ + random_.next()) / static_cast<double>(rows_.size() + 1);
    }

  private:
    Random random_;
    std::array<double, 16> rows_{};
    std::uint32_t counter_ = 0;
    double sum_ = 0;
};

double midiHz(int note) {
    return 440.0 * std::pow(2.0, (note - 69) / 12.0);
}

Pcm toPcm(int rate, int channels, const std::vector<double>& signal, double peakDbfs) {
    double loudest = 0;
    for (double v : signal) {
        loudest = std::max(loudest, std::abs(v));
    }
    const double gain = loudest > 0 ? std::pow(10.0, peakDbfs / 20.0) * 32767.0 / loudest : 0;
    Pcm p{rate, channels, {}};
    p.samples.resize(signal.size());
    for (std::size_t i = 0; i < signal.size(); ++i) {
        p.samples[i] = static_cast<std::int16_t>(std::lround(signal[i] * gain));
    }
    return p;
}

}  // namespace

Pcm fadedSine(int rate, int channels, double hz, double peakDbfs, double seconds, double phase) {
    const auto frames = static_cast<std::size_t>(seconds * rate);
    const auto fade = static_cast<std::size_t>(rate / 100);
    const auto ch = static_cast<std::size_t>(channels);
    const double amplitude = std::pow(10.0, peakDbfs / 20.0) * 32767.0;
    Pcm p{rate, channels, {}};
    p.samples.resize(frames * ch);
    for (std::size_t i = 0; i < frames; ++i) {
        const double v = amplitude * fadeGain(i, frames, fade) *
                         std::sin(kTwoPi * hz * static_cast<double>(i) / rate + phase);
        for (std::size_t c = 0; c < ch; ++c) {
            p.samples[i * ch + c] = static_cast<std::int16_t>(std::lround(v));
        }
    }
    return p;
}

void PrintTo(const NoiseUnderChords& spec, std::ostream* out) {
    *out << spec.channels << " ch " << spec.rate << " Hz " << spec.seconds << " s peak "
         << spec.peakDbfs << " dBFS" << (spec.squashed ? " squashed" : "");
}

Pcm noiseUnderChords(const NoiseUnderChords& spec) {
    // C, A minor, F, G, each with its root an octave down.
    static constexpr std::array<std::array<int, 4>, 4> kChords{{
        {48, 60, 64, 67},
        {45, 57, 60, 64},
        {41, 53, 57, 60},
        {43, 55, 59, 62},
    }};
    const auto frames = static_cast<std::size_t>(spec.seconds * spec.rate);
    const auto ch = static_cast<std::size_t>(spec.channels);
    const auto chordFrames = static_cast<std::size_t>(2 * spec.rate);
    const auto fade = static_cast<std::size_t>(spec.rate / 100);
    std::vector<PinkNoise> noise;
    for (std::size_t c = 0; c < ch; ++c) {
        noise.emplace_back(spec.seed * 7919u + static_cast<std::uint32_t>(c));
    }
    std::vector<double> signal(frames * ch);
    for (std::size_t i = 0; i < frames; ++i) {
        const auto& chord = kChords[(i / chordFrames) % kChords.size()];
        const double t = static_cast<double>(i) / spec.rate;
        const double sinceChange = static_cast<double>(i % chordFrames) / spec.rate;
        // A struck chord: quick rise, slow fall to a steady level.
        const double envelope =
            std::min(1.0, sinceChange / 0.02) * (0.4 + 0.6 * std::exp(-sinceChange * 1.5));
        const double edge = fadeGain(i, frames, fade);
        for (std::size_t c = 0; c < ch; ++c) {
            double v = 0;
            for (std::size_t n = 0; n < chord.size(); ++n) {
                // Each note leans to one side a little, so that the channels differ.
                const double pan = ch == 1 ? 1.0 : (c + n) % 2 == 0 ? 1.0 : 0.7;
                v += pan * std::sin(kTwoPi * midiHz(chord[n]) * t);
            }
            v = 0.25 * envelope * v + 0.5 * noise[c].next();
            if (spec.squashed) {
                v = std::tanh(4.0 * v);
            }
            signal[i * ch + c] = edge * v;
        }
    }
    return toPcm(spec.rate, spec.channels, signal, spec.peakDbfs);
}

}  // namespace tw::audio::test
