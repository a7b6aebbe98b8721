#include <gtest/gtest.h>

#include "host/GeometryStore.h"
#include "host/Noise.h"

namespace tv {
namespace {

GeometryStore StoreWithTriangle() {
    GeometryStore s;
    s.positions = {{0, 0, 0}, {3, 0, 0}, {0, 3, 3}};
    s.colors = {{1, 0, 0, 1}, {0, 1, 0, 1}, {0, 0, 1, 1}};
    s.faces = {{0, 1, 2}};
    ObjectRange r;
    r.vertexStart = 0;
    r.vertexCount = 3;
    r.faceStart = 0;
    r.faceCount = 1;
    s.ranges.push_back(r);
    return s;
}

TEST(GeometryStore, CentroidSumsCorners102TimesFloatThird) {
    GeometryStore s = StoreWithTriangle();
    EXPECT_TRUE(ComputeFaceCentroids(s));
    ASSERT_EQ(s.faceCentroids.size(), 1u);
    EXPECT_EQ(s.faceCentroids[0].x, (3.0f + 0.0f + 0.0f) * 0.33333334f);
    EXPECT_EQ(s.faceCentroids[0].z, 3.0f * 0.33333334f);
    ComputeFaceColors(s);
    EXPECT_EQ(s.faceColorsA[0], (Color4f{1, 0, 0, 1}));
    EXPECT_EQ(s.faceColorsB[0], (Color4f{0, 1, 0, 1}));
    EXPECT_EQ(s.faceColorsC[0], (Color4f{0, 0, 1, 1}));
}

TEST(GeometryStore, FaceWithCornerOutsideGetsNoCentroid) {
    GeometryStore s = StoreWithTriangle();
    s.faces.push_back({0, 1, 7});
    s.ranges[0].faceCount = 2;
    EXPECT_FALSE(ComputeFaceCentroids(s));
    EXPECT_EQ(s.faceCentroids.size(), 1u);  // shorter than faces
    EXPECT_EQ(s.faces.size(), 2u);
    // The colours are computed regardless, one per face; the missing corner is transparent.
    ComputeFaceColors(s);
    ASSERT_EQ(s.faceColorsA.size(), 2u);
    ASSERT_EQ(s.faceColorsC.size(), 2u);
    EXPECT_EQ(s.faceColorsA[1], (Color4f{1, 0, 0, 1}));
    EXPECT_EQ(s.faceColorsB[1], (Color4f{0, 1, 0, 1}));
    EXPECT_EQ(s.faceColorsC[1], (Color4f{}));
}

TEST(GeometryStore, FacesAreRelativeToTheirSourceFirstVertex) {
    GeometryStore s = StoreWithTriangle();
    s.positions.push_back({10, 10, 10});
    s.positions.push_back({13, 10, 10});
    s.positions.push_back({10, 13, 13});
    s.faces.push_back({0, 1, 2});
    ObjectRange r;
    r.vertexStart = 3;
    r.vertexCount = 3;
    r.faceStart = 1;
    r.faceCount = 1;
    s.ranges.push_back(r);
    ASSERT_TRUE(ComputeFaceCentroids(s));
    EXPECT_EQ(s.faceCentroids[1].x, (13.0f + 10.0f + 10.0f) * 0.33333334f);
}

TEST(GeometryStore, StoreWithoutFacesKeepsCentroidsEmpty) {
    GeometryStore s;
    s.positions = {{1, 2, 3}};
    EXPECT_TRUE(ComputeFaceCentroids(s));
    EXPECT_TRUE(s.faceCentroids.empty());
}

TEST(GeometryStore, UnfilledGroupGivesEmptyRangeAndAnUnsetEntry) {
    GeometryStore s;
    s.positions.resize(5);
    const IndexRange r = GroupVertexRange(s, 7);
    EXPECT_EQ(r.count, 0u);
    ASSERT_EQ(s.vertexGroups.count(7), 1u);
    EXPECT_EQ(s.vertexGroups[7].start, 0xFFFFFFFFu);
    EXPECT_EQ(s.vertexGroups[7].count, 0u);
    const IndexRange all = GroupVertexRange(s, kAllGroups);
    EXPECT_EQ(all.start, 0u);
    EXPECT_EQ(all.count, 5u);
}

TEST(GeometryStore, JitterIsTheFixedSeedNoiseOfTheIndex) {
    GeometryStore s;
    s.positions.resize(4);
    ComputeJitter(s);
    ASSERT_EQ(s.jitter.size(), 4u);
    const Perlin noise(3, 12);
    for (size_t i = 0; i < 4; ++i) {
        const float v = noise.fbm1(static_cast<float>(double(i) * 0.1 + 0.1235)) * 0.1f;
        EXPECT_EQ(s.jitter[i].x, v);
        EXPECT_EQ(s.jitter[i].y, v * 0.5f);
        EXPECT_FLOAT_EQ(s.jitter[i].z, v * 1.5f);
    }
    // The same vertex gets the same vector every frame.
    GeometryStore again;
    again.positions.resize(4);
    ComputeJitter(again);
    EXPECT_EQ(again.jitter[3], s.jitter[3]);
}

}  // namespace
}  // namespace tv
