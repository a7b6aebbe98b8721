// The layers an effect instance finds through its host: the layer it sits on, and the layer a
// layer parameter names, which is looked up in the comp of that own layer.
#pragma once

#include <cstdint>

#include "host/HostServices.h"

namespace tv {

// The layer the calling instance sits on: the instance's effect reference is fetched, asked for
// its layer and disposed. Host errors pass through as HostErrorCode.
AEGP_LayerH OwnLayer(HostServices& host, PF_ProgPtr effectRef);

// The layer with the id a layer parameter holds, in the comp of the calling instance's own layer;
// 0 when the id is 0 (no layer chosen: the host is not asked) or when that comp has no layer with
// it. A layer of another comp is never returned. Host errors pass through as HostErrorCode.
AEGP_LayerH LayerOfOwnComp(HostServices& host, PF_ProgPtr effectRef, int32_t layerId);

}  // namespace tv
