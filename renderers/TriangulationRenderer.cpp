// "Tavrin Triangulation Renderer": filled triangles joining each vertex with its nearest
// neighbours, or Qhull's convex hull or Delaunay mesh of a group; optionally from other frames.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <iostream>

#include "host/EffectTemplate.h"
#include "host/ParamBuilders.h"
#include "host/ParamVisibility.h"
#include "host/ParamHash.h"
#include "host/ParamValues.h"
#include "host/RenderPayloads.h"
#include "host/SuiteCache.h"
#include "params/ArbHandler.h"
#include "params/CurveParam.h"
#include "renderers/HeldFrames.h"
#include "renderers/LinesRenderer.h"
#include "renderers/Triangulation.h"
#include "renderers/RendererEntries.h"

namespace tv {

namespace {

using namespace params;

enum : int32_t {
    kRenderMode = 1,
    kMaxTriangles = 2,
    kMaxDistance = 3,
    kColorsFromVertices = 4,
    kColorMode = 5,
    kTrianglesColor = 6,
    kOpacityFromVertices = 7,
    kTrianglesOpacity = 8,
    kOpacityCurve = 9,
    kCalcMode = 10,
    kFrameButton = 11,
    kFrameNum = 12,
    kInterval = 13,
    kEffectGroup = 14,
    kDrawBetween = 15,
    kFirstGroup = 16,
    kSecondGroup = 17,
};

constexpr const char* kTenGroups =
    "Group 1|Group 2|Group 3|Group 4|Group 5|Group 6|Group 7|Group 8|Group 9|Group 10";
// The vertex-count text is the lines renderer's, word for word.
constexpr const char* kVertexCountMessage =
    "Vertex Count not constant over time. Cannot create Lines at given times.\nPlease switch "
    "back to Calculating Lines Every Frame.";
constexpr const char* kFrameCountMessage =
    "Error - Invalid No. of Frames for Triangles Calculation. - %i";
constexpr const char* kMismatchMessage = "Error! Intersection Vector Mismatch!";

void FillOpacityDefault(DistanceCurve& c) {
    c = DistanceCurve::DefaultOpacity();
}

constexpr ParamSpec kTable[] = {
    Row(0, 0, PF_Param_LAYER, "input"),
    Doc(Popup(1, 1, "Render Mode", "Nearest Triangles|Outer Surface|Mesh Triangulation", 1,
              kParamFlagsSup),
        "How triangles are made: each vertex with its nearest neighbours, the hull around the "
        "vertices, or a mesh through them all."),
    Doc(Int(2, 2, "Max No. of Triangles Per Vertex", 10, 0, 10000, 0, 100),
        "Most triangles built from each vertex, in Nearest Triangles mode."),
    Doc(Float(3, 3, "Maximum Distance", 100, 0, 100000, 0, 100, 2), ParamUnit::WorldUnits,
        "Vertices farther apart than this make no triangle."),
    Doc(Row(4, 4, PF_Param_CHECKBOX, "Get Colors From Vertices", 1, kParamFlagsSup),
        "Triangles take their corners' colours; off, they take Triangles Color."),
    Doc(Popup(5, 5, "Color Mode",
              "Interpolate Between Vertices|Average of Vertices|Color of First Vertex", 1),
        "How a triangle takes its corners' colours: blended across it, their average, or the first "
        "corner's."),
    Doc(Color(6, 6, "Triangles Color", 1, 1, 1),
        "Colour of the triangles when not taken from the vertices."),
    Doc(Row(7, 7, PF_Param_CHECKBOX, "Get Opacity From Vertices", 1, kParamFlagsSup),
        "Triangles take their corners' opacity; off, they take Triangles Opacity."),
    Doc(Fixed(8, 8, "Triangles Opacity", 50, 0, 100, 0, 100, 1), ParamUnit::Percent,
        "Opacity of the triangles when not taken from the vertices."),
    Doc(CurveParam(9, 9, "Opacity over Distance", &FillOpacityDefault),
        "Opacity of a triangle by how far apart its corners are, from 0 to Maximum Distance."),
    Doc(Popup(10, 14, "Calc Triangles Distance", "Every Frame|Only One Frame|Over Time Interval", 1,
              kParamFlagsSup),
        "When the triangles are chosen: every frame, once at one frame, or anew at each time "
        "interval."),
    Doc(Row(11, 15, PF_Param_CHECKBOX, "Calc Triangles based on this Frame", 0, kParamFlagsSup,
            "None"),
        "Click to choose the triangles at the current frame (sets Triangles Frame Num)."),
    Doc(Int(12, 16, "Triangles Frame Num", 0, -100000, 100000, 0, 100, kParamFlagsSup),
        ParamUnit::Frames, "The frame at which the triangles are chosen, with Only One Frame."),
    Doc(Float(13, 17, "Calc Time Interval", 1, 0, 1000000, 0, 5, 3, kParamFlagsSup),
        ParamUnit::Seconds,
        "Time after which the triangles are chosen anew, with Over Time Interval."),
    Doc(Popup(14, 10, "Effect Only Group", kGroupChoicesAll, 12, kParamFlagsSup),
        "Draws only the vertices of this group; All Groups draws every vertex."),
    Doc(Popup(15, 11, "Draw Triangles Between",
              "Vertices of Same Group|Vertices of Different Groups|Vertices of All Groups|Vertices "
              "of "
              "Only One Group|Vertices of Two Groups",
              3, kParamFlagsSup),
        "Which vertices may share a triangle: within a group, across groups, any, within one "
        "group, or between two groups."),
    Doc(Popup(16, 12, "First Group", kTenGroups, 1, kParamFlagsSup),
        "The group for One Group, and the first of Two Groups."),
    Doc(Popup(17, 13, "Second Group", kTenGroups, 2), "The other group for Two Groups."),
};

struct TriangleParams {
    TriangulationSettings tri;
    int32_t colorMode = 1;
    float color[4] = {1, 1, 1, 0.5f};
    bool getOpacity = true, getColors = true;
    int32_t calcMode = kLinesEveryFrame;
    int32_t frameNum = 0;
    float interval = 1;
    LinesFramePlan plan;
};

TriangleParams Read(PF_InData* in) {
    TriangleParams p;
    TriangulationSettings& s = p.tri;
    s.renderMode = CheckoutParam(in, kRenderMode).u.popup;
    s.maxTriangles = CheckoutParam(in, kMaxTriangles).u.slider;
    s.maxDistance = float(CheckoutParam(in, kMaxDistance).u.floatValue);
    s.effectGroup = CheckoutParam(in, kEffectGroup).u.popup;
    s.drawBetween = CheckoutParam(in, kDrawBetween).u.popup;
    s.firstGroup = CheckoutParam(in, kFirstGroup).u.popup;
    s.secondGroup = CheckoutParam(in, kSecondGroup).u.popup;
    // The larger group is the searched set, the smaller the queries.
    if (s.renderMode == kNearestTriangles && s.drawBetween != kOneGroup) {
        const int32_t a = s.firstGroup, b = s.secondGroup;
        s.firstGroup = std::max(a, b);
        s.secondGroup = std::min(a, b);
    }
    s.opacityCurve = ReadCurveParam(in, kOpacityCurve, DistanceCurve::DefaultOpacity());
    p.colorMode = CheckoutParam(in, kColorMode).u.popup;
    const PF_Pixel8 c = CheckoutParam(in, kTrianglesColor).u.color;
    p.color[0] = c.red / 255.0f;
    p.color[1] = c.green / 255.0f;
    p.color[2] = c.blue / 255.0f;
    p.color[3] = float(PercentParam(in, kTrianglesOpacity));
    p.getOpacity = CheckedParam(in, kOpacityFromVertices);
    p.getColors = CheckedParam(in, kColorsFromVertices);
    p.calcMode = CheckoutParam(in, kCalcMode).u.popup;
    p.frameNum = CheckoutParam(in, kFrameNum).u.slider;
    p.interval = float(CheckoutParam(in, kInterval).u.floatValue);
    p.plan =
        MakeLinesFramePlan(in->time_scale, in->current_time, in->time_step, p.frameNum, p.interval);
    return p;
}

// Layer-time frames whose geometry the triangles come from.
std::vector<int32_t> FrameList(const PF_InData* in, const TriangleParams& p) {
    return LinesFrameList(p.calcMode, p.plan, in->total_time);
}

uint64_t Hash(const TriangleParams& p) {
    const TriangulationSettings& s = p.tri;
    ParamHasher h(29);
    for (float c : p.color) h.add(c);
    h.add(s.maxDistance);
    h.add(s.renderMode)
        .add(s.maxTriangles)
        .add(s.drawBetween)
        .add(s.firstGroup)
        .add(s.secondGroup)
        .add(s.effectGroup)
        .add(p.colorMode);
    h.add(int32_t(p.getOpacity)).add(int32_t(p.getColors));
    h.add(p.calcMode);
    // The frames the triangles come from matter only when they are not this frame.
    if (p.calcMode != kLinesEveryFrame)
        h.add(p.plan.t0)
            .add(p.plan.t1)
            .add(p.plan.frameTime)
            .add(p.plan.duration)
            .add(p.plan.scale);
    for (float v : s.opacityCurve.samples) h.add(v);
    return h.value();
}

void CopyToPayload(const TriangleSet& set, const TriangleParams& p, TrianglesPayload& out) {
    out = TrianglesPayload{};
    out.tripleCount = uint32_t(set.size());
    out.triples = new IndexTriple[set.size()];
    out.opacity = new float[set.size()];
    for (size_t i = 0; i < set.size(); ++i) {
        out.triples[i] =
            IndexTriple{set.triples[3 * i], set.triples[3 * i + 1], set.triples[3 * i + 2]};
        out.opacity[i] = set.opacityFactors[i];
    }
    out.colorMode = p.colorMode;
    std::copy(std::begin(p.color), std::end(p.color), out.color);
    out.overrideColor = !p.getColors;
    out.overrideOpacity = !p.getOpacity;
}

PF_Err Contribute(PF_InData* in, PF_OutData* out, ObjectMessage& m) {
    SuiteCache suites(in);
    HostServices& host = suites.host();
    const TriangleParams p = Read(in);
    const ParallelFor parallel = HostParallel(host);
    TriangleSet set;
    if (!(m.flags & kMsgNeedsLayers)) {
        if (p.calcMode != kLinesEveryFrame) {
            // First pass: ask for the frames; the main effect sends the message again.
            RequestHeldFrames(in, m, FrameList(in, p));
            return PF_Err_NONE;
        }
        TrianglesOfGeometry(p.tri, *m.geometry, set, parallel, std::cout);
    } else {
        const std::vector<GeometryStore*> stores = HeldFrameStores(m);
        for (GeometryStore* s : stores)
            if (s->positions.size() != m.geometry->positions.size()) {
                std::snprintf(out->return_msg, sizeof out->return_msg, "%s", kVertexCountMessage);
                return PF_Err_NONE;
            }
        if (stores.empty() || stores.size() > 2) {
            std::snprintf(out->return_msg, sizeof out->return_msg, kFrameCountMessage,
                          int(stores.size()));
            return PF_Err_NONE;
        }
        // The triples and factors come from the fetched frames; the current store's positions
        // are the ones drawn.
        if (stores.size() == 1) {
            TrianglesOfGeometry(p.tri, *stores[0], set, parallel, std::cout);
        } else {
            TriangleSet a, b;
            TrianglesOfGeometry(p.tri, *stores[0], a, parallel, std::cout);
            TrianglesOfGeometry(p.tri, *stores[1], b, parallel, std::cout);
            if (!BlendTriangles(a, b, p.plan.factorA, p.plan.factorB, set))
                std::snprintf(out->return_msg, sizeof out->return_msg, "%s", kMismatchMessage);
        }
    }
    RenderItem item;
    item.kind = kRenderTriangles;
    CopyToPayload(set, p, item.as<TrianglesPayload>());
    m.pushRenderItem(m.renders, &item);
    return PF_Err_NONE;
}

using Hooks = HeldFrameHooks<TriangleParams, &Read, &Hash, &FrameList>;

// The renderer takes every group; SetGroup writes its group popup.
const GroupHooks kGroupHooks{.groupPopup = &kTable[kEffectGroup],
                             .takesAllGroups = true,
                             .hash = &Hooks::MessageHash,
                             .dependencies = &Hooks::Dependencies};

PF_Err Visibility(PF_InData* in) {
    const int32_t calc = CheckoutParam(in, kCalcMode).u.popup;
    if (const PF_Err err =
            UpdateFrameButton(in, kTable[kFrameButton], kTable[kFrameNum], calc == kLinesOneFrame))
        return err;
    const int32_t mode = CheckoutParam(in, kRenderMode).u.popup;
    const int32_t between = CheckoutParam(in, kDrawBetween).u.popup;
    const bool nearest = mode == kNearestTriangles;
    // With one group the first group is the only one.
    const char* firstName = nearest && between == kOneGroup ? "Object Group" : "First Object Group";
    if (const PF_Err err = SuiteCache(in)->setParamName(in->effect_ref, kFirstGroup, firstName))
        return err;
    const bool colorsFromVertices = CheckedParam(in, kColorsFromVertices);
    const ParamRule rules[] = {
        {kMaxTriangles, !nearest},
        {kTrianglesOpacity, CheckedParam(in, kOpacityFromVertices)},
        {kTrianglesColor, colorsFromVertices},
        {kColorMode, !colorsFromVertices},
        {kEffectGroup, nearest},
        {kDrawBetween, !nearest},
        {kFirstGroup, !(nearest && (between == kOneGroup || between == kTwoGroups))},
        {kSecondGroup, !(nearest && between == kTwoGroups)},
        {kFrameNum, true},
        {kFrameButton, calc != kLinesOneFrame},
        {kInterval, calc != kLinesOverInterval},
    };
    return ShowParameters(in, rules);
}

const SubEffectHandlers kHandlers{
    .message = &Contribute,
    .group = &kGroupHooks,
    .visibility = &Visibility,
    .arbitraryCallback = &CurveArbitraryCommand,
    // The about box deliberately reuses the lines renderer's name and description.
    .aboutName = "Tavrin Lines Renderer",
    .aboutDescription = "Lines Renderer, Renders 3D Lines.",
};

}  // namespace

ParamTable TriangleRenderParams() {
    return kTable;
}

PF_Err TriangleRenderEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                    PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(kTriangleRenderInfo, kHandlers, cmd, in_data, out_data, params, output,
                          extra);
}

// The effect's row in the module's effect table.
const EffectInfo kTriangleRenderInfo{
    16,
    "Tavrin Triangulation Renderer",
    "KDL TAVRREN Triangles",
    "TriangleRenderEntryPointFunc",
    &TriangleRenderEntryPointFunc,
    0x208000,
    0x1401,
    EffectRole::Renderer,
    "Lines Renderer, Renders 3D Lines.",
    true,
    &TriangleRenderParams,
    "A renderer that fills triangles between vertices: between near neighbours, over the outer "
    "hull of the cloud, or as a mesh through it.",
    "Pick a Render Mode; in Nearest Triangles set Maximum Distance as for lines. Colours come from "
    "the corners (blended, averaged or the first), or from Triangles Color."};

}  // namespace tv
