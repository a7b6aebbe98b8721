// The facets item turned into triangles: each face's corners turned about their mean by the
// face's rotation and placed at its centroid, coloured, and lit through the shading record.
#pragma once

#include <vector>

#include "engines/RenderEngine.h"
#include "engines/Shading.h"
#include "host/GeometryStore.h"
#include "host/RenderItem.h"

namespace tv {

// The unit normal of a triangle by the right-hand rule on its corner order; zero when it has no
// area.
void TriangleNormal(const double a[3], const double b[3], const double c[3], double n[3]);

// Corners turned by `rotation` (degrees about X, then Y, then Z) about their mean, then moved so
// that the mean lands on `centroid`.
void PlaceFacet(const double corners[3][3], const double rotation[3], const double centroid[3],
                double out[3][3]);

void BuildFacetTriangles(const RenderItem& item, const GeometryStore& store,
                         const ShadingRecord* shading, std::vector<DrawTriangle>& out);
PF_Err FeedFacets(TV_Base_Render& engine, const RenderItem& item, const GeometryStore& store,
                  const ShadingRecord* shading);

}  // namespace tv
