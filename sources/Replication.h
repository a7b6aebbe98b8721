// Replication of a row of vertices into copies: each copy turned about a centre and pushed along
// Z, with lattice, uvw and an optional ribbon of facets between neighbouring copies.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "host/GeometryStore.h"

namespace tv {

enum ReplicateDirection : int32_t { kReplicatePlusZ = 1, kReplicateMinusZ = 2, kReplicateBoth = 3 };

struct ReplicationSettings {
    int32_t copies = 1;
    double depth = 500;
    int32_t direction = kReplicateBoth;
    float center[3] = {0, 0, 0};
    // Degrees; rotation per axis X, Y, Z from start (first copy) toward end.
    float start[3] = {0, 0, 0};
    float end[3] = {0, 0, 0};
    int32_t axis = 2;  // the axis the copies are pushed along: 0 X, 1 Y, 2 Z
};

// Per-vertex arrays of a source before they go to the store.
struct VertexArrays {
    std::vector<double> positions;  // 3 per vertex
    std::vector<Color4f> colors;
    std::vector<Vec3f> normals;
    std::vector<Vec3i> lattice;
    std::vector<Vec3f> uvw;
    std::vector<Vec3i> faces;

    size_t vertexCount() const { return positions.size() / 3; }
};

// Appends copies - 1 repeats of the m base vertices (positions, colours, normals), then sets the
// lattice (i mod m, i / m, 1) and uvw ((x + 1) / m, (y + 1) / copies, 0) of every vertex.
void ReplicateCopies(int32_t copies, VertexArrays& v);

// Moves each vertex by the transform of its copy (lattice y): rotation about the centre, then
// the extrude offset along Z. Does nothing when positions and normals differ in count.
void ReplicateTransform(const ReplicationSettings& s, VertexArrays& v);

// The row-vector matrix of copy k, in f32: T(-center) Rz Ry Rx T(center) T(e along the axis).
void ReplicationMatrix(const ReplicationSettings& s, int32_t k, float out[16]);

// Triangles joining copy b to copy b + 1, m vertices per copy; none if m or copies is below 2.
void ReplicationFacets(int32_t perCopy, int32_t copies, std::vector<Vec3i>& faces);

}  // namespace tv
