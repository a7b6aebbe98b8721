// `tavrin export-svg` on the examples, as a user runs it: the binary writes the file, a real SVG
// renderer (rsvg-convert) rasterises it, and the picture is compared with the software frame of
// the same document. Also the command's own choices: the comp it exports without --comp, the
// sequence's default rate, and its note on what has no vector form.
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "standalone/ImageModule.h"
#include "standalone/CompRenderer.h"
#include "standalone/Document.h"
#include "standalone/SvgExport.h"

namespace tv {
namespace {

namespace fs = std::filesystem;

std::string ReadAll(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

size_t Count(const std::string& text, const std::string& what) {
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

fs::path Scratch(const std::string& name) {
    const fs::path dir =
        fs::temp_directory_path() / ("tavrin-svg-examples-" + std::to_string(getpid())) / name;
    fs::create_directories(dir);
    return dir;
}

// An example with each comp at half its size (a smaller picture of the same scene, as the
// camera follows the comp's width), written beside a copy of its files.
fs::path HalfSizeExample(const std::string& example, const fs::path& dir) {
    const fs::path examples = fs::path(TAVRIN_TEST_DATA).parent_path() / "examples";
    nlohmann::json doc = nlohmann::json::parse(ReadAll(examples / example));
    for (auto& comp : doc["comps"]) {
        if (comp.contains("width")) comp["width"] = comp["width"].get<int>() / 2;
        if (comp.contains("height")) comp["height"] = comp["height"].get<int>() / 2;
    }
    const fs::path path = dir / example;
    std::ofstream(path) << doc.dump(1);
    return path;
}

struct CommandResult {
    int code = -1;
    std::string err;
};

// Runs the tavrin binary with `args`; its exit code and standard error.
CommandResult Tavrin(const std::string& args, const fs::path& dir) {
    const fs::path errFile = dir / "stderr.txt";
    const std::string command =
        std::string("'") + TAVRIN_BINARY + "' " + args + " >/dev/null 2>'" + errFile.string() + "'";
    const int status = std::system(command.c_str());
    CommandResult r;
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    r.err = ReadAll(errFile);
    return r;
}

struct Comparison {
    double meanDiff = 0;     // per channel, 0..1
    double inkRatio = 0;     // the file's ink over the frame's
    double correlation = 0;  // of the two pictures' ink in blocks of 4 x 4 pixels: the same
                             // shapes in the same places, whatever their widths
};

// The file rasterised on the frame's own background (its corner) against the software frame.
Comparison CompareWithFrame(const fs::path& doc, const fs::path& svg) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentFile(doc.string(), host);
    // The comp the command exports without --comp.
    const standalone::Comp* comp = host.compByName(standalone::CompsCarryingExport(host).front());
    standalone::CompRenderer renderer(host);
    std::vector<std::string> messages;
    const auto frame = renderer.renderFrame(*comp, 0, 8, messages);
    const float* corner = frame.pixel(0, 0);
    char background[16];
    std::snprintf(background, sizeof background, "#%02x%02x%02x", int(std::lround(corner[0] * 255)),
                  int(std::lround(corner[1] * 255)), int(std::lround(corner[2] * 255)));
    const fs::path png = svg.string() + ".png";
    const std::string command = "rsvg-convert -b '" + std::string(background) + "' -o '" +
                                png.string() + "' '" + svg.string() + "'";
    EXPECT_EQ(std::system(command.c_str()), 0) << "rsvg-convert (librsvg2-bin) must be installed";
    standalone::ImagePixels<float> picture;
    try {
        picture = standalone::ReadImageFloat(png.string(), 3);
    } catch (const std::runtime_error&) {
        ADD_FAILURE() << "no picture from rsvg-convert";
        return {};
    }
    const int w = picture.width, h = picture.height;
    EXPECT_EQ(w, frame.width);
    EXPECT_EQ(h, frame.height);
    const std::vector<float>& rgb = picture.values;
    if (w != frame.width || h != frame.height) return {};
    double sum = 0, inkFrame = 0, inkSvg = 0;
    const int bw = (w + 3) / 4, bh = (h + 3) / 4;
    std::vector<double> blockFrame(size_t(bw) * size_t(bh)), blockSvg(blockFrame.size());
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            for (int c = 0; c < 3; ++c) {
                const double a = frame.pixel(x, y)[c], b = rgb[(size_t(y) * w + x) * 3 + c];
                sum += std::abs(a - b);
                inkFrame += std::abs(a - corner[c]);
                inkSvg += std::abs(b - corner[c]);
                const size_t block = size_t(y / 4) * size_t(bw) + size_t(x / 4);
                blockFrame[block] += std::abs(a - corner[c]);
                blockSvg[block] += std::abs(b - corner[c]);
            }
    Comparison r;
    r.meanDiff = sum / (double(w) * h * 3);
    r.inkRatio = inkFrame > 0 ? inkSvg / inkFrame : 0;
    const double n = double(blockFrame.size());
    double ma = 0, mb = 0;
    for (size_t i = 0; i < blockFrame.size(); ++i) ma += blockFrame[i] / n, mb += blockSvg[i] / n;
    double sab = 0, saa = 0, sbb = 0;
    for (size_t i = 0; i < blockFrame.size(); ++i) {
        const double da = blockFrame[i] - ma, db = blockSvg[i] - mb;
        sab += da * db, saa += da * da, sbb += db * db;
    }
    r.correlation = saa > 0 && sbb > 0 ? sab / std::sqrt(saa * sbb) : 0;
    return r;
}

// Stated tolerance. In every example the two pictures' ink, in blocks of 4 x 4 pixels, correlates
// above 0.9: the same shapes stand in the same places. Their brightness differs by design, and
// by how much depends on what the example draws, measured here at half the examples' sizes:
// - outlines of perspective-aware lines are never thinner than 2 pixels (a radius below 1 is
//   raised to 1), so hairlines (network.json's "Line Thickness" 0.6) carry about half as much
//   ink again in the file, and a dense mesh of them differs by some 24/255 on average;
// - software points are crisp discs whose edge ramps inside their radius and which are centred
//   on whole pixel coordinates; the circles are filled to their radius and anti-aliased across
//   it, so small points (sphere-of-points.json, size 2) carry up to 1.7 times the ink;
// - a line whose ends differ in colour is drawn with a gradient in the frame and in its mean
//   colour in the file (beams.json's tapered beams), a triangle likewise in its corners' mean.
// docs/command-line.md says the same.
struct Tolerance {
    const char* example;
    double maxMeanDiff;  // of 255
    double inkLow, inkHigh;
};
constexpr Tolerance kTolerances[] = {
    {"network.json", 30, 1.0, 1.6},
    {"triangles.json", 8, 0.9, 1.2},
    {"beams.json", 12, 0.9, 1.2},
    {"two-groups.json", 4, 1.0, 1.7},
    {"sphere-of-points.json", 7, 1.0, 1.85},
    {"logo-network.json", 7, 1.0, 1.8},
    {"inset.json", 13, 0.9, 1.2},
};

class SvgExportExamples : public ::testing::TestWithParam<Tolerance> {};

TEST_P(SvgExportExamples, TheCommandsFileRendersLikeTheFrame) {
    const Tolerance tolerance = GetParam();
    const std::string example = tolerance.example;
    const fs::path dir = Scratch(example);
    const fs::path doc = HalfSizeExample(example, dir);
    const fs::path svg = dir / "frame.svg";
    const CommandResult run =
        Tavrin("export-svg '" + doc.string() + "' -o '" + svg.string() + "'", dir);
    ASSERT_EQ(run.code, 0) << run.err;
    const std::string text = ReadAll(svg);
    EXPECT_GT(Count(text, "<circle ") + Count(text, "<line ") + Count(text, "<path ") +
                  Count(text, "<polygon "),
              0u);
    const Comparison c = CompareWithFrame(doc, svg);
    std::printf("%s: mean difference %.2f/255, ink ratio %.2f, correlation %.3f\n", example.c_str(),
                c.meanDiff * 255, c.inkRatio, c.correlation);
    EXPECT_GT(c.correlation, 0.9) << example;
    EXPECT_LT(c.meanDiff * 255, tolerance.maxMeanDiff) << example;
    EXPECT_GT(c.inkRatio, tolerance.inkLow) << example;
    EXPECT_LT(c.inkRatio, tolerance.inkHigh) << example;
    fs::remove_all(dir);
}

INSTANTIATE_TEST_SUITE_P(SvgExamples, SvgExportExamples, ::testing::ValuesIn(kTolerances),
                         [](const auto& info) {
                             std::string name = info.param.example;
                             name = name.substr(0, name.find('.'));
                             for (char& ch : name)
                                 if (ch == '-') ch = '_';
                             return name;
                         });

TEST(SvgExportCommand, WithoutCompTheFirstCompCarryingTheEffectIsExported) {
    const fs::path dir = Scratch("inset-choice");
    const fs::path doc = HalfSizeExample("inset.json", dir);
    const CommandResult run =
        Tavrin("export-svg '" + doc.string() + "' -o '" + (dir / "a.svg").string() + "'", dir);
    ASSERT_EQ(run.code, 0) << run.err;
    EXPECT_NE(run.err.find("comp \"Main\" has no layer carrying the \"Tavrin\" effect; "
                           "exporting comp \"Net\""),
              std::string::npos)
        << run.err;
    EXPECT_GT(Count(ReadAll(dir / "a.svg"), "<circle "), 0u);
    // Named with --comp, a comp without it is an error that names the comps that have it.
    const CommandResult named = Tavrin(
        "export-svg '" + doc.string() + "' --comp Main -o '" + (dir / "b.svg").string() + "'", dir);
    EXPECT_EQ(named.code, 2);
    EXPECT_NE(named.err.find("comps that carry it: \"Net\""), std::string::npos) << named.err;
    EXPECT_FALSE(fs::exists(dir / "b.svg"));
    fs::remove_all(dir);
}

TEST(SvgExportCommand, ASequenceKeepsTheCompsRateUnlessTold) {
    const fs::path dir = Scratch("rate");
    const fs::path doc = dir / "doc.json";
    std::ofstream(doc) << R"({"tavrin": 1, "comps": [{"name": "C", "width": 64, "height": 48,
      "fps": 5, "duration": 1, "layers": [{"name": "L", "solid": {}, "effects": [
        {"effect": "Tavrin"},
        {"effect": "Tavrin Primitives Object", "params": {"X Points": 2, "Y Points": 1,
          "Z Points": 1, "Generate Faces": "None"}},
        {"effect": "Tavrin Points Renderer", "params": {"Points Size": 2}}]}]}]})";
    const fs::path a = dir / "a.svg", b = dir / "b.svg";
    ASSERT_EQ(
        Tavrin("export-svg '" + doc.string() + "' --sequence -o '" + a.string() + "'", dir).code,
        0);
    const std::string own = ReadAll(a);
    EXPECT_EQ(Count(own, "<g>"), 5u);  // a one-second comp at its 5 frames a second
    EXPECT_EQ(Count(own, "dur=\"200ms\""), 5u);
    ASSERT_EQ(
        Tavrin("export-svg '" + doc.string() + "' --sequence --fps 12 -o '" + b.string() + "'", dir)
            .code,
        0);
    EXPECT_EQ(Count(ReadAll(b), "<g>"), 12u);  // as the dialog's default answers
    fs::remove_all(dir);
}

TEST(SvgExportCommand, FacetsAndSpritesLeaveNothingAndTheNoteSaysSo) {
    for (const char* example : {"facets.json", "sprites.json"}) {
        const fs::path dir = Scratch(example);
        const fs::path doc = HalfSizeExample(example, dir);
        const fs::path svg = dir / "a.svg";
        const CommandResult run =
            Tavrin("export-svg '" + doc.string() + "' -o '" + svg.string() + "'", dir);
        ASSERT_EQ(run.code, 0) << run.err;
        EXPECT_NE(run.err.find("sprites, beams' tubes and facets have no vector form"),
                  std::string::npos)
            << run.err;
        const std::string text = ReadAll(svg);
        // facets.json draws its facets and lines: only the lines reach the file. sprites.json
        // draws every point as a sprite: nothing does.
        EXPECT_EQ(Count(text, "<polygon "), 0u) << example;
        if (std::string(example) == "sprites.json")
            EXPECT_EQ(Count(text, "<circle "), 0u);
        else
            EXPECT_GT(Count(text, "<line ") + Count(text, "<path "), 0u);
        fs::remove_all(dir);
    }
}

}  // namespace
}  // namespace tv
