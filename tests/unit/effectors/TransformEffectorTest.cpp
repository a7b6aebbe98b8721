// The transform effector: its matrix worked by hand, and the effect in real documents (translate,
// rotation about the centre, a zero scale, mirroring, normals, groups, the scale's title).
#include <gtest/gtest.h>

#include <cmath>

#include "effectors/TransformEffector.h"
#include "host/Gather.h"
#include "standalone/Document.h"

namespace tv {
namespace {

// Three vertices in a row at x = 0, 100, 200 (y 50, z 0) in a 200 x 100 layer, then the
// transform with parameters in document units.
struct TransformScene {
    standalone::EmbeddedHost host;
    standalone::Layer* layer = nullptr;
    standalone::EffectInstance* transform = nullptr;

    explicit TransformScene(const std::string& params, const std::string& source = "") {
        const std::string doc =
            R"j({"tavrin": 1, "comps": [{"name": "C", "width": 200, "height": 100, "layers": [
              {"name": "Fx", "solid": {}, "effects": [{"effect": "Tavrin"},
              {"effect": "Tavrin Primitives Object", "params": )j" +
            (source.empty() ? std::string(R"j({"X Points": 3, "Y Points": 1, "Z Points": 1,
                                               "Cube Width": 200})j")
                            : source) +
            R"j(}, {"effect": "Tavrin Transform", "params": {)j" + params + "}}]}]}]}";
        standalone::LoadDocumentText(doc, "doc.json", host);
        layer = host.project().comps[0]->layers.back().get();
        transform = layer->effects[2].get();
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

void Apply(const Mat4& m, const double in[3], double out[3]) {
    double o[4];
    TransformPoint(m, in, o);
    for (int i = 0; i < 3; ++i) out[i] = o[i] / o[3];
}

TEST(TransformEffector, MatrixOrderWorkedByHand) {
    // Z first, then Y, then X, then the scale, then the translation: (1, 0, 0) turns to
    // (0, 1, 0) about Z, to (0, 0, 1) about X, doubles to (0, 0, 2) and moves by (10, 20, 30).
    const double center[3] = {0, 0, 0}, rotation[3] = {90, 0, 90}, translate[3] = {10, 20, 30},
                 scale[3] = {2, 2, 2};
    const Mat4 m = TransformEffectorMatrix(center, rotation, translate, scale);
    const double p[3] = {1, 0, 0};
    double q[3];
    Apply(m, p, q);
    EXPECT_NEAR(q[0], 10, 1e-12);
    EXPECT_NEAR(q[1], 20, 1e-12);
    EXPECT_NEAR(q[2], 32, 1e-12);
}

TEST(TransformEffector, RotationAndScaleActAboutTheCentre) {
    // About (100, 50, 0): the point 100 to the right turns a quarter about Z to 100 below
    // (y grows), and a non-uniform X scale of 3 leaves the centre where it is.
    const double center[3] = {100, 50, 0}, rotation[3] = {0, 0, 90}, none[3] = {0, 0, 0},
                 one[3] = {1, 1, 1}, wide[3] = {3, 1, 1};
    const double p[3] = {200, 50, 0};
    double q[3];
    Apply(TransformEffectorMatrix(center, rotation, none, one), p, q);
    EXPECT_NEAR(q[0], 100, 1e-12);
    EXPECT_NEAR(q[1], 150, 1e-12);
    Apply(TransformEffectorMatrix(center, none, none, wide), center, q);
    EXPECT_NEAR(q[0], 100, 1e-12);
    Apply(TransformEffectorMatrix(center, none, none, wide), p, q);
    EXPECT_NEAR(q[0], 400, 1e-12);
}

TEST(TransformEffector, TranslateMovesEveryVertex) {
    TransformScene s(R"j("X Translate": 10, "Y Translate": -5, "Z Translate": 7)j");
    const GeometryStore g = s.gather();
    ASSERT_EQ(g.positions.size(), 3u);
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_FLOAT_EQ(g.positions[i].x, 100.0f * float(i) + 10);
        EXPECT_FLOAT_EQ(g.positions[i].y, 45.0f);
        EXPECT_FLOAT_EQ(g.positions[i].z, 7.0f);
    }
}

TEST(TransformEffector, ZeroScaleGathersTheGroupAtTheTranslatedCentreWithNullNormals) {
    TransformScene s(R"j("Center XY": [60, 40], "Center Z": 5, "X Translate": 1,
                         "Y Translate": 2, "Z Translate": 3, "X Scale": 0)j");
    const GeometryStore g = s.gather();
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_FLOAT_EQ(g.positions[i].x, 61.0f);
        EXPECT_FLOAT_EQ(g.positions[i].y, 42.0f);
        EXPECT_FLOAT_EQ(g.positions[i].z, 8.0f);
        // Null normals stay null: nothing to normalise.
        EXPECT_EQ(g.normals[i].x, 0.0f);
        EXPECT_EQ(g.normals[i].y, 0.0f);
        EXPECT_EQ(g.normals[i].z, 0.0f);
    }
}

TEST(TransformEffector, NegativeScaleMirrorsAndFlipsTheNormal) {
    // A sphere's normals point every way; X Scale -100 (not uniform) mirrors x about the centre
    // and flips each normal's x.
    const std::string sphere =
        R"j({"Primitive Type": "Sphere", "Sphere Radius": 40, "Sphere Slices": 6,
            "Sphere Stacks": 4})j";
    TransformScene plain("", sphere);
    TransformScene mirrored(R"j("Uniform Scale": false, "X Scale": -100)j", sphere);
    const GeometryStore a = plain.gather(), b = mirrored.gather();
    ASSERT_EQ(a.positions.size(), b.positions.size());
    ASSERT_FALSE(a.positions.empty());
    for (size_t i = 0; i < a.positions.size(); ++i) {
        EXPECT_NEAR(b.positions[i].x, 200.0f - a.positions[i].x, 1e-3f) << i;  // about x = 100
        EXPECT_NEAR(b.positions[i].y, a.positions[i].y, 1e-3f) << i;
        const Vec3f& n = a.normals[i];
        const float len = std::sqrt(n.x * n.x + n.y * n.y + n.z * n.z);
        if (len == 0) continue;
        EXPECT_NEAR(b.normals[i].x, -n.x / len, 1e-5f) << i;
        EXPECT_NEAR(b.normals[i].y, n.y / len, 1e-5f) << i;
        EXPECT_NEAR(b.normals[i].z, n.z / len, 1e-5f) << i;
    }
}

TEST(TransformEffector, UniformScaleTakesTheXValueForAllAxes) {
    // Y and Z scales are ignored while the scale is uniform.
    TransformScene s(R"j("Center XY": [0, 0], "X Scale": 50, "Y Scale": 400)j");
    const GeometryStore g = s.gather();
    EXPECT_FLOAT_EQ(g.positions[2].x, 100.0f);
    EXPECT_FLOAT_EQ(g.positions[2].y, 25.0f);
}

TEST(TransformEffector, AGroupNoSourceUsesIsLeftAlone) {
    TransformScene s(R"j("X Translate": 10, "Effect Only Group": "Group 4")j");
    const GeometryStore g = s.gather();
    EXPECT_EQ(g.positions[0].x, 0.0f);
    EXPECT_EQ(g.positions[2].x, 200.0f);
}

TEST(TransformEffector, UniformScaleRenamesTheFirstScaleAndHidesTheOthers) {
    standalone::EmbeddedHost host;
    auto& comp = host.addComp("c", 100, 100);
    auto& layer = host.addLayer(comp, "l", standalone::LayerKind::Solid);
    auto& fx = host.applyEffectInstance(layer, "KDL TAVREFF Transform");
    EXPECT_EQ(host.paramName(fx.uid, 10), "X Scale");
    ASSERT_EQ(host.callEffect(fx, PF_Cmd_UPDATE_PARAMS_UI, A_Time{0, 1}, nullptr), 0);
    EXPECT_EQ(host.paramName(fx.uid, 10), "Scale");
    EXPECT_TRUE(fx.params[11].hidden);
    EXPECT_TRUE(fx.params[12].hidden);
    // The UI update runs once per instance; unchecking goes through user-changed.
    fx.params[9].value.u.checkbox = 0;
    ASSERT_EQ(host.callEffect(fx, PF_Cmd_UPDATE_PARAMS_UI, A_Time{0, 1}, nullptr), 0);
    EXPECT_EQ(host.paramName(fx.uid, 10), "Scale");
    ASSERT_EQ(host.callEffect(fx, PF_Cmd_USER_CHANGED_PARAM, A_Time{0, 1}, nullptr), 0);
    EXPECT_EQ(host.paramName(fx.uid, 10), "X Scale");
    EXPECT_FALSE(fx.params[11].hidden);
    EXPECT_FALSE(fx.params[12].hidden);
}

}  // namespace
}  // namespace tv
