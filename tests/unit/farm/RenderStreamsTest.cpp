// What tavrin prints where: exit codes in the help, --version, -q, --log, the effects' lines on
// standard error, and output patterns in every style render tools write.
#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace tv {
namespace {

namespace fs = std::filesystem;

struct Streams {
    int code = -1;
    std::string out;
    std::string err;
};

std::string ReadText(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Points on a sphere, 4 frames of 32x24.
const char* kDoc = R"({"tavrin": 1, "comps": [{"name": "S", "width": 32, "height": 24,
  "fps": 4, "duration": 1, "layers": [{"name": "P", "solid": {}, "effects": [
    {"effect": "Tavrin"},
    {"effect": "Tavrin Primitives Object", "params": {"Primitive Type": "Sphere",
      "Sphere Radius": 10, "Sphere Slices": 8, "Sphere Stacks": 6}},
    {"effect": "Tavrin Points Renderer", "params": {"Points Size": 2}}]}]}]})";

class RenderStreams : public ::testing::Test {
  protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() /
               ("tavrin-streams-" + std::to_string(::getpid()) + "-" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
        doc_ = (dir_ / "s.json").string();
        std::ofstream(doc_) << kDoc;
    }
    void TearDown() override { fs::remove_all(dir_); }

    // Standard output and standard error apart.
    Streams Tavrin(const std::string& args) {
        return Shell(std::string("'") + TAVRIN_BINARY + "' " + args);
    }
    Streams Shell(const std::string& line) {
        Streams r;
        const fs::path errFile = dir_ / "stderr.txt";
        const std::string cmd = line + " 2>'" + errFile.string() + "'";
        FILE* pipe = popen(cmd.c_str(), "r");
        if (!pipe) return r;
        std::array<char, 4096> buffer;
        size_t n;
        while ((n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0)
            r.out.append(buffer.data(), n);
        const int status = pclose(pipe);
        r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        r.err = ReadText(errFile);
        return r;
    }
    std::string Out(const std::string& name) const { return (dir_ / name).string(); }

    fs::path dir_;
    std::string doc_;
};

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

TEST_F(RenderStreams, HelpListsTheExitCodes) {
    const Streams r = Tavrin("--help");
    EXPECT_EQ(r.code, 0);
    EXPECT_TRUE(Has(r.out, "Exit codes: 0 done; 1 a frame failed (render); 2 bad input")) << r.out;
    EXPECT_TRUE(Has(Tavrin("render --help").out, "130 stopped by SIGINT"));
}

TEST_F(RenderStreams, VersionNamesTheBuildTheGlAndTheLibraries) {
    const Streams r = Tavrin("--version");
    EXPECT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out.rfind("tavrin " TAVRIN_VERSION "\ncommit ", 0), 0u) << r.out;
    EXPECT_FALSE(Has(r.out, "commit unknown")) << r.out;
    EXPECT_TRUE(Has(r.out, "\nGL: ")) << r.out;
    EXPECT_TRUE(Has(r.out, "\nlibraries: fmt ")) << r.out;
    EXPECT_TRUE(Has(r.out, ", OpenImageIO ")) << r.out;
}

TEST_F(RenderStreams, VerboseLinesGoToStandardErrorAndTheSummaryAloneToStandardOutput) {
    const Streams r = Tavrin("render " + doc_ + " --frames 1 -v -o '" + Out("v.png") + "'");
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out.rfind("rendered 1 of 1 frames of \"S\"", 0), 0u) << r.out;
    EXPECT_EQ(std::count(r.out.begin(), r.out.end(), '\n'), 1) << r.out;
    EXPECT_TRUE(Has(r.err, "Common render called")) << r.err;
}

TEST_F(RenderStreams, QuietPrintsErrorsOnly) {
    const Streams r = Tavrin("render " + doc_ + " --frames 1-2,9 -q -o '" + Out("q.png") + "'");
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_EQ(r.out, "");
    EXPECT_EQ(r.err, "");  // the frame past the end is left out without a word
    EXPECT_TRUE(fs::exists(Out("q_0001.png")));

    const Streams bad = Tavrin("render " + doc_ + " -q --bit-depth 12 -o '" + Out("b.png") + "'");
    EXPECT_EQ(bad.code, 2);
    EXPECT_EQ(std::count(bad.err.begin(), bad.err.end(), '\n'), 1) << bad.err;
    EXPECT_EQ(Tavrin("render " + doc_ + " -q -v").code, 2);
}

TEST_F(RenderStreams, LogTakesTheEffectsLinesIntoAFileWithItsFolder) {
    const std::string log = Out("logs/run.log");
    const Streams r =
        Tavrin("render " + doc_ + " --frames 1 --log '" + log + "' -o '" + Out("l.png") + "'");
    ASSERT_EQ(r.code, 0) << r.err;
    EXPECT_TRUE(Has(ReadText(log), "Common render called")) << ReadText(log);
    EXPECT_FALSE(Has(r.err + r.out, "Common render called"));

    const Streams unwritable =
        Tavrin("render " + doc_ + " --log '" + Out("s.json/x.log") + "' -o '" + Out("u.png") + "'");
    EXPECT_EQ(unwritable.code, 2);
    EXPECT_TRUE(Has(unwritable.err, "--log")) << unwritable.err;
    EXPECT_FALSE(fs::exists(Out("u.png")));
}

TEST_F(RenderStreams, EveryPatternStyleNamesTheFrames) {
    ASSERT_EQ(Tavrin("render " + doc_ + " --frames 2-3 -q -o '" + Out("p_%03d.png") + "'").code, 0);
    EXPECT_TRUE(fs::exists(Out("p_002.png")));
    EXPECT_TRUE(fs::exists(Out("p_003.png")));
    ASSERT_EQ(Tavrin("render " + doc_ + " --frames 2 -q -o '" + Out("h_$F3.png") + "'").code, 0);
    EXPECT_TRUE(fs::exists(Out("h_002.png")));
    ASSERT_EQ(Tavrin("render " + doc_ + " --frames 3 -q -o '" + Out("r##/f_#.png") + "'").code, 0);
    EXPECT_TRUE(fs::exists(Out("r03/f_3.png")));
}

TEST_F(RenderStreams, AMalformedOrMixedPatternIsRefusedBeforeDrawing) {
    const Streams bad = Tavrin("render " + doc_ + " --frames 1 -o '" + Out("x_%04x.png") + "'");
    EXPECT_EQ(bad.code, 2);
    EXPECT_TRUE(Has(bad.err, "\"%04x\" is not a frame number; write ####")) << bad.err;
    const Streams mixed = Tavrin("render " + doc_ + " --frames 1 -o '" + Out("m_%04d_#.png") + "'");
    EXPECT_EQ(mixed.code, 2);
    EXPECT_TRUE(Has(mixed.err, "mixes frame-number styles")) << mixed.err;
    EXPECT_EQ(std::distance(fs::directory_iterator(dir_), fs::directory_iterator()), 2)
        << "only the document and the captured standard error";
}

TEST_F(RenderStreams, SaveGeometryAndSvgMakeTheirFoldersOrSayWhyNot) {
    EXPECT_EQ(Tavrin("save " + doc_ + " -o '" + Out("a/b/saved.json") + "'").code, 0);
    EXPECT_EQ(Tavrin("geometry " + doc_ + " -o '" + Out("c/d/g.json") + "'").code, 0);
    EXPECT_EQ(Tavrin("export-svg " + doc_ + " -o '" + Out("e/f/s.svg") + "'").code, 0);
    EXPECT_TRUE(fs::exists(Out("a/b/saved.json")));
    EXPECT_TRUE(fs::exists(Out("c/d/g.json")));
    EXPECT_TRUE(fs::exists(Out("e/f/s.svg")));
    // A file standing where a folder should be.
    const Streams save = Tavrin("save " + doc_ + " -o '" + Out("s.json/x/saved.json") + "'");
    EXPECT_EQ(save.code, 2);
    EXPECT_TRUE(Has(save.err, "tavrin save: cannot write " + Out("s.json/x/saved.json") +
                                  ": cannot make its folder " + Out("s.json/x") + " ("))
        << save.err;
    const Streams svg = Tavrin("export-svg " + doc_ + " -o '" + Out("s.json/s.svg") + "'");
    EXPECT_EQ(svg.code, 2);
    EXPECT_TRUE(Has(svg.err, "tavrin export-svg: cannot write " + Out("s.json/s.svg"))) << svg.err;
}

// The default pattern holds the comp's name: pattern characters in it are not frame numbers.
TEST_F(RenderStreams, TheDefaultPatternKeepsACompsNameAsText) {
    std::string doc = kDoc;
    doc.replace(doc.find("\"name\": \"S\""), 11, "\"name\": \"50% #1 $F\"");
    std::ofstream(dir_ / "named.json") << doc;
    const Streams r = Shell("cd '" + dir_.string() + "' && '" + TAVRIN_BINARY +
                            "' render named.json --frames 1-2 -q");
    EXPECT_EQ(r.code, 0) << r.err;
    EXPECT_TRUE(fs::exists(dir_ / "tavrin-out" / "50_ _1 _F_0001.png"));
    EXPECT_TRUE(fs::exists(dir_ / "tavrin-out" / "50_ _1 _F_0002.png"));
}

}  // namespace
}  // namespace tv
