// "Tavrin Transform": moves, rotates and scales the vertices of a group about a centre.
#include "effectors/TransformEffector.h"

#include <algorithm>
#include <cmath>

#include "effectors/EffectorFrame.h"
#include "host/EffectTemplate.h"
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
    kCenterXY = 1,
    kCenterZ = 2,
    kRotateX = 3,
    kRotateY = 4,
    kRotateZ = 5,
    kTranslateX = 6,
    kTranslateY = 7,
    kTranslateZ = 8,
    kUniform = 9,
    kScaleX = 10,
    kScaleY = 11,
    kScaleZ = 12,
    kGroup = 13,
};

constexpr ParamSpec kTable[] = {
    Row(0, 0, PF_Param_LAYER, "input"),
    Doc(PointPercent(1, 8, "Center XY", 50, 50),
        "Point the vertices turn and scale about, in the layer's pixels."),
    Doc(Float(2, 9, "Center Z", 0, -1000000, 1000000, -100, 100, 1), ParamUnit::WorldUnits,
        "Depth of the point the vertices turn and scale about."),
    Doc(Angle(3, 1, "X Rotate"), ParamUnit::Degrees,
        "Turns the vertices about the X axis, around its centre."),
    Doc(Angle(4, 2, "Y Rotate"), ParamUnit::Degrees,
        "Turns the vertices about the Y axis, around its centre."),
    Doc(Angle(5, 3, "Z Rotate"), ParamUnit::Degrees,
        "Turns the vertices about the Z axis, around its centre."),
    Doc(Float(6, 4, "X Translate", 0, -1000000, 1000000, -100, 100, 1), ParamUnit::WorldUnits,
        "Moves the vertices along X."),
    Doc(Float(7, 5, "Y Translate", 0, -1000000, 1000000, -100, 100, 1), ParamUnit::WorldUnits,
        "Moves the vertices along Y."),
    Doc(Float(8, 6, "Z Translate", 0, -1000000, 1000000, -100, 100, 1), ParamUnit::WorldUnits,
        "Moves the vertices along Z."),
    Doc(Row(9, 10, PF_Param_CHECKBOX, "Uniform Scale", 1, kParamFlagsSup),
        "Scales all three axes by X Scale; off, each axis has its own scale."),
    Doc(Percent(Float(10, 11, "X Scale", 100, -1000000, 1000000, -100, 100, 1)), ParamUnit::Percent,
        "Stretches the vertices along X."),
    Doc(Percent(Float(11, 12, "Y Scale", 100, -100000, 100000, -100, 100, 1)), ParamUnit::Percent,
        "Stretches the vertices along Y, without Uniform Scale."),
    Doc(Percent(Float(12, 13, "Z Scale", 100, -100000, 100000, -100, 100, 1)), ParamUnit::Percent,
        "Stretches the vertices along Z, without Uniform Scale."),
    Doc(Popup(13, 7, "Effect Only Group", kGroupChoicesAll, 12, kParamFlagsSup),
        "Acts only on the vertices of this group; All Groups acts on every vertex."),
};

struct TransformRecord {
    double center[3] = {0, 0, 0};
    double rotation[3] = {0, 0, 0};  // degrees
    double translate[3] = {0, 0, 0};
    double scale[3] = {1, 1, 1};
    bool uniform = true;
    int32_t group = 12;
};

TransformRecord Read(PF_InData* in) {
    TransformRecord r;
    // The centre stands at the same place at any resolution.
    const PF_ParamDef xy = CheckoutParam(in, kCenterXY);
    r.center[0] = FullResolutionX(in, xy.u.point[0]);
    r.center[1] = FullResolutionY(in, xy.u.point[1]);
    r.center[2] = CheckoutParam(in, kCenterZ).u.floatValue;
    for (int i = 0; i < 3; ++i) {
        r.rotation[i] = FixedParam(in, kRotateX + i);
        r.translate[i] = CheckoutParam(in, kTranslateX + i).u.floatValue;
    }
    r.uniform = CheckedParam(in, kUniform);
    r.scale[0] = CheckoutParam(in, kScaleX).u.floatValue / 100.0;
    r.scale[1] = r.uniform ? r.scale[0] : CheckoutParam(in, kScaleY).u.floatValue / 100.0;
    r.scale[2] = r.uniform ? r.scale[0] : CheckoutParam(in, kScaleZ).u.floatValue / 100.0;
    r.group = CheckoutParam(in, kGroup).u.popup;
    return r;
}

// Degrees to radians as this code has always done it; the rounding is part of the result.
Mat4 DegreesRotation(int axis, double degrees) {
    return AxisRotation(axis, degrees * 0.017453292519943295);
}

}  // namespace

// p' = T(translate) T(center) S Rx Ry Rz T(-center) p with column vectors; written here as the
// same chain for row vectors: p * T(-center) * Rz * Ry * Rx * S * T(center) * T(translate).
Mat4 TransformEffectorMatrix(const double center[3], const double rotation[3],
                             const double translate[3], const double scale[3]) {
    Mat4 toOrigin, back, move, s;
    for (int i = 0; i < 3; ++i) {
        toOrigin.m[12 + i] = -center[i];
        back.m[12 + i] = center[i];
        move.m[12 + i] = translate[i];
        s.at(i, i) = scale[i];
    }
    Mat4 m = Multiply(toOrigin, DegreesRotation(2, rotation[2]));
    m = Multiply(m, DegreesRotation(1, rotation[1]));
    m = Multiply(m, DegreesRotation(0, rotation[0]));
    m = Multiply(m, s);
    m = Multiply(m, back);
    return Multiply(m, move);
}

namespace {

PF_Err Contribute(PF_InData* in, PF_OutData*, ObjectMessage& msg) {
    const TransformRecord r = Read(in);
    GeometryStore& s = *msg.geometry;
    const IndexRange range = EffectorRange(s, r.group, kTargetVertices);
    // The matrix does not depend on the vertex: built once.
    const Mat4 m = TransformEffectorMatrix(r.center, r.rotation, r.translate, r.scale);
    Mat4 linear = m;
    linear.m[12] = linear.m[13] = linear.m[14] = 0;
    const uint32_t end =
        std::min<uint32_t>(range.start + range.count, uint32_t(s.positions.size()));
    const bool withNormals = s.normals.size() >= end;
    return ForEachElement(in, range.start, end, [&](uint32_t i) {
        Vec3f& p = s.positions[i];
        const double at[3] = {p.x, p.y, p.z};
        double out[4];
        TransformPoint(m, at, out);
        p = {float(out[0] / out[3]), float(out[1] / out[3]), float(out[2] / out[3])};
        if (!withNormals) return;
        // Normals take the same linear part (not the inverse transpose): a non-uniform
        // scale skews them.
        Vec3f& n = s.normals[i];
        const double dir[3] = {n.x, n.y, n.z};
        TransformPoint(linear, dir, out);
        double x = out[0] / out[3], y = out[1] / out[3], z = out[2] / out[3];
        const double len2 = x * x + y * y + z * z;
        if (len2 > 0) {
            const double len = std::sqrt(len2);
            x /= len;
            y /= len;
            z /= len;
        }
        n = {float(x), float(y), float(z)};
    });
}

uint64_t Hash(const TransformRecord& r) {
    ParamHasher h(99);
    for (int i = 0; i < 3; ++i) h.add(r.center[i]).add(r.rotation[i]).add(r.translate[i]);
    for (double v : r.scale) h.add(v);
    h.add(int32_t(r.uniform)).add(r.group);
    return h.value();
}

uint64_t HashOf(PF_InData* in, ObjectMessage&) {
    return Hash(Read(in));
}

const GroupHooks kGroupHooks{.groupPopup = &kTable[kGroup], .hash = &HashOf, .effector = true};

// With a uniform scale the first scale reads "Scale" and the other two are hidden.
PF_Err UpdateScaleTitle(PF_InData* in) {
    const bool uniform = CheckedParam(in, kUniform);
    SuiteCache suites(in);
    if (const PF_Err err =
            suites->setParamName(in->effect_ref, kScaleX, uniform ? "Scale" : "X Scale"))
        return err;
    const ParamRule rules[] = {{kScaleY, uniform}, {kScaleZ, uniform}};
    return ShowParameters(in, rules);
}

const SubEffectHandlers kHandlers{
    .message = &Contribute,
    .group = &kGroupHooks,
    .visibility = &UpdateScaleTitle,
    // Once per instance after it is opened, marked in its sequence record.
    .visibilityOnce = true,
    .queryDynamicFlags = false,
};

}  // namespace

ParamTable TransformEffectorParams() {
    return kTable;
}

PF_Err TransformEffectorEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                       PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(kTransformEffectorInfo, kHandlers, cmd, in_data, out_data, params, output,
                          extra);
}

// The effect's row in the module's effect table.
const EffectInfo kTransformEffectorInfo{
    5,
    "Tavrin Transform",
    "KDL TAVREFF Transform",
    "TransformEffectorEntryPointFunc",
    &TransformEffectorEntryPointFunc,
    0x200000,
    0x1400,
    EffectRole::Effector,
    "Transform Effector, translates and rotates the Tavrin.\n1.1 - Scale & Center of Transform",
    true,
    &TransformEffectorParams,
    "An effector that moves, turns and scales vertices about a centre.",
    "Add it below a source and set the rotations, translations and scales; Effect Only Group "
    "limits it to one group, so that parts of a network can move on their own."};

}  // namespace tv
