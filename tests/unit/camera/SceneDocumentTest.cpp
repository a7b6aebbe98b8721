// Cameras and lights from documents, seen through the effects' camera snapshot and light walk.
#include <gtest/gtest.h>

#include "host/CameraSnapshot.h"
#include "standalone/Document.h"

namespace tv {
namespace {

struct Scene {
    standalone::EmbeddedHost host;
    PF_InData in;
    explicit Scene(const std::string& layers) {
        standalone::LoadDocumentText(
            R"({"tavrin": 1, "comps": [{"name": "C", "width": 200, "height": 100, "layers": [)" +
                layers + R"(, {"name": "Fx", "solid": {}, "effects": [{"effect": "Tavrin"}]}]}]})",
            "doc.json", host);
        auto& comp = *host.project().comps[0];
        in.pica_basicP = &host;
        in.effect_ref = comp.layers.back()->effects[0]->uid;
        in.width = 200;
        in.height = 100;
        in.time_scale = comp.timeScale();
    }
};

TEST(SceneDocument, TwoNodeCameraLooksAtItsPointOfInterest) {
    Scene s(R"({"name": "Cam", "camera": {"zoom": 300, "position": [400, 50, -300],
                "pointOfInterest": [100, 50, 0]}})");
    const CameraSnapshot c = MakeCameraSnapshot(&s.in, 10, 30000, kLeftHanded);
    EXPECT_NE(c.cameraLayer, 0u);
    const ProjectedPoint poi = c.projectPoint({100, 50, 0});
    EXPECT_NEAR(poi.x, 100, 1e-6);
    EXPECT_NEAR(poi.y, 50, 1e-6);
    // The eye sits where the document put it.
    EXPECT_NEAR(c.position[0] * c.normalizeX, 400, 1e-3);
    EXPECT_NEAR(c.position[2] * c.normalizeX, -300, 1e-3);
}

TEST(SceneDocument, AnimatedCameraMoves) {
    Scene s(
        R"({"camera": {"position": {"keys": [{"t": 0, "v": [100, 50, -300]}, {"t": 1, "v": [100, 50, -600]}]}}})");
    const CameraSnapshot a = MakeCameraSnapshot(&s.in, 10, 30000, kLeftHanded);
    s.in.current_time = int32_t(s.in.time_scale);  // one second
    const CameraSnapshot b = MakeCameraSnapshot(&s.in, 10, 30000, kLeftHanded);
    EXPECT_NEAR(a.position[2] * a.normalizeX, -300, 1e-3);
    EXPECT_NEAR(b.position[2] * b.normalizeX, -600, 1e-3);
}

TEST(SceneDocument, LightsByPrefixAndKind) {
    Scene s(
        R"({"name": "Light 1", "light": {"type": "point", "position": [1, 2, 3], "intensity": 80,
                 "color": "#ff0000"}},
               {"name": "Light Spot", "light": {"type": "spot"}},
               {"name": "Light Off", "enabled": false, "light": {}},
               {"name": "Field A", "light": {}})");
    std::vector<SceneLight> lights;
    ASSERT_EQ(CollectLights(&s.in, lights, "Light", 0.0), 0);
    ASSERT_EQ(lights.size(), 1u);  // the spot and the switched-off light are never captured
    EXPECT_EQ(lights[0].position[2], 3);
    EXPECT_EQ(lights[0].intensity, 80);
    EXPECT_EQ(lights[0].color[1], 0.0f);
    lights.clear();
    CollectLights(&s.in, lights, "light", 0.0);  // no case folding
    EXPECT_TRUE(lights.empty());
    CollectLights(&s.in, lights, "", 0.0);
    EXPECT_EQ(lights.size(), 2u);
}

}  // namespace
}  // namespace tv
