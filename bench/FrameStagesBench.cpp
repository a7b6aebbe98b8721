// The bundled network example at several vertex counts (the sphere's slices and stacks raised),
// optionally with one position noise effector. "NetworkFrame" is a whole frame through the comp
// renderer, as `tavrin render` draws it (no file written). "NetworkStages" drives the same frame
// step by step the way the main effect's frame driver does, through the same functions (its
// engine factory and its draw of a gathered message), and times each stage where it runs (the
// counters, in ms per frame):
//   gather      sources, the derived arrays and the jitter (the layer's gather less its effectors)
//   effectors   the effectors' calls during the gather, timed by the host as it makes them
//   renderers   the renderers' calls (the lines renderer's neighbour search is here)
//   feed+sort   the camera, draw records from the render items, the depth sort, blurs and usage
//               masks
//   projection  the engines projecting the records and finding the tiles each one touches
//   raster      the engines drawing their tiles
//   output      unpremultiply, "over" into the comp frame, PNG written to the temp directory
// "_Ours" runs on all threads and "_Peer" on one, so each ratio is the threads' gain. Each
// stage's row also gives the process's resident peak during that stage (bench/PeakMemory.h),
// and each case's row the peak over its frames. Frames are 1280x720 and 1920x1080.
#include <benchmark/benchmark.h>
#include <tbb/global_control.h>
#include <tbb/info.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <filesystem>

#include "engines/EngineFactory.h"
#include "host/Gather.h"
#include "host/ObjectMessage.h"
#include "host/Unpremultiply.h"
#include "main/FrameDraw.h"
#include "main/MainParams.h"
#include "PeakMemory.h"
#include "standalone/BundledExample.h"
#include "standalone/CompRenderer.h"
#include "standalone/ImageOutput.h"

namespace {

using namespace tv;
using Clock = std::chrono::steady_clock;

double Seconds(Clock::time_point a, Clock::time_point b) {
    return std::chrono::duration<double>(b - a).count();
}

// The embedded host, timing the effectors' calls as it makes them.
class StageHost : public standalone::EmbeddedHost {
  public:
    double effectorSeconds = 0;
    PF_Err effectCallGeneric(AEGP_PluginID plugin, AEGP_EffectRefH ref, const A_Time& time,
                             PF_Cmd cmd, void* extra) override {
        const std::string name = effectMatchName(installedKeyFromLayerEffect(ref));
        if (name.rfind(kEffectorPrefix, 0) != 0)
            return EmbeddedHost::effectCallGeneric(plugin, ref, time, cmd, extra);
        const Clock::time_point start = Clock::now();
        const PF_Err err = EmbeddedHost::effectCallGeneric(plugin, ref, time, cmd, extra);
        effectorSeconds += Seconds(start, Clock::now());
        return err;
    }
};

// The sphere as close to `vertices` as slices x stacks at 3:2 allow; `made` is how many it has.
standalone::Comp& BuildScene(standalone::EmbeddedHost& host, int64_t vertices, bool noise,
                             int64_t height, int64_t* made = nullptr) {
    const auto width = int32_t(height * 16 / 9);
    standalone::Comp& comp = standalone::BuildBundledExample(host, width, int32_t(height));
    standalone::Layer& layer = *comp.layers.front();
    const auto stacks = int32_t(std::lround(std::sqrt(double(vertices) / 1.5)));
    const auto slices = int32_t(std::lround(double(vertices) / stacks));
    standalone::EffectInstance& sphere = *layer.effects[1];
    sphere.params[12].value.u.slider = slices;  // "Sphere Slices"
    sphere.params[13].value.u.slider = stacks;  // "Sphere Stacks"
    if (made) *made = int64_t(slices) * stacks;
    if (noise) {
        standalone::EffectInstance& fx = host.applyEffectInstance(layer, "KDL TAVREFF Noise");
        fx.params[5].value.u.floatValue = 90;  // "Noise Amplitude"
        host.runIdleTasks();
    }
    return comp;
}

struct StageTimes {
    double gather = 0, effectors = 0, renderers = 0, feed = 0, project = 0, raster = 0, output = 0;
    // The resident peak in MB while each part ran: gather with its effectors, renderers, the
    // draw (feed, projection, raster), output. Only the first frame's: the process keeps what
    // a frame frees, so from the second frame on the resident size is the first frame's peak.
    double gatherMB = 0, renderersMB = 0, drawMB = 0, outputMB = 0;
    bool notePeaks = true;
};

// Keeps the largest of the peaks seen so far and starts the next stage's.
void NotePeak(const StageTimes& t, double& mb) {
    if (!t.notePeaks) return;
    mb = std::max(mb, bench::PeakMemoryMB());
    bench::ResetPeakMemory();
}

// One frame the way the main effect's frame driver draws it, with each stage timed: the gather
// split into its sources and its renderers, then the driver's own draw of the message into the
// software engines the driver's factory makes.
void RunStages(StageHost& host, standalone::Comp& comp, const std::string& png, StageTimes& t) {
    standalone::Layer& layer = *comp.layers.front();
    standalone::EffectInstance& main = *layer.effects.front();
    const A_Time time = comp.frameTime(0);
    standalone::LayerWorld world(layer.width, layer.height, 8);

    ScopedObjectMessage message;
    GatherContext root;
    root.host = &host;
    root.layer = layer.uid;
    root.time = time;
    host.effectorSeconds = 0;
    bench::ResetPeakMemory();
    const Clock::time_point t0 = Clock::now();
    GatherById(root, *message, host.layerId(layer.uid), time);
    const Clock::time_point t1 = Clock::now();
    NotePeak(t, t.gatherMB);
    RunRenderers(root, layer.uid, time, *message);
    const Clock::time_point t2 = Clock::now();
    NotePeak(t, t.renderersMB);
    t.effectors += host.effectorSeconds;
    t.gather += Seconds(t0, t1) - host.effectorSeconds;
    t.renderers += Seconds(t1, t2);

    PF_InData in;
    in.pica_basicP = &host;
    in.effect_ref = main.uid;
    in.current_time = time.value;
    in.time_scale = time.scale;
    in.width = layer.width;
    in.height = layer.height;
    in.sequence_data = main.sequenceData;
    MainParamValues params;
    CheckoutMainParams(&in, host, params);
    const FrameEngines engines = MakeFrameEngines(
        EngineRequest{EnginePath::kSoftware, &host, &world.world, 8, 0, 0, nullptr});
    EngineTimes engineTimes;
    for (const auto& engine : engines.owned) engine->times = &engineTimes;
    bench::ResetPeakMemory();
    const Clock::time_point t3 = Clock::now();
    DrawMessage(&in, host, *message, params, engines);
    const Clock::time_point t4 = Clock::now();
    NotePeak(t, t.drawMB);
    CheckinMainParams(&in, host, params);
    t.project += engineTimes.projectSeconds;
    t.raster += engineTimes.tileSeconds;
    t.feed += Seconds(t3, t4) - engineTimes.projectSeconds - engineTimes.tileSeconds;

    const Clock::time_point t5 = Clock::now();
    UnpremultiplyWorld(&host, world.world);
    standalone::FloatImage frame;
    frame.width = comp.width;
    frame.height = comp.height;
    frame.rgba.assign(size_t(comp.width) * size_t(comp.height) * 4, 0.0f);
    standalone::CompositeOver(frame, world.world, 0, 0, 1.0f);
    standalone::WriteImage(png, frame, 8);
    t.output += Seconds(t5, Clock::now());
    NotePeak(t, t.outputMB);
}

void Stages(benchmark::State& state, size_t threads) {
    tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
    StageHost host;
    int64_t vertices = 0;
    standalone::Comp& comp =
        BuildScene(host, state.range(0), state.range(1) != 0, state.range(2), &vertices);
    const std::string png =
        (std::filesystem::temp_directory_path() / "tavrin_bench_stages.png").string();
    StageTimes t;
    bench::StartCaseMemory();
    // The first frame takes its memory fresh from the system; later ones reuse what it freed.
    double firstSeconds = 0, laterSeconds = 0;
    int64_t frames = 0;
    for (auto _ : state) {
        const Clock::time_point start = Clock::now();
        t.notePeaks = frames == 0;
        RunStages(host, comp, png, t);
        (frames++ == 0 ? firstSeconds : laterSeconds) += Seconds(start, Clock::now());
    }
    std::filesystem::remove(png);
    const auto perFrameMs = [](double s) {
        return benchmark::Counter(s * 1e3, benchmark::Counter::kAvgIterations);
    };
    state.counters["1 gather"] = perFrameMs(t.gather);
    state.counters["2 effectors"] = perFrameMs(t.effectors);
    state.counters["3 renderers"] = perFrameMs(t.renderers);
    state.counters["4 feed+sort"] = perFrameMs(t.feed);
    state.counters["5 projection"] = perFrameMs(t.project);
    state.counters["6 raster"] = perFrameMs(t.raster);
    state.counters["7 output"] = perFrameMs(t.output);
    state.counters["vertices"] = double(vertices);
    state.counters["8 first frame ms"] = firstSeconds * 1e3;
    if (frames > 1) state.counters["9 later frames ms"] = laterSeconds * 1e3 / double(frames - 1);
    // Peaks (MB, not averaged): the table puts them in its memory columns.
    state.counters["1 gather MB"] = t.gatherMB;
    state.counters["3 renderers MB"] = t.renderersMB;
    state.counters["4-6 draw MB"] = t.drawMB;
    state.counters["7 output MB"] = t.outputMB;
    state.counters["MB"] = std::max({t.gatherMB, t.renderersMB, t.drawMB, t.outputMB});
}

// The whole frame through the comp renderer (no file output), as `tavrin render` draws it.
void Frame(benchmark::State& state, size_t threads) {
    tbb::global_control limit(tbb::global_control::max_allowed_parallelism, threads);
    standalone::EmbeddedHost host;
    const standalone::Comp& comp =
        BuildScene(host, state.range(0), state.range(1) != 0, state.range(2));
    bench::StartCaseMemory();
    for (auto _ : state) {
        standalone::CompRenderer renderer(host);  // a fresh cache: every frame is drawn
        std::vector<std::string> messages;
        benchmark::DoNotOptimize(renderer.renderFrame(comp, 0, 8, messages).rgba.data());
    }
    state.counters["MB"] = bench::PeakMemoryMB();
}

void NetworkStages_Ours(benchmark::State& s) {
    Stages(s, tbb::info::default_concurrency());
}
void NetworkStages_Peer(benchmark::State& s) {
    Stages(s, 1);
}
void NetworkFrame_Ours(benchmark::State& s) {
    Frame(s, tbb::info::default_concurrency());
}
void NetworkFrame_Peer(benchmark::State& s) {
    Frame(s, 1);
}

// The example as it ships (1536 vertices), then 10k and 100k, and 100k with a noise effector,
// at 720 and 1080 lines.
void Sizes(benchmark::internal::Benchmark* b) {
    b->ArgNames({"vertices", "noise", "lines"});
    for (int64_t lines : {720, 1080}) {
        for (int64_t n : {1536, 10000, 100000}) b->Args({n, 0, lines});
        b->Args({100000, 1, lines});
    }
    b->Unit(benchmark::kMillisecond)->UseRealTime();
}

// A million vertices on all threads only: one frame takes seconds.
void SizesWithMillion(benchmark::internal::Benchmark* b) {
    Sizes(b);
    for (int64_t lines : {720, 1080}) b->Args({1000000, 0, lines});
}

BENCHMARK(NetworkStages_Ours)->Apply(SizesWithMillion);
BENCHMARK(NetworkStages_Peer)->Apply(Sizes);
BENCHMARK(NetworkFrame_Ours)->Apply(Sizes);
BENCHMARK(NetworkFrame_Peer)->Apply(Sizes);

}  // namespace
