#pragma once
// A stand-in for the audio engine that reports what each test sets: lengths, positions, states and
// levels of channels, and records every call the console makes. Handles it does not know behave
// as stale handles do: stopped, length -1, position 0, failure.

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "audio/engine.h"

namespace tw::test {

class FakeEngine final : public audio::Engine {
  public:
    struct Channel {
        std::int64_t length = 0;    // bytes
        std::int64_t position = 0;  // bytes
        int state = audio::kPlaying;
        std::uint32_t level = 0;
        std::uint32_t freq = 44100;
        std::uint32_t chans = 2;
        float volume = 1.0f;
        audio::Handle mixer = 0;  // the mixer it plays in, as the engine refuses a second add
        bool paused = false;      // a mixer source held by the mixer's pause flag
    };

    // A decoding stream of the given seconds at 44100 Hz stereo, 16-bit.
    audio::Handle addStream(double seconds, int state = audio::kPlaying);
    Channel& channel(audio::Handle h) { return channels_.at(h); }
    void setPositionSeconds(audio::Handle h, double seconds);
    void remove(audio::Handle h) { channels_.erase(h); }
    bool has(audio::Handle h) const { return channels_.count(h) != 0; }

    // Files that open as decoding streams of the given seconds; any other path fails to open.
    std::map<std::string, double> fileSeconds;
    // Ends a stream the way the mixer does after its last sample: it is freed, and its free syncs
    // fire (on the calling thread, standing in for the engine's own).
    void finish(audio::Handle h);
    int syncCount(audio::Handle h) const;
    // The sources of the mixer that sound now: in it, neither paused nor stopped.
    int soundingSources(audio::Handle mixer) const;

    std::vector<std::string> calls;  // "encodeStop 7", "mixerStreamCreate", ...
    bool recordCalls = true;         // off for long runs, where the list would only grow

    // Plays in virtual time: every source of a playing mixer that is neither stopped nor paused
    // moves on by the bytes of `micros`; one that reaches its end is finished as the mixer does it
    // (freed, its free syncs fired). The mixer's level is full while a source plays, else 0.
    void play(std::int64_t micros);
    int count(const std::string& prefix) const;
    audio::DeviceInfo deviceInfo{10, 40, 9, true};
    bool initOk = true;

    bool init(int, std::uint32_t, std::uint32_t) override;
    bool free() override;
    bool setConfig(std::uint32_t option, std::uint32_t value) override;
    audio::DeviceInfo getInfo() override;
    // The studio outputs the machine offers, by number; the chosen one (-1 the main output).
    std::vector<std::string> outputDevices;
    int studioDevice = -1;
    bool getOutputDeviceName(int device, std::string& name) override;
    bool setStudioDevice(int device) override;
    std::uint32_t fxGetVersion() override { return 0x02040000; }
    int errorGetCode() override { return lastError_.load(); }

    audio::Handle streamCreateFile(const std::string& path, std::uint64_t, std::uint64_t,
                                   std::uint32_t flags) override;
    audio::Handle streamCreateMemory(std::shared_ptr<const std::vector<std::uint8_t>>,
                                     std::uint64_t, std::uint64_t, std::uint32_t) override {
        return fail(0);
    }
    // Stream addresses. The console opens them on threads of their own, so streamCreateUrl may be
    // called from any thread: it touches nothing but urlAnswer and the record of URL calls (under
    // urlMutex, counted by count() with the other calls). urlAnswer runs on the calling thread;
    // a handle it gives must be a channel the test made beforehand on its own thread
    // (addStream). Without an answer every address fails to open.
    audio::Handle streamCreateUrl(const std::string& url, std::uint32_t, std::uint32_t) override;
    std::function<audio::Handle(const std::string& url)> urlAnswer;
    std::vector<std::string> urlCallsNow() const {
        std::lock_guard lock(urlMutex);
        return urlCalls;
    }
    bool streamFree(audio::Handle h) override;
    // The titles stream addresses announce, by handle; set by the test before the console asks.
    std::map<audio::Handle, std::string> titles;
    std::string streamGetTitle(audio::Handle h) override;

    bool channelPlay(audio::Handle h, bool restart) override;
    bool channelStop(audio::Handle h) override;
    int channelIsActive(audio::Handle h) override;
    std::int64_t channelGetLength(audio::Handle h) override;
    std::int64_t channelGetPosition(audio::Handle h) override;
    bool channelSetPosition(audio::Handle h, std::uint64_t bytes) override;
    double channelBytes2Seconds(audio::Handle h, std::int64_t bytes) override;
    std::int64_t channelSeconds2Bytes(audio::Handle h, double seconds) override;
    std::uint32_t channelGetLevel(audio::Handle h) override;
    std::int64_t channelGetData(audio::Handle, void*, std::uint32_t) override { return fail(-1); }
    bool channelGetInfo(audio::Handle h, audio::ChannelInfo& info) override;
    bool channelSetAttribute(audio::Handle h, std::uint32_t attrib, float value) override;
    bool channelGetAttribute(audio::Handle h, std::uint32_t attrib, float& value) override;
    bool channelSlideAttribute(audio::Handle h, std::uint32_t attrib, float value,
                               std::uint32_t ms) override;
    audio::Handle channelSetSync(audio::Handle h, std::uint32_t type, std::uint64_t,
                                 audio::SyncProc) override;
    bool channelRemoveSync(audio::Handle h, audio::Handle sync) override;

    audio::Handle mixerStreamCreate(std::uint32_t, std::uint32_t, std::uint32_t) override;
    bool mixerAddChannel(audio::Handle mixer, audio::Handle h, std::uint32_t flags) override;
    std::uint32_t mixerChannelFlags(audio::Handle h, std::uint32_t flags,
                                    std::uint32_t mask) override;
    bool mixerChannelRemove(audio::Handle h) override;

    // Effects: each on a known channel gets a handle; calls are logged with their parameters
    // ("fxSetParameters 9 eq 80.0 4.0 2.0").
    struct Fx {
        audio::Handle channel = 0;
        std::uint32_t type = 0;
        int priority = 0;
    };
    std::map<audio::Handle, Fx> effects;
    audio::Handle channelSetFX(audio::Handle h, std::uint32_t type, int priority) override;
    bool channelRemoveFX(audio::Handle h, audio::Handle fx) override;
    bool fxSetParameters(audio::Handle fx, const audio::ParamEq& p) override;
    bool fxSetParameters(audio::Handle fx, const audio::Compressor& p) override;
    bool fxSetParameters(audio::Handle fx, const audio::DynamicAmp& p) override;
    bool fxReset(audio::Handle h) override;

    // Recording: the devices and the inputs of every device; none by default. A record channel
    // is a channel whose callback, if any, tests call through recordProcs.
    std::vector<std::string> recordDevices;
    std::vector<std::string> recordInputs;
    std::map<audio::Handle, audio::RecordProc> recordProcs;
    bool recordGetDeviceInfo(int device, audio::RecordDeviceInfo& info) override;
    bool recordInit(int device) override;
    bool recordSetDevice(int device) override;
    bool recordFree() override;
    std::string recordGetInputName(int input) override;
    int recordGetInput(int input, float& volume) override;
    bool recordSetInput(int input, std::uint32_t flags, float volume) override;
    audio::Handle recordStart(std::uint32_t freq, std::uint32_t chans, std::uint32_t flags,
                              audio::RecordProc proc) override;

    // Encoders. The cast calls may come from the console's connect threads: the encoders and
    // their records are guarded by castMutex; tests read them through the helpers below.
    struct Encoder {
        std::string commandLine;
        bool active = true;
        std::string server;  // what castInit was given
        std::string stats[2];
        std::uint64_t castCount = 0;
        std::string castError;  // why its last castInit failed
        std::string end;        // how its program ended, when a test ended it
    };
    bool encodeStartOk = true;
    // Decides castInit by the server text; accepts all when unset.
    std::function<bool(const std::string& server)> castAnswer;
    // What castGetError gives after castAnswer refused.
    std::string castRefusal = "connection refused";
    std::map<audio::Handle, Encoder> encoders;  // under castMutex
    std::vector<std::string> castCalls;         // "castInit H server pw type name url genre
                                                // description kbps public", under castMutex
    mutable std::mutex castMutex;
    std::vector<std::string> castCallsNow() const {
        std::lock_guard lock(castMutex);
        return castCalls;
    }
    void setStats(audio::Handle h, int type, const std::string& text) {
        std::lock_guard lock(castMutex);
        encoders[h].stats[type] = text;
    }
    // The encoder's program ends by itself, as `end` says (encodeGetEnd).
    void endProgram(audio::Handle h, const std::string& end) {
        std::lock_guard lock(castMutex);
        encoders[h].active = false;
        encoders[h].stats[0] = encoders[h].stats[1] = "";
        encoders[h].end = end;
    }

    audio::Handle encodeStart(audio::Handle channel, const std::string& commandLine,
                              std::uint32_t flags) override;
    bool encodeStop(audio::Handle encoder) override;
    int encodeIsActive(audio::Handle encoder) override;
    std::uint64_t encodeGetCount(audio::Handle encoder, int what) override;
    bool castInit(audio::Handle encoder, const std::string& server, const std::string& password,
                  const std::string& contentType, const std::string& name, const std::string& url,
                  const std::string& genre, const std::string& description, const std::string&,
                  std::uint32_t kbps, bool isPublic) override;
    bool castSetTitle(audio::Handle encoder, const std::string& title,
                      const std::string& url) override {
        calls.push_back("castSetTitle " + std::to_string(encoder) + " " + title + " " + url);
        return fail(false);
    }
    std::string castGetStats(audio::Handle encoder, int type, const std::string&) override;
    std::string castGetError(audio::Handle encoder) override;
    std::string encodeGetEnd(audio::Handle encoder) override;

    audio::Handle mixer = 0;

  private:
    template <typename T>
    T fail(T value) {
        lastError_ = audio::kErrorHandle;
        return value;
    }
    Channel* find(audio::Handle h);

    std::map<audio::Handle, Channel> channels_;
    struct Sync {
        audio::Handle channel;
        std::uint32_t type;
        audio::SyncProc proc;
    };
    std::map<audio::Handle, Sync> syncs_;
    audio::Handle next_ = 100;
    std::atomic<int> lastError_{0};  // an address's open sets it on its own thread
    mutable std::mutex urlMutex;
    std::vector<std::string> urlCalls;  // "streamCreateUrl URL", under urlMutex
};

}  // namespace tw::test
