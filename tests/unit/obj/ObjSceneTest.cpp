// The OBJ source through the embedded host: the footage of the chosen layer, sequences frame by
// frame, the settings as read from the parameters, the hash and the panel.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "host/Gather.h"
#include "standalone/Document.h"
#include "standalone/EmbeddedHost.h"
#include "standalone/ParamText.h"
#include "tests/unit/obj/ObjTestFiles.h"

namespace tv {
namespace {

using standalone::Layer;
using standalone::LayerKind;

constexpr int32_t kLayerParam = 1, kAfterParam = 3, kResolutionParam = 4, kCenterParam = 6;
constexpr int32_t kCenterZParam = 7, kInvertYParam = 9, kUniformParam = 11, kScaleXParam = 12;
constexpr int32_t kScaleYParam = 13, kColorParam = 19, kOpacityParam = 20, kFacetsParam = 21;
constexpr int32_t kTextureParam = 22, kGroupParam = 23;

std::vector<uint64_t> gMixed;
PF_Err RecordMix(PF_ProgPtr, uint32_t size, const void* data) {
    uint64_t v = 0;
    if (size == 8) std::memcpy(&v, data, 8);
    gMixed.push_back(v);
    return PF_Err_NONE;
}

class ObjScene : public ::testing::Test {
  protected:
    standalone::EmbeddedHost host;
    standalone::Comp& comp = host.addComp("c", 1000, 800);
    Layer& self = host.addLayer(comp, "carrier", LayerKind::Solid);
    standalone::EffectInstance& fx = host.applyEffectInstance(self, "KDL TAVRSRC OBJ");
    std::filesystem::path dir = objtest::TempFolder();

    PF_ParamDef& value(int32_t index) { return fx.params[size_t(index)].value; }

    // An OBJ footage layer whose file i holds i + 1 vertices along X; param 1 points at it.
    Layer& Footage(int files) {
        Layer& l = host.addLayer(comp, "mesh", LayerKind::Obj);
        for (int i = 0; i < files; ++i) {
            std::string text;
            for (int v = 0; v <= i; ++v) text += "v " + std::to_string(v) + " 0 0\n";
            l.objFiles.push_back(
                objtest::WriteFile(dir, "frame_" + std::to_string(i) + ".obj", text));
        }
        value(kLayerParam).u.layerId = int32_t(l.id);
        return l;
    }

    GeometryStore Run(int64_t frame = 0) {
        ObjectMessage m;
        InitObjectMessage(m);
        EXPECT_EQ(Gather(host, self.uid, comp.frameTime(frame), m), PF_Err_NONE);
        GeometryStore out = *m.geometry;
        DisposeObjectMessage(m);
        return out;
    }

    uint64_t Hash(int64_t frame = 0) {
        gMixed.clear();
        ObjectMessage m;
        InitObjectMessage(m);
        m.command = kObjMixHash;
        m.hash->mixInCallback = &RecordMix;
        EXPECT_EQ(SendMessage(host, self.uid, comp.frameTime(frame), m, 0, 0), PF_Err_NONE);
        DisposeObjectMessage(m);
        EXPECT_EQ(gMixed.size(), 1u);
        return gMixed.empty() ? 0 : gMixed[0];
    }
};

TEST_F(ObjScene, ParameterTable) {
    const standalone::InstalledEffect* e = host.findInstalledByMatchName("KDL TAVRSRC OBJ");
    ASSERT_NE(e, nullptr);
    ASSERT_EQ(e->params.size(), 24u);
    const int32_t disk[] = {0,  26, 3,  4,  5,  7,  8,  9,  23, 24, 25, 10,
                            11, 12, 13, 14, 15, 16, 17, 18, 19, 22, 27, 20};
    for (size_t i = 0; i < 24; ++i) EXPECT_EQ(e->params[i].diskId, disk[i]) << i;
    EXPECT_STREQ(e->params[3].text,
                 "Do Nothing|Loop Sequence|Ping Pong Sequence|Freeze Last Frame");
    EXPECT_EQ(e->params[3].def[0], 4);
    EXPECT_EQ(e->params[4].def[0], 100);
    EXPECT_EQ(e->params[13].def[0], 100);
    EXPECT_EQ(e->params[13].sliderMax, 100);
    EXPECT_EQ(e->params[20].def[0], 50);
    EXPECT_EQ(e->params[23].def[0], 12);
    EXPECT_STREQ(e->params[22].text,
                 "Import from OBJ|Generate based on Position|Generate based on ID");
    // A new instance: Import Facets off, Uniform Scale on.
    EXPECT_EQ(value(kFacetsParam).u.checkbox, 0);
    EXPECT_EQ(value(kUniformParam).u.checkbox, 1);
}

TEST_F(ObjScene, ImportFacetsStartsOffButResetsOnAndStartsCollapsed) {
    const standalone::InstalledEffect* e = host.findInstalledByMatchName("KDL TAVRSRC OBJ");
    ASSERT_NE(e, nullptr);
    const ParamSpec& facets = e->params[size_t(kFacetsParam)];
    const ParamSpec& texture = e->params[size_t(kTextureParam)];
    EXPECT_EQ(facets.def[0], 1);  // what a reset restores
    ASSERT_TRUE(facets.value.has_value());
    EXPECT_EQ(*facets.value, 0);  // what a new instance shows
    EXPECT_EQ(DefaultParamValue(facets).u.checkbox, 0);
    EXPECT_EQ(standalone::DescribeParamRange(facets), "off; default on");
    for (const ParamSpec* s : {&facets, &texture}) {
        EXPECT_EQ(s->flags, PF_ParamFlag_CANNOT_TIME_VARY | PF_ParamFlag_CANNOT_INTERP |
                                PF_ParamFlag_SUPERVISE | 0x20u)
            << s->name;
    }
    // Only this checkbox starts apart from its default.
    EXPECT_FALSE(e->params[size_t(kUniformParam)].value.has_value());
    EXPECT_EQ(standalone::DescribeParamRange(e->params[size_t(kUniformParam)]), "on");
}

TEST_F(ObjScene, NoLayerChosenGivesAnEmptyObject) {
    const GeometryStore g = Run();
    EXPECT_TRUE(g.positions.empty());
    ASSERT_EQ(g.ranges.size(), 1u);
    EXPECT_EQ(g.ranges[0].vertexCount, 0u);
}

TEST_F(ObjScene, LayerWithoutObjFootageGivesAnEmptyObject) {
    Layer& solid = host.addLayer(comp, "other", LayerKind::Solid);
    value(kLayerParam).u.layerId = int32_t(solid.id);
    EXPECT_TRUE(Run().positions.empty());
}

TEST_F(ObjScene, ReaderMessagesReachTheHostConsole) {
    Layer& l = Footage(1);
    objtest::WriteFile(dir, "frame_0.obj", "v 0 0 0\nv 1 2\nf 1 2 3\n");
    value(kFacetsParam).u.checkbox = 1;
    host.takeDiagnostics();
    EXPECT_TRUE(Run().positions.empty());
    const std::vector<std::string> lines = host.takeDiagnostics();
    EXPECT_NE(std::find(lines.begin(), lines.end(), "Incomplete Parse"), lines.end());
    EXPECT_NE(std::find(lines.begin(), lines.end(), "Position Range Check Failed"), lines.end());
    EXPECT_EQ(l.objFiles.size(), 1u);
}

TEST_F(ObjScene, DeletedFileGivesAnEmptyObject) {
    Layer& l = Footage(1);
    std::filesystem::remove(l.objFiles[0]);
    EXPECT_TRUE(Run().positions.empty());
}

TEST_F(ObjScene, StillFileIsPlacedScaledAndColoured) {
    Footage(3);  // a sequence of three: frame 0 is the first file, one vertex
    Layer& still = host.addLayer(comp, "still", LayerKind::Obj);
    still.objFiles.push_back(objtest::WriteFile(dir, "still.obj", "v 1 2 3\nv -1 0 0\n"));
    value(kLayerParam).u.layerId = int32_t(still.id);
    value(kCenterParam).u.point[0] = 100 * 65536;
    value(kCenterParam).u.point[1] = 50 * 65536;
    value(kCenterZParam).u.floatValue = -5;
    value(kScaleXParam).u.floatValue = 200;
    value(kScaleYParam).u.floatValue = 10;  // ignored while Uniform Scale is on
    value(kInvertYParam).u.checkbox = 1;
    value(kColorParam).u.color = PF_Pixel8{255, 255, 0, 0};
    value(kOpacityParam).u.fixed = 25 * 65536;
    value(kGroupParam).u.popup = 4;
    const GeometryStore g = Run(5);  // a still shows on every frame
    ASSERT_EQ(g.positions.size(), 2u);
    EXPECT_EQ(g.positions[0], (Vec3f{102, 46, 1}));
    EXPECT_EQ(g.positions[1], (Vec3f{98, 50, -5}));
    EXPECT_EQ(g.colors[0], (Color4f{1, 0, 0, 0.25f}));
    ASSERT_EQ(g.ranges.size(), 1u);
    EXPECT_EQ(g.ranges[0].group, 4);
    // The default normal, through the scale (2, -2, 2).
    EXPECT_EQ(g.normals[0], (Vec3f{0, 2, 0}));
}

TEST_F(ObjScene, UniformScaleOffUsesEachAxis) {
    Layer& still = host.addLayer(comp, "still", LayerKind::Obj);
    still.objFiles.push_back(objtest::WriteFile(dir, "still.obj", "v 1 1 1\n"));
    value(kLayerParam).u.layerId = int32_t(still.id);
    value(kCenterParam).u.point[0] = value(kCenterParam).u.point[1] = 0;
    value(kCenterZParam).u.floatValue = 0;
    value(kUniformParam).u.checkbox = 0;
    value(kScaleXParam).u.floatValue = 200;
    value(kScaleYParam).u.floatValue = 300;
    const GeometryStore g = Run();
    ASSERT_EQ(g.positions.size(), 1u);
    EXPECT_EQ(g.positions[0], (Vec3f{2, 3, 1}));
}

TEST_F(ObjScene, SequencePingPongFrameByFrame) {
    Footage(3);
    value(kAfterParam).u.popup = 3;
    const size_t expected[] = {1, 2, 3, 2, 1, 2, 3};
    for (int f = 0; f < 7; ++f) EXPECT_EQ(Run(f).positions.size(), expected[f]) << f;
}

TEST_F(ObjScene, SequenceDoNothingEndsEmpty) {
    Footage(2);
    value(kAfterParam).u.popup = 1;
    EXPECT_EQ(Run(1).positions.size(), 2u);
    EXPECT_TRUE(Run(2).positions.empty());
    value(kAfterParam).u.popup = 4;
    EXPECT_EQ(Run(9).positions.size(), 2u);
}

TEST_F(ObjScene, SequenceOfOneFileIsAStill) {
    Footage(1);
    value(kAfterParam).u.popup = 1;
    EXPECT_EQ(Run(30).positions.size(), 1u);
    EXPECT_EQ(Hash(0), Hash(30));
}

TEST_F(ObjScene, HashChangesWithTheFileOfTheFrame) {
    Footage(3);
    value(kAfterParam).u.popup = 2;
    EXPECT_NE(Hash(0), Hash(1));
    EXPECT_EQ(Hash(0), Hash(3));
    const uint64_t before = Hash(0);
    value(kTextureParam).u.popup = 3;
    EXPECT_NE(Hash(0), before);
}

TEST_F(ObjScene, FacetsAndResolutionFromTheParameters) {
    Layer& l = host.addLayer(comp, "mesh", LayerKind::Obj);
    std::string text;
    for (int j = 0; j < 8; ++j)
        for (int i = 0; i < 8; ++i)
            text += "v " + std::to_string(i) + " " + std::to_string(j) + " 0\n";
    for (int j = 0; j < 7; ++j)
        for (int i = 0; i < 7; ++i) {
            const int a = j * 8 + i + 1;
            text += "f " + std::to_string(a) + " " + std::to_string(a + 1) + " " +
                    std::to_string(a + 9) + "\n";
            text += "f " + std::to_string(a) + " " + std::to_string(a + 9) + " " +
                    std::to_string(a + 8) + "\n";
        }
    l.objFiles.push_back(objtest::WriteFile(dir, "grid.obj", text));
    value(kLayerParam).u.layerId = int32_t(l.id);
    EXPECT_TRUE(Run().faces.empty());  // a new instance does not import facets
    value(kFacetsParam).u.checkbox = 1;
    EXPECT_EQ(Run().faces.size(), 98u);
    value(kResolutionParam).u.fixed = 50 * 65536;
    const GeometryStore half = Run();
    EXPECT_LE(half.faces.size(), 49u);
    EXPECT_GT(half.faces.size(), 0u);
    EXPECT_EQ(half.positions.size(), half.normals.size());
}

TEST_F(ObjScene, UniformScaleRenamesAndHides) {
    ASSERT_EQ(host.callEffect(fx, PF_Cmd_UPDATE_PARAMS_UI, A_Time{0, 1}, nullptr), 0);
    EXPECT_EQ(host.paramName(fx.uid, kScaleXParam), "OBJ Scale");
    EXPECT_TRUE(fx.params[13].hidden);
    EXPECT_TRUE(fx.params[14].hidden);
    EXPECT_TRUE(fx.params[2].hidden);
    EXPECT_FALSE(fx.params[3].hidden);
    value(kUniformParam).u.checkbox = 0;
    ASSERT_EQ(host.callEffect(fx, PF_Cmd_USER_CHANGED_PARAM, A_Time{0, 1}, nullptr), 0);
    EXPECT_EQ(host.paramName(fx.uid, kScaleXParam), "OBJ X Scale");
    EXPECT_FALSE(fx.params[13].hidden);
    EXPECT_FALSE(fx.params[14].hidden);
    EXPECT_TRUE(fx.params[2].hidden);
}

TEST_F(ObjScene, SetGroupOutsideTheRangeIsNone) {
    ObjectMessage m;
    InitObjectMessage(m);
    m.command = kObjSetGroup;
    m.setPayloadGroup(11);
    EXPECT_EQ(SendMessage(host, self.uid, comp.frameTime(0), m, 0, 0), PF_Err_NONE);
    DisposeObjectMessage(m);
    EXPECT_EQ(value(kGroupParam).u.popup, 12);
}

TEST(ObjDocument, SequenceLayerChosenByName) {
    const auto dir = objtest::TempFolder();
    std::filesystem::create_directories(dir / "meshes");
    for (int i = 1; i <= 3; ++i) {
        std::string text;
        for (int v = 0; v < i; ++v) text += "v " + std::to_string(v) + " 0 0\n";
        objtest::WriteFile(dir / "meshes", "f_0" + std::to_string(i) + ".obj", text);
    }
    const std::string doc = R"({"tavrin": 1, "comps": [{"name": "C", "width": 64, "height": 32,
        "layers": [
          {"name": "Mesh", "obj": {"sequence": "meshes/f_##.obj", "first": 1, "last": 3}},
          {"name": "Carrier", "solid": {"color": "#000000"}, "effects": [
            {"effect": "Tavrin OBJ Object",
             "params": {"OBJ Layer": "Mesh", "After OBJ Sequence Ends": "Loop Sequence"}}]}]}]})";
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(doc, (dir / "doc.json").string(), host);
    standalone::Comp* comp = host.compByName("C");
    ASSERT_NE(comp, nullptr);
    const Layer& carrier = *comp->layers[1];
    const size_t expected[] = {1, 2, 3, 1, 2};
    for (int f = 0; f < 5; ++f) {
        ObjectMessage m;
        InitObjectMessage(m);
        ASSERT_EQ(Gather(host, carrier.uid, comp->frameTime(f), m), PF_Err_NONE);
        EXPECT_EQ(m.geometry->positions.size(), expected[f]) << f;
        DisposeObjectMessage(m);
    }
}

}  // namespace
}  // namespace tv
