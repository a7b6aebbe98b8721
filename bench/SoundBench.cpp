// The sound effector's spectra: one row per frame of a 10-second clip at 30 fps (300 rows of
// 100 ms at 16 kHz), "_Ours" over the rows in parallel as the effector runs them on the host's
// iteration, "_Peer" the same computation on one thread.
#include <benchmark/benchmark.h>
#include <tbb/parallel_for.h>

#include <cmath>
#include <vector>

#include "effectors/SoundSpectrum.h"

namespace {

std::vector<float> Clip() {
    std::vector<float> s(size_t(10 * tv::kSoundRate));
    for (size_t i = 0; i < s.size(); ++i) {
        const double t = double(i) / tv::kSoundRate;
        s[i] = float(std::sin(2 * 3.14159265358979 * (200 + 80 * t) * t));
    }
    return s;
}

void Rows(benchmark::State& state, bool parallel) {
    const std::vector<float> clip = Clip();
    constexpr size_t kRows = 300, kWidth = 1600;
    const size_t step = (clip.size() - kWidth) / (kRows - 1);  // the last row ends in the clip
    std::vector<std::vector<float>> rows(kRows);
    auto row = [&](size_t i) {
        rows[i] = tv::SoundSpectrum(clip.data() + i * step, kWidth, 0, 2000);
    };
    for (auto _ : state) {
        if (parallel)
            tbb::parallel_for(size_t(0), kRows, row);
        else
            for (size_t i = 0; i < kRows; ++i) row(i);
        benchmark::DoNotOptimize(rows.data());
    }
    state.counters["rows"] = double(kRows);
}

void SoundRows_Ours(benchmark::State& s) {
    Rows(s, true);
}
void SoundRows_Peer(benchmark::State& s) {
    Rows(s, false);
}
BENCHMARK(SoundRows_Ours)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(SoundRows_Peer)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
