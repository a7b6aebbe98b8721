// The embedded host's camera and light services. Comp space: X right, Y down, Z away from the
// viewer. The active camera is the topmost enabled camera layer at the time; without one the
// default view: a 50 mm lens on 36 mm film, centred on the comp's middle, looking along +Z.
#include <cmath>

#include "standalone/CompCamera.h"
#include "standalone/EmbeddedHost.h"
#include "standalone/Transform.h"

namespace tv::standalone {

namespace {
constexpr double kDefaultLensMm = 50.0;
constexpr double kDefaultFilmMm = 36.0;

const Layer* ActiveCamera(const Comp& comp, double seconds) {
    for (const auto& l : comp.layers)
        if (l->kind == LayerKind::Camera && l->enabled && seconds >= l->inPoint &&
            seconds < l->outPoint)
            return l.get();
    return nullptr;
}

// Stream 0: a light's or camera's point of interest, else the anchor point with the defaults of
// LayerToParent (the centre; a null's corner).
std::array<double, 4> AnchorOrPointOfInterest(const Layer& layer, double seconds) {
    if (layer.kind == LayerKind::Light) return layer.light.pointOfInterest.at(seconds);
    if (layer.kind == LayerKind::Camera) return layer.camera.pointOfInterest.at(seconds);
    if (layer.transform.set) return layer.transform.anchor.at(seconds);
    if (layer.kind == LayerKind::Null) return {0, 0, 0, 0};
    return {layer.width / 2.0, layer.height / 2.0, 0, 0};
}

}  // namespace

HostCameraMatrix CompCameraMatrix(const Comp& comp, double seconds) {
    HostCameraMatrix cm;
    cm.imagePlaneWidth = static_cast<int16_t>(comp.width);
    cm.imagePlaneHeight = static_cast<int16_t>(comp.height);
    const Layer* camera = ActiveCamera(comp, seconds);
    if (!camera) {
        const double zoom = comp.width * kDefaultLensMm / kDefaultFilmMm;
        cm.matrix[12] = comp.width * 0.5;
        cm.matrix[13] = comp.height * 0.5;
        cm.matrix[14] = -zoom;
        cm.imagePlaneDistance = zoom;
        return cm;
    }
    // Rows: the camera's x, y and z axes in comp space, then its position, through its parents.
    const Mat4 world = LayerToWorld(*camera, comp, seconds);
    for (int i = 0; i < 16; ++i) cm.matrix[i] = world.m[i];
    cm.imagePlaneDistance = camera->camera.zoom.at(seconds)[0];
    return cm;
}

HostCameraMatrix EmbeddedHost::effectCameraMatrix(PF_ProgPtr effectRef, const A_Time& time) {
    const Layer* layer = layerOfInstance(effectRef);
    const Comp* comp = layer ? compOfLayer(*layer) : nullptr;
    if (!comp) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    return CompCameraMatrix(*comp, TimeToSeconds(time));
}

AEGP_LayerH EmbeddedHost::effectCamera(PF_ProgPtr effectRef, const A_Time& time) {
    const Layer* layer = layerOfInstance(effectRef);
    const Comp* comp = layer ? compOfLayer(*layer) : nullptr;
    if (!comp) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    const Layer* camera = ActiveCamera(*comp, TimeToSeconds(time));
    return camera ? camera->uid : 0;
}

void EmbeddedHost::cameraFilmSize(AEGP_LayerH cameraH, int32_t* units, double* size) {
    const Layer* camera = cameraH ? layerByUid(cameraH) : nullptr;
    *units = 1;  // measured horizontally
    *size = camera && camera->kind == LayerKind::Camera ? camera->camera.filmSize : kDefaultFilmMm;
}

int32_t EmbeddedHost::cameraType(AEGP_LayerH cameraH) {
    const Layer* camera = cameraH ? layerByUid(cameraH) : nullptr;
    return camera && camera->kind == LayerKind::Camera && camera->camera.orthographic ? 1 : 0;
}

void EmbeddedHost::layerStreamValue(AEGP_LayerH layerH, int32_t stream, const A_Time& time,
                                    double out[4]) {
    const Layer* layer = layerByUid(layerH);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    const double s = TimeToSeconds(time);
    std::array<double, 4> v{};
    switch (stream) {
        case 0:
            v = AnchorOrPointOfInterest(*layer, s);
            break;
        case 4:
            v = layer->transform.set ? layer->transform.opacity.at(s) : std::array<double, 4>{100};
            break;
        case 11:
            v = layer->camera.zoom.at(s);
            break;
        case 12:
            v[0] = layer->camera.depthOfField ? 1 : 0;
            break;
        case 13:
            v = layer->camera.focusDistance.at(s);
            break;
        case 14:
            v = layer->camera.aperture.at(s);
            break;
        case 15:
            v = layer->camera.blurLevel.at(s);
            break;
        case 16:
            v = layer->light.intensity.at(s);
            break;
        case 17:
            v = layer->light.color.at(s);
            break;
        case 18:
            v = layer->light.coneAngle.at(s);
            break;
        case 19:
            v = layer->light.coneFeather.at(s);
            break;
        case 20:
            v = layer->light.shadowDarkness.at(s);
            break;
        case 21:
            v = layer->light.shadowDiffusion.at(s);
            break;
        default:
            break;
    }
    for (int i = 0; i < 4; ++i) out[i] = v[size_t(i)];
}

int32_t EmbeddedHost::layerObjectType(AEGP_LayerH layerH) {
    const Layer* layer = layerByUid(layerH);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    if (layer->kind == LayerKind::Light) return AEGP_ObjectType_LIGHT;
    if (layer->kind == LayerKind::Camera) return AEGP_ObjectType_CAMERA;
    if (layer->kind == LayerKind::Text) return AEGP_ObjectType_TEXT;
    return AEGP_ObjectType_AV;
}

int32_t EmbeddedHost::layerLightType(AEGP_LayerH layerH) {
    const Layer* layer = layerByUid(layerH);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    return layer->light.type;
}

void EmbeddedHost::layerToWorldXform(AEGP_LayerH layerH, const A_Time& time, double m[16]) {
    const Layer* layer = layerByUid(layerH);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    const Comp* comp = compOfLayer(*layer);
    const Mat4 world = LayerToWorld(*layer, *comp, TimeToSeconds(time));
    for (int i = 0; i < 16; ++i) m[i] = world.m[i];
}

void EmbeddedHost::compDimensions(AEGP_CompH compH, int32_t* width, int32_t* height) {
    const Comp* comp = compByUid(compH);
    if (!comp) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    *width = comp->width;
    *height = comp->height;
}

A_Time EmbeddedHost::compDuration(AEGP_CompH compH) {
    const Comp* comp = compByUid(compH);
    if (!comp) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    const uint32_t scale = comp->timeScale();
    return A_Time{int32_t(std::llround(comp->duration * scale)), scale};
}

void EmbeddedHost::compWorkArea(AEGP_CompH compH, A_Time* start, A_Time* duration) {
    const Comp* comp = compByUid(compH);
    if (!comp) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    // A document without a work area works on the whole comp.
    const bool given = comp->workEnd > comp->workStart;
    const double from = given ? comp->workStart : 0, to = given ? comp->workEnd : comp->duration;
    const uint32_t scale = comp->timeScale();
    *start = A_Time{int32_t(std::llround(from * scale)), scale};
    *duration = A_Time{int32_t(std::llround((to - from) * scale)), scale};
}

}  // namespace tv::standalone
