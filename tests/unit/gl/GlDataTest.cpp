// The GL path's CPU side, without a context: the two fixed textures, the sample budget and the
// sample cameras, and the beams' tubes.
#include <gtest/gtest.h>

#include <bit>
#include <cmath>

#include "engines/SampleCameras.h"
#include "engines/TubeBuilder.h"
#include "engines/gl/TextureData.h"

namespace tv {
namespace {

TEST(RandomMask, AlphaZeroNeverSurvivesAndAlphaOneAlwaysDoes) {
    std::mt19937 twister(5489u);
    const auto mask = gl::RandomMaskData(8, 2048, 256, twister);
    for (int32_t x = 0; x < 2048; ++x) {
        EXPECT_EQ(mask[size_t(x)], 0u) << x;                  // row 0: alpha 0
        EXPECT_EQ(mask[255 * 2048 + size_t(x)], 0xFFu) << x;  // row 255: alpha 1
    }
}

TEST(RandomMask, EachRowSetsItsShareOfBitsEvenlyOverPositions) {
    std::mt19937 twister(5489u);
    const auto mask = gl::RandomMaskData(8, 2048, 256, twister);
    for (int32_t row : {32, 64, 128, 200}) {
        double bits = 0;
        int32_t bit0 = 0;
        for (int32_t x = 0; x < 2048; ++x) {
            const uint8_t m = mask[size_t(row) * 2048 + size_t(x)];
            bits += std::popcount(unsigned(m));
            bit0 += m & 1;
        }
        const double alpha = row / 255.0;
        EXPECT_NEAR(bits / 2048, alpha * 8, 0.05) << row;
        // Bit 0 alone decides a pass: it is set in about `alpha` of the columns.
        EXPECT_NEAR(bit0 / 2048.0, alpha, 0.04) << row;
    }
}

TEST(CircleTexture, OpaqueInsideFadingAtTheRimClearOutside) {
    const int32_t size = 64;
    const auto px = gl::CircleTextureData(size);
    auto alpha = [&](int32_t x, int32_t y) { return px[(size_t(y) * size + size_t(x)) * 4 + 3]; };
    EXPECT_EQ(alpha(32, 32), 1.0f);
    EXPECT_EQ(alpha(0, 0), 0.0f);
    EXPECT_EQ(px[0], 1.0f);  // white everywhere
    // Half a pixel inside the rim on the axis: r = 32, d = 31.5, d^2 = 992.25, between
    // (r - 1)^2 = 961 and r^2 = 1024: (1024 - 992.25) / (1024 - 961).
    EXPECT_NEAR(alpha(63, 32), (1024 - (31.5 * 31.5 + 0.25)) / 63.0, 1e-6);
}

TEST(SampleBudget, TablesFloorsAndTimes) {
    EXPECT_EQ(SampleBudget(1, false, 1, false), 1);
    EXPECT_EQ(SampleBudget(1, false, 1, true), 16);  // quality 1, no motion blur, GPU: 16
    EXPECT_EQ(SampleBudget(4, true, 1, true), 256);
    EXPECT_EQ(SampleBudget(6, false, 1, true), 64);
    EXPECT_EQ(SampleBudget(2, false, 100, true), 100);  // at least one per time
    EXPECT_EQ(SampleBudget(8, false, 3, true), 128);
}

TEST(SampleBudget, A128SampleFrameOverThreeTimesRuns126Passes) {
    int32_t passes = 0;
    for (int32_t i = 0; i < 3; ++i) {
        const PassRange r = PassRangeOf(128, 3, i);
        EXPECT_EQ(r.start, 42 * i);
        passes += r.end - r.start;
    }
    EXPECT_EQ(passes, 126);
    // With no time samples there is no pass at all.
    EXPECT_EQ(PassRangeOf(16, 0, 0).end, 0);
}

TEST(SampleCameras, DiscPointsAreRepeatableAndInsideTheDisc) {
    const auto a = DiscPoints(64), b = DiscPoints(64);
    ASSERT_EQ(a.size(), 64u);
    EXPECT_EQ(a, b);
    double mx = 0, my = 0;
    for (const auto& p : a) {
        EXPECT_LE(std::hypot(p[0], p[1]), 1.0 + 1e-12);
        mx += p[0], my += p[1];
    }
    // Spread evenly: the mean stays near the centre.
    EXPECT_NEAR(mx / 64, 0, 0.1);
    EXPECT_NEAR(my / 64, 0, 0.1);
}

TEST(SampleCameras, NoOffsetsBelowTwoSamplesOrWithoutAccumulation) {
    for (const SampleOffsets& s :
         {MakeSampleOffsets(1, true, true, 5), MakeSampleOffsets(16, false, true, 5)})
        for (size_t i = 0; i < s.jitter.size(); ++i) {
            EXPECT_EQ(s.jitter[i][0], 0);
            EXPECT_EQ(s.lens[i][1], 0);
        }
    const SampleOffsets plain = MakeSampleOffsets(16, true, false, 5);
    for (const auto& l : plain.lens) EXPECT_EQ(l[0], 0);  // no depth of field: a still lens
    const SampleOffsets dof = MakeSampleOffsets(16, true, true, 5);
    double spread = 0;
    for (const auto& l : dof.lens) spread = std::max(spread, std::hypot(l[0], l[1]));
    EXPECT_GT(spread, 2.5);
    EXPECT_LE(spread, 5.0 + 1e-9);
}

// Column-major p' = M p.
std::array<double, 4> Apply(const float m[16], const std::array<double, 4>& p) {
    std::array<double, 4> r{};
    for (int row = 0; row < 4; ++row)
        for (int k = 0; k < 4; ++k) r[size_t(row)] += m[k * 4 + row] * p[size_t(k)];
    return r;
}

TEST(SampleCameras, TheFocusPlaneStaysSharpAndOtherDepthsMove) {
    const float identity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    // A projection with w = -z.
    const float proj[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, -1, -1, 0, 0, -0.2f, 0};
    float mv[16], p[16];
    SampleMatrices(identity, proj, {0, 0}, {0.1, -0.05}, 2.0, 100, 100, mv, p);
    auto screen = [&](double x, double y, double z) {
        const auto c = Apply(p, Apply(mv, {x, y, z, 1}));
        return std::array<double, 2>{c[0] / c[3], c[1] / c[3]};
    };
    const auto onPlane = screen(0.3, 0.2, -2.0);
    EXPECT_NEAR(onPlane[0], 0.3 / 2.0, 1e-6);
    EXPECT_NEAR(onPlane[1], 0.2 / 2.0, 1e-6);
    const auto far = screen(0.3, 0.2, -4.0);
    EXPECT_GT(std::abs(far[0] - 0.3 / 4.0), 1e-3);
    // The jitter moves every depth by the same share of a pixel: 0.5 px of 100 is 0.01 in NDC.
    SampleMatrices(identity, proj, {0.5, 0}, {0, 0}, 2.0, 100, 100, mv, p);
    EXPECT_NEAR(screen(0.3, 0.2, -4.0)[0] - 0.3 / 4.0, 0.01, 1e-6);
}

BeamPath Path(std::initializer_list<std::array<double, 3>> points) {
    BeamPath path;
    for (const auto& p : points) {
        path.positions.insert(path.positions.end(), p.begin(), p.end());
        path.colors.insert(path.colors.end(), {1, 0.5f, 0.25f, 1});
        path.radii.push_back(2);
    }
    return path;
}

TEST(TubeBuilder, FewerThanTwoPointsAddNothing) {
    TubeMesh mesh;
    BuildTube(Path({{0, 0, 0}}), {2}, mesh);
    EXPECT_TRUE(mesh.positions.empty());
    EXPECT_TRUE(mesh.indices.empty());
}

TEST(TubeBuilder, RingsOfTwentySidesAtTheRadiusAroundThePath) {
    TubeMesh mesh;
    BuildTube(Path({{0, 0, 0}, {10, 0, 0}, {10, 10, 0}}), {2, 3, 4}, mesh);
    ASSERT_EQ(mesh.positions.size(), 3u * 21 * 3);
    // Two strips of 42 indices, each closed by the restart index.
    ASSERT_EQ(mesh.indices.size(), 2u * 43);
    EXPECT_EQ(mesh.indices[42], kRestartIndex);
    // First ring: every vertex 2 from the start point, in the plane across the first segment.
    for (int i = 0; i < 21; ++i) {
        const float* v = &mesh.positions[size_t(i) * 3];
        EXPECT_NEAR(std::hypot(v[0], v[1], v[2]), 2.0, 1e-5);
        EXPECT_NEAR(v[0], 0.0, 1e-5);
    }
    // The ring closes on itself.
    EXPECT_NEAR(mesh.positions[0], mesh.positions[20 * 3], 1e-5);
    EXPECT_NEAR(mesh.positions[1], mesh.positions[20 * 3 + 1], 1e-5);
    // The last ring has the last radius around the last point.
    const float* last = &mesh.positions[size_t(2 * 21) * 3];
    EXPECT_NEAR(std::hypot(last[0] - 10, last[1] - 10, last[2]), 4.0, 1e-5);
    EXPECT_EQ(mesh.colors[1], 0.5f);
}

TEST(TubeBuilder, AZeroLengthFirstSegmentIsReportedAndLeavesNoUpVector) {
    TubeMesh mesh;
    BuildTube(Path({{1, 1, 1}, {1, 1, 1}, {5, 1, 1}}), {2, 2, 2}, mesh);
    ASSERT_EQ(mesh.warnings.size(), 1u);
    EXPECT_EQ(mesh.warnings[0], "Extrusion: Warning: initial segment zero length");
    // Without an up vector the rings collapse onto their points.
    EXPECT_NEAR(mesh.positions[0], 1.0, 1e-6);
}

}  // namespace
}  // namespace tv
