#include <gtest/gtest.h>

#include "standalone/Document.h"
#include "standalone/Keyframes.h"

namespace tv::standalone {
namespace {

Key K(double t, double v, Interp i = Interp::Linear) {
    Key k;
    k.t = t;
    k.v = {v, 0, 0, 0};
    k.interp = i;
    return k;
}

TEST(Keyframes, LinearHoldAndEnds) {
    const std::vector<Key> keys = {K(0, 0), K(2, 10, Interp::Hold), K(4, 20)};
    EXPECT_DOUBLE_EQ(Evaluate(keys, -1, 1)[0], 0);  // before the first key
    EXPECT_DOUBLE_EQ(Evaluate(keys, 0.5, 1)[0], 2.5);
    EXPECT_DOUBLE_EQ(Evaluate(keys, 3.9, 1)[0], 10);  // held after the hold key
    EXPECT_DOUBLE_EQ(Evaluate(keys, 4, 1)[0], 20);
    EXPECT_DOUBLE_EQ(Evaluate(keys, 9, 1)[0], 20);  // after the last key
}

TEST(Keyframes, BezierEaseIsSymmetricAndSlowAtTheEnds) {
    std::vector<Key> keys = {K(0, 0, Interp::Bezier), K(1, 100)};
    // Speed 0 and one third influence at both ends: half way in time is half way in value.
    EXPECT_NEAR(Evaluate(keys, 0.5, 1)[0], 50, 1e-6);
    // Eased: slower than linear near the start and end.
    EXPECT_LT(Evaluate(keys, 0.1, 1)[0], 10);
    EXPECT_GT(Evaluate(keys, 0.9, 1)[0], 90);
    // Worked by hand: with influences of one third the time controls sit at 1/3 and 2/3, so
    // time equals the curve's parameter s; at s = 0.25 the value is
    // 3*0.75*0.25^2*100 + 0.25^3*100 = 15.625.
    EXPECT_NEAR(Evaluate(keys, 0.25, 1)[0], 15.625, 1e-6);
    // A speed that matches the line with full influence gives the straight line.
    keys[0].speedOut = 100;
    keys[1].speedIn = 100;
    EXPECT_NEAR(Evaluate(keys, 0.3, 1)[0], 30, 1e-6);
}

TEST(Keyframes, DocumentKeysAnimateParameters) {
    EmbeddedHost host;
    LoadDocumentText(R"({"tavrin": 1, "comps": [{"name": "C", "fps": 10, "layers": [{"solid": {},
        "effects": [{"effect": "Tavrin Primitives Object", "params": {
          "Y Rotate": {"keys": [{"t": 0, "v": 0}, {"t": 2, "v": 90}]},
          "Primitive Type": {"keys": [{"t": 0, "v": "Cube"}, {"t": 1, "v": "Sphere"}]}}}]}]}]})",
                     "doc.json", host);
    auto& instance = *host.project().comps[0]->layers[0]->effects[0];
    PF_ParamDef v;
    ASSERT_EQ(host.checkoutParam(instance.uid, 21, 10000, 1000, 10000, &v), 0);  // 1 s
    EXPECT_EQ(v.u.fixed, DoubleToFixed(45));
    ASSERT_EQ(host.checkoutParam(instance.uid, 1, 9000, 1000, 10000, &v), 0);  // 0.9 s
    EXPECT_EQ(v.u.popup, 1);                                                   // popups step
    ASSERT_EQ(host.checkoutParam(instance.uid, 1, 10000, 1000, 10000, &v), 0);
    EXPECT_EQ(v.u.popup, 2);
}

TEST(Keyframes, BadKeysAreRefused) {
    EmbeddedHost host;
    try {
        LoadDocumentText(R"({"tavrin": 1, "comps": [{"layers": [{"solid": {}, "effects": [
            {"effect": "Tavrin", "params": {"Near Fade": {"keys": [{"t": 1, "v": 300}, {"t": 1, "v": 400}]}}}]}]}]})",
                         "doc.json", host);
        FAIL() << "loaded";
    } catch (const DocumentError& e) {
        EXPECT_EQ(e.jsonPath(), "$.comps[0].layers[0].effects[0].params.Near Fade.keys[1].t");
        EXPECT_EQ(e.message().rfind("keys must be in increasing time", 0), 0u);
    }
}

}  // namespace
}  // namespace tv::standalone
