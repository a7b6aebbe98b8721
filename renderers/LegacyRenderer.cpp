// "Tavrin Legacy Renderer": the points and lines of the first generation in one effect. Its older
// parameter set is mapped onto a points record and a lines record, and one item of each kind goes
// out in the order the user chooses.
#include <algorithm>
#include <utility>

#include "host/EffectTemplate.h"
#include "host/ParamBuilders.h"
#include "host/ParamValues.h"
#include "host/ParamVisibility.h"
#include "host/RenderPayloads.h"
#include "host/SuiteCache.h"
#include "renderers/HeldFrames.h"
#include "renderers/LegacyMapping.h"
#include "renderers/LinesRenderer.h"
#include "renderers/RendererEntries.h"

namespace tv {

namespace {

using namespace params;

enum : int32_t {
    kSprite = 2,
    kOverridePointsColor = 3,
    kPointsColor = 4,
    kOverridePointsOpacity = 5,
    kPointsOpacity = 6,
    kPointsSize = 7,
    kPointsPerspective = 8,
    kMaxDistance = 11,
    kFadeOutDistance = 12,
    kMaxPoints = 13,
    kColorsFromPoints = 14,
    kLinesColor = 15,
    kOpacityFromPoints = 16,
    kLinesOpacity = 17,
    kScaleFromPoints = 18,
    kThickness = 19,
    kLinesPerspective = 20,
    kDraw = 22,
    kDrawBetween = 23,
    kOnlyConnected = 24,
    kRenderOrder = 25,
};

constexpr ParamSpec kTable[] = {
    Row(0, 0, PF_Param_LAYER, "input"),
    GroupStart(1, 5, "Points"),
    Doc(Row(2, 6, PF_Param_LAYER, "Textured Sprite", 0, kParamFlagsSup),
        "A precomp layer drawn on every point instead of a disc."),
    Doc(Row(3, 7, PF_Param_CHECKBOX, "Override Points Color", 0, kParamFlagsSup),
        "Draws the points in Points Color instead of their vertices' colours."),
    Doc(Color(4, 9, "Points Color", 1, 1, 1), "Colour of the points with Override Points Color."),
    Doc(Row(5, 8, PF_Param_CHECKBOX, "Override Points Opacity", 0, kParamFlagsSup),
        "Draws the points at Points Opacity instead of their vertices' opacity."),
    Doc(Fixed(6, 11, "Points Opacity", 50, 0, 100, 0, 100, 1), ParamUnit::Percent,
        "Opacity of the points with Override Points Opacity."),
    Doc(Float(7, 10, "Points Size", 2, 0, 1000, 0, 10, 2), ParamUnit::Pixels,
        "Size of each point, at the camera's zoom distance."),
    Doc(Row(8, 12, PF_Param_CHECKBOX, "Points Perspective Aware", 1),
        "Points farther from the camera draw smaller (software path)."),
    GroupEnd(9, 13),
    GroupStart(10, 14, "Lines"),
    Doc(Float(11, 15, "Maximum Distance", 25, 0, 100000, 0, 100, 2), ParamUnit::WorldUnits,
        "Points farther apart than this are not joined."),
    Doc(Float(12, 16, "Fade-Out Distance", 25, 0, 100000, 0, 100, 2), ParamUnit::WorldUnits,
        "Length over which lines fade out toward Maximum Distance; 0 keeps them at full opacity."),
    Doc(Int(13, 17, "Max No. of Points to Search", 10, 0, 10000, 0, 100),
        "Most neighbours each point is joined to."),
    Doc(Row(14, 19, PF_Param_CHECKBOX, "Get Colors From Points", 1, kParamFlagsSup),
        "Lines blend the colours of the points they join; off, they take Lines Color."),
    Doc(Color(15, 18, "Lines Color", 1, 1, 1),
        "Colour of the lines when not taken from the points."),
    Doc(Row(16, 20, PF_Param_CHECKBOX, "Get Opacity From Points", 1, kParamFlagsSup),
        "Lines take their points' opacity; off, they take Lines Opacity."),
    Doc(Fixed(17, 21, "Lines Opacity", 50, 0, 100, 0, 100, 1), ParamUnit::Percent,
        "Opacity of the lines when not taken from the points."),
    Doc(Row(18, 35, PF_Param_CHECKBOX, "Get Scale From Points", 1),
        "Multiplies the thickness by the points' scale."),
    Doc(Float(19, 22, "Line Thickness", 1, 0, 1000, 0, 100, 2), ParamUnit::Pixels,
        "Thickness of the lines, at the camera's zoom distance."),
    Doc(Row(20, 23, PF_Param_CHECKBOX, "Lines Perpspective Aware", 1),
        "Lines farther from the camera draw thinner (software path)."),
    GroupEnd(21, 24),
    Doc(Popup(22, 26, "Draw", "Points|Lines|Points+Lines", 3, kParamFlagsSup),
        "Draws points, lines, or both."),
    Doc(Popup(23, 27, "Draw Lines Between", "Same Group|Different Group|All Groups", 3),
        "Which points may be joined: within a group, across groups, or any."),
    Doc(Row(24, 28, PF_Param_CHECKBOX, "Draw Only Connected Points", 0),
        "Draws only the points a line joins to another."),
    Doc(Popup(25, 36, "Render Order", "Points After Lines|Lines After Points", 1, kParamFlagsSup),
        "Whether the points are drawn over the lines or the lines over the points."),
};

float Percent(PF_InData* in, int32_t index) {
    return float(FixedParam(in, index));
}
float FloatValue(PF_InData* in, int32_t index) {
    return float(CheckoutParam(in, index).u.floatValue);
}
void Bytes(PF_InData* in, int32_t index, uint8_t (&rgb)[3]) {
    const PF_Pixel8 c = CheckoutParam(in, index).u.color;
    rgb[0] = c.red;
    rgb[1] = c.green;
    rgb[2] = c.blue;
}

LegacyValues Read(PF_InData* in) {
    LegacyValues v;
    v.spriteLayer = CheckoutParam(in, kSprite).u.layerId;
    v.overridePointsColor = CheckedParam(in, kOverridePointsColor);
    Bytes(in, kPointsColor, v.pointsColor);
    v.overridePointsOpacity = CheckedParam(in, kOverridePointsOpacity);
    v.pointsOpacity = Percent(in, kPointsOpacity);
    v.pointsSize = FloatValue(in, kPointsSize);
    v.pointsPerspective = CheckedParam(in, kPointsPerspective);
    v.maxDistance = FloatValue(in, kMaxDistance);
    v.fadeOutDistance = FloatValue(in, kFadeOutDistance);
    v.maxPoints = CheckoutParam(in, kMaxPoints).u.slider;
    v.linesColorsFromPoints = CheckedParam(in, kColorsFromPoints);
    Bytes(in, kLinesColor, v.linesColor);
    v.linesOpacityFromPoints = CheckedParam(in, kOpacityFromPoints);
    v.linesOpacity = Percent(in, kLinesOpacity);
    v.linesScaleFromPoints = CheckedParam(in, kScaleFromPoints);
    v.lineThickness = FloatValue(in, kThickness);
    v.linesPerspective = CheckedParam(in, kLinesPerspective);
    v.draw = CheckoutParam(in, kDraw).u.popup;
    v.drawBetween = CheckoutParam(in, kDrawBetween).u.popup;
    v.onlyConnected = CheckedParam(in, kOnlyConnected);
    v.renderOrder = CheckoutParam(in, kRenderOrder).u.popup;
    return v;
}

// Every vertex of the store, each showing the one sample at the current time.
void FillPoints(const LegacyPoints& p, uint32_t count, const A_Time& now, PointsPayload& out) {
    out = PointsPayload{};
    out.vertexCount = count;
    out.vertices = new uint32_t[count];
    for (uint32_t i = 0; i < count; ++i) out.vertices[i] = i;
    out.timeCount = 1;
    out.times = new A_Time[1]{now};
    out.sampleIndex = new uint32_t[count]();
    out.overrideColor = p.overrideColor;
    out.overrideOpacity = p.overrideOpacity;
    out.overrideScale = p.overrideScale;
    out.perspective = p.perspective;
    out.onlyConnected = p.onlyConnected;
    out.hasSprite = p.hasSprite;
    out.size = p.size;
    std::copy(std::begin(p.color), std::end(p.color), out.color);
    std::copy(std::begin(p.offset), std::end(p.offset), out.offset);
    out.spriteLayer = p.spriteLayer;
}

// The same layout the lines renderer hands over.
void FillLines(const ConnectionSet& set, const LegacyLines& l, LinesPayload& out) {
    LinesLook look;
    look.thickness = l.thickness;
    std::copy(std::begin(l.color), std::end(l.color), look.color);
    look.getColors = l.getColors;
    look.getOpacity = l.getOpacity;
    look.getScale = l.getScale;
    look.perspective = l.perspective;
    FillLinesPayload(set, look, out);
}

PF_Err Contribute(PF_InData* in, ObjectMessage& m) {
    if (!m.geometry || !m.renders || !m.pushRenderItem) return PF_Err_NONE;
    SuiteCache suites(in);
    HostServices& host = suites.host();
    const LegacyValues v = Read(in);
    const LegacyRecords r = MapLegacyValues(v);
    const A_Time now =
        host.convertEffectToCompTime(in->effect_ref, in->current_time, in->time_scale);
    GeometryStore& store = *m.geometry;
    // The search runs whatever "Draw" says; its item is only pushed when lines are drawn.
    ConnectionSet set;
    ConnectionsOfGeometry(r.lines.search, store, set, HostParallel(host));
    for (uint32_t kind : LegacyItemOrder(v.renderOrder, v.draw)) {
        RenderItem item;
        item.kind = kind;
        if (kind == kRenderLines)
            FillLines(set, r.lines, item.as<LinesPayload>());
        else
            FillPoints(r.points, uint32_t(store.positions.size()), now, item.as<PointsPayload>());
        m.pushRenderItem(m.renders, &item);
    }
    return PF_Err_NONE;
}

// No hash and no target of its own: everything but the group query draws.
PF_Err Message(PF_InData* in, PF_OutData*, ObjectMessage& m) {
    if (m.command == kObjGetGroup) {
        m.setPayloadGroup(12);
        return PF_Err_NONE;
    }
    return Contribute(in, m);
}

PF_Err Visibility(PF_InData* in) {
    const ParamRule rules[] = {
        {kPointsOpacity, !CheckedParam(in, kOverridePointsOpacity)},
        {kPointsColor, !CheckedParam(in, kOverridePointsColor)},
        {kLinesOpacity, CheckedParam(in, kOpacityFromPoints)},
        {kLinesColor, CheckedParam(in, kColorsFromPoints)},
    };
    return ShowParameters(in, rules);
}

const SubEffectHandlers kHandlers{
    .message = &Message,
    .visibility = &Visibility,
    .queryDynamicFlags = false,
};

}  // namespace

ParamTable LegacyRenderParams() {
    return kTable;
}

PF_Err LegacyRenderEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                  PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(kLegacyRenderInfo, kHandlers, cmd, in_data, out_data, params, output,
                          extra);
}

// The effect's row in the module's effect table.
const EffectInfo kLegacyRenderInfo{
    19,
    "Tavrin Legacy Renderer",
    "KDL TAVRUS",
    "LegacyRenderEntryPointFunc",
    &LegacyRenderEntryPointFunc,
    0x200000,
    0x1400,
    EffectRole::Renderer,
    "Legacy Renderer, preserves compatibility with older versions.",
    true,
    &LegacyRenderParams,
    "A renderer that draws points and the lines between near points in one effect, as older "
    "projects did.",
    "Choose what to Draw (points, lines or both), set Maximum Distance and the number of "
    "neighbours; newer work uses the Points and Lines renderers, which offer more."};

}  // namespace tv
