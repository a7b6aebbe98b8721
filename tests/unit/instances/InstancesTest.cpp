// The instances source: copies of another layer's objects under the replicate transform, the
// copies as a new lattice axis, faces carried over, and the loop guard.
#include <gtest/gtest.h>

#include <string>

#include "host/Gather.h"
#include "standalone/CompRenderer.h"
#include "standalone/Document.h"

namespace tv {
namespace {

std::string Doc(const std::string& cube, const std::string& instances,
                const std::string& instanceLayer = "Source") {
    return R"({"tavrin": 1, "comps": [{"name": "C", "width": 400, "height": 400, "layers": [
      {"name": "Source", "solid": {}, "enabled": false, "effects": [
        {"effect": "Tavrin Primitives Object", "params": )" +
           cube + R"(}]},
      {"name": "L", "solid": {}, "effects": [
        {"effect": "Tavrin Instances Object", "params": {"Instance Layer": ")" +
           instanceLayer + "\"" + instances + "}}]}]}]}";
}

struct Gathered {
    standalone::EmbeddedHost host;
    ObjectMessage m;
    explicit Gathered(const std::string& doc) {
        standalone::LoadDocumentText(doc, "doc.json", host);
        InitObjectMessage(m);
        auto& comp = *host.project().comps[0];
        EXPECT_EQ(Gather(host, comp.layers[1]->uid, comp.frameTime(0), m), 0);
    }
    ~Gathered() { DisposeObjectMessage(m); }
    GeometryStore& g() { return *m.geometry; }
};

const std::string kRow =
    R"({"X Points": 4, "Y Points": 1, "Z Points": 1, "Cube Width": 90, "Generate Faces": "None"})";

TEST(Instances, OneInstanceIsAPlainCopy) {
    Gathered source(Doc(kRow, ""));
    Gathered plain(Doc(kRow, ", \"Num of Instances\": 1"));
    ASSERT_EQ(plain.g().positions.size(), 4u);
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(Doc(kRow, ""), "doc.json", host);
    ObjectMessage direct;
    InitObjectMessage(direct);
    auto& comp = *host.project().comps[0];
    ASSERT_EQ(Gather(host, comp.layers[0]->uid, comp.frameTime(0), direct), 0);
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_FLOAT_EQ(plain.g().positions[i].x, direct.geometry->positions[i].x);
        EXPECT_FLOAT_EQ(plain.g().positions[i].y, direct.geometry->positions[i].y);
        EXPECT_FLOAT_EQ(plain.g().positions[i].z, direct.geometry->positions[i].z);
    }
    DisposeObjectMessage(direct);
}

TEST(Instances, CopiesOfAFlatLatticeFormItsThirdAxis) {
    Gathered g(Doc(R"({"X Points": 10, "Y Points": 10, "Z Points": 1, "Generate Faces": "None"})",
                   R"(, "Num of Instances": 3, "Replication Depth": 200, "Replicate Axis": "Z",
                     "Replicate Direction": "Positive Axis")"));
    ASSERT_EQ(g.g().positions.size(), 300u);
    ASSERT_EQ(g.g().ranges.size(), 1u);
    EXPECT_EQ(g.g().ranges[0].latticeSize[0], 10);
    EXPECT_EQ(g.g().ranges[0].latticeSize[1], 10);
    EXPECT_EQ(g.g().ranges[0].latticeSize[2], 3);
    EXPECT_EQ(g.g().lattice[250].z, 2);
    // Positive axis over a depth of 200 in three copies: 0, 100, 200 along Z.
    EXPECT_FLOAT_EQ(g.g().positions[200].z - g.g().positions[0].z, 200.0f);
    EXPECT_FLOAT_EQ(g.g().positions[100].z - g.g().positions[0].z, 100.0f);
}

TEST(Instances, CopiesOfAFullCubeMergeItsFirstTwoSizes) {
    Gathered g(Doc(R"({"X Points": 10, "Y Points": 10, "Z Points": 10, "Generate Faces": "None"})",
                   R"(, "Num of Instances": 2)"));
    ASSERT_EQ(g.g().ranges.size(), 1u);
    EXPECT_EQ(g.g().ranges[0].latticeSize[0], 100);
    EXPECT_EQ(g.g().ranges[0].latticeSize[1], 10);
    EXPECT_EQ(g.g().ranges[0].latticeSize[2], 2);
}

TEST(Instances, ImportedFacesAreRaisedPerCopy) {
    Gathered g(Doc(R"({"X Points": 3, "Y Points": 3, "Z Points": 1, "Generate Faces": "XY"})",
                   R"(, "Num of Instances": 2)"));
    const auto& faces = g.g().faces;
    ASSERT_EQ(faces.size(), 16u);  // 8 triangles per 3 x 3 grid, twice
    EXPECT_EQ(faces[8].x, faces[0].x + 9);
    Gathered none(Doc(R"({"X Points": 3, "Y Points": 3, "Z Points": 1, "Generate Faces": "XY"})",
                      R"(, "Num of Instances": 2, "Facet Mode": "None")"));
    EXPECT_TRUE(none.g().faces.empty());
}

TEST(Instances, AnEmptyInstanceLayerGivesNothing) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(R"({"tavrin": 1, "comps": [{"name": "C", "layers": [
      {"name": "L", "solid": {}, "effects": [{"effect": "Tavrin Instances Object"}]}]}]})",
                                 "doc.json", host);
    ObjectMessage m;
    InitObjectMessage(m);
    auto& comp = *host.project().comps[0];
    ASSERT_EQ(Gather(host, comp.layers[0]->uid, comp.frameTime(0), m), 0);
    EXPECT_TRUE(m.geometry->positions.empty());
    DisposeObjectMessage(m);
}

TEST(Instances, TheOwnLayerAsInstanceIsTheLoopTheDriverReports) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(R"({"tavrin": 1, "comps": [{"name": "C", "width": 64,
      "height": 64, "layers": [{"name": "L", "solid": {}, "effects": [{"effect": "Tavrin"},
        {"effect": "Tavrin Instances Object", "params": {"Instance Layer": "L"}}]}]}]})",
                                 "doc.json", host);
    standalone::CompRenderer renderer(host);
    std::vector<std::string> messages;
    renderer.renderFrame(*host.project().comps[0], 0, 8, messages);
    ASSERT_FALSE(messages.empty());
    EXPECT_NE(messages[0].find("Infinite Loop Detected. You can't select the same layer as an "
                               "instance"),
              std::string::npos);
}

}  // namespace
}  // namespace tv
