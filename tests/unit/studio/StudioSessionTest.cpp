// The studio's session: edits applied to the document's JSON and loaded again, keys set and
// removed at a time, undo and redo (a drag one step), refusals that change nothing, a popup's
// visibility rule as the host applies it, saving as `tavrin save` writes, curves and gradients
// edited as points and stops, the solo switch, name filters answered through their dialog, a
// layer's geometry for the 3D view, and frames where the latest change wins.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "host/Gather.h"
#include "host/ObjectMessage.h"
#include "standalone/Document.h"
#include "standalone/DocumentWriter.h"
#include "studio/Server.h"
#include "studio/Session.h"
#include "studio/StudioError.h"

namespace tv::studio {
namespace {

namespace fs = std::filesystem;

const EffectTables& Tables() {
    static const EffectTables tables;
    return tables;
}

struct Copy {
    fs::path folder = fs::temp_directory_path() / ("tavrin-session-" + RandomToken());
    fs::path doc = folder / "network.json";
    Copy() {
        fs::create_directories(folder);
        fs::copy_file(fs::path(TAVRIN_TEST_DATA) / ".." / "examples" / "network.json", doc);
    }
    ~Copy() { fs::remove_all(folder); }
};

std::string ReadFile(const fs::path& p) {
    std::ifstream in(p);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

// The "params" of effect `e` of the first layer, as the session holds them.
Json Params(const Session& s, size_t e) {
    return Json::parse(s.text())["comps"][0]["layers"][0]["effects"][e].value("params",
                                                                              Json::object());
}

// The state's entry for parameter `index` of effect `e` of the first layer.
// An edit the document does not take: refused with 422 at `path`, the text unchanged.
void ExpectRefusedAt(Session& s, const Json& op, const std::string& path) {
    const std::string text = s.text();
    try {
        s.edit(op);
        ADD_FAILURE() << "the edit loaded: " << op.dump();
    } catch (const StudioError& e) {
        EXPECT_EQ(e.status(), 422);
        EXPECT_EQ(e.jsonPath(), path);
    }
    EXPECT_EQ(s.text(), text);
}

Json ParamState(const Session& s, size_t e, int index, double seconds = 0) {
    const Json state = s.state(seconds);
    for (const Json& p : state["comps"][0]["layers"][0]["effects"][e]["params"])
        if (p["index"] == index) return p;
    return Json();
}

Json SetDistance(double v) {
    return {{"op", "setParam"}, {"comp", 0},  {"layer", 0},
            {"effect", 3},      {"param", 2}, {"value", v}};
}

TEST(StudioSession, EachValueRowCarriesItsLineForTheControlsTooltip) {
    size_t rows = 0;
    for (const Json& effect : Tables().json())
        for (const Json& row : effect["params"]) {
            if (row["kind"] == "group" || row["kind"] == "end") continue;
            EXPECT_FALSE(row.value("description", "").empty())
                << effect["name"] << " / " << row["name"];
            ++rows;
        }
    EXPECT_GT(rows, 360u);
}

TEST(StudioSession, AnEditIsWrittenIntoTheDocumentUnderTheKeyItAlreadyUses) {
    Copy copy;
    Session s({copy.doc.string(), {}}, Tables());
    const uint64_t v = s.version();
    EXPECT_GT(s.edit(SetDistance(120)), v);
    EXPECT_EQ(Params(s, 3)["Maximum Distance"], 120);
    EXPECT_EQ(ParamState(s, 3, 2)["value"], 120.0);
    // "#2" addresses the same parameter: it is the key the edit keeps.
    Json doc = Json::parse(s.text());
    doc["comps"][0]["layers"][0]["effects"][3]["params"].erase("Maximum Distance");
    doc["comps"][0]["layers"][0]["effects"][3]["params"]["#2"] = 80;
    s.replaceText(doc.dump());
    s.edit(SetDistance(90));
    EXPECT_EQ(Params(s, 3)["#2"], 90);
    EXPECT_FALSE(Params(s, 3).contains("Maximum Distance"));
}

TEST(StudioSession, ARefusedEditChangesNothing) {
    Copy copy;
    Session s({copy.doc.string(), {}}, Tables());
    const std::string text = s.text();
    const uint64_t v = s.version();
    ExpectRefusedAt(s, SetDistance(-5), "$.comps[0].layers[0].effects[3].params.Maximum Distance");
    EXPECT_THROW(s.edit({{"op", "setParam"},
                         {"comp", 0},
                         {"layer", 4},
                         {"effect", 0},
                         {"param", 1},
                         {"value", 1}}),
                 StudioError);
    EXPECT_EQ(s.text(), text);
    EXPECT_EQ(s.version(), v);
}

TEST(StudioSession, KeysAreSetAndRemovedAtTheCurrentTime) {
    Copy copy;
    Session s({copy.doc.string(), {}}, Tables());
    const Json at{{"comp", 0}, {"layer", 0}, {"effect", 1}, {"param", 21}};  // "Y Rotate"
    ASSERT_EQ(Tables().find("Tavrin Primitives Object")->params[21].name, std::string("Y Rotate"));
    Json op = at;
    op["op"] = "setKey";
    op["time"] = 0;
    op["value"] = 25;
    s.edit(op);
    // Keyed: a change at another time is a second key there.
    op = at;
    op["op"] = "setParam";
    op["time"] = 1;
    op["value"] = 115;
    s.edit(op);
    EXPECT_EQ(Params(s, 1)["Y Rotate"]["keys"].size(), 2u);
    EXPECT_EQ(ParamState(s, 1, 21, 0.5)["value"], 70.0);
    EXPECT_EQ(ParamState(s, 1, 21)["keys"], Json::array({0.0, 1.0}));
    op = at;
    op["op"] = "removeKey";
    op["time"] = 0;
    s.edit(op);
    op["time"] = 1;
    s.edit(op);
    // The last key gone, its value stays.
    EXPECT_EQ(Params(s, 1)["Y Rotate"], 115);
    EXPECT_THROW(s.edit(op), StudioError);
}

TEST(StudioSession, UndoAndRedoWalkTheDocumentsStatesAndADragIsOneStep) {
    Copy copy;
    Session s({copy.doc.string(), {}}, Tables());
    const std::string start = s.text();
    for (double v : {60.0, 50.0, 40.0}) {
        Json op = SetDistance(v);
        op["gesture"] = "drag-1";
        s.edit(op);
    }
    s.edit(SetDistance(30));
    s.undo();
    EXPECT_EQ(Params(s, 3)["Maximum Distance"], 40);
    s.undo();
    EXPECT_EQ(s.text(), start);
    EXPECT_THROW(s.undo(), StudioError);
    s.redo();
    EXPECT_EQ(Params(s, 3)["Maximum Distance"], 40);
    EXPECT_TRUE(s.state(0)["canRedo"].get<bool>());
}

TEST(StudioSession, APopupHidesWhatItsRuleHides) {
    Copy copy;
    Session s({copy.doc.string(), {}}, Tables());
    // The rule hides the group of the primitive not chosen.
    EXPECT_FALSE(ParamState(s, 1, 10)["hidden"].get<bool>());  // the "Sphere" group
    EXPECT_TRUE(ParamState(s, 1, 2)["hidden"].get<bool>());    // the "Cube" group
    s.edit({{"op", "setParam"},
            {"comp", 0},
            {"layer", 0},
            {"effect", 1},
            {"param", 1},
            {"value", "Cube"},
            {"time", 0}});
    EXPECT_TRUE(ParamState(s, 1, 10)["hidden"].get<bool>());
    EXPECT_FALSE(ParamState(s, 1, 2)["hidden"].get<bool>());
    // As a host that loads the same document says.
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(s.text(), copy.doc.string(), host);
    const auto& instance = *host.project().comps[0]->layers[0]->effects[1];
    for (size_t i = 1; i < instance.params.size(); ++i) {
        const Json p = ParamState(s, 1, int(i));
        if (!p.is_null()) {
            EXPECT_EQ(p["hidden"].get<bool>(), instance.params[i].hidden) << i;
        }
    }
}

TEST(StudioSession, SavingWritesWhatTavrinSaveWrites) {
    Copy copy;
    Session s({copy.doc.string(), {}}, Tables());
    s.edit(SetDistance(45));
    EXPECT_FALSE(s.state(0)["saved"].get<bool>());
    const Json answer = s.save("");
    EXPECT_EQ(answer["path"], copy.doc.string());
    EXPECT_TRUE(s.state(0)["saved"].get<bool>());
    const std::string written = ReadFile(copy.doc);
    standalone::EmbeddedHost host;
    standalone::LoadDocumentFile(copy.doc.string(), host);
    EXPECT_EQ(written, standalone::SaveDocumentText(host, copy.doc.string()));
    EXPECT_EQ(
        Json::parse(written)["comps"][0]["layers"][0]["effects"][3]["params"]["Maximum Distance"],
        45);
}

Json SetOpacityCurve(const Json& value) {
    return {{"op", "setParam"}, {"comp", 0},  {"layer", 0},
            {"effect", 3},      {"param", 7}, {"value", value}};
}

// The document saved from the session, checked to be what `tavrin save` writes for it.
Json SavedAsTavrinSaves(Session& s, const fs::path& doc) {
    s.save("");
    const std::string written = ReadFile(doc);
    standalone::EmbeddedHost host;
    standalone::LoadDocumentFile(doc.string(), host);
    EXPECT_EQ(written, standalone::SaveDocumentText(host, doc.string()));
    return Json::parse(written);
}

TEST(StudioSession, ACurvesPointsBecomeItsSamplesAndAreSavedAsTavrinSaves) {
    Copy copy;
    Session s({copy.doc.string(), {}}, Tables());
    s.edit(SetOpacityCurve(Json::parse("[[0, 0.2], [0.4, 1], [1, 0]]")));
    // The session keeps the points the page sent; the state shows the 200 samples they make.
    EXPECT_EQ(Params(s, 3)["Opacity over Distance"], Json::parse("[[0, 0.2], [0.4, 1], [1, 0]]"));
    const Json samples = ParamState(s, 3, 7)["value"]["samples"];
    ASSERT_EQ(samples.size(), 200u);
    EXPECT_NEAR(samples[0].get<double>(), 10, 1e-4);    // 0.2 of 50
    EXPECT_NEAR(samples[40].get<double>(), 30, 1e-4);   // half way up to the bend
    EXPECT_NEAR(samples[80].get<double>(), 50, 1e-4);   // the bend at 0.4
    EXPECT_NEAR(samples[140].get<double>(), 25, 1e-4);  // half way down
    const Json saved = SavedAsTavrinSaves(s, copy.doc);
    EXPECT_EQ(
        saved["comps"][0]["layers"][0]["effects"][3]["params"]["Opacity over Distance"]["samples"],
        samples);
    // A named curve is written by its name.
    s.edit(SetOpacityCurve("flat"));
    EXPECT_EQ(ParamState(s, 3, 7)["value"], "flat");
    EXPECT_EQ(
        SavedAsTavrinSaves(
            s, copy.doc)["comps"][0]["layers"][0]["effects"][3]["params"]["Opacity over Distance"],
        "flat");
}

TEST(StudioSession, CurvePointsOutOfOrderAreRefusedWithTheirPath) {
    Copy copy;
    Session s({copy.doc.string(), {}}, Tables());
    ExpectRefusedAt(s, SetOpacityCurve(Json::parse("[[0, 1], [0.6, 0.5], [0.5, 0]]")),
                    "$.comps[0].layers[0].effects[3].params.Opacity over Distance[2][0]");
}

TEST(StudioSession, AGradientsStopsAreSavedAsTavrinSavesAndLoadAgain) {
    Copy copy;
    Session s({copy.doc.string(), {}}, Tables());
    s.edit({{"op", "addEffect"}, {"comp", 0}, {"layer", 0}, {"name", "Tavrin Sound Effector"}});
    const Json stops = Json::parse(R"([{"position": 0, "color": "#000000", "alpha": 1},
        {"position": 0.25, "color": [1, 0.5, 0], "alpha": 0.5},
        {"position": 1, "color": "#ffffff", "alpha": 1}])");
    Json op = {{"op", "setParam"}, {"comp", 0},   {"layer", 0},
               {"effect", 4},      {"param", 20}, {"value", stops}};
    s.edit(op);
    const Json shown = ParamState(s, 4, 20)["value"];
    ASSERT_EQ(shown.size(), 3u);
    EXPECT_DOUBLE_EQ(shown[1]["position"].get<double>(), 0.25);
    EXPECT_EQ(shown[1]["color"], Json::parse("[1, 0.5, 0]"));
    EXPECT_DOUBLE_EQ(shown[1]["alpha"].get<double>(), 0.5);
    const Json saved = SavedAsTavrinSaves(s, copy.doc);
    EXPECT_EQ(saved["comps"][0]["layers"][0]["effects"][4]["params"]["Color Gradient"], shown);
    // Stops out of order do not load, and change nothing.
    op["value"] = Json::parse(R"([{"position": 0.5, "color": "#000000"},
                                  {"position": 0.2, "color": "#ffffff"}])");
    ExpectRefusedAt(s, op, "$.comps[0].layers[0].effects[4].params.Color Gradient[1].position");
}

TEST(StudioSession, TheSoloSwitchIsALayerKeyShownInTheState) {
    Copy copy;
    Session s({copy.doc.string(), {}}, Tables());
    s.edit({{"op", "addLayer"}, {"comp", 0}, {"kind", "solid"}, {"name", "Cover"}, {"at", 0}});
    EXPECT_FALSE(s.state(0)["comps"][0]["layers"][1]["solo"].get<bool>());
    s.edit({{"op", "setLayer"}, {"comp", 0}, {"layer", 1}, {"set", {{"solo", true}}}});
    EXPECT_TRUE(s.state(0)["comps"][0]["layers"][1]["solo"].get<bool>());
    EXPECT_EQ(Json::parse(s.text())["comps"][0]["layers"][1]["solo"], true);
    const Json saved = SavedAsTavrinSaves(s, copy.doc);
    EXPECT_EQ(saved["comps"][0]["layers"][1]["solo"], true);
    EXPECT_FALSE(saved["comps"][0]["layers"][0].contains("solo"));
    // Off is no key at all, as `tavrin save` writes it.
    s.edit({{"op", "setLayer"}, {"comp", 0}, {"layer", 1}, {"set", {{"solo", nullptr}}}});
    EXPECT_FALSE(Json::parse(s.text())["comps"][0]["layers"][1].contains("solo"));
    EXPECT_THROW(
        s.edit({{"op", "setLayer"}, {"comp", 0}, {"layer", 1}, {"set", {{"solo", "yes"}}}}),
        StudioError);
}

TEST(StudioSession, GeometryIsWhatTheLayerGathersWithTheCompCamera) {
    Copy copy;
    Session s({copy.doc.string(), {}}, Tables());
    const Json g = s.geometry(0, 0, 0);
    standalone::EmbeddedHost host;
    standalone::LoadDocumentFile(copy.doc.string(), host);
    const standalone::Comp& comp = *host.project().comps[0];
    ScopedObjectMessage message;
    Gather(host, comp.layers[0]->uid, comp.frameTime(0), *message);
    const GeometryStore& store = *message->geometry;
    ASSERT_GT(store.positions.size(), 100u);
    ASSERT_EQ(g["positions"].size(), store.positions.size() * 3);
    ASSERT_EQ(g["colors"].size(), store.colors.size() * 4);
    for (size_t i = 0; i < store.positions.size(); ++i) {
        EXPECT_EQ(g["positions"][3 * i].get<float>(), store.positions[i].x);
        EXPECT_EQ(g["positions"][3 * i + 1].get<float>(), store.positions[i].y);
        EXPECT_EQ(g["positions"][3 * i + 2].get<float>(), store.positions[i].z);
        EXPECT_EQ(g["colors"][4 * i + 3].get<float>(), store.colors[i].a);
    }
    // The sphere's faces, as indices into the whole vertex list.
    ASSERT_EQ(g["faces"].size(), store.faces.size() * 3);
    EXPECT_GT(store.faces.size(), 100u);
    for (const Json& i : g["faces"]) EXPECT_LT(i.get<size_t>(), store.positions.size());
    // No camera layer: the default view, centred on the comp, 50 mm on 36 mm film.
    const Json& camera = g["camera"];
    EXPECT_EQ(camera["matrix"][12], 640);
    EXPECT_EQ(camera["matrix"][13], 360);
    EXPECT_DOUBLE_EQ(camera["zoom"].get<double>(), 1280 * 50.0 / 36.0);
    EXPECT_DOUBLE_EQ(camera["matrix"][14].get<double>(), -1280 * 50.0 / 36.0);
    EXPECT_EQ(camera["width"], 1280);
    EXPECT_THROW(s.geometry(0, 9, 0), StudioError);
    EXPECT_THROW(s.geometry(0, 0, 100000), StudioError);
}

Json AnswerLightNames(const Json& answer, int param = 4) {
    return {{"op", "answerTextDialog"}, {"comp", 0},       {"layer", 0}, {"effect", 0},
            {"param", param},           {"answer", answer}};
}

TEST(StudioSession, ANameFiltersDialogAnswerIsTheEffectsClickInTheDocument) {
    Copy copy;
    Session s({copy.doc.string(), {}}, Tables());
    s.edit(AnswerLightNames("Key"));
    EXPECT_EQ(ParamState(s, 0, 4)["value"], "Key");
    EXPECT_EQ(Json::parse(s.text())["comps"][0]["layers"][0]["effects"][0]["dialogs"],
              Json::parse(R"([{"click": "Light(s) Name Begins with", "answer": "Key"}])"));
    // An emptied box is a Cancel, as in a host: the text stays.
    s.edit(AnswerLightNames(""));
    EXPECT_EQ(ParamState(s, 0, 4)["value"], "Key");
    // Saved as `tavrin save` writes it: the text, no clicks.
    const Json effect = SavedAsTavrinSaves(s, copy.doc)["comps"][0]["layers"][0]["effects"][0];
    EXPECT_EQ(effect["params"]["Light(s) Name Begins with"], "Key");
    EXPECT_FALSE(effect.contains("dialogs"));
    // A stored text with a quote breaks the dialog's script: the next answer changes nothing.
    s.edit(AnswerLightNames("Bob's"));
    s.edit(AnswerLightNames("Alpha"));
    EXPECT_EQ(ParamState(s, 0, 4)["value"], "Bob's");
    EXPECT_THROW(s.edit(AnswerLightNames("x", 2)), StudioError);  // not a name filter
    EXPECT_THROW(s.edit(AnswerLightNames(3)), StudioError);
}

TEST(StudioSession, AFrameOfAnOldVersionIsNotDrawn) {
    Copy copy;
    Session s({copy.doc.string(), {}}, Tables());
    const uint64_t old = s.version();
    const Session::Frame first = s.frame(old, 0, 0, 4);
    EXPECT_FALSE(first.stale);
    EXPECT_EQ(first.png.substr(1, 3), "PNG");
    s.edit(SetDistance(20));
    const Session::Frame stale = s.frame(old, 0, 0, 4);
    EXPECT_TRUE(stale.stale);
    EXPECT_TRUE(stale.png.empty());
    EXPECT_EQ(stale.version, s.version());
    EXPECT_FALSE(s.frame(s.version(), 0, 0, 4).stale);
    EXPECT_THROW(s.frame(s.version(), 0, 60, 4), StudioError);
    EXPECT_THROW(s.frame(s.version(), 0, 0, 5), StudioError);
}

TEST(StudioSession, WithoutADocumentItStartsFromAnEmptyComp) {
    Session s({"", {}}, Tables());
    const Json state = s.state(0);
    EXPECT_TRUE(state["document"].is_null());
    ASSERT_EQ(state["comps"].size(), 1u);
    EXPECT_TRUE(state["comps"][0]["layers"].empty());
    s.edit({{"op", "addLayer"}, {"comp", 0}, {"kind", "solid"}, {"name", "Network"}});
    s.edit({{"op", "addEffect"}, {"comp", 0}, {"layer", 0}, {"name", "Tavrin"}});
    EXPECT_EQ(s.state(0)["comps"][0]["layers"][0]["effects"][0]["name"], "Tavrin");
    EXPECT_THROW(s.save(""), StudioError);  // no file yet: Save As
}

TEST(StudioSession, AToolkitMenuAddsItsEffectToTheDocumentAndReadsNoneAgain) {
    Copy copy;
    Session s({copy.doc.string(), {}}, Tables());
    s.edit({{"op", "addEffect"}, {"comp", 0}, {"layer", 0}, {"name", "Tavrin Toolkit"}});
    s.edit({{"op", "setParam"},
            {"comp", 0},
            {"layer", 0},
            {"effect", 4},
            {"param", 2},
            {"value", "Noise"},
            {"time", 0}});
    const Json effects = Json::parse(s.text())["comps"][0]["layers"][0]["effects"];
    std::vector<std::string> names;
    for (const Json& e : effects) names.push_back(e["effect"].get<std::string>());
    EXPECT_EQ(std::count(names.begin(), names.end(), "Tavrin Noise Effector"), 1);
    // The menu is back at "None", so loading the document again adds nothing more.
    const Json toolkit =
        effects[std::find(names.begin(), names.end(), "Tavrin Toolkit") - names.begin()];
    EXPECT_FALSE(toolkit.contains("params")) << toolkit.dump();
    EXPECT_EQ(s.state(0)["comps"][0]["layers"][0]["effects"].size(), effects.size());
}

TEST(StudioSession, ExportSvgWritesTheFileItsDialogIsGiven) {
    Copy copy;
    Session s({copy.doc.string(), {}}, Tables());
    const Json answer = s.exportSvg(0, "", 0, false, "frame.svg");
    EXPECT_EQ(answer["layer"], "Network");
    const std::string svg = ReadFile(copy.folder / "frame.svg");
    EXPECT_NE(svg.find("<svg"), std::string::npos);
    EXPECT_NE(svg.find("<line"), std::string::npos);
    EXPECT_THROW(s.exportSvg(0, "", 0, false, "../frame.svg"), StudioError);
    EXPECT_THROW(s.exportSvg(0, "", 0, false, "frame.png"), StudioError);
    EXPECT_THROW(s.exportSvg(0, "No Such Layer", 0, false, "other.svg"), StudioError);
    EXPECT_FALSE(fs::exists(copy.folder / "other.svg"));
}

}  // namespace
}  // namespace tv::studio

namespace tv::studio {
namespace {

const Json* TableOf(const std::string& name) {
    for (const Json& t : Tables().json())
        if (t["name"] == name) return &t;
    return nullptr;
}

TEST(StudioSession, TheObjSourcesImportObjButtonKeepsItsAnswerInTheDocument) {
    ASSERT_NE(TableOf("Tavrin OBJ Object"), nullptr);
    EXPECT_EQ((*TableOf("Tavrin OBJ Object"))["optionsButton"], "Import OBJ");
    EXPECT_EQ((*TableOf("Tavrin OBJ Object"))["importsObj"], true);
    EXPECT_EQ((*TableOf("Tavrin Container"))["optionsButton"], "Import OBJ");
    EXPECT_EQ((*TableOf("Tavrin Container"))["importsObj"], false);  // a label, no dialog
    EXPECT_TRUE((*TableOf("Tavrin Points Renderer"))["optionsButton"].is_null());

    Copy copy;
    fs::copy_file(fs::path(TAVRIN_TEST_DATA) / ".." / "examples" / "bipyramid.obj",
                  copy.folder / "bipyramid.obj");
    Session s({copy.doc.string(), {}}, Tables());
    const size_t effects = Json::parse(s.text())["comps"][0]["layers"][0]["effects"].size();
    s.edit({{"op", "addEffect"}, {"comp", 0}, {"layer", 0}, {"name", "Tavrin OBJ Object"}});
    const Json at = {{"op", "importObj"}, {"comp", 0}, {"layer", 0}, {"effect", effects}};
    Json op = at;
    op["file"] = (copy.folder / "bipyramid.obj").string();
    op["sequence"] = true;
    s.edit(op);
    op["sequence"] = false;  // a second import replaces the first
    s.edit(op);
    const Json effect = Json::parse(s.text())["comps"][0]["layers"][0]["effects"][effects];
    ASSERT_EQ(effect["dialogs"].size(), 1u);
    EXPECT_EQ(effect["dialogs"][0]["click"], "Import OBJ");
    EXPECT_EQ(effect["dialogs"][0]["answer"],
              (Json{{"file", (copy.folder / "bipyramid.obj").string()}}));

    // A missing file is refused by the document's own check and changes nothing.
    const std::string before = s.text();
    Json missing = at;
    missing["file"] = (copy.folder / "none.obj").string();
    EXPECT_THROW(s.edit(missing), StudioError);
    EXPECT_EQ(s.text(), before);
    // Effects without the dialog refuse it.
    s.edit({{"op", "addEffect"}, {"comp", 0}, {"layer", 0}, {"name", "Tavrin Container"}});
    Json container = op;
    container["effect"] = effects + 1;
    EXPECT_THROW(s.edit(container), StudioError);
    Json main = op;
    main["effect"] = 0;
    EXPECT_THROW(s.edit(main), StudioError);
}

}  // namespace
}  // namespace tv::studio
