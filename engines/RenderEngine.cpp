#include "engines/RenderEngine.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tv {

void TV_Base_Render::setRenderParams(const double scale[3], const double viewport[4],
                                     const float modelView[16], const float projection[16],
                                     const double viewDirection[3]) {
    std::memcpy(scale_, scale, sizeof scale_);
    std::memcpy(viewport_, viewport, sizeof viewport_);
    std::memcpy(modelView_, modelView, sizeof modelView_);
    std::memcpy(projection_, projection, sizeof projection_);
    std::memcpy(viewDirection_, viewDirection, sizeof viewDirection_);
}

namespace {
// v' = v * M for a float matrix with translation in 12..14.
void Apply(const float m[16], const float v[4], float out[4]) {
    for (int c = 0; c < 4; ++c)
        out[c] = v[0] * m[c] + v[1] * m[4 + c] + v[2] * m[8 + c] + v[3] * m[12 + c];
}
}  // namespace

bool TV_Base_Render::projectXYZ(const double in[3], double& sx, double& sy, double& rhw) const {
    const float p[4] = {float(in[0] / scale_[0]), float(in[1] / scale_[1]),
                        float(in[2] / scale_[2]), 1};
    float view[4], clip[4];
    Apply(modelView_, p, view);
    Apply(projection_, view, clip);
    rhw = 1.0 / double(clip[3]);
    const double w = viewport_[2], h = viewport_[3];
    sx = float((clip[0] * rhw + 1) * w * 0.5 + viewport_[0]);
    sy = float(h - (1 - clip[1] * rhw) * h * 0.5 + viewport_[1]);
    return rhw > 0;
}

float TV_Base_Render::projectSize(const double in[3], float size, double sx, double sy) const {
    const float p[4] = {float(in[0] / scale_[0]), float(in[1] / scale_[1]),
                        float(in[2] / scale_[2]), 1};
    float view[4], clip[4];
    Apply(modelView_, p, view);
    view[0] -= float(size / scale_[0]);
    Apply(projection_, view, clip);
    const double rhw = 1.0 / double(clip[3]);
    const double w = viewport_[2], h = viewport_[3];
    const double x2 = (clip[0] * rhw + 1) * w * 0.5 + viewport_[0];
    const double y2 = h - (1 - clip[1] * rhw) * h * 0.5 + viewport_[1];
    return float(std::hypot(x2 - sx, y2 - sy));
}

bool TV_Base_Render::projectPoint(DrawPoint& p) const {
    const double in[3] = {p.x, p.y, p.z};
    double sx, sy, rhw;
    if (!projectXYZ(in, sx, sy, rhw)) return false;
    if (perspectiveSizes) p.size = projectSize(in, p.size, sx, sy);
    p.x = sx, p.y = sy, p.z = 0;
    return true;
}

bool TV_Base_Render::projectLine(DrawLine& l) const {
    double ax, ay, ar, bx, by, br;
    if (!projectXYZ(l.start, ax, ay, ar) || !projectXYZ(l.end, bx, by, br)) return false;
    if (perspectiveSizes) {
        l.startSize = projectSize(l.start, l.startSize, ax, ay);
        l.endSize = projectSize(l.end, l.endSize, bx, by);
    }
    l.start[0] = ax, l.start[1] = ay, l.start[2] = 0;
    l.end[0] = bx, l.end[1] = by, l.end[2] = 0;
    return true;
}

bool TV_Base_Render::projectTriangle(DrawTriangle& t) const {
    for (auto& c : t.corners) {
        double sx, sy, rhw;
        if (!projectXYZ(c, sx, sy, rhw)) return false;
        c[0] = sx, c[1] = sy, c[2] = 0;
    }
    return true;
}

namespace {
template <class T, class Key>
void SortFarFirst(std::vector<T>& records, Key key) {
    std::sort(records.begin(), records.end(),
              [&](const T& a, const T& b) { return key(a) > key(b); });
}
double Dot(const double v[3], double x, double y, double z) {
    return v[0] * x + v[1] * y + v[2] * z;
}
}  // namespace

void DepthSort(std::vector<DrawPoint>& points, const double v[3]) {
    SortFarFirst(points, [v](const DrawPoint& p) { return Dot(v, p.x, p.y, p.z); });
}

void DepthSort(std::vector<DrawLine>& lines, const double v[3]) {
    SortFarFirst(lines, [v](const DrawLine& l) {
        return Dot(v, (l.start[0] + l.end[0]) * 0.5, (l.start[1] + l.end[1]) * 0.5,
                   (l.start[2] + l.end[2]) * 0.5);
    });
}

void DepthSort(std::vector<DrawTriangle>& triangles, const double v[3]) {
    SortFarFirst(triangles, [v](const DrawTriangle& t) {
        const double k = 0.3333333333333333;
        return Dot(v, (t.corners[0][0] + t.corners[1][0] + t.corners[2][0]) * k,
                   (t.corners[0][1] + t.corners[1][1] + t.corners[2][1]) * k,
                   (t.corners[0][2] + t.corners[1][2] + t.corners[2][2]) * k);
    });
}

void SplitIntoTiles(const PF_EffectWorld& world, int32_t n, std::vector<ScanTile>& out) {
    if (!world.data || n <= 0) return;
    const int32_t tileW = world.width / n, tileH = world.height / n;
    for (int32_t row = 0; row < n; ++row)
        for (int32_t col = 0; col < n; ++col) {
            ScanTile t;
            t.left = col * tileW;
            t.top = row * tileH;
            t.right = col == n - 1 ? world.width : (col + 1) * tileW;
            t.bottom = row == n - 1 ? world.height : (row + 1) * tileH;
            out.push_back(t);
        }
}

}  // namespace tv
