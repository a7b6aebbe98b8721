// Beams along lattice rows: the axis a source's mask allows, the rows and their order worked out
// by hand for a 3 x 2 x 2 lattice, Join Ends, rows of one point and the group filter.
#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "renderers/Beams.h"

namespace tv {
namespace {

using Pairs = std::vector<std::pair<int32_t, int32_t>>;

Pairs PairsOf(const BeamSet& set) {
    Pairs out;
    for (const IndexPair& p : set.pairs) out.emplace_back(p.a, p.b);
    return out;
}

ObjectRange Lattice(int32_t nx, int32_t ny, int32_t nz, uint32_t start, int32_t group = 1) {
    ObjectRange r;
    r.group = group;
    r.kind = (nx > 1 ? 1 : 0) | (ny > 1 ? 2 : 0) | (nz > 1 ? 4 : 0);
    r.vertexStart = start;
    r.vertexCount = uint32_t(nx * ny * nz);
    r.latticeSize[0] = nx, r.latticeSize[1] = ny, r.latticeSize[2] = nz;
    return r;
}

TEST(BeamAxis, TheChosenAxisWhenTheSourceHasIt) {
    for (int32_t a = 0; a < 3; ++a) EXPECT_EQ(BeamAxis(a, 7), a);
    EXPECT_EQ(BeamAxis(0, 1), 0);
    EXPECT_EQ(BeamAxis(1, 2), 1);
    EXPECT_EQ(BeamAxis(2, 4), 2);
}

TEST(BeamAxis, FallbacksOfEachAxis) {
    // From Z: Y, else X.
    EXPECT_EQ(BeamAxis(2, 0b011), 1);
    EXPECT_EQ(BeamAxis(2, 0b010), 1);
    EXPECT_EQ(BeamAxis(2, 0b001), 0);
    // From Y: Z, else X.
    EXPECT_EQ(BeamAxis(1, 0b101), 2);
    EXPECT_EQ(BeamAxis(1, 0b100), 2);
    EXPECT_EQ(BeamAxis(1, 0b001), 0);
    // From X: Y, else Z.
    EXPECT_EQ(BeamAxis(0, 0b110), 1);
    EXPECT_EQ(BeamAxis(0, 0b010), 1);
    EXPECT_EQ(BeamAxis(0, 0b100), 2);
}

TEST(BeamAxis, NoBitGivesNoAxis) {
    for (int32_t a = 0; a < 3; ++a) EXPECT_EQ(BeamAxis(a, 0), -1);
    EXPECT_EQ(BeamAxis(1, 0b1000), -1);  // bits past Z mean nothing
}

// A 3 x 2 x 2 lattice from vertex 10: I(x, y, z) = (z * 2 + y) * 3 + x + 10, so
//   z = 0: y = 0 -> 10 11 12, y = 1 -> 13 14 15
//   z = 1: y = 0 -> 16 17 18, y = 1 -> 19 20 21
TEST(BeamRows, AlongXRowsForEachYThenZ) {
    BeamSet set;
    AppendRowBeams(Lattice(3, 2, 2, 10), 0, false, set);
    EXPECT_EQ(
        PairsOf(set),
        (Pairs{{10, 11}, {11, 12}, {13, 14}, {14, 15}, {16, 17}, {17, 18}, {19, 20}, {20, 21}}));
    ASSERT_EQ(set.spans.size(), 16u);
    for (size_t b = 0; b < 8; ++b) {
        const float k = float(b % 2);
        EXPECT_FLOAT_EQ(set.spans[2 * b], k / 3) << b;
        EXPECT_FLOAT_EQ(set.spans[2 * b + 1], (k + 1) / 3) << b;
    }
    EXPECT_EQ(set.amounts.size(), 8u);
}

TEST(BeamRows, AlongYRowsForEachXThenZ) {
    BeamSet set;
    AppendRowBeams(Lattice(3, 2, 2, 10), 1, false, set);
    EXPECT_EQ(PairsOf(set), (Pairs{{10, 13}, {11, 14}, {12, 15}, {16, 19}, {17, 20}, {18, 21}}));
    for (size_t b = 0; b < 6; ++b) {
        EXPECT_FLOAT_EQ(set.spans[2 * b], 0.0f);
        EXPECT_FLOAT_EQ(set.spans[2 * b + 1], 0.5f);
    }
}

TEST(BeamRows, AlongZRowsForEachYThenX) {
    BeamSet set;
    AppendRowBeams(Lattice(3, 2, 2, 10), 2, false, set);
    EXPECT_EQ(PairsOf(set), (Pairs{{10, 16}, {13, 19}, {11, 17}, {14, 20}, {12, 18}, {15, 21}}));
}

TEST(BeamRows, JoinEndsClosesEachRow) {
    BeamSet set;
    AppendRowBeams(Lattice(3, 2, 2, 10), 0, true, set);
    EXPECT_EQ(PairsOf(set), (Pairs{{10, 11},
                                   {11, 12},
                                   {12, 10},
                                   {13, 14},
                                   {14, 15},
                                   {15, 13},
                                   {16, 17},
                                   {17, 18},
                                   {18, 16},
                                   {19, 20},
                                   {20, 21},
                                   {21, 19}}));
    // The closing beam takes the last share of the row.
    EXPECT_FLOAT_EQ(set.spans[4], 2.0f / 3);
    EXPECT_FLOAT_EQ(set.spans[5], 1.0f);
    // Along Y, rows of two: there and back.
    BeamSet y;
    AppendRowBeams(Lattice(3, 2, 2, 10), 1, true, y);
    ASSERT_EQ(y.size(), 12u);
    EXPECT_EQ(PairsOf(y)[0], (std::pair<int32_t, int32_t>{10, 13}));
    EXPECT_EQ(PairsOf(y)[1], (std::pair<int32_t, int32_t>{13, 10}));
    EXPECT_FLOAT_EQ(y.spans[2], 0.5f);
    EXPECT_FLOAT_EQ(y.spans[3], 1.0f);
}

TEST(BeamRows, ARowOfOnePoint) {
    ObjectRange single = Lattice(1, 1, 1, 7);
    single.kind = 1;  // the source says it has X, with one point along it
    BeamsRecord r;
    r.axis = 1;
    GeometryStore store;
    store.positions.resize(8);
    store.ranges = {single};
    EXPECT_EQ(ObjectBeams(r, store).size(), 0u);
    r.joinEnds = true;
    const BeamSet set = ObjectBeams(r, store);
    EXPECT_EQ(PairsOf(set), (Pairs{{7, 7}}));  // from the point to itself
    EXPECT_FLOAT_EQ(set.spans[0], 0.0f);
    EXPECT_FLOAT_EQ(set.spans[1], 1.0f);
    EXPECT_FLOAT_EQ(set.amounts[0], 1.0f);
}

TEST(BeamRows, AnEmptyLatticeGivesNoBeams) {
    BeamSet set;
    AppendRowBeams(Lattice(0, 2, 2, 0), 1, true, set);
    AppendRowBeams(Lattice(3, 2, 2, 0), -1, true, set);
    EXPECT_EQ(set.size(), 0u);
}

TEST(ObjectBeams, TheChosenAxisFallsBackPerSource) {
    GeometryStore store;
    store.positions.resize(24);
    // A flat 3 x 2 x 1 grid (mask X|Y) and a 3 x 2 x 2 lattice after it.
    store.ranges = {Lattice(3, 2, 1, 0), Lattice(3, 2, 2, 6)};
    BeamsRecord r;  // "Only on Axis" Z
    const BeamSet set = ObjectBeams(r, store);
    // The grid has no Z: its beams run along Y; the lattice's along Z.
    EXPECT_EQ(
        PairsOf(set),
        (Pairs{{0, 3}, {1, 4}, {2, 5}, {6, 12}, {9, 15}, {7, 13}, {10, 16}, {8, 14}, {11, 17}}));
}

TEST(ObjectBeams, ASourceWithoutDirectionsIsSkipped) {
    GeometryStore store;
    store.positions.resize(6);
    ObjectRange flat = Lattice(3, 2, 1, 0);
    flat.kind = 0;
    store.ranges = {flat};
    EXPECT_EQ(ObjectBeams(BeamsRecord{}, store).size(), 0u);
}

TEST(ObjectBeams, OnlyTheSourcesOfTheChosenGroup) {
    GeometryStore store;
    store.positions.resize(12);
    store.ranges = {Lattice(3, 1, 1, 0, 1), Lattice(3, 1, 1, 3, 2), Lattice(3, 1, 1, 6, 1)};
    BeamsRecord r;
    r.axis = 1;
    EXPECT_EQ(PairsOf(ObjectBeams(r, store)),
              (Pairs{{0, 1}, {1, 2}, {3, 4}, {4, 5}, {6, 7}, {7, 8}}));
    r.group = 2;
    EXPECT_EQ(PairsOf(ObjectBeams(r, store)), (Pairs{{3, 4}, {4, 5}}));
    r.group = 3;
    EXPECT_EQ(ObjectBeams(r, store).size(), 0u);
}

TEST(ObjectBeams, TheRangeSelectionRunsPerSource) {
    GeometryStore store;
    store.positions.resize(10);
    // Two rows of five points: four beams each.
    store.ranges = {Lattice(5, 1, 1, 0), Lattice(5, 1, 1, 5)};
    BeamsRecord r;
    r.axis = 1;
    r.rangeEnd = 0.5;
    const BeamSet set = ObjectBeams(r, store);
    EXPECT_EQ(set.amounts, (std::vector<float>{1, 1, 0, 0, 1, 1, 0, 0}));
}

}  // namespace
}  // namespace tv
