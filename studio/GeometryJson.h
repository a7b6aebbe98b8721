// A layer's gathered geometry for the page's 3D view: flat number lists the page turns into
// typed arrays, with face corners as indices into the whole vertex list, and the comp camera.
#pragma once

#include <nlohmann/json.hpp>

#include "host/GeometryStore.h"
#include "host/HostServices.h"

namespace tv::studio {

// {"positions": [x, y, z, ...], "colors": [r, g, b, a, ...], "faces": [i, j, k, ...],
//  "camera": {"matrix": [16], "zoom", "width", "height"}}; positions in comp pixels.
nlohmann::ordered_json GeometryJson(const GeometryStore& store, const HostCameraMatrix& camera);

}  // namespace tv::studio
