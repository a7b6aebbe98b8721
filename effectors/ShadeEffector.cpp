// "Tavrin Shade Effector": darkens vertex colours by the scene's lights, each light lighting a
// sphere whose radius is its intensity, plus an ambient share of every light's colour.
#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "effectors/EffectorFrame.h"
#include "host/EffectTemplate.h"
#include "host/ParamBuilders.h"
#include "host/ParamHash.h"
#include "host/ParamValues.h"
#include "host/SequenceRecord.h"
#include "host/SuiteCache.h"
#include "host/TextParam.h"
#include "effectors/EffectorEntries.h"

namespace tv {

namespace {

using namespace params;

enum : int32_t { kNamePopup = 1, kNameText = 2, kAmbience = 3, kGroup = 4 };

const std::vector<std::string> kWords = {"Color", "Tint", "Shade", "Field", "Noise"};

constexpr ParamSpec kTable[] = {
    Row(0, 0, PF_Param_LAYER, "input"),
    Doc(Popup(1, 1, "Shading-Lights name starts with",
              "Color|Tint|Shade|Field|Noise|(-|Custom|All Lights", 1, kParamFlagsSup),
        "Which lights shade the vertices: those whose names begin with a preset word, with the "
        "text below (Custom), or all."),
    Doc(LightNameText(2, 6, "Lights Name Begins with"),
        "With Custom, only lights whose names begin with this text shade."),
    Doc(Fixed(3, 4, "Ambience", 10, 0, 100, 0, 100, 1), ParamUnit::Percent,
        "Light every vertex gets whatever the lights; 100% leaves colours as they are."),
    Doc(Popup(4, 5, "Effect Only Group", kGroupChoicesAll, 12, kParamFlagsSup),
        "Acts only on the vertices of this group; All Groups acts on every vertex."),
};

struct ShadeRecord {
    int32_t namePopup = 1;
    std::string text;  // "Lights Name Begins with"
    double ambient = 0.1;
    int32_t group = 12;
};

ShadeRecord Read(PF_InData* in) {
    ShadeRecord r;
    r.namePopup = CheckoutParam(in, kNamePopup).u.popup;
    SuiteCache suites(in);
    r.text = ReadTextParam(suites.host(), CheckoutParam(in, kNameText).u.arbData);
    r.ambient = PercentParam(in, kAmbience);
    r.group = CheckoutParam(in, kGroup).u.popup;
    return r;
}

std::vector<SceneLight> Lights(PF_InData* in, const ShadeRecord& r) {
    std::vector<SceneLight> lights;
    CollectLights(in, lights, LightPrefix(r.namePopup, kWords, r.text), 0.0);
    return lights;
}

PF_Err Contribute(PF_InData* in, PF_OutData*, ObjectMessage& m) {
    const ShadeRecord r = Read(in);
    GeometryStore& s = *m.geometry;
    const IndexRange range = EffectorRange(s, r.group, kTargetVertices);
    const std::vector<SceneLight> lights = Lights(in, r);
    const uint32_t end = std::min<uint32_t>(
        range.start + range.count, uint32_t(std::min(s.positions.size(), s.colors.size())));
    return ForEachElement(in, range.start, end, [&](uint32_t i) {
        const Vec3f& p = s.positions[i];
        double sum[3] = {0, 0, 0};
        for (const SceneLight& l : lights) {
            const double dx = l.position[0] - p.x, dy = l.position[1] - p.y,
                         dz = l.position[2] - p.z;
            const double d = std::sqrt(dx * dx + dy * dy + dz * dz);
            // The intensity is the radius of the light's reach.
            const double I = l.intensity;
            const double w = I >= d ? 1 - d / I : 0;
            for (int c = 0; c < 3; ++c) sum[c] += l.color[c] * r.ambient + l.color[c] * w;
        }
        // Only ever darkens: each sum is limited to 0..1. Alpha stays.
        Color4f& col = s.colors[i];
        col.r = float(col.r * std::clamp(sum[0], 0.0, 1.0));
        col.g = float(col.g * std::clamp(sum[1], 0.0, 1.0));
        col.b = float(col.b * std::clamp(sum[2], 0.0, 1.0));
    });
}

uint64_t Hash(PF_InData* in, const ShadeRecord& r) {
    ParamHasher h(91);
    h.add(r.namePopup).add(r.ambient).add(r.group);
    h.add(std::string_view(r.text));
    for (const SceneLight& l : Lights(in, r)) {
        for (double v : l.position) h.add(v);
        for (float v : l.color) h.add(v);
        h.add(l.intensity);
    }
    return h.value();
}

uint64_t HashOf(PF_InData* in, ObjectMessage&) {
    return Hash(in, Read(in));
}

const GroupHooks kGroupHooks{.groupPopup = &kTable[kGroup], .hash = &HashOf, .effector = true};

// The name popup is always hidden. The first time the panel is brought up to date the text
// parameter takes the popup's word, once per instance (marked with flag 0x8 of the record).
PF_Err UpdateUI(PF_InData* in, PF_OutData*, PF_ParamDef*[]) {
    PF_Err err = PF_Err_NONE;
    if (MarkOnce(in, kSeqFlagV2HighBit)) {
        const int32_t popup = CheckoutParam(in, kNamePopup).u.popup;
        SuiteCache suites(in);
        err = WriteTextParam(suites.host(), in->effect_ref, kNameText,
                             LightPrefix(popup, kWords, ""));
    }
    const PF_Err hide = ShowParameter(in, kNamePopup, true);
    return err ? err : hide;
}

PF_Err UserChanged(PF_InData* in, PF_OutData*, PF_ParamDef*[], void*) {
    return ShowParameter(in, kNamePopup, true);
}

const SubEffectHandlers kHandlers{
    .message = &Contribute,
    .group = &kGroupHooks,
    .userChangedParam = &UserChanged,
    .updateParamsUI = &UpdateUI,
    .nameLabel = &AllLightsLabel,
};

}  // namespace

ParamTable ShadeParams() {
    return kTable;
}

PF_Err ShadeEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                           PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(kShadeInfo, kHandlers, cmd, in_data, out_data, params, output, extra);
}

// The effect's row in the module's effect table.
const EffectInfo kShadeInfo{
    10,
    "Tavrin Shade Effector",
    "KDL TAVREFF Shade Effector",
    "ShadeEntryPointFunc",
    &ShadeEntryPointFunc,
    0x208010,
    0x1401,
    EffectRole::Effector,
    "Shade Effector, Applies Shading to Points.",
    true,
    &ShadeParams,
    "An effector that colours vertices by the comp's lights, as if lit by them.",
    "Add lights to the comp, name them with a common start (Color, Tint, Shade... or your own with "
    "Custom) and choose it. Ambience sets how much colour vertices keep away from the lights."};

}  // namespace tv
