#include "engines/Feeding.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <type_traits>

#include "engines/BuildRecords.h"
#include "engines/FacetFeeding.h"
#include "host/RenderPayloads.h"

namespace tv {

namespace {

bool HasNan(const Vec3f& p) {
    return std::isnan(p.x) || std::isnan(p.y) || std::isnan(p.z);
}

void ReportNan(const TV_Base_Render& engine, const char* what, const Vec3f& p, size_t index) {
    engine.diagnostic(std::string(what) + " " + std::to_string(p.x) + ", " + std::to_string(p.y) +
                      ", " + std::to_string(p.z) + " at index: " + std::to_string(index));
}

Color4f ColorOf(const GeometryStore& store, size_t v) {
    return v < store.colors.size() ? store.colors[v] : Color4f{1, 1, 1, 1};
}

float ScaleOf(const GeometryStore& store, size_t v) {
    return v < store.scales.size() ? store.scales[v] : 1.0f;
}

// The records of a render item's taken elements, in element order or, with `sort`, far first in
// the order the depth sort gives, into `out`.
template <class Record, class Judge, class Report, class Make>
void MakeRecords(const TV_Base_Render& engine, bool sort, size_t count, const Judge& judge,
                 const Report& report, const Make& make, std::vector<Record>& out) {
    if (!sort) return BuildRecords(engine.host(), count, judge, report, make, out);
    const double* view = engine.viewDirection();
    BuildSortedRecords(
        engine.host(), count, judge, report, make,
        [view](const Record& r) { return DepthKey(r, view); }, out);
}

// As MakeRecords, handing the records to `draw(records)` in the engine's batches (in the same
// order, so the picture is the same) and returning its first error. The engine is called at
// least once, with no records when nothing is taken, as with one call. `itemKey(i)`, when
// given, is item i's depth key without making its record (it must equal the record's).
template <class Record, class Judge, class Report, class Make, class Draw,
          class ItemKey = std::nullptr_t>
PF_Err FeedRecords(const TV_Base_Render& engine, bool sort, size_t count, const Judge& judge,
                   const Report& report, const Make& make, const Draw& draw,
                   const ItemKey& itemKey = nullptr) {
    const size_t batch = engine.recordsPerCall();
    std::vector<Record> records;
    bool drawn = false;
    auto drawBatch = [&](std::vector<Record>& r) {
        drawn = true;
        return draw(r);
    };
    PF_Err err = PF_Err_NONE;
    if (sort) {
        const double* view = engine.viewDirection();
        auto keyOfRecord = [&](size_t i) {
            Record r;
            make(i, r);
            return DepthKey(r, view);
        };
        if constexpr (std::is_same_v<ItemKey, std::nullptr_t>)
            err = SortedRecordBatches(engine.host(), count, judge, report, make, keyOfRecord, batch,
                                      records, drawBatch);
        else
            err = SortedRecordBatches(engine.host(), count, judge, report, make, itemKey, batch,
                                      records, drawBatch);
    } else {
        const size_t step = batch ? batch : std::max<size_t>(count, 1);
        for (size_t first = 0; first < count && !err; first += step) {
            const size_t n = std::min(step, count - first);
            records.clear();
            BuildRecords(
                engine.host(), n, [&](size_t i) { return judge(first + i); },
                [&](size_t i) { report(first + i); },
                [&](size_t i, Record& r) { make(first + i, r); }, records);
            err = drawBatch(records);
        }
    }
    if (err || drawn) return err;
    records.clear();
    return draw(records);
}

}  // namespace

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
        } else if (item.kind == kRenderTriangles) {
            const auto& p = item.as<TrianglesPayload>();
            for (uint32_t i = 0; i < p.tripleCount; ++i) {
                mark(masks.triangles, p.triples[i].a);
                mark(masks.triangles, p.triples[i].b);
                mark(masks.triangles, p.triples[i].c);
            }
        } else if (item.kind == kRenderBeams) {
            // An end counts as used once the beam reaches it: the end a beam grows from as
            // soon as any of it shows, the other only when it is whole.
            const auto& p = item.as<BeamsPayload>();
            for (uint32_t i = 0; i < p.beamCount; ++i) {
                const float v = p.amounts ? p.amounts[i] : 1.0f;
                const bool first = p.flipDirection ? v >= 1.0f : v > 0.0f;
                const bool second = p.flipDirection ? v > 0.0f : v >= 1.0f;
                if (first) mark(masks.beams, p.pairs[i].a);
                if (second) mark(masks.beams, p.pairs[i].b);
            }
        }
    }
    return masks;
}

PF_Err FeedPoints(TV_Base_Render& engine, const RenderItem& item, const GeometryStore& store,
                  const UsageMasks& masks) {
    if (item.kind != kRenderPoints) return PF_Err_NONE;
    const auto& p = item.as<PointsPayload>();
    const size_t n = store.positions.size();
    auto used = [&](uint32_t v) {
        return (v < masks.lines.size() && masks.lines[v]) ||
               (v < masks.triangles.size() && masks.triangles[v]) ||
               (v < masks.beams.size() && masks.beams[v]);
    };
    engine.perspectiveSizes = p.perspective != 0;
    // A sprite must come from a composition: other sources are refused and the points stay discs.
    bool isComp = false;
    const AEGP_LayerH spriteLayer = p.hasSprite ? engine.spriteLayer(p.spriteLayer, isComp) : 0;
    if (p.hasSprite && spriteLayer && !isComp) engine.pendingError() = kSpriteNotCompMessage;
    const bool asSprites = spriteLayer && isComp;
    auto judge = [&](size_t i) {
        const uint32_t v = p.vertices[i];
        if (v >= n || (p.onlyConnected && !used(v))) return Verdict::kSkip;
        return HasNan(store.positions[v]) ? Verdict::kReport : Verdict::kTake;
    };
    auto report = [&](size_t i) {
        const uint32_t v = p.vertices[i];
        ReportNan(engine, "Point Pos Nan detected:", store.positions[v], v);
    };
    // Where a vertex draws, its colour and its radius, for discs and sprites alike.
    auto place = [&](size_t i, double& x, double& y, double& z, float color[4]) {
        const uint32_t v = p.vertices[i];
        const Vec3f& pos = store.positions[v];
        const Color4f c = ColorOf(store, v);
        color[0] = c.r, color[1] = c.g, color[2] = c.b, color[3] = c.a;
        if (p.overrideColor) color[0] = p.color[0], color[1] = p.color[1], color[2] = p.color[2];
        if (p.overrideOpacity) color[3] = p.color[3];
        x = double(pos.x) + p.offset[0], y = double(pos.y) + p.offset[1],
        z = double(pos.z) + p.offset[2];
        return p.size * (p.overrideScale ? 1.0f : ScaleOf(store, v));
    };
    if (asSprites) {
        std::vector<DrawSprite> sprites;
        MakeRecords(
            engine, engine.wantsDepthSort(), p.vertexCount, judge, report,
            [&](size_t i, DrawSprite& s) {
                s.width = s.height = place(i, s.x, s.y, s.z, s.color);
                s.layer = spriteLayer;
                if (p.sampleIndex && p.times && p.sampleIndex[i] < p.timeCount)
                    s.time = uint64_t(uint32_t(p.times[p.sampleIndex[i]].value));
            },
            sprites);
        const std::vector<A_Time> times(p.times, p.times + (p.times ? p.timeCount : 0));
        PF_Err err = engine.prepareSprites(spriteLayer, times);
        if (!err) err = engine.drawSprites(sprites);
        const PF_Err finish = engine.finishSprites();
        return err ? err : finish;
    }
    return FeedRecords<DrawPoint>(
        engine, engine.wantsDepthSort(), p.vertexCount, judge, report,
        [&](size_t i, DrawPoint& d) {
            d.size = place(i, d.x, d.y, d.z, d.color);
            const uint32_t v = p.vertices[i];
            d.softness = v < store.blurs.size() ? store.blurs[v] : 0.0f;
        },
        [&engine](std::vector<DrawPoint>& r) { return engine.drawPoints(r); });
}

PF_Err FeedLines(TV_Base_Render& engine, const RenderItem& item, const GeometryStore& store) {
    if (item.kind != kRenderLines) return PF_Err_NONE;
    const auto& p = item.as<LinesPayload>();
    const size_t n = store.positions.size();
    const bool scaled = !p.overrideScale && store.scales.size() == n;
    auto judge = [&](size_t i) {
        const IndexPair& pair = p.pairs[i];
        if (pair.a < 0 || pair.b < 0 || size_t(pair.a) >= n || size_t(pair.b) >= n)
            return Verdict::kSkip;
        const bool nan =
            HasNan(store.positions[size_t(pair.a)]) || HasNan(store.positions[size_t(pair.b)]);
        return nan ? Verdict::kReport : Verdict::kTake;
    };
    auto report = [&](size_t i) {
        const IndexPair& pair = p.pairs[i];
        const Vec3f& a = store.positions[size_t(pair.a)];
        const Vec3f& b = store.positions[size_t(pair.b)];
        ReportNan(engine, "Line Pos Nan detected:", HasNan(a) ? a : b,
                  size_t(HasNan(a) ? pair.a : pair.b));
    };
    auto make = [&](size_t i, DrawLine& l) {
        const IndexPair& pair = p.pairs[i];
        const Vec3f& a = store.positions[size_t(pair.a)];
        const Vec3f& b = store.positions[size_t(pair.b)];
        l.start[0] = a.x, l.start[1] = a.y, l.start[2] = a.z;
        l.end[0] = b.x, l.end[1] = b.y, l.end[2] = b.z;
        const Color4f ca = ColorOf(store, size_t(pair.a));
        const Color4f cb = ColorOf(store, size_t(pair.b));
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
        l.startSize = p.size * thickness * (scaled ? store.scales[size_t(pair.a)] : 1.0f);
        l.endSize = p.size * thickness * (scaled ? store.scales[size_t(pair.b)] : 1.0f);
    };
    // The depth key from the two ends alone, as the made record's.
    const double* view = engine.viewDirection();
    auto key = [&](size_t i) {
        const Vec3f& a = store.positions[size_t(p.pairs[i].a)];
        const Vec3f& b = store.positions[size_t(p.pairs[i].b)];
        const double start[3] = {a.x, a.y, a.z}, end[3] = {b.x, b.y, b.z};
        return LineDepthKey(start, end, view);
    };
    engine.perspectiveSizes = p.perspective != 0;
    return FeedRecords<DrawLine>(
        engine, p.depthSort && engine.wantsDepthSort(), p.pairCount, judge, report, make,
        [&engine](std::vector<DrawLine>& r) { return engine.drawLines(r); }, key);
}

PF_Err FeedTriangles(TV_Base_Render& engine, const RenderItem& item, const GeometryStore& store,
                     const ShadingRecord* shading) {
    if (item.kind != kRenderTriangles) return PF_Err_NONE;
    const auto& p = item.as<TrianglesPayload>();
    const size_t n = store.positions.size();
    auto corners = [&p](size_t i) {
        return std::array<int32_t, 3>{p.triples[i].a, p.triples[i].b, p.triples[i].c};
    };
    auto judge = [&](size_t i) {
        const std::array<int32_t, 3> idx = corners(i);
        for (int32_t v : idx)
            if (v < 0 || size_t(v) >= n) return Verdict::kSkip;
        for (int32_t v : idx)
            if (HasNan(store.positions[size_t(v)])) return Verdict::kReport;
        return Verdict::kTake;
    };
    auto report = [&](size_t i) {
        for (int32_t v : corners(i))
            if (HasNan(store.positions[size_t(v)])) {
                ReportNan(engine, "Triangle Pos Nan detected:", store.positions[size_t(v)],
                          size_t(v));
                return;
            }
    };
    auto make = [&](size_t i, DrawTriangle& t) {
        const std::array<int32_t, 3> idx = corners(i);
        Color4f c[3];
        for (int k = 0; k < 3; ++k) {
            const Vec3f& pos = store.positions[size_t(idx[size_t(k)])];
            t.corners[k][0] = pos.x, t.corners[k][1] = pos.y, t.corners[k][2] = pos.z;
            c[k] = ColorOf(store, size_t(idx[size_t(k)]));
        }
        if (p.colorMode == 2) {
            Color4f m{(c[0].r + c[1].r + c[2].r) / 3, (c[0].g + c[1].g + c[2].g) / 3,
                      (c[0].b + c[1].b + c[2].b) / 3, (c[0].a + c[1].a + c[2].a) / 3};
            c[0] = c[1] = c[2] = m;
        } else if (p.colorMode == 3) {
            c[1] = c[2] = c[0];
        }
        const float opacity = p.opacity ? p.opacity[i] : 1.0f;
        double normal[3] = {0, 0, 0};
        if (shading && shading->enabled)
            TriangleNormal(t.corners[0], t.corners[1], t.corners[2], normal);
        for (int k = 0; k < 3; ++k) {
            const float src[4] = {c[k].r, c[k].g, c[k].b, c[k].a};
            for (int ch = 0; ch < 3; ++ch)
                t.colors[k][ch] = p.overrideColor ? p.color[ch] : src[ch];
            t.colors[k][3] = (p.overrideOpacity ? p.color[3] : src[3]) * opacity;
            if (shading) ShadeColor(*shading, t.corners[k], normal, t.colors[k]);
        }
    };
    return FeedRecords<DrawTriangle>(
        engine, engine.wantsDepthSort(), p.tripleCount, judge, report, make,
        [&engine](std::vector<DrawTriangle>& r) { return engine.drawTriangles(r); });
}

void BuildBeamPaths(const RenderItem& item, const GeometryStore& store,
                    std::vector<BeamPath>& out) {
    if (item.kind != kRenderBeams) return;
    const auto& p = item.as<BeamsPayload>();
    const size_t n = store.positions.size();
    int32_t lastTo = -1;
    auto point = [&](BeamPath& path, const double pos[3], const float color[4], float radius) {
        path.positions.insert(path.positions.end(), pos, pos + 3);
        path.colors.insert(path.colors.end(), color, color + 4);
        path.radii.push_back(radius);
    };
    for (uint32_t i = 0; i < p.beamCount; ++i) {
        const float amount = p.amounts ? p.amounts[i] : 1.0f;
        if (!(amount > 0)) continue;
        int32_t from = p.pairs[i].a, to = p.pairs[i].b;
        if (p.flipDirection) std::swap(from, to);
        if (from < 0 || to < 0 || size_t(from) >= n || size_t(to) >= n) continue;
        const Vec3f& a = store.positions[size_t(from)];
        const Vec3f& b = store.positions[size_t(to)];
        const double p0[3] = {a.x, a.y, a.z}, p1[3] = {b.x, b.y, b.z};
        float c0[4], c1[4];
        const Color4f ca = ColorOf(store, size_t(from)), cb = ColorOf(store, size_t(to));
        const float va[4] = {ca.r, ca.g, ca.b, ca.a}, vb[4] = {cb.r, cb.g, cb.b, cb.a};
        for (int k = 0; k < 3; ++k) {
            c0[k] = p.overrideColor ? p.color[k] : va[k];
            c1[k] = p.overrideColor ? p.color[k] : vb[k];
        }
        c0[3] = p.overrideOpacity ? p.color[3] : va[3];
        c1[3] = p.overrideOpacity ? p.color[3] : vb[3];
        const float r0 = p.startThickness * (p.overrideScale ? 1.0f : ScaleOf(store, size_t(from)));
        const float r1 = p.endThickness * (p.overrideScale ? 1.0f : ScaleOf(store, size_t(to)));
        // Colour, alpha and thickness run linearly along the beam.
        auto at = [&](double t, float color[4], float& radius) {
            for (int k = 0; k < 4; ++k) color[k] = float(c0[k] + (c1[k] - c0[k]) * t);
            radius = float(r0 + (r1 - r0) * t);
        };
        if (!p.bezier) {
            if (out.empty() || from != lastTo) out.emplace_back();
            BeamPath& path = out.back();
            double e[3];
            for (int k = 0; k < 3; ++k) e[k] = p0[k] + (p1[k] - p0[k]) * amount;
            float col[4];
            float rad;
            if (path.size() == 0) {
                at(0, col, rad);
                point(path, p0, col, rad);
            }
            at(amount, col, rad);
            point(path, e, col, rad);
            // A beam cut short ends before its vertex, so the next one cannot join on.
            lastTo = amount >= 1.0f ? to : -1;
            continue;
        }
        // Cubic with the control points moved along the bezier axis only.
        const int axis = std::clamp(p.bezierAxis, 0, 2);
        double c1p[3] = {p0[0], p0[1], p0[2]}, c2p[3] = {p1[0], p1[1], p1[2]};
        c1p[axis] = (p1[axis] - p0[axis]) * p.startCurve + p0[axis];
        c2p[axis] = (p0[axis] - p1[axis]) * p.endCurve + p1[axis];
        auto bez = [&](double t, double q[3]) {
            const double u = 1 - t;
            for (int k = 0; k < 3; ++k)
                q[k] = u * u * u * p0[k] + 3 * u * u * t * c1p[k] + 3 * u * t * t * c2p[k] +
                       t * t * t * p1[k];
        };
        out.emplace_back();
        BeamPath& path = out.back();
        // No bezier points: no segments.
        const int32_t steps = p.bezierPoints;
        for (int32_t k = 0; k < steps; ++k) {
            const double t1 = double(k) / steps, t2 = double(k + 1) / steps;
            if (t2 > amount) break;
            double q[3];
            float col[4];
            float rad;
            if (path.size() == 0) {
                bez(t1, q);
                at(t1, col, rad);
                point(path, q, col, rad);
            }
            bez(t2, q);
            at(t2, col, rad);
            point(path, q, col, rad);
        }
        if (path.size() == 0) out.pop_back();
        lastTo = -1;  // a break follows each bezier beam
    }
}

PF_Err FeedBeams(TV_Base_Render& engine, const RenderItem& item, const GeometryStore& store) {
    if (item.kind != kRenderBeams) return PF_Err_NONE;
    const auto& p = item.as<BeamsPayload>();
    std::vector<BeamPath> paths;
    BuildBeamPaths(item, store, paths);
    engine.perspectiveSizes = p.perspective != 0;
    if (!engine.wantsDepthSort()) return engine.drawBeams(paths);
    std::vector<DrawLine> records;
    for (const BeamPath& path : paths)
        for (size_t k = 0; k + 1 < path.size(); ++k) {
            DrawLine l;
            for (int i = 0; i < 3; ++i) {
                l.start[i] = path.positions[3 * k + size_t(i)];
                l.end[i] = path.positions[3 * (k + 1) + size_t(i)];
            }
            for (int i = 0; i < 4; ++i) {
                l.startColor[i] = path.colors[4 * k + size_t(i)];
                l.endColor[i] = path.colors[4 * (k + 1) + size_t(i)];
            }
            l.startSize = path.radii[k];
            l.endSize = path.radii[k + 1];
            records.push_back(l);
        }
    DepthSort(records, engine.viewDirection(), engine.host());
    return engine.drawLines(records);
}

PF_Err FeedItem(TV_Base_Render& points, TV_Base_Render& lines, TV_Base_Render& triangles,
                const RenderItem& item, const GeometryStore& store, const UsageMasks& masks,
                const ShadingRecord* shading) {
    switch (item.kind) {
        case kRenderPoints:
            return FeedPoints(points, item, store, masks);
        case kRenderLines:
            return FeedLines(lines, item, store);
        case kRenderTriangles:
            return FeedTriangles(triangles, item, store, shading);
        case kRenderFacets:
            return triangles.isGpu() ? FeedFacets(triangles, item, store, shading) : PF_Err_NONE;
        case kRenderBeams:
            return FeedBeams(lines, item, store);
        default:
            return PF_Err_NONE;
    }
}

}  // namespace tv
