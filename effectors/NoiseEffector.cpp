// "Tavrin Noise Effector": band-limited noise on the position, size, rotation or colour of
// vertices or faces, driven by each element's lattice coordinates so the pattern stays attached.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "effectors/EffectorFrame.h"
#include "effectors/NoiseGenerators.h"
#include "host/EffectTemplate.h"
#include "host/ParamBuilders.h"
#include "host/ParamVisibility.h"
#include "host/ParamHash.h"
#include "host/ParamValues.h"
#include "host/SequenceRecord.h"
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
    kColorType = 4,
    kAmplitude = 5,
    kXScale = 7,
    kYScale = 8,
    kZScale = 9,
    kXOffset = 10,
    kYOffset = 11,
    kZOffset = 12,
    kEvolution = 13,
    kRate = 14,
    kLoop = 15,
    kCycles = 16,
    kValues = 17,
    kOctaves = 18,
    kSeed = 19,
    kAxis = 21,
    kAffectOpacity = 22,
    kUseLights = 23,
    kNamePopup = 24,
    kNameText = 25,
    kRadiusFrom = 26,
    kAmplitudeFrom = 27,
    kFadeFrom = 28,
    kGroup = 29,
};

constexpr const char* kFromChoices = "None|Intensity|Shadow Darkness|Shadow Diffusion";

// "Apply Noise To": position, then scale (vertices) or rotation (faces), then color.
enum Apply : int32_t { kApplyPosition = 1, kApplySizeOrRotation = 2, kApplyColor = 3 };
// "Color Type".
enum ColorType : int32_t {
    kColorAlpha = 1,
    kColorRgb = 2,
    kColorRed = 3,
    kColorGreen = 4,
    kColorBlue = 5,
    kColorHsl = 6,
    kColorHue = 7,
    kColorSaturation = 8,
    kColorLightness = 9,
};
// "Noise Values".
enum Values : int32_t { kValuesPositive = 1, kValuesNegative = 2, kValuesBoth = 3 };
// "Apply Noise to Axis": "XYZ Axis" and "Normal".
enum : int32_t { kAxisXyz = 7, kAxisNormal = 8 };
// "Get ... From": "None" takes the effect's own value; "Intensity" and "Shadow Darkness" follow.
enum From : int32_t { kFromNone = 1, kFromIntensity = 2, kFromShadowDarkness = 3 };
// "Noise Effector Name Begins": "Noise".
constexpr int32_t kNameNoise = 2;
// The period of an evolution that does not loop.
constexpr int32_t kNoLoop = 0x7FFFFFFF;

constexpr ParamSpec kTable[] = {
    Row(0, 0, PF_Param_LAYER, "input"),
    Doc(Popup(1, 32, "Effector effects", "Vertices|Faces", 1, kParamFlagsSup),
        "Whether the noise acts on vertices or on faces."),
    Doc(Popup(2, 17, "Apply Noise To (Vertices)", "Position|Scale|Color", 1, kParamFlagsSup),
        "What the noise changes on vertices: position, scale or colour."),
    Doc(Popup(3, 33, "Apply Noise To (Faces)", "Position|Rotation|Color", 1, kParamFlagsSup),
        "What the noise changes on faces: position, rotation or colour."),
    Doc(Popup(4, 29, "Color Type", "Alpha|RGB|Red|Green|Blue|HSL|Hue|Saturation|Lightness", 2,
              kParamFlagsSup),
        "Which part of the colour the noise shifts: alpha, RGB, one channel, or hue, saturation "
        "and lightness."),
    Doc(Float(5, 1, "Noise Amplitude", 0, -1000000, 1000000, 0, 100, 1),
        "Strength of the noise; 0 changes nothing."),
    GroupStart(6, 18, "Noise Details"),
    Doc(Float(7, 2, "Noise X Scale", 0.25, 0, 5, 0, 1, 3),
        "How fast the noise changes from one lattice step to the next along X: higher is busier."),
    Doc(Float(8, 3, "Noise Y Scale", 0.25, 0, 5, 0, 1, 3),
        "How fast the noise changes from one lattice step to the next along Y: higher is busier."),
    Doc(Float(9, 30, "Noise Z Scale", 0.25, 0, 5, 0, 1, 3),
        "How fast the noise changes from one lattice step to the next along Z: higher is busier."),
    Doc(Angle(10, 4, "Noise X Offset"), ParamUnit::Degrees,
        "Slides the noise pattern along X, one degree per lattice step; animate it to drift."),
    Doc(Angle(11, 5, "Noise Y Offset"), ParamUnit::Degrees,
        "Slides the noise pattern along Y, one degree per lattice step; animate it to drift."),
    Doc(Angle(12, 31, "Noise Z Offset"), ParamUnit::Degrees,
        "Slides the noise pattern along Z, one degree per lattice step; animate it to drift."),
    Doc(Angle(13, 6, "Noise Evolution"), ParamUnit::Degrees,
        "Changes the pattern in place (a full turn is one noise cell); animate it to boil."),
    Doc(Fixed(14, 7, "Evolution Rate", 50, 0, 100, 0, 100, 1), ParamUnit::Percent,
        "Never shown and not used; kept for saved projects."),
    Doc(Row(15, 35, PF_Param_CHECKBOX, "Loop Evolution", 0, kParamFlagsSup),
        "Makes the evolution repeat seamlessly after the cycles below."),
    Doc(Int(16, 36, "No. of Cycles to Loop", 1, 1, 10000, 1, 10),
        "Full evolution turns after which the looping noise repeats."),
    Doc(Popup(17, 9, "Noise Values", "Positive|Negative|Both", 3),
        "Whether the noise pushes one way only (positive or negative) or both ways."),
    Doc(Int(18, 14, "Noise Octaves", 3, 0, 10, 0, 10),
        "Layers of detail summed, each finer than the last; 0 gives no noise at all."),
    Doc(Int(19, 15, "Noise Seed", 10, 0, 30000, 0, 100), "Picks another random pattern."),
    GroupEnd(20, 19),
    Doc(Popup(21, 8, "Apply Noise to Axis",
              "X Axis|Y Axis|Z Axis|XY Axis|XZ Axis|YZ Axis|XYZ Axis|Normal", 7),
        "Axes along which position noise moves vertices, or along their normals."),
    Doc(Row(22, 28, PF_Param_CHECKBOX, "Affect Opacity", 1),
        "Lets colour noise change opacity too, whatever the Color Type."),
    Doc(Row(23, 10, PF_Param_CHECKBOX, "Use Lights for Noise", 0, kParamFlagsSup),
        "Confines the noise to fields around the comp's lights whose names match below."),
    Doc(Popup(24, 11, "Noise Effector Name Begins",
              "Lights|Noise|Perlin|Force|Field|(-|Custom|All Lights", 2, kParamFlagsSup),
        "Which lights make fields: those whose names begin with a preset word, with the text below "
        "(Custom), or all."),
    Doc(LightNameText(25, 34, "Light Name Begins with"),
        "With Custom, only lights whose names begin with this text make fields."),
    Doc(Popup(26, 23, "Get Effector Radius From", kFromChoices, 2, kParamFlagsSup),
        "Which light setting gives each light's radius of influence: intensity, shadow darkness or "
        "shadow diffusion (None: no radius)."),
    Doc(Popup(27, 27, "Get Amplitude From", kFromChoices, 1),
        "Which light setting gives each light's noise strength: intensity, shadow darkness or "
        "shadow diffusion (None: Noise Amplitude)."),
    Doc(Popup(28, 24, "Get Fade Out From", kFromChoices, 3),
        "Which light setting gives each light's fade at the edge of its field: intensity, shadow "
        "darkness or shadow diffusion (None: no fade)."),
    Doc(Popup(29, 16, "Effect Only Group", kGroupChoicesAll, 12, kParamFlagsSup),
        "Acts only on the vertices of this group; All Groups acts on every vertex."),
};

struct NoiseRecord {
    NoiseSettings noise;
    int32_t target = kTargetVertices, apply = kApplyPosition, colorType = kColorRgb;
    int32_t values = kValuesBoth, axis = kAxisXyz, group = kAllGroups;
    double amplitude = 0;
    bool affectOpacity = true, useLights = false, compatibility = false;
    int32_t namePopup = kNameNoise, radiusFrom = kFromIntensity, amplitudeFrom = kFromNone;
    int32_t fadeFrom = kFromShadowDarkness;
    std::string customText;  // "Light Name Begins with"
};

std::string ReadNameText(PF_InData* in) {
    SuiteCache suites(in);
    return ReadTextParam(suites.host(), CheckoutParam(in, kNameText).u.arbData);
}

NoiseRecord Read(PF_InData* in) {
    NoiseRecord p;
    p.target = CheckoutParam(in, kTarget).u.popup;
    p.apply = CheckoutParam(in, p.target == kTargetFaces ? kApplyFaces : kApplyVertices).u.popup;
    p.colorType = CheckoutParam(in, kColorType).u.popup;
    p.amplitude = CheckoutParam(in, kAmplitude).u.floatValue;
    if (p.apply == kApplyColor || (p.apply == kApplySizeOrRotation && p.target == kTargetVertices))
        p.amplitude /= 100.0;
    NoiseSettings& n = p.noise;
    n.scale[0] = CheckoutParam(in, kXScale).u.floatValue;
    n.scale[1] = CheckoutParam(in, kYScale).u.floatValue;
    n.scale[2] = CheckoutParam(in, kZScale).u.floatValue;
    n.offset[0] = FixedParam(in, kXOffset);
    n.offset[1] = FixedParam(in, kYOffset);
    n.offset[2] = FixedParam(in, kZOffset);
    n.evolution = FixedParam(in, kEvolution);
    n.rate = PercentParam(in, kRate);
    n.period = CheckedParam(in, kLoop) ? CheckoutParam(in, kCycles).u.slider : kNoLoop;
    n.octaves = CheckoutParam(in, kOctaves).u.slider;
    n.seed = CheckoutParam(in, kSeed).u.slider;
    p.values = CheckoutParam(in, kValues).u.popup;
    p.axis = CheckoutParam(in, kAxis).u.popup;
    p.affectOpacity = CheckedParam(in, kAffectOpacity);
    p.useLights = CheckedParam(in, kUseLights);
    p.namePopup = CheckoutParam(in, kNamePopup).u.popup;
    p.radiusFrom = CheckoutParam(in, kRadiusFrom).u.popup;
    p.amplitudeFrom = CheckoutParam(in, kAmplitudeFrom).u.popup;
    p.fadeFrom = CheckoutParam(in, kFadeFrom).u.popup;
    p.group = CheckoutParam(in, kGroup).u.popup;
    if (p.useLights) p.customText = ReadNameText(in);
    SuiteCache suites(in);
    if (auto* record = static_cast<const SequenceRecord*>(suites->lockHandle(in->sequence_data))) {
        p.compatibility = (record->flags & (kSeqFlagFromV1 | kSeqFlagFromV2)) != 0;
        suites->unlockHandle(in->sequence_data);
    }
    return p;
}

std::vector<FieldRecord> Fields(PF_InData* in, const NoiseRecord& p) {
    std::vector<SceneLight> lights;
    const std::string prefix =
        LightPrefix(p.namePopup, {"Light", "Noise", "Perlin", "Force", "Field"}, p.customText);
    CollectLights(in, lights, prefix, 0.0);
    std::vector<FieldRecord> fields;
    const bool fraction = p.apply == kApplyColor || p.apply == kApplySizeOrRotation;
    for (const SceneLight& l : lights) {
        FieldRecord f;
        for (int i = 0; i < 3; ++i) f.center[i] = float(l.position[i]);
        f.radius = float(LightValue(p.radiusFrom, l, 0.0, false));
        f.fade = float(std::clamp(LightValue(p.fadeFrom, l, 0.0, true), 0.0, 1.0));
        f.amount =
            float(p.amplitudeFrom == kFromNone ? p.amplitude
                                               : LightValue(p.amplitudeFrom, l, 0, fraction));
        fields.push_back(f);
    }
    return fields;
}

void ApplyColor(const NoiseRecord& p, const float n[4], Color4f& c) {
    const int32_t t = p.colorType;
    if (t == kColorRgb || t == kColorRed) c.r += n[0];
    if (t == kColorRgb || t == kColorGreen) c.g += n[1];
    if (t == kColorRgb || t == kColorBlue) c.b += n[2];
    if (t >= kColorHsl) {
        float h, s, l;
        RgbToHsl(c.r, c.g, c.b, h, s, l);
        if (t == kColorHsl || t == kColorHue) h += n[0];
        if (t == kColorHsl || t == kColorSaturation) s += n[1];
        if (t == kColorHsl || t == kColorLightness) l += n[2];
        HslToRgb(h, s, l, c.r, c.g, c.b);
    }
    if (t == kColorAlpha || p.affectOpacity) c.a += n[3];
    c.r = std::max(c.r, 0.0f);
    c.g = std::max(c.g, 0.0f);
    c.b = std::max(c.b, 0.0f);
    c.a = std::clamp(c.a, 0.0f, 1.0f);
}

PF_Err Contribute(PF_InData* in, PF_OutData*, ObjectMessage& m) {
    const NoiseRecord p = Read(in);
    GeometryStore& s = *m.geometry;
    const bool faces = p.target == kTargetFaces;
    const IndexRange range = EffectorRange(s, p.group, p.target);
    const std::vector<FieldRecord> fields =
        p.useLights ? Fields(in, p) : std::vector<FieldRecord>{};
    const Perlin table(p.noise.octaves, p.noise.seed);
    const AxisMask mask = AxisSelection(p.axis);
    std::vector<Vec3f>& locations = faces ? s.faceCentroids : s.positions;
    // Along the normal: a vertex's own, or a face's from its corners.
    const std::vector<Vec3f> faceNormals =
        faces && p.axis == kAxisNormal && p.apply == kApplyPosition ? FaceNormals(s)
                                                                    : std::vector<Vec3f>{};
    const std::vector<Vec3f>& normals = faces ? faceNormals : s.normals;
    // Each element reads and writes only its own entries, so blocks run in parallel.
    const uint32_t end = std::min<uint32_t>(range.start + range.count,
                                            uint32_t(faces ? s.faces.size() : s.lattice.size()));
    auto element = [&](uint32_t i) {
        const Vec3i coord = faces ? s.faces[i] : s.lattice[i];
        float n[4];
        if (p.compatibility)
            CompatibilityNoise(p.noise, table, coord.x, coord.y, coord.z, n);
        else
            CurrentNoise(p.noise, coord.x, coord.y, coord.z, n);
        for (int c = 0; c < 3; ++c) {
            if (p.values == kValuesPositive) n[c] = std::max(n[c], 0.0f);
            if (p.values == kValuesNegative) n[c] = std::min(n[c], 0.0f);
        }
        double a = p.amplitude;
        if (p.useLights) {
            a = 0;
            if (i < locations.size()) {
                const Vec3f& at = locations[i];
                for (const FieldRecord& f : fields) {
                    const double d = std::sqrt(double(at.x - f.center[0]) * (at.x - f.center[0]) +
                                               double(at.y - f.center[1]) * (at.y - f.center[1]) +
                                               double(at.z - f.center[2]) * (at.z - f.center[2]));
                    double w;
                    if (FieldWeight(f, d, w)) a += w * f.amount;
                }
            }
        }
        for (float& v : n) v = float(v * a);
        switch (p.apply) {
            case kApplyPosition:
                if (i >= locations.size()) break;
                if (p.axis == kAxisNormal) {
                    if (i >= normals.size()) break;
                    locations[i].x += normals[i].x * n[0];
                    locations[i].y += normals[i].y * n[0];
                    locations[i].z += normals[i].z * n[0];
                } else {
                    if (mask.x) locations[i].x += n[0];
                    if (mask.y) locations[i].y += n[1];
                    if (mask.z) locations[i].z += n[2];
                }
                break;
            case kApplySizeOrRotation:
                if (faces) {
                    if (i >= s.faceRotations.size()) break;
                    if (mask.x) s.faceRotations[i].x += n[0];
                    if (mask.y) s.faceRotations[i].y += n[1];
                    if (mask.z) s.faceRotations[i].z += n[2];
                } else if (i < s.scales.size()) {
                    s.scales[i] = std::max(0.0f, s.scales[i] + n[0]);
                }
                break;
            default:
                ForEachColorOf(s, faces, i, [&](Color4f& c) { ApplyColor(p, n, c); });
                break;
        }
    };
    return ForEachElement(in, range.start, end, element);
}

uint64_t Hash(PF_InData* in, const NoiseRecord& p) {
    ParamHasher h(21);
    h.add(p.target)
        .add(p.apply)
        .add(p.colorType)
        .add(p.amplitude)
        .add(p.values)
        .add(p.axis)
        .add(p.group);
    for (int i = 0; i < 3; ++i) h.add(p.noise.scale[i]).add(p.noise.offset[i]);
    h.add(p.noise.evolution)
        .add(p.noise.rate)
        .add(p.noise.period)
        .add(p.noise.octaves)
        .add(p.noise.seed);
    h.add(int32_t(p.affectOpacity)).add(int32_t(p.useLights)).add(int32_t(p.compatibility));
    h.add(p.namePopup).add(p.radiusFrom).add(p.amplitudeFrom).add(p.fadeFrom);
    h.add(std::string_view(p.customText));
    if (p.useLights)
        for (const FieldRecord& f : Fields(in, p))
            h.add(f.center[0])
                .add(f.center[1])
                .add(f.center[2])
                .add(f.radius)
                .add(f.fade)
                .add(f.amount);
    return h.value();
}

uint64_t HashOf(PF_InData* in, ObjectMessage&) {
    return Hash(in, Read(in));
}

const GroupHooks kGroupHooks{
    .groupPopup = &kTable[kGroup], .hash = &HashOf, .effector = true, .targetParam = kTarget};

PF_Err Visibility(PF_InData* in) {
    const NoiseRecord p = Read(in);
    const bool faces = p.target == kTargetFaces;
    const bool color = p.apply == kApplyColor;
    const bool positional = p.apply == kApplyPosition || (faces && p.apply == kApplySizeOrRotation);
    const ParamRule rules[] = {
        {kApplyVertices, faces},     {kApplyFaces, !faces},
        {kColorType, !color},        {kRate, true},
        {kNamePopup, true},          {kCycles, p.noise.period == kNoLoop},
        {kAxis, !positional},        {kAffectOpacity, !color || p.colorType == kColorAlpha},
        {kRadiusFrom, !p.useLights}, {kAmplitudeFrom, !p.useLights},
        {kFadeFrom, !p.useLights},
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

ParamTable NoiseParams() {
    return kTable;
}

PF_Err NoiseEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                           PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(kNoiseInfo, kHandlers, cmd, in_data, out_data, params, output, extra);
}

// The effect's row in the module's effect table.
const EffectInfo kNoiseInfo{
    2,
    "Tavrin Noise Effector",
    "KDL TAVREFF Noise",
    "NoiseEntryPointFunc",
    &NoiseEntryPointFunc,
    0x208010,
    0x1401,
    EffectRole::Effector,
    "Noise Effector, applies noise to the Position/Scale/Color of Particles in a Tavrin.",
    true,
    &NoiseParams,
    "An effector that displaces, scales or colours vertices (or faces) with smooth 3D noise, "
    "everywhere or only near chosen lights.",
    "Add it below the source whose vertices it should move and raise Noise Amplitude (at 0 it does "
    "nothing). Noise X/Y/Z Scale sets the size of the features; animate Noise Evolution, or an "
    "offset, to make the noise move."};

}  // namespace tv
