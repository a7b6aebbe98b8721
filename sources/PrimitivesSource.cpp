// "Tavrin Primitives Object": appends a cube or sphere lattice, with faces, to the store.
#include <cmath>
#include <cstring>

#include "host/EffectTemplate.h"
#include "host/ParamBuilders.h"
#include "host/ParamValues.h"
#include "host/ParamVisibility.h"
#include "host/SequenceRecord.h"
#include "host/SuiteCache.h"
#include "sources/SourceEntries.h"
#include "sources/PrimitivesGenerate.h"

namespace tv {

namespace {

using namespace params;

enum : int32_t {
    kType = 1,
    kCubeGroup = 2,
    kXPoints = 3,
    kYPoints = 4,
    kZPoints = 5,
    kCubeWidth = 6,
    kCubeHeight = 7,
    kCubeDepth = 8,
    kSphereGroup = 10,
    kSphereRadius = 11,
    kSlices = 12,
    kStacks = 13,
    kLayers = 14,
    kFaces = 16,
    kCenterXY = 18,
    kCenterZ = 19,
    kRotateX = 20,
    kRotateY = 21,
    kRotateZ = 22,
    kColor = 24,
    kOpacity = 25,
    kGroup = 26,
};

constexpr ParamSpec kTable[] = {
    Row(0, 0, PF_Param_LAYER, "input"),
    Doc(Popup(1, 1, "Primitive Type", "Cube|Sphere", 1, kParamFlagsSup),
        "The shape whose vertices this source makes: a cube lattice or a sphere."),
    GroupStart(2, 2, "Cube"),
    Doc(Int(3, 3, "X Points", 10, 1, 30000, 1, 100), "Vertices across the cube's width."),
    Doc(Int(4, 4, "Y Points", 10, 1, 30000, 1, 100), "Vertices across the cube's height."),
    Doc(Int(5, 5, "Z Points", 10, 1, 30000, 1, 100), "Vertices across the cube's depth."),
    Doc(Float(6, 6, "Cube Width", 500, 0, 1000000, 0, 100, 1), ParamUnit::WorldUnits,
        "Size of the cube along X."),
    Doc(Float(7, 7, "Cube Height", 500, 0, 1000000, 0, 100, 1), ParamUnit::WorldUnits,
        "Size of the cube along Y."),
    Doc(Float(8, 8, "Cube Depth", 500, 0, 1000000, 0, 100, 1), ParamUnit::WorldUnits,
        "Size of the cube along Z."),
    GroupEnd(9, 9),
    GroupStart(10, 10, "Sphere"),
    Doc(Float(11, 11, "Sphere Radius", 250, 0, 1000000, 0, 100, 1), ParamUnit::WorldUnits,
        "Radius of the sphere (of its outermost shell)."),
    Doc(Int(12, 12, "Sphere Slices", 40, 1, 30000, 1, 100),
        "Vertices around each ring of the sphere."),
    Doc(Int(13, 13, "Sphere Stacks", 40, 1, 30000, 1, 100), "Rings from pole to pole."),
    Doc(Int(14, 14, "Sphere Layers", 1, 1, 30000, 1, 5),
        "Nested shells, growing outward to the full radius."),
    GroupEnd(15, 15),
    Doc(Popup(16, 16, "Generate Faces", "None|XY|XZ|YZ", 2),
        "Lattice plane in which faces join neighbouring vertices, for the facets renderer; None "
        "makes no faces."),
    GroupStart(17, 17, "Transform"),
    Doc(PointPercent(18, 18, "Center XY", 50, 50),
        "Where the shape's centre stands on the layer, in pixels."),
    Doc(Float(19, 19, "Center Z", 0, -1000000, 1000000, -100, 100, 1), ParamUnit::WorldUnits,
        "Depth of the shape's centre; negative is toward the viewer."),
    Doc(Angle(20, 20, "X Rotate"), ParamUnit::Degrees,
        "Turns the shape about the X axis, around its centre."),
    Doc(Angle(21, 21, "Y Rotate"), ParamUnit::Degrees,
        "Turns the shape about the Y axis, around its centre."),
    Doc(Angle(22, 22, "Z Rotate"), ParamUnit::Degrees,
        "Turns the shape about the Z axis, around its centre."),
    GroupEnd(23, 23),
    Doc(Color(24, 24, "Color", 1, 1, 1), "Colour of every vertex."),
    Doc(Fixed(25, 25, "Opacity", 50, 0, 100, 0, 100, 1), ParamUnit::Percent,
        "Opacity of every vertex."),
    Doc(Popup(26, 26, "Group", kGroupChoicesNone, 12, kParamFlagsSup),
        "The group this source's vertices join; effectors and renderers choose vertices by group."),
};

PrimitiveSettings ReadSettings(PF_InData* in) {
    PrimitiveSettings s;
    s.cubeWidth = float(CheckoutParam(in, kCubeWidth).u.floatValue);
    s.cubeHeight = float(CheckoutParam(in, kCubeHeight).u.floatValue);
    s.cubeDepth = float(CheckoutParam(in, kCubeDepth).u.floatValue);
    s.sphereRadius = float(CheckoutParam(in, kSphereRadius).u.floatValue);
    s.xPoints = CheckoutParam(in, kXPoints).u.slider;
    s.yPoints = CheckoutParam(in, kYPoints).u.slider;
    s.zPoints = CheckoutParam(in, kZPoints).u.slider;
    s.sphereSlices = CheckoutParam(in, kSlices).u.slider;
    s.sphereStacks = CheckoutParam(in, kStacks).u.slider;
    s.sphereLayers = CheckoutParam(in, kLayers).u.slider;
    s.primitiveType = static_cast<uint16_t>(CheckoutParam(in, kType).u.popup);
    const PF_ParamDef center = CheckoutParam(in, kCenterXY);
    s.center[0] = float(FullResolutionX(in, center.u.point[0]));
    s.center[1] = float(FullResolutionY(in, center.u.point[1]));
    s.center[2] = float(CheckoutParam(in, kCenterZ).u.floatValue);
    s.rotation[0] = float(FixedParam(in, kRotateX));
    s.rotation[1] = float(FixedParam(in, kRotateY));
    s.rotation[2] = float(FixedParam(in, kRotateZ));
    const PF_Pixel8 color = CheckoutParam(in, kColor).u.color;
    s.color[0] = color.red / 255.0f;
    s.color[1] = color.green / 255.0f;
    s.color[2] = color.blue / 255.0f;
    s.color[3] = float(PercentParam(in, kOpacity));
    s.group = static_cast<uint16_t>(CheckoutParam(in, kGroup).u.popup);
    s.faceMode = CheckoutParam(in, kFaces).u.popup;
    // Records converted from the older format (flag 2) keep the old sphere size.
    SuiteCache suites(in);
    if (auto* record = static_cast<const SequenceRecord*>(suites->lockHandle(in->sequence_data))) {
        s.legacySphereScale = (record->flags & kSeqFlagFromV2) != 0;
        suites->unlockHandle(in->sequence_data);
    }
    DeriveCounts(s);
    return s;
}

uint64_t Hash(PF_InData* in, ObjectMessage&) {
    return PrimitiveHash(ReadSettings(in));
}

PF_Err Contribute(PF_InData* in, PF_OutData*, ObjectMessage& m) {
    const PrimitiveSettings s = ReadSettings(in);
    m.setPayloadInt(0);
    m.setPayloadGroup(static_cast<int16_t>(s.group));
    AppendPrimitive(s, GeneratePrimitive(s), *m.geometry);
    return PF_Err_NONE;
}

const GroupHooks kGroupHooks{.groupPopup = &kTable[kGroup], .hash = &Hash};

PF_Err UpdateVisibility(PF_InData* in) {
    const bool sphere = CheckoutParam(in, kType).u.popup == kPrimitiveSphere;
    const ParamRule rules[] = {{kCubeGroup, sphere}, {kSphereGroup, !sphere}};
    return ShowParameters(in, rules);
}

const SubEffectHandlers kHandlers{
    .message = &Contribute,
    .group = &kGroupHooks,
    .visibility = &UpdateVisibility,
    .visibilityOnce = true,
};

}  // namespace

ParamTable PrimitiveSourceParams() {
    return kTable;
}

PF_Err PrimitiveSourceEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                     PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(kPrimitiveSourceInfo, kHandlers, cmd, in_data, out_data, params, output,
                          extra);
}

// The effect's row in the module's effect table.
const EffectInfo kPrimitiveSourceInfo{
    12,
    "Tavrin Primitives Object",
    "KDL TAVRSRC Primitives",
    "PrimitiveSourceEntryPointFunc",
    &PrimitiveSourceEntryPointFunc,
    0x200000,
    0x1401,
    EffectRole::Source,
    "Creates Primitives like Cube/Sphere/Grid",
    true,
    &PrimitiveSourceParams,
    "A source that makes a regular cloud of vertices: a cube lattice or a sphere of rings and "
    "shells, optionally with faces between neighbours.",
    "Add it below \"Tavrin\", pick Cube or Sphere and set the counts and size; Center XY places it "
    "on the layer. Add a Points or Lines renderer to see it, and set Generate Faces for the Facets "
    "renderer."};

}  // namespace tv
