// "Tavrin Slicer Object": projects the vertices of one layer's geometry onto another layer's
// mesh, each along its normal (against it by default), keeping the nearest hit. The result keeps
// the first mesh's lattice; a vertex with no hit stands at +infinity.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <limits>

#include "host/AABBTree.h"
#include "host/EffectTemplate.h"
#include "host/LayerLookup.h"
#include "host/ParamBuilders.h"
#include "host/ParamHash.h"
#include "host/ParamValues.h"
#include "host/SuiteCache.h"
#include "sources/SourceEntries.h"

namespace tv {

namespace {

using namespace params;

enum : int32_t {
    kFromLayer = 1,
    kToLayer = 2,
    kFlip = 3,
    kMaxDistance = 4,
    kColor = 5,
    kOpacity = 6,
    kGroup = 7,
};

constexpr ParamSpec kTable[] = {
    Row(0, 0, PF_Param_LAYER, "input"),
    Doc(Row(1, 1, PF_Param_LAYER, "From Mesh Layer", 0, kParamFlagsSup),
        "The layer whose vertices cast rays, against their normals unless flipped."),
    Doc(Row(2, 2, PF_Param_LAYER, "To Mesh Layer", 0, kParamFlagsSup),
        "The layer whose mesh the rays hit; each hit becomes a vertex."),
    Doc(Row(3, 3, PF_Param_CHECKBOX, "Flip Direction", 0),
        "Casts the rays along the normals instead of against them."),
    Doc(Float(4, 5, "Max Distance", 5000, 0, 1000000, 0, 10000, 0), ParamUnit::WorldUnits,
        "How far a ray reaches; a ray that hits nothing within it makes no visible vertex."),
    Doc(Color(5, 6, "Color", 1, 1, 1), "Colour of every new vertex."),
    Doc(Fixed(6, 7, "Opacity", 50, 0, 100, 0, 100, 1), ParamUnit::Percent,
        "Opacity of every new vertex."),
    Doc(Popup(7, 4, "Group", kGroupChoicesNone, 12, kParamFlagsSup),
        "The group this source's vertices join; effectors and renderers choose vertices by group."),
};

struct SlicerSettings {
    int32_t from = 0, to = 0;
    bool flip = false;
    float maxDistance = 5000;
    float color[4] = {1, 1, 1, 0.5f};
    int32_t group = 12;
};

SlicerSettings Read(PF_InData* in) {
    SlicerSettings s;
    s.from = CheckoutParam(in, kFromLayer).u.layerId;
    s.to = CheckoutParam(in, kToLayer).u.layerId;
    s.flip = CheckedParam(in, kFlip);
    s.maxDistance = float(CheckoutParam(in, kMaxDistance).u.floatValue);
    const PF_Pixel8 c = CheckoutParam(in, kColor).u.color;
    s.color[0] = c.red / 255.0f, s.color[1] = c.green / 255.0f, s.color[2] = c.blue / 255.0f;
    s.color[3] = float(PercentParam(in, kOpacity));
    s.group = CheckoutParam(in, kGroup).u.popup;
    return s;
}

// The To store's mesh as a tree: positions and faces moved by their ranges' starts.
AABBTreePoly MeshTree(const GeometryStore& g) {
    std::vector<std::array<float, 3>> points;
    points.reserve(g.positions.size());
    for (const Vec3f& p : g.positions) points.push_back({p.x, p.y, p.z});
    std::vector<std::array<int32_t, 3>> polys;
    for (const ObjectRange& r : g.ranges)
        for (uint32_t f = r.faceStart; f < r.faceStart + r.faceCount && f < g.faces.size(); ++f) {
            const Vec3i& face = g.faces[f];
            const auto s = int32_t(r.vertexStart);
            polys.push_back({face.x + s, face.y + s, face.z + s});
        }
    return BuildAABBTree(std::move(points), polys);
}

PF_Err Contribute(PF_InData* in, PF_OutData*, ObjectMessage& m) {
    SuiteCache suites(in);
    HostServices& host = suites.host();
    const SlicerSettings s = Read(in);
    m.setPayloadInt(0);
    m.setPayloadGroup(static_cast<int16_t>(s.group));
    if (!(m.flags & kMsgNeedsLayers)) {
        // First call: ask for both layers; the gather calls again.
        if (!s.from && !s.to) return PF_Err_NONE;
        m.flags |= kMsgNeedsLayers;
        const A_Time now =
            host.convertEffectToCompTime(in->effect_ref, in->current_time, in->time_scale);
        for (int32_t id : {s.from, s.to})
            if (id) m.requestLayer(m.renders, uint32_t(id), PackTime(now));
        return PF_Err_NONE;
    }
    uint32_t count = 0;
    m.gatheredCount(m.renders, &count);
    if (count < 2) return PF_Err_NONE;
    ObjectMessage *fromMsg = nullptr, *toMsg = nullptr;
    m.gatheredAt(m.renders, 0, &fromMsg);
    m.gatheredAt(m.renders, 1, &toMsg);
    if (!fromMsg || !toMsg) return PF_Err_NONE;
    const GeometryStore& from = *fromMsg->geometry;
    const GeometryStore& to = *toMsg->geometry;
    if (to.faces.empty() || to.positions.empty() || from.positions.empty()) return PF_Err_NONE;
    const auto started = std::chrono::steady_clock::now();
    const AABBTreePoly tree = MeshTree(to);
    host.diagnostic(
        "Slicer Tree: " +
        std::to_string(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count()));
    GeometryStore& out = *m.geometry;
    const float inf = std::numeric_limits<float>::infinity();
    uint32_t appended = 0;
    for (const ObjectRange& r : from.ranges) {
        const uint32_t c = r.vertexCount, first = r.vertexStart;
        std::vector<Vec3f> positions(c, Vec3f{inf, inf, inf}), normals(c, Vec3f{0, -1, 0});
        std::vector<Vec3f> uvw(c, Vec3f{});
        std::vector<Vec3i> lattice(c, Vec3i{});
        const PF_Err err = host.iterate(int32_t(c), [&](int32_t k) {
            const uint32_t i = first + uint32_t(k);
            if (i >= from.positions.size()) return PF_Err_NONE;
            thread_local std::vector<int32_t> candidates;
            const Vec3f& p = from.positions[i];
            Vec3f n = i < from.normals.size() ? from.normals[i] : Vec3f{};
            if (s.flip) n = Vec3f{-n.x, -n.y, -n.z};
            const double P[3] = {p.x, p.y, p.z};
            const double Q[3] = {p.x - double(s.maxDistance) * n.x,
                                 p.y - double(s.maxDistance) * n.y,
                                 p.z - double(s.maxDistance) * n.z};
            const float a[3] = {p.x, p.y, p.z}, b[3] = {float(Q[0]), float(Q[1]), float(Q[2])};
            tree.collideWithSegment(a, b, candidates);
            double best[3] = {0, 0, 0}, bestD = INFINITY;
            for (int32_t cand : candidates) {
                const auto& poly = tree.polygons[size_t(cand)];
                double corner[3][3];
                for (int v = 0; v < 3; ++v)
                    for (int d = 0; d < 3; ++d)
                        corner[v][d] = tree.points[size_t(poly[size_t(v)])][size_t(d)];
                double hit[3];
                if (!SegmentTriangleHit(P, Q, corner[0], corner[1], corner[2], hit)) continue;
                const double d2 = (hit[0] - P[0]) * (hit[0] - P[0]) +
                                  (hit[1] - P[1]) * (hit[1] - P[1]) +
                                  (hit[2] - P[2]) * (hit[2] - P[2]);
                if (d2 < bestD) bestD = d2, best[0] = hit[0], best[1] = hit[1], best[2] = hit[2];
            }
            if (bestD < INFINITY) {
                positions[size_t(k)] = Vec3f{float(best[0]), float(best[1]), float(best[2])};
                if (i < from.normals.size()) normals[size_t(k)] = from.normals[i];
                if (i < from.uvw.size()) uvw[size_t(k)] = from.uvw[i];
            }
            if (i < from.lattice.size()) lattice[size_t(k)] = from.lattice[i];
            return PF_Err_NONE;
        });
        if (err) return err;
        out.positions.insert(out.positions.end(), positions.begin(), positions.end());
        out.colors.insert(out.colors.end(), c,
                          Color4f{s.color[0], s.color[1], s.color[2], s.color[3]});
        out.uvw.insert(out.uvw.end(), uvw.begin(), uvw.end());
        out.lattice.insert(out.lattice.end(), lattice.begin(), lattice.end());
        out.normals.insert(out.normals.end(), normals.begin(), normals.end());
        // The mask word is 1 (the first axis alone), not the From object's: the beams' axis and
        // the instances' stacking read it downstream.
        ObjectRange range = r;
        range.group = s.group;
        range.kind = 1;
        range.vertexStart = out.vertexBase + appended;
        range.faceStart = out.faceBase;
        range.faceCount = 0;
        range.reserved = 0;
        out.ranges.push_back(range);
        appended += c;
    }
    out.vertexPending = appended;
    out.facePending = 0;
    return PF_Err_NONE;
}

uint64_t Hash(PF_InData* in, ObjectMessage& m) {
    const SlicerSettings s = Read(in);
    ParamHasher h(44);
    h.add(s.maxDistance);
    for (float c : s.color) h.add(c);
    h.add(s.group).add(int32_t(s.flip));
    SuiteCache suites(in);
    HostServices& host = suites.host();
    const A_Time now =
        host.convertEffectToCompTime(in->effect_ref, in->current_time, in->time_scale);
    for (int32_t id : {s.from, s.to})
        if (const AEGP_LayerH layer = LayerOfOwnComp(host, in->effect_ref, id))
            m.addDependency(m.hash, layer, PackTime(now));
    return h.value();
}

const GroupHooks kGroupHooks{.groupPopup = &kTable[kGroup], .hash = &Hash};
// The slicer's about box reuses the instances source's name and description.
const SubEffectHandlers kHandlers{
    .message = &Contribute,
    .group = &kGroupHooks,
    .aboutName = "Tavrin Instances Object",
    .aboutDescription = "Creates Instances from Existing Tavrin Objects"};

}  // namespace

ParamTable TracerSourceParams() {
    return kTable;
}

PF_Err TracerSourceEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                  PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(kTracerSourceInfo, kHandlers, cmd, in_data, out_data, params, output,
                          extra);
}

// The effect's row in the module's effect table.
const EffectInfo kTracerSourceInfo{
    21,
    "Tavrin Slicer Object",
    "KDL TAVRSRC Tracer",
    "TracerSourceEntryPointFunc",
    &TracerSourceEntryPointFunc,
    0x200004,
    0x1401,
    EffectRole::Source,
    "Creates Instances from Existing Tavrin Objects",
    true,
    &TracerSourceParams,
    "A source that casts a ray from each vertex of one mesh, along the line of its normal, and "
    "makes a vertex where the ray meets a second mesh.",
    "Prepare two layers with Tavrin meshes (for example two OBJ layers), choose them as From Mesh "
    "Layer and To Mesh Layer, and set Max Distance to the reach of the rays. By default a ray runs "
    "against its normal; Flip Direction turns it round."};

}  // namespace tv
