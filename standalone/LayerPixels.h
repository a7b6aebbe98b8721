// A layer's own pixels as a layer parameter or a sprite sees them, made by the compositor for
// the host's pixel services (which include this header and not the compositor's).
#pragma once

#include <cstdint>
#include <memory>

#include "host/HostTypes.h"
#include "standalone/LayerWorld.h"

namespace tv::standalone {

class EmbeddedHost;
struct Layer;

// The layer at a comp time: its source and, when asked, its effects, before its transform and
// opacity (straight, at 8 bits or float).
PF_Err MakeLayerPixels(EmbeddedHost& host, Layer& layer, const A_Time& compTime, int32_t bitDepth,
                       bool withEffects, std::unique_ptr<LayerWorld>& result);

}  // namespace tv::standalone
