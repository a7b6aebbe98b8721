// Shells, wrap, rotation about the centre, uvw, the legacy sphere size, the hash and the hidden
// groups of the primitives source.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <set>

#include "host/Gather.h"
#include "sources/PrimitivesGenerate.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

PrimitiveSettings Sphere(int slices, int stacks, int layers, int faces = kFacesXY) {
    PrimitiveSettings s;
    s.primitiveType = kPrimitiveSphere;
    s.sphereSlices = slices, s.sphereStacks = stacks, s.sphereLayers = layers;
    s.sphereRadius = 10;
    s.faceMode = faces;
    DeriveCounts(s);
    return s;
}

int Shell(int32_t index, const PrimitiveSettings& s) {
    return index / (s.sphereSlices * s.sphereStacks);
}

TEST(PrimitiveShapes, LayersInXYStayWithinEachShell) {
    const PrimitiveSettings s = Sphere(4, 3, 2);
    const PrimitiveGeometry g = GeneratePrimitive(s);
    // Not reduced for a sphere: 4 x 3 quads per shell, two shells, two triangles each.
    ASSERT_EQ(g.faces.size(), 48u);
    for (const Vec3i& f : g.faces) {
        EXPECT_EQ(Shell(f.x, s), Shell(f.y, s));
        EXPECT_EQ(Shell(f.y, s), Shell(f.z, s));
    }
    // The last stack joins the first: the first quad of stack 2 of shell 0, r = 0, q = 2 (even):
    // A = (0, 0, 0), B = (0, 2, 0), C = (1, 2, 0).
    const Vec3i first = g.faces[2 * (2 * 4 + 0)];
    EXPECT_EQ(first.x, 0);
    EXPECT_EQ(first.y, 8);
    EXPECT_EQ(first.z, 9);
    // The longitude wraps: r = 3 of stack 0 uses slice 0 as C = (0, 0, 0).
    const Vec3i wrap = g.faces[2 * 3];
    EXPECT_EQ(wrap.x, 7);  // A = (3, 1, 0)
    EXPECT_EQ(wrap.y, 3);  // B = (3, 0, 0)
    EXPECT_EQ(wrap.z, 0);  // C = (0, 0, 0)
}

TEST(PrimitiveShapes, LayersInXZConnectTheShells) {
    const PrimitiveSettings s = Sphere(4, 3, 2, kFacesXZ);
    const PrimitiveGeometry g = GeneratePrimitive(s);
    ASSERT_EQ(g.faces.size(), size_t(3 * 2 * 4 * 2));
    bool across = false;
    for (const Vec3i& f : g.faces)
        across |= Shell(f.x, s) != Shell(f.y, s) || Shell(f.y, s) != Shell(f.z, s);
    EXPECT_TRUE(across);
}

TEST(PrimitiveShapes, OddRowsUseTheOtherDiagonal) {
    PrimitiveSettings s;
    s.xPoints = 2, s.yPoints = 3, s.zPoints = 1;
    DeriveCounts(s);
    const PrimitiveGeometry g = GeneratePrimitive(s);
    ASSERT_EQ(g.faces.size(), 4u);
    // q = 1: A = (0,2) 4, B = (0,1) 2, C = (1,1) 3, D = (1,2) 5: (A, B, D) and (C, D, B).
    EXPECT_EQ(g.faces[2].x, 4);
    EXPECT_EQ(g.faces[2].y, 2);
    EXPECT_EQ(g.faces[2].z, 5);
    EXPECT_EQ(g.faces[3].x, 3);
    EXPECT_EQ(g.faces[3].y, 5);
    EXPECT_EQ(g.faces[3].z, 2);
}

TEST(PrimitiveShapes, YZFacesWalkTheYZPlane) {
    PrimitiveSettings s;
    s.xPoints = 1, s.yPoints = 2, s.zPoints = 2;
    s.faceMode = kFacesYZ;
    DeriveCounts(s);
    const PrimitiveGeometry g = GeneratePrimitive(s);
    ASSERT_EQ(g.faces.size(), 2u);
    // a = 2 (Z), b = 2 (Y), c = 1 (X). A = (0,1,0) 1, B = (0,0,0) 0, C = (0,0,1) 2.
    EXPECT_EQ(g.faces[0].x, 1);
    EXPECT_EQ(g.faces[0].y, 0);
    EXPECT_EQ(g.faces[0].z, 2);
    EXPECT_EQ(g.normals[0].x, -1.0f);
}

TEST(PrimitiveShapes, RotationActsAboutTheCentreZThenYThenX) {
    PrimitiveSettings s;
    s.xPoints = 2, s.yPoints = 1, s.zPoints = 1;
    s.cubeWidth = 2;
    s.faceMode = kFacesNone;  // normal (0, -1, 0)
    s.center[0] = 10, s.center[1] = 20, s.center[2] = 30;
    DeriveCounts(s);
    s.rotation[2] = 90;
    PrimitiveGeometry g = GeneratePrimitive(s);
    // (1, 0, 0) about the centre: the Z matrix's first row is (cos, sin, 0), so it becomes (0, 1).
    EXPECT_NEAR(g.positions[3], 10, 1e-5);
    EXPECT_NEAR(g.positions[4], 21, 1e-5);
    EXPECT_NEAR(g.positions[5], 30, 1e-5);
    EXPECT_NEAR(g.normals[0].x, 1, 1e-6);  // (0, -1, 0) * Rz(90)
    EXPECT_NEAR(g.normals[0].y, 0, 1e-6);
    // Z first, then X: (1, 0, 0) -> (0, 1, 0) -> X 90 -> (0, 0, 1).
    s.rotation[0] = 90;
    g = GeneratePrimitive(s);
    EXPECT_NEAR(g.positions[3], 10, 1e-5);
    EXPECT_NEAR(g.positions[4], 20, 1e-5);
    EXPECT_NEAR(g.positions[5], 31, 1e-5);
}

TEST(PrimitiveShapes, NormalsUntouchedWithoutRotation) {
    const PrimitiveSettings s = Sphere(6, 5, 1);
    const PrimitiveGeometry g = GeneratePrimitive(s);
    for (size_t v = 0; v < g.lattice.size(); ++v) {
        const double x = g.positions[v * 3], y = g.positions[v * 3 + 1], z = g.positions[v * 3 + 2];
        const double inv = 1.0 / std::sqrt(x * x + y * y + z * z);
        EXPECT_EQ(g.normals[v].x, float(x * inv)) << v;
        EXPECT_EQ(g.normals[v].z, float(z * inv)) << v;
    }
}

TEST(PrimitiveShapes, UvwDividesByTheCount) {
    PrimitiveSettings s;
    s.xPoints = 4, s.yPoints = 2, s.zPoints = 1;
    DeriveCounts(s);
    const PrimitiveGeometry g = GeneratePrimitive(s);
    const Vec3f last = g.uvw.back();  // (3, 1, 0)
    EXPECT_EQ(last.x, 0.75f);
    EXPECT_EQ(last.y, 0.5f);
    EXPECT_EQ(last.z, 0.0f);
}

TEST(PrimitiveShapes, LegacySphereIsTwiceAsLargeWithTheSameNormals) {
    PrimitiveSettings s = Sphere(4, 3, 1);
    const PrimitiveGeometry a = GeneratePrimitive(s);
    s.legacySphereScale = true;
    const PrimitiveGeometry b = GeneratePrimitive(s);
    // Vertex (0, 1): longitude -pi on the equator, x = -10.
    EXPECT_NEAR(a.positions[4 * 3], -10, 1e-5);
    EXPECT_NEAR(b.positions[4 * 3], -20, 1e-5);
    for (size_t v = 0; v < a.normals.size(); ++v) EXPECT_EQ(a.normals[v].x, b.normals[v].x);
}

TEST(PrimitiveShapes, SphereShellsGrowOutward) {
    const PrimitiveSettings s = Sphere(4, 3, 2);
    const PrimitiveGeometry g = GeneratePrimitive(s);
    // Equator vertex (0, 1) of each shell: radius 5, then the full 10.
    EXPECT_NEAR(g.positions[4 * 3], -5, 1e-5);
    EXPECT_NEAR(g.positions[(12 + 4) * 3], -10, 1e-5);
}

TEST(PrimitiveShapes, AppendPushesOneRangeAtTheBases) {
    PrimitiveSettings s;
    s.xPoints = 3, s.yPoints = 2, s.zPoints = 1, s.group = 4;
    DeriveCounts(s);
    GeometryStore store;
    store.vertexBase = 7;
    store.faceBase = 2;
    AppendPrimitive(s, GeneratePrimitive(s), store);
    ASSERT_EQ(store.ranges.size(), 1u);
    const ObjectRange& r = store.ranges[0];
    EXPECT_EQ(r.group, 4);
    EXPECT_EQ(r.kind, 3);  // X and Y above 1
    EXPECT_EQ(r.vertexStart, 7u);
    EXPECT_EQ(r.vertexCount, 6u);
    EXPECT_EQ(r.faceStart, 2u);
    EXPECT_EQ(r.faceCount, 4u);
    EXPECT_EQ(r.latticeSize[0], 3);
    EXPECT_EQ(store.vertexPending, 6u);
    EXPECT_EQ(store.facePending, 4u);
    EXPECT_EQ(store.colors.size(), 6u);
}

// FNV-1a 64 and the combine, written out for the test.
uint64_t Combine(uint64_t seed, const void* p, size_t n) {
    uint64_t h = 0xcbf29ce484222325ull;
    for (size_t i = 0; i < n; ++i) {
        h ^= static_cast<const uint8_t*>(p)[i];
        h *= 0x100000001b3ull;
    }
    return seed ^ (h + 0x9e3779b9 + (seed << 6) + (seed >> 2));
}

TEST(PrimitiveShapes, HashOrderAndPositiveZero) {
    PrimitiveSettings s;
    s.center[0] = 50, s.center[1] = 50;
    DeriveCounts(s);
    uint64_t expect = 12;
    const float floats[] = {500, 500, 500, 250, 1, 1, 1, 0.5f, 50, 50, 0, 0, 0, 0};
    for (float f : floats) expect = Combine(expect, &f, 4);
    const int32_t ints[] = {10, 10, 10, 40, 40, 1, 1, 12, 2};
    for (int32_t i : ints) expect = Combine(expect, &i, 4);
    EXPECT_EQ(PrimitiveHash(s), expect);
    s.rotation[1] = -0.0f;
    EXPECT_EQ(PrimitiveHash(s), expect);
    s.sphereLayers = 2;
    EXPECT_NE(PrimitiveHash(s), expect);

    // Through the host: the mixed value of a default instance on a 100 x 100 layer.
    standalone::EmbeddedHost host;
    auto& comp = host.addComp("c", 100, 100);
    auto& layer = host.addLayer(comp, "l", standalone::LayerKind::Solid);
    host.applyEffectInstance(layer, "KDL TAVRSRC Primitives");
    static std::vector<uint64_t> mixed;
    mixed.clear();
    auto mix = [](PF_ProgPtr, uint32_t size, const void* data) -> PF_Err {
        uint64_t v = 0;
        std::memcpy(&v, data, std::min<uint32_t>(size, 8));
        mixed.push_back(v);
        return 0;
    };
    ASSERT_EQ(MixStackHash(host, layer.uid, A_Time{0, 30000}, 0, mix, {}), 0);
    ASSERT_FALSE(mixed.empty());
    EXPECT_EQ(mixed[0], expect);
}

TEST(PrimitiveShapes, TheOtherTypesGroupIsHidden) {
    standalone::EmbeddedHost host;
    auto& comp = host.addComp("c", 100, 100);
    auto& layer = host.addLayer(comp, "l", standalone::LayerKind::Solid);
    auto& prim = host.applyEffectInstance(layer, "KDL TAVRSRC Primitives");
    ASSERT_EQ(host.callEffect(prim, PF_Cmd_UPDATE_PARAMS_UI, A_Time{0, 1}, nullptr), 0);
    EXPECT_FALSE(prim.params[2].hidden);
    EXPECT_TRUE(prim.params[10].hidden);
    prim.params[1].value.u.popup = kPrimitiveSphere;
    // The UI update runs once per instance; a change of the type goes through user-changed.
    host.callEffect(prim, PF_Cmd_UPDATE_PARAMS_UI, A_Time{0, 1}, nullptr);
    EXPECT_TRUE(prim.params[10].hidden);
    ASSERT_EQ(host.callEffect(prim, PF_Cmd_USER_CHANGED_PARAM, A_Time{0, 1}, nullptr), 0);
    EXPECT_TRUE(prim.params[2].hidden);
    EXPECT_FALSE(prim.params[10].hidden);
}

}  // namespace
}  // namespace tv
