// The shade effector in real documents: light spheres by intensity, the ambient share, the
// limit that keeps it from brightening, the name prefix and the text filled once.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "host/Gather.h"
#include "standalone/Document.h"

namespace tv {
namespace {

// Three white vertices at 50 % in a row at x = 0, 100, 200 (y 50, z 0), then the shade effector.
struct ShadeScene {
    standalone::EmbeddedHost host;
    standalone::Layer* layer = nullptr;
    standalone::EffectInstance* shade = nullptr;

    ShadeScene(const std::string& lights, const std::string& shadeParams) {
        const std::string doc =
            R"j({"tavrin": 1, "comps": [{"name": "C", "width": 200, "height": 100, "layers": [)j" +
            lights + R"j({"name": "Fx", "solid": {}, "effects": [{"effect": "Tavrin"},
              {"effect": "Tavrin Primitives Object", "params": {"X Points": 3, "Y Points": 1,
               "Z Points": 1, "Cube Width": 200, "Opacity": 50}},
              {"effect": "Tavrin Shade Effector", "params": {)j" +
            shadeParams + "}}]}]}]}";
        standalone::LoadDocumentText(doc, "doc.json", host);
        layer = host.project().comps[0]->layers.back().get();
        shade = layer->effects[2].get();
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

TEST(ShadeEffector, AnEmptyLightListMakesTheGroupBlack) {
    ShadeScene s("", "");
    const GeometryStore g = s.gather();
    ASSERT_EQ(g.colors.size(), 3u);
    for (const Color4f& c : g.colors) {
        EXPECT_EQ(c.r, 0.0f);
        EXPECT_EQ(c.g, 0.0f);
        EXPECT_EQ(c.b, 0.0f);
        EXPECT_FLOAT_EQ(c.a, 0.5f);  // alpha stays
    }
}

TEST(ShadeEffector, LightReachFallsLinearlyOverItsIntensityPlusAnAmbientShare) {
    // Reach 200 from x = 0, ambience 10 %: x = 0 gets 1.1 (limited to 1), x = 100 gets
    // 0.1 + 0.5, x = 200 (on the edge) only the ambient 0.1.
    ShadeScene s(R"j({"name": "Color Key", "light": {"position": [0, 50, 0], "intensity": 200}},)j",
                 "");
    const GeometryStore g = s.gather();
    EXPECT_FLOAT_EQ(g.colors[0].r, 1.0f);
    EXPECT_FLOAT_EQ(g.colors[1].g, 0.6f);
    EXPECT_FLOAT_EQ(g.colors[2].b, 0.1f);
}

TEST(ShadeEffector, IntensityZeroGivesOnlyTheAmbientShareExceptOnTheLight) {
    ShadeScene s(R"j({"name": "Color", "light": {"position": [100, 50, 0], "intensity": 0}},)j",
                 R"j("Ambience": 30)j");
    const GeometryStore g = s.gather();
    EXPECT_FLOAT_EQ(g.colors[0].r, 0.3f);
    EXPECT_FLOAT_EQ(g.colors[2].r, 0.3f);
    // On the light itself the weight is 1 - 0 / 0: no number.
    EXPECT_TRUE(std::isnan(g.colors[1].r));
}

TEST(ShadeEffector, ColouredLightsOnlyDarkenAndSumsAreLimited) {
    // Two red lights over everything: red sums to 2.2 and stays 1 (never brighter); green and
    // blue sum to 0 and go black.
    ShadeScene s(
        R"j({"name": "Color 1", "light": {"position": [100, 50, 0], "intensity": 1000,
                                          "color": "#ff0000"}},
            {"name": "Color 2", "light": {"position": [100, 50, 0], "intensity": 1000,
                                          "color": "#ff0000"}},)j",
        "");
    const GeometryStore g = s.gather();
    for (const Color4f& c : g.colors) {
        EXPECT_FLOAT_EQ(c.r, 1.0f);
        EXPECT_EQ(c.g, 0.0f);
        EXPECT_EQ(c.b, 0.0f);
    }
}

TEST(ShadeEffector, OnlyLightsWhoseNamesBeginWithTheWordCount) {
    // The default word is "Color": a light called "Key" lights nothing. "All Lights" takes it.
    const std::string key =
        R"j({"name": "Key", "light": {"position": [0, 50, 0], "intensity": 1000}},)j";
    ShadeScene word(key, "");
    EXPECT_EQ(word.gather().colors[0].r, 0.0f);
    ShadeScene all(key, R"j("Shading-Lights name starts with": "All Lights")j");
    EXPECT_FLOAT_EQ(all.gather().colors[0].r, 1.0f);
}

TEST(ShadeEffector, TheTextTakesThePopupsWordOnceAndThePopupStaysHidden) {
    ShadeScene s("", R"j("Shading-Lights name starts with": "Tint")j");
    auto text = [&] {
        const auto bytes = s.host.handleBytes(s.shade->params[2].value.u.arbData);
        uint32_t n = 0;
        if (bytes.size() >= 4) std::memcpy(&n, bytes.data(), 4);
        return bytes.size() >= 4 ? std::string(bytes.begin() + 4, bytes.begin() + 4 + n)
                                 : std::string();
    };
    ASSERT_EQ(s.host.callEffect(*s.shade, PF_Cmd_UPDATE_PARAMS_UI, A_Time{0, 1}, nullptr), 0);
    EXPECT_EQ(text(), "Tint");
    EXPECT_TRUE(s.shade->params[1].hidden);
    // Once only: a later change of the popup no longer reaches the text.
    s.shade->params[1].value.u.popup = 3;
    ASSERT_EQ(s.host.callEffect(*s.shade, PF_Cmd_UPDATE_PARAMS_UI, A_Time{0, 1}, nullptr), 0);
    EXPECT_EQ(text(), "Tint");
}

}  // namespace
}  // namespace tv
