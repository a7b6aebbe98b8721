// Layer-to-world matrices worked out by hand: parenting chains, rotation order, cameras.
#include <gtest/gtest.h>

#include <cmath>

#include "standalone/Document.h"
#include "standalone/Transform.h"

namespace tv {
namespace {

using standalone::EmbeddedHost;

void Apply(const Mat4& m, double x, double y, double z, double out[3]) {
    const double in[3] = {x, y, z};
    double r[4];
    TransformPoint(m, in, r);
    out[0] = r[0], out[1] = r[1], out[2] = r[2];
}

#define EXPECT_POINT(m, x, y, z, ex, ey, ez) \
    do {                                     \
        double p_[3];                        \
        Apply(m, x, y, z, p_);               \
        EXPECT_NEAR(p_[0], ex, 1e-9);        \
        EXPECT_NEAR(p_[1], ey, 1e-9);        \
        EXPECT_NEAR(p_[2], ez, 1e-9);        \
    } while (0)

void Load(EmbeddedHost& host, const std::string& layers) {
    standalone::LoadDocumentText(
        R"({"tavrin": 1, "comps": [{"name": "C", "width": 200, "height": 100, "duration": 2,
            "layers": [)" +
            layers + "]}]}",
        "doc.json", host);
}

const standalone::Layer& LayerNamed(EmbeddedHost& host, const std::string& name) {
    for (const auto& l : host.project().comps[0]->layers)
        if (l->name == name) return *l;
    throw std::runtime_error("no layer " + name);
}

TEST(Transform, ParentingChainThreeDeep) {
    EmbeddedHost host;
    Load(host, R"(
        {"name": "Grand", "null": {}, "transform": {"anchorPoint": [0, 0], "position": [100, 50],
                                                  "rotation": 90}},
        {"name": "Parent", "null": {}, "parent": "Grand",
         "transform": {"anchorPoint": [0, 0], "position": [10, 0], "scale": [200, 200]}},
        {"name": "Child", "null": {}, "parent": "Parent",
         "transform": {"anchorPoint": [0, 0], "position": [5, 5]}})");
    const auto& comp = *host.project().comps[0];
    const auto& child = LayerNamed(host, "Child");
    // (1, 0) in the child: (6, 5) in the parent, scaled to (12, 10) and moved to (22, 10) in the
    // grandparent, turned a quarter clockwise to (-10, 22) and moved to (90, 72).
    EXPECT_POINT(standalone::LayerToWorld(child, comp, 0), 1, 0, 0, 90, 72, 0);
    EXPECT_POINT(standalone::LayerToWorld(child, comp, 0), 0, 0, 0, 90, 70, 0);
    // The host service gives the same matrix.
    double m[16];
    host.layerToWorldXform(child.uid, A_Time{0, 30}, m);
    Mat4 viaHost;
    for (int i = 0; i < 16; ++i) viaHost.m[i] = m[i];
    EXPECT_POINT(viaHost, 1, 0, 0, 90, 72, 0);
    // Without parents the child is only its own move.
    EXPECT_POINT(standalone::LayerToParent(child, comp, 0), 1, 0, 0, 6, 5, 0);
}

TEST(Transform, AnimatedParentMovesTheChild) {
    EmbeddedHost host;
    Load(host, R"(
        {"name": "P", "null": {}, "transform": {"anchorPoint": [0, 0],
            "position": {"keys": [{"t": 0, "v": [0, 0]}, {"t": 1, "v": [100, 40]}]}}},
        {"name": "C", "null": {}, "parent": "P", "transform": {"anchorPoint": [0, 0],
                                                              "position": [1, 2]}})");
    const auto& comp = *host.project().comps[0];
    const auto& child = LayerNamed(host, "C");
    EXPECT_POINT(standalone::LayerToWorld(child, comp, 0.25), 0, 0, 0, 26, 12, 0);
    EXPECT_POINT(standalone::LayerToWorld(child, comp, 5), 0, 0, 0, 101, 42, 0);
}

TEST(Transform, DefaultsPlaceTheLayerCentreAtTheCompCentre) {
    EmbeddedHost host;
    Load(host, R"({"name": "S", "solid": {"width": 20, "height": 10}})");
    const auto& comp = *host.project().comps[0];
    EXPECT_POINT(standalone::LayerToWorld(LayerNamed(host, "S"), comp, 0), 10, 5, 0, 100, 50, 0);
    EXPECT_POINT(standalone::LayerToWorld(LayerNamed(host, "S"), comp, 0), 0, 0, 0, 90, 45, 0);
}

TEST(Transform, RotationsTurnZThenYThenXThenOrientation) {
    EmbeddedHost host;
    Load(host, R"(
        {"name": "Y", "null": {}, "threeD": true, "transform": {"anchorPoint": [0, 0, 0],
            "position": [0, 0, 0], "yRotation": 90}},
        {"name": "ZX", "null": {}, "threeD": true, "transform": {"anchorPoint": [0, 0, 0],
            "position": [0, 0, 0], "zRotation": 90, "xRotation": 90}},
        {"name": "O", "null": {}, "threeD": true, "transform": {"anchorPoint": [0, 0, 0],
            "position": [0, 0, 10], "xRotation": 90, "orientation": [0, 0, 90]}},
        {"name": "S", "null": {}, "threeD": true, "transform": {"anchorPoint": [1, 2, 3],
            "position": [10, 20, 30], "scale": [200, 300, 400]}})");
    const auto& comp = *host.project().comps[0];
    const Mat4 y = standalone::LayerToWorld(LayerNamed(host, "Y"), comp, 0);
    EXPECT_POINT(y, 0, 0, 1, 1, 0, 0);  // Z turns toward X
    EXPECT_POINT(y, 1, 0, 0, 0, 0, -1);
    // Z first: X goes to Y, then the X rotation takes Y to Z.
    EXPECT_POINT(standalone::LayerToWorld(LayerNamed(host, "ZX"), comp, 0), 1, 0, 0, 0, 0, 1);
    // The X rotation takes Y to Z, then the orientation's Z turn leaves Z alone and moves.
    const Mat4 o = standalone::LayerToWorld(LayerNamed(host, "O"), comp, 0);
    EXPECT_POINT(o, 0, 1, 0, 0, 0, 11);
    EXPECT_POINT(o, 1, 0, 0, 0, 1, 10);
    // Scale about the anchor in three axes.
    EXPECT_POINT(standalone::LayerToWorld(LayerNamed(host, "S"), comp, 0), 2, 3, 4, 12, 23, 34);
}

TEST(Transform, TwoDLayersIgnoreDepth) {
    EmbeddedHost host;
    Load(host, R"({"name": "F", "null": {}, "transform": {"anchorPoint": [0, 0],
                                                         "position": [3, 4]}})");
    const auto& layer = LayerNamed(host, "F");
    EXPECT_FALSE(layer.is3D);
    EXPECT_POINT(standalone::LayerToWorld(layer, *host.project().comps[0], 0), 0, 0, 0, 3, 4, 0);
}

TEST(Transform, ParentedCameraTurnsAndMovesWithItsParent) {
    EmbeddedHost host;
    Load(host, R"(
        {"name": "Rig", "null": {}, "transform": {"anchorPoint": [0, 0], "position": [100, 200],
                                                 "rotation": 90}},
        {"name": "Cam", "camera": {"position": [0, 0, -100], "pointOfInterest": [0, 0, 0],
                                   "zoom": 300, "filmSize": 24, "orthographic": true},
         "parent": "Rig"},
        {"name": "S", "solid": {}, "effects": [{"effect": "Tavrin"}]})");
    const auto& instance = *LayerNamed(host, "S").effects[0];
    const HostCameraMatrix cm = host.effectCameraMatrix(instance.uid, A_Time{0, 30});
    // Looking along +Z in the rig; the rig's quarter turn takes x to y and y to -x.
    const double expected[16] = {0, 1, 0, 0, -1, 0, 0, 0, 0, 0, 1, 0, 100, 200, -100, 1};
    for (int i = 0; i < 16; ++i) EXPECT_NEAR(cm.matrix[i], expected[i], 1e-9) << i;
    EXPECT_EQ(cm.imagePlaneDistance, 300);
    EXPECT_EQ(cm.imagePlaneWidth, 200);
    EXPECT_EQ(cm.imagePlaneHeight, 100);
    const AEGP_LayerH camera = host.effectCamera(instance.uid, A_Time{0, 30});
    EXPECT_EQ(camera, LayerNamed(host, "Cam").uid);
    int32_t units = 0;
    double film = 0;
    host.cameraFilmSize(camera, &units, &film);
    EXPECT_EQ(units, 1);
    EXPECT_EQ(film, 24);
    EXPECT_EQ(host.cameraType(camera), 1);
}

TEST(Transform, OneNodeCameraLooksAlongItsOwnZ) {
    EmbeddedHost host;
    Load(host, R"(
        {"name": "Cam", "camera": {"oneNode": true, "position": [10, 20, -30]},
         "transform": {"yRotation": 90}},
        {"name": "S", "solid": {}, "effects": [{"effect": "Tavrin"}]})");
    const auto& instance = *LayerNamed(host, "S").effects[0];
    const HostCameraMatrix cm = host.effectCameraMatrix(instance.uid, A_Time{0, 30});
    const double expected[16] = {0, 0, -1, 0, 0, 1, 0, 0, 1, 0, 0, 0, 10, 20, -30, 1};
    for (int i = 0; i < 16; ++i) EXPECT_NEAR(cm.matrix[i], expected[i], 1e-9) << i;
    EXPECT_EQ(host.cameraType(host.effectCamera(instance.uid, A_Time{0, 30})), 0);
}

TEST(Transform, NoCameraGivesTheDefaultView) {
    EmbeddedHost host;
    Load(host, R"({"name": "S", "solid": {}, "effects": [{"effect": "Tavrin"}]})");
    const auto& instance = *LayerNamed(host, "S").effects[0];
    const HostCameraMatrix cm = host.effectCameraMatrix(instance.uid, A_Time{0, 30});
    const double zoom = 200 * 50.0 / 36.0;
    const double expected[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 100, 50, -zoom, 1};
    for (int i = 0; i < 16; ++i) EXPECT_NEAR(cm.matrix[i], expected[i], 1e-9) << i;
    EXPECT_NEAR(cm.imagePlaneDistance, zoom, 1e-9);
    EXPECT_EQ(host.effectCamera(instance.uid, A_Time{0, 30}), 0u);
    int32_t units = 0;
    double film = 0;
    host.cameraFilmSize(0, &units, &film);
    EXPECT_EQ(film, 36);
}

TEST(Transform, SpotLightAimsAtItsPointOfInterestAndReportsItsCone) {
    EmbeddedHost host;
    Load(host, R"({"name": "L", "light": {"type": "spot", "position": [0, 0, 0],
                   "pointOfInterest": [10, 0, 0], "coneAngle": 45, "coneFeather": 20}})");
    const auto& light = LayerNamed(host, "L");
    double m[16];
    host.layerToWorldXform(light.uid, A_Time{0, 30}, m);
    // Its z axis (the beam) points along +X.
    EXPECT_NEAR(m[8], 1, 1e-9);
    EXPECT_NEAR(m[9], 0, 1e-9);
    EXPECT_NEAR(m[10], 0, 1e-9);
    double v[4];
    host.layerStreamValue(light.uid, 18, A_Time{0, 30}, v);
    EXPECT_EQ(v[0], 45);
    host.layerStreamValue(light.uid, 19, A_Time{0, 30}, v);
    EXPECT_EQ(v[0], 20);
}

}  // namespace
}  // namespace tv

namespace tv {
namespace {

TEST(Transform, RigExampleCameraCirclesThePivot) {
    EmbeddedHost host;
    standalone::LoadDocumentFile(std::string(TAVRIN_SOURCE_DIR) + "/examples/rig.json", host);
    const auto& instance = *LayerNamed(host, "Sphere").effects[0];
    // At 0 the camera is 900 pixels in front of the pivot (a null's anchor is its corner).
    const HostCameraMatrix a = host.effectCameraMatrix(instance.uid, A_Time{0, 30});
    EXPECT_NEAR(a.matrix[12], 320, 1e-9);
    EXPECT_NEAR(a.matrix[13], 180, 1e-9);
    EXPECT_NEAR(a.matrix[14], -900, 1e-9);
    // Half way the symmetric ease has turned 45 degrees about the pivot's Y axis (Z toward X):
    // the camera sits at -900 (sin 45, 0, cos 45) from the pivot and still looks at it.
    const double h = 900 * std::sqrt(0.5);
    const HostCameraMatrix b = host.effectCameraMatrix(instance.uid, A_Time{60, 30});
    EXPECT_NEAR(b.matrix[12], 320 - h, 1e-6);
    EXPECT_NEAR(b.matrix[13], 180, 1e-6);
    EXPECT_NEAR(b.matrix[14], -h, 1e-6);
    EXPECT_NEAR(b.matrix[8], std::sqrt(0.5), 1e-9);
    EXPECT_NEAR(b.matrix[10], std::sqrt(0.5), 1e-9);
    // Past the camera's out point (the comp's end) the default view takes over.
    const HostCameraMatrix c = host.effectCameraMatrix(instance.uid, A_Time{120, 30});
    EXPECT_NEAR(c.matrix[14], -640 * 50.0 / 36.0, 1e-9);
}

}  // namespace
}  // namespace tv
