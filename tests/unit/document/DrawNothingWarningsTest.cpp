// Documents that load but draw nothing, or less than they ask for: validate warns with the JSON
// path, --strict makes it an error, render says it before drawing.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/support/RunShell.h"

namespace tv {
namespace {

namespace fs = std::filesystem;

using test::CliRun;

CliRun Tavrin(const std::string& args, const std::string& env = "") {
    return test::RunShell(env + " '" + std::string(TAVRIN_BINARY) + "' " + args + " 2>&1");
}

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// One comp holding one layer with the given effects.
std::string Layer(const std::string& effects) {
    return R"({"tavrin": 1, "comps": [{"name": "C", "width": 32, "height": 24, "fps": 4,
      "duration": 1, "layers": [{"name": "Fx", "solid": {}, "effects": [)" +
           effects + "]}]}]}";
}

const char* kSphere =
    R"({"effect": "Tavrin Primitives Object", "params": {"Primitive Type": "Sphere",
    "Sphere Radius": 8, "Sphere Slices": 6, "Sphere Stacks": 4}})";

class DrawNothing : public ::testing::Test {
  protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() /
               ("tavrin-nothing-" + std::to_string(::getpid()) + "-" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }
    std::string Write(const std::string& text) {
        const std::string p = (dir_ / "doc.json").string();
        std::ofstream(p) << text;
        return p;
    }
    fs::path dir_;
};

TEST_F(DrawNothing, ALayerWithoutTheMainEffectIsWarnedAndStrictRefusesIt) {
    const std::string doc =
        Write(Layer(std::string(kSphere) + R"(, {"effect": "Tavrin Points Renderer"})"));
    const CliRun r = Tavrin("validate " + doc);
    EXPECT_EQ(r.code, 0) << r.out;
    EXPECT_EQ(r.out, doc + ": valid (1 comps, 1 layers, 2 effects)\nwarning: " + doc +
                         ": $.comps[0].layers[0]: layer \"Fx\" has Tavrin effects but not the "
                         "main effect \"Tavrin\", which is what draws them: the layer shows none "
                         "of their geometry; add {\"effect\": \"Tavrin\"} to its effects\n");
    const CliRun strict = Tavrin("validate --strict " + doc);
    EXPECT_EQ(strict.code, 2);
    EXPECT_FALSE(Has(strict.out, "valid (")) << strict.out;
    EXPECT_TRUE(Has(strict.out, "error: " + doc + ": $.comps[0].layers[0]: layer")) << strict.out;
    // A good document stays quiet and valid under --strict.
    const std::string good = Write(Layer(R"({"effect": "Tavrin"}, )" + std::string(kSphere) +
                                         R"(, {"effect": "Tavrin Points Renderer"})"));
    const CliRun ok = Tavrin("validate --strict " + good);
    EXPECT_EQ(ok.code, 0) << ok.out;
    EXPECT_EQ(ok.out, good + ": valid (1 comps, 1 layers, 3 effects)\n");
}

TEST_F(DrawNothing, ARendererWhoseGroupNoSourceJoinsIsWarned) {
    const std::string doc = Write(Layer(
        R"({"effect": "Tavrin"}, )" + std::string(kSphere) +
        R"(, {"effect": "Tavrin Points Renderer", "params": {"Effect Only Group": "Group 3"}})"));
    const CliRun r = Tavrin("validate " + doc);
    EXPECT_EQ(r.code, 0) << r.out;
    EXPECT_TRUE(Has(r.out, "warning: " + doc +
                               ": $.comps[0].layers[0].effects[2].params.Effect Only Group: "
                               "\"Tavrin Points Renderer\" draws Group 3, which no source on its "
                               "layer joins"))
        << r.out;
    const std::string none =
        Write(Layer(R"({"effect": "Tavrin"}, {"effect": "Tavrin Points Renderer"})"));
    EXPECT_TRUE(Has(Tavrin("validate " + none).out,
                    ": $.comps[0].layers[0].effects[1]: \"Tavrin Points Renderer\" has no "
                    "source on its layer"));
}

TEST_F(DrawNothing, FacetsWithoutFacesAreWarned) {
    const std::string doc = Write(Layer(
        R"({"effect": "Tavrin", "params": {"Unified Rendering": true}},
           {"effect": "Tavrin OBJ Object", "params": {"Import Facets": false}},
           {"effect": "Tavrin Facets Renderer"})"));
    const CliRun r = Tavrin("validate " + doc);
    EXPECT_EQ(r.code, 0) << r.out;
    EXPECT_TRUE(Has(r.out, "warning: " + doc +
                               ": $.comps[0].layers[0].effects[1].params.Import Facets: \"Tavrin "
                               "OBJ Object\" makes no faces, so \"Tavrin Facets Renderer\" at "
                               "$.comps[0].layers[0].effects[2] draws nothing"))
        << r.out;
    EXPECT_EQ(Tavrin("validate --strict " + doc).code, 2);
}

TEST_F(DrawNothing, ANoiseOfAmplitudeZeroIsWarned) {
    const std::string doc = Write(Layer(R"({"effect": "Tavrin"}, )" + std::string(kSphere) +
                                        R"(, {"effect": "Tavrin Noise Effector"})"));
    EXPECT_TRUE(Has(Tavrin("validate " + doc).out,
                    ": $.comps[0].layers[0].effects[2].params.Noise Amplitude: \"Tavrin Noise "
                    "Effector\" has an amplitude of 0"));
    const std::string moving =
        Write(Layer(R"({"effect": "Tavrin"}, )" + std::string(kSphere) +
                    R"(, {"effect": "Tavrin Noise Effector", "params": {"Noise Amplitude": 20}})"));
    EXPECT_EQ(Tavrin("validate --strict " + moving).code, 0);
}

TEST_F(DrawNothing, ASoundOfAmplitudeZeroIsWarnedUnlessItColours) {
    const std::string doc = Write(Layer(R"({"effect": "Tavrin"}, )" + std::string(kSphere) +
                                        R"(, {"effect": "Tavrin Sound Effector"})"));
    EXPECT_TRUE(Has(Tavrin("validate " + doc).out,
                    ": $.comps[0].layers[0].effects[2].params.Sound Start Amplitude: \"Tavrin "
                    "Sound Effector\" has start and end amplitudes of 0"));
    const std::string colours =
        Write(Layer(R"({"effect": "Tavrin"}, )" + std::string(kSphere) +
                    R"(, {"effect": "Tavrin Sound Effector", "params": {"Affect Color": true}})"));
    EXPECT_EQ(Tavrin("validate --strict " + colours).code, 0);
}

TEST_F(DrawNothing, GlOnlySettingsWithoutUnifiedRenderingAreWarnedByValidateAndRender) {
    const std::string doc =
        Write(Layer(R"({"effect": "Tavrin", "params": {"Depth of Field#2": "Camera Settings",
          "Render Quality": "4x"}}, )" +
                    std::string(kSphere) + R"(, {"effect": "Tavrin Points Renderer"})"));
    const CliRun r = Tavrin("validate " + doc);
    EXPECT_TRUE(Has(r.out,
                    ": $.comps[0].layers[0].effects[0].params.Depth of Field#2: depth of "
                    "field is drawn only by the GL path, and \"Unified Rendering\" is off "
                    "at $.comps[0].layers[0].effects[0].params.Unified Rendering"))
        << r.out;
    EXPECT_TRUE(Has(r.out, "params.Render Quality: a render quality above 1x")) << r.out;
    const std::string out = (dir_ / "f.png").string();
    const CliRun render = Tavrin("render " + doc + " -o " + out);
    EXPECT_EQ(render.code, 0) << render.out;
    EXPECT_TRUE(Has(render.out, "warning: " + doc +
                                    ": $.comps[0].layers[0].effects[0].params."
                                    "Depth of Field#2: depth of field"))
        << render.out;
    const CliRun on = Tavrin("render " + doc + " --unified on -o " + out);
    EXPECT_FALSE(Has(on.out, "warning:")) << on.out;
}

TEST_F(DrawNothing, RequireGlFailsAFrameTheGlPathCouldNotDrawAndFallbacksAreMarked) {
    const std::string doc =
        Write(Layer(R"({"effect": "Tavrin", "params": {"Unified Rendering": true}}, )" +
                    std::string(kSphere) + R"(, {"effect": "Tavrin Points Renderer"})"));
    const std::string out = (dir_ / "f.png").string();
    // The GL dispatch library finds no vendor EGL: a machine without GL, as the driver sees it.
    const std::string noGl = "__EGL_VENDOR_LIBRARY_FILENAMES=/nonexistent.json";
    const CliRun required = Tavrin("render " + doc + " --require-gl --json -o " + out, noGl);
    EXPECT_EQ(required.code, 1) << required.out;
    EXPECT_TRUE(Has(required.out, "\"ok\": false")) << required.out;
    EXPECT_TRUE(Has(required.out, "could not run")) << required.out;
    EXPECT_FALSE(fs::exists(out));

    const CliRun fallback = Tavrin("render " + doc + " --json -o " + out, noGl);
    EXPECT_EQ(fallback.code, 0) << fallback.out;
    EXPECT_TRUE(Has(fallback.out, "\"fallback\": true")) << fallback.out;
    ASSERT_TRUE(fs::exists(out + ".fallback"));
    // Where GL runs, a resumed render draws the fallback frame again and clears its mark.
    const CliRun resumed = Tavrin("render " + doc + " --skip-existing --json -o " + out);
    EXPECT_EQ(resumed.code, 0) << resumed.out;
    EXPECT_TRUE(Has(resumed.out, "\"status\": \"rendered\"")) << resumed.out;
    EXPECT_FALSE(fs::exists(out + ".fallback"));
    // And a frame the GL path drew is finished.
    EXPECT_TRUE(Has(Tavrin("render " + doc + " --skip-existing --json -o " + out).out,
                    "\"status\": \"skipped\""));
}

}  // namespace
}  // namespace tv
