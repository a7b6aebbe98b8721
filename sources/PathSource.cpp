// "Tavrin Path Object": Path Source, Create a Tavrin from the paths in the Layer. The masks of
// its own layer, and on a text layer its glyph outlines, become points, copies, ribbons and caps.
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
#include "sources/PathGenerate.h"

namespace tv {

namespace {

using namespace params;

enum : int32_t {
    kNamePopup = 1,
    kNameText = 2,
    kSeparate = 3,
    kSubdivide = 4,
    kPoints = 5,
    kFromText = 6,
    kGetColor = 7,
    kColor = 8,
    kGetOpacity = 9,
    kOpacity = 10,
    kCopies = 12,
    kExtrudeDepth = 13,
    kDirection = 14,
    kCenterXY = 15,
    kCenterZ = 16,
    kXStart = 18,
    kXEnd = 19,
    kYStart = 22,
    kYEnd = 23,
    kZStart = 26,
    kZEnd = 27,
    kStartScale = 29,
    kEndScale = 30,
    kFacets = 32,
    kCaps = 33,
    kGroup = 34,
};

// A popup whose declared choice count differs from its text.
constexpr ParamSpec PopupCount(ParamSpec s, int32_t count, uint32_t uiFlags = 0) {
    s.validMax = s.sliderMax = count;
    s.uiFlags = uiFlags;
    return s;
}

constexpr ParamSpec Checkbox(int32_t index, int32_t disk, const char* name, bool on,
                             uint32_t flags = 0, const char* label = "") {
    return Row(index, disk, PF_Param_CHECKBOX, name, on ? 1 : 0, flags, label);
}

constexpr ParamSpec WithUi(ParamSpec s, uint32_t uiFlags) {
    s.uiFlags = uiFlags;
    return s;
}

constexpr ParamSpec kTable[] = {
    Row(0, 0, PF_Param_LAYER, "input"),
    // Hidden for good; five choices declared for six items.
    Doc(PopupCount(Popup(1, 1, "Mask Name begins with", "Mask|Tavrin|Network|(-|Custom|All Masks",
                         6, kParamFlagsSup),
                   5, PF_PUI_NO_ECW_UI),
        "Older preset name filter, never shown; the text filter below decides."),
    Doc(LightNameText(2, 32, "Mask Name Begins with", kSetMaskNameDialog),
        "Only masks whose names begin with this text make vertices."),
    Doc(WithUi(Checkbox(3, 4, "Each Mask as a Separate Object", true, kParamFlagsSup),
               PF_PUI_STD_CONTROL_ONLY | PF_PUI_NO_ECW_UI),
        "Makes each mask an object of its own rather than one object for all."),
    Doc(Checkbox(4, 5, "Subdivide Masks", true, kParamFlagsSup),
        "Spreads vertices evenly along each mask; off uses the masks' own vertices."),
    Doc(Int(5, 6, "Points on Each Mask", 100, 1, 30000, 1, 100),
        "How many vertices each mask gets when subdividing."),
    Doc(Checkbox(6, 7, "Get Paths from Text", true, 0, "Only on Text Layers"),
        "On a text layer, uses the outlines of its letters as paths."),
    Doc(Checkbox(7, 8, "Get Color from Masks", false, kParamFlagsSup, "Purge To See Changes"),
        "Vertices take their mask's colour; off, they take Color."),
    Doc(Color(8, 10, "Color", 1, 1, 1), "Colour of the vertices when not taken from the masks."),
    Doc(Checkbox(9, 9, "Get Opacity from Masks", false, kParamFlagsSup),
        "Vertices take their mask's opacity; off, they take Opacity."),
    Doc(Fixed(10, 11, "Opacity", 50, 0, 100, 0, 100, 1), ParamUnit::Percent,
        "Opacity of the vertices when not taken from the masks."),
    GroupStart(11, 12, "Replication"),
    Doc(Int(12, 13, "Total No. Copies", 1, 1, 30000, 1, 5),
        "How many copies of the vertices are made, spread by the depth and angles below."),
    Doc(Float(13, 14, "Extrude Depth", 500, 0, 1000000, 0, 100, 1), ParamUnit::WorldUnits,
        "Distance along Z over which the copies are spread."),
    Doc(Popup(14, 15, "Replicate Direction", "+Z|-Z|Both", 3),
        "Whether the copies go toward +Z, toward -Z, or both ways from the original."),
    Doc(PointPercent(15, 16, "Rotation Center XY", 50, 50),
        "Point the copies turn about, in the layer's pixels."),
    Doc(Float(16, 17, "Rotation Center Z", 0, -1000000, 1000000, -100, 100, 0),
        ParamUnit::WorldUnits, "Depth of the point the copies turn about."),
    GroupStart(17, 18, "X Rotation"),
    Doc(Angle(18, 19, "X Start Angle"), ParamUnit::Degrees, "Turn about X of the first copy."),
    Doc(Angle(19, 20, "X End Angle"), ParamUnit::Degrees,
        "Turn about X of the last copy; copies between are turned in even steps."),
    GroupEnd(20, 21),
    GroupStart(21, 22, "Y Rotation"),
    Doc(Angle(22, 23, "Y Start Angle"), ParamUnit::Degrees, "Turn about Y of the first copy."),
    Doc(Angle(23, 24, "Y End Angle"), ParamUnit::Degrees,
        "Turn about Y of the last copy; copies between are turned in even steps."),
    GroupEnd(24, 25),
    GroupStart(25, 26, "Z Rotation"),
    Doc(Angle(26, 27, "Z Start Angle"), ParamUnit::Degrees, "Turn about Z of the first copy."),
    Doc(Angle(27, 28, "Z End Angle"), ParamUnit::Degrees,
        "Turn about Z of the last copy; copies between are turned in even steps."),
    GroupEnd(28, 29),
    Doc(Float(29, 35, "Start Scale", 1, 0, 1000000, 1, 5, 3),
        "Size factor of the first copy; 1 keeps the path's size."),
    Doc(Float(30, 36, "End Scale", 1, 0, 1000000, 1, 5, 3),
        "Size factor of the last copy; copies between are scaled in even steps."),
    GroupEnd(31, 30),
    Doc(Checkbox(32, 33, "Generate Facets", true, kParamFlagsSup),
        "Builds faces between the copies, for the facets renderer."),
    Doc(Checkbox(33, 34, "Generate Caps", true, kParamFlagsSup),
        "Closes the first and last copy of each closed path with faces."),
    Doc(Popup(34, 31, "Group", kGroupChoicesNone, 12, kParamFlagsSup),
        "The group this source's vertices join; effectors and renderers choose vertices by group."),
};
static_assert(sizeof kTable / sizeof kTable[0] == 35);

const std::vector<std::string> kNameWords = {"Mask", "Tavrin", "Network"};

float Degrees(PF_InData* in, int32_t index) {
    return float(FixedParam(in, index));
}

PathSettings ReadSettings(PF_InData* in) {
    PathSettings s;
    SuiteCache suites(in);
    HostServices& host = suites.host();
    s.namePrefix = ReadTextParam(host, CheckoutParam(in, kNameText).u.arbData);
    s.eachMaskSeparate = CheckedParam(in, kSeparate);
    s.subdivide = CheckedParam(in, kSubdivide);
    s.pointsPerMask = CheckoutParam(in, kPoints).u.slider;
    s.getText = CheckedParam(in, kFromText);
    s.getColor = CheckedParam(in, kGetColor);
    s.getOpacity = CheckedParam(in, kGetOpacity);
    const PF_Pixel8 color = CheckoutParam(in, kColor).u.color;
    s.color[0] = color.red / 255.0f;
    s.color[1] = color.green / 255.0f;
    s.color[2] = color.blue / 255.0f;
    s.color[3] = float(PercentParam(in, kOpacity));
    s.copies = CheckoutParam(in, kCopies).u.slider;
    s.extrudeDepth = CheckoutParam(in, kExtrudeDepth).u.floatValue;
    s.direction = CheckoutParam(in, kDirection).u.popup;
    s.scaleX = double(in->downsample_x.num) / double(in->downsample_x.den);
    s.scaleY = double(in->downsample_y.num) / double(in->downsample_y.den);
    const PF_ParamDef center = CheckoutParam(in, kCenterXY);
    s.rotationCenter[0] = FixedToDouble(center.u.point[0]) / s.scaleX;
    s.rotationCenter[1] = FixedToDouble(center.u.point[1]) / s.scaleY;
    s.rotationCenter[2] = CheckoutParam(in, kCenterZ).u.floatValue;
    s.startAngle[0] = Degrees(in, kXStart), s.endAngle[0] = Degrees(in, kXEnd);
    s.startAngle[1] = Degrees(in, kYStart), s.endAngle[1] = Degrees(in, kYEnd);
    s.startAngle[2] = Degrees(in, kZStart), s.endAngle[2] = Degrees(in, kZEnd);
    s.startScale = float(CheckoutParam(in, kStartScale).u.floatValue);
    s.endScale = float(CheckoutParam(in, kEndScale).u.floatValue);
    s.generateFacets = CheckedParam(in, kFacets);
    s.generateCaps = CheckedParam(in, kCaps);
    s.group = CheckoutParam(in, kGroup).u.popup;
    try {
        const AEGP_EffectRefH self = host.effectFromInstance(0, in->effect_ref);
        const AEGP_LayerH layer = host.effectLayer(self);
        host.disposeEffect(self);
        s.isTextLayer = host.layerObjectType(layer) == AEGP_ObjectType_TEXT;
    } catch (const HostErrorCode&) {
        s.isTextLayer = false;
    }
    return s;
}

// The layer's masks that pass the name filter, then its text outlines, at the current time.
// A host error ends the walk; the paths found so far stand.
std::vector<PathInput> ReadPaths(PF_InData* in, const PathSettings& s) {
    std::vector<PathInput> paths;
    SuiteCache suites(in);
    HostServices& host = suites.host();
    try {
        const A_Time time =
            host.convertEffectToCompTime(in->effect_ref, in->current_time, in->time_scale);
        const int32_t masks = host.layerMaskCount(in->effect_ref);
        const Color4f own{s.color[0], s.color[1], s.color[2], s.color[3]};
        for (int32_t i = 0; i < masks; ++i) {
            MaskData mask;
            if (host.layerMask(in->effect_ref, i, time, mask) != PF_Err_NONE) return paths;
            if (mask.name.compare(0, s.namePrefix.size(), s.namePrefix) != 0) continue;
            Color4f c = own;
            if (s.getColor) c.r = mask.color[0], c.g = mask.color[1], c.b = mask.color[2];
            if (s.getOpacity) c.a = float(mask.opacity / 100.0);
            paths.push_back({std::move(mask.path), c});
        }
        if (s.getText && s.isTextLayer) {
            std::vector<BezierPath> outlines;
            if (host.layerTextOutlines(in->effect_ref, time, outlines) != PF_Err_NONE) return paths;
            for (BezierPath& p : outlines) paths.push_back({std::move(p), own});
        }
    } catch (const HostErrorCode&) {
    }
    return paths;
}

uint64_t Hash(PF_InData* in, ObjectMessage&) {
    const PathSettings s = ReadSettings(in);
    PathSettings points = s;
    points.generateCaps = false;  // the points decide the hash; the caps follow them
    return PathHash(s, BuildPathObject(points, ReadPaths(in, s)));
}

PF_Err Contribute(PF_InData* in, PF_OutData*, ObjectMessage& m) {
    const PathSettings s = ReadSettings(in);
    const PathObject o = BuildPathObject(s, ReadPaths(in, s));
    SuiteCache suites(in);
    for (const std::string& line : o.messages) suites.host().diagnostic(line);
    m.setPayloadInt(0);
    m.setPayloadGroup(static_cast<int16_t>(s.group));
    AppendPathObject(s, o, *m.geometry);
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
    const ParamRule hidden[] = {
        {kColor, CheckedParam(in, kGetColor)},
        {kOpacity, CheckedParam(in, kGetOpacity)},
        {kPoints, !CheckedParam(in, kSubdivide)},
        {kNamePopup, true},
        {kSeparate, true},
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

// An empty name takes every mask, and shows so.
std::string NameLabel(PF_InData*, const std::string& text) {
    return text.empty() ? "<All Masks>" : text;
}

const SubEffectHandlers kHandlers{
    .message = &Contribute,
    .group = &kGroupHooks,
    .visibility = &Upkeep,
    .visibilityOnce = true,
    .nameLabel = &NameLabel,
};

}  // namespace

ParamTable PathSourceParams() {
    return kTable;
}

PF_Err PathSourceEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(kPathSourceInfo, kHandlers, cmd, in_data, out_data, params, output,
                          extra);
}

// The effect's row in the module's effect table.
const EffectInfo kPathSourceInfo{
    7,
    "Tavrin Path Object",
    "KDL TAVRSRC Paths",
    "PathSourceEntryPointFunc",
    &PathSourceEntryPointFunc,
    0x208010,
    0x1401,
    EffectRole::Source,
    "Path Source, Create a Tavrin from the paths in the Layer.",
    true,
    &PathSourceParams,
    "A source that places vertices along the layer's masks, or along the outlines of a text "
    "layer's letters.",
    "Draw masks on the layer (or use a text layer with Get Paths from Text), then set Points on "
    "Each Mask. Replication extrudes the paths into copies along Z, turned and scaled step by "
    "step; Generate Facets and Generate Caps make faces for the Facets renderer."};

}  // namespace tv
