#include "liveassist/speech.h"

#include <cstring>

#include "audio/wav_header.h"
#include "autodj/loudness.h"
#include "core/atomic_file.h"
#include "core/console_ops.h"
#include "core/failure.h"
#include "core/program_runner.h"
#include "liveassist/microphone.h"
#include "liveassist/voice_tracks.h"
#include "media/stream_time.h"

namespace tw::liveassist {

namespace {

constexpr int kOutRate = 44100;

std::uint32_t le(const std::string& b, std::size_t at, int bytes) {
    std::uint32_t v = 0;
    for (int i = bytes - 1; i >= 0; --i) {
        v = (v << 8) | static_cast<unsigned char>(b[at + static_cast<std::size_t>(i)]);
    }
    return v;
}

}  // namespace

std::vector<std::int16_t> speechSamples(const std::string& wav, int& rate) {
    if (wav.size() < 12 || wav.compare(0, 4, "RIFF") != 0 || wav.compare(8, 4, "WAVE") != 0) {
        throw core::Failure(-2147200966, "Speech synthesis gave no audio");
    }
    int channels = 0, bits = 0;
    std::size_t at = 12;
    while (at + 8 <= wav.size()) {
        const std::string id = wav.substr(at, 4);
        const std::uint32_t size = le(wav, at + 4, 4);
        const std::size_t body = at + 8;
        if (id == "fmt " && body + 16 <= wav.size()) {
            channels = static_cast<int>(le(wav, body + 2, 2));
            rate = static_cast<int>(le(wav, body + 4, 4));
            bits = static_cast<int>(le(wav, body + 14, 2));
        } else if (id == "data") {
            if (channels < 1 || bits != 16 || rate <= 0) {
                break;
            }
            const auto ch = static_cast<std::size_t>(channels);
            const std::size_t frames = (wav.size() - body) / (2 * ch);
            std::vector<std::int16_t> mono(frames);
            for (std::size_t i = 0; i < frames; ++i) {
                mono[i] = static_cast<std::int16_t>(le(wav, body + 2 * ch * i, 2));
            }
            return mono;
        }
        if (size > wav.size() - body) {
            break;
        }
        at = body + size + (size & 1);
    }
    throw core::Failure(-2147200966, "Speech synthesis gave no audio");
}

namespace {

// Mono at `rate` to stereo at 44100 Hz, by linear interpolation.
std::vector<std::int16_t> toCdStereo(const std::vector<std::int16_t>& mono, int rate) {
    std::vector<std::int16_t> out;
    if (mono.empty() || rate <= 0) {
        return out;
    }
    const auto frames =
        static_cast<std::size_t>(static_cast<double>(mono.size()) * kOutRate / rate);
    out.reserve(frames * 2);
    for (std::size_t i = 0; i < frames; ++i) {
        const double at = static_cast<double>(i) * rate / kOutRate;
        const auto k = static_cast<std::size_t>(at);
        const double f = at - static_cast<double>(k);
        const double a = mono[k];
        const double b = k + 1 < mono.size() ? mono[k + 1] : a;
        const auto v = static_cast<std::int16_t>(a + (b - a) * f);
        out.push_back(v);
        out.push_back(v);
    }
    return out;
}

const VoiceChain& spokenChain() {
    static const VoiceChain chain = [] {
        VoiceChain c;
        c[0].type = c[1].type = audio::kFxParamEq;
        c[0].priority = 3;
        c[0].eq = {80.0f, 3.0f, 2.0f};
        c[1].priority = 2;
        c[1].eq = {9000.0f, 3.0f, 3.0f};
        c[2].type = audio::kFxDynamicAmp;
        c[2].priority = 1;
        c[2].damp = {0.9f, 0.11f, 0.01f, 0.05f, 0.01f, -1};
        c[3].type = audio::kFxCompressor;
        c[3].priority = 0;
        c[3].compressor = {3.0f, 0.1f, 200.0f, -5.0f, 6.0f, 0.0f};
        return c;
    }();
    return chain;
}

}  // namespace

std::vector<std::int16_t> SpeechVoice::render(const std::string& text) const {
    if (text.empty()) {
        return {};
    }
    std::string wav;
    if (!core::runCapturing({program_, "--stdout"}, text, wav)) {
        throw core::Failure(429, "ActiveX component can't create object");
    }
    int rate = 0;
    const std::vector<std::int16_t> mono = speechSamples(wav, rate);
    return toCdStereo(mono, rate);
}

void createVoice(core::Console& c) {
    c.voice = std::make_shared<SpeechVoice>();
}

void sayText(core::Console& c, const std::string& text) {
    try {
        if (!c.voice) {
            createVoice(c);
        }
        const std::vector<std::int16_t> pcm = c.voice->render(text);
        const auto bytes = static_cast<std::uint32_t>(pcm.size() * sizeof(std::int16_t));
        std::string image = audio::pcm16WavHeader(kOutRate, 2, bytes);
        image.append(reinterpret_cast<const char*>(pcm.data()), bytes);
        const std::string path = c.AppFolder + "/spoken.wav";
        if (!core::replaceFile(path, image, core::FileAccess::kKeepMode)) {
            throw core::Failure(75, "Path/File access error");
        }
        playSpoken(c, path);
    } catch (const std::exception& ex) {
        core::logError(c, core::failureText("sayText", ex));
    }
}

void playSpoken(core::Console& c, const std::string& path) {
    audio::Engine& e = c.engine();
    if (e.channelIsActive(c.spokenStream) == audio::kPlaying) {
        e.channelStop(c.spokenStream);
        c.spokenStream = 0;  // the calls below find no stream and fail quietly
    } else {
        c.spokenStream = media::streamCreateFileW(e, path, 0, 0, audio::kStreamDecode);
        autodj::applyLoudnessMeasuredNow(c, c.spokenStream, path);
    }
    c.flangerFx = e.channelSetFX(c.spokenStream, audio::kFxChorus, 0);
    e.fxReset(c.spokenStream);
    installVoiceChain(c, c.spokenStream, spokenChain());
    e.channelSetSync(c.spokenStream, audio::kSyncFree, 0, spotEndedSync(c));
    e.mixerAddChannel(c.mixerStream, c.spokenStream, audio::kStreamAutoFree);
    for (audio::Handle player : {c.player1Stream, c.player2Stream}) {
        if (player != 0) {
            e.channelSetAttribute(player, audio::kAttribVol, 0.55f);
        }
    }
}

}  // namespace tw::liveassist
