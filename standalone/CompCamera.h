// The view of a comp's active camera at a time, as effects get it from the host: the topmost
// enabled camera layer, or without one a 50 mm lens on 36 mm film centred on the comp.
#pragma once

#include "host/HostServices.h"
#include "standalone/Composition.h"

namespace tv::standalone {

// Rows of `matrix`: the camera's x, y and z axes in comp space, then its position.
HostCameraMatrix CompCameraMatrix(const Comp& comp, double seconds);

}  // namespace tv::standalone
