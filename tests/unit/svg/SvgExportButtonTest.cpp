// The "Export SVG" button: its dialog's script and answers, and the export it runs when pressed
// in the embedded host (a cancelled dialog, a file that cannot be opened, the work area).
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "host/EffectTemplate.h"
#include "main/MainParams.h"
#include "host/ScriptBridge.h"
#include "standalone/Document.h"
#include "standalone/SvgExport.h"

namespace tv {
namespace {

namespace fs = std::filesystem;

size_t Count(const std::string& text, const std::string& what) {
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

// A 2-second comp at 10 fps with a work area from 0.5 to 1 s: four points on one layer.
const char* kDoc = R"({"tavrin": 1, "comps": [{"name": "C", "width": 100, "height": 80,
  "fps": 10, "duration": 2, "workArea": [0.5, 1], "layers": [
  {"name": "L", "solid": {}, "effects": [{"effect": "Tavrin"},
    {"effect": "Tavrin Primitives Object", "params": {"X Points": 2, "Y Points": 2,
      "Z Points": 1, "Generate Faces": "None"}},
    {"effect": "Tavrin Points Renderer", "params": {"Points Size": 3}}]}]}]})";

TEST(SvgExportDialog, TheScriptHoldsTheDialogsTexts) {
    const std::string s = SvgExportScript();
    for (const char* text :
         {"'Export SVG'", "'Exports SVG Files which can be opened in Adobe Illustrator.'",
          "'Note: Polygon/Triangle Gradients and Image Sprites cannot be exported.'", "'.svg'",
          "'12'", "['Entire Comp', 'Work Area']", "'SVG File Sequence'", "'Export:'",
          "'Frames/Sec:'", "'Save As'", "File.saveDialog(", "' already exists. Replace it?'",
          "'File Already Exists'", "box.characters = 30", "rate.characters = 3"})
        EXPECT_NE(s.find(text), std::string::npos) << text;
}

TEST(SvgExportDialog, AnswersAreOnePathOrThreeLines) {
    EXPECT_FALSE(ParseSvgExportAnswer(""));  // Cancel, or OK without a path
    const auto one = ParseSvgExportAnswer("/tmp/a.svg");
    ASSERT_TRUE(one);
    EXPECT_EQ(one->path, "/tmp/a.svg");
    EXPECT_FALSE(one->sequence);
    // Three lines are a sequence, never one path with newlines in it.
    const auto three = ParseSvgExportAnswer("/tmp/a.svg\n1\n24");
    ASSERT_TRUE(three);
    EXPECT_EQ(three->path, "/tmp/a.svg");
    EXPECT_TRUE(three->sequence);
    EXPECT_TRUE(three->workArea);
    EXPECT_EQ(three->fps, 24);
    EXPECT_FALSE(ParseSvgExportAnswer("/tmp/a.svg\n0\n12")->workArea);
    EXPECT_FALSE(ParseSvgExportAnswer("/tmp/a.svg\n0"));
    EXPECT_FALSE(ParseSvgExportAnswer("/tmp/a.svg\n0\nfast"));
    EXPECT_FALSE(ParseSvgExportAnswer("/tmp/a.svg\n0\n0"));
}

// "Save As" adds the extension to the file it chose; a path typed into the box is answered as
// it stands.
TEST(SvgExportDialog, OnlySaveAsAddsTheExtension) {
    const std::string s = SvgExportScript();
    EXPECT_NE(s.find("var p = withExt(f.fsName);"), std::string::npos);
    EXPECT_EQ(Count(s, "withExt("), 2u);  // its definition and the Save As choice
    EXPECT_NE(s.find("var path = box.text;"), std::string::npos);
}

TEST(SvgExportDialog, APathWithoutTheExtensionGetsIt) {
    EXPECT_EQ(WithSvgExtension("a.svg"), "a.svg");
    EXPECT_EQ(WithSvgExtension("a"), "a.svg");
    EXPECT_EQ(WithSvgExtension("out/frame"), "out/frame.svg");
    EXPECT_EQ(WithSvgExtension(".svg"), ".svg.svg");  // four characters or fewer
}

// A source that fails from half a second on, as a sub-effect whose host call fails would.
ParamTable NoParams() {
    return {};
}
PF_Err FailingMessage(PF_InData* in, PF_OutData*, ObjectMessage& m) {
    if (m.command == kObjGetGroup) {
        m.setPayloadGroup(1);
        return PF_Err_NONE;
    }
    if (m.command != kObjContribute) return PF_Err_NONE;
    return double(in->current_time) / in->time_scale >= 0.5 - 1e-9 ? PF_Err_OUT_OF_MEMORY
                                                                   : PF_Err_NONE;
}
const EffectInfo kFailingInfo{
    0,    "Failing Source", "KDL TAVRSRC Failing", "", nullptr, 0, 1, EffectRole::Source, "",
    true, &NoParams};
PF_Err FailingEntry(PF_Cmd cmd, PF_InData* in, PF_OutData* out, PF_ParamDef* params[],
                    PF_LayerDef* output, void* extra) {
    SubEffectHandlers h;
    h.message = &FailingMessage;
    return SubEffectEntry(kFailingInfo, h, cmd, in, out, params, output, extra);
}

class SvgExportButton : public ::testing::Test {
  protected:
    void SetUp() override {
        standalone::LoadDocumentText(kDoc, "doc.json", host);
        dir = fs::temp_directory_path() / ("tavrin-svg-button-" + std::to_string(getpid()));
        fs::create_directories(dir);
    }
    void TearDown() override { fs::remove_all(dir); }
    // Presses the button at comp time 0.
    void Press() {
        standalone::EffectInstance& main = *host.project().comps[0]->layers[0]->effects[0];
        PF_UserChangedParamExtra extra;
        extra.param_index = kMainExportSvg;
        ASSERT_EQ(host.callEffect(main, PF_Cmd_USER_CHANGED_PARAM, A_Time{0, 10}, &extra), 0);
    }
    std::string Read(const fs::path& p) {
        std::ifstream in(p, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    }
    standalone::EmbeddedHost host;
    fs::path dir;
};

TEST_F(SvgExportButton, ACancelledDialogWritesNothing) {
    Press();  // no answer queued: the dialog is cancelled
    EXPECT_TRUE(fs::is_empty(dir));
}

TEST_F(SvgExportButton, OnePathWritesTheCurrentFrame) {
    host.queueDialogAnswer("Export SVG", (dir / "one.svg").string());
    Press();
    const std::string svg = Read(dir / "one.svg");
    EXPECT_EQ(Count(svg, "<circle "), 4u);
    EXPECT_EQ(Count(svg, "<g>"), 0u);
    EXPECT_NE(svg.find("<svg width=\"100px\" height=\"80px\""), std::string::npos);
}

TEST_F(SvgExportButton, TheWorkAreaAtItsOwnRate) {
    // 0.5 s of work area at 4 frames a second: two frames of 250 ms.
    host.queueDialogAnswer("Export SVG", (dir / "work.svg").string() + "\n1\n4");
    Press();
    const std::string svg = Read(dir / "work.svg");
    EXPECT_EQ(Count(svg, "<g>"), 2u);
    EXPECT_EQ(Count(svg, "<circle "), 8u);
    EXPECT_NE(svg.find("dur=\"250ms\" begin=\"0s;FRAME_1.end\" />"), std::string::npos) << svg;
    // The whole comp at the same rate: eight frames.
    host.queueDialogAnswer("Export SVG", (dir / "all.svg").string() + "\n0\n4");
    Press();
    EXPECT_EQ(Count(Read(dir / "all.svg"), "<g>"), 8u);
}

TEST_F(SvgExportButton, ASequenceOfOneFrameBeginsAtZero) {
    // The work area at 1 frame a second: one frame.
    host.queueDialogAnswer("Export SVG", (dir / "single.svg").string() + "\n1\n1");
    Press();
    const std::string svg = Read(dir / "single.svg");
    EXPECT_EQ(Count(svg, "<g>"), 1u);
    EXPECT_NE(svg.find("dur=\"1000ms\" begin=\"0s\" />"), std::string::npos) << svg;
}

TEST_F(SvgExportButton, AFileThatCannotBeOpenedEndsTheExportQuietly) {
    host.queueDialogAnswer("Export SVG", (dir / "no-such-folder" / "x.svg").string());
    Press();
    EXPECT_EQ(host.pendingDialogAnswers(), 0u);
    EXPECT_FALSE(fs::exists(dir / "no-such-folder"));
    // From the command line's side the same failure is an error naming the file.
    standalone::SvgExportOptions o;
    fs::create_directories(dir / "ro");
    fs::permissions(dir / "ro", fs::perms::owner_read | fs::perms::owner_exec);
    if (::geteuid() != 0) {  // root writes anywhere
        EXPECT_THROW(standalone::ExportSvgFile(host, *host.project().comps[0], o,
                                               (dir / "ro" / "x.svg").string()),
                     std::runtime_error);
        EXPECT_TRUE(fs::is_empty(dir / "ro"));
    }
    fs::permissions(dir / "ro", fs::perms::owner_all);
}

TEST_F(SvgExportButton, ASubEffectsErrorEndsTheLoopAndWhatStandsIsWritten) {
    host.registerEffect("Failing Source", "KDL TAVRSRC Failing", &FailingEntry);
    host.applyEffectInstance(*host.project().comps[0]->layers[0], "KDL TAVRSRC Failing");
    // The whole comp at 10 frames a second; the source fails from 0.5 s, the sixth frame.
    host.queueDialogAnswer("Export SVG", (dir / "cut.svg").string() + "\n0\n10");
    Press();
    const std::string svg = Read(dir / "cut.svg");
    EXPECT_EQ(Count(svg, "<g>"), 5u);
    EXPECT_EQ(Count(svg, "<circle "), 20u);
    EXPECT_NE(svg.find("begin=\"0s;FRAME_4.end\" />"), std::string::npos) << svg;
    ASSERT_GE(svg.size(), 7u);
    EXPECT_EQ(svg.substr(svg.size() - 7), "</svg>\n");  // closed and kept
}

TEST_F(SvgExportButton, TheCommandLinesLayerChoiceAndItsErrors) {
    standalone::SvgExportOptions o;
    o.layer = "Nope";
    try {
        standalone::ExportSvgFile(host, *host.project().comps[0], o, (dir / "x.svg").string());
        FAIL();
    } catch (const std::runtime_error& e) {
        EXPECT_NE(std::string(e.what()).find("--layer: no layer named \"Nope\""),
                  std::string::npos);
    }
    o.layer = "L";
    const auto report =
        standalone::ExportSvgFile(host, *host.project().comps[0], o, (dir / "x.svg").string());
    EXPECT_EQ(report.layer, "L");
    EXPECT_TRUE(report.otherLayers.empty());
    EXPECT_EQ(Count(Read(dir / "x.svg"), "<circle "), 4u);
}

}  // namespace
}  // namespace tv
