#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

#include "renderers/NeighbourSearch.h"

namespace tv {
namespace {

// The rule written out plainly: for each query a, its k nearest by squared distance (ties by
// index), kept when within the limit and a < b.
std::set<std::pair<int, int>> BruteForce(const std::vector<Vec3f>& p, int k, float maxDistance) {
    std::set<std::pair<int, int>> out;
    const float limit = maxDistance * maxDistance;
    for (int a = 0; a < int(p.size()); ++a) {
        std::vector<std::pair<float, int>> d;
        for (int b = 0; b < int(p.size()); ++b) {
            const float dx = p[size_t(a)].x - p[size_t(b)].x, dy = p[size_t(a)].y - p[size_t(b)].y,
                        dz = p[size_t(a)].z - p[size_t(b)].z;
            d.push_back({dx * dx + dy * dy + dz * dz, b});
        }
        std::sort(d.begin(), d.end());
        for (int e = 0; e < k && e < int(d.size()); ++e)
            if (d[size_t(e)].first <= limit && a < d[size_t(e)].second)
                out.insert({a, d[size_t(e)].second});
    }
    return out;
}

std::set<std::pair<int, int>> Pairs(const ConnectionSet& s) {
    std::set<std::pair<int, int>> out;
    for (size_t i = 0; i < s.size(); ++i) out.insert({s.pairs[2 * i], s.pairs[2 * i + 1]});
    return out;
}

std::vector<Vec3f> RandomCloud(size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    std::uniform_real_distribution<float> u(0, 100);
    std::vector<Vec3f> p(n);
    for (auto& v : p) v = {u(rng), u(rng), u(rng)};
    return p;
}

TEST(NeighbourSearch, RandomCloudMatchesBruteForce) {
    const auto cloud = RandomCloud(200, 7);
    SearchSettings s;
    s.maxVertices = 8;
    s.maxDistance = 25;
    ConnectionSet set;
    SearchNeighbours(s, cloud, cloud, 0, 200, 0, 200, set);
    EXPECT_EQ(Pairs(set), BruteForce(cloud, 8, 25));
    EXPECT_FALSE(set.pairs.empty());
    // Spread over jobs, the same pairs in the same order.
    ConnectionSet parallel;
    const auto big = RandomCloud(5000, 3);
    ConnectionSet serial;
    SearchNeighbours(s, big, big, 0, 5000, 0, 5000, serial);
    SearchNeighbours(s, big, big, 0, 5000, 0, 5000, parallel,
                     [](int32_t n, const std::function<void(int32_t)>& job) {
                         for (int32_t i = n - 1; i >= 0; --i) job(i);  // any order
                     });
    EXPECT_EQ(serial.pairs, parallel.pairs);
}

TEST(NeighbourSearch, MaxVerticesZeroAndOne) {
    const auto cloud = RandomCloud(50, 1);
    SearchSettings s;
    s.maxDistance = 1000;
    s.maxVertices = 0;
    ConnectionSet none;
    SearchNeighbours(s, cloud, cloud, 0, 50, 0, 50, none);
    EXPECT_EQ(none.size(), 0u);
    // k = 1: every vertex's nearest is itself, so nothing passes the lower-to-higher rule.
    s.maxVertices = 1;
    ConnectionSet self;
    SearchNeighbours(s, cloud, cloud, 0, 50, 0, 50, self);
    EXPECT_EQ(self.size(), 0u);
}

TEST(NeighbourSearch, PairAtExactlyTheMaximumDistanceIsKeptAndDistanceZeroKeepsNone) {
    const std::vector<Vec3f> two = {{0, 0, 0}, {3, 4, 0}};
    SearchSettings s;
    s.maxVertices = 2;
    s.maxDistance = 5;
    ConnectionSet set;
    SearchNeighbours(s, two, two, 0, 2, 0, 2, set);
    ASSERT_EQ(set.size(), 1u);
    EXPECT_EQ(set.pairs, (std::vector<int32_t>{0, 1}));
    EXPECT_FLOAT_EQ(set.opacityFactors[0], s.opacityCurve.eval(1.0f));
    s.maxDistance = 0;
    ConnectionSet zero;
    SearchNeighbours(s, two, two, 0, 2, 0, 2, zero);
    EXPECT_EQ(zero.size(), 0u);
    const std::vector<Vec3f> one = {{1, 1, 1}};
    ConnectionSet single;
    s.maxDistance = 10;
    SearchNeighbours(s, one, one, 0, 1, 0, 1, single);
    EXPECT_EQ(single.size(), 0u);
}

GeometryStore TwoGroupStore() {
    GeometryStore st;
    for (int i = 0; i < 6; ++i) st.positions.push_back({float(i), 0, 0});
    st.jitter.assign(6, Vec3f{});
    st.vertexGroups[1] = {0, 3};
    st.vertexGroups[2] = {3, 3};
    return st;
}

TEST(NeighbourSearch, GroupModes) {
    SearchSettings s;
    s.maxVertices = 6;
    s.maxDistance = 10;
    GeometryStore st = TwoGroupStore();
    ConnectionSet same;
    s.drawBetween = kSameGroup;
    ConnectionsOfGeometry(s, st, same);
    for (const auto& [a, b] : Pairs(same)) EXPECT_EQ(a < 3, b < 3);
    EXPECT_EQ(same.size(), 6u);  // three pairs in each group
    ConnectionSet diff;
    s.drawBetween = kDifferentGroups;
    ConnectionsOfGeometry(s, st, diff);
    for (const auto& [a, b] : Pairs(diff)) EXPECT_NE(a < 3, b < 3);
    EXPECT_EQ(diff.size(), 9u);
    ConnectionSet two;
    s.drawBetween = kTwoGroups;
    s.firstGroup = 2;  // the larger is searched; queries come from the smaller
    s.secondGroup = 1;
    ConnectionsOfGeometry(s, st, two);
    EXPECT_EQ(two.size(), 9u);
    // Two Groups on one group, and empty groups, in every mode.
    s.firstGroup = s.secondGroup = 1;
    ConnectionSet one;
    ConnectionsOfGeometry(s, st, one);
    EXPECT_EQ(one.size(), 3u);
    s.firstGroup = 7;
    for (int mode = 1; mode <= 5; ++mode) {
        GeometryStore empty;
        ConnectionSet out;
        s.drawBetween = mode;
        ConnectionsOfGeometry(s, empty, out);
        EXPECT_EQ(out.size(), 0u) << mode;
    }
    // The jitter is removed again after the search.
    GeometryStore shifted = TwoGroupStore();
    shifted.jitter.assign(6, Vec3f{0.25f, 0.5f, 0.75f});
    ConnectionSet all;
    s.drawBetween = kAllGroupsLines;
    ConnectionsOfGeometry(s, shifted, all);
    EXPECT_EQ(shifted.positions[2], (Vec3f{2, 0, 0}));
}

TEST(BlendConnections, CommonPairsInterpolateAndOthersFade) {
    ConnectionSet a, b, out;
    a.pairs = {0, 1, 2, 3};
    a.opacityFactors = {1.0f, 0.8f};
    a.thicknessFactors = {1.0f, 1.0f};
    b.pairs = {0, 1, 4, 5};
    b.opacityFactors = {0.0f, 0.6f};
    b.thicknessFactors = {0.5f, 1.0f};
    ASSERT_TRUE(BlendConnections(a, b, 0.25f, 0.75f, out));
    ASSERT_EQ(out.size(), 3u);
    EXPECT_EQ((std::vector<int32_t>(out.pairs.begin(), out.pairs.begin() + 2)),
              (std::vector<int32_t>{0, 1}));
    EXPECT_FLOAT_EQ(out.opacityFactors[0], 0.75f);         // (0 - 1) * 0.25 + 1
    EXPECT_FLOAT_EQ(out.thicknessFactors[0], 0.875f);      // (0.5 - 1) * 0.25 + 1
    EXPECT_FLOAT_EQ(out.opacityFactors[1], 0.8f * 0.75f);  // only at t0: times 1 - factorA
    EXPECT_FLOAT_EQ(out.opacityFactors[2], 0.6f * 0.25f);  // only at t1: times 1 - factorB
}

TEST(DistanceCurve, EvalAndDefaults) {
    const DistanceCurve o = DistanceCurve::DefaultOpacity();
    EXPECT_FLOAT_EQ(o.eval(0.0f), 1.0f);
    EXPECT_FLOAT_EQ(o.eval(0.4f), 1.0f);
    EXPECT_FLOAT_EQ(o.eval(0.75f), 0.5f);                   // sample 150: 50 - 25
    EXPECT_FLOAT_EQ(o.eval(2.0f), o.samples[199] / 50.0f);  // clamped
    EXPECT_FLOAT_EQ(DistanceCurve::DefaultThickness().eval(0.3f), 1.0f);
}

}  // namespace
}  // namespace tv
