// The curve between spot lights, the normals toward their targets, copies with their lattice,
// the colour override and the hash, without a host.
#include <gtest/gtest.h>

#include <cmath>

#include "host/ParamHash.h"
#include "sources/LayersGenerate.h"

namespace tv {
namespace {

LayersSettings Spots(int32_t count, bool between = true) {
    LayersSettings s;
    s.objectType = kLayersLights;
    s.lightType = kLayersSpotLights;
    s.betweenLights = between;
    s.betweenCount = count;
    return s;
}

// Lights along X every 100 units, each aimed 10 units down Y, colours from black up.
GatheredLayers Lights(int n) {
    GatheredLayers g;
    for (int i = 0; i < n; ++i) {
        for (double c : {100.0 * i, 0.0, 0.0}) g.base.positions.push_back(c);
        for (double c : {100.0 * i, 10.0, 0.0}) g.targets.push_back(c);
        g.base.colors.push_back({float(i), 0, 0, 1});
        g.base.normals.push_back({0, 0, 0});
    }
    return g;
}

Vec3f At(const VertexArrays& v, size_t i) {
    return {float(v.positions[i * 3]), float(v.positions[i * 3 + 1]),
            float(v.positions[i * 3 + 2])};
}

TEST(LayersCurve, OneSpotLightPointsToItsTarget) {
    GatheredLayers g = Lights(1);
    g.targets = {3, 4, 0};
    g.base.positions = {0, 0, 0};
    BetweenLights(Spots(50), g);
    ASSERT_EQ(g.base.vertexCount(), 1u);
    EXPECT_FLOAT_EQ(g.base.normals[0].x, 0.6f);
    EXPECT_FLOAT_EQ(g.base.normals[0].y, 0.8f);
    EXPECT_EQ(g.base.normals[0].z, 0);
}

TEST(LayersCurve, TargetOnTheLightLeavesAZeroNormal) {
    GatheredLayers g = Lights(2);
    g.targets = {0, 0, 0, 100, 0, 0};
    BetweenLights(Spots(50, false), g);
    EXPECT_EQ(g.base.normals[0], (Vec3f{0, 0, 0}));
    EXPECT_EQ(g.base.normals[1], (Vec3f{0, 0, 0}));
}

TEST(LayersCurve, TwoLightsOneVertexSitsOnTheFirst) {
    GatheredLayers g = Lights(2);
    BetweenLights(Spots(1), g);
    ASSERT_EQ(g.base.vertexCount(), 1u);
    EXPECT_EQ(At(g.base, 0), (Vec3f{0, 0, 0}));
    EXPECT_EQ(g.base.colors[0], (Color4f{0, 0, 0, 1}));
}

TEST(LayersCurve, TwoLightsFiftyVerticesReachTheSecondExactly) {
    GatheredLayers g = Lights(2);
    BetweenLights(Spots(50), g);
    ASSERT_EQ(g.base.vertexCount(), 50u);
    EXPECT_EQ(g.base.positions[49 * 3], 100.0);
    EXPECT_EQ(g.base.positions[49 * 3 + 1], 0.0);
    EXPECT_EQ(g.base.colors[49].r, 1.0f);
    // t = 1/49 by hand: B = 3 t (1-t)^2 T0 + 3 t^2 (1-t) D + t^3 P1, D = 2 P1 - T1 = (100, -10, 0).
    const double t = 1.0 / 49, u = 1 - t;
    EXPECT_NEAR(g.base.positions[3], 3 * t * t * u * 100 + t * t * t * 100, 1e-12);
    EXPECT_NEAR(g.base.positions[4], 3 * t * u * u * 10 + 3 * t * t * u * -10, 1e-12);
    EXPECT_NEAR(g.base.colors[1].r, t, 1e-6);
    for (const Vec3f& n : g.base.normals) EXPECT_EQ(n, (Vec3f{0, -1, 0}));
}

TEST(LayersCurve, ThreeLightsFiveVerticesSplitTwoThenThree) {
    GatheredLayers g = Lights(3);
    BetweenLights(Spots(5), g);
    ASSERT_EQ(g.base.vertexCount(), 5u);
    // Segment 0: t = 0, 1/2; segment 1 (the last): t = 0, 1/2, 1.
    EXPECT_EQ(At(g.base, 0), (Vec3f{0, 0, 0}));
    EXPECT_EQ(At(g.base, 2), (Vec3f{100, 0, 0}));
    EXPECT_EQ(At(g.base, 4), (Vec3f{200, 0, 0}));
    // Segment 0 at t = 1/2: x = 3/8 * 100 + 1/8 * 100, y = 3/8 * 10 - 3/8 * 10.
    EXPECT_NEAR(g.base.positions[3], 50.0, 1e-12);
    EXPECT_NEAR(g.base.positions[4], 0.0, 1e-12);
    EXPECT_FLOAT_EQ(g.base.colors[1].r, 0.5f);
    EXPECT_FLOAT_EQ(g.base.colors[3].r, 1.5f);
}

TEST(LayersCurve, FewerVerticesThanSegmentsGoToTheLastSegments) {
    GatheredLayers g = Lights(4);  // three segments, two vertices: base 0, segments 1 and 2 get one
    BetweenLights(Spots(2), g);
    ASSERT_EQ(g.base.vertexCount(), 2u);
    EXPECT_EQ(At(g.base, 0), (Vec3f{100, 0, 0}));
    // The last segment of one vertex starts at its own first light.
    EXPECT_EQ(At(g.base, 1), (Vec3f{200, 0, 0}));
}

TEST(LayersCurve, PointLightsAndMismatchedArraysAreLeftAlone) {
    GatheredLayers g = Lights(3);
    LayersSettings points = Spots(5);
    points.lightType = kLayersPointLights;
    BetweenLights(points, g);
    EXPECT_EQ(g.base.vertexCount(), 3u);
    g.base.normals.pop_back();
    BetweenLights(Spots(5), g);
    EXPECT_EQ(g.base.vertexCount(), 3u);
}

TEST(LayersBuild, CopiesLatticeUvwAndFacets) {
    LayersSettings s;
    s.replication.copies = 3;
    s.replication.depth = 100;
    s.replication.direction = kReplicatePlusZ;
    VertexArrays base;
    base.positions = {0, 0, 0, 10, 0, 0};
    base.colors = {{1, 0, 0, 1}, {0, 1, 0, 1}};
    base.normals = {{0, -1, 0}, {0, -1, 0}};
    const VertexArrays v = BuildLayers(s, base);
    ASSERT_EQ(v.vertexCount(), 6u);
    EXPECT_EQ(v.lattice[3], (Vec3i{1, 1, 1}));
    EXPECT_EQ(v.uvw[3], (Vec3f{1.0f, 2.0f / 3.0f, 0}));
    EXPECT_EQ(v.uvw[4], (Vec3f{0.5f, 1.0f, 0}));
    EXPECT_EQ(v.colors[5], (Color4f{0, 1, 0, 1}));
    // +Z: copy k moves k / (copies - 1) * depth.
    EXPECT_EQ(v.positions[2], 0.0);
    EXPECT_EQ(v.positions[3 * 3 + 2], 50.0);
    EXPECT_EQ(v.positions[5 * 3 + 2], 100.0);
    // Band 0 (even): (a', a, a+1), (a+1, a'+1, a'); band 1 (odd): (a'+1, a', a), (a, a+1, a'+1).
    ASSERT_EQ(v.faces.size(), 4u);
    EXPECT_EQ(v.faces[0], (Vec3i{2, 0, 1}));
    EXPECT_EQ(v.faces[1], (Vec3i{1, 3, 2}));
    EXPECT_EQ(v.faces[2], (Vec3i{5, 4, 2}));
    EXPECT_EQ(v.faces[3], (Vec3i{2, 3, 5}));

    s.generateFacets = false;
    EXPECT_TRUE(BuildLayers(s, base).faces.empty());

    GeometryStore store;
    store.vertexBase = 7;
    store.faceBase = 2;
    AppendLayers(s, v, store);
    ASSERT_EQ(store.ranges.size(), 1u);
    const ObjectRange& r = store.ranges[0];
    EXPECT_EQ(r.kind, 3);
    EXPECT_EQ(r.vertexStart, 7u);
    EXPECT_EQ(r.vertexCount, 6u);
    EXPECT_EQ(r.faceStart, 2u);
    EXPECT_EQ(r.faceCount, 4u);
    EXPECT_EQ(r.latticeSize[0], 2);
    EXPECT_EQ(r.latticeSize[1], 3);
    EXPECT_EQ(r.latticeSize[2], 1);
    EXPECT_EQ(store.vertexPending, 6u);
    EXPECT_EQ(store.facePending, 4u);
    EXPECT_EQ(store.positions[5], (Vec3f{10, 0, 100}));
}

TEST(LayersBuild, ColourAndOpacityOverridesAreSeparate) {
    LayersSettings s;
    s.color[0] = 0.25f, s.color[1] = 0.5f, s.color[2] = 0.75f, s.color[3] = 0.125f;
    VertexArrays base;
    base.positions = {0, 0, 0};
    base.colors = {{1, 1, 1, 0.9f}};
    base.normals = {{0, -1, 0}};
    s.getColor = false;
    EXPECT_EQ(BuildLayers(s, base).colors[0], (Color4f{0.25f, 0.5f, 0.75f, 0.9f}));
    s.getColor = true;
    s.getOpacity = false;
    EXPECT_EQ(BuildLayers(s, base).colors[0], (Color4f{1, 1, 1, 0.125f}));
}

TEST(LayersHash, SeedOrderAndEveryVertex) {
    LayersSettings s;
    VertexArrays base;
    base.positions = {1, 2, 3};
    base.colors = {{1, 1, 1, 1}};
    base.normals = {{0, -1, 0}};
    // By hand: seed 64, fourteen floats, eleven ints, the prefix, then the vertex.
    ParamHasher h(64);
    for (float v : {500.0f, 0.f, 0.f, 0.f, 0.f, 0.f, 0.f, 0.f, 0.f, 0.f, 1.f, 1.f, 1.f, 0.5f})
        h.add(v);
    for (int32_t v : {1, 3, 1, 1, 1, 1, 1, 12, 1, 1, 50}) h.add(v);
    h.add(std::string_view(""));
    h.add(1.0).add(2.0).add(3.0);
    h.add(1.0f).add(1.0f).add(1.0f).add(1.0f);
    h.add(0.0f).add(-1.0f).add(0.0f);
    EXPECT_EQ(LayersHash(s, base), h.value());

    const uint64_t full = LayersHash(s, base);
    base.positions[2] = 3.5;
    EXPECT_NE(LayersHash(s, base), full);
    s.namePrefix = "Light";
    EXPECT_NE(LayersHash(s, base), LayersHash(LayersSettings{}, base));
}

TEST(LayersLabel, EmptyPrefixNamesWhatItSelects) {
    EXPECT_EQ(LayersNameLabel(kLayersLights, ""), "<All Lights>");
    EXPECT_EQ(LayersNameLabel(kLayers3D, ""), "<All Layers>");
    EXPECT_EQ(LayersNameLabel(kLayers3D, "Null"), "Null");
}

}  // namespace
}  // namespace tv
