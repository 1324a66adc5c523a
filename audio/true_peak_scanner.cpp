#include "audio/true_peak_scanner.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tw::audio {

namespace {

constexpr int kTaps = TruePeakScanner::kTaps;
constexpr std::size_t kStretch = TruePeakScanner::kStretch;
// Frames scanned in one go: a line of this many floats stays in the first-level cache.
constexpr std::size_t kPiece = 4096;
// The window's shape: 5 keeps the images of a tone near the top of the band below 0.05 dB of
// error without blurring the band's edge.
constexpr double kKaiserBeta = 5.0;

// Zeroth-order modified Bessel function of the first kind, by its power series.
double besselI0(double x) {
    double sum = 1, term = 1;
    for (int k = 1; k < 40; ++k) {
        term *= (x / 2) / k;
        sum += term * term;
    }
    return sum;
}

// Tap k of the interpolator for the point `fraction` of the way from sample kTaps/2 - 1 to the
// next one: a sinc at the input's band edge under a Kaiser window, normalised so that a constant
// passes unchanged.
std::array<float, kTaps> designPhase(double fraction) {
    std::array<double, kTaps> taps{};
    double sum = 0;
    for (int k = 0; k < kTaps; ++k) {
        const double d = k - (kTaps / 2 - 1) - fraction;
        const double sinc = d == 0 ? 1.0 : std::sin(std::numbers::pi * d) / (std::numbers::pi * d);
        const double r = d / (kTaps / 2.0);
        const double window =
            std::abs(r) >= 1 ? 0.0
                             : besselI0(kKaiserBeta * std::sqrt(1 - r * r)) / besselI0(kKaiserBeta);
        taps[static_cast<std::size_t>(k)] = sinc * window;
        sum += sinc * window;
    }
    std::array<float, kTaps> out{};
    for (std::size_t k = 0; k < out.size(); ++k) {
        out[k] = static_cast<float>(taps[k] / sum);
    }
    return out;
}

// Works out the in-between points of one line and returns the highest of them and `peak`.
// Output i interpolates line[i + kTaps/2 - 1] and line[i + kTaps/2]; it reads line[i] up to
// line[i + kTaps - 1]. The number of phases is fixed at compile time so that the loops below
// unroll into registers and vector instructions.
template <int kPhases>
float scanLine(const float* line, const float* stretchMax, std::size_t count,
               const std::array<float, kTaps>* phases, float gain, float peak) {
    float lanes[kStretch] = {};
    const float limit = peak / gain;
    const std::size_t stretches = (count + kStretch - 1) / kStretch;
    for (std::size_t j = 0; j < stretches; ++j) {
        // Inputs of this stretch: its own kStretch samples and kTaps - 1 of the next.
        if (std::max(stretchMax[j], stretchMax[j + 1]) <= limit) {
            continue;
        }
        const float* x = line + j * kStretch;
        float acc[kPhases][kStretch] = {};
        for (int k = 0; k < kTaps; ++k) {
            for (int p = 0; p < kPhases; ++p) {
                const float tap = phases[p][static_cast<std::size_t>(k)];
                for (std::size_t i = 0; i < kStretch; ++i) {
                    acc[p][i] += tap * x[static_cast<std::size_t>(k) + i];
                }
            }
        }
        // The last stretch of a piece may be short: its points past the piece are not real.
        const std::size_t valid = std::min(kStretch, count - j * kStretch);
        if (valid == kStretch) {
            for (int p = 0; p < kPhases; ++p) {
                for (std::size_t i = 0; i < kStretch; ++i) {
                    const float a = std::abs(acc[p][i]);
                    lanes[i] = a > lanes[i] ? a : lanes[i];
                }
            }
        } else {
            for (int p = 0; p < kPhases; ++p) {
                for (std::size_t i = 0; i < valid; ++i) {
                    lanes[i] = std::max(lanes[i], std::abs(acc[p][i]));
                }
            }
        }
    }
    for (float lane : lanes) {
        peak = std::max(peak, lane);
    }
    return peak;
}

}  // namespace

TruePeakScanner::TruePeakScanner(int channels, int rate)
    : channels_(std::max(channels, 1)),
      factor_(rate < 96000    ? 4
              : rate < 192000 ? 2
                              : 1) {
    for (int p = 1; p < factor_; ++p) {
        phases_.push_back(designPhase(static_cast<double>(p) / factor_));
        float sum = 0;
        for (float tap : phases_.back()) {
            sum += std::abs(tap);
        }
        gain_ = std::max(gain_, sum);
    }
    lines_.assign(static_cast<std::size_t>(channels_),
                  std::vector<float>(kTaps - 1 + kPiece + kStretch, 0.0f));
    stretchMax_.assign((kTaps - 1 + kPiece) / kStretch + 2, 0.0f);
}

void TruePeakScanner::add(const std::int16_t* frames, std::size_t count) {
    while (count > 0) {
        const std::size_t n = std::min(count, kPiece);
        addPiece(frames, n);
        frames += n * static_cast<std::size_t>(channels_);
        count -= n;
    }
}

void TruePeakScanner::addPiece(const std::int16_t* frames, std::size_t count) {
    constexpr float kScale = 1.0f / 32768.0f;
    const auto channels = static_cast<std::size_t>(channels_);
    for (std::size_t c = 0; c < channels; ++c) {
        std::vector<float>& line = lines_[c];
        float* in = line.data() + (kTaps - 1);
        float loudest = 0;
        for (std::size_t i = 0; i < count; ++i) {
            in[i] = static_cast<float>(frames[i * channels + c]) * kScale;
            loudest = std::max(loudest, std::abs(in[i]));
        }
        // The points on the samples themselves.
        peak_ = std::max(peak_, loudest);
        if (!phases_.empty()) {
            scanChannel(line, count);
        }
        // The last kTaps - 1 samples are the next piece's history.
        std::copy(line.begin() + static_cast<std::ptrdiff_t>(count),
                  line.begin() + static_cast<std::ptrdiff_t>(count + kTaps - 1), line.begin());
    }
}

void TruePeakScanner::scanChannel(std::vector<float>& line, std::size_t count) {
    const std::size_t length = count + kTaps - 1;
    const std::size_t stretches = (length + kStretch - 1) / kStretch;
    for (std::size_t j = 0; j < stretches; ++j) {
        const std::size_t end = std::min(length, (j + 1) * kStretch);
        float m = 0;
        for (std::size_t i = j * kStretch; i < end; ++i) {
            m = std::max(m, std::abs(line[i]));
        }
        stretchMax_[j] = m;
    }
    stretchMax_[stretches] = 0;
    if (phases_.size() == 3) {
        peak_ = scanLine<3>(line.data(), stretchMax_.data(), count, phases_.data(), gain_, peak_);
    } else {
        peak_ = scanLine<1>(line.data(), stretchMax_.data(), count, phases_.data(), gain_, peak_);
    }
}

}  // namespace tw::audio
