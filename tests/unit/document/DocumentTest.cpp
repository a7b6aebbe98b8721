#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>

#include "params/DistanceCurve.h"
#include "standalone/BundledExample.h"
#include "standalone/CompRenderer.h"
#include "standalone/Document.h"

namespace tv {
namespace {

using standalone::DocumentError;
using standalone::EmbeddedHost;

// Loads text and returns the error's JSON path and message ("" when it loads).
std::pair<std::string, std::string> Error(const std::string& text) {
    EmbeddedHost host;
    try {
        standalone::LoadDocumentText(text, "doc.json", host);
    } catch (const DocumentError& e) {
        EXPECT_EQ(e.file(), "doc.json");
        return {e.jsonPath(), e.message()};
    }
    return {"", ""};
}

std::string Wrap(const std::string& layer) {
    return R"({"tavrin": 1, "comps": [{"name": "C", "width": 64, "height": 32, "layers": [)" +
           layer + "]}]}";
}

TEST(Document, ExampleLoadsAndMatchesTheBundledExample) {
    EmbeddedHost fromFile;
    standalone::LoadDocumentFile(std::string(TAVRIN_SOURCE_DIR) + "/examples/network.json",
                                 fromFile);
    EmbeddedHost built;
    standalone::Comp& comp = standalone::BuildBundledExample(built);
    standalone::CompRenderer a(fromFile), b(built);
    std::vector<std::string> m;
    EXPECT_EQ(a.renderFrame(*fromFile.project().comps.front(), 0, 8, m).rgba,
              b.renderFrame(comp, 0, 8, m).rgba);
}

TEST(Document, ValuesInUserUnits) {
    EmbeddedHost host;
    standalone::LoadDocumentText(Wrap(R"({"name": "L", "solid": {"color": "#ff8000"}, "effects": [
        {"effect": "KDL TAVRSRC Primitives", "params": {"Primitive Type": 2, "Y Rotate": 45,
         "Color": [0, 1, 0], "Opacity": 25, "Center XY": [10, 20], "Group": "Group 3"}},
        {"effect": "Tavrin", "params": {"Depth of Field#2": "Camera Settings", "#18": 8}}]})"),
                                 "doc.json", host);
    const auto& layer = *host.project().comps[0]->layers[0];
    EXPECT_FLOAT_EQ(layer.solidColor[0], 1.0f);
    const auto& prim = *layer.effects[0];
    EXPECT_EQ(prim.params[1].value.u.popup, 2);
    EXPECT_EQ(prim.params[21].value.u.fixed, 45 * 65536);
    EXPECT_EQ(prim.params[24].value.u.color.green, 255);
    EXPECT_EQ(prim.params[25].value.u.fixed, 25 * 65536);
    EXPECT_EQ(prim.params[18].value.u.point[1], 20 * 65536);
    EXPECT_EQ(prim.params[26].value.u.popup, 3);
    const auto& main = *layer.effects[1];
    EXPECT_EQ(main.params[11].value.u.popup, 2);
    EXPECT_EQ(main.params[18].value.u.slider, 8);
    EXPECT_FALSE(main.params[12].hidden);  // "Blur Factor" shows once the popup is 2
    EXPECT_TRUE(main.params[33].hidden);   // "Re-Render" is always hidden
}

struct Malformed {
    const char* text;
    const char* path;
    const char* messageStart;
};

TEST(Document, MalformedDocumentsNameThePlaceAndWhatIsValid) {
    const Malformed cases[] = {
        {"{", "", "not valid JSON"},
        {"[]", "$", "expected an object"},
        {R"({"tavrin": 2, "comps": []})", "$.tavrin", "missing or unknown format version"},
        {R"({"tavrin": 1})", "$.comps", "expected a non-empty list"},
        {R"({"tavrin": 1, "comps": [], "extra": 1})", "$.extra", "unknown key \"extra\""},
        {R"({"tavrin": 1, "comps": [{"widht": 5}]})", "$.comps[0].widht",
         "unknown key \"widht\"; did you mean \"width\"?"},
        {R"({"tavrin": 1, "comps": [{"width": "wide"}]})", "$.comps[0].width", "expected a number"},
        {R"({"tavrin": 1, "comps": [{"width": 0}]})", "$.comps[0].width",
         "value 0 is outside the valid range 1 to 30000"},
        {R"({"tavrin": 1, "comps": [{"width": 10.5}]})", "$.comps[0].width",
         "expected a whole number"},
        {R"({"tavrin": 1, "comps": [{"fps": "fast"}]})", "$.comps[0].fps", "expected a frame rate"},
        {R"({"tavrin": 1, "comps": [{"name": "A"}, {"name": "A"}]})", "$.comps[1].name",
         "two comps are named \"A\""},
        {R"({"tavrin": 1, "comps": [{"background": "#12345"}]})", "$.comps[0].background",
         "expected a colour"},
        {nullptr, nullptr, nullptr},
    };
    for (const Malformed* c = cases; c->text; ++c) {
        const auto [path, message] = Error(c->text);
        EXPECT_EQ(path, c->path) << c->text;
        EXPECT_EQ(message.rfind(c->messageStart, 0), 0u) << c->text << " gave: " << message;
    }
}

TEST(Document, MalformedLayersAndEffects) {
    const Malformed cases[] = {
        {R"({"solid": {}, "null": {}})", "$.comps[0].layers[0]", "a layer has one kind"},
        {R"({"name": "x"})", "$.comps[0].layers[0]", "a layer needs one kind"},
        {R"({"text": {}})", "$.comps[0].layers[0].text", "missing \"text\": the string to show"},
        {R"({"light": {"type": "area"}})", "$.comps[0].layers[0].light.type",
         "\"area\" is not a light type"},
        {R"({"camera": {"position": [1, 2]}})", "$.comps[0].layers[0].camera.position",
         "expected a list of 3 numbers"},
        {R"({"solid": {"colour": "#fff"}})", "$.comps[0].layers[0].solid.colour",
         "unknown key \"colour\"; did you mean \"color\"?"},
        {R"({"image": {"file": "missing.png"}})", "$.comps[0].layers[0].image.file",
         "no such file"},
        {R"({"precomp": {"comp": "Nope"}})", "$.comps[0].layers[0].precomp.comp",
         "no comp named \"Nope\""},
        {R"({"solid": {}, "solo": 1})", "$.comps[0].layers[0].solo", "expected true or false"},
        {R"({"solid": {}, "inPoint": 2, "outPoint": 1})", "$.comps[0].layers[0].outPoint",
         "the out point must come after"},
        {R"({"solid": {}, "effects": [{"effect": "Tavrin Lines Rendrer"}]})",
         "$.comps[0].layers[0].effects[0].effect",
         "unknown effect \"Tavrin Lines Rendrer\"; did you mean \"Tavrin Lines Renderer\"?"},
        {R"({"solid": {}, "effects": [{"params": {}}]})", "$.comps[0].layers[0].effects[0]",
         "missing \"effect\""},
        {R"({"solid": {}, "effects": [{"effect": "Tavrin", "params": {"Render Qualty": 2}}]})",
         "$.comps[0].layers[0].effects[0].params.Render Qualty",
         "\"Tavrin\" has no parameter \"Render Qualty\"; did you mean \"Render Quality\"?"},
        {R"({"solid": {}, "effects": [{"effect": "Tavrin", "params": {"Render Quality": "9x"}}]})",
         "$.comps[0].layers[0].effects[0].params.Render Quality",
         "\"9x\" is not an entry of \"Render Quality\""},
        {R"({"solid": {}, "effects": [{"effect": "Tavrin", "params": {"Render Quality": 9}}]})",
         "$.comps[0].layers[0].effects[0].params.Render Quality",
         "value 9 is outside the valid range 1 to 8"},
        {R"({"solid": {}, "effects": [{"effect": "Tavrin", "params": {"Motion Blur Samples": 0}}]})",
         "$.comps[0].layers[0].effects[0].params.Motion Blur Samples",
         "value 0 is outside the valid range 1 to 2048"},
        {R"({"solid": {}, "effects": [{"effect": "Tavrin", "params": {"Unified Rendering": 1}}]})",
         "$.comps[0].layers[0].effects[0].params.Unified Rendering", "expected true or false"},
        {R"({"solid": {}, "effects": [{"effect": "Tavrin", "params": {"Depth Map for Occlusion": "Ghost"}}]})",
         "$.comps[0].layers[0].effects[0].params.Depth Map for Occlusion",
         "no layer named \"Ghost\""},
        {R"({"solid": {}, "effects": [{"effect": "Tavrin", "params": {"Export SVG": true}}]})",
         "$.comps[0].layers[0].effects[0].params.Export SVG",
         "\"Tavrin\" has no parameter \"Export SVG\""},
        {R"({"solid": {}, "effects": [{"effect": "Tavrin", "params": {"Light(s) Name Begins with": ["x"]}}]})",
         "$.comps[0].layers[0].effects[0].params.Light(s) Name Begins with",
         "expected a string, found [\"x\"]"},
        {R"({"solid": {}, "effects": [{"effect": "Tavrin", "enabled": "yes"}]})",
         "$.comps[0].layers[0].effects[0].enabled", "expected true or false"},
        {R"({"solid": {}, "effects": {}})", "$.comps[0].layers[0].effects",
         "expected a list of effects"},
        {nullptr, nullptr, nullptr},
    };
    for (const Malformed* c = cases; c->text; ++c) {
        const auto [path, message] = Error(Wrap(c->text));
        EXPECT_EQ(path, c->path) << c->text;
        EXPECT_EQ(message.rfind(c->messageStart, 0), 0u) << c->text << " gave: " << message;
    }
}

// Solo: once a layer of a comp is soloed only the soloed layers show; a soloed layer whose
// video is off still shows nothing.
TEST(Document, SoloedLayersAloneShow) {
    auto centre = [](const std::string& layers) {
        EmbeddedHost host;
        standalone::LoadDocumentText(Wrap(layers), "doc.json", host);
        standalone::CompRenderer renderer(host);
        std::vector<std::string> m;
        const auto frame = renderer.renderFrame(*host.project().comps.front(), 0, 8, m);
        const size_t at = (size_t(16) * size_t(frame.width) + 32) * 4;
        return std::vector<float>(frame.rgba.begin() + long(at), frame.rgba.begin() + long(at) + 4);
    };
    const std::string red = R"({"name": "Red", "solid": {"color": "#ff0000"})";
    const std::string blue = R"({"name": "Blue", "solid": {"color": "#0000ff"})";
    EXPECT_EQ(centre(red + "}," + blue + "}"), (std::vector<float>{1, 0, 0, 1}));
    EXPECT_EQ(centre(red + "}," + blue + R"(, "solo": true})"), (std::vector<float>{0, 0, 1, 1}));
    EXPECT_EQ(centre(red + R"(, "solo": true},)" + blue + R"(, "solo": true})"),
              (std::vector<float>{1, 0, 0, 1}));
    EXPECT_EQ(centre(red + "}," + blue + R"(, "solo": true, "enabled": false})"),
              (std::vector<float>{0, 0, 0, 0}));
}

TEST(Document, PrecompCyclesAreRefused) {
    const auto [path, message] = Error(R"({"tavrin": 1, "comps": [
        {"name": "A", "layers": [{"precomp": {"comp": "B"}}]},
        {"name": "B", "layers": [{"precomp": {"comp": "A"}}]}]})");
    EXPECT_EQ(path, "$.comps");
    EXPECT_EQ(message, "precomps form a cycle: \"A\" -> \"B\" -> \"A\"");
}

TEST(Document, MissingFile) {
    EmbeddedHost host;
    EXPECT_THROW(standalone::LoadDocumentFile("/nonexistent/doc.json", host), DocumentError);
}

}  // namespace
}  // namespace tv

namespace tv {
namespace {

TEST(Document, EveryExampleLoads) {
    size_t count = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(
             std::string(TAVRIN_SOURCE_DIR) + "/examples")) {
        if (entry.path().extension() != ".json") continue;
        standalone::EmbeddedHost host;
        EXPECT_NO_THROW(standalone::LoadDocumentFile(entry.path().string(), host)) << entry.path();
        ++count;
    }
    EXPECT_GE(count, 3u);
}

}  // namespace
}  // namespace tv

namespace tv {
namespace {

TEST(Document, CurvesFromPointsNamesAndSamples) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(R"({"tavrin": 1, "comps": [{"layers": [{"solid": {}, "effects": [
        {"effect": "Tavrin Lines Renderer", "params": {
          "Opacity over Distance": [[0, 1], [0.5, 1], [1, 0]],
          "Thickness over Distance": "falling"}}]}]}]})",
                                 "doc.json", host);
    const auto& lines = *host.project().comps[0]->layers[0]->effects[0];
    const auto bytes = host.handleBytes(lines.params[7].value.u.arbData);
    ASSERT_EQ(bytes.size(), sizeof(DistanceCurve));
    DistanceCurve c;
    std::memcpy(&c, bytes.data(), sizeof c);
    EXPECT_FLOAT_EQ(c.samples[50], 50.0f);   // t = 0.25: factor 1
    EXPECT_FLOAT_EQ(c.samples[150], 25.0f);  // t = 0.75: half way down
    const auto thick = host.handleBytes(lines.params[9].value.u.arbData);
    std::memcpy(&c, thick.data(), sizeof c);
    EXPECT_EQ(c.samples, DistanceCurve::DefaultOpacity().samples);

    standalone::EmbeddedHost bad;
    try {
        standalone::LoadDocumentText(
            R"({"tavrin": 1, "comps": [{"layers": [{"solid": {}, "effects": [
            {"effect": "Tavrin Lines Renderer", "params": {"Opacity over Distance": {"samples": [1, 2]}}}]}]}]})",
            "doc.json", bad);
        FAIL();
    } catch (const standalone::DocumentError& e) {
        EXPECT_EQ(e.jsonPath(),
                  "$.comps[0].layers[0].effects[0].params.Opacity over Distance.samples");
    }
}

}  // namespace
}  // namespace tv
