// SVG export: shapes as elements, one frame and animated sequences as the file format asks, and
// the file rasterised by a real renderer (rsvg-convert) against the software frame.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <regex>
#include <sstream>
#include <string>

#include "standalone/ImageModule.h"
#include "standalone/WholeFile.h"
#include "engines/SVGEngine.h"
#include "engines/svg/SvgShapes.h"
#include "standalone/CompRenderer.h"
#include "standalone/Document.h"
#include "standalone/SvgExport.h"

namespace tv {
namespace {

size_t Count(const std::string& text, const std::string& what) {
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

std::string Doc(int width, int height, const std::string& extra = "") {
    return R"({"tavrin": 1, "comps": [{"name": "C", "width": )" + std::to_string(width) +
           R"(, "height": )" + std::to_string(height) +
           R"(, "fps": 10, "duration": 1, "background": "#000000", "layers": [
      {"name": "L", "solid": {"color": "#000000"}, "effects": [
        {"effect": "Tavrin", "params": {"Render Motion Blur": "Off"}},
        {"effect": "Tavrin Primitives Object", "params": {"X Points": 4, "Y Points": 3,
          "Z Points": 1, "Cube Width": 120, "Cube Height": 60, "Generate Faces": "None",
          "Color": "#ff8040", "Opacity": 100}},
        {"effect": "Tavrin Points Renderer", "params": {"Points Size": 4,
          "Points Perspective Aware": false}},
        {"effect": "Tavrin Lines Renderer", "params": {"Maximum Distance": 45,
          "Line Thickness": 1)" +
           extra + R"(}}]}]}]})";
}

std::string Export(const std::string& doc, const standalone::SvgExportOptions& o) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(doc, "doc.json", host);
    return standalone::ExportSvg(host, *host.project().comps.front(), o);
}

TEST(SvgExport, OneFrameIsTheHeadAndOneElementAShape) {
    const std::string svg = Export(Doc(200, 100), {});
    EXPECT_EQ(svg.rfind("<?xml version=\"1.0\" standalone=\"no\"?>\n", 0), 0u);
    EXPECT_NE(svg.find("<!DOCTYPE svg PUBLIC \"-//W3C//DTD SVG 1.1//EN\""), std::string::npos);
    EXPECT_NE(svg.find("<svg width=\"200px\" height=\"100px\" xmlns=\"http://www.w3.org/2000/svg\" "
                       "version=\"1.1\">\n"),
              std::string::npos);
    EXPECT_EQ(Count(svg, "<circle "), 12u);  // the twelve points
    // A 4 x 3 lattice 40 and 30 apart: 9 horizontal and 8 vertical neighbours within 45.
    EXPECT_EQ(Count(svg, "<line ") + Count(svg, "<path "), 17u);
    EXPECT_EQ(Count(svg, "r=\"4\" fill=\"rgb(255,128,64)\" fill-opacity=\"1\""), 12u);
    EXPECT_EQ(Count(svg, "<style"), 0u);  // one frame: no style, groups or animation
    EXPECT_EQ(Count(svg, "<g>"), 0u);
    EXPECT_EQ(Count(svg, "<animate"), 0u);
    EXPECT_EQ(svg.substr(svg.size() - 7), "</svg>\n");
}

TEST(SvgExport, ASequenceShowsEachFrameInTurnAndLoops) {
    standalone::SvgExportOptions o;
    o.sequence = true;
    o.fps = 4;  // a one-second comp: four frames of 250 ms
    const std::string svg = Export(Doc(200, 100), o);
    EXPECT_EQ(Count(svg, "<style type=\"text/css\"><![CDATA[ g { visibility:hidden } ]]></style>"),
              1u);
    EXPECT_EQ(Count(svg, "<g>"), 4u);
    EXPECT_NE(svg.find("<animate id=\"FRAME_0\" attributeName=\"visibility\" values=\"visible\" "
                       "dur=\"250ms\" begin=\"0s;FRAME_3.end\" />"),
              std::string::npos);
    EXPECT_NE(svg.find("id=\"FRAME_2\" attributeName=\"visibility\" values=\"visible\" "
                       "dur=\"250ms\" begin=\"FRAME_1.end\" />"),
              std::string::npos);
    EXPECT_EQ(Count(svg, "<circle "), 48u);
    // One frame in all: it begins at 0s and nothing else.
    EXPECT_NE(SvgDocument(10, 10, {"<circle />\n"}, 25, true).find("dur=\"40ms\" begin=\"0s\" />"),
              std::string::npos);
}

TEST(SvgExport, ErrorsNameWhatIsWrong) {
    standalone::SvgExportOptions o;
    o.frame = 99;
    try {
        Export(Doc(200, 100), o);
        FAIL();
    } catch (const std::exception& e) {
        EXPECT_NE(std::string(e.what()).find("outside the comp, which has frames 0-9"),
                  std::string::npos);
    }
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(
        R"({"tavrin": 1, "comps": [{"name": "Empty", "layers": [{"solid": {}}]}]})", "d.json",
        host);
    EXPECT_THROW(standalone::ExportSvg(host, *host.project().comps.front(), {}),
                 std::runtime_error);
}

TEST(SvgShapes, SizesZeroAndShortLinesWriteNothing) {
    SVGEngine engine(nullptr, 100, 100);
    const double scale[3] = {100, 100, 100}, viewport[4] = {0, 0, 100, 100}, dir[3] = {0, 0, 1};
    const float identity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    engine.setRenderParams(scale, viewport, identity, identity, dir);
    engine.perspectiveSizes = false;
    std::vector<DrawPoint> points(2);
    points[0].size = 0;
    points[1].size = 3;
    points[1].color[3] = 1;
    engine.drawPoints(points);
    EXPECT_EQ(Count(engine.shapes(), "<circle"), 1u);
    std::ostringstream out;
    svg::PerspLine({1, 1}, 2, {1.05, 1}, 3, svg::Fill()).serialize(out);
    EXPECT_TRUE(out.str().empty());
    std::ostringstream wide;
    svg::PerspLine({0, 0}, 0.2, {10, 0}, 3, svg::Fill()).serialize(wide);
    EXPECT_EQ(wide.str().rfind("<path d=\"M 0 1 L 10 3 A 3 3 0 0 1 10 -3 L 0 -1 A 1 1", 0), 0u);
    std::ostringstream none;
    svg::Stroke().serialize(none);
    EXPECT_TRUE(none.str().empty());
}

TEST(SvgShapes, ATriangleIsOnePolygonOfItsCornersMeanColour) {
    SVGEngine engine(nullptr, 100, 100);
    const double scale[3] = {1, 1, 1}, viewport[4] = {0, 0, 100, 100}, dir[3] = {0, 0, 1};
    const float identity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    engine.setRenderParams(scale, viewport, identity, identity, dir);
    std::vector<DrawTriangle> triangles(1);
    DrawTriangle& t = triangles[0];
    const double corners[3][3] = {{-0.5, -0.5, 0}, {0.5, -0.5, 0}, {0, 0.5, 0}};
    const float colors[3][4] = {{1, 0, 0, 1}, {0, 1, 0, 0.5f}, {0, 0, 1, 0}};
    for (int i = 0; i < 3; ++i) {
        std::copy(corners[i], corners[i] + 3, t.corners[i]);
        std::copy(colors[i], colors[i] + 4, t.colors[i]);
    }
    ASSERT_EQ(engine.drawTriangles(triangles), PF_Err_NONE);
    const std::string& svg = engine.shapes();
    EXPECT_EQ(Count(svg, "<polygon "), 1u);
    EXPECT_EQ(Count(svg, "\n"), 1u);  // one element, one line
    // The corners' mean, flat: (1/3, 1/3, 1/3) and opacity 0.5; no gradient of any kind.
    EXPECT_NE(svg.find("fill=\"rgb(85,85,85)\" fill-opacity=\"0.5\""), std::string::npos) << svg;
    EXPECT_EQ(Count(svg, "Gradient"), 0u);
    // Three points, at the corners' pixels (y grows downwards).
    std::smatch m;
    ASSERT_TRUE(std::regex_search(svg, m, std::regex("points=\"([^\"]*)\"")));
    EXPECT_EQ(m[1].str(), "25,25 75,25 50,75");
}

TEST(SvgShapes, SpritesLeaveNothing) {
    SVGEngine engine(nullptr, 100, 100);
    std::vector<DrawSprite> sprites(3);
    for (DrawSprite& s : sprites) s.width = s.height = 10, s.color[3] = 1;
    EXPECT_EQ(engine.prepareSprites(0, {}), PF_Err_NONE);
    EXPECT_EQ(engine.drawSprites(sprites), PF_Err_NONE);
    EXPECT_TRUE(engine.shapes().empty());
}

// Reads an image as RGB floats.
std::vector<float> ReadRgb(const std::string& path, int& w, int& h) {
    try {
        const auto image = standalone::ReadImageFloat(path, 3);
        w = image.width, h = image.height;
        return image.values;
    } catch (const std::runtime_error&) {
        return {};
    }
}

TEST(SvgExport, ARealRendererDrawsItLikeTheSoftwareFrame) {
    const std::string doc = Doc(240, 120, R"(, "Get Opacity From Vertices": false,
        "Lines Opacity": 100)");
    const auto dir = std::filesystem::temp_directory_path() / "tavrin-svg-test";
    std::filesystem::create_directories(dir);
    const std::string svgPath = (dir / "frame.svg").string(),
                      pngPath = (dir / "frame.png").string();
    standalone::WriteTextWhole(svgPath, Export(doc, {}));
    const std::string command = "rsvg-convert -b '#000000' -o '" + pngPath + "' '" + svgPath + "'";
    ASSERT_EQ(std::system(command.c_str()), 0) << "rsvg-convert (librsvg2-bin) must be installed";
    int w = 0, h = 0;
    const std::vector<float> svg = ReadRgb(pngPath, w, h);
    ASSERT_EQ(w, 240);
    ASSERT_EQ(h, 120);
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(doc, "doc.json", host);
    standalone::CompRenderer renderer(host);
    std::vector<std::string> messages;
    const auto frame = renderer.renderFrame(*host.project().comps.front(), 0, 8, messages);
    double sum = 0, covered = 0, coveredSvg = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < 3; ++c) {
                const float a = frame.pixel(x, y)[c], b = svg[(size_t(y) * w + x) * 3 + c];
                sum += std::abs(a - b);
                covered += a, coveredSvg += b;
            }
    // Stated tolerance: a mean difference per channel under 2/255, and the same ink within 15%
    // (the two rasterisers anti-alias differently; the software samples at integer pixels).
    EXPECT_LT(sum / (double(w) * h * 3), 2.0 / 255);
    EXPECT_NEAR(coveredSvg / covered, 1.0, 0.15);
}

}  // namespace
}  // namespace tv
