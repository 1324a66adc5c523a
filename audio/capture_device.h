#pragma once
// Where the microphone comes from: PortAudio's capture devices, or a simulated device that plays a
// given file as if it were spoken into the microphone (tests, the simulator, a machine without a
// card).
//
// Thread contract: a backend and its streams are created, asked and destroyed on one thread (the
// engine's, under its lock). A stream delivers to its sink on a capture thread of its own, never
// on a card's real-time thread; an unpaced stream delivers only inside pull(), on the caller's
// thread. Destroying a stream returns after its last delivery.

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace tw::audio {

class CaptureSink {
  public:
    virtual ~CaptureSink() = default;
    // The capture thread: `frames` interleaved stereo float frames at 44100 Hz.
    virtual void captured(const float* stereo, std::size_t frames) = 0;
};

class CaptureStream {
  public:
    virtual ~CaptureStream() = default;
    // Unpaced streams only: delivers the next `frames` frames on the calling thread.
    virtual void pull(std::size_t frames) = 0;
};

class CaptureBackend {
  public:
    virtual ~CaptureBackend() = default;
    // The capture devices' names; the index is the device number.
    virtual std::vector<std::string> devices() = 0;
    // The inputs of a device. A device without named inputs offers one, named after the device.
    virtual std::vector<std::string> inputs(int device) = 0;
    // Starts capturing from `device` into `sink`: in real time on a thread of the stream's own
    // when `paced`, else only through pull(). Null when the device cannot be opened.
    virtual std::unique_ptr<CaptureStream> open(int device, CaptureSink& sink, bool paced) = 0;
};

// The machine's capture devices through PortAudio (none when PortAudio finds no card).
std::unique_ptr<CaptureBackend> portAudioCapture();

// One device, "Simulated microphone", that plays the file (WAV or MP3, looped) as its input.
// A file that cannot be read gives a device that captures silence.
std::unique_ptr<CaptureBackend> simulatedCapture(const std::string& path);

// One device, "No microphone (silence)", for a machine without a sound card: recording works and
// records silence, as the timed silent device plays to nobody.
std::unique_ptr<CaptureBackend> silentCapture();

}  // namespace tw::audio
