#include <gtest/gtest.h>

#include "engines/gl/GlGlobals.h"

#include <ctime>
#include <set>
#include <string>
#include <vector>

#include "main/MainParams.h"
#include "resources/EntryPoints.h"
#include "standalone/Document.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

using standalone::EffectInstance;
using standalone::EmbeddedHost;

// The main effect's table as the product documents it, written out independently of the code.
struct Row {
    int32_t index;
    int32_t diskId;
    PF_ParamType type;
    const char* name;
    double def;
    double validMin, validMax, sliderMin, sliderMax;
    bool sup;
};

constexpr PF_ParamType kButton = PF_Param_BUTTON, kGroup = PF_Param_GROUP_START,
                       kEnd = PF_Param_GROUP_END, kCheck = PF_Param_CHECKBOX,
                       kPopup = PF_Param_POPUP, kFloat = PF_Param_FLOAT_SLIDER,
                       kInt = PF_Param_SLIDER, kLayer = PF_Param_LAYER,
                       kArb = PF_Param_ARBITRARY_DATA;

const Row kRows[] = {
    {0, 0, kLayer, "input", 0, 0, 0, 0, 0, false},
    {1, 38, kButton, "Toggle Tavrin Object Panel", 0, 0, 0, 0, 0, true},
    {2, 1, kGroup, "Shading", 0, 0, 0, 0, 0, false},
    {3, 2, kCheck, "Use Lights for Shading", 0, 0, 0, 0, 0, true},
    {4, 3, kArb, "Light(s) Name Begins with", 0, 0, 0, 0, 0, false},
    {5, 4, kPopup, "Shading Mode", 2, 0, 0, 0, 0, false},
    {6, 5, kFloat, "Shading Radius", 500, 0, 1000000, 0, 100, false},
    {7, 6, kFloat, "Shading Falloff", 500, 0, 1000000, 0, 100, false},
    {8, 7, kEnd, "", 0, 0, 0, 0, 0, false},
    {9, 8, kCheck, "Unified Rendering", 0, 0, 0, 0, 0, true},
    {10, 34, kGroup, "Depth of Field", 0, 0, 0, 0, 0, false},
    {11, 9, kPopup, "Depth of Field", 1, 0, 0, 0, 0, true},
    {12, 11, kFloat, "Blur Factor", 1, 0, 1000, 0, 1, false},
    {13, 35, kEnd, "", 0, 0, 0, 0, 0, false},
    {14, 30, kGroup, "Motion Blur", 0, 0, 0, 0, 0, false},
    {15, 32, kPopup, "Render Motion Blur", 2, 0, 0, 0, 0, true},
    {16, 18, kFloat, "Shutter Angle", 180, 0, 1000000, 0, 360, false},
    {17, 19, kFloat, "Shutter Phase", -180, -1000000, 1000000, -180, 180, false},
    {18, 40, kInt, "Motion Blur Samples", 16, 1, 2048, 1, 128, true},
    {19, 31, kEnd, "", 0, 0, 0, 0, 0, false},
    {20, 21, kGroup, "Visibility", 0, 0, 0, 0, 0, false},
    {21, 39, kPopup, "Polygon Visibility", 1, 0, 0, 0, 0, false},
    {22, 22, kFloat, "Near Vanish", 10, 1, 1000000, 1, 200, false},
    {23, 23, kFloat, "Near Fade", 200, 1, 1000000, 100, 200, false},
    {24, 24, kFloat, "Far Fade", 25000, 1, 1000000, 20000, 30000, false},
    {25, 25, kFloat, "Far Vanish", 30000, 1, 1000000, 30000, 50000, false},
    {26, 26, kLayer, "Depth Map for Occlusion", 0, 0, 0, 0, 0, false},
    {27, 27, kFloat, "White Pixels Depth", 0, 0, 1000000, 0, 1000, false},
    {28, 28, kFloat, "Dark Pixels Depth", 10000, 0, 1000000, 10000, 20000, false},
    {29, 29, kEnd, "", 0, 0, 0, 0, 0, false},
    {30, 12, kPopup, "Render Quality", 1, 0, 0, 0, 0, true},
    {31, 14, kButton, "Export SVG", 0, 0, 0, 0, 0, true},
    {32, 36, kButton, "Refresh Cache", 0, 0, 0, 0, 0, true},
    {33, 37, kInt, "Re-Render", 0, -2147483648.0, 2147483647.0, 0, 100, true},
};

TEST(MainParams, TheTableHas34RowsWithTheirDiskIdsKindsRangesAndFlags) {
    const ParamTable table = MainEffectParams();
    ASSERT_EQ(table.size(), 34u);
    for (const Row& row : kRows) {
        const ParamSpec& s = table[size_t(row.index)];
        SCOPED_TRACE(row.index);
        EXPECT_EQ(s.index, row.index);
        if (row.index) {
            EXPECT_EQ(s.diskId, row.diskId);
        }
        EXPECT_EQ(s.type, row.type);
        EXPECT_STREQ(s.name, row.name);
        if (row.type == kFloat || row.type == kInt) {
            EXPECT_EQ(s.validMin, row.validMin);
            EXPECT_EQ(s.validMax, row.validMax);
            EXPECT_EQ(s.sliderMin, row.sliderMin);
            EXPECT_EQ(s.sliderMax, row.sliderMax);
        }
        if (row.type == kFloat || row.type == kInt || row.type == kPopup || row.type == kCheck) {
            EXPECT_EQ(s.def[0], row.def);
        }
        EXPECT_EQ(s.flags == kParamFlagsSup, row.sup);
    }
    std::set<int32_t> disk;
    for (size_t i = 1; i < table.size(); ++i) EXPECT_TRUE(disk.insert(table[i].diskId).second);
}

TEST(MainParams, TextsAndUiFlagsOfTheSpecialRows) {
    const ParamTable t = MainEffectParams();
    EXPECT_STREQ(t[1].text, "Open/Close");
    EXPECT_STREQ(t[3].text, "");
    EXPECT_STREQ(t[5].text, "One Side|Both Sides");
    EXPECT_STREQ(t[9].text, "Required for DoF & Motion Blur (GPU)");
    EXPECT_STREQ(t[11].text, "Off|Camera Settings");
    EXPECT_STREQ(t[15].text, "Off|Comp Settings|Custom");
    EXPECT_STREQ(t[21].text, "Front & Back Facing|Front Facing|Back Facing");
    EXPECT_STREQ(t[30].text, "1x|2x|3x|4x|5x|6x|7x|8x");
    EXPECT_STREQ(t[31].text, "Export SVG");
    EXPECT_STREQ(t[32].text, "Refresh");
    EXPECT_EQ(t[33].uiFlags, 0x208u);
    EXPECT_EQ(t[4].arbId, 3);
    EXPECT_EQ(t[4].arbRefcon, 0x41537472u);  // "AStr"
    EXPECT_EQ(t[4].uiFlags, 0x41u);
    EXPECT_EQ(t[4].uiWidth, 350);
    EXPECT_EQ(t[4].uiHeight, 100);
    // Defaults above the slider's top that a user may still type up to the valid maximum.
    EXPECT_GT(t[6].def[0], t[6].sliderMax);
    EXPECT_GT(t[7].def[0], t[7].sliderMax);
    // "Shutter Phase" starts at the slider's low end; "Dark Pixels Depth" may go below it.
    EXPECT_EQ(t[17].def[0], t[17].sliderMin);
    EXPECT_LT(t[28].validMin, t[28].sliderMin);
    // "Depth of Field" twice: the group and the popup inside it.
    EXPECT_STREQ(t[10].name, t[11].name);
}

// A host whose hidden-flag writes are recorded and can fail at one index.
class RecordingHost : public EmbeddedHost {
  public:
    PF_Err setParamHidden(PF_ProgPtr ref, int32_t index, bool hidden) override {
        calls.push_back(index);
        if (index == failAt) return PF_Err_OUT_OF_MEMORY;
        return EmbeddedHost::setParamHidden(ref, index, hidden);
    }
    std::vector<int32_t> calls;
    int32_t failAt = -1;
};

struct MainFixture : ::testing::Test {
    RecordingHost host;
    EffectInstance* fx = nullptr;

    void SetUp() override {
        auto& comp = host.addComp("C", 64, 64);
        auto& layer = host.addLayer(comp, "L", standalone::LayerKind::Solid);
        fx = &host.applyEffectInstance(layer, host.findInstalledByDisplayName("Tavrin")->key);
    }
    PF_Err changed(int32_t index) {
        PF_UserChangedParamExtra extra;
        extra.param_index = index;
        return host.callEffect(*fx, PF_Cmd_USER_CHANGED_PARAM, A_Time{0, 30}, &extra);
    }
    PF_Err updateUi() {
        return host.callEffect(*fx, PF_Cmd_UPDATE_PARAMS_UI, A_Time{0, 30}, nullptr);
    }
    bool hidden(int32_t index) const { return fx->params[size_t(index)].hidden; }
    void set(int32_t index, int32_t value) {
        PF_ParamDef d = fx->params[size_t(index)].value;
        d.u.slider = value;  // checkbox and popup share the int32 storage
        fx->params[size_t(index)].value = d;
    }
};

TEST_F(MainFixture, ParamsSetupAddsTheTableThroughTheHost) {
    const auto* installed = host.installedEffect(fx->key);
    ASSERT_EQ(installed->params.size(), 34u);
    for (size_t i = 0; i < 34; ++i) EXPECT_EQ(installed->params[i].diskId, kRows[i].diskId);
    EXPECT_EQ(fx->params.size(), 34u);
}

TEST_F(MainFixture, FirstUpdateAppliesTheDefaultVisibility) {
    ASSERT_EQ(updateUi(), PF_Err_NONE);
    const std::vector<int32_t> order = {12, 4, 5, 6, 7, 16, 17, 30, 10, 14, 20, 33};
    EXPECT_EQ(host.calls, order);
    // Defaults: depth of field off, lights off, motion blur from the comp, unified off.
    for (int32_t i : order) EXPECT_TRUE(hidden(i)) << i;
    for (int32_t i : {1, 2, 3, 9, 11, 15, 18, 21, 22, 26, 31, 32}) EXPECT_FALSE(hidden(i)) << i;
}

TEST_F(MainFixture, UpdateRunsOnlyOnceUntilTheRecordIsFlattened) {
    ASSERT_EQ(updateUi(), PF_Err_NONE);
    host.calls.clear();
    set(kMainUseLights, 1);
    ASSERT_EQ(updateUi(), PF_Err_NONE);
    EXPECT_TRUE(host.calls.empty());
    EXPECT_TRUE(hidden(kMainLightNames));
    // Flattening (a save) clears the flag: the next update applies visibility again.
    ASSERT_EQ(host.callEffect(*fx, PF_Cmd_SEQUENCE_FLATTEN, A_Time{0, 1}, nullptr), PF_Err_NONE);
    ASSERT_EQ(updateUi(), PF_Err_NONE);
    EXPECT_EQ(host.calls.size(), 12u);
    EXPECT_FALSE(hidden(kMainLightNames));
}

TEST_F(MainFixture, EachRuleFollowsItsSwitch) {
    set(kMainDof, 2);
    set(kMainUseLights, 1);
    set(kMainMotionBlur, 3);
    set(kMainUnified, 1);  // set directly: the change handler would turn it off without GL
    ASSERT_EQ(changed(kMainShadingRadius), PF_Err_NONE);  // any other index runs visibility
    for (int32_t i : {12, 4, 5, 6, 7, 16, 17, 30, 10, 14, 20}) EXPECT_FALSE(hidden(i)) << i;
    EXPECT_TRUE(hidden(kMainReRender));
    set(kMainDof, 1);
    set(kMainMotionBlur, 2);
    ASSERT_EQ(changed(kMainDof), PF_Err_NONE);
    EXPECT_TRUE(hidden(kMainBlurFactor));
    EXPECT_TRUE(hidden(kMainShutterAngle));
    EXPECT_TRUE(hidden(kMainShutterPhase));
    set(kMainMotionBlur, 1);  // "Off" is not "Custom" either
    ASSERT_EQ(changed(kMainMotionBlur), PF_Err_NONE);
    EXPECT_TRUE(hidden(kMainShutterAngle));
}

TEST_F(MainFixture, AHiddenFlagErrorStopsTheRulesAndIsTheResult) {
    host.failAt = kMainShadingMode;
    EXPECT_EQ(changed(kMainNearFade), PF_Err_OUT_OF_MEMORY);
    EXPECT_EQ(host.calls, (std::vector<int32_t>{12, 4, 5}));
}

TEST_F(MainFixture, RefreshCacheWritesTheTimeToReRender) {
    fx->params[kMainReRender].changeFlags = 0;
    const auto before = static_cast<int32_t>(std::time(nullptr));
    ASSERT_EQ(changed(kMainRefreshCache), PF_Err_NONE);
    const auto after = static_cast<int32_t>(std::time(nullptr));
    const standalone::ParamState& r = fx->params[kMainReRender];
    EXPECT_GE(r.value.u.slider, before);
    EXPECT_LE(r.value.u.slider, after);
    EXPECT_EQ(r.changeFlags & 1u, 1u);
    EXPECT_EQ(r.value.param_type, PF_Param_SLIDER);
    EXPECT_TRUE(hidden(kMainReRender));
}

// Behaves as a machine without GL for one test; the GL context is made at the first request.
struct NoGpu {
    NoGpu() { gl::SetGpuAllowed(false); }
    ~NoGpu() { gl::SetGpuAllowed(true); }
};

TEST_F(MainFixture, UnifiedRenderingWithoutGlIsTurnedOffWithTheMessageEachTime) {
    NoGpu noGpu;
    host.takeReports();
    for (int round = 0; round < 2; ++round) {
        set(kMainUnified, 1);
        ASSERT_EQ(changed(kMainUnified), PF_Err_NONE);
        EXPECT_EQ(fx->params[kMainUnified].value.u.checkbox, 0);
        const auto reports = host.takeReports();
        ASSERT_EQ(reports.size(), 1u) << round;
        EXPECT_EQ(reports[0],
                  "This GPU is not compatible.\nOpenGL 3.2 or greater required. Turning off "
                  "Unified Rendering.");
        EXPECT_EQ(std::string(kNoGpuMessage), reports[0]);
        // Visibility ran after the reset: the unified-only groups are hidden.
        EXPECT_TRUE(hidden(kMainRenderQuality));
    }
    // Turning it off says nothing.
    ASSERT_EQ(changed(kMainUnified), PF_Err_NONE);
    EXPECT_TRUE(host.takeReports().empty());
}

TEST_F(MainFixture, UnifiedRenderingWithGlStaysOnSilently) {
    host.takeReports();
    set(kMainUnified, 1);
    ASSERT_EQ(changed(kMainUnified), PF_Err_NONE);
    EXPECT_EQ(fx->params[kMainUnified].value.u.checkbox, 1);
    EXPECT_TRUE(host.takeReports().empty());
}

TEST_F(MainFixture, NoHostServicesMeansBadCallbackParam) {
    PF_InData in;
    in.pica_basicP = nullptr;
    in.effect_ref = fx->uid;
    PF_OutData out;
    PF_UserChangedParamExtra extra;
    extra.param_index = kMainRefreshCache;
    const auto* installed = host.installedEffect(fx->key);
    EXPECT_EQ(installed->entry(PF_Cmd_USER_CHANGED_PARAM, &in, &out, nullptr, nullptr, &extra),
              PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_EQ(installed->entry(PF_Cmd_UPDATE_PARAMS_UI, &in, &out, nullptr, nullptr, nullptr),
              PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_EQ(PF_Err_BAD_CALLBACK_PARAM, 516);
}

TEST(MainParamsDocument, InfoShowsVisibilityAfterLoading) {
    // Loading runs UPDATE_PARAMS_UI on each instance, as a host does when it opens a project.
    EmbeddedHost host;
    standalone::LoadDocumentText(
        R"({"tavrin": 1, "comps": [{"layers": [{"solid": {}, "effects": [{"effect": "Tavrin",
            "params": {"Use Lights for Shading": true, "Depth of Field#2": "Camera Settings",
                       "Render Motion Blur": "Custom"}}]}]}]})",
        "doc.json", host);
    const EffectInstance& fx = *host.project().comps[0]->layers[0]->effects[0];
    EXPECT_FALSE(fx.params[kMainLightNames].hidden);
    EXPECT_FALSE(fx.params[kMainBlurFactor].hidden);
    EXPECT_FALSE(fx.params[kMainShutterAngle].hidden);
    EXPECT_TRUE(fx.params[kMainRenderQuality].hidden);
    EXPECT_TRUE(fx.params[kMainReRender].hidden);
}

}  // namespace
}  // namespace tv
