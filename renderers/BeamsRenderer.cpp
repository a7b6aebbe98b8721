// "Tavrin Beams Renderer": beams along the lattice rows of the sources or between two groups,
// fixed by structure, that can grow over time.
#include <utility>

#include "host/EffectTemplate.h"
#include "host/ParamBuilders.h"
#include "host/ParamValues.h"
#include "host/ParamVisibility.h"
#include "host/RenderPayloads.h"
#include "host/SequenceRecord.h"
#include "host/SuiteCache.h"
#include "renderers/Beams.h"
#include "renderers/RendererEntries.h"

namespace tv {

namespace {

using namespace params;

enum : int32_t {
    kBeamsType = 1,
    kAxis = 2,
    kLinesType = 3,
    kFirstGroup = 4,
    kSecondGroup = 5,
    kTime = 6,
    kFlipDirection = 7,
    kJoinEnds = 8,
    kRangeStart = 10,
    kRangeEnd = 11,
    kRangeOffset = 12,
    kRandomize = 13,
    kSeed = 14,
    kBezierSettings = 16,
    kBezierPoints = 17,
    kStartCurve = 18,
    kEndCurve = 19,
    kBezierAxis = 20,
    kStartThickness = 22,
    kDummy = 23,
    kEndThicknessOld = 25,
    kEndThickness = 26,
    kColorsFromVertices = 27,
    kColor = 28,
    kOpacityFromVertices = 29,
    kOpacity = 30,
    kScaleFromVertices = 31,
    kPerspective = 32,
    kGroup = 33,
};

constexpr const char* kTenGroups =
    "Group 1|Group 2|Group 3|Group 4|Group 5|Group 6|Group 7|Group 8|Group 9|Group 10";

// A group that is never shown: it keeps the parameter count of older projects.
constexpr ParamSpec HiddenGroupStart(int32_t index, int32_t disk, const char* name) {
    ParamSpec s = GroupStart(index, disk, name);
    s.uiFlags = PF_PUI_INVISIBLE;
    return s;
}

constexpr ParamSpec kTable[] = {
    Row(0, 0, PF_Param_LAYER, "input"),
    Doc(Popup(1, 27, "Beams Type", "Objects|Groups", 1, kParamFlagsSup),
        "Beams run through each object's rows of vertices (Objects), or join two groups vertex to "
        "vertex (Groups)."),
    Doc(Popup(2, 28, "Only on Axis", "X|Y|Z", 3, kParamFlagsSup),
        "Lattice axis along which beams run through an object."),
    Doc(Popup(3, 1, "Lines Type", "Straight Lines|Bezier Lines", 1, kParamFlagsSup),
        "Straight beams, or beams curved as Bezier lines."),
    Doc(Popup(4, 2, "First Group", kTenGroups, 1, kParamFlagsSup),
        "The group the beams start from, with Groups."),
    Doc(Popup(5, 3, "Second Group", kTenGroups, 2, kParamFlagsSup),
        "The group the beams end at, with Groups."),
    Doc(Percent(Float(6, 4, "Time", 100, 0, 100, 0, 100, 1)), ParamUnit::Percent,
        "How much of each beam is drawn from its start; animate 0 to 100% to grow the beams."),
    Doc(Row(7, 5, PF_Param_CHECKBOX, "Flip Direction", 0), "Grows the beams from their other end."),
    Doc(Row(8, 30, PF_Param_CHECKBOX, "Join Ends", 0),
        "Also joins the last vertex of each row back to the first."),
    GroupStart(9, 6, "Range Selector"),
    Doc(Percent(Float(10, 7, "Range Start", 0, 0, 100, 0, 100, 2)), ParamUnit::Percent,
        "Where the range of beams drawn begins, among all beams."),
    Doc(Percent(Float(11, 8, "Range End", 100, 0, 100, 0, 100, 2)), ParamUnit::Percent,
        "Where the range of beams drawn ends."),
    Doc(Percent(Float(12, 9, "Range Offset", 0, -100, 100, -100, 100, 2)), ParamUnit::Percent,
        "Slides the range along the beams."),
    Doc(Row(13, 10, PF_Param_CHECKBOX, "Randomize", 0),
        "Picks the beams of the range at random rather than in order."),
    Doc(Int(14, 11, "Random Seed", 10, 0, 30000, 0, 100), "Picks another random choice of beams."),
    GroupEnd(15, 12),
    GroupStart(16, 13, "Bezier Settings"),
    Doc(Int(17, 14, "Bezier Points", 100, 0, 10000000, 0, 100),
        "Points along each curved beam; more is smoother."),
    Doc(Float(18, 15, "Start Curve", 1, -1000000, 1000000, 0, 2, 3),
        "How strongly a curved beam bends as it leaves its start."),
    Doc(Float(19, 16, "End Curve", -1, -1000000, 1000000, 0, 2, 3),
        "How strongly a curved beam bends as it arrives at its end."),
    Doc(Popup(20, 17, "Bezier Axis", "X Axis|Y Axis|Z Axis", 2),
        "Axis along which the curves bend."),
    GroupEnd(21, 18),
    Doc(Float(22, 19, "Start Thickness", 2, 0, 1000, 0, 100, 2), ParamUnit::Pixels,
        "Thickness of a beam at its start."),
    HiddenGroupStart(23, 31, "DUMMY"),
    GroupEnd(24, 20),
    // Shares disk id 20 with the group end above; saved projects depend on it.
    Doc(Float(25, 20, "End Thickness (old)", 2, 0, 1000, 0, 100, 2), ParamUnit::Pixels,
        "End thickness read by projects saved by an older version; new ones use End Thickness."),
    Doc(Float(26, 32, "End Thickness", 2, 0, 1000, 0, 100, 2), ParamUnit::Pixels,
        "Thickness of a beam at its end."),
    Doc(Row(27, 21, PF_Param_CHECKBOX, "Get Colors From Vertices", 1, kParamFlagsSup),
        "Beams blend the colours of the vertices they join; off, they take Beams Color."),
    Doc(Color(28, 22, "Beams Color", 1, 1, 1),
        "Colour of the beams when not taken from the vertices."),
    Doc(Row(29, 23, PF_Param_CHECKBOX, "Get Opacity From Vertices", 1, kParamFlagsSup),
        "Beams take their vertices' opacity; off, they take Beams Opacity."),
    Doc(Fixed(30, 24, "Beams Opacity", 50, 0, 100, 0, 100, 1), ParamUnit::Percent,
        "Opacity of the beams when not taken from the vertices."),
    Doc(Row(31, 25, PF_Param_CHECKBOX, "Get Scale From Vertices", 1, kParamFlagsSup),
        "Multiplies the thickness by the vertices' scale."),
    Doc(Row(32, 26, PF_Param_CHECKBOX, "Perspective Aware", 1),
        "Beams farther from the camera draw thinner (software path)."),
    Doc(Popup(33, 29, "Effect Only Group", kGroupChoicesAll, 12, kParamFlagsSup),
        "Draws only the vertices of this group; All Groups draws every vertex."),
};

// Projects made before "End Thickness" was split off (records converted from the older format)
// keep reading it from the old control.
bool OldThicknessControl(PF_InData* in) {
    SuiteCache suites(in);
    bool old = false;
    if (auto* record = static_cast<const SequenceRecord*>(suites->lockHandle(in->sequence_data))) {
        old = (record->flags & kSeqFlagFromV2) != 0;
        suites->unlockHandle(in->sequence_data);
    }
    return old;
}

BeamsRecord Read(PF_InData* in) {
    auto popup = [in](int32_t i) { return CheckoutParam(in, i).u.popup; };
    auto on = [in](int32_t i) { return CheckedParam(in, i); };
    auto number = [in](int32_t i) { return CheckoutParam(in, i).u.floatValue; };
    BeamsRecord r;
    r.beamsType = popup(kBeamsType);
    r.axis = popup(kAxis);
    r.linesType = popup(kLinesType);
    r.firstGroup = popup(kFirstGroup);
    r.secondGroup = popup(kSecondGroup);
    r.time = number(kTime) / 100.0;
    r.flipDirection = on(kFlipDirection);
    r.joinEnds = on(kJoinEnds);
    r.rangeStart = number(kRangeStart) / 100.0;
    r.rangeEnd = number(kRangeEnd) / 100.0;
    r.rangeOffset = number(kRangeOffset) / 100.0;
    r.randomize = on(kRandomize);
    r.randomSeed = CheckoutParam(in, kSeed).u.slider;
    r.bezierPoints = CheckoutParam(in, kBezierPoints).u.slider;
    r.startCurve = float(number(kStartCurve));
    r.endCurve = float(number(kEndCurve));
    r.bezierAxis = popup(kBezierAxis);
    r.startThickness = float(number(kStartThickness));
    r.endThickness = float(number(OldThicknessControl(in) ? kEndThicknessOld : kEndThickness));
    r.getColors = on(kColorsFromVertices);
    r.getOpacity = on(kOpacityFromVertices);
    r.getScale = on(kScaleFromVertices);
    r.perspective = on(kPerspective);
    const PF_Pixel8 c = CheckoutParam(in, kColor).u.color;
    r.color[0] = c.red / 255.0f;
    r.color[1] = c.green / 255.0f;
    r.color[2] = c.blue / 255.0f;
    r.color[3] = float(PercentParam(in, kOpacity));
    r.group = popup(kGroup);
    r.bezier = r.linesType == 2;
    return r;
}

PF_Err Contribute(PF_InData* in, PF_OutData*, ObjectMessage& m) {
    const BeamsRecord r = Read(in);
    const BeamSet set = BuildBeams(r, *m.geometry);
    RenderItem item;
    item.kind = kRenderBeams;
    FillBeamsPayload(set, r, item.as<BeamsPayload>());
    m.pushRenderItem(m.renders, &item);
    return PF_Err_NONE;
}

uint64_t Hash(PF_InData* in, ObjectMessage&) {
    return BeamsHash(Read(in));
}

const GroupHooks kGroupHooks{.groupPopup = &kTable[kGroup], .hash = &Hash};

PF_Err Visibility(PF_InData* in) {
    const BeamsRecord r = Read(in);
    const bool objects = r.beamsType != kBeamsGroups;
    const bool old = OldThicknessControl(in);
    const ParamRule rules[] = {
        {kOpacity, r.getOpacity},
        {kColor, r.getColors},
        {kSeed, !r.randomize},
        {kBezierSettings, !(r.beamsType == kBeamsGroups && r.linesType == 2)},
        {kLinesType, objects},
        {kFirstGroup, objects},
        {kSecondGroup, objects},
        {kAxis, !objects},
        {kGroup, !objects},
        {kJoinEnds, !objects},
        {kDummy, true},
        {kEndThickness, old},
        {kEndThicknessOld, !old},
    };
    return ShowParameters(in, rules);
}

const SubEffectHandlers kHandlers{
    .message = &Contribute,
    .group = &kGroupHooks,
    .visibility = &Visibility,
};

}  // namespace

ParamTable BeamsRenderParams() {
    return kTable;
}

PF_Err BeamsRenderEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                 PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(kBeamsRenderInfo, kHandlers, cmd, in_data, out_data, params, output,
                          extra);
}

// The effect's row in the module's effect table.
const EffectInfo kBeamsRenderInfo{
    17,
    "Tavrin Beams Renderer",
    "KDL TAVRREN Beams",
    "BeamsRenderEntryPointFunc",
    &BeamsRenderEntryPointFunc,
    0x200000,
    0x1401,
    EffectRole::Renderer,
    "Beams Renderer, Renders 3D Beams.",
    true,
    &BeamsRenderParams,
    "A renderer that draws thick beams, straight or curved, along the rows of an object's vertices "
    "or between two groups, and can grow them over time.",
    "With Objects, beams run along a lattice axis (Only on Axis); with Groups, each vertex of the "
    "first group is joined to the one of the second. Animate Time from 0 to 100% to grow them, and "
    "the range selector to show only some."};

}  // namespace tv
