// "Tavrin Layers Object": one vertex per selected light or 3D layer of the comp, a curve between
// spot lights, and copies of the row replicated into a ribbon.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "host/EffectTemplate.h"
#include "host/ParamBuilders.h"
#include "host/ParamValues.h"
#include "host/ParamVisibility.h"
#include "host/SequenceRecord.h"
#include "host/SuiteCache.h"
#include "host/TextParam.h"
#include "sources/SourceEntries.h"
#include "sources/LayersGenerate.h"

namespace tv {

namespace {

using namespace params;

enum : int32_t {
    kObjectType = 1,
    kLightType = 2,
    kLayerType = 3,
    kNamePopup = 4,
    kNameText = 5,
    kGetColor = 6,
    kColor = 7,
    kOpacityFromIntensity = 8,
    kOpacityFromOpacity = 9,
    kOpacity = 10,
    kBetweenLights = 11,
    kBetweenCount = 12,
    kCopies = 14,
    kExtrudeDepth = 15,
    kDirection = 16,
    kCenterXY = 17,
    kCenterZ = 18,
    kXStart = 20,
    kXEnd = 21,
    kYStart = 24,
    kYEnd = 25,
    kZStart = 28,
    kZEnd = 29,
    kFacets = 32,
    kGroup = 33,
};

// A popup whose declared choice count differs from its text.
constexpr ParamSpec PopupCount(ParamSpec s, int32_t count, uint32_t uiFlags = 0) {
    s.validMax = s.sliderMax = count;
    s.uiFlags = uiFlags;
    return s;
}

constexpr ParamSpec Checkbox(int32_t index, int32_t disk, const char* name, bool on,
                             uint32_t flags = 0) {
    return Row(index, disk, PF_Param_CHECKBOX, name, on ? 1 : 0, flags);
}

constexpr ParamSpec kTable[] = {
    Row(0, 0, PF_Param_LAYER, "input"),
    Doc(Popup(1, 28, "Object Type", "Lights|3D Layers", 1, kParamFlagsSup),
        "Whether vertices come from the comp's lights or from its 3D layers."),
    Doc(Popup(2, 34, "Light Type", "Point Lights|Spot Lights", 1, kParamFlagsSup),
        "Which lights make vertices: point lights or spot lights."),
    // Declared with two choices although the text has four.
    Doc(PopupCount(
            Popup(3, 35, "Layer Type", "Nulls|AV Layers|(-|All 3D Layers", 1, kParamFlagsSup), 2),
        "Which 3D layers make vertices: nulls or layers with pixels."),
    // Hidden for good; five choices declared for six items.
    Doc(PopupCount(Popup(4, 1, "Layer Name begins with", "Light|Tavrin|Network|(-|Custom|Anything",
                         6, kParamFlagsSup),
                   5, PF_PUI_NO_ECW_UI),
        "Older preset name filter, never shown; the text filter below decides."),
    Doc(LightNameText(5, 30, "Layer Name Begins with", kSetLayerNameDialog),
        "Only lights or layers whose names begin with this text make vertices."),
    Doc(Checkbox(6, 4, "Get Color from Layers", true, kParamFlagsSup),
        "Vertices take the colour of their light; off, they take Color."),
    Doc(Color(7, 6, "Color", 1, 1, 1), "Colour of the vertices when not taken from the layers."),
    Doc(Checkbox(8, 5, "Get Opacity from Intensity", true, kParamFlagsSup),
        "A light's intensity sets its vertex's opacity."),
    Doc(Checkbox(9, 36, "Get Opacity from Opacity", false, kParamFlagsSup),
        "A layer's opacity sets its vertex's opacity."),
    Doc(Fixed(10, 7, "Opacity", 50, 0, 100, 0, 100, 1), ParamUnit::Percent,
        "Opacity of the vertices when not taken from the layers."),
    Doc(Checkbox(11, 32, "Vertices Between Lights", true, kParamFlagsSup),
        "With spot lights, places vertices on a curve running through the lights, bent by their "
        "targets."),
    Doc(Int(12, 33, "Num of Vertices", 50, 1, 30000, 1, 100),
        "How many vertices the curve between the lights carries."),
    GroupStart(13, 8, "Replication"),
    Doc(Int(14, 9, "Total No. Copies", 1, 1, 30000, 1, 5),
        "How many copies of the vertices are made, spread by the depth and angles below."),
    Doc(Float(15, 10, "Extrude Depth", 500, 0, 1000000, 0, 100, 1), ParamUnit::WorldUnits,
        "Distance along Z over which the copies are spread."),
    Doc(Popup(16, 11, "Replicate Direction", "+Z|-Z|Both", 3),
        "Whether the copies go toward +Z, toward -Z, or both ways from the original."),
    Doc(PointPercent(17, 12, "Rotation Center XY", 50, 50),
        "Point the copies turn about, in the layer's pixels."),
    Doc(Float(18, 13, "Rotation Center Z", 0, -1000000, 1000000, -100, 100, 0),
        ParamUnit::WorldUnits, "Depth of the point the copies turn about."),
    GroupStart(19, 14, "X Rotation"),
    Doc(Angle(20, 15, "X Start Angle"), ParamUnit::Degrees, "Turn about X of the first copy."),
    Doc(Angle(21, 16, "X End Angle"), ParamUnit::Degrees,
        "Turn about X of the last copy; copies between are turned in even steps."),
    GroupEnd(22, 17),
    GroupStart(23, 18, "Y Rotation"),
    Doc(Angle(24, 19, "Y Start Angle"), ParamUnit::Degrees, "Turn about Y of the first copy."),
    Doc(Angle(25, 20, "Y End Angle"), ParamUnit::Degrees,
        "Turn about Y of the last copy; copies between are turned in even steps."),
    GroupEnd(26, 21),
    GroupStart(27, 22, "Z Rotation"),
    Doc(Angle(28, 23, "Z Start Angle"), ParamUnit::Degrees, "Turn about Z of the first copy."),
    Doc(Angle(29, 24, "Z End Angle"), ParamUnit::Degrees,
        "Turn about Z of the last copy; copies between are turned in even steps."),
    GroupEnd(30, 25),
    GroupEnd(31, 26),
    Doc(Checkbox(32, 31, "Generate Facets", true, kParamFlagsSup),
        "Builds faces between the copies, for the facets renderer."),
    Doc(Popup(33, 27, "Group", kGroupChoicesNone, 12, kParamFlagsSup),
        "The group this source's vertices join; effectors and renderers choose vertices by group."),
    Doc(Color(34, 39, "Dummy", 0, 0, 0),
        "Not used; kept so that saved projects keep their layout."),
};
static_assert(sizeof kTable / sizeof kTable[0] == 35);

const std::vector<std::string> kNameWords = {"Light", "Tavrin", "Network"};

float Degrees(PF_InData* in, int32_t index) {
    return float(FixedParam(in, index));
}

LayersSettings ReadSettings(PF_InData* in) {
    LayersSettings s;
    SuiteCache suites(in);
    s.namePrefix = ReadTextParam(suites.host(), CheckoutParam(in, kNameText).u.arbData);
    s.objectType = CheckoutParam(in, kObjectType).u.popup;
    s.lightType = CheckoutParam(in, kLightType).u.popup;
    s.layerType = CheckoutParam(in, kLayerType).u.popup;
    s.getColor = CheckedParam(in, kGetColor);
    s.getOpacity = CheckoutParam(in, s.objectType == kLayersLights ? kOpacityFromIntensity
                                                                   : kOpacityFromOpacity)
                       .u.checkbox != 0;
    const PF_Pixel8 color = CheckoutParam(in, kColor).u.color;
    s.color[0] = color.red / 255.0f;
    s.color[1] = color.green / 255.0f;
    s.color[2] = color.blue / 255.0f;
    s.color[3] = float(PercentParam(in, kOpacity));
    s.betweenLights = CheckedParam(in, kBetweenLights);
    s.betweenCount = CheckoutParam(in, kBetweenCount).u.slider;
    ReplicationSettings& r = s.replication;
    r.copies = CheckoutParam(in, kCopies).u.slider;
    r.depth = CheckoutParam(in, kExtrudeDepth).u.floatValue;
    r.direction = CheckoutParam(in, kDirection).u.popup;
    const PF_ParamDef center = CheckoutParam(in, kCenterXY);
    r.center[0] = float(FullResolutionX(in, center.u.point[0]));
    r.center[1] = float(FullResolutionY(in, center.u.point[1]));
    r.center[2] = float(CheckoutParam(in, kCenterZ).u.floatValue);
    r.start[0] = Degrees(in, kXStart), r.end[0] = Degrees(in, kXEnd);
    r.start[1] = Degrees(in, kYStart), r.end[1] = Degrees(in, kYEnd);
    r.start[2] = Degrees(in, kZStart), r.end[2] = Degrees(in, kZEnd);
    s.generateFacets = CheckedParam(in, kFacets);
    s.group = CheckoutParam(in, kGroup).u.popup;
    return s;
}

// The selected layers of the effect's comp at the current time, curve included. A host error
// ends the walk; what was found stands.
GatheredLayers Gather(PF_InData* in, const LayersSettings& s) {
    GatheredLayers g;
    SuiteCache suites(in);
    HostServices& host = suites.host();
    try {
        const AEGP_EffectRefH self = host.effectFromInstance(0, in->effect_ref);
        const AEGP_LayerH layer = host.effectLayer(self);
        host.disposeEffect(self);
        const AEGP_CompH comp = host.layerParentComp(layer);
        const A_Time time =
            host.convertEffectToCompTime(in->effect_ref, in->current_time, in->time_scale);
        GatherLayers(host, comp, time, s, g);
    } catch (const HostErrorCode&) {
        return g;
    }
    BetweenLights(s, g);
    return g;
}

uint64_t Hash(PF_InData* in, ObjectMessage&) {
    const LayersSettings s = ReadSettings(in);
    return LayersHash(s, Gather(in, s).base);
}

PF_Err Contribute(PF_InData* in, PF_OutData*, ObjectMessage& m) {
    const LayersSettings s = ReadSettings(in);
    m.setPayloadInt(0);
    m.setPayloadGroup(static_cast<int16_t>(s.group));
    AppendLayers(s, BuildLayers(s, Gather(in, s).base), *m.geometry);
    return PF_Err_NONE;
}

const GroupHooks kGroupHooks{.groupPopup = &kTable[kGroup], .hash = &Hash};

// The legacy text kept after the sequence record, for the popup's Custom row.
std::string RecordText(PF_InData* in) {
    SuiteCache suites(in);
    auto* record = static_cast<const SequenceRecord*>(suites->lockHandle(in->sequence_data));
    if (!record) return {};
    std::string text(reinterpret_cast<const char*>(record + 1), size_t(record->textLength));
    suites->unlockHandle(in->sequence_data);
    return text;
}

PF_Err UpdateVisibility(PF_InData* in) {
    const int32_t object = CheckoutParam(in, kObjectType).u.popup;
    const bool lights = object == kLayersLights, layers = object == kLayers3D;
    const bool spot = lights && CheckoutParam(in, kLightType).u.popup == kLayersSpotLights;
    const bool getColor = CheckedParam(in, kGetColor);
    const bool opacityOn =
        CheckoutParam(in, lights ? kOpacityFromIntensity : kOpacityFromOpacity).u.checkbox != 0;
    const bool between = CheckedParam(in, kBetweenLights);
    const ParamRule hidden[] = {
        {kColor, getColor},      {kOpacity, opacityOn},
        {kBetweenLights, !spot}, {kBetweenCount, !(spot && between)},
        {kLightType, !lights},   {kOpacityFromIntensity, !lights},
        {kLayerType, !layers},   {kOpacityFromOpacity, !layers},
        {kNamePopup, true},
    };
    return ShowParameters(in, hidden);
}

// Until flag 8 marks it done, the text parameter takes the word of the hidden name popup.
PF_Err UpdateNameText(PF_InData* in) {
    if (!MarkOnce(in, kSeqFlagV2HighBit)) return PF_Err_NONE;
    const int32_t popup = CheckoutParam(in, kNamePopup).u.popup;
    SuiteCache suites(in);
    return WriteTextParam(suites.host(), in->effect_ref, kNameText,
                          LightPrefix(popup, kNameWords, popup == 5 ? RecordText(in) : ""));
}

PF_Err Upkeep(PF_InData* in) {
    const PF_Err err = UpdateNameText(in);
    const PF_Err hide = UpdateVisibility(in);
    return err ? err : hide;
}

constexpr const char* kNullOpacityNote =
    "Please Note:\nNull Objects in After Effects by default have zero Opacity, so you might not "
    "see those points right away.\n\nYou can either increase the Layers' Opacity or turn off 'Get "
    "Opacity from Layer' in the Effect Controls.";
constexpr const char* kNullOpacitySelectedNote =
    "Please Note:\nYou have 'Get Opacity from Layer' selected on.  Null Objects in After Effects "
    "by default have zero Opacity, so you might not see those points right away.\n\nYou can "
    "either increase the Layers' Opacity or turn off 'Get Opacity from Layer' in the Effect "
    "Controls.";

// The message buffer is shorter than the longer note: it keeps what fits.
void SetReturnMessage(PF_OutData* out, const char* text) {
    const size_t n = std::min(std::strlen(text), sizeof out->return_msg - 1);
    std::memcpy(out->return_msg, text, n);
    out->return_msg[n] = 0;
}

PF_Err UserChanged(PF_InData* in, PF_OutData* out, PF_ParamDef*[], void* extra) {
    if (const auto* changed = static_cast<const PF_UserChangedParamExtra*>(extra)) {
        const int32_t index = changed->param_index;
        const int32_t layerType = CheckoutParam(in, kLayerType).u.popup;
        if ((index == kObjectType || index == kLayerType || index == kOpacityFromOpacity) &&
            CheckoutParam(in, kObjectType).u.popup == kLayers3D &&
            (layerType == kLayersNulls || layerType == kLayersAll3D) &&
            CheckedParam(in, kOpacityFromOpacity))
            SetReturnMessage(
                out, index == kOpacityFromOpacity ? kNullOpacityNote : kNullOpacitySelectedNote);
    }
    return Upkeep(in);
}

// With 3D layers the result depends on layers other than the effect's own; hosts that hash the
// scene for us (13.8 and later) need no flag. When the type cannot be read the declared flags
// stand: re-rendering too often is the safe side.
PF_Err DynamicFlags(PF_InData* in, PF_OutData* out) {
    if (HostSupportsRenderGuid(in)) {
        out->out_flags &= ~PF_OutFlag_NON_PARAM_VARY;
        return PF_Err_NONE;
    }
    int32_t objectType = 0;
    try {
        objectType = CheckoutParam(in, kObjectType).u.popup;
    } catch (const HostErrorCode&) {
        return PF_Err_NONE;
    }
    if (objectType == kLayers3D)
        out->out_flags |= PF_OutFlag_NON_PARAM_VARY;
    else
        out->out_flags &= ~PF_OutFlag_NON_PARAM_VARY;
    return PF_Err_NONE;
}

// An empty name filter shows as "<All Lights>" or "<All Layers>", as the object type reads.
std::string NameLabel(PF_InData* in, const std::string& text) {
    int32_t objectType = kLayersLights;
    try {
        objectType = CheckoutParam(in, kObjectType).u.popup;
    } catch (const HostErrorCode&) {
    }
    return LayersNameLabel(objectType, text);
}

const SubEffectHandlers kHandlers{
    .message = &Contribute,
    .group = &kGroupHooks,
    .visibility = &Upkeep,
    .visibilityOnce = true,
    .userChangedParam = &UserChanged,
    .nameLabel = &NameLabel,
    .dynamicFlags = &DynamicFlags,
};

}  // namespace

ParamTable LightSourceParams() {
    return kTable;
}

PF_Err LightSourceEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                 PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(kLightSourceInfo, kHandlers, cmd, in_data, out_data, params, output,
                          extra);
}

// The effect's row in the module's effect table.
const EffectInfo kLightSourceInfo{
    6,
    "Tavrin Layers Object",
    "KDL TAVRSRC Lights",
    "LightSourceEntryPointFunc",
    &LightSourceEntryPointFunc,
    0x208014,
    0x1401,
    EffectRole::Source,
    "Layer Object Source, Create a Tavrin from the Point Lights/3D Nulls/3D Layers in the "
    "Composition.",
    true,
    &LightSourceParams,
    "A source that turns the comp's lights or 3D layers into vertices, so that a network follows "
    "what is animated in the comp.",
    "Name the lights (or nulls) it should read with a common start, such as \"Light\", and set "
    "Layer Name Begins with to it. Each matching layer gives a vertex at its position; Replication "
    "makes copies along Z and around the axes, and Generate Facets joins the copies with faces."};

}  // namespace tv
