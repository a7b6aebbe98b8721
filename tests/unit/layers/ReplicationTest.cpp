// The replication transform: extrude offsets per direction, rotation about the centre in the
// order Z, Y, X, the angle step of 1 / copies, normals, and the facets between copies.
#include <gtest/gtest.h>

#include "sources/Replication.h"

namespace tv {
namespace {

VertexArrays Row(std::initializer_list<double> xs, int32_t copies) {
    VertexArrays v;
    for (double x : xs) {
        for (double c : {x, 0.0, 0.0}) v.positions.push_back(c);
        v.colors.push_back({1, 1, 1, 1});
        v.normals.push_back({0, -1, 0});
    }
    ReplicateCopies(copies, v);
    return v;
}

void ExpectAt(const VertexArrays& v, size_t i, double x, double y, double z) {
    EXPECT_NEAR(v.positions[i * 3], x, 1e-4) << i;
    EXPECT_NEAR(v.positions[i * 3 + 1], y, 1e-4) << i;
    EXPECT_NEAR(v.positions[i * 3 + 2], z, 1e-4) << i;
}

TEST(Replication, OneCopyTakesTheStartAngleAndNoOffset) {
    ReplicationSettings s;
    s.copies = 1;
    s.start[2] = 90;
    s.end[2] = 10;
    VertexArrays v = Row({10}, 1);
    ReplicateTransform(s, v);
    // Z by 90: the first row of Rz is (cos, sin, 0), so (10, 0, 0) goes to (0, 10, 0).
    ExpectAt(v, 0, 0, 10, 0);
    EXPECT_NEAR(v.normals[0].x, 1, 1e-6);
    EXPECT_NEAR(v.normals[0].y, 0, 1e-6);
}

TEST(Replication, OffsetsPerDirection) {
    ReplicationSettings s;
    s.copies = 3;
    s.depth = 100;
    for (auto [direction, first, last] :
         {std::tuple{kReplicatePlusZ, 0.0, 100.0}, std::tuple{kReplicateMinusZ, 0.0, -100.0},
          std::tuple{kReplicateBoth, -50.0, 50.0}}) {
        s.direction = direction;
        VertexArrays v = Row({1}, 3);
        ReplicateTransform(s, v);
        ExpectAt(v, 0, 1, 0, first);
        ExpectAt(v, 1, 1, 0, (first + last) / 2);
        ExpectAt(v, 2, 1, 0, last);
    }
}

TEST(Replication, TheLastCopyStopsShortOfTheEndAngle) {
    ReplicationSettings s;
    s.copies = 2;
    s.depth = 0;
    s.end[2] = 90;
    VertexArrays v = Row({10}, 2);
    ReplicateTransform(s, v);
    ExpectAt(v, 0, 10, 0, 0);
    // Copy 1 of 2 turns 90 * 1 / 2 = 45 degrees, not 90.
    ExpectAt(v, 1, 10 * 0.70710678, 10 * 0.70710678, 0);
}

TEST(Replication, RotatesAboutTheCentreZThenYThenX) {
    ReplicationSettings s;
    s.center[0] = 100;
    s.start[1] = 180;
    VertexArrays v = Row({110}, 1);
    ReplicateTransform(s, v);
    ExpectAt(v, 0, 90, 0, 0);

    ReplicationSettings order;
    order.start[2] = 90;
    order.start[0] = 90;
    VertexArrays w = Row({1}, 1);
    ReplicateTransform(order, w);
    // Z first: (1, 0, 0) -> (0, 1, 0); then X: (0, 1, 0) -> (0, 0, 1).
    ExpectAt(w, 0, 0, 0, 1);
    // The normal (0, -1, 0): Z takes it to (1, 0, 0), X leaves it; unit length.
    EXPECT_NEAR(w.normals[0].x, 1, 1e-6);
    EXPECT_NEAR(w.normals[0].z, 0, 1e-6);
}

TEST(Replication, MismatchedNormalsLeaveEverything) {
    ReplicationSettings s;
    s.start[2] = 90;
    VertexArrays v = Row({10, 20}, 1);
    v.normals.pop_back();
    ReplicateTransform(s, v);
    ExpectAt(v, 0, 10, 0, 0);
}

TEST(Replication, NoFacetsBelowTwoPerSide) {
    std::vector<Vec3i> faces;
    ReplicationFacets(1, 5, faces);
    ReplicationFacets(5, 1, faces);
    EXPECT_TRUE(faces.empty());
    ReplicationFacets(3, 2, faces);
    ASSERT_EQ(faces.size(), 4u);
    EXPECT_EQ(faces[2], (Vec3i{4, 1, 2}));
    EXPECT_EQ(faces[3], (Vec3i{2, 5, 4}));
}

TEST(Replication, EmptyRowStaysEmpty) {
    VertexArrays v = Row({}, 4);
    EXPECT_EQ(v.vertexCount(), 0u);
    EXPECT_TRUE(v.lattice.empty());
}

}  // namespace
}  // namespace tv
