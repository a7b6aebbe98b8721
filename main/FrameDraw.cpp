#include "main/FrameDraw.h"

#include <algorithm>
#include <string>
#include <vector>

#include "engines/Feeding.h"
#include "host/CameraSnapshot.h"
#include "host/SequenceRecord.h"
#include "host/TextParam.h"

namespace tv {

PF_Err CheckoutMainParams(PF_InData* in, HostServices& host, MainParamValues& v) {
    for (int32_t i = 1; i < kMainParamCount; ++i) {
        if (i == kMainDepthMap) continue;
        if (host.checkoutParam(in->effect_ref, i, in->current_time, in->time_step, in->time_scale,
                               &v.p[i]))
            return PF_Err_OUT_OF_MEMORY;
        v.checkedOut[i] = true;
    }
    return PF_Err_NONE;
}

PF_Err CheckinMainParams(PF_InData* in, HostServices& host, MainParamValues& v) {
    PF_Err err = PF_Err_NONE;
    for (int32_t i = 1; i < kMainParamCount; ++i) {
        if (!v.checkedOut[i]) continue;
        const PF_Err e = host.checkinParam(in->effect_ref, &v.p[i]);
        if (!err) err = e;
        v.checkedOut[i] = false;
    }
    return err;
}

PF_Err DrawMessage(PF_InData* in, HostServices& host, ObjectMessage& message,
                   const MainParamValues& v, const FrameEngines& engines) {
    const CameraSnapshot camera = MakeCameraSnapshot(in, v.p[kMainNearVanish].u.floatValue,
                                                     v.p[kMainFarVanish].u.floatValue, kLeftHanded);
    float mv[16], proj[16];
    for (int i = 0; i < 16; ++i) {
        mv[i] = float(camera.modelView.m[i]);
        proj[i] = float(camera.projection.m[i]);
    }
    const double scale[3] = {camera.normalizeX, camera.normalizeY, camera.normalizeZ};
    const double viewport[4] = {0, 0, camera.width, camera.height};
    bool legacy = false;
    if (auto* record = static_cast<const SequenceRecord*>(host.lockHandle(in->sequence_data))) {
        legacy = record->flags & (kSeqFlagFromV1 | kSeqFlagFromV2);
        host.unlockHandle(in->sequence_data);
    }
    if (legacy) host.diagnostic("Legacy Project");
    for (TV_Base_Render* e : {engines.points, engines.lines, engines.triangles}) {
        e->setRenderParams(scale, viewport, mv, proj, camera.forward);
        e->legacyProjection = legacy;
        e->effectRef = in->effect_ref;
    }

    // The shading record: the lights that the name filter selects, point lights first, then spot
    // lights, at this time.
    ShadingRecord shading;
    shading.radius = v.p[kMainShadingRadius].u.floatValue;
    shading.falloff = v.p[kMainShadingFalloff].u.floatValue;
    shading.bothSides = v.p[kMainShadingMode].u.popup == 2;
    if (v.p[kMainUseLights].u.checkbox) {
        shading.enabled = true;
        const std::string names = ReadTextParam(host, v.p[kMainLightNames].u.arbData);
        std::vector<SceneLight> lights;
        CollectLights(in, lights, names, 0.0, AEGP_LightType_POINT);
        CollectLights(in, lights, names, 0.0, AEGP_LightType_SPOT);
        for (const SceneLight& l : lights) {
            ShadingLight s;
            std::copy(l.position, l.position + 3, s.position);
            std::copy(l.color, l.color + 3, s.color);
            s.intensity = l.intensity;
            shading.lights.push_back(s);
        }
    }

    GeometryStore& store = *message.geometry;
    store.blurs.assign(store.positions.size(), 0.0f);
    if (v.p[kMainDof].u.popup == 2)
        camera.fillBlurs(v.p[kMainBlurFactor].u.floatValue, store.positions, store.blurs);

    std::vector<RenderItem>& items = message.renders->items;
    const UsageMasks masks = BuildUsageMasks(items, store.positions.size());
    PF_Err err = PF_Err_NONE;
    for (RenderItem& item : items) {
        if (item.kind == kRenderFacets && !engines.triangles->isGpu())
            host.renderNote("facets-skipped",
                            "facets are drawn only by the unified GL path; the software path "
                            "leaves them out");
        if (!err)
            err = FeedItem(*engines.points, *engines.lines, *engines.triangles, item, store, masks,
                           &shading);
        FreeRenderItem(item);
    }
    items.clear();
    return err;
}

}  // namespace tv
