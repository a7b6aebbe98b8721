#include <gtest/gtest.h>

#include <cmath>

#include "host/Gather.h"
#include "sources/PrimitivesGenerate.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

PrimitiveSettings Cube(int x, int y, int z, int faces = kFacesXY) {
    PrimitiveSettings s;
    s.primitiveType = kPrimitiveCube;
    s.xPoints = x, s.yPoints = y, s.zPoints = z;
    s.faceMode = faces;
    DeriveCounts(s);
    return s;
}

TEST(Primitives, OneByOneByOneCubeIsOneVertexAtTheCentre) {
    PrimitiveSettings s = Cube(1, 1, 1);
    s.center[0] = 5, s.center[1] = 6, s.center[2] = 7;
    const PrimitiveGeometry g = GeneratePrimitive(s);
    ASSERT_EQ(g.lattice.size(), 1u);
    EXPECT_EQ(g.positions, (std::vector<double>{5, 6, 7}));
    EXPECT_TRUE(g.faces.empty());
    EXPECT_EQ(s.dimensionMask, 0u);
}

TEST(Primitives, CubeIndexOrderAndSpacing) {
    PrimitiveSettings s = Cube(3, 2, 2);
    s.cubeWidth = 100;
    const PrimitiveGeometry g = GeneratePrimitive(s);
    ASSERT_EQ(g.lattice.size(), 12u);
    // (i, j, k) sits at (k * countY + j) * countX + i.
    EXPECT_EQ(g.lattice[(1 * 2 + 1) * 3 + 2], (Vec3i{2, 1, 1}));
    EXPECT_EQ(g.positions[0], -50);
    EXPECT_EQ(g.positions[3], 0);
    EXPECT_EQ(g.positions[6], 50);
    EXPECT_EQ(g.normals[0], (Vec3f{0, 0, -1}));
    EXPECT_EQ(g.uvw[2].x, 2.0f / 3.0f);  // divided by the count, not count - 1
    EXPECT_EQ(s.dimensionMask, 7u);
}

TEST(Primitives, TwoYPointsOneZPointMakeOneRowOfQuadsInXYAndNoneInXZ) {
    const PrimitiveGeometry xy = GeneratePrimitive(Cube(3, 2, 1, kFacesXY));
    EXPECT_EQ(xy.faces.size(), 4u);  // two quads, two triangles each
    // Even row: (A, B, C) and (C, D, A) with A = (0,1), B = (0,0), C = (1,0), D = (1,1).
    EXPECT_EQ(xy.faces[0], (Vec3i{3, 0, 1}));
    EXPECT_EQ(xy.faces[1], (Vec3i{1, 4, 3}));
    EXPECT_TRUE(GeneratePrimitive(Cube(3, 2, 1, kFacesXZ)).faces.empty());
}

TEST(Primitives, DiagonalsAlternateRowByRow) {
    const PrimitiveGeometry g = GeneratePrimitive(Cube(2, 3, 1, kFacesXY));
    ASSERT_EQ(g.faces.size(), 4u);
    // Odd row q = 1: (A, B, D) and (C, D, B), A = (0,2), B = (0,1), C = (1,1), D = (1,2).
    EXPECT_EQ(g.faces[2], (Vec3i{4, 2, 5}));
    EXPECT_EQ(g.faces[3], (Vec3i{3, 5, 2}));
}

TEST(Primitives, SphereRingsAndPoles) {
    PrimitiveSettings s;
    s.primitiveType = kPrimitiveSphere;
    s.sphereSlices = 4, s.sphereStacks = 3, s.sphereLayers = 1;
    s.sphereRadius = 10;
    DeriveCounts(s);
    const PrimitiveGeometry g = GeneratePrimitive(s);
    ASSERT_EQ(g.lattice.size(), 12u);
    // First stack at -90 degrees: a ring of coincident vertices at y = -r.
    EXPECT_NEAR(g.positions[1], -10, 1e-5);
    EXPECT_NEAR(g.positions[4], -10, 1e-5);
    // Equator, first slice at longitude -pi: x = -r.
    EXPECT_NEAR(g.positions[(4) * 3], -10, 1e-5);
    // Faces wrap in both directions on a sphere: slices x stacks quads.
    EXPECT_EQ(g.faces.size(), 4u * 3u * 2u);
}

TEST(Primitives, SphereEdgeCases) {
    PrimitiveSettings s;
    s.primitiveType = kPrimitiveSphere;
    s.sphereSlices = 5, s.sphereStacks = 1, s.sphereLayers = 1;
    DeriveCounts(s);
    PrimitiveGeometry g = GeneratePrimitive(s);
    EXPECT_TRUE(std::isnan(g.positions[1]));  // latitude 0/0
    s.sphereStacks = 4;
    s.sphereRadius = 0;
    DeriveCounts(s);
    g = GeneratePrimitive(s);
    EXPECT_TRUE(std::isnan(g.normals[0].x));
    s.sphereSlices = 1;
    s.sphereRadius = 10;
    DeriveCounts(s);
    EXPECT_TRUE(GeneratePrimitive(s).faces.empty());
}

TEST(Primitives, ZeroRotationLeavesNormalsBitForBit) {
    PrimitiveSettings s;
    s.primitiveType = kPrimitiveSphere;
    s.sphereSlices = 6, s.sphereStacks = 5;
    DeriveCounts(s);
    const PrimitiveGeometry a = GeneratePrimitive(s);
    s.rotation[1] = 90;
    const PrimitiveGeometry b = GeneratePrimitive(s);
    EXPECT_NE(a.positions, b.positions);
    // Rotating 90 degrees about Y: x goes to -z... a vertex on +X ends on -Z or +Z.
    EXPECT_NEAR(std::hypot(b.positions[3 * 8], b.positions[3 * 8 + 2]),
                std::hypot(a.positions[3 * 8], a.positions[3 * 8 + 2]), 1e-9);
}

TEST(Primitives, ThroughTheHostSetGroupOfZeroGives12) {
    standalone::EmbeddedHost host;
    auto& comp = host.addComp("c", 100, 100);
    auto& layer = host.addLayer(comp, "l", standalone::LayerKind::Solid);
    auto& prim = host.applyEffectInstance(layer, "KDL TAVRSRC Primitives");
    prim.params[26].value.u.popup = 3;
    ObjectMessage m;
    InitObjectMessage(m);
    ASSERT_EQ(Gather(host, layer.uid, A_Time{0, 30000}, m), 0);
    EXPECT_EQ(m.geometry->positions.size(), 1000u);  // default 10 x 10 x 10 cube
    EXPECT_EQ(m.geometry->vertexGroups.at(3), (GroupRange{0, 1000}));
    // The centre defaults to the middle of the layer.
    EXPECT_NEAR(m.geometry->positions[0].x, 50 - 250, 1e-3);
    EXPECT_EQ(m.geometry->colors[0].a, 0.5f);
    DisposeObjectMessage(m);

    ObjectMessage set;
    InitObjectMessage(set);
    set.command = kObjSetGroup;
    set.setPayloadGroup(0);
    ASSERT_EQ(SendMessage(host, layer.uid, A_Time{0, 1}, set, 0, 0), 0);
    EXPECT_EQ(prim.params[26].value.u.popup, 12);
    set.setPayloadGroup(11);
    SendMessage(host, layer.uid, A_Time{0, 1}, set, 0, 0);
    EXPECT_EQ(prim.params[26].value.u.popup, 12);
    set.setPayloadGroup(7);
    SendMessage(host, layer.uid, A_Time{0, 1}, set, 0, 0);
    EXPECT_EQ(prim.params[26].value.u.popup, 7);
    DisposeObjectMessage(set);
}

}  // namespace
}  // namespace tv
