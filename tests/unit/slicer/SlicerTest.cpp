// The slicer: a plane of points projected along its normals onto a sphere mesh; misses stand at
// +infinity, flipping or shortening the segment misses, and one layer alone makes nothing.
#include <gtest/gtest.h>

#include <cmath>
#include <string>

#include "host/Gather.h"
#include "standalone/Document.h"
#include "tests/support/Gathered.h"

namespace tv {
namespace {

std::string Doc(const std::string& slicerParams, double width = 150) {
    return R"({"tavrin": 1, "comps": [{"name": "C", "width": 400, "height": 400, "layers": [
      {"name": "Target", "solid": {}, "enabled": false, "effects": [
        {"effect": "Tavrin Primitives Object", "params": {"Primitive Type": "Sphere",
          "Sphere Radius": 120, "Sphere Slices": 32, "Sphere Stacks": 24,
          "Generate Faces": "XY"}}]},
      {"name": "Plane", "solid": {}, "enabled": false, "effects": [
        {"effect": "Tavrin Primitives Object", "params": {"X Points": 5, "Y Points": 5,
          "Z Points": 1, "Cube Width": )" +
           std::to_string(width) + R"(, "Cube Height": )" + std::to_string(width) +
           R"(, "Center XY": [207, 203], "Center Z": -300, "Generate Faces": "XY"}}]},
      {"name": "L", "solid": {}, "effects": [
        {"effect": "Tavrin Slicer Object", "params": )" +
           slicerParams + "}]}]}]}";
}

std::vector<Vec3f> Sliced(const std::string& doc, std::vector<Vec3i>* lattice = nullptr) {
    test::Gathered l(doc, 2);
    EXPECT_EQ(l.err, 0);
    if (lattice) *lattice = l.g().lattice;
    return l.g().positions;
}

const std::string kBoth = R"({"From Mesh Layer": "Plane", "To Mesh Layer": "Target")";

TEST(Slicer, PointsLandOnTheNearSideOfTheMeshAlongTheirNormals) {
    // The plane sits a little off the sphere's seam, where its mesh has no faces.
    std::vector<Vec3i> lattice;
    const auto p = Sliced(Doc(kBoth + "}"), &lattice);
    ASSERT_EQ(p.size(), 25u);
    for (size_t i = 0; i < p.size(); ++i) {
        const double r = std::sqrt((p[i].x - 200.0) * (p[i].x - 200) +
                                   (p[i].y - 200.0) * (p[i].y - 200) + double(p[i].z) * p[i].z);
        EXPECT_NEAR(r, 120, 1.5) << i;  // on the faceted sphere
        EXPECT_LT(p[i].z, 0.0f) << i;   // its near side
    }
    EXPECT_EQ(lattice[7].x, 2);  // the lattice comes along
    EXPECT_EQ(lattice[7].y, 1);
}

TEST(Slicer, MissesStandAtInfinity) {
    std::vector<Vec3i> lattice;
    const auto p =
        Sliced(Doc(kBoth + "}", 300), &lattice);  // corners 212 from the axis: past the sphere
    ASSERT_EQ(p.size(), 25u);
    EXPECT_TRUE(std::isinf(p[0].x));
    EXPECT_TRUE(std::isinf(p[0].z));
    EXPECT_FALSE(std::isinf(p[12].x));  // the centre hits
    // The far corner misses too, and still carries its lattice.
    EXPECT_TRUE(std::isinf(p[24].x));
    EXPECT_TRUE(std::isinf(p[24].y));
    EXPECT_EQ(lattice[24], (Vec3i{4, 4, 0}));
    EXPECT_EQ(lattice[20], (Vec3i{0, 4, 0}));
}

TEST(Slicer, AZeroNormalMakesNoHitEvenOnTheMesh) {
    // The plane's points squeezed by a Transform onto its centre, which lies on the target
    // plane: a scale of 0 takes the normals to zero, and the segment of length 0 finds nothing;
    // a small scale keeps them (0, 0, -1), and the point on the plane is a hit at distance 0.
    auto doc = [](const std::string& scale) {
        return R"({"tavrin": 1, "comps": [{"name": "C", "width": 400, "height": 400, "layers": [
          {"name": "Target", "solid": {}, "enabled": false, "effects": [
            {"effect": "Tavrin Primitives Object", "params": {"X Points": 4, "Y Points": 4,
              "Z Points": 1, "Cube Width": 300, "Cube Height": 300, "Generate Faces": "XY"}}]},
          {"name": "Plane", "solid": {}, "enabled": false, "effects": [
            {"effect": "Tavrin Primitives Object", "params": {"X Points": 3, "Y Points": 3,
              "Z Points": 1, "Cube Width": 40, "Cube Height": 40, "Generate Faces": "XY"}},
            {"effect": "Tavrin Transform", "params": {"X Scale": )" +
               scale + R"(}}]},
          {"name": "L", "solid": {}, "effects": [
            {"effect": "Tavrin Slicer Object", "params": {"From Mesh Layer": "Plane",
              "To Mesh Layer": "Target"}}]}]}]})";
    };
    std::vector<Vec3i> lattice;
    const auto squeezed = Sliced(doc("1"), &lattice);
    ASSERT_EQ(squeezed.size(), 9u);
    for (const Vec3f& v : squeezed) {
        EXPECT_NEAR(v.x, 200, 0.5);
        EXPECT_NEAR(v.y, 200, 0.5);
        EXPECT_EQ(v.z, 0.0f);
    }
    const auto zero = Sliced(doc("0"), &lattice);
    ASSERT_EQ(zero.size(), 9u);
    for (const Vec3f& v : zero) EXPECT_TRUE(std::isinf(v.x) && std::isinf(v.y) && std::isinf(v.z));
    EXPECT_EQ(lattice[8], (Vec3i{2, 2, 0}));
}

TEST(Slicer, FlippingOrShorteningTheSegmentMisses) {
    for (const std::string& extra :
         {std::string(R"(, "Flip Direction": true})"), std::string(R"(, "Max Distance": 100})")}) {
        const auto p = Sliced(Doc(kBoth + extra));
        ASSERT_EQ(p.size(), 25u);
        for (const Vec3f& v : p) EXPECT_TRUE(std::isinf(v.z)) << extra;
    }
}

// The plane's range carries mask 3 (points along x and y); the slicer's own range says 1, its
// lattice sizes kept.
TEST(Slicer, EachRangesMaskWordIsOne) {
    test::Gathered l(Doc(kBoth + "}"), 2);
    ASSERT_EQ(l.err, 0);
    ASSERT_EQ(l.g().ranges.size(), 1u);
    const ObjectRange& r = l.g().ranges[0];
    EXPECT_EQ(r.kind, 1);
    EXPECT_EQ(r.vertexCount, 25u);
    EXPECT_EQ(r.latticeSize[0], 5);
    EXPECT_EQ(r.latticeSize[1], 5);
    EXPECT_EQ(r.reserved, 0);
}

TEST(Slicer, OneLayerAloneMakesNothing) {
    EXPECT_TRUE(Sliced(Doc(R"({"From Mesh Layer": "Plane"})")).empty());
    EXPECT_TRUE(Sliced(Doc("{}")).empty());
}

}  // namespace
}  // namespace tv
