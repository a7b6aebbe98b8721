#include "host/BezierPath.h"

#include <algorithm>
#include <cmath>

namespace tv {

int32_t PathSegmentCount(const BezierPath& path) {
    const auto n = static_cast<int32_t>(path.vertices.size());
    if (n < 2) return 0;
    return path.closed ? n : n - 1;
}

std::array<double, 8> SegmentControls(const BezierPath& path, int32_t seg) {
    const size_t n = path.vertices.size();
    const PathVertex& a = path.vertices[size_t(seg) % n];
    const PathVertex& b = path.vertices[(size_t(seg) + 1) % n];
    return {a.x, a.y, a.x + a.outX, a.y + a.outY, b.x + b.inX, b.y + b.inY, b.x, b.y};
}

void SegmentPoint(const BezierPath& path, int32_t seg, double t, double& x, double& y) {
    const auto c = SegmentControls(path, seg);
    const double u = 1 - t;
    const double w0 = u * u * u, w1 = 3 * u * u * t, w2 = 3 * u * t * t, w3 = t * t * t;
    x = w0 * c[0] + w1 * c[2] + w2 * c[4] + w3 * c[6];
    y = w0 * c[1] + w1 * c[3] + w2 * c[5] + w3 * c[7];
}

SegmentLengths PrepareSegmentLength(const BezierPath& path, int32_t seg, int32_t frequency) {
    SegmentLengths s;
    const int32_t steps = std::max(frequency, 1);
    s.cumulative.resize(size_t(steps) + 1);
    double px = 0, py = 0, total = 0;
    SegmentPoint(path, seg, 0, px, py);
    s.cumulative[0] = 0;
    for (int32_t i = 1; i <= steps; ++i) {
        double x = 0, y = 0;
        SegmentPoint(path, seg, double(i) / steps, x, y);
        total += std::hypot(x - px, y - py);
        s.cumulative[size_t(i)] = total;
        px = x, py = y;
    }
    return s;
}

void EvalSegmentAt(const BezierPath& path, int32_t seg, const SegmentLengths& lengths,
                   double distance, double& x, double& y) {
    const auto& c = lengths.cumulative;
    const size_t steps = c.size() - 1;
    if (steps == 0 || distance <= 0 || lengths.length() <= 0) {
        SegmentPoint(path, seg, distance > 0 && lengths.length() <= 0 ? 1.0 : 0.0, x, y);
        return;
    }
    if (distance >= lengths.length()) {
        SegmentPoint(path, seg, 1, x, y);
        return;
    }
    // The step whose chord holds the distance, then the fraction along that chord.
    const size_t i = size_t(std::upper_bound(c.begin(), c.end(), distance) - c.begin()) - 1;
    const double span = c[i + 1] - c[i];
    const double f = span > 0 ? (distance - c[i]) / span : 0;
    SegmentPoint(path, seg, (double(i) + f) / double(steps), x, y);
}

BezierPath InterpolatePaths(const BezierPath& a, const BezierPath& b, double f) {
    BezierPath out = a;
    const size_t n = std::min(a.vertices.size(), b.vertices.size());
    auto mix = [f](double p, double q) { return p + (q - p) * f; };
    for (size_t i = 0; i < n; ++i) {
        const PathVertex &p = a.vertices[i], &q = b.vertices[i];
        out.vertices[i] = {mix(p.x, q.x),     mix(p.y, q.y),       mix(p.inX, q.inX),
                           mix(p.inY, q.inY), mix(p.outX, q.outX), mix(p.outY, q.outY)};
    }
    return out;
}

}  // namespace tv
