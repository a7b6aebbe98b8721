// The path source in documents: what its name filter shows, its rows' visibility, the rotation
// centre parameter, animated masks, the colour of text outlines, the hash through the host, and
// documents with an empty text or a one-vertex mask refused where they say so.
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "host/Gather.h"
#include "main/MainParams.h"
#include "host/TextParam.h"
#include "standalone/Document.h"
#include "standalone/EmbeddedHost.h"

namespace tv {
namespace {

enum : int32_t {
    kName = 2,
    kSeparate = 3,
    kSubdivide = 4,
    kPoints = 5,
    kGetColor = 7,
    kColor = 8,
    kGetOpacity = 9,
    kOpacity = 10,
};

class PathUi : public ::testing::Test {
  protected:
    standalone::EmbeddedHost host;
    standalone::Comp& comp = host.addComp("c", 200, 200);
    standalone::Layer& self = host.addLayer(comp, "carrier", standalone::LayerKind::Solid);
    standalone::EffectInstance& fx = host.applyEffectInstance(self, "KDL TAVRSRC Paths");

    standalone::ParamState& p(int32_t index) { return fx.params[size_t(index)]; }
    void Changed(int32_t index) {
        PF_UserChangedParamExtra extra;
        extra.param_index = index;
        ASSERT_EQ(host.callEffect(fx, PF_Cmd_USER_CHANGED_PARAM, A_Time{0, 1}, &extra), 0);
    }
};

TEST_F(PathUi, AnEmptyMaskNameShowsAsAllMasks) {
    ASSERT_EQ(host.callEffect(fx, PF_Cmd_UPDATE_PARAMS_UI, A_Time{0, 1}, nullptr), 0);
    EXPECT_EQ(ReadTextParam(host, p(kName).value.u.arbData), "");  // the popup's "All Masks"
    EXPECT_EQ(host.drawParam(fx, kName, A_Time{0, 1}), "<All Masks>");
    ASSERT_EQ(WriteTextParam(host, fx.uid, kName, "Logo"), 0);
    EXPECT_EQ(host.drawParam(fx, kName, A_Time{0, 1}), "Logo");
}

TEST_F(PathUi, ColorOpacityAndPointsRowsFollowTheirCheckboxes) {
    ASSERT_EQ(host.callEffect(fx, PF_Cmd_UPDATE_PARAMS_UI, A_Time{0, 1}, nullptr), 0);
    EXPECT_TRUE(p(1).hidden);
    EXPECT_TRUE(p(kSeparate).hidden);
    for (int32_t i : {kColor, kOpacity, kPoints}) EXPECT_FALSE(p(i).hidden) << i;

    p(kGetColor).value.u.checkbox = 1;
    Changed(kGetColor);
    EXPECT_TRUE(p(kColor).hidden);
    EXPECT_FALSE(p(kOpacity).hidden);

    p(kGetOpacity).value.u.checkbox = 1;
    Changed(kGetOpacity);
    EXPECT_TRUE(p(kOpacity).hidden);

    p(kSubdivide).value.u.checkbox = 0;
    Changed(kSubdivide);
    EXPECT_TRUE(p(kPoints).hidden);

    p(kGetColor).value.u.checkbox = 0;
    p(kSubdivide).value.u.checkbox = 1;
    Changed(kSubdivide);
    EXPECT_FALSE(p(kColor).hidden);
    EXPECT_FALSE(p(kPoints).hidden);
    EXPECT_TRUE(p(1).hidden);
    EXPECT_TRUE(p(kSeparate).hidden);
}

TEST(NameFilterLabels, EachOwnerShowsItsPlaceholderForAnEmptyName) {
    standalone::EmbeddedHost host;
    auto& comp = host.addComp("c", 100, 100);
    auto& layer = host.addLayer(comp, "l", standalone::LayerKind::Solid);
    const A_Time t{0, 1};
    auto& main = host.applyEffectInstance(layer, "KDL TAVRUS TWO");
    EXPECT_EQ(host.drawParam(main, 4, t), "<All Lights>");
    auto& layers = host.applyEffectInstance(layer, "KDL TAVRSRC Lights");
    EXPECT_EQ(host.drawParam(layers, 5, t), "<All Lights>");
    layers.params[1].value.u.popup = 2;  // 3D layers
    EXPECT_EQ(host.drawParam(layers, 5, t), "<All Layers>");
    auto& noise = host.applyEffectInstance(layer, "KDL TAVREFF Noise");
    EXPECT_EQ(host.drawParam(noise, 25, t), "<All Lights>");
    auto& field = host.applyEffectInstance(layer, "KDL TAVREFF Spherical Field");
    EXPECT_EQ(host.drawParam(field, 14, t), "<All Lights>");
    auto& shade = host.applyEffectInstance(layer, "KDL TAVREFF Shade Effector");
    EXPECT_EQ(host.drawParam(shade, 2, t), "<All Lights>");
    // A name shows as itself; a long one is cut at a whole character.
    ASSERT_EQ(WriteTextParam(host, shade.uid, 2, "Key"), 0);
    EXPECT_EQ(host.drawParam(shade, 2, t), "Key");
    std::string longName(254, 'a');
    longName += "\xC3\xA9\xC3\xA9";  // two-byte characters across the cut
    ASSERT_EQ(WriteTextParam(host, shade.uid, 2, longName), 0);
    EXPECT_EQ(host.drawParam(shade, 2, t), std::string(254, 'a'));
    // A parameter that is no name filter draws nothing.
    EXPECT_EQ(host.drawParam(shade, 1, t), "");
}

std::string Doc(const std::string& layerBody, const std::string& params) {
    return R"({"tavrin": 1, "comps": [{"name": "C", "width": 200, "height": 200, "fps": 30,
      "duration": 2, "layers": [{"name": "L", )" +
           layerBody + R"(, "effects": [{"effect": "Tavrin Path Object", "params": {)" + params +
           "}}]}]}]}";
}

struct Gathered {
    standalone::EmbeddedHost host;
    GeometryStore store;
    explicit Gathered(const std::string& doc, double seconds = 0) {
        standalone::LoadDocumentText(doc, "doc.json", host);
        auto& comp = *host.project().comps[0];
        ObjectMessage m;
        InitObjectMessage(m);
        const A_Time t{int32_t(seconds * comp.timeScale()), comp.timeScale()};
        EXPECT_EQ(Gather(host, comp.layers[0]->uid, t, m), 0);
        store = *m.geometry;
        DisposeObjectMessage(m);
    }
};

constexpr const char* kVerticesOnly = R"("Subdivide Masks": false, "Generate Facets": false,
    "Generate Caps": false)";

TEST(PathDocument, TheRotationCentreParameterIsInLayerPixels) {
    const std::string mask = R"("solid": {}, "masks": [{"closed": false,
        "path": [[100, 50], [150, 50]]}])";
    // Z 90 about the layer's middle (the default 50%, 50%): (100, 50) goes to (150, 100).
    const Gathered middle(Doc(mask, std::string(kVerticesOnly) + R"(, "Z Start Angle": 90)"));
    ASSERT_EQ(middle.store.positions.size(), 2u);
    EXPECT_NEAR(middle.store.positions[0].x, 150, 1e-3);
    EXPECT_NEAR(middle.store.positions[0].y, 100, 1e-3);
    // About the corner (0, 0): (100, 50) goes to (-50, 100).
    const Gathered corner(Doc(mask, std::string(kVerticesOnly) +
                                        R"(, "Z Start Angle": 90, "Rotation Center XY": [0, 0])"));
    EXPECT_NEAR(corner.store.positions[0].x, -50, 1e-3);
    EXPECT_NEAR(corner.store.positions[0].y, 100, 1e-3);
    // The centre's Z moves an X turn out of the plane.
    const Gathered deep(Doc(mask, std::string(kVerticesOnly) +
                                      R"(, "X Start Angle": 90, "Rotation Center XY": [0, 0],
                                         "Rotation Center Z": 40)"));
    EXPECT_NEAR(deep.store.positions[0].y, 40, 1e-3);
    EXPECT_NEAR(deep.store.positions[0].z, 40 + 50, 1e-3);
}

TEST(PathDocument, AnimatedMaskKeysBlendLinearlyOrHold) {
    auto body = [](const char* interp) {
        return std::string(R"("solid": {}, "masks": [{"closed": false, "path": {"keys": [
            {"t": 0, "v": [[0, 0], [100, 0]], "interp": ")") +
               interp + R"("}, {"t": 1, "v": [[0, 100], [200, 100]]}]}}])";
    };
    const Gathered linear(Doc(body("linear"), kVerticesOnly), 0.5);
    ASSERT_EQ(linear.store.positions.size(), 2u);
    EXPECT_NEAR(linear.store.positions[0].y, 50, 1e-3);
    EXPECT_NEAR(linear.store.positions[1].x, 150, 1e-3);
    EXPECT_NEAR(linear.store.positions[1].y, 50, 1e-3);
    const Gathered held(Doc(body("hold"), kVerticesOnly), 0.5);
    ASSERT_EQ(held.store.positions.size(), 2u);
    EXPECT_NEAR(held.store.positions[1].x, 100, 1e-3);
    EXPECT_NEAR(held.store.positions[1].y, 0, 1e-3);
    const Gathered after(Doc(body("hold"), kVerticesOnly), 1.5);
    EXPECT_NEAR(after.store.positions[1].x, 200, 1e-3);
    EXPECT_NEAR(after.store.positions[1].y, 100, 1e-3);
    // Subdivided: the samples follow the blended path too.
    const Gathered sampled(Doc(body("linear"), R"("Points on Each Mask": 5)"), 0.5);
    ASSERT_EQ(sampled.store.positions.size(), 5u);
    for (const Vec3f& p : sampled.store.positions) EXPECT_NEAR(p.y, 50, 1e-3);
    EXPECT_NEAR(sampled.store.positions.back().x, 150, 1e-3);
}

TEST(PathDocument, TextOutlinesTakeTheColourAndOpacityParameters) {
    const std::string body = R"("text": {"text": "o", "size": 80}, "masks": [
        {"name": "M", "color": "#ff0000", "opacity": 40, "closed": false,
         "path": [[0, 0], [50, 0]]}])";
    const Gathered g(Doc(body, R"("Points on Each Mask": 10, "Color": "#00ff80",
        "Opacity": 30, "Get Color from Masks": true, "Get Opacity from Masks": true)"));
    // The mask's 10 points, then the o's two contours of 10.
    ASSERT_EQ(g.store.colors.size(), 30u);
    EXPECT_FLOAT_EQ(g.store.colors[0].r, 1.0f);
    EXPECT_FLOAT_EQ(g.store.colors[0].g, 0.0f);
    EXPECT_FLOAT_EQ(g.store.colors[0].a, 0.4f);
    for (size_t i = 10; i < 30; ++i) {
        EXPECT_FLOAT_EQ(g.store.colors[i].r, 0.0f) << i;
        EXPECT_FLOAT_EQ(g.store.colors[i].g, 1.0f) << i;
        EXPECT_FLOAT_EQ(g.store.colors[i].b, 128.0f / 255.0f) << i;
        EXPECT_FLOAT_EQ(g.store.colors[i].a, 0.3f) << i;
    }
}

uint64_t LayerHash(const std::string& doc) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(doc, "doc.json", host);
    auto& comp = *host.project().comps[0];
    static std::vector<uint64_t> mixed;
    mixed.clear();
    auto mix = [](PF_ProgPtr, uint32_t size, const void* data) -> PF_Err {
        uint64_t v = 0;
        std::memcpy(&v, data, std::min<uint32_t>(size, 8));
        mixed.push_back(v);
        return 0;
    };
    EXPECT_EQ(MixStackHash(host, comp.layers[0]->uid, comp.frameTime(0), 0, mix, {}), 0);
    EXPECT_FALSE(mixed.empty());
    return mixed.empty() ? 0 : mixed[0];
}

TEST(PathDocument, TheHashChangesWhenAMaskVertexMovesAndOnlyThen) {
    auto doc = [](const char* x) {
        return Doc(std::string(R"("solid": {}, "masks": [{"path": [[0, 0], [)") + x +
                       R"(, 0], [100, 100]]}])",
                   "");
    };
    const uint64_t h = LayerHash(doc("100"));
    EXPECT_EQ(LayerHash(doc("100")), h);
    EXPECT_NE(LayerHash(doc("101")), h);
}

std::string LoadError(const std::string& doc) {
    standalone::EmbeddedHost host;
    try {
        standalone::LoadDocumentText(doc, "doc.json", host);
    } catch (const std::exception& e) {
        return e.what();
    }
    return "accepted";
}

TEST(PathDocument, AnEmptyTextIsRefusedNamingItsPlace) {
    const std::string why = LoadError(Doc(R"("text": {"text": ""})", ""));
    EXPECT_NE(why.find("$.comps[0].layers[0].text.text"), std::string::npos) << why;
    EXPECT_NE(why.find("at least one character"), std::string::npos) << why;
    EXPECT_EQ(LoadError(Doc(R"("text": {"text": " "})", "")), "accepted");
}

TEST(PathDocument, AMaskOfOneVertexIsRefusedInEveryKey) {
    std::string why = LoadError(Doc(R"("solid": {}, "masks": [{"path": [[3, 3]]}])", ""));
    EXPECT_NE(why.find("$.comps[0].layers[0].masks[0].path"), std::string::npos) << why;
    EXPECT_NE(why.find("at least 2 vertices"), std::string::npos) << why;
    why = LoadError(Doc(R"("solid": {}, "masks": [{"closed": false, "path": {"keys": [
        {"t": 0, "v": [[3, 3]]}, {"t": 1, "v": [[4, 4]]}]}}])",
                        ""));
    EXPECT_NE(why.find("$.comps[0].layers[0].masks[0].path.keys[0].v"), std::string::npos) << why;
    EXPECT_EQ(LoadError(Doc(
                  R"("solid": {}, "masks": [{"closed": false, "path": [[0, 0], [9, 9]]}])", "")),
              "accepted");
}

TEST(PathDocument, InfoShowsAnEmptyMaskNameAsAllMasks) {
    namespace fs = std::filesystem;
    const fs::path file =
        fs::temp_directory_path() /
        ("tavrin-path-info-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
         ".json");
    std::ofstream(file) << Doc(R"("solid": {}, "masks": [{"path": [[0, 0], [9, 9]]}])",
                               R"("Mask Name Begins with": "")");
    FILE* pipe =
        popen((std::string(TAVRIN_BINARY) + " info " + file.string() + " 2>&1").c_str(), "r");
    ASSERT_NE(pipe, nullptr);
    std::string out;
    std::array<char, 4096> buffer;
    size_t n;
    while ((n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0) out.append(buffer.data(), n);
    const int status = pclose(pipe);
    fs::remove(file);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << out;
    const size_t row = out.find("Mask Name Begins with");
    ASSERT_NE(row, std::string::npos) << out;
    const std::string line = out.substr(row, out.find('\n', row) - row);
    EXPECT_NE(line.find(" <All Masks> "), std::string::npos) << line;
}

}  // namespace
}  // namespace tv
