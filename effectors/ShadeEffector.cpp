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
#include "host/SequenceRecord.h"
#include "host/SuiteCache.h"
#include "host/TextParam.h"
#include "resources/EntryPoints.h"

namespace tv {

namespace {

using namespace params;

enum : int32_t { kNamePopup = 1, kNameText = 2, kAmbience = 3, kGroup = 4 };

const std::vector<std::string> kWords = {"Color", "Tint", "Shade", "Field", "Noise"};

constexpr ParamSpec TextParam() {
    ParamSpec s = Row(2, 6, PF_Param_ARBITRARY_DATA, "Lights Name Begins with");
    s.arbId = 6;
    s.arbRefcon = 0x41535072;
    s.uiWidth = 350;
    s.uiHeight = 100;
    return s;
}

constexpr ParamSpec kTable[] = {
    Row(0, 0, PF_Param_LAYER, "input"),
    Popup(1, 1, "Shading-Lights name starts with",
          "Color|Tint|Shade|Field|Noise|(-|Custom|All Lights", 1, kParamFlagsSup),
    TextParam(),
    Fixed(3, 4, "Ambience", 10, 0, 100, 0, 100, 1),
    Popup(4, 5, "Effect Only Group", kGroupChoicesAll, 12, kParamFlagsSup),
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
    r.ambient = CheckoutParam(in, kAmbience).u.fixed / 65536.0 / 100.0;
    r.group = CheckoutParam(in, kGroup).u.popup;
    return r;
}

std::vector<SceneLight> Lights(PF_InData* in, const ShadeRecord& r) {
    std::vector<SceneLight> lights;
    CollectLights(in, lights, LightPrefix(r.namePopup, kWords, r.text), 0.0);
    return lights;
}

PF_Err Contribute(PF_InData* in, ObjectMessage& m) {
    const ShadeRecord r = Read(in);
    GeometryStore& s = *m.geometry;
    const IndexRange range = EffectorRange(s, r.group, kTargetVertices);
    const std::vector<SceneLight> lights = Lights(in, r);
    const uint32_t end = std::min<uint32_t>(
        range.start + range.count, uint32_t(std::min(s.positions.size(), s.colors.size())));
    constexpr uint32_t kBlock = 4096;
    const uint32_t first = range.start;
    const int32_t blocks = end > first ? int32_t((end - first + kBlock - 1) / kBlock) : 0;
    return SuiteCache(in)->iterate(blocks, [&](int32_t b) {
        const uint32_t lo = first + uint32_t(b) * kBlock;
        const uint32_t hi = std::min(end, lo + kBlock);
        for (uint32_t i = lo; i < hi; ++i) {
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
        }
        return PF_Err_NONE;
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

PF_Err Message(PF_InData* in, PF_OutData*, ObjectMessage& m) {
    switch (m.command) {
        case kObjGetGroup:
            m.setPayloadGroup(int16_t(CheckoutParam(in, kGroup).u.popup));
            return PF_Err_NONE;
        case kObjGetTarget:
            m.flags |= kMsgTargetsVertices;
            return PF_Err_NONE;
        case kObjSetGroup:
            return WriteGroupPopup(in, kTable[kGroup], m.payloadGroup());
        case kObjMixHash:
            MixHashInto(m, Hash(in, Read(in)));
            return PF_Err_NONE;
        default:
            return Contribute(in, m);
    }
}

// The name popup is always hidden. The first time the panel is brought up to date the text
// parameter takes the popup's word, once per instance (marked with flag 0x8 of the record).
PF_Err UpdateUI(PF_InData* in, PF_OutData*, PF_ParamDef*[]) {
    SuiteCache suites(in);
    HostServices& host = suites.host();
    PF_Err err = PF_Err_NONE;
    if (auto* record = static_cast<SequenceRecord*>(host.lockHandle(in->sequence_data))) {
        if (!(record->flags & kSeqFlagV2HighBit)) {
            const int32_t popup = CheckoutParam(in, kNamePopup).u.popup;
            err = WriteTextParam(host, in->effect_ref, kNameText, LightPrefix(popup, kWords, ""));
            record->flags |= kSeqFlagV2HighBit;
        }
        host.unlockHandle(in->sequence_data);
    }
    const PF_Err hide = ShowParameter(in, kNamePopup, true);
    return err ? err : hide;
}

PF_Err UserChanged(PF_InData* in, PF_OutData*, PF_ParamDef*[], void*) {
    return ShowParameter(in, kNamePopup, true);
}

SubEffectHandlers MakeHandlers() {
    SubEffectHandlers h;
    h.message = &Message;
    h.userChangedParam = &UserChanged;
    h.updateParamsUI = &UpdateUI;
    return h;
}
const SubEffectHandlers kHandlers = MakeHandlers();

}  // namespace

ParamTable ShadeParams() {
    return kTable;
}

PF_Err ShadeEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                           PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(EffectTable()[9], kHandlers, cmd, in_data, out_data, params, output,
                          extra);
}

}  // namespace tv
