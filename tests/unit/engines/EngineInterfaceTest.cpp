#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "engines/AGGEngine.h"
#include "engines/Feeding.h"
#include "engines/KDLRender.h"
#include "host/RenderPayloads.h"

namespace tv {
namespace {

// Runs the tiles serially and keeps what the engines print.
struct SerialHost : HostServices {
    int iterations = 0;
    std::vector<std::string> lines;
    PF_Err iterate(int32_t count, const std::function<PF_Err(int32_t)>& fn) override {
        ++iterations;
        for (int32_t i = 0; i < count; ++i)
            if (PF_Err e = fn(i)) return e;
        return PF_Err_NONE;
    }
    void diagnostic(const std::string& line) override { lines.push_back(line); }
};

// An engine that keeps what it is given.
struct Recorder : TV_Base_Render {
    using TV_Base_Render::TV_Base_Render;
    std::vector<DrawPoint> points;
    std::vector<DrawLine> lines;
    std::vector<DrawTriangle> triangles;
    PF_Err drawPoints(std::vector<DrawPoint>& p) override {
        points = p;
        return PF_Err_NONE;
    }
    PF_Err drawLines(std::vector<DrawLine>& l) override {
        lines = l;
        return PF_Err_NONE;
    }
    PF_Err drawTriangles(std::vector<DrawTriangle>& t) override {
        triangles = t;
        return PF_Err_NONE;
    }
};

struct World {
    std::vector<uint8_t> bytes;
    PF_EffectWorld w;
    World(int width, int height, int depth) {
        const int px = depth == 32 ? 16 : 4;
        bytes.assign(size_t(width * height * px), 0);
        w.width = width;
        w.height = height;
        w.rowbytes = width * px;
        w.data = bytes.data();
    }
    PF_Pixel8 at8(int x, int y) const {
        return reinterpret_cast<const PF_Pixel8*>(bytes.data())[y * w.width + x];
    }
    PF_PixelFloat atF(int x, int y) const {
        return reinterpret_cast<const PF_PixelFloat*>(bytes.data())[y * w.width + x];
    }
};

// clip = (x, y, z, z): 1/w is 1/z, so z <= 0 lies behind the camera.
void DepthIsW(TV_Base_Render& e, double width, double height) {
    const double scale[3] = {1, 1, 1};
    const double viewport[4] = {0, 0, width, height};
    const float id[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    const float proj[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0};
    const double dir[3] = {0, 0, 1};
    e.setRenderParams(scale, viewport, id, proj, dir);
}

DrawLine Line(double z0, double z1) {
    DrawLine l;
    l.start[2] = z0;
    l.end[2] = z1;
    const float red[4] = {1, 0, 0, 1}, blue[4] = {0, 0, 1, 1};
    std::copy(red, red + 4, l.startColor);
    std::copy(blue, blue + 4, l.endColor);
    l.startSize = l.endSize = 2;
    return l;
}

TEST(Projection, NormalRouteDropsALineWithOneEndBehind) {
    Recorder e(nullptr, nullptr, 8);
    DepthIsW(e, 100, 100);
    DrawLine l = Line(-1, 1);
    EXPECT_FALSE(e.projectLine(l));
    DrawLine front = Line(1, 2);
    front.start[0] = 0.5;  // x / z = 0.5: three quarters across
    ASSERT_TRUE(e.projectLine(front));
    EXPECT_FLOAT_EQ(float(front.start[0]), 75.0f);
    EXPECT_FLOAT_EQ(float(front.start[1]), 50.0f);
    EXPECT_EQ(front.start[2], 0.0);
}

TEST(Projection, LegacyRouteCutsAtTheNearPlaneAndMovesTheEndColour) {
    Recorder e(nullptr, nullptr, 8);
    DepthIsW(e, 100, 100);
    e.legacyProjection = true;
    e.perspectiveSizes = false;
    DrawLine l = Line(1, -1);  // the end is behind
    ASSERT_TRUE(e.projectLine(l));
    // t = (1/1) / (1/1 + 1) - 0.001 = 0.499: the end colour goes 0.499 of the way.
    EXPECT_FLOAT_EQ(l.endColor[0], 1 - 0.499f);
    EXPECT_FLOAT_EQ(l.endColor[2], 0.499f);
    EXPECT_FLOAT_EQ(l.startColor[0], 1.0f);
    // The new end's depth is 1 - 2 * 0.499 = 0.002, so z = clip.z / w = 1.
    EXPECT_NEAR(l.end[2], 1.0, 1e-6);
}

TEST(Projection, LegacyRouteWithTheStartBehindMovesTheStartColourAway) {
    Recorder e(nullptr, nullptr, 8);
    DepthIsW(e, 100, 100);
    e.legacyProjection = true;
    e.perspectiveSizes = false;
    DrawLine l = Line(-1, 1);
    ASSERT_TRUE(e.projectLine(l));
    // Swapped: t = -0.499, start = start + (end - start) * -0.499, away from the end colour.
    EXPECT_FLOAT_EQ(l.startColor[0], 1 + 0.499f);
    EXPECT_FLOAT_EQ(l.startColor[2], -0.499f);
    EXPECT_FLOAT_EQ(l.endColor[2], 1.0f);
    DrawLine behind = Line(-1, -2);
    EXPECT_FALSE(e.projectLine(behind));
}

TEST(Projection, ClipSegmentToNearReturns) {
    double a[3] = {0, 0, 1}, b[3] = {0, 0, 3};
    EXPECT_EQ(ClipSegmentToNear(a, b, 1, 0.5), 1.0);
    EXPECT_EQ(b[2], 3.0);
    EXPECT_EQ(ClipSegmentToNear(a, b, -1, -0.5), 0.0);
    double c[3] = {0, 0, 4}, d[3] = {0, 0, -4};
    // w 4 and -4: 1/rhw = 4 and -4, t = 4 / 8 - 0.001.
    EXPECT_DOUBLE_EQ(ClipSegmentToNear(c, d, 0.25, -0.25), 0.499);
    EXPECT_DOUBLE_EQ(d[2], 4 - 8 * 0.499);
    double e[3] = {0, 0, -4}, f[3] = {0, 0, 4};
    EXPECT_DOUBLE_EQ(ClipSegmentToNear(e, f, -0.25, 0.25), -0.499);
    EXPECT_DOUBLE_EQ(e[2], 4 - 8 * 0.499);
}

TEST(Projection, LegacyPointSizesScaleByRhw) {
    Recorder e(nullptr, nullptr, 8);
    DepthIsW(e, 100, 100);
    e.legacyProjection = true;
    e.perspectiveSizes = true;
    e.cameraScale = 2;
    DrawPoint p;
    p.z = 4;
    p.size = 3;
    ASSERT_TRUE(e.projectPoint(p));
    EXPECT_FLOAT_EQ(p.size, 3 * 2 * 0.25f);
    EXPECT_FLOAT_EQ(float(p.z), 1.0f);  // clip.z * rhw is kept on this route
    DrawPoint back;
    back.z = -1;
    EXPECT_FALSE(e.projectPoint(back));
}

TEST(Projection, TrianglesAlwaysTakeTheOneStepRoute) {
    Recorder e(nullptr, nullptr, 8);
    DepthIsW(e, 100, 100);
    DrawTriangle t;
    for (auto& c : t.corners) c[2] = 2;
    t.corners[1][0] = 1;
    ASSERT_TRUE(e.projectTriangle(t));
    EXPECT_FLOAT_EQ(float(t.corners[1][0]), 75.0f);
    DrawTriangle back = t;
    back.corners[2][2] = -1;
    back.corners[0][2] = back.corners[1][2] = 2;
    EXPECT_FALSE(e.projectTriangle(back));
}

TEST(Projection, NormalRouteSizeFromASecondProjectedPoint) {
    Recorder e(nullptr, nullptr, 8);
    DepthIsW(e, 100, 100);
    e.perspectiveSizes = true;
    DrawPoint p;
    p.z = 2;
    p.size = 0.4f;
    ASSERT_TRUE(e.projectPoint(p));
    // 0.4 at depth 2 is 0.2 in clip x, 0.2 * 50 pixels.
    EXPECT_NEAR(p.size, 10.0f, 1e-4);
}

TEST(EngineInterface, SlotsAnswerAsTheBackEndsSay) {
    World world(4, 4, 8);
    AGGEngine agg(nullptr, &world.w, 8);
    KDLRender kdl(nullptr, &world.w, 8);
    EXPECT_TRUE(agg.perspectiveSizes);
    EXPECT_FALSE(kdl.perspectiveSizes);
    EXPECT_TRUE(agg.wantsDepthSort());
    EXPECT_TRUE(kdl.wantsDepthSort());
    EXPECT_FALSE(agg.isGpu());
    std::vector<DrawPoint> points(1);
    points[0].color[3] = 1;
    points[0].size = 3;
    EXPECT_EQ(agg.drawPoints(points), 0);
    std::vector<DrawTriangle> tris(1);
    EXPECT_EQ(kdl.drawTriangles(tris), 0);
    std::vector<DrawSprite> sprites(1);
    EXPECT_EQ(agg.drawSprites(sprites), 0);
    std::vector<BeamPath> beams(1);
    EXPECT_EQ(kdl.drawBeams(beams), 0);
    EXPECT_EQ(agg.prepareSprites(0, {}), 0);
    EXPECT_EQ(agg.finishSprites(), 0);
    EXPECT_EQ(kdl.frameEnded(), 0);
    for (uint8_t b : world.bytes) EXPECT_EQ(b, 0);
}

TEST(EngineInterface, EmptyArraysTouchNeitherWorldNorHost) {
    World world(8, 8, 8);
    SerialHost host;
    KDLRender kdl(&host, &world.w, 8);
    AGGEngine agg(&host, &world.w, 8);
    std::vector<DrawPoint> p;
    std::vector<DrawLine> l;
    std::vector<DrawTriangle> t;
    EXPECT_EQ(kdl.drawPoints(p), 0);
    EXPECT_EQ(kdl.drawLines(l), 0);
    EXPECT_EQ(agg.drawLines(l), 0);
    EXPECT_EQ(agg.drawTriangles(t), 0);
    EXPECT_EQ(host.iterations, 0);
    EXPECT_TRUE(host.lines.empty());
    // A non-empty array does go through the host's iteration, 25 tiles.
    std::vector<DrawPoint> one(1);
    one[0].color[3] = 1;
    one[0].size = 1;
    EXPECT_EQ(kdl.drawPoints(one), 0);
    EXPECT_EQ(host.iterations, 1);
}

TEST(EngineInterface, DrawPointsThroughTheTilesMatchesOneTile) {
    World tiled(37, 23, 8), single(37, 23, 8);
    SerialHost host;
    KDLRender e(&host, &tiled.w, 8);
    KDLRender s(nullptr, &single.w, 8);
    const double scale[3] = {1, 1, 1};
    const double viewport[4] = {0, 0, 2, 2};  // identity: screen = (x + 1) * 1
    const float id[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    const double dir[3] = {0, 0, 1};
    e.setRenderParams(scale, viewport, id, id, dir);
    std::vector<DrawPoint> points;
    for (int i = 0; i < 6; ++i) {
        DrawPoint p;
        p.x = 3 + i * 5.3 - 1, p.y = 4 + i * 2.9 - 1;
        p.color[0] = 1, p.color[1] = 0.2f * float(i), p.color[3] = 0.6f;
        p.size = 4;
        p.softness = float(i % 2);
        points.push_back(p);
    }
    const std::vector<DrawPoint> given = points;
    ASSERT_EQ(e.drawPoints(points), 0);
    for (size_t i = 0; i < given.size(); ++i) {
        DrawPoint p = given[i];
        ASSERT_TRUE(e.projectPoint(p));
        s.drawPointInTile(p, ScanTile{0, 0, 37, 23});
        // The draw projected the caller's array in place.
        EXPECT_EQ(points[i].x, p.x);
        EXPECT_EQ(points[i].y, p.y);
        EXPECT_EQ(points[i].size, p.size);
    }
    EXPECT_EQ(tiled.bytes, single.bytes);
}

TEST(Feeding, NanPositionsAreReportedAndLeftOut) {
    SerialHost host;
    Recorder e(&host, nullptr, 8);
    GeometryStore store;
    const float nan = std::numeric_limits<float>::quiet_NaN();
    store.positions = {{1, 1, 1}, {nan, 0, 0}, {2, 2, 5}, {3, 3, 3}};
    store.colors.assign(4, Color4f{1, 1, 1, 1});
    uint32_t vertices[4] = {0, 1, 2, 3};
    RenderItem item;
    item.kind = kRenderPoints;
    PointsPayload& p = item.as<PointsPayload>();
    p = PointsPayload{};
    p.vertices = vertices;
    p.vertexCount = 4;
    const UsageMasks masks = BuildUsageMasks({}, 4);
    ASSERT_EQ(FeedPoints(e, item, store, masks), 0);
    ASSERT_EQ(e.points.size(), 3u);
    // Far first along +z.
    EXPECT_EQ(e.points[0].z, 5);
    EXPECT_EQ(e.points[1].z, 3);
    EXPECT_EQ(e.points[2].z, 1);
    ASSERT_EQ(host.lines.size(), 1u);
    EXPECT_EQ(host.lines[0].rfind("Point Pos Nan detected:", 0), 0u);
    EXPECT_NE(host.lines[0].find("at index: 1"), std::string::npos);

    IndexPair pairs[2] = {{0, 1}, {2, 3}};
    RenderItem lines;
    lines.kind = kRenderLines;
    LinesPayload& lp = lines.as<LinesPayload>();
    lp = LinesPayload{};
    lp.pairs = pairs;
    lp.pairCount = 2;
    ASSERT_EQ(FeedLines(e, lines, store), 0);
    EXPECT_EQ(e.lines.size(), 1u);
    EXPECT_EQ(host.lines.back().rfind("Line Pos Nan detected:", 0), 0u);

    IndexTriple triples[2] = {{0, 2, 3}, {1, 2, 3}};
    float opacity[2] = {0.5f, 1};
    RenderItem tris;
    tris.kind = kRenderTriangles;
    TrianglesPayload& tp = tris.as<TrianglesPayload>();
    tp = TrianglesPayload{};
    tp.triples = triples;
    tp.opacity = opacity;
    tp.tripleCount = 2;
    ASSERT_EQ(FeedTriangles(e, tris, store), 0);
    ASSERT_EQ(e.triangles.size(), 1u);
    EXPECT_FLOAT_EQ(e.triangles[0].colors[2][3], 0.5f);
    EXPECT_EQ(host.lines.back().rfind("Triangle Pos Nan detected:", 0), 0u);
}

// A Recorder that keeps every call's records, taking at most `batch` per call.
struct BatchRecorder : Recorder {
    BatchRecorder(HostServices* host, size_t batch) : Recorder(host, nullptr, 8), batch(batch) {}
    size_t batch;
    std::vector<size_t> callSizes;
    size_t recordsPerCall() const override { return batch; }
    PF_Err drawLines(std::vector<DrawLine>& l) override {
        callSizes.push_back(l.size());
        lines.insert(lines.end(), l.begin(), l.end());
        return PF_Err_NONE;
    }
};

// Twenty lines at random depths, pair 7 with a NaN end.
struct ManyLines {
    GeometryStore store;
    std::vector<IndexPair> pairs;
    RenderItem item;
    explicit ManyLines(bool sort) {
        std::mt19937 rng(5);
        std::uniform_real_distribution<float> u(-10, 10);
        for (int i = 0; i < 40; ++i) store.positions.push_back({u(rng), u(rng), u(rng)});
        store.positions[15].x = std::numeric_limits<float>::quiet_NaN();
        store.colors.assign(40, Color4f{1, 0.5f, 0.25f, 1});
        for (int i = 0; i < 20; ++i) pairs.push_back({2 * i, 2 * i + 1});
        item.kind = kRenderLines;
        LinesPayload& p = item.as<LinesPayload>();
        p = LinesPayload{};
        p.pairs = pairs.data();
        p.pairCount = uint32_t(pairs.size());
        p.depthSort = sort;
    }
};

TEST(Feeding, BatchesHandTheSameRecordsInTheSameOrderAsOneCall) {
    for (bool sort : {false, true}) {
        ManyLines m(sort);
        SerialHost oneHost, batchHost;
        BatchRecorder one(&oneHost, 0), batched(&batchHost, 3);
        ASSERT_EQ(FeedLines(one, m.item, m.store), 0);
        ASSERT_EQ(FeedLines(batched, m.item, m.store), 0);
        ASSERT_EQ(one.callSizes, std::vector<size_t>{19}) << sort;
        // 19 taken lines in calls of at most 3; unsorted batches are cut by pair, so the one
        // that holds the NaN pair hands 2.
        const std::vector<size_t> want = sort ? std::vector<size_t>{3, 3, 3, 3, 3, 3, 1}
                                              : std::vector<size_t>{3, 3, 2, 3, 3, 3, 2};
        EXPECT_EQ(batched.callSizes, want) << sort;
        ASSERT_EQ(batched.lines.size(), one.lines.size());
        for (size_t i = 0; i < one.lines.size(); ++i)
            EXPECT_EQ(std::memcmp(&batched.lines[i], &one.lines[i], sizeof(DrawLine)), 0)
                << "record " << i << (sort ? " sorted" : " unsorted");
        EXPECT_EQ(batchHost.lines, oneHost.lines);
        ASSERT_EQ(batchHost.lines.size(), 1u);
    }
}

TEST(Feeding, SortedLinesComeInTheOrderTheDepthSortGivesTheirRecords) {
    // The feed reads each line's key from its two ends without making the record; the order
    // must be the one sorting the made records gives.
    ManyLines unsorted(false), sorted(true);
    SerialHost host;
    BatchRecorder plain(&host, 0), far(&host, 5);
    const double view[3] = {0.3, -0.5, 0.81};
    for (BatchRecorder* e : {&plain, &far}) {
        const double scale[3] = {1, 1, 1}, viewport[4] = {0, 0, 10, 10};
        const float id[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
        e->setRenderParams(scale, viewport, id, id, view);
    }
    ASSERT_EQ(FeedLines(plain, unsorted.item, unsorted.store), 0);
    ASSERT_EQ(FeedLines(far, sorted.item, sorted.store), 0);
    std::vector<DrawLine> want = plain.lines;
    DepthSort(want, view);
    ASSERT_EQ(far.lines.size(), want.size());
    for (size_t i = 0; i < want.size(); ++i)
        EXPECT_EQ(std::memcmp(&far.lines[i], &want[i], sizeof(DrawLine)), 0) << "record " << i;
}

TEST(Feeding, BatchedItemWithNothingTakenStillCallsTheEngineOnce) {
    for (bool sort : {false, true}) {
        GeometryStore store;
        RenderItem item;
        item.kind = kRenderLines;
        item.as<LinesPayload>() = LinesPayload{};
        item.as<LinesPayload>().depthSort = sort;
        SerialHost host;
        BatchRecorder e(&host, 3);
        ASSERT_EQ(FeedLines(e, item, store), 0);
        EXPECT_EQ(e.callSizes, std::vector<size_t>{0}) << sort;
    }
}

// The software engine drawing in batches of 4 paints the same bytes as in one call.
struct SmallBatchAgg : AGGEngine {
    using AGGEngine::AGGEngine;
    size_t recordsPerCall() const override { return 4; }
};

TEST(Feeding, SoftwareEngineBatchesPaintTheSameFrame) {
    for (int depth : {8, 32}) {
        ManyLines m(true);
        m.item.as<LinesPayload>().size = 1.5f;
        // Colours differ line by line, so a change of drawing order changes the bytes.
        std::mt19937 rng(9);
        std::uniform_real_distribution<float> u(0, 1);
        for (Color4f& c : m.store.colors) c = Color4f{u(rng), u(rng), u(rng), 0.6f};
        World whole(64, 48, depth), batched(64, 48, depth);
        SerialHost host;
        AGGEngine a(&host, &whole.w, depth);
        SmallBatchAgg b(&host, &batched.w, depth);
        for (TV_Base_Render* e :
             {static_cast<TV_Base_Render*>(&a), static_cast<TV_Base_Render*>(&b)}) {
            const double scale[3] = {1, 1, 1};
            const double viewport[4] = {0, 0, 64, 48};
            // Orthographic: x and y from -10..10 onto the frame, z for the sort.
            const float mv[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, -20, 1};
            const float proj[16] = {0.1f, 0, 0, 0, 0, 0.1f, 0, 0, 0, 0, -0.02f, 0, 0, 0, 0, 1};
            const double dir[3] = {0, 0, 1};
            e->setRenderParams(scale, viewport, mv, proj, dir);
            ASSERT_EQ(FeedLines(*e, m.item, m.store), 0);
        }
        EXPECT_EQ(batched.bytes, whole.bytes) << depth;
        EXPECT_NE(std::count(whole.bytes.begin(), whole.bytes.end(), 0),
                  ptrdiff_t(whole.bytes.size()));
    }
}

TEST(Feeding, StraightBeamsJoinIntoOnePathWhileTheyChain) {
    GeometryStore store;
    store.positions = {{0, 0, 0}, {10, 0, 0}, {20, 0, 0}, {0, 50, 0}, {10, 50, 0}};
    store.colors.assign(5, Color4f{1, 0, 0, 1});
    IndexPair pairs[3] = {{0, 1}, {1, 2}, {3, 4}};
    float amounts[3] = {1, 0.5f, 0};
    RenderItem item;
    item.kind = kRenderBeams;
    BeamsPayload& b = item.as<BeamsPayload>();
    b = BeamsPayload{};
    b.pairs = pairs;
    b.amounts = amounts;
    b.beamCount = 3;
    b.startThickness = 2;
    b.endThickness = 4;
    std::vector<BeamPath> paths;
    BuildBeamPaths(item, store, paths);
    ASSERT_EQ(paths.size(), 1u);  // the third beam has amount 0
    ASSERT_EQ(paths[0].size(), 3u);
    EXPECT_EQ(paths[0].positions[6], 15.0);  // half of the second beam
    EXPECT_FLOAT_EQ(paths[0].radii[2], 3.0f);
    // Through an engine that sorts, the path becomes two line records.
    Recorder e(nullptr, nullptr, 8);
    ASSERT_EQ(FeedBeams(e, item, store), 0);
    EXPECT_EQ(e.lines.size(), 2u);
}

TEST(KDLRenderExtras, SoftPointCentreIsFullWithANegativeInnerRadius) {
    World world(24, 24, 8);
    KDLRender e(nullptr, &world.w, 8);
    DrawPoint p;
    p.x = 8, p.y = 8;
    p.color[0] = 1, p.color[3] = 1;
    p.size = 1;
    p.softness = 2;  // s = 3, inner = -2, amplitude 1/3
    e.drawPointInTile(p, ScanTile{0, 0, 24, 24});
    EXPECT_EQ(world.at8(8, 8).alpha, 255);
    // One pixel out: exp(-1 / 18) / 3 * 255 = 80.4, truncated to 80, then blended at 80.
    EXPECT_EQ(world.at8(9, 8).alpha, 80);
    EXPECT_EQ(world.at8(8, 8 + 8).alpha, 0);  // beyond 2 s + r = 7
}

TEST(KDLRenderExtras, LineWithAZeroSizeEndDrawsNothing) {
    World world(16, 16, 8);
    KDLRender e(nullptr, &world.w, 8);
    DrawLine l;
    l.start[0] = 2, l.start[1] = 8, l.end[0] = 14, l.end[1] = 8;
    l.startColor[3] = l.endColor[3] = 1;
    l.startSize = 3;
    l.endSize = 0;
    e.drawLineInTile(l, ScanTile{0, 0, 16, 16});
    for (uint8_t b : world.bytes) EXPECT_EQ(b, 0);
    l.endSize = 3;
    l.startDepthScale = l.endDepthScale = 0;  // a hard edge
    e.drawLineInTile(l, ScanTile{0, 0, 16, 16});
    EXPECT_EQ(world.at8(8, 8).alpha, 255);
    EXPECT_EQ(world.at8(8, 11).alpha, 255);
    EXPECT_EQ(world.at8(8, 12).alpha, 0);
}

TEST(KDLRenderExtras, FloatWorldUsesTheFloatBlender) {
    World world(8, 8, 32);
    KDLRender e(nullptr, &world.w, 32);
    DrawPoint p;
    p.x = 4, p.y = 4;
    p.color[1] = 1, p.color[3] = 0.5f;
    p.size = 2;
    e.drawPointInTile(p, ScanTile{0, 0, 8, 8});
    EXPECT_FLOAT_EQ(world.atF(4, 4).alpha, 0.5f);
    EXPECT_FLOAT_EQ(world.atF(4, 4).green, 0.5f);
    EXPECT_FLOAT_EQ(world.atF(4, 4).red, 0.0f);
}

TEST(KDLRenderExtras, ChannelOrderPassTurnsRgbaIntoArgb) {
    World world(2, 3, 32);
    float* f = reinterpret_cast<float*>(world.bytes.data());
    for (int i = 0; i < 6; ++i)
        f[4 * i] = 0.1f, f[4 * i + 1] = 0.2f, f[4 * i + 2] = 0.3f, f[4 * i + 3] = 0.9f;
    KDLRender e(nullptr, &world.w, 32);
    ASSERT_EQ(e.reorderChannels(world.w), 0);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 2; ++x) {
            EXPECT_FLOAT_EQ(world.atF(x, y).alpha, 0.9f);
            EXPECT_FLOAT_EQ(world.atF(x, y).red, 0.1f);
            EXPECT_FLOAT_EQ(world.atF(x, y).blue, 0.3f);
        }
}

TEST(AGGEngineTriangles, GouraudCornersAtBothDepths) {
    World w8(32, 32, 8), wf(32, 32, 32);
    AGGEngine e8(nullptr, &w8.w, 8), ef(nullptr, &wf.w, 32);
    DrawTriangle t;
    t.corners[0][0] = 2, t.corners[0][1] = 2;
    t.corners[1][0] = 30, t.corners[1][1] = 2;
    t.corners[2][0] = 2, t.corners[2][1] = 30;
    for (auto& c : t.colors) c[0] = 1, c[2] = 0.5f, c[3] = 1;
    e8.drawTrianglesInTile({t}, ScanTile{0, 0, 32, 32});
    ef.drawTrianglesInTile({t}, ScanTile{0, 0, 32, 32});
    EXPECT_EQ(w8.at8(8, 8).alpha, 255);
    EXPECT_EQ(w8.at8(8, 8).red, 255);
    EXPECT_EQ(w8.at8(8, 8).blue, 128);
    EXPECT_EQ(w8.at8(28, 28).alpha, 0);
    EXPECT_FLOAT_EQ(wf.atF(8, 8).alpha, 1.0f);
    EXPECT_NEAR(wf.atF(8, 8).blue, 0.5f, 1.0f / 65535);
    // A depth of 16 writes nothing.
    World w16(32, 32, 8);
    AGGEngine e16(nullptr, &w16.w, 16);
    std::vector<DrawTriangle> tris{t};
    EXPECT_EQ(e16.drawTriangles(tris), 0);
    for (uint8_t b : w16.bytes) EXPECT_EQ(b, 0);
}

TEST(AGGEngineTriangles, FloatTrianglesKeepOverRangeColoursAndBlendTheCorners) {
    World wf(32, 32, 32);
    AGGEngine ef(nullptr, &wf.w, 32);
    DrawTriangle t;
    t.corners[0][0] = 0, t.corners[0][1] = 0;
    t.corners[1][0] = 32, t.corners[1][1] = 0;
    t.corners[2][0] = 0, t.corners[2][1] = 32;
    // An HDR red above 1 at every corner, blue 0 at corner 0 and 2 at the others.
    for (int k = 0; k < 3; ++k) {
        t.colors[k][0] = 4.0f;
        t.colors[k][2] = k == 0 ? 0.0f : 2.0f;
        t.colors[k][3] = 1;
    }
    ef.drawTrianglesInTile({t}, ScanTile{0, 0, 32, 32});
    EXPECT_FLOAT_EQ(wf.atF(8, 8).alpha, 1.0f);
    EXPECT_NEAR(wf.atF(8, 8).red, 4.0f, 1e-5);  // not clamped to 1
    // At the pixel centre (8.5, 8.5) the weights of corners 1 and 2 are 8.5 / 32 each.
    EXPECT_NEAR(wf.atF(8, 8).blue, 2.0f * 17.0f / 32.0f, 1e-4);
    // Half opacity: premultiplied, still over range.
    World wh(32, 32, 32);
    AGGEngine eh(nullptr, &wh.w, 32);
    for (auto& c : t.colors) c[3] = 0.5f;
    eh.drawTrianglesInTile({t}, ScanTile{0, 0, 32, 32});
    EXPECT_NEAR(wh.atF(8, 8).alpha, 0.5f, 1e-6);
    EXPECT_NEAR(wh.atF(8, 8).red, 2.0f, 1e-5);
}

}  // namespace
}  // namespace tv
