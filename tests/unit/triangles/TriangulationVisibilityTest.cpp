// The triangulation renderer's parameter step: the frame button and its label, the renamed
// group popup, and which parameters are hidden in each mode.
#include <gtest/gtest.h>

#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

enum : int32_t {
    kRenderMode = 1,
    kMaxTriangles = 2,
    kColorsFromVertices = 4,
    kColorMode = 5,
    kTrianglesColor = 6,
    kOpacityFromVertices = 7,
    kTrianglesOpacity = 8,
    kCalcMode = 10,
    kFrameButton = 11,
    kFrameNum = 12,
    kInterval = 13,
    kEffectGroup = 14,
    kDrawBetween = 15,
    kFirstGroup = 16,
    kSecondGroup = 17,
};

struct TriangulationInstance {
    standalone::EmbeddedHost& host;
    standalone::Comp& comp;
    standalone::EffectInstance& fx;

    explicit TriangulationInstance(standalone::EmbeddedHost& h)
        : host(h),
          comp(h.addComp("C", 100, 100, 10, 1, 4.0)),
          fx(h.applyEffectInstance(
              h.addLayer(comp, "L", standalone::LayerKind::Solid),
              h.findInstalledByDisplayName("Tavrin Triangulation Renderer")->key)) {}
    PF_ParamDef& value(int32_t index) { return fx.params[size_t(index)].value; }
    standalone::ParamState& state(int32_t index) { return fx.params[size_t(index)]; }
    bool hidden(int32_t index) { return state(index).hidden; }
    PF_Err changed(int64_t frame = 0, PF_Cmd cmd = PF_Cmd_USER_CHANGED_PARAM) {
        return host.callEffect(fx, cmd, comp.frameTime(frame), nullptr);
    }
    std::string label() const { return host.paramLabel(fx.uid, kFrameButton); }
    std::string firstName() const { return host.paramName(fx.uid, kFirstGroup); }
};

TEST(TriangulationVisibility, TheButtonCapturesTheFrameAndTheLabelShowsIt) {
    standalone::EmbeddedHost host;
    TriangulationInstance t(host);
    EXPECT_EQ(t.label(), "None");
    t.value(kCalcMode).u.popup = 2;
    t.value(kFrameButton).u.checkbox = 1;
    ASSERT_EQ(t.changed(17), PF_Err_NONE);
    EXPECT_EQ(t.value(kFrameButton).u.checkbox, 0);
    EXPECT_EQ(t.value(kFrameNum).u.slider, 17);
    EXPECT_EQ(t.state(kFrameNum).changeFlags & 1u, 1u);
    EXPECT_EQ(t.label(), "Frame 17");
    t.value(kFrameNum).u.slider = -4;
    ASSERT_EQ(t.changed(3, PF_Cmd_UPDATE_PARAMS_UI), PF_Err_NONE);
    EXPECT_EQ(t.label(), "Frame -4");
    // Other modes leave the label as it was.
    t.value(kCalcMode).u.popup = 3;
    t.value(kFrameNum).u.slider = 9;
    ASSERT_EQ(t.changed(), PF_Err_NONE);
    EXPECT_EQ(t.label(), "Frame -4");
}

TEST(TriangulationVisibility, TheFirstGroupIsRenamedByTheGroupMode) {
    standalone::EmbeddedHost host;
    TriangulationInstance t(host);
    EXPECT_EQ(t.firstName(), "First Group");  // as added
    ASSERT_EQ(t.changed(), PF_Err_NONE);
    EXPECT_EQ(t.firstName(), "First Object Group");
    t.value(kDrawBetween).u.popup = 4;
    ASSERT_EQ(t.changed(), PF_Err_NONE);
    EXPECT_EQ(t.firstName(), "Object Group");
    t.value(kRenderMode).u.popup = 3;  // only nearest triangles use one group
    ASSERT_EQ(t.changed(), PF_Err_NONE);
    EXPECT_EQ(t.firstName(), "First Object Group");
    t.value(kRenderMode).u.popup = 1;
    t.value(kDrawBetween).u.popup = 5;
    ASSERT_EQ(t.changed(), PF_Err_NONE);
    EXPECT_EQ(t.firstName(), "First Object Group");
}

TEST(TriangulationVisibility, HiddenInNearestTriangles) {
    standalone::EmbeddedHost host;
    TriangulationInstance t(host);
    ASSERT_EQ(t.changed(), PF_Err_NONE);  // defaults: mode 1, all groups, every frame
    EXPECT_FALSE(t.hidden(kMaxTriangles));
    EXPECT_TRUE(t.hidden(kTrianglesOpacity));
    EXPECT_TRUE(t.hidden(kTrianglesColor));
    EXPECT_FALSE(t.hidden(kColorMode));
    EXPECT_TRUE(t.hidden(kEffectGroup));
    EXPECT_FALSE(t.hidden(kDrawBetween));
    EXPECT_TRUE(t.hidden(kFirstGroup));
    EXPECT_TRUE(t.hidden(kSecondGroup));
    EXPECT_TRUE(t.hidden(kFrameNum));
    EXPECT_TRUE(t.hidden(kFrameButton));
    EXPECT_TRUE(t.hidden(kInterval));
    t.value(kDrawBetween).u.popup = 4;
    ASSERT_EQ(t.changed(), PF_Err_NONE);
    EXPECT_FALSE(t.hidden(kFirstGroup));
    EXPECT_TRUE(t.hidden(kSecondGroup));
    t.value(kDrawBetween).u.popup = 5;
    ASSERT_EQ(t.changed(), PF_Err_NONE);
    EXPECT_FALSE(t.hidden(kFirstGroup));
    EXPECT_FALSE(t.hidden(kSecondGroup));
}

TEST(TriangulationVisibility, HiddenInTheQhullModes) {
    standalone::EmbeddedHost host;
    TriangulationInstance t(host);
    for (int32_t mode : {2, 3}) {
        t.value(kRenderMode).u.popup = mode;
        t.value(kDrawBetween).u.popup = 5;
        ASSERT_EQ(t.changed(), PF_Err_NONE);
        EXPECT_TRUE(t.hidden(kMaxTriangles)) << mode;
        EXPECT_FALSE(t.hidden(kEffectGroup)) << mode;
        EXPECT_TRUE(t.hidden(kDrawBetween)) << mode;
        EXPECT_TRUE(t.hidden(kFirstGroup)) << mode;
        EXPECT_TRUE(t.hidden(kSecondGroup)) << mode;
    }
}

TEST(TriangulationVisibility, ColourOpacityAndTimeControls) {
    standalone::EmbeddedHost host;
    TriangulationInstance t(host);
    t.value(kColorsFromVertices).u.checkbox = 0;
    t.value(kOpacityFromVertices).u.checkbox = 0;
    t.value(kCalcMode).u.popup = 2;
    ASSERT_EQ(t.changed(), PF_Err_NONE);
    EXPECT_FALSE(t.hidden(kTrianglesColor));
    EXPECT_TRUE(t.hidden(kColorMode));
    EXPECT_FALSE(t.hidden(kTrianglesOpacity));
    EXPECT_FALSE(t.hidden(kFrameButton));
    EXPECT_TRUE(t.hidden(kInterval));
    EXPECT_TRUE(t.hidden(kFrameNum));  // always
    t.value(kCalcMode).u.popup = 3;
    ASSERT_EQ(t.changed(), PF_Err_NONE);
    EXPECT_TRUE(t.hidden(kFrameButton));
    EXPECT_FALSE(t.hidden(kInterval));
}

// A host that offers no renaming of streams.
class NoRenameHost : public standalone::EmbeddedHost {
  public:
    PF_Err setParamName(PF_ProgPtr ref, int32_t index, const std::string& name) override {
        return HostServices::setParamName(ref, index, name);
    }
};

TEST(TriangulationVisibility, AMissingRenameServiceIsReturnedAsItsCode) {
    NoRenameHost host;
    TriangulationInstance t(host);
    EXPECT_EQ(t.changed(), PF_Err_BAD_CALLBACK_PARAM);
}

}  // namespace
}  // namespace tv
