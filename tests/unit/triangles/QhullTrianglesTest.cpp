// Outer surface and mesh triangulation through Qhull: the determinant and planarity tests, the
// hull of a cube, the Delaunay mesh of a planar grid, tetrahedra and Qhull's errors.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <sstream>

#include "renderers/QhullTriangulate.h"
#include "renderers/Triangulation.h"

namespace tv {
namespace {

std::vector<int32_t> Hull(int32_t mode, const std::vector<Vec3f>& pts, std::string* log = nullptr,
                          uint32_t start = 0, uint32_t count = ~0u) {
    std::vector<int32_t> out;
    std::ostringstream stream;
    QhullTriangleCandidates(mode, pts, start, count == ~0u ? uint32_t(pts.size()) : count, out,
                            stream);
    if (log) *log = stream.str();
    return out;
}

double Area(const std::vector<Vec3f>& p, int32_t a, int32_t b, int32_t c) {
    const double ux = p[size_t(b)].x - p[size_t(a)].x, uy = p[size_t(b)].y - p[size_t(a)].y,
                 uz = p[size_t(b)].z - p[size_t(a)].z;
    const double vx = p[size_t(c)].x - p[size_t(a)].x, vy = p[size_t(c)].y - p[size_t(a)].y,
                 vz = p[size_t(c)].z - p[size_t(a)].z;
    const double cx = uy * vz - uz * vy, cy = uz * vx - ux * vz, cz = ux * vy - uy * vx;
    return 0.5 * std::sqrt(cx * cx + cy * cy + cz * cz);
}

// The eight corners of the cube [-1, 1]^3, x fastest.
std::vector<Vec3f> Cube() {
    std::vector<Vec3f> c;
    for (int i = 0; i < 8; ++i)
        c.push_back(Vec3f{i & 1 ? 1.0f : -1.0f, i & 2 ? 1.0f : -1.0f, i & 4 ? 1.0f : -1.0f});
    return c;
}

TEST(QhullTriangles, TheHullOfACubesCornersIsTwelveTriangles) {
    const std::vector<Vec3f> cube = Cube();
    ASSERT_TRUE(HasSpanningTriple(cube, 0, 8));
    EXPECT_EQ(HullDimension(cube, 0, 8), 3);
    std::string log;
    const std::vector<int32_t> t = Hull(kOuterSurface, cube, &log);
    EXPECT_EQ(log, "");
    ASSERT_EQ(t.size(), 12u * 3u);
    // Each triangle lies in one face of the cube and has half its area; each face has two.
    std::map<std::pair<int, float>, int> perFace;
    std::set<int32_t> used;
    for (size_t i = 0; i < t.size(); i += 3) {
        EXPECT_NEAR(Area(cube, t[i], t[i + 1], t[i + 2]), 2.0, 1e-9);
        int faces = 0;
        for (int axis = 0; axis < 3; ++axis) {
            auto coord = [&](int32_t v) {
                const Vec3f& p = cube[size_t(v)];
                return axis == 0 ? p.x : axis == 1 ? p.y : p.z;
            };
            if (coord(t[i]) == coord(t[i + 1]) && coord(t[i]) == coord(t[i + 2])) {
                ++perFace[{axis, coord(t[i])}];
                ++faces;
            }
        }
        EXPECT_EQ(faces, 1);
        used.insert(t.begin() + long(i), t.begin() + long(i) + 3);
    }
    EXPECT_EQ(perFace.size(), 6u);
    for (const auto& [face, n] : perFace) EXPECT_EQ(n, 2);
    EXPECT_EQ(used.size(), 8u);
}

TEST(QhullTriangles, IndicesCountFromTheRangeAndTheFilterAddsTheStart) {
    std::vector<Vec3f> pts = {{50, 50, 50}, {-7, 3, 2}};
    const std::vector<Vec3f> cube = Cube();
    pts.insert(pts.end(), cube.begin(), cube.end());
    const std::vector<int32_t> t = Hull(kOuterSurface, pts, nullptr, 2, 8);
    ASSERT_EQ(t.size(), 36u);
    EXPECT_EQ(*std::max_element(t.begin(), t.end()), 7);
    TriangulationSettings s;
    s.renderMode = kOuterSurface;
    TriangleSet out;
    FilterTriangles(s, pts, t, 2, out);
    ASSERT_EQ(out.size(), 12u);
    EXPECT_EQ(*std::min_element(out.triples.begin(), out.triples.end()), 2);
    EXPECT_EQ(*std::max_element(out.triples.begin(), out.triples.end()), 9);
    // Sides 2, 2 and 2.83 of 100: before half the distance, full opacity.
    for (float f : out.opacityFactors) EXPECT_FLOAT_EQ(f, 1.0f);
}

// A grid of `nx` by `ny` unit squares' corners on the plane z = 5, x fastest.
std::vector<Vec3f> PlanarGrid(int nx, int ny, float z = 5) {
    std::vector<Vec3f> g;
    for (int j = 0; j < ny; ++j)
        for (int i = 0; i < nx; ++i) g.push_back(Vec3f{float(i), float(j), z});
    return g;
}

TEST(QhullTriangles, DelaunayOfAPlanarGridCoversItWithHalfSquares) {
    const std::vector<Vec3f> grid = PlanarGrid(5, 4);
    ASSERT_TRUE(HasSpanningTriple(grid, 0, 20));
    EXPECT_EQ(HullDimension(grid, 0, 20), 2);
    std::string log;
    const std::vector<int32_t> t = Hull(kMeshTriangulation, grid, &log);
    EXPECT_EQ(log, "");
    // 4 by 3 squares, two triangles each, of sides 1, 1 and the diagonal.
    ASSERT_EQ(t.size(), 2u * 4u * 3u * 3u);
    double area = 0;
    std::set<std::array<int32_t, 3>> distinct;
    for (size_t i = 0; i < t.size(); i += 3) {
        area += Area(grid, t[i], t[i + 1], t[i + 2]);
        std::array<int32_t, 3> k = {t[i], t[i + 1], t[i + 2]};
        std::sort(k.begin(), k.end());
        distinct.insert(k);
        std::vector<double> sides;
        for (int e = 0; e < 3; ++e) {
            const Vec3f &a = grid[size_t(t[i + size_t(e)])], &b = grid[size_t(t[i + (e + 1) % 3])];
            sides.push_back(std::hypot(double(a.x) - b.x, double(a.y) - b.y));
        }
        std::sort(sides.begin(), sides.end());
        EXPECT_DOUBLE_EQ(sides[0], 1.0);
        EXPECT_DOUBLE_EQ(sides[1], 1.0);
        EXPECT_NEAR(sides[2], std::sqrt(2.0), 1e-12);
    }
    EXPECT_NEAR(area, 12.0, 1e-9);
    EXPECT_EQ(distinct.size(), 24u);
}

TEST(QhullTriangles, OuterSurfaceOfAPlanarSetIsItsFilledOutline) {
    // On a plane that misses the origin the set goes to Qhull as x and y. Qhull's hull in two
    // dimensions is the outline, whose facets are edges of two vertices; the outer surface is
    // the outline's triangulation, a fan over its corners.
    const std::vector<Vec3f> grid = PlanarGrid(4, 4, 3);
    EXPECT_EQ(HullDimension(grid, 0, 16), 2);
    QhullFacets facets;
    std::string error;
    std::vector<double> xy;
    for (const Vec3f& p : grid) xy.insert(xy.end(), {p.x, p.y});
    ASSERT_TRUE(RunQhull(xy, 2, "Qt", facets, error));
    ASSERT_EQ(facets.sizes.size(), 4u);  // the square's four sides
    for (uint32_t n : facets.sizes) EXPECT_EQ(n, 2u);
    std::string log;
    const std::vector<int32_t> t = Hull(kOuterSurface, grid, &log);
    EXPECT_EQ(log, "");
    ASSERT_EQ(t.size(), 6u);  // four corners: two triangles
    double area = 0;
    for (size_t i = 0; i < t.size(); i += 3) area += Area(grid, t[i], t[i + 1], t[i + 2]);
    EXPECT_NEAR(area, 9.0, 1e-9);  // the whole 3 by 3 square
    for (int32_t id : t) {
        const Vec3f& p = grid[size_t(id)];
        EXPECT_TRUE((p.x == 0 || p.x == 3) && (p.y == 0 || p.y == 3)) << id;  // corners only
    }
    // A hexagon-like outline: n corners give n - 2 triangles covering it.
    std::vector<Vec3f> ring;
    for (int k = 0; k < 7; ++k) {
        const double a = 2 * 3.14159265358979 * k / 7;
        ring.push_back(Vec3f{float(10 + 4 * std::cos(a)), float(10 + 4 * std::sin(a)), 2});
    }
    EXPECT_EQ(Hull(kOuterSurface, ring).size(), 3u * 5u);
}

TEST(QhullTriangles, APlaneThroughTheOriginHasNoSpanningTriple) {
    const std::vector<Vec3f> grid = PlanarGrid(4, 4, 0);
    EXPECT_FALSE(HasSpanningTriple(grid, 0, 16));
    EXPECT_TRUE(Hull(kOuterSurface, grid).empty());
    EXPECT_TRUE(Hull(kMeshTriangulation, grid).empty());
}

TEST(QhullTriangles, ALineIsStoppedBeforeQhull) {
    std::vector<Vec3f> line;
    for (int i = 0; i < 10; ++i) line.push_back(Vec3f{1.0f + float(i), 2.0f + 2 * float(i), 3});
    EXPECT_FALSE(HasSpanningTriple(line, 0, 10));
    std::string log;
    EXPECT_TRUE(Hull(kOuterSurface, line, &log).empty());
    EXPECT_TRUE(Hull(kMeshTriangulation, line, &log).empty());
    EXPECT_EQ(log, "");  // Qhull never ran, so it never complained
}

TEST(QhullTriangles, TheDeterminantMustExceedATenth) {
    EXPECT_FALSE(HasSpanningTriple({{1, 0, 0}, {0, 1, 0}, {0, 0, 0.0999f}}, 0, 3));
    EXPECT_TRUE(HasSpanningTriple({{1, 0, 0}, {0, 1, 0}, {0, 0, 0.11f}}, 0, 3));
    // Signed: the same points in the other order have a negative determinant.
    EXPECT_FALSE(HasSpanningTriple({{0, 1, 0}, {1, 0, 0}, {0, 0, 0.11f}}, 0, 3));
    // Any consecutive triple will do: here the second (+0.5) after the first (-0.5).
    EXPECT_TRUE(HasSpanningTriple({{0, 1, 0}, {1, 0, 0}, {0, 0, 0.5f}, {0, -1, 0}}, 0, 4));
    EXPECT_FALSE(HasSpanningTriple({{0, 1, 0}, {1, 0, 0}, {0, 0, 0.5f}, {0, -1, 0}}, 0, 3));
}

TEST(QhullTriangles, FewerThanThreePointsMakeNothingAndThreeMakeOne) {
    EXPECT_TRUE(Hull(kOuterSurface, {}).empty());
    EXPECT_TRUE(Hull(kOuterSurface, {{1, 0, 0}, {0, 1, 0}}).empty());
    EXPECT_EQ(Hull(kOuterSurface, {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}),
              (std::vector<int32_t>{0, 1, 2}));
    EXPECT_EQ(Hull(kMeshTriangulation, {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}),
              (std::vector<int32_t>{0, 1, 2}));
    // Three points through the origin: no triangle.
    EXPECT_TRUE(Hull(kOuterSurface, {{1, 0, 0}, {0, 1, 0}, {1, 1, 0}}).empty());
}

TEST(QhullTriangles, ThePlanarityTestIsOneSided) {
    // The plane through points 0, 2 and 4 is z = 0 with the normal +z.
    std::vector<Vec3f> pts = {{0, 0, 0}, {0.5f, 0.5f, -1}, {1, 0, 0}, {0.2f, 0.2f, 0}, {0, 1, 0}};
    EXPECT_EQ(HullDimension(pts, 0, 5), 2);  // below only: planar
    pts[1].z = 0.005f;
    EXPECT_EQ(HullDimension(pts, 0, 5), 2);  // within 0.01
    pts[1].z = 1;
    EXPECT_EQ(HullDimension(pts, 0, 5), 3);
}

TEST(QhullTriangles, ANullPlaneTakesEachPointsNeighbours) {
    // First, middle and last on a line: each point is tested against its neighbours' plane.
    std::vector<Vec3f> pts = {{0, 0, 0}, {0.5f, 1, 0}, {1, 0, 0}, {1.5f, 0, 1}, {2, 0, 0}};
    EXPECT_EQ(HullDimension(pts, 0, 5), 3);
    pts[3].z = 0;
    pts[3].y = -1;
    EXPECT_EQ(HullDimension(pts, 0, 5), 2);
}

TEST(QhullTriangles, DelaunayTetrahedraGiveFourTriplesEach) {
    // A tetrahedron with a point inside: four tetrahedra.
    const std::vector<Vec3f> pts = {{0, 0, 1}, {4, 0, 1}, {0, 4, 1}, {0, 0, 5}, {0.8f, 0.9f, 2.1f}};
    ASSERT_TRUE(HasSpanningTriple(pts, 0, 5));
    ASSERT_EQ(HullDimension(pts, 0, 5), 3);
    std::string log;
    const std::vector<int32_t> t = Hull(kMeshTriangulation, pts, &log);
    EXPECT_EQ(log, "");
    // The expansion of Qhull's own facets: (a,b,c), (b,d,c), (a,d,c), (a,b,d).
    QhullFacets facets;
    std::string error;
    std::vector<double> xyz;
    for (const Vec3f& p : pts) xyz.insert(xyz.end(), {p.x, p.y, p.z});
    ASSERT_TRUE(RunQhull(xyz, 3, "d Qt", facets, error));
    ASSERT_EQ(facets.sizes.size(), 4u);  // the lower facets only: the mesh itself
    std::vector<int32_t> expected;
    for (size_t f = 0; f < 4; ++f) {
        ASSERT_EQ(facets.sizes[f], 4u);
        const int32_t* v = &facets.ids[4 * f];
        const int32_t a = v[0], b = v[1], c = v[2], d = v[3];
        expected.insert(expected.end(), {a, b, c, b, d, c, a, d, c, a, b, d});
        // Each holds the inner point.
        EXPECT_TRUE(std::find(v, v + 4, 4) != v + 4);
    }
    EXPECT_EQ(t, expected);
}

TEST(QhullTriangles, QhullErrorsArePrintedAndMakeNothing) {
    // On the vertical plane x + y = 1: planar by the test, so x and y go to Qhull, where they
    // lie on a line.
    const std::vector<Vec3f> pts = {
        {1, 0, 0}, {0, 1, 0}, {0.5f, 0.5f, 1}, {0.25f, 0.75f, 1.5f}, {1, 0, 2}};
    ASSERT_TRUE(HasSpanningTriple(pts, 0, 5));
    ASSERT_EQ(HullDimension(pts, 0, 5), 2);
    for (int32_t mode : {kOuterSurface, kMeshTriangulation}) {
        std::string log;
        EXPECT_TRUE(Hull(mode, pts, &log).empty());
        EXPECT_NE(log.find("QH6"), std::string::npos) << log;
    }
}

TEST(QhullTriangles, TheWholeGeometryUsesTheEffectGroupWithoutJitter) {
    GeometryStore g;
    g.positions = {{30, 30, 30}, {31, 30, 30}};
    const std::vector<Vec3f> cube = Cube();
    g.positions.insert(g.positions.end(), cube.begin(), cube.end());
    g.jitter.assign(g.positions.size(), Vec3f{100, 100, 100});  // would break the hull if used
    g.vertexGroups[4] = GroupRange{2, 8};
    TriangulationSettings s;
    s.renderMode = kOuterSurface;
    s.effectGroup = 4;
    std::ostringstream log;
    TriangleSet out;
    TrianglesOfGeometry(s, g, out, {}, log);
    ASSERT_EQ(out.size(), 12u);
    EXPECT_EQ(*std::min_element(out.triples.begin(), out.triples.end()), 2);
    s.effectGroup = 12;  // all ten points: the two far ones join the hull
    TriangleSet all;
    TrianglesOfGeometry(s, g, all, {}, log);
    EXPECT_GT(all.size(), 0u);
    EXPECT_NE(all.triples, out.triples);
    s.effectGroup = 6;  // no vertices
    TriangleSet none;
    TrianglesOfGeometry(s, g, none, {}, log);
    EXPECT_EQ(none.size(), 0u);
    // The maximum distance applies to the hull too.
    s.effectGroup = 4;
    s.maxDistance = 2;
    TriangleSet near;
    TrianglesOfGeometry(s, g, near, {}, log);
    EXPECT_EQ(near.size(), 0u);  // mean sides 2.28
    EXPECT_EQ(log.str(), "");
}

}  // namespace
}  // namespace tv
