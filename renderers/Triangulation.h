// The triangulation renderer's triangles: nearest-neighbour triangles on a kd-tree, or Qhull's
// convex hull or Delaunay mesh, filtered by their mean side length and given an opacity factor
// from a curve over distance; and the blend of the triangles of two frames.
#pragma once

#include <cstdint>
#include <iosfwd>
#include <vector>

#include "host/GeometryStore.h"
#include "params/DistanceCurve.h"
#include "renderers/NeighbourSearch.h"

namespace tv {

struct TriangleSet {
    std::vector<int32_t> triples;  // a, b, c, a, b, c...
    std::vector<float> opacityFactors;
    std::vector<float> extra;  // left empty here; the facets renderer fills it
    size_t size() const { return opacityFactors.size(); }
};

// "Render Mode".
enum TriangleRenderMode : int32_t {
    kNearestTriangles = 1,
    kOuterSurface = 2,
    kMeshTriangulation = 3,
};

struct TriangulationSettings {
    int32_t renderMode = kNearestTriangles;
    int32_t maxTriangles = 10;  // per vertex
    float maxDistance = 100;
    int32_t drawBetween = kAllGroupsLines;  // "Draw Triangles Between", nearest triangles only
    int32_t firstGroup = 1;
    int32_t secondGroup = 2;
    int32_t effectGroup = kAllGroups;  // "Effect Only Group", hull and mesh only
    DistanceCurve opacityCurve = DistanceCurve::DefaultOpacity();
};

// One nearest-triangles search: for each query in [queryStart, +queryCount) its
// maxTriangles * 3 nearest among the points [searchStart, +searchCount), within the maximum
// distance (inclusive) and other than the query itself, taken two by two with the query as
// triangles. Each triple (absolute indices) is sorted ascending; triples are appended in the
// order of the queries and, for each, of the neighbours. Nothing happens when an argument is
// out of range or maxTriangles * 3 is below 3. The same triples with or without `parallel`.
void NearestTriangleCandidates(const TriangulationSettings& s, const std::vector<Vec3f>& search,
                               const std::vector<Vec3f>& queries, uint32_t searchStart,
                               uint32_t searchCount, uint32_t queryStart, uint32_t queryCount,
                               std::vector<int32_t>& candidates, const ParallelFor& parallel = {});

// True when some three consecutive points of the range have a determinant above 0.1: the
// range spans space and is worth handing to Qhull.
bool HasSpanningTriple(const std::vector<Vec3f>& positions, uint32_t start, uint32_t count);

// 3 when some point lies more than 0.01 on the positive side of the plane through the first,
// middle and last points of the range (a one-sided test), else 2.
int32_t HullDimension(const std::vector<Vec3f>& positions, uint32_t start, uint32_t count);

// Hull ("Qt") or Delaunay ("d Qt") triples of the range, with indices counting from `start`.
// Qhull's errors and facets of more than four vertices are reported to `log`.
void QhullTriangleCandidates(int32_t renderMode, const std::vector<Vec3f>& positions,
                             uint32_t start, uint32_t count, std::vector<int32_t>& candidates,
                             std::ostream& log);

// Appends each candidate triple, shifted by `base`, whose mean side length is within the
// maximum distance, with the opacity curve's value at that length.
void FilterTriangles(const TriangulationSettings& s, const std::vector<Vec3f>& positions,
                     const std::vector<int32_t>& candidates, uint32_t base, TriangleSet& out);

// All triangles of one geometry by "Render Mode". Nearest triangles are searched on positions
// shifted by the store's jitter (the shift is removed again before returning).
void TrianglesOfGeometry(const TriangulationSettings& s, GeometryStore& store, TriangleSet& out,
                         const ParallelFor& parallel, std::ostream& log);

// Blends triangles found at two times: common triples interpolate their opacity, the others
// fade. False, with `out` untouched, when the two intersections disagree in length.
bool BlendTriangles(const TriangleSet& a, const TriangleSet& b, float factorA, float factorB,
                    TriangleSet& out);

}  // namespace tv
