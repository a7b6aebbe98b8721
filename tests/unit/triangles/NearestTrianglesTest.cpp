// Nearest triangles: the search on a small cloud whose distances are all different, worked out
// by hand; the filter; and the group modes with their re-emission of earlier groups.
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "renderers/Triangulation.h"

namespace tv {
namespace {

// Distances: 01 1, 02 2, 03 4, 04 7, 12 2.236, 13 3, 14 7.071, 23 4.472, 24 7.280, 34 8.062.
const std::vector<Vec3f> kCloud = {{0, 0, 0}, {1, 0, 0}, {0, 2, 0}, {4, 0, 0}, {0, 0, 7}};

std::vector<int32_t> Candidates(const TriangulationSettings& s, const std::vector<Vec3f>& pts) {
    std::vector<int32_t> out;
    const auto n = uint32_t(pts.size());
    NearestTriangleCandidates(s, pts, pts, 0, n, 0, n, out);
    return out;
}

TEST(NearestTriangles, OneTrianglePerVertexTakesItsTwoNearest) {
    TriangulationSettings s;
    s.maxTriangles = 1;  // K = 3: the query itself and its two nearest
    s.maxDistance = 100;
    // 0: 1, 2.  1: 0, 2.  2: 0, 1.  3: 1, 0.  4: 0, 1.  Each triple sorted.
    const std::vector<int32_t> expected = {0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 3, 0, 1, 4};
    EXPECT_EQ(Candidates(s, kCloud), expected);
}

TEST(NearestTriangles, TwoTrianglesPerVertexPairTheNeighboursInOrder) {
    TriangulationSettings s;
    s.maxTriangles = 2;  // K = 6: the query and all four others
    s.maxDistance = 100;
    // Neighbours by distance: 0: 1 2 3 4; 1: 0 2 3 4; 2: 0 1 3 4; 3: 1 0 2 4; 4: 0 1 2 3.
    const std::vector<int32_t> expected = {
        0, 1, 2, 0, 3, 4,  // 0
        0, 1, 2, 1, 3, 4,  // 1
        0, 1, 2, 2, 3, 4,  // 2
        0, 1, 3, 2, 3, 4,  // 3
        0, 1, 4, 2, 3, 4,  // 4
    };
    EXPECT_EQ(Candidates(s, kCloud), expected);
}

TEST(NearestTriangles, TheMaximumDistanceDropsFarNeighboursAndAnOddLastOne) {
    TriangulationSettings s;
    s.maxTriangles = 2;
    s.maxDistance = 4;  // inclusive: 0-3 at exactly 4 stays
    // 0: 1 2 3 -> (0,1,2), 3 dropped.  1: 0 2 3 -> (0,1,2).  2: 0 1 -> (0,1,2).
    // 3: 1 0 -> (0,1,3).  4: none.
    const std::vector<int32_t> expected = {0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 3};
    EXPECT_EQ(Candidates(s, kCloud), expected);
}

TEST(NearestTriangles, FewerThanThreeSlotsMakeNothing) {
    TriangulationSettings s;
    s.maxTriangles = 0;
    EXPECT_TRUE(Candidates(s, kCloud).empty());
    s.maxTriangles = -1;
    EXPECT_TRUE(Candidates(s, kCloud).empty());
}

TEST(NearestTriangles, FewerThanThreeVerticesMakeNothing) {
    TriangulationSettings s;
    EXPECT_TRUE(Candidates(s, {}).empty());
    EXPECT_TRUE(Candidates(s, {{0, 0, 0}}).empty());
    EXPECT_TRUE(Candidates(s, {{0, 0, 0}, {1, 0, 0}}).empty());
}

TEST(NearestTriangles, OneTriangleAtMostPerQueryWithOneTrianglePerVertex) {
    // A query in the searched set spends one of its three slots on itself.
    std::vector<Vec3f> grid;
    for (int i = 0; i < 20; ++i) grid.push_back(Vec3f{float(i % 5), float(i / 5) * 1.1f, 0});
    TriangulationSettings s;
    s.maxTriangles = 1;
    EXPECT_EQ(Candidates(s, grid).size(), 3u * 20u);
    // A query outside the searched set gets three neighbours: one pair, the third dropped.
    std::vector<int32_t> out;
    const std::vector<Vec3f> pts = {{0, 0, 0}, {1, 0, 0}, {0, 2, 0}, {4, 0, 0}, {0.1f, 0, 0}};
    NearestTriangleCandidates(s, pts, pts, 0, 4, 4, 1, out);
    EXPECT_EQ(out, (std::vector<int32_t>{0, 1, 4}));  // nearest 0 and 1; 2 dropped
}

TEST(NearestTriangles, RangesCountFromTheirStarts) {
    TriangulationSettings s;
    s.maxTriangles = 1;
    std::vector<Vec3f> pts = {{50, 50, 50}, {60, 60, 60}};
    pts.insert(pts.end(), kCloud.begin(), kCloud.end());
    std::vector<int32_t> out;
    NearestTriangleCandidates(s, pts, pts, 2, 5, 2, 5, out);
    EXPECT_EQ(out, (std::vector<int32_t>{2, 3, 4, 2, 3, 4, 2, 3, 4, 2, 3, 5, 2, 3, 6}));
    // Out of range: nothing.
    out.clear();
    NearestTriangleCandidates(s, pts, pts, 2, 6, 2, 5, out);
    NearestTriangleCandidates(s, pts, pts, 7, 1, 2, 5, out);
    EXPECT_TRUE(out.empty());
}

TEST(NearestTriangles, ParallelRunsGiveTheSameTriples) {
    std::vector<Vec3f> pts;
    uint32_t state = 12345;
    auto next = [&state] {
        state = state * 1664525u + 1013904223u;
        return float(state >> 8) / float(1 << 24) * 100.0f;
    };
    for (int i = 0; i < 3000; ++i) pts.push_back(Vec3f{next(), next(), next()});
    TriangulationSettings s;
    s.maxTriangles = 4;
    s.maxDistance = 15;
    std::vector<int32_t> serial, parallel;
    NearestTriangleCandidates(s, pts, pts, 0, 3000, 0, 3000, serial);
    // Jobs run backwards, to show that the order of the jobs does not matter.
    const ParallelFor backwards = [](int32_t count, const std::function<void(int32_t)>& job) {
        for (int32_t i = count - 1; i >= 0; --i) job(i);
    };
    NearestTriangleCandidates(s, pts, pts, 0, 3000, 0, 3000, parallel, backwards);
    ASSERT_FALSE(serial.empty());
    EXPECT_EQ(serial, parallel);
}

// ---- the filter

TEST(TriangleFilter, MeanSideLengthGivesTheFactorAndTheCut) {
    TriangulationSettings s;
    s.maxDistance = 5;
    s.opacityCurve = DistanceCurve::DefaultOpacity();
    TriangleSet out;
    // (0,1,2): sides 1, 2.236, 2 -> 1.745.  (0,1,3): 1, 3, 4 -> 2.667.  (0,1,4): 1, 7.07, 7 ->
    // 5.02, above 5.
    FilterTriangles(s, kCloud, {0, 1, 2, 0, 1, 3, 0, 1, 4}, 0, out);
    ASSERT_EQ(out.size(), 2u);
    EXPECT_EQ(out.triples, (std::vector<int32_t>{0, 1, 2, 0, 1, 3}));
    EXPECT_TRUE(out.extra.empty());
    const double e012 = (1 + std::sqrt(5.0) + 2) / 3, e013 = 8.0 / 3;
    EXPECT_FLOAT_EQ(out.opacityFactors[0], s.opacityCurve.eval(float(e012 / 5)));
    EXPECT_FLOAT_EQ(out.opacityFactors[0], 1.0f);  // before half the distance: full
    // t = 0.5333: x = 106.67 between samples 47 and 46.5 -> 46.667 / 50.
    EXPECT_NEAR(out.opacityFactors[1], 46.6667f / 50.0f, 1e-4f);
    EXPECT_FLOAT_EQ(out.opacityFactors[1], s.opacityCurve.eval(float(e013 / 5)));
}

TEST(TriangleFilter, AddsTheBaseAndKeepsAMeanExactlyAtTheMaximum) {
    TriangulationSettings s;
    s.maxDistance = 4;
    s.opacityCurve.samples.fill(25.0f);
    // After two other points, a triangle with sides 3, 4 and 5: a mean of exactly 4.
    const std::vector<Vec3f> pts = {{9, 9, 9}, {9, 9, 9}, {0, 0, 0}, {3, 0, 0}, {3, 4, 0}};
    TriangleSet out;
    FilterTriangles(s, pts, {0, 1, 2}, 2, out);
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out.triples, (std::vector<int32_t>{2, 3, 4}));
    EXPECT_FLOAT_EQ(out.opacityFactors[0], 0.5f);
    // Just above the maximum: dropped.
    s.maxDistance = 3.999f;
    FilterTriangles(s, pts, {0, 1, 2}, 2, out);
    EXPECT_EQ(out.size(), 1u);
    // Out of the positions: skipped.
    s.maxDistance = 4;
    FilterTriangles(s, pts, {0, 1, 3}, 2, out);
    EXPECT_EQ(out.size(), 1u);
}

TEST(TriangleFilter, ZeroMaximumKeepsOnlyCoincidentCornersAtTheStartOfTheCurve) {
    TriangulationSettings s;
    s.maxDistance = 0;
    s.opacityCurve.samples.fill(10.0f);
    s.opacityCurve.samples[0] = 40.0f;
    const std::vector<Vec3f> pts = {{1, 1, 1}, {1, 1, 1}, {1, 1, 1}, {2, 1, 1}};
    TriangleSet out;
    FilterTriangles(s, pts, {0, 1, 2, 0, 1, 3}, 0, out);
    ASSERT_EQ(out.size(), 1u);
    EXPECT_EQ(out.triples, (std::vector<int32_t>{0, 1, 2}));
    EXPECT_FLOAT_EQ(out.opacityFactors[0], 0.8f);  // t is 0
}

// ---- group modes through the geometry

// Group 1: the hand-made cloud (vertices 0..4); group 2: the cloud moved by 100 on x (5..9).
GeometryStore TwoGroups() {
    GeometryStore g;
    for (const Vec3f& p : kCloud) g.positions.push_back(p);
    for (const Vec3f& p : kCloud) g.positions.push_back(Vec3f{p.x + 100, p.y, p.z});
    g.jitter.assign(g.positions.size(), Vec3f{});
    g.vertexGroups[1] = GroupRange{0, 5};
    g.vertexGroups[2] = GroupRange{5, 5};
    return g;
}

std::vector<int32_t> Shifted(std::vector<int32_t> v, int32_t by) {
    for (int32_t& x : v) x += by;
    return v;
}

TriangleSet Triangulate(const TriangulationSettings& s, GeometryStore& g) {
    TriangleSet out;
    std::ostringstream log;
    TrianglesOfGeometry(s, g, out, {}, log);
    EXPECT_EQ(log.str(), "");
    return out;
}

const std::vector<int32_t> kCloudOneEach = {0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 3, 0, 1, 4};

TEST(TriangleGroups, AllGroupsSearchesEverything) {
    GeometryStore g = TwoGroups();
    TriangulationSettings s;
    s.maxTriangles = 1;
    s.maxDistance = 50;
    std::vector<int32_t> expected = kCloudOneEach;
    const auto second = Shifted(kCloudOneEach, 5);
    expected.insert(expected.end(), second.begin(), second.end());
    EXPECT_EQ(Triangulate(s, g).triples, expected);
}

TEST(TriangleGroups, SameGroupEmitsTheEarlierGroupsAgainAtEachLaterGroup) {
    GeometryStore g = TwoGroups();
    TriangulationSettings s;
    s.maxTriangles = 1;
    s.maxDistance = 50;
    s.drawBetween = kSameGroup;
    const TriangleSet out = Triangulate(s, g);
    // After group 1: its five; after group 2: group 1's five again, then group 2's five.
    std::vector<int32_t> expected = kCloudOneEach;
    expected.insert(expected.end(), kCloudOneEach.begin(), kCloudOneEach.end());
    const auto second = Shifted(kCloudOneEach, 5);
    expected.insert(expected.end(), second.begin(), second.end());
    EXPECT_EQ(out.triples, expected);
    EXPECT_EQ(out.size(), 15u);
}

TEST(TriangleGroups, DifferentGroupsJoinEachGroupToTheOthers) {
    GeometryStore g = TwoGroups();
    TriangulationSettings s;
    s.maxTriangles = 1;
    s.maxDistance = 1000;
    s.drawBetween = kDifferentGroups;
    const TriangleSet out = Triangulate(s, g);
    // Group 1's queries see group 2 alone, and the other way round: every triple joins one
    // vertex of one group to two of the other.
    ASSERT_EQ(out.size(), 5u + 10u);  // group 1's five, then again with group 2's five
    for (size_t i = 0; i < out.size(); ++i) {
        int inFirst = 0;
        for (int c = 0; c < 3; ++c) inFirst += out.triples[3 * i + size_t(c)] < 5 ? 1 : 0;
        EXPECT_TRUE(inFirst == 1 || inFirst == 2) << i;
    }
    // Query 0 at the origin: its nearest in group 2 are 5 (100,0,0) and 7 (100,2,0).
    EXPECT_EQ(std::vector<int32_t>(out.triples.begin(), out.triples.begin() + 3),
              (std::vector<int32_t>{0, 5, 7}));
    // The first group's triples come again at the second group.
    EXPECT_EQ(std::vector<int32_t>(out.triples.begin(), out.triples.begin() + 15),
              std::vector<int32_t>(out.triples.begin() + 15, out.triples.begin() + 30));
    // Positions are back where they were.
    EXPECT_EQ(g.positions[0], (Vec3f{0, 0, 0}));
}

TEST(TriangleGroups, OneGroupSearchesTheFirstGroupInItself) {
    GeometryStore g = TwoGroups();
    TriangulationSettings s;
    s.maxTriangles = 1;
    s.maxDistance = 50;
    s.drawBetween = kOneGroup;
    s.firstGroup = 2;
    s.secondGroup = 7;  // not used
    EXPECT_EQ(Triangulate(s, g).triples, Shifted(kCloudOneEach, 5));
    s.firstGroup = 3;  // no vertices
    EXPECT_EQ(Triangulate(s, g).size(), 0u);
}

TEST(TriangleGroups, TwoGroupsSearchTheFirstWithTheSecondsVertices) {
    GeometryStore g = TwoGroups();
    TriangulationSettings s;
    s.maxTriangles = 1;
    s.maxDistance = 1000;
    s.drawBetween = kTwoGroups;
    s.firstGroup = 2;
    s.secondGroup = 1;
    const TriangleSet out = Triangulate(s, g);
    ASSERT_EQ(out.size(), 5u);
    // Query 0's three nearest in group 2: 5, 7, 9 (at 100, 100.02, 100.24): the pair (5, 7).
    EXPECT_EQ(std::vector<int32_t>(out.triples.begin(), out.triples.begin() + 3),
              (std::vector<int32_t>{0, 5, 7}));
    s.secondGroup = 4;  // empty
    EXPECT_EQ(Triangulate(s, g).size(), 0u);
}

TEST(TriangleGroups, TwoGroupsOnOneGroupBehaveAsOneGroup) {
    GeometryStore g = TwoGroups();
    TriangulationSettings s;
    s.maxTriangles = 2;
    s.maxDistance = 1000;
    s.drawBetween = kOneGroup;
    s.firstGroup = 1;
    const TriangleSet one = Triangulate(s, g);
    s.drawBetween = kTwoGroups;
    s.secondGroup = 1;
    const TriangleSet two = Triangulate(s, g);
    ASSERT_FALSE(one.triples.empty());
    EXPECT_EQ(two.triples, one.triples);
    EXPECT_EQ(two.opacityFactors, one.opacityFactors);
}

TEST(TriangleGroups, JitterSeparatesForTheSearchAndIsRemovedAfter) {
    GeometryStore g;
    g.positions = {{0, 0, 0}, {0, 0, 0}, {0, 0, 0}};
    g.jitter = {{0, 0, 0}, {0.001f, 0, 0}, {0, 0.002f, 0}};
    TriangulationSettings s;
    s.maxTriangles = 1;
    s.maxDistance = 0.01f;
    const TriangleSet out = Triangulate(s, g);
    EXPECT_EQ(out.triples, (std::vector<int32_t>{0, 1, 2, 0, 1, 2, 0, 1, 2}));
    EXPECT_EQ(g.positions[1], (Vec3f{0, 0, 0}));
    EXPECT_EQ(g.positions[2], (Vec3f{0, 0, 0}));
}

}  // namespace
}  // namespace tv
