// The embedded host's time services: an effect's or a layer's time to its comp's, and back.
#include <cmath>

#include "standalone/EmbeddedHost.h"

namespace tv::standalone {

A_Time EmbeddedHost::convertEffectToCompTime(PF_ProgPtr effectRef, int32_t time, uint32_t scale) {
    const Layer* layer = layerOfInstance(effectRef);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    return convertLayerToCompTime(layer->uid, A_Time{time, scale});
}

A_Time EmbeddedHost::convertCompToLayerTime(AEGP_LayerH layerH, const A_Time& t) {
    const Layer* layer = layerByUid(layerH);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    const double offset = layer->startTime * t.scale;
    return A_Time{static_cast<int32_t>(std::llround(t.value - offset)), t.scale};
}

A_Time EmbeddedHost::convertLayerToCompTime(AEGP_LayerH layerH, const A_Time& t) {
    const Layer* layer = layerByUid(layerH);
    if (!layer) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    const double offset = layer->startTime * t.scale;
    return A_Time{static_cast<int32_t>(std::llround(t.value + offset)), t.scale};
}

A_Time EmbeddedHost::layerDuration(AEGP_LayerH layerH) {
    const Layer* layer = layerByUid(layerH);
    const Comp* comp = layer ? compOfLayer(*layer) : nullptr;
    if (!layer || !comp) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
    const uint32_t scale = comp->timeScale();
    return A_Time{int32_t(std::llround((layer->outPoint - layer->inPoint) * scale)), scale};
}

}  // namespace tv::standalone
