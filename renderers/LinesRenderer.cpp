// "Tavrin Lines Renderer": joins each vertex to its nearest neighbours within a distance, with
// opacity and thickness following two curves over distance; optionally from other frames.
#include "renderers/HeldFrames.h"
#include "renderers/LinesRenderer.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <limits>

#include "host/EffectTemplate.h"
#include "host/ParamBuilders.h"
#include "host/ParamVisibility.h"
#include "host/ParamHash.h"
#include "host/ParamValues.h"
#include "host/RenderPayloads.h"
#include "host/SuiteCache.h"
#include "params/ArbHandler.h"
#include "params/CurveParam.h"
#include "renderers/NeighbourSearch.h"
#include "renderers/RendererEntries.h"

namespace tv {

namespace {

using namespace params;

enum : int32_t {
    kMaxVertices = 1,
    kMaxDistance = 2,
    kColorsFromVertices = 3,
    kLinesColor = 4,
    kOpacityFromVertices = 5,
    kLinesOpacity = 6,
    kOpacityCurve = 7,
    kThickness = 8,
    kThicknessCurve = 9,
    kScaleFromPoints = 10,
    kPerspective = 11,
    kCalcMode = 12,
    kFrameButton = 13,
    kFrameNum = 14,
    kInterval = 15,
    kDrawBetween = 16,
    kFirstGroup = 17,
    kSecondGroup = 18,
};

constexpr const char* kTenGroups =
    "Group 1|Group 2|Group 3|Group 4|Group 5|Group 6|Group 7|Group 8|Group 9|Group 10";
constexpr const char* kVertexCountMessage =
    "Vertex Count not constant over time. Cannot create Lines at given times.\nPlease switch "
    "back to Calculating Lines Every Frame.";
constexpr const char* kFrameCountMessage = "Error - Invalid No. of Frames for Line Calculation.";
constexpr const char* kMismatchMessage = "Error! Intersection Vector Mismatch!";

void FillOpacityDefault(DistanceCurve& c) {
    c = DistanceCurve::DefaultOpacity();
}
void FillThicknessDefault(DistanceCurve& c) {
    c = DistanceCurve::DefaultThickness();
}

constexpr ParamSpec kTable[] = {
    Row(0, 0, PF_Param_LAYER, "input"),
    Doc(Int(1, 3, "Max No. of Vertices to Search", 10, 0, 10000, 0, 100),
        "Most neighbours each vertex is joined to."),
    Doc(Float(2, 1, "Maximum Distance", 100, 0, 100000, 0, 100, 2), ParamUnit::WorldUnits,
        "Vertices farther apart than this are not joined."),
    Doc(Row(3, 4, PF_Param_CHECKBOX, "Get Colors From Vertices", 1, kParamFlagsSup),
        "Lines blend the colours of the vertices they join; off, they take Lines Color."),
    Doc(Color(4, 5, "Lines Color", 1, 1, 1),
        "Colour of the lines when not taken from the vertices."),
    Doc(Row(5, 6, PF_Param_CHECKBOX, "Get Opacity From Vertices", 1, kParamFlagsSup),
        "Lines take their vertices' opacity; off, they take Lines Opacity."),
    Doc(Fixed(6, 7, "Lines Opacity", 50, 0, 100, 0, 100, 1), ParamUnit::Percent,
        "Opacity of the lines when not taken from the vertices."),
    Doc(CurveParam(7, 15, "Opacity over Distance", &FillOpacityDefault),
        "Opacity of a line by its length, from 0 to Maximum Distance."),
    Doc(Float(8, 9, "Line Thickness", 1, 0, 1000, 0, 100, 2), ParamUnit::Pixels,
        "Thickness of the lines, at the camera's zoom distance."),
    Doc(CurveParam(9, 9, "Thickness over Distance", &FillThicknessDefault),
        "Thickness of a line by its length, from 0 to Maximum Distance."),
    Doc(Row(10, 8, PF_Param_CHECKBOX, "Get Scale From Points", 1),
        "Multiplies the thickness by the vertices' scale."),
    Doc(Row(11, 10, PF_Param_CHECKBOX, "Lines Perpspective Aware", 1),
        "Lines farther from the camera draw thinner (software path)."),
    Doc(Popup(12, 11, "Calc Lines Distance", "Every Frame|Only One Frame|Over Time Interval", 1,
              kParamFlagsSup),
        "When the lines are chosen: every frame, once at one frame, or anew at each time "
        "interval."),
    Doc(Row(13, 12, PF_Param_CHECKBOX, "Calc Lines based on this Frame", 0, kParamFlagsSup, "None"),
        "Click to choose the lines at the current frame (sets Lines Frame Num)."),
    Doc(Int(14, 13, "Lines Frame Num", 0, -100000, 100000, 0, 100, kParamFlagsSup),
        ParamUnit::Frames, "The frame at which the lines are chosen, with Only One Frame."),
    Doc(Float(15, 20, "Calc Time Interval", 1, 0, 1000000, 0, 5, 3, kParamFlagsSup),
        ParamUnit::Seconds, "Time after which the lines are chosen anew, with Over Time Interval."),
    Doc(Popup(16, 14, "Draw Lines Between",
              "Same Group|Different Groups|All Groups|One Group|Two Groups", 3, kParamFlagsSup),
        "Which vertices may be joined: within a group, across groups, any, within one group, or "
        "between two groups."),
    Doc(Popup(17, 18, "First Group", kTenGroups, 1, kParamFlagsSup),
        "The group for One Group, and the first of Two Groups."),
    Doc(Popup(18, 19, "Second Group", kTenGroups, 2, kParamFlagsSup),
        "The other group for Two Groups."),
};

struct LinesParams {
    SearchSettings search;
    float thickness = 1;
    float color[4] = {1, 1, 1, 1};
    bool getOpacity = true, getColors = true, getScale = true, perspective = true;
    int32_t calcMode = kLinesEveryFrame;
    int32_t frameNum = 0;
    float interval = 1;
    LinesFramePlan plan;
};

LinesParams Read(PF_InData* in) {
    LinesParams p;
    SearchSettings& s = p.search;
    s.maxVertices = CheckoutParam(in, kMaxVertices).u.slider;
    s.maxDistance = float(CheckoutParam(in, kMaxDistance).u.floatValue);
    s.drawBetween = CheckoutParam(in, kDrawBetween).u.popup;
    s.firstGroup = CheckoutParam(in, kFirstGroup).u.popup;
    s.secondGroup = CheckoutParam(in, kSecondGroup).u.popup;
    // The larger group is always the searched set, so that query vertices have lower indices.
    if (s.drawBetween == kTwoGroups) {
        const int32_t a = s.firstGroup, b = s.secondGroup;
        s.firstGroup = std::max(a, b);
        s.secondGroup = std::min(a, b);
    } else if (s.drawBetween == kOneGroup) {
        s.secondGroup = s.firstGroup;
    }
    s.opacityCurve = ReadCurveParam(in, kOpacityCurve, DistanceCurve::DefaultOpacity());
    s.thicknessCurve = ReadCurveParam(in, kThicknessCurve, DistanceCurve::DefaultThickness());
    p.thickness = float(CheckoutParam(in, kThickness).u.floatValue);
    const PF_Pixel8 c = CheckoutParam(in, kLinesColor).u.color;
    p.color[0] = c.red / 255.0f;
    p.color[1] = c.green / 255.0f;
    p.color[2] = c.blue / 255.0f;
    p.color[3] = float(PercentParam(in, kLinesOpacity));
    p.getOpacity = CheckedParam(in, kOpacityFromVertices);
    p.getColors = CheckedParam(in, kColorsFromVertices);
    p.getScale = CheckedParam(in, kScaleFromPoints);
    p.perspective = CheckedParam(in, kPerspective);
    p.calcMode = CheckoutParam(in, kCalcMode).u.popup;
    p.frameNum = CheckoutParam(in, kFrameNum).u.slider;
    p.interval = float(CheckoutParam(in, kInterval).u.floatValue);
    p.plan =
        MakeLinesFramePlan(in->time_scale, in->current_time, in->time_step, p.frameNum, p.interval);
    return p;
}

// Layer-time frames whose geometry the lines come from.
std::vector<int32_t> FrameList(const PF_InData* in, const LinesParams& p) {
    return LinesFrameList(p.calcMode, p.plan, in->total_time);
}

uint64_t Hash(const LinesParams& p) {
    ParamHasher h(243);
    for (float c : p.color) h.add(c);
    h.add(p.thickness).add(p.search.maxDistance);
    h.add(p.search.maxVertices)
        .add(p.search.drawBetween)
        .add(p.search.firstGroup)
        .add(p.search.secondGroup);
    for (bool b : {p.getOpacity, p.getColors, p.getScale, p.perspective}) h.add(int32_t(b));
    h.add(p.calcMode)
        .add(p.plan.t0)
        .add(p.plan.t1)
        .add(p.plan.frameTime)
        .add(p.plan.duration)
        .add(p.plan.scale);
    for (float v : p.search.opacityCurve.samples) h.add(v);
    for (float v : p.search.thicknessCurve.samples) h.add(v);
    return h.value();
}

void CopyToPayload(const ConnectionSet& set, const LinesParams& p, LinesPayload& out) {
    LinesLook look;
    look.thickness = p.thickness;
    std::copy(std::begin(p.color), std::end(p.color), look.color);
    look.getColors = p.getColors;
    look.getOpacity = p.getOpacity;
    look.getScale = p.getScale;
    look.perspective = p.perspective;
    FillLinesPayload(set, look, out);
}

PF_Err Contribute(PF_InData* in, PF_OutData* out, ObjectMessage& m) {
    SuiteCache suites(in);
    HostServices& host = suites.host();
    const LinesParams p = Read(in);
    const ParallelFor parallel = HostParallel(host);
    ConnectionSet set;
    if (!(m.flags & kMsgNeedsLayers)) {
        if (p.calcMode != kLinesEveryFrame) {
            // First pass: ask for the frames; the main effect sends the message again.
            RequestHeldFrames(in, m, FrameList(in, p));
            return PF_Err_NONE;
        }
        ConnectionsOfGeometry(p.search, *m.geometry, set, parallel);
    } else {
        const std::vector<GeometryStore*> stores = HeldFrameStores(m);
        for (GeometryStore* s : stores)
            if (s->positions.size() != m.geometry->positions.size()) {
                std::snprintf(out->return_msg, sizeof out->return_msg, "%s", kVertexCountMessage);
                return PF_Err_NONE;
            }
        if (stores.empty() || stores.size() > 2) {
            std::snprintf(out->return_msg, sizeof out->return_msg, "%s", kFrameCountMessage);
            return PF_Err_NONE;
        }
        if (stores.size() == 1) {
            ConnectionsOfGeometry(p.search, *stores[0], set, parallel);
        } else {
            ConnectionSet a, b;
            ConnectionsOfGeometry(p.search, *stores[0], a, parallel);
            ConnectionsOfGeometry(p.search, *stores[1], b, parallel);
            if (!BlendConnections(a, b, p.plan.factorA, p.plan.factorB, set))
                std::snprintf(out->return_msg, sizeof out->return_msg, "%s", kMismatchMessage);
        }
    }
    RenderItem item;
    item.kind = kRenderLines;
    CopyToPayload(set, p, item.as<LinesPayload>());
    m.pushRenderItem(m.renders, &item);
    return PF_Err_NONE;
}

using Hooks = HeldFrameHooks<LinesParams, &Read, &Hash, &FrameList>;

// The renderer takes every group. SetGroup is meant for effects with "Effect Only Group"; here it
// lands on "Draw Lines Between".
const GroupHooks kGroupHooks{.groupPopup = &kTable[kDrawBetween],
                             .takesAllGroups = true,
                             .hash = &Hooks::MessageHash,
                             .dependencies = &Hooks::Dependencies};

PF_Err Visibility(PF_InData* in) {
    const int32_t calc = CheckoutParam(in, kCalcMode).u.popup;
    if (const PF_Err err =
            UpdateFrameButton(in, kTable[kFrameButton], kTable[kFrameNum], calc == kLinesOneFrame))
        return err;
    const int32_t between = CheckoutParam(in, kDrawBetween).u.popup;
    const ParamRule rules[] = {
        {kLinesOpacity, CheckedParam(in, kOpacityFromVertices)},
        {kLinesColor, CheckedParam(in, kColorsFromVertices)},
        {kFrameNum, true},
        {kFrameButton, calc != kLinesOneFrame},
        {kFirstGroup, between != kOneGroup && between != kTwoGroups},
        {kSecondGroup, between != kTwoGroups},
        {kInterval, calc != kLinesOverInterval},
    };
    return ShowParameters(in, rules);
}

const SubEffectHandlers kHandlers{
    .message = &Contribute,
    .group = &kGroupHooks,
    .visibility = &Visibility,
    .arbitraryCallback = &CurveArbitraryCommand,
};

}  // namespace

LinesFramePlan MakeLinesFramePlan(uint32_t scale, int64_t now, int64_t step, int32_t frameNum,
                                  float interval) {
    // Times are stored as the host's 32-bit tick counts; an interval long enough to pass them
    // is held at the largest.
    auto ticks = [](int64_t t) {
        return int32_t(std::clamp<int64_t>(t, std::numeric_limits<int32_t>::min(),
                                           std::numeric_limits<int32_t>::max()));
    };
    LinesFramePlan p;
    p.scale = scale;
    p.length = int64_t(double(scale) * double(interval));
    p.k = p.length > 0 ? now / p.length : 0;
    const int64_t start = p.k * p.length, end = (p.k + 1) * p.length;
    const int64_t t0 = std::max<int64_t>(start, 0);
    const int64_t duration = end - t0;
    p.t0 = ticks(t0);
    p.t1 = ticks(end);
    p.frameTime = ticks(std::max<int64_t>(step * frameNum, 0));
    p.duration = ticks(duration);
    if (duration >= 1) {
        p.factorA = float(double(now - t0) / double(duration));
        p.factorB = float(double(end - now) / double(duration));
    } else {
        p.factorA = 1;
        p.factorB = 0;
    }
    p.factorA = std::clamp(p.factorA, 0.0f, 1.0f);
    p.factorB = std::clamp(p.factorB, 0.0f, 1.0f);
    return p;
}

std::vector<int32_t> LinesFrameList(int32_t calcMode, const LinesFramePlan& plan,
                                    int32_t totalTime) {
    if (calcMode == kLinesOneFrame) return {plan.frameTime};
    if (calcMode == kLinesOverInterval) {
        std::vector<int32_t> times{plan.t0};
        if (plan.t1 < totalTime && plan.t1 != plan.t0) times.push_back(plan.t1);
        return times;
    }
    return {};
}

ParamTable LinesRenderParams() {
    return kTable;
}

PF_Err LinesRenderEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                 PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(kLinesRenderInfo, kHandlers, cmd, in_data, out_data, params, output,
                          extra);
}

void FillLinesPayload(const ConnectionSet& set, const LinesLook& look, LinesPayload& out) {
    out = LinesPayload{};
    out.pairCount = uint32_t(set.size());
    out.pairs = new IndexPair[set.size()];
    out.opacity = new float[set.size()];
    out.thickness = new float[set.size()];
    for (size_t i = 0; i < set.size(); ++i) {
        out.pairs[i] = IndexPair{set.pairs[2 * i], set.pairs[2 * i + 1]};
        out.opacity[i] = set.opacityFactors[i];
        out.thickness[i] = set.thicknessFactors[i];
    }
    out.size = look.thickness;
    std::copy(std::begin(look.color), std::end(look.color), out.color);
    out.overrideColor = !look.getColors;
    out.overrideOpacity = !look.getOpacity;
    out.overrideScale = !look.getScale;
    out.perspective = look.perspective;
}

// The effect's row in the module's effect table.
const EffectInfo kLinesRenderInfo{
    14,
    "Tavrin Lines Renderer",
    "KDL TAVRREN Lines",
    "LinesRenderEntryPointFunc",
    &LinesRenderEntryPointFunc,
    0x208000,
    0x1401,
    EffectRole::Renderer,
    "Lines Renderer, Renders 3D Lines.",
    true,
    &LinesRenderParams,
    "A renderer that joins vertices lying close to each other with lines: the plexus look.",
    "Set Maximum Distance (in world units) to how far apart two vertices may be and still be "
    "joined, and Max No. of Vertices to Search to how many neighbours each may have. The curves "
    "shape opacity and thickness by length, so long lines fade."};

}  // namespace tv
