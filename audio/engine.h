#pragma once
// The console's one door into the audio engine.
//
// Every object (stream, mixer, record channel, sync, effect, encoder) is a 32-bit handle; 0 is
// none. A handle carries a generation, so that a handle whose object is gone is stale. Every
// operation on a stale or zero handle is harmless: it reports "stopped", a length of -1, a position
// of 0, a level of 0, and failure. Nothing here throws. errorGetCode() gives the last error of the
// calling thread.
//
// Idle streams: a playing stream without AUTOFREE that was stopped or played out, and a record
// channel outside any mix without a callback, are idle. The engine keeps the eight most recent
// idle streams as they were (they may be played or mixed again); when one more becomes idle, the
// oldest is freed as by streamFree, so that a console that never frees them (a closed microphone,
// a preview) does not run the handles out. Its handle is then stale.
//
// Threads: unless an operation says otherwise, it may be called from the console thread only. Sync
// callbacks are delivered on an engine worker (or, in offline mode, on the thread calling render())
// and must not call the engine's blocking operations; the console only posts to its own thread.

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tw::audio {

using Handle = std::uint32_t;

// Flag values of the interface. They keep the numbers the console's logic was written against.
inline constexpr std::uint32_t kStreamDecode =
    0x200000;  // decoding stream (for the mixer or a scan)
inline constexpr std::uint32_t kStreamAutoFree = 0x40000;  // freed by the engine at its end
inline constexpr std::uint32_t kUnicode = 0x80000000;      // accepted and ignored: paths are UTF-8
inline constexpr std::uint32_t kDeviceLatency = 0x100;     // measure the device's latency at init
inline constexpr std::uint32_t kMixerPause = 0x20000;      // a mixer source that stands still
inline constexpr std::uint32_t kRecordPause = 0x8000;      // a record channel that starts paused
inline constexpr std::uint32_t kEncodeNoHead = 0x1;        // raw PCM to the encoder, no WAV header
inline constexpr std::uint32_t kEncodeAutoFree = 0x40000;  // the encoder ends with its channel
inline constexpr std::uint32_t kRecordInputOff = 0x10000;  // recordSetInput: switch the input off
inline constexpr std::uint32_t kRecordInputOn = 0x20000;   // recordSetInput: switch the input on

inline constexpr std::uint32_t kAttribFreq = 1;
inline constexpr std::uint32_t kAttribVol = 2;
// A stream's loudness stage: a factor of its own under the volume, so that the volume, its slides
// and the fades act on top of it as if it were not there. 1 (the default) leaves every sample as
// it is. Set at once; it cannot slide. Streams only, not the mixer.
inline constexpr std::uint32_t kAttribLoudness = 0x100;

inline constexpr std::uint32_t kSyncEnd = 2;   // the stream reached its end
inline constexpr std::uint32_t kSyncFree = 8;  // the stream was freed

inline constexpr std::uint32_t kConfigBuffer = 0;
inline constexpr std::uint32_t kConfigUpdatePeriod = 1;

// channelIsActive results.
inline constexpr int kStopped = 0;
inline constexpr int kPlaying = 1;
inline constexpr int kStalled = 2;
inline constexpr int kPaused = 3;

// Effect types.
inline constexpr std::uint32_t kFxChorus = 0;
inline constexpr std::uint32_t kFxCompressor = 1;
inline constexpr std::uint32_t kFxFlanger = 4;
inline constexpr std::uint32_t kFxParamEq = 7;
inline constexpr std::uint32_t kFxDynamicAmp = 0x10008;

// channelGetInfo flags.
inline constexpr std::uint32_t kSample8Bits = 1;
inline constexpr std::uint32_t kSampleFloat = 0x100;

// Error codes reported by errorGetCode().
inline constexpr int kOk = 0;
inline constexpr int kErrorMemory = 1;
inline constexpr int kErrorFileOpen = 2;
inline constexpr int kErrorDriver = 3;
inline constexpr int kErrorHandle = 5;
inline constexpr int kErrorFormat = 6;
inline constexpr int kErrorPosition = 7;
inline constexpr int kErrorInit = 8;
inline constexpr int kErrorAlready = 14;
inline constexpr int kErrorIllegalParam = 20;
inline constexpr int kErrorDevice = 23;
inline constexpr int kErrorNotAvailable = 37;
inline constexpr int kErrorTimeout = 40;
inline constexpr int kErrorFileForm = 41;
inline constexpr int kErrorUnknown = -1;

struct DeviceInfo {
    std::uint32_t minbuf = 0;   // smallest buffer the device allows, ms
    std::uint32_t latency = 0;  // measured output latency, ms
    std::uint32_t dsver = 0;    // version field of the output layer
    bool hasDevice = false;     // false on the timed silent device and offline
};

struct ChannelInfo {
    std::uint32_t freq = 0;
    std::uint32_t chans = 0;
    std::uint32_t flags = 0;
};

struct RecordDeviceInfo {
    std::string name;
    bool enabled = false;
};

// Parameters of the effects, in the order the console passes them.
struct ParamEq {
    float center = 0, bandwidth = 0, gain = 0;
};
struct Compressor {
    float gain = 0, attack = 0, release = 0, threshold = 0, ratio = 0, predelay = 0;
};
// The dynamic amplifier aims its gain at target / (the block's peak) while the peak is above
// quiet, after waiting delay seconds; gain is where it starts, and each hundredth of a second it
// covers `rate` of the way that is left.
struct DynamicAmp {
    float target = 0, quiet = 0, rate = 0, gain = 0, delay = 0;
    int channel = -1;
};

// A sync callback: the sync's handle, the channel, and a value that depends on the sync type.
using SyncProc = std::function<void(Handle sync, Handle channel, std::uint32_t data)>;
// A record callback: interleaved 16-bit blocks; returning false stops the recording.
using RecordProc =
    std::function<bool(Handle channel, const std::int16_t* samples, std::size_t count)>;

class Engine {
  public:
    virtual ~Engine() = default;

    // --- set-up -----------------------------------------------------------------------------
    virtual bool init(int device, std::uint32_t freq, std::uint32_t flags) = 0;
    virtual bool free() = 0;  // frees every stream, encoder and cast; syncs of type free fire
    virtual bool setConfig(std::uint32_t option, std::uint32_t value) = 0;
    virtual DeviceInfo getInfo() = 0;
    virtual std::uint32_t fxGetVersion() = 0;
    virtual int errorGetCode() = 0;  // any thread: the calling thread's last error
    // The studio output: the name of output device `device` (from 0) that can take the streams
    // played straight out (previews, studio-only samples), false past the last one or without a
    // sound card. setStudioDevice routes those streams to it; -1 puts them back on the main
    // output with the mixer's monitor. The mixer, and with it the air, never goes there.
    virtual bool getOutputDeviceName(int device, std::string& name) = 0;
    virtual bool setStudioDevice(int device) = 0;

    // --- streams ----------------------------------------------------------------------------
    // A decoding stream with kStreamDecode, else a playing stream straight to the card.
    virtual Handle streamCreateFile(const std::string& path, std::uint64_t offset,
                                    std::uint64_t length, std::uint32_t flags) = 0;
    // The same over a memory block holding a RIFF WAVE image; the engine keeps the block alive.
    virtual Handle streamCreateMemory(std::shared_ptr<const std::vector<std::uint8_t>> data,
                                      std::uint64_t offset, std::uint64_t length,
                                      std::uint32_t flags) = 0;
    // HTTP or HTTPS stream address; blocks until the first audio or 3 seconds. Any thread: the
    // console opens addresses on threads of its own and never waits for one.
    virtual Handle streamCreateUrl(const std::string& url, std::uint32_t offset,
                                   std::uint32_t flags) = 0;
    virtual bool streamFree(Handle h) = 0;
    // The title of a stream address from its latest ICY metadata ("StreamTitle"), "" when it has
    // none or the handle is not a stream address. Any thread.
    virtual std::string streamGetTitle(Handle h) = 0;

    // --- channels ---------------------------------------------------------------------------
    virtual bool channelPlay(Handle h, bool restart) = 0;
    virtual bool channelStop(Handle h) = 0;
    virtual int channelIsActive(Handle h) = 0;
    // Bytes of the 16-bit form at the source's own rate and channels; -1 on failure.
    virtual std::int64_t channelGetLength(Handle h) = 0;
    virtual std::int64_t channelGetPosition(Handle h) = 0;  // 0 on failure
    virtual bool channelSetPosition(Handle h, std::uint64_t bytes) = 0;
    virtual double channelBytes2Seconds(Handle h, std::int64_t bytes) = 0;    // < 0 on failure
    virtual std::int64_t channelSeconds2Bytes(Handle h, double seconds) = 0;  // -1 on failure
    // Peak of the latest block: left in the low 16 bits, right in the high 16 bits.
    virtual std::uint32_t channelGetLevel(Handle h) = 0;
    // Decodes the next bytes of a decoding stream; -1 on failure, 0 at the end.
    virtual std::int64_t channelGetData(Handle h, void* buffer, std::uint32_t bytes) = 0;
    virtual bool channelGetInfo(Handle h, ChannelInfo& info) = 0;
    virtual bool channelSetAttribute(Handle h, std::uint32_t attrib, float value) = 0;
    virtual bool channelGetAttribute(Handle h, std::uint32_t attrib, float& value) = 0;
    virtual bool channelSlideAttribute(Handle h, std::uint32_t attrib, float value,
                                       std::uint32_t ms) = 0;
    virtual Handle channelSetSync(Handle h, std::uint32_t type, std::uint64_t param,
                                  SyncProc proc) = 0;
    virtual bool channelRemoveSync(Handle h, Handle sync) = 0;

    // --- the mixer --------------------------------------------------------------------------
    virtual Handle mixerStreamCreate(std::uint32_t freq, std::uint32_t chans,
                                     std::uint32_t flags) = 0;
    virtual bool mixerAddChannel(Handle mixer, Handle h, std::uint32_t flags) = 0;
    // Sets the bits of mask to flags; returns the new flags, or (uint32_t)-1 on failure.
    virtual std::uint32_t mixerChannelFlags(Handle h, std::uint32_t flags, std::uint32_t mask) = 0;
    virtual bool mixerChannelRemove(Handle h) = 0;

    // --- effects ----------------------------------------------------------------------------
    virtual Handle channelSetFX(Handle h, std::uint32_t type, int priority) = 0;
    virtual bool channelRemoveFX(Handle h, Handle fx) = 0;
    virtual bool fxSetParameters(Handle fx, const ParamEq& p) = 0;
    virtual bool fxSetParameters(Handle fx, const Compressor& p) = 0;
    virtual bool fxSetParameters(Handle fx, const DynamicAmp& p) = 0;
    virtual bool fxReset(Handle h) = 0;

    // --- recording --------------------------------------------------------------------------
    virtual bool recordGetDeviceInfo(int device, RecordDeviceInfo& info) = 0;
    virtual bool recordInit(int device) = 0;
    virtual bool recordSetDevice(int device) = 0;
    virtual bool recordFree() = 0;
    virtual std::string recordGetInputName(int input) = 0;     // empty when there is none
    virtual int recordGetInput(int input, float& volume) = 0;  // -1 on failure
    virtual bool recordSetInput(int input, std::uint32_t flags, float volume) = 0;
    virtual Handle recordStart(std::uint32_t freq, std::uint32_t chans, std::uint32_t flags,
                               RecordProc proc) = 0;

    // --- encoding and casting ---------------------------------------------------------------
    virtual Handle encodeStart(Handle channel, const std::string& commandLine,
                               std::uint32_t flags) = 0;
    virtual bool encodeStop(Handle encoder) = 0;
    virtual int encodeIsActive(Handle encoder) = 0;
    virtual std::uint64_t encodeGetCount(Handle encoder, int what) = 0;
    virtual bool castInit(Handle encoder, const std::string& server, const std::string& password,
                          const std::string& contentType, const std::string& name,
                          const std::string& url, const std::string& genre,
                          const std::string& description, const std::string& headers,
                          std::uint32_t kbps, bool isPublic) = 0;
    virtual bool castSetTitle(Handle encoder, const std::string& title, const std::string& url) = 0;
    virtual std::string castGetStats(Handle encoder, int type, const std::string& password) = 0;
    // Why the encoder's last castInit failed, as the operator reads it ("connection refused",
    // "wrong password (401), the server says: ..."); empty after a success or before any. From
    // any thread, like castInit.
    virtual std::string castGetError(Handle encoder) = 0;
    // How the encoder's program ended when it ended by itself ("lame ended with exit status 1:
    // <the last line it printed>"); empty while it runs or when it was stopped.
    virtual std::string encodeGetEnd(Handle encoder) = 0;
};

}  // namespace tw::audio
