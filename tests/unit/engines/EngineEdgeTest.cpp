// Edge cases of the software engines: depth 16, the solid and gradient line paths, coincident
// ends on the tapered capsule, and empty record arrays on a world that already holds pixels.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <vector>

#include "engines/AGGEngine.h"
#include "engines/Feeding.h"
#include "engines/KDLRender.h"
#include "host/RenderPayloads.h"

namespace tv {
namespace {

// Runs the tiles serially and counts the iterations.
struct CountingHost : HostServices {
    int iterations = 0;
    PF_Err iterate(int32_t count, const std::function<PF_Err(int32_t)>& fn) override {
        ++iterations;
        for (int32_t i = 0; i < count; ++i)
            if (const PF_Err e = fn(i)) return e;
        return PF_Err_NONE;
    }
    void diagnostic(const std::string&) override {}
};

struct World {
    std::vector<uint8_t> bytes;
    PF_EffectWorld w;
    World(int width, int height, int depth, uint8_t fill = 0) {
        const int px = depth == 32 ? 16 : depth == 16 ? 8 : 4;
        bytes.assign(size_t(width * height * px), fill);
        w.width = width;
        w.height = height;
        w.rowbytes = width * px;
        w.format = depth == 32   ? PF_PixelFormat_ARGB128
                   : depth == 16 ? PF_PixelFormat_ARGB64
                                 : PF_PixelFormat_ARGB32;
        w.data = bytes.data();
    }
    PF_Pixel8 at8(int x, int y) const {
        return reinterpret_cast<const PF_Pixel8*>(bytes.data())[y * w.width + x];
    }
};

// x in -1..1 spans the viewport's width, y in -1..1 its height; sizes scale alike.
void Unit(TV_Base_Render& e, double width, double height) {
    const double scale[3] = {1, 1, 1};
    const double viewport[4] = {0, 0, width, height};
    const float id[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    const double dir[3] = {0, 0, 1};
    e.setRenderParams(scale, viewport, id, id, dir);
}

DrawLine Horizontal(double x0, double x1, double y, float size, const float color[4]) {
    DrawLine l;
    l.start[0] = x0, l.start[1] = y;
    l.end[0] = x1, l.end[1] = y;
    l.startSize = l.endSize = size;
    std::copy(color, color + 4, l.startColor);
    std::copy(color, color + 4, l.endColor);
    return l;
}

TEST(EngineEdges, LinesAtDepthSixteenWriteNothing) {
    const float red[4] = {1, 0, 0, 1};
    const DrawLine pixels = Horizontal(4, 28, 8, 3, red);
    DrawLine unit = Horizontal(-0.5, 0.5, 0, 0.1f, red);

    World w16(32, 16, 16, 0x3C);
    const std::vector<uint8_t> before = w16.bytes;
    CountingHost host;
    AGGEngine agg(&host, &w16.w, 16);
    Unit(agg, 32, 16);
    for (bool perspective : {true, false}) {
        agg.perspectiveSizes = perspective;
        agg.drawLinesInTile({pixels}, ScanTile{0, 0, 32, 16});
        std::vector<DrawLine> lines{unit};
        EXPECT_EQ(agg.drawLines(lines), 0);
    }
    DrawTriangle t;
    t.corners[1][0] = 20, t.corners[2][1] = 12;
    for (auto& c : t.colors) c[0] = 1, c[3] = 1;
    agg.drawTrianglesInTile({t}, ScanTile{0, 0, 32, 16});
    KDLRender kdl(&host, &w16.w, 16);
    Unit(kdl, 32, 16);
    kdl.drawLineInTile(pixels, ScanTile{0, 0, 32, 16});
    std::vector<DrawLine> lines{unit};
    EXPECT_EQ(kdl.drawLines(lines), 0);
    EXPECT_EQ(w16.bytes, before);

    // The same calls at depth 8 do draw.
    World w8(32, 16, 8);
    AGGEngine agg8(&host, &w8.w, 8);
    Unit(agg8, 32, 16);
    std::vector<DrawLine> again{unit};
    ASSERT_EQ(agg8.drawLines(again), 0);
    EXPECT_EQ(w8.at8(16, 8).alpha, 255);
    World k8(32, 16, 8);
    KDLRender kdl8(nullptr, &k8.w, 8);
    kdl8.drawLineInTile(pixels, ScanTile{0, 0, 32, 16});
    EXPECT_EQ(k8.at8(16, 8).alpha, 255);
}

TEST(EngineEdges, SolidLineMatchesAGradientOfEqualColoursInItsInterior) {
    const float color[4] = {0.4f, 0.7f, 0.2f, 0.8f};
    for (bool perspective : {true, false}) {
        World solid(64, 32, 8), gradient(64, 32, 8);
        AGGEngine a(nullptr, &solid.w, 8), b(nullptr, &gradient.w, 8);
        a.perspectiveSizes = b.perspectiveSizes = perspective;
        const DrawLine s = Horizontal(10, 54, 16, 5, color);
        DrawLine g = s;
        // One step of float away: the ends no longer compare equal, so the gradient path runs,
        // but every entry of its table is the same colour.
        g.endColor[0] = std::nextafter(color[0], 1.0f);
        ASSERT_FALSE(std::equal(g.startColor, g.startColor + 4, g.endColor));
        a.drawLinesInTile({s}, ScanTile{0, 0, 64, 32});
        b.drawLinesInTile({g}, ScanTile{0, 0, 64, 32});
        // Interior: at least two pixels inside the edge and away from the caps.
        for (int y = 13; y <= 18; ++y)
            for (int x = 16; x <= 48; ++x) {
                const PF_Pixel8 p = solid.at8(x, y), q = gradient.at8(x, y);
                ASSERT_EQ(p.alpha, uint8_t(0.8f * 255.0f + 0.5f)) << x << "," << y;
                EXPECT_EQ(p.alpha, q.alpha) << x << "," << y;
                EXPECT_EQ(p.red, q.red) << x << "," << y;
                EXPECT_EQ(p.green, q.green) << x << "," << y;
                EXPECT_EQ(p.blue, q.blue) << x << "," << y;
            }
    }
}

TEST(EngineEdges, CoincidentEndsOnTheTaperedCapsuleStillDrawADisc) {
    World world(16, 16, 8);
    AGGEngine e(nullptr, &world.w, 8);
    ASSERT_TRUE(e.perspectiveSizes);  // the capsule route
    const float red[4] = {1, 0, 0, 1};
    DrawLine l = Horizontal(8, 8, 8, 3, red);
    e.drawLinesInTile({l}, ScanTile{0, 0, 16, 16});
    // Pixels whose squares lie inside the radius all round are full.
    for (auto [x, y] : {std::pair{8, 8}, {9, 8}, {6, 8}, {8, 6}, {8, 9}, {7, 7}})
        EXPECT_EQ(world.at8(x, y).alpha, 255) << x << "," << y;
    // Pixels wholly beyond it on every side are empty.
    for (auto [x, y] : {std::pair{12, 8}, {3, 8}, {8, 12}, {8, 3}, {0, 0}})
        EXPECT_EQ(world.at8(x, y).alpha, 0) << x << "," << y;
    int written = 0;
    for (int y = 0; y < 16; ++y)
        for (int x = 0; x < 16; ++x) written += world.at8(x, y).alpha != 0;
    EXPECT_GE(written, 24);  // about pi * 3 * 3 = 28 pixels, with the partial edge
    EXPECT_LE(written, 40);
}

TEST(EngineEdges, EmptyRecordArraysLeaveAFilledWorldAsItIs) {
    for (int depth : {8, 32}) {
        World world(20, 12, depth, 0xA5);
        const std::vector<uint8_t> before = world.bytes;
        CountingHost host;
        KDLRender kdl(&host, &world.w, depth);
        AGGEngine agg(&host, &world.w, depth);
        Unit(kdl, 20, 12);
        Unit(agg, 20, 12);
        std::vector<DrawPoint> points;
        std::vector<DrawLine> lines;
        std::vector<DrawTriangle> triangles;
        std::vector<DrawSprite> sprites;
        std::vector<BeamPath> beams;
        for (TV_Base_Render* e :
             {static_cast<TV_Base_Render*>(&kdl), static_cast<TV_Base_Render*>(&agg)}) {
            EXPECT_EQ(e->drawPoints(points), 0);
            EXPECT_EQ(e->drawLines(lines), 0);
            EXPECT_EQ(e->drawTriangles(triangles), 0);
            EXPECT_EQ(e->drawSprites(sprites), 0);
            EXPECT_EQ(e->drawBeams(beams), 0);
        }
        // Items of every kind that list nothing, fed over an empty store.
        GeometryStore store;
        const UsageMasks masks = BuildUsageMasks({}, 0);
        for (uint32_t kind : {kRenderPoints, kRenderLines, kRenderTriangles, kRenderBeams}) {
            RenderItem item;
            item.kind = kind;
            EXPECT_EQ(FeedItem(kdl, agg, agg, item, store, masks), 0) << kind;
        }
        EXPECT_EQ(host.iterations, 0) << depth;
        EXPECT_EQ(world.bytes, before) << depth;
    }
}

}  // namespace
}  // namespace tv
