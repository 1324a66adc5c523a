#include "tests/testlib/fake_engine.h"

#include <cmath>
#include <cstdio>

namespace tw::test {

FakeEngine::Channel* FakeEngine::find(audio::Handle h) {
    auto it = channels_.find(h);
    return it == channels_.end() ? nullptr : &it->second;
}

void FakeEngine::play(std::int64_t micros) {
    const Channel* m = find(mixer);
    if (!m || m->state != audio::kPlaying) {
        return;
    }
    bool sounding = false;
    std::vector<audio::Handle> ended;
    for (auto& [h, ch] : channels_) {
        if (h == mixer || ch.mixer != mixer || ch.paused || ch.state != audio::kPlaying) {
            continue;
        }
        const auto rate = static_cast<std::int64_t>(ch.freq) * ch.chans * 2;
        ch.position += (micros * rate / 1000000) / (ch.chans * 2) * (ch.chans * 2);
        sounding = sounding || ch.volume > 0;
        if (ch.length >= 0 && ch.position >= ch.length) {
            ch.position = ch.length;
            ended.push_back(h);
        }
    }
    channels_[mixer].level = sounding ? 0x40004000u : 0;
    for (audio::Handle h : ended) {
        finish(h);
    }
}

int FakeEngine::count(const std::string& prefix) const {
    int n = 0;
    for (const auto& c : calls) {
        n += c.rfind(prefix, 0) == 0;
    }
    for (const auto& c : urlCallsNow()) {
        n += c.rfind(prefix, 0) == 0;
    }
    return n;
}

audio::Handle FakeEngine::addStream(double seconds, int state) {
    Channel ch;
    ch.length = static_cast<std::int64_t>(std::llround(seconds * 44100)) * 4;
    ch.state = state;
    const audio::Handle h = next_++;
    channels_[h] = ch;
    return h;
}

void FakeEngine::setPositionSeconds(audio::Handle h, double seconds) {
    channels_.at(h).position = static_cast<std::int64_t>(std::llround(seconds * 44100)) * 4;
}

bool FakeEngine::init(int device, std::uint32_t freq, std::uint32_t flags) {
    if (recordCalls)
        calls.push_back("init " + std::to_string(device) + " " + std::to_string(freq) + " " +
                        std::to_string(flags));
    return initOk;
}

bool FakeEngine::free() {
    if (recordCalls)
        calls.push_back("free");
    channels_.clear();
    mixer = 0;
    return true;
}

bool FakeEngine::setConfig(std::uint32_t option, std::uint32_t value) {
    if (recordCalls)
        calls.push_back("setConfig " + std::to_string(option) + " " + std::to_string(value));
    return true;
}

audio::DeviceInfo FakeEngine::getInfo() {
    return deviceInfo;
}

bool FakeEngine::getOutputDeviceName(int device, std::string& name) {
    if (device < 0 || device >= static_cast<int>(outputDevices.size())) {
        return fail(false);
    }
    name = outputDevices[static_cast<std::size_t>(device)];
    return true;
}

bool FakeEngine::setStudioDevice(int device) {
    if (recordCalls)
        calls.push_back("setStudioDevice " + std::to_string(device));
    if (device >= static_cast<int>(outputDevices.size())) {
        return fail(false);
    }
    studioDevice = device;
    return true;
}

audio::Handle FakeEngine::streamCreateFile(const std::string& path, std::uint64_t, std::uint64_t,
                                           std::uint32_t flags) {
    if (recordCalls)
        calls.push_back("streamCreateFile " + path + " " + std::to_string(flags));
    if (auto it = fileSeconds.find(path); it != fileSeconds.end()) {
        return addStream(it->second);
    }
    return fail(0);
}

audio::Handle FakeEngine::streamCreateUrl(const std::string& url, std::uint32_t, std::uint32_t) {
    if (recordCalls) {
        std::lock_guard lock(urlMutex);
        urlCalls.push_back("streamCreateUrl " + url);
    }
    const audio::Handle h = urlAnswer ? urlAnswer(url) : 0;
    return h != 0 ? h : fail(audio::Handle{0});
}

std::string FakeEngine::streamGetTitle(audio::Handle h) {
    auto it = titles.find(h);
    return it == titles.end() ? std::string() : it->second;
}

bool FakeEngine::streamFree(audio::Handle h) {
    if (recordCalls)
        calls.push_back("streamFree " + std::to_string(h));
    return channels_.erase(h) != 0 || fail(false);
}

bool FakeEngine::channelPlay(audio::Handle h, bool restart) {
    if (recordCalls)
        calls.push_back("channelPlay " + std::to_string(h) + (restart ? " restart" : ""));
    if (Channel* c = find(h)) {
        c->state = audio::kPlaying;
        return true;
    }
    return fail(false);
}

bool FakeEngine::channelStop(audio::Handle h) {
    if (recordCalls)
        calls.push_back("channelStop " + std::to_string(h));
    if (Channel* c = find(h)) {
        c->state = audio::kStopped;
        return true;
    }
    return fail(false);
}

int FakeEngine::channelIsActive(audio::Handle h) {
    Channel* c = find(h);
    return c ? c->state : audio::kStopped;
}

std::int64_t FakeEngine::channelGetLength(audio::Handle h) {
    Channel* c = find(h);
    return c ? c->length : fail<std::int64_t>(-1);
}

std::int64_t FakeEngine::channelGetPosition(audio::Handle h) {
    Channel* c = find(h);
    return c ? c->position : fail<std::int64_t>(0);
}

bool FakeEngine::channelSetPosition(audio::Handle h, std::uint64_t bytes) {
    if (recordCalls)
        calls.push_back("channelSetPosition " + std::to_string(h) + " " + std::to_string(bytes));
    Channel* c = find(h);
    if (!c || static_cast<std::int64_t>(bytes) > c->length) {
        return fail(false);
    }
    c->position = static_cast<std::int64_t>(bytes);
    return true;
}

double FakeEngine::channelBytes2Seconds(audio::Handle h, std::int64_t bytes) {
    Channel* c = find(h);
    if (!c || bytes < 0) {
        return fail(-1.0);
    }
    return static_cast<double>(bytes) / (c->freq * c->chans * 2.0);
}

std::int64_t FakeEngine::channelSeconds2Bytes(audio::Handle h, double seconds) {
    Channel* c = find(h);
    if (!c) {
        return fail<std::int64_t>(-1);
    }
    return static_cast<std::int64_t>(std::llround(seconds * c->freq)) * c->chans * 2;
}

std::uint32_t FakeEngine::channelGetLevel(audio::Handle h) {
    Channel* c = find(h);
    return c ? c->level : fail<std::uint32_t>(0);
}

bool FakeEngine::channelGetInfo(audio::Handle h, audio::ChannelInfo& info) {
    Channel* c = find(h);
    if (!c) {
        return fail(false);
    }
    info = {c->freq, c->chans, 0};
    return true;
}

bool FakeEngine::channelSetAttribute(audio::Handle h, std::uint32_t attrib, float value) {
    if (recordCalls)
        calls.push_back("channelSetAttribute " + std::to_string(h) + " " + std::to_string(attrib) +
                        " " + std::to_string(value));
    Channel* c = find(h);
    if (!c) {
        return fail(false);
    }
    if (attrib == audio::kAttribVol) {
        c->volume = value;
    }
    return true;
}

bool FakeEngine::channelGetAttribute(audio::Handle h, std::uint32_t attrib, float& value) {
    Channel* c = find(h);
    if (!c) {
        return fail(false);
    }
    value = attrib == audio::kAttribFreq ? static_cast<float>(c->freq) : c->volume;
    return true;
}

bool FakeEngine::channelSlideAttribute(audio::Handle h, std::uint32_t attrib, float value,
                                       std::uint32_t ms) {
    if (recordCalls)
        calls.push_back("channelSlideAttribute " + std::to_string(h) + " " +
                        std::to_string(attrib) + " " + std::to_string(value) + " " +
                        std::to_string(ms));
    return find(h) != nullptr || fail(false);
}

audio::Handle FakeEngine::channelSetSync(audio::Handle h, std::uint32_t type, std::uint64_t,
                                         audio::SyncProc proc) {
    if (recordCalls)
        calls.push_back("channelSetSync " + std::to_string(h) + " " + std::to_string(type));
    if (!find(h)) {
        return fail(0);
    }
    const audio::Handle sync = next_++;
    syncs_[sync] = {h, type, std::move(proc)};
    return sync;
}

bool FakeEngine::channelRemoveSync(audio::Handle h, audio::Handle sync) {
    if (recordCalls)
        calls.push_back("channelRemoveSync " + std::to_string(h) + " " + std::to_string(sync));
    auto it = syncs_.find(sync);
    if (!find(h) || it == syncs_.end() || it->second.channel != h) {
        return fail(false);
    }
    syncs_.erase(it);
    return true;
}

void FakeEngine::finish(audio::Handle h) {
    channels_.erase(h);
    std::vector<std::pair<audio::Handle, audio::SyncProc>> fire;
    for (auto it = syncs_.begin(); it != syncs_.end();) {
        if (it->second.channel == h) {
            if (it->second.type == audio::kSyncFree && it->second.proc) {
                fire.emplace_back(it->first, it->second.proc);
            }
            it = syncs_.erase(it);
        } else {
            ++it;
        }
    }
    for (auto& [sync, proc] : fire) {
        proc(sync, h, 0);
    }
}

int FakeEngine::syncCount(audio::Handle h) const {
    int n = 0;
    for (const auto& [id, s] : syncs_) {
        n += s.channel == h;
    }
    return n;
}

int FakeEngine::soundingSources(audio::Handle mixer) const {
    int n = 0;
    for (const auto& [h, c] : channels_) {
        n += c.mixer == mixer && !c.paused && c.state != audio::kStopped;
    }
    return n;
}

audio::Handle FakeEngine::mixerStreamCreate(std::uint32_t, std::uint32_t, std::uint32_t) {
    if (recordCalls)
        calls.push_back("mixerStreamCreate");
    if (!initOk) {
        return fail(0);
    }
    Channel ch;
    ch.length = -1;
    mixer = next_++;
    channels_[mixer] = ch;
    return mixer;
}

bool FakeEngine::mixerAddChannel(audio::Handle m, audio::Handle h, std::uint32_t flags) {
    if (recordCalls)
        calls.push_back("mixerAddChannel " + std::to_string(m) + " " + std::to_string(h) + " " +
                        std::to_string(flags));
    Channel* source = find(h);
    if (!find(m) || !source) {
        return fail(false);
    }
    if (source->mixer != 0) {
        // Already in a mixer (a track still fading out): the engine refuses it.
        lastError_ = audio::kErrorAlready;
        return false;
    }
    source->mixer = m;
    source->paused = (flags & audio::kMixerPause) != 0;
    return true;
}

std::uint32_t FakeEngine::mixerChannelFlags(audio::Handle h, std::uint32_t flags,
                                            std::uint32_t mask) {
    if (recordCalls)
        calls.push_back("mixerChannelFlags " + std::to_string(h) + " " + std::to_string(flags) +
                        " " + std::to_string(mask));
    Channel* c = find(h);
    if (!c) {
        return fail(0xFFFFFFFFu);
    }
    if (c->mixer == 0) {
        // Only a mixer source has mixer flags, as in the engine.
        lastError_ = audio::kErrorNotAvailable;
        return 0xFFFFFFFFu;
    }
    if (mask & audio::kMixerPause) {
        c->paused = (flags & audio::kMixerPause) != 0;
    }
    return c->paused ? audio::kMixerPause : 0u;
}

bool FakeEngine::mixerChannelRemove(audio::Handle h) {
    if (recordCalls)
        calls.push_back("mixerChannelRemove " + std::to_string(h));
    Channel* source = find(h);
    if (!source) {
        return fail(false);
    }
    source->mixer = 0;
    return true;
}

audio::Handle FakeEngine::channelSetFX(audio::Handle h, std::uint32_t type, int priority) {
    if (recordCalls)
        calls.push_back("channelSetFX " + std::to_string(h) + " " + std::to_string(type) + " " +
                        std::to_string(priority));
    if (!find(h)) {
        return fail(0);
    }
    const audio::Handle fx = next_++;
    effects[fx] = {h, type, priority};
    return fx;
}

bool FakeEngine::channelRemoveFX(audio::Handle h, audio::Handle fx) {
    if (recordCalls)
        calls.push_back("channelRemoveFX " + std::to_string(h) + " " + std::to_string(fx));
    auto it = effects.find(fx);
    if (it == effects.end() || it->second.channel != h) {
        return fail(false);
    }
    effects.erase(it);
    return true;
}

namespace {

std::string fixed1(float v) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.2f", static_cast<double>(v));
    return buf;
}

}  // namespace

bool FakeEngine::fxSetParameters(audio::Handle fx, const audio::ParamEq& p) {
    if (recordCalls)
        calls.push_back("fxSetParameters " + std::to_string(fx) + " eq " + fixed1(p.center) + " " +
                        fixed1(p.bandwidth) + " " + fixed1(p.gain));
    return effects.count(fx) != 0 || fail(false);
}

bool FakeEngine::fxSetParameters(audio::Handle fx, const audio::Compressor& p) {
    if (recordCalls)
        calls.push_back("fxSetParameters " + std::to_string(fx) + " compressor " + fixed1(p.gain) +
                        " " + fixed1(p.attack) + " " + fixed1(p.release) + " " +
                        fixed1(p.threshold) + " " + fixed1(p.ratio) + " " + fixed1(p.predelay));
    return effects.count(fx) != 0 || fail(false);
}

bool FakeEngine::fxSetParameters(audio::Handle fx, const audio::DynamicAmp& p) {
    if (recordCalls)
        calls.push_back("fxSetParameters " + std::to_string(fx) + " damp " + fixed1(p.target) +
                        " " + fixed1(p.quiet) + " " + fixed1(p.rate) + " " + fixed1(p.gain) + " " +
                        fixed1(p.delay) + " " + std::to_string(p.channel));
    return effects.count(fx) != 0 || fail(false);
}

bool FakeEngine::fxReset(audio::Handle h) {
    if (recordCalls)
        calls.push_back("fxReset " + std::to_string(h));
    return find(h) != nullptr || effects.count(h) != 0 || fail(false);
}

bool FakeEngine::recordGetDeviceInfo(int device, audio::RecordDeviceInfo& info) {
    if (device < 0 || device >= static_cast<int>(recordDevices.size())) {
        return fail(false);
    }
    info.name = recordDevices[static_cast<std::size_t>(device)];
    info.enabled = true;
    return true;
}

bool FakeEngine::recordInit(int device) {
    if (recordCalls)
        calls.push_back("recordInit " + std::to_string(device));
    return (device >= -1 && device < static_cast<int>(recordDevices.size()) &&
            !recordDevices.empty()) ||
           fail(false);
}

bool FakeEngine::recordSetDevice(int device) {
    if (recordCalls)
        calls.push_back("recordSetDevice " + std::to_string(device));
    return (device >= 0 && device < static_cast<int>(recordDevices.size())) || fail(false);
}

bool FakeEngine::recordFree() {
    if (recordCalls)
        calls.push_back("recordFree");
    return true;
}

std::string FakeEngine::recordGetInputName(int input) {
    if (input < 0 || input >= static_cast<int>(recordInputs.size())) {
        fail(false);
        return {};
    }
    return recordInputs[static_cast<std::size_t>(input)];
}

int FakeEngine::recordGetInput(int input, float& volume) {
    if (recordCalls)
        calls.push_back("recordGetInput " + std::to_string(input));
    volume = 0.75f;
    return (input >= -1 && input < static_cast<int>(recordInputs.size())) ? 0 : fail(-1);
}

bool FakeEngine::recordSetInput(int input, std::uint32_t flags, float volume) {
    if (recordCalls)
        calls.push_back("recordSetInput " + std::to_string(input) + " " + std::to_string(flags) +
                        " " + fixed1(volume));
    return (input >= -1 && input < static_cast<int>(recordInputs.size())) || fail(false);
}

audio::Handle FakeEngine::recordStart(std::uint32_t, std::uint32_t, std::uint32_t flags,
                                      audio::RecordProc proc) {
    if (recordCalls)
        calls.push_back("recordStart " + std::to_string(flags) + (proc ? " proc" : ""));
    if (recordDevices.empty()) {
        return fail(0);
    }
    const audio::Handle h =
        addStream(0, (flags & audio::kRecordPause) ? audio::kPaused : audio::kPlaying);
    channels_[h].length = -1;
    if (proc) {
        recordProcs[h] = std::move(proc);
    }
    return h;
}

audio::Handle FakeEngine::encodeStart(audio::Handle channel, const std::string& commandLine,
                                      std::uint32_t flags) {
    if (recordCalls)
        calls.push_back("encodeStart " + std::to_string(channel) + " " + commandLine + " " +
                        std::to_string(flags));
    if (!encodeStartOk || channel == 0) {
        lastError_ = audio::kErrorFileOpen;
        return 0;
    }
    std::lock_guard lock(castMutex);
    const audio::Handle h = 0x40000000u + static_cast<audio::Handle>(encoders.size()) + 1;
    encoders[h].commandLine = commandLine;
    return h;
}

bool FakeEngine::encodeStop(audio::Handle encoder) {
    if (recordCalls)
        calls.push_back("encodeStop " + std::to_string(encoder));
    std::lock_guard lock(castMutex);
    if (auto it = encoders.find(encoder); it != encoders.end()) {
        it->second.active = false;
    }
    return encoder != 0 || fail(false);
}

int FakeEngine::encodeIsActive(audio::Handle encoder) {
    std::lock_guard lock(castMutex);
    auto it = encoders.find(encoder);
    return it != encoders.end() && it->second.active ? audio::kPlaying : audio::kStopped;
}

std::uint64_t FakeEngine::encodeGetCount(audio::Handle encoder, int) {
    std::lock_guard lock(castMutex);
    auto it = encoders.find(encoder);
    return it == encoders.end() ? 0 : it->second.castCount;
}

bool FakeEngine::castInit(audio::Handle encoder, const std::string& server,
                          const std::string& password, const std::string& contentType,
                          const std::string& name, const std::string& url, const std::string& genre,
                          const std::string& description, const std::string&, std::uint32_t kbps,
                          bool isPublic) {
    {
        std::lock_guard lock(castMutex);
        castCalls.push_back("castInit " + std::to_string(encoder) + " " + server + " " + password +
                            " " + contentType + " " + name + " " + url + " " + genre + " " +
                            description + " " + std::to_string(kbps) + " " +
                            (isPublic ? "public" : "private"));
        auto it = encoders.find(encoder);
        if (it == encoders.end()) {
            return false;
        }
        it->second.server = server;
    }
    // Outside the lock: a test's answer may wait, as a dead server makes the engine wait.
    const bool connected = !castAnswer || castAnswer(server);
    std::lock_guard lock(castMutex);
    encoders[encoder].castError = connected ? std::string() : castRefusal;
    return connected;
}

std::string FakeEngine::encodeGetEnd(audio::Handle encoder) {
    std::lock_guard lock(castMutex);
    auto it = encoders.find(encoder);
    return it == encoders.end() ? std::string() : it->second.end;
}

std::string FakeEngine::castGetError(audio::Handle encoder) {
    std::lock_guard lock(castMutex);
    auto it = encoders.find(encoder);
    return it == encoders.end() ? std::string() : it->second.castError;
}

std::string FakeEngine::castGetStats(audio::Handle encoder, int type, const std::string&) {
    std::lock_guard lock(castMutex);
    auto it = encoders.find(encoder);
    if (it == encoders.end() || type < 0 || type > 1 || !it->second.active) {
        return {};
    }
    return it->second.stats[type];
}

}  // namespace tw::test
