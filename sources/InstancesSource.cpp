// "Tavrin Instances Object": copies the geometry another layer's stack makes, several times over,
// under a replicate transform. Each object of that layer stays an object: a lattice stays a
// lattice, the copies forming the axis its mask leaves free. With Echo, copy k is the other
// layer's geometry k "Echo Delay" seconds earlier.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "host/EffectTemplate.h"
#include "host/LayerLookup.h"
#include "host/ParamBuilders.h"
#include "host/ParamVisibility.h"
#include "host/ParamHash.h"
#include "host/ParamValues.h"
#include "host/SuiteCache.h"
#include "sources/SourceEntries.h"
#include "sources/PrimitivesGenerate.h"
#include "sources/Replication.h"

namespace tv {

namespace {

using namespace params;

enum : int32_t {
    kLayer = 1,
    kCount = 2,
    kGetColor = 3,
    kColor = 4,
    kGetOpacity = 5,
    kOpacity = 6,
    kGetScale = 7,
    kScale = 8,
    kReAlign = 9,
    kDepth = 11,
    kAxis = 12,
    kDirection = 13,
    kCenterXY = 14,
    kCenterZ = 15,
    kXStart = 17,
    kXEnd = 18,
    kYStart = 21,
    kYEnd = 22,
    kZStart = 25,
    kZEnd = 26,
    kEcho = 29,
    kEchoDelay = 30,
    kFacetMode = 31,
    kGroup = 32,
};

enum FacetMode : int32_t { kFacetsNone = 1, kFacetsImport = 2, kFacetsRegenerate = 3 };

constexpr const char* kCountChangesNote =
    "NOTE: Cannot Generate Facets if vertex count changes over time.\n";

constexpr ParamSpec kTable[] = {
    Row(0, 0, PF_Param_LAYER, "input"),
    Doc(Row(1, 1, PF_Param_LAYER, "Instance Layer"), "The layer whose Tavrin geometry is copied."),
    Doc(Int(2, 10, "Num of Instances", 1, 1, 30000, 1, 5), "How many copies are made."),
    Doc(Row(3, 3, PF_Param_CHECKBOX, "Get Color From Vertices", 1, kParamFlagsSup),
        "Copies keep their vertices' colours; off, they take Color."),
    Doc(Color(4, 4, "Color", 1, 1, 1), "Colour of the copies when not taken from the vertices."),
    Doc(Row(5, 5, PF_Param_CHECKBOX, "Get Opacity From Vertices", 1, kParamFlagsSup),
        "Copies keep their vertices' opacity; off, they take Opacity."),
    Doc(Fixed(6, 6, "Opacity", 50, 0, 100, 0, 100, 1), ParamUnit::Percent,
        "Opacity of the copies when not taken from the vertices."),
    Doc(Row(7, 7, PF_Param_CHECKBOX, "Get Scale From Vertices", 1, kParamFlagsSup),
        "Copies keep their vertices' sizes; off, they take Scale."),
    Doc(Float(8, 8, "Scale", 0, -1000000, 1000000, 0, 10, 2),
        "Size of every copied vertex when not taken from the vertices."),
    Doc(Row(9, 34, PF_Param_CHECKBOX, "Re-Align to Center", 0, kParamFlagsSup | 0x20),
        "Moves the copied geometry so that its middle sits at this layer's centre."),
    GroupStart(10, 9, "Replication"),
    Doc(Float(11, 11, "Replication Depth", 500, 0, 1000000, 0, 100, 1), ParamUnit::WorldUnits,
        "Distance along the axis over which the copies are spread."),
    Doc(Popup(12, 12, "Replicate Axis", "X|Y|Z", 3), "Axis along which the copies are spread."),
    Doc(Popup(13, 13, "Replicate Direction", "Positive Axis|Negative Axis|Both", 3),
        "Whether the copies go along the positive axis, the negative axis, or both ways."),
    Doc(PointPercent(14, 14, "Rotation Center XY", 50, 50),
        "Point the copies turn about, in the layer's pixels."),
    Doc(Float(15, 15, "Rotation Center Z", 0, -1000000, 1000000, -100, 100, 1),
        ParamUnit::WorldUnits, "Depth of the point the copies turn about."),
    GroupStart(16, 16, "X Rotation"),
    Doc(Angle(17, 17, "X Start Angle"), ParamUnit::Degrees, "Turn about X of the first copy."),
    Doc(Angle(18, 18, "X End Angle"), ParamUnit::Degrees,
        "Turn about X of the last copy; copies between are turned in even steps."),
    GroupEnd(19, 19),
    GroupStart(20, 20, "Y Rotation"),
    Doc(Angle(21, 21, "Y Start Angle"), ParamUnit::Degrees, "Turn about Y of the first copy."),
    Doc(Angle(22, 22, "Y End Angle"), ParamUnit::Degrees,
        "Turn about Y of the last copy; copies between are turned in even steps."),
    GroupEnd(23, 23),
    GroupStart(24, 24, "Z Rotation"),
    Doc(Angle(25, 25, "Z Start Angle"), ParamUnit::Degrees, "Turn about Z of the first copy."),
    Doc(Angle(26, 26, "Z End Angle"), ParamUnit::Degrees,
        "Turn about Z of the last copy; copies between are turned in even steps."),
    GroupEnd(27, 27),
    GroupEnd(28, 30),
    Doc(Row(29, 28, PF_Param_CHECKBOX, "Echo", 0, kParamFlagsSup),
        "Each copy shows the geometry an echo delay earlier than the one before it."),
    Doc(Float(30, 29, "Echo Delay", 0, 0, 1000000, 0, 1, 3), ParamUnit::Seconds,
        "Time between the moments successive copies show."),
    Doc(Popup(31, 31, "Facet Mode", "None|Import Facets|Regenerate Facets", 2),
        "Faces of the copies: none, the copied geometry's own faces, or faces built anew."),
    Doc(Popup(32, 32, "Group", kGroupChoicesNone, 12, kParamFlagsSup),
        "The group this source's vertices join; effectors and renderers choose vertices by group."),
};

struct InstancesSettings {
    int32_t layer = 0, count = 1;
    bool getColor = true, getOpacity = true, getScale = true, reAlign = false, echo = false;
    float color[4] = {1, 1, 1, 0.5f};
    float scale = 0;
    double echoDelay = 0;
    int32_t facetMode = kFacetsImport, group = 12;
    ReplicationSettings r;
    double layerCenter[2] = {0, 0};
};

InstancesSettings Read(PF_InData* in) {
    InstancesSettings s;
    s.layer = CheckoutParam(in, kLayer).u.layerId;
    s.count = std::max(1, CheckoutParam(in, kCount).u.slider);
    s.getColor = CheckedParam(in, kGetColor);
    const PF_Pixel8 c = CheckoutParam(in, kColor).u.color;
    s.color[0] = c.red / 255.0f, s.color[1] = c.green / 255.0f, s.color[2] = c.blue / 255.0f;
    s.getOpacity = CheckedParam(in, kGetOpacity);
    s.color[3] = float(PercentParam(in, kOpacity));
    s.getScale = CheckedParam(in, kGetScale);
    s.scale = float(CheckoutParam(in, kScale).u.floatValue);
    s.reAlign = CheckedParam(in, kReAlign);
    s.r.copies = s.count;
    s.r.depth = CheckoutParam(in, kDepth).u.floatValue;
    s.r.axis = std::clamp(CheckoutParam(in, kAxis).u.popup, 1, 3) - 1;
    s.r.direction = CheckoutParam(in, kDirection).u.popup;
    const PF_ParamDef xy = CheckoutParam(in, kCenterXY);
    s.r.center[0] =
        float(FixedToDouble(xy.u.point[0]) * in->downsample_x.den / in->downsample_x.num);
    s.r.center[1] =
        float(FixedToDouble(xy.u.point[1]) * in->downsample_y.den / in->downsample_y.num);
    s.r.center[2] = float(CheckoutParam(in, kCenterZ).u.floatValue);
    const int32_t starts[3] = {kXStart, kYStart, kZStart}, ends[3] = {kXEnd, kYEnd, kZEnd};
    for (int a = 0; a < 3; ++a) {
        s.r.start[a] = float(FixedParam(in, starts[a]));
        s.r.end[a] = float(FixedParam(in, ends[a]));
    }
    s.echo = CheckedParam(in, kEcho);
    s.echoDelay = CheckoutParam(in, kEchoDelay).u.floatValue;
    s.facetMode = CheckoutParam(in, kFacetMode).u.popup;
    s.group = CheckoutParam(in, kGroup).u.popup;
    s.layerCenter[0] = in->width / 2.0;
    s.layerCenter[1] = in->height / 2.0;
    return s;
}

// The comp times the source asks for: now, and with Echo one per instance further back.
std::vector<A_Time> RequestTimes(PF_InData* in, HostServices& host, const InstancesSettings& s) {
    const A_Time now =
        host.convertEffectToCompTime(in->effect_ref, in->current_time, in->time_scale);
    std::vector<A_Time> times{now};
    if (s.echo)
        for (int32_t k = 1; k < s.count; ++k)
            times.push_back(A_Time{
                int32_t(std::llround(now.value - k * s.echoDelay * double(now.scale))), now.scale});
    return times;
}

// The lattice sizes with the copies as a new axis, and which axis that is.
void EffectiveLattice(const ObjectRange& r, int32_t count, int32_t size[3], int32_t& axis) {
    const int32_t mask = r.kind;
    size[0] = std::max(r.latticeSize[0], 1), size[1] = std::max(r.latticeSize[1], 1);
    size[2] = std::max(r.latticeSize[2], 1);
    if (!(mask & 1)) {
        size[0] = int32_t(r.vertexCount), size[1] = count, size[2] = 1, axis = 1;
    } else if (!(mask & 2)) {
        size[1] = count, size[2] = 1, axis = 1;
    } else if (!(mask & 4)) {
        size[2] = count, axis = 2;
    } else {
        size[0] *= size[1], size[1] = size[2], size[2] = count, axis = 2;
    }
}

// Appends N copies of one object (copy k read from sources[k]); true when facets were refused
// for a changing vertex count.
bool AppendCopies(const InstancesSettings& s, const std::vector<const GeometryStore*>& sources,
                  size_t rangeIndex, GeometryStore& out, uint32_t& vertices, uint32_t& faces) {
    const GeometryStore& first = *sources.front();
    const ObjectRange& r = first.ranges[rangeIndex];
    int32_t size[3], newAxis = 2;
    EffectiveLattice(r, s.count, size, newAxis);
    const int32_t mask = r.kind;
    const uint32_t base = out.vertexBase + vertices;
    const uint32_t faceBase = out.faceBase + faces;
    uint32_t added = 0, addedFaces = 0;
    // The vertices of one instance that the lattice sizes give; an instance with another count
    // (with Echo, the geometry of another time) cannot take part in a regenerated lattice.
    const int64_t latticeCount = int64_t(size[0]) * (newAxis == 2 ? size[1] : 1);
    bool countChanged = false;
    const uint32_t perInstance = r.vertexCount;
    // Scales written by earlier sources stop short: those vertices keep the driver's 1.
    out.scales.resize(out.positions.size(), 1.0f);
    for (int32_t k = 0; k < s.count; ++k) {
        const GeometryStore& g = *sources[std::min(size_t(k), sources.size() - 1)];
        if (rangeIndex >= g.ranges.size()) {
            countChanged = true;
            continue;
        }
        const ObjectRange& rk = g.ranges[rangeIndex];
        if (int64_t(rk.vertexCount) != latticeCount) countChanged = true;
        // Re-align: the middle of the object's box in X and Y moves to the layer's centre; Z
        // stays, as with the bounds of a path.
        double shift[3] = {0, 0, 0};
        if (s.reAlign && rk.vertexCount > 0) {
            double lo[2] = {INFINITY, INFINITY}, hi[2] = {-INFINITY, -INFINITY};
            for (uint32_t i = rk.vertexStart;
                 i < rk.vertexStart + rk.vertexCount && i < g.positions.size(); ++i) {
                const double v[2] = {g.positions[i].x, g.positions[i].y};
                for (int a = 0; a < 2; ++a)
                    lo[a] = std::min(lo[a], v[a]), hi[a] = std::max(hi[a], v[a]);
            }
            shift[0] = s.layerCenter[0] - (lo[0] + hi[0]) / 2;
            shift[1] = s.layerCenter[1] - (lo[1] + hi[1]) / 2;
        }
        float m[16];
        ReplicationMatrix(s.r, k, m);
        for (uint32_t i = rk.vertexStart;
             i < rk.vertexStart + rk.vertexCount && i < g.positions.size(); ++i) {
            const Vec3f& p0 = g.positions[i];
            const float p[3] = {float(p0.x + shift[0]), float(p0.y + shift[1]),
                                float(p0.z + shift[2])};
            Vec3f q{p[0] * m[0] + p[1] * m[4] + p[2] * m[8] + m[12],
                    p[0] * m[1] + p[1] * m[5] + p[2] * m[9] + m[13],
                    p[0] * m[2] + p[1] * m[6] + p[2] * m[10] + m[14]};
            out.positions.push_back(q);
            Vec3f n = i < g.normals.size() ? g.normals[i] : Vec3f{};
            out.normals.push_back({n.x * m[0] + n.y * m[4] + n.z * m[8],
                                   n.x * m[1] + n.y * m[5] + n.z * m[9],
                                   n.x * m[2] + n.y * m[6] + n.z * m[10]});
            Color4f c = i < g.colors.size() ? g.colors[i] : Color4f{1, 1, 1, 1};
            if (!s.getColor) c.r = s.color[0], c.g = s.color[1], c.b = s.color[2];
            if (!s.getOpacity) c.a = s.color[3];
            out.colors.push_back(c);
            out.scales.push_back(!s.getScale ? s.scale : i < g.scales.size() ? g.scales[i] : 1.0f);
            const Vec3i l = i < g.lattice.size() ? g.lattice[i] : Vec3i{};
            Vec3i nl = l;
            const auto j = int32_t(i - rk.vertexStart);
            // The new axis takes the copy's number; the others keep the copied coordinates
            // (along the first axis, the vertex's place when the mask gives it no lattice).
            if (!(mask & 1))
                nl = {j, k, l.z};
            else if (!(mask & 2))
                nl = {l.x, k, l.z};
            else if (!(mask & 4))
                nl = {l.x, l.y, k};
            else
                nl = {l.x + l.y * std::max(r.latticeSize[0], 1), l.z, k};
            out.lattice.push_back(nl);
            Vec3f uvw = i < g.uvw.size() ? g.uvw[i] : Vec3f{};
            const float along = float(k) / float(std::max(size[newAxis], 1));
            if (newAxis == 1) uvw.y = along;
            if (newAxis == 2) uvw.z = along;
            out.uvw.push_back(uvw);
            ++added;
        }
        if (s.facetMode == kFacetsImport)
            for (uint32_t f = rk.faceStart; f < rk.faceStart + rk.faceCount && f < g.faces.size();
                 ++f) {
                const auto o = int32_t(uint32_t(k) * perInstance);
                out.faces.push_back({g.faces[f].x + o, g.faces[f].y + o, g.faces[f].z + o});
                ++addedFaces;
            }
    }
    if (s.facetMode == kFacetsRegenerate && !countChanged) {
        // The grid of the effective lattice in the plane of its first two axes, layered along
        // the third: a row and its copies make one sheet, a sheet and its copies a stack.
        std::vector<Vec3i> regenerated;
        LatticeFaces(size, kFacesXY, false, regenerated);
        out.faces.insert(out.faces.end(), regenerated.begin(), regenerated.end());
        addedFaces += uint32_t(regenerated.size());
    }
    ObjectRange range;
    range.group = s.group;
    range.kind = newAxis == 1 ? 3 : 7;
    range.vertexStart = base;
    range.vertexCount = added;
    range.faceStart = faceBase;
    range.faceCount = addedFaces;
    range.latticeSize[0] = size[0], range.latticeSize[1] = size[1], range.latticeSize[2] = size[2];
    range.reserved = mask;
    out.ranges.push_back(range);
    vertices += added;
    faces += addedFaces;
    return countChanged && s.facetMode == kFacetsRegenerate;
}

PF_Err Contribute(PF_InData* in, PF_OutData* out, ObjectMessage& m) {
    SuiteCache suites(in);
    HostServices& host = suites.host();
    const InstancesSettings s = Read(in);
    m.setPayloadInt(0);
    m.setPayloadGroup(static_cast<int16_t>(s.group));
    if (!(m.flags & kMsgNeedsLayers)) {
        if (!s.layer) return PF_Err_NONE;
        m.flags |= kMsgNeedsLayers;
        for (const A_Time& t : RequestTimes(in, host, s))
            m.requestLayer(m.renders, uint32_t(s.layer), PackTime(t));
        return PF_Err_NONE;
    }
    uint32_t count = 0;
    m.gatheredCount(m.renders, &count);
    if (count == 0) return PF_Err_NONE;
    std::vector<const GeometryStore*> sources;
    for (uint32_t i = 0; i < count; ++i) {
        ObjectMessage* g = nullptr;
        m.gatheredAt(m.renders, int32_t(i), &g);
        if (g) sources.push_back(g->geometry);
    }
    if (sources.empty()) return PF_Err_NONE;
    GeometryStore& store = *m.geometry;
    store.vertexPending = store.facePending = 0;
    uint32_t vertices = 0, faces = 0;
    bool note = false;
    for (size_t r = 0; r < sources.front()->ranges.size(); ++r)
        note = AppendCopies(s, sources, r, store, vertices, faces) || note;
    store.vertexPending = vertices;
    store.facePending = faces;
    if (note) std::snprintf(out->return_msg, sizeof out->return_msg, "%s", kCountChangesNote);
    return PF_Err_NONE;
}

uint64_t Hash(PF_InData* in, ObjectMessage& m) {
    const InstancesSettings s = Read(in);
    ParamHasher h(92);
    h.add(s.layer).add(s.count).add(int32_t(s.getColor)).add(int32_t(s.getOpacity));
    h.add(int32_t(s.getScale)).add(int32_t(s.reAlign)).add(int32_t(s.echo));
    for (float c : s.color) h.add(c);
    h.add(s.scale).add(s.echoDelay).add(s.facetMode).add(s.group);
    h.add(s.r.depth).add(s.r.axis).add(s.r.direction);
    for (int a = 0; a < 3; ++a) h.add(s.r.center[a]).add(s.r.start[a]).add(s.r.end[a]);
    if (s.layer) {
        SuiteCache suites(in);
        HostServices& host = suites.host();
        const AEGP_LayerH layer = LayerOfOwnComp(host, in->effect_ref, s.layer);
        if (layer)
            for (const A_Time& t : RequestTimes(in, host, s))
                m.addDependency(m.hash, layer, PackTime(t));
    }
    return h.value();
}

const GroupHooks kGroupHooks{.groupPopup = &kTable[kGroup], .hash = &Hash};

PF_Err Visibility(PF_InData* in) {
    const ParamRule rules[] = {
        {kColor, CheckedParam(in, kGetColor)},
        {kOpacity, CheckedParam(in, kGetOpacity)},
        {kScale, CheckedParam(in, kGetScale)},
        {kEchoDelay, !CheckedParam(in, kEcho)},
    };
    return ShowParameters(in, rules);
}

const SubEffectHandlers kHandlers{
    .message = &Contribute,
    .group = &kGroupHooks,
    .visibility = &Visibility,
};

}  // namespace

ParamTable InstanceSourceParams() {
    return kTable;
}

PF_Err InstanceSourceEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                    PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(kInstanceSourceInfo, kHandlers, cmd, in_data, out_data, params, output,
                          extra);
}

// The effect's row in the module's effect table.
const EffectInfo kInstanceSourceInfo{
    18,
    "Tavrin Instances Object",
    "KDL TAVRSRC Instances",
    "InstanceSourceEntryPointFunc",
    &InstanceSourceEntryPointFunc,
    0x200004,
    0x1401,
    EffectRole::Source,
    "Creates Instances from Existing Tavrin Objects",
    true,
    &InstanceSourceParams,
    "A source that copies the Tavrin geometry of another layer several times, spread along an axis "
    "and turned step by step, or echoed back in time.",
    "Build the geometry on another layer (its own \"Tavrin\" with a source), choose it as Instance "
    "Layer and set Num of Instances. Replication spreads the copies; Echo makes each copy show the "
    "geometry a moment earlier, for trails."};

}  // namespace tv
