// The unified path through documents: it agrees with the software path on an opaque scene, smears
// a moving point over the shutter's share of its motion, and blurs what lies off the focus plane.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <map>
#include <optional>
#include <set>
#include <string>

#include "engines/gl/GlGlobals.h"
#include "standalone/CompRenderer.h"
#include "standalone/Document.h"
#include "standalone/ImageOutput.h"
#include "standalone/RenderNotes.h"

namespace tv {
namespace {

standalone::FloatImage Render(const std::string& doc, int64_t frame = 0) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(doc, "doc.json", host);
    standalone::CompRenderer renderer(host);
    std::vector<std::string> messages;
    return renderer.renderFrame(*host.project().comps.front(), frame, 32, messages);
}

// One point of the cube source: its centre, colour white, fully opaque.
std::string Point(const std::string& center, double z = 0) {
    return R"({"effect": "Tavrin Primitives Object", "params": {"X Points": 1, "Y Points": 1,
        "Z Points": 1, "Generate Faces": "None", "Center XY": )" +
           center + R"(, "Center Z": )" + std::to_string(z) + R"(, "Opacity": 100}})";
}

// `perspective` sets "Points Perspective Aware": the unified path takes every size as a world
// size, so the two paths agree on sizes only with it on.
std::string Doc(int width, int height, const std::string& main, const std::string& sources,
                const std::string& extraLayers = "", bool perspective = false) {
    return R"({"tavrin": 1, "comps": [{"name": "C", "width": )" + std::to_string(width) +
           R"(, "height": )" + std::to_string(height) +
           R"(, "fps": 30, "duration": 2, "background": "#000000ff", "layers": [)" + extraLayers +
           R"({"name": "L", "solid": {"color": "#000000"}, "effects": [{"effect": "Tavrin",
           "params": )" +
           main + "}, " + sources +
           R"(, {"effect": "Tavrin Points Renderer", "params": {"Points Size": 3,
           "Points Perspective Aware": )" +
           (perspective ? "true" : "false") + "}}]}]}]}";
}

// Columns of row `y` whose red exceeds `threshold` (white on black): first and last, or -1, -1.
std::pair<int, int> Extent(const standalone::FloatImage& image, int y, float threshold) {
    int first = -1, last = -1;
    for (int x = 0; x < image.width; ++x)
        if (image.pixel(x, y)[0] > threshold) {
            if (first < 0) first = x;
            last = x;
        }
    return {first, last};
}

TEST(UnifiedPath, AgreesWithTheSoftwarePathOnAnOpaqueScene) {
    const std::string cube = R"({"effect": "Tavrin Primitives Object", "params": {"X Points": 6,
        "Y Points": 4, "Z Points": 3, "Cube Width": 300, "Cube Height": 160, "Cube Depth": 200,
        "Generate Faces": "None", "Y Rotate": 25, "Opacity": 100}})";
    const auto gl = Render(Doc(
        160, 90, R"({"Unified Rendering": true, "Render Motion Blur": "Off"})", cube, "", true));
    const auto sw = Render(Doc(160, 90, R"({"Render Motion Blur": "Off"})", cube, "", true));
    if (std::getenv("TAVRIN_DUMP")) {
        standalone::WriteImage("/tmp/gl/agree-gl.png", gl, 8);
        standalone::WriteImage("/tmp/gl/agree-sw.png", sw, 8);
    }
    double sum = 0, coveredGl = 0, coveredSw = 0;
    for (size_t i = 0; i < gl.rgba.size(); ++i) sum += std::abs(gl.rgba[i] - sw.rgba[i]);
    for (size_t i = 0; i < gl.rgba.size(); i += 4) coveredGl += gl.rgba[i], coveredSw += sw.rgba[i];
    // Stated tolerance: a mean difference per channel under 2/255, and the GPU's covered area
    // (its red summed over the frame) at most half again the software's: the GPU's discs reach
    // their full radius, the software's feather ends there (half a pixel less on 3 px discs).
    std::printf("mean difference %.5f, covered area GL / software %.3f\n",
                sum / double(gl.rgba.size()), coveredGl / coveredSw);
    EXPECT_LT(sum / double(gl.rgba.size()), 2.0 / 255);
    EXPECT_GT(coveredSw, 0);
    EXPECT_GE(coveredGl / coveredSw, 1.0);
    EXPECT_LT(coveredGl / coveredSw, 1.5);
}

// A point that moves 80 px per frame along a row.
std::string MovingPoint(const std::string& blur) {
    const std::string source = R"({"effect": "Tavrin Primitives Object", "params": {"X Points": 1,
        "Y Points": 1, "Z Points": 1, "Generate Faces": "None", "Opacity": 100,
        "Center XY": {"keys": [{"t": 0, "v": [20, 20]}, {"t": 0.1, "v": [260, 20]}]}}})";
    return Doc(240, 40, R"({"Unified Rendering": true, )" + blur + "}", source);
}

TEST(UnifiedPath, MotionBlurSmearsAMovingPointOverHalfItsFrameStep) {
    // Frame 1: the point is at x = 100, and came from 60 during the half frame before.
    const auto still = Render(MovingPoint(R"("Render Motion Blur": "Off")"), 1);
    const auto blurred = Render(MovingPoint(R"("Render Motion Blur": "Custom",
        "Shutter Angle": 180, "Shutter Phase": -180, "Motion Blur Samples": 16)"),
                                1);
    const auto [s0, s1] = Extent(still, 20, 0.02f);
    const auto [b0, b1] = Extent(blurred, 20, 0.01f);
    ASSERT_GE(s0, 0);
    ASSERT_GE(b0, 0);
    EXPECT_LT(s1 - s0, 10) << "without motion blur the point is a dot";
    EXPECT_NEAR((b1 - b0) - (s1 - s0), 40, 8) << "smeared over about 40 px";
    EXPECT_LE(b1, s1 + 2);  // the shutter closes at the frame's time
}

std::string FocusDoc(bool dof) {
    // The camera at z = -1000 looks at the comp's plane, focused on it. One point lies on that
    // plane, one 1000 behind it, far enough apart that the blurred one stays on its side.
    const std::string camera = R"({"name": "Cam", "camera": {"zoom": 1000,
        "position": [100, 40, -1000], "pointOfInterest": [100, 40, 0], "depthOfField": true,
        "focusDistance": 1000, "aperture": 60, "blurLevel": 100}}, )";
    const std::string main = std::string(R"({"Unified Rendering": true, "Render Motion Blur": "Off",
        "Depth of Field#2": ")") +
                             (dof ? "Camera Settings" : "Off") + R"("})";
    return Doc(200, 80, main, Point("[30, 40]") + ", " + Point("[170, 40]", 1000), camera);
}

TEST(UnifiedPath, DepthOfFieldBlursOffThePlaneAndKeepsThePlaneSharp) {
    const auto sharp = Render(FocusDoc(false));
    const auto dof = Render(FocusDoc(true));
    auto width = [](const standalone::FloatImage& img, int from, int to) {
        int first = -1, last = -1;
        for (int x = from; x < to; ++x)
            for (int y = 0; y < img.height; ++y)
                if (img.pixel(x, y)[0] > 0.01f) {
                    if (first < 0) first = x;
                    last = x;
                    break;
                }
        return first < 0 ? 0 : last - first + 1;
    };
    // The point on the plane (x = 30) keeps its size; the far one (seen at x = 135) grows: the
    // lens is 60 / 200 view units wide, which at twice the focus distance blurs over about 30 px.
    EXPECT_NEAR(width(dof, 0, 80), width(sharp, 0, 80), 1);
    EXPECT_GT(width(dof, 80, 200), width(sharp, 80, 200) + 20);
}

// The camera of a small comp stands closer to the comp's plane than the default "Near Fade": these
// frames move the fade out of the way.
constexpr const char* kNoNearFade = R"("Near Vanish": 1, "Near Fade": 2)";

// A still white disc at quality "8x" (128 samples) with `times` motion-blur samples, at 32 bits,
// and the note of the path that drew it.
std::pair<standalone::FloatImage, std::set<std::string>> StillDisc(int times) {
    const std::string main = R"({"Unified Rendering": true, "Render Quality": "8x", )" +
                             std::string(kNoNearFade) + R"(,
        "Render Motion Blur": "Custom", "Shutter Angle": 180, "Motion Blur Samples": )" +
                             std::to_string(times) + "}";
    const std::string doc =
        R"({"tavrin": 1, "comps": [{"name": "C", "width": 32, "height": 32, "fps": 30,
        "duration": 1, "background": "#000000ff", "layers": [{"name": "L", "solid": {"color":
        "#000000"}, "effects": [{"effect": "Tavrin", "params": )" +
        main + "}, " + Point("[16, 16]") +
        R"(, {"effect": "Tavrin Points Renderer", "params": {"Points Size": 8,
        "Points Perspective Aware": false}}]}]}]})";
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(doc, "doc.json", host);
    standalone::CompRenderer renderer(host);
    std::vector<std::string> messages;
    auto image = renderer.renderFrame(*host.project().comps.front(), 0, 32, messages);
    return {image, host.renderNotes()["path"]};
}

TEST(UnifiedPath, ThreeTimeSamplesOf128RunOnly126PassesWeightedOneIn128) {
    const auto [three, threeNote] = StillDisc(3);
    const auto [four, fourNote] = StillDisc(4);
    ASSERT_EQ(threeNote.size(), 1u);
    ASSERT_EQ(fourNote.size(), 1u);
    EXPECT_NE(threeNote.begin()->find(", 126 passes of 128 samples)"), std::string::npos)
        << *threeNote.begin();
    EXPECT_NE(fourNote.begin()->find(", 128 passes of 128 samples)"), std::string::npos)
        << *fourNote.begin();
    // The disc's middle is opaque white in every pass. With every pass drawn it is white; with
    // two of the 128 left out it keeps 126/128 of its cover (over black), not 126/126.
    EXPECT_NEAR(four.pixel(16, 16)[0], 1.0f, 1e-4);
    EXPECT_NEAR(three.pixel(16, 16)[0], 126.0f / 128.0f, 1e-4);
    EXPECT_NEAR(three.pixel(16, 16)[3], 1.0f, 1e-6);  // over the comp's opaque background
}

// The read-back of a 32-bit frame is premultiplied, and the frame is unpremultiplied once, as the
// software path's is: a half-transparent white disc comes out white at half alpha, so over black
// it is grey 0.5. A second division would give straight 2.0, and white over black.
TEST(UnifiedPath, A32BitFrameIsUnpremultipliedOnce) {
    const std::string half = R"({"effect": "Tavrin Primitives Object", "params": {"X Points": 1,
        "Y Points": 1, "Z Points": 1, "Generate Faces": "None", "Center XY": [16, 16],
        "Opacity": 50}})";
    const auto gl = Render(Doc(32, 32,
                               R"({"Unified Rendering": true, "Render Motion Blur": "Off", )" +
                                   std::string(kNoNearFade) + "}",
                               half));
    const auto sw = Render(
        Doc(32, 32, R"({"Render Motion Blur": "Off", )" + std::string(kNoNearFade) + "}", half));
    EXPECT_NEAR(gl.pixel(16, 16)[0], 0.5f, 0.01f);
    EXPECT_NEAR(gl.pixel(16, 16)[3], 1.0f, 1e-6);
    EXPECT_NEAR(gl.pixel(16, 16)[0], sw.pixel(16, 16)[0], 0.01f);
}

// Overlapping half-transparent discs of two colours in depth, through one path or the other:
// red in front, blue behind and shifted, so that most covered pixels see both.
standalone::FloatImage Overlaps(bool unified, const std::string& quality, int times) {
    auto grid = [](const std::string& color, int z, int dx) {
        return R"({"effect": "Tavrin Primitives Object", "params": {"X Points": 3,
            "Y Points": 3, "Z Points": 1, "Cube Width": 40, "Cube Height": 40,
            "Generate Faces": "None", "Center XY": [)" +
               std::to_string(32 + dx) + R"(, 32], "Center Z": )" + std::to_string(z) +
               R"(, "Color": ")" + color + R"(", "Opacity": 50}})";
    };
    std::string main = std::string(R"({"Unified Rendering": )") + (unified ? "true" : "false") +
                       R"(, "Render Quality": ")" + quality + R"(", )" + kNoNearFade;
    main += times > 1 ? R"(, "Render Motion Blur": "Custom", "Motion Blur Samples": )" +
                            std::to_string(times) + "}"
                      : R"(, "Render Motion Blur": "Off"})";
    const std::string doc =
        R"({"tavrin": 1, "comps": [{"name": "C", "width": 64, "height": 64, "fps": 30,
        "duration": 1, "background": "#000000ff", "layers": [{"name": "L", "solid": {"color":
        "#000000"}, "effects": [{"effect": "Tavrin", "params": )" +
        main + "}, " + grid("#ff0000", 0, 0) + ", " + grid("#0000ff", 60, 7) +
        R"(, {"effect": "Tavrin Points Renderer", "params": {"Points Size": 9,
        "Points Perspective Aware": true}}]}]}]})";
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(doc, "doc.json", host);
    standalone::CompRenderer renderer(host);
    std::vector<std::string> messages;
    return renderer.renderFrame(*host.project().comps.front(), 0, 32, messages);
}

double MeanDifference(const standalone::FloatImage& a, const standalone::FloatImage& b) {
    double sum = 0;
    for (size_t i = 0; i < a.rgba.size(); ++i) sum += std::abs(a.rgba[i] - b.rgba[i]);
    return sum / double(a.rgba.size());
}

TEST(UnifiedPath, TheStochasticResultConvergesToTheSoftwareComposite) {
    // 16 samples at quality 1, 64 at quality 6; 256 from 256 motion-blur samples of the still
    // scene (each time sample one pass).
    const auto software = Overlaps(false, "1x", 1);
    const double e16 = MeanDifference(Overlaps(true, "1x", 1), software);
    const double e64 = MeanDifference(Overlaps(true, "6x", 1), software);
    const double e256 = MeanDifference(Overlaps(true, "1x", 256), software);
    std::printf(
        "mean difference to the software composite: 16 samples %.5f, 64 samples %.5f, "
        "256 samples %.5f\n",
        e16, e64, e256);
    EXPECT_LT(e64, e16);
    EXPECT_LT(e256, e64);
    // What stays is the discs' rims: the GPU's reach their full radius, the software's feather.
    EXPECT_LT(e256, 0.02);
}

TEST(UnifiedPath, SequenceSetdownDropsTheCallingThreadsGlState) {
    {
        standalone::EmbeddedHost host;
        standalone::LoadDocumentText(
            Doc(32, 32, R"({"Unified Rendering": true, "Render Motion Blur": "Off"})",
                Point("[16, 16]")),
            "doc.json", host);
        standalone::CompRenderer renderer(host);
        std::vector<std::string> messages;
        renderer.renderFrame(*host.project().comps.front(), 0, 8, messages);
        ASSERT_EQ(host.renderNotes()["path"].begin()->rfind("unified GL path", 0), 0u);
        // The frame was drawn on this thread, which keeps its context for the next frame.
        ASSERT_TRUE(gl::ThreadHasRenderState());
    }  // the host closes the project: SEQUENCE_SETDOWN on this thread
    EXPECT_FALSE(gl::ThreadHasRenderState());
    // The next frame on this thread makes a new one (and its host's setdown drops it again).
    const int32_t made = gl::ThreadContextsMade();
    Render(Doc(32, 32, R"({"Unified Rendering": true, "Render Motion Blur": "Off"})",
               Point("[16, 16]")));
    EXPECT_EQ(gl::ThreadContextsMade(), made + 1);
    EXPECT_FALSE(gl::ThreadHasRenderState());
}

// A sphere with faces and the facets renderer, through one path or the other.
std::map<std::string, std::set<std::string>> NotesOf(bool unified, bool gpuAllowed) {
    gl::SetGpuAllowed(gpuAllowed);
    standalone::EmbeddedHost host;
    const std::string facets = R"({"effect": "Tavrin Primitives Object", "params": {
        "Primitive Type": "Sphere", "Sphere Slices": 8, "Sphere Stacks": 6}},
        {"effect": "Tavrin Facets Renderer"})";
    standalone::LoadDocumentText(
        Doc(64, 36,
            std::string(R"({"Render Motion Blur": "Off", "Unified Rendering": )") +
                (unified ? "true" : "false") + "}",
            facets),
        "doc.json", host);
    standalone::CompRenderer renderer(host);
    std::vector<std::string> messages;
    renderer.renderFrame(*host.project().comps.front(), 0, 8, messages);
    gl::SetGpuAllowed(true);
    return host.renderNotes();
}

// What the benchmark counts: passes only when the GL path drew.
TEST(UnifiedPath, PassesAreReadFromTheNoteOnlyWhenTheGlPathDrewEveryFrame) {
    using Notes = std::map<std::string, std::set<std::string>>;
    EXPECT_EQ(standalone::UnifiedPassesOf(
                  Notes{{"path", {"unified GL path (OpenGL 4.5, 126 passes of 128 samples)"}}}),
              126);
    EXPECT_EQ(standalone::UnifiedPassesOf(Notes{{"path", {"software path"}}}), std::nullopt);
    EXPECT_EQ(standalone::UnifiedPassesOf(Notes{{"path",
                                                 {"software path",
                                                  "unified GL path (OpenGL 4.5, 16 passes of 16 "
                                                  "samples)"}}}),
              std::nullopt);
    EXPECT_EQ(standalone::UnifiedPassesOf(Notes{}), std::nullopt);
    // A frame asked for the GL path on a process without GL: nothing to count.
    EXPECT_EQ(standalone::UnifiedPassesOf(NotesOf(true, false)), std::nullopt);
    EXPECT_EQ(standalone::UnifiedPassesOf(NotesOf(true, true)), 16);
}

TEST(UnifiedPath, TheHostIsToldWhichPathDrewAndWhatWasLeftOut) {
    auto notes = NotesOf(false, true);
    EXPECT_EQ(notes["path"], std::set<std::string>{"software path"});
    EXPECT_EQ(notes["facets-skipped"].size(), 1u);
    notes = NotesOf(true, true);
    ASSERT_EQ(notes["path"].size(), 1u);
    EXPECT_EQ(notes["path"].begin()->rfind("unified GL path (OpenGL ", 0), 0u);
    EXPECT_TRUE(notes["facets-skipped"].empty());
    // Asked for, but no GL: the software path, and why.
    notes = NotesOf(true, false);
    EXPECT_EQ(notes["path"], std::set<std::string>{"software path"});
    EXPECT_EQ(notes["no-gpu"], std::set<std::string>{"GL is switched off for this process"});
}

// A frame wider than the GL can draw into (llvmpipe's limit is 16384) is drawn by the software
// path with the reason noted, never left empty; where the GL can draw it, the GL path does.
TEST(UnifiedPath, AFrameLargerThanTheGlDrawsIsNeverLeftEmpty) {
    constexpr int kWidth = 30000, kHeight = 16;
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(
        Doc(kWidth, kHeight, R"({"Unified Rendering": true, "Render Motion Blur": "Off"})",
            Point("[15000, 8]")),
        "doc.json", host);
    standalone::CompRenderer renderer(host);
    std::vector<std::string> messages;
    const auto image = renderer.renderFrame(*host.project().comps.front(), 0, 32, messages);
    int lit = 0;
    for (size_t i = 3; i < image.rgba.size(); i += 4) lit += image.rgba[i] > 0.5f;
    EXPECT_GT(lit, 0);
    auto notes = host.renderNotes();
    ASSERT_EQ(notes["path"].size(), 1u);
    if (notes["path"].begin()->rfind("unified GL path", 0) == 0) return;  // a GL this large
    EXPECT_EQ(notes["path"], std::set<std::string>{"software path"});
    ASSERT_EQ(notes["no-gpu"].size(), 1u);
    EXPECT_NE(notes["no-gpu"].begin()->find("the 30000x16 frame is larger than this GL draws"),
              std::string::npos)
        << *notes["no-gpu"].begin();
}

// Sprites from a layer wider than the GL's textures would all be empty: the frame fails and
// says why. Where the GL takes such a texture, the frame draws them.
TEST(UnifiedPath, SpritesPastTheGlsTexturesFailTheFrameWithTheReason) {
    const std::string doc = R"({"tavrin": 1, "comps": [{"name": "C", "width": 64, "height": 32,
      "fps": 30, "duration": 1, "layers": [
      {"name": "Big", "precomp": {"comp": "Wide"}, "enabled": false},
      {"name": "L", "solid": {"color": "#000000"}, "effects": [
        {"effect": "Tavrin", "params": {"Unified Rendering": true, "Render Motion Blur": "Off"}},
        )" + Point("[32, 16]") +
                            R"(,
        {"effect": "Tavrin Points Renderer", "params": {"Points Size": 8,
          "Textured Sprite": "Big"}}]}]},
      {"name": "Wide", "width": 30000, "height": 8, "fps": 30, "duration": 1, "layers": [
        {"name": "S", "solid": {"color": "#ffffff"}}]}]})";
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(doc, "doc.json", host);
    standalone::CompRenderer renderer(host);
    std::vector<std::string> messages;
    try {
        const auto image = renderer.renderFrame(*host.project().comps.front(), 0, 32, messages);
        ASSERT_EQ(host.renderNotes()["path"].begin()->rfind("unified GL path", 0), 0u);
        int lit = 0;
        for (size_t i = 0; i < image.rgba.size(); i += 4) lit += image.rgba[i] > 0.5f;
        EXPECT_GT(lit, 0);  // the sprite shows
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string(e.what()).find("the sprite layer's frames (30000x8, 1 of them) "
                                             "pass this GL's sprite textures"),
                  std::string::npos)
            << e.what();
        EXPECT_TRUE(host.renderNotes()["path"].empty());
    }
}

}  // namespace
}  // namespace tv
