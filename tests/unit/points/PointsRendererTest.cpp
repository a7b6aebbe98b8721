// Random Loop's three wraps with the rounding to the sprite's frame step, and the points
// renderer's item, hidden parameters and dynamic flag through the host.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "host/Gather.h"
#include "host/RenderPayloads.h"
#include "host/Random.h"
#include "renderers/PointsSamples.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

// The sprite runs at 40 ticks a second, the comp at 10 frames: one frame is 4 ticks.
SampleInputs LoopInputs(int32_t loopType) {
    SampleInputs in;
    in.timeSampling = kSampleRandomLoop;
    in.loopType = loopType;
    in.randomSeed = 9;
    in.maxSamples = 16;
    in.count = 16;
    in.spriteDuration = A_Time{400, 40};
    in.compFrame = A_Time{1, 10};
    in.now = A_Time{57, 10};  // 228 ticks
    return in;
}

int64_t Expected(int32_t loopType, int64_t drawn) {
    const int64_t step = 4, last = 400 - 4, now = 228;
    int64_t t = std::llabs(drawn) % last + now;
    if (loopType == kLoopNormal) t %= last + 1;
    if (loopType == kLoopPingPong && t > last) t = (t / last) % 2 ? last - t % last : t % last;
    if (loopType == kLoopFreeze) t = std::min(t, last);
    if (t % step) t = t - t % step + step;
    return t;
}

TEST(PointsRenderer, RandomLoopWrapsWorkedOut) {
    for (int32_t type : {kLoopNormal, kLoopPingPong, kLoopFreeze}) {
        std::vector<A_Time> times;
        std::vector<uint32_t> idx;
        ASSERT_TRUE(BuildSpriteSamples(LoopInputs(type), times, idx));
        MTRand_int32 mt(9);
        bool wrapped = false;
        for (const A_Time& t : times) {
            const int64_t drawn = int32_t(mt.next());
            wrapped |= std::llabs(drawn) % 396 + 228 > 396;
            EXPECT_EQ(t.value, Expected(type, drawn)) << type;
            EXPECT_EQ(t.value % 4, 0);
            EXPECT_EQ(t.scale, 40u);
        }
        EXPECT_TRUE(wrapped);  // the seed exercises the wrap
    }
}

struct PointsScene {
    standalone::EmbeddedHost host;
    standalone::Layer* layer;
    standalone::EffectInstance* points;
    PointsScene() {
        auto& comp = host.addComp("c", 100, 100);
        layer = &host.addLayer(comp, "l", standalone::LayerKind::Solid);
        auto& prim = host.applyEffectInstance(*layer, "KDL TAVRSRC Primitives");
        prim.params[3].value.u.slider = 3;  // 3 x 2 x 1
        prim.params[4].value.u.slider = 2;
        prim.params[5].value.u.slider = 1;
        prim.params[26].value.u.popup = 2;  // group 2
        points = &host.applyEffectInstance(*layer, "KDL TAVRREN Points");
    }
    PointsPayload item(ObjectMessage& m) {
        EXPECT_EQ(Gather(host, layer->uid, A_Time{0, 30000}, m), 0);
        for (const RenderItem& it : m.renders->items)
            if (it.kind == kRenderPoints) return it.as<PointsPayload>();
        ADD_FAILURE() << "no points item";
        return {};
    }
};

TEST(PointsRenderer, ItemListsTheGroupsVertices) {
    PointsScene s;
    s.points->params[20].value.u.checkbox = 1;  // Draw Only Connected Points goes along
    s.points->params[8].value.u.checkbox = 0;   // colour from the parameter
    ObjectMessage m;
    InitObjectMessage(m);
    const PointsPayload p = s.item(m);
    ASSERT_EQ(p.vertexCount, 6u);
    for (uint32_t i = 0; i < 6; ++i) EXPECT_EQ(p.vertices[i], i);
    // Current Time: one sample, every vertex shows sample 0.
    EXPECT_EQ(p.timeCount, 1u);
    for (uint32_t i = 0; i < 6; ++i) EXPECT_EQ(p.sampleIndex[i], 0u);
    EXPECT_EQ(p.onlyConnected, 1);
    EXPECT_EQ(p.overrideColor, 1);
    EXPECT_EQ(p.overrideOpacity, 0);
    EXPECT_EQ(p.hasSprite, 0);
    EXPECT_FLOAT_EQ(p.size, 2.0f);
    EXPECT_FLOAT_EQ(p.color[3], 0.5f);
    DisposeObjectMessage(m);
}

TEST(PointsRenderer, GroupWithNoVerticesSendsAnEmptyItem) {
    PointsScene s;
    s.points->params[21].value.u.popup = 5;
    ObjectMessage m;
    InitObjectMessage(m);
    const PointsPayload p = s.item(m);
    EXPECT_EQ(p.vertexCount, 0u);
    DisposeObjectMessage(m);
    s.points->params[21].value.u.popup = 2;
    InitObjectMessage(m);
    EXPECT_EQ(s.item(m).vertexCount, 6u);
    DisposeObjectMessage(m);
}

TEST(PointsRenderer, HiddenParametersAndTheNonParamVaryFlag) {
    PointsScene s;
    auto& p = s.points->params;
    auto update = [&] {
        ASSERT_EQ(s.host.callEffect(*s.points, PF_Cmd_UPDATE_PARAMS_UI, A_Time{0, 1}, nullptr), 0);
    };
    update();
    EXPECT_TRUE(p[11].hidden);  // opacity from vertices
    EXPECT_TRUE(p[9].hidden);   // colour from vertices
    EXPECT_TRUE(p[15].hidden);  // loop type unless Random Loop
    EXPECT_TRUE(p[16].hidden);  // seed on Current Time
    EXPECT_TRUE(p[13].hidden);  // no sprite
    p[10].value.u.checkbox = 0;
    p[14].value.u.popup = kSampleRandomLoop;
    update();
    EXPECT_FALSE(p[11].hidden);
    EXPECT_FALSE(p[15].hidden);
    EXPECT_FALSE(p[16].hidden);

    PF_OutData out{};
    out.out_flags = PF_OutFlag_NON_PARAM_VARY;
    ASSERT_EQ(s.host.callEffect(*s.points, PF_Cmd_QUERY_DYNAMIC_FLAGS, A_Time{0, 1}, nullptr, &out),
              0);
    EXPECT_EQ(out.out_flags & PF_OutFlag_NON_PARAM_VARY, 0u);  // no sprite chosen
    p[12].value.u.layerId = int32_t(s.layer->id);
    out.out_flags = 0;
    s.host.callEffect(*s.points, PF_Cmd_QUERY_DYNAMIC_FLAGS, A_Time{0, 1}, nullptr, &out);
    EXPECT_NE(out.out_flags & PF_OutFlag_NON_PARAM_VARY, 0u);
    p[14].value.u.popup = kSampleCurrent;
    s.host.callEffect(*s.points, PF_Cmd_QUERY_DYNAMIC_FLAGS, A_Time{0, 1}, nullptr, &out);
    EXPECT_EQ(out.out_flags & PF_OutFlag_NON_PARAM_VARY, 0u);
}

TEST(PointsRenderer, HashFollowsTheDrawingValuesAndTheSpriteBlock) {
    PointsScene s;
    static std::vector<uint64_t> mixed;
    auto hash = [&] {
        mixed.clear();
        auto mix = [](PF_ProgPtr, uint32_t size, const void* data) -> PF_Err {
            uint64_t v = 0;
            std::memcpy(&v, data, std::min<uint32_t>(size, 8));
            mixed.push_back(v);
            return 0;
        };
        EXPECT_EQ(MixStackHash(s.host, s.layer->uid, A_Time{0, 30000}, 0, mix, {}), 0);
        return mixed.empty() ? 0 : mixed.back();
    };
    auto& p = s.points->params;
    const uint64_t base = hash();
    EXPECT_EQ(hash(), base);
    p[16].value.u.slider = 7;  // the seed only counts with a sprite
    EXPECT_EQ(hash(), base);
    p[1].value.u.floatValue = 3;
    const uint64_t sized = hash();
    EXPECT_NE(sized, base);
    p[12].value.u.layerId = int32_t(s.layer->id);
    const uint64_t sprite = hash();
    EXPECT_NE(sprite, sized);
    p[16].value.u.slider = 8;
    EXPECT_NE(hash(), sprite);
}

}  // namespace
}  // namespace tv
