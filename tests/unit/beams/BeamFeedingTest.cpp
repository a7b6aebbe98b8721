// A beam item turned into paths and line records: straight and bezier beams against values worked
// out here, the colour, alpha and thickness along them, and the ends a beam marks as used.
#include <gtest/gtest.h>

#include <vector>

#include "engines/Feeding.h"
#include "host/RenderPayloads.h"
#include "renderers/Beams.h"

namespace tv {
namespace {

// An engine that keeps the line records it is given.
struct Recorder : TV_Base_Render {
    using TV_Base_Render::TV_Base_Render;
    std::vector<DrawLine> lines;
    std::vector<BeamPath> beams;
    bool sorts = true;
    PF_Err drawLines(std::vector<DrawLine>& l) override {
        lines = l;
        return PF_Err_NONE;
    }
    PF_Err drawBeams(std::vector<BeamPath>& b) override {
        beams = b;
        return PF_Err_NONE;
    }
    bool wantsDepthSort() const override { return sorts; }
};

// The item over caller-owned arrays.
struct Item {
    std::vector<IndexPair> pairs;
    std::vector<float> amounts;
    RenderItem item;
    BeamsPayload& p = item.as<BeamsPayload>();

    Item(std::vector<IndexPair> ps, std::vector<float> as) : pairs(ps), amounts(as) {
        item.kind = kRenderBeams;
        p = BeamsPayload{};
        p.pairs = pairs.data();
        p.amounts = amounts.data();
        p.beamCount = uint32_t(pairs.size());
    }
    std::vector<BeamPath> Paths(const GeometryStore& store) const {
        std::vector<BeamPath> out;
        BuildBeamPaths(item, store, out);
        return out;
    }
};

// Two vertices: red and opaque at the origin, scale 2; blue at half alpha at (10, 20, -4), scale 3.
GeometryStore TwoEnds() {
    GeometryStore store;
    store.positions = {{0, 0, 0}, {10, 20, -4}};
    store.colors = {{1, 0, 0, 1}, {0, 0, 1, 0.5f}};
    store.scales = {2, 3};
    return store;
}

void ExpectPoint(const BeamPath& path, size_t k, double x, double y, double z) {
    EXPECT_NEAR(path.positions[3 * k], x, 1e-9) << k;
    EXPECT_NEAR(path.positions[3 * k + 1], y, 1e-9) << k;
    EXPECT_NEAR(path.positions[3 * k + 2], z, 1e-9) << k;
}

void ExpectColor(const BeamPath& path, size_t k, float r, float g, float b, float a) {
    EXPECT_FLOAT_EQ(path.colors[4 * k], r) << k;
    EXPECT_FLOAT_EQ(path.colors[4 * k + 1], g) << k;
    EXPECT_FLOAT_EQ(path.colors[4 * k + 2], b) << k;
    EXPECT_FLOAT_EQ(path.colors[4 * k + 3], a) << k;
}

TEST(BeamFeeding, AStraightBeamCutAtItsAmount) {
    const GeometryStore store = TwoEnds();
    Item it({{0, 1}}, {0.25f});
    it.p.startThickness = 1;
    it.p.endThickness = 5;
    const std::vector<BeamPath> paths = it.Paths(store);
    ASSERT_EQ(paths.size(), 1u);
    ASSERT_EQ(paths[0].size(), 2u);
    ExpectPoint(paths[0], 0, 0, 0, 0);
    ExpectPoint(paths[0], 1, 2.5, 5, -1);  // p0 + (p1 - p0) * 0.25
    ExpectColor(paths[0], 0, 1, 0, 0, 1);
    ExpectColor(paths[0], 1, 0.75f, 0, 0.25f, 0.875f);
    // Thickness 1 * 2 at the start, 5 * 3 at the end: 2 + 13 * 0.25 where the beam stops.
    EXPECT_FLOAT_EQ(paths[0].radii[0], 2.0f);
    EXPECT_FLOAT_EQ(paths[0].radii[1], 5.25f);
}

TEST(BeamFeeding, FlipOverridesAndScale) {
    const GeometryStore store = TwoEnds();
    Item it({{0, 1}}, {0.25f});
    it.p.startThickness = 1;
    it.p.endThickness = 5;
    it.p.flipDirection = 1;
    it.p.overrideScale = 1;
    it.p.overrideColor = 1;
    it.p.color[0] = 0.2f, it.p.color[1] = 0.4f, it.p.color[2] = 0.6f, it.p.color[3] = 0.1f;
    std::vector<BeamPath> paths = it.Paths(store);
    ASSERT_EQ(paths.size(), 1u);
    // From vertex 1 a quarter of the way back to vertex 0.
    ExpectPoint(paths[0], 0, 10, 20, -4);
    ExpectPoint(paths[0], 1, 7.5, 15, -3);
    // The colour is the item's; the alpha still runs from 0.5 to 1.
    ExpectColor(paths[0], 0, 0.2f, 0.4f, 0.6f, 0.5f);
    ExpectColor(paths[0], 1, 0.2f, 0.4f, 0.6f, 0.625f);
    EXPECT_FLOAT_EQ(paths[0].radii[0], 1.0f);
    EXPECT_FLOAT_EQ(paths[0].radii[1], 2.0f);
    it.p.overrideOpacity = 1;
    paths = it.Paths(store);
    ExpectColor(paths[0], 1, 0.2f, 0.4f, 0.6f, 0.1f);
}

TEST(BeamFeeding, WholeStraightBeamsChainIntoOnePath) {
    GeometryStore store;
    store.positions = {{0, 0, 0}, {10, 0, 0}, {20, 0, 0}, {30, 0, 0}, {0, 9, 0}};
    Item it({{0, 1}, {1, 2}, {2, 3}, {4, 0}}, {1, 1, 0.5f, 1});
    const std::vector<BeamPath> paths = it.Paths(store);
    ASSERT_EQ(paths.size(), 2u);
    ASSERT_EQ(paths[0].size(), 4u);  // vertices 0, 1, 2, then halfway to 3
    ExpectPoint(paths[0], 3, 25, 0, 0);
    // The last beam starts at 4, not where the chain ended: a break goes in first.
    ASSERT_EQ(paths[1].size(), 2u);
    ExpectPoint(paths[1], 0, 0, 9, 0);
    ExpectPoint(paths[1], 1, 0, 0, 0);
}

TEST(BeamFeeding, ABeamCutShortEndsItsPath) {
    // Both beams half drawn: each is one segment from its own first end, with a gap between.
    GeometryStore store;
    store.positions = {{0, 0, 0}, {10, 0, 0}, {20, 0, 0}};
    Item it({{0, 1}, {1, 2}}, {0.5f, 0.5f});
    const std::vector<BeamPath> paths = it.Paths(store);
    ASSERT_EQ(paths.size(), 2u);
    ExpectPoint(paths[0], 0, 0, 0, 0);
    ExpectPoint(paths[0], 1, 5, 0, 0);
    ExpectPoint(paths[1], 0, 10, 0, 0);
    ExpectPoint(paths[1], 1, 15, 0, 0);
}

TEST(BeamFeeding, NothingOfABeamAtAmountZeroOrOutOfTheStore) {
    const GeometryStore store = TwoEnds();
    Item it({{0, 1}, {0, 1}, {0, 7}, {-1, 0}}, {0, -0.5f, 1, 1});
    EXPECT_TRUE(it.Paths(store).empty());
}

// p0 (0, 0, 0), p1 (10, 10, 0), bezier axis Y, both curves 0.5: c1 = (0, 5, 0), c2 = (10, 5, 0).
// B(t) = (10 t^2 (3 - 2 t), 15 t (1 - t) + 10 t^3, 0):
//   t 0.25 -> (1.5625, 2.96875), 0.5 -> (5, 5), 0.75 -> (8.4375, 7.03125), 1 -> (10, 10).
struct BezierBeam : ::testing::Test {
    GeometryStore store;
    Item it{{{0, 1}}, {1}};
    void SetUp() override {
        store.positions = {{0, 0, 0}, {10, 10, 0}};
        store.colors = {{1, 1, 1, 1}, {0, 0, 0, 0}};
        it.p.bezier = 1;
        it.p.bezierAxis = 1;
        it.p.bezierPoints = 4;
        it.p.startCurve = 0.5f;
        it.p.endCurve = 0.5f;
        it.p.overrideScale = 1;
        it.p.startThickness = 4;
        it.p.endThickness = 0;
    }
};

TEST_F(BezierBeam, WholeBeamThroughItsControlPoints) {
    const std::vector<BeamPath> paths = it.Paths(store);
    ASSERT_EQ(paths.size(), 1u);
    ASSERT_EQ(paths[0].size(), 5u);
    ExpectPoint(paths[0], 0, 0, 0, 0);
    ExpectPoint(paths[0], 1, 1.5625, 2.96875, 0);
    ExpectPoint(paths[0], 2, 5, 5, 0);
    ExpectPoint(paths[0], 3, 8.4375, 7.03125, 0);
    ExpectPoint(paths[0], 4, 10, 10, 0);
    // Colour and thickness follow t, not the distance along the curve.
    ExpectColor(paths[0], 1, 0.75f, 0.75f, 0.75f, 0.75f);
    EXPECT_FLOAT_EQ(paths[0].radii[1], 3.0f);
    EXPECT_FLOAT_EQ(paths[0].radii[4], 0.0f);
}

TEST_F(BezierBeam, StopsAtTheLastSegmentWithinItsAmount) {
    it.amounts[0] = 0.6f;  // t2 = 0.75 passes it
    const std::vector<BeamPath> paths = it.Paths(store);
    ASSERT_EQ(paths.size(), 1u);
    ASSERT_EQ(paths[0].size(), 3u);
    ExpectPoint(paths[0], 2, 5, 5, 0);
    it.amounts[0] = 0.2f;  // not even the first segment
    EXPECT_TRUE(it.Paths(store).empty());
}

TEST_F(BezierBeam, TheAxisChoosesTheCoordinateThatBends) {
    // Along X the control points are (5, 0, 0) and (5, 10, 0): x = 15 t (1 - t) + 10 t^3.
    it.p.bezierAxis = 0;
    const std::vector<BeamPath> paths = it.Paths(store);
    ASSERT_EQ(paths[0].size(), 5u);
    ExpectPoint(paths[0], 1, 2.96875, 1.5625, 0);
}

TEST_F(BezierBeam, EachBeamIsItsOwnPathEvenWhenTheyChain) {
    store.positions.push_back({20, 0, 0});
    Item two({{0, 1}, {1, 2}}, {1, 1});
    two.p.bezier = 1;
    two.p.bezierPoints = 2;
    const std::vector<BeamPath> paths = two.Paths(store);
    ASSERT_EQ(paths.size(), 2u);
    EXPECT_EQ(paths[0].size(), 3u);
    EXPECT_EQ(paths[1].size(), 3u);
}

TEST_F(BezierBeam, NoBezierPointsNoSegments) {
    it.p.bezierPoints = 0;
    EXPECT_TRUE(it.Paths(store).empty());
}

TEST(BeamFeeding, ThroughASortingEngineEachSegmentIsALine) {
    const GeometryStore store = TwoEnds();
    Item it({{0, 1}}, {1});
    it.p.bezier = 1;
    it.p.bezierPoints = 3;
    it.p.perspective = 0;
    Recorder e(nullptr, nullptr, 8);
    e.perspectiveSizes = true;
    ASSERT_EQ(FeedBeams(e, it.item, store), PF_Err_NONE);
    ASSERT_EQ(e.lines.size(), 3u);
    EXPECT_FALSE(e.perspectiveSizes);  // the item's own choice
    EXPECT_TRUE(e.beams.empty());
    // An engine that does not sort takes the paths as they are.
    Recorder tubes(nullptr, nullptr, 8);
    tubes.sorts = false;
    ASSERT_EQ(FeedBeams(tubes, it.item, store), PF_Err_NONE);
    ASSERT_EQ(tubes.beams.size(), 1u);
    EXPECT_EQ(tubes.beams[0].size(), 4u);
    EXPECT_TRUE(tubes.lines.empty());
}

TEST(BeamFeeding, TheRenderersPayloadFeedsAsBuilt) {
    // Along a row of three at range end 75 %: beam 0 whole, beam 1 half.
    GeometryStore store;
    store.positions = {{0, 0, 0}, {10, 0, 0}, {20, 0, 0}};
    ObjectRange row;
    row.kind = 1;
    row.vertexCount = 3;
    row.latticeSize[0] = 3, row.latticeSize[1] = 1, row.latticeSize[2] = 1;
    store.ranges = {row};
    BeamsRecord r;
    r.axis = 1;
    r.rangeEnd = 0.75;
    RenderItem item;
    item.kind = kRenderBeams;
    FillBeamsPayload(BuildBeams(r, store), r, item.as<BeamsPayload>());
    std::vector<BeamPath> paths;
    BuildBeamPaths(item, store, paths);
    ASSERT_EQ(paths.size(), 1u);
    ASSERT_EQ(paths[0].size(), 3u);
    ExpectPoint(paths[0], 2, 15, 0, 0);
    FreeRenderItem(item);
}

TEST(BeamUsage, AnEndIsUsedOnceTheBeamReachesIt) {
    std::vector<IndexPair> pairs = {{0, 1}, {2, 3}, {4, 5}, {6, 9}};
    std::vector<float> amounts = {1, 0.5f, 0, 1};
    RenderItem item;
    item.kind = kRenderBeams;
    BeamsPayload& p = item.as<BeamsPayload>();
    p = BeamsPayload{};
    p.pairs = pairs.data();
    p.amounts = amounts.data();
    p.beamCount = 4;
    UsageMasks masks = BuildUsageMasks({item}, 8);
    // Index 9 lies past the mask and is ignored.
    EXPECT_EQ(masks.beams, (std::vector<uint8_t>{1, 1, 1, 0, 0, 0, 1, 0}));
    EXPECT_EQ(masks.lines, std::vector<uint8_t>(8, 0));
    // Flipped, a beam grows from its second end.
    p.flipDirection = 1;
    masks = BuildUsageMasks({item}, 8);
    EXPECT_EQ(masks.beams, (std::vector<uint8_t>{1, 1, 0, 1, 0, 0, 1, 0}));
}

}  // namespace
}  // namespace tv
