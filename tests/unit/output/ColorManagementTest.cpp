// Colour management of rendered files: a known grey read back from PNG and EXR follows the
// transfer curve of the space each file is tagged with, --colorspace and the OCIO variable are
// honoured, and unknown names are refused before drawing.
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

// An opaque grey comp of sRGB code value 128 and nothing on it.
const char* kGrey = R"({"tavrin": 1, "comps": [{"name": "Grey", "width": 8, "height": 4,
  "background": "#808080ff"WORKING, "layers": []}]})";

double SrgbToLinear(double v) {
    return v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
}

class ColorManagement : public ::testing::Test {
  protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() /
               ("tavrin-color-" + std::to_string(::getpid()) + "-" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }
    std::string Doc(const std::string& working = "") {
        std::string text = kGrey;
        text.replace(text.find("WORKING"), 7, working);
        const fs::path p = dir_ / "grey.json";
        std::ofstream(p) << text;
        return p.string();
    }
    test::CliRun Tavrin(const std::string& args, const std::string& env = "") {
        std::string line = env;
        line.append(" '").append(TAVRIN_BINARY).append("' ").append(args).append(" 2>&1");
        return test::RunShell(line);
    }
    // The first pixel's red and the colour space the file's header names: its "colorSpace"
    // attribute (EXR), else what the reader makes of the format's own tag (PNG, TIFF).
    std::pair<float, std::string> Read(const std::string& file) {
        const auto image = standalone::ReadImageFloat(file, 3);
        const test::CliRun info = test::RunShell("iinfo -v '" + file + "' 2>&1");
        std::string space;
        for (const std::string key : {"    colorSpace: \"", "oiio:ColorSpace: \""}) {
            const size_t at = info.out.find(key);
            if (at == std::string::npos) continue;
            const size_t from = at + key.size();
            space = info.out.substr(from, info.out.find('"', from) - from);
            break;
        }
        return {image.values.at(0), space};
    }
    fs::path dir_;
};

TEST_F(ColorManagement, PngHoldsTheWorkingSpaceAndExrIsSceneLinearAndSaysSo) {
    const std::string doc = Doc();
    const std::string png = (dir_ / "g.png").string(), exr = (dir_ / "g.exr").string();
    ASSERT_EQ(Tavrin("render " + doc + " -o " + png).code, 0);
    const test::CliRun r = Tavrin("render " + doc + " -o " + exr + " --json");
    ASSERT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("\"colorSpace\": \"linear\""), std::string::npos) << r.out;
    EXPECT_NEAR(Read(png).first, 128.0 / 255, 1e-6);
    EXPECT_EQ(Read(png).second, "sRGB");
    const auto [linear, space] = Read(exr);
    EXPECT_NEAR(linear, SrgbToLinear(128.0 / 255), 1e-4);  // 0.2158, not 0.502
    EXPECT_EQ(space, "linear");
}

TEST_F(ColorManagement, ColorspaceChoosesWhatTheFileHolds) {
    const std::string doc = Doc();
    const std::string exr = (dir_ / "g.exr").string(), tif = (dir_ / "g.tif").string();
    ASSERT_EQ(Tavrin("render " + doc + " -o " + exr + " --colorspace sRGB").code, 0);
    EXPECT_NEAR(Read(exr).first, 128.0 / 255, 1e-4);
    EXPECT_EQ(Read(exr).second, "sRGB");
    // A 16-bit TIFF asked to hold linear light holds it, tagged.
    ASSERT_EQ(Tavrin("render " + doc + " -o " + tif + " --bit-depth 16 --colorspace linear").code,
              0);
    EXPECT_NEAR(Read(tif).first, SrgbToLinear(128.0 / 255), 1.0 / 65535 + 1e-5);
    EXPECT_NE(Read(tif).second, "sRGB");  // TIFF has no tag for linear light: no sRGB one
    const test::CliRun bad = Tavrin("render " + doc + " -o " + exr + ".x.exr --colorspace ACEScg");
    EXPECT_EQ(bad.code, 2) << bad.out;
    EXPECT_NE(bad.out.find("no colour space \"ACEScg\""), std::string::npos) << bad.out;
    EXPECT_NE(bad.out.find("\"sRGB\""), std::string::npos) << bad.out;
    EXPECT_FALSE(fs::exists(exr + ".x.exr"));
}

// A configuration the OCIO variable names: "plate" squares into "lin", the scene-linear role.
TEST_F(ColorManagement, TheOcioVariableNamesTheConfigurationAndTheDocumentItsWorkingSpace) {
    const fs::path config = dir_ / "config.ocio";
    std::ofstream(config) << R"(ocio_profile_version: 2
roles:
  default: plate
  scene_linear: lin
file_rules:
  - !<Rule> {name: Default, colorspace: default}
displays:
  screen:
    - !<View> {name: raw, colorspace: plate}
colorspaces:
  - !<ColorSpace>
    name: lin
  - !<ColorSpace>
    name: plate
    to_scene_reference: !<ExponentTransform> {value: 2}
)";
    const std::string env = "OCIO='" + config.string() + "'";
    const std::string doc = Doc(R"(, "workingSpace": "plate")");
    const std::string exr = (dir_ / "g.exr").string();
    const test::CliRun r = Tavrin("render " + doc + " -o " + exr, env);
    ASSERT_EQ(r.code, 0) << r.out;
    const auto [value, space] = Read(exr);
    EXPECT_NEAR(value, std::pow(128.0 / 255, 2), 1e-4);
    EXPECT_EQ(space, "lin");
    // Without the configuration the document's working space is unknown: refused at its path.
    const test::CliRun without = Tavrin("validate " + doc, "OCIO=");
    EXPECT_EQ(without.code, 2) << without.out;
    EXPECT_NE(without.out.find("$.comps[0].workingSpace"), std::string::npos) << without.out;
}

}  // namespace
}  // namespace tv
