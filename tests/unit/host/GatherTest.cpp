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
    std::vector<uint64_t> hashDeps;         // layer handles the hash depends on
    uint32_t faces = 0;                     // triangles {0, 1, 2} to append
    Color4f color{1, 1, 1, 1};              // every vertex's colour
    PF_Err result = PF_Err_NONE;            // what Contribute returns
    int32_t lookupGroup = 0;                // a group range the source looks up before appending
    uint32_t target = kMsgTargetsVertices;  // an effector's answer to GetTarget
    float shiftX = 0;                       // what an effector adds to x
    std::vector<Vec3f> centroidsSeen;       // what a face effector found
    std::vector<Vec3f> rotationsSeen;
    std::vector<int16_t> groupsSet;  // SetGroup payloads received
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
    if (m.command == kObjSetGroup) {
        b.groupsSet.push_back(m.payloadGroup());
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
    if (b.lookupGroup) GroupVertexRange(s, b.lookupGroup);
    for (uint32_t i = 0; i < b.vertices; ++i) {
        s.positions.push_back({b.tag, float(i), 0});
        s.colors.push_back(b.color);
        s.uvw.push_back({});
        s.lattice.push_back({int32_t(i), 0, 0});
        s.normals.push_back({});
    }
    for (uint32_t f = 0; f < b.faces; ++f) s.faces.push_back({0, 1, 2});
    s.vertexPending = b.vertices;
    s.facePending = b.faces;
    ObjectRange r;
    r.group = b.group;
    r.vertexStart = s.vertexBase;
    r.vertexCount = b.vertices;
    r.faceStart = s.faceBase;
    r.faceCount = b.faces;
    s.ranges.push_back(r);
    m.setPayloadGroup(b.group);  // the first two bytes only; the rest of the preset stays
    return b.result;
}

PF_Err EffectorMessage(PF_InData* in, PF_OutData*, ObjectMessage& m) {
    TestBehaviour& b = Behaviour(in);
    if (m.command == kObjGetTarget) {
        m.flags |= b.target;
        return 0;
    }
    if (m.command != kObjContribute) return 0;
    ++b.contributions;
    gCallOrder.push_back(in->effect_ref);
    GeometryStore& s = *m.geometry;
    if (b.target & kMsgTargetsFaces) {
        b.centroidsSeen = s.faceCentroids;
        b.rotationsSeen = s.faceRotations;
        return b.result;
    }
    for (float& v : s.scales) v *= 2;
    for (Vec3f& p : s.positions) p.x += b.shiftX;
    return b.result;
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
        TestBehaviour b;
        b.group = group;
        b.vertices = n;
        b.tag = tag;
        gBehaviour[e.uid] = b;
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
    static std::vector<PF_ProgPtr> refs;
    mixed.clear();
    refs.clear();
    auto mix = [](PF_ProgPtr ref, uint32_t size, const void* data) -> PF_Err {
        refs.push_back(ref);
        EXPECT_EQ(size, 8u);
        uint64_t v = 0;
        std::memcpy(&v, data, std::min<uint32_t>(size, 8));
        mixed.push_back(v);
        return 0;
    };
    ASSERT_EQ(MixStackHash(host, top.uid, A_Time{0, 30000}, 7, mix, {top.id}), 0);
    // top, then a along each of the two paths; a's way back to top is cut by the visited list.
    EXPECT_EQ(mixed, (std::vector<uint64_t>{2000, 1000, 1000}));
    EXPECT_EQ(refs, (std::vector<PF_ProgPtr>{7, 7, 7}));
}

TEST_F(GatherFixture, SetGroupByIdFindsTheInstance) {
    Layer& l = layer("l");
    host.applyEffectInstance(l, "KDL TAVRSRC Test");
    std::vector<std::string> ids;
    ASSERT_EQ(QueryInstanceIds(host, l.uid, A_Time{0, 1}, {0}, ids), 0);
    // An unknown id sends nothing and succeeds.
    EXPECT_EQ(SetGroupById(host, l.uid, A_Time{0, 1}, "nope", 4), 0);
    EXPECT_TRUE(gBehaviour[l.effects[0]->uid].groupsSet.empty());
    EXPECT_EQ(SetGroupById(host, l.uid, A_Time{0, 1}, ids[0], 4), 0);
    EXPECT_EQ(gBehaviour[l.effects[0]->uid].groupsSet, (std::vector<int16_t>{4}));
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

TEST_F(GatherFixture, VertexEffectorsRunBeforeTheFaceArraysAndFaceEffectorsAfter) {
    Layer& l = layer("faces");
    EffectInstance& src = source(l, 1, 3, 0);
    gBehaviour[src.uid].faces = 2;
    EffectInstance& faceEff = host.applyEffectInstance(l, "KDL TAVREFF Test");
    gBehaviour[faceEff.uid].target = kMsgTargetsFaces;
    EffectInstance& vertexEff = host.applyEffectInstance(l, "KDL TAVREFF Test");
    gBehaviour[vertexEff.uid].shiftX = 3;
    ObjectMessage m;
    ASSERT_EQ(gather(l, m), 0);
    // Stack order puts the face effector first, but the vertex list runs before the face list.
    ASSERT_EQ(gCallOrder, (std::vector<uint64_t>{src.uid, vertexEff.uid, faceEff.uid}));
    // The test source puts vertex i at (0, i, 0); the vertex effector moved x to 3 first.
    const TestBehaviour& seen = gBehaviour[faceEff.uid];
    ASSERT_EQ(seen.centroidsSeen.size(), 2u);
    EXPECT_EQ(seen.centroidsSeen[0].x, (3.0f + 3.0f + 3.0f) * 0.33333334f);
    EXPECT_EQ(seen.centroidsSeen[0].y, (1.0f + 0.0f + 2.0f) * 0.33333334f);
    EXPECT_EQ(seen.rotationsSeen, (std::vector<Vec3f>{{}, {}}));
    EXPECT_EQ(m.geometry->faceColorsA.size(), 2u);
    EXPECT_EQ(m.geometry->faceGroups.at(1), (GroupRange{0, 2}));
    EXPECT_EQ(m.geometry->scales, (std::vector<float>{2, 2, 2}));  // only the vertex effector
    DisposeObjectMessage(m);
}

TEST_F(GatherFixture, SourceErrorStopsEffectorsAndJitter) {
    Layer& l = layer("fail");
    EffectInstance& src = source(l, 1, 3, 0);
    gBehaviour[src.uid].result = 77;
    EffectInstance& eff = host.applyEffectInstance(l, "KDL TAVREFF Test");
    EffectInstance& ren = host.applyEffectInstance(l, "KDL TAVRREN Test");
    ObjectMessage m;
    EXPECT_EQ(gather(l, m), 77);
    EXPECT_EQ(gBehaviour[eff.uid].contributions, 0);
    EXPECT_EQ(m.geometry->scales.size(), 3u);  // scales are filled all the same
    EXPECT_TRUE(m.geometry->jitter.empty());
    EXPECT_EQ(gBehaviour[ren.uid].contributions, 1);  // renderers still run
    DisposeObjectMessage(m);
}

TEST_F(GatherFixture, EffectorErrorStopsFaceEffectorsButNotJitter) {
    Layer& l = layer("efffail");
    EffectInstance& src = source(l, 1, 3, 0);
    gBehaviour[src.uid].faces = 1;
    EffectInstance& vertexEff = host.applyEffectInstance(l, "KDL TAVREFF Test");
    gBehaviour[vertexEff.uid].result = 55;
    EffectInstance& faceEff = host.applyEffectInstance(l, "KDL TAVREFF Test");
    gBehaviour[faceEff.uid].target = kMsgTargetsFaces;
    ObjectMessage m;
    EXPECT_EQ(gather(l, m), 55);
    EXPECT_EQ(gBehaviour[faceEff.uid].contributions, 0);
    EXPECT_TRUE(m.geometry->faceCentroids.empty());   // no face arrays after an error
    EXPECT_EQ(m.geometry->faceRotations.size(), 1u);  // but rotations are reset
    EXPECT_EQ(m.geometry->jitter.size(), 3u);
    DisposeObjectMessage(m);
}

TEST_F(GatherFixture, EffectorAnsweringNoTargetRunsInNeitherList) {
    Layer& l = layer("notarget");
    source(l, 1, 2, 0);
    EffectInstance& eff = host.applyEffectInstance(l, "KDL TAVREFF Test");
    gBehaviour[eff.uid].target = 0;
    ObjectMessage m;
    ASSERT_EQ(gather(l, m), 0);
    EXPECT_EQ(gBehaviour[eff.uid].contributions, 0);
    DisposeObjectMessage(m);
}

TEST_F(GatherFixture, UnsetGroupEntryIsStartedByALaterSourceOfThatGroup) {
    Layer& l = layer("unset");
    EffectInstance& first = source(l, 2, 4, 1);
    gBehaviour[first.uid].lookupGroup = 5;  // leaves {unset, 0} for group 5
    source(l, 5, 3, 2);
    ObjectMessage m;
    ASSERT_EQ(gather(l, m), 0);
    EXPECT_EQ(m.geometry->vertexGroups.at(2), (GroupRange{0, 4}));
    EXPECT_EQ(m.geometry->vertexGroups.at(5), (GroupRange{4, 3}));
    DisposeObjectMessage(m);
}

TEST_F(GatherFixture, SwitchedOffSourceKeepsTheGroupRangesOfTheOthers) {
    Layer& l = layer("offsrc");
    EffectInstance& off = source(l, 1, 3, 1);
    off.active = false;
    source(l, 1, 2, 2);
    ObjectMessage m;
    ASSERT_EQ(gather(l, m), 0);
    EXPECT_EQ(m.geometry->vertexGroups.at(1), (GroupRange{0, 2}));
    EXPECT_EQ(m.geometry->ranges.size(), 1u);
    DisposeObjectMessage(m);
}

TEST_F(GatherFixture, RenderersOfAGatheredLayerDoNotRun) {
    Layer& a = layer("a");
    source(a, 1, 2, 1);
    EffectInstance& renA = host.applyEffectInstance(a, "KDL TAVRREN Test");
    Layer& top = layer("top");
    EffectInstance& asker = source(top, 1, 1, 3);
    gBehaviour[asker.uid].requests = {a.id};
    EffectInstance& renTop = host.applyEffectInstance(top, "KDL TAVRREN Test");
    ObjectMessage m;
    ASSERT_EQ(gather(top, m), 0);
    EXPECT_EQ(gBehaviour[asker.uid].gatheredSizes, (std::vector<uint32_t>{2}));
    EXPECT_EQ(gBehaviour[renA.uid].contributions, 0);
    EXPECT_EQ(gBehaviour[renTop.uid].contributions, 1);
    EXPECT_EQ(m.renders->items.size(), 1u);
    DisposeObjectMessage(m);
}

TEST_F(GatherFixture, SetGroupGoesToTheInstanceWithThatId) {
    Layer& l = layer("ids");
    EffectInstance& a = source(l, 1, 1, 1);
    EffectInstance& b = source(l, 1, 1, 2);
    b.active = false;  // switched off, still found by its id
    std::vector<std::string> ids;
    ASSERT_EQ(QueryInstanceIds(host, l.uid, A_Time{0, 1}, {0, 1}, ids), 0);
    ASSERT_EQ(SetGroupById(host, l.uid, A_Time{0, 1}, ids[1], 4), 0);
    EXPECT_TRUE(gBehaviour[a.uid].groupsSet.empty());
    EXPECT_EQ(gBehaviour[b.uid].groupsSet, (std::vector<int16_t>{4}));
    // A prefix of an id is not the id.
    ASSERT_EQ(SetGroupById(host, l.uid, A_Time{0, 1}, ids[0].substr(0, 35), 6), 0);
    EXPECT_TRUE(gBehaviour[a.uid].groupsSet.empty());
}

TEST_F(GatherFixture, FaceColoursLineUpWithTheFacesWhenACentroidIsSkipped) {
    // The second source's face names its third vertex, which it never appended: that face gets
    // no centroid, yet every face gets its three colours.
    Layer& l = layer("short");
    EffectInstance& whole = source(l, 1, 3, 1);
    gBehaviour[whole.uid].faces = 1;
    gBehaviour[whole.uid].color = {1, 0, 0, 1};
    EffectInstance& shortOne = source(l, 2, 2, 2);
    gBehaviour[shortOne.uid].faces = 2;
    gBehaviour[shortOne.uid].color = {0, 1, 0, 0.5f};
    EffectInstance& faces = host.applyEffectInstance(l, "KDL TAVREFF Test");
    gBehaviour[faces.uid].target = kMsgTargetsFaces;
    ObjectMessage m;
    ASSERT_EQ(gather(l, m), 0);
    const GeometryStore& s = *m.geometry;
    ASSERT_EQ(s.positions.size(), 5u);
    ASSERT_EQ(s.faces.size(), 3u);
    EXPECT_EQ(s.faceCentroids.size(), 1u);  // only the first source's face
    EXPECT_EQ(gBehaviour[faces.uid].centroidsSeen.size(), 1u);
    ASSERT_EQ(s.faceColorsA.size(), s.faces.size());
    ASSERT_EQ(s.faceColorsB.size(), s.faces.size());
    ASSERT_EQ(s.faceColorsC.size(), s.faces.size());
    EXPECT_EQ(s.faceRotations.size(), s.faces.size());
    const Color4f red{1, 0, 0, 1}, green{0, 1, 0, 0.5f};
    EXPECT_EQ(s.faceColorsA[0], red);
    EXPECT_EQ(s.faceColorsB[0], red);
    EXPECT_EQ(s.faceColorsC[0], red);
    for (size_t f : {size_t(1), size_t(2)}) {
        EXPECT_EQ(s.faceColorsA[f], green) << f;
        EXPECT_EQ(s.faceColorsB[f], green) << f;
        EXPECT_EQ(s.faceColorsC[f], (Color4f{})) << f;  // past the colours: transparent black
    }
    DisposeObjectMessage(m);
}

}  // namespace
}  // namespace tv
