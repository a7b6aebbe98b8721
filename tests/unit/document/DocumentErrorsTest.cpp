// Malformed documents: each error names the file, the exact JSON path and the exact message.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "standalone/Document.h"

namespace tv {
namespace {

using standalone::DocumentError;
using standalone::EmbeddedHost;

struct Case {
    const char* layers;  // the comp's layer list, without brackets
    const char* path;
    const char* message;
};

// Loads the layers into a 64x32 comp of 2 s and returns path and message of the error.
std::pair<std::string, std::string> Load(const std::string& layers, const std::string& file,
                                         const std::string& compExtra = "") {
    const std::string text = R"({"tavrin": 1, "comps": [{"name": "C", "width": 64, "height": 32,
        "duration": 2)" + compExtra +
                             R"(, "layers": [)" + layers + "]}]}";
    EmbeddedHost host;
    try {
        standalone::LoadDocumentText(text, file, host);
    } catch (const DocumentError& e) {
        EXPECT_EQ(e.file(), file);
        EXPECT_EQ(std::string(e.what()), file + ": " + e.jsonPath() + ": " + e.message());
        return {e.jsonPath(), e.message()};
    }
    return {"", "(loaded)"};
}

const Case kCases[] = {
    {R"({"name": "A", "null": {}}, {"name": "B", "null": {}, "parent": "X"})",
     "$.comps[0].layers[1].parent",
     "no layer named \"X\" in this comp; did you mean \"A\"? Valid: \"A\""},
    {R"({"name": "A", "null": {}, "parent": "A"})", "$.comps[0].layers[0].parent",
     "a layer cannot be its own parent"},
    {R"({"name": "A", "null": {}, "parent": "B"}, {"name": "B", "null": {}, "parent": "A"})",
     "$.comps[0].layers[0].parent", "parenting forms a cycle: \"A\" -> \"B\" -> \"A\""},
    {R"({"name": "A", "null": {}}, {"name": "A", "null": {}}, {"null": {}, "parent": "A"})",
     "$.comps[0].layers[2].parent", "several layers are named \"A\"; rename one"},
    {R"({"null": {}, "transform": {"xRotation": 5}})", "$.comps[0].layers[0].transform.xRotation",
     "\"xRotation\" needs a 3D layer: set \"threeD\": true on the layer"},
    {R"({"camera": {}, "transform": {"position": [1, 2, 3]}})",
     "$.comps[0].layers[0].transform.position",
     "cameras and lights take \"position\" in their own body; their transform takes "
     "\"orientation\", \"xRotation\", \"yRotation\" and \"zRotation\""},
    {R"({"null": {}, "transform": {"rotation": 1, "zRotation": 2}})",
     "$.comps[0].layers[0].transform.zRotation",
     "\"rotation\" and \"zRotation\" are the same value; give one"},
    {R"({"null": {}, "threeD": true, "transform": {"orientation": [1, 2]}})",
     "$.comps[0].layers[0].transform.orientation", "expected a list of 3 numbers, found [1, 2]"},
    {R"({"null": {}, "transform": {"opacity": 150}})", "$.comps[0].layers[0].transform.opacity",
     "value 150 is outside the valid range 0 to 100"},
    {R"({"null": {}, "transform": {"scael": [1, 1]}})", "$.comps[0].layers[0].transform.scael",
     "unknown key \"scael\"; did you mean \"scale\"? Valid: \"anchorPoint\", \"position\", "
     "\"scale\", \"rotation\", \"zRotation\", \"opacity\""},
    {R"({"null": {}, "transform": {"position": {"keys": [{"t": 1, "v": [0, 0]},
        {"t": 0.5, "v": [1, 1]}]}}})",
     "$.comps[0].layers[0].transform.position.keys[1].t",
     "keys must be in increasing time; the key before is at 1 s"},
    {R"({"camera": {"oneNode": true, "pointOfInterest": [0, 0, 0]}})",
     "$.comps[0].layers[0].camera.pointOfInterest",
     "a one-node camera has no point of interest; turn it with the transform's orientation and "
     "rotations"},
    {R"({"camera": {}, "threeD": false})", "$.comps[0].layers[0].threeD",
     "cameras and lights are always 3D"},
    {R"({"camera": {"filmSize": 0}})", "$.comps[0].layers[0].camera.filmSize",
     "value 0 is outside the valid range 0.1 to 10000"},
    {R"({"light": {"type": "point", "coneAngle": 30}})", "$.comps[0].layers[0].light.coneAngle",
     "only spot lights have a cone"},
    {R"({"light": {"type": "ambient", "pointOfInterest": [0, 0, 0]}})",
     "$.comps[0].layers[0].light.pointOfInterest",
     "only spot and parallel lights aim at a point of interest"},
    {R"({"light": {"type": "spot", "coneAngle": 200}})", "$.comps[0].layers[0].light.coneAngle",
     "value 200 is outside the valid range 0 to 180"},
    {R"({"obj": {}})", "$.comps[0].layers[0].obj",
     "an OBJ layer needs one of \"file\" (one mesh), \"files\" (a list of meshes, one per frame) "
     "or \"sequence\" (numbered meshes, one per frame)"},
    {R"({"obj": {"files": []}})", "$.comps[0].layers[0].obj.files",
     "expected a list of one or more OBJ files"},
    {R"({"obj": {"sequence": "mesh.obj", "first": 1, "last": 2}})",
     "$.comps[0].layers[0].obj.sequence",
     "a sequence pattern marks the frame number with #, e.g. \"mesh_###.obj\""},
    {R"({"obj": {"sequence": "mesh_##.obj"}})", "$.comps[0].layers[0].obj",
     "a sequence needs \"first\" and \"last\": the numbers of its first and last files"},
    {R"({"obj": {"sequence": "mesh_##.obj", "first": 3, "last": 2}})",
     "$.comps[0].layers[0].obj.last", "value 2 is outside the valid range 3 to 100000000"},
    {R"({"audio": {}})", "$.comps[0].layers[0].audio",
     "missing \"file\": the audio file to play (WAV, FLAC, OGG, ...)"},
    {R"({"text": {"text": "Hi", "size": 0}})", "$.comps[0].layers[0].text.size",
     "value 0 is outside the valid range 1 to 3000"},
    {R"({"text": {"text": "Hi", "family": "Sans", "font": "f.ttf"}})",
     "$.comps[0].layers[0].text.family", "give a font \"file\" or a \"family\", not both"},
    {R"({"text": {"text": ""}})", "$.comps[0].layers[0].text.text",
     "an empty text; a text layer needs at least one character to show"},
    {R"({"solid": {}, "masks": [{"name": "M"}]})", "$.comps[0].layers[0].masks[0]",
     "missing \"path\": the mask's vertices"},
    {R"({"solid": {}, "masks": [{"path": [[3, 3]]}]})", "$.comps[0].layers[0].masks[0].path",
     "a mask needs at least 2 vertices, found 1: one vertex outlines nothing"},
    {R"({"solid": {}, "masks": [{"path": [[0, 0], [1]]}]})",
     "$.comps[0].layers[0].masks[0].path[1]", "expected [x, y] in layer pixels, found [1]"},
    {R"({"solid": {}, "masks": [{"path": [{"point": [0, 0], "tangent": [1, 1]}]}]})",
     "$.comps[0].layers[0].masks[0].path[0].tangent",
     "unknown key \"tangent\"; did you mean \"point\"? Valid: \"point\", \"in\", \"out\""},
    {R"({"solid": {}, "masks": [{"path": {"keys": [{"t": 0, "v": [[0, 0], [1, 1]]},
        {"t": 1, "v": [[0, 0]]}]}}]})",
     "$.comps[0].layers[0].masks[0].path.keys[1].v",
     "every key of a mask path needs the same number of vertices (2)"},
    {R"({"solid": {}, "masks": [{"path": {"keys": [{"t": 0, "v": [[0, 0]], "interp": "bezier"}]}}]})",
     "$.comps[0].layers[0].masks[0].path.keys[0].interp",
     "mask paths change \"linear\" or \"hold\""},
    {R"({"solid": {}, "masks": {}})", "$.comps[0].layers[0].masks", "expected a list of masks"},
    {R"({"solid": {}, "effects": [{"effect": "Tavrin", "sequence": "not base64!"}]})",
     "$.comps[0].layers[0].effects[0].sequence",
     "expected the instance's record as base64 text, as tavrin save writes it"},
    {R"({"solid": {}, "effects": [{"effect": "Tavrin", "params": {"Depth of Field": 2}}]})",
     "$.comps[0].layers[0].effects[0].params.Depth of Field",
     "\"Depth of Field\" names the group; the parameter in it is \"Depth of Field#2\" (or "
     "\"#11\")"},
    {R"({"solid": {}, "effects": [{"effect": "Tavrin", "params": {"Shading Radius": 2000000}}]})",
     "$.comps[0].layers[0].effects[0].params.Shading Radius",
     "value 2000000 is outside the valid range 0 to 1000000"},
    {R"({"solid": {}, "effects": [{"effect": "Tavrin", "params": {"#40": 1}}]})",
     "$.comps[0].layers[0].effects[0].params.#40",
     "\"Tavrin\" has no parameter \"#40\"; its parameters are #1 to #33"},
    {R"({"solid": {}, "effects": [{"effect": "Tavrin", "params": {"Shading Radius":
        {"keys": [{"t": 0}]}}}]})",
     "$.comps[0].layers[0].effects[0].params.Shading Radius.keys[0]",
     "a key needs \"t\" (seconds) and \"v\" (its value)"},
    {R"({"solid": {}, "effects": [{"effect": "Tavrin", "params": {"Shading Radius":
        {"keys": [{"t": 0, "v": 1, "interp": "ease"}]}}}]})",
     "$.comps[0].layers[0].effects[0].params.Shading Radius.keys[0].interp",
     "\"ease\" is not an interpolation; did you mean \"hold\"? Valid: \"linear\", \"hold\", "
     "\"bezier\""},
    {R"({"solid": {}, "effects": [{"effect": "Tavrin", "params": {"Shading Radius":
        {"keys": [{"t": 0, "v": 1, "influenceOut": 0}]}}}]})",
     "$.comps[0].layers[0].effects[0].params.Shading Radius.keys[0].influenceOut",
     "value 0 is outside the valid range 0.1 to 100"},
};

TEST(DocumentErrors, EachNamesTheExactPathAndMessage) {
    ASSERT_GE(std::size(kCases), 20u);
    for (const Case& c : kCases) {
        const auto [path, message] = Load(c.layers, "doc.json");
        EXPECT_EQ(path, c.path) << c.layers;
        EXPECT_EQ(message, c.message) << c.layers;
    }
}

TEST(DocumentErrors, WorkArea) {
    EXPECT_EQ(Load("", "doc.json", R"(, "workArea": [1, 0.5])"),
              std::make_pair(std::string("$.comps[0].workArea[1]"),
                             std::string("the work area must end after it starts")));
    EXPECT_EQ(Load("", "doc.json", R"(, "workArea": [0, 3])"),
              std::make_pair(std::string("$.comps[0].workArea[1]"),
                             std::string("value 3 is outside the valid range 0 to 2")));
    EXPECT_EQ(Load("", "doc.json", R"(, "workArea": 1)"),
              std::make_pair(std::string("$.comps[0].workArea"),
                             std::string("expected [start, end] in seconds, found 1")));
}

// Files the documents name, made in a fresh folder.
struct FilesFixture : ::testing::Test {
    std::filesystem::path dir;
    void SetUp() override {
        dir = std::filesystem::temp_directory_path() /
              ("tavrin-doc-errors-" +
               std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "-" +
               ::testing::UnitTest::GetInstance()->current_test_info()->name());
        std::filesystem::create_directories(dir);
    }
    void TearDown() override { std::filesystem::remove_all(dir); }
    void write(const std::string& name, const std::string& bytes) {
        std::ofstream(dir / name, std::ios::binary) << bytes;
    }
    std::string doc() const { return (dir / "doc.json").string(); }
    std::string abs(const std::string& name) const {
        return std::filesystem::absolute(dir / name).lexically_normal().string();
    }
};

TEST_F(FilesFixture, MissingFilesAreNamed) {
    write("mesh_01.obj", "v 0 0 0\n");
    write("mesh_02.obj", "v 0 0 0\n");
    EXPECT_EQ(Load(R"({"obj": {"sequence": "mesh_##.obj", "first": 1, "last": 3}})", doc()),
              std::make_pair(std::string("$.comps[0].layers[0].obj.sequence"),
                             "no such file in the sequence: " + (dir / "mesh_03.obj").string()));
    EXPECT_EQ(Load(R"({"obj": {"file": "none.obj"}})", doc()),
              std::make_pair(std::string("$.comps[0].layers[0].obj.file"),
                             "no such file: " + (dir / "none.obj").string()));
    EXPECT_EQ(Load(R"({"text": {"text": "a", "font": "none.ttf"}})", doc()),
              std::make_pair(std::string("$.comps[0].layers[0].text.font"),
                             "no such file: " + (dir / "none.ttf").string()));
    EXPECT_EQ(Load(R"({"obj": {"sequence": "mesh_##.obj", "first": 1, "last": 2}})", doc()),
              std::make_pair(std::string(""), std::string("(loaded)")));
}

TEST_F(FilesFixture, AudioMustBeReadable) {
    write("noise.wav", "this is not audio");
    EXPECT_EQ(
        Load(R"({"audio": {"file": "noise.wav"}})", doc()),
        std::make_pair(std::string("$.comps[0].layers[0].audio.file"),
                       "cannot read audio from " + abs("noise.wav") + ": Format not recognised."));
    // A real WAV: a header and four samples of silence.
    write("tone.wav", std::string("RIFF\x2c\0\0\0WAVEfmt "
                                  "\x10\0\0\0\x01\0\x01\0\x80\x3e\0\0\0\x7d\0\0\x02\0\x10\0data\x08"
                                  "\0\0\0\0\0\0\0\0\0\0\0",
                                  52));
    EXPECT_EQ(
        Load(R"({"name": "A", "audio": {"file": "tone.wav"}}, {"null": {}, "parent": "A"})", doc()),
        std::make_pair(std::string("$.comps[0].layers[1].parent"),
                       std::string("an audio layer cannot be a parent")));
    EXPECT_EQ(Load(R"({"audio": {"file": "tone.wav"}, "threeD": true})", doc()),
              std::make_pair(std::string("$.comps[0].layers[0].threeD"),
                             std::string("audio layers have no picture to place in 3D")));
}

TEST_F(FilesFixture, ObjSequenceResolvesEveryFrameInOrder) {
    for (const char* name : {"m008.obj", "m009.obj", "m010.obj", "m011.obj"})
        write(name, "v 0 0 0\n");
    EmbeddedHost host;
    std::ofstream(doc()) << R"({"tavrin": 1, "comps": [{"layers": [
        {"obj": {"sequence": "m###.obj", "first": 8, "last": 11}}]}]})";
    standalone::LoadDocumentFile(doc(), host);
    const auto& layer = *host.project().comps[0]->layers[0];
    ASSERT_EQ(layer.objFiles.size(), 4u);
    EXPECT_EQ(layer.objFiles[0], abs("m008.obj"));
    EXPECT_EQ(layer.objFiles[2], abs("m010.obj"));
    EXPECT_EQ(layer.objFiles[3], abs("m011.obj"));
}

}  // namespace
}  // namespace tv
