#include "engines/FacetFeeding.h"

#include <cmath>
#include <string>

#include "host/Matrix.h"
#include "host/RenderPayloads.h"

namespace tv {

void TriangleNormal(const double a[3], const double b[3], const double c[3], double n[3]) {
    const double u[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
    const double v[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
    n[0] = u[1] * v[2] - u[2] * v[1];
    n[1] = u[2] * v[0] - u[0] * v[2];
    n[2] = u[0] * v[1] - u[1] * v[0];
    const double l = std::sqrt(n[0] * n[0] + n[1] * n[1] + n[2] * n[2]);
    for (int k = 0; k < 3; ++k) n[k] = l > 0 ? n[k] / l : 0.0;
}

void PlaceFacet(const double corners[3][3], const double rotation[3], const double centroid[3],
                double out[3][3]) {
    constexpr double kRadians = 3.14159265358979323846 / 180.0;
    const Mat4 turn = Multiply(
        Multiply(AxisRotation(0, rotation[0] * kRadians), AxisRotation(1, rotation[1] * kRadians)),
        AxisRotation(2, rotation[2] * kRadians));
    double mean[3] = {0, 0, 0};
    for (int k = 0; k < 3; ++k)
        for (int c = 0; c < 3; ++c) mean[c] += corners[k][c] / 3.0;
    for (int k = 0; k < 3; ++k) {
        const double rel[3] = {corners[k][0] - mean[0], corners[k][1] - mean[1],
                               corners[k][2] - mean[2]};
        double turned[4];
        TransformPoint(turn, rel, turned);
        for (int c = 0; c < 3; ++c) out[k][c] = turned[c] + centroid[c];
    }
}

void BuildFacetTriangles(const RenderItem& item, const GeometryStore& store,
                         const ShadingRecord* shading, std::vector<DrawTriangle>& out) {
    if (item.kind != kRenderFacets) return;
    const auto& p = item.as<FacetsPayload>();
    const size_t n = store.positions.size();
    out.reserve(out.size() + p.faceCount);
    for (uint32_t i = 0; i < p.faceCount; ++i) {
        const int32_t idx[3] = {p.triples[i].a, p.triples[i].b, p.triples[i].c};
        bool usable = true;
        double corners[3][3];
        for (int k = 0; k < 3 && usable; ++k) {
            if (idx[k] < 0 || size_t(idx[k]) >= n) {
                usable = false;
                break;
            }
            const Vec3f& v = store.positions[size_t(idx[k])];
            if (std::isnan(v.x) || std::isnan(v.y) || std::isnan(v.z)) usable = false;
            corners[k][0] = v.x, corners[k][1] = v.y, corners[k][2] = v.z;
        }
        if (!usable) continue;
        DrawTriangle t;
        PlaceFacet(corners, &p.rotations[3 * i], &p.centroids[3 * i], t.corners);
        Color4f c[3];
        for (int k = 0; k < 3; ++k)
            c[k] = size_t(idx[k]) < store.colors.size() ? store.colors[size_t(idx[k])]
                                                        : Color4f{1, 1, 1, 1};
        if (p.colorMode == 2) {
            const Color4f m{(c[0].r + c[1].r + c[2].r) / 3, (c[0].g + c[1].g + c[2].g) / 3,
                            (c[0].b + c[1].b + c[2].b) / 3, (c[0].a + c[1].a + c[2].a) / 3};
            c[0] = c[1] = c[2] = m;
        } else if (p.colorMode == 3) {
            c[1] = c[2] = c[0];
        }
        double normal[3];
        TriangleNormal(t.corners[0], t.corners[1], t.corners[2], normal);
        for (int k = 0; k < 3; ++k) {
            const float src[4] = {c[k].r, c[k].g, c[k].b, c[k].a};
            for (int ch = 0; ch < 3; ++ch)
                t.colors[k][ch] = p.overrideColor ? p.color[ch] : src[ch];
            t.colors[k][3] = (p.overrideOpacity ? p.color[3] : src[3]) * p.opacity[i];
            if (shading) ShadeColor(*shading, t.corners[k], normal, t.colors[k]);
        }
        out.push_back(t);
    }
}

PF_Err FeedFacets(TV_Base_Render& engine, const RenderItem& item, const GeometryStore& store,
                  const ShadingRecord* shading) {
    if (item.kind != kRenderFacets) return PF_Err_NONE;
    std::vector<DrawTriangle> records;
    BuildFacetTriangles(item, store, shading, records);
    if (engine.wantsDepthSort()) DepthSort(records, engine.viewDirection(), engine.host());
    return engine.drawTriangles(records);
}

}  // namespace tv
