#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "host/CameraSnapshot.h"

namespace tv {
namespace {

// A comp of fixed layers, enough for the light walk.
struct LightsHost : HostServices {
    struct Layer {
        std::string name;
        uint32_t flags = AEGP_LayerFlag_VIDEO_ACTIVE;
        bool active = true;
        int32_t objectType = AEGP_ObjectType_LIGHT;
        int32_t lightType = AEGP_LightType_POINT;
        double x = 0;
        bool failName = false;
    };
    std::vector<Layer> layers;
    int32_t lastTime = -1;

    AEGP_EffectRefH effectFromInstance(AEGP_PluginID, PF_ProgPtr) override { return 1; }
    AEGP_LayerH effectLayer(AEGP_EffectRefH) override { return 100; }
    PF_Err disposeEffect(AEGP_EffectRefH) override { return PF_Err_NONE; }
    AEGP_CompH layerParentComp(AEGP_LayerH) override { return 7; }
    A_Time convertEffectToCompTime(PF_ProgPtr, int32_t t, uint32_t scale) override {
        lastTime = t;
        return A_Time{t, scale};
    }
    int32_t compNumLayers(AEGP_CompH) override { return int32_t(layers.size()); }
    AEGP_LayerH compLayerByIndex(AEGP_CompH, int32_t i) override { return AEGP_LayerH(i + 1); }
    const Layer& at(AEGP_LayerH l) const { return layers[size_t(l - 1)]; }
    uint32_t layerFlags(AEGP_LayerH l) override { return at(l).flags; }
    bool layerActiveAtTime(AEGP_LayerH l, const A_Time&) override { return at(l).active; }
    std::string layerName(AEGP_LayerH l) override {
        if (at(l).failName) throw HostErrorCode{PF_Err_BAD_CALLBACK_PARAM};
        return at(l).name;
    }
    int32_t layerObjectType(AEGP_LayerH l) override { return at(l).objectType; }
    int32_t layerLightType(AEGP_LayerH l) override { return at(l).lightType; }
    void layerToWorldXform(AEGP_LayerH l, const A_Time&, double m[16]) override {
        for (int i = 0; i < 16; ++i) m[i] = i % 5 == 0 ? 1 : 0;
        m[12] = at(l).x, m[13] = 2, m[14] = 3;
    }
    void layerStreamValue(AEGP_LayerH, int32_t stream, const A_Time&, double v[4]) override {
        v[0] = v[1] = v[2] = v[3] = 0;
        if (stream == 16) v[0] = 150;
        if (stream == 17) v[0] = 0.25, v[1] = 0.5, v[2] = 0.75;
        if (stream == 20) v[0] = 40;
        if (stream == 21) v[0] = 12;
    }
};

struct LightsFixture : ::testing::Test {
    LightsHost host;
    PF_InData in;
    void SetUp() override {
        in.pica_basicP = &host;
        in.current_time = 3000;
        in.time_scale = 1000;
        auto add = [this](std::string name, double x) {
            LightsHost::Layer l;
            l.name = std::move(name);
            l.x = x;
            host.layers.push_back(l);
            return &host.layers.back();
        };
        add("Light 1", 1);
        add("light 2", 2);
        add("Light spot", 3)->lightType = 3;
        add("Light off", 4)->active = false;
        add("Light hidden", 5)->flags = 0;
        add("Light solid", 6)->objectType = 0;
    }
};

TEST_F(LightsFixture, PrefixIsARawByteComparison) {
    std::vector<SceneLight> lights;
    ASSERT_EQ(CollectLights(&in, lights, "Light", 0.0), PF_Err_NONE);
    ASSERT_EQ(lights.size(), 1u);
    EXPECT_EQ(lights[0].position[0], 1.0);
    EXPECT_EQ(lights[0].position[1], 2.0);
    EXPECT_EQ(lights[0].position[2], 3.0);
    EXPECT_FLOAT_EQ(lights[0].intensity, 150.0f);
    EXPECT_FLOAT_EQ(lights[0].color[1], 0.5f);
    EXPECT_EQ(lights[0].shadowDarkness, 40.0);
    EXPECT_EQ(lights[0].shadowDiffusion, 12.0);
    lights.clear();
    ASSERT_EQ(CollectLights(&in, lights, "light", 0.0), PF_Err_NONE);
    ASSERT_EQ(lights.size(), 1u);
    EXPECT_EQ(lights[0].position[0], 2.0);
}

TEST_F(LightsFixture, EmptyPrefixKeepsEveryPointLightThatIsOn) {
    std::vector<SceneLight> lights;
    ASSERT_EQ(CollectLights(&in, lights, "", 0.0), PF_Err_NONE);
    // Not the spot light, the one off at this time, the one without video, the solid.
    ASSERT_EQ(lights.size(), 2u);
    EXPECT_EQ(lights[0].position[0], 1.0);
    EXPECT_EQ(lights[1].position[0], 2.0);
    EXPECT_EQ(host.lastTime, 3000);
}

TEST_F(LightsFixture, OffsetMovesTheTimeBack) {
    std::vector<SceneLight> lights;
    ASSERT_EQ(CollectLights(&in, lights, "", 0.5), PF_Err_NONE);
    EXPECT_EQ(host.lastTime, 2500);
}

TEST_F(LightsFixture, AFailingCallStopsTheWalkAndKeepsWhatStands) {
    host.layers[2].failName = true;
    std::vector<SceneLight> lights;
    EXPECT_EQ(CollectLights(&in, lights, "", 0.0), PF_Err_BAD_CALLBACK_PARAM);
    EXPECT_EQ(lights.size(), 2u);
}

CameraSnapshot Square(double fov) {
    CameraSnapshot c;
    c.width = c.height = 100;
    c.aspect = 1;
    c.compWidth = c.compHeight = 100;
    c.fieldOfView = fov;
    c.nearPlane = 0.1f;
    c.farPlane = 1000;
    return c;
}

TEST(CameraMatrices, ParentedCameraTakesItsParentsTranslation) {
    // Local: turned 90 degrees about Y (camera x = world -Z, camera z = world +X), 50 back
    // along world Z. Parent: moved by (100, 20, 0). Camera to world = local * parent.
    Mat4 local;
    local.at(0, 0) = 0, local.at(0, 2) = -1;
    local.at(2, 0) = 1, local.at(2, 2) = 0;
    local.at(3, 2) = -50;
    Mat4 parent;
    parent.at(3, 0) = 100, parent.at(3, 1) = 20;
    CameraSnapshot c = Square(90);
    c.cameraMatrix = Multiply(local, parent);
    // Worked by hand: the rotation stays, the translation row is (100, 20, -50).
    EXPECT_EQ(c.cameraMatrix.at(3, 0), 100);
    EXPECT_EQ(c.cameraMatrix.at(3, 1), 20);
    EXPECT_EQ(c.cameraMatrix.at(3, 2), -50);
    ComputeCameraMatrices(c);
    EXPECT_NEAR(c.position[0], 100, 1e-4);
    EXPECT_NEAR(c.position[1], 20, 1e-4);
    EXPECT_NEAR(c.position[2], -50, 1e-4);
    const ProjectedPoint ahead = c.projectPoint({110, 20, -50});
    EXPECT_NEAR(ahead.x, 50, 1e-9);
    EXPECT_NEAR(ahead.y, 50, 1e-9);
    // 10 ahead and 10 to the camera's right (world -Z) is the right edge at 90 degrees.
    EXPECT_NEAR(c.projectPoint({110, 20, -60}).x, 100, 1e-9);
    // And 10 down (world +Y) the bottom edge.
    EXPECT_NEAR(c.projectPoint({110, 30, -50}).y, 100, 1e-9);
}

TEST(CameraMatrices, RightHandedNegatesTheStatedElementsBeforeInverting) {
    // Turned 90 degrees about Y: camera x = world -Z, camera z = world +X.
    CameraSnapshot l = Square(90), r = Square(90);
    for (CameraSnapshot* c : {&l, &r}) {
        c->cameraMatrix.at(0, 0) = 0, c->cameraMatrix.at(0, 2) = -1;
        c->cameraMatrix.at(2, 0) = 1, c->cameraMatrix.at(2, 2) = 0;
    }
    r.coordinateSystem = kRightHanded;
    ComputeCameraMatrices(l);
    ComputeCameraMatrices(r);
    // Left: the inverse of the rotation is its transpose. Right: elements 2 and 8 were negated
    // first, so the inverse has them the other way round.
    EXPECT_NEAR(l.modelView.at(0, 2), 1, 1e-12);
    EXPECT_NEAR(l.modelView.at(2, 0), -1, 1e-12);
    EXPECT_NEAR(r.modelView.at(0, 2), -1, 1e-12);
    EXPECT_NEAR(r.modelView.at(2, 0), 1, 1e-12);
    // Forward is negated back in right-handed mode: both look along world +X.
    EXPECT_NEAR(l.forward[0], 1, 1e-12);
    EXPECT_NEAR(r.forward[0], 1, 1e-12);
    EXPECT_EQ(l.projection.at(2, 3), 1);
    EXPECT_EQ(r.projection.at(2, 3), -1);
    EXPECT_NEAR(r.projection.at(2, 2), -(0.1f + 1000.0) / (1000.0 - 0.1f), 1e-12);
}

TEST(CameraMatrices, PixelAspectEntersOnlyWithACameraLayer) {
    CameraSnapshot none = Square(60), cam = Square(60);
    none.pixelAspect = cam.pixelAspect = 2;
    cam.cameraLayer = 5;
    ComputeCameraMatrices(none);
    ComputeCameraMatrices(cam);
    EXPECT_NEAR(none.projection.at(0, 0), none.projection.at(1, 1), 1e-12);
    EXPECT_NEAR(cam.projection.at(0, 0) * 2, cam.projection.at(1, 1), 1e-12);
}

TEST(CameraMatrices, PerspectiveLeftUnwrittenWhenNearEqualsFar) {
    CameraSnapshot c = Square(60);
    c.nearPlane = c.farPlane = 1;
    ComputeCameraMatrices(c);
    EXPECT_EQ(c.projection.at(0, 0), 1);  // still the identity
    EXPECT_EQ(c.projection.at(2, 3), 0);
}

TEST(CameraBlurs, FocusDistanceZeroGivesInfiniteBlurs) {
    CameraSnapshot c = Square(60);
    ComputeCameraMatrices(c);
    c.depthOfField = true;
    c.blurLevel = 100;
    c.aperture = 10;
    c.focusDistance = 0;
    std::vector<Vec3f> positions = {{0, 0, 30}};
    std::vector<float> blurs = {0};
    c.fillBlurs(1.0, positions, blurs);
    EXPECT_TRUE(std::isinf(blurs[0]));
    // In focus: zero; 10 past the focus: 10 * (100 / 100 * 10) * 2 / 40.
    c.focusDistance = 40;
    positions = {{0, 0, 40}, {0, 0, 50}};
    blurs = {0, 0};
    c.fillBlurs(2.0, positions, blurs);
    EXPECT_NEAR(blurs[0], 0, 1e-5);
    EXPECT_NEAR(blurs[1], 5.0f, 1e-5);
    // Arrays of different length: nothing.
    std::vector<float> shorter = {7};
    c.fillBlurs(1.0, positions, shorter);
    EXPECT_EQ(shorter[0], 7);
}

}  // namespace
}  // namespace tv
