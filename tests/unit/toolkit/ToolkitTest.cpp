// The toolkit: menus built from the installed effects, a choice queued for idle time that adds the
// effect after the last of its kind, and the menus returning to "None".
#include <gtest/gtest.h>

#include <algorithm>

#include <string>
#include <vector>

#include "host/EffectTemplate.h"
#include "main/MainParams.h"
#include "host/ParamTable.h"
#include "main/Toolkit.h"
#include "resources/EntryPoints.h"
#include "standalone/CompRenderer.h"
#include "standalone/Document.h"

namespace tv {
namespace {

TEST(Toolkit, MenusListTheInstalledEffectsOfEachKind) {
    const ParamTable t = TavrKitParams();
    ASSERT_EQ(t.size(), 4u);
    EXPECT_STREQ(t[1].name, "Add Geometry");
    EXPECT_STREQ(t[1].text, "None|Layers|Paths|OBJ|Primitives|Instances|Slicer");
    EXPECT_STREQ(t[2].text,
                 "None|Noise|Spherical Field|Container|Transform|Color Map|Shade Effector|"
                 "Sound Effector");
    EXPECT_STREQ(t[3].text, "None|Points|Lines|Facets|Triangulation|Beams");
    for (int i = 1; i <= 3; ++i) {
        EXPECT_EQ(t[size_t(i)].def[0], 1);
        EXPECT_EQ(t[size_t(i)].flags & 0x40u, 0x40u);  // supervised
    }
    EXPECT_STREQ(ToolkitMenuName("KDL TAVRSRC Tracer"), "Slicer");
    EXPECT_STREQ(ToolkitMenuName("KDL SOMETHING ELSE"), "Not Found");
}

struct Stack {
    standalone::EmbeddedHost host;
    standalone::Layer* layer = nullptr;
    standalone::EffectInstance* kit = nullptr;
    explicit Stack(bool idle = true) {
        host.setIdleSuiteAvailable(idle);
        standalone::LoadDocumentText(R"({"tavrin": 1, "comps": [{"name": "C", "layers": [
          {"name": "L", "solid": {}, "effects": [{"effect": "Tavrin"},
            {"effect": "Tavrin Primitives Object"}, {"effect": "Tavrin Points Renderer"},
            {"effect": "Tavrin Toolkit"}]}]}]})",
                                     "doc.json", host);
        layer = host.project().comps[0]->layers[0].get();
        kit = layer->effects[3].get();
    }
    std::vector<std::string> names() {
        std::vector<std::string> out;
        for (const auto& e : layer->effects) out.push_back(host.installedEffect(e->key)->matchName);
        return out;
    }
    PF_Err choose(int32_t index, int32_t value) {
        kit->params[size_t(index)].value.u.popup = value;
        PF_UserChangedParamExtra extra;
        extra.param_index = index;
        return host.callEffect(*kit, PF_Cmd_USER_CHANGED_PARAM, A_Time{0, 30}, &extra);
    }
};

TEST(Toolkit, AnEffectorLandsAfterTheSourcesAndTheMenuReturnsToNone) {
    Stack s;
    ASSERT_EQ(s.choose(2, 2), PF_Err_NONE);  // "Noise"
    EXPECT_EQ(s.kit->params[2].value.u.popup, 1);
    EXPECT_EQ(s.names().size(), 4u);  // queued, not yet added
    s.host.runIdleTasks();
    const std::vector<std::string> want = {"KDL TAVRUS TWO", "KDL TAVRSRC Primitives",
                                           "KDL TAVREFF Noise", "KDL TAVRREN Points",
                                           "KDL TAVRKIT"};
    EXPECT_EQ(s.names(), want);
}

TEST(Toolkit, NoneQueuesNothingAndSeveralMenusGoInTheOrderTwoOneThree) {
    Stack s;
    ASSERT_EQ(s.choose(1, 1), PF_Err_NONE);
    s.host.runIdleTasks();
    EXPECT_EQ(s.names().size(), 4u);
    s.kit->params[1].value.u.popup = 5;      // "Primitives" again
    s.kit->params[3].value.u.popup = 3;      // "Lines"
    ASSERT_EQ(s.choose(2, 5), PF_Err_NONE);  // "Transform"
    for (int i = 1; i <= 3; ++i) EXPECT_EQ(s.kit->params[size_t(i)].value.u.popup, 1) << i;
    s.host.runIdleTasks();
    const std::vector<std::string> want = {"KDL TAVRUS TWO",
                                           "KDL TAVRSRC Primitives",
                                           "KDL TAVRSRC Primitives",
                                           "KDL TAVREFF Transform",
                                           "KDL TAVRREN Points",
                                           "KDL TAVRREN Lines",
                                           "KDL TAVRKIT"};
    EXPECT_EQ(s.names(), want);
}

TEST(Toolkit, WithoutTheIdleSuiteItSaysSoAndTheMenuStillReturns) {
    Stack s(false);
    PF_OutData out;
    s.kit->params[3].value.u.popup = 2;
    PF_UserChangedParamExtra extra;
    extra.param_index = 3;
    ASSERT_EQ(s.host.callEffect(*s.kit, PF_Cmd_USER_CHANGED_PARAM, A_Time{0, 30}, &extra, &out),
              PF_Err_NONE);
    EXPECT_STREQ(out.return_msg, "No Tavr Idle Suite Found! Cannot Add to Stack.");
    EXPECT_EQ(s.kit->params[3].value.u.popup, 1);
}

// The suite is fetched on every change: a menu set back to "None" still says it is missing.
TEST(Toolkit, WithoutTheIdleSuiteEveryChangeSaysSo) {
    Stack s(false);
    PF_OutData out;
    PF_UserChangedParamExtra extra;
    extra.param_index = 1;
    ASSERT_EQ(s.host.callEffect(*s.kit, PF_Cmd_USER_CHANGED_PARAM, A_Time{0, 30}, &extra, &out),
              PF_Err_NONE);
    EXPECT_STREQ(out.return_msg, "No Tavr Idle Suite Found! Cannot Add to Stack.");
    EXPECT_EQ(s.names().size(), 4u);
}

TEST(Toolkit, AFailedReleaseOfTheIdleSuiteIsSaidAndTheChoiceStands) {
    Stack s;
    s.host.setIdleReleaseFails(true);
    s.host.takeDiagnostics();
    ASSERT_EQ(s.choose(3, 2), PF_Err_NONE);
    const auto lines = s.host.takeDiagnostics();
    EXPECT_NE(std::find(lines.begin(), lines.end(), "Couldn't release Tavr Idle suite."),
              lines.end());
    s.host.runIdleTasks();
    EXPECT_EQ(s.names().size(), 5u);  // the queued task still ran
}

TEST(Toolkit, ADocumentThatChoosesAddsTheEffect) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(R"({"tavrin": 1, "comps": [{"name": "C", "layers": [
      {"name": "L", "solid": {}, "effects": [{"effect": "Tavrin"},
        {"effect": "Tavrin Primitives Object"},
        {"effect": "Tavrin Toolkit", "params": {"Add Renderer": "Beams"}}]}]}]})",
                                 "doc.json", host);
    const auto& effects = host.project().comps[0]->layers[0]->effects;
    ASSERT_EQ(effects.size(), 4u);
    EXPECT_EQ(host.installedEffect(effects[2]->key)->matchName, "KDL TAVRREN Beams");
    EXPECT_EQ(effects[3]->params[3].value.u.popup, 1);
}

// A renderer from another module, installed beside this one's.
ParamTable NoParams() {
    return {};
}
const EffectInfo kExtraInfo{
    0,    "Extra Renderer", "KDL TAVRREN Extra", "", nullptr, 0, 0, EffectRole::Renderer, "",
    true, &NoParams};
PF_Err ExtraEntry(PF_Cmd cmd, PF_InData* in, PF_OutData* out, PF_ParamDef* params[],
                  PF_LayerDef* output, void* extra) {
    return SubEffectEntry(kExtraInfo, SubEffectHandlers{}, cmd, in, out, params, output, extra);
}

TEST(Toolkit, TheMenusAreBuiltFromWhatIsInstalledAtGlobalSetup) {
    standalone::EmbeddedHost host;
    const AEGP_InstalledEffectKey extra =
        host.registerEffect("Extra Renderer", "KDL TAVRREN Extra", &ExtraEntry);
    standalone::LoadDocumentText(R"({"tavrin": 1, "comps": [{"name": "C", "layers": [
      {"name": "L", "solid": {}, "effects": [{"effect": "Tavrin"},
        {"effect": "Tavrin Primitives Object"}, {"effect": "Tavrin Toolkit"}]}]}]})",
                                 "doc.json", host);
    const standalone::InstalledEffect* kit = host.findInstalledByMatchName("KDL TAVRKIT");
    ASSERT_TRUE(kit);
    // The global handle: 64 bytes, holding the lists the menus were built from.
    ASSERT_TRUE(kit->globalData);
    EXPECT_EQ(host.handleBytes(kit->globalData).size(), 64u);
    ASSERT_EQ(kit->params.size(), 4u);
    EXPECT_STREQ(kit->params[3].text, "None|Points|Lines|Facets|Triangulation|Beams|Not Found");
    EXPECT_STREQ(kit->params[1].text, "None|Layers|Paths|OBJ|Primitives|Instances|Slicer");
    // Its last entry adds that effect.
    auto& layer = *host.project().comps[0]->layers[0];
    auto& fx = *layer.effects[2];
    fx.params[3].value.u.popup = 7;
    PF_UserChangedParamExtra change;
    change.param_index = 3;
    ASSERT_EQ(host.callEffect(fx, PF_Cmd_USER_CHANGED_PARAM, A_Time{0, 30}, &change), 0);
    host.runIdleTasks();
    ASSERT_EQ(layer.effects.size(), 4u);
    EXPECT_EQ(layer.effects[2]->key, extra);
}

TEST(Toolkit, ItsRenderIsAPlainCopyOfItsInput) {
    Stack s;
    standalone::LayerWorld input(8, 4, 8), output(8, 4, 8);
    for (size_t i = 0; i < input.bytes.size(); ++i) input.bytes[i] = uint8_t(i * 7 + 1);
    PF_ParamDef inputParam{};
    inputParam.u.ld = &input.world;
    PF_ParamDef* params[1] = {&inputParam};
    ASSERT_EQ(s.host.callEffect(*s.kit, PF_Cmd_RENDER, A_Time{0, 30}, nullptr, nullptr, params,
                                &output.world),
              PF_Err_NONE);
    EXPECT_EQ(output.bytes, input.bytes);
    // The smart render through the shared handler: the same copy.
    standalone::LayerWorld smart(8, 4, 8);
    s.host.pushRenderWorlds({s.kit->uid, &input.world, &smart.world});
    PF_SmartRenderExtra extra;
    extra.bit_depth = 8;
    const PF_Err err = s.host.callEffect(*s.kit, PF_Cmd_SMART_RENDER, A_Time{0, 30}, &extra);
    s.host.popRenderWorlds();
    ASSERT_EQ(err, PF_Err_NONE);
    EXPECT_EQ(smart.bytes, input.bytes);
}

}  // namespace
}  // namespace tv
