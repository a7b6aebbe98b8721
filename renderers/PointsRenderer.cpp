// "Tavrin Points Renderer": lists the vertices of a group to be drawn as discs (or sprites),
// with the sprite sample each vertex shows.
#include <algorithm>

#include "host/EffectTemplate.h"
#include "host/LayerLookup.h"
#include "host/ParamBuilders.h"
#include "host/ParamVisibility.h"
#include "host/ParamHash.h"
#include "host/ParamValues.h"
#include "host/RenderPayloads.h"
#include "host/SuiteCache.h"
#include "renderers/PointsSamples.h"
#include "renderers/RendererEntries.h"

namespace tv {

namespace {

using namespace params;

enum : int32_t {
    kSize = 1,
    kScaleFromVertices = 2,
    kXOffset = 4,
    kYOffset = 5,
    kZOffset = 6,
    kColorFromVertices = 8,
    kColor = 9,
    kOpacityFromVertices = 10,
    kOpacity = 11,
    kSprite = 12,
    kSpriteGroup = 13,
    kTimeSampling = 14,
    kLoopType = 15,
    kSeed = 16,
    kMaxSamples = 17,
    kPerspective = 19,
    kOnlyConnected = 20,
    kGroup = 21,
};

constexpr ParamSpec kTable[] = {
    Row(0, 0, PF_Param_LAYER, "input"),
    Doc(Float(1, 1, "Points Size", 2, 0, 1000, 0, 10, 2), ParamUnit::Pixels,
        "Size of each point, at the camera's zoom distance."),
    Doc(Row(2, 20, PF_Param_CHECKBOX, "Get Scale From Vertices", 1, kParamFlagsSup),
        "Multiplies the size by each vertex's own scale."),
    GroupStart(3, 2, "Offset"),
    Doc(Float(4, 3, "X Offset", 0, -1000000, 1000000, 0, 100, 2), ParamUnit::WorldUnits,
        "Moves every point along X."),
    Doc(Float(5, 4, "Y Offset", 0, -1000000, 1000000, 0, 100, 2), ParamUnit::WorldUnits,
        "Moves every point along Y."),
    Doc(Float(6, 5, "Z Offset", 0, -1000000, 1000000, 0, 100, 2), ParamUnit::WorldUnits,
        "Moves every point along Z."),
    GroupEnd(7, 6),
    Doc(Row(8, 7, PF_Param_CHECKBOX, "Get Color From Vertices", 1, kParamFlagsSup),
        "Points take their vertices' colours; off, they take Points Color."),
    Doc(Color(9, 8, "Points Color", 1, 1, 1),
        "Colour of the points when not taken from the vertices."),
    Doc(Row(10, 9, PF_Param_CHECKBOX, "Get Opacity From Vertices", 1, kParamFlagsSup),
        "Points take their vertices' opacity; off, they take Points Opacity."),
    Doc(Fixed(11, 10, "Points Opacity", 50, 0, 100, 0, 100, 1), ParamUnit::Percent,
        "Opacity of the points when not taken from the vertices."),
    Doc(Row(12, 11, PF_Param_LAYER, "Textured Sprite", 0, kParamFlagsSup),
        "A precomp layer drawn on every point instead of a disc."),
    GroupStart(13, 12, "Sprite Controls"),
    Doc(Popup(14, 13, "Time Sampling", "Current Time|Random Still|Random Loop", 1, kParamFlagsSup),
        "Which frame of the sprite each point shows: the current one, a random still, or a random "
        "loop."),
    Doc(Popup(15, 14, "Loop Type", "Normal|Ping-Pong|Freeze", 1),
        "How a looping sprite goes on past its end: from the start, back and forth, or held."),
    Doc(Int(16, 15, "Random Seed", 1, 1, 100000, 1, 100), "Picks other random sprite frames."),
    Doc(Int(17, 21, "Max No. of Samples", 64, 1, 100000, 1, 100, kParamFlagsSup),
        "Most distinct sprite frames in use at once."),
    GroupEnd(18, 16),
    Doc(Row(19, 17, PF_Param_CHECKBOX, "Points Perspective Aware", 1),
        "Points farther from the camera draw smaller (software path)."),
    Doc(Row(20, 18, PF_Param_CHECKBOX, "Draw Only Connected Points", 0),
        "Draws only the points a line joins to another."),
    Doc(Popup(21, 19, "Effect Only Group", kGroupChoicesAll, 12, kParamFlagsSup),
        "Draws only the vertices of this group; All Groups draws every vertex."),
};

struct PointsParams {
    bool perspective, overrideColor, overrideOpacity, onlyConnected, hasSprite, overrideScale;
    float color[4];
    float size;
    float offset[3];
    int32_t timeSampling, loopType, randomSeed, maxSamples, group, spriteLayer;
};

PointsParams Read(PF_InData* in) {
    PointsParams p{};
    p.perspective = CheckedParam(in, kPerspective);
    p.overrideColor = !CheckedParam(in, kColorFromVertices);
    p.overrideOpacity = !CheckedParam(in, kOpacityFromVertices);
    p.onlyConnected = CheckedParam(in, kOnlyConnected);
    p.spriteLayer = CheckoutParam(in, kSprite).u.layerId;
    p.hasSprite = p.spriteLayer != 0;
    p.overrideScale = !CheckedParam(in, kScaleFromVertices);
    const PF_Pixel8 c = CheckoutParam(in, kColor).u.color;
    p.color[0] = c.red / 255.0f;
    p.color[1] = c.green / 255.0f;
    p.color[2] = c.blue / 255.0f;
    p.color[3] = float(PercentParam(in, kOpacity));
    p.size = float(CheckoutParam(in, kSize).u.floatValue);
    p.offset[0] = float(CheckoutParam(in, kXOffset).u.floatValue);
    p.offset[1] = float(CheckoutParam(in, kYOffset).u.floatValue);
    p.offset[2] = float(CheckoutParam(in, kZOffset).u.floatValue);
    p.timeSampling = CheckoutParam(in, kTimeSampling).u.popup;
    p.loopType = CheckoutParam(in, kLoopType).u.popup;
    p.randomSeed = CheckoutParam(in, kSeed).u.slider;
    p.maxSamples = CheckoutParam(in, kMaxSamples).u.slider;
    p.group = CheckoutParam(in, kGroup).u.popup;
    return p;
}

// Two levels: the sprite block (when a sprite is chosen), folded into the drawing values.
uint64_t Hash(PF_InData* in, const PointsParams& p) {
    uint64_t sprite = 0;
    if (p.hasSprite) {
        // What the sprite layer shows over the times its samples may take: now for the current
        // time, the whole duration for random stills, from now to the end for random loops.
        A_Time from{in->current_time, in->time_scale};
        int32_t span = in->time_step;
        if (p.timeSampling == kSampleRandomStill) {
            from.value = 0;
            span = in->total_time;
        } else if (p.timeSampling == kSampleRandomLoop) {
            span = in->total_time - in->current_time;
        }
        SuiteCache suites(in);
        ParamHasher first(0);
        first.add(suites->layerParamStateToken(in->effect_ref, kSprite, from, span));
        first.add(p.timeSampling).add(p.loopType).add(p.randomSeed).add(p.maxSamples);
        if (const void* bytes = suites->lockHandle(in->sequence_data)) {
            first.bytes(bytes, suites->handleSize(in->sequence_data));
            suites->unlockHandle(in->sequence_data);
        }
        sprite = first.value();
    }
    ParamHasher h(237);
    h.add(sprite);
    for (bool b : {p.perspective, p.overrideColor, p.overrideOpacity, p.onlyConnected, p.hasSprite,
                   p.overrideScale})
        h.add(int32_t(b));
    for (float v : p.color) h.add(v);
    h.add(p.size);
    for (float v : p.offset) h.add(v);
    h.add(p.group);
    return h.value();
}

PF_Err Contribute(PF_InData* in, ObjectMessage& m, const PointsParams& p) {
    SuiteCache suites(in);
    const A_Time now =
        suites->convertEffectToCompTime(in->effect_ref, in->current_time, in->time_scale);
    GeometryStore& store = *m.geometry;
    const IndexRange range = GroupVertexRange(store, p.group);
    RenderItem item;
    item.kind = kRenderPoints;
    PointsPayload& payload = item.as<PointsPayload>();
    payload = PointsPayload{};
    payload.vertexCount = range.count;
    payload.vertices = new uint32_t[range.count];
    for (uint32_t i = 0; i < range.count; ++i) payload.vertices[i] = range.start + i;
    std::vector<A_Time> times{now};
    std::vector<uint32_t> indices(range.count, 0);
    // The sprite layer and whether its source is a composition; its samples are in its own time.
    AEGP_LayerH sprite = 0;
    bool spriteIsComp = false;
    if (p.hasSprite) {
        sprite = LayerOfOwnComp(suites.host(), in->effect_ref, p.spriteLayer);
        const AEGP_ItemH item = sprite ? suites->layerSourceItem(sprite) : 0;
        spriteIsComp = item && suites->itemType(item) == AEGP_ItemType_COMP;
    }
    if (sprite) times[0] = suites->convertCompToLayerTime(sprite, now);
    if (p.timeSampling != kSampleCurrent && sprite && spriteIsComp) {
        SampleInputs s;
        s.timeSampling = p.timeSampling;
        s.loopType = p.loopType;
        s.randomSeed = p.randomSeed;
        s.maxSamples = p.maxSamples;
        s.count = range.count;
        s.spriteDuration = suites->layerDuration(sprite);
        s.compFrame = A_Time{in->time_step, in->time_scale};
        s.now = times[0];
        BuildSpriteSamples(s, times, indices);
    }
    payload.timeCount = uint32_t(times.size());
    payload.times = new A_Time[times.size()];
    std::copy(times.begin(), times.end(), payload.times);
    payload.sampleIndex = new uint32_t[indices.size()];
    std::copy(indices.begin(), indices.end(), payload.sampleIndex);
    payload.overrideColor = p.overrideColor;
    payload.overrideOpacity = p.overrideOpacity;
    payload.overrideScale = p.overrideScale;
    payload.perspective = p.perspective;
    payload.onlyConnected = p.onlyConnected;
    payload.hasSprite = p.hasSprite;
    payload.size = p.size;
    std::copy(std::begin(p.color), std::end(p.color), payload.color);
    std::copy(std::begin(p.offset), std::end(p.offset), payload.offset);
    payload.spriteLayer = p.spriteLayer;
    m.pushRenderItem(m.renders, &item);
    return PF_Err_NONE;
}

uint64_t MessageHash(PF_InData* in, ObjectMessage&) {
    return Hash(in, Read(in));
}

PF_Err Message(PF_InData* in, PF_OutData*, ObjectMessage& m) {
    return Contribute(in, m, Read(in));
}

const GroupHooks kGroupHooks{.groupPopup = &kTable[kGroup], .hash = &MessageHash};

PF_Err Visibility(PF_InData* in) {
    const PointsParams p = Read(in);
    const ParamRule rules[] = {
        {kOpacity, !p.overrideOpacity},
        {kColor, !p.overrideColor},
        {kLoopType, p.timeSampling != kSampleRandomLoop},
        {kSeed, p.timeSampling == kSampleCurrent},
        {kSpriteGroup, !p.hasSprite},
    };
    return ShowParameters(in, rules);
}

// Random sprite samples do not follow the parameters alone: the frame varies without them.
PF_Err DynamicFlags(PF_InData* in, PF_OutData* out) {
    const bool varies = CheckoutParam(in, kSprite).u.layerId != 0 &&
                        CheckoutParam(in, kTimeSampling).u.popup != kSampleCurrent;
    if (varies)
        out->out_flags |= PF_OutFlag_NON_PARAM_VARY;
    else
        out->out_flags &= ~PF_OutFlag_NON_PARAM_VARY;
    return PF_Err_NONE;
}

const SubEffectHandlers kHandlers{
    .message = &Message,
    .group = &kGroupHooks,
    .visibility = &Visibility,
    .dynamicFlags = &DynamicFlags,
};

}  // namespace

ParamTable PointsRenderParams() {
    return kTable;
}

PF_Err PointsRenderEntryPointFunc(PF_Cmd cmd, PF_InData* in_data, PF_OutData* out_data,
                                  PF_ParamDef* params[], PF_LayerDef* output, void* extra) {
    return SubEffectEntry(kPointsRenderInfo, kHandlers, cmd, in_data, out_data, params, output,
                          extra);
}

// The effect's row in the module's effect table.
const EffectInfo kPointsRenderInfo{
    13,
    "Tavrin Points Renderer",
    "KDL TAVRREN Points",
    "PointsRenderEntryPointFunc",
    &PointsRenderEntryPointFunc,
    0x200002,
    0x1401,
    EffectRole::Renderer,
    "Points Renderer, Renders 3D Points/Sprites.",
    true,
    &PointsRenderParams,
    "A renderer that draws each vertex as a round point, or as a sprite taken from a precomp.",
    "Add it below the sources and effectors; set Points Size. Turn off Get Color From Vertices to "
    "colour all points alike, and choose a precomp layer as Textured Sprite to draw images instead "
    "of discs."};

}  // namespace tv
