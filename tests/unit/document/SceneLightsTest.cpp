// Lights and keyframed values from documents through the effects' light walk: parents move
// lights, in and out points switch them, and bezier keys land on hand-worked values.
#include <gtest/gtest.h>

#include "host/CameraSnapshot.h"
#include "standalone/Document.h"
#include "standalone/Keyframes.h"

namespace tv {
namespace {

using standalone::Evaluate;
using standalone::Interp;
using standalone::Key;

struct Scene {
    standalone::EmbeddedHost host;
    PF_InData in;
    explicit Scene(const std::string& layers) {
        standalone::LoadDocumentText(
            R"({"tavrin": 1, "comps": [{"name": "C", "width": 200, "height": 100, "duration": 4,
                "layers": [)" +
                layers + R"(, {"name": "Fx", "solid": {}, "effects": [{"effect": "Tavrin"}]}]}]})",
            "doc.json", host);
        auto& comp = *host.project().comps[0];
        in.pica_basicP = &host;
        in.effect_ref = comp.layers.back()->effects[0]->uid;
        in.time_scale = comp.timeScale();
    }
    std::vector<SceneLight> lightsAt(double seconds) {
        in.current_time = int32_t(seconds * in.time_scale);
        std::vector<SceneLight> out;
        EXPECT_EQ(CollectLights(&in, out, "Light", 0.0), PF_Err_NONE);
        return out;
    }
};

TEST(SceneLights, AParentedLightMovesWithItsParentAndKeepsItsSpan) {
    Scene s(R"({"name": "Holder", "null": {}, "threeD": true, "transform": {
                 "position": {"keys": [{"t": 0, "v": [0, 0, 0]}, {"t": 2, "v": [100, 0, 0]}]},
                 "zRotation": 90}},
               {"name": "Light Late", "light": {"position": [10, 0, 5]}, "parent": "Holder",
                "inPoint": 1, "outPoint": 3})");
    EXPECT_TRUE(s.lightsAt(0.5).empty());  // before its in point
    const auto at1 = s.lightsAt(1.0);
    ASSERT_EQ(at1.size(), 1u);
    // (10, 0, 5) turned a quarter clockwise is (0, 10, 5); the holder is half way, at x = 50.
    EXPECT_NEAR(at1[0].position[0], 50, 1e-9);
    EXPECT_NEAR(at1[0].position[1], 10, 1e-9);
    EXPECT_NEAR(at1[0].position[2], 5, 1e-9);
    EXPECT_TRUE(s.lightsAt(3.0).empty());  // the out point is exclusive
}

// Values worked out by hand for one segment from (t0, v0) to (t1, v1). With both influences at
// a third the curve's time runs linearly in its parameter s, so the value is the cubic in s.
TEST(KeyframeValues, BezierEaseAtChosenTimes) {
    Key a, b;
    a.t = 1, b.t = 3;
    a.v = {10, 0, 0, 0}, b.v = {30, 0, 0, 0};
    a.interp = Interp::Bezier;
    // Speeds 0: smoothstep, 3s^2 - 2s^3.
    EXPECT_NEAR(Evaluate({a, b}, 1.5, 1)[0], 10 + 20 * 0.15625, 1e-9);
    EXPECT_NEAR(Evaluate({a, b}, 2.0, 1)[0], 20, 1e-9);
    EXPECT_NEAR(Evaluate({a, b}, 2.5, 1)[0], 10 + 20 * 0.84375, 1e-9);
    // Speeds equal to the straight line's (10 per second) give the straight line.
    a.speedOut = 10, b.speedIn = 10;
    for (double t : {1.2, 1.9, 2.7})
        EXPECT_NEAR(Evaluate({a, b}, t, 1)[0], 10 + 10 * (t - 1), 1e-9);
    // Leaving at 30 per second and arriving flat: both inner control values are
    // 10 + 30 x 2/3 = 30, so at s = 1/2 the value is 10/8 + 30 x 7/8 = 27.5.
    a.speedOut = 30, b.speedIn = 0;
    EXPECT_NEAR(Evaluate({a, b}, 2.0, 1)[0], 10 + 20 * 0.875, 1e-9);
    // Hold keeps the first value up to the next key, linear runs straight.
    a.interp = Interp::Hold;
    EXPECT_EQ(Evaluate({a, b}, 2.999, 1)[0], 10);
    EXPECT_EQ(Evaluate({a, b}, 3.0, 1)[0], 30);
    a.interp = Interp::Linear;
    EXPECT_NEAR(Evaluate({a, b}, 2.5, 1)[0], 25, 1e-12);
}

TEST(KeyframeValues, EveryComponentEasesAndHoldsTogether) {
    Key a, b, c;
    a.t = 0, b.t = 1, c.t = 2;
    a.v = {0, 100, -4, 0}, b.v = {10, 200, 4, 0}, c.v = {20, 0, 0, 0};
    a.interp = Interp::Bezier;
    b.interp = Interp::Hold;
    const auto mid = Evaluate({a, b, c}, 0.5, 3);
    EXPECT_NEAR(mid[0], 5, 1e-9);
    EXPECT_NEAR(mid[1], 150, 1e-9);
    EXPECT_NEAR(mid[2], 0, 1e-9);
    const auto quarter = Evaluate({a, b, c}, 0.25, 3);
    EXPECT_NEAR(quarter[1], 100 + 100 * 0.15625, 1e-9);
    const auto held = Evaluate({a, b, c}, 1.5, 3);
    EXPECT_EQ(held[0], 10);
    EXPECT_EQ(held[1], 200);
    EXPECT_EQ(Evaluate({a, b, c}, 7, 3)[0], 20);
    EXPECT_EQ(Evaluate({a, b, c}, -1, 3)[1], 100);
}

}  // namespace
}  // namespace tv
