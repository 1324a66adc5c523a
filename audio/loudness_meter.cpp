#include "audio/loudness_meter.h"

#include <ebur128.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "audio/decoder.h"
#include "audio/engine.h"
#include "audio/true_peak_scanner.h"

namespace tw::audio {

namespace {

constexpr std::size_t kBlockFrames = 4096;
constexpr double kMinusInfinity = -std::numeric_limits<double>::infinity();

struct StateDeleter {
    void operator()(ebur128_state* st) const { ebur128_destroy(&st); }
};
using LoudnessState = std::unique_ptr<ebur128_state, StateDeleter>;

// Gated loudness only: the true peak comes from our own scanner, which gives the same figure in
// a fraction of the library's time (its oversampler works out every point of every channel).
LoudnessState makeState(int channels, int rate) {
    LoudnessState st(ebur128_init(static_cast<unsigned>(channels), static_cast<unsigned long>(rate),
                                  EBUR128_MODE_I));
    if (st && channels == 1) {
        ebur128_set_channel(st.get(), 0, EBUR128_DUAL_MONO);
    }
    return st;
}

double toDb(double ratio) {
    return ratio > 0 ? 20.0 * std::log10(ratio) : kMinusInfinity;
}

}  // namespace

MeasureResult measureLoudness(const std::string& path, const std::atomic<bool>* cancel,
                              LoudnessFigures& out, int& error) {
    error = kOk;
    auto cancelled = [cancel] { return cancel && cancel->load(std::memory_order_relaxed); };
    if (cancelled()) {
        return MeasureResult::Cancelled;
    }
    std::unique_ptr<Decoder> decoder = openFile(FileWindow{path, 0, 0}, error);
    if (!decoder) {
        return MeasureResult::Unreadable;
    }
    const int channels = decoder->channels();
    const int rate = decoder->rate();
    LoudnessState state = channels > 0 && rate > 0 ? makeState(channels, rate) : nullptr;
    if (!state) {
        error = kErrorFormat;
        return MeasureResult::Unreadable;
    }
    TruePeakScanner peaks(channels, rate);
    std::vector<std::int16_t> block(kBlockFrames * static_cast<std::size_t>(channels));
    std::int64_t frames = 0;
    for (;;) {
        if (cancelled()) {
            error = kOk;
            return MeasureResult::Cancelled;
        }
        // A file's decoder returns nothing only at its end (or where it can decode no further).
        const std::size_t got = decoder->read(block.data(), kBlockFrames);
        if (got == 0) {
            break;
        }
        if (ebur128_add_frames_short(state.get(), block.data(), got) != EBUR128_SUCCESS) {
            error = kErrorMemory;
            return MeasureResult::Unreadable;
        }
        peaks.add(block.data(), got);
        frames += static_cast<std::int64_t>(got);
    }
    double lufs = kMinusInfinity;
    if (ebur128_loudness_global(state.get(), &lufs) != EBUR128_SUCCESS) {
        lufs = kMinusInfinity;
    }
    error = kOk;
    out.integratedLufs = lufs;
    out.truePeakDbtp = toDb(peaks.peak());
    out.seconds = static_cast<double>(frames) / rate;
    return MeasureResult::Measured;
}

}  // namespace tw::audio
