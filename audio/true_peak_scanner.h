#pragma once
// The highest level a signal reaches between its samples as well as on them: what a converter
// or an encoder downstream will have to carry. Each channel is oversampled (four times below
// 96 kHz, twice below 192 kHz, not at all above) by a windowed-sinc interpolator, and the highest
// absolute value of all channels and all in-between points is kept.
//
// Most of a signal cannot raise the peak found so far: a stretch of 16 in-between points is only
// worked out when its input, times the interpolator's largest gain, could exceed it. The answer
// is the same as with every point worked out; only the time differs.
//
// Thread contract: none of its own. One thread at a time uses a scanner; it holds no locks and
// starts no threads.

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace tw::audio {

class TruePeakScanner {
  public:
    // Input taps per in-between point.
    static constexpr int kTaps = 12;
    // In-between points worked out (or passed over) together.
    static constexpr std::size_t kStretch = 16;

    TruePeakScanner(int channels, int rate);

    // Adds interleaved 16-bit frames, any count.
    void add(const std::int16_t* frames, std::size_t count);
    // Highest absolute value so far over every channel, 1.0 = full scale; 0 before any sound.
    double peak() const { return peak_; }
    // Points per input sample: 4, 2 or 1.
    int factor() const { return factor_; }

  private:
    using Phase = std::array<float, kTaps>;

    void addPiece(const std::int16_t* frames, std::size_t count);
    void scanChannel(std::vector<float>& line, std::size_t count);

    int channels_;
    int factor_;
    std::vector<Phase> phases_;  // one per in-between point (factor - 1 of them)
    float gain_ = 1;             // largest sum of absolute taps of a phase
    float peak_ = 0;
    // Per channel: kTaps - 1 samples of history, then the piece being scanned.
    std::vector<std::vector<float>> lines_;
    std::vector<float> stretchMax_;  // highest input of each kStretch samples of a line
};

}  // namespace tw::audio
