// The blend of the triangles of two frames: common triples interpolate, the others fade.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "renderers/Triangulation.h"

namespace tv {
namespace {

TriangleSet Set(std::vector<int32_t> triples, std::vector<float> opacity) {
    TriangleSet s;
    s.triples = std::move(triples);
    s.opacityFactors = std::move(opacity);
    return s;
}

TEST(TriangleBlend, CommonTriplesInterpolateAndTheOthersFade) {
    // A at t0, B at t1; (0,1,2) and (1,2,5) in both, (0,2,3) only in A, (0,2,4) only in B.
    const TriangleSet a = Set({1, 2, 5, 0, 2, 3, 0, 1, 2}, {0.8f, 0.6f, 1.0f});
    const TriangleSet b = Set({0, 2, 4, 0, 1, 2, 1, 2, 5}, {0.5f, 0.2f, 0.4f});
    TriangleSet out;
    ASSERT_TRUE(BlendTriangles(a, b, 0.25f, 0.75f, out));
    // Common ones first, in sorted order; then those of one side, merged in sorted order.
    EXPECT_EQ(out.triples, (std::vector<int32_t>{0, 1, 2, 1, 2, 5, 0, 2, 3, 0, 2, 4}));
    ASSERT_EQ(out.size(), 4u);
    EXPECT_FLOAT_EQ(out.opacityFactors[0], (0.2f - 1.0f) * 0.25f + 1.0f);  // 0.8
    EXPECT_FLOAT_EQ(out.opacityFactors[1], (0.4f - 0.8f) * 0.25f + 0.8f);  // 0.7
    EXPECT_FLOAT_EQ(out.opacityFactors[2], 0.6f * (1 - 0.25f));            // fading out
    EXPECT_FLOAT_EQ(out.opacityFactors[3], 0.5f * (1 - 0.75f));            // fading in
    EXPECT_TRUE(out.extra.empty());
}

TEST(TriangleBlend, TriplesCompareOnAllThreeIndicesInTheirOrder) {
    // The same corners in another order are another triple; so is a triple that differs only
    // in its last index.
    const TriangleSet a = Set({0, 1, 2, 3, 4, 5}, {1.0f, 1.0f});
    const TriangleSet b = Set({2, 1, 0, 3, 4, 6}, {1.0f, 1.0f});
    TriangleSet out;
    ASSERT_TRUE(BlendTriangles(a, b, 0.5f, 0.5f, out));
    EXPECT_EQ(out.triples, (std::vector<int32_t>{0, 1, 2, 2, 1, 0, 3, 4, 5, 3, 4, 6}));
    for (float f : out.opacityFactors) EXPECT_FLOAT_EQ(f, 0.5f);
}

TEST(TriangleBlend, AtTheEndsTheBlendIsEitherFrame) {
    const TriangleSet a = Set({0, 1, 2, 1, 2, 3}, {0.3f, 0.9f});
    const TriangleSet b = Set({0, 1, 2, 2, 3, 4}, {0.7f, 0.4f});
    TriangleSet start, end;
    ASSERT_TRUE(BlendTriangles(a, b, 0.0f, 1.0f, start));
    ASSERT_TRUE(BlendTriangles(a, b, 1.0f, 0.0f, end));
    using ::testing::ElementsAre;
    using ::testing::FloatEq;
    // B's own triple is not seen yet at the start; A's own is gone at the end.
    EXPECT_THAT(start.opacityFactors, ElementsAre(FloatEq(0.3f), FloatEq(0.9f), FloatEq(0.0f)));
    EXPECT_THAT(end.opacityFactors, ElementsAre(FloatEq(0.7f), FloatEq(0.0f), FloatEq(0.4f)));
}

TEST(TriangleBlend, RepeatedTriplesPairUpOneForOne) {
    // Nearest triangles repeat a triple found from two corners: two copies in A, one in B.
    const TriangleSet a = Set({0, 1, 2, 0, 1, 2}, {1.0f, 0.5f});
    const TriangleSet b = Set({0, 1, 2}, {0.0f});
    TriangleSet out;
    ASSERT_TRUE(BlendTriangles(a, b, 0.5f, 0.5f, out));
    EXPECT_EQ(out.triples, (std::vector<int32_t>{0, 1, 2, 0, 1, 2}));
    EXPECT_FLOAT_EQ(out.opacityFactors[0], 0.5f);   // the first copy with B's
    EXPECT_FLOAT_EQ(out.opacityFactors[1], 0.25f);  // the second alone, fading
}

TEST(TriangleBlend, EmptySetsBlendToNothing) {
    TriangleSet out;
    ASSERT_TRUE(BlendTriangles({}, {}, 0.5f, 0.5f, out));
    EXPECT_EQ(out.size(), 0u);
}

}  // namespace
}  // namespace tv
