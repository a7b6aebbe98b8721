#include "engines/TubeBuilder.h"

#include <cmath>

namespace tv {

namespace {

struct V3 {
    double x = 0, y = 0, z = 0;
};
V3 operator-(V3 a, V3 b) {
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}
V3 operator+(V3 a, V3 b) {
    return {a.x + b.x, a.y + b.y, a.z + b.z};
}
V3 operator*(V3 a, double s) {
    return {a.x * s, a.y * s, a.z * s};
}
double Dot(V3 a, V3 b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}
V3 Cross(V3 a, V3 b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
V3 Normalized(V3 a) {
    const double l = std::sqrt(Dot(a, a));
    return l > 0 ? a * (1 / l) : V3{};
}
// `up` made perpendicular to the unit direction `t` by subtracting its projection.
V3 Perpendicular(V3 up, V3 t) {
    return Normalized(up - t * Dot(up, t));
}

}  // namespace

void BuildTube(const BeamPath& path, const std::vector<float>& radii, TubeMesh& out) {
    const size_t n = path.size();
    if (n < 2) return;
    auto point = [&](size_t k) {
        return V3{path.positions[3 * k], path.positions[3 * k + 1], path.positions[3 * k + 2]};
    };
    // The unit circle of the profile, made by repeated rotation.
    double circle[kTubeSides + 1][2];
    const double step = 2 * 3.14159265358979323846 / kTubeSides;
    const double c = std::cos(step), s = std::sin(step);
    double px = 1, py = 0;
    for (int32_t i = 0; i < kTubeSides; ++i) {
        circle[i][0] = px, circle[i][1] = py;
        const double nx = px * c - py * s, ny = px * s + py * c;
        px = nx, py = ny;
    }
    circle[kTubeSides][0] = 1, circle[kTubeSides][1] = 0;  // a closed loop

    V3 first = point(1) - point(0);
    V3 up{};
    if (Dot(first, first) == 0) {
        out.warnings.emplace_back("Extrusion: Warning: initial segment zero length");
    } else {
        const V3 t = Normalized(first);
        up = Perpendicular(std::abs(t.y) < 0.9 ? V3{0, 1, 0} : V3{1, 0, 0}, t);
    }
    const auto base = uint32_t(out.positions.size() / 3);
    for (size_t k = 0; k < n; ++k) {
        // The tangent at a point: its segment's, or the mean of the two that meet there.
        V3 t = k + 1 < n ? point(k + 1) - point(k) : point(k) - point(k - 1);
        if (k > 0 && k + 1 < n) t = Normalized(t) + Normalized(point(k) - point(k - 1));
        t = Normalized(t);
        if (Dot(t, t) > 0 && Dot(up, up) > 0) {
            const V3 carried = Perpendicular(up, t);
            if (Dot(carried, carried) > 0) up = carried;
        }
        const V3 side = Normalized(Cross(t, up));
        const V3 p = point(k);
        const double r = k < radii.size() ? radii[k] : 0.0;
        for (int32_t i = 0; i <= kTubeSides; ++i) {
            const V3 q = {p.x + (up.x * circle[i][0] + side.x * circle[i][1]) * r,
                          p.y + (up.y * circle[i][0] + side.y * circle[i][1]) * r,
                          p.z + (up.z * circle[i][0] + side.z * circle[i][1]) * r};
            out.positions.insert(out.positions.end(), {float(q.x), float(q.y), float(q.z)});
            out.colors.insert(out.colors.end(), path.colors.begin() + long(4 * k),
                              path.colors.begin() + long(4 * k + 4));
        }
    }
    constexpr uint32_t ring = kTubeSides + 1;
    for (size_t k = 0; k + 1 < n; ++k) {
        for (uint32_t i = 0; i < ring; ++i) {
            out.indices.push_back(base + uint32_t(k) * ring + i);
            out.indices.push_back(base + uint32_t(k + 1) * ring + i);
        }
        out.indices.push_back(kRestartIndex);
    }
}

}  // namespace tv
