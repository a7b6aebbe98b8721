// Frames as a compositor receives them from `tavrin render`: a transparent background unless one
// is asked for, coverage in alpha, files that hold the depth they are said to, the work area,
// and the preview resolution.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <string>

#include "standalone/ImageModule.h"
#include "tests/support/RunShell.h"

namespace tv {
namespace {

namespace fs = std::filesystem;
using standalone::ImagePixels;
using standalone::ReadImageFloat;

// A sphere of points on a solid, 32x24 at 8 fps for one second: points in the middle, nothing
// drawn at the corners. `extra` adds comp keys; `below` adds layers under the points.
std::string Doc(const std::string& extra = "", const std::string& below = "") {
    return R"({"tavrin": 1, "comps": [{"name": "Spin", "width": 32, "height": 24, "fps": 8,
      "duration": 1, "background": "#204060")" +
           extra + R"(, "layers": [{"name": "P", "solid": {}, "effects": [
      {"effect": "Tavrin"},
      {"effect": "Tavrin Primitives Object", "params": {"Primitive Type": "Sphere",
        "Sphere Radius": 8, "Sphere Slices": 8, "Sphere Stacks": 6}},
      {"effect": "Tavrin Points Renderer", "params": {"Points Size": 3}}]})" +
           below + "]}]}";
}

class CompositorFrames : public ::testing::Test {
  protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() /
               ("tavrin-compositing-" + std::to_string(::getpid()) + "-" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }

    std::string Write(const std::string& name, const std::string& text) {
        const std::string path = (dir_ / name).string();
        std::ofstream(path) << text;
        return path;
    }
    std::string Out(const std::string& name) { return (dir_ / "out" / name).string(); }
    // Runs tavrin; standard error joins standard output.
    test::CliRun Tavrin(const std::string& args) {
        // Built by appends: GCC 12 warns falsely about "'" + std::string(...) (-Wrestrict).
        std::string line("'");
        line.append(TAVRIN_BINARY).append("' ").append(args).append(" 2>&1");
        return test::RunShell(line);
    }
    test::CliRun Render(const std::string& args) { return Tavrin("render " + args); }
    bool NothingWritten() { return !fs::exists(dir_ / "out") || fs::is_empty(dir_ / "out"); }

    fs::path dir_;
};

const float* Pixel(const ImagePixels<float>& image, int x, int y) {
    return &image.values[(size_t(y) * size_t(image.width) + size_t(x)) * size_t(image.channels)];
}

// What iinfo says of a file: "32 x 24, 4 channel, uint16 png" and the like.
std::string FileInfo(const std::string& path) {
    return test::RunShell("iinfo '" + path + "' 2>&1").out;
}

TEST_F(CompositorFrames, TheBackgroundIsTransparentAndDrawnPixelsCarryTheirCoverage) {
    const std::string doc = Write("spin.json", Doc());
    ASSERT_EQ(Render(doc + " -o " + Out("f.png")).code, 0);
    const auto image = ReadImageFloat(Out("f.png"));
    ASSERT_EQ(image.channels, 4);
    EXPECT_EQ(Pixel(image, 0, 0)[3], 0.0f);  // nothing drawn: the comp's colour is not in it
    float most = 0, partial = 0;
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x) {
            const float a = Pixel(image, x, y)[3];
            most = std::max(most, a);
            if (a > 0.05f && a < 0.95f) ++partial;
        }
    EXPECT_GT(most, 0.9f);  // points are drawn
    EXPECT_GT(partial, 0);  // with anti-aliased edges: coverage, not a mask
}

TEST_F(CompositorFrames, AnOpaqueBackgroundFromTheDocumentOrTheCommandLine) {
    for (const std::string& given : {std::string(R"(, "background": "#204060ff")"),
                                     std::string(R"(, "background": [0.125, 0.25, 0.375, 1])")}) {
        // A later "background" key would be a repeat: the document's own is replaced.
        const std::string own = R"(, "background": "#204060")";
        std::string text = Doc();
        text.replace(text.find(own), own.size(), given);
        const std::string doc = Write("opaque.json", text);
        ASSERT_EQ(Render(doc + " -o " + Out("o.png")).code, 0) << given;
        const auto cornerImage = ReadImageFloat(Out("o.png"));
        const float* corner = Pixel(cornerImage, 0, 0);
        EXPECT_EQ(corner[3], 1.0f) << given;
        EXPECT_NEAR(corner[0], 0.125f, 0.01f) << given;
        EXPECT_NEAR(corner[2], 0.375f, 0.01f) << given;
    }
    const std::string doc = Write("spin.json", Doc());
    ASSERT_EQ(Render(doc + " --background opaque -o " + Out("a.png")).code, 0);
    const auto aImage = ReadImageFloat(Out("a.png"));
    const float* a = Pixel(aImage, 0, 0);
    EXPECT_EQ(a[3], 1.0f);
    EXPECT_NEAR(a[1], 0x40 / 255.0f, 1e-3f);  // the document's colour
    ASSERT_EQ(Render(doc + " --background '#ff000080' -o " + Out("b.png")).code, 0);
    const auto bImage = ReadImageFloat(Out("b.png"));
    const float* b = Pixel(bImage, 0, 0);
    EXPECT_NEAR(b[3], 128 / 255.0f, 1e-3f);
    EXPECT_NEAR(b[0] / b[3], 1.0f, 1e-3f);  // straight red in the file; read premultiplied
    const test::CliRun green = Render(doc + " --background '#00ff00' -o " + Out("c.exr"));
    ASSERT_EQ(green.code, 0) << green.out;
    const auto cImage = ReadImageFloat(Out("c.exr"));
    const float* c = Pixel(cImage, 0, 0);
    EXPECT_EQ(c[3], 1.0f);
    EXPECT_EQ(c[1], 1.0f);
}

TEST_F(CompositorFrames, ABadBackgroundIsRefusedNamingTheOptionAndWritesNothing) {
    const std::string doc = Write("spin.json", Doc());
    for (const char* bad : {"black", "#12345", "#gggggg"}) {
        const test::CliRun r = Render(doc + " --background '" + bad + "' -o " + Out("f.png"));
        EXPECT_EQ(r.code, 2) << bad;
        EXPECT_NE(r.out.find("--background \"" + std::string(bad) +
                             "\": give transparent, opaque (the comp's colour), #rrggbb or "
                             "#rrggbbaa"),
                  std::string::npos)
            << r.out;
    }
    EXPECT_TRUE(NothingWritten());
    std::string text = Doc();
    text.replace(text.find(R"("#204060")"), 9, "[0, 0, 0, 2]");
    const test::CliRun r = Render(Write("bad.json", text) + " -o " + Out("f.png"));
    EXPECT_EQ(r.code, 2);
    EXPECT_NE(r.out.find("$.comps[0].background[3]"), std::string::npos) << r.out;
}

// The frame laid over footage by oiiotool matches the same document with the footage as its
// bottom layer, in straight PNG and in premultiplied EXR.
TEST_F(CompositorFrames, AFrameOverFootageMatchesTheFootageAsALayer) {
    const std::string footage = (dir_ / "footage.png").string();
    ASSERT_EQ(
        test::RunShell("oiiotool --pattern fill:top=0.9,0.5,0.1,1:bottom=0.1,0.4,0.8,1 32x24 4 "
                       "-d uint8 -o '" +
                       footage + "' 2>&1")
            .code,
        0);
    const std::string alone = Write("alone.json", Doc());
    const std::string layered = Write(
        "layered.json", Doc("", R"(, {"name": "Footage", "image": {"file": "footage.png"}})"));
    for (const std::string ext : {".png", ".exr"}) {
        // The EXR is kept in the working space (sRGB) like the footage, so that the over is
        // taken in the same space the comp composites in; scene-linear EXRs are tested apart.
        const std::string space = ext == ".exr" ? " --colorspace sRGB" : "";
        ASSERT_EQ(Render(alone + space + " -o " + Out("alone" + ext)).code, 0);
        ASSERT_EQ(Render(layered + space + " -o " + Out("layered" + ext)).code, 0);
        ASSERT_EQ(test::RunShell("oiiotool '" + Out("alone" + ext) + "' '" + footage +
                                 "' --over -o '" + Out("over" + ext) + "' 2>&1")
                      .code,
                  0);
        const auto over = ReadImageFloat(Out("over" + ext), 3);
        const auto layer = ReadImageFloat(Out("layered" + ext), 3);
        ASSERT_EQ(over.values.size(), layer.values.size());
        double worst = 0, sum = 0, drawn = 0;
        for (size_t i = 0; i < over.values.size(); ++i) {
            const double d = std::fabs(double(over.values[i]) - layer.values[i]);
            worst = std::max(worst, d);
            sum += d;
        }
        const auto points = ReadImageFloat(Out("alone" + ext));
        for (size_t i = 3; i < points.values.size(); i += 4) drawn += points.values[i];
        EXPECT_GT(drawn, 5.0) << ext;  // the points really cover some of the footage
        // 8-bit straight colour rounds once more than the float composite.
        EXPECT_LE(worst, ext == ".png" ? 3.0 / 255 : 1e-3) << ext;
        EXPECT_LE(sum / double(over.values.size()), 0.5 / 255) << ext;
    }
}

TEST_F(CompositorFrames, EachFileHoldsTheDepthItIsSaidToHold) {
    const std::string doc = Write("spin.json", Doc());
    struct Case {
        std::string name, depth, info, summary;
    };
    for (const Case& c : {Case{"a.png", "", "uint8 png", "PNG 8 bits"},
                          Case{"b.png", "16", "uint16 png", "PNG 16 bits"},
                          Case{"c.exr", "", "float openexr", "EXR 32-bit float"},
                          Case{"d.exr", "16", "half openexr", "EXR 16-bit half float"},
                          Case{"e.tif", "16", "uint16 tiff", "TIFF 16 bits"},
                          Case{"f.tif", "32", "float tiff", "TIFF 32-bit float"},
                          Case{"g.jpg", "", "3 channel, uint8 jpeg", "JPEG 8 bits"}}) {
        const test::CliRun r =
            Render(doc + " -o " + Out(c.name) + (c.depth.empty() ? "" : " --bit-depth " + c.depth));
        ASSERT_EQ(r.code, 0) << r.out;
        EXPECT_NE(r.out.find(c.summary), std::string::npos) << r.out;
        EXPECT_NE(FileInfo(Out(c.name)).find(c.info), std::string::npos) << FileInfo(Out(c.name));
    }
    const test::CliRun json = Render(doc + " -o " + Out("h.exr") + " --bit-depth 16 --json");
    EXPECT_NE(json.out.find(R"("bitDepth": 16)"), std::string::npos) << json.out;
    EXPECT_NE(json.out.find(R"("sample": "half")"), std::string::npos) << json.out;
    // A 16-bit PNG keeps levels between the 8-bit ones.
    const auto sixteen = ReadImageFloat(Out("b.png"));
    bool between = false;
    for (float v : sixteen.values)
        between = between || std::fabs(v * 255 - std::round(v * 255)) > 0.05f;
    EXPECT_TRUE(between);
    // JPEG has no alpha: the frame is laid on the comp's colour.
    const auto cornerImage = ReadImageFloat(Out("g.jpg"));
    const float* corner = Pixel(cornerImage, 0, 0);
    EXPECT_NEAR(corner[2], 0x60 / 255.0f, 0.03f);
}

TEST_F(CompositorFrames, ADepthOrNameNoFormatWritesIsRefusedBeforeDrawing) {
    const std::string doc = Write("spin.json", Doc());
    struct Case {
        std::string args, says;
    };
    for (const Case& c :
         {Case{"-o " + Out("f.png") + " --bit-depth 32",
               "--bit-depth 32: PNG holds 8 or 16 bits per channel; write .exr or .tif for 32"},
          Case{"-o " + Out("f.exr") + " --bit-depth 8",
               "--bit-depth 8: EXR holds 16 (half float) or 32 (float) bits per channel"},
          Case{"-o " + Out("f.jpg") + " --bit-depth 16", "--bit-depth 16: JPEG holds 8 bits"},
          Case{"-o " + Out("f.png") + " --bit-depth 12", "--bit-depth 12: give 8, 16 or 32"},
          Case{"-o " + Out("frames_####"), "the name has no extension to choose the format by"},
          Case{"-o " + Out("f.nope"), "no format writes \".nope\"; end the name with .png"}}) {
        const test::CliRun r = Render(doc + " " + c.args + " --frames 0-7");
        EXPECT_EQ(r.code, 2) << c.args;
        EXPECT_NE(r.out.find(c.says), std::string::npos) << r.out;
        EXPECT_EQ(r.out.find("rendered"), std::string::npos) << r.out;
    }
    EXPECT_TRUE(NothingWritten());
}

TEST_F(CompositorFrames, AllFramesAreTheWorkAreaOrTheWholeComp) {
    const std::string whole = Write("whole.json", Doc());
    ASSERT_EQ(Render(whole + " --frames all -o " + Out("w_####.png")).code, 0);
    size_t files = 0;
    for (const auto& e : fs::directory_iterator(dir_ / "out"))
        files += e.path().string().find("w_") != std::string::npos;
    EXPECT_EQ(files, 8u);
    // Frames at 0.25 s to before 0.75 s: 2 to 5.
    const std::string work = Write("work.json", Doc(R"(, "workArea": [0.25, 0.75])"));
    const test::CliRun r = Render(work + " --frames all -o " + Out("k_####.png"));
    ASSERT_EQ(r.code, 0) << r.out;
    for (int f = 0; f < 8; ++f)
        EXPECT_EQ(fs::exists(Out("k_000" + std::to_string(f) + ".png")), f >= 2 && f <= 5) << f;
    const test::CliRun info = Tavrin("info " + work);
    EXPECT_NE(info.out.find("frames 0-7 (8 frames); work area 2-5 (4 frames)"), std::string::npos)
        << info.out;
}

// The alpha-weighted centre of a frame's pixels, in pixels.
std::pair<double, double> Centre(const ImagePixels<float>& image) {
    double sx = 0, sy = 0, sw = 0;
    for (int y = 0; y < image.height; ++y)
        for (int x = 0; x < image.width; ++x) {
            const double a = Pixel(image, x, y)[3];
            sx += a * (x + 0.5), sy += a * (y + 0.5), sw += a;
        }
    return {sx / sw, sy / sw};
}

TEST_F(CompositorFrames, AScaledRenderIsAPreviewOfTheSameFrame) {
    const std::string doc = Write("spin.json", Doc());
    ASSERT_EQ(Render(doc + " -o " + Out("full.png")).code, 0);
    const test::CliRun r = Render(doc + " --scale 1/2 -o " + Out("half.png"));
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("16x12 at 1/2"), std::string::npos) << r.out;
    const auto full = ReadImageFloat(Out("full.png"));
    const auto half = ReadImageFloat(Out("half.png"));
    ASSERT_EQ(half.width, 16);
    ASSERT_EQ(half.height, 12);
    const auto [fx, fy] = Centre(full);
    const auto [hx, hy] = Centre(half);
    EXPECT_NEAR(hx, fx / 2, 0.5);
    EXPECT_NEAR(hy, fy / 2, 0.5);
    ASSERT_EQ(Render(doc + " --scale 0.25 -o " + Out("quarter.png")).code, 0);
    EXPECT_EQ(ReadImageFloat(Out("quarter.png")).width, 8);
    fs::remove_all(dir_ / "out");
    for (const char* bad : {"0", "2", "1/0", "3/2", "half", "-0.5"}) {
        const test::CliRun b = Render(doc + " --scale " + bad + " -o " + Out("f.png"));
        EXPECT_EQ(b.code, 2) << bad;
        EXPECT_NE(b.out.find("--scale \"" + std::string(bad) + "\": give 1/2, 1/3, 1/4"),
                  std::string::npos)
            << b.out;
    }
    EXPECT_TRUE(NothingWritten());
}

}  // namespace
}  // namespace tv
