// End to end: the bundled example rendered small and the example documents as the command line
// renders them, against committed reference images.
// Set TAVRIN_UPDATE_REFS=1 to rewrite the references (then look at them before committing).
#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include <cmath>
#include <cstdlib>

#include "standalone/ImageModule.h"
#include "main/MainParams.h"
#include "resources/EffectTable.h"
#include "standalone/BundledExample.h"
#include "standalone/CompRenderer.h"
#include "standalone/Document.h"
#include "standalone/ImageOutput.h"

namespace tv {
namespace {

std::string RefPath(const std::string& name) {
    return std::string(TAVRIN_TEST_DATA) + "/e2e/refs/" + name;
}

standalone::FloatImage RenderExample(int32_t bitDepth) {
    standalone::EmbeddedHost host;
    standalone::Comp& comp = standalone::BuildBundledExample(host, 320, 180);
    standalone::CompRenderer renderer(host);
    std::vector<std::string> messages;
    return renderer.renderFrame(comp, 0, bitDepth, messages);
}

// Compares with the reference: every channel within `maxDiff`, mean difference within `meanDiff`.
void ExpectMatchesReference(const standalone::FloatImage& image, const std::string& name,
                            int32_t bitDepth, float maxDiff, float meanDiff) {
    const std::string path = RefPath(name);
    // A reference holds the frame's own values, as the comparison below reads them: a float file
    // stays in the working space instead of going to scene-linear as a rendered EXR would.
    if (std::getenv("TAVRIN_UPDATE_REFS")) {
        const standalone::FrameColor asRendered{standalone::kDefaultWorkingSpace,
                                                standalone::kDefaultWorkingSpace};
        standalone::WriteImage(path, image, bitDepth, nullptr, asRendered);
    }
    standalone::ImagePixels<float> reference;
    ASSERT_NO_THROW(reference = standalone::ReadImageFloat(path, 4))
        << "missing reference " << path;
    ASSERT_EQ(reference.width, image.width);
    ASSERT_EQ(reference.height, image.height);
    ASSERT_TRUE(reference.complete);
    const std::vector<float>& ref = reference.values;
    std::vector<float> mine(ref.size());
    if (bitDepth == 8) {
        // The PNG holds straight bytes, which the reader premultiplies: so are these.
        const auto bytes = standalone::ToStraight8(image);
        for (size_t i = 0; i < bytes.size(); ++i)
            mine[i] = i % 4 == 3 ? bytes[i] / 255.0f
                                 : bytes[i] / 255.0f * (bytes[i - i % 4 + 3] / 255.0f);
    } else {
        mine.assign(image.rgba.begin(), image.rgba.end());
    }
    double sum = 0, worst = 0;
    for (size_t i = 0; i < ref.size(); ++i) {
        const double d = std::fabs(double(ref[i]) - mine[i]);
        sum += d;
        worst = std::max(worst, d);
    }
    EXPECT_LE(worst, maxDiff);
    EXPECT_LE(sum / double(ref.size()), meanDiff);
}

TEST(EndToEnd, BundledExampleAt8Bits) {
    // Stated tolerance: each channel within 2/255, mean within 0.1/255.
    ExpectMatchesReference(RenderExample(8), "network_320x180.png", 8, 2.0f / 255, 0.1f / 255);
}

TEST(EndToEnd, BundledExampleAt32Bits) {
    ExpectMatchesReference(RenderExample(32), "network_320x180.exr", 32, 1e-4f, 1e-6f);
}

// `unified` other than -1 sets "Unified Rendering" on every main effect, as `--unified` does.
standalone::FloatImage RenderDocument(const std::string& name, int64_t frame, int unified = -1) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentFile(std::string(TAVRIN_SOURCE_DIR) + "/examples/" + name, host);
    if (unified >= 0)
        for (const auto& comp : host.project().comps)
            for (const auto& layer : comp->layers)
                for (const auto& instance : layer->effects)
                    if (host.installedEffect(instance->key)->matchName ==
                        std::string(EffectTable()[0].matchName))
                        instance->params[kMainUnified].value.u.checkbox = unified;
    standalone::CompRenderer renderer(host);
    std::vector<std::string> messages;
    return renderer.renderFrame(*host.project().comps.front(), frame, 8, messages);
}

TEST(EndToEnd, NoisyNetworkExample) {
    ExpectMatchesReference(RenderDocument("noisy-network.json", 0), "noisy-network_0000.png", 8,
                           2.0f / 255, 0.1f / 255);
}

TEST(EndToEnd, OrbitExampleMidway) {
    ExpectMatchesReference(RenderDocument("orbit.json", 30), "orbit_0030.png", 8, 2.0f / 255,
                           0.1f / 255);
}

TEST(EndToEnd, TwoGroupsExample) {
    ExpectMatchesReference(RenderDocument("two-groups.json", 0), "two-groups_0000.png", 8,
                           2.0f / 255, 0.1f / 255);
}

TEST(EndToEnd, HeldLinesExample) {
    ExpectMatchesReference(RenderDocument("held-lines.json", 60), "held-lines_0060.png", 8,
                           2.0f / 255, 0.1f / 255);
}

TEST(EndToEnd, SphereOfPointsExample) {
    ExpectMatchesReference(RenderDocument("sphere-of-points.json", 0), "sphere-of-points_0000.png",
                           8, 2.0f / 255, 0.1f / 255);
}

TEST(EndToEnd, NoisyCubeExample) {
    ExpectMatchesReference(RenderDocument("noisy-cube.json", 0), "noisy-cube_0000.png", 8,
                           2.0f / 255, 0.1f / 255);
}

TEST(EndToEnd, LitLatticeExample) {
    ExpectMatchesReference(RenderDocument("lit-lattice.json", 30), "lit-lattice_0030.png", 8,
                           2.0f / 255, 0.1f / 255);
}

TEST(EndToEnd, TrianglesExample) {
    ExpectMatchesReference(RenderDocument("triangles.json", 0), "triangles_0000.png", 8, 2.0f / 255,
                           0.1f / 255);
}

TEST(EndToEnd, BeamsExample) {
    ExpectMatchesReference(RenderDocument("beams.json", 0), "beams_0000.png", 8, 2.0f / 255,
                           0.1f / 255);
}

// The unified GL path: stochastic passes drawn by this machine's GL. The same GL gives the same
// pixels; the tolerance leaves room for another driver's rounding.
TEST(EndToEnd, FocusPullExampleThroughTheGlPath) {
    ExpectMatchesReference(RenderDocument("focus-pull.json", 30), "focus-pull_0030.png", 8,
                           4.0f / 255, 0.2f / 255);
}

TEST(EndToEnd, MotionBlurExampleThroughTheGlPath) {
    ExpectMatchesReference(RenderDocument("motion-blur.json", 30), "motion-blur_0030.png", 8,
                           4.0f / 255, 0.2f / 255);
}

TEST(EndToEnd, FacetsExampleThroughTheGlPath) {
    ExpectMatchesReference(RenderDocument("facets.json", 0), "facets_0000.png", 8, 4.0f / 255,
                           0.2f / 255);
}

TEST(EndToEnd, SpritesExampleThroughBothPaths) {
    ExpectMatchesReference(RenderDocument("sprites.json", 20, 0), "sprites_0020.png", 8, 2.0f / 255,
                           0.1f / 255);
    ExpectMatchesReference(RenderDocument("sprites.json", 20, 1), "sprites-gl_0020.png", 8,
                           4.0f / 255, 0.2f / 255);
}

// Random Still: each sprite holds one random frame of the star (its rays at their own angle).
TEST(EndToEnd, SpritesStillExampleThroughBothPaths) {
    ExpectMatchesReference(RenderDocument("sprites-still.json", 20, 0), "sprites-still_0020.png", 8,
                           2.0f / 255, 0.1f / 255);
    ExpectMatchesReference(RenderDocument("sprites-still.json", 20, 1), "sprites-still-gl_0020.png",
                           8, 4.0f / 255, 0.2f / 255);
}

TEST(EndToEnd, SoundExampleDancesToItsTones) {
    ExpectMatchesReference(RenderDocument("sound.json", 25), "sound_0025.png", 8, 2.0f / 255,
                           0.1f / 255);
}

TEST(EndToEnd, PathExamples) {
    ExpectMatchesReference(RenderDocument("word-cloud.json", 30), "word-cloud_0030.png", 8,
                           2.0f / 255, 0.1f / 255);
    ExpectMatchesReference(RenderDocument("logo-network.json", 30), "logo-network_0030.png", 8,
                           2.0f / 255, 0.1f / 255);
    ExpectMatchesReference(RenderDocument("extruded-word.json", 30), "extruded-word_0030.png", 8,
                           4.0f / 255, 0.2f / 255);
}

TEST(EndToEnd, ContainerSlicerAndEchoExamples) {
    ExpectMatchesReference(RenderDocument("container.json", 40), "container_0040.png", 8,
                           2.0f / 255, 0.1f / 255);
    ExpectMatchesReference(RenderDocument("slicer.json", 40), "slicer_0040.png", 8, 2.0f / 255,
                           0.1f / 255);
    ExpectMatchesReference(RenderDocument("echo.json", 30), "echo_0030.png", 8, 2.0f / 255,
                           0.1f / 255);
}

TEST(EndToEnd, OneThreadAndAllThreadsGiveIdenticalPixels) {
    standalone::FloatImage one, all;
    {
        tbb::global_control limit(tbb::global_control::max_allowed_parallelism, 1);
        one = RenderExample(8);
    }
    all = RenderExample(8);
    EXPECT_EQ(one.rgba, all.rgba);
}

}  // namespace
}  // namespace tv
