// The master chain (gain control, EQ, compressor with the console's parameters) over a minute of
// stereo music at 44.1 kHz, in the mixer's blocks of 1024 frames: the engine's effects against the
// per-sample forms they replaced (tests/audio/master_chain_reference.h), in the same run.
// Argument 0 is a minute of music; argument 1 is loud music and silence in turns of 1.5 s.
//
//   build/bench/bench_master_chain

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "tests/audio/master_chain_reference.h"

namespace {

using namespace tw::audio::test;

const std::vector<float>& minuteOf(std::int64_t which) {
    static const std::vector<float> music = signals::music(60);
    static const std::vector<float> turns = signals::loudAndSilence(60);
    return which == 0 ? music : turns;
}

template <class Chain>
void runMinute(benchmark::State& state) {
    constexpr std::size_t kBlock = 1024;
    const std::vector<float>& in = minuteOf(state.range(0));
    const std::size_t frames = in.size() / 2;
    std::vector<float> block(kBlock * 2);
    float sum = 0;
    for (auto _ : state) {
        Chain chain;
        for (std::size_t at = 0; at < frames; at += kBlock) {
            const std::size_t n = std::min(kBlock, frames - at);
            std::memcpy(block.data(), in.data() + 2 * at, n * 2 * sizeof(float));
            chain.process(block.data(), n);
            sum += block[0];
        }
    }
    benchmark::DoNotOptimize(sum);
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(frames));
}

void BM_MasterChainMinute(benchmark::State& state) {
    runMinute<EngineMasterChain>(state);
}
BENCHMARK(BM_MasterChainMinute)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->MinTime(2.0);

void BM_MasterChainMinute_Reference(benchmark::State& state) {
    runMinute<ReferenceMasterChain>(state);
}
BENCHMARK(BM_MasterChainMinute_Reference)
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMillisecond)
    ->MinTime(2.0);

}  // namespace
