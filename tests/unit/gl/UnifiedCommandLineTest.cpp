// tavrin render --unified on|off as a farm user runs it: the line naming the path that drew, and
// the one warning when the GL path was asked for on a machine that has no GL.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/RunShell.h"

namespace tv {
namespace {

namespace fs = std::filesystem;

using test::CliRun;

CliRun Tavrin(const std::string& args, const std::string& environment = "") {
    return test::RunShell(environment + " " + std::string(TAVRIN_BINARY) + " " + args + " 2>&1");
}

size_t Count(const std::string& text, const std::string& what) {
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

class UnifiedCommandLine : public ::testing::Test {
  protected:
    void SetUp() override {
        dir_ =
            fs::temp_directory_path() /
            ("tavrin-unified-" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) +
             "-" + ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
        // A small frame whose document leaves "Unified Rendering" off.
        doc_ = (dir_ / "doc.json").string();
        std::ofstream(doc_) << R"({"tavrin": 1, "comps": [{"name": "C", "width": 32,
          "height": 16, "fps": 30, "duration": 0.1, "layers": [{"name": "L", "solid": {},
          "effects": [{"effect": "Tavrin", "params": {"Render Motion Blur": "Off"}},
          {"effect": "Tavrin Primitives Object", "params": {"X Points": 2, "Y Points": 1,
          "Z Points": 1, "Cube Width": 10, "Generate Faces": "None"}},
          {"effect": "Tavrin Points Renderer"}]}]}]})";
    }
    void TearDown() override { fs::remove_all(dir_); }
    std::string render(const std::string& unified) const {
        return "render " + doc_ + " -o " + (dir_ / "f_####.png").string() + " --frames 0-2" +
               (unified.empty() ? "" : " --unified " + unified);
    }
    fs::path dir_;
    std::string doc_;
};

TEST_F(UnifiedCommandLine, OnAndOffChooseThePathAndTheRunSaysWhichDrew) {
    const CliRun off = Tavrin(render(""));
    EXPECT_EQ(off.code, 0) << off.out;
    EXPECT_EQ(Count(off.out, "drawn by the software path\n"), 1u) << off.out;
    EXPECT_EQ(Count(off.out, "unified GL path"), 0u) << off.out;

    const CliRun on = Tavrin(render("on"));
    EXPECT_EQ(on.code, 0) << on.out;
    EXPECT_EQ(Count(on.out, "drawn by the unified GL path (OpenGL "), 1u) << on.out;
    EXPECT_EQ(Count(on.out, " passes of 16 samples)\n"), 1u) << on.out;
    EXPECT_EQ(Count(on.out, "software path"), 0u) << on.out;

    const CliRun forcedOff = Tavrin(render("off"));
    EXPECT_EQ(forcedOff.code, 0) << forcedOff.out;
    EXPECT_EQ(Count(forcedOff.out, "drawn by the software path\n"), 1u) << forcedOff.out;

    EXPECT_NE(Tavrin(render("maybe")).code, 0);
}

// The GL framework is made by the first frame that asks for the GL path, not when the effect
// loads: a software-only run never starts GL.
TEST_F(UnifiedCommandLine, OnlyARunThatAsksForTheGlPathMakesTheGlFramework) {
    const CliRun off = Tavrin(render("off") + " -v");
    EXPECT_EQ(off.code, 0) << off.out;
    EXPECT_EQ(Count(off.out, "GL_VERS: "), 0u) << off.out;
    const CliRun on = Tavrin(render("on") + " -v");
    EXPECT_EQ(on.code, 0) << on.out;
    EXPECT_EQ(Count(on.out, "GL_VERS: "), 1u) << on.out;
}

TEST_F(UnifiedCommandLine, WithoutGlTheRunWarnsOnceAndDrawsInSoftware) {
    // The GL dispatch library finds no vendor EGL: a machine without GL, as the driver sees it.
    const CliRun r = Tavrin(render("on"), "__EGL_VENDOR_LIBRARY_FILENAMES=/nonexistent.json");
    EXPECT_EQ(r.code, 0) << r.out;
    EXPECT_EQ(
        Count(r.out, "warning: \"Unified Rendering\" is on but the GL path is not available ("), 1u)
        << r.out;
    EXPECT_EQ(Count(r.out, "drawn by the software path\n"), 1u) << r.out;
    EXPECT_EQ(Count(r.out, "unified GL path"), 0u) << r.out;
    EXPECT_TRUE(fs::exists(dir_ / "f_0002.png"));
}

}  // namespace
}  // namespace tv
