// The track measurements of the details panel and the player start, on a five-minute 44.1 kHz
// stereo MP3 of noise with 3 s of silence before and 5 s after it (made with sox and lame):
//   BM_TrackScan   the auto-trim scan (SetTrackStart on a decoding stream, as a start runs it)
//   BM_Waveform    the peak envelope of the details panel (500 columns)
// The reference of each is the whole file decoded by the engine. Targets: the scan within 30 ms,
// the waveform within 60 ms (and it never runs on the console thread: a worker measures it).

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "audio/mix_engine.h"
#include "audio/peak_envelope.h"
#include "core/console.h"
#include "media/stream_time.h"
#include "media/track_scan.h"
#include "tests/testlib/temp_dir.h"

namespace {

namespace fs = std::filesystem;

// The track, made once per run.
const std::string& fiveMinuteTrack() {
    static tw::test::TempDir dir;
    static const std::string mp3 = [] {
        const std::string wav = (dir / "track.wav").string();
        const std::string out = (dir / "track.mp3").string();
        std::ostringstream make;
        make << "sox -q -n -r 44100 -c 2 -b 16 '" << wav
             << "' synth 292 pinknoise vol 0.4 pad 3 5 && lame --quiet -b 192 '" << wav << "' '"
             << out << "'";
        return std::system(make.str().c_str()) == 0 ? out : std::string();
    }();
    return mp3;
}

struct OfflineConsole {
    tw::audio::MixEngine engine{tw::audio::EngineMode::Offline};
    std::unique_ptr<tw::core::Console> console;
    OfflineConsole() {
        engine.init(-1, 44100, 0);
        tw::core::Services s;
        s.engine = &engine;
        console = std::make_unique<tw::core::Console>(fs::temp_directory_path().string(), s);
        // 50 on the console's scale is 4914, a sixth of the noise's peaks: its first and last
        // sound are found where they are, as a track's would be at a threshold that suits it.
        console->autoTrim = "1";
        console->autoTrimThreshold = 50;
    }
};

// A full decode through the engine: what the other two would cost without their shortcuts.
std::int64_t decodeAll(tw::audio::Engine& e, const std::string& path) {
    const tw::audio::Handle h =
        tw::media::streamCreateFileW(e, path, 0, 0, tw::audio::kStreamDecode);
    std::vector<std::int16_t> buffer(65536);
    std::int64_t total = 0;
    for (std::int64_t n; (n = e.channelGetData(h, buffer.data(), 131072)) > 0;) {
        total += n;
    }
    e.streamFree(h);
    return total;
}

void BM_TrackScan(benchmark::State& state) {
    const std::string& path = fiveMinuteTrack();
    if (path.empty()) {
        state.SkipWithError("sox and lame are needed to make the track");
        return;
    }
    OfflineConsole oc;
    std::int32_t next = 0;
    for (auto _ : state) {
        const tw::audio::Handle stream =
            tw::media::streamCreateFileW(oc.engine, path, 0, 0, tw::audio::kStreamDecode);
        next = tw::media::SetTrackStart(*oc.console, path, stream);
        oc.engine.streamFree(stream);
    }
    state.counters["next_start_s"] = next;  // the last sound at 295 s, less 1.5, rounded
}
BENCHMARK(BM_TrackScan)->Unit(benchmark::kMillisecond)->MinTime(2);

void BM_TrackScan_Reference(benchmark::State& state) {
    const std::string& path = fiveMinuteTrack();
    OfflineConsole oc;
    for (auto _ : state) {
        benchmark::DoNotOptimize(decodeAll(oc.engine, path));
    }
}
BENCHMARK(BM_TrackScan_Reference)->Unit(benchmark::kMillisecond)->MinTime(2);

void BM_Waveform(benchmark::State& state) {
    const std::string& path = fiveMinuteTrack();
    if (path.empty()) {
        state.SkipWithError("sox and lame are needed to make the track");
        return;
    }
    for (auto _ : state) {
        auto envelope = tw::audio::peakEnvelope(path, 500);
        benchmark::DoNotOptimize(envelope.peaks.data());
        state.counters["seconds"] = envelope.seconds;
    }
}
BENCHMARK(BM_Waveform)->Unit(benchmark::kMillisecond)->MinTime(2);

void BM_Waveform_Reference(benchmark::State& state) {
    BM_TrackScan_Reference(state);
}
BENCHMARK(BM_Waveform_Reference)->Unit(benchmark::kMillisecond)->MinTime(2);

}  // namespace
