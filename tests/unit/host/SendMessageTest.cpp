// The host calls under the gather, against a scripted host that records what it was asked: the
// match-name filter, time conversion, the switched-off check, disposal and the first error.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/Gather.h"

namespace tv {
namespace {

struct ScriptedEffect {
    std::string matchName;
    uint32_t flags = AEGP_EffectFlags_ACTIVE;
    PF_Err callResult = PF_Err_NONE;
    PF_Err disposeResult = PF_Err_NONE;
};

// Effect references are the index + 100; installed keys the index + 1.
class ScriptedHost : public HostServices {
  public:
    std::vector<ScriptedEffect> effects;
    std::vector<int32_t> called;
    std::vector<A_Time> callTimes;
    int fetched = 0;
    int disposed = 0;

    int32_t layerNumEffects(AEGP_LayerH) override { return int32_t(effects.size()); }
    AEGP_EffectRefH layerEffectByIndex(AEGP_PluginID, AEGP_LayerH, int32_t i) override {
        ++fetched;
        return AEGP_EffectRefH(i + 100);
    }
    AEGP_InstalledEffectKey installedKeyFromLayerEffect(AEGP_EffectRefH ref) override {
        return AEGP_InstalledEffectKey(ref - 100 + 1);
    }
    std::string effectMatchName(AEGP_InstalledEffectKey key) override {
        return effects[size_t(key - 1)].matchName;
    }
    uint32_t effectFlags(AEGP_EffectRefH ref) override { return effects[ref - 100].flags; }
    PF_Err disposeEffect(AEGP_EffectRefH ref) override {
        ++disposed;
        return effects[ref - 100].disposeResult;
    }
    PF_Err effectCallGeneric(AEGP_PluginID, AEGP_EffectRefH ref, const A_Time& t, PF_Cmd cmd,
                             void*) override {
        EXPECT_EQ(cmd, PF_Cmd_COMPLETELY_GENERAL);
        called.push_back(int32_t(ref - 100));
        callTimes.push_back(t);
        return effects[ref - 100].callResult;
    }
    // Layer time is comp time less 10 ticks.
    A_Time convertCompToLayerTime(AEGP_LayerH, const A_Time& t) override {
        return A_Time{t.value - 10, t.scale};
    }
};

TEST(FindEffects, PrefixOrExactAlternativeInLayerOrder) {
    ScriptedHost host;
    host.effects = {{"KDL TAVRUS TWO"},      {"KDL TAVRREN Lines"},  {"KDL TAVRSRC Primitives"},
                    {"KDL TAVRUS"},          {"KDL TAVRREN Points"}, {"Other Effect"},
                    {"KDL TAVRUS Something"}};
    std::vector<int32_t> renderers;
    FindEffects(host, 1, kRendererPrefix, kLegacyRendererName, renderers);
    // The main effect's name merely begins with the legacy renderer's: it is not taken.
    EXPECT_EQ(renderers, (std::vector<int32_t>{1, 3, 4}));
    std::vector<int32_t> sources;
    FindEffects(host, 1, kSourcePrefix, nullptr, sources);
    EXPECT_EQ(sources, (std::vector<int32_t>{2}));
    // Every fetched reference is disposed again.
    EXPECT_EQ(host.fetched, host.disposed);
}

TEST(SendMessage, IndexOutsideTheStackDoesNothing) {
    ScriptedHost host;
    host.effects = {{"KDL TAVRSRC A"}};
    ObjectMessage m;
    EXPECT_EQ(SendMessage(host, 1, A_Time{0, 1}, m, -1, 0), PF_Err_NONE);
    EXPECT_EQ(SendMessage(host, 1, A_Time{0, 1}, m, 1, 0), PF_Err_NONE);
    EXPECT_TRUE(host.called.empty());
    EXPECT_EQ(host.fetched, 0);
}

TEST(SendMessage, CallsAtLayerTimeAndDisposes) {
    ScriptedHost host;
    host.effects = {{"KDL TAVRSRC A"}};
    ObjectMessage m;
    EXPECT_EQ(SendMessage(host, 1, A_Time{100, 30}, m, 0, AEGP_EffectFlags_ACTIVE), PF_Err_NONE);
    ASSERT_EQ(host.called, (std::vector<int32_t>{0}));
    EXPECT_EQ(host.callTimes[0].value, 90);
    EXPECT_EQ(host.callTimes[0].scale, 30u);
    EXPECT_EQ(host.disposed, 1);
}

TEST(SendMessage, SwitchedOffEffectIsDisposedAndNotCalledUnlessNoFlagsAreRequired) {
    ScriptedHost host;
    host.effects = {{"KDL TAVRSRC A", 0}};
    ObjectMessage m;
    EXPECT_EQ(SendMessage(host, 1, A_Time{0, 1}, m, 0, AEGP_EffectFlags_ACTIVE), PF_Err_NONE);
    EXPECT_TRUE(host.called.empty());
    EXPECT_EQ(host.disposed, 1);
    EXPECT_EQ(SendMessage(host, 1, A_Time{0, 1}, m, 0, 0), PF_Err_NONE);
    EXPECT_EQ(host.called, (std::vector<int32_t>{0}));
    EXPECT_EQ(host.disposed, 2);
}

TEST(SendMessage, FirstErrorWins) {
    ScriptedHost host;
    host.effects = {{"KDL TAVRSRC A", 1, 7, 9}, {"KDL TAVRSRC B", 1, 0, 9}};
    ObjectMessage m;
    // The call failed first: its code stands, the dispose still happened.
    EXPECT_EQ(SendMessage(host, 1, A_Time{0, 1}, m, 0, 0), 7);
    EXPECT_EQ(host.disposed, 1);
    // A failing dispose counts only when the call went well.
    EXPECT_EQ(SendMessage(host, 1, A_Time{0, 1}, m, 1, 0), 9);
}

TEST(GatherTexts, LoopGuardMessage) {
    EXPECT_STREQ(kInfiniteLoopMessage,
                 "Infinite Loop Detected. You can't select the same layer as an instance");
    EXPECT_EQ(kLoopGuardStatus, -1);
}

}  // namespace
}  // namespace tv
