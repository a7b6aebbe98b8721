// The lines renderer's contribute message sent by hand: the frame-count error, and the curves it
// reads from its parameter handles.
#include <gtest/gtest.h>

#include <cstring>

#include "host/ObjectMessage.h"
#include "host/RenderPayloads.h"
#include "params/DistanceCurve.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

constexpr int32_t kOpacityCurve = 7, kThicknessCurve = 9, kCalcMode = 12;
constexpr const char* kFrameCountMessage = "Error - Invalid No. of Frames for Line Calculation.";

struct LinesMessage : ::testing::Test {
    standalone::EmbeddedHost host;
    standalone::Comp& comp = host.addComp("C", 100, 100, 10, 1, 2.0);
    standalone::EffectInstance& fx =
        host.applyEffectInstance(host.addLayer(comp, "L", standalone::LayerKind::Solid),
                                 host.findInstalledByDisplayName("Tavrin Lines Renderer")->key);
    ObjectMessage m;
    PF_OutData out;

    void SetUp() override { ASSERT_EQ(InitObjectMessage(m), PF_Err_NONE); }
    void TearDown() override { DisposeObjectMessage(m); }

    // A store of `n` vertices 1 unit apart on x, with no jitter.
    static void Fill(GeometryStore& g, int n) {
        for (int i = 0; i < n; ++i) g.positions.push_back(Vec3f{float(i), 0, 0});
        g.jitter.assign(size_t(n), Vec3f{0, 0, 0});
    }
    void Gathered(int count, int vertices) {
        for (int i = 0; i < count; ++i) {
            ObjectMessage* g = NewObjectMessage();
            Fill(*g->geometry, vertices);
            m.renders->gathered.push_back(g);
        }
    }
    PF_Err Send() {
        return host.callEffect(fx, PF_Cmd_COMPLETELY_GENERAL, comp.frameTime(5), &m, &out);
    }
    const LinesPayload* Payload() const {
        for (const RenderItem& item : m.renders->items)
            if (item.kind == kRenderLines) return &item.as<LinesPayload>();
        return nullptr;
    }
    void SetCurve(int32_t index, float height) {
        DistanceCurve c;
        c.samples.fill(height);
        const PF_Handle h = fx.params[size_t(index)].value.u.arbData;
        ASSERT_NE(h, 0u);
        std::memcpy(host.lockHandle(h), &c, sizeof c);
        host.unlockHandle(h);
    }
};

TEST_F(LinesMessage, NoFetchedFrameIsReportedAndDrawsNoLines) {
    fx.params[kCalcMode].value.u.popup = 3;
    Fill(*m.geometry, 3);
    m.flags |= kMsgNeedsLayers;
    EXPECT_EQ(Send(), PF_Err_NONE);
    EXPECT_STREQ(out.return_msg, kFrameCountMessage);
    EXPECT_EQ(Payload(), nullptr);
}

TEST_F(LinesMessage, ThreeFetchedFramesAreReportedAndDrawNoLines) {
    fx.params[kCalcMode].value.u.popup = 3;
    Fill(*m.geometry, 3);
    Gathered(3, 3);
    m.flags |= kMsgNeedsLayers;
    EXPECT_EQ(Send(), PF_Err_NONE);
    EXPECT_STREQ(out.return_msg, kFrameCountMessage);
    EXPECT_EQ(Payload(), nullptr);
}

TEST_F(LinesMessage, OneFetchedFrameDrawsItsLines) {
    fx.params[kCalcMode].value.u.popup = 2;
    Fill(*m.geometry, 3);
    Gathered(1, 3);
    m.flags |= kMsgNeedsLayers;
    EXPECT_EQ(Send(), PF_Err_NONE);
    EXPECT_STREQ(out.return_msg, "");
    ASSERT_NE(Payload(), nullptr);
    EXPECT_EQ(Payload()->pairCount, 3u);  // (0, 1), (0, 2), (1, 2)
}

TEST_F(LinesMessage, TheFirstPassAsksForTheFramesAndDrawsNothing) {
    fx.params[kCalcMode].value.u.popup = 3;
    Fill(*m.geometry, 3);
    EXPECT_EQ(Send(), PF_Err_NONE);
    EXPECT_EQ(m.flags & kMsgNeedsLayers, kMsgNeedsLayers);
    EXPECT_EQ(m.renders->requests.size(), 2u);  // frame 5 of 20: the interval [0, 10)
    EXPECT_EQ(Payload(), nullptr);
}

TEST_F(LinesMessage, CurvesComeFromTheParameterHandles) {
    Fill(*m.geometry, 2);
    // The defaults the effect filled in: full opacity and thickness at distance 1 of 100.
    ASSERT_EQ(Send(), PF_Err_NONE);
    ASSERT_NE(Payload(), nullptr);
    ASSERT_EQ(Payload()->pairCount, 1u);
    EXPECT_FLOAT_EQ(Payload()->opacity[0], 1.0f);
    EXPECT_FLOAT_EQ(Payload()->thickness[0], 1.0f);
    DisposeObjectMessage(m);
    ASSERT_EQ(InitObjectMessage(m), PF_Err_NONE);
    Fill(*m.geometry, 2);
    SetCurve(kOpacityCurve, 25.0f);
    SetCurve(kThicknessCurve, 10.0f);
    ASSERT_EQ(Send(), PF_Err_NONE);
    ASSERT_NE(Payload(), nullptr);
    ASSERT_EQ(Payload()->pairCount, 1u);
    EXPECT_FLOAT_EQ(Payload()->opacity[0], 0.5f);
    EXPECT_FLOAT_EQ(Payload()->thickness[0], 0.2f);
}

}  // namespace
}  // namespace tv
