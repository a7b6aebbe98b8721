#include <gtest/gtest.h>

#include <cmath>
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
        w.width = width;
        w.height = height;
        w.rowbytes = width * px;
        w.format = depth == 32 ? PF_PixelFormat_ARGB128 : PF_PixelFormat_ARGB32;
        w.data = bytes.data();
    }
    PF_Pixel8 at8(int x, int y) const {
        return reinterpret_cast<const PF_Pixel8*>(bytes.data())[y * w.width + x];
    }
    PF_PixelFloat atF(int x, int y) const {
        return reinterpret_cast<const PF_PixelFloat*>(bytes.data())[y * w.width + x];
    }
};

DrawLine Horizontal(double x0, double x1, double y, float size) {
    DrawLine l;
    l.start[0] = x0, l.start[1] = y;
    l.end[0] = x1, l.end[1] = y;
    l.startSize = l.endSize = size;
    return l;
}

TEST(AGGEngineLines, GradientRunsFromStartColourToEndColour) {
    World world(128, 16, 8);
    AGGEngine e(nullptr, &world.w, 8);
    DrawLine l = Horizontal(10, 110, 8, 3);
    l.startColor[0] = 1, l.startColor[3] = 1;  // red
    l.endColor[2] = 1, l.endColor[3] = 1;      // blue
    e.drawLinesInTile({l}, ScanTile{0, 0, 128, 16});
    const PF_Pixel8 nearStart = world.at8(12, 8), nearEnd = world.at8(108, 8),
                    middle = world.at8(60, 8);
    EXPECT_EQ(nearStart.alpha, 255);
    EXPECT_GT(nearStart.red, 240);
    EXPECT_LT(nearStart.blue, 15);
    EXPECT_GT(nearEnd.blue, 240);
    EXPECT_LT(nearEnd.red, 15);
    // Half way along, the table's entry 127 or 128 of 255.
    EXPECT_NEAR(middle.red, 128, 3);
    EXPECT_NEAR(middle.blue, 127, 3);
}

TEST(AGGEngineLines, EightBitPremultipliesAtWriteTime) {
    World world(32, 16, 8);
    AGGEngine e(nullptr, &world.w, 8);
    DrawLine l = Horizontal(4, 28, 8, 4);
    for (float* c : {l.startColor, l.endColor}) c[0] = 1, c[1] = 0.5f, c[3] = 0.5f;
    e.drawLinesInTile({l}, ScanTile{0, 0, 32, 16});
    // Bytes 255, 128, alpha 128: (255 * 128 + 255) >> 8 = 128, (128 * 128 + 255) >> 8 = 64.
    const PF_Pixel8 p = world.at8(16, 8);
    EXPECT_EQ(p.alpha, 128);
    EXPECT_EQ(p.red, 128);
    EXPECT_EQ(p.green, 64);
}

TEST(AGGEngineLines, FloatWorldGetsPremultipliedFloats) {
    World world(32, 16, 32);
    AGGEngine e(nullptr, &world.w, 32);
    DrawLine l = Horizontal(4, 28, 8, 4);
    for (float* c : {l.startColor, l.endColor}) c[0] = 1, c[1] = 0.5f, c[3] = 0.5f;
    e.drawLinesInTile({l}, ScanTile{0, 0, 32, 16});
    const PF_PixelFloat p = world.atF(16, 8);
    EXPECT_FLOAT_EQ(p.alpha, 0.5f);
    EXPECT_FLOAT_EQ(p.red, 0.5f);
    EXPECT_FLOAT_EQ(p.green, 0.25f);
}

TEST(AGGEngineLines, StrokeRouteDrawsRoundCapsOfTheGivenWidth) {
    World world(64, 32, 8);
    AGGEngine e(nullptr, &world.w, 8);
    e.perspectiveSizes = false;
    DrawLine l = Horizontal(20, 40, 16, 5);
    for (float* c : {l.startColor, l.endColor}) c[1] = 1, c[3] = 1;
    e.drawLinesInTile({l}, ScanTile{0, 0, 64, 32});
    EXPECT_EQ(world.at8(30, 16).alpha, 255);
    EXPECT_EQ(world.at8(30, 12).alpha, 255);  // inside the half width of 5
    EXPECT_EQ(world.at8(30, 23).alpha, 0);    // outside
    EXPECT_EQ(world.at8(16, 16).alpha, 255);  // the round cap reaches 5 past the start
    EXPECT_EQ(world.at8(13, 16).alpha, 0);
    // Coincident ends still draw: a disc from the round caps.
    World dot(32, 32, 8);
    AGGEngine d(nullptr, &dot.w, 8);
    d.perspectiveSizes = false;
    DrawLine p = Horizontal(16, 16, 16, 4);
    for (float* c : {p.startColor, p.endColor}) c[1] = 1, c[3] = 1;
    d.drawLinesInTile({p}, ScanTile{0, 0, 32, 32});
    EXPECT_EQ(dot.at8(16, 16).alpha, 255);
    EXPECT_EQ(dot.at8(16, 13).alpha, 255);
    EXPECT_EQ(dot.at8(16, 22).alpha, 0);
}

TEST(AGGEngineLines, TaperedCapsuleFollowsBothRadii) {
    World world(128, 64, 8);
    AGGEngine e(nullptr, &world.w, 8);
    DrawLine l = Horizontal(20, 100, 32, 2);
    l.endSize = 12;
    for (float* c : {l.startColor, l.endColor}) c[0] = 1, c[3] = 1;
    e.drawLinesInTile({l}, ScanTile{0, 0, 128, 64});
    EXPECT_EQ(world.at8(22, 36).alpha, 0);     // 4 off the axis near the thin end
    EXPECT_EQ(world.at8(98, 40).alpha, 255);   // 8 off the axis near the thick end
    EXPECT_EQ(world.at8(110, 32).alpha, 255);  // the thick end's cap, 10 past the end
    EXPECT_EQ(world.at8(16, 32).alpha, 0);     // the thin cap ends 2 before the start
}

TEST(AGGEngineLines, TilesWriteOnlyTheirOwnPixels) {
    World world(40, 40, 8);
    AGGEngine e(nullptr, &world.w, 8);
    DrawLine l = Horizontal(0, 40, 20, 6);
    for (float* c : {l.startColor, l.endColor}) c[0] = 1, c[3] = 1;
    e.drawLinesInTile({l}, ScanTile{0, 0, 20, 40});
    EXPECT_EQ(world.at8(19, 20).alpha, 255);
    EXPECT_EQ(world.at8(20, 20).alpha, 0);
    // Half-covered pixels stay once-blended when a second tile draws its part.
    World once(40, 40, 8);
    AGGEngine whole(nullptr, &once.w, 8);
    whole.drawLinesInTile({l}, ScanTile{0, 0, 40, 40});
    e.drawLinesInTile({l}, ScanTile{20, 0, 40, 40});
    EXPECT_EQ(world.bytes, once.bytes);
}

TEST(AGGEngineTriangles, DilationFormula) {
    EXPECT_EQ(TriangleDilation(1.0), 0.25);  // 1 / 3.2 is clamped
    EXPECT_NEAR(TriangleDilation(0.5), std::exp(-2.0) / (0.7000000000000002 * 0.5 + 2.5), 1e-15);
    EXPECT_NEAR(TriangleDilation(0.0), std::exp(-4.0) / 2.5, 1e-15);
}

}  // namespace
}  // namespace tv
