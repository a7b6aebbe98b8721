#include "sources/PrimitivesGenerate.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/Matrix.h"
#include "host/ParamHash.h"

namespace tv {

namespace {

constexpr double kPi = 3.14159265358979323846;

// Room for `n` more elements, growing at least twofold so that many appends stay linear.
template <class T>
void ReserveMore(std::vector<T>& v, size_t n) {
    if (v.capacity() - v.size() < n) v.reserve(std::max(v.size() + n, 2 * v.capacity()));
}

// Room for `n` more lattice vertices, so a million-vertex lattice is not copied as it grows.
void ReserveVertices(PrimitiveGeometry& g, size_t n) {
    ReserveMore(g.positions, 3 * n);
    ReserveMore(g.lattice, n);
    ReserveMore(g.normals, n);
}

// Degrees to radians as this code has always done it; the rounding is part of the result.
Mat4 DegreesRotation(int axis, double degrees) {
    return AxisRotation(axis, degrees * kPi / 180.0);
}

void CubeLattice(const PrimitiveSettings& s, PrimitiveGeometry& g, const Vec3f& normal) {
    auto offset = [](int32_t index, int32_t count, float size) -> float {
        if (count == 1) return 0.0f;
        const float t = float(index) / float(count - 1);
        return t * (size / 2 - (-size / 2)) + (-size / 2);
    };
    if (s.xPoints > 0 && s.yPoints > 0 && s.zPoints > 0)
        ReserveVertices(g, size_t(s.xPoints) * size_t(s.yPoints) * size_t(s.zPoints));
    for (int32_t k = 0; k < s.zPoints; ++k)
        for (int32_t j = 0; j < s.yPoints; ++j)
            for (int32_t i = 0; i < s.xPoints; ++i) {
                g.positions.push_back(double(s.center[0]) + offset(i, s.xPoints, s.cubeWidth));
                g.positions.push_back(double(s.center[1]) + offset(j, s.yPoints, s.cubeHeight));
                g.positions.push_back(double(s.center[2]) + offset(k, s.zPoints, s.cubeDepth));
                g.lattice.push_back({i, j, k});
                g.normals.push_back(normal);
            }
}

void SphereLattice(const PrimitiveSettings& s, PrimitiveGeometry& g) {
    if (s.sphereLayers > 0 && s.sphereStacks > 0 && s.sphereSlices > 0)
        ReserveVertices(g,
                        size_t(s.sphereLayers) * size_t(s.sphereStacks) * size_t(s.sphereSlices));
    for (int32_t k = 0; k < s.sphereLayers; ++k) {
        const float r = s.sphereLayers == 1 ? s.sphereRadius
                                            : float(k + 1) / float(s.sphereLayers) * s.sphereRadius;
        for (int32_t j = 0; j < s.sphereStacks; ++j) {
            const float a = float(j) / float(s.sphereStacks - 1) * 3.1415927f - 1.5707964f;
            const float c = std::cos(a) * r;
            const float y = std::sin(a) * r;
            for (int32_t i = 0; i < s.sphereSlices; ++i) {
                const float b = float(i) / float(s.sphereSlices) * 6.2831855f - 3.1415927f;
                double x = std::cos(b) * c, yy = y, z = std::sin(b) * c;
                const double inv = 1.0 / std::sqrt(x * x + yy * yy + z * z);
                g.normals.push_back({float(x * inv), float(yy * inv), float(z * inv)});
                if (s.legacySphereScale) {
                    x *= 2;
                    yy *= 2;
                    z *= 2;
                }
                g.positions.push_back(double(s.center[0]) + x);
                g.positions.push_back(double(s.center[1]) + yy);
                g.positions.push_back(double(s.center[2]) + z);
                g.lattice.push_back({i, j, k});
            }
        }
    }
}

void Rotate(const PrimitiveSettings& s, PrimitiveGeometry& g) {
    if (s.rotation[0] == 0 && s.rotation[1] == 0 && s.rotation[2] == 0) return;
    Mat4 toOrigin, back;
    for (int i = 0; i < 3; ++i) {
        toOrigin.m[12 + i] = -s.center[i];
        back.m[12 + i] = s.center[i];
    }
    // p' = p * T(-center) * Rz * Ry * Rx * T(center)
    Mat4 m = Multiply(toOrigin, DegreesRotation(2, s.rotation[2]));
    m = Multiply(m, DegreesRotation(1, s.rotation[1]));
    m = Multiply(m, DegreesRotation(0, s.rotation[0]));
    m = Multiply(m, back);
    Mat4 linear = m;
    linear.m[12] = linear.m[13] = linear.m[14] = 0;
    for (size_t v = 0; v < g.lattice.size(); ++v) {
        double out[4];
        TransformPoint(m, &g.positions[v * 3], out);
        for (int i = 0; i < 3; ++i) g.positions[v * 3 + i] = out[i] / out[3];
        const double n[3] = {g.normals[v].x, g.normals[v].y, g.normals[v].z};
        TransformPoint(linear, n, out);
        g.normals[v] = {float(out[0] / out[3]), float(out[1] / out[3]), float(out[2] / out[3])};
    }
}

void Faces(const PrimitiveSettings& s, PrimitiveGeometry& g) {
    const int32_t counts[3] = {s.countX, s.countY, s.countZ};
    LatticeFaces(counts, s.faceMode, s.primitiveType == kPrimitiveSphere, g.faces);
}

}  // namespace

void LatticeFaces(const int32_t counts[3], int32_t faceMode, bool wrap, std::vector<Vec3i>& faces) {
    int32_t a = counts[0], b = counts[1], c = counts[2];
    if (faceMode == kFacesXZ) std::swap(b, c);
    if (faceMode == kFacesYZ) std::swap(a, c);
    if (faceMode == kFacesNone || a < 2 || b < 2 || c < 1) return;
    if (!wrap) {
        --a;
        --b;
    }
    auto index = [&](int32_t x, int32_t y, int32_t z) {
        x %= counts[0];
        y %= counts[1];
        z %= counts[2];
        return (z * counts[1] + y) * counts[0] + x;
    };
    auto corner = [&](int32_t r, int32_t q, int32_t p) {
        switch (faceMode) {
            case kFacesXZ:
                return index(r, p, q);
            case kFacesYZ:
                return index(p, q, r);
            default:
                return index(r, q, p);
        }
    };
    ReserveMore(faces, 2 * size_t(a) * size_t(b) * size_t(c));
    for (int32_t p = 0; p < c; ++p)
        for (int32_t q = 0; q < b; ++q)
            for (int32_t r = 0; r < a; ++r) {
                const int32_t A = corner(r, q + 1, p), B = corner(r, q, p);
                const int32_t C = corner(r + 1, q, p), D = corner(r + 1, q + 1, p);
                if (q % 2 == 0) {
                    faces.push_back({A, B, C});
                    faces.push_back({C, D, A});
                } else {
                    faces.push_back({A, B, D});
                    faces.push_back({C, D, B});
                }
            }
}

void DeriveCounts(PrimitiveSettings& s) {
    int32_t n[3] = {0, 0, 0};
    if (s.primitiveType == kPrimitiveCube) {
        n[0] = s.xPoints, n[1] = s.yPoints, n[2] = s.zPoints;
    } else if (s.primitiveType == kPrimitiveSphere) {
        n[0] = s.sphereSlices, n[1] = s.sphereStacks, n[2] = s.sphereLayers;
    }
    for (int i = 0; i < 3; ++i) s.latticeSize[i] = n[i];
    s.countX = n[0], s.countY = n[1], s.countZ = n[2];
    s.dimensionMask = (n[0] > 1 ? 1u : 0u) | (n[1] > 1 ? 2u : 0u) | (n[2] > 1 ? 4u : 0u);
}

PrimitiveGeometry GeneratePrimitive(const PrimitiveSettings& s) {
    PrimitiveGeometry g;
    if (s.primitiveType == kPrimitiveCube) {
        const Vec3f normal = s.faceMode == kFacesXY   ? Vec3f{0, 0, -1}
                             : s.faceMode == kFacesYZ ? Vec3f{-1, 0, 0}
                                                      : Vec3f{0, -1, 0};
        CubeLattice(s, g, normal);
    } else if (s.primitiveType == kPrimitiveSphere) {
        SphereLattice(s, g);
    }
    Rotate(s, g);
    g.uvw.reserve(g.lattice.size());
    for (const Vec3i& l : g.lattice)
        g.uvw.push_back({float(l.x) / float(s.countX), float(l.y) / float(s.countY),
                         float(l.z) / float(s.countZ)});
    Faces(s, g);
    return g;
}

void AppendPrimitive(const PrimitiveSettings& s, const PrimitiveGeometry& g, GeometryStore& store) {
    const size_t n = g.lattice.size();
    ReserveMore(store.positions, n);
    for (size_t v = 0; v < n; ++v)
        store.positions.push_back({float(g.positions[v * 3]), float(g.positions[v * 3 + 1]),
                                   float(g.positions[v * 3 + 2])});
    store.colors.insert(store.colors.end(), n,
                        Color4f{s.color[0], s.color[1], s.color[2], s.color[3]});
    store.uvw.insert(store.uvw.end(), g.uvw.begin(), g.uvw.end());
    store.lattice.insert(store.lattice.end(), g.lattice.begin(), g.lattice.end());
    store.faces.insert(store.faces.end(), g.faces.begin(), g.faces.end());
    store.normals.insert(store.normals.end(), g.normals.begin(), g.normals.end());
    store.vertexPending = static_cast<uint32_t>(n);
    store.facePending = static_cast<uint32_t>(g.faces.size());
    ObjectRange range;
    range.group = s.group;
    range.kind = static_cast<int32_t>(s.dimensionMask);
    range.vertexStart = store.vertexBase;
    range.vertexCount = store.vertexPending;
    range.faceStart = store.faceBase;
    range.faceCount = store.facePending;
    for (int i = 0; i < 3; ++i) range.latticeSize[i] = s.latticeSize[i];
    store.ranges.push_back(range);
}

uint64_t PrimitiveHash(const PrimitiveSettings& s) {
    ParamHasher h(12);
    for (float v : {s.cubeWidth, s.cubeHeight, s.cubeDepth, s.sphereRadius, s.color[0], s.color[1],
                    s.color[2], s.color[3], s.center[0], s.center[1], s.center[2], s.rotation[0],
                    s.rotation[1], s.rotation[2]})
        h.add(v);
    for (int32_t v : {s.xPoints, s.yPoints, s.zPoints, s.sphereSlices, s.sphereStacks,
                      s.sphereLayers, int32_t(s.primitiveType), int32_t(s.group), s.faceMode})
        h.add(v);
    return h.value();
}

}  // namespace tv
