// The capsule rasteriser against the stroked AGG path it replaced: the same pixels within a
// stated tolerance, over many random lines, in tiles, and on lines that must not hang.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <vector>

#include "engines/AGGEngine.h"
#include "engines/BlendPixel.h"
#include "engines/CapsuleLines.h"

namespace tv {
namespace {

// Tolerance, in 8-bit levels per channel: AGG snaps vertices to 1/256 pixel and rounds its
// area in integers, we keep floats; on the same outline that differs by a level or two.
constexpr int kMaxLevels = 3;
constexpr double kMeanLevels = 0.05;  // over every pixel of every drawing

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
    const float* floats() const { return reinterpret_cast<const float*>(bytes.data()); }
};

struct Diff {
    int max = 0;
    double sum = 0;
    size_t count = 0;
    void add(const World& a, const World& b) {
        for (size_t i = 0; i < a.bytes.size(); ++i) {
            const int d = std::abs(int(a.bytes[i]) - int(b.bytes[i]));
            max = std::max(max, d);
            sum += d;
        }
        count += a.bytes.size();
    }
    double mean() const { return count ? sum / double(count) : 0; }
};

void DrawOurs(World& world, int depth, bool perspective, const std::vector<DrawLine>& lines,
              const ScanTile& tile) {
    AGGEngine e(nullptr, &world.w, depth);
    e.perspectiveSizes = perspective;
    e.drawLinesInTile(lines, tile);
}

int Ink(const World& w) {
    int n = 0;
    for (uint8_t b : w.bytes) n += b != 0;
    return n;
}

DrawLine RandomLine(std::mt19937& rng, int size, double minR, double maxR, bool gradient) {
    std::uniform_real_distribution<double> pos(-8, size + 8), len(0, 40), ang(0, 6.2831853),
        rad(minR, maxR);
    std::uniform_real_distribution<float> unit(0, 1);
    DrawLine l;
    l.start[0] = pos(rng), l.start[1] = pos(rng);
    const double a = ang(rng), d = len(rng);
    l.end[0] = l.start[0] + std::cos(a) * d, l.end[1] = l.start[1] + std::sin(a) * d;
    l.startSize = float(rad(rng)), l.endSize = float(rad(rng));
    for (int k = 0; k < 4; ++k) l.startColor[k] = l.endColor[k] = k == 3 ? 1.0f : unit(rng);
    if (gradient)
        for (int k = 0; k < 4; ++k) l.endColor[k] = k == 3 ? 0.3f + 0.7f * unit(rng) : unit(rng);
    return l;
}

// Each line alone in an empty world, drawn by both, every channel compared.
Diff CompareRandom(uint32_t seed, int count, double minR, double maxR, bool perspective,
                   bool gradient) {
    std::mt19937 rng(seed);
    Diff diff;
    const int size = 48;
    for (int i = 0; i < count; ++i) {
        const DrawLine l = RandomLine(rng, size, minR, maxR, gradient);
        World ours(size, size, 8), agg(size, size, 8);
        DrawOurs(ours, 8, perspective, {l}, ScanTile{0, 0, size, size});
        StrokeLinesInTileWithAgg(agg.w, 8, perspective, {l}, ScanTile{0, 0, size, size});
        diff.add(ours, agg);
    }
    return diff;
}

TEST(CapsuleRaster, MatchesTheStrokedPathOnRandomTaperedLines) {
    const Diff d = CompareRandom(1, 400, 0.5, 12, true, false);
    EXPECT_LE(d.max, kMaxLevels);
    EXPECT_LE(d.mean(), kMeanLevels);
}

TEST(CapsuleRaster, MatchesTheStrokedPathOnRandomEvenLines) {
    const Diff d = CompareRandom(2, 400, 0.5, 12, false, false);
    EXPECT_LE(d.max, kMaxLevels);
    EXPECT_LE(d.mean(), kMeanLevels);
}

TEST(CapsuleRaster, MatchesTheStrokedPathOnSubPixelWidths) {
    for (const bool perspective : {true, false}) {
        const Diff d = CompareRandom(3, 400, 0.05, 0.5, perspective, false);
        EXPECT_LE(d.max, kMaxLevels) << perspective;
        EXPECT_LE(d.mean(), kMeanLevels) << perspective;
    }
}

TEST(CapsuleRaster, MatchesTheStrokedPathOnGradients) {
    for (const bool perspective : {true, false}) {
        const Diff d = CompareRandom(4, 300, 0.3, 8, perspective, true);
        EXPECT_LE(d.max, kMaxLevels) << perspective;
        EXPECT_LE(d.mean(), kMeanLevels) << perspective;
    }
}

TEST(CapsuleRaster, ZeroLengthLinesAreDiscsLikeTheStrokedPath) {
    std::mt19937 rng(5);
    std::uniform_real_distribution<double> pos(4, 28), rad(0.05, 6);
    Diff diff;
    int inked = 0;
    for (int i = 0; i < 200; ++i) {
        DrawLine l;
        l.start[0] = l.end[0] = pos(rng), l.start[1] = l.end[1] = pos(rng);
        l.startSize = l.endSize = float(rad(rng));
        for (float& c : l.startColor) c = 1;
        for (float& c : l.endColor) c = 1;
        for (const bool perspective : {true, false}) {
            World ours(32, 32, 8), agg(32, 32, 8);
            DrawOurs(ours, 8, perspective, {l}, ScanTile{0, 0, 32, 32});
            StrokeLinesInTileWithAgg(agg.w, 8, perspective, {l}, ScanTile{0, 0, 32, 32});
            diff.add(ours, agg);
            inked += Ink(ours) > 0;
        }
    }
    EXPECT_LE(diff.max, kMaxLevels);
    EXPECT_LE(diff.mean(), kMeanLevels);
    EXPECT_GT(inked, 300);  // nearly all of them leave a mark
}

// Many overlapping lines drawn into 5 x 5 tiles by us, into one tile by the stroked path: the
// seams between tiles must not show.
TEST(CapsuleRaster, LinesCrossingTileEdgesMatchOneWholeTile) {
    std::mt19937 rng(6);
    std::vector<DrawLine> lines;
    for (int i = 0; i < 300; ++i) lines.push_back(RandomLine(rng, 100, 0.2, 5, i % 2 == 0));
    for (DrawLine& l : lines) l.startColor[3] = l.endColor[3] = 0.5f;  // overlaps blend
    World ours(100, 100, 8), agg(100, 100, 8);
    for (int ty = 0; ty < 5; ++ty)
        for (int tx = 0; tx < 5; ++tx)
            DrawOurs(ours, 8, true, lines, ScanTile{tx * 20, ty * 20, tx * 20 + 20, ty * 20 + 20});
    StrokeLinesInTileWithAgg(agg.w, 8, true, lines, ScanTile{0, 0, 100, 100});
    Diff d;
    d.add(ours, agg);
    // 300 lines blended over each other add up their roundings; still a few levels at most.
    EXPECT_LE(d.max, 2 * kMaxLevels);
    EXPECT_LE(d.mean(), 2 * kMeanLevels);
    EXPECT_GT(Ink(ours), 20000);
}

TEST(CapsuleRaster, FloatWorldsMatchTheStrokedPath) {
    std::mt19937 rng(7);
    double worst = 0;
    for (int i = 0; i < 200; ++i) {
        const DrawLine l = RandomLine(rng, 40, 0.1, 8, i % 2 == 1);
        World ours(40, 40, 32), agg(40, 40, 32);
        DrawOurs(ours, 32, true, {l}, ScanTile{0, 0, 40, 40});
        StrokeLinesInTileWithAgg(agg.w, 32, true, {l}, ScanTile{0, 0, 40, 40});
        for (size_t k = 0; k < size_t(40 * 40 * 4); ++k)
            worst = std::max(worst, double(std::fabs(ours.floats()[k] - agg.floats()[k])));
    }
    EXPECT_LE(worst, kMaxLevels / 255.0);
}

TEST(CapsuleRaster, NotFiniteLinesDrawNothing) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    for (const double bad : {nan, inf, -inf}) {
        for (int k = 0; k < 4; ++k) {
            DrawLine l;
            l.start[0] = 10, l.start[1] = 10, l.end[0] = 20, l.end[1] = 12;
            (k < 2 ? l.start : l.end)[k % 2] = bad;
            l.startSize = l.endSize = 2;
            for (float& c : l.startColor) c = 1;
            for (float& c : l.endColor) c = 1;
            World ours(32, 32, 8);
            DrawOurs(ours, 8, true, {l}, ScanTile{0, 0, 32, 32});
            EXPECT_EQ(Ink(ours), 0) << bad << " at " << k;
        }
    }
}

// Ends a billion billion pixels away: the part in the tile is the same band a short line
// across it draws, and the call returns.
TEST(CapsuleRaster, HugeCoordinatesDrawTheirBandInTheTile) {
    for (const double far : {1e6, 1e12, 1e18, 1e300}) {
        DrawLine l;
        l.start[0] = -far, l.start[1] = 15.3;
        l.end[0] = far, l.end[1] = 15.3;
        l.startSize = l.endSize = 2;
        for (float& c : l.startColor) c = 1;
        for (float& c : l.endColor) c = 1;
        DrawLine near = l;
        near.start[0] = -100, near.end[0] = 100;
        World ours(32, 32, 8), reference(32, 32, 8);
        DrawOurs(ours, 8, false, {l}, ScanTile{0, 0, 32, 32});
        DrawOurs(reference, 8, false, {near}, ScanTile{0, 0, 32, 32});
        Diff d;
        d.add(ours, reference);
        EXPECT_LE(d.max, 1) << far;
        EXPECT_GT(Ink(ours), 32 * 4) << far;
    }
}

TEST(CapsuleRaster, HugeRadiiStopAtABoundedOutline) {
    EXPECT_EQ(CapsuleArcSteps(1e30), 1024);
    EXPECT_EQ(CapsuleArcSteps(std::numeric_limits<double>::max()), 1024);
    EXPECT_LT(CapsuleArcSteps(100), 1024);
    DrawLine l;
    l.start[0] = 5, l.start[1] = 5, l.end[0] = 6, l.end[1] = 6;
    l.startSize = l.endSize = 1e30f;
    for (float& c : l.startColor) c = 1;
    for (float& c : l.endColor) c = 1;
    World ours(16, 16, 8);
    DrawOurs(ours, 8, true, {l}, ScanTile{0, 0, 16, 16});
    EXPECT_EQ(Ink(ours), 16 * 16 * 4);  // the tile lies deep inside it
}

TEST(CapsuleRaster, CachedArcStepsAreCapsuleArcSteps) {
    std::mt19937 rng(8);
    std::uniform_real_distribution<float> small(0, 4), large(0, 3000);
    ArcStepCache cache;
    for (int i = 0; i < 20000; ++i) {
        // Few distinct radii, so entries are hit, missed and replaced.
        const double r = i % 3 == 0 ? double(large(rng)) : double(int(small(rng) * 8)) / 8;
        ASSERT_EQ(cache.steps(r), CapsuleArcSteps(r)) << r;
    }
    EXPECT_EQ(cache.steps(-1), CapsuleArcSteps(-1));
    EXPECT_EQ(cache.steps(std::numeric_limits<double>::quiet_NaN()), 1);
}

TEST(CapsuleRaster, FourChannelBlendGivesBlendPixel8sBytes) {
    const uint8_t dsts[] = {0, 1, 77, 128, 200, 254, 255};
    for (int a = 0; a < 256; ++a) {
        for (const int c : {0, a / 3, a / 2, a}) {
            const PF_Pixel8 src{uint8_t(a), uint8_t(c), uint8_t(a - c), uint8_t(a / 5)};
            for (int cover = 0; cover < 256; ++cover) {
                for (const uint8_t d : dsts) {
                    PF_Pixel8 want{d, uint8_t(255 - d), uint8_t(d / 2), 255};
                    PF_Pixel8 got = want;
                    BlendPixel8(want, src, cover);
                    BlendPremultipliedPixel8(got, src, cover);
                    ASSERT_EQ(std::memcmp(&want, &got, 4), 0)
                        << "alpha " << a << " colour " << c << " cover " << cover << " dst "
                        << int(d);
                }
            }
        }
    }
}

}  // namespace
}  // namespace tv
