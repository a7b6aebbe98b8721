// Whole software frames of the example documents, and the gather with noise at a million
// vertices. "_Ours" runs on all threads and "_Peer" on one, so the ratio is the threads' gain.
#include <benchmark/benchmark.h>
#include <tbb/global_control.h>
#include <tbb/info.h>

#include "host/Gather.h"
#include "host/ObjectMessage.h"
#include "standalone/CompRenderer.h"
#include "standalone/Document.h"

namespace {

void RenderFrame(benchmark::State& state, const char* name, size_t threads) {
    tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
    tv::standalone::EmbeddedHost host;
    tv::standalone::LoadDocumentFile(std::string(TAVRIN_SOURCE_DIR) + "/examples/" + name, host);
    const tv::standalone::Comp& comp = *host.project().comps.front();
    int64_t frame = 0;
    for (auto _ : state) {
        tv::standalone::CompRenderer renderer(host);  // a fresh cache: every frame is drawn
        std::vector<std::string> messages;
        benchmark::DoNotOptimize(renderer.renderFrame(comp, frame++ % 30, 8, messages).rgba.data());
    }
}

void FrameNoisyNetwork_Ours(benchmark::State& s) {
    RenderFrame(s, "noisy-network.json", tbb::info::default_concurrency());
}
void FrameNoisyNetwork_Peer(benchmark::State& s) {
    RenderFrame(s, "noisy-network.json", 1);
}
void FrameOrbit_Ours(benchmark::State& s) {
    RenderFrame(s, "orbit.json", tbb::info::default_concurrency());
}
void FrameOrbit_Peer(benchmark::State& s) {
    RenderFrame(s, "orbit.json", 1);
}

BENCHMARK(FrameNoisyNetwork_Ours)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(FrameNoisyNetwork_Peer)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(FrameOrbit_Ours)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(FrameOrbit_Peer)->Unit(benchmark::kMillisecond)->UseRealTime();

// A cube lattice of `vertices` (a multiple of 10000) through the noise effector: the gather
// alone, at growing sizes.
void GatherWithNoise(benchmark::State& state) {
    tv::standalone::EmbeddedHost host;
    const int n = int(state.range(0) / 10000);
    const std::string doc =
        R"({"tavrin": 1, "comps": [{"name": "C", "layers": [{"solid": {}, "effects": [
        {"effect": "Tavrin Primitives Object", "params": {"X Points": )" +
        std::to_string(n) +
        R"(, "Y Points": 100, "Z Points": 100, "Generate Faces": "None"}},
        {"effect": "Tavrin Noise Effector", "params": {"Noise Amplitude": 50}}]}]}]})";
    tv::standalone::LoadDocumentText(doc, "bench.json", host);
    const auto& layer = *host.project().comps[0]->layers[0];
    for (auto _ : state) {
        tv::ScopedObjectMessage m;
        tv::Gather(host, layer.uid, tv::A_Time{0, 30000}, *m);
        benchmark::DoNotOptimize(m->geometry->positions.data());
    }
    state.counters["vertices"] = double(n) * 10000;
}
BENCHMARK(GatherWithNoise)
    ->ArgName("vertices")
    ->Arg(10000)
    ->Arg(100000)
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
