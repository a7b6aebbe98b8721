#include "engines/RenderEngine.h"

#include <atomic>
#include <cmath>
#include <cstring>
#include <functional>
#include <utility>

#include "engines/BuildRecords.h"
#include "engines/DepthSort.h"
#include "host/LayerLookup.h"

namespace tv {

namespace {
// v' = M v for a column-major float matrix (translation in 12..14).
void Apply(const float m[16], const float v[4], float out[4]) {
    for (int r = 0; r < 4; ++r)
        out[r] = v[0] * m[r] + v[1] * m[4 + r] + v[2] * m[8 + r] + v[3] * m[12 + r];
}
// a * b, both column major.
void MultiplyColumnMajor(const float a[16], const float b[16], float out[16]) {
    for (int c = 0; c < 4; ++c)
        for (int r = 0; r < 4; ++r) {
            float s = 0;
            for (int k = 0; k < 4; ++k) s += a[k * 4 + r] * b[c * 4 + k];
            out[c * 4 + r] = s;
        }
}
}  // namespace

void TV_Base_Render::setRenderParams(const double scale[3], const double viewport[4],
                                     const float modelView[16], const float projection[16],
                                     const double viewDirection[3]) {
    std::memcpy(scale_, scale, sizeof scale_);
    std::memcpy(viewport_, viewport, sizeof viewport_);
    std::memcpy(modelView_, modelView, sizeof modelView_);
    std::memcpy(projection_, projection, sizeof projection_);
    std::memcpy(viewDirection_, viewDirection, sizeof viewDirection_);
    MultiplyColumnMajor(projection_, modelView_, combined_);
}

AEGP_LayerH TV_Base_Render::spriteLayer(int32_t layerId, bool& isComp) const {
    isComp = false;
    if (!host_ || !effectRef || layerId == 0) return 0;
    const AEGP_LayerH layer = LayerOfOwnComp(*host_, effectRef, layerId);
    const AEGP_ItemH item = layer ? host_->layerSourceItem(layer) : 0;
    isComp = item && host_->itemType(item) == AEGP_ItemType_COMP;
    return layer;
}

void TV_Base_Render::viewOf(const double in[3], float view[4]) const {
    const float p[4] = {float(in[0] / scale_[0]), float(in[1] / scale_[1]),
                        float(in[2] / scale_[2]), 1};
    Apply(modelView_, p, view);
}

bool TV_Base_Render::projectXYZ(const float view[4], double& sx, double& sy, double& rhw) const {
    float clip[4];
    Apply(projection_, view, clip);
    rhw = 1.0 / double(clip[3]);
    const double w = viewport_[2], h = viewport_[3];
    sx = float((clip[0] * rhw + 1) * w * 0.5 + viewport_[0]);
    sy = float(h - (1 - clip[1] * rhw) * h * 0.5 + viewport_[1]);
    return rhw > 0;
}

// The point moved `size` along the view's x, projected: its distance on screen from (sx, sy).
float TV_Base_Render::projectSize(const float pointView[4], float size, double sx,
                                  double sy) const {
    float view[4] = {pointView[0], pointView[1], pointView[2], pointView[3]};
    view[0] -= float(size / scale_[0]);
    float clip[4];
    Apply(projection_, view, clip);
    const double rhw = 1.0 / double(clip[3]);
    const double w = viewport_[2], h = viewport_[3];
    const double x2 = (clip[0] * rhw + 1) * w * 0.5 + viewport_[0];
    const double y2 = h - (1 - clip[1] * rhw) * h * 0.5 + viewport_[1];
    // sqrt of the sum rather than std::hypot (a library call, 3% of a million-line frame): in
    // double, what hypot guards against (squares past 1e308 or below 1e-308) lies far outside
    // the float the size is returned as, which rounds both to the same infinity or zero.
    const double dx = x2 - sx, dy = y2 - sy;
    return float(std::sqrt(dx * dx + dy * dy));
}

void TV_Base_Render::projectCombined(const double in[3], double& sx, double& sy, double& sz,
                                     double& rhw) const {
    const float p[4] = {float(in[0] / scale_[0]), float(in[1] / scale_[1]),
                        float(in[2] / scale_[2]), 1};
    float clip[4];
    Apply(combined_, p, clip);
    rhw = 1.0 / double(clip[3]);
    const double w = viewport_[2], h = viewport_[3];
    sx = float((clip[0] * rhw + 1) * w * 0.5 + viewport_[0]);
    sy = float(h - (1 - clip[1] * rhw) * h * 0.5 + viewport_[1]);
    sz = clip[2] * rhw;
}

bool TV_Base_Render::projectPoint(DrawPoint& p) const {
    const double in[3] = {p.x, p.y, p.z};
    double sx, sy, rhw;
    if (legacyProjection) {
        double sz;
        projectCombined(in, sx, sy, sz, rhw);
        if (!(rhw > 0)) return false;
        p.size = float(p.size * cameraScale);
        if (perspectiveSizes) p.size = float(p.size * rhw);
        p.x = sx, p.y = sy, p.z = sz;
        return true;
    }
    float view[4];
    viewOf(in, view);
    if (!projectXYZ(view, sx, sy, rhw)) return false;
    if (perspectiveSizes) p.size = projectSize(view, p.size, sx, sy);
    p.x = sx, p.y = sy, p.z = 0;
    return true;
}

bool TV_Base_Render::projectSprite(DrawSprite& s) const {
    const double in[3] = {s.x, s.y, s.z};
    double sx, sy, rhw;
    if (legacyProjection) {
        double sz;
        projectCombined(in, sx, sy, sz, rhw);
        if (!(rhw > 0)) return false;
        if (perspectiveSizes) {
            s.width = float(s.width * float(rhw));
            s.height = float(s.height * float(rhw));
        }
        s.x = sx, s.y = sy, s.z = sz;
        return true;
    }
    float view[4];
    viewOf(in, view);
    if (!projectXYZ(view, sx, sy, rhw)) return false;
    if (perspectiveSizes) {
        s.width = projectSize(view, s.width, sx, sy);
        s.height = projectSize(view, s.height, sx, sy);
    }
    s.x = sx, s.y = sy, s.z = 0;
    return true;
}

double ClipSegmentToNear(double a[3], double b[3], double wa, double wb) {
    if (wa > 0 && wb > 0) return 1;
    if (wa < 0 && wb < 0) return 0;
    double* first = a;
    double* second = b;
    bool swapped = false;
    if (!(wa > 0)) {
        std::swap(first, second);
        std::swap(wa, wb);
        swapped = true;
    }
    const double t = (1 / wa) / (1 / wa - 1 / wb) - 0.001;
    for (int i = 0; i < 3; ++i) second[i] = first[i] + (second[i] - first[i]) * t;
    return swapped ? -t : t;
}

bool TV_Base_Render::projectLineLegacy(DrawLine& l) const {
    double ax, ay, az, ar, bx, by, bz, br;
    projectCombined(l.start, ax, ay, az, ar);
    projectCombined(l.end, bx, by, bz, br);
    const double t = ClipSegmentToNear(l.start, l.end, ar, br);
    if (t != 1 && t != 0) {
        // One end moved: project it again.
        if (t < 0)
            projectCombined(l.start, ax, ay, az, ar);
        else
            projectCombined(l.end, bx, by, bz, br);
    }
    if (!(ar > 0 && br > 0)) return false;
    if (t >= 0 && t < 1) {
        for (int i = 0; i < 4; ++i)
            l.endColor[i] = l.startColor[i] + (l.endColor[i] - l.startColor[i]) * float(t);
    } else if (t >= -1 && t < 0) {
        // The start colour moves away from the end colour here; that is the intended result.
        for (int i = 0; i < 4; ++i)
            l.startColor[i] = l.startColor[i] + (l.endColor[i] - l.startColor[i]) * float(t);
    }
    if (perspectiveSizes) {
        l.startSize = float(l.startSize * ar);
        l.endSize = float(l.endSize * br);
    }
    l.start[0] = ax, l.start[1] = ay, l.start[2] = az;
    l.end[0] = bx, l.end[1] = by, l.end[2] = bz;
    return true;
}

bool TV_Base_Render::projectLine(DrawLine& l) const {
    if (legacyProjection) return projectLineLegacy(l);
    double ax, ay, ar, bx, by, br;
    // No clipping on this route: a line with one end behind the camera goes whole.
    float va[4], vb[4];
    viewOf(l.start, va);
    viewOf(l.end, vb);
    if (!projectXYZ(va, ax, ay, ar) || !projectXYZ(vb, bx, by, br)) return false;
    if (perspectiveSizes) {
        l.startSize = projectSize(va, l.startSize, ax, ay);
        l.endSize = projectSize(vb, l.endSize, bx, by);
    }
    l.start[0] = ax, l.start[1] = ay, l.start[2] = 0;
    l.end[0] = bx, l.end[1] = by, l.end[2] = 0;
    return true;
}

bool TV_Base_Render::projectTriangle(DrawTriangle& t) const {
    // Triangles always take the one-step route, whatever the legacy flag says.
    double out[3][2];
    for (int i = 0; i < 3; ++i) {
        double sz, rhw;
        projectCombined(t.corners[i], out[i][0], out[i][1], sz, rhw);
        if (!(rhw > 0)) return false;
    }
    for (int i = 0; i < 3; ++i) {
        t.corners[i][0] = out[i][0];
        t.corners[i][1] = out[i][1];
        t.corners[i][2] = 0;
    }
    return true;
}

void TV_Base_Render::splitIntoTiles(const PF_EffectWorld& world, int32_t n,
                                    std::vector<ScanTile>& out) const {
    SplitIntoTiles(world, n, out);
}

PF_Err TV_Base_Render::runTiles(const std::vector<ScanTile>& tiles,
                                const std::function<void(const ScanTile&)>& fn,
                                const std::vector<size_t>* order) const {
    if (tiles.empty()) return PF_Err_NONE;
    // Each call claims the next tile of the order, whichever index the iteration gives it, so
    // the tiles start in that order on whichever thread is free.
    std::atomic<size_t> next{0};
    auto work = [&](int32_t t) -> PF_Err {
        fn(tiles[order ? (*order)[next.fetch_add(1)] : size_t(t)]);
        return PF_Err_NONE;
    };
    if (host_) return host_->iterate(int32_t(tiles.size()), work);
    for (int32_t t = 0; t < int32_t(tiles.size()); ++t) work(t);
    return PF_Err_NONE;
}

namespace {
double Dot(const double v[3], double x, double y, double z) {
    return v[0] * x + v[1] * y + v[2] * z;
}

// The introsort on the host's threads when there is a host, else on this one; the order is the
// same either way.
template <class T>
void SortFarFirst(std::vector<T>& records, const double v[3], HostServices* host) {
    auto key = [v](const T& r) { return DepthKey(r, v); };
    if (!host) return IntroSortFarFirst(records.data(), records.size(), key);
    IntroSortFarFirst(records.data(), records.size(), key, HostSplitter(host));
}
}  // namespace

double DepthKey(const DrawPoint& p, const double v[3]) {
    return Dot(v, p.x, p.y, p.z);
}

double DepthKey(const DrawSprite& s, const double v[3]) {
    return Dot(v, s.x, s.y, s.z);
}

double LineDepthKey(const double start[3], const double end[3], const double v[3]) {
    return Dot(v, (start[0] + end[0]) * 0.5, (start[1] + end[1]) * 0.5, (start[2] + end[2]) * 0.5);
}

double DepthKey(const DrawLine& l, const double v[3]) {
    return LineDepthKey(l.start, l.end, v);
}

double DepthKey(const DrawTriangle& t, const double v[3]) {
    const double k = 0.3333333333333333;
    return Dot(v, (t.corners[0][0] + t.corners[1][0] + t.corners[2][0]) * k,
               (t.corners[0][1] + t.corners[1][1] + t.corners[2][1]) * k,
               (t.corners[0][2] + t.corners[1][2] + t.corners[2][2]) * k);
}

void DepthSort(std::vector<DrawPoint>& points, const double v[3], HostServices* host) {
    SortFarFirst(points, v, host);
}

void DepthSort(std::vector<DrawSprite>& sprites, const double v[3], HostServices* host) {
    SortFarFirst(sprites, v, host);
}

void DepthSort(std::vector<DrawLine>& lines, const double v[3], HostServices* host) {
    SortFarFirst(lines, v, host);
}

void DepthSort(std::vector<DrawTriangle>& triangles, const double v[3], HostServices* host) {
    SortFarFirst(triangles, v, host);
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
