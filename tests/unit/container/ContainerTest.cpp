// The container effector: boxes and ellipsoids worked by hand, and a mesh container through the
// bounding tree, which must find the same hits as testing every triangle.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <random>
#include <string>

#include "effectors/ContainerEffector.h"
#include "host/AABBTree.h"
#include "host/Gather.h"
#include "standalone/Document.h"
#include "tests/support/Gathered.h"
#include "tests/unit/obj/ObjTestFiles.h"

namespace tv {
namespace {

const double kCenter[3] = {100, 100, 0};
const float kBox[3] = {100, 100, 100};
const float kOne[3] = {1, 1, 1};
const float kStill[3] = {0, 0, 0};

TEST(ContainerShapes, ACubeClampsEachAxisAndLeavesTheInsideAlone) {
    Vec3f inside{120, 90, 10};
    ContainVertex(kCenter, kBox, 50, kOne, kStill, 2, inside);
    EXPECT_FLOAT_EQ(inside.x, 120);
    Vec3f out{300, -50, 70};
    ContainVertex(kCenter, kBox, 50, kOne, kStill, 2, out);
    EXPECT_FLOAT_EQ(out.x, 150);
    EXPECT_FLOAT_EQ(out.y, 50);
    EXPECT_FLOAT_EQ(out.z, 50);
    // A zero width: every vertex goes to the central plane.
    const float flat[3] = {0, 100, 100};
    Vec3f v{130, 100, 0};
    ContainVertex(kCenter, flat, 50, kOne, kStill, 2, v);
    EXPECT_FLOAT_EQ(v.x, 100);
    // A negative X scale makes the range empty: the first test wins and the vertex takes -h.
    const float mirrored[3] = {-1, 1, 1};
    Vec3f m{100, 100, 0};
    ContainVertex(kCenter, kBox, 50, mirrored, kStill, 2, m);
    EXPECT_FLOAT_EQ(m.x, 150);
}

TEST(ContainerShapes, ARotatedCubeClampsInItsOwnFrame) {
    const float turned[3] = {0, 0, 45};
    Vec3f far{400, 100, 0};  // far along world X: clamped to the rotated box's corner direction
    ContainVertex(kCenter, kBox, 50, kOne, turned, 2, far);
    // In the box's frame the point is (300 cos 45, -300 sin 45) or mirrored; clamped to the
    // corner (50, +-50), turned back: a corner of the turned box, 50 sqrt 2 from the centre.
    EXPECT_NEAR(std::hypot(far.x - 100, far.y - 100), 50 * std::sqrt(2.0), 1e-3);
}

TEST(ContainerShapes, TheSphereScalesEveryVertexAndLeavesTheCentre) {
    Vec3f centre{100, 100, 0};
    ContainVertex(kCenter, kBox, 50, kOne, kStill, 3, centre);
    EXPECT_FLOAT_EQ(centre.x, 100);
    EXPECT_FLOAT_EQ(centre.y, 100);
    Vec3f out{300, 100, 0};
    ContainVertex(kCenter, kBox, 50, kOne, kStill, 3, out);
    EXPECT_FLOAT_EQ(out.x, 150);
    // A 50% ellipsoid moves a vertex that was inside, too.
    const float half[3] = {0.5f, 0.5f, 0.5f};
    Vec3f in{120, 100, 0};
    ContainVertex(kCenter, kBox, 50, half, kStill, 3, in);
    EXPECT_FLOAT_EQ(in.x, 110);
}

TEST(AABBTree, SegmentQueriesFindWhatTestingEveryTriangleFinds) {
    std::mt19937 rng(7);
    std::uniform_real_distribution<float> u(-100, 100);
    std::vector<std::array<float, 3>> points;
    std::vector<std::array<int32_t, 3>> polys;
    for (int i = 0; i < 300; ++i) {
        const float c[3] = {u(rng), u(rng), u(rng)};
        for (int k = 0; k < 3; ++k)
            points.push_back({c[0] + u(rng) / 10, c[1] + u(rng) / 10, c[2] + u(rng) / 10});
        polys.push_back({3 * i, 3 * i + 1, 3 * i + 2});
    }
    const AABBTreePoly tree = BuildAABBTree(points, polys);
    ASSERT_EQ(tree.polygons.size(), 300u);
    std::vector<int32_t> candidates;
    for (int q = 0; q < 200; ++q) {
        const float s[3] = {u(rng), u(rng), u(rng)}, e[3] = {u(rng), u(rng), u(rng)};
        const double p[3] = {s[0], s[1], s[2]}, r[3] = {e[0], e[1], e[2]};
        auto hits = [&](const std::vector<int32_t>& which) {
            std::vector<int32_t> out;
            for (int32_t c : which) {
                double a[3][3], h[3];
                for (int k = 0; k < 3; ++k)
                    for (int d = 0; d < 3; ++d)
                        a[k][d] =
                            tree.points[size_t(tree.polygons[size_t(c)][size_t(k)])][size_t(d)];
                if (SegmentTriangleHit(p, r, a[0], a[1], a[2], h)) out.push_back(c);
            }
            std::sort(out.begin(), out.end());
            return out;
        };
        std::vector<int32_t> all(300);
        std::iota(all.begin(), all.end(), 0);
        tree.collideWithSegment(s, e, candidates);
        EXPECT_LT(candidates.size(), 300u);
        EXPECT_EQ(hits(candidates), hits(all)) << q;
    }
}

// A closed mesh of `slices` x `stacks` quads over a lumpy sphere, its vertices shared.
void LumpySphere(std::mt19937& rng, int slices, int stacks, std::vector<std::array<float, 3>>& pts,
                 std::vector<std::array<int32_t, 3>>& polys) {
    std::uniform_real_distribution<float> lump(0.7f, 1.3f), at(-50, 50);
    const float c[3] = {at(rng), at(rng), at(rng)};
    const auto base = int32_t(pts.size());
    for (int j = 0; j <= stacks; ++j)
        for (int i = 0; i < slices; ++i) {
            const double a = -1.5707963 + 3.1415926 * j / stacks, b = 6.2831853 * i / slices;
            const float r = (j == 0 || j == stacks) ? 80.0f : 80.0f * lump(rng);
            pts.push_back({c[0] + float(r * std::cos(a) * std::cos(b)),
                           c[1] + float(r * std::sin(a)),
                           c[2] + float(r * std::cos(a) * std::sin(b))});
        }
    for (int j = 0; j < stacks; ++j)
        for (int i = 0; i < slices; ++i) {
            const int32_t a = base + j * slices + i, b = base + j * slices + (i + 1) % slices;
            polys.push_back({a, b, b + slices});
            polys.push_back({a, b + slices, a + slices});
        }
}

TEST(AABBTree, SegmentQueriesAgreeWithEveryTriangleOverSeveralRandomMeshes) {
    for (const unsigned seed : {1u, 2u, 3u, 11u, 99u}) {
        std::mt19937 rng(seed);
        std::vector<std::array<float, 3>> points;
        std::vector<std::array<int32_t, 3>> polys;
        // One or two lumpy spheres of a size that depends on the seed, and a few loose
        // triangles; some triangles of any size, some slivers.
        const int spheres = 1 + int(seed % 2);
        for (int k = 0; k < spheres; ++k)
            LumpySphere(rng, 8 + int(seed % 13), 5 + int(seed % 7), points, polys);
        std::uniform_real_distribution<float> u(-150, 150);
        for (int i = 0; i < 40; ++i) {
            const auto b = int32_t(points.size());
            points.push_back({u(rng), u(rng), u(rng)});
            points.push_back({u(rng), u(rng), u(rng)});
            points.push_back({points[size_t(b)][0] + 0.01f, points[size_t(b)][1], u(rng)});
            polys.push_back({b, b + 1, b + 2});
        }
        const AABBTreePoly tree = BuildAABBTree(points, polys);
        ASSERT_EQ(tree.polygons.size(), polys.size()) << seed;
        std::vector<int32_t> all(polys.size());
        std::iota(all.begin(), all.end(), 0);
        std::vector<int32_t> candidates;
        size_t tested = 0;
        uint64_t boxes = 0;
        for (int q = 0; q < 300; ++q) {
            float s[3] = {u(rng), u(rng), u(rng)}, e[3] = {u(rng), u(rng), u(rng)};
            if (q % 3 == 0) s[0] = s[1] = s[2] = 0;  // from inside, as the container does
            if (q % 7 == 0) e[1] = s[1];             // flat in one axis
            const double p[3] = {s[0], s[1], s[2]}, r[3] = {e[0], e[1], e[2]};
            auto hits = [&](const std::vector<int32_t>& which) {
                std::vector<int32_t> out;
                for (int32_t c : which) {
                    double a[3][3], h[3];
                    for (int k = 0; k < 3; ++k)
                        for (int d = 0; d < 3; ++d)
                            a[k][d] =
                                tree.points[size_t(tree.polygons[size_t(c)][size_t(k)])][size_t(d)];
                    if (SegmentTriangleHit(p, r, a[0], a[1], a[2], h)) out.push_back(c);
                }
                std::sort(out.begin(), out.end());
                return out;
            };
            tree.collideWithSegment(s, e, candidates, &boxes);
            tested += candidates.size();
            EXPECT_EQ(hits(candidates), hits(all)) << "seed " << seed << " segment " << q;
        }
        EXPECT_LT(tested, 300 * polys.size() / 2) << seed;  // the tree prunes
        // Every query tests the root's box at least, and far fewer boxes than the tree holds.
        EXPECT_GE(boxes, 300u) << seed;
        EXPECT_LT(boxes, 300 * tree.nodes.size() / 2) << seed;
    }
}

TEST(AABBTree, TheSegmentTriangleTestWorkedByHand) {
    const double a[3] = {0, 0, 0}, b[3] = {10, 0, 0}, c[3] = {0, 10, 0};
    const double p[3] = {2, 2, -5}, q[3] = {2, 2, 5};
    double hit[3];
    ASSERT_TRUE(SegmentTriangleHit(p, q, a, b, c, hit));
    EXPECT_DOUBLE_EQ(hit[2], 0.0);
    const double short_[3] = {2, 2, -1};
    EXPECT_FALSE(SegmentTriangleHit(p, short_, a, b, c, hit));  // t beyond the segment
    const double outside[3] = {9, 9, 5}, outsideP[3] = {9, 9, -5};
    EXPECT_FALSE(SegmentTriangleHit(outsideP, outside, a, b, c, hit));
    const double along[3] = {5, 2, 0}, alongP[3] = {0, 2, 0};
    EXPECT_FALSE(SegmentTriangleHit(alongP, along, a, b, c, hit));  // in the plane: parallel
    // A segment starting on the triangle hits at t = 0, at distance 0 from its start.
    const double onP[3] = {3, 3, 0}, onQ[3] = {3, 3, 7};
    ASSERT_TRUE(SegmentTriangleHit(onP, onQ, a, b, c, hit));
    EXPECT_DOUBLE_EQ(hit[0], 3.0);
    EXPECT_DOUBLE_EQ(hit[2], 0.0);
    // A segment of length zero has a zero denominator, even on the triangle's plane: no hit.
    EXPECT_FALSE(SegmentTriangleHit(onP, onP, a, b, c, hit));
    const double offP[3] = {3, 3, 4};
    EXPECT_FALSE(SegmentTriangleHit(offP, offP, a, b, c, hit));
}

TEST(ContainerInstance, VerticesOutsideTheMeshLandOnItAndInsideOnesStay) {
    const std::string doc = R"({"tavrin": 1, "comps": [{"name": "C", "width": 400, "height": 400,
      "layers": [
        {"name": "Mesh", "solid": {}, "enabled": false, "effects": [
          {"effect": "Tavrin Primitives Object", "params": {"Primitive Type": "Sphere",
            "Sphere Radius": 100, "Sphere Slices": 32, "Sphere Stacks": 24,
            "Generate Faces": "XY"}}]},
        {"name": "L", "solid": {}, "effects": [
          {"effect": "Tavrin Primitives Object", "params": {"X Points": 5, "Y Points": 5,
            "Z Points": 5, "Cube Width": 500, "Cube Height": 500, "Cube Depth": 500,
            "Generate Faces": "None", "Y Rotate": 10}},
          {"effect": "Tavrin Container", "params": {"Container Type": "Instance",
            "Instance Layer": "Mesh"}}]}]}]})";
    test::Gathered l(doc, 1);
    ASSERT_EQ(l.err, 0);
    const auto& ps = l.g().positions;
    ASSERT_EQ(ps.size(), 125u);
    int landed = 0;
    for (const Vec3f& p : ps) {
        const double r = std::sqrt((p.x - 200.0) * (p.x - 200) + (p.y - 200.0) * (p.y - 200) +
                                   double(p.z) * p.z);
        EXPECT_LE(r, 100.5);  // nothing is left outside the sphere (faceted, radius 100)
        if (r > 95) ++landed;
    }
    EXPECT_GT(landed, 100);  // the lattice spans 500: almost all of it lay outside
}

// Positions of layer "L" in a comp where an OBJ box is the container's instance layer.
std::vector<Vec3f> ContainedByObj(const std::string& objText, const std::string& containerType) {
    const std::string obj = objtest::WriteFile(objtest::TempFolder(), "box.obj", objText);
    const std::string doc = R"({"tavrin": 1, "comps": [{"name": "C", "width": 400, "height": 400,
      "layers": [
        {"name": "File", "obj": {"file": ")" +
                            obj + R"("}, "enabled": false},
        {"name": "Mesh", "solid": {}, "enabled": false, "effects": [
          {"effect": "Tavrin OBJ Object", "params": {"OBJ Layer": "File",
            "Import Facets": true}}]},
        {"name": "L", "solid": {}, "effects": [
          {"effect": "Tavrin Primitives Object", "params": {"X Points": 9, "Y Points": 9,
            "Z Points": 9, "Cube Width": 900, "Cube Height": 900, "Cube Depth": 900,
            "Generate Faces": "None", "Y Rotate": 7, "X Rotate": 5}},
          {"effect": "Tavrin Container", "params": {"Container Type": ")" +
                            containerType + R"(", "Instance Layer": "Mesh"}}]}]}]})";
    test::Gathered l(doc, 2);
    EXPECT_EQ(l.err, 0);
    return l.g().positions;
}

// A box 300 across as twelve triangles, or ten with the +X side left open.
std::string BoxObj(bool openAtPlusX) {
    std::string s =
        "v -150 -150 -150\nv 150 -150 -150\nv 150 150 -150\nv -150 150 -150\n"
        "v -150 -150 150\nv 150 -150 150\nv 150 150 150\nv -150 150 150\n"
        "f 1 3 2\nf 1 4 3\nf 5 6 7\nf 5 7 8\nf 1 2 6\nf 1 6 5\n"
        "f 4 7 3\nf 4 8 7\nf 1 5 8\nf 1 8 4\n";
    if (!openAtPlusX) s += "f 2 3 7\nf 2 7 6\n";
    return s;
}

TEST(ContainerInstance, AnOpenMeshLetsVerticesThroughItsHole) {
    const auto closed = ContainedByObj(BoxObj(false), "Instance");
    const auto open = ContainedByObj(BoxObj(true), "Instance");
    ASSERT_EQ(closed.size(), 729u);
    ASSERT_EQ(open.size(), 729u);
    // The OBJ box lands centred in the layer; every vertex of the closed box is on or in it,
    // while some behind the open side keep their place outside.
    float closedMax = -1e30f, openMax = -1e30f;
    for (size_t i = 0; i < closed.size(); ++i) {
        closedMax = std::max(closedMax, closed[i].x);
        openMax = std::max(openMax, open[i].x);
    }
    EXPECT_GT(openMax, closedMax + 100);
    int escaped = 0;
    for (size_t i = 0; i < open.size(); ++i)
        if (open[i].x > closedMax + 1) ++escaped;
    EXPECT_GT(escaped, 10);
    EXPECT_LT(escaped, 400);
}

// Positions of layer "L" (a lattice with a container of `params`), the comp also holding an
// empty solid "Empty" and a mesh layer "Points" that has vertices and no faces.
std::vector<Vec3f> Contained(const std::string& params) {
    const std::string doc = R"({"tavrin": 1, "comps": [{"name": "C", "width": 400, "height": 400,
      "layers": [
        {"name": "Empty", "solid": {}, "enabled": false},
        {"name": "Points", "solid": {}, "enabled": false, "effects": [
          {"effect": "Tavrin Primitives Object", "params": {"Cube Width": 50,
            "Generate Faces": "None"}}]},
        {"name": "L", "solid": {}, "effects": [
          {"effect": "Tavrin Primitives Object", "params": {"X Points": 6, "Y Points": 6,
            "Z Points": 6, "Cube Width": 900, "Cube Height": 900, "Cube Depth": 900,
            "Generate Faces": "None", "Y Rotate": 7}},
          {"effect": "Tavrin Container", "params": )" +
                            params + R"(}]}]}]})";
    test::Gathered l(doc, 2);
    EXPECT_EQ(l.err, 0);
    return l.g().positions;
}

TEST(ContainerInstance, NoLayerOrAnEmptyMeshLeavesTheVertices) {
    const auto none = Contained(R"({"Container Type": "None"})");
    ASSERT_EQ(none.size(), 216u);
    // The same lattice in a sphere moves: the comparison can tell.
    const auto sphere = Contained(R"({"Container Type": "Sphere"})");
    EXPECT_NE(std::memcmp(none.data(), sphere.data(), none.size() * sizeof(Vec3f)), 0);
    for (const std::string& params :
         {std::string(R"({"Container Type": "Instance"})"),
          std::string(R"({"Container Type": "Instance", "Instance Layer": "Empty"})"),
          std::string(R"({"Container Type": "Instance", "Instance Layer": "Points"})")}) {
        const auto kept = Contained(params);
        ASSERT_EQ(kept.size(), none.size()) << params;
        EXPECT_EQ(std::memcmp(none.data(), kept.data(), none.size() * sizeof(Vec3f)), 0) << params;
    }
}

uint64_t gContainerHash = 0;
PF_Err MixContainerHash(PF_ProgPtr, uint32_t size, const void* data) {
    const auto* bytes = static_cast<const uint8_t*>(data);
    for (uint32_t i = 0; i < size; ++i)
        gContainerHash = (gContainerHash ^ bytes[i]) * 1099511628211ull;
    return PF_Err_NONE;
}

// The frame hash of layer "L" whose container uses "Mesh", a sphere of the given radius.
uint64_t ContainerLayerHash(const std::string& type, int radius) {
    const std::string doc = R"({"tavrin": 1, "comps": [{"name": "C", "width": 400, "height": 400,
      "layers": [
        {"name": "Mesh", "solid": {}, "enabled": false, "effects": [
          {"effect": "Tavrin Primitives Object", "params": {"Primitive Type": "Sphere",
            "Sphere Radius": )" +
                            std::to_string(radius) + R"(, "Generate Faces": "XY"}}]},
        {"name": "L", "solid": {}, "effects": [
          {"effect": "Tavrin Primitives Object"},
          {"effect": "Tavrin Container", "params": {"Container Type": ")" +
                            type + R"(", "Instance Layer": "Mesh"}}]}]}]})";
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(doc, "doc.json", host);
    auto& comp = *host.project().comps[0];
    gContainerHash = 14695981039346656037ull;
    EXPECT_EQ(MixStackHash(host, comp.layers[1]->uid, comp.frameTime(0), 0, &MixContainerHash, {}),
              PF_Err_NONE);
    return gContainerHash;
}

TEST(ContainerInstance, TheInstanceLayersChangesReachTheHash) {
    // This host keeps frame keys (version 13.8 and later): the instance layer is a dependency
    // of the hash, so an edit there renders the container's layer anew.
    EXPECT_EQ(ContainerLayerHash("Instance", 100), ContainerLayerHash("Instance", 100));
    EXPECT_NE(ContainerLayerHash("Instance", 100), ContainerLayerHash("Instance", 120));
    // A cube container does not read the layer.
    EXPECT_EQ(ContainerLayerHash("Cube", 100), ContainerLayerHash("Cube", 120));
}

TEST(ContainerInstance, TypeNoneLeavesEveryPositionBitForBit) {
    const std::string box = BoxObj(false);
    const auto none = ContainedByObj(box, "None");
    // The same lattice through a Transform that does nothing: the source's own positions.
    const std::string doc = R"({"tavrin": 1, "comps": [{"name": "C", "width": 400, "height": 400,
      "layers": [{"name": "L", "solid": {}, "effects": [
          {"effect": "Tavrin Primitives Object", "params": {"X Points": 9, "Y Points": 9,
            "Z Points": 9, "Cube Width": 900, "Cube Height": 900, "Cube Depth": 900,
            "Generate Faces": "None", "Y Rotate": 7, "X Rotate": 5}}]}]}]})";
    test::Gathered l(doc, 0);
    ASSERT_EQ(l.err, 0);
    ASSERT_EQ(l.g().positions.size(), none.size());
    for (size_t i = 0; i < none.size(); ++i) {
        EXPECT_EQ(std::memcmp(&none[i], &l.g().positions[i], sizeof(Vec3f)), 0) << i;
    }
}

}  // namespace
}  // namespace tv
