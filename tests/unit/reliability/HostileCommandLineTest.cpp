// The command line under a hostile user: links planted at the names temporaries use, control
// characters in names and paths, numbers at their extremes. Each must end with a clear message,
// bounded work, and nothing written where it should not be.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

#include "standalone/TerminalText.h"
#include "standalone/WholeFile.h"
#include "tests/support/RunShell.h"

namespace tv {
namespace {

namespace fs = std::filesystem;

using test::CliRun;

CliRun Tavrin(const std::string& args) {
    return test::RunShell(std::string(TAVRIN_BINARY) + " " + args + " 2>&1");
}

std::string ReadAll(const fs::path& p) {
    std::ifstream in(p, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

class HostileCommandLine : public ::testing::Test {
  protected:
    void SetUp() override {
        dir_ = fs::temp_directory_path() /
               ("tavrin-hostile-cli-" + std::to_string(getpid()) + "-" +
                ::testing::UnitTest::GetInstance()->current_test_info()->name());
        fs::remove_all(dir_);
        fs::create_directories(dir_);
        victim_ = dir_ / "victim.txt";
        std::ofstream(victim_) << "precious";
    }
    void TearDown() override { fs::remove_all(dir_); }
    std::string Write(const std::string& name, const std::string& text) {
        const fs::path p = dir_ / name;
        std::ofstream(p, std::ios::binary) << text;
        return p.string();
    }
    void Plant(const fs::path& link) { fs::create_symlink(victim_, link); }
    fs::path dir_, victim_;
};

// A document whose names carry an escape sequence (retitle the terminal), a clear-screen
// sequence, a C1 control and a newline.
const char* kControlNames =
    "{\"tavrin\": 1, \"comps\": [{\"name\": \"C\\u001b]0;pwned\\u0007\", \"width\": 32, "
    "\"height\": 16, \"layers\": [{\"name\": \"L\\u001b[2J\\u009b31m\\nforged line\", "
    "\"solid\": {}, \"effects\": [{\"effect\": \"Tavrin\"}, "
    "{\"effect\": \"Tavrin Primitives Object\"}]}]}]}";

const char* kSmall = R"({"tavrin": 1, "comps": [{"name": "C", "width": 32, "height": 16,
  "layers": [{"name": "L", "solid": {}, "effects": [{"effect": "Tavrin"},
    {"effect": "Tavrin Primitives Object"}]}]}]})";

bool HasRawControl(const std::string& text) {
    for (size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if ((c < 0x20 && c != '\n' && c != '\r') || c == 0x7F) return true;
        if (c == 0xC2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
            static_cast<unsigned char>(text[i + 1]) <= 0x9F)
            return true;
    }
    return false;
}

TEST(TerminalText, ControlCharactersBecomeEscapesAndOtherTextStays) {
    EXPECT_EQ(standalone::EscapeControlCharacters("a\x1b]0;t\x07z"), "a\\x1B]0;t\\x07z");
    EXPECT_EQ(standalone::EscapeControlCharacters("x\ny\tz\r"), "x\\ny\\tz\\r");
    EXPECT_EQ(standalone::EscapeControlCharacters("x\ny", true), "x\ny");
    EXPECT_EQ(standalone::EscapeControlCharacters("\xc2\x9b"
                                                  "31m"),
              "\\u009B31m");
    EXPECT_EQ(standalone::EscapeControlCharacters("caf\xc3\xa9 \xe2\x82\xac"),
              "caf\xc3\xa9 \xe2\x82\xac");
    EXPECT_EQ(standalone::EscapeControlCharacters("\x7f"), "\\x7F");
}

TEST_F(HostileCommandLine, WholeFileWritesNeverFollowALinkPlantedAtATemporaryName) {
    // Every name this process's next writes of out.png could use, planted as a link.
    for (int serial = 0; serial < 400; ++serial)
        Plant(dir_ / standalone::TemporaryFrameName("out.png", getpid(), serial));
    const std::string out = (dir_ / "out.png").string();
    for (int i = 0; i < 3; ++i)
        standalone::WriteWholeFile(
            out, [](const std::string& temp) { std::ofstream(temp, std::ios::binary) << "new"; });
    EXPECT_EQ(ReadAll(victim_), "precious");
    EXPECT_EQ(ReadAll(out), "new");
    EXPECT_TRUE(fs::is_symlink(dir_ / standalone::TemporaryFrameName("out.png", getpid(), 0)));
}

TEST_F(HostileCommandLine, ALinkAtTheTargetIsReplacedNotWrittenThrough) {
    Plant(dir_ / "out.txt");
    standalone::WriteTextWhole((dir_ / "out.txt").string(), "new");
    EXPECT_EQ(ReadAll(victim_), "precious");
    EXPECT_FALSE(fs::is_symlink(dir_ / "out.txt"));
    EXPECT_EQ(ReadAll(dir_ / "out.txt"), "new");
}

TEST_F(HostileCommandLine, SaveAndGeometryIgnoreLinksAtTheirOldTemporaryNames) {
    const std::string doc = Write("doc.json", kSmall);
    Plant(dir_ / "saved.json.saving");
    Plant(dir_ / "geo.json.tmp");
    const CliRun save = Tavrin("save " + doc + " -o " + (dir_ / "saved.json").string());
    EXPECT_EQ(save.code, 0) << save.out;
    const CliRun geometry = Tavrin("geometry " + doc + " -o " + (dir_ / "geo.json").string());
    EXPECT_EQ(geometry.code, 0) << geometry.out;
    EXPECT_EQ(ReadAll(victim_), "precious");
    EXPECT_NE(ReadAll(dir_ / "saved.json").find("\"tavrin\": 1"), std::string::npos);
    EXPECT_NE(ReadAll(dir_ / "geo.json").find("\"positions\""), std::string::npos);
    // Nothing but the planted links and the two results beside the victim.
    size_t entries = 0;
    for (const auto& e : fs::directory_iterator(dir_)) entries += !e.path().empty();
    EXPECT_EQ(entries, 6u);
}

TEST_F(HostileCommandLine, ASharedTemporaryFolderCannotRedirectTheSvgText) {
    const standalone::PrivateTemporaryFolder folder;
    const auto mode = fs::status(folder.path()).permissions();
    EXPECT_EQ(mode & (fs::perms::group_all | fs::perms::others_all), fs::perms::none);
    EXPECT_EQ(folder.path().rfind(fs::temp_directory_path().string(), 0), 0u);
}

TEST_F(HostileCommandLine, NamesWithControlCharactersReachMessagesEscaped) {
    const std::string doc = Write("names.json", kControlNames);
    const CliRun info = Tavrin("info " + doc);
    EXPECT_EQ(info.code, 0) << info.out;
    EXPECT_FALSE(HasRawControl(info.out)) << info.out;
    EXPECT_NE(info.out.find("C\\x1B]0;pwned\\x07"), std::string::npos) << info.out;
    EXPECT_NE(info.out.find("L\\x1B[2J\\u009B31m\\nforged line"), std::string::npos) << info.out;
    EXPECT_EQ(info.out.find("\nforged line"), std::string::npos);

    const CliRun json = Tavrin("info " + doc + " --json");
    EXPECT_EQ(json.code, 0) << json.out;
    EXPECT_FALSE(HasRawControl(json.out)) << json.out;
    EXPECT_NE(json.out.find("\\u009b31m"), std::string::npos) << json.out;

    // An error that quotes a name: the render of a layer that does not exist.
    const CliRun geometry = Tavrin("geometry " + doc + " --layer nothing");
    EXPECT_EQ(geometry.code, 2);
    EXPECT_FALSE(HasRawControl(geometry.out)) << geometry.out;
}

TEST_F(HostileCommandLine, ControlCharactersInCommandLinePathsAreRefusedBeforeAnyWrite) {
    const std::string doc = Write("doc.json", kSmall);
    // dash has no $'..': printf makes the newlines and the escape.
    const CliRun svg = Tavrin("export-svg " + doc + " -o \"$(printf '" + (dir_ / "a.svg").string() +
                              "\\n1\\n12')\"");
    EXPECT_EQ(svg.code, 2) << svg.out;
    EXPECT_NE(svg.out.find("--output"), std::string::npos) << svg.out;
    EXPECT_NE(svg.out.find("a newline"), std::string::npos) << svg.out;
    const CliRun render =
        Tavrin("render " + doc + " -o \"$(printf '" + (dir_ / "f").string() + "\\033_####.png')\"");
    EXPECT_EQ(render.code, 2) << render.out;
    EXPECT_NE(render.out.find("an escape"), std::string::npos) << render.out;
    size_t entries = 0;
    for (const auto& e : fs::directory_iterator(dir_)) entries += !e.path().empty();
    EXPECT_EQ(entries, 2u);  // the victim and the document
}

TEST_F(HostileCommandLine, ASequenceOfMillionsOfSvgFramesIsRefusedBeforeTheFirst) {
    const std::string doc = Write("long.json", R"({"tavrin": 1, "comps": [{"name": "C",
      "width": 32, "height": 16, "fps": 30, "duration": 36000, "layers": [{"name": "L",
      "solid": {}, "effects": [{"effect": "Tavrin"}, {"effect": "Tavrin Primitives Object"}]}]}]})");
    const CliRun r =
        Tavrin("export-svg " + doc + " --sequence --fps 1000 -o " + (dir_ / "a.svg").string());
    EXPECT_EQ(r.code, 2) << r.out;
    EXPECT_NE(r.out.find("36000000 frames; one SVG file holds at most 100000"), std::string::npos)
        << r.out;
    EXPECT_FALSE(fs::exists(dir_ / "a.svg"));
}

TEST_F(HostileCommandLine, ABrokenObjFileIsAWarningNamingTheLayerAndTheFile) {
    fs::copy_file(std::string(TAVRIN_TEST_DATA) + "/hostile/obj-face-out-of-range.obj",
                  dir_ / "broken.obj");
    const std::string doc = Write("obj.json", R"({"tavrin": 1, "comps": [{"name": "C",
      "width": 32, "height": 16, "layers": [{"name": "File", "obj": {"file": "broken.obj"},
      "enabled": false}, {"name": "Mesh", "solid": {}, "effects": [{"effect": "Tavrin"},
      {"effect": "Tavrin OBJ Object", "params": {"OBJ Layer": "File"}}]}]}]})");
    const CliRun r = Tavrin("render " + doc + " -o " + (dir_ / "f.png").string());
    EXPECT_EQ(r.code, 0) << r.out;
    EXPECT_NE(r.out.find("warning: the OBJ file did not read cleanly: layer \"Mesh\", \"Tavrin "
                         "OBJ Object\" reading " +
                         (dir_ / "broken.obj").string() + ":"),
              std::string::npos)
        << r.out;
    // A line read short is named by its number in the file.
    Write("broken.obj", "v 0 0 0\nv 1 1 1\nv 1 2\nv 2 2 2\n");
    const CliRun shortLine = Tavrin("render " + doc + " -o " + (dir_ / "h.png").string());
    EXPECT_EQ(shortLine.code, 0) << shortLine.out;
    EXPECT_NE(shortLine.out.find("reading " + (dir_ / "broken.obj").string() +
                                 ": Incomplete Parse at line 3"),
              std::string::npos)
        << shortLine.out;
    // A clean file says nothing, whatever else the effect writes on the console.
    fs::copy_file(std::string(TAVRIN_SOURCE_DIR) + "/examples/bipyramid.obj", dir_ / "broken.obj",
                  fs::copy_options::overwrite_existing);
    const CliRun clean = Tavrin("render " + doc + " -o " + (dir_ / "g.png").string());
    EXPECT_EQ(clean.code, 0) << clean.out;
    EXPECT_EQ(clean.out.find("did not read cleanly"), std::string::npos) << clean.out;
}

TEST_F(HostileCommandLine, FoldersPipesAndDevicesAreNamedAndNeverReadNorReplaced) {
    const CliRun folder = Tavrin("info " + dir_.string());
    EXPECT_EQ(folder.code, 2);
    EXPECT_NE(folder.out.find("cannot read the document: is a folder, not a file"),
              std::string::npos)
        << folder.out;
    const fs::path pipe = dir_ / "pipe.json";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    // A pipe with no writer: opening it must not wait, reading it must not start.
    const CliRun fifo = Tavrin("validate " + pipe.string());
    EXPECT_EQ(fifo.code, 2);
    EXPECT_NE(fifo.out.find("is a named pipe (FIFO), not a file"), std::string::npos) << fifo.out;
    // Written over, a pipe would have become a regular file (as root, a device too).
    const std::string doc = Write("doc.json", kSmall);
    const CliRun geometry = Tavrin("geometry " + doc + " -o " + pipe.string());
    EXPECT_EQ(geometry.code, 2);
    EXPECT_NE(geometry.out.find("it is a named pipe (FIFO), not a file"), std::string::npos)
        << geometry.out;
    EXPECT_TRUE(fs::is_fifo(pipe));
}

TEST_F(HostileCommandLine, UsageErrorsExitTwoWithOneLineNamingTheOption) {
    const CliRun unknown = Tavrin("render --no-such-option");
    EXPECT_EQ(unknown.code, 2) << unknown.out;
    EXPECT_NE(unknown.out.find("--no-such-option"), std::string::npos) << unknown.out;
    const CliRun badChoice = Tavrin("render --unified maybe");
    EXPECT_EQ(badChoice.code, 2) << badChoice.out;
    EXPECT_NE(badChoice.out.find("--unified"), std::string::npos) << badChoice.out;
    EXPECT_EQ(Tavrin("render --help").code, 0);
}

}  // namespace
}  // namespace tv
