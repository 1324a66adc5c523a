#pragma once
// The peak envelopes of the tracks the details panel shows, measured on a worker thread and kept
// per file, length and modification time, so that a track edited or replaced is measured anew and
// one seen before draws at once.
//
// Thread contract: find() on the console thread; the worker only measures, and its results reach
// the console thread through the event loop. The destructor waits for the worker; a result posted
// after it is dropped.

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "audio/peak_envelope.h"
#include "core/event_loop.h"
#include "core/surface.h"

namespace tw::media {

class WaveformCache {
  public:
    WaveformCache(core::EventLoop& loop, std::size_t columns);
    ~WaveformCache();
    WaveformCache(const WaveformCache&) = delete;
    WaveformCache& operator=(const WaveformCache&) = delete;

    // The envelope of the file as it is now, when known. Otherwise null, and the file is measured:
    // `ready` runs on the console thread once its envelope is known (or known to be unreadable).
    std::shared_ptr<const audio::PeakEnvelope> find(const std::string& path,
                                                    std::function<void()> ready);
    std::size_t columns() const { return columns_; }

  private:
    struct Shared;
    void work(std::stop_token stop);

    core::EventLoop& loop_;
    const std::size_t columns_;
    std::shared_ptr<Shared> shared_;
    std::jthread worker_;  // last: it starts after what it uses
};

// Lays the envelope under what the picture shows (the cue markers stay on top): one grey column
// per pixel, from the middle line up and down by the peak.
void drawWaveform(core::Element& picture, const audio::PeakEnvelope& envelope);

}  // namespace tw::media
