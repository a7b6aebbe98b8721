// The lines renderer's parameter step through the embedded host: the frame button, the label it
// shows, and which parameters are hidden.
#include <gtest/gtest.h>

#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

enum : int32_t {
    kColorsFromVertices = 3,
    kLinesColor = 4,
    kOpacityFromVertices = 5,
    kLinesOpacity = 6,
    kCalcMode = 12,
    kFrameButton = 13,
    kFrameNum = 14,
    kInterval = 15,
    kDrawBetween = 16,
    kFirstGroup = 17,
    kSecondGroup = 18,
};

struct LinesInstance {
    standalone::EmbeddedHost& host;
    standalone::Comp& comp;
    standalone::EffectInstance& fx;

    explicit LinesInstance(standalone::EmbeddedHost& h)
        : host(h),
          comp(h.addComp("C", 100, 100, 10, 1, 4.0)),
          fx(h.applyEffectInstance(h.addLayer(comp, "L", standalone::LayerKind::Solid),
                                   h.findInstalledByDisplayName("Tavrin Lines Renderer")->key)) {}
    PF_ParamDef& value(int32_t index) { return fx.params[size_t(index)].value; }
    standalone::ParamState& state(int32_t index) { return fx.params[size_t(index)]; }
    PF_Err changed(int64_t frame, PF_Cmd cmd = PF_Cmd_USER_CHANGED_PARAM) {
        return host.callEffect(fx, cmd, comp.frameTime(frame), nullptr);
    }
    std::string label() const { return host.paramLabel(fx.uid, kFrameButton); }
};

TEST(LinesVisibility, OneFrameLabelsTheButtonWithTheFrameNumber) {
    standalone::EmbeddedHost host;
    LinesInstance lines(host);
    EXPECT_EQ(lines.label(), "None");  // as added
    lines.value(kCalcMode).u.popup = 2;
    lines.value(kFrameNum).u.slider = 7;
    ASSERT_EQ(lines.changed(3), PF_Err_NONE);
    EXPECT_EQ(lines.label(), "Frame 7");
    EXPECT_EQ(lines.state(kFrameButton).changeFlags & 1u, 1u);
    EXPECT_EQ(lines.value(kFrameNum).u.slider, 7);  // the button was not pressed
    EXPECT_FALSE(lines.state(kFrameButton).hidden);
    // Updating the panel does the same.
    lines.value(kFrameNum).u.slider = -12;
    ASSERT_EQ(lines.changed(3, PF_Cmd_UPDATE_PARAMS_UI), PF_Err_NONE);
    EXPECT_EQ(lines.label(), "Frame -12");
}

TEST(LinesVisibility, TheButtonCapturesTheCurrentFrameAndTurnsOff) {
    standalone::EmbeddedHost host;
    LinesInstance lines(host);
    lines.value(kCalcMode).u.popup = 2;
    lines.value(kFrameButton).u.checkbox = 1;
    ASSERT_EQ(lines.changed(23), PF_Err_NONE);
    EXPECT_EQ(lines.value(kFrameButton).u.checkbox, 0);
    EXPECT_EQ(lines.value(kFrameNum).u.slider, 23);
    EXPECT_EQ(lines.state(kFrameNum).changeFlags & 1u, 1u);
    EXPECT_EQ(lines.label(), "Frame 23");  // the captured frame, not the one before
}

TEST(LinesVisibility, OtherModesLeaveTheLabelAndHideTheButton) {
    standalone::EmbeddedHost host;
    LinesInstance lines(host);
    for (int32_t mode : {1, 3}) {
        lines.value(kCalcMode).u.popup = mode;
        lines.value(kFrameNum).u.slider = 9;
        ASSERT_EQ(lines.changed(0), PF_Err_NONE);
        EXPECT_EQ(lines.label(), "None") << mode;
        EXPECT_EQ(lines.state(kFrameButton).changeFlags & 1u, 0u) << mode;
        EXPECT_TRUE(lines.state(kFrameButton).hidden) << mode;
        EXPECT_EQ(lines.state(kInterval).hidden, mode != 3) << mode;
    }
    // The button still captures the frame in the other modes; only the label waits.
    lines.value(kFrameButton).u.checkbox = 1;
    ASSERT_EQ(lines.changed(5), PF_Err_NONE);
    EXPECT_EQ(lines.value(kFrameNum).u.slider, 5);
    EXPECT_EQ(lines.label(), "None");
}

TEST(LinesVisibility, HiddenFlags) {
    standalone::EmbeddedHost host;
    LinesInstance lines(host);
    ASSERT_EQ(lines.changed(0), PF_Err_NONE);  // defaults: both from vertices, All Groups
    EXPECT_TRUE(lines.state(kLinesOpacity).hidden);
    EXPECT_TRUE(lines.state(kLinesColor).hidden);
    EXPECT_TRUE(lines.state(kFrameNum).hidden);
    EXPECT_TRUE(lines.state(kFirstGroup).hidden);
    EXPECT_TRUE(lines.state(kSecondGroup).hidden);
    lines.value(kOpacityFromVertices).u.checkbox = 0;
    lines.value(kColorsFromVertices).u.checkbox = 0;
    lines.value(kDrawBetween).u.popup = 4;
    ASSERT_EQ(lines.changed(0), PF_Err_NONE);
    EXPECT_FALSE(lines.state(kLinesOpacity).hidden);
    EXPECT_FALSE(lines.state(kLinesColor).hidden);
    EXPECT_TRUE(lines.state(kFrameNum).hidden);  // always
    EXPECT_FALSE(lines.state(kFirstGroup).hidden);
    EXPECT_TRUE(lines.state(kSecondGroup).hidden);
    lines.value(kDrawBetween).u.popup = 5;
    ASSERT_EQ(lines.changed(0), PF_Err_NONE);
    EXPECT_FALSE(lines.state(kFirstGroup).hidden);
    EXPECT_FALSE(lines.state(kSecondGroup).hidden);
}

// A host that does not offer to rewrite labels.
class NoLabelHost : public standalone::EmbeddedHost {
  public:
    PF_Err setParamLabel(PF_ProgPtr ref, int32_t index, const std::string& label) override {
        return HostServices::setParamLabel(ref, index, label);
    }
};

TEST(LinesVisibility, AHostWithoutLabelsFailsAsAMissingService) {
    NoLabelHost host;
    LinesInstance lines(host);
    ASSERT_EQ(lines.changed(0), PF_Err_NONE);  // Every Frame: no label to write
    lines.value(kCalcMode).u.popup = 2;
    EXPECT_EQ(lines.changed(0), PF_Err_BAD_CALLBACK_PARAM);
}

}  // namespace
}  // namespace tv
