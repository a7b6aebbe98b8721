// The own layer of an effect instance and the layers its layer parameters name.
#include "host/LayerLookup.h"

namespace tv {

AEGP_LayerH OwnLayer(HostServices& host, PF_ProgPtr effectRef) {
    const AEGP_EffectRefH self = host.effectFromInstance(0, effectRef);
    const AEGP_LayerH own = host.effectLayer(self);
    host.disposeEffect(self);
    return own;
}

AEGP_LayerH LayerOfOwnComp(HostServices& host, PF_ProgPtr effectRef, int32_t layerId) {
    if (layerId == 0) return 0;
    const AEGP_LayerH own = OwnLayer(host, effectRef);
    return host.layerFromLayerId(host.layerParentComp(own), uint32_t(layerId));
}

}  // namespace tv
