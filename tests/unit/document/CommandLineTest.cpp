// tavrin validate, info and save as a user runs them: exit codes, the error line, nothing
// written on an error.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "tests/support/RunShell.h"

namespace tv {
namespace {

namespace fs = std::filesystem;

using test::CliRun;

CliRun Tavrin(const std::string& args) {
    return test::RunShell(std::string(TAVRIN_BINARY) + " " + args + " 2>&1");
}

class CommandLine : public ::testing::Test {
  protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() /
               ("tavrin-cli-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
                "-" + ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }
    std::string Write(const std::string& name, const std::string& text) {
        const fs::path p = dir_ / name;
        std::ofstream(p) << text;
        return p.string();
    }
    fs::path dir_;
};

const char* kGood = R"({"tavrin": 1, "comps": [{"name": "C", "width": 64, "height": 32,
  "layers": [{"name": "Fx", "solid": {}, "effects": [{"effect": "Tavrin", "params": {
    "Use Lights for Shading": true, "Light(s) Name Begins with": "Key"}}]}]}]})";

TEST_F(CommandLine, ValidateSaysValidAndCounts) {
    const std::string doc = Write("good.json", kGood);
    const CliRun r = Tavrin("validate " + doc);
    EXPECT_EQ(r.code, 0) << r.out;
    EXPECT_EQ(r.out, doc + ": valid (1 comps, 1 layers, 1 effects)\n");
}

// A motion-blur switch set on is accepted and said to change nothing, at its path.
TEST_F(CommandLine, ValidateSaysThatAMotionBlurSwitchDoesNothing) {
    const std::string doc = Write("blur.json", R"({"tavrin": 1, "comps": [{"name": "C",
      "motionBlur": true, "layers": [{"name": "Fx", "solid": {}, "motionBlur": true}]}]})");
    const CliRun r = Tavrin("validate " + doc);
    EXPECT_EQ(r.code, 0) << r.out;
    const std::string said =
        ": the motion-blur switch changes no pixel: Tavrin's motion blur follows the comp's "
        "shutter (\"Render Motion Blur\") whatever the switches, and this host blurs no layer's "
        "transform\n";
    EXPECT_EQ(r.out, doc + ": valid (1 comps, 1 layers, 0 effects)\n" + "note: " + doc +
                         ": $.comps[0].motionBlur" + said + "note: " + doc +
                         ": $.comps[0].layers[0].motionBlur" + said);
    // Off says nothing.
    const std::string off = Write("off.json", R"({"tavrin": 1, "comps": [{"name": "C",
      "motionBlur": false, "layers": [{"name": "Fx", "solid": {}, "motionBlur": false}]}]})");
    EXPECT_EQ(Tavrin("validate " + off).out, off + ": valid (1 comps, 1 layers, 0 effects)\n");
}

TEST_F(CommandLine, AnErrorIsOneLineWithFilePathAndMessageAndExitCodeTwo) {
    const std::string doc =
        Write("bad.json", R"({"tavrin": 1, "comps": [{"layers": [{"solid": {}, "effects": [
            {"effect": "Tavrin", "params": {"Render Qualty": "2x"}}]}]}]})");
    const CliRun r = Tavrin("validate " + doc);
    EXPECT_EQ(r.code, 2);
    EXPECT_EQ(r.out, doc +
                         ": $.comps[0].layers[0].effects[0].params.Render Qualty: \"Tavrin\" has "
                         "no parameter \"Render Qualty\"; did you mean \"Render Quality\"?\n");
    EXPECT_EQ(Tavrin("info " + doc).code, 2);
}

TEST_F(CommandLine, SaveWritesNothingForABadDocument) {
    const std::string doc = Write("bad.json", R"({"tavrin": 1, "comps": [{"fps": "30/1x"}]})");
    const std::string out = (dir_ / "out.json").string();
    const CliRun r = Tavrin("save " + doc + " -o " + out);
    EXPECT_EQ(r.code, 2);
    EXPECT_FALSE(fs::exists(out));
    EXPECT_FALSE(fs::exists(out + ".saving"));
}

TEST_F(CommandLine, SaveThenValidateAndInfoShowTheSameValues) {
    const std::string doc = Write("good.json", kGood);
    const std::string out = (dir_ / "saved.json").string();
    const CliRun saved = Tavrin("save " + doc + " -o " + out);
    EXPECT_EQ(saved.code, 0) << saved.out;
    EXPECT_EQ(Tavrin("validate " + out).code, 0);
    const CliRun a = Tavrin("info " + doc), b = Tavrin("info " + out);
    EXPECT_EQ(a.code, 0);
    EXPECT_EQ(a.out, b.out);
    // The text and, with lights on, the shading rows shown; "Re-Render" always hidden.
    EXPECT_NE(a.out.find("Light(s) Name Begins with            \"Key\""), std::string::npos)
        << a.out;
    EXPECT_NE(a.out.find("Shading Mode                         2 \"Both Sides\"          "
                         "(visible)"),
              std::string::npos)
        << a.out;
    EXPECT_NE(a.out.find("Re-Render                            0                       (hidden)"),
              std::string::npos)
        << a.out;
}

TEST_F(CommandLine, CurvesShowByNameOrByTheirFactorsAndSaveByName) {
    const std::string doc = Write("curves.json", R"({"tavrin": 1, "comps": [{"name": "C",
      "layers": [{"name": "Fx", "solid": {}, "effects": [{"effect": "Tavrin"},
        {"effect": "Tavrin Lines Renderer", "params": {"Opacity over Distance": "flat",
          "Thickness over Distance": [[0, 1], [1, 0]]}}]}]}]})");
    const CliRun info = Tavrin("info " + doc);
    EXPECT_EQ(info.code, 0) << info.out;
    // A named curve by its name (not the default here); a drawn one by its factors.
    EXPECT_NE(info.out.find("Opacity over Distance                \"flat\"  "), std::string::npos)
        << info.out;
    EXPECT_EQ(info.out.find("(default)"), std::string::npos) << info.out;
    EXPECT_NE(info.out.find("factors 1 at 0, 0.75 at 0.25, 0.5 at 0.5"), std::string::npos)
        << info.out;
    const std::string out = (dir_ / "saved.json").string();
    ASSERT_EQ(Tavrin("save " + doc + " -o " + out).code, 0);
    std::ifstream in(out);
    const std::string saved((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_NE(saved.find("\"Opacity over Distance\": \"flat\""), std::string::npos) << saved;
    EXPECT_NE(saved.find("\"Thickness over Distance\": {"), std::string::npos) << saved;
}

}  // namespace
}  // namespace tv
