// The script bridge as the embedded host answers it: dialogs answered from documents, a
// cancelled text dialog giving back its text, the project path, the OBJ import answer, and the
// name filters' dialogs reached by a click.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "host/Gather.h"
#include "host/ScriptBridge.h"
#include "standalone/Document.h"
#include "standalone/DocumentText.h"

namespace tv {
namespace {

TEST(ScriptBridge, TheTextDialogAnswersTheQueuedTextOrItsOwnWhenCancelled) {
    standalone::EmbeddedHost host;
    EXPECT_EQ(AskForText(host, "Set Layer Name", "Only Layers...", "Light"), "Light");
    host.queueDialogAnswer("Set Layer Name", "Alpha");
    EXPECT_EQ(AskForText(host, "Set Mask Name", "Only Masks...", "Mask"), "Mask");  // not its own
    EXPECT_EQ(AskForText(host, "Set Layer Name", "Only Layers...", "Light"), "Alpha");
    EXPECT_EQ(host.pendingDialogAnswers(), 0u);
}

TEST(ScriptBridge, ProjectPathIsTheDocumentsAndConfirmAnswersItsDefault) {
    standalone::EmbeddedHost host;
    EXPECT_EQ(ProjectPath(host), "");  // never saved
    host.setProjectPath("/projects/a.json");
    EXPECT_EQ(ProjectPath(host), "/projects/a.json");
    EXPECT_TRUE(Confirm(host, "Replace it?", true, "File Already Exists"));
    EXPECT_FALSE(Confirm(host, "Replace it?", false, "File Already Exists"));
}

TEST(ScriptBridge, TheImportAnswerHasSixLinesAndCancelStoresNothing) {
    const auto a = ParseObjImportAnswer("1\n/m/a.obj\n1\n1\n0\n0");
    ASSERT_TRUE(a);
    EXPECT_TRUE(a->ok);
    EXPECT_EQ(a->path, "/m/a.obj");
    EXPECT_TRUE(a->sequence);
    EXPECT_TRUE(a->alphabetical);
    EXPECT_FALSE(a->relative);
    // Alphabetical order means nothing without a sequence.
    EXPECT_FALSE(ParseObjImportAnswer("1\n/m/a.obj\n0\n1\n0\n0")->alphabetical);
    EXPECT_FALSE(ParseObjImportAnswer("0\n/m/a.obj\n0\n0\n1\n0")->ok);
    EXPECT_FALSE(ParseObjImportAnswer(""));
    EXPECT_FALSE(ParseObjImportAnswer("/m/a.obj"));
    const std::string script = ObjImportScript("/abs/a.obj", "a.obj", true, false, true, false);
    EXPECT_NE(script.find("var in_str= \"/abs/a.obj\";var rel_str=\"a.obj\";"), std::string::npos);
    EXPECT_EQ(script.rfind("var title= 'Import OBJ';var label= 'Imports OBJ Files created by 3D "
                           "Applications.';var str= '';var savePath='';",
                           0),
              0u);
}

TEST(ScriptBridge, ACancelledImportAnswersOkZeroWithTheBoxesAsTheyStand) {
    standalone::EmbeddedHost host;
    // Nothing answers the dialog: the user pressed Cancel.
    EXPECT_EQ(RunScript(host, "%s", ObjImportScript("/abs/a.obj", "a.obj", 1, 1, 1, 0).c_str()),
              "0\na.obj\n1\n1\n1\n0");  // the box shows the relative text while rel is on
    const std::string plain =
        RunScript(host, "%s", ObjImportScript("/abs/a.obj", "a.obj", 0, 0, 0, 0).c_str());
    EXPECT_EQ(plain, "0\n/abs/a.obj\n0\n0\n0\n0");
    const auto a = ParseObjImportAnswer(plain);
    ASSERT_TRUE(a);
    EXPECT_FALSE(a->ok);
    EXPECT_EQ(a->path, "/abs/a.obj");
}

TEST(ScriptBridge, ANameHoldingASingleQuoteBreaksTheScriptAndAnswersEmpty) {
    standalone::EmbeddedHost host;
    host.queueDialogAnswer("Set Layer Name", "Alpha");
    EXPECT_EQ(AskForText(host, "Set Layer Name", "Only Layers...", "Bob's"), "");
    EXPECT_EQ(host.pendingDialogAnswers(), 0u);  // the click was spent; no dialog opened
    // A path holding the double quote that delimits it breaks the import dialog alike.
    host.queueDialogAnswer("Import OBJ", "1\n/b.obj\n0\n0\n0\n0");
    EXPECT_EQ(RunScript(host, "%s", ObjImportScript("/a\"b.obj", "", 0, 0, 0, 0).c_str()), "");
    // Quotes of the other kind, and escaped ones, are plain text.
    EXPECT_EQ(AskForText(host, "Set Layer Name", "Only Layers...", "say \"hi\""), "say \"hi\"");
    EXPECT_EQ(AskForText(host, "Set Layer Name", "Only Layers...", "Bob\\'s"), "Bob\\'s");
}

std::string Doc(const std::string& effect, const std::string& dialogs) {
    return R"({"tavrin": 1, "comps": [{"name": "C", "width": 100, "height": 100, "layers": [
      {"name": "Alpha 1", "light": {"type": "point", "position": [10, 10, 0]}},
      {"name": "Alpha 2", "light": {"type": "point", "position": [20, 10, 0]}},
      {"name": "Beta 1", "light": {"type": "point", "position": [30, 10, 0]}},
      {"name": "L", "solid": {}, "masks": [{"name": "Alpha", "path": [[0, 0], [9, 0], [9, 9]]},
        {"name": "Beta", "path": [[0, 0], [5, 0], [5, 5]]}],
       "effects": [{"effect": ")" +
           effect + R"(", "dialogs": )" + dialogs + "}]}]}]}";
}

std::string TextOf(standalone::EmbeddedHost& host, int32_t index) {
    auto& fx = *host.project().comps[0]->layers[3]->effects[0];
    const auto t =
        standalone::ReadTextRecord(host.handleBytes(fx.params[size_t(index)].value.u.arbData));
    return t ? *t : "<none>";
}

TEST(NameDialogs, AClickWithAnAnswerSetsTheFilterAndTheSourceUsesIt) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(
        Doc("Tavrin Layers Object", R"([{"click": "Layer Name Begins with", "answer": "Alpha"}])"),
        "doc.json", host);
    EXPECT_EQ(TextOf(host, 5), "Alpha");
    EXPECT_EQ(host.pendingDialogAnswers(), 0u);
    ObjectMessage m;
    InitObjectMessage(m);
    const auto& layer = *host.project().comps[0]->layers[3];
    ASSERT_EQ(Gather(host, layer.uid, host.project().comps[0]->frameTime(0), m), 0);
    EXPECT_EQ(m.geometry->positions.size(), 2u);
    DisposeObjectMessage(m);
}

TEST(NameDialogs, TheMaskAndLightFiltersHaveTheirDialogsToo) {
    standalone::EmbeddedHost paths;
    standalone::LoadDocumentText(
        Doc("Tavrin Path Object", R"([{"click": "Mask Name Begins with", "answer": "Beta"}])"),
        "doc.json", paths);
    EXPECT_EQ(TextOf(paths, 2), "Beta");
    standalone::EmbeddedHost noise;
    standalone::LoadDocumentText(
        Doc("Tavrin Noise Effector", R"([{"click": "Light Name Begins with", "answer": "Key"}])"),
        "doc.json", noise);
    EXPECT_EQ(TextOf(noise, 25), "Key");
    standalone::EmbeddedHost main;
    standalone::LoadDocumentText(
        Doc("Tavrin", R"([{"click": "Light(s) Name Begins with", "answer": "Fill"}])"), "doc.json",
        main);
    EXPECT_EQ(TextOf(main, 4), "Fill");
}

TEST(NameDialogs, AnEmptyAnswerIsACancelAndLeavesTheText) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(
        Doc("Tavrin Layers Object", R"([{"click": "Layer Name Begins with", "answer": ""}])"),
        "doc.json", host);
    EXPECT_EQ(TextOf(host, 5), "");  // as a new instance has it: all layers
    // A click with no answer at all (the user cancels) changes nothing either.
    auto& fx = *host.project().comps[0]->layers[3]->effects[0];
    EXPECT_EQ(host.clickParam(fx, 5, A_Time{0, 30}), 0);
    EXPECT_EQ(TextOf(host, 5), "");
    host.queueDialogAnswer("Set Layer Name", "Beta");
    EXPECT_EQ(host.clickParam(fx, 5, A_Time{0, 30}), PF_ChangeFlag_CHANGED_VALUE);
    EXPECT_EQ(TextOf(host, 5), "Beta");
}

TEST(NameDialogs, AStoredNameWithAQuoteOpensNoDialogAndKeepsItsText) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(
        Doc("Tavrin Layers Object", R"([{"click": "Layer Name Begins with", "answer": "Bob's"},
                                         {"click": "Layer Name Begins with", "answer": "Alpha"}])"),
        "doc.json", host);
    // The first answer is stored; the second click's script breaks on it and changes nothing.
    EXPECT_EQ(TextOf(host, 5), "Bob's");
    EXPECT_EQ(host.pendingDialogAnswers(), 0u);
}

// Every value the main effect mixes into the frame's key at pre-render, in order.
std::vector<uint64_t> gMixed;
PF_Err RecordMix(PF_ProgPtr, uint32_t size, const void* data) {
    uint64_t v = 0;
    std::memcpy(&v, data, std::min<uint32_t>(size, 8));
    gMixed.push_back(v);
    return PF_Err_NONE;
}

std::vector<uint64_t> FrameKey(standalone::EmbeddedHost& host) {
    gMixed.clear();
    auto& main = *host.project().comps[0]->layers[3]->effects[0];
    PF_PreRenderExtra extra;
    extra.guid_mix_in = &RecordMix;
    EXPECT_EQ(host.callEffect(main, PF_Cmd_SMART_PRE_RENDER, A_Time{0, 30}, &extra), 0);
    return gMixed;
}

TEST(NameDialogs, ACancelledClickLeavesTheFramesKeyAsItWas) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(R"({"tavrin": 1, "comps": [{"name": "C", "width": 100,
      "height": 100, "layers": [
      {"name": "Alpha 1", "light": {"type": "point", "position": [10, 10, 0]}},
      {"name": "Alpha 2", "light": {"type": "point", "position": [20, 10, 0]}},
      {"name": "Beta 1", "light": {"type": "point", "position": [30, 10, 0]}},
      {"name": "L", "solid": {}, "effects": [{"effect": "Tavrin"},
        {"effect": "Tavrin Layers Object", "params": {"Layer Name Begins with": "Alpha"}},
        {"effect": "Tavrin Points Renderer"}]}]}]})",
                                 "doc.json", host);
    const std::vector<uint64_t> before = FrameKey(host);
    ASSERT_FALSE(before.empty());
    auto& layers = *host.project().comps[0]->layers[3]->effects[1];
    EXPECT_EQ(host.clickParam(layers, 5, A_Time{0, 30}), 0);  // Cancel: the text went back
    EXPECT_EQ(FrameKey(host), before);
    host.queueDialogAnswer("Set Layer Name", "");  // OK on an emptied box reads as Cancel too
    EXPECT_EQ(host.clickParam(layers, 5, A_Time{0, 30}), 0);
    EXPECT_EQ(FrameKey(host), before);
    // A real change does move the key.
    host.queueDialogAnswer("Set Layer Name", "Beta");
    EXPECT_EQ(host.clickParam(layers, 5, A_Time{0, 30}), PF_ChangeFlag_CHANGED_VALUE);
    EXPECT_NE(FrameKey(host), before);
}

TEST(NameDialogs, TheLayersSourcesEmptyNameShowsWhatItTakes) {
    auto shown = [](const std::string& objectType, const std::string& name) {
        standalone::EmbeddedHost host;
        standalone::LoadDocumentText(
            R"({"tavrin": 1, "comps": [{"name": "C", "width": 100, "height": 100, "layers": [
              {"name": "L", "solid": {}, "effects": [{"effect": "Tavrin Layers Object",
                "params": {"Object Type": ")" +
                objectType + R"(", "Layer Name Begins with": ")" + name + R"("}}]}]}]})",
            "doc.json", host);
        auto& fx = *host.project().comps[0]->layers[0]->effects[0];
        return host.drawParam(fx, 5, A_Time{0, 30});
    };
    EXPECT_EQ(shown("Lights", ""), "<All Lights>");
    EXPECT_EQ(shown("3D Layers", ""), "<All Layers>");
    EXPECT_EQ(shown("Lights", "Key"), "Key");
}

TEST(NameDialogs, ADocumentClickingWhatOpensNoDialogIsAnError) {
    standalone::EmbeddedHost host;
    try {
        standalone::LoadDocumentText(
            Doc("Tavrin Layers Object", R"([{"click": "Layer Name", "answer": "x"}])"), "doc.json",
            host);
        FAIL() << "accepted";
    } catch (const std::exception& e) {
        const std::string what = e.what();
        EXPECT_NE(what.find("dialogs[0].click"), std::string::npos) << what;
        EXPECT_NE(what.find("Layer Name Begins with"), std::string::npos) << what;
    }
}

}  // namespace
}  // namespace tv
