#pragma once
// The engine the console runs on: decoding streams mixed at 44100 Hz stereo by one mixer, playing
// streams (the preview) straight to the card, syncs delivered on a worker.
//
// Threads. Every operation of Engine is for the console thread only unless it says otherwise;
// errorGetCode() is for any thread. Inside the engine:
//   - the audio thread (the card's callback, the timed silent device, or offline the thread calling
//     render()) runs MixerCore only: wait-free, no allocation, lock, I/O or logging;
//   - the read-ahead worker decodes into each playing stream's ring, at least 2 s ahead;
//   - the event worker turns ends into syncs, frees AUTOFREE streams and delivers sync callbacks;
//   - each stream address has a fetch thread of its own.
// Offline there is neither audio thread nor event worker: render() mixes and delivers the syncs
// itself, so a test gets the same samples every time. It decodes too, unless decodeAhead() gave
// it a read-ahead worker (the simulator, whose decoding then runs beside its mixing): render()
// then decodes only what a ring still lacks for the block it mixes, and the samples are the same
// as without the worker.
//
// Encoders run outside programs fed from the mix through taps the callback writes (never waits);
// each encoder has its own shuttle and control threads (encoder_session.h), and ends on the
// engine's reaper thread. Record channels are fed by the capture device's thread through the
// record hub (record_hub.h); offline, render() pulls the (simulated) capture itself.

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "audio/capture_device.h"
#include "audio/doorbell.h"
#include "audio/encoder_session.h"
#include "audio/engine.h"
#include "audio/handle_table.h"
#include "audio/mixer_core.h"
#include "audio/output_device.h"
#include "audio/reaper.h"
#include "audio/record_hub.h"
#include "audio/ring_store.h"
#include "audio/source.h"
#include "audio/spsc_ring.h"
#include "audio/studio_ring.h"
#include "audio/thread_errors.h"

namespace tw::audio {

enum class EngineMode {
    Offline,  // no device, no threads: the owner calls render()
    Device,   // the sound card; the timed silent device without one or with TARNWAVE_AUDIO=null
    SilentDevice,  // the timed silent device whatever the machine has
};

class MixEngine final : public Engine, private AudioProducer {
  public:
    explicit MixEngine(EngineMode mode = EngineMode::Device);
    ~MixEngine() override;
    MixEngine(const MixEngine&) = delete;
    MixEngine& operator=(const MixEngine&) = delete;

    // Offline only, owner's thread (it is the audio thread then): advances the whole engine by
    // `frames` frames of 44100 Hz audio. `out` (frames * 2 floats), when given, receives the card
    // output (the mixer after its volume plus playing streams); `bus` the mixer before its volume.
    // Syncs caused by this stretch are delivered before it returns. False when the engine is not
    // offline or not initialised.
    bool render(std::size_t frames, float* out = nullptr, float* bus = nullptr);

    // Offline only, console thread, before init(): a read-ahead worker keeps every playing
    // stream's ring filled ahead (as with a device) while render() mixes. False once initialised
    // or when the engine is not offline.
    bool decodeAhead();

    // Offline only, owner's thread: the three steps of render(), for measuring the audio callback
    // alone. prefill() is the read-ahead worker's part; mixBlock() is exactly what the device's
    // callback runs (wait-free); finishBlock() is the event worker's part (ends, syncs).
    void prefill(std::size_t frames);
    void mixBlock(float* out, std::size_t frames);
    void finishBlock();

    // The live handles of each kind, for the long runs that watch them stay flat. Console thread.
    struct HandleCounts {
        std::size_t channels = 0, syncs = 0, effects = 0, encoders = 0;
        std::size_t total() const { return channels + syncs + effects + encoders; }
    };
    HandleCounts handleCounts();

    // --- set-up: console thread only ------------------------------------------------------------
    // The capture devices to record from, instead of the machine's (or the simulated microphone
    // that TARNWAVE_MIC names); before the first recording call.
    void useCapture(std::unique_ptr<CaptureBackend> backend);
    // Starts the output of the engine's mode (device, silent device or none offline). Device 0
    // means no sound card and gets the timed silent device.
    bool init(int device, std::uint32_t freq, std::uint32_t flags) override;
    // Stops the output and the workers, frees every stream (free syncs fire on this thread).
    bool free() override;
    // The cards that can play stereo (device 0 in the silent modes: a silent one of its own).
    bool getOutputDeviceName(int device, std::string& name) override;
    // Offline, any device number sends the studio streams to the feed that readStudio() reads;
    // with the silent device, device 0 is a second timed silent device that pulls them.
    bool setStudioDevice(int device) override;
    // Offline only, owner's thread: the studio output's next `frames` frames.
    void readStudio(float* out, std::size_t frames);
    // Buffer and update period are taken at init; other options are accepted without effect.
    bool setConfig(std::uint32_t option, std::uint32_t value) override;
    DeviceInfo getInfo() override;
    std::uint32_t fxGetVersion() override;
    // Any thread: that thread's last error.
    int errorGetCode() override;

    // --- streams: console thread only -----------------------------------------------------------
    // Scans the file for its exact length before it returns.
    Handle streamCreateFile(const std::string& path, std::uint64_t offset, std::uint64_t length,
                            std::uint32_t flags) override;
    Handle streamCreateMemory(std::shared_ptr<const std::vector<std::uint8_t>> data,
                              std::uint64_t offset, std::uint64_t length,
                              std::uint32_t flags) override;
    // Any thread. Blocks until the first audio or 3 s; the API mutex is not held meanwhile.
    Handle streamCreateUrl(const std::string& url, std::uint32_t offset,
                           std::uint32_t flags) override;
    // For a test's own station over TLS: the addresses opened from now on trust the certificates
    // in this file (PEM) instead of the system's. Verification stays on; the console never calls
    // this.
    void trustCertificates(const std::string& file);
    // Free syncs are delivered by the event worker (offline: before this returns).
    bool streamFree(Handle h) override;
    // Any thread. UTF-8: a title that is not valid UTF-8 is taken as Latin-1. Never waits for the
    // stream's decoding or its network.
    std::string streamGetTitle(Handle h) override;

    // --- channels: console thread only ----------------------------------------------------------
    // A decoding stream cannot be played on its own (kErrorNotAvailable): it plays in the mixer.
    bool channelPlay(Handle h, bool restart) override;
    // A record channel, and a mixer source added with AUTOFREE, are freed by a stop; a playing
    // stream stopped becomes idle (engine.h).
    bool channelStop(Handle h) override;
    int channelIsActive(Handle h) override;
    std::int64_t channelGetLength(Handle h) override;
    // May wait for the read-ahead worker to finish its current block of this stream.
    std::int64_t channelGetPosition(Handle h) override;
    // Takes effect with the audio thread's next block; the position reads the new value at once.
    bool channelSetPosition(Handle h, std::uint64_t bytes) override;
    double channelBytes2Seconds(Handle h, std::int64_t bytes) override;
    std::int64_t channelSeconds2Bytes(Handle h, double seconds) override;
    std::uint32_t channelGetLevel(Handle h) override;
    // Refused (kErrorNotAvailable) while the stream is in the mix: the mixer owns its data.
    std::int64_t channelGetData(Handle h, void* buffer, std::uint32_t bytes) override;
    bool channelGetInfo(Handle h, ChannelInfo& info) override;
    // Volume only; the frequency can be read but not changed (kErrorIllegalParam).
    bool channelSetAttribute(Handle h, std::uint32_t attrib, float value) override;
    bool channelGetAttribute(Handle h, std::uint32_t attrib, float& value) override;
    bool channelSlideAttribute(Handle h, std::uint32_t attrib, float value,
                               std::uint32_t ms) override;
    // End (2) and free (8) syncs, with the one-time bit honoured. The callback runs on the event
    // worker (offline: on the thread calling render()).
    Handle channelSetSync(Handle h, std::uint32_t type, std::uint64_t param,
                          SyncProc proc) override;
    bool channelRemoveSync(Handle h, Handle sync) override;

    // --- the mixer: console thread only ---------------------------------------------------------
    Handle mixerStreamCreate(std::uint32_t freq, std::uint32_t chans, std::uint32_t flags) override;
    bool mixerAddChannel(Handle mixer, Handle h, std::uint32_t flags) override;
    // The pause bit takes effect with the audio thread's next block.
    std::uint32_t mixerChannelFlags(Handle h, std::uint32_t flags, std::uint32_t mask) override;
    bool mixerChannelRemove(Handle h) override;

    // --- effects and recording: console thread only ---------------------------------------------
    // Effects of a record channel with a callback run on the capture thread before the callback.
    // fxReset takes an effect or a channel (every effect on it).
    Handle channelSetFX(Handle h, std::uint32_t type, int priority) override;
    bool channelRemoveFX(Handle h, Handle fx) override;
    bool fxSetParameters(Handle fx, const ParamEq& p) override;
    bool fxSetParameters(Handle fx, const Compressor& p) override;
    bool fxSetParameters(Handle fx, const DynamicAmp& p) override;
    bool fxReset(Handle h) override;

    // Devices and inputs of the capture backend; one device records at a time. A record channel
    // is a decoding stream: in the mixer it mixes, with a callback the callback gets its blocks
    // on the capture thread and must not call the engine. channelPlay and channelStop resume and
    // stop the recording, not the mix.
    bool recordGetDeviceInfo(int device, RecordDeviceInfo& info) override;
    bool recordInit(int device) override;
    bool recordSetDevice(int device) override;
    bool recordFree() override;
    std::string recordGetInputName(int input) override;
    int recordGetInput(int input, float& volume) override;
    bool recordSetInput(int input, std::uint32_t flags, float volume) override;
    Handle recordStart(std::uint32_t freq, std::uint32_t chans, std::uint32_t flags,
                       RecordProc proc) override;

    // --- encoding and casting: console thread only ----------------------------------------------
    // The mixer only: its mix before its volume, as 16-bit stereo PCM at 44100 Hz, from now on.
    // 0 with kErrorFileOpen when the program cannot be started.
    Handle encodeStart(Handle channel, const std::string& commandLine,
                       std::uint32_t flags) override;
    bool encodeStop(Handle encoder) override;
    int encodeIsActive(Handle encoder) override;
    std::uint64_t encodeGetCount(Handle encoder, int what) override;
    bool castInit(Handle encoder, const std::string& server, const std::string& password,
                  const std::string& contentType, const std::string& name, const std::string& url,
                  const std::string& genre, const std::string& description,
                  const std::string& headers, std::uint32_t kbps, bool isPublic) override;
    // Titles are sent and statistics fetched in the background; these return at once.
    bool castSetTitle(Handle encoder, const std::string& title, const std::string& url) override;
    std::string castGetStats(Handle encoder, int type, const std::string& password) override;
    std::string castGetError(Handle encoder) override;
    std::string encodeGetEnd(Handle encoder) override;
    // The name servers that the casts' host names are asked of, instead of the system's
    // ("127.0.0.1:5353", comma-separated; empty for the system's): for tests, which bring their
    // own on the loopback interface.
    void setNameServers(const std::string& nameServers);

  private:
    // What read gives of the encoder's session, under the lock; empty and kErrorHandle when
    // there is no such encoder.
    std::string sessionText(Handle encoder,
                            const std::function<std::string(EncoderSession&)>& read);
    // A channel handle names either the mixer (no source) or a stream.
    struct Channel {
        std::shared_ptr<Source> source;
    };
    struct Sync {
        Handle channel = 0;
        std::uint32_t type = 0;
        bool oneTime = false;
        SyncProc proc;
    };
    struct PendingSync {
        SyncProc proc;
        Handle sync;
        Handle channel;
        std::uint32_t data;
    };
    struct FxEntry {
        Handle channel = 0;
        std::shared_ptr<Effect> effect;
    };
    struct Retired {
        std::uint64_t seq;
        std::shared_ptr<void> object;
    };

    // Audio thread only (device or silent device), wait-free.
    void produce(float* out, std::size_t frames) override;

    // Console thread or event worker, with mutex_ held.
    bool fail(int code);
    bool ok();
    std::shared_ptr<Source> sourceOf(Handle h);
    bool isMixer(Handle h);
    std::uint64_t send(const Command& c);
    void retire(std::shared_ptr<void> object, std::uint64_t seq);
    // Takes out what the audio thread can no longer touch. The caller lets the objects go after
    // it has released mutex_: a stream's end may wait for its decoder's thread.
    std::vector<std::shared_ptr<void>> collectRetired();
    void attach(const std::shared_ptr<Source>& s, Target target, bool paused);
    void detach(const std::shared_ptr<Source>& s);
    void freeStream(Handle h);
    // channelStop without the offline delivery of the syncs it caused; takes mutex_.
    bool stopChannel(Handle h);
    // Takes an effect off its channel; the audio thread lets go of it first. mutex_ held.
    void removeEffect(Handle fx);
    // Hands an effect of `type` its parameters; takes mutex_.
    bool setFxValues(Handle fx, std::uint32_t type, const float (&values)[Effect::kParams]);
    // Takes the encoder out of the mix and hands it to the reaper. mutex_ held.
    void stopEncoder(Handle h);
    // Streams the console is done with but never frees: a playing stream stopped or played out
    // without AUTOFREE (a preview), a record channel out of any mix and without a callback (a
    // microphone after its close). The newest kIdleKept stay as they are, so that the console can
    // still play or mix them again; when one more joins, the oldest is freed like streamFree
    // (its handle goes stale, its free syncs fire). Without this every microphone opening and
    // every preview would keep a handle for good, and the tables would run out. mutex_ held.
    void markIdle(Handle h);
    void unmarkIdle(Handle h);
    void queueSyncs(Handle channel, std::uint32_t type);
    void processEvents();
    Handle createStream(std::unique_ptr<Decoder> decoder, std::uint32_t flags);
    std::int64_t bytesPerFrame(Handle h);
    bool seekSource(const std::shared_ptr<Source>& s, std::int64_t frame);

    // Recording, mutex_ held: the backend chosen at the first call, and the end of every record
    // channel and the capture.
    CaptureBackend* captureBackend();
    int captureDeviceCount();
    void freeRecording();
    // Offline, the owner's thread, without mutex_: the capture's next `frames` frames.
    void pullCapture(std::size_t frames);
    static bool silentByEnvironment();

    // Event worker, or offline the owner's thread; without mutex_: calls the queued sync
    // callbacks in order.
    void deliverSyncs();
    // The read-ahead worker's and the event worker's bodies.
    void readAheadLoop(std::stop_token stop);
    void eventLoop(std::stop_token stop);
    // Read-ahead worker, or offline the owner's thread; without mutex_.
    void fillAll(std::size_t frames);
    // Offline with the read-ahead worker, the owner's thread, without mutex_: decodes what a
    // ring lacks of the next `frames` frames, and wakes the worker when one runs low.
    void topUp(std::size_t frames);
    // Asks the read-ahead worker for a pass now; any thread but the worker, without fillMutex_.
    void askFill();
    // Console thread, without mutex_ (the event worker takes it).
    void stopThreads();

    const EngineMode mode_;
    ThreadErrors errors_;
    Reaper reaper_;  // encoders end on it: their programs and transfers may take a moment

    std::mutex mutex_;  // the API mutex: every table and console-side field below
    bool initialised_ = false;
    std::string trustedCertificates_;  // under mutex_; empty: the system's
    std::uint32_t updateMs_ = 25;
    HandleTable<Channel> channels_{HandleKind::Channel};
    HandleTable<Sync> syncs_{HandleKind::Sync};
    HandleTable<EncoderSession> encoders_{HandleKind::Encoder};
    // Programs of stopped encoders still ending: new ones wait for them.
    std::shared_ptr<ProgramGate> programs_ = std::make_shared<ProgramGate>();
    // The storage of the streams' and the encoders' rings, handed round (ring_store.h). Any
    // thread takes and gives back; their arrays may outlive the engine.
    const std::shared_ptr<RingStore<float>> playRings_;
    const std::shared_ptr<RingStore<std::int16_t>> tapRings_;
    std::string nameServers_;
    HandleTable<FxEntry> effects_{HandleKind::Fx};
    Handle mixer_ = 0;
    bool mixerRunning_ = false;
    std::uint64_t sent_ = 0;
    std::vector<Retired> retired_;
    std::deque<Handle> idle_;  // oldest first; see markIdle

    std::mutex syncMutex_;     // pending_ only
    std::mutex deliverMutex_;  // one deliverer at a time keeps callbacks in order
    std::deque<PendingSync> pending_;

    std::mutex fillMutex_;  // fillList_, its count of changes and fillAsked_ only
    std::condition_variable_any fillWake_;
    bool fillAsked_ = false;  // a stream started: top its ring up now
    std::vector<std::shared_ptr<Source>> fillList_;
    std::uint64_t fillListChanges_ = 0;
    bool offlineAhead_ = false;  // under mutex_; set before init (decodeAhead)
    // Offline with the worker: a pass has been asked for since the worker's last one began, so
    // that render() does not ring again at every block while the worker catches up.
    std::atomic<bool> passAsked_{false};
    // topUp()'s copy of fillList_ and the count of changes it was copied at; its thread only.
    std::vector<std::shared_ptr<Source>> topUpList_;
    std::uint64_t topUpChanges_ = 0;

    SpscRing<Command> commands_{4096};
    SpscRing<Event> events_{1024};
    Doorbell news_;  // rung by the audio thread and by queued syncs; the event worker sleeps on it
    MixerCore core_{commands_, events_, &news_};

    // Recording; guarded by mutex_ but for the hub, which has its own lock.
    std::unique_ptr<CaptureBackend> capture_;
    bool captureChosen_ = false;
    int recordDevice_ = -1;  // the initialised device, -1 none
    std::vector<bool> inputOff_;
    float inputVolume_ = 1.0f;
    RecordHub hub_{[this] { askFill(); }};
    std::unique_ptr<CaptureStream> captureStream_;  // declared after the hub it delivers to
    int captureStreamDevice_ = -1;

    // The studio feed lives as long as the engine; its device goes before it.
    std::unique_ptr<StudioRing> studioRing_ = std::make_unique<StudioRing>(16384);
    std::optional<std::vector<std::string>> cardNames_;  // read at the first question
    std::unique_ptr<OutputDevice> output_;
    std::unique_ptr<OutputDevice> studioOutput_;
    // True while an audio thread consumes the command queue; otherwise the thread that finds the
    // queue full (offline: the owner, who is the audio thread) empties it itself.
    std::atomic<bool> audioRunning_{false};
    std::jthread readAhead_;
    std::jthread eventWorker_;
};

}  // namespace tw::audio
