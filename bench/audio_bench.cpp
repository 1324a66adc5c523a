// The engine's figures: MP3 decoding against the mpg123 program on the same file, the audio
// callback's cost per 10 ms block, and offline rendering of station audio.
//
//   build/bench/bench_audio [--benchmark_filter=...]

#include <benchmark/benchmark.h>
#include <pthread.h>
#include <sched.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <string>
#include <vector>

#include "audio/capture_device.h"
#include "audio/mix_engine.h"

namespace {

namespace fs = std::filesystem;
using tw::audio::EngineMode;
using tw::audio::Handle;
using tw::audio::MixEngine;

// Test material made once per run in a temporary folder: a minute of busy stereo "music" as MP3
// (what the players decode) and as a 48 kHz WAV (a source the mixer must resample).
class Material {
  public:
    Material() {
        std::string pattern = (fs::temp_directory_path() / "tarnwave-bench-XXXXXX").string();
        if (!mkdtemp(pattern.data())) {
            std::abort();
        }
        dir_ = pattern;
        writeWav(dir_ / "music.wav", 44100, 60);
        writeWav(dir_ / "music48.wav", 48000, 60);
        const std::string cmd =
            "lame --quiet -b 192 '" + (dir_ / "music.wav").string() + "' '" + mp3().string() + "'";
        if (std::system(cmd.c_str()) != 0) {
            std::abort();
        }
    }
    ~Material() {
        std::error_code ec;
        fs::remove_all(dir_, ec);
    }

    fs::path mp3() const { return dir_ / "music.mp3"; }
    fs::path wav() const { return dir_ / "music.wav"; }
    fs::path wav48() const { return dir_ / "music48.wav"; }

  private:
    static void writeWav(const fs::path& path, int rate, int seconds) {
        const std::size_t frames =
            static_cast<std::size_t>(rate) * static_cast<std::size_t>(seconds);
        std::vector<std::int16_t> pcm(frames * 2);
        std::uint32_t noise = 12345;
        for (std::size_t i = 0; i < frames; ++i) {
            const double t = static_cast<double>(i) / rate;
            noise = noise * 1664525u + 1013904223u;
            const double n = (static_cast<double>(noise >> 8) / 16777216.0 - 0.5) * 0.05;
            const double base =
                0.25 * std::sin(2 * std::numbers::pi * 110 * t) +
                0.15 * std::sin(2 * std::numbers::pi * 440 * t * (1 + 0.01 * std::sin(t))) +
                0.1 * std::sin(2 * std::numbers::pi * 3000 * t) + n;
            pcm[2 * i] = static_cast<std::int16_t>(base * 32767);
            pcm[2 * i + 1] = static_cast<std::int16_t>(-base * 32767);
        }
        std::ofstream out(path, std::ios::binary);
        auto u32 = [&](std::uint32_t v) { out.write(reinterpret_cast<const char*>(&v), 4); };
        auto u16 = [&](std::uint16_t v) { out.write(reinterpret_cast<const char*>(&v), 2); };
        const auto bytes = static_cast<std::uint32_t>(pcm.size() * 2);
        out.write("RIFF", 4);
        u32(36 + bytes);
        out.write("WAVEfmt ", 8);
        u32(16);
        u16(1);
        u16(2);
        u32(static_cast<std::uint32_t>(rate));
        u32(static_cast<std::uint32_t>(rate * 4));
        u16(4);
        u16(16);
        out.write("data", 4);
        u32(bytes);
        out.write(reinterpret_cast<const char*>(pcm.data()), bytes);
    }

    fs::path dir_;
};

const Material& material() {
    static const Material m;  // made on first use, removed at exit
    return m;
}

// Decoding one file completely through the engine, against the mpg123 program doing the same.
void BM_Mp3Decode(benchmark::State& state) {
    const std::string path = material().mp3().string();
    MixEngine engine(EngineMode::Offline);
    engine.init(-1, 44100, 0);
    std::vector<std::int16_t> block(8192);
    std::int64_t total = 0;
    for (auto _ : state) {
        const Handle h = engine.streamCreateFile(path, 0, 0, tw::audio::kStreamDecode);
        if (h == 0) {
            state.SkipWithError("cannot open the MP3");
            return;
        }
        std::int64_t got;
        while ((got = engine.channelGetData(h, block.data(), 8192 * 2)) > 0) {
            total += got;
        }
        engine.streamFree(h);
    }
    state.SetBytesProcessed(total);
}
BENCHMARK(BM_Mp3Decode)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

void BM_Mp3Decode_Reference(benchmark::State& state) {
    const std::string cmd = "mpg123 -q -t '" + material().mp3().string() + "'";
    for (auto _ : state) {
        if (std::system(cmd.c_str()) != 0) {
            state.SkipWithError("mpg123 failed");
            return;
        }
    }
}
BENCHMARK(BM_Mp3Decode_Reference)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);

void measureBlocks(benchmark::State& state, MixEngine& engine, Handle mixer);

// The audio callback alone, per 10 ms block: four sources (two MP3 players, a resampled 48 kHz
// source, a third MP3 under a running slide) and the levels; with argument 1 also the master chain
// (EQ, compressor, gain control) on the mixer and chorus, flanger and EQ on one source. The
// read-ahead is done outside the timing, as the worker does it outside the callback.
// Argument 2 is the console on the air with the operator talking: two players, a sweeper and the
// microphone (a simulated one playing the music) with the voice chain, and the master chain, with
// the parameters the console gives them.
void addTheOperatorsVoice(MixEngine& engine, Handle mixer, Handle sweeper) {
    using namespace tw::audio;
    engine.useCapture(simulatedCapture(material().wav().string()));
    engine.recordInit(-1);
    const Handle mic = engine.recordStart(44100, 2, 0, nullptr);
    engine.mixerAddChannel(mixer, mic, 0);
    engine.fxSetParameters(engine.channelSetFX(mic, kFxParamEq, 3), ParamEq{80, 4, 2});
    engine.fxSetParameters(engine.channelSetFX(mic, kFxParamEq, 2), ParamEq{10000, 5, 3});
    engine.fxSetParameters(engine.channelSetFX(mic, kFxDynamicAmp, 1),
                           DynamicAmp{0.98f, 0.4f, 0.01f, 2, 0.4f, -1});
    engine.fxSetParameters(engine.channelSetFX(mic, kFxCompressor, 0),
                           Compressor{2, 0.1f, 200, -5, 20, 0});
    engine.fxSetParameters(engine.channelSetFX(mixer, kFxDynamicAmp, 2),
                           DynamicAmp{0.98f, 0.3f, 0.01f, 2, 0.01f, -1});
    engine.fxSetParameters(engine.channelSetFX(mixer, kFxParamEq, 1), ParamEq{80, 2, 1});
    engine.fxSetParameters(engine.channelSetFX(mixer, kFxCompressor, 0),
                           Compressor{0.5f, 0.1f, 200, -8, 10, 0});
    engine.channelSetPosition(sweeper, 44100 * 4 * 20);
}

void BM_CallbackBlock10ms(benchmark::State& state) {
    MixEngine engine(EngineMode::Offline);
    engine.init(-1, 44100, 0);
    const Handle mixer = engine.mixerStreamCreate(44100, 2, 0);
    engine.channelPlay(mixer, false);
    const std::string mp3 = material().mp3().string();
    if (state.range(0) == 2) {
        Handle sources[3] = {
            engine.streamCreateFile(mp3, 0, 0, tw::audio::kStreamDecode),
            engine.streamCreateFile(mp3, 0, 0, tw::audio::kStreamDecode),
            engine.streamCreateFile(mp3, 0, 0, tw::audio::kStreamDecode),
        };
        for (Handle h : sources) {
            engine.mixerAddChannel(mixer, h, 0);
        }
        engine.channelSetPosition(sources[1], 44100 * 4 * 7);
        addTheOperatorsVoice(engine, mixer, sources[2]);
        measureBlocks(state, engine, mixer);
        return;
    }
    Handle sources[4] = {
        engine.streamCreateFile(mp3, 0, 0, tw::audio::kStreamDecode),
        engine.streamCreateFile(mp3, 0, 0, tw::audio::kStreamDecode),
        engine.streamCreateFile(material().wav48().string(), 0, 0, tw::audio::kStreamDecode),
        engine.streamCreateFile(mp3, 0, 0, tw::audio::kStreamDecode),
    };
    for (Handle h : sources) {
        engine.mixerAddChannel(mixer, h, 0);
    }
    engine.channelSetPosition(sources[1], 44100 * 4 * 7);
    engine.channelSlideAttribute(sources[3], tw::audio::kAttribVol, 0.1f, 60000);
    if (state.range(0) == 1) {
        // The master chain on the mixer, and a voice chain on the third source.
        using namespace tw::audio;
        engine.fxSetParameters(engine.channelSetFX(mixer, kFxParamEq, 3), ParamEq{120, 12, 3});
        engine.fxSetParameters(engine.channelSetFX(mixer, kFxCompressor, 2),
                               Compressor{4, 10, 200, -18, 3, 4});
        engine.fxSetParameters(engine.channelSetFX(mixer, kFxDynamicAmp, 1),
                               DynamicAmp{0.8f, 0.02f, 0.1f, 1, 0, -1});
        engine.channelSetFX(sources[2], kFxChorus, 2);
        engine.channelSetFX(sources[2], kFxFlanger, 1);
        engine.fxSetParameters(engine.channelSetFX(sources[2], kFxParamEq, 0),
                               ParamEq{3000, 12, 4});
    }
    measureBlocks(state, engine, mixer);
}

void measureBlocks(benchmark::State& state, MixEngine& engine, Handle mixer) {
    constexpr std::size_t kBlock = 441;
    std::vector<float> out(kBlock * 2);
    std::vector<double> times;
    times.reserve(static_cast<std::size_t>(state.max_iterations));
    std::uint32_t level = 0;
    sched_param fifo{};
    fifo.sched_priority = sched_get_priority_min(SCHED_FIFO);
    sched_param normal{};
    bool realtime = true;
    for (auto _ : state) {
        engine.prefill(kBlock * 4);
        // A sound card's callback runs at real-time priority; so does the measured block, when
        // the system allows it (the counter rt says whether it did).
        const bool rt = pthread_setschedparam(pthread_self(), SCHED_FIFO, &fifo) == 0;
        realtime = realtime && rt;
        const auto t0 = std::chrono::steady_clock::now();
        engine.mixBlock(out.data(), kBlock);
        const auto t1 = std::chrono::steady_clock::now();
        if (rt) {
            pthread_setschedparam(pthread_self(), SCHED_OTHER, &normal);
        }
        level |= engine.channelGetLevel(mixer);
        engine.finishBlock();
        const double s = std::chrono::duration<double>(t1 - t0).count();
        state.SetIterationTime(s);
        times.push_back(s);
    }
    benchmark::DoNotOptimize(level);
    std::sort(times.begin(), times.end());
    state.counters["median_us"] = times[times.size() / 2] * 1e6;
    state.counters["worst_us"] = times.back() * 1e6;
    state.counters["rt"] = realtime ? 1 : 0;
}
// 5000 blocks: 50 s of audio, within the minute the sources last. Argument 1 adds the effects,
// argument 2 is the operator on the air.
BENCHMARK(BM_CallbackBlock10ms)
    ->Arg(0)
    ->Arg(1)
    ->Arg(2)
    ->UseManualTime()
    ->Unit(benchmark::kMicrosecond)
    ->Iterations(5000);

// Offline rendering of station audio with two players that overlap: a new MP3 starts every 50 s
// and plays for 60 s, so that for 10 s of every 50 two decode at once. The span is scaled; the
// counter hour_s gives the projected seconds per hour of audio.
void BM_OfflineRenderTwoPlayers(benchmark::State& state) {
    const std::int64_t spanSeconds = state.range(0);
    const std::string mp3 = material().mp3().string();
    double elapsed = 0;
    for (auto _ : state) {
        const auto t0 = std::chrono::steady_clock::now();
        MixEngine engine(EngineMode::Offline);
        engine.init(-1, 44100, 0);
        const Handle mixer = engine.mixerStreamCreate(44100, 2, 0);
        engine.channelPlay(mixer, false);
        for (std::int64_t t = 0; t < spanSeconds; ++t) {
            if (t % 50 == 0) {
                const Handle h = engine.streamCreateFile(mp3, 0, 0, tw::audio::kStreamDecode);
                engine.mixerAddChannel(mixer, h, tw::audio::kStreamAutoFree);
            }
            engine.render(44100);
        }
        engine.free();
        elapsed += std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    }
    state.counters["hour_s"] = elapsed / static_cast<double>(state.iterations()) * 3600.0 /
                               static_cast<double>(spanSeconds);
}
BENCHMARK(BM_OfflineRenderTwoPlayers)
    ->Arg(300)
    ->Arg(3600)
    ->Unit(benchmark::kSecond)
    ->UseRealTime()
    ->Iterations(1);

}  // namespace
