// Paths of cubic segments as masks and text outlines give them, with arc length and evaluation
// at a distance along a segment. Lengths come from a polyline of a fixed number of steps per
// segment (the frequency), so a distance maps to the curve the way the host's own paths do.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

namespace tv {

// A vertex with its in and out tangents, relative to the vertex.
struct PathVertex {
    double x = 0, y = 0;
    double inX = 0, inY = 0;
    double outX = 0, outY = 0;
};

struct BezierPath {
    bool closed = true;
    std::vector<PathVertex> vertices;
};

// Segments: one per vertex of a closed path (the last joins the first), one fewer when open.
int32_t PathSegmentCount(const BezierPath& path);

// The four control points of segment `seg` (x0, y0, ..., x3, y3).
std::array<double, 8> SegmentControls(const BezierPath& path, int32_t seg);

// A point of segment `seg` at the curve parameter t in 0..1.
void SegmentPoint(const BezierPath& path, int32_t seg, double t, double& x, double& y);

// A segment prepared for lengths: the chord lengths run along `frequency` equal steps of t.
struct SegmentLengths {
    std::vector<double> cumulative;  // frequency + 1 values from 0 to the length
    double length() const { return cumulative.empty() ? 0 : cumulative.back(); }
};
SegmentLengths PrepareSegmentLength(const BezierPath& path, int32_t seg, int32_t frequency);

// The point at arc length `distance` from the segment's start, clamped to the segment.
void EvalSegmentAt(const BezierPath& path, int32_t seg, const SegmentLengths& lengths,
                   double distance, double& x, double& y);

// The path with every vertex and tangent moved from a to b by the fraction f; both paths must
// have the same number of vertices.
BezierPath InterpolatePaths(const BezierPath& a, const BezierPath& b, double f);

}  // namespace tv
