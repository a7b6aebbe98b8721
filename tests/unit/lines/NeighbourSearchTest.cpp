#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
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

// Pairs as (a, b) in the order the search gives them, with their squared distances.
std::vector<std::pair<std::pair<int, int>, float>> OrderedPairs(const ConnectionSet& s,
                                                                const std::vector<Vec3f>& p) {
    std::vector<std::pair<std::pair<int, int>, float>> out;
    for (size_t i = 0; i < s.size(); ++i) {
        const Vec3f& a = p[size_t(s.pairs[2 * i])];
        const Vec3f& b = p[size_t(s.pairs[2 * i + 1])];
        const float dx = a.x - b.x, dy = a.y - b.y, dz = a.z - b.z;
        out.push_back({{s.pairs[2 * i], s.pairs[2 * i + 1]}, dx * dx + dy * dy + dz * dz});
    }
    return out;
}

TEST(NeighbourSearch, ALimitGivesTheUnlimitedSearchsPairsWithinIt) {
    // A lattice (ties everywhere, where the tree's visiting order picks among equals) and a
    // random cloud: searching within a limit gives, in the same order, exactly the pairs of
    // the search without one that lie within it.
    std::vector<Vec3f> lattice;
    for (int x = 0; x < 9; ++x)
        for (int y = 0; y < 9; ++y)
            for (int z = 0; z < 9; ++z) lattice.push_back({float(x), float(y), float(z)});
    for (const std::vector<Vec3f>& cloud : {lattice, RandomCloud(3000, 11)}) {
        const auto n = uint32_t(cloud.size());
        for (int32_t k : {1, 3, 8, 27}) {
            SearchSettings s;
            s.maxVertices = k;
            s.maxDistance = std::numeric_limits<float>::infinity();
            ConnectionSet unlimited;
            SearchNeighbours(s, cloud, cloud, 0, n, 0, n, unlimited);
            const auto all = OrderedPairs(unlimited, cloud);
            for (float maxDistance : {0.0f, 1.0f, 1.5f, std::sqrt(2.0f), 2.0f, 3.5f, 12.0f}) {
                s.maxDistance = maxDistance;
                ConnectionSet limited;
                SearchNeighbours(s, cloud, cloud, 0, n, 0, n, limited);
                std::vector<std::pair<std::pair<int, int>, float>> want;
                for (const auto& e : all)
                    if (e.second <= maxDistance * maxDistance) want.push_back(e);
                EXPECT_EQ(OrderedPairs(limited, cloud), want)
                    << cloud.size() << " points, k " << k << ", limit " << maxDistance;
            }
        }
    }
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

// The rule over ranges: queries [qs, qs + qc) against candidates [ss, ss + sc), where the
// candidates in [hideStart, hideStart + hideCount) are as far as infinity.
std::vector<std::pair<int, int>> BruteForceRanges(const std::vector<Vec3f>& p, int ss, int sc,
                                                  int qs, int qc, int k, float maxDistance,
                                                  int hideStart = 0, int hideCount = 0) {
    std::vector<std::pair<int, int>> out;
    const float limit = maxDistance * maxDistance;
    for (int a = qs; a < qs + qc; ++a) {
        std::vector<std::pair<float, int>> d;
        for (int b = ss; b < ss + sc; ++b) {
            const Vec3f& u = p[size_t(a)];
            const Vec3f& v = p[size_t(b)];
            const float dd =
                (u.x - v.x) * (u.x - v.x) + (u.y - v.y) * (u.y - v.y) + (u.z - v.z) * (u.z - v.z);
            const bool hidden = b >= hideStart && b < hideStart + hideCount;
            d.push_back({hidden ? std::numeric_limits<float>::infinity() : dd, b});
        }
        std::sort(d.begin(), d.end());
        for (int e = 0; e < k && e < int(d.size()); ++e)
            if (d[size_t(e)].first <= limit && a < d[size_t(e)].second)
                out.push_back({a, d[size_t(e)].second});
    }
    return out;  // in the order of the queries, nearest first
}

std::vector<std::pair<int, int>> PairList(const ConnectionSet& s) {
    std::vector<std::pair<int, int>> out;
    for (size_t i = 0; i < s.size(); ++i) out.push_back({s.pairs[2 * i], s.pairs[2 * i + 1]});
    return out;
}

// 200 random vertices in three groups of 60, 90 and 50.
GeometryStore ThreeGroupCloud() {
    GeometryStore st;
    st.positions = RandomCloud(200, 11);
    st.jitter.assign(200, Vec3f{});
    st.vertexGroups[1] = {0, 60};
    st.vertexGroups[2] = {60, 90};
    st.vertexGroups[3] = {150, 50};
    return st;
}

const ParallelFor kBackwards = [](int32_t n, const std::function<void(int32_t)>& job) {
    for (int32_t i = n - 1; i >= 0; --i) job(i);
};

TEST(NeighbourSearch, EveryModeMatchesBruteForceOnARandomCloud) {
    SearchSettings s;
    s.maxVertices = 7;
    s.maxDistance = 30;
    GeometryStore st = ThreeGroupCloud();
    const auto& p = st.positions;
    auto run = [&](int mode, int first = 1, int second = 1) {
        s.drawBetween = mode;
        s.firstGroup = first;
        s.secondGroup = second;
        ConnectionSet serial, parallel;
        ConnectionsOfGeometry(s, st, serial);
        ConnectionsOfGeometry(s, st, parallel, kBackwards);
        EXPECT_EQ(serial.pairs, parallel.pairs) << mode;
        EXPECT_EQ(serial.opacityFactors, parallel.opacityFactors) << mode;
        return PairList(serial);
    };
    EXPECT_EQ(run(kAllGroupsLines), BruteForceRanges(p, 0, 200, 0, 200, 7, 30));
    std::vector<std::pair<int, int>> same, different;
    for (const auto& [start, count] : {std::pair(0, 60), std::pair(60, 90), std::pair(150, 50)}) {
        const auto one = BruteForceRanges(p, start, count, start, count, 7, 30);
        same.insert(same.end(), one.begin(), one.end());
        const auto other = BruteForceRanges(p, 0, 200, start, count, 7, 30, start, count);
        different.insert(different.end(), other.begin(), other.end());
    }
    EXPECT_EQ(run(kSameGroup), same);
    EXPECT_EQ(run(kDifferentGroups), different);
    EXPECT_FALSE(different.empty());
    // Two Groups as normalised: the larger group is searched, the smaller's vertices query.
    EXPECT_EQ(run(kTwoGroups, 3, 1), BruteForceRanges(p, 150, 50, 0, 60, 7, 30));
    EXPECT_FALSE(run(kTwoGroups, 3, 1).empty());
    EXPECT_EQ(run(kOneGroup, 2, 2), BruteForceRanges(p, 60, 90, 60, 90, 7, 30));
}

TEST(NeighbourSearch, PairsComeNearestFirstWithCurveFactors) {
    const auto cloud = RandomCloud(300, 5);
    SearchSettings s;
    s.maxVertices = 12;
    s.maxDistance = 20;
    ConnectionSet set;
    SearchNeighbours(s, cloud, cloud, 0, 300, 0, 300, set);
    ASSERT_FALSE(set.pairs.empty());
    float previous = 0;
    for (size_t i = 0; i < set.size(); ++i) {
        const Vec3f& a = cloud[size_t(set.pairs[2 * i])];
        const Vec3f& b = cloud[size_t(set.pairs[2 * i + 1])];
        const float d = std::sqrt((a.x - b.x) * (a.x - b.x) + (a.y - b.y) * (a.y - b.y) +
                                  (a.z - b.z) * (a.z - b.z));
        if (i > 0) {
            EXPECT_GE(set.pairs[2 * i], set.pairs[2 * i - 2]);  // queries in order
            if (set.pairs[2 * i] == set.pairs[2 * i - 2]) {
                EXPECT_GE(d, previous);
            }
        }
        previous = d;
        EXPECT_NEAR(set.opacityFactors[i], s.opacityCurve.eval(d / 20), 1e-5f);
        EXPECT_NEAR(set.thicknessFactors[i], 1.0f, 1e-6f);
    }
}

TEST(NeighbourSearch, DistanceZeroJoinsOnlyCoincidentVerticesAtTZero) {
    const std::vector<Vec3f> p = {{1, 2, 3}, {4, 5, 6}, {1, 2, 3}};
    SearchSettings s;
    s.maxVertices = 3;
    s.maxDistance = 0;
    s.opacityCurve.samples.fill(0);
    s.opacityCurve.samples[0] = 25;  // only t = 0 gives 0.5
    ConnectionSet set;
    SearchNeighbours(s, p, p, 0, 3, 0, 3, set);
    ASSERT_EQ(set.size(), 1u);
    EXPECT_EQ(set.pairs, (std::vector<int32_t>{0, 2}));
    EXPECT_EQ(set.opacityFactors[0], 0.5f);
}

TEST(NeighbourSearch, OutOfRangeArgumentsDoNothing) {
    const auto cloud = RandomCloud(20, 2);
    SearchSettings s;
    s.maxDistance = 1000;
    ConnectionSet set;
    SearchNeighbours(s, cloud, cloud, 20, 1, 0, 20, set);   // search start at the end
    SearchNeighbours(s, cloud, cloud, 0, 20, 20, 1, set);   // query start at the end
    SearchNeighbours(s, cloud, cloud, 5, 16, 0, 20, set);   // search run past the end
    SearchNeighbours(s, cloud, cloud, 0, 20, 10, 11, set);  // query run past the end
    SearchNeighbours(s, {}, cloud, 0, 0, 0, 20, set);
    SearchNeighbours(s, cloud, {}, 0, 20, 0, 0, set);
    EXPECT_EQ(set.size(), 0u);
    SearchNeighbours(s, cloud, cloud, 0, 20, 0, 20, set);
    EXPECT_GT(set.size(), 0u);
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
}

TEST(NeighbourSearch, TwoGroupsOnOneGroupIsOneGroup) {
    SearchSettings s;
    s.maxVertices = 5;
    s.maxDistance = 30;
    GeometryStore st = ThreeGroupCloud();
    s.firstGroup = s.secondGroup = 2;
    ConnectionSet two, one;
    s.drawBetween = kTwoGroups;
    ConnectionsOfGeometry(s, st, two);
    s.drawBetween = kOneGroup;
    ConnectionsOfGeometry(s, st, one);
    EXPECT_FALSE(one.pairs.empty());
    EXPECT_EQ(two.pairs, one.pairs);
    EXPECT_EQ(two.opacityFactors, one.opacityFactors);
}

TEST(NeighbourSearch, EmptyGroupsAreSkippedInEveryMode) {
    SearchSettings s;
    s.maxVertices = 6;
    s.maxDistance = 10;
    // Group 3 is entered with no vertices, group 5 not at all.
    GeometryStore st = TwoGroupStore();
    st.vertexGroups[3] = {6, 0};
    ConnectionSet same, plain;
    s.drawBetween = kSameGroup;
    ConnectionsOfGeometry(s, st, same);
    EXPECT_EQ(same.size(), 6u);
    ConnectionSet diff;
    s.drawBetween = kDifferentGroups;
    ConnectionsOfGeometry(s, st, diff);
    EXPECT_EQ(diff.size(), 9u);
    for (int mode : {kOneGroup, kTwoGroups}) {
        for (auto [first, second] : {std::pair(3, 1), std::pair(5, 1), std::pair(2, 3),
                                     std::pair(3, 3), std::pair(5, 5)}) {
            if (mode == kOneGroup) {
                if (first == 2) continue;  // group 2 has vertices
                second = first;
            }
            s.drawBetween = mode;
            s.firstGroup = first;
            s.secondGroup = second;
            ConnectionSet out;
            ConnectionsOfGeometry(s, st, out);
            EXPECT_EQ(out.size(), 0u) << mode << " " << first << " " << second;
        }
    }
    // An empty store, in every mode.
    s.firstGroup = 1;
    s.secondGroup = 1;
    for (int mode = 1; mode <= 5; ++mode) {
        GeometryStore empty;
        ConnectionSet out;
        s.drawBetween = mode;
        ConnectionsOfGeometry(s, empty, out);
        EXPECT_EQ(out.size(), 0u) << mode;
    }
}

TEST(NeighbourSearch, JitterIsSearchedOnAndRemovedInEveryMode) {
    SearchSettings s;
    s.maxVertices = 6;
    s.maxDistance = 0.5f;
    s.firstGroup = 2;
    s.secondGroup = 1;
    for (int mode = 1; mode <= 5; ++mode) {
        // Vertices 2 and 3 (groups 1 and 2) coincide; the jitter moves 3 a whole unit away.
        GeometryStore st = TwoGroupStore();
        st.positions[3] = st.positions[2];
        const auto before = st.positions;
        ConnectionSet still;
        s.drawBetween = mode;
        ConnectionsOfGeometry(s, st, still);
        st.jitter[3] = Vec3f{0.25f, 1.0f, -0.5f};
        ConnectionSet moved;
        ConnectionsOfGeometry(s, st, moved);
        EXPECT_EQ(st.positions, before) << mode;
        const bool across = mode != kSameGroup;  // 2 and 3 lie in different groups
        EXPECT_EQ(Pairs(still).count({2, 3}), across ? 1u : 0u) << mode;
        EXPECT_EQ(Pairs(moved).count({2, 3}), 0u) << mode;
    }
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

namespace tv {
namespace {

// Nothing filters NaN coordinates out. Every distance to or from such a vertex is NaN, which
// never compares below the result set's worst distance, so the vertex gets no lines and no factor
// is NaN. In a single leaf of the tree (up to 32 searched vertices) the others are then searched
// exactly as if the vertex were absent.
TEST(NeighbourSearch, NaNVerticesPassThroughAndGetNoLines) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    for (unsigned seed : {1u, 2u, 3u, 4u}) {
        std::vector<Vec3f> cloud = RandomCloud(30, seed);
        cloud[0] = {nan, nan, nan};
        cloud[7].y = nan;
        cloud[29].z = nan;
        SearchSettings s;
        s.maxVertices = 6;
        s.maxDistance = 40;
        ConnectionSet set;
        SearchNeighbours(s, cloud, cloud, 0, 30, 0, 30, set);
        ASSERT_FALSE(set.pairs.empty());
        for (size_t i = 0; i < set.size(); ++i) {
            for (int32_t v : {set.pairs[2 * i], set.pairs[2 * i + 1]})
                EXPECT_TRUE(v != 0 && v != 7 && v != 29) << v;
            EXPECT_TRUE(std::isfinite(set.opacityFactors[i]));
            EXPECT_TRUE(std::isfinite(set.thicknessFactors[i]));
        }
        // The rule over the 27 finite vertices, mapped back to their indices.
        std::vector<Vec3f> finite;
        std::vector<int> index;
        for (int i = 0; i < 30; ++i)
            if (i != 0 && i != 7 && i != 29) {
                finite.push_back(cloud[size_t(i)]);
                index.push_back(i);
            }
        std::set<std::pair<int, int>> expected;
        for (const auto& [a, b] : BruteForce(finite, 6, 40))
            expected.insert({index[size_t(a)], index[size_t(b)]});
        EXPECT_EQ(Pairs(set), expected) << seed;
    }
}

// Over more vertices than one leaf, NaN coordinates still give no lines of their own and no NaN
// factor, and the store keeps them: the search neither drops nor repairs them.
TEST(NeighbourSearch, NaNVerticesInALargeStoreAreKeptAndGetNoLines) {
    const float nan = std::numeric_limits<float>::quiet_NaN();
    GeometryStore store;
    store.positions = RandomCloud(500, 9);
    store.jitter.assign(500, Vec3f{0.01f, 0.02f, 0.03f});
    const std::vector<size_t> bad = {0, 123, 321, 499};
    for (size_t i : bad) store.positions[i].x = nan;
    SearchSettings s;
    s.maxVertices = 8;
    s.maxDistance = 20;
    ConnectionSet set;
    ConnectionsOfGeometry(s, store, set);
    ASSERT_FALSE(set.pairs.empty());
    for (size_t i = 0; i < set.size(); ++i) {
        for (int32_t v : {set.pairs[2 * i], set.pairs[2 * i + 1]})
            EXPECT_EQ(std::count(bad.begin(), bad.end(), size_t(v)), 0) << v;
        EXPECT_TRUE(std::isfinite(set.opacityFactors[i]));
    }
    ASSERT_EQ(store.positions.size(), 500u);
    for (size_t i : bad) EXPECT_TRUE(std::isnan(store.positions[i].x)) << i;
}

}  // namespace
}  // namespace tv
