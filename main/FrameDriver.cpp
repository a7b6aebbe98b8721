#include "main/FrameDriver.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>

#include "engines/EngineFactory.h"
#include "engines/SampleCameras.h"
#include "engines/gl/GlContext.h"
#include "host/CameraSnapshot.h"
#include "host/Gather.h"
#include "host/ObjectMessage.h"
#include "host/ParamHash.h"
#include "host/SampleTimes.h"
#include "host/SuiteCache.h"
#include "host/TextParam.h"
#include "host/Unpremultiply.h"
#include "main/FrameDraw.h"
#include "main/MainParams.h"

namespace tv {

namespace {

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
        CollectLights(in, lights, names, 0.0, AEGP_LightType_POINT);
        CollectLights(in, lights, names, 0.0, AEGP_LightType_SPOT);
        for (const SceneLight& l : lights) {
            for (double d : l.position) h.add(d);
            for (float f : l.color) h.add(f);
            h.add(l.intensity).add(l.shadowDarkness).add(l.shadowDiffusion);
        }
    }
    return h.value();
}

// Gathers and draws each layer of the stack. A frame draws what the gather found even when an
// effect failed; `gatherError`, when given, receives the first such failure (the export pass
// stops on it).
PF_Err RunStack(PF_InData* in, PF_OutData* out, HostServices& host, const MainParamValues& v,
                const FrameEngines& engines, PF_Err* gatherError = nullptr) {
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
        ScopedObjectMessage message;
        if (const PF_Err e = message.status()) return e;
        const PF_Err status = Gather(host, l, time, *message);
        if (status == kLoopGuardStatus)
            AppendMessage(out, kInfiniteLoopMessage);
        else if (status && gatherError && !*gatherError)
            *gatherError = status;
        if (!drawErr) drawErr = DrawMessage(in, host, *message, v, engines);
        for (TV_Base_Render* engine : {engines.points, engines.lines, engines.triangles}) {
            if (!engine->pendingError().empty()) AppendMessage(out, engine->pendingError());
            engine->pendingError().clear();
        }
    }
    return drawErr;
}

struct FrameSettings {
    double nearVanish = 0, farVanish = 0, nearFade = 0, farFade = 0;
    int32_t quality = 1;
    bool dof = false;  // "Camera Settings" and the camera has depth of field on
    float blur = 1;
    std::vector<A_Time> times;
};

FrameSettings ReadFrameSettings(PF_InData* in, HostServices& host, const MainParamValues& v) {
    FrameSettings f;
    f.nearVanish = v.p[kMainNearVanish].u.floatValue;
    f.farVanish = v.p[kMainFarVanish].u.floatValue;
    const double lo = std::min(f.nearVanish, f.farVanish), hi = std::max(f.nearVanish, f.farVanish);
    f.nearFade = std::clamp(v.p[kMainNearFade].u.floatValue, lo, hi);
    f.farFade = std::clamp(v.p[kMainFarFade].u.floatValue, lo, hi);
    f.quality = v.p[kMainRenderQuality].u.popup;
    f.blur = float(v.p[kMainBlurFactor].u.floatValue);
    f.times = SampleTimesOf(in, host, v);
    const CameraSnapshot camera = MakeCameraSnapshot(in, f.nearVanish, f.farVanish, kLeftHanded);
    f.dof = v.p[kMainDof].u.popup == 2 && camera.depthOfField;
    return f;
}

// The unified path: every time sample gathered anew and drawn by the GL engine in its share of
// the passes. False when this thread has no usable context (the caller then draws in software).
bool RenderUnified(PF_InData* in, PF_OutData* out, HostServices& host, const MainParamValues& v,
                   const gl::GlGlobals& globals, const FrameSettings& f, PF_EffectWorld& output,
                   int32_t bitDepth, PF_Err& err) {
    // One GL frame at a time in the process: a software GL already spreads each draw over every
    // core, a GPU runs one frame's passes at a time anyway, and drivers are not all safe with
    // frames drawn side by side on shared objects.
    // Recursive: a sprite's precomp may hold a GL frame of its own, drawn within this one.
    static std::recursive_mutex oneFrameAtATime;
    std::lock_guard lock(oneFrameAtATime);
    const FrameEngines engines = MakeFrameEngines(
        EngineRequest{EnginePath::kUnified, &host, &output, bitDepth, 0, 0, &globals});
    if (engines.empty()) {
        host.renderNote("no-gpu", "this render thread could not make a GL context");
        return false;
    }
    // A frame past the context's limits would draw nothing at all: the software path draws it.
    if (const gl::FrameLimit limit = gl::LargestFrame();
        output.width > limit.width || output.height > limit.height) {
        host.renderNote(
            "no-gpu", "the " + std::to_string(output.width) + "x" + std::to_string(output.height) +
                          " frame is larger than this GL draws (" + std::to_string(limit.width) +
                          "x" + std::to_string(limit.height) + " at most)");
        return false;
    }
    TV_Pass_Render& engine = *engines.passes;
    const auto count = int32_t(f.times.size());
    const int32_t total = SampleBudget(f.quality, f.dof, count, true);
    const CameraSnapshot camera = MakeCameraSnapshot(in, f.nearVanish, f.farVanish, kRightHanded);
    engine.allocateTargets(true, output.width, output.height);
    engine.setCullMode(v.p[kMainPolygonVisibility].u.popup);
    const double scale = camera.normalizeX != 0 ? camera.normalizeX : 1.0;
    engine.nearFade = float(f.nearFade / scale);
    engine.farFade = float(f.farFade / scale);
    engine.zNear = float(f.nearVanish / scale);
    engine.zFar = float(f.farVanish / scale);
    PF_EffectWorld* depthLayer = nullptr;
    if (!host.checkoutLayerPixels(in->effect_ref, kMainDepthMap, &depthLayer)) {
        engine.prepareDepthLayer(depthLayer, float(v.p[kMainWhiteDepth].u.floatValue),
                                 float(v.p[kMainDarkDepth].u.floatValue));
        host.checkinLayerPixels(in->effect_ref, kMainDepthMap);
    }
    engine.applyDof = f.dof;
    engine.prepareSamples(camera, total, f.blur);

    const AEGP_EffectRefH self = host.effectFromInstance(0, in->effect_ref);
    const AEGP_LayerH layer = host.effectLayer(self);
    host.disposeEffect(self);
    const int32_t perPass = total / count;
    for (int32_t i = 0; i < count && !err; ++i) {
        const A_Time layerTime = host.convertCompToLayerTime(layer, f.times[size_t(i)]);
        PF_InData sample = *in;
        sample.current_time =
            int32_t(double(in->time_scale) * (double(layerTime.value) / double(layerTime.scale)));
        const CameraSnapshot passCamera =
            MakeCameraSnapshot(&sample, f.nearVanish, f.farVanish, kRightHanded);
        engine.setPassRange(passCamera, total, f.blur, perPass * i, perPass * (i + 1));
        engine.clearDrawables();
        const auto start = std::chrono::steady_clock::now();
        err = RunStack(&sample, out, host, v, engines);
        engine.renderPasses();
        const double secs =
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        host.diagnostic("Pass: " + std::to_string(i) + " Samples: " + std::to_string(perPass) +
                        " Pinger: " + std::to_string(secs));
    }
    if (err && !engine.failure.empty())
        std::snprintf(out->return_msg, sizeof(out->return_msg), "%s", engine.failure.c_str());
    engine.compositeFrame();
    engine.readBack(output);
    if (!err)
        host.renderNote("path", "unified GL path (" + engines.api + ", " +
                                    std::to_string(engine.passesRun) + " passes of " +
                                    std::to_string(total) + " samples)");
    return true;
}

}  // namespace

uint64_t MainFrameHash(PF_InData* in_data, bool& ok) {
    SuiteCache suites(in_data);
    HostServices& host = suites.host();
    MainParamValues v;
    ok = !CheckoutMainParams(in_data, host, v);
    const uint64_t key = ok ? FrameHash(in_data, host, v) : 0;
    CheckinMainParams(in_data, host, v);
    return key;
}

OutputSize DownsampledOutputSize(const PF_InData* in_data) {
    return {
        int32_t(double(in_data->width) * in_data->downsample_x.num / in_data->downsample_x.den),
        int32_t(double(in_data->height) * in_data->downsample_y.num / in_data->downsample_y.den)};
}

PF_Err MainSvgPass(PF_InData* in_data, PF_OutData* out_data, SvgPass& pass) {
    SuiteCache suites(in_data);
    HostServices& host = suites.host();
    MainParamValues v;
    if (const PF_Err err = CheckoutMainParams(in_data, host, v)) {
        CheckinMainParams(in_data, host, v);
        return err;
    }
    const auto [w, h] = DownsampledOutputSize(in_data);
    const FrameEngines engines =
        MakeFrameEngines(EngineRequest{EnginePath::kSvg, &host, nullptr, 8, w, h, nullptr});
    PF_Err gatherError = PF_Err_NONE;
    PF_Err err = RunStack(in_data, out_data, host, v, engines, &gatherError);
    if (!err) err = gatherError;  // a sub-effect's failure ends the export
    pass.shapes += *engines.shapes;
    const PF_Err checkin = CheckinMainParams(in_data, host, v);
    return err ? err : checkin;
}

PF_Err MainPreRender(PF_InData* in_data, PF_OutData* /*out_data*/, PF_PreRenderExtra* extra) {
    if (!extra) return PF_Err_BAD_CALLBACK_PARAM;
    SuiteCache suites(in_data);
    HostServices& host = suites.host();
    const auto [w, h] = DownsampledOutputSize(in_data);
    const PF_LRect rect{0, 0, w, h};
    MainParamValues v;
    const PF_Err checkout = CheckoutMainParams(in_data, host, v);
    if (!checkout && in_data->version.major >= 13 && in_data->version.minor >= 8) {
        const uint64_t key = FrameHash(in_data, host, v);
        if (extra->guid_mix_in) extra->guid_mix_in(in_data->effect_ref, 8, &key);
        const AEGP_EffectRefH self = host.effectFromInstance(0, in_data->effect_ref);
        const AEGP_LayerH layer = host.effectLayer(self);
        host.disposeEffect(self);
        for (const A_Time& t : SampleTimesOf(in_data, host, v))
            MixStackHash(host, layer, t, in_data->effect_ref, extra->guid_mix_in, {});
    }
    const PF_Err checkin = CheckinMainParams(in_data, host, v);
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
    if (const PF_Err err = CheckoutMainParams(in_data, host, v)) {
        CheckinMainParams(in_data, host, v);
        return err;
    }
    if (bitDepth == 16) return CheckinMainParams(in_data, host, v);  // no pixel path: left as it is

    const auto start = std::chrono::steady_clock::now();
    std::memset(output->data, 0, size_t(output->rowbytes) * size_t(output->height));
    const FrameSettings settings = ReadFrameSettings(in_data, host, v);
    PF_Err err = PF_Err_NONE;
    bool unified = false;
    if (v.p[kMainUnified].u.checkbox) {
        std::string why;
        if (const gl::GlGlobals* globals = MainGlGlobals(in_data, &why))
            unified = RenderUnified(in_data, out_data, host, v, *globals, settings, *output,
                                    bitDepth, err);
        else
            host.renderNote("no-gpu", why);
    }
    if (!unified) {
        // The software path runs the stack once, whatever the quality and motion-blur settings
        // ask: two engines draw into the output in the order of the render items.
        const FrameEngines engines = MakeFrameEngines(
            EngineRequest{EnginePath::kSoftware, &host, output, bitDepth, 0, 0, nullptr});
        err = RunStack(in_data, out_data, host, v, engines);
        host.renderNote("path", "software path");
    }
    UnpremultiplyWorld(&host, *output);
    const double ms =
        std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    host.diagnostic("Total Render Time: " + std::to_string(ms) + " ms");
    const PF_Err checkin = CheckinMainParams(in_data, host, v);
    return err ? err : checkin;
}

}  // namespace tv
