// The embedded host's camera and light services. Camera and light layers carry no transforms in
// the model yet, so the comp is seen through the default view: a 50 mm lens on 36 mm film,
// centred on the comp's middle, looking along +Z (comp space: X right, Y down, Z away).
#include <cmath>

#include "standalone/EmbeddedHost.h"

namespace tv::standalone {

namespace {
constexpr double kDefaultLensMm = 50.0;
constexpr double kDefaultFilmMm = 36.0;
}  // namespace

A_Time EmbeddedHost::convertEffectToCompTime(PF_ProgPtr effectRef, int32_t time, uint32_t scale) {
    const Layer* layer = layerOfInstance(effectRef);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    return convertLayerToCompTime(layer->uid, A_Time{time, scale});
}

HostCameraMatrix EmbeddedHost::effectCameraMatrix(PF_ProgPtr effectRef, const A_Time&) {
    const Layer* layer = layerOfInstance(effectRef);
    const Comp* comp = layer ? compOfLayer(*layer) : nullptr;
    if (!comp) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    HostCameraMatrix cm;
    const double zoom = comp->width * kDefaultLensMm / kDefaultFilmMm;
    cm.matrix[12] = comp->width * 0.5;
    cm.matrix[13] = comp->height * 0.5;
    cm.matrix[14] = -zoom;
    cm.imagePlaneDistance = zoom;
    cm.imagePlaneWidth = static_cast<int16_t>(comp->width);
    cm.imagePlaneHeight = static_cast<int16_t>(comp->height);
    return cm;
}

AEGP_LayerH EmbeddedHost::effectCamera(PF_ProgPtr, const A_Time&) { return 0; }

void EmbeddedHost::cameraFilmSize(AEGP_LayerH, int32_t* units, double* size) {
    *units = 1;
    *size = kDefaultFilmMm;
}

int32_t EmbeddedHost::cameraType(AEGP_LayerH) { return 0; }

void EmbeddedHost::layerStreamValue(AEGP_LayerH layerH, int32_t, const A_Time&, double out[4]) {
    if (!layerByUid(layerH)) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    out[0] = out[1] = out[2] = out[3] = 0;
}

int32_t EmbeddedHost::layerObjectType(AEGP_LayerH layerH) {
    const Layer* layer = layerByUid(layerH);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    if (layer->kind == LayerKind::Light) return AEGP_ObjectType_LIGHT;
    if (layer->kind == LayerKind::Camera) return AEGP_ObjectType_CAMERA;
    return 0;
}

int32_t EmbeddedHost::layerLightType(AEGP_LayerH layerH) {
    const Layer* layer = layerByUid(layerH);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    return AEGP_LightType_POINT;
}

void EmbeddedHost::layerToWorldXform(AEGP_LayerH layerH, const A_Time&, double m[16]) {
    if (!layerByUid(layerH)) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    for (int i = 0; i < 16; ++i) m[i] = (i % 5 == 0) ? 1.0 : 0.0;
}

void EmbeddedHost::compDimensions(AEGP_CompH compH, int32_t* width, int32_t* height) {
    const Comp* comp = compByUid(compH);
    if (!comp) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    *width = comp->width;
    *height = comp->height;
}

}  // namespace tv::standalone
