#include "host/AABBTree.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace tv {

namespace {

struct Builder {
    AABBTreePoly& tree;
    std::vector<std::array<float, 3>> centroids;

    int32_t build(std::vector<int32_t>& order, size_t begin, size_t end) {
        const auto index = int32_t(tree.nodes.size());
        tree.nodes.emplace_back();
        AABBTreePoly::Node node;
        for (int k = 0; k < 3; ++k) node.min[k] = INFINITY, node.max[k] = -INFINITY;
        float cmin[3] = {INFINITY, INFINITY, INFINITY}, cmax[3] = {-INFINITY, -INFINITY, -INFINITY};
        for (size_t i = begin; i < end; ++i) {
            const auto& poly = tree.polygons[size_t(order[i])];
            for (int32_t v : poly)
                for (int k = 0; k < 3; ++k) {
                    node.min[k] = std::min(node.min[k], tree.points[size_t(v)][size_t(k)]);
                    node.max[k] = std::max(node.max[k], tree.points[size_t(v)][size_t(k)]);
                }
            for (int k = 0; k < 3; ++k) {
                cmin[k] = std::min(cmin[k], centroids[size_t(order[i])][size_t(k)]);
                cmax[k] = std::max(cmax[k], centroids[size_t(order[i])][size_t(k)]);
            }
        }
        if (end - begin == 1) {
            node.poly = order[begin];
            tree.nodes[size_t(index)] = node;
            return index;
        }
        // Split at the median along the longest axis of the centroids' box.
        int axis = 0;
        for (int k = 1; k < 3; ++k)
            if (cmax[k] - cmin[k] > cmax[axis] - cmin[axis]) axis = k;
        const size_t mid = begin + (end - begin) / 2;
        std::nth_element(order.begin() + long(begin), order.begin() + long(mid),
                         order.begin() + long(end), [&](int32_t a, int32_t b) {
                             return centroids[size_t(a)][size_t(axis)] <
                                    centroids[size_t(b)][size_t(axis)];
                         });
        node.left = build(order, begin, mid);
        node.right = build(order, mid, end);
        tree.nodes[size_t(index)] = node;
        return index;
    }
};

// Whether the segment from s to e crosses the box (the slab test).
bool SegmentHitsBox(const float s[3], const float e[3], const AABBTreePoly::Node& n) {
    float t0 = 0, t1 = 1;
    for (int k = 0; k < 3; ++k) {
        const float d = e[k] - s[k];
        if (d == 0) {
            if (s[k] < n.min[k] || s[k] > n.max[k]) return false;
            continue;
        }
        float a = (n.min[k] - s[k]) / d, b = (n.max[k] - s[k]) / d;
        if (a > b) std::swap(a, b);
        t0 = std::max(t0, a);
        t1 = std::min(t1, b);
        if (t0 > t1) return false;
    }
    return true;
}

}  // namespace

AABBTreePoly BuildAABBTree(std::vector<std::array<float, 3>> points,
                           const std::vector<std::array<int32_t, 3>>& polygons) {
    AABBTreePoly tree;
    tree.points = std::move(points);
    const auto n = int32_t(tree.points.size());
    for (const auto& p : polygons)
        if (p[0] >= 0 && p[1] >= 0 && p[2] >= 0 && p[0] < n && p[1] < n && p[2] < n)
            tree.polygons.push_back(p);
    if (tree.polygons.empty()) return tree;
    Builder b{tree, {}};
    b.centroids.reserve(tree.polygons.size());
    for (const auto& p : tree.polygons) {
        std::array<float, 3> c{};
        for (int32_t v : p)
            for (int k = 0; k < 3; ++k) c[size_t(k)] += tree.points[size_t(v)][size_t(k)] / 3.0f;
        b.centroids.push_back(c);
    }
    std::vector<int32_t> order(tree.polygons.size());
    std::iota(order.begin(), order.end(), 0);
    tree.nodes.reserve(2 * tree.polygons.size());
    b.build(order, 0, order.size());
    return tree;
}

void AABBTreePoly::collideWithSegment(const float start[3], const float end[3],
                                      std::vector<int32_t>& result, uint64_t* boxesTested) const {
    result.clear();
    if (nodes.empty()) return;
    int32_t stack[128];
    int depth = 0;
    stack[depth++] = 0;
    uint64_t boxes = 0;
    while (depth > 0) {
        const Node& n = nodes[size_t(stack[--depth])];
        ++boxes;
        if (!SegmentHitsBox(start, end, n)) continue;
        if (n.poly >= 0) {
            result.push_back(n.poly);
            continue;
        }
        if (depth + 2 > 128) continue;  // a tree this deep would need 2^64 triangles
        stack[depth++] = n.right;
        stack[depth++] = n.left;
    }
    if (boxesTested) *boxesTested += boxes;
}

bool SegmentTriangleHit(const double p[3], const double q[3], const double a[3], const double b[3],
                        const double c[3], double hit[3]) {
    const double u[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
    const double v[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
    const double n[3] = {u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2],
                         u[0] * v[1] - u[1] * v[0]};
    const double D = -(n[0] * a[0] + n[1] * a[1] + n[2] * a[2]);
    const double d[3] = {q[0] - p[0], q[1] - p[1], q[2] - p[2]};
    const double denom = n[0] * d[0] + n[1] * d[1] + n[2] * d[2];
    if (denom == 0) return false;
    const double t = -(n[0] * p[0] + n[1] * p[1] + n[2] * p[2] + D) / denom;
    if (t < 0 || t > 1) return false;
    const double x[3] = {p[0] + t * d[0], p[1] + t * d[1], p[2] + t * d[2]};
    // Inside when x lies on the inner side of all three edges.
    auto side = [&](const double* e0, const double* e1) {
        const double e[3] = {e1[0] - e0[0], e1[1] - e0[1], e1[2] - e0[2]};
        const double w[3] = {x[0] - e0[0], x[1] - e0[1], x[2] - e0[2]};
        const double cr[3] = {e[1] * w[2] - e[2] * w[1], e[2] * w[0] - e[0] * w[2],
                              e[0] * w[1] - e[1] * w[0]};
        return cr[0] * n[0] + cr[1] * n[1] + cr[2] * n[2];
    };
    // A hair of tolerance, relative to the triangle's size, so that a segment through a shared
    // edge or corner is inside one of the triangles that meet there.
    const double eps = -1e-9 * (n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    if (side(a, b) < eps || side(b, c) < eps || side(c, a) < eps) return false;
    hit[0] = x[0], hit[1] = x[1], hit[2] = x[2];
    return true;
}

}  // namespace tv
