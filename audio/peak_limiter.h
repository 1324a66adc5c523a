#pragma once
// A look-ahead brickwall limiter for interleaved stereo float audio at the mix rate: no sample
// leaves it above the ceiling, and none is cut flat to get there. The gain starts to come down
// kLookAheadFrames before a peak that needs it, in a straight ramp, and comes back up with the
// release time, so that the waveform keeps its shape and the 16-bit conversion after it never has
// anything to clip. Both channels take the same gain, so that the stereo image does not move.
//
// The audio leaves kLookAheadFrames (about 1.5 ms) late: the first frames out are silence and the
// last ones stay inside until more audio pushes them out.
//
// Thread contract: process() and reset() on one audio thread (the audio callback, the capture
// thread, or the thread calling render() offline); wait-free, they never allocate, lock or wait.
// Everything it needs is inside the object, made with it.

#include <array>
#include <cstddef>
#include <cstdint>

namespace tw::audio {

// The ceiling of the conversions to 16-bit whose audio goes to a lossy encoder (the take on its
// way to lame, the mix on its way to the casts): a decibel below full scale leaves the codec room
// for the overshoot its own filtering adds, so that the decoded stream does not clip either.
inline constexpr float kEncoderCeilingDb = -1.0f;

class PeakLimiter {
  public:
    static constexpr std::size_t kLookAheadFrames = 64;

    // `ceilingDb` below full scale (0 dBFS is a sample value of 1.0); `releaseMs` the time
    // constant of the gain's way back to 1 once the peaks are gone.
    explicit PeakLimiter(float ceilingDb, float releaseMs = 60.0f);

    // Works on `frames` frames in place; they come out kLookAheadFrames late.
    void process(float* stereo, std::size_t frames);
    // Forgets the audio held and the gain: the next frames start from silence at full gain.
    void reset();

    float ceiling() const { return ceiling_; }

  private:
    static constexpr std::size_t kWindow = kLookAheadFrames + 1;

    // The gain that the frame about to go out needs at most: the least gain any frame of the
    // window needs.
    float windowMinimum(float need);

    float ceiling_;
    float releaseStep_;  // share of the way back to the window's gain taken each frame

    std::array<float, 2 * kLookAheadFrames> delay_{};
    std::size_t delayAt_ = 0;

    // The window's least gains, a queue whose gains rise from front to back (frame number, gain).
    std::array<std::uint64_t, kWindow> minFrame_{};
    std::array<float, kWindow> minGain_{};
    std::size_t minFront_ = 0;
    std::size_t minCount_ = 0;
    std::uint64_t frame_ = 0;

    float envelope_ = 1.0f;
    // The envelope's last kLookAheadFrames values, whose mean is the gain applied.
    std::array<float, kLookAheadFrames> ramp_{};
    std::size_t rampAt_ = 0;
    double rampSum_ = 0.0;
};

}  // namespace tw::audio
