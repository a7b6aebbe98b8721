// The gather of a layer driven through the embedded host, with small effects registered by the
// test: a source, an effector, a renderer and a source that asks for other layers.
#include <gtest/gtest.h>

#include <map>
#include <mutex>

#include "host/EffectTemplate.h"
#include "host/Gather.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

using standalone::EffectInstance;
using standalone::EmbeddedHost;
using standalone::Layer;

// What each test effect instance does, keyed by its instance uid.
struct TestBehaviour {
    int16_t group = 1;
    uint32_t vertices = 0;
    float tag = 0;
    std::vector<uint32_t> requests;       // layer ids to ask for
    std::vector<uint32_t> gatheredSizes;  // what arrived, per request
    int contributions = 0;
    int hashes = 0;
    std::vector<uint64_t> hashDeps;  // layer handles the hash depends on
};
std::map<uint64_t, TestBehaviour> gBehaviour;
std::vector<uint64_t> gCallOrder;

TestBehaviour& Behaviour(PF_InData* in) {
    return gBehaviour[in->effect_ref];
}

ParamTable NoParams() {
    return {};
}

PF_Err SourceMessage(PF_InData* in, PF_OutData*, ObjectMessage& m) {
    TestBehaviour& b = Behaviour(in);
    if (m.command == kObjGetGroup) {
        m.setPayloadGroup(b.group);
        return 0;
    }
    if (m.command == kObjMixHash) {
        ++b.hashes;
        const uint64_t h = uint64_t(b.tag * 1000);
        m.mixIn(m.hash, &h, 8);
        for (uint64_t layer : b.hashDeps) m.addDependency(m.hash, layer, PackTime(A_Time{0, 1}));
        return 0;
    }
    if (m.command != kObjContribute) return 0;
    if (!b.requests.empty() && !(m.flags & kMsgNeedsLayers)) {
        m.flags |= kMsgNeedsLayers;
        for (uint32_t id : b.requests) m.requestLayer(m.renders, id, PackTime(A_Time{0, 1}));
        return 0;
    }
    if (m.flags & kMsgNeedsLayers) {
        uint32_t count = 0;
        m.gatheredCount(m.renders, &count);
        for (uint32_t i = 0; i < count; ++i) {
            ObjectMessage* g = nullptr;
            m.gatheredAt(m.renders, int32_t(i), &g);
            b.gatheredSizes.push_back(uint32_t(g->geometry->positions.size()));
        }
    }
    ++b.contributions;
    gCallOrder.push_back(in->effect_ref);
    GeometryStore& s = *m.geometry;
    for (uint32_t i = 0; i < b.vertices; ++i) {
        s.positions.push_back({b.tag, float(i), 0});
        s.colors.push_back({1, 1, 1, 1});
        s.uvw.push_back({});
        s.lattice.push_back({int32_t(i), 0, 0});
        s.normals.push_back({});
    }
    s.vertexPending = b.vertices;
    ObjectRange r;
    r.group = b.group;
    r.vertexStart = s.vertexBase;
    r.vertexCount = b.vertices;
    r.faceStart = s.faceBase;
    s.ranges.push_back(r);
    m.setPayloadInt(0);
    m.setPayloadGroup(b.group);
    return 0;
}

PF_Err EffectorMessage(PF_InData* in, PF_OutData*, ObjectMessage& m) {
    if (m.command == kObjGetTarget) {
        m.flags |= kMsgTargetsVertices;
        return 0;
    }
    if (m.command != kObjContribute) return 0;
    ++Behaviour(in).contributions;
    for (float& s : m.geometry->scales) s *= 2;
    return 0;
}

PF_Err RendererMessage(PF_InData* in, PF_OutData*, ObjectMessage& m) {
    if (m.command != kObjContribute) return 0;
    ++Behaviour(in).contributions;
    gCallOrder.push_back(in->effect_ref);
    RenderItem item;
    item.kind = 9;  // no releaser: nothing to free
    m.pushRenderItem(m.renders, &item);
    return 0;
}

const EffectInfo kSourceInfo{
    0,  "Test Source", "KDL TAVRSRC Test", "", nullptr, 0, 1, EffectRole::Source,
    "", true,          &NoParams};
const EffectInfo kEffectorInfo{
    0,    "Test Effector", "KDL TAVREFF Test", "", nullptr, 0, 1, EffectRole::Effector, "",
    true, &NoParams};
const EffectInfo kRendererInfo{
    0,    "Test Renderer", "KDL TAVRREN Test", "", nullptr, 0, 1, EffectRole::Renderer, "",
    true, &NoParams};

template <const EffectInfo& Info, PF_Err (*Handler)(PF_InData*, PF_OutData*, ObjectMessage&)>
PF_Err TestEntry(PF_Cmd cmd, PF_InData* in, PF_OutData* out, PF_ParamDef* params[],
                 PF_LayerDef* output, void* extra) {
    SubEffectHandlers h;
    h.message = Handler;
    return SubEffectEntry(Info, h, cmd, in, out, params, output, extra);
}

struct GatherFixture : ::testing::Test {
    EmbeddedHost host;
    standalone::Comp* comp = nullptr;
    void SetUp() override {
        gBehaviour.clear();
        gCallOrder.clear();
        host.registerEffect("Test Source", "KDL TAVRSRC Test",
                            &TestEntry<kSourceInfo, SourceMessage>);
        host.registerEffect("Test Effector", "KDL TAVREFF Test",
                            &TestEntry<kEffectorInfo, EffectorMessage>);
        host.registerEffect("Test Renderer", "KDL TAVRREN Test",
                            &TestEntry<kRendererInfo, RendererMessage>);
        comp = &host.addComp("c", 100, 100);
    }
    Layer& layer(const char* name) {
        return host.addLayer(*comp, name, standalone::LayerKind::Solid);
    }
    EffectInstance& source(Layer& l, int16_t group, uint32_t n, float tag) {
        EffectInstance& e = host.applyEffectInstance(l, "KDL TAVRSRC Test");
        gBehaviour[e.uid] = TestBehaviour{group, n, tag, {}, {}, 0, 0, {}};
        return e;
    }
    PF_Err gather(Layer& l, ObjectMessage& m) {
        InitObjectMessage(m);
        return Gather(host, l.uid, A_Time{0, 30000}, m);
    }
};

TEST_F(GatherFixture, SourcesInGroups313GatherAs133WithGroup3Contiguous) {
    Layer& l = layer("net");
    host.applyEffectInstance(l, "KDL TAVRUS TWO");
    EffectInstance& a = source(l, 3, 2, 10);
    EffectInstance& b = source(l, 1, 3, 20);
    EffectInstance& c = source(l, 3, 4, 30);
    ObjectMessage m;
    ASSERT_EQ(gather(l, m), 0);
    ASSERT_EQ((std::vector<uint64_t>{b.uid, a.uid, c.uid}), gCallOrder);
    const GeometryStore& s = *m.geometry;
    ASSERT_EQ(s.positions.size(), 9u);
    EXPECT_EQ(s.vertexGroups.at(1), (GroupRange{0, 3}));
    EXPECT_EQ(s.vertexGroups.at(3), (GroupRange{3, 6}));
    EXPECT_EQ(s.positions[3].x, 10);
    EXPECT_EQ(s.positions[5].x, 30);
    EXPECT_EQ(s.scales.size(), 9u);
    EXPECT_EQ(s.jitter.size(), 9u);
    DisposeObjectMessage(m);
}

TEST_F(GatherFixture, MainEffectWithoutSourcesGivesAnEmptyStore) {
    Layer& l = layer("empty");
    host.applyEffectInstance(l, "KDL TAVRUS TWO");
    EffectInstance& r = host.applyEffectInstance(l, "KDL TAVRREN Test");
    ObjectMessage m;
    ASSERT_EQ(gather(l, m), 0);
    EXPECT_TRUE(m.geometry->positions.empty());
    EXPECT_EQ(gBehaviour[r.uid].contributions, 1);
    DisposeObjectMessage(m);
}

TEST_F(GatherFixture, SourceInGroup12JoinsNoGroupOf1To10) {
    Layer& l = layer("g12");
    source(l, 12, 5, 1);
    ObjectMessage m;
    ASSERT_EQ(gather(l, m), 0);
    EXPECT_EQ(m.geometry->positions.size(), 5u);
    for (int g = 1; g <= 10; ++g) EXPECT_EQ(m.geometry->vertexGroups.count(g), 0u);
    DisposeObjectMessage(m);
}

TEST_F(GatherFixture, SwitchedOffEffectTakesNoPartButAnswersItsId) {
    Layer& l = layer("off");
    EffectInstance& on = source(l, 1, 2, 1);
    EffectInstance& off = source(l, 1, 3, 2);
    EffectInstance& eff = host.applyEffectInstance(l, "KDL TAVREFF Test");
    EffectInstance& ren = host.applyEffectInstance(l, "KDL TAVRREN Test");
    off.active = false;
    eff.active = false;
    ren.active = false;
    ObjectMessage m;
    ASSERT_EQ(gather(l, m), 0);
    EXPECT_EQ(m.geometry->positions.size(), 2u);
    EXPECT_EQ(gBehaviour[off.uid].contributions, 0);
    EXPECT_EQ(gBehaviour[eff.uid].contributions, 0);
    EXPECT_EQ(gBehaviour[ren.uid].contributions, 0);
    EXPECT_EQ(m.geometry->scales[0], 1.0f);  // the effector did not run
    EXPECT_TRUE(m.renders->items.empty());
    DisposeObjectMessage(m);

    // Not in the hash walk either.
    ASSERT_EQ(MixStackHash(host, l.uid, A_Time{0, 30000}, 0, nullptr, {}), 0);
    EXPECT_EQ(gBehaviour[on.uid].hashes, 1);
    EXPECT_EQ(gBehaviour[off.uid].hashes, 0);

    // But it answers GetInstanceId.
    std::vector<std::string> ids;
    ASSERT_EQ(QueryInstanceIds(host, l.uid, A_Time{0, 30000}, {0, 1}, ids), 0);
    ASSERT_EQ(ids.size(), 2u);
    EXPECT_NE(ids[1], "00000000-0000-0000-0000-000000000000");
    EXPECT_NE(ids[0], ids[1]);
}

TEST_F(GatherFixture, ActiveEffectorDoublesScales) {
    Layer& l = layer("eff");
    source(l, 1, 2, 1);
    host.applyEffectInstance(l, "KDL TAVREFF Test");
    ObjectMessage m;
    ASSERT_EQ(gather(l, m), 0);
    EXPECT_EQ(m.geometry->scales[1], 2.0f);
    DisposeObjectMessage(m);
}

TEST_F(GatherFixture, RequestedLayersArriveInRequestOrderOnTheSecondCall) {
    Layer& a = layer("a");
    source(a, 1, 2, 1);
    Layer& b = layer("b");
    source(b, 1, 5, 2);
    Layer& top = layer("top");
    EffectInstance& asker = source(top, 1, 1, 3);
    gBehaviour[asker.uid].requests = {b.id, a.id};
    ObjectMessage m;
    ASSERT_EQ(gather(top, m), 0);
    EXPECT_EQ(gBehaviour[asker.uid].gatheredSizes, (std::vector<uint32_t>{5, 2}));
    EXPECT_EQ(gBehaviour[asker.uid].contributions, 1);
    EXPECT_TRUE(m.renders->gathered.empty());
    EXPECT_TRUE(m.renders->requests.empty());
    EXPECT_EQ(m.flags & kMsgNeedsLayers, 0u);
    DisposeObjectMessage(m);
}

TEST_F(GatherFixture, LayerRequestingItselfFiresTheGuardAndTheStackStillRuns) {
    Layer& l = layer("self");
    EffectInstance& asker = source(l, 1, 2, 1);
    gBehaviour[asker.uid].requests = {l.id};
    EffectInstance& other = source(l, 2, 3, 2);
    EffectInstance& ren = host.applyEffectInstance(l, "KDL TAVRREN Test");
    ObjectMessage m;
    EXPECT_EQ(gather(l, m), kLoopGuardStatus);
    EXPECT_EQ(gBehaviour[asker.uid].gatheredSizes, (std::vector<uint32_t>{0}));
    EXPECT_EQ(gBehaviour[other.uid].contributions, 1);
    EXPECT_EQ(gBehaviour[ren.uid].contributions, 1);
    EXPECT_EQ(m.geometry->positions.size(), 5u);
    DisposeObjectMessage(m);
}

TEST_F(GatherFixture, HashWalkFollowsDependenciesWithAVisitedList) {
    Layer& a = layer("a");
    EffectInstance& sa = source(a, 1, 1, 1);
    Layer& top = layer("top");
    EffectInstance& st = source(top, 1, 1, 2);
    // top depends on a twice (two paths), a depends back on top (a circle).
    gBehaviour[st.uid].hashDeps = {a.uid, a.uid, 0};
    gBehaviour[sa.uid].hashDeps = {top.uid};
    static std::vector<uint64_t> mixed;
    mixed.clear();
    auto mix = [](PF_ProgPtr, uint32_t size, const void* data) -> PF_Err {
        uint64_t v = 0;
        std::memcpy(&v, data, std::min<uint32_t>(size, 8));
        mixed.push_back(v);
        return 0;
    };
    ASSERT_EQ(MixStackHash(host, top.uid, A_Time{0, 30000}, 7, mix, {top.id}), 0);
    // top, then a along each of the two paths; a's way back to top is cut by the visited list.
    EXPECT_EQ(mixed, (std::vector<uint64_t>{2000, 1000, 1000}));
}

TEST_F(GatherFixture, SetGroupByIdFindsTheInstance) {
    Layer& l = layer("l");
    host.applyEffectInstance(l, "KDL TAVRSRC Test");
    std::vector<std::string> ids;
    ASSERT_EQ(QueryInstanceIds(host, l.uid, A_Time{0, 1}, {0}, ids), 0);
    // The test source ignores SetGroup; an unknown id sends nothing and succeeds.
    EXPECT_EQ(SetGroupById(host, l.uid, A_Time{0, 1}, ids[0], 4), 0);
    EXPECT_EQ(SetGroupById(host, l.uid, A_Time{0, 1}, "nope", 4), 0);
}

TEST_F(GatherFixture, FreshMainEffectGetsAPointsRendererAtIdle) {
    Layer& l = layer("fresh");
    host.applyEffectInstance(l, "KDL TAVRUS TWO");
    EXPECT_EQ(host.pendingIdleTasks(), 1u);
    host.runIdleTasks();
    ASSERT_EQ(l.effects.size(), 2u);
    EXPECT_EQ(host.installedEffect(l.effects[1]->key)->matchName, "KDL TAVRREN Points");

    // A layer that already has a family member gets nothing.
    Layer& busy = layer("busy");
    host.applyEffectInstance(busy, "KDL TAVRSRC Test");
    host.applyEffectInstance(busy, "KDL TAVRUS TWO");
    host.runIdleTasks();
    EXPECT_EQ(busy.effects.size(), 2u);
}

TEST_F(GatherFixture, MissingIdleSuiteSaysSoAndAddsNothing) {
    host.setIdleSuiteAvailable(false);
    Layer& l = layer("fresh");
    host.applyEffectInstance(l, "KDL TAVRUS TWO");
    EXPECT_EQ(host.pendingIdleTasks(), 0u);
    const auto reports = host.takeReports();
    ASSERT_FALSE(reports.empty());
    EXPECT_EQ(reports.back(), "No Tavr Idle Suite Found! Cannot Add to Stack.");
}

}  // namespace
}  // namespace tv
