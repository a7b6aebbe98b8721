#include "renderers/HeldFrames.h"

#include <cstdio>

#include "host/EffectTemplate.h"
#include "host/LayerLookup.h"
#include "host/SuiteCache.h"

namespace tv {

ParallelFor HostParallel(HostServices& host) {
    return [&host](int32_t count, const std::function<void(int32_t)>& job) {
        host.iterate(count, [&job](int32_t i) {
            job(i);
            return PF_Err_NONE;
        });
    };
}

void RequestHeldFrames(PF_InData* in, ObjectMessage& m, const std::vector<int32_t>& times) {
    SuiteCache suites(in);
    HostServices& host = suites.host();
    const AEGP_LayerH layer = OwnLayer(host, in->effect_ref);
    m.flags |= kMsgNeedsLayers;
    for (int32_t t : times) {
        const A_Time comp = host.convertLayerToCompTime(layer, A_Time{t, in->time_scale});
        m.requestLayer(m.renders, host.layerId(layer), PackTime(comp));
    }
}

std::vector<GeometryStore*> HeldFrameStores(ObjectMessage& m) {
    uint32_t count = 0;
    m.gatheredCount(m.renders, &count);
    std::vector<GeometryStore*> stores;
    for (uint32_t i = 0; i < count; ++i) {
        ObjectMessage* g = nullptr;
        m.gatheredAt(m.renders, int32_t(i), &g);
        if (g) stores.push_back(g->geometry);
    }
    return stores;
}

void AddHeldFrameDependencies(PF_InData* in, ObjectMessage& m, const std::vector<int32_t>& times) {
    SuiteCache suites(in);
    HostServices& host = suites.host();
    const AEGP_LayerH layer = OwnLayer(host, in->effect_ref);
    for (int32_t t : times)
        m.addDependency(m.hash, layer,
                        PackTime(host.convertLayerToCompTime(layer, A_Time{t, in->time_scale})));
}

PF_Err UpdateFrameButton(PF_InData* in, const ParamSpec& button, const ParamSpec& frameNum,
                         bool holdingOneFrame) {
    SuiteCache suites(in);
    int32_t frame = CheckoutParam(in, frameNum.index).u.slider;
    if (CheckoutParam(in, button.index).u.checkbox) {
        const PF_ParamDef off = DefaultParamValue(button);
        if (const PF_Err err = suites->setParamValue(in->effect_ref, button.index, off)) return err;
        frame = in->time_step ? in->current_time / in->time_step : 0;
        PF_ParamDef value = DefaultParamValue(frameNum);
        value.u.slider = frame;
        if (const PF_Err err = suites->setParamValue(in->effect_ref, frameNum.index, value))
            return err;
    }
    if (!holdingOneFrame) return PF_Err_NONE;
    char label[32];
    std::snprintf(label, sizeof label, "Frame %i", frame);
    return suites->setParamLabel(in->effect_ref, button.index, label);
}

}  // namespace tv
