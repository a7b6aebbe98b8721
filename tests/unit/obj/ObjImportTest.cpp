// The OBJ source's import dialog in the embedded host: the answer a document gives imports the
// footage, adds a layer of it and points the source at it; the stored path with its marks; an
// existing footage found again; sequences in natural or alphabetical order; a missing file's
// placeholder; Cancel storing nothing; a relative path following the project.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include "host/Gather.h"
#include "host/SequenceRecord.h"
#include "sources/ObjImport.h"
#include "standalone/Document.h"
#include "standalone/DocumentWriter.h"
#include "tests/unit/obj/ObjTestFiles.h"

namespace tv {
namespace {

const char* kTriangle = "v 0 0 0\nv 10 0 0\nv 0 10 0\nf 1 2 3\n";

std::string Doc(const std::string& extraLayers, const std::string& answer) {
    return R"({"tavrin": 1, "comps": [{"name": "C", "width": 100, "height": 100, "layers": [)" +
           extraLayers + R"({"name": "L", "solid": {}, "effects": [
             {"effect": "Tavrin OBJ Object", "dialogs": [{"click": "Import OBJ",
               "answer": )" +
           answer + "}]}]}]}]}";
}

standalone::Layer& SourceLayer(standalone::EmbeddedHost& host) {
    for (auto& l : host.project().comps[0]->layers)
        if (l->name == "L") return *l;
    throw std::runtime_error("no layer L");
}

TEST(ObjImport, TheStoredPathCarriesItsMarksInOrder) {
    EXPECT_EQ(FormatStoredObjPath({"a/b.obj", true, true, true}), "|REL||SEQ||ALP|a/b.obj");
    const StoredObjPath p = ParseStoredObjPath("|SEQ||ALP|/x/y.obj");
    EXPECT_FALSE(p.relative);
    EXPECT_TRUE(p.sequence);
    EXPECT_TRUE(p.alphabetical);
    EXPECT_EQ(p.path, "/x/y.obj");
    EXPECT_EQ(RelativeToProject("/p/meshes/a.obj", "/p/doc.json"), "meshes/a.obj");
    EXPECT_EQ(ResolveAgainstProject("meshes/a.obj", "/q/doc.json"), "/q/meshes/a.obj");
}

TEST(ObjImport, ADocumentsAnswerImportsAddsALayerAndPointsTheSourceAtIt) {
    const auto dir = objtest::TempFolder();
    objtest::WriteFile(dir, "tri.obj", kTriangle);
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(Doc("", R"({"file": "tri.obj", "relative": true})"),
                                 (dir / "doc.json").string(), host);
    auto& comp = *host.project().comps[0];
    ASSERT_EQ(comp.layers.size(), 2u);  // the footage's new layer
    const standalone::Layer& footage = *comp.layers[1];
    EXPECT_EQ(footage.kind, standalone::LayerKind::Obj);
    EXPECT_EQ(footage.name, "tri.obj");
    ASSERT_EQ(footage.objFiles.size(), 1u);
    auto& fx = *SourceLayer(host).effects[0];
    EXPECT_EQ(fx.params[1].value.u.layerId, int32_t(footage.id));
    // The stored path is relative to the document.
    PF_InData in;
    in.pica_basicP = &host;
    in.sequence_data = fx.sequenceData;
    EXPECT_EQ(ReadRecordText(&in), "|REL|tri.obj");
    const auto diagnostics = host.takeDiagnostics();
    EXPECT_NE(std::find(diagnostics.begin(), diagnostics.end(), "No Footage Detected"),
              diagnostics.end());
    // And the source now reads the mesh.
    ObjectMessage m;
    InitObjectMessage(m);
    ASSERT_EQ(Gather(host, SourceLayer(host).uid, comp.frameTime(0), m), 0);
    EXPECT_EQ(m.geometry->positions.size(), 3u);
    DisposeObjectMessage(m);
}

TEST(ObjImport, FootageAlreadyInTheCompIsFoundAgain) {
    const auto dir = objtest::TempFolder();
    objtest::WriteFile(dir, "tri.obj", kTriangle);
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(
        Doc(R"({"name": "Mesh", "obj": {"file": "tri.obj"}, "enabled": false},)",
            R"({"file": "tri.obj"})"),
        (dir / "doc.json").string(), host);
    auto& comp = *host.project().comps[0];
    EXPECT_EQ(comp.layers.size(), 2u);  // no new layer
    const auto lines = host.takeDiagnostics();
    EXPECT_NE(std::find(lines.begin(), lines.end(), "Footage already found in Project "),
              lines.end());
    EXPECT_NE(std::find(lines.begin(), lines.end(), "Layer Exists in Comp"), lines.end());
    EXPECT_EQ(SourceLayer(host).effects[0]->params[1].value.u.layerId, int32_t(comp.layers[0]->id));
}

TEST(ObjImport, ASequenceTakesTheFoldersFilesInNaturalOrAlphabeticalOrder) {
    const auto dir = objtest::TempFolder();
    for (const char* n : {"m_10.obj", "m_2.obj", "m_1.OBJ", "notes.txt"})
        objtest::WriteFile(dir, n, kTriangle);
    const auto natural = ObjSequenceFiles((dir / "m_2.obj").string(), false);
    ASSERT_EQ(natural.size(), 3u);
    EXPECT_EQ(std::filesystem::path(natural[0]).filename(), "m_1.OBJ");
    EXPECT_EQ(std::filesystem::path(natural[1]).filename(), "m_2.obj");
    EXPECT_EQ(std::filesystem::path(natural[2]).filename(), "m_10.obj");
    const auto alpha = ObjSequenceFiles((dir / "m_2.obj").string(), true);
    EXPECT_EQ(std::filesystem::path(alpha[0]).filename(), "m_1.OBJ");
    EXPECT_EQ(std::filesystem::path(alpha[1]).filename(), "m_10.obj");
    // Through the dialog: the new layer holds the sequence and the box is set.
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(Doc("", R"({"file": "m_2.obj", "sequence": true})"),
                                 (dir / "doc.json").string(), host);
    auto& comp = *host.project().comps[0];
    ASSERT_EQ(comp.layers.size(), 2u);
    EXPECT_EQ(comp.layers[1]->objFiles.size(), 3u);
    EXPECT_EQ(SourceLayer(host).effects[0]->params[2].value.u.checkbox, 1);
}

// What the dialog imported is saved as a layer that loads again with the same files: one file,
// or the sequence's files in their order.
TEST(ObjImport, AnImportedFileOrSequenceIsSavedSoThatItLoadsAgain) {
    const auto dir = objtest::TempFolder();
    for (const char* n : {"m_10.obj", "m_2.obj", "m_1.obj"}) objtest::WriteFile(dir, n, kTriangle);
    for (const char* answer :
         {R"({"file": "m_2.obj"})", R"({"file": "m_2.obj", "sequence": true})"}) {
        SCOPED_TRACE(answer);
        standalone::EmbeddedHost host;
        const std::string doc = (dir / "doc.json").string();
        standalone::LoadDocumentText(Doc("", answer), doc, host);
        const auto files = host.project().comps[0]->layers[1]->objFiles;
        ASSERT_FALSE(files.empty());
        const std::string text = standalone::SaveDocumentText(host, doc);
        standalone::EmbeddedHost again;
        ASSERT_NO_THROW(standalone::LoadDocumentText(text, doc, again)) << text;
        ASSERT_EQ(again.project().comps[0]->layers.size(), 2u);
        EXPECT_EQ(again.project().comps[0]->layers[1]->objFiles, files);
    }
}

TEST(ObjImport, AMissingFileGetsAPlaceholderAndCancelStoresNothing) {
    const auto dir = objtest::TempFolder();
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(R"({"tavrin": 1, "comps": [{"name": "C", "layers": [
        {"name": "L", "solid": {}, "effects": [{"effect": "Tavrin OBJ Object"}]}]}]})",
                                 (dir / "doc.json").string(), host);
    auto& fx = *SourceLayer(host).effects[0];
    // Cancel: no answer queued.
    host.callEffect(fx, PF_Cmd_DO_DIALOG, A_Time{0, 30}, nullptr);
    PF_InData in;
    in.pica_basicP = &host;
    in.sequence_data = fx.sequenceData;
    EXPECT_EQ(ReadRecordText(&in), "");
    EXPECT_EQ(host.project().comps[0]->layers.size(), 1u);
    // A file that is not there: the message and a placeholder layer.
    const std::string missing = (dir / "gone.obj").string();
    host.queueDialogAnswer("Import OBJ", "1\n" + missing + "\n0\n0\n0\n0");
    host.takeReports();
    host.callEffect(fx, PF_Cmd_DO_DIALOG, A_Time{0, 30}, nullptr);
    const auto reports = host.takeReports();
    ASSERT_FALSE(reports.empty());
    EXPECT_EQ(reports.back(), "The following file doesn't exist, hence cannot be imported.\n" +
                                  missing +
                                  "\nA placeholder has been created in the project instead. "
                                  "Replace the placeholder to the appropriate footage file.");
    ASSERT_EQ(host.project().comps[0]->layers.size(), 2u);
    EXPECT_TRUE(host.project().comps[0]->layers[1]->objFiles.empty());
    // A path over 255 characters is refused.
    host.queueDialogAnswer("Import OBJ", "1\n/" + std::string(300, 'a') + ".obj\n0\n0\n0\n0");
    host.callEffect(fx, PF_Cmd_DO_DIALOG, A_Time{0, 30}, nullptr);
    EXPECT_EQ(host.takeReports().back(), "File Path can't exceed 255 characters");
}

// A host that keeps the scripts it was asked to run.
class ScriptLog : public standalone::EmbeddedHost {
  public:
    std::vector<std::string> scripts;
    PF_Err executeScript(const std::string& s, std::string& result, std::string& error) override {
        scripts.push_back(s);
        return EmbeddedHost::executeScript(s, result, error);
    }
};

TEST(ObjImport, ARelativePathFollowsTheProjectWhenItMoves) {
    const auto dir = objtest::TempFolder();
    std::filesystem::create_directories(dir / "a" / "meshes");
    objtest::WriteFile(dir / "a" / "meshes", "tri.obj", kTriangle);
    ScriptLog host;
    standalone::LoadDocumentText(Doc("", R"({"file": "meshes/tri.obj", "relative": true})"),
                                 (dir / "a" / "doc.json").string(), host);
    auto& fx = *SourceLayer(host).effects[0];
    // The project moves to b/: the dialog opens on the path resolved against the new folder.
    host.setProjectPath((dir / "b" / "doc.json").string());
    host.scripts.clear();
    host.callEffect(fx, PF_Cmd_DO_DIALOG, A_Time{0, 30}, nullptr);
    const std::string want = "var in_str= \"" + (dir / "b" / "meshes" / "tri.obj").string() +
                             "\";var rel_str=\"meshes/tri.obj\";";
    bool seen = false;
    for (const std::string& s : host.scripts) seen = seen || s.find(want) != std::string::npos;
    EXPECT_TRUE(seen);
}

TEST(ObjImport, ADocumentsCancelledImportStoresNothing) {
    const auto dir = objtest::TempFolder();
    objtest::WriteFile(dir, "tri.obj", kTriangle);
    objtest::WriteFile(dir, "other.obj", kTriangle);
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(
        R"({"tavrin": 1, "comps": [{"name": "C", "width": 100, "height": 100, "layers": [
          {"name": "L", "solid": {}, "effects": [{"effect": "Tavrin OBJ Object", "dialogs": [
            {"click": "Import OBJ", "answer": {"file": "tri.obj", "relative": true}},
            {"click": "Import OBJ", "answer": {"cancel": true, "file": "other.obj",
              "sequence": true}}]}]}]}]})",
        (dir / "doc.json").string(), host);
    auto& fx = *SourceLayer(host).effects[0];
    PF_InData in;
    in.pica_basicP = &host;
    in.sequence_data = fx.sequenceData;
    EXPECT_EQ(ReadRecordText(&in), "|REL|tri.obj");  // the first import stands
    EXPECT_EQ(host.project().comps[0]->layers.size(), 2u);
    EXPECT_EQ(fx.params[2].value.u.checkbox, 0);  // the sequence box of the Cancel is not taken
    EXPECT_EQ(host.pendingDialogAnswers(), 0u);
}

GeometryStore Gathered(standalone::EmbeddedHost& host) {
    ObjectMessage m;
    InitObjectMessage(m);
    EXPECT_EQ(Gather(host, SourceLayer(host).uid, host.project().comps[0]->frameTime(0), m), 0);
    GeometryStore g = *m.geometry;
    DisposeObjectMessage(m);
    return g;
}

TEST(ObjImport, AtResetupAMovedDocumentsRelativePathIsRelinked) {
    const auto dir = objtest::TempFolder();
    std::filesystem::create_directories(dir / "a" / "meshes");
    std::filesystem::create_directories(dir / "a" / "seq");
    objtest::WriteFile(dir / "a" / "meshes", "tri.obj", kTriangle);
    objtest::WriteFile(dir / "a" / "seq", "f1.obj", kTriangle);
    objtest::WriteFile(dir / "a" / "seq", "f2.obj", kTriangle);
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(
        R"({"tavrin": 1, "comps": [{"name": "C", "width": 100, "height": 100, "layers": [
          {"name": "L", "solid": {}, "effects": [
            {"effect": "Tavrin OBJ Object", "dialogs": [{"click": "Import OBJ",
              "answer": {"file": "meshes/tri.obj", "relative": true}}]},
            {"effect": "Tavrin OBJ Object", "dialogs": [{"click": "Import OBJ",
              "answer": {"file": "seq/f1.obj", "relative": true, "sequence": true}}]}]}]}]})",
        (dir / "a" / "doc.json").string(), host);
    auto& comp = *host.project().comps[0];
    ASSERT_EQ(comp.layers.size(), 3u);
    const standalone::Layer& still = *comp.layers[1];
    const standalone::Layer& seq = *comp.layers[2];
    ASSERT_EQ(still.objFiles.size(), 1u);
    ASSERT_EQ(seq.objFiles.size(), 2u);
    EXPECT_EQ(Gathered(host).positions.size(), 6u);  // a triangle from each source

    // The document's folder moves, and gains a frame of the sequence on the way.
    std::filesystem::rename(dir / "a", dir / "b");
    objtest::WriteFile(dir / "b" / "seq", "f3.obj", kTriangle);
    EXPECT_EQ(Gathered(host).positions.size(), 0u);  // the footage's files are gone

    // A render-only host touches nothing.
    auto& layer = SourceLayer(host);
    const A_Time t{0, 30};
    host.setProjectPath((dir / "b" / "doc.json").string());
    for (auto& fx : layer.effects)
        ASSERT_EQ(host.callEffect(*fx, PF_Cmd_SEQUENCE_RESETUP, t, nullptr, nullptr, nullptr,
                                  nullptr, PF_InFlag_PROJECT_IS_RENDER_ONLY),
                  0);
    EXPECT_EQ(still.objFiles.front(), (dir / "a" / "meshes" / "tri.obj").string());

    // The project reopened for work: the stored |REL| paths resolve against its new folder.
    for (auto& fx : layer.effects)
        ASSERT_EQ(host.callEffect(*fx, PF_Cmd_SEQUENCE_RESETUP, t, nullptr), 0);
    ASSERT_EQ(still.objFiles.size(), 1u);
    EXPECT_EQ(still.objFiles.front(), (dir / "b" / "meshes" / "tri.obj").string());
    ASSERT_EQ(seq.objFiles.size(), 3u);  // the sequence's list made again from its folder
    EXPECT_EQ(seq.objFiles.front(), (dir / "b" / "seq" / "f1.obj").string());
    EXPECT_EQ(seq.objFiles.back(), (dir / "b" / "seq" / "f3.obj").string());
    EXPECT_EQ(Gathered(host).positions.size(), 6u);
}

TEST(ObjImport, AFirstGenerationRecordKeepsItsConvertedPathAtResetup) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(R"({"tavrin": 1, "comps": [{"name": "C", "layers": [
        {"name": "L", "solid": {}, "effects": [{"effect": "Tavrin OBJ Object"}]}]}]})",
                                 "doc.json", host);
    auto& fx = *SourceLayer(host).effects[0];
    std::vector<uint8_t> v1(257, 0);
    // Longer than the 32-byte header, so that its tail could pass for a current record's text.
    const std::string path = "|SEQ|/some/long/folder/name/for/the/meshes/y.obj";
    std::copy(path.begin(), path.end(), v1.begin() + 1);
    host.disposeHandle(fx.sequenceData);
    fx.sequenceData = host.handleFromBytes(v1);
    ASSERT_EQ(host.callEffect(fx, PF_Cmd_SEQUENCE_RESETUP, A_Time{0, 30}, nullptr, nullptr, nullptr,
                              nullptr, PF_InFlag_PROJECT_IS_RENDER_ONLY),
              0);
    PF_InData in;
    in.pica_basicP = &host;
    in.sequence_data = fx.sequenceData;
    EXPECT_EQ(ReadRecordText(&in), path);
}

}  // namespace
}  // namespace tv
