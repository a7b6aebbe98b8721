// The embedded host's audio service: the samples of the audio layer an effect's layer parameter
// chooses, over a span of the effect's time.
#include <algorithm>
#include <cmath>

#include "standalone/Audio.h"
#include "standalone/EmbeddedHost.h"

namespace tv::standalone {

PF_Err EmbeddedHost::layerAudio(PF_ProgPtr ref, int32_t index, double startSeconds,
                                double lengthSeconds, int32_t rate, std::vector<float>& out) {
    out.clear();
    const EffectInstance* instance = instanceByUid(ref);
    Layer* own = layerOfInstance(ref);
    if (!instance || !own || rate <= 0) return PF_Err_BAD_CALLBACK_PARAM;
    if (index < 1 || size_t(index) >= instance->params.size()) return PF_Err_INVALID_INDEX;
    const PF_ParamDef& def = instance->params[size_t(index)].value;
    if (def.param_type != PF_Param_LAYER || def.u.layerId == 0) return PF_Err_BAD_CALLBACK_PARAM;
    const Comp* comp = compOfLayer(*own);
    const Layer* audio =
        comp ? layerByUid(layerFromLayerId(comp->uid, uint32_t(def.u.layerId))) : nullptr;
    if (!audio || audio->kind != LayerKind::Audio || audio->sourceFile.empty())
        return PF_Err_BAD_CALLBACK_PARAM;
    std::string error;
    const auto samples = MonoSamples(audio->sourceFile, rate, error);
    if (!samples) {
        diagnostic(error);
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    // The effect's time to the comp's, then to the audio layer's own.
    const double offset = own->startTime - audio->startTime;
    const auto first = int64_t(std::floor((startSeconds + offset) * rate));
    const auto count = int64_t(std::max(0.0, lengthSeconds) * rate);
    out.assign(size_t(count), 0.0f);
    for (int64_t i = 0; i < count; ++i) {
        const int64_t j = first + i;
        if (j >= 0 && j < int64_t(samples->size())) out[size_t(i)] = (*samples)[size_t(j)];
    }
    return PF_Err_NONE;
}

}  // namespace tv::standalone
