// The effector frame through the noise effector in a real document: ranges, targets, light fields
// and the name prefix, the "Get ... From" mapping, and the hidden parameters.
#include <gtest/gtest.h>

#include <cmath>

#include "effectors/EffectorFrame.h"
#include "effectors/NoiseGenerators.h"
#include "host/Gather.h"
#include "standalone/Document.h"

namespace tv {
namespace {

// Three vertices in a row at x = 0, 100, 200 (y 50, z 0) in a 200 x 100 layer, then a noise
// effector whose parameters are given in document units.
struct NoiseScene {
    standalone::EmbeddedHost host;
    standalone::Layer* layer = nullptr;
    standalone::EffectInstance* noise = nullptr;

    NoiseScene(const std::string& lights, const std::string& noiseParams,
               const std::string& primitiveExtra = "", int yPoints = 1) {
        const std::string doc =
            R"j({"tavrin": 1, "comps": [{"name": "C", "width": 200, "height": 100, "layers": [)j" +
            lights + R"j({"name": "Fx", "solid": {}, "effects": [{"effect": "Tavrin"},
              {"effect": "Tavrin Primitives Object", "params": {"X Points": 3, "Y Points": )j" +
            std::to_string(yPoints) + R"j(,
               "Z Points": 1, "Cube Width": 200, "Opacity": 50)j" +
            primitiveExtra + R"j(}},
              {"effect": "Tavrin Noise Effector", "params": {)j" +
            noiseParams + "}}]}]}]}";
        standalone::LoadDocumentText(doc, "doc.json", host);
        layer = host.project().comps[0]->layers.back().get();
        noise = layer->effects[2].get();
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

float NoiseAt(int32_t i, int32_t channel) {
    NoiseSettings s;  // the effector's defaults
    float n[4];
    CurrentNoise(s, i, 0, 0, n);
    return n[channel];
}

TEST(EffectorFrame, LightsOnWithNoMatchingLightGiveAmountZero) {
    // The hidden name popup defaults to "Noise": a light called "Key" is not a noise field.
    NoiseScene s(R"j({"name": "Key", "light": {"position": [100, 50, 0], "intensity": 1000}},)j",
                 R"j("Noise Amplitude": 80, "Use Lights for Noise": true)j");
    const GeometryStore g = s.gather();
    ASSERT_EQ(g.positions.size(), 3u);
    EXPECT_EQ(g.positions[0].x, 0.0f);
    EXPECT_EQ(g.positions[1].x, 100.0f);
    EXPECT_EQ(g.positions[2].x, 200.0f);
    EXPECT_EQ(g.positions[1].y, 50.0f);
}

TEST(EffectorFrame, HardEdgedLightFieldActsOnlyWithinItsRadius) {
    // Radius from Intensity (a length, as it stands), fade None (0: a hard edge).
    NoiseScene s(R"j({"name": "Noise A", "light": {"position": [0, 50, 0], "intensity": 100}},)j",
                 R"j("Noise Amplitude": 80, "Use Lights for Noise": true,
                    "Get Fade Out From": "None")j");
    const GeometryStore g = s.gather();
    // x = 0 (d 0) and x = 100 (d = r = 100, the edge itself) are reached; x = 200 is not. On
    // the hard edge q is 0/0: the weight is no number, and so is the vertex.
    EXPECT_FLOAT_EQ(g.positions[0].x, 0 + NoiseAt(0, 0) * 80);
    EXPECT_FLOAT_EQ(g.positions[0].y, 50 + NoiseAt(0, 1) * 80);
    EXPECT_TRUE(std::isnan(g.positions[1].x));
    EXPECT_EQ(g.positions[2].x, 200.0f);
    EXPECT_EQ(g.positions[2].y, 50.0f);
}

TEST(EffectorFrame, FadeFallsLinearlyAndFieldsAdd) {
    // Two fields; the second has its radius 300 and fade 1 (Shadow Darkness 100 / 100).
    NoiseScene s(R"j({"name": "Noise A", "light": {"position": [0, 50, 0], "intensity": 300,
                     "shadowDarkness": 100}},
                    {"name": "Noise B", "light": {"position": [0, 50, 0], "intensity": 300,
                     "shadowDarkness": 100}},)j",
                 R"j("Noise Amplitude": 10, "Use Lights for Noise": true,
                    "Get Fade Out From": "Shadow Darkness")j");
    const GeometryStore g = s.gather();
    // d / r = 1/3 with fade 1: w = 1 - 1/3, twice.
    const double w = 1 - 100.0 / 300.0;
    EXPECT_NEAR(g.positions[1].x, 100 + NoiseAt(1, 0) * float(2 * w * 10), 1e-4);
    EXPECT_NEAR(g.positions[2].x, 200 + NoiseAt(2, 0) * float(2 * (1 - 200.0 / 300.0) * 10), 1e-4);
}

TEST(EffectorFrame, AmplitudeFromIntensityAndTheWordPrefix) {
    // Popup 1 is the word "Light": "Light 1" matches, "Noise A" does not.
    NoiseScene s(R"j({"name": "Light 1", "light": {"position": [0, 50, 0], "intensity": 40}},
                    {"name": "Noise A", "light": {"position": [0, 50, 0], "intensity": 900}},)j",
                 R"j("Noise Amplitude": 1, "Use Lights for Noise": true,
                    "Noise Effector Name Begins": "Lights", "Get Effector Radius From": "None",
                    "Get Fade Out From": "None", "Get Amplitude From": "Intensity")j");
    const GeometryStore g = s.gather();
    // Radius None is 0: only the vertex exactly at the light is reached, where d / r is 0/0 and
    // the weight no number; the other lights' vertices stay.
    EXPECT_TRUE(std::isnan(g.positions[0].x));
    EXPECT_EQ(g.positions[1].x, 100.0f);
}

TEST(EffectorFrame, AllLightsKeepsEveryLight) {
    NoiseScene s(R"j({"name": "Key", "light": {"position": [200, 50, 0], "intensity": 50}},)j",
                 R"j("Noise Amplitude": 30, "Use Lights for Noise": true,
                    "Noise Effector Name Begins": "All Lights", "Get Fade Out From": "None")j");
    const GeometryStore g = s.gather();
    EXPECT_EQ(g.positions[0].x, 0.0f);
    EXPECT_FLOAT_EQ(g.positions[2].x, 200 + NoiseAt(2, 0) * 30);
}

TEST(EffectorFrame, ColourAmountFromALightIsAFraction) {
    NoiseScene s(R"j({"name": "Noise A", "light": {"position": [0, 50, 0], "intensity": 50}},)j",
                 R"j("Apply Noise To (Vertices)": "Color", "Color Type": "Alpha",
                    "Noise Amplitude": 1, "Use Lights for Noise": true,
                    "Get Effector Radius From": "None", "Get Fade Out From": "None",
                    "Get Amplitude From": "Intensity")j");
    const GeometryStore g = s.gather();
    // Radius 0: the vertex at the light is reached with a weight of no number.
    EXPECT_TRUE(std::isnan(g.colors[0].a));
    EXPECT_EQ(g.colors[1].a, 0.5f);
}

TEST(EffectorFrame, TargetFlagsAndGroupThroughMessages) {
    NoiseScene s("", R"j("Effector effects": "Faces")j");
    ObjectMessage m;
    InitObjectMessage(m);
    m.command = kObjGetTarget;
    ASSERT_EQ(SendMessage(s.host, s.layer->uid, A_Time{0, 1}, m, 2, 0), 0);
    EXPECT_EQ(m.flags & (kMsgTargetsVertices | kMsgTargetsFaces), kMsgTargetsFaces);
    s.noise->params[1].value.u.popup = 1;
    m.flags = 0;
    SendMessage(s.host, s.layer->uid, A_Time{0, 1}, m, 2, 0);
    EXPECT_EQ(m.flags & (kMsgTargetsVertices | kMsgTargetsFaces), kMsgTargetsVertices);
    m.command = kObjGetGroup;
    SendMessage(s.host, s.layer->uid, A_Time{0, 1}, m, 2, 0);
    EXPECT_EQ(m.payloadGroup(), 12);
    m.command = kObjSetGroup;
    m.setPayloadGroup(11);  // the separator
    SendMessage(s.host, s.layer->uid, A_Time{0, 1}, m, 2, 0);
    EXPECT_EQ(s.noise->params[29].value.u.popup, 12);
    m.setPayloadGroup(5);
    SendMessage(s.host, s.layer->uid, A_Time{0, 1}, m, 2, 0);
    EXPECT_EQ(s.noise->params[29].value.u.popup, 5);
    DisposeObjectMessage(m);
}

TEST(EffectorFrame, FaceColoursChangeAlikeInAllThreeArrays) {
    NoiseScene s("",
                 R"j("Effector effects": "Faces", "Apply Noise To (Faces)": "Color",
                    "Noise Amplitude": 40, "Color Type": "RGB")j",
                 R"j(, "Color": "#808080")j", 2);
    const GeometryStore g = s.gather();
    ASSERT_EQ(g.faces.size(), 4u);  // two quads in one row
    for (size_t f = 0; f < g.faces.size(); ++f) {
        EXPECT_EQ(g.faceColorsA[f].r, g.faceColorsB[f].r);
        EXPECT_EQ(g.faceColorsA[f].g, g.faceColorsC[f].g);
        EXPECT_EQ(g.faceColorsB[f].a, g.faceColorsC[f].a);
    }
    // The face's own vertex indices drive the noise.
    float n[4];
    CurrentNoise(NoiseSettings{}, g.faces[1].x, g.faces[1].y, g.faces[1].z, n);
    EXPECT_NEAR(g.faceColorsA[1].r, std::max(0.0f, 128 / 255.0f + n[0] * 0.4f), 1e-5);
    // Vertex colours are left alone.
    EXPECT_EQ(g.colors[0].r, 128 / 255.0f);
}

TEST(EffectorFrame, ScaleNeverGoesBelowZero) {
    NoiseScene s("", R"j("Apply Noise To (Vertices)": "Scale", "Noise Amplitude": 100000)j");
    const GeometryStore g = s.gather();
    for (size_t i = 0; i < 3; ++i) {
        const float n = NoiseAt(int32_t(i), 0) * 1000;  // amplitude / 100 for Scale
        EXPECT_FLOAT_EQ(g.scales[i], std::max(0.0f, 1 + n)) << i;
    }
}

TEST(EffectorFrame, RangesOfGroupsAreContiguousAndAnUnusedGroupIsEmpty) {
    GeometryStore store;
    store.vertexGroups[2] = GroupRange{0, 5};
    store.vertexGroups[4] = GroupRange{5, 3};
    store.positions.resize(8);
    IndexRange r = EffectorRange(store, 4, kTargetVertices);
    EXPECT_EQ(r.start, 5u);
    EXPECT_EQ(r.count, 3u);
    r = EffectorRange(store, 7, kTargetVertices);
    EXPECT_EQ(r.count, 0u);
    r = EffectorRange(store, 12, kTargetVertices);
    EXPECT_EQ(r.start, 0u);
    EXPECT_EQ(r.count, 8u);
}

TEST(EffectorFrame, LightValueMappingAndPrefixes) {
    SceneLight l{};
    l.intensity = 250;
    l.shadowDarkness = 40;
    l.shadowDiffusion = 8;
    EXPECT_EQ(LightValue(1, l, 7.0, false), 7.0);
    EXPECT_EQ(LightValue(2, l, 7.0, false), 250.0);
    EXPECT_EQ(LightValue(2, l, 7.0, true), 2.5);
    EXPECT_EQ(LightValue(3, l, 7.0, true), 0.4);
    EXPECT_EQ(LightValue(4, l, 7.0, false), 8.0);
    const std::vector<std::string> words = {"Light", "Noise", "Perlin", "Force", "Field"};
    EXPECT_EQ(LightPrefix(1, words, "x"), "Light");
    EXPECT_EQ(LightPrefix(5, words, "x"), "Field");
    EXPECT_EQ(LightPrefix(7, words, "Mine"), "Mine");  // Custom, after the separator
    EXPECT_EQ(LightPrefix(8, words, "Mine"), "");      // All Lights
}

TEST(EffectorFrame, AxisMasks) {
    const bool x[] = {1, 0, 0, 1, 1, 0, 1}, y[] = {0, 1, 0, 1, 0, 1, 1},
               z[] = {0, 0, 1, 0, 1, 1, 1};
    for (int a = 1; a <= 7; ++a) {
        const AxisMask m = AxisSelection(a);
        EXPECT_EQ(m.x, x[a - 1]) << a;
        EXPECT_EQ(m.y, y[a - 1]) << a;
        EXPECT_EQ(m.z, z[a - 1]) << a;
    }
}

TEST(NoiseEffector, HiddenParametersFollowTheChoices) {
    NoiseScene s("", "");
    auto& p = s.noise->params;
    auto update = [&] {
        ASSERT_EQ(s.host.callEffect(*s.noise, PF_Cmd_UPDATE_PARAMS_UI, A_Time{0, 1}, nullptr), 0);
    };
    update();
    EXPECT_FALSE(p[2].hidden);
    EXPECT_TRUE(p[3].hidden);   // faces' apply popup on Vertices
    EXPECT_TRUE(p[4].hidden);   // colour type unless Color
    EXPECT_TRUE(p[14].hidden);  // always
    EXPECT_TRUE(p[24].hidden);  // always
    EXPECT_TRUE(p[16].hidden);  // cycles without Loop Evolution
    EXPECT_FALSE(p[21].hidden);
    EXPECT_TRUE(p[22].hidden);  // Affect Opacity unless Color
    EXPECT_TRUE(p[26].hidden && p[27].hidden && p[28].hidden);
    p[1].value.u.popup = 2;  // Faces
    p[3].value.u.popup = 2;  // Rotation: the axis stays
    p[15].value.u.checkbox = 1;
    p[23].value.u.checkbox = 1;
    update();
    EXPECT_TRUE(p[2].hidden);
    EXPECT_FALSE(p[3].hidden);
    EXPECT_FALSE(p[16].hidden);
    EXPECT_FALSE(p[21].hidden);
    EXPECT_FALSE(p[26].hidden || p[27].hidden || p[28].hidden);
    p[3].value.u.popup = 3;  // Color, type Alpha
    p[4].value.u.popup = 1;
    update();
    EXPECT_FALSE(p[4].hidden);
    EXPECT_TRUE(p[21].hidden);
    EXPECT_TRUE(p[22].hidden);
    p[4].value.u.popup = 6;
    update();
    EXPECT_FALSE(p[22].hidden);
}

}  // namespace
}  // namespace tv
