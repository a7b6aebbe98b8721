// The facets renderer's settings and the item it builds from a store.
#pragma once

#include "host/GeometryStore.h"
#include "host/RenderPayloads.h"
#include "params/DistanceCurve.h"

namespace tv {

struct FacetsSettings {
    int32_t colorMode = 1;
    double maxDistance = 100;
    float color[4] = {1, 1, 1, 0.5f};  // alpha is "Facets Opacity"
    bool getOpacity = true, getColors = true;
    int32_t group = 12;  // 12: all groups
    bool limitByDistance = true;
    DistanceCurve opacityCurve = DistanceCurve::DefaultOpacity();
};

// The faces of every range of the group (all for 12) that has faces and at least three vertices,
// with the opacity factor of their mean side and their rotations and centroids.
void BuildFacets(const FacetsSettings& s, const GeometryStore& store, FacetsPayload& out);

}  // namespace tv
