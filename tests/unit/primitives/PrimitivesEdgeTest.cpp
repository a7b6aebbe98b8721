// Sphere shells in the YZ face mode, and normals left bit for bit by a rotation of zero.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>

#include "host/Gather.h"
#include "sources/PrimitivesGenerate.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

PrimitiveSettings Sphere(int slices, int stacks, int layers, int faces) {
    PrimitiveSettings s;
    s.primitiveType = kPrimitiveSphere;
    s.sphereSlices = slices, s.sphereStacks = stacks, s.sphereLayers = layers;
    s.sphereRadius = 10;
    s.faceMode = faces;
    DeriveCounts(s);
    return s;
}

int32_t Index(const PrimitiveSettings& s, int i, int j, int k) {
    return (k * s.countY + j) * s.countX + i;
}

int32_t Shell(const PrimitiveSettings& s, int32_t index) {
    return index / (s.countX * s.countY);
}

bool SameBits(float a, float b) {
    return std::bit_cast<uint32_t>(a) == std::bit_cast<uint32_t>(b);
}

TEST(PrimitiveEdges, LayersInYZConnectTheShells) {
    // YZ swaps the slice and layer counts: a = 2 layers, b = 3 stacks, c = 4 slices.
    const PrimitiveSettings s = Sphere(4, 3, 2, kFacesYZ);
    const PrimitiveGeometry g = GeneratePrimitive(s);
    ASSERT_EQ(g.faces.size(), size_t(4 * 3 * 2 * 2));
    // Every triangle takes two corners at layer r and at least one at layer r + 1 (wrapped):
    // none lies within one shell.
    for (const Vec3i& f : g.faces) {
        const int32_t a = Shell(s, f.x), b = Shell(s, f.y), c = Shell(s, f.z);
        EXPECT_FALSE(a == b && b == c) << f.x << " " << f.y << " " << f.z;
    }
    // p = 0, q = 0, r = 0: A = (0, 1, 0), B = (0, 0, 0), C = (0, 0, 1), D = (0, 1, 1).
    EXPECT_EQ(g.faces[0].x, Index(s, 0, 1, 0));
    EXPECT_EQ(g.faces[0].y, Index(s, 0, 0, 0));
    EXPECT_EQ(g.faces[0].z, Index(s, 0, 0, 1));
    EXPECT_EQ(g.faces[1].x, Index(s, 0, 0, 1));  // (C, D, A) on even q
    EXPECT_EQ(g.faces[1].y, Index(s, 0, 1, 1));
    EXPECT_EQ(g.faces[1].z, Index(s, 0, 1, 0));
    // r = 1: the outer shell joins back to the inner one, layer 2 wrapping to 0.
    EXPECT_EQ(g.faces[2].x, Index(s, 0, 1, 1));
    EXPECT_EQ(g.faces[2].y, Index(s, 0, 0, 1));
    EXPECT_EQ(g.faces[2].z, Index(s, 0, 0, 0));
    // p = 1, q = 1 (odd), r = 0: (A, B, D) with A = (1, 2, 0), B = (1, 1, 0), D = (1, 2, 1).
    const Vec3i odd = g.faces[size_t(2 * ((1 * 3 + 1) * 2 + 0))];
    EXPECT_EQ(odd.x, Index(s, 1, 2, 0));
    EXPECT_EQ(odd.y, Index(s, 1, 1, 0));
    EXPECT_EQ(odd.z, Index(s, 1, 2, 1));

    // One layer in YZ: a = 1, so no faces at all.
    EXPECT_TRUE(GeneratePrimitive(Sphere(4, 3, 1, kFacesYZ)).faces.empty());
}

TEST(PrimitiveEdges, ZeroRotationLeavesEveryNormalComponentBitForBit) {
    // Sphere about the origin: each normal is its own position scaled by 1 / length in double.
    const PrimitiveSettings sphere = Sphere(7, 5, 2, kFacesXY);
    const PrimitiveGeometry g = GeneratePrimitive(sphere);
    ASSERT_EQ(g.normals.size(), size_t(7 * 5 * 2));
    for (size_t v = 0; v < g.normals.size(); ++v) {
        const double x = g.positions[v * 3], y = g.positions[v * 3 + 1], z = g.positions[v * 3 + 2];
        const double inv = 1.0 / std::sqrt(x * x + y * y + z * z);
        EXPECT_TRUE(SameBits(g.normals[v].x, float(x * inv))) << v;
        EXPECT_TRUE(SameBits(g.normals[v].y, float(y * inv))) << v;
        EXPECT_TRUE(SameBits(g.normals[v].z, float(z * inv))) << v;
    }
    // Cube: the constant normal of each face mode, zeros positive.
    const std::pair<int, Vec3f> modes[] = {{kFacesNone, {0, -1, 0}},
                                           {kFacesXY, {0, 0, -1}},
                                           {kFacesXZ, {0, -1, 0}},
                                           {kFacesYZ, {-1, 0, 0}}};
    for (const auto& [mode, n] : modes) {
        PrimitiveSettings s;
        s.xPoints = 3, s.yPoints = 2, s.zPoints = 2;
        s.faceMode = mode;
        s.center[0] = 5, s.center[1] = -3, s.center[2] = 8;
        DeriveCounts(s);
        const PrimitiveGeometry c = GeneratePrimitive(s);
        ASSERT_EQ(c.normals.size(), 12u);
        for (const Vec3f& m : c.normals) {
            EXPECT_TRUE(SameBits(m.x, n.x)) << mode;
            EXPECT_TRUE(SameBits(m.y, n.y)) << mode;
            EXPECT_TRUE(SameBits(m.z, n.z)) << mode;
        }
    }
}

TEST(PrimitiveEdges, ZeroRotationThroughTheEffectKeepsTheNormals) {
    standalone::EmbeddedHost host;
    auto& comp = host.addComp("c", 100, 100);
    auto& layer = host.addLayer(comp, "l", standalone::LayerKind::Solid);
    auto& prim = host.applyEffectInstance(layer, "KDL TAVRSRC Primitives");
    prim.params[1].value.u.popup = kPrimitiveSphere;
    prim.params[12].value.u.slider = 6;  // slices
    prim.params[13].value.u.slider = 4;  // stacks
    auto gather = [&] {
        ObjectMessage m;
        InitObjectMessage(m);
        EXPECT_EQ(Gather(host, layer.uid, A_Time{0, 30000}, m), 0);
        std::vector<Vec3f> normals = m.geometry->normals;
        std::vector<Vec3f> positions = m.geometry->positions;
        DisposeObjectMessage(m);
        return std::pair{normals, positions};
    };
    const auto [normals, positions] = gather();
    ASSERT_EQ(normals.size(), 24u);
    // The centre is the layer's middle: the normal is the offset from it over its length.
    for (size_t v = 0; v < normals.size(); ++v) {
        const double x = double(positions[v].x) - 50, y = double(positions[v].y) - 50,
                     z = double(positions[v].z);
        const double len = std::sqrt(x * x + y * y + z * z);
        EXPECT_NEAR(normals[v].x, x / len, 1e-5) << v;
        EXPECT_NEAR(normals[v].y, y / len, 1e-5) << v;
        EXPECT_NEAR(normals[v].z, z / len, 1e-5) << v;
    }
    // Settings built as the effect builds them give the same bits.
    PrimitiveSettings s = Sphere(6, 4, 1, kFacesXY);
    s.sphereRadius = 250;
    s.center[0] = 50, s.center[1] = 50;
    const PrimitiveGeometry g = GeneratePrimitive(s);
    for (size_t v = 0; v < normals.size(); ++v) {
        EXPECT_TRUE(SameBits(normals[v].x, g.normals[v].x)) << v;
        EXPECT_TRUE(SameBits(normals[v].y, g.normals[v].y)) << v;
        EXPECT_TRUE(SameBits(normals[v].z, g.normals[v].z)) << v;
    }
    // A rotation of one degree about Y does move them.
    prim.params[21].value.u.fixed = 1 << 16;
    const auto turned = gather().first;
    bool moved = false;
    for (size_t v = 0; v < normals.size(); ++v)
        moved |= !SameBits(turned[v].x, normals[v].x) || !SameBits(turned[v].z, normals[v].z);
    EXPECT_TRUE(moved);
}

}  // namespace
}  // namespace tv
