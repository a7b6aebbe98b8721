// The layers source through the embedded host: which lights and 3D layers it picks, where their
// vertices land (worked out by hand through parents), colours, opacity and the hash.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "host/Gather.h"
#include "host/TextParam.h"
#include "sources/LayersGenerate.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

using standalone::Layer;
using standalone::LayerKind;

constexpr int32_t kObjectTypeParam = 1, kLightTypeParam = 2, kLayerTypeParam = 3;
constexpr int32_t kNameTextParam = 5, kGetColorParam = 6, kColorParam = 7;
constexpr int32_t kOpacityFromOpacityParam = 9, kOpacityParam = 10;
constexpr int32_t kBetweenParam = 11, kBetweenCountParam = 12, kCopiesParam = 14;
constexpr int32_t kGroupParam = 33;

std::vector<uint64_t> gMixed;
PF_Err RecordMix(PF_ProgPtr, uint32_t size, const void* data) {
    uint64_t v = 0;
    if (size == 8) std::memcpy(&v, data, 8);
    gMixed.push_back(v);
    return PF_Err_NONE;
}

class LayersScene : public ::testing::Test {
  protected:
    standalone::EmbeddedHost host;
    standalone::Comp& comp = host.addComp("c", 1000, 800);
    Layer& self = host.addLayer(comp, "carrier", LayerKind::Solid);
    standalone::EffectInstance& fx = host.applyEffectInstance(self, "KDL TAVRSRC Lights");

    PF_ParamDef& value(int32_t index) { return fx.params[size_t(index)].value; }

    // A parent null at (500, 300, 0) turned 90 degrees about Z: (x, y, z) -> (500 - y, 300 + x, z).
    Layer& Parent() {
        Layer& p = host.addLayer(comp, "Parent", LayerKind::Null);
        p.is3D = true;
        Place(p, {0, 0, 0}, {500, 300, 0});
        p.transform.rotation.value = {90, 0, 0, 0};
        return p;
    }

    static void Place(Layer& l, std::array<double, 4> anchor, std::array<double, 4> position) {
        standalone::Transform2D& t = l.transform;
        t.set = true;
        t.anchor.value = anchor;
        t.position.value = position;
        t.scale.value = {100, 100, 100, 0};
        t.opacity.value = {100, 0, 0, 0};
    }

    Layer& PointLight(const std::string& name, std::array<double, 4> position, float intensity,
                      std::array<double, 4> color = {1, 1, 1, 0}) {
        Layer& l = host.addLayer(comp, name, LayerKind::Light);
        l.light.type = standalone::kLightPoint;
        l.light.position.value = position;
        l.light.intensity.value = {intensity, 0, 0, 0};
        l.light.color.value = color;
        return l;
    }

    Layer& SpotLight(const std::string& name, std::array<double, 4> position,
                     std::array<double, 4> target) {
        Layer& l = PointLight(name, position, 100);
        l.light.type = standalone::kLightSpot;
        l.light.pointOfInterest.value = target;
        return l;
    }

    void SetPrefix(const std::string& prefix) {
        ASSERT_EQ(WriteTextParam(host, fx.uid, kNameTextParam, prefix), PF_Err_NONE);
    }

    GeometryStore Run() {
        ObjectMessage m;
        InitObjectMessage(m);
        EXPECT_EQ(Gather(host, self.uid, comp.frameTime(0), m), PF_Err_NONE);
        GeometryStore out = *m.geometry;
        DisposeObjectMessage(m);
        return out;
    }

    uint64_t Hash() {
        gMixed.clear();
        ObjectMessage m;
        InitObjectMessage(m);
        m.command = kObjMixHash;
        m.hash->mixInCallback = &RecordMix;
        EXPECT_EQ(SendMessage(host, self.uid, comp.frameTime(0), m, 0, 0), PF_Err_NONE);
        DisposeObjectMessage(m);
        EXPECT_EQ(gMixed.size(), 1u);
        return gMixed.empty() ? 0 : gMixed[0];
    }
};

void ExpectVec(const Vec3f& v, float x, float y, float z, float tol = 1e-3f) {
    EXPECT_NEAR(v.x, x, tol);
    EXPECT_NEAR(v.y, y, tol);
    EXPECT_NEAR(v.z, z, tol);
}

TEST_F(LayersScene, TwoPointLightsOneOfThemParented) {
    Layer& parent = Parent();
    PointLight("Light A", {100, 200, -50, 0}, 150, {1, 0.5, 0.25, 0});
    Layer& b = PointLight("Light B", {10, 20, 30, 0}, 40);
    b.parent = parent.id;
    const GeometryStore g = Run();
    ASSERT_EQ(g.positions.size(), 2u);
    // Unparented: the position as it stands.
    ExpectVec(g.positions[0], 100, 200, -50);
    // (10, 20, 30) turned 90 degrees about Z is (-20, 10, 30), then moved by (500, 300, 0).
    ExpectVec(g.positions[1], 480, 310, 30);
    // Colour from the light, alpha the intensity / 100 clamped to 0..1.
    EXPECT_EQ(g.colors[0], (Color4f{1, 0.5f, 0.25f, 1}));
    EXPECT_EQ(g.colors[1], (Color4f{1, 1, 1, 0.4f}));
    ExpectVec(g.normals[0], 0, -1, 0, 0);
    ExpectVec(g.normals[1], 0, -1, 0, 0);
    // Point lights: one row, lattice (i, 0, 1), uvw ((i + 1) / 2, 1, 0).
    EXPECT_EQ(g.lattice[1], (Vec3i{1, 0, 1}));
    ExpectVec(g.uvw[0], 0.5f, 1, 0, 0);
    ASSERT_EQ(g.ranges.size(), 1u);
    EXPECT_EQ(g.ranges[0].kind, 1);
    EXPECT_EQ(g.ranges[0].vertexCount, 2u);
    EXPECT_EQ(g.ranges[0].latticeSize[0], 2);
    EXPECT_EQ(g.ranges[0].latticeSize[1], 1);
    EXPECT_EQ(g.ranges[0].latticeSize[2], 1);
}

TEST_F(LayersScene, LightsAreFilteredByTypeSwitchTimeAndName) {
    PointLight("Light 1", {1, 0, 0, 0}, 100);
    PointLight("light 2", {2, 0, 0, 0}, 100);  // prefix compare is case sensitive
    PointLight("Light off", {3, 0, 0, 0}, 100).enabled = false;
    Layer& later = PointLight("Light later", {4, 0, 0, 0}, 100);
    later.inPoint = 5;
    SpotLight("Light spot", {5, 0, 0, 0}, {5, 0, 10, 0});
    SetPrefix("Light");
    GeometryStore g = Run();
    ASSERT_EQ(g.positions.size(), 1u);
    EXPECT_EQ(g.positions[0].x, 1);

    SetPrefix("");  // the empty prefix passes every name
    g = Run();
    ASSERT_EQ(g.positions.size(), 2u);
    EXPECT_EQ(g.positions[1].x, 2);

    value(kLightTypeParam).u.popup = 2;  // spot lights only
    g = Run();
    ASSERT_EQ(g.positions.size(), 1u);
    EXPECT_EQ(g.positions[0].x, 5);
}

TEST_F(LayersScene, ParentedNullsThroughTheirAnchor) {
    Layer& parent = Parent();
    // Anchor (5, 0, 0), scaled 200 %, turned 90 degrees about X, at (40, 0, 100) in the parent:
    // the anchor lands on the position, (40, 0, 100) -> (500 - 0, 300 + 40, 100).
    Layer& child = host.addLayer(comp, "Child", LayerKind::Null);
    child.is3D = true;
    child.parent = parent.id;
    Place(child, {5, 0, 0, 0}, {40, 0, 100, 0});
    child.transform.scale.value = {200, 200, 200, 0};
    child.transform.rotationX.value = {90, 0, 0, 0};
    child.transform.opacity.value = {0, 0, 0, 0};
    Layer& flat = host.addLayer(comp, "Flat", LayerKind::Null);  // 2D: never selected
    Place(flat, {0, 0, 0}, {1, 2, 0});
    Layer& red = host.addLayer(comp, "Red", LayerKind::Solid);
    red.is3D = true;
    red.solidColor[0] = 1, red.solidColor[1] = 0, red.solidColor[2] = 0;
    Place(red, {50, 40, 0}, {7, 8, 9});
    red.transform.opacity.value = {250, 0, 0, 0};

    value(kObjectTypeParam).u.popup = 2;
    value(kOpacityFromOpacityParam).u.checkbox = 1;
    GeometryStore g = Run();  // Nulls
    ASSERT_EQ(g.positions.size(), 2u);
    ExpectVec(g.positions[0], 500, 300, 0);
    ExpectVec(g.normals[0], 0, 0, 1);
    ExpectVec(g.positions[1], 500, 340, 100);
    // Z axis: scaled (0, 0, 2), about X by 90 -> (0, -2, 0), about Z by 90 -> (2, 0, 0).
    ExpectVec(g.normals[1], 1, 0, 0);
    // Not a solid: white; the null of opacity 0 gives alpha 0.
    EXPECT_EQ(g.colors[0], (Color4f{1, 1, 1, 1}));
    EXPECT_EQ(g.colors[1], (Color4f{1, 1, 1, 0}));

    value(kLayerTypeParam).u.popup = 2;  // AV layers: the solid, opacity not clamped
    g = Run();
    ASSERT_EQ(g.positions.size(), 1u);
    ExpectVec(g.positions[0], 7, 8, 9);
    EXPECT_EQ(g.colors[0], (Color4f{1, 0, 0, 2.5f}));

    value(kLayerTypeParam).u.popup = 4;  // all 3D layers, in comp order
    g = Run();
    ASSERT_EQ(g.positions.size(), 3u);
    ExpectVec(g.positions[2], 7, 8, 9);

    value(kLayerTypeParam).u.popup = 3;  // the separator selects nothing
    EXPECT_TRUE(Run().positions.empty());

    // With the opacity checkbox off, the Opacity parameter stands for every vertex.
    value(kLayerTypeParam).u.popup = 1;
    value(kOpacityFromOpacityParam).u.checkbox = 0;
    value(kOpacityParam).u.fixed = 25 << 16;
    g = Run();
    EXPECT_EQ(g.colors[1].a, 0.25f);
    EXPECT_EQ(g.colors[1].r, 1);
}

TEST_F(LayersScene, NoQualifyingLayerStillPushesAnEmptyRange) {
    PointLight("Key", {1, 2, 3, 0}, 100);
    SetPrefix("Fill");
    value(kGroupParam).u.popup = 4;
    const GeometryStore g = Run();
    EXPECT_TRUE(g.positions.empty());
    ASSERT_EQ(g.ranges.size(), 1u);
    EXPECT_EQ(g.ranges[0].group, 4);
    EXPECT_EQ(g.ranges[0].vertexCount, 0u);
    EXPECT_EQ(g.ranges[0].faceCount, 0u);
}

TEST_F(LayersScene, SingleVertexHasDimensionMaskZero) {
    PointLight("Key", {1, 2, 3, 0}, 100);
    GeometryStore g = Run();
    ASSERT_EQ(g.positions.size(), 1u);
    EXPECT_EQ(g.ranges[0].kind, 0);
    value(kCopiesParam).u.slider = 3;  // three copies of one vertex: a column, mask 3, no faces
    g = Run();
    ASSERT_EQ(g.positions.size(), 3u);
    EXPECT_EQ(g.ranges[0].kind, 3);
    EXPECT_EQ(g.ranges[0].latticeSize[0], 1);
    EXPECT_EQ(g.ranges[0].latticeSize[1], 3);
    EXPECT_TRUE(g.faces.empty());
}

TEST_F(LayersScene, ParentedSpotLightNormalPointsToItsWorldTarget) {
    Layer& parent = Parent();
    Layer& spot = SpotLight("Spot", {10, 20, 30, 0}, {10, 20, 130, 0});
    spot.parent = parent.id;
    value(kLightTypeParam).u.popup = 2;
    const GeometryStore g = Run();
    ASSERT_EQ(g.positions.size(), 1u);  // one light: step 1 even with the option on
    ExpectVec(g.positions[0], 480, 310, 30);
    ExpectVec(g.normals[0], 0, 0, 1, 1e-6f);
}

TEST_F(LayersScene, TwoSpotLightsFiftyVerticesEndOnTheSecond) {
    SpotLight("S1", {0, 0, 0, 0}, {0, 100, 0, 0});
    SpotLight("S2", {300, 0, 0, 0}, {300, -100, 0, 0});
    value(kLightTypeParam).u.popup = 2;
    GeometryStore g = Run();
    ASSERT_EQ(g.positions.size(), 50u);
    EXPECT_EQ(g.positions[0], (Vec3f{0, 0, 0}));
    EXPECT_EQ(g.positions[49], (Vec3f{300, 0, 0}));
    ExpectVec(g.normals[10], 0, -1, 0, 0);

    value(kBetweenCountParam).u.slider = 1;
    g = Run();
    ASSERT_EQ(g.positions.size(), 1u);
    EXPECT_EQ(g.positions[0], (Vec3f{0, 0, 0}));

    value(kBetweenParam).u.checkbox = 0;  // off: the lights themselves, normals to the targets
    g = Run();
    ASSERT_EQ(g.positions.size(), 2u);
    ExpectVec(g.normals[0], 0, 1, 0, 0);
    ExpectVec(g.normals[1], 0, -1, 0, 0);
}

TEST_F(LayersScene, ColourOverrideUsesTheColourParameter) {
    PointLight("Key", {1, 2, 3, 0}, 60, {0, 1, 0, 0});
    value(kGetColorParam).u.checkbox = 0;
    value(kColorParam).u.color = PF_Pixel8{255, 51, 0, 255};
    const GeometryStore g = Run();
    ASSERT_EQ(g.colors.size(), 1u);
    EXPECT_EQ(g.colors[0], (Color4f{51 / 255.0f, 0, 1, 0.6f}));
}

TEST_F(LayersScene, HashFollowsTheComposition) {
    Layer& key = PointLight("Key", {1, 2, 3, 0}, 100);
    const uint64_t base = Hash();
    EXPECT_EQ(Hash(), base);
    key.light.position.value = {1, 2, 4, 0};
    const uint64_t moved = Hash();
    EXPECT_NE(moved, base);
    key.light.intensity.value = {50, 0, 0, 0};
    const uint64_t dimmer = Hash();
    EXPECT_NE(dimmer, moved);
    value(kCopiesParam).u.slider = 2;
    const uint64_t copies = Hash();
    EXPECT_NE(copies, dimmer);
    SetPrefix("K");
    EXPECT_NE(Hash(), copies);
}

// A host whose world transform fails for one layer.
class FailingHost : public standalone::EmbeddedHost {
  public:
    AEGP_LayerH failing = 0;
    void layerToWorldXform(AEGP_LayerH l, const A_Time& t, double m[16]) override {
        if (l == failing) throw HostErrorCode{PF_Err_OUT_OF_MEMORY};
        EmbeddedHost::layerToWorldXform(l, t, m);
    }
};

TEST(LayersFailure, AHostErrorStopsTheWalkAndKeepsWhatWasFound) {
    FailingHost host;
    standalone::Comp& comp = host.addComp("c", 100, 100);
    const char* kNames[] = {"L0", "L1", "L2"};
    for (int i = 0; i < 3; ++i) {
        Layer& l = host.addLayer(comp, kNames[i], LayerKind::Light);
        l.light.position.value = {double(i), 0, 0, 0};
        l.light.intensity.value = {100, 0, 0, 0};
    }
    host.failing = comp.layers[1]->uid;
    LayersSettings s;
    GatheredLayers g;
    EXPECT_EQ(GatherLayers(host, comp.uid, comp.frameTime(0), s, g), PF_Err_OUT_OF_MEMORY);
    ASSERT_EQ(g.base.vertexCount(), 1u);
    EXPECT_EQ(g.base.positions[0], 0.0);
    EXPECT_EQ(g.base.colors.size(), 1u);
    EXPECT_EQ(g.base.normals.size(), 1u);
}

}  // namespace
}  // namespace tv
