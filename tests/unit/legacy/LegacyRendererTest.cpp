// The legacy renderer as an effect: its parameter table, its messages sent by hand on a small
// store, and which parameters it hides.
#include <gtest/gtest.h>

#include <iterator>

#include "host/ObjectMessage.h"
#include "host/RenderPayloads.h"
#include "resources/EffectTable.h"
#include "resources/EntryPoints.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

enum : int32_t {
    kSprite = 2,
    kOverridePointsColor = 3,
    kPointsColor = 4,
    kOverridePointsOpacity = 5,
    kPointsOpacity = 6,
    kMaxDistance = 11,
    kFadeOutDistance = 12,
    kMaxPoints = 13,
    kColorsFromPoints = 14,
    kLinesColor = 15,
    kOpacityFromPoints = 16,
    kLinesOpacity = 17,
    kDraw = 22,
    kOnlyConnected = 24,
    kRenderOrder = 25,
};

TEST(LegacyTable, RowsAsDeclared) {
    const ParamTable t = LegacyRenderParams();
    ASSERT_EQ(t.size(), 26u);
    struct Expected {
        int32_t disk;
        PF_ParamType type;
        const char* name;
        double def, validMin, validMax, sliderMin, sliderMax;
        int16_t precision;
        uint32_t flags;
        const char* text;
    };
    constexpr auto C = PF_Param_CHECKBOX, F = PF_Param_FLOAT_SLIDER, P = PF_Param_POPUP;
    constexpr auto GS = PF_Param_GROUP_START, GE = PF_Param_GROUP_END;
    const Expected rows[] = {
        {5, GS, "Points", 0, 0, 0, 0, 0, 0, 0, ""},
        {6, PF_Param_LAYER, "Textured Sprite", 0, 0, 0, 0, 0, 0, 0x46, ""},
        {7, C, "Override Points Color", 0, 0, 0, 0, 0, 0, 0x46, ""},
        {9, PF_Param_COLOR, "Points Color", 1, 0, 0, 0, 0, 0, 0, ""},
        {8, C, "Override Points Opacity", 0, 0, 0, 0, 0, 0, 0x46, ""},
        {11, PF_Param_FIX_SLIDER, "Points Opacity", 50, 0, 100, 0, 100, 1, 0, ""},
        {10, F, "Points Size", 2, 0, 1000, 0, 10, 2, 0, ""},
        {12, C, "Points Perspective Aware", 1, 0, 0, 0, 0, 0, 0, ""},
        {13, GE, "", 0, 0, 0, 0, 0, 0, 0, ""},
        {14, GS, "Lines", 0, 0, 0, 0, 0, 0, 0, ""},
        {15, F, "Maximum Distance", 25, 0, 100000, 0, 100, 2, 0, ""},
        {16, F, "Fade-Out Distance", 25, 0, 100000, 0, 100, 2, 0, ""},
        {17, PF_Param_SLIDER, "Max No. of Points to Search", 10, 0, 10000, 0, 100, 0, 0, ""},
        {19, C, "Get Colors From Points", 1, 0, 0, 0, 0, 0, 0x46, ""},
        {18, PF_Param_COLOR, "Lines Color", 1, 0, 0, 0, 0, 0, 0, ""},
        {20, C, "Get Opacity From Points", 1, 0, 0, 0, 0, 0, 0x46, ""},
        {21, PF_Param_FIX_SLIDER, "Lines Opacity", 50, 0, 100, 0, 100, 1, 0, ""},
        {35, C, "Get Scale From Points", 1, 0, 0, 0, 0, 0, 0, ""},
        {22, F, "Line Thickness", 1, 0, 1000, 0, 100, 2, 0, ""},
        {23, C, "Lines Perpspective Aware", 1, 0, 0, 0, 0, 0, 0, ""},
        {24, GE, "", 0, 0, 0, 0, 0, 0, 0, ""},
        {26, P, "Draw", 3, 1, 3, 1, 3, 0, 0x46, "Points|Lines|Points+Lines"},
        {27, P, "Draw Lines Between", 3, 1, 3, 1, 3, 0, 0, "Same Group|Different Group|All Groups"},
        {28, C, "Draw Only Connected Points", 0, 0, 0, 0, 0, 0, 0, ""},
        {36, P, "Render Order", 1, 1, 2, 1, 2, 0, 0x46, "Points After Lines|Lines After Points"},
    };
    static_assert(std::size(rows) == 25);
    EXPECT_EQ(t[0].type, PF_Param_LAYER);
    for (int32_t i = 1; i <= 25; ++i) {
        const ParamSpec& s = t[size_t(i)];
        const Expected& e = rows[i - 1];
        SCOPED_TRACE(i);
        EXPECT_EQ(s.index, i);
        EXPECT_EQ(s.diskId, e.disk);
        EXPECT_EQ(s.type, e.type);
        EXPECT_STREQ(s.name, e.name);
        EXPECT_EQ(s.def[0], e.def);
        EXPECT_EQ(s.validMin, e.validMin);
        EXPECT_EQ(s.validMax, e.validMax);
        EXPECT_EQ(s.sliderMin, e.sliderMin);
        EXPECT_EQ(s.sliderMax, e.sliderMax);
        EXPECT_EQ(s.precision, e.precision);
        EXPECT_EQ(s.flags, e.flags);
        EXPECT_STREQ(s.text, e.text);
        EXPECT_EQ(s.uiFlags, 0u);
    }
    for (int32_t colour : {4, 15}) {
        EXPECT_EQ(t[size_t(colour)].def[1], 1);
        EXPECT_EQ(t[size_t(colour)].def[2], 1);
    }
}

TEST(LegacyTable, Named) {
    const EffectInfo& info = EffectTable()[18];
    EXPECT_STREQ(info.displayName, "Tavrin Legacy Renderer");
    EXPECT_STREQ(info.matchName, "KDL TAVRUS");
    EXPECT_STREQ(info.description, "Legacy Renderer, preserves compatibility with older versions.");
    EXPECT_TRUE(info.built);
}

int gMixes = 0;
PF_Err CountMix(PF_ProgPtr, uint32_t, const void*) {
    ++gMixes;
    return PF_Err_NONE;
}

struct LegacyMessage : ::testing::Test {
    standalone::EmbeddedHost host;
    standalone::Comp& comp = host.addComp("C", 100, 100, 10, 1, 2.0);
    standalone::EffectInstance& fx =
        host.applyEffectInstance(host.addLayer(comp, "L", standalone::LayerKind::Solid),
                                 host.findInstalledByDisplayName("Tavrin Legacy Renderer")->key);
    ObjectMessage m;
    PF_OutData out;

    void SetUp() override { ASSERT_EQ(InitObjectMessage(m), PF_Err_NONE); }
    void TearDown() override { DisposeObjectMessage(m); }

    PF_ParamDef& value(int32_t index) { return fx.params[size_t(index)].value; }
    // `n` vertices `spacing` apart on x, with no jitter.
    void Fill(int n, float spacing) {
        for (int i = 0; i < n; ++i)
            m.geometry->positions.push_back(Vec3f{float(i) * spacing, 0, 0});
        m.geometry->jitter.assign(size_t(n), Vec3f{0, 0, 0});
    }
    PF_Err Send(uint32_t command = kObjContribute) {
        m.command = command;
        return host.callEffect(fx, PF_Cmd_COMPLETELY_GENERAL, comp.frameTime(5), &m, &out);
    }
    std::vector<uint32_t> Kinds() const {
        std::vector<uint32_t> kinds;
        for (const RenderItem& item : m.renders->items) kinds.push_back(item.kind);
        return kinds;
    }
    const LinesPayload* Lines() const {
        for (const RenderItem& item : m.renders->items)
            if (item.kind == kRenderLines) return &item.as<LinesPayload>();
        return nullptr;
    }
    const PointsPayload* Points() const {
        for (const RenderItem& item : m.renders->items)
            if (item.kind == kRenderPoints) return &item.as<PointsPayload>();
        return nullptr;
    }
};

TEST_F(LegacyMessage, GetGroupAnswersAllGroups) {
    m.setPayloadGroup(3);
    ASSERT_EQ(Send(kObjGetGroup), PF_Err_NONE);
    EXPECT_EQ(m.payloadGroup(), 12);
    EXPECT_TRUE(m.renders->items.empty());
}

TEST_F(LegacyMessage, GetInstanceIdIsTheSharedAnswer) {
    ASSERT_EQ(Send(kObjGetInstanceId), PF_Err_NONE);
    bool any = false;
    for (uint8_t b : m.payload) any = any || b != 0;
    EXPECT_TRUE(any);
    EXPECT_TRUE(m.renders->items.empty());
}

TEST_F(LegacyMessage, MixHashAddsNothingToTheKey) {
    gMixes = 0;
    m.hash->mixInCallback = &CountMix;
    ASSERT_EQ(Send(kObjMixHash), PF_Err_NONE);
    EXPECT_EQ(gMixes, 0);
    EXPECT_TRUE(m.hash->dependencies.empty());
    // Any number but the group query and the instance id draws.
    EXPECT_EQ(Kinds(), (std::vector<uint32_t>{kRenderLines, kRenderPoints}));
}

TEST_F(LegacyMessage, SetGroupWritesNoParameter) {
    m.setPayloadGroup(4);
    ASSERT_EQ(Send(kObjSetGroup), PF_Err_NONE);
    EXPECT_EQ(value(kDraw).u.popup, 3);
    EXPECT_EQ(value(kRenderOrder).u.popup, 1);
    EXPECT_EQ(Kinds(), (std::vector<uint32_t>{kRenderLines, kRenderPoints}));
}

TEST_F(LegacyMessage, DefaultsDrawLinesThenAllPoints) {
    Fill(3, 10);  // distances 10 and 20 against 25 + 25
    ASSERT_EQ(Send(), PF_Err_NONE);
    EXPECT_EQ(m.flags & kMsgNeedsLayers, 0u);  // always every frame: no frames asked for
    EXPECT_TRUE(m.renders->requests.empty());
    ASSERT_EQ(Kinds(), (std::vector<uint32_t>{kRenderLines, kRenderPoints}));
    const LinesPayload& l = *Lines();
    ASSERT_EQ(l.pairCount, 3u);
    EXPECT_FLOAT_EQ(l.size, 1.0f);
    EXPECT_FLOAT_EQ(l.color[3], 0.5f);
    EXPECT_EQ(l.overrideColor, 0);
    EXPECT_EQ(l.overrideOpacity, 0);
    EXPECT_EQ(l.overrideScale, 0);
    EXPECT_EQ(l.perspective, 1);
    const PointsPayload& p = *Points();
    ASSERT_EQ(p.vertexCount, 3u);
    for (uint32_t i = 0; i < 3; ++i) {
        EXPECT_EQ(p.vertices[i], i);
        EXPECT_EQ(p.sampleIndex[i], 0u);
    }
    ASSERT_EQ(p.timeCount, 1u);
    EXPECT_EQ(p.times[0].value, comp.frameTime(5).value);
    EXPECT_EQ(p.times[0].scale, comp.frameTime(5).scale);
    EXPECT_EQ(p.hasSprite, 0);
    EXPECT_FLOAT_EQ(p.size, 2.0f);
    EXPECT_FLOAT_EQ(p.color[3], 0.5f);
    for (float o : p.offset) EXPECT_EQ(o, 0.0f);
}

TEST_F(LegacyMessage, RenderOrderTwoPutsPointsFirst) {
    Fill(2, 10);
    value(kRenderOrder).u.popup = 2;
    ASSERT_EQ(Send(), PF_Err_NONE);
    EXPECT_EQ(Kinds(), (std::vector<uint32_t>{kRenderPoints, kRenderLines}));
}

TEST_F(LegacyMessage, DrawPointsDropsTheLines) {
    Fill(2, 10);
    value(kDraw).u.popup = 1;
    ASSERT_EQ(Send(), PF_Err_NONE);
    EXPECT_EQ(Kinds(), (std::vector<uint32_t>{kRenderPoints}));
    // The search ran on the store and took its jitter away again.
    EXPECT_EQ(m.geometry->positions[1].x, 10.0f);
}

TEST_F(LegacyMessage, DrawLinesDropsThePoints) {
    Fill(2, 10);
    value(kDraw).u.popup = 2;
    value(kRenderOrder).u.popup = 2;
    ASSERT_EQ(Send(), PF_Err_NONE);
    EXPECT_EQ(Kinds(), (std::vector<uint32_t>{kRenderLines}));
    ASSERT_EQ(Lines()->pairCount, 1u);
}

TEST_F(LegacyMessage, EmptyStoreSendsEmptyItems) {
    ASSERT_EQ(Send(), PF_Err_NONE);
    ASSERT_EQ(Kinds().size(), 2u);
    EXPECT_EQ(Lines()->pairCount, 0u);
    EXPECT_EQ(Points()->vertexCount, 0u);
}

TEST_F(LegacyMessage, FadeOutZeroKeepsFullOpacityToTheMaximum) {
    Fill(4, 10);
    value(kMaxDistance).u.floatValue = 20;
    value(kFadeOutDistance).u.floatValue = 0;
    ASSERT_EQ(Send(), PF_Err_NONE);
    const LinesPayload& l = *Lines();
    // (0, 1), (0, 2), (1, 2), (1, 3), (2, 3): 10 and 20 apart, the latter at t = 1.
    ASSERT_EQ(l.pairCount, 5u);
    for (uint32_t i = 0; i < l.pairCount; ++i) {
        EXPECT_FLOAT_EQ(l.opacity[i], 1.0f) << i;
        EXPECT_FLOAT_EQ(l.thickness[i], 1.0f) << i;
        EXPECT_LE(l.pairs[i].b - l.pairs[i].a, 2);
    }
}

TEST_F(LegacyMessage, BothDistancesZeroJoinOnlyCoincidentVertices) {
    Fill(2, 0);
    m.geometry->positions.push_back(Vec3f{1, 0, 0});
    m.geometry->jitter.push_back(Vec3f{0, 0, 0});
    value(kMaxDistance).u.floatValue = 0;
    value(kFadeOutDistance).u.floatValue = 0;
    ASSERT_EQ(Send(), PF_Err_NONE);
    const LinesPayload& l = *Lines();
    ASSERT_EQ(l.pairCount, 1u);
    EXPECT_EQ(l.pairs[0].a, 0);
    EXPECT_EQ(l.pairs[0].b, 1);
    EXPECT_FLOAT_EQ(l.opacity[0], 1.0f);
    EXPECT_FLOAT_EQ(l.thickness[0], 1.0f);
}

TEST_F(LegacyMessage, MaxPointsZeroDrawsNoLines) {
    Fill(3, 1);
    value(kMaxPoints).u.slider = 0;
    ASSERT_EQ(Send(), PF_Err_NONE);
    EXPECT_EQ(Lines()->pairCount, 0u);
}

TEST_F(LegacyMessage, PointsFlagsAndLinks) {
    Fill(2, 10);
    value(kSprite).u.layerId = 77;
    value(kOnlyConnected).u.checkbox = 1;
    value(kOverridePointsColor).u.checkbox = 1;
    value(kPointsColor).u.color = PF_Pixel8{255, 255, 0, 0};
    value(kOverridePointsOpacity).u.checkbox = 1;
    value(kPointsOpacity).u.fixed = 20 << 16;
    value(kLinesColor).u.color = PF_Pixel8{255, 0, 0, 255};
    value(kLinesOpacity).u.fixed = 90 << 16;
    ASSERT_EQ(Send(), PF_Err_NONE);
    const PointsPayload& p = *Points();
    EXPECT_EQ(p.hasSprite, 1);
    EXPECT_EQ(p.spriteLayer, 77);
    EXPECT_EQ(p.onlyConnected, 1);
    EXPECT_EQ(p.overrideColor, 1);
    EXPECT_EQ(p.overrideOpacity, 1);
    EXPECT_FLOAT_EQ(p.color[0], 1.0f);
    EXPECT_FLOAT_EQ(p.color[1], 0.0f);
    EXPECT_FLOAT_EQ(p.color[3], 0.2f);
    ASSERT_EQ(p.timeCount, 1u);  // still one sample at the current time
    // The lines take the points' colour and opacity instead of the vertices'.
    const LinesPayload& l = *Lines();
    EXPECT_EQ(l.overrideColor, 1);
    EXPECT_EQ(l.overrideOpacity, 1);
    EXPECT_FLOAT_EQ(l.color[0], 1.0f);
    EXPECT_FLOAT_EQ(l.color[1], 0.0f);
    EXPECT_FLOAT_EQ(l.color[2], 0.0f);
    EXPECT_FLOAT_EQ(l.color[3], 0.2f);
}

TEST_F(LegacyMessage, LinesWithTheirOwnColourKeepIt) {
    Fill(2, 10);
    value(kOverridePointsColor).u.checkbox = 1;
    value(kPointsColor).u.color = PF_Pixel8{255, 255, 0, 0};
    value(kColorsFromPoints).u.checkbox = 0;
    value(kLinesColor).u.color = PF_Pixel8{255, 0, 0, 255};
    ASSERT_EQ(Send(), PF_Err_NONE);
    const LinesPayload& l = *Lines();
    EXPECT_EQ(l.overrideColor, 1);
    EXPECT_FLOAT_EQ(l.color[0], 0.0f);
    EXPECT_FLOAT_EQ(l.color[2], 1.0f);
    EXPECT_EQ(l.overrideOpacity, 0);
}

TEST(LegacyVisibility, HiddenFlags) {
    standalone::EmbeddedHost host;
    standalone::Comp& comp = host.addComp("C", 100, 100, 10, 1, 2.0);
    standalone::EffectInstance& fx =
        host.applyEffectInstance(host.addLayer(comp, "L", standalone::LayerKind::Solid),
                                 host.findInstalledByDisplayName("Tavrin Legacy Renderer")->key);
    auto changed = [&](PF_Cmd cmd) { return host.callEffect(fx, cmd, comp.frameTime(0), nullptr); };
    auto hidden = [&](int32_t i) { return fx.params[size_t(i)].hidden; };
    ASSERT_EQ(changed(PF_Cmd_USER_CHANGED_PARAM), PF_Err_NONE);  // defaults
    EXPECT_TRUE(hidden(kPointsOpacity));
    EXPECT_TRUE(hidden(kPointsColor));
    EXPECT_TRUE(hidden(kLinesOpacity));
    EXPECT_TRUE(hidden(kLinesColor));
    fx.params[kOverridePointsOpacity].value.u.checkbox = 1;
    fx.params[kOpacityFromPoints].value.u.checkbox = 0;
    ASSERT_EQ(changed(PF_Cmd_UPDATE_PARAMS_UI), PF_Err_NONE);
    EXPECT_FALSE(hidden(kPointsOpacity));
    EXPECT_TRUE(hidden(kPointsColor));
    EXPECT_FALSE(hidden(kLinesOpacity));
    EXPECT_TRUE(hidden(kLinesColor));
    fx.params[kOverridePointsColor].value.u.checkbox = 1;
    fx.params[kColorsFromPoints].value.u.checkbox = 0;
    ASSERT_EQ(changed(PF_Cmd_USER_CHANGED_PARAM), PF_Err_NONE);
    EXPECT_FALSE(hidden(kPointsColor));
    EXPECT_FALSE(hidden(kLinesColor));
    // Nothing else is touched.
    for (int32_t i : {1, 2, 3, 5, 7, 11, 12, 13, 18, 19, 22, 23, 24, 25})
        EXPECT_FALSE(hidden(i)) << i;
}

}  // namespace
}  // namespace tv
