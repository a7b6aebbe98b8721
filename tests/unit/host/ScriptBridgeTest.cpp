// The script bridge as the embedded host answers it: dialogs answered from documents, a
// cancelled text dialog giving back its text, the project path, the OBJ import answer, and the
// name filters' dialogs reached by a click.
#include <gtest/gtest.h>

#include <string>

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
    // A cancelled import dialog in this host answers nothing at all.
    standalone::EmbeddedHost host;
    EXPECT_FALSE(ParseObjImportAnswer(
        RunScript(host, "%s", ObjImportScript("/a.obj", "", 0, 0, 0, 0).c_str())));
    const std::string script = ObjImportScript("/abs/a.obj", "a.obj", true, false, true, false);
    EXPECT_NE(script.find("var in_str= \"/abs/a.obj\";var rel_str=\"a.obj\";"), std::string::npos);
    EXPECT_EQ(script.rfind("var title= 'Import OBJ';var label= 'Imports OBJ Files created by 3D "
                           "Applications.';var str= '';var savePath='';",
                           0),
              0u);
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
