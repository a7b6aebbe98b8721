// The path source's geometry: masks and text outlines sampled into points, copies under the
// replicate transform with a scale about the path's middle, ribbons between copies, caps
// tessellated from the first copy's closed outlines, and the hash over all of it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/BezierPath.h"
#include "host/GeometryStore.h"
#include "sources/Replication.h"

namespace tv {

struct PathSettings {
    int32_t copies = 1;
    int32_t direction = kReplicateBoth;
    double extrudeDepth = 500;
    float startAngle[3] = {0, 0, 0};  // degrees, X Y Z
    float endAngle[3] = {0, 0, 0};
    float startScale = 1, endScale = 1;
    double rotationCenter[3] = {0, 0, 0};
    bool eachMaskSeparate = true;
    bool getColor = false;
    bool getOpacity = false;
    bool getText = true;
    bool isTextLayer = false;
    bool subdivide = true;
    int32_t pointsPerMask = 100;
    std::string namePrefix;
    bool generateFacets = true;
    bool generateCaps = true;
    int32_t group = 12;
    float color[4] = {1, 1, 1, 0.5f};
    double scaleX = 1, scaleY = 1;  // the downsample factors on every path coordinate

    uint32_t dimensionMask() const { return copies < 2 ? 1u : 3u; }
};

// One path ready to sample: its geometry and the colour its points take.
struct PathInput {
    BezierPath path;
    Color4f color;
};

// Points of one path, x and y scaled, z 0, with the running index as lattice x. Without
// subdivision the path's vertices (a closed path's repeat of the first dropped); with it,
// `pointsPerMask` points at equal arc length, the last at the path's end.
struct PathSample {
    double x = 0, y = 0;
    int32_t index = 0;
};
std::vector<PathSample> SamplePath(const BezierPath& path, bool subdivide, int32_t pointsPerMask,
                                   double scaleX, double scaleY);

// A path's run of vertices in the object.
struct PathContour {
    uint32_t vertexBase = 0;
    uint32_t vertexCount = 0;  // all copies
    uint32_t pointsPerCopy = 0;
    bool isClosed = false;
};

// The row-vector matrix of copy k: rotation about the rotation centre, scale in X and Y about
// the path's box centre, then the extrusion.
void PathCopyMatrix(const PathSettings& s, int32_t k, const double boxCenter[2], double out[16]);

// Everything the source makes from its paths, before it goes to the store.
struct PathObject {
    VertexArrays v;
    std::vector<PathContour> contours;
    std::vector<double> capOutline;  // x, y of every path's first copy, untransformed
    std::vector<std::string> messages;
};

// Samples, replicates, transforms and meshes each path, then adds the caps.
PathObject BuildPathObject(const PathSettings& s, const std::vector<PathInput>& paths);

// Ribbon triangles of one path (m points per copy) at vertex offset `base`.
void PathRibbon(int32_t m, int32_t copies, bool closed, int32_t base, std::vector<Vec3i>& faces);

// Caps: the closed outlines of the first copy tessellated with the odd rule; front triangles,
// then back ones when there are copies. A message and no caps when the tessellation fails or
// would need new vertices (outlines that cross).
void PathCaps(const PathSettings& s, PathObject& object);

// Appends the object with one range for the whole layer.
void AppendPathObject(const PathSettings& s, const PathObject& object, GeometryStore& store);

// The settings and every sampled point, seed 121.
uint64_t PathHash(const PathSettings& s, const PathObject& object);

}  // namespace tv
