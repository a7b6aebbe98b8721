// The beams renderer as an effect: its parameter table, the item it pushes, its messages, hash
// and hidden parameters, sent by hand through the embedded host.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "host/ObjectMessage.h"
#include "host/RenderPayloads.h"
#include "host/SequenceRecord.h"
#include "resources/EffectTable.h"
#include "resources/EntryPoints.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

enum : int32_t {
    kBeamsType = 1,
    kAxis = 2,
    kLinesType = 3,
    kFirstGroup = 4,
    kSecondGroup = 5,
    kTime = 6,
    kFlipDirection = 7,
    kJoinEnds = 8,
    kRangeStart = 10,
    kRangeEnd = 11,
    kRangeOffset = 12,
    kRandomize = 13,
    kSeed = 14,
    kBezierSettings = 16,
    kBezierPoints = 17,
    kStartCurve = 18,
    kEndCurve = 19,
    kBezierAxis = 20,
    kStartThickness = 22,
    kDummy = 23,
    kEndThicknessOld = 25,
    kEndThickness = 26,
    kColorsFromVertices = 27,
    kColor = 28,
    kOpacityFromVertices = 29,
    kOpacity = 30,
    kScaleFromVertices = 31,
    kPerspective = 32,
    kGroup = 33,
};

constexpr const char* kTenGroups =
    "Group 1|Group 2|Group 3|Group 4|Group 5|Group 6|Group 7|Group 8|Group 9|Group 10";

TEST(BeamsTable, RowsAsDeclared) {
    const ParamTable t = BeamsRenderParams();
    ASSERT_EQ(t.size(), 34u);
    struct Expected {
        int32_t disk;
        PF_ParamType type;
        const char* name;
        double def, validMin, validMax, sliderMin, sliderMax;
        int16_t precision;
        uint32_t flags;
        const char* text;
    };
    constexpr auto F = PF_Param_FLOAT_SLIDER;
    constexpr auto P = PF_Param_POPUP;
    constexpr auto C = PF_Param_CHECKBOX;
    const Expected rows[] = {
        {27, P, "Beams Type", 1, 1, 2, 1, 2, 0, 0x46, "Objects|Groups"},
        {28, P, "Only on Axis", 3, 1, 3, 1, 3, 0, 0x46, "X|Y|Z"},
        {1, P, "Lines Type", 1, 1, 2, 1, 2, 0, 0x46, "Straight Lines|Bezier Lines"},
        {2, P, "First Group", 1, 1, 10, 1, 10, 0, 0x46, kTenGroups},
        {3, P, "Second Group", 2, 1, 10, 1, 10, 0, 0x46, kTenGroups},
        {4, F, "Time", 100, 0, 100, 0, 100, 1, 0, ""},
        {5, C, "Flip Direction", 0, 0, 0, 0, 0, 0, 0, ""},
        {30, C, "Join Ends", 0, 0, 0, 0, 0, 0, 0, ""},
        {6, PF_Param_GROUP_START, "Range Selector", 0, 0, 0, 0, 0, 0, 0, ""},
        {7, F, "Range Start", 0, 0, 100, 0, 100, 2, 0, ""},
        {8, F, "Range End", 100, 0, 100, 0, 100, 2, 0, ""},
        {9, F, "Range Offset", 0, -100, 100, -100, 100, 2, 0, ""},
        {10, C, "Randomize", 0, 0, 0, 0, 0, 0, 0, ""},
        {11, PF_Param_SLIDER, "Random Seed", 10, 0, 30000, 0, 100, 0, 0, ""},
        {12, PF_Param_GROUP_END, "", 0, 0, 0, 0, 0, 0, 0, ""},
        {13, PF_Param_GROUP_START, "Bezier Settings", 0, 0, 0, 0, 0, 0, 0, ""},
        {14, PF_Param_SLIDER, "Bezier Points", 100, 0, 10000000, 0, 100, 0, 0, ""},
        {15, F, "Start Curve", 1, -1000000, 1000000, 0, 2, 3, 0, ""},
        {16, F, "End Curve", -1, -1000000, 1000000, 0, 2, 3, 0, ""},
        {17, P, "Bezier Axis", 2, 1, 3, 1, 3, 0, 0, "X Axis|Y Axis|Z Axis"},
        {18, PF_Param_GROUP_END, "", 0, 0, 0, 0, 0, 0, 0, ""},
        {19, F, "Start Thickness", 2, 0, 1000, 0, 100, 2, 0, ""},
        {31, PF_Param_GROUP_START, "DUMMY", 0, 0, 0, 0, 0, 0, 0, ""},
        {20, PF_Param_GROUP_END, "", 0, 0, 0, 0, 0, 0, 0, ""},
        {20, F, "End Thickness (old)", 2, 0, 1000, 0, 100, 2, 0, ""},
        {32, F, "End Thickness", 2, 0, 1000, 0, 100, 2, 0, ""},
        {21, C, "Get Colors From Vertices", 1, 0, 0, 0, 0, 0, 0x46, ""},
        {22, PF_Param_COLOR, "Beams Color", 1, 0, 0, 0, 0, 0, 0, ""},
        {23, C, "Get Opacity From Vertices", 1, 0, 0, 0, 0, 0, 0x46, ""},
        {24, PF_Param_FIX_SLIDER, "Beams Opacity", 50, 0, 100, 0, 100, 1, 0, ""},
        {25, C, "Get Scale From Vertices", 1, 0, 0, 0, 0, 0, 0x46, ""},
        {26, C, "Perspective Aware", 1, 0, 0, 0, 0, 0, 0, ""},
        {29, P, "Effect Only Group", 12, 1, 12, 1, 12, 0, 0x46,
         "Group 1|Group 2|Group 3|Group 4|Group 5|Group 6|Group 7|Group 8|Group 9|Group 10|(-|All "
         "Groups"},
    };
    static_assert(std::size(rows) == 33);
    EXPECT_EQ(t[0].type, PF_Param_LAYER);
    for (int32_t i = 1; i <= 33; ++i) {
        const ParamSpec& s = t[size_t(i)];
        const Expected& e = rows[i - 1];
        SCOPED_TRACE(i);
        EXPECT_EQ(s.index, i);
        EXPECT_EQ(s.diskId, e.disk);
        EXPECT_EQ(s.type, e.type);
        EXPECT_STREQ(s.name, e.name);
        EXPECT_EQ(s.def[0], e.def);
        EXPECT_EQ(s.validMin, e.validMin);
        EXPECT_EQ(s.validMax, e.validMax);
        EXPECT_EQ(s.sliderMin, e.sliderMin);
        EXPECT_EQ(s.sliderMax, e.sliderMax);
        EXPECT_EQ(s.precision, e.precision);
        EXPECT_EQ(s.flags, e.flags);
        EXPECT_STREQ(s.text, e.text);
        // Only the placeholder group is hidden by its own flags.
        EXPECT_EQ(s.uiFlags, i == kDummy ? 0x200u : 0u);
    }
    EXPECT_EQ(t[kColor].def[1], 1);
    EXPECT_EQ(t[kColor].def[2], 1);
}

TEST(BeamsTable, BuiltAndNamed) {
    const EffectInfo& info = EffectTable()[16];
    EXPECT_STREQ(info.displayName, "Tavrin Beams Renderer");
    EXPECT_STREQ(info.description, "Beams Renderer, Renders 3D Beams.");
    EXPECT_TRUE(info.built);
}

struct BeamsEffect : ::testing::Test {
    standalone::EmbeddedHost host;
    standalone::Comp& comp = host.addComp("C", 100, 100, 10, 1, 2.0);
    standalone::EffectInstance& fx =
        host.applyEffectInstance(host.addLayer(comp, "L", standalone::LayerKind::Solid),
                                 host.findInstalledByDisplayName("Tavrin Beams Renderer")->key);
    ObjectMessage m;
    PF_OutData out;

    void SetUp() override { ASSERT_EQ(InitObjectMessage(m), PF_Err_NONE); }
    void TearDown() override { DisposeObjectMessage(m); }

    PF_ParamDef& value(int32_t index) { return fx.params[size_t(index)].value; }
    bool hidden(int32_t index) const { return fx.params[size_t(index)].hidden; }

    // A row of `n` points along x as one source of group 1 (mask X).
    static void Row(GeometryStore& g, int32_t n) {
        for (int32_t i = 0; i < n; ++i) g.positions.push_back(Vec3f{float(i), 0, 0});
        ObjectRange r;
        r.group = 1;
        r.kind = 1;
        r.vertexCount = uint32_t(n);
        r.latticeSize[0] = n, r.latticeSize[1] = 1, r.latticeSize[2] = 1;
        g.ranges.push_back(r);
        g.vertexGroups[1] = GroupRange{0, uint32_t(n)};
    }
    PF_Err Send(int64_t frame = 3) {
        return host.callEffect(fx, PF_Cmd_COMPLETELY_GENERAL, comp.frameTime(frame), &m, &out);
    }
    PF_Err Changed(PF_Cmd cmd = PF_Cmd_USER_CHANGED_PARAM) {
        return host.callEffect(fx, cmd, comp.frameTime(0), nullptr);
    }
    // Contributes once on a fresh message over a row of `n` points.
    BeamsPayload Contribute(int32_t n, int64_t frame = 3) {
        DisposeObjectMessage(m);
        EXPECT_EQ(InitObjectMessage(m), PF_Err_NONE);
        Row(*m.geometry, n);
        m.command = kObjContribute;
        EXPECT_EQ(Send(frame), PF_Err_NONE);
        EXPECT_EQ(m.renders->items.size(), 1u);
        if (m.renders->items.empty()) return BeamsPayload{};
        EXPECT_EQ(m.renders->items[0].kind, uint32_t(kRenderBeams));
        return m.renders->items[0].as<BeamsPayload>();
    }
    std::vector<float> Amounts(const BeamsPayload& p) const {
        return std::vector<float>(p.amounts, p.amounts + p.beamCount);
    }
    void SetRecordFlags(uint16_t flags) {
        auto* record = static_cast<SequenceRecord*>(host.lockHandle(fx.sequenceData));
        ASSERT_NE(record, nullptr);
        record->flags = flags;
        host.unlockHandle(fx.sequenceData);
    }
};

TEST_F(BeamsEffect, DefaultsPushTheRowsBeamsWithTheirValues) {
    const BeamsPayload p = Contribute(4);
    ASSERT_EQ(p.beamCount, 3u);
    // "Only on Axis" Z is missing from a row along x: the beams fall back to X.
    for (uint32_t i = 0; i < 3; ++i) {
        EXPECT_EQ(p.pairs[i].a, int32_t(i));
        EXPECT_EQ(p.pairs[i].b, int32_t(i + 1));
        EXPECT_FLOAT_EQ(p.amounts[i], 1.0f);
        EXPECT_FLOAT_EQ(p.spans[2 * i], float(i) / 4);
        EXPECT_FLOAT_EQ(p.spans[2 * i + 1], float(i + 1) / 4);
    }
    EXPECT_FLOAT_EQ(p.startThickness, 2);
    EXPECT_FLOAT_EQ(p.endThickness, 2);
    EXPECT_FLOAT_EQ(p.startCurve, 1);
    EXPECT_FLOAT_EQ(p.endCurve, -1);
    EXPECT_EQ(p.bezierPoints, 100);
    EXPECT_EQ(p.bezierAxis, 1);  // Y
    EXPECT_FLOAT_EQ(p.color[0], 1);
    EXPECT_FLOAT_EQ(p.color[3], 0.5f);
    EXPECT_EQ(p.perspective, 1);
    EXPECT_EQ(p.overrideColor, 0);
    EXPECT_EQ(p.overrideOpacity, 0);
    EXPECT_EQ(p.overrideScale, 0);
    EXPECT_EQ(p.flipDirection, 0);
    EXPECT_EQ(p.bezier, 0);
}

TEST_F(BeamsEffect, ValuesReachTheItem) {
    value(kTime).u.floatValue = 50;
    value(kRangeStart).u.floatValue = 25;
    value(kRangeOffset).u.floatValue = 25;  // s = 2, e = 4 over four beams
    value(kFlipDirection).u.checkbox = 1;
    value(kLinesType).u.popup = 2;
    value(kBezierPoints).u.slider = 12;
    value(kStartCurve).u.floatValue = 0.25;
    value(kEndCurve).u.floatValue = 0.75;
    value(kBezierAxis).u.popup = 3;
    value(kStartThickness).u.floatValue = 3;
    value(kEndThickness).u.floatValue = 6;
    value(kColorsFromVertices).u.checkbox = 0;
    value(kOpacityFromVertices).u.checkbox = 0;
    value(kScaleFromVertices).u.checkbox = 0;
    value(kPerspective).u.checkbox = 0;
    value(kColor).u.color = PF_Pixel8{255, 51, 102, 0};  // alpha, red, green, blue
    value(kOpacity).u.fixed = 25 * 65536;
    const BeamsPayload p = Contribute(5);
    EXPECT_EQ(Amounts(p), (std::vector<float>{0, 0, 0.5f, 0.5f}));
    EXPECT_EQ(p.bezier, 1);
    EXPECT_EQ(p.bezierPoints, 12);
    EXPECT_FLOAT_EQ(p.startCurve, 0.25f);
    EXPECT_FLOAT_EQ(p.endCurve, 0.75f);
    EXPECT_EQ(p.bezierAxis, 2);
    EXPECT_FLOAT_EQ(p.startThickness, 3);
    EXPECT_FLOAT_EQ(p.endThickness, 6);
    EXPECT_EQ(p.flipDirection, 1);
    EXPECT_EQ(p.overrideColor, 1);
    EXPECT_EQ(p.overrideOpacity, 1);
    EXPECT_EQ(p.overrideScale, 1);
    EXPECT_EQ(p.perspective, 0);
    EXPECT_FLOAT_EQ(p.color[0], 0.2f);
    EXPECT_FLOAT_EQ(p.color[1], 0.4f);
    EXPECT_FLOAT_EQ(p.color[2], 0.0f);
    EXPECT_FLOAT_EQ(p.color[3], 0.25f);
}

TEST_F(BeamsEffect, GroupsModeJoinsTheTwoGroups) {
    value(kBeamsType).u.popup = 2;
    value(kFirstGroup).u.popup = 1;
    value(kSecondGroup).u.popup = 2;
    DisposeObjectMessage(m);
    ASSERT_EQ(InitObjectMessage(m), PF_Err_NONE);
    m.geometry->positions.resize(5);
    m.geometry->vertexGroups[1] = GroupRange{0, 3};
    m.geometry->vertexGroups[2] = GroupRange{3, 2};
    ASSERT_EQ(Send(), PF_Err_NONE);
    ASSERT_EQ(m.renders->items.size(), 1u);
    const BeamsPayload& p = m.renders->items[0].as<BeamsPayload>();
    // big = group 1 (0..2), small = group 2 (3, 4): j = 3 + (i * 2) / 3 = 3 3 4.
    ASSERT_EQ(p.beamCount, 3u);
    EXPECT_EQ(p.pairs[0].a, 3);
    EXPECT_EQ(p.pairs[0].b, 0);
    EXPECT_EQ(p.pairs[1].a, 3);
    EXPECT_EQ(p.pairs[1].b, 1);
    EXPECT_EQ(p.pairs[2].a, 4);
    EXPECT_EQ(p.pairs[2].b, 2);
    // Both groups empty: an item with no beams.
    value(kFirstGroup).u.popup = 6;
    value(kSecondGroup).u.popup = 7;
    FreeRenderItems(m.renders->items);
    ASSERT_EQ(Send(), PF_Err_NONE);
    ASSERT_EQ(m.renders->items.size(), 1u);
    EXPECT_EQ(m.renders->items[0].as<BeamsPayload>().beamCount, 0u);
}

TEST_F(BeamsEffect, EffectOnlyGroupChoosesTheSources) {
    value(kGroup).u.popup = 2;
    EXPECT_EQ(Contribute(4).beamCount, 0u);  // the row is group 1
    value(kGroup).u.popup = 1;
    EXPECT_EQ(Contribute(4).beamCount, 3u);
}

TEST_F(BeamsEffect, TheSameSeedGivesTheSamePatternOnEveryFrame) {
    value(kRandomize).u.checkbox = 1;
    value(kSeed).u.slider = 21;
    value(kRangeEnd).u.floatValue = 30;
    const std::vector<float> first = Amounts(Contribute(31, 0));
    ASSERT_EQ(first.size(), 30u);
    EXPECT_EQ(std::count(first.begin(), first.end(), 1.0f), 9);
    // Not simply the first nine.
    EXPECT_NE(std::vector<float>(first.begin(), first.begin() + 9), std::vector<float>(9, 1.0f));
    for (int64_t frame : {1, 7, 19}) EXPECT_EQ(Amounts(Contribute(31, frame)), first) << frame;
    value(kSeed).u.slider = 22;
    EXPECT_NE(Amounts(Contribute(31, 0)), first);
}

TEST_F(BeamsEffect, EndThicknessFromTheControlOfTheProjectsAge) {
    value(kEndThicknessOld).u.floatValue = 3;
    value(kEndThickness).u.floatValue = 7;
    EXPECT_FLOAT_EQ(Contribute(3).endThickness, 7);
    SetRecordFlags(kSeqFlagFromV2);  // made before the split
    EXPECT_FLOAT_EQ(Contribute(3).endThickness, 3);
}

TEST_F(BeamsEffect, GroupMessages) {
    m.command = kObjGetGroup;
    m.setPayloadGroup(-1);
    ASSERT_EQ(Send(), PF_Err_NONE);
    EXPECT_EQ(m.payloadGroup(), 12);
    value(kGroup).u.popup = 5;
    ASSERT_EQ(Send(), PF_Err_NONE);
    EXPECT_EQ(m.payloadGroup(), 5);
    m.command = kObjSetGroup;
    m.setPayloadGroup(4);
    ASSERT_EQ(Send(), PF_Err_NONE);
    EXPECT_EQ(value(kGroup).u.popup, 4);
    EXPECT_EQ(value(kFirstGroup).u.popup, 1);  // untouched
    m.setPayloadGroup(11);
    ASSERT_EQ(Send(), PF_Err_NONE);
    EXPECT_EQ(value(kGroup).u.popup, 12);
    m.command = kObjGetTarget;
    ASSERT_EQ(Send(), PF_Err_NONE);
    EXPECT_TRUE(m.renders->items.empty());
}

TEST_F(BeamsEffect, WrongMagicIsIgnored) {
    Row(*m.geometry, 4);
    m.magic = 0x1234;
    ASSERT_EQ(Send(), PF_Err_NONE);
    EXPECT_TRUE(m.renders->items.empty());
}

std::vector<uint64_t> gMixed;
PF_Err RecordMix(PF_ProgPtr, uint32_t size, const void* data) {
    uint64_t v = 0;
    if (size == 8) std::memcpy(&v, data, 8);
    gMixed.push_back(v);
    return PF_Err_NONE;
}

struct BeamsHash : BeamsEffect {
    uint64_t Hash(int64_t frame = 3) {
        gMixed.clear();
        m.command = kObjMixHash;
        m.hash->mixInCallback = &RecordMix;
        EXPECT_EQ(Send(frame), PF_Err_NONE);
        EXPECT_EQ(gMixed.size(), 1u);
        return gMixed.empty() ? 0 : gMixed[0];
    }
};

TEST_F(BeamsHash, StableOverFramesAndChangedByEveryDrawingValue) {
    const uint64_t base = Hash();
    EXPECT_EQ(Hash(9), base);
    EXPECT_TRUE(m.renders->items.empty());
    std::vector<uint64_t> seen{base};
    auto changes = [&](auto&& edit, const char* what) {
        edit();
        const uint64_t h = Hash();
        for (uint64_t s : seen) EXPECT_NE(h, s) << what;
        seen.push_back(h);
    };
    changes([&] { value(kBeamsType).u.popup = 2; }, "type");
    changes([&] { value(kAxis).u.popup = 1; }, "axis");
    changes([&] { value(kTime).u.floatValue = 40; }, "time");
    changes([&] { value(kRangeStart).u.floatValue = 10; }, "start");
    changes([&] { value(kRangeEnd).u.floatValue = 90; }, "end");
    changes([&] { value(kRangeOffset).u.floatValue = -10; }, "offset");
    changes([&] { value(kRandomize).u.checkbox = 1; }, "randomize");
    changes([&] { value(kSeed).u.slider = 11; }, "seed");
    changes([&] { value(kJoinEnds).u.checkbox = 1; }, "join");
    changes([&] { value(kFlipDirection).u.checkbox = 1; }, "flip");
    changes([&] { value(kLinesType).u.popup = 2; }, "bezier");
    changes([&] { value(kBezierPoints).u.slider = 50; }, "points");
    changes([&] { value(kBezierAxis).u.popup = 1; }, "bezier axis");
    changes([&] { value(kStartCurve).u.floatValue = 0.5; }, "start curve");
    changes([&] { value(kEndCurve).u.floatValue = 0.5; }, "end curve");
    changes([&] { value(kStartThickness).u.floatValue = 4; }, "start thickness");
    changes([&] { value(kEndThickness).u.floatValue = 5; }, "end thickness");
    changes([&] { value(kColorsFromVertices).u.checkbox = 0; }, "colours");
    changes([&] { value(kColor).u.color.red = 10; }, "colour");
    changes([&] { value(kOpacityFromVertices).u.checkbox = 0; }, "opacities");
    changes([&] { value(kOpacity).u.fixed = 10 * 65536; }, "opacity");
    changes([&] { value(kScaleFromVertices).u.checkbox = 0; }, "scale");
    changes([&] { value(kPerspective).u.checkbox = 0; }, "perspective");
    changes([&] { value(kFirstGroup).u.popup = 3; }, "first group");
    changes([&] { value(kSecondGroup).u.popup = 4; }, "second group");
    changes([&] { value(kGroup).u.popup = 2; }, "effect group");
    // The old thickness control counts only in an old project.
    const uint64_t before = Hash();
    value(kEndThicknessOld).u.floatValue = 9;
    EXPECT_EQ(Hash(), before);
    SetRecordFlags(kSeqFlagFromV2);
    EXPECT_NE(Hash(), before);
}

TEST_F(BeamsEffect, HiddenParameters) {
    ASSERT_EQ(Changed(), PF_Err_NONE);
    // Defaults: Objects, straight lines, colours and opacity from the vertices, no randomize.
    for (int32_t i : {kOpacity, kColor, kSeed, kBezierSettings, kLinesType, kFirstGroup,
                      kSecondGroup, kDummy, kEndThicknessOld})
        EXPECT_TRUE(hidden(i)) << i;
    for (int32_t i : {kAxis, kGroup, kJoinEnds, kEndThickness, kTime, kRangeEnd})
        EXPECT_FALSE(hidden(i)) << i;
    value(kOpacityFromVertices).u.checkbox = 0;
    value(kColorsFromVertices).u.checkbox = 0;
    value(kRandomize).u.checkbox = 1;
    value(kBeamsType).u.popup = 2;
    ASSERT_EQ(Changed(PF_Cmd_UPDATE_PARAMS_UI), PF_Err_NONE);
    for (int32_t i : {kOpacity, kColor, kSeed, kLinesType, kFirstGroup, kSecondGroup})
        EXPECT_FALSE(hidden(i)) << i;
    for (int32_t i : {kAxis, kGroup, kJoinEnds, kDummy, kBezierSettings})
        EXPECT_TRUE(hidden(i)) << i;
    // The bezier settings show only for bezier lines between groups.
    value(kLinesType).u.popup = 2;
    ASSERT_EQ(Changed(), PF_Err_NONE);
    EXPECT_FALSE(hidden(kBezierSettings));
    value(kBeamsType).u.popup = 1;
    ASSERT_EQ(Changed(), PF_Err_NONE);
    EXPECT_TRUE(hidden(kBezierSettings));
    // A project made before the split shows the old thickness control instead.
    SetRecordFlags(kSeqFlagFromV2);
    ASSERT_EQ(Changed(), PF_Err_NONE);
    EXPECT_FALSE(hidden(kEndThicknessOld));
    EXPECT_TRUE(hidden(kEndThickness));
    EXPECT_TRUE(hidden(kDummy));
}

}  // namespace
}  // namespace tv
