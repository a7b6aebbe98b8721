// The geometry of one frame of one layer: flat parallel arrays per vertex and per face. Vertex i
// is the i-th element of every per-vertex array; face j the j-th element of every per-face array.
// Sources append, effectors rewrite ranges in place, renderers read and push RenderItems.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

namespace tv {

struct Vec3f {
    float x = 0, y = 0, z = 0;
    bool operator==(const Vec3f&) const = default;
};
struct Vec3i {
    int32_t x = 0, y = 0, z = 0;
    bool operator==(const Vec3i&) const = default;
};
struct Color4f {
    float r = 0, g = 0, b = 0, a = 0;
    bool operator==(const Color4f&) const = default;
};

// Where a group's vertices or faces lie. A start of kUnsetStart means "not set yet".
struct GroupRange {
    static constexpr uint32_t kUnsetStart = 0xFFFFFFFFu;
    uint32_t start = kUnsetStart;
    uint32_t count = 0;
    bool operator==(const GroupRange&) const = default;
};

// One row per source that ran, in the order they ran.
struct ObjectRange {
    int32_t group = 0;
    int32_t kind = 0;
    uint32_t vertexStart = 0;
    uint32_t vertexCount = 0;
    uint32_t faceStart = 0;
    uint32_t faceCount = 0;
    int32_t latticeSize[3] = {0, 0, 0};
    int32_t reserved = 0;
};
static_assert(sizeof(ObjectRange) == 40);

struct GeometryStore {
    // per vertex
    std::vector<Vec3f> positions;
    std::vector<Color4f> colors;
    std::vector<Vec3f> uvw;
    std::vector<Vec3i> lattice;
    std::vector<float> blurs;
    std::vector<float> scales;
    std::vector<Vec3f> normals;
    // per face: vertex indices relative to the first vertex of the source that made the face
    std::vector<Vec3i> faces;
    // counters
    uint32_t vertexBase = 0;
    uint32_t vertexPending = 0;
    uint32_t faceBase = 0;
    uint32_t facePending = 0;
    // group maps (ascending key order) and source ranges
    std::map<int32_t, GroupRange> vertexGroups;
    std::map<int32_t, GroupRange> faceGroups;
    std::vector<ObjectRange> ranges;
    // derived per face, between the vertex and the face effectors
    std::vector<Vec3f> faceCentroids;
    std::vector<Color4f> faceColorsA;
    std::vector<Color4f> faceColorsB;
    std::vector<Color4f> faceColorsC;
    std::vector<Vec3f> faceRotations;
    // per vertex, for renderers
    std::vector<Vec3f> jitter;
};

// The group popup's "All Groups" row: no single group.
inline constexpr int32_t kAllGroups = 12;

// {start, count} an effector or renderer works on: the whole array for kAllGroups, else the
// group map's entry, created unset (and so empty) when no source filled the group.
struct IndexRange {
    uint32_t start = 0;
    uint32_t count = 0;
};
IndexRange GroupVertexRange(GeometryStore& store, int32_t group);
IndexRange GroupFaceRange(GeometryStore& store, int32_t group);

// The unit normal of each face from its corners, (b - a) x (c - a); zero for a face with a corner
// outside the store or no area.
std::vector<Vec3f> FaceNormals(const GeometryStore& store);

// Derived arrays, in the driver's order.
// False when a face had a corner outside the store and got no centroid.
bool ComputeFaceCentroids(GeometryStore& store);
void ComputeFaceColors(GeometryStore& store);
void ResetFaceRotations(GeometryStore& store);
// Scales of 1 for every vertex no source gave a scale of its own.
void FillScales(GeometryStore& store);
void ComputeJitter(GeometryStore& store);

}  // namespace tv
