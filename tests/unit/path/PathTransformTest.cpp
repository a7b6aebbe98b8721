// The path source's copies: the six angles stepped per copy and composed X, then Y, then Z about
// the rotation centre; the scale about the path's box after the rotation; the lattice and uvw
// with and without "Each Mask as a Separate Object"; the hash over every point.
#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "sources/PathGenerate.h"

namespace tv {
namespace {

constexpr double kPi = 3.14159265358979323846;

using Vec = std::array<double, 3>;

// Row-vector rotations about one axis: p' = p * R.
Vec RotateX(const Vec& p, double degrees) {
    const double c = std::cos(degrees * kPi / 180), s = std::sin(degrees * kPi / 180);
    return {p[0], p[1] * c - p[2] * s, p[1] * s + p[2] * c};
}
Vec RotateY(const Vec& p, double degrees) {
    const double c = std::cos(degrees * kPi / 180), s = std::sin(degrees * kPi / 180);
    return {p[0] * c + p[2] * s, p[1], -p[0] * s + p[2] * c};
}
Vec RotateZ(const Vec& p, double degrees) {
    const double c = std::cos(degrees * kPi / 180), s = std::sin(degrees * kPi / 180);
    return {p[0] * c - p[1] * s, p[0] * s + p[1] * c, p[2]};
}

Vec Apply(const double m[16], const Vec& p) {
    return {p[0] * m[0] + p[1] * m[4] + p[2] * m[8] + m[12],
            p[0] * m[1] + p[1] * m[5] + p[2] * m[9] + m[13],
            p[0] * m[2] + p[1] * m[6] + p[2] * m[10] + m[14]};
}

BezierPath Polygon(std::initializer_list<std::pair<double, double>> points, bool closed = true) {
    BezierPath p;
    p.closed = closed;
    for (const auto& [x, y] : points) p.vertices.push_back({x, y, 0, 0, 0, 0});
    return p;
}

PathSettings Plain(int32_t copies) {
    PathSettings s;
    s.copies = copies;
    s.subdivide = false;
    s.generateFacets = false;
    s.generateCaps = false;
    s.extrudeDepth = 0;
    return s;
}

TEST(PathTransform, SixAnglesTurnXThenYThenZAboutTheRotationCentre) {
    PathSettings s = Plain(2);
    s.startAngle[0] = 30, s.endAngle[0] = 70;   // copy 1: 50
    s.startAngle[1] = 40, s.endAngle[1] = -20;  // copy 1: 10
    s.startAngle[2] = 50, s.endAngle[2] = 110;  // copy 1: 80
    s.rotationCenter[0] = 10, s.rotationCenter[1] = 20, s.rotationCenter[2] = 5;
    const double box[2] = {0, 0};
    const Vec rc = {10, 20, 5};
    for (int32_t k : {0, 1}) {
        // The angles move by k / copies of the way from start to end.
        const double ax = 30 + 40.0 * k / 2, ay = 40 - 60.0 * k / 2, az = 50 + 60.0 * k / 2;
        double m[16];
        PathCopyMatrix(s, k, box, m);
        for (const Vec& p : {Vec{110, -40, 0}, Vec{-7, 3, 0}, Vec{0, 0, 0}}) {
            Vec q = {p[0] - rc[0], p[1] - rc[1], p[2] - rc[2]};
            q = RotateZ(RotateY(RotateX(q, ax), ay), az);
            const Vec want = {q[0] + rc[0], q[1] + rc[1], q[2] + rc[2]};
            const Vec got = Apply(m, p);
            for (int j = 0; j < 3; ++j) EXPECT_NEAR(got[size_t(j)], want[size_t(j)], 1e-9) << k;
        }
    }
}

TEST(PathTransform, TheRotationActsFirstAndTheScaleAfterAboutTheBoxCentre) {
    PathSettings s = Plain(1);
    s.startAngle[2] = 90;
    s.startScale = 2;
    // Rotation about the origin, scale about the box centre (100, 0).
    const double box[2] = {100, 0};
    double m[16];
    PathCopyMatrix(s, 0, box, m);
    const Vec got = Apply(m, {110, 0, 0});
    // (110, 0) turns to (0, 110), then doubles away from (100, 0): (-100, 220). Scaling first
    // would give (0, 120).
    EXPECT_NEAR(got[0], -100, 1e-9);
    EXPECT_NEAR(got[1], 220, 1e-9);
    EXPECT_NEAR(got[2], 0, 1e-9);
    // The scale leaves Z alone: a centre off the plane turned about X keeps its depth offset.
    PathSettings x = Plain(1);
    x.startAngle[0] = 90;
    x.startScale = 3;
    x.rotationCenter[2] = 50;
    PathCopyMatrix(x, 0, box, m);
    const Vec lifted = Apply(m, {100, 10, 0});
    const Vec turned = RotateX({0, 10, -50}, 90);
    EXPECT_NEAR(lifted[0], 100, 1e-9);
    EXPECT_NEAR(lifted[1], 3 * turned[1], 1e-9);
    EXPECT_NEAR(lifted[2], turned[2] + 50, 1e-9);
}

TEST(PathTransform, CopiesStepTheAngleByOneCopysShareOfTheRange) {
    PathSettings s = Plain(4);
    s.endAngle[2] = 360;
    // A point at (10, 0) about the rotation centre (0, 0): copies at 0, 90, 180 and 270 degrees.
    const PathObject o = BuildPathObject(s, {{Polygon({{10, 0}, {20, 0}}, false), {}}});
    ASSERT_EQ(o.v.vertexCount(), 8u);
    const double want[4][2] = {{10, 0}, {0, 10}, {-10, 0}, {0, -10}};
    for (size_t k = 0; k < 4; ++k) {
        EXPECT_NEAR(o.v.positions[k * 2 * 3], want[k][0], 1e-9) << k;
        EXPECT_NEAR(o.v.positions[k * 2 * 3 + 1], want[k][1], 1e-9) << k;
    }
}

TEST(PathTransform, OneObjectNumbersEachMaskAlongItsCopiesWithUvw) {
    PathSettings s = Plain(2);
    s.eachMaskSeparate = false;
    const BezierPath square = Polygon({{0, 0}, {10, 0}, {10, 10}, {0, 10}});
    const BezierPath line = Polygon({{0, 0}, {5, 0}, {9, 3}}, false);
    const PathObject o = BuildPathObject(s, {{square, {}}, {line, {}}});
    ASSERT_EQ(o.v.vertexCount(), 4u * 2 + 3u * 2);
    // Each path's points: i over all its copies, lattice x = i mod m, uvw x = that / m.
    auto check = [&](size_t base, int32_t m) {
        for (int32_t i = 0; i < m * 2; ++i) {
            const size_t v = base + size_t(i);
            EXPECT_EQ(o.v.lattice[v].x, i % m) << v;
            EXPECT_EQ(o.v.lattice[v].y, i / m) << v;
            EXPECT_EQ(o.v.lattice[v].z, 1) << v;
            EXPECT_FLOAT_EQ(o.v.uvw[v].x, float(i % m) / float(m)) << v;
            EXPECT_FLOAT_EQ(o.v.uvw[v].y, float(i / m) / 2.0f) << v;
        }
    };
    check(0, 4);
    check(8, 3);

    // Separate objects keep the sampled running index and no uvw along the path.
    s.eachMaskSeparate = true;
    const PathObject separate = BuildPathObject(s, {{square, {}}, {line, {}}});
    for (size_t v = 0; v < separate.v.vertexCount(); ++v) {
        EXPECT_EQ(separate.v.lattice[v].x, o.v.lattice[v].x) << v;
        EXPECT_EQ(separate.v.uvw[v].x, 0.0f) << v;
        EXPECT_FLOAT_EQ(separate.v.uvw[v].y, o.v.uvw[v].y) << v;
    }
}

TEST(PathTransform, TheHashFollowsEveryPointAndStaysForTheSameInput) {
    PathSettings s = Plain(3);
    s.subdivide = true;
    s.pointsPerMask = 20;
    const BezierPath a = Polygon({{0, 0}, {100, 0}, {100, 80}, {0, 80}});
    BezierPath moved = a;
    moved.vertices[2].x += 0.5;
    const uint64_t h = PathHash(s, BuildPathObject(s, {{a, {}}}));
    EXPECT_EQ(PathHash(s, BuildPathObject(s, {{a, {}}})), h);
    EXPECT_NE(PathHash(s, BuildPathObject(s, {{moved, {}}})), h);
    // A colour that comes with the path (from its mask) is in the points too.
    EXPECT_NE(PathHash(s, BuildPathObject(s, {{a, Color4f{1, 0, 0, 1}}})), h);
}

}  // namespace
}  // namespace tv
