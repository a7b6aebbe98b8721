#include "engines/Feeding.h"

#include <cmath>
#include <string>

#include "host/RenderPayloads.h"

namespace tv {

UsageMasks BuildUsageMasks(const std::vector<RenderItem>& items, size_t vertexCount) {
    UsageMasks masks;
    masks.lines.assign(vertexCount, 0);
    masks.triangles.assign(vertexCount, 0);
    masks.beams.assign(vertexCount, 0);
    auto mark = [vertexCount](std::vector<uint8_t>& mask, int64_t index) {
        if (index >= 0 && size_t(index) < vertexCount) mask[size_t(index)] = 1;
    };
    for (const RenderItem& item : items) {
        if (item.kind == kRenderLines) {
            const auto& p = item.as<LinesPayload>();
            for (uint32_t i = 0; i < p.pairCount; ++i) {
                mark(masks.lines, p.pairs[i].a);
                mark(masks.lines, p.pairs[i].b);
            }
        }
    }
    return masks;
}

PF_Err FeedPoints(TV_Base_Render& engine, const RenderItem& item, const GeometryStore& store,
                  const UsageMasks& masks) {
    if (item.kind != kRenderPoints) return PF_Err_NONE;
    const auto& p = item.as<PointsPayload>();
    std::vector<DrawPoint> records;
    records.reserve(p.vertexCount);
    const size_t n = store.positions.size();
    for (uint32_t i = 0; i < p.vertexCount; ++i) {
        const uint32_t v = p.vertices[i];
        if (v >= n) continue;
        if (p.onlyConnected && !(masks.lines[v] || masks.triangles[v] || masks.beams[v])) continue;
        const Vec3f& pos = store.positions[v];
        if (std::isnan(pos.x) || std::isnan(pos.y) || std::isnan(pos.z)) {
            engine.diagnostic("Point Pos Nan detected: at index: " + std::to_string(v));
            continue;
        }
        DrawPoint d;
        d.x = double(pos.x) + p.offset[0];
        d.y = double(pos.y) + p.offset[1];
        d.z = double(pos.z) + p.offset[2];
        const Color4f& c = v < store.colors.size() ? store.colors[v] : Color4f{1, 1, 1, 1};
        d.color[0] = p.overrideColor ? p.color[0] : c.r;
        d.color[1] = p.overrideColor ? p.color[1] : c.g;
        d.color[2] = p.overrideColor ? p.color[2] : c.b;
        d.color[3] = p.overrideOpacity ? p.color[3] : c.a;
        const float scale = (!p.overrideScale && v < store.scales.size()) ? store.scales[v] : 1.0f;
        d.size = p.size * scale;
        d.softness = v < store.blurs.size() ? store.blurs[v] : 0.0f;
        records.push_back(d);
    }
    engine.perspectiveSizes = p.perspective != 0;
    if (engine.wantsDepthSort()) DepthSort(records, engine.viewDirection());
    return engine.drawPoints(records);
}

PF_Err FeedLines(TV_Base_Render& engine, const RenderItem& item, const GeometryStore& store) {
    if (item.kind != kRenderLines) return PF_Err_NONE;
    const auto& p = item.as<LinesPayload>();
    std::vector<DrawLine> records;
    records.reserve(p.pairCount);
    const size_t n = store.positions.size();
    for (uint32_t i = 0; i < p.pairCount; ++i) {
        const IndexPair& pair = p.pairs[i];
        if (pair.a < 0 || pair.b < 0 || size_t(pair.a) >= n || size_t(pair.b) >= n) continue;
        const Vec3f& a = store.positions[size_t(pair.a)];
        const Vec3f& b = store.positions[size_t(pair.b)];
        if (std::isnan(a.x + a.y + a.z + b.x + b.y + b.z)) continue;
        DrawLine l;
        l.start[0] = a.x, l.start[1] = a.y, l.start[2] = a.z;
        l.end[0] = b.x, l.end[1] = b.y, l.end[2] = b.z;
        const Color4f& ca = store.colors[size_t(pair.a)];
        const Color4f& cb = store.colors[size_t(pair.b)];
        const float opacity = p.opacity ? p.opacity[i] : 1.0f;
        const float thickness = p.thickness ? p.thickness[i] : 1.0f;
        const float sa[4] = {ca.r, ca.g, ca.b, ca.a};
        const float sb[4] = {cb.r, cb.g, cb.b, cb.a};
        for (int c = 0; c < 3; ++c) {
            l.startColor[c] = p.overrideColor ? p.color[c] : sa[c];
            l.endColor[c] = p.overrideColor ? p.color[c] : sb[c];
        }
        l.startColor[3] = (p.overrideOpacity ? p.color[3] : sa[3]) * opacity;
        l.endColor[3] = (p.overrideOpacity ? p.color[3] : sb[3]) * opacity;
        const bool scaled = !p.overrideScale && store.scales.size() == n;
        l.startSize = p.size * thickness * (scaled ? store.scales[size_t(pair.a)] : 1.0f);
        l.endSize = p.size * thickness * (scaled ? store.scales[size_t(pair.b)] : 1.0f);
        records.push_back(l);
    }
    engine.perspectiveSizes = p.perspective != 0;
    if (p.depthSort && engine.wantsDepthSort()) DepthSort(records, engine.viewDirection());
    return engine.drawLines(records);
}

}  // namespace tv
