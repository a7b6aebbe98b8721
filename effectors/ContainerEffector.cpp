// "Tavrin Container": keeps the vertices of a group inside a box, an ellipsoid or another layer's
// mesh. A vertex inside stays; one outside moves onto the border. Nothing is remembered between
// frames.
#include <algorithm>
#include <chrono>
#include <cmath>

#include "effectors/ContainerEffector.h"
#include "effectors/EffectorFrame.h"
#include "host/AABBTree.h"
#include "host/EffectTemplate.h"
#include "host/LayerLookup.h"
#include "host/Matrix.h"
#include "host/ParamBuilders.h"
#include "host/ParamVisibility.h"
#include "host/ParamHash.h"
#include "host/ParamValues.h"
#include "host/SequenceRecord.h"
#include "host/SuiteCache.h"
#include "effectors/EffectorEntries.h"

namespace tv {

namespace {

using namespace params;

enum : int32_t {
    kType = 1,
    kCenterXY = 2,
    kCenterZ = 3,
    kInstanceLayer = 4,
    kRefresh = 5,
    kUniform = 7,
    kScaleX = 8,
    kScaleY = 9,
    kScaleZ = 10,
    kRotateX = 11,
    kRotateY = 12,
    kRotateZ = 13,
    kWidth = 15,
    kHeight = 16,
    kDepth = 17,
    kRadius = 18,
    kDummy = 19,
    kGroup = 20,
};

enum ContainerType : int32_t { kNone = 1, kCube = 2, kSphere = 3, kInstance = 4 };

constexpr ParamSpec kTable[] = {
    Row(0, 0, PF_Param_LAYER, "input"),
    Doc(Popup(1, 1, "Container Type", "None|Cube|Sphere|Instance", 1, kParamFlagsSup),
        "Shape the vertices are kept inside: none, a box, a sphere or another layer's mesh."),
    Doc(PointPercent(2, 2, "Container XY Location", 50, 50),
        "Where the container's centre stands on the layer, in pixels."),
    Doc(Float(3, 3, "Container Z Location", 0, -1000000, 1000000, -100, 100, 1),
        ParamUnit::WorldUnits, "Depth of the container's centre."),
    Doc(Row(4, 22, PF_Param_LAYER, "Instance Layer"),
        "With Instance, the layer whose mesh holds the vertices."),
    Doc(Row(5, 23, PF_Param_CHECKBOX, "Refresh Instance", 0, kParamFlagsSup),
        "Reads the instance layer's mesh again after it changed."),
    Row(6, 9, PF_Param_GROUP_START, "Transform Container", 0, kParamFlagsSup),
    Doc(Row(7, 10, PF_Param_CHECKBOX, "Uniform Scale", 1, kParamFlagsSup),
        "Scales all three axes by X Scale; off, each axis has its own scale."),
    Doc(Percent(Float(8, 11, "X Scale", 100, -1000000, 1000000, -1000, 1000, 1)),
        ParamUnit::Percent, "Stretches the container along X."),
    Doc(Percent(Float(9, 12, "Y Scale", 100, -100000, 100000, -100, 100, 1)), ParamUnit::Percent,
        "Stretches the container along Y, without Uniform Scale."),
    Doc(Percent(Float(10, 13, "Z Scale", 100, -100000, 100000, -100, 100, 1)), ParamUnit::Percent,
        "Stretches the container along Z, without Uniform Scale."),
    Doc(Angle(11, 14, "X Rotate"), ParamUnit::Degrees,
        "Turns the container about the X axis, around its centre."),
    Doc(Angle(12, 15, "Y Rotate"), ParamUnit::Degrees,
        "Turns the container about the Y axis, around its centre."),
    Doc(Angle(13, 16, "Z Rotate"), ParamUnit::Degrees,
        "Turns the container about the Z axis, around its centre."),
    GroupEnd(14, 17),
    Doc(Float(15, 4, "Container Cube Width", 100, 0, 1000000, 0, 100, 1), ParamUnit::WorldUnits,
        "Size of the box along X."),
    Doc(Float(16, 5, "Container Cube Height", 100, 0, 1000000, 0, 100, 1), ParamUnit::WorldUnits,
        "Size of the box along Y."),
    Doc(Float(17, 6, "Container Cube Depth", 100, 0, 1000000, 0, 100, 1), ParamUnit::WorldUnits,
        "Size of the box along Z."),
    Doc(Float(18, 7, "Container Sphere Radius", 100, 0, 1000000, 0, 100, 1), ParamUnit::WorldUnits,
        "Radius of the sphere."),
    Doc(Float(19, 24, "Dummy", 100, -1000000, 1000000, 0, 100, 1),
        "Not used; kept so that saved projects keep their layout."),
    Doc(Popup(20, 8, "Effect Only Group", kGroupChoicesAll, 12, kParamFlagsSup),
        "Acts only on the vertices of this group; All Groups acts on every vertex."),
};

struct ContainerRecord {
    double center[3] = {0, 0, 0};
    float boxSize[3] = {100, 100, 100};
    float radius = 100;
    float scale[3] = {1, 1, 1};
    float rotation[3] = {0, 0, 0};  // degrees
    int32_t type = kNone;
    int32_t instanceLayer = 0;
    int32_t group = 12;
};

ContainerRecord Read(PF_InData* in) {
    ContainerRecord r;
    const PF_ParamDef xy = CheckoutParam(in, kCenterXY);
    r.center[0] = FixedToDouble(xy.u.point[0]) * in->downsample_x.den / in->downsample_x.num;
    r.center[1] = FixedToDouble(xy.u.point[1]) * in->downsample_y.den / in->downsample_y.num;
    r.center[2] = CheckoutParam(in, kCenterZ).u.floatValue;
    r.boxSize[0] = float(CheckoutParam(in, kWidth).u.floatValue);
    r.boxSize[1] = float(CheckoutParam(in, kHeight).u.floatValue);
    r.boxSize[2] = float(CheckoutParam(in, kDepth).u.floatValue);
    r.radius = float(CheckoutParam(in, kRadius).u.floatValue);
    const bool uniform = CheckedParam(in, kUniform);
    r.scale[0] = float(CheckoutParam(in, kScaleX).u.floatValue / 100.0);
    r.scale[1] = uniform ? r.scale[0] : float(CheckoutParam(in, kScaleY).u.floatValue / 100.0);
    r.scale[2] = uniform ? r.scale[0] : float(CheckoutParam(in, kScaleZ).u.floatValue / 100.0);
    for (int i = 0; i < 3; ++i) r.rotation[i] = float(FixedParam(in, kRotateX + i));
    r.type = CheckoutParam(in, kType).u.popup;
    r.instanceLayer = CheckoutParam(in, kInstanceLayer).u.layerId;
    r.group = CheckoutParam(in, kGroup).u.popup;
    return r;
}

// The fixed Euler helper: about X, then Y, then Z, by the given degrees.
void EulerRotate(double v[3], const double degrees[3]) {
    constexpr double kRadians = 0.017453292519943295;
    for (int axis = 0; axis < 3; ++axis) {
        if (degrees[axis] == 0) continue;
        const Mat4 m = AxisRotation(axis, degrees[axis] * kRadians);
        double out[4];
        TransformPoint(m, v, out);
        v[0] = out[0], v[1] = out[1], v[2] = out[2];
    }
}

}  // namespace

void ContainVertex(const double center[3], const float boxSize[3], float radius,
                   const float scale[3], const float rotation[3], int32_t type, Vec3f& p) {
    double l[3] = {p.x - center[0], p.y - center[1], p.z - center[2]};
    const double back[3] = {rotation[0], rotation[1], rotation[2]};
    const double undo[3] = {-back[0], -back[1], -back[2]};
    EulerRotate(l, undo);
    if (type == kCube) {
        for (int a = 0; a < 3; ++a) {
            const double h = double(boxSize[a]) * scale[a] * 0.5;
            // Below first: with a negative h the range is empty and -h wins.
            if (l[a] < -h)
                l[a] = -h;
            else if (l[a] > h)
                l[a] = h;
        }
    } else {
        const double r = std::sqrt(l[0] * l[0] + l[1] * l[1] + l[2] * l[2]);
        double dir[3] = {l[0], l[1], l[2]};
        if (r * r > 0) dir[0] /= r, dir[1] /= r, dir[2] /= r;
        const double c = std::clamp(r, 0.0, double(radius));
        for (int a = 0; a < 3; ++a) l[a] = scale[a] * c * dir[a];
    }
    EulerRotate(l, back);
    p = Vec3f{float(center[0] + l[0]), float(center[1] + l[1]), float(center[2] + l[2])};
}

namespace {

// The instance's mesh as a tree: its positions and faces (moved by their ranges' starts).
AABBTreePoly InstanceTree(const GeometryStore& g) {
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

PF_Err ContainInstance(PF_InData* in, ObjectMessage& msg, const ContainerRecord& r) {
    SuiteCache suites(in);
    HostServices& host = suites.host();
    if (!(msg.flags & kMsgNeedsLayers)) {
        // First call: ask for the instance layer's geometry; the gather calls again.
        if (!r.instanceLayer) return PF_Err_NONE;
        msg.flags |= kMsgNeedsLayers;
        const A_Time now =
            host.convertEffectToCompTime(in->effect_ref, in->current_time, in->time_scale);
        msg.requestLayer(msg.renders, uint32_t(r.instanceLayer), PackTime(now));
        return PF_Err_NONE;
    }
    uint32_t count = 0;
    msg.gatheredCount(msg.renders, &count);
    if (count == 0) return PF_Err_NONE;
    ObjectMessage* gathered = nullptr;
    msg.gatheredAt(msg.renders, 0, &gathered);
    GeometryStore& s = *msg.geometry;
    if (!gathered || gathered->geometry->positions.empty() || gathered->geometry->faces.empty())
        return PF_Err_NONE;
    const GeometryStore& g = *gathered->geometry;
    const IndexRange range = EffectorRange(s, r.group, kTargetVertices);
    const uint32_t end =
        std::min<uint32_t>(range.start + range.count, uint32_t(s.positions.size()));
    if (end <= range.start) return PF_Err_NONE;
    double lo[3] = {INFINITY, INFINITY, INFINITY}, hi[3] = {-INFINITY, -INFINITY, -INFINITY};
    for (const Vec3f& p : g.positions) {
        const double v[3] = {p.x, p.y, p.z};
        for (int k = 0; k < 3; ++k) lo[k] = std::min(lo[k], v[k]), hi[k] = std::max(hi[k], v[k]);
    }
    const double middle[3] = {(lo[0] + hi[0]) * 0.5, (lo[1] + hi[1]) * 0.5, (lo[2] + hi[2]) * 0.5};
    const auto started = std::chrono::steady_clock::now();
    const AABBTreePoly tree = InstanceTree(g);
    host.diagnostic(
        "OZ Tree: " +
        std::to_string(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count()));
    const float from[3] = {float(middle[0]), float(middle[1]), float(middle[2])};
    return ForEachElement(in, range.start, end, [&](uint32_t i) {
        thread_local std::vector<int32_t> candidates;
        Vec3f& p = s.positions[i];
        const float to[3] = {p.x, p.y, p.z};
        tree.collideWithSegment(from, to, candidates);
        const double q[3] = {p.x, p.y, p.z};
        double best[3] = {0, 0, 0}, bestD = INFINITY;
        for (int32_t c : candidates) {
            const auto& poly = tree.polygons[size_t(c)];
            double corner[3][3];
            for (int k = 0; k < 3; ++k)
                for (int a = 0; a < 3; ++a)
                    corner[k][a] = tree.points[size_t(poly[size_t(k)])][size_t(a)];
            double hit[3];
            if (!SegmentTriangleHit(middle, q, corner[0], corner[1], corner[2], hit)) continue;
            const double d = (hit[0] - q[0]) * (hit[0] - q[0]) + (hit[1] - q[1]) * (hit[1] - q[1]) +
                             (hit[2] - q[2]) * (hit[2] - q[2]);
            if (d < bestD) bestD = d, best[0] = hit[0], best[1] = hit[1], best[2] = hit[2];
        }
        if (bestD < INFINITY) p = Vec3f{float(best[0]), float(best[1]), float(best[2])};
    });
}

PF_Err Contribute(PF_InData* in, PF_OutData*, ObjectMessage& msg) {
    const ContainerRecord r = Read(in);
    if (r.type == kNone) return PF_Err_NONE;
    if (r.type == kInstance) return ContainInstance(in, msg, r);
    GeometryStore& s = *msg.geometry;
    const IndexRange range = EffectorRange(s, r.group, kTargetVertices);
    const uint32_t end =
        std::min<uint32_t>(range.start + range.count, uint32_t(s.positions.size()));
    return ForEachElement(in, range.start, end, [&](uint32_t i) {
        ContainVertex(r.center, r.boxSize, r.radius, r.scale, r.rotation, r.type, s.positions[i]);
    });
}

// In Instance mode the instance layer's geometry is part of the frame: its dependency goes into
// the key ahead of the effect's own hash.
uint64_t HashOf(PF_InData* in, ObjectMessage& m) {
    const ContainerRecord r = Read(in);
    if (r.type == kInstance && r.instanceLayer) {
        SuiteCache suites(in);
        HostServices& host = suites.host();
        const AEGP_LayerH layer = LayerOfOwnComp(host, in->effect_ref, r.instanceLayer);
        const A_Time now =
            host.convertEffectToCompTime(in->effect_ref, in->current_time, in->time_scale);
        if (layer) m.addDependency(m.hash, layer, PackTime(now));
    }
    ParamHasher h(331);
    for (double c : r.center) h.add(c);
    for (int k = 0; k < 3; ++k) h.add(r.boxSize[k]).add(r.scale[k]).add(r.rotation[k]);
    h.add(r.radius).add(r.type).add(r.instanceLayer).add(r.group);
    return h.value();
}

const GroupHooks kGroupHooks{.groupPopup = &kTable[kGroup], .hash = &HashOf, .effector = true};

PF_Err Visibility(PF_InData* in) {
    const int32_t type = CheckoutParam(in, kType).u.popup;
    const bool cube = type == kCube, sphere = type == kSphere, instance = type == kInstance;
    const bool uniform = CheckedParam(in, kUniform);
    SuiteCache suites(in);
    if (const PF_Err err =
            suites->setParamName(in->effect_ref, kScaleX, uniform ? "Scale" : "X Scale"))
        return err;
    std::vector<ParamRule> rules = {
        {kWidth, !cube},
        {kHeight, !cube},
        {kDepth, !cube},
        {kRadius, !sphere},
        {kInstanceLayer, !instance},
        {kRefresh, !instance},
        {kDummy, true},
    };
    for (int32_t i :
         std::initializer_list<int32_t>{kCenterXY, kCenterZ, 6, kUniform, kScaleX, kScaleY, kScaleZ,
                                        kRotateX, kRotateY, kRotateZ, 14})
        rules.push_back({i, !(cube || sphere)});
    for (auto& [index, hidden] : rules)
        if ((index == kScaleY || index == kScaleZ) && uniform) hidden = true;
    return ShowParameters(in, rules);
}

const SubEffectHandlers kHandlers{
    .message = &Contribute,
    .group = &kGroupHooks,
    .visibility = &Visibility,
    .visibilityOnce = true,
    .optionsButtonName = "Import OBJ",
};

}  // namespace

ParamTable ContainerEffectorParams() {
    return kTable;
}

PF_Err ContainerEffectorEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                       PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(kContainerEffectorInfo, kHandlers, cmd, in_data, out_data, params, output,
                          extra);
}

// The effect's row in the module's effect table.
const EffectInfo kContainerEffectorInfo{
    4,
    "Tavrin Container",
    "KDL TAVREFF Container",
    "ContainerEffectorEntryPointFunc",
    &ContainerEffectorEntryPointFunc,
    0x200004,
    0x1401,
    EffectRole::Effector,
    "Container Effector, locks all the Particles of a Tavrin in a Container.",
    true,
    &ContainerEffectorParams,
    "An effector that keeps vertices inside a box, a sphere, or another layer's mesh, moving those "
    "outside onto its surface.",
    "Pick a Container Type (None does nothing), then size and place it. With Instance, choose a "
    "layer whose Tavrin geometry is the container's shape."};

}  // namespace tv
