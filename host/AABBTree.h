// An axis-aligned bounding tree of triangles, for segment queries: the container effector keeps
// vertices inside a mesh with it, and the slicer projects vertices onto one. A leaf holds one
// triangle, so a segment meets a few boxes and tests a few triangles, not all.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace tv {

struct AABBTreePoly {
    struct Node {
        float min[3] = {0, 0, 0}, max[3] = {0, 0, 0};
        int32_t left = -1, right = -1;  // children, or -1 for a leaf
        int32_t poly = -1;              // a leaf's triangle
    };
    std::vector<std::array<float, 3>> points;      // the tree's own copy
    std::vector<std::array<int32_t, 3>> polygons;  // three point indices each
    std::vector<Node> nodes;                       // nodes[0] is the root

    // Appends to `result` the index of each triangle whose leaf box the segment crosses; the
    // result keeps its capacity between queries. `boxesTested`, when given, grows by the number
    // of node boxes the segment was tested against (for measurements).
    void collideWithSegment(const float start[3], const float end[3], std::vector<int32_t>& result,
                            uint64_t* boxesTested = nullptr) const;
};

// Builds the tree over the triangles (indices into `points`); triangles with an index outside
// the points are left out.
AABBTreePoly BuildAABBTree(std::vector<std::array<float, 3>> points,
                           const std::vector<std::array<int32_t, 3>>& polygons);

// Where the segment from p to q meets triangle (a, b, c): false when it is parallel to the
// triangle's plane, meets the plane outside the segment, or outside the triangle.
bool SegmentTriangleHit(const double p[3], const double q[3], const double a[3], const double b[3],
                        const double c[3], double hit[3]);

}  // namespace tv
