// "Tavrin Spherical Field": a sphere, or one sphere per chosen light, that pushes vertices or
// faces out to its surface or changes their size, rotation or colour inside it.
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "effectors/EffectorFrame.h"
#include "host/EffectTemplate.h"
#include "host/ParamBuilders.h"
#include "host/ParamVisibility.h"
#include "host/ParamHash.h"
#include "host/ParamValues.h"
#include "host/SuiteCache.h"
#include "host/TextParam.h"
#include "effectors/EffectorEntries.h"

namespace tv {

namespace {

using namespace params;

enum : int32_t {
    kTarget = 1,
    kApplyVertices = 2,
    kApplyFaces = 3,
    kLocationXY = 4,
    kLocationZ = 5,
    kRadius = 6,
    kFade = 7,
    kScaleFactor = 8,
    kRotation = 9,
    kColor = 10,
    kOpacity = 11,
    kUseLights = 12,
    kNamePopup = 13,
    kNameText = 14,
    kRadiusFrom = 15,
    kFadeFrom = 16,
    kOpacityFrom = 17,
    kSizeFrom = 18,
    kRotationFrom = 19,
    kAxis = 20,
    kGroup = 21,
};

enum Apply : int32_t { kApplyPosition = 1, kApplySizeOrRotation = 2, kApplyColor = 3 };

constexpr const char* kFromChoices = "None|Intensity|Shadow Darkness|Shadow Diffusion";

constexpr ParamSpec kTable[] = {
    Row(0, 0, PF_Param_LAYER, "input"),
    Doc(Popup(1, 20, "Effector effects", "Vertices|Faces", 1, kParamFlagsSup),
        "Whether the field acts on vertices or on faces."),
    Doc(Popup(2, 11, "Apply Field To", "Position|Scale|Color", 1, kParamFlagsSup),
        "What the field changes on vertices: position, scale or colour."),
    Doc(Popup(3, 21, "Apply Field To", "Position|Rotation|Color", 1, kParamFlagsSup),
        "What the field changes on faces: position, rotation or colour."),
    Doc(PointPercent(4, 1, "Field XY Location", 50, 50),
        "Where the field's centre stands on the layer, in pixels."),
    Doc(Float(5, 2, "Field Z Location", 0, -1000000, 1000000, -100, 100, 1), ParamUnit::WorldUnits,
        "Depth of the field's centre."),
    Doc(Float(6, 3, "Field Sphere Radius", 0, 0, 1000000, 0, 100, 1), ParamUnit::WorldUnits,
        "Radius of the field; only what lies inside is changed."),
    Doc(Fixed(7, 10, "Fade Out", 0, 0, 100, 0, 100, 1), ParamUnit::Percent,
        "Share of the radius, inward from its edge, over which the field fades."),
    Doc(Percent(Float(8, 12, "Scale Factor", 200, -1000000, 1000000, -100, 100, 0)),
        ParamUnit::Percent,
        "Size added to vertices inside the field, in full where the fade has not begun; 100% adds "
        "one whole size."),
    Doc(Angle(9, 22, "Rotation", 180), ParamUnit::Degrees, "Turn given to faces inside the field."),
    Doc(Color(10, 13, "Color", 1, 1, 1), "Colour given to vertices inside the field."),
    Doc(Fixed(11, 14, "Opacity", 50, 0, 100, 0, 100, 1), ParamUnit::Percent,
        "Opacity given to vertices inside the field."),
    Doc(Row(12, 4, PF_Param_CHECKBOX, "Use Lights", 0, kParamFlagsSup),
        "Puts a field around each of the comp's lights whose names match, instead of the one "
        "above."),
    Doc(Popup(13, 5, "Light Name Begins", "Lights|Field|Force|Sphere|(-|Custom|All Lights", 2,
              kParamFlagsSup),
        "Which lights make fields: those whose names begin with a preset word, with the text below "
        "(Custom), or all."),
    Doc(LightNameText(14, 23, "Light Name Begins with"),
        "With Custom, only lights whose names begin with this text make fields."),
    Doc(Popup(15, 15, "Get Field Radius From", kFromChoices, 2, kParamFlagsSup),
        "Which light setting gives each light's field radius: intensity, shadow darkness or shadow "
        "diffusion (None: Field Sphere Radius)."),
    Doc(Popup(16, 16, "Get Fade Out From", kFromChoices, 1),
        "Which light setting gives each light's fade: intensity, shadow darkness or shadow "
        "diffusion (None: Fade Out)."),
    Doc(Popup(17, 17, "Get Opacity From", kFromChoices, 1),
        "Which light setting gives each light's opacity: intensity, shadow darkness or shadow "
        "diffusion (None: Opacity)."),
    Doc(Popup(18, 18, "Get Size Factor From", kFromChoices, 1),
        "Which light setting gives each light's size factor: intensity, shadow darkness or shadow "
        "diffusion (None: Scale Factor)."),
    Doc(Popup(19, 19, "Get Rotation From", kFromChoices, 1),
        "Which light setting gives each light's rotation: intensity, shadow darkness or shadow "
        "diffusion (None: Rotation)."),
    Doc(Popup(20, 8, "Apply Field to Axis", "X Axis|Y Axis|Z Axis|XY Axis|XZ Axis|YZ Axis|XYZ Axis",
              7),
        "Axes along which the field pushes vertices out toward its surface."),
    Doc(Popup(21, 9, "Effect Only Group", kGroupChoicesAll, 12, kParamFlagsSup),
        "Acts only on the vertices of this group; All Groups acts on every vertex."),
};

// One sphere: where it stands and what it brings.
struct SphereField {
    float center[3] = {0, 0, 0};
    float color[4] = {1, 1, 1, 0.5f};  // R, G, B, A
    float radius = 0;
    float fade = 0;
    float sizeFactor = 2;
    float rotation = 180;
};

struct FieldParams {
    int32_t target = kTargetVertices, apply = kApplyPosition, axis = 7, group = 12;
    SphereField own;
    bool useLights = false;
    int32_t namePopup = 2;
    int32_t radiusFrom = 2, fadeFrom = 1, opacityFrom = 1, sizeFrom = 1, rotationFrom = 1;
    std::string customText;  // "Light Name Begins with"
};

FieldParams Read(PF_InData* in) {
    FieldParams p;
    p.target = CheckoutParam(in, kTarget).u.popup;
    p.apply = CheckoutParam(in, p.target == kTargetFaces ? kApplyFaces : kApplyVertices).u.popup;
    // The location stands at the same place at any resolution.
    const PF_ParamDef xy = CheckoutParam(in, kLocationXY);
    p.own.center[0] = float(FullResolutionX(in, xy.u.point[0]));
    p.own.center[1] = float(FullResolutionY(in, xy.u.point[1]));
    p.own.center[2] = float(CheckoutParam(in, kLocationZ).u.floatValue);
    p.own.radius = float(CheckoutParam(in, kRadius).u.floatValue);
    p.own.fade = float(PercentParam(in, kFade));
    p.own.sizeFactor = float(CheckoutParam(in, kScaleFactor).u.floatValue / 100.0);
    p.own.rotation = float(FixedParam(in, kRotation));
    const PF_Pixel8 c = CheckoutParam(in, kColor).u.color;
    p.own.color[0] = c.red / 255.0f;
    p.own.color[1] = c.green / 255.0f;
    p.own.color[2] = c.blue / 255.0f;
    p.own.color[3] = float(PercentParam(in, kOpacity));
    p.useLights = CheckedParam(in, kUseLights);
    p.namePopup = CheckoutParam(in, kNamePopup).u.popup;
    p.radiusFrom = CheckoutParam(in, kRadiusFrom).u.popup;
    p.fadeFrom = CheckoutParam(in, kFadeFrom).u.popup;
    p.opacityFrom = CheckoutParam(in, kOpacityFrom).u.popup;
    p.sizeFrom = CheckoutParam(in, kSizeFrom).u.popup;
    p.rotationFrom = CheckoutParam(in, kRotationFrom).u.popup;
    p.axis = CheckoutParam(in, kAxis).u.popup;
    p.group = CheckoutParam(in, kGroup).u.popup;
    if (p.useLights) {
        SuiteCache suites(in);
        p.customText = ReadTextParam(suites.host(), CheckoutParam(in, kNameText).u.arbData);
    }
    return p;
}

// The effect's own sphere, or one per light that the name selects, in the lights' order.
std::vector<SphereField> Fields(PF_InData* in, const FieldParams& p) {
    if (!p.useLights) return {p.own};
    std::vector<SceneLight> lights;
    CollectLights(in, lights,
                  LightPrefix(p.namePopup, {"Light", "Field", "Force", "Sphere"}, p.customText),
                  0.0);
    std::vector<SphereField> fields;
    fields.reserve(lights.size());
    for (const SceneLight& l : lights) {
        SphereField f;
        for (int i = 0; i < 3; ++i) {
            f.center[i] = float(l.position[i]);
            f.color[i] = l.color[i];
        }
        f.color[3] =
            float(std::clamp(LightValue(p.opacityFrom, l, p.own.color[3], true), 0.0, 1.0));
        f.radius = float(LightValue(p.radiusFrom, l, p.own.radius, false));
        f.fade = float(std::clamp(LightValue(p.fadeFrom, l, p.own.fade, true), 0.0, 1.0));
        f.sizeFactor = float(LightValue(p.sizeFrom, l, p.own.sizeFactor, true));
        f.rotation = float(LightValue(p.rotationFrom, l, p.own.rotation, false));
        fields.push_back(f);
    }
    return fields;
}

void Blend(const SphereField& f, double w, Color4f& c) {
    c.r = float((f.color[0] - c.r) * w + c.r);
    c.g = float((f.color[1] - c.g) * w + c.g);
    c.b = float((f.color[2] - c.b) * w + c.b);
    c.a = float((f.color[3] - c.a) * w + c.a);
}

PF_Err Contribute(PF_InData* in, PF_OutData*, ObjectMessage& m) {
    const FieldParams p = Read(in);
    GeometryStore& s = *m.geometry;
    const bool faces = p.target == kTargetFaces;
    const IndexRange range = EffectorRange(s, p.group, p.target);
    const std::vector<SphereField> fields = Fields(in, p);
    const AxisMask mask = AxisSelection(p.axis);
    std::vector<Vec3f>& locations = faces ? s.faceCentroids : s.positions;
    const uint32_t end = std::min<uint32_t>(range.start + range.count, uint32_t(locations.size()));
    // Each element reads and writes only its own entries; a later field sees what an earlier
    // one left, which stays true inside each element's own loop.
    auto element = [&](uint32_t i) {
        for (const SphereField& f : fields) {
            Vec3f& at = locations[i];
            const double v[3] = {double(at.x) - f.center[0], double(at.y) - f.center[1],
                                 double(at.z) - f.center[2]};
            const double d = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
            FieldRecord record;
            record.radius = f.radius;
            record.fade = f.fade;
            double w;
            if (!FieldWeight(record, d, w)) continue;
            switch (p.apply) {
                case kApplyPosition: {
                    // With a full weight the element lands on the sphere's surface.
                    const double distance = (f.radius - d) * w + d;
                    if (mask.x) at.x = float(f.center[0] + v[0] / d * distance);
                    if (mask.y) at.y = float(f.center[1] + v[1] / d * distance);
                    if (mask.z) at.z = float(f.center[2] + v[2] / d * distance);
                    break;
                }
                case kApplySizeOrRotation:
                    if (faces) {
                        if (i >= s.faceRotations.size()) break;
                        Vec3f& r = s.faceRotations[i];
                        if (mask.x) r.x = float(r.x + w * f.rotation);
                        if (mask.y) r.y = float(r.y + w * f.rotation);
                        if (mask.z) r.z = float(r.z + w * f.rotation);
                    } else if (i < s.scales.size()) {
                        s.scales[i] = std::max(0.0f, float(s.scales[i] + w * f.sizeFactor));
                    }
                    break;
                default:
                    ForEachColorOf(s, faces, i, [&](Color4f& c) { Blend(f, w, c); });
                    break;
            }
        }
    };
    return ForEachElement(in, range.start, end, element);
}

uint64_t Hash(PF_InData* in, const FieldParams& p) {
    ParamHasher h(33);
    h.add(p.target).add(p.apply).add(p.axis).add(p.group).add(int32_t(p.useLights));
    h.add(p.namePopup).add(p.radiusFrom).add(p.fadeFrom).add(p.opacityFrom).add(p.sizeFrom);
    h.add(p.rotationFrom);
    h.add(std::string_view(p.customText));
    for (const SphereField& f : Fields(in, p)) {
        for (float c : f.center) h.add(c);
        for (float c : f.color) h.add(c);
        h.add(f.radius).add(f.fade).add(f.sizeFactor).add(f.rotation);
    }
    return h.value();
}

uint64_t HashOf(PF_InData* in, ObjectMessage&) {
    return Hash(in, Read(in));
}

const GroupHooks kGroupHooks{
    .groupPopup = &kTable[kGroup], .hash = &HashOf, .effector = true, .targetParam = kTarget};

PF_Err Visibility(PF_InData* in) {
    const FieldParams p = Read(in);
    const bool faces = p.target == kTargetFaces;
    const bool lights = p.useLights;
    const bool color = p.apply == kApplyColor;
    const bool scale = !faces && p.apply == kApplySizeOrRotation;
    const bool rotation = faces && p.apply == kApplySizeOrRotation;
    const ParamRule rules[] = {
        {kNamePopup, true},
        {kRadiusFrom, !lights},
        {kFadeFrom, !lights},
        {kApplyVertices, faces},
        {kApplyFaces, !faces},
        {kScaleFactor, !scale},
        {kSizeFrom, !(lights && scale)},
        {kRotation, !rotation},
        {kRotationFrom, !(lights && rotation)},
        {kColor, !color},
        {kOpacity, !color},
        {kOpacityFrom, !(lights && color)},
        {kAxis, !(p.apply == kApplyPosition || rotation)},
    };
    return ShowParameters(in, rules);
}

const SubEffectHandlers kHandlers{
    .message = &Contribute,
    .group = &kGroupHooks,
    .visibility = &Visibility,
    .nameLabel = &AllLightsLabel,
};

}  // namespace

ParamTable SphericalFieldParams() {
    return kTable;
}

PF_Err SphericalFieldEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                    PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(kSphericalFieldInfo, kHandlers, cmd, in_data, out_data, params, output,
                          extra);
}

// The effect's row in the module's effect table.
const EffectInfo kSphericalFieldInfo{
    3,
    "Tavrin Spherical Field",
    "KDL TAVREFF Spherical Field",
    "SphericalFieldEntryPointFunc",
    &SphericalFieldEntryPointFunc,
    0x208010,
    0x1401,
    EffectRole::Effector,
    "Spherical Field Effector, applies Spherical Field to the Position/Scale/Color of Particles in "
    "a Tavrin.",
    true,
    &SphericalFieldParams,
    "An effector that changes the vertices inside a sphere: pushes them, scales them, or colours "
    "them, fading toward the sphere's edge.",
    "Place the field with Field XY Location and Field Z Location and give it a Field Sphere Radius "
    "(0 reaches nothing). Choose what it changes with Apply Field To; with Use Lights, every "
    "matching light carries a field of its own."};

}  // namespace tv
