#pragma once
// Where the card output goes: PortAudio's default output device, or the timed silent device that
// pulls the mix at the same pace from a thread of its own when there is no card.

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "audio/engine.h"

namespace tw::audio {

// What an output device pulls audio from.
class AudioProducer {
  public:
    virtual ~AudioProducer() = default;
    // Audio thread only, wait-free: writes `frames` interleaved stereo float frames at 44100 Hz.
    virtual void produce(float* out, std::size_t frames) = 0;
};

// Thread contract: construction, start() and the destructor on the console thread; the producer is
// called on the device's own audio thread between start() and destruction.
class OutputDevice {
  public:
    virtual ~OutputDevice() = default;
    virtual DeviceInfo info() const = 0;
};

// The card when `tryCard` and one can be opened, else the timed silent device. Starts pulling from
// `producer` at once. `updateMs` is the period of the pulls.
std::unique_ptr<OutputDevice> openOutput(bool tryCard, unsigned updateMs, AudioProducer& producer);

// The names of the cards that can play stereo, in the order openCardOutput numbers them; empty
// when there is none.
std::vector<std::string> cardOutputNames();
// Card `index` of cardOutputNames, pulling from `producer`; null when it cannot be opened.
std::unique_ptr<OutputDevice> openCardOutput(int index, unsigned updateMs, AudioProducer& producer);

// The timed silent device alone (also for tests that must not touch a card).
std::unique_ptr<OutputDevice> openSilentOutput(unsigned updateMs, AudioProducer& producer);

}  // namespace tw::audio
