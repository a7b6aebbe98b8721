// The layers source's parameter table, its hidden rows, the name text taken from the hidden
// popup, the notes about null opacity and the dynamic flags.
#include <gtest/gtest.h>

#include <string>

#include "main/MainParams.h"
#include "host/TextParam.h"
#include "resources/EntryPoints.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

TEST(LayersParams, TableRowsIdsAndDeclaredChoiceCounts) {
    const ParamTable t = LightSourceParams();
    ASSERT_EQ(t.size(), 35u);
    const int32_t disk[] = {0,  28, 34, 35, 1,  30, 4,  6,  5,  36, 7,  32, 33, 8,  9,  10, 11, 12,
                            13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 31, 27, 39};
    for (size_t i = 0; i < t.size(); ++i) {
        EXPECT_EQ(t[i].index, int32_t(i));
        EXPECT_EQ(t[i].diskId, disk[i]) << i;
    }
    // Layer Type: four items of text, two declared.
    EXPECT_EQ(std::string(t[3].text), "Nulls|AV Layers|(-|All 3D Layers");
    EXPECT_EQ(t[3].validMax, 2);
    // The name popup: six items, five declared, default 6, no control in the panel.
    EXPECT_EQ(std::string(t[4].text), "Light|Tavrin|Network|(-|Custom|Anything");
    EXPECT_EQ(t[4].validMax, 5);
    EXPECT_EQ(t[4].def[0], 6);
    EXPECT_EQ(t[4].uiFlags, PF_PUI_NO_ECW_UI);
    EXPECT_EQ(t[5].type, PF_Param_ARBITRARY_DATA);
    EXPECT_EQ(t[5].uiWidth, 350);
    EXPECT_EQ(t[5].uiHeight, 100);
    EXPECT_EQ(t[16].def[0], 3);  // Both
    EXPECT_EQ(t[15].def[0], 500);
    EXPECT_EQ(t[12].def[0], 50);
    EXPECT_EQ(t[12].validMax, 30000);
    EXPECT_EQ(t[33].def[0], 12);
    EXPECT_EQ(t[34].type, PF_Param_COLOR);
    EXPECT_EQ(t[34].def[0], 0);
    for (int i : {1, 2, 3, 4, 6, 8, 9, 11, 32, 33}) EXPECT_EQ(t[i].flags, kParamFlagsSup) << i;
    EXPECT_EQ(t[9].def[0], 0);
    EXPECT_EQ(t[8].def[0], 1);
}

class LayersUi : public ::testing::Test {
  protected:
    standalone::EmbeddedHost host;
    standalone::Comp& comp = host.addComp("c", 640, 480);
    standalone::Layer& self = host.addLayer(comp, "carrier", standalone::LayerKind::Solid);
    standalone::EffectInstance& fx = host.applyEffectInstance(self, "KDL TAVRSRC Lights");

    standalone::ParamState& p(int32_t index) { return fx.params[size_t(index)]; }
    void Update() {
        ASSERT_EQ(host.callEffect(fx, PF_Cmd_UPDATE_PARAMS_UI, A_Time{0, 1}, nullptr), 0);
    }
    std::string Changed(int32_t index) {
        host.takeReports();
        PF_UserChangedParamExtra extra;
        extra.param_index = index;
        EXPECT_EQ(host.callEffect(fx, PF_Cmd_USER_CHANGED_PARAM, A_Time{0, 1}, &extra), 0);
        const std::vector<std::string> r = host.takeReports();
        return r.empty() ? "" : r.back();
    }
    std::string Text() { return ReadTextParam(host, p(5).value.u.arbData); }
};

TEST_F(LayersUi, HiddenRowsFollowTheChoices) {
    Update();
    // Lights, point lights, colour and opacity from the lights.
    for (int i : {3, 4, 7, 9, 10, 11, 12}) EXPECT_TRUE(p(i).hidden) << i;
    for (int i : {2, 8}) EXPECT_FALSE(p(i).hidden) << i;

    p(2).value.u.popup = 2;  // spot lights show the curve rows
    p(6).value.u.checkbox = 0;
    p(8).value.u.checkbox = 0;
    Changed(2);
    for (int i : {7, 10, 11, 12}) EXPECT_FALSE(p(i).hidden) << i;
    p(11).value.u.checkbox = 0;
    Changed(11);
    EXPECT_TRUE(p(12).hidden);

    p(1).value.u.popup = 2;  // 3D layers
    Changed(1);
    for (int i : {2, 8, 11, 12, 4}) EXPECT_TRUE(p(i).hidden) << i;
    for (int i : {3, 9}) EXPECT_FALSE(p(i).hidden) << i;
    EXPECT_FALSE(p(10).hidden);  // Get Opacity from Opacity is off
    p(9).value.u.checkbox = 1;
    Changed(9);
    EXPECT_TRUE(p(10).hidden);
}

TEST_F(LayersUi, NameTextComesFromThePopupOnce) {
    p(4).value.u.popup = 2;
    Update();
    EXPECT_EQ(Text(), "Tavrin");
    // Marked done: a later change keeps the user's text.
    ASSERT_EQ(WriteTextParam(host, fx.uid, 5, "Mine"), 0);
    p(4).value.u.popup = 1;
    Changed(1);
    EXPECT_EQ(Text(), "Mine");
}

TEST_F(LayersUi, NotesAboutNullOpacity) {
    Update();
    EXPECT_EQ(Changed(1), "");  // lights: no note
    p(1).value.u.popup = 2;
    EXPECT_EQ(Changed(1), "");  // opacity from layers is off
    p(9).value.u.checkbox = 1;
    const std::string nine = Changed(9);
    EXPECT_EQ(nine.rfind("Please Note:\nNull Objects in After Effects", 0), 0u) << nine;
    const std::string one = Changed(1);
    EXPECT_EQ(one.rfind("Please Note:\nYou have 'Get Opacity from Layer' selected on.", 0), 0u);
    EXPECT_EQ(Changed(3), one);
    EXPECT_EQ(Changed(6), "");  // other parameters say nothing
    p(3).value.u.popup = 2;     // AV layers: no note
    EXPECT_EQ(Changed(3), "");
}

TEST_F(LayersUi, NonParamVaryOnlyFor3DLayersOnOlderHosts) {
    // This host speaks API 13.28: the flag is cleared whatever the type.
    PF_OutData out{};
    out.out_flags = PF_OutFlag_NON_PARAM_VARY;
    p(1).value.u.popup = 2;
    ASSERT_EQ(host.callEffect(fx, PF_Cmd_QUERY_DYNAMIC_FLAGS, A_Time{0, 1}, nullptr, &out), 0);
    EXPECT_EQ(out.out_flags & PF_OutFlag_NON_PARAM_VARY, 0u);

    // An older host, called directly: set with 3D layers, cleared with lights.
    PF_InData in;
    in.pica_basicP = &host;
    in.effect_ref = fx.uid;
    in.time_scale = 1;
    in.version = {13, 2};
    out.out_flags = 0;
    ASSERT_EQ(
        LightSourceEntryPointFunc(PF_Cmd_QUERY_DYNAMIC_FLAGS, &in, &out, nullptr, nullptr, nullptr),
        0);
    EXPECT_NE(out.out_flags & PF_OutFlag_NON_PARAM_VARY, 0u);
    p(1).value.u.popup = 1;
    LightSourceEntryPointFunc(PF_Cmd_QUERY_DYNAMIC_FLAGS, &in, &out, nullptr, nullptr, nullptr);
    EXPECT_EQ(out.out_flags & PF_OutFlag_NON_PARAM_VARY, 0u);
}

}  // namespace
}  // namespace tv
