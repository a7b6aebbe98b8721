// The triangulation renderer as an effect: its parameter table, about box, messages, hash and
// the render message in its modes, sent by hand through the embedded host.
#include <gtest/gtest.h>

#include <cstring>
#include <string_view>

#include "host/ObjectMessage.h"
#include "host/RenderPayloads.h"
#include "params/DistanceCurve.h"
#include "resources/EntryPoints.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

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
    kFrameNum = 12,
    kInterval = 13,
    kEffectGroup = 14,
    kDrawBetween = 15,
    kFirstGroup = 16,
    kSecondGroup = 17,
};

constexpr const char* kTenGroups =
    "Group 1|Group 2|Group 3|Group 4|Group 5|Group 6|Group 7|Group 8|Group 9|Group 10";

TEST(TriangulationTable, RowsAsDeclared) {
    const ParamTable t = TriangleRenderParams();
    ASSERT_EQ(t.size(), 18u);
    struct Expected {
        int32_t disk;
        PF_ParamType type;
        const char* name;
        double def, validMin, validMax, sliderMin, sliderMax;
        uint32_t flags;
        const char* text;
    };
    const Expected rows[] = {
        {1, PF_Param_POPUP, "Render Mode", 1, 1, 3, 1, 3, 0x46,
         "Nearest Triangles|Outer Surface|Mesh Triangulation"},
        {2, PF_Param_SLIDER, "Max No. of Triangles Per Vertex", 10, 0, 10000, 0, 100, 0, ""},
        {3, PF_Param_FLOAT_SLIDER, "Maximum Distance", 100, 0, 100000, 0, 100, 0, ""},
        {4, PF_Param_CHECKBOX, "Get Colors From Vertices", 1, 0, 0, 0, 0, 0x46, ""},
        {5, PF_Param_POPUP, "Color Mode", 1, 1, 3, 1, 3, 0,
         "Interpolate Between Vertices|Average of Vertices|Color of First Vertex"},
        {6, PF_Param_COLOR, "Triangles Color", 1, 0, 0, 0, 0, 0, ""},
        {7, PF_Param_CHECKBOX, "Get Opacity From Vertices", 1, 0, 0, 0, 0, 0x46, ""},
        {8, PF_Param_FIX_SLIDER, "Triangles Opacity", 50, 0, 100, 0, 100, 0, ""},
        {9, PF_Param_ARBITRARY_DATA, "Opacity over Distance", 0, 0, 0, 0, 0, 0, ""},
        {14, PF_Param_POPUP, "Calc Triangles Distance", 1, 1, 3, 1, 3, 0x46,
         "Every Frame|Only One Frame|Over Time Interval"},
        {15, PF_Param_CHECKBOX, "Calc Triangles based on this Frame", 0, 0, 0, 0, 0, 0x46, "None"},
        {16, PF_Param_SLIDER, "Triangles Frame Num", 0, -100000, 100000, 0, 100, 0x46, ""},
        {17, PF_Param_FLOAT_SLIDER, "Calc Time Interval", 1, 0, 1000000, 0, 5, 0x46, ""},
        {10, PF_Param_POPUP, "Effect Only Group", 12, 1, 12, 1, 12, 0x46,
         "Group 1|Group 2|Group 3|Group 4|Group 5|Group 6|Group 7|Group 8|Group 9|Group 10|(-|All "
         "Groups"},
        {11, PF_Param_POPUP, "Draw Triangles Between", 3, 1, 5, 1, 5, 0x46,
         "Vertices of Same Group|Vertices of Different Groups|Vertices of All Groups|Vertices of "
         "Only One Group|Vertices of Two Groups"},
        {12, PF_Param_POPUP, "First Group", 1, 1, 10, 1, 10, 0x46, kTenGroups},
        {13, PF_Param_POPUP, "Second Group", 2, 1, 10, 1, 10, 0, kTenGroups},
    };
    for (int32_t i = 1; i <= 17; ++i) {
        const ParamSpec& s = t[size_t(i)];
        const Expected& e = rows[i - 1];
        SCOPED_TRACE(e.name);
        EXPECT_EQ(s.index, i);
        EXPECT_EQ(s.diskId, e.disk);
        EXPECT_EQ(s.type, e.type);
        EXPECT_STREQ(s.name, e.name);
        EXPECT_EQ(s.def[0], e.def);
        EXPECT_EQ(s.validMin, e.validMin);
        EXPECT_EQ(s.validMax, e.validMax);
        EXPECT_EQ(s.sliderMin, e.sliderMin);
        EXPECT_EQ(s.sliderMax, e.sliderMax);
        EXPECT_EQ(s.flags, e.flags);
        EXPECT_STREQ(s.text, e.text);
    }
    EXPECT_EQ(t[kMaxDistance].precision, 2);
    EXPECT_EQ(t[kInterval].precision, 3);
    EXPECT_EQ(t[kTrianglesOpacity].precision, 1);
    EXPECT_EQ(t[kTrianglesColor].def[1], 1);
    EXPECT_EQ(t[kTrianglesColor].def[2], 1);
    EXPECT_EQ(t[kOpacityCurve].uiWidth, 350);
    EXPECT_EQ(t[kOpacityCurve].uiHeight, 100);
    EXPECT_NE(t[kOpacityCurve].fillCurve, nullptr);
}

struct TriangulationEffect : ::testing::Test {
    standalone::EmbeddedHost host;
    standalone::Comp& comp = host.addComp("C", 100, 100, 10, 1, 2.0);
    standalone::EffectInstance& fx = host.applyEffectInstance(
        host.addLayer(comp, "L", standalone::LayerKind::Solid),
        host.findInstalledByDisplayName("Tavrin Triangulation Renderer")->key);
    ObjectMessage m;
    PF_OutData out;

    void SetUp() override { ASSERT_EQ(InitObjectMessage(m), PF_Err_NONE); }
    void TearDown() override { DisposeObjectMessage(m); }

    PF_ParamDef& value(int32_t index) { return fx.params[size_t(index)].value; }

    // Five vertices whose distances are all different (see NearestTrianglesTest), no jitter.
    static void Fill(GeometryStore& g, float scale = 1) {
        for (const Vec3f& p :
             std::vector<Vec3f>{{0, 0, 0}, {1, 0, 0}, {0, 2, 0}, {4, 0, 0}, {0, 0, 7}})
            g.positions.push_back(Vec3f{p.x * scale, p.y * scale, p.z * scale});
        g.jitter.assign(g.positions.size(), Vec3f{});
    }
    void Gathered(int count, int vertices) {
        for (int i = 0; i < count; ++i) {
            ObjectMessage* g = NewObjectMessage();
            Fill(*g->geometry);
            g->geometry->positions.resize(size_t(vertices));
            g->geometry->jitter.resize(size_t(vertices));
            m.renders->gathered.push_back(g);
        }
    }
    PF_Err Send(int64_t frame = 5) {
        return host.callEffect(fx, PF_Cmd_COMPLETELY_GENERAL, comp.frameTime(frame), &m, &out);
    }
    const TrianglesPayload* Payload() const {
        for (const RenderItem& item : m.renders->items)
            if (item.kind == kRenderTriangles) return &item.as<TrianglesPayload>();
        return nullptr;
    }
    std::vector<int32_t> Triples() const {
        std::vector<int32_t> v;
        if (const TrianglesPayload* p = Payload())
            for (uint32_t i = 0; i < p->tripleCount; ++i)
                v.insert(v.end(), {p->triples[i].a, p->triples[i].b, p->triples[i].c});
        return v;
    }
    void SetCurve(float height) {
        DistanceCurve c;
        c.samples.fill(height);
        const PF_Handle h = value(kOpacityCurve).u.arbData;
        ASSERT_NE(h, 0u);
        std::memcpy(host.lockHandle(h), &c, sizeof c);
        host.unlockHandle(h);
    }
};

TEST_F(TriangulationEffect, AboutReusesTheLinesRenderersText) {
    ASSERT_EQ(host.callEffect(fx, PF_Cmd_ABOUT, comp.frameTime(0), nullptr, &out), PF_Err_NONE);
    EXPECT_STREQ(out.return_msg, "Tavrin Lines Renderer 3.1.3\nLines Renderer, Renders 3D Lines.");
}

TEST_F(TriangulationEffect, TheCurveHandleHoldsTheFallingDefault) {
    const PF_Handle h = value(kOpacityCurve).u.arbData;
    ASSERT_NE(h, 0u);
    ASSERT_GE(host.handleSize(h), sizeof(DistanceCurve));
    DistanceCurve c;
    std::memcpy(&c, host.lockHandle(h), sizeof c);
    host.unlockHandle(h);
    EXPECT_EQ(c.samples, DistanceCurve::DefaultOpacity().samples);
}

TEST_F(TriangulationEffect, GroupMessages) {
    m.command = kObjGetGroup;
    m.setPayloadGroup(-1);
    ASSERT_EQ(Send(), PF_Err_NONE);
    EXPECT_EQ(m.payloadGroup(), 12);
    m.command = kObjSetGroup;
    m.setPayloadGroup(4);
    ASSERT_EQ(Send(), PF_Err_NONE);
    EXPECT_EQ(value(kEffectGroup).u.popup, 4);
    EXPECT_EQ(value(kDrawBetween).u.popup, 3);  // untouched
    m.setPayloadGroup(11);
    ASSERT_EQ(Send(), PF_Err_NONE);
    EXPECT_EQ(value(kEffectGroup).u.popup, 12);
    EXPECT_TRUE(m.renders->items.empty());
}

TEST_F(TriangulationEffect, WrongMagicIsIgnored) {
    m.magic = 0x1234;
    Fill(*m.geometry);
    ASSERT_EQ(Send(), PF_Err_NONE);
    EXPECT_TRUE(m.renders->items.empty());
}

TEST_F(TriangulationEffect, EveryFrameDrawsTheNearestTriangles) {
    Fill(*m.geometry);
    value(kMaxTriangles).u.slider = 1;
    value(kColorsFromVertices).u.checkbox = 0;
    value(kColorMode).u.popup = 2;
    value(kTrianglesColor).u.color = PF_Pixel8{255, 255, 255, 0};  // alpha, red, green, blue
    value(kTrianglesOpacity).u.fixed = 25 << 16;
    ASSERT_EQ(Send(), PF_Err_NONE);
    ASSERT_NE(Payload(), nullptr);
    EXPECT_EQ(m.renders->items.size(), 1u);
    EXPECT_EQ(Triples(), (std::vector<int32_t>{0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 3, 0, 1, 4}));
    const TrianglesPayload& p = *Payload();
    EXPECT_EQ(p.extra, nullptr);
    EXPECT_EQ(p.colorMode, 2);
    EXPECT_FLOAT_EQ(p.color[0], 1.0f);
    EXPECT_FLOAT_EQ(p.color[1], 1.0f);
    EXPECT_FLOAT_EQ(p.color[2], 0.0f);
    EXPECT_FLOAT_EQ(p.color[3], 0.25f);
    EXPECT_EQ(p.overrideColor, 1);
    EXPECT_EQ(p.overrideOpacity, 0);
    // Mean sides up to 5.02 of 100: full opacity under the falling default.
    for (uint32_t i = 0; i < p.tripleCount; ++i) EXPECT_FLOAT_EQ(p.opacity[i], 1.0f);
}

TEST_F(TriangulationEffect, TheCurveComesFromTheParameterHandle) {
    Fill(*m.geometry);
    value(kMaxTriangles).u.slider = 1;
    SetCurve(10.0f);
    ASSERT_EQ(Send(), PF_Err_NONE);
    ASSERT_NE(Payload(), nullptr);
    ASSERT_EQ(Payload()->tripleCount, 5u);
    EXPECT_FLOAT_EQ(Payload()->opacity[0], 0.2f);
}

TEST_F(TriangulationEffect, TwoGroupsTakeTheLargerGroupAsTheSearchedSet) {
    // Group 1: vertices 0..4; group 2: 5..9, far away. Popups 1 and 2 in either order search
    // group 2 with group 1's vertices.
    Fill(*m.geometry);
    GeometryStore far;
    Fill(far);
    for (const Vec3f& p : far.positions) m.geometry->positions.push_back({p.x + 100, p.y, p.z});
    m.geometry->jitter.assign(10, Vec3f{});
    m.geometry->vertexGroups[1] = GroupRange{0, 5};
    m.geometry->vertexGroups[2] = GroupRange{5, 5};
    value(kMaxTriangles).u.slider = 1;
    value(kMaxDistance).u.floatValue = 1000;
    value(kDrawBetween).u.popup = 5;
    value(kFirstGroup).u.popup = 1;
    value(kSecondGroup).u.popup = 2;
    ASSERT_EQ(Send(), PF_Err_NONE);
    const std::vector<int32_t> lowFirst = Triples();
    ASSERT_EQ(lowFirst.size(), 15u);
    EXPECT_EQ(std::vector<int32_t>(lowFirst.begin(), lowFirst.begin() + 3),
              (std::vector<int32_t>{0, 5, 7}));  // query 0 with its nearest of group 2
    DisposeObjectMessage(m);
    ASSERT_EQ(InitObjectMessage(m), PF_Err_NONE);
    Fill(*m.geometry);
    for (const Vec3f& p : far.positions) m.geometry->positions.push_back({p.x + 100, p.y, p.z});
    m.geometry->jitter.assign(10, Vec3f{});
    m.geometry->vertexGroups[1] = GroupRange{0, 5};
    m.geometry->vertexGroups[2] = GroupRange{5, 5};
    value(kFirstGroup).u.popup = 2;
    value(kSecondGroup).u.popup = 1;
    ASSERT_EQ(Send(), PF_Err_NONE);
    EXPECT_EQ(Triples(), lowFirst);
    // One Group keeps the first popup as it is: group 2 in itself.
    DisposeObjectMessage(m);
    ASSERT_EQ(InitObjectMessage(m), PF_Err_NONE);
    Fill(*m.geometry);
    for (const Vec3f& p : far.positions) m.geometry->positions.push_back({p.x + 100, p.y, p.z});
    m.geometry->jitter.assign(10, Vec3f{});
    m.geometry->vertexGroups[1] = GroupRange{0, 5};
    m.geometry->vertexGroups[2] = GroupRange{5, 5};
    value(kDrawBetween).u.popup = 4;
    ASSERT_EQ(Send(), PF_Err_NONE);
    for (int32_t v : Triples()) EXPECT_GE(v, 5);
    EXPECT_EQ(Triples().size(), 15u);
}

TEST_F(TriangulationEffect, OuterSurfaceUsesTheEffectGroup) {
    // A cube's corners as group 3 after two other vertices.
    m.geometry->positions = {{40, 0, 0}, {0, 40, 0}};
    for (int i = 0; i < 8; ++i)
        m.geometry->positions.push_back(
            Vec3f{i & 1 ? 1.0f : -1.0f, i & 2 ? 1.0f : -1.0f, i & 4 ? 1.0f : -1.0f});
    m.geometry->jitter.assign(10, Vec3f{});
    m.geometry->vertexGroups[3] = GroupRange{2, 8};
    value(kRenderMode).u.popup = 2;
    value(kEffectGroup).u.popup = 3;
    ASSERT_EQ(Send(), PF_Err_NONE);
    const std::vector<int32_t> t = Triples();
    ASSERT_EQ(t.size(), 36u);
    for (int32_t v : t) EXPECT_GE(v, 2);
}

TEST_F(TriangulationEffect, MeshTriangulationOfFewerThanThreeVerticesIsEmpty) {
    m.geometry->positions = {{1, 2, 3}, {4, 5, 6}};
    m.geometry->jitter.assign(2, Vec3f{});
    value(kRenderMode).u.popup = 3;
    ASSERT_EQ(Send(), PF_Err_NONE);
    ASSERT_NE(Payload(), nullptr);  // an empty item still goes out
    EXPECT_EQ(Payload()->tripleCount, 0u);
}

TEST_F(TriangulationEffect, TheFirstPassAsksForTheFramesAndDrawsNothing) {
    value(kCalcMode).u.popup = 3;
    Fill(*m.geometry);
    ASSERT_EQ(Send(), PF_Err_NONE);
    EXPECT_EQ(m.flags & kMsgNeedsLayers, kMsgNeedsLayers);
    EXPECT_EQ(m.renders->requests.size(), 2u);  // frame 5 of 20: the interval [0, 10)
    EXPECT_EQ(Payload(), nullptr);
    // Only One Frame: one request.
    DisposeObjectMessage(m);
    ASSERT_EQ(InitObjectMessage(m), PF_Err_NONE);
    value(kCalcMode).u.popup = 2;
    value(kFrameNum).u.slider = 3;
    ASSERT_EQ(Send(), PF_Err_NONE);
    ASSERT_EQ(m.renders->requests.size(), 1u);
    const A_Time t = m.renders->requests[0].time;
    EXPECT_EQ(int64_t(t.value) * comp.frameTime(1).scale,
              int64_t(comp.frameTime(3).value) * t.scale);
}

TEST_F(TriangulationEffect, NoOrThreeFetchedFramesAreReportedWithTheCount) {
    value(kCalcMode).u.popup = 3;
    Fill(*m.geometry);
    m.flags |= kMsgNeedsLayers;
    ASSERT_EQ(Send(), PF_Err_NONE);
    EXPECT_STREQ(out.return_msg, "Error - Invalid No. of Frames for Triangles Calculation. - 0");
    EXPECT_EQ(Payload(), nullptr);
    Gathered(3, 5);
    ASSERT_EQ(Send(), PF_Err_NONE);
    EXPECT_STREQ(out.return_msg, "Error - Invalid No. of Frames for Triangles Calculation. - 3");
    EXPECT_EQ(Payload(), nullptr);
}

TEST_F(TriangulationEffect, AChangingVertexCountIsReportedInTheLinesWords) {
    value(kCalcMode).u.popup = 2;
    Fill(*m.geometry);
    Gathered(1, 4);
    m.flags |= kMsgNeedsLayers;
    ASSERT_EQ(Send(), PF_Err_NONE);
    EXPECT_STREQ(out.return_msg,
                 "Vertex Count not constant over time. Cannot create Lines at given "
                 "times.\nPlease switch back to Calculating Lines Every Frame.");
    EXPECT_EQ(Payload(), nullptr);
}

TEST_F(TriangulationEffect, OneFetchedFrameGivesItsTriangles) {
    value(kCalcMode).u.popup = 2;
    value(kMaxTriangles).u.slider = 1;
    // The current store is scaled: the fetched frame decides the triangles.
    Fill(*m.geometry, 100);
    Gathered(1, 5);
    m.flags |= kMsgNeedsLayers;
    ASSERT_EQ(Send(), PF_Err_NONE);
    EXPECT_STREQ(out.return_msg, "");
    EXPECT_EQ(Triples(), (std::vector<int32_t>{0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 3, 0, 1, 4}));
}

TEST_F(TriangulationEffect, TwoFetchedFramesBlend) {
    value(kCalcMode).u.popup = 3;
    value(kMaxTriangles).u.slider = 1;
    Fill(*m.geometry);
    Gathered(2, 5);
    // The second frame moves vertex 4 out of reach: its triangle fades out.
    m.renders->gathered[1]->geometry->positions[4] = Vec3f{0, 0, 700};
    m.flags |= kMsgNeedsLayers;
    ASSERT_EQ(Send(5), PF_Err_NONE);  // frame 5 of [0, 10): halfway
    EXPECT_STREQ(out.return_msg, "");
    ASSERT_NE(Payload(), nullptr);
    // Common: (0,1,2) three times, (0,1,3); A alone: (0,1,4), as in B vertex 4 has no
    // neighbour within reach.
    EXPECT_EQ(Triples(), (std::vector<int32_t>{0, 1, 2, 0, 1, 2, 0, 1, 2, 0, 1, 3, 0, 1, 4}));
    const TrianglesPayload& p = *Payload();
    for (uint32_t i = 0; i < 4; ++i) EXPECT_FLOAT_EQ(p.opacity[i], 1.0f);
    EXPECT_FLOAT_EQ(p.opacity[4], 0.5f);
}

// ---- the hash

std::vector<uint64_t> gMixed;
PF_Err RecordMix(PF_ProgPtr, uint32_t size, const void* data) {
    uint64_t v = 0;
    if (size == 8) std::memcpy(&v, data, 8);
    gMixed.push_back(v);
    return PF_Err_NONE;
}

struct TriangulationHash : TriangulationEffect {
    uint64_t Hash(int64_t frame = 5) {
        gMixed.clear();
        m.command = kObjMixHash;
        m.hash->mixInCallback = &RecordMix;
        m.hash->dependencies.clear();
        EXPECT_EQ(Send(frame), PF_Err_NONE);
        EXPECT_EQ(gMixed.size(), 1u);
        return gMixed.empty() ? 0 : gMixed[0];
    }
};

TEST_F(TriangulationHash, EveryFrameIgnoresTheTimeFields) {
    const uint64_t base = Hash(5);
    EXPECT_TRUE(m.hash->dependencies.empty());
    EXPECT_EQ(Hash(15), base);  // another interval, same key
    value(kInterval).u.floatValue = 0.3;
    EXPECT_EQ(Hash(5), base);
    value(kMaxTriangles).u.slider = 3;
    EXPECT_NE(Hash(5), base);
}

TEST_F(TriangulationHash, OtherCalcModesHashTheFramesAndDependOnThem) {
    value(kCalcMode).u.popup = 3;
    const uint64_t first = Hash(5);
    EXPECT_EQ(m.hash->dependencies.size(), 2u);
    EXPECT_EQ(Hash(7), first);   // the same interval [0, 10)
    EXPECT_NE(Hash(15), first);  // the next one
    value(kInterval).u.floatValue = 0.5;
    EXPECT_NE(Hash(5), first);
}

TEST_F(TriangulationHash, EveryFieldTakesPart) {
    std::vector<uint64_t> seen = {Hash()};
    auto differs = [&](const char* what) {
        const uint64_t h = Hash();
        for (uint64_t s : seen) EXPECT_NE(h, s) << what;
        seen.push_back(h);
    };
    value(kRenderMode).u.popup = 2;
    differs("render mode");
    value(kMaxDistance).u.floatValue = 55;
    differs("distance");
    value(kColorsFromVertices).u.checkbox = 0;
    differs("colours");
    value(kColorMode).u.popup = 3;
    differs("colour mode");
    value(kTrianglesColor).u.color = PF_Pixel8{255, 0, 0, 0};
    differs("colour");
    value(kOpacityFromVertices).u.checkbox = 0;
    differs("opacity flag");
    value(kTrianglesOpacity).u.fixed = 10 << 16;
    differs("opacity");
    value(kEffectGroup).u.popup = 2;
    differs("effect group");
    value(kDrawBetween).u.popup = 5;
    differs("between");
    value(kFirstGroup).u.popup = 6;
    differs("first group");
    value(kSecondGroup).u.popup = 9;
    differs("second group");
    SetCurve(12.0f);
    differs("curve");
    value(kCalcMode).u.popup = 2;
    differs("calc mode");
    value(kFrameNum).u.slider = 8;
    differs("frame");
}

}  // namespace
}  // namespace tv
