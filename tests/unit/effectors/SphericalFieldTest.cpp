// The spherical field effector in real documents: the push to the surface, size, rotation and
// colour inside the sphere, lights as fields, and the hidden parameters.
#include <gtest/gtest.h>

#include <cmath>

#include "host/Gather.h"
#include "standalone/Document.h"

namespace tv {
namespace {

// Three vertices in a row at x = 0, 100, 200 (y 50, z 0) in a 200 x 100 layer, then the field
// with parameters in document units.
struct FieldScene {
    standalone::EmbeddedHost host;
    standalone::Layer* layer = nullptr;
    standalone::EffectInstance* field = nullptr;

    FieldScene(const std::string& lights, const std::string& fieldParams, int yPoints = 1) {
        const std::string doc =
            R"j({"tavrin": 1, "comps": [{"name": "C", "width": 200, "height": 100, "layers": [)j" +
            lights + R"j({"name": "Fx", "solid": {}, "effects": [{"effect": "Tavrin"},
              {"effect": "Tavrin Primitives Object", "params": {"X Points": 3, "Y Points": )j" +
            std::to_string(yPoints) + R"j(,
               "Z Points": 1, "Cube Width": 200, "Cube Height": 100, "Opacity": 50}},
              {"effect": "Tavrin Spherical Field", "params": {)j" +
            fieldParams + "}}]}]}]}";
        standalone::LoadDocumentText(doc, "doc.json", host);
        layer = host.project().comps[0]->layers.back().get();
        field = layer->effects[2].get();
    }

    GeometryStore gather() {
        ObjectMessage m;
        InitObjectMessage(m);
        EXPECT_EQ(Gather(host, layer->uid, A_Time{0, 30000}, m), 0);
        GeometryStore copy = *m.geometry;
        DisposeObjectMessage(m);
        return copy;
    }
};

TEST(SphericalField, PositionPushesOutToTheSurface) {
    // A hard sphere of radius 150 round (100, 50, 0): x = 0 (d 100) lands at d 150, x = 100 is the
    // centre itself, x = 200 (d 100) lands at 250.
    FieldScene s("", R"j("Field XY Location": [100, 50], "Field Sphere Radius": 150)j");
    const GeometryStore g = s.gather();
    ASSERT_EQ(g.positions.size(), 3u);
    EXPECT_FLOAT_EQ(g.positions[0].x, -50.0f);
    EXPECT_FLOAT_EQ(g.positions[0].y, 50.0f);
    EXPECT_FLOAT_EQ(g.positions[2].x, 250.0f);
    // The element at the centre has no direction: its position is no number.
    EXPECT_TRUE(std::isnan(g.positions[1].x));
}

TEST(SphericalField, FadeWeighsThePushAndTheAxisMaskLimitsIt) {
    // Radius 200, fade 50 %: weight 1 up to 100, then falling to 0 at 200. The vertex at x = 200
    // (d 150 from x = 50) has q = (0.75 - 0.5) / 0.5 = 0.5, weight 0.5: its distance becomes
    // (200 - 150) * 0.5 + 150 = 175, so x = 225. Only Y may change, so x stays where it was.
    FieldScene pushed("", R"j("Field XY Location": [50, 50], "Field Sphere Radius": 200,
                              "Fade Out": 50)j");
    EXPECT_FLOAT_EQ(pushed.gather().positions[2].x, 225.0f);
    FieldScene masked("", R"j("Field XY Location": [50, 50], "Field Sphere Radius": 200,
                              "Fade Out": 50, "Apply Field to Axis": "Y Axis")j");
    const GeometryStore g = masked.gather();
    EXPECT_EQ(g.positions[2].x, 200.0f);
    EXPECT_EQ(g.positions[2].y, 50.0f);
}

TEST(SphericalField, RadiusZeroTouchesOnlyTheCentre) {
    FieldScene s("", R"j("Field XY Location": [100, 50], "Field Sphere Radius": 0,
                         "Apply Field To": "Color", "Color": "#ff0000", "Opacity": 100)j");
    const GeometryStore g = s.gather();
    // The element at the centre is reached, with d / r = 0/0: a weight of no number.
    EXPECT_TRUE(std::isnan(g.colors[1].r));
    EXPECT_TRUE(std::isnan(g.colors[1].a));
    // The others keep the source's white at 50 %.
    EXPECT_FLOAT_EQ(g.colors[0].g, 1.0f);
    EXPECT_FLOAT_EQ(g.colors[0].a, 0.5f);
    EXPECT_FLOAT_EQ(g.colors[2].g, 1.0f);
}

TEST(SphericalField, ScaleFactorAddsAndNeverGoesBelowZero) {
    // Weight 1 everywhere inside a radius of 500: scales 1 + 2 = 3 with the default 200 %.
    FieldScene grow("", R"j("Field XY Location": [100, 50], "Field Sphere Radius": 500,
                            "Apply Field To": "Scale")j");
    for (float v : grow.gather().scales) EXPECT_FLOAT_EQ(v, 3.0f);
    // -50 % shrinks to 0.5; -300 % would give -2 and stops at 0.
    FieldScene shrink("", R"j("Field XY Location": [100, 50], "Field Sphere Radius": 500,
                              "Apply Field To": "Scale", "Scale Factor": -50)j");
    for (float v : shrink.gather().scales) EXPECT_FLOAT_EQ(v, 0.5f);
    FieldScene gone("", R"j("Field XY Location": [100, 50], "Field Sphere Radius": 500,
                            "Apply Field To": "Scale", "Scale Factor": -300)j");
    for (float v : gone.gather().scales) EXPECT_EQ(v, 0.0f);
}

TEST(SphericalField, ColourBlendsByTheWeight) {
    // Radius 200 round x = 0 with fade 100 %: weight 1 - d / 200. At x = 100 the weight is 0.5,
    // so white at 50 % goes half way to black at 100 %.
    FieldScene s("", R"j("Field XY Location": [0, 50], "Field Sphere Radius": 200,
                         "Fade Out": 100, "Apply Field To": "Color", "Color": "#000000",
                         "Opacity": 100)j");
    const GeometryStore g = s.gather();
    EXPECT_FLOAT_EQ(g.colors[1].r, 0.5f);
    EXPECT_FLOAT_EQ(g.colors[1].a, 0.75f);
    EXPECT_FLOAT_EQ(g.colors[0].r, 0.0f);  // at the centre: weight 1
    EXPECT_FLOAT_EQ(g.colors[2].r, 1.0f);  // on the edge: weight 0
}

TEST(SphericalField, FaceRotationUnderTheAxisMask) {
    // Two rows of three make four triangles; a sphere over all of them turns each face about Z
    // by the full 180 degrees and leaves X and Y alone.
    FieldScene s("", R"j("Effector effects": "Faces", "Apply Field To#2": "Rotation",
                         "Field XY Location": [100, 50], "Field Sphere Radius": 1000,
                         "Apply Field to Axis": "Z Axis")j",
                 2);
    const GeometryStore g = s.gather();
    ASSERT_EQ(g.faceRotations.size(), 4u);
    for (const Vec3f& r : g.faceRotations) {
        EXPECT_EQ(r.x, 0.0f);
        EXPECT_EQ(r.y, 0.0f);
        EXPECT_FLOAT_EQ(r.z, 180.0f);
    }
    // The vertices themselves did not move.
    EXPECT_EQ(g.positions[0].x, 0.0f);
}

TEST(SphericalField, TwoOverlappingLightsWorkInTurn) {
    // Two lights named "Field ..." with radii from intensity. The first (radius 150 round x = 100)
    // pushes x = 200 to 250; the second (round x = 300, radius 60) then sees x = 250 at d 50 and
    // pushes it to 240. Had both seen the original x = 200 (d 100 > 60), the second would not act.
    FieldScene s(
        R"j({"name": "Field A", "light": {"position": [100, 50, 0], "intensity": 150}},
            {"name": "Field B", "light": {"position": [300, 50, 0], "intensity": 60}},)j",
        R"j("Use Lights": true, "Get Fade Out From": "None")j");
    const GeometryStore g = s.gather();
    EXPECT_FLOAT_EQ(g.positions[2].x, 240.0f);
}

TEST(SphericalField, HiddenParametersFollowTargetAndLights) {
    FieldScene s("", R"j("Apply Field To": "Scale")j");
    auto hidden = [&](int index) { return s.field->params[size_t(index)].hidden; };
    EXPECT_TRUE(hidden(13));  // the name popup, always
    EXPECT_TRUE(hidden(15));  // radius from lights: lights are off
    EXPECT_TRUE(hidden(3));   // the faces' apply popup on vertices
    EXPECT_FALSE(hidden(8));  // scale factor: Scale on vertices
    EXPECT_TRUE(hidden(18));  // size from lights: lights are off
    EXPECT_TRUE(hidden(9));   // rotation: not faces
    EXPECT_TRUE(hidden(10));  // colour: not Color
    EXPECT_TRUE(hidden(20));  // axis: not Position
}

}  // namespace
}  // namespace tv
