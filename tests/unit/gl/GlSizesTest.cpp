// Sizes on the unified engine: a point's radius, a line's half width and a sprite's half sizes
// are offsets added in view space as they are, so a record is drawn the same size whether its
// renderer is perspective aware or not.
#include <gtest/gtest.h>

#include <vector>

#include "tests/support/GlTestFrame.h"

namespace tv {
namespace {

using gltest::Draw;
using gltest::Globals;

// The camera sees 200 world units across 32 pixels: a radius of 10 units covers 1.6 pixels
// (about 8 pixels lit), where 10 pixels would light about 300.
TEST(GlSizes, APointsRadiusIsAViewSpaceOffsetWhateverTheSwitch) {
    ASSERT_NE(Globals(), nullptr);
    auto feed = [](TVGLEngine& e) {
        DrawPoint p;
        p.size = 10;
        p.color[0] = p.color[1] = p.color[2] = p.color[3] = 1;
        std::vector<DrawPoint> points{p};
        e.drawPoints(points);
    };
    const int32_t aware = Draw(1, false, feed, true).lit;
    EXPECT_GT(aware, 2);
    EXPECT_LT(aware, 20);
    EXPECT_EQ(Draw(1, false, feed, false).lit, aware);
}

TEST(GlSizes, ALinesHalfWidthIsAViewSpaceOffsetWhateverTheSwitch) {
    ASSERT_NE(Globals(), nullptr);
    auto feed = [](TVGLEngine& e) {
        DrawLine l;
        l.start[0] = -60, l.end[0] = 60;
        l.startSize = l.endSize = 10;
        for (int c = 0; c < 4; ++c) l.startColor[c] = l.endColor[c] = 1;
        std::vector<DrawLine> lines{l};
        e.drawLines(lines);
    };
    // 120 units long and 20 wide: about 19 x 3 pixels with the caps.
    const int32_t aware = Draw(1, false, feed, true).lit;
    EXPECT_GT(aware, 30);
    EXPECT_LT(aware, 110);
    EXPECT_EQ(Draw(1, false, feed, false).lit, aware);
}

}  // namespace
}  // namespace tv
