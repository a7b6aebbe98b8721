#include <gtest/gtest.h>

#include <vector>

#include "engines/AGGEngine.h"
#include "engines/KDLRender.h"

namespace tv {
namespace {

struct World {
    std::vector<uint8_t> bytes;
    PF_EffectWorld w;
    World(int width, int height, int depth) {
        const int px = depth == 32 ? 16 : 4;
        bytes.assign(size_t(width * height * px), 0);
        w = PF_EffectWorld{
            width,        height,
            width * px,   depth == 32 ? PF_PixelFormat_ARGB128 : PF_PixelFormat_ARGB32,
            bytes.data(), {}};
        if (depth == 16) w.format = PF_PixelFormat_ARGB64;
    }
    PF_Pixel8 at8(int x, int y) const {
        return reinterpret_cast<const PF_Pixel8*>(bytes.data())[y * w.width + x];
    }
    int written() const {
        int n = 0;
        for (uint8_t b : bytes) n += b != 0;
        return n;
    }
};

// An engine with identity matrices; the tests draw already projected records into tiles.
template <class Engine>
Engine Flat(World& world, int depth) {
    Engine e(nullptr, &world.w, depth);
    const double scale[3] = {1, 1, 1};
    const double viewport[4] = {0, 0, double(world.w.width), double(world.w.height)};
    const float id[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    const double dir[3] = {0, 0, 1};
    e.setRenderParams(scale, viewport, id, id, dir);
    return e;
}

DrawPoint PointAt(double x, double y, float size, float alpha = 1) {
    DrawPoint p;
    p.x = x, p.y = y;
    p.color[0] = 1, p.color[3] = alpha;
    p.size = size;
    return p;
}

TEST(BlendPixel, EightBitByHand) {
    PF_Pixel8 dst{255, 0, 0, 255};            // opaque blue
    BlendPixel8(dst, {128, 128, 0, 0}, 255);  // half red, premultiplied
    // m = 127: blue (255 * 127) >> 8 = 126; red 0 + 128; alpha (255*127 >> 8) + 128 = 254.
    EXPECT_EQ(dst.blue, 126);
    EXPECT_EQ(dst.red, 128);
    EXPECT_EQ(dst.alpha, 254);
    PF_Pixel8 d2{0, 0, 0, 0};
    BlendPixel8(d2, {255, 255, 255, 255}, 128);
    // coverage 128: (255*128 + 1 + (255*128 >> 8)) >> 8 = (32640 + 1 + 127) >> 8 = 128
    EXPECT_EQ(d2.alpha, 128);
    PF_Pixel8 d3{10, 20, 30, 40};
    BlendPixel8(d3, {255, 1, 2, 3}, 255);  // alpha above 254 overwrites
    EXPECT_EQ(d3.red, 1);
    BlendPixel8(d3, {0, 9, 9, 9}, 255);  // alpha 0: nothing
    EXPECT_EQ(d3.red, 1);
}

TEST(BlendPixel, FloatByHand) {
    PF_PixelFloat dst{1, 0, 0, 1};
    BlendPixelFloat(dst, {0.5f, 0.5f, 0, 0}, 255);
    EXPECT_FLOAT_EQ(dst.alpha, 1.0f);
    EXPECT_FLOAT_EQ(dst.red, 0.5f);
    EXPECT_FLOAT_EQ(dst.blue, 0.5f);
    PF_PixelFloat d2{0.2f, 0.2f, 0.2f, 0.2f};
    BlendPixelFloat(d2, {1, 2, 3, 4}, 255);  // alpha exactly 1 overwrites, no clamping
    EXPECT_FLOAT_EQ(d2.blue, 4.0f);
}

TEST(KDLRender, SizeZeroPointOnAPixelWritesThatPixelOnly) {
    World world(8, 8, 8);
    KDLRender e = Flat<KDLRender>(world, 8);
    const ScanTile all{0, 0, 8, 8};
    e.drawPointInTile(PointAt(3, 4, 0), all);
    EXPECT_EQ(world.at8(3, 4).alpha, 255);
    EXPECT_EQ(world.written(), 2);  // alpha and red of one pixel
    World other(8, 8, 8);
    KDLRender e2 = Flat<KDLRender>(other, 8);
    e2.drawPointInTile(PointAt(3.5, 4, 0), all);
    EXPECT_EQ(other.written(), 0);
}

TEST(KDLRender, RadiusHalfWritesEveryPixelInReachAtFullCoverage) {
    World world(8, 8, 8);
    KDLRender e = Flat<KDLRender>(world, 8);
    e.drawPointInTile(PointAt(3.25, 4, 0.5f), ScanTile{0, 0, 8, 8});
    EXPECT_EQ(world.at8(3, 4).alpha, 255);
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x) {
            const uint8_t a = world.at8(x, y).alpha;
            EXPECT_TRUE(a == 0 || a == 255);
        }
}

TEST(KDLRender, DepthSixteenAndAlphaZeroWriteNothing) {
    World w16(8, 8, 16);
    KDLRender e = Flat<KDLRender>(w16, 16);
    e.drawPointInTile(PointAt(3, 3, 2), ScanTile{0, 0, 8, 8});
    EXPECT_EQ(w16.written(), 0);
    World w8(8, 8, 8);
    KDLRender e8 = Flat<KDLRender>(w8, 8);
    e8.drawPointInTile(PointAt(3, 3, 2, 0), ScanTile{0, 0, 8, 8});
    EXPECT_EQ(w8.written(), 0);
}

TEST(KDLRender, EmptyArrayReturnsAtOnce) {
    World world(4, 4, 8);
    KDLRender e(nullptr, &world.w, 8);
    std::vector<DrawPoint> none;
    EXPECT_EQ(e.drawPoints(none), 0);
}

TEST(Tiles, WidthThreeWorld) {
    World world(3, 10, 8);
    std::vector<ScanTile> tiles;
    SplitIntoTiles(world.w, 5, tiles);
    ASSERT_EQ(tiles.size(), 25u);
    for (int col = 0; col < 4; ++col)
        EXPECT_EQ(tiles[size_t(col)].right - tiles[size_t(col)].left, 0);
    EXPECT_EQ(tiles[4].left, 0);
    EXPECT_EQ(tiles[4].right, 3);
    EXPECT_EQ(tiles[24].bottom, 10);
    PF_EffectWorld none{};
    tiles.clear();
    SplitIntoTiles(none, 5, tiles);
    EXPECT_TRUE(tiles.empty());
}

TEST(DepthSort, FarFirst) {
    std::vector<DrawPoint> p(3);
    p[0].z = 1, p[1].z = 5, p[2].z = 3;
    const double dir[3] = {0, 0, 1};
    DepthSort(p, dir);
    EXPECT_EQ(p[0].z, 5);
    EXPECT_EQ(p[2].z, 1);
}

TEST(AGGEngine, CoincidentEndsStillDrawADisc) {
    World world(16, 16, 8);
    AGGEngine e = Flat<AGGEngine>(world, 8);
    e.perspectiveSizes = false;
    DrawLine l;
    l.start[0] = l.end[0] = 8;
    l.start[1] = l.end[1] = 8;
    for (float* c : {l.startColor, l.endColor}) c[0] = 1, c[3] = 1;
    l.startSize = l.endSize = 3;
    e.drawLinesInTile({l}, ScanTile{0, 0, 16, 16});
    EXPECT_EQ(world.at8(8, 8).alpha, 255);
    EXPECT_EQ(world.at8(0, 0).alpha, 0);
}

TEST(AGGEngine, ArcStepsKeepTheChordErrorSmall) {
    EXPECT_GE(CapsuleArcSteps(1.0), 1);
    EXPECT_GT(CapsuleArcSteps(100.0), CapsuleArcSteps(2.0));
}

}  // namespace
}  // namespace tv
