// How much of each beam shows: the range selection with its partial beams at both edges, the
// time, the shuffle of Randomize, and the pairing of two groups.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <utility>
#include <vector>

#include "host/Random.h"
#include "renderers/Beams.h"

namespace tv {
namespace {

using Pairs = std::vector<std::pair<int32_t, int32_t>>;

Pairs PairsOf(const BeamSet& set) {
    Pairs out;
    for (const IndexPair& p : set.pairs) out.emplace_back(p.a, p.b);
    return out;
}

// `n` beams (i, i + 1).
BeamSet Chain(int32_t n) {
    BeamSet set;
    for (int32_t i = 0; i < n; ++i) {
        set.pairs.push_back({i, i + 1});
        set.amounts.push_back(-5);  // must be overwritten
        set.spans.insert(set.spans.end(), {0, 1});
    }
    return set;
}

std::vector<float> Amounts(const BeamsRecord& r, int32_t n, bool swap = true) {
    BeamSet set = Chain(n);
    SelectRange(r, 0, swap, set);
    return set.amounts;
}

TEST(BeamRange, TheWholeRangeAtFullTimeDrawsEveryBeamWhole) {
    BeamsRecord r;  // 0 to 100 %, time 100 %
    for (int32_t n : {1, 2, 7, 40}) {
        const std::vector<float> a = Amounts(r, n);
        EXPECT_TRUE(std::all_of(a.begin(), a.end(), [](float v) { return v == 1.0f; })) << n;
    }
}

TEST(BeamRange, RangeEndAtHalfOverTenBeams) {
    BeamsRecord r;
    r.rangeEnd = 0.5;
    EXPECT_EQ(Amounts(r, 10), (std::vector<float>{1, 1, 1, 1, 1, 0, 0, 0, 0, 0}));
}

TEST(BeamRange, TimeScalesEveryAmount) {
    BeamsRecord r;
    r.time = 0.25;
    r.rangeEnd = 0.5;
    EXPECT_EQ(Amounts(r, 4), (std::vector<float>{0.25f, 0.25f, 0, 0}));
    r.time = 0;
    EXPECT_EQ(Amounts(r, 4), (std::vector<float>(4, 0.0f)));
}

TEST(BeamRange, PartialBeamsAtBothEdges) {
    // Four beams, range 30 % to 80 %: s = 1.2, e = 3.2.
    BeamsRecord r;
    r.rangeStart = 0.3;
    r.rangeEnd = 0.8;
    BeamSet set = Chain(4);
    SelectRange(r, 0, true, set);
    EXPECT_FLOAT_EQ(set.amounts[0], 0.0f);  // before the start
    EXPECT_FLOAT_EQ(set.amounts[1], 0.8f);  // w = 1 + (1 - 1.2): the part past the start
    EXPECT_FLOAT_EQ(set.amounts[2], 1.0f);
    EXPECT_FLOAT_EQ(set.amounts[3], 0.2f);  // e - 3: the part before the end
    // The beam the range starts inside grows from its far end; the others keep their ends.
    EXPECT_EQ(PairsOf(set), (Pairs{{0, 1}, {2, 1}, {2, 3}, {3, 4}}));
    // The same with time 50 %.
    r.time = 0.5;
    set = Chain(4);
    SelectRange(r, 0, true, set);
    EXPECT_FLOAT_EQ(set.amounts[1], 0.4f);
    EXPECT_FLOAT_EQ(set.amounts[3], 0.1f);
}

TEST(BeamRange, WithoutTheSwapTheEndsStay) {
    BeamsRecord r;
    r.rangeStart = 0.3;
    r.rangeEnd = 0.8;
    BeamSet set = Chain(4);
    SelectRange(r, 0, false, set);
    EXPECT_FLOAT_EQ(set.amounts[1], 0.8f);
    EXPECT_EQ(PairsOf(set), PairsOf(Chain(4)));
}

TEST(BeamRange, StartAndEndInsideOneBeam) {
    // Four beams, 55 % to 60 %: s = 2.2, e = 2.4. The end's rule comes last and wins; the beam
    // is still turned round by the start's.
    BeamsRecord r;
    r.rangeStart = 0.55;
    r.rangeEnd = 0.6;
    BeamSet set = Chain(4);
    SelectRange(r, 0, true, set);
    EXPECT_FLOAT_EQ(set.amounts[0], 0.0f);
    EXPECT_FLOAT_EQ(set.amounts[1], 0.0f);
    EXPECT_NEAR(set.amounts[2], 0.4f, 1e-6);
    EXPECT_FLOAT_EQ(set.amounts[3], 0.0f);
    EXPECT_EQ(set.pairs[2].a, 3);
}

TEST(BeamRange, OffsetMovesTheRangeAndIsClamped) {
    BeamsRecord r;
    r.rangeEnd = 0.5;
    r.rangeOffset = 0.25;  // s = 1, e = 3
    EXPECT_EQ(Amounts(r, 4), (std::vector<float>{0, 1, 1, 0}));
    r.rangeOffset = 0.75;  // e = 5 is clamped to 4
    EXPECT_EQ(Amounts(r, 4), (std::vector<float>{0, 0, 0, 1}));
    r.rangeOffset = -0.5;  // s = -2 is clamped to 0, e = 0
    EXPECT_EQ(Amounts(r, 4), (std::vector<float>{0, 0, 0, 0}));
    r.rangeEnd = 1;  // e = 2
    EXPECT_EQ(Amounts(r, 4), (std::vector<float>{1, 1, 0, 0}));
}

TEST(BeamRange, OnlyTheBeamsFromFirstAreSet) {
    BeamsRecord r;
    r.rangeEnd = 0.5;
    BeamSet set = Chain(6);
    SelectRange(r, 2, true, set);  // four beams of this pass: 2 and 3 show
    EXPECT_EQ(set.amounts, (std::vector<float>{-5, -5, 1, 1, 0, 0}));
}

TEST(BeamShuffle, TheTwistersFisherYatesWalkOverTheAmounts) {
    BeamSet set = Chain(12);
    for (int32_t i = 0; i < 12; ++i) set.amounts[size_t(i)] = float(i);
    ShuffleAmounts(77, 0, set);
    // The walk worked over positions: for i from 1, j = next % (i + 1), swap i and j.
    std::vector<float> expected(12);
    std::iota(expected.begin(), expected.end(), 0.0f);
    {
        auto guard = MTRand_int32::lock();
        MTRand_int32 twister;
        twister.seed(77);
        for (size_t i = 1; i < expected.size(); ++i)
            std::swap(expected[i], expected[twister.next() % (i + 1)]);
    }
    EXPECT_EQ(set.amounts, expected);
    std::vector<float> identity(12);
    std::iota(identity.begin(), identity.end(), 0.0f);
    EXPECT_NE(set.amounts, identity);
    // The pairs do not move: which beams show is random, how many is not.
    EXPECT_EQ(PairsOf(set), PairsOf(Chain(12)));
    std::sort(set.amounts.begin(), set.amounts.end());
    EXPECT_EQ(set.amounts, identity);
}

TEST(BeamShuffle, TheSameSeedGivesTheSamePatternEveryTime) {
    BeamsRecord r;
    r.rangeEnd = 0.4;
    r.randomize = true;
    r.randomSeed = 3;
    GeometryStore store;
    store.positions.resize(21);
    ObjectRange row;
    row.kind = 1;
    row.vertexCount = 21;
    row.latticeSize[0] = 21, row.latticeSize[1] = 1, row.latticeSize[2] = 1;
    store.ranges = {row};
    r.axis = 1;
    const std::vector<float> first = ObjectBeams(r, store).amounts;
    ASSERT_EQ(first.size(), 20u);
    EXPECT_EQ(std::count(first.begin(), first.end(), 1.0f), 8);
    EXPECT_NE(first, Amounts(r, 20));  // shuffled
    // Someone else drawing from the shared twister in between changes nothing.
    MTRand_int32 other(12345);
    for (int i = 0; i < 1000; ++i) other.next();
    EXPECT_EQ(ObjectBeams(r, store).amounts, first);
    r.randomSeed = 4;
    EXPECT_NE(ObjectBeams(r, store).amounts, first);
}

TEST(BeamShuffle, EachSourceIsShuffledOnItsOwn) {
    BeamSet set = Chain(8);
    for (int32_t i = 0; i < 8; ++i) set.amounts[size_t(i)] = float(i);
    ShuffleAmounts(5, 4, set);
    EXPECT_EQ(std::vector<float>(set.amounts.begin(), set.amounts.begin() + 4),
              (std::vector<float>{0, 1, 2, 3}));
    std::vector<float> tail(set.amounts.begin() + 4, set.amounts.end());
    std::sort(tail.begin(), tail.end());
    EXPECT_EQ(tail, (std::vector<float>{4, 5, 6, 7}));
}

// ---- Groups

// Group 1 from vertex `startA` with `countA` vertices, group 2 likewise.
GeometryStore TwoGroups(uint32_t startA, uint32_t countA, uint32_t startB, uint32_t countB) {
    GeometryStore store;
    store.positions.resize(size_t(std::max(startA + countA, startB + countB)));
    if (countA) store.vertexGroups[1] = GroupRange{startA, countA};
    if (countB) store.vertexGroups[2] = GroupRange{startB, countB};
    return store;
}

TEST(GroupBeams, FiveInTheSecondGroupTwoInTheFirst) {
    // big = group 2 (2..6), small = group 1 (0, 1); j = 0 + (i * 2) / 5: 0 0 0 1 1.
    GeometryStore store = TwoGroups(0, 2, 2, 5);
    BeamsRecord r;
    r.beamsType = kBeamsGroups;
    const BeamSet set = GroupBeams(r, store);
    EXPECT_EQ(PairsOf(set), (Pairs{{2, 0}, {3, 0}, {4, 0}, {5, 1}, {6, 1}}));
    EXPECT_EQ(set.spans, (std::vector<float>{0, 1, 0, 1, 0, 1, 0, 1, 0, 1}));
    EXPECT_EQ(set.amounts, (std::vector<float>(5, 1.0f)));
}

TEST(GroupBeams, FiveInTheFirstGroupTwoInTheSecond) {
    // big = group 1 (0..4), small = group 2 (5, 6): the beams still run from group 2.
    GeometryStore store = TwoGroups(0, 5, 5, 2);
    BeamsRecord r;
    r.beamsType = kBeamsGroups;
    EXPECT_EQ(PairsOf(GroupBeams(r, store)), (Pairs{{5, 0}, {5, 1}, {5, 2}, {6, 3}, {6, 4}}));
}

TEST(GroupBeams, EqualGroupsPairVertexByVertexFromTheSecond) {
    // Equal counts: j = small.start + i, so the i-th vertices pair up whichever group counts as
    // the shorter; the beams run from the second group to the first, as the popups say.
    GeometryStore store = TwoGroups(0, 2, 2, 2);
    BeamsRecord r;
    r.beamsType = kBeamsGroups;
    EXPECT_EQ(PairsOf(GroupBeams(r, store)), (Pairs{{2, 0}, {3, 1}}));
    r.firstGroup = 2;
    r.secondGroup = 1;
    EXPECT_EQ(PairsOf(GroupBeams(r, store)), (Pairs{{0, 2}, {1, 3}}));
}

TEST(GroupBeams, TheRangeSelectionWithoutTheSwap) {
    GeometryStore store = TwoGroups(0, 2, 2, 5);
    BeamsRecord r;
    r.beamsType = kBeamsGroups;
    r.rangeStart = 0.3;  // s = 1.5
    const BeamSet set = GroupBeams(r, store);
    EXPECT_EQ(set.amounts, (std::vector<float>{0, 0.5f, 1, 1, 1}));
    EXPECT_EQ(set.pairs[1].a, 3);  // not turned round
    EXPECT_EQ(set.pairs[1].b, 0);
}

TEST(GroupBeams, BothGroupsEmptyGiveNoBeams) {
    GeometryStore store;
    BeamsRecord r;
    r.beamsType = kBeamsGroups;
    EXPECT_EQ(GroupBeams(r, store).size(), 0u);
    EXPECT_EQ(BuildBeams(r, store).size(), 0u);
}

TEST(GroupBeams, OneEmptyGroupGivesNoBeams) {
    GeometryStore store = TwoGroups(0, 0, 0, 4);
    BeamsRecord r;
    r.beamsType = kBeamsGroups;
    EXPECT_EQ(GroupBeams(r, store).size(), 0u);
}

TEST(GroupBeams, BuildBeamsFollowsTheType) {
    GeometryStore store = TwoGroups(0, 2, 2, 5);
    ObjectRange row;
    row.kind = 1;
    row.vertexCount = 7;
    row.latticeSize[0] = 7, row.latticeSize[1] = 1, row.latticeSize[2] = 1;
    store.ranges = {row};
    BeamsRecord r;
    r.axis = 1;
    EXPECT_EQ(BuildBeams(r, store).size(), 6u);
    r.beamsType = kBeamsGroups;
    EXPECT_EQ(BuildBeams(r, store).size(), 5u);
}

}  // namespace
}  // namespace tv
