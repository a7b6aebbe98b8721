// The primitives source's geometry: cube and sphere lattices, their rotation, uvw and faces.
#pragma once

#include <cstdint>
#include <vector>

#include "host/GeometryStore.h"

namespace tv {

enum PrimitiveType : uint16_t { kPrimitiveCube = 1, kPrimitiveSphere = 2 };
enum FaceMode : int32_t { kFacesNone = 1, kFacesXY = 2, kFacesXZ = 3, kFacesYZ = 4 };

struct PrimitiveSettings {
    float cubeWidth = 500, cubeHeight = 500, cubeDepth = 500, sphereRadius = 250;
    int32_t xPoints = 10, yPoints = 10, zPoints = 10;
    int32_t sphereSlices = 40, sphereStacks = 40, sphereLayers = 1;
    int32_t latticeSize[3] = {0, 0, 0};
    uint16_t primitiveType = kPrimitiveCube;
    float center[3] = {0, 0, 0};
    float rotation[3] = {0, 0, 0};
    float color[4] = {1, 1, 1, 0.5f};
    int32_t countX = 0, countY = 0, countZ = 0;
    uint16_t group = 12;
    int32_t faceMode = kFacesXY;
    uint32_t dimensionMask = 0;
    bool legacySphereScale = false;
};

// Triangles over a lattice of counts[0] x counts[1] x counts[2] vertices (index (z * ny + y) *
// nx + x), in the plane that the face mode names, layered along the remaining axis. With `wrap`
// the last row and column join the first (a sphere); without, the borders stay open (a cube).
void LatticeFaces(const int32_t counts[3], int32_t faceMode, bool wrap, std::vector<Vec3i>& faces);

// Fills the counts, lattice size and dimension mask from the type and its point counts.
void DeriveCounts(PrimitiveSettings& s);

struct PrimitiveGeometry {
    std::vector<double> positions;  // 3 per vertex
    std::vector<Vec3i> lattice;
    std::vector<Vec3f> normals;
    std::vector<Vec3f> uvw;
    std::vector<Vec3i> faces;
};

PrimitiveGeometry GeneratePrimitive(const PrimitiveSettings& s);
// Appends the geometry to the store with one ObjectRange, and sets the pending counts.
void AppendPrimitive(const PrimitiveSettings& s, const PrimitiveGeometry& g, GeometryStore& store);
uint64_t PrimitiveHash(const PrimitiveSettings& s);

}  // namespace tv
