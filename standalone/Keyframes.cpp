#include "standalone/Keyframes.h"

#include <algorithm>
#include <cmath>

namespace tv::standalone {

namespace {

double Cubic(double a, double b, double c, double d, double s) {
    const double u = 1 - s;
    return u * u * u * a + 3 * u * u * s * b + 3 * u * s * s * c + s * s * s * d;
}

// One component along a bezier segment in (time, value): solve time for the curve's parameter.
double BezierValue(double t0, double v0, double t1, double v1, double speedOut, double infOut,
                   double speedIn, double infIn, double t) {
    const double dt = t1 - t0;
    const double x1 = t0 + infOut * dt, y1 = v0 + speedOut * infOut * dt;
    const double x2 = t1 - infIn * dt, y2 = v1 - speedIn * infIn * dt;
    double lo = 0, hi = 1;
    for (int i = 0; i < 60; ++i) {  // time along the curve rises monotonically: bisect
        const double mid = 0.5 * (lo + hi);
        (Cubic(t0, x1, x2, t1, mid) < t ? lo : hi) = mid;
    }
    return Cubic(v0, y1, y2, v1, 0.5 * (lo + hi));
}

}  // namespace

std::array<double, 4> Evaluate(const std::vector<Key>& keys, double t, int components) {
    if (keys.empty()) return {};
    if (t <= keys.front().t) return keys.front().v;
    if (t >= keys.back().t) return keys.back().v;
    const auto next = std::upper_bound(keys.begin(), keys.end(), t,
                                       [](double time, const Key& k) { return time < k.t; });
    const Key& a = *(next - 1);
    const Key& b = *next;
    if (a.interp == Interp::Hold) return a.v;
    std::array<double, 4> out = a.v;
    const double dt = b.t - a.t;
    for (int c = 0; c < components; ++c) {
        const double va = a.v[size_t(c)], vb = b.v[size_t(c)];
        if (a.interp == Interp::Bezier)
            out[size_t(c)] = BezierValue(a.t, va, b.t, vb, a.speedOut, a.influenceOut, b.speedIn,
                                         b.influenceIn, t);
        else
            out[size_t(c)] = va + (vb - va) * ((t - a.t) / dt);
    }
    return out;
}

}  // namespace tv::standalone
