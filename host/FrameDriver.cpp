#include "host/FrameDriver.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>

#include "engines/AGGEngine.h"
#include "engines/Feeding.h"
#include "engines/KDLRender.h"
#include "host/CameraSnapshot.h"
#include "host/Gather.h"
#include "host/MainParams.h"
#include "host/ParamHash.h"
#include "host/SampleTimes.h"
#include "host/SequenceRecord.h"
#include "host/SuiteCache.h"
#include "host/TextParam.h"
#include "host/Unpremultiply.h"

namespace tv {

namespace {

// Samples per "Render Quality": base, depth of field, unified.
constexpr int32_t kBaseSamples[8] = {1, 4, 8, 16, 32, 64, 72, 128};
constexpr int32_t kDofSamples[8] = {32, 64, 128, 256, 512, 1024, 1536, 2048};

// The parameters of one command, slot 26 (the depth map layer) left out.
struct MainParamValues {
    PF_ParamDef p[kMainParamCount];
    bool checkedOut[kMainParamCount] = {};
};

// Stops at the first failure; the slots after it stay as they were.
PF_Err CheckoutAll(PF_InData* in, HostServices& host, MainParamValues& v) {
    for (int32_t i = 1; i < kMainParamCount; ++i) {
        if (i == kMainDepthMap) continue;
        if (host.checkoutParam(in->effect_ref, i, in->current_time, in->time_step, in->time_scale,
                               &v.p[i]))
            return PF_Err_OUT_OF_MEMORY;
        v.checkedOut[i] = true;
    }
    return PF_Err_NONE;
}

// Checks in every slot that was checked out; the first error is kept and the rest still run.
PF_Err CheckinAll(PF_InData* in, HostServices& host, MainParamValues& v) {
    PF_Err err = PF_Err_NONE;
    for (int32_t i = 1; i < kMainParamCount; ++i) {
        if (!v.checkedOut[i]) continue;
        const PF_Err e = host.checkinParam(in->effect_ref, &v.p[i]);
        if (!err) err = e;
        v.checkedOut[i] = false;
    }
    return err;
}

void AppendMessage(PF_OutData* out, const std::string& text) {
    std::strncat(out->return_msg, text.c_str(), 255 - std::strlen(out->return_msg));
}

std::vector<A_Time> SampleTimesOf(PF_InData* in, HostServices& host, const MainParamValues& v) {
    SampleTimeInputs s;
    s.time = host.convertEffectToCompTime(in->effect_ref, in->current_time, in->time_scale);
    s.mode = v.p[kMainMotionBlur].u.popup;
    s.angle = v.p[kMainShutterAngle].u.floatValue;
    s.phase = v.p[kMainShutterPhase].u.floatValue;
    s.compShutterAngle = in->shutter_angle;
    s.compShutterPhase = in->shutter_phase;
    s.samples = v.p[kMainMotionBlurSamples].u.slider;
    s.timeStep = in->time_step;
    s.timeScale = in->time_scale;
    return BuildSampleTimes(s);
}

uint64_t FrameHash(PF_InData* in, HostServices& host, const MainParamValues& v) {
    ParamHasher h(101);
    const CameraSnapshot camera = MakeCameraSnapshot(in, v.p[kMainNearVanish].u.floatValue,
                                                     v.p[kMainFarVanish].u.floatValue, kLeftHanded);
    for (double d : camera.modelViewProjection.m) h.add(d);
    if (v.p[kMainUseLights].u.checkbox) {
        // The name filter enters as one value, then the values of the lights it selects.
        const std::string names = ReadTextParam(host, v.p[kMainLightNames].u.arbData);
        h.add(std::string_view(names));
        std::vector<SceneLight> lights;
        CollectLights(in, lights, names, 0.0);
        for (const SceneLight& l : lights) {
            for (double d : l.position) h.add(d);
            for (float f : l.color) h.add(f);
            h.add(l.intensity).add(l.shadowDarkness).add(l.shadowDiffusion);
        }
    }
    return h.value();
}

// Draws one gathered message with the frame's camera into the two software engines.
PF_Err DrawMessage(PF_InData* in, HostServices& host, ObjectMessage& message,
                   const MainParamValues& v, KDLRender& points, AGGEngine& lines) {
    const CameraSnapshot camera = MakeCameraSnapshot(in, v.p[kMainNearVanish].u.floatValue,
                                                     v.p[kMainFarVanish].u.floatValue, kLeftHanded);
    float mv[16], proj[16];
    for (int i = 0; i < 16; ++i) {
        mv[i] = float(camera.modelView.m[i]);
        proj[i] = float(camera.projection.m[i]);
    }
    const double scale[3] = {camera.normalizeX, camera.normalizeY, camera.normalizeZ};
    const double viewport[4] = {0, 0, camera.width, camera.height};
    points.setRenderParams(scale, viewport, mv, proj, camera.forward);
    lines.setRenderParams(scale, viewport, mv, proj, camera.forward);
    bool legacy = false;
    if (auto* record = static_cast<const SequenceRecord*>(host.lockHandle(in->sequence_data))) {
        legacy = record->flags & (kSeqFlagFromV1 | kSeqFlagFromV2);
        host.unlockHandle(in->sequence_data);
    }
    if (legacy) host.diagnostic("Legacy Project");
    points.legacyProjection = lines.legacyProjection = legacy;

    GeometryStore& store = *message.geometry;
    store.blurs.assign(store.positions.size(), 0.0f);
    if (v.p[kMainDof].u.popup == 2)
        camera.fillBlurs(v.p[kMainBlurFactor].u.floatValue, store.positions, store.blurs);

    std::vector<RenderItem>& items = message.renders->items;
    const UsageMasks masks = BuildUsageMasks(items, store.positions.size());
    PF_Err err = PF_Err_NONE;
    for (RenderItem& item : items) {
        // Points and sprites go to the first engine; lines, beams and triangles to the second
        // (the software path has no third engine of its own).
        if (!err) err = FeedItem(points, lines, lines, item, store, masks);
        FreeRenderItem(item);
    }
    items.clear();
    return err;
}

PF_Err RunStack(PF_InData* in, PF_OutData* out, HostServices& host, const MainParamValues& v,
                KDLRender& points, AGGEngine& lines) {
    const AEGP_EffectRefH self = host.effectFromInstance(0, in->effect_ref);
    const AEGP_LayerH layer = host.effectLayer(self);
    host.disposeEffect(self);
    std::vector<AEGP_LayerH> layers{layer};
    if (host.layerFlags(layer) & AEGP_LayerFlag_COLLAPSE) {
        const AEGP_ItemH item = host.layerSourceItem(layer);
        if (item && host.itemType(item) == AEGP_ItemType_COMP) {
            layers.clear();
            const AEGP_CompH comp = host.compFromItem(item);
            const int32_t n = host.compNumLayers(comp);
            for (int32_t i = 0; i < n; ++i) {
                const AEGP_LayerH l = host.compLayerByIndex(comp, i);
                if (host.layerFlags(l) & AEGP_LayerFlag_VIDEO_ACTIVE) layers.push_back(l);
            }
        }
    }
    const A_Time time =
        host.convertEffectToCompTime(in->effect_ref, in->current_time, in->time_scale);
    PF_Err drawErr = PF_Err_NONE;
    for (AEGP_LayerH l : layers) {
        ObjectMessage message;
        if (const PF_Err e = InitObjectMessage(message)) return e;
        const PF_Err status = Gather(host, l, time, message);
        if (status == kLoopGuardStatus) AppendMessage(out, kInfiniteLoopMessage);
        if (!drawErr) drawErr = DrawMessage(in, host, message, v, points, lines);
        for (TV_Base_Render* engine :
             {static_cast<TV_Base_Render*>(&points), static_cast<TV_Base_Render*>(&lines)}) {
            if (!engine->pendingError().empty()) AppendMessage(out, engine->pendingError());
            engine->pendingError().clear();
        }
        DisposeObjectMessage(message);
    }
    return drawErr;
}

}  // namespace

uint64_t MainFrameHash(PF_InData* in_data, bool& ok) {
    SuiteCache suites(in_data);
    HostServices& host = suites.host();
    MainParamValues v;
    ok = !CheckoutAll(in_data, host, v);
    const uint64_t key = ok ? FrameHash(in_data, host, v) : 0;
    CheckinAll(in_data, host, v);
    return key;
}

PF_Err MainPreRender(PF_InData* in_data, PF_OutData* /*out_data*/, PF_PreRenderExtra* extra) {
    if (!extra) return PF_Err_BAD_CALLBACK_PARAM;
    SuiteCache suites(in_data);
    HostServices& host = suites.host();
    const int32_t w =
        int32_t(double(in_data->width) * in_data->downsample_x.num / in_data->downsample_x.den);
    const int32_t h =
        int32_t(double(in_data->height) * in_data->downsample_y.num / in_data->downsample_y.den);
    const PF_LRect rect{0, 0, w, h};
    MainParamValues v;
    const PF_Err checkout = CheckoutAll(in_data, host, v);
    if (!checkout && in_data->version.major >= 13 && in_data->version.minor >= 8) {
        const uint64_t key = FrameHash(in_data, host, v);
        if (extra->guid_mix_in) extra->guid_mix_in(in_data->effect_ref, 8, &key);
        const AEGP_EffectRefH self = host.effectFromInstance(0, in_data->effect_ref);
        const AEGP_LayerH layer = host.effectLayer(self);
        host.disposeEffect(self);
        for (const A_Time& t : SampleTimesOf(in_data, host, v))
            MixStackHash(host, layer, t, in_data->effect_ref, extra->guid_mix_in, {});
    }
    const PF_Err checkin = CheckinAll(in_data, host, v);
    if (checkout) return PF_Err_OUT_OF_MEMORY;
    auto unite = [&rect](PF_LRect& r) {
        if (r.left >= r.right || r.top >= r.bottom) {
            r = rect;
            return;
        }
        r.left = std::min(r.left, rect.left);
        r.top = std::min(r.top, rect.top);
        r.right = std::max(r.right, rect.right);
        r.bottom = std::max(r.bottom, rect.bottom);
    };
    unite(extra->result_rect);
    unite(extra->max_result_rect);
    return checkin;
}

PF_Err MainSmartRender(PF_InData* in_data, PF_OutData* out_data, PF_SmartRenderExtra* /*extra*/) {
    SuiteCache suites(in_data);
    HostServices& host = suites.host();
    PF_EffectWorld* output = nullptr;
    if (const PF_Err err = host.checkoutOutput(in_data->effect_ref, &output)) return err;
    if (!output || !output->data) return PF_Err_NONE;
    const int32_t bitDepth = output->format == PF_PixelFormat_ARGB32    ? 8
                             : output->format == PF_PixelFormat_ARGB128 ? 32
                                                                        : 16;
    MainParamValues v;
    if (const PF_Err err = CheckoutAll(in_data, host, v)) {
        CheckinAll(in_data, host, v);
        return err;
    }
    if (bitDepth == 16) return CheckinAll(in_data, host, v);  // no pixel path: left as it is

    const auto start = std::chrono::steady_clock::now();
    std::memset(output->data, 0, size_t(output->rowbytes) * size_t(output->height));
    // The unified GL path needs a GL framework, which this build has not: the software path runs
    // the stack once, whatever the quality and motion-blur settings ask.
    KDLRender points(&host, output, bitDepth);
    AGGEngine lines(&host, output, bitDepth);
    const PF_Err err = RunStack(in_data, out_data, host, v, points, lines);
    UnpremultiplyWorld(&host, *output);
    const double ms =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    host.diagnostic("Total Render Time: " + std::to_string(ms) + " ms");
    (void)kBaseSamples;
    (void)kDofSamples;
    const PF_Err checkin = CheckinAll(in_data, host, v);
    return err ? err : checkin;
}

}  // namespace tv
