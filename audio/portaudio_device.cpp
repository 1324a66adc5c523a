// The sound card through PortAudio's default output device: 44100 Hz stereo float, a buffer of
// about four times the device's smallest latency, pulled in blocks of the update period.

#include <alsa/asoundlib.h>
#include <jack/jack.h>
#include <portaudio.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "audio/output_device.h"
#include "audio/portaudio_quiet.h"
#include "audio/source.h"

namespace tw::audio {

namespace {

void ignoreAlsaError(const char*, int, const char*, int, const char*, ...) {}
void ignoreJackText(const char*) {}

}  // namespace

void quietenProbing() {
    snd_lib_error_set_handler(&ignoreAlsaError);
    jack_set_error_function(&ignoreJackText);
    jack_set_info_function(&ignoreJackText);
    if (!std::getenv("TARNWAVE_JACK")) {
        setenv("JACK_NO_START_SERVER", "1", 0);
    }
}

namespace {

class PortAudioDevice final : public OutputDevice {
  public:
    explicit PortAudioDevice(AudioProducer& producer) : producer_(producer) {}

    ~PortAudioDevice() override {
        if (stream_) {
            Pa_StopStream(stream_);
            Pa_CloseStream(stream_);
        }
        if (initialised_) {
            Pa_Terminate();
        }
    }

    // The default output with device paNoDevice.
    bool open(unsigned updateMs, PaDeviceIndex device = paNoDevice) {
        quietenProbing();
        if (Pa_Initialize() != paNoError) {
            return false;
        }
        initialised_ = true;
        if (device == paNoDevice) {
            device = Pa_GetDefaultOutputDevice();
        }
        const PaDeviceInfo* dev = device == paNoDevice ? nullptr : Pa_GetDeviceInfo(device);
        if (!dev) {
            return false;
        }
        PaStreamParameters params{};
        params.device = device;
        params.channelCount = kMixChannels;
        params.sampleFormat = paFloat32;
        params.suggestedLatency = dev->defaultLowOutputLatency * 4;
        const unsigned long frames = std::max(1u, updateMs) * kMixRate / 1000;
        if (Pa_OpenStream(&stream_, nullptr, &params, kMixRate, frames, paNoFlag, &callback,
                          this) != paNoError) {
            stream_ = nullptr;
            return false;
        }
        if (Pa_StartStream(stream_) != paNoError) {
            Pa_CloseStream(stream_);
            stream_ = nullptr;
            return false;
        }
        info_.hasDevice = true;
        info_.minbuf = static_cast<std::uint32_t>(dev->defaultLowOutputLatency * 1000.0 + 0.5);
        if (const PaStreamInfo* si = Pa_GetStreamInfo(stream_)) {
            info_.latency = static_cast<std::uint32_t>(si->outputLatency * 1000.0 + 0.5);
        }
        info_.dsver = static_cast<std::uint32_t>(Pa_GetVersion());
        return true;
    }

    DeviceInfo info() const override { return info_; }

  private:
    // PortAudio's audio thread.
    static int callback(const void*, void* output, unsigned long frames,
                        const PaStreamCallbackTimeInfo*, PaStreamCallbackFlags, void* self) {
        static_cast<PortAudioDevice*>(self)->producer_.produce(static_cast<float*>(output), frames);
        return paContinue;
    }

    AudioProducer& producer_;
    PaStream* stream_ = nullptr;
    bool initialised_ = false;
    DeviceInfo info_;
};

// The devices that can play stereo, as PortAudio numbers them; PortAudio is initialised by the
// caller.
std::vector<PaDeviceIndex> stereoOutputs() {
    std::vector<PaDeviceIndex> out;
    const PaDeviceIndex count = Pa_GetDeviceCount();
    for (PaDeviceIndex i = 0; i < count; ++i) {
        const PaDeviceInfo* info = Pa_GetDeviceInfo(i);
        if (info && info->maxOutputChannels >= kMixChannels) {
            out.push_back(i);
        }
    }
    return out;
}

}  // namespace

std::vector<std::string> cardOutputNames() {
    std::vector<std::string> names;
    quietenProbing();
    if (Pa_Initialize() != paNoError) {
        return names;
    }
    for (const PaDeviceIndex i : stereoOutputs()) {
        const PaDeviceInfo* info = Pa_GetDeviceInfo(i);
        names.emplace_back(info && info->name ? info->name : "");
    }
    Pa_Terminate();
    return names;
}

std::unique_ptr<OutputDevice> openCardOutput(int index, unsigned updateMs,
                                             AudioProducer& producer) {
    quietenProbing();
    if (index < 0 || Pa_Initialize() != paNoError) {
        return nullptr;
    }
    const std::vector<PaDeviceIndex> outputs = stereoOutputs();
    Pa_Terminate();
    if (static_cast<std::size_t>(index) >= outputs.size()) {
        return nullptr;
    }
    auto card = std::make_unique<PortAudioDevice>(producer);
    if (!card->open(updateMs, outputs[static_cast<std::size_t>(index)])) {
        return nullptr;
    }
    return card;
}

std::unique_ptr<OutputDevice> openOutput(bool tryCard, unsigned updateMs, AudioProducer& producer) {
    if (tryCard) {
        auto card = std::make_unique<PortAudioDevice>(producer);
        if (card->open(updateMs)) {
            return card;
        }
        std::fputs("No sound card found: the console keeps time on the silent device.\n", stderr);
    }
    return openSilentOutput(updateMs, producer);
}

}  // namespace tw::audio
