// The bundled example's frame at 1920x1080 through the unified GL path at 16 and 64 samples,
// against the software path on the same frame in the same run. On a machine without a GPU the GL
// is llvmpipe; the same command on a GPU machine measures the GPU.
#include <benchmark/benchmark.h>

#include <optional>
#include <string>

#include "main/MainParams.h"
#include "resources/EffectTable.h"
#include "standalone/BundledExample.h"
#include "standalone/CompRenderer.h"
#include "standalone/RenderNotes.h"

namespace {

// Sets the main effect of every layer: unified or not, its quality, motion blur off (so that the
// quality alone sets the samples).
void SetMain(tv::standalone::EmbeddedHost& host, const tv::standalone::Comp& comp, bool unified,
             int32_t quality) {
    for (const auto& layer : comp.layers)
        for (const auto& instance : layer->effects) {
            const auto* installed = host.installedEffect(instance->key);
            if (!installed || installed->matchName != tv::EffectTable()[0].matchName) continue;
            instance->params[tv::kMainUnified].value.u.checkbox = unified ? 1 : 0;
            instance->params[tv::kMainRenderQuality].value.u.popup = quality;
            instance->params[tv::kMainMotionBlur].value.u.popup = 1;
        }
}

void Frame(benchmark::State& state, bool unified, int32_t quality, int32_t samples) {
    tv::standalone::EmbeddedHost host;
    tv::standalone::Comp& comp = tv::standalone::BuildBundledExample(host, 1920, 1080);
    SetMain(host, comp, unified, quality);
    {  // the GL context and programs are made once per process, outside the timing
        tv::standalone::CompRenderer renderer(host);
        std::vector<std::string> messages;
        renderer.renderFrame(comp, 0, 8, messages);
    }
    // The passes the GL path drew: a frame that fell back to software has none to count.
    const std::optional<int64_t> passes = tv::standalone::UnifiedPassesOf(host.renderNotes());
    if (unified && !passes) {
        std::string why = "the unified GL path did not run:";
        for (const auto& [key, texts] : host.renderNotes())
            for (const std::string& t : texts) why += " [" + key + "] " + t + ";";
        state.SkipWithError(why.c_str());
        return;
    }
    if (unified && *passes != samples) {
        state.SkipWithError(("the unified GL path ran " + std::to_string(*passes) +
                             " passes, not " + std::to_string(samples))
                                .c_str());
        return;
    }
    for (auto _ : state) {
        tv::standalone::CompRenderer renderer(host);  // a fresh cache: every frame is drawn
        std::vector<std::string> messages;
        benchmark::DoNotOptimize(renderer.renderFrame(comp, 0, 8, messages).rgba.data());
    }
    if (unified)
        state.counters["passes/s"] = benchmark::Counter(
            double(*passes) * double(state.iterations()), benchmark::Counter::kIsRate);
}

// "_Ours" is the unified path, "_Peer" the software path on the same frame (one gather, no
// passes), so the ratio says what the passes cost against the software frame.
void UnifiedFrame1080_16Samples_Ours(benchmark::State& s) {
    Frame(s, true, 1, 16);
}
void UnifiedFrame1080_16Samples_Peer(benchmark::State& s) {
    Frame(s, false, 1, 1);
}
void UnifiedFrame1080_64Samples_Ours(benchmark::State& s) {
    Frame(s, true, 6, 64);
}
void UnifiedFrame1080_64Samples_Peer(benchmark::State& s) {
    Frame(s, false, 6, 1);
}

// The growth with the passes: Render Quality 1, 3, 6 and 8 draw 16, 32, 64 and 128 passes (the
// GL path's floors; it never draws fewer than 16, and more than 128 needs depth of field, which
// this example has not).
void UnifiedFrame1080Passes(benchmark::State& s) {
    static constexpr int32_t kPassesOfQuality[9] = {0, 16, 24, 32, 40, 48, 64, 72, 128};
    const auto quality = int32_t(s.range(0));
    Frame(s, true, quality, kPassesOfQuality[quality]);
}

BENCHMARK(UnifiedFrame1080_16Samples_Ours)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(UnifiedFrame1080_16Samples_Peer)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(UnifiedFrame1080_64Samples_Ours)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(UnifiedFrame1080_64Samples_Peer)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(UnifiedFrame1080Passes)
    ->ArgName("quality")
    ->Arg(1)
    ->Arg(3)
    ->Arg(6)
    ->Arg(8)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace
