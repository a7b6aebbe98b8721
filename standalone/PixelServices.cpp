// The embedded host's pixel services: the input and output worlds of the instance rendering on
// this thread, and the pixels of a layer a layer parameter chooses or a sprite asks for, made
// by the compositor (LayerPixels.h) and held until they are checked in.
#include <algorithm>

#include "standalone/CallTimes.h"
#include "standalone/EmbeddedHost.h"
#include "standalone/LayerPixels.h"

namespace tv::standalone {

namespace {

// The worlds of the instances rendering on this thread, innermost last.
thread_local std::vector<EmbeddedHost::RenderWorlds> tRenderWorlds;

// Pixels checked out for layer parameters on this thread, until they are checked in.
struct ParamPixels {
    uint64_t instance = 0;
    int32_t index = 0;
    std::unique_ptr<LayerWorld> world;
};
thread_local std::vector<ParamPixels> tParamPixels;

// Layers whose pixels are being made for a layer parameter on this thread. A layer met again
// (through an effect on it that maps itself) gives its source alone, so cycles end.
thread_local std::vector<uint64_t> tLayersInMaking;

struct MakingScope {
    explicit MakingScope(uint64_t layer) { tLayersInMaking.push_back(layer); }
    ~MakingScope() { tLayersInMaking.pop_back(); }
    MakingScope(const MakingScope&) = delete;
    MakingScope& operator=(const MakingScope&) = delete;
};

// Layer frames checked out for sprites on this thread.
thread_local std::vector<std::unique_ptr<LayerWorld>> tLayerFrames;

}  // namespace

void EmbeddedHost::pushRenderWorlds(const RenderWorlds& worlds) {
    tRenderWorlds.push_back(worlds);
}
void EmbeddedHost::popRenderWorlds() {
    if (!tRenderWorlds.empty()) tRenderWorlds.pop_back();
}

PF_Err EmbeddedHost::checkoutOutput(PF_ProgPtr ref, PF_EffectWorld** out) {
    if (!out) return PF_Err_BAD_CALLBACK_PARAM;
    for (auto it = tRenderWorlds.rbegin(); it != tRenderWorlds.rend(); ++it)
        if (it->instance == ref) {
            *out = it->output;
            return PF_Err_NONE;
        }
    return PF_Err_BAD_CALLBACK_PARAM;
}

PF_Err EmbeddedHost::checkoutLayerPixels(PF_ProgPtr ref, int32_t index, PF_EffectWorld** out) {
    if (!out) return PF_Err_BAD_CALLBACK_PARAM;
    if (index == 0) {
        for (auto it = tRenderWorlds.rbegin(); it != tRenderWorlds.rend(); ++it)
            if (it->instance == ref) {
                *out = it->input;
                return PF_Err_NONE;
            }
        return PF_Err_BAD_CALLBACK_PARAM;
    }
    // A layer parameter: the chosen layer of the instance's comp, at the time of the call.
    *out = nullptr;
    const EffectInstance* instance = instanceByUid(ref);
    Layer* own = layerOfInstance(ref);
    if (!instance || !own) return PF_Err_BAD_CALLBACK_PARAM;
    if (index < 0 || size_t(index) >= instance->params.size()) return PF_Err_INVALID_INDEX;
    A_Time time;
    if (!CurrentCallTime(ref, time)) return PF_Err_BAD_CALLBACK_PARAM;
    PF_ParamDef def;
    if (const PF_Err err = checkoutParam(ref, index, time.value, 0, time.scale, &def)) return err;
    if (def.param_type != PF_Param_LAYER) return PF_Err_BAD_CALLBACK_PARAM;
    if (def.u.layerId == 0) return PF_Err_NONE;  // no layer chosen: no pixels
    const Comp* comp = compOfLayer(*own);
    Layer* chosen =
        comp ? layerByUid(layerFromLayerId(comp->uid, uint32_t(def.u.layerId))) : nullptr;
    if (!chosen || chosen->width <= 0 || chosen->height <= 0) return PF_Err_NONE;
    if (chosen->kind == LayerKind::Camera || chosen->kind == LayerKind::Light ||
        chosen->kind == LayerKind::Audio)
        return PF_Err_NONE;
    // At the depth of the frame being rendered on this thread; 16 bits have no pixel path here.
    int32_t bitDepth = 8;
    if (!tRenderWorlds.empty() && tRenderWorlds.back().output &&
        tRenderWorlds.back().output->format == PF_PixelFormat_ARGB128)
        bitDepth = 32;
    // The effect's own layer, or one already being made, gives its source alone.
    const bool withEffects =
        chosen != own && std::find(tLayersInMaking.begin(), tLayersInMaking.end(), chosen->uid) ==
                             tLayersInMaking.end();
    const A_Time compTime = convertLayerToCompTime(own->uid, time);
    std::unique_ptr<LayerWorld> world;
    {
        const MakingScope making(chosen->uid);
        if (const PF_Err err =
                MakeLayerPixels(*this, *chosen, compTime, bitDepth, withEffects, world))
            return err;
    }
    *out = &world->world;
    tParamPixels.push_back(ParamPixels{ref, index, std::move(world)});
    return PF_Err_NONE;
}

PF_Err EmbeddedHost::checkinLayerPixels(PF_ProgPtr ref, int32_t index) {
    if (index == 0) return PF_Err_NONE;
    for (auto it = tParamPixels.rbegin(); it != tParamPixels.rend(); ++it)
        if (it->instance == ref && it->index == index) {
            tParamPixels.erase(std::next(it).base());
            break;
        }
    return PF_Err_NONE;
}

PF_Err EmbeddedHost::checkoutLayerFrame(AEGP_LayerH layerH, const A_Time& layerTime,
                                        int32_t bitDepth, PF_EffectWorld** out) {
    if (!out) return PF_Err_BAD_CALLBACK_PARAM;
    *out = nullptr;
    Layer* layer = layerByUid(layerH);
    if (!layer) return PF_Err_BAD_CALLBACK_PARAM;
    if (layer->width <= 0 || layer->height <= 0 || layer->kind == LayerKind::Camera ||
        layer->kind == LayerKind::Light || layer->kind == LayerKind::Audio)
        return PF_Err_NONE;
    // A layer already being made (a sprite of itself) gives its source alone, so cycles end.
    const bool withEffects = std::find(tLayersInMaking.begin(), tLayersInMaking.end(),
                                       layer->uid) == tLayersInMaking.end();
    std::unique_ptr<LayerWorld> world;
    {
        const MakingScope making(layer->uid);
        if (const PF_Err err =
                MakeLayerPixels(*this, *layer, convertLayerToCompTime(layerH, layerTime),
                                bitDepth == 32 ? 32 : 8, withEffects, world))
            return err;
    }
    *out = &world->world;
    tLayerFrames.push_back(std::move(world));
    return PF_Err_NONE;
}

PF_Err EmbeddedHost::checkinLayerFrame(PF_EffectWorld* world) {
    for (auto it = tLayerFrames.begin(); it != tLayerFrames.end(); ++it)
        if (&(*it)->world == world) {
            tLayerFrames.erase(it);
            break;
        }
    return PF_Err_NONE;
}

}  // namespace tv::standalone
