// The instances source: copies of another layer's objects under the replicate transform, the
// copies as a new lattice axis, faces carried over or regenerated, echoes of earlier times, the
// overrides of colour, opacity and scale, re-alignment, and the loop guard.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "host/Gather.h"
#include "standalone/CompRenderer.h"
#include "standalone/Document.h"
#include "tests/support/Gathered.h"

namespace tv {
namespace {

std::string Doc(const std::string& cube, const std::string& instances,
                const std::string& instanceLayer = "Source") {
    return R"({"tavrin": 1, "comps": [{"name": "C", "width": 400, "height": 400, "fps": 10,
      "duration": 4, "layers": [
      {"name": "Source", "solid": {}, "enabled": false, "effects": [
        {"effect": "Tavrin Primitives Object", "params": )" +
           cube + R"(}]},
      {"name": "L", "solid": {}, "effects": [
        {"effect": "Tavrin Instances Object", "params": {"Instance Layer": ")" +
           instanceLayer + "\"" + instances + "}}]}]}]}";
}

// Layer "L" gathered.
struct Gathered : test::Gathered {
    explicit Gathered(const std::string& doc, int32_t frame = 0) : test::Gathered(doc, 1, frame) {
        EXPECT_EQ(err, 0);
    }
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

// A 4 x 1 x 3 cube leaves its second axis free: the copies take it, and every other lattice
// coordinate is the copied one, the third included.
TEST(Instances, CopiesChangeOnlyTheNewLatticeAxis) {
    const std::string cube =
        R"({"X Points": 4, "Y Points": 1, "Z Points": 3, "Generate Faces": "None"})";
    test::Gathered source(Doc(cube, ""), 0);
    ASSERT_EQ(source.err, 0);
    ASSERT_EQ(source.g().ranges.size(), 1u);
    ASSERT_EQ(source.g().ranges[0].kind, 5);
    Gathered g(Doc(cube, R"(, "Num of Instances": 2)"));
    const auto& from = source.g().lattice;
    ASSERT_EQ(from.size(), 12u);
    ASSERT_EQ(g.g().lattice.size(), 24u);
    EXPECT_EQ(g.g().ranges[0].latticeSize[1], 2);
    bool someZ = false;
    for (size_t k = 0; k < 2; ++k)
        for (size_t i = 0; i < 12; ++i) {
            const Vec3i& l = g.g().lattice[k * 12 + i];
            EXPECT_EQ(l, (Vec3i{from[i].x, int32_t(k), from[i].z})) << k << " " << i;
            someZ = someZ || from[i].z != 0;
        }
    EXPECT_TRUE(someZ);
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

TEST(Instances, EchoCopiesAreTheLayerAtEarlierTimes) {
    // The row rises in Z by 100 a second; copy k is the row 0.5 k seconds earlier.
    const std::string rising =
        R"({"X Points": 4, "Y Points": 1, "Z Points": 1, "Cube Width": 90,
            "Generate Faces": "None", "Center Z": {"keys": [{"t": 0, "v": 0}, {"t": 2, "v": 200}]}})";
    const std::string echo = R"(, "Num of Instances": 3, "Replication Depth": 0, "Echo": true,
                              "Echo Delay": 0.5)";
    Gathered g(Doc(rising, echo), 15);  // 1.5 s
    ASSERT_EQ(g.g().positions.size(), 12u);
    for (size_t k = 0; k < 3; ++k)
        for (size_t i = 0; i < 4; ++i)
            EXPECT_NEAR(g.g().positions[k * 4 + i].z, 150.0 - 50.0 * double(k), 1e-3) << k;
    EXPECT_EQ(g.g().lattice[9].y, 2);
    // Without Echo every copy is the row of now.
    Gathered still(Doc(rising, R"(, "Num of Instances": 3, "Replication Depth": 0)"), 15);
    ASSERT_EQ(still.g().positions.size(), 12u);
    for (const Vec3f& p : still.g().positions) EXPECT_NEAR(p.z, 150.0, 1e-3);
}

TEST(Instances, RegeneratedFacetsMakeTheLatticeGridOfEachCopy) {
    // A 3 x 3 sheet in two copies: the lattice is 3 x 3 x 2, and each copy gets the sheet's own
    // grid (2 x 2 quads, 8 triangles); no triangle joins one copy to the other.
    Gathered sheet(Doc(R"({"X Points": 3, "Y Points": 3, "Z Points": 1, "Generate Faces": "None"})",
                       R"(, "Num of Instances": 2, "Facet Mode": "Regenerate Facets")"));
    const auto& faces = sheet.g().faces;
    ASSERT_EQ(faces.size(), 16u);
    ASSERT_EQ(sheet.g().ranges[0].faceCount, 16u);
    for (size_t f = 0; f < faces.size(); ++f) {
        const int32_t copy = faces[f].x / 9;
        EXPECT_EQ(faces[f].y / 9, copy) << f;
        EXPECT_EQ(faces[f].z / 9, copy) << f;
        EXPECT_EQ(copy, f < 8 ? 0 : 1) << f;
    }
    // The first quad, worked by hand: A (0, 1) = 3, B (0, 0) = 0, C (1, 0) = 1, D (1, 1) = 4.
    EXPECT_EQ(faces[0], (Vec3i{3, 0, 1}));
    EXPECT_EQ(faces[1], (Vec3i{1, 4, 3}));
    EXPECT_EQ(faces[8], (Vec3i{12, 9, 10}));
    EXPECT_TRUE(sheet.host.takeReports().empty());
    // A row of 4 in three copies is a 4 x 3 sheet: 3 x 2 quads across the copies.
    Gathered row(Doc(kRow, R"(, "Num of Instances": 3, "Facet Mode": "Regenerate Facets")"));
    const auto& ribbon = row.g().faces;
    ASSERT_EQ(ribbon.size(), 12u);
    EXPECT_EQ(ribbon[0], (Vec3i{4, 0, 1}));
    EXPECT_EQ(ribbon[6], (Vec3i{8, 4, 9}));  // odd row: A, B, D
}

TEST(Instances, RegeneratedFacetsRefuseACountThatChangesWithEcho) {
    // Five points from 0.5 s on, three before: with Echo the copies differ in count.
    const std::string growing =
        R"({"X Points": {"keys": [{"t": 0, "v": 3, "interp": "hold"}, {"t": 0.5, "v": 5}]},
            "Y Points": 1, "Z Points": 1, "Generate Faces": "None"})";
    const std::string echo = R"(, "Num of Instances": 3, "Echo": true, "Echo Delay": 0.6,
                              "Facet Mode": "Regenerate Facets")";
    Gathered g(Doc(growing, echo), 12);  // copies at 1.2, 0.6 and 0.0 s: 5, 5 and 3 points
    EXPECT_EQ(g.g().positions.size(), 13u);
    EXPECT_TRUE(g.g().faces.empty());
    EXPECT_EQ(g.g().ranges[0].faceCount, 0u);
    const auto reports = g.host.takeReports();
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_EQ(reports[0], "NOTE: Cannot Generate Facets if vertex count changes over time.\n");
    // Later every copy has five points: the faces come, and no note.
    Gathered later(Doc(growing, echo), 20);
    EXPECT_EQ(later.g().positions.size(), 15u);
    EXPECT_EQ(later.g().faces.size(), 16u);
    EXPECT_TRUE(later.host.takeReports().empty());
}

TEST(Instances, ReAlignCentresTheBoxInXAndYAndKeepsZ) {
    const std::string off = R"({"X Points": 3, "Y Points": 2, "Z Points": 1, "Cube Width": 60,
        "Cube Height": 40, "Center XY": [50, 70], "Center Z": 40, "Generate Faces": "None"})";
    Gathered kept(Doc(off, R"(, "Num of Instances": 1)"));
    ASSERT_EQ(kept.g().positions.size(), 6u);
    EXPECT_FLOAT_EQ(kept.g().positions[0].x, 20.0f);  // off: where the other layer put it
    EXPECT_FLOAT_EQ(kept.g().positions[0].y, 50.0f);
    Gathered moved(Doc(off, R"(, "Num of Instances": 1, "Re-Align to Center": true)"));
    ASSERT_EQ(moved.g().positions.size(), 6u);
    float lo[2] = {1e30f, 1e30f}, hi[2] = {-1e30f, -1e30f};
    for (const Vec3f& p : moved.g().positions) {
        lo[0] = std::min(lo[0], p.x), hi[0] = std::max(hi[0], p.x);
        lo[1] = std::min(lo[1], p.y), hi[1] = std::max(hi[1], p.y);
        EXPECT_FLOAT_EQ(p.z, 40.0f);  // Z is not re-aligned
    }
    EXPECT_FLOAT_EQ((lo[0] + hi[0]) / 2, 200.0f);  // the middle of the 400 x 400 layer
    EXPECT_FLOAT_EQ((lo[1] + hi[1]) / 2, 200.0f);
    EXPECT_FLOAT_EQ(hi[0] - lo[0], 60.0f);
}

TEST(Instances, ColourOpacityAndScaleOverrides) {
    const std::string green = R"({"X Points": 4, "Y Points": 1, "Z Points": 1,
        "Generate Faces": "None", "Color": "#00ff00", "Opacity": 80})";
    Gathered from(Doc(green, R"(, "Num of Instances": 2)"));
    ASSERT_EQ(from.g().colors.size(), 8u);
    ASSERT_EQ(from.g().scales.size(), 8u);
    for (size_t i = 0; i < 8; ++i) {
        EXPECT_FLOAT_EQ(from.g().colors[i].g, 1.0f);
        EXPECT_FLOAT_EQ(from.g().colors[i].r, 0.0f);
        EXPECT_NEAR(from.g().colors[i].a, 0.8f, 1e-5);
        EXPECT_FLOAT_EQ(from.g().scales[i], 1.0f);  // the other layer's scale
    }
    Gathered set(Doc(green, R"(, "Num of Instances": 2, "Get Color From Vertices": false,
        "Color": "#ff0000", "Get Opacity From Vertices": false, "Opacity": 20,
        "Get Scale From Vertices": false, "Scale": 3.5)"));
    ASSERT_EQ(set.g().colors.size(), 8u);
    ASSERT_EQ(set.g().scales.size(), 8u);
    for (size_t i = 0; i < 8; ++i) {
        EXPECT_FLOAT_EQ(set.g().colors[i].r, 1.0f);
        EXPECT_FLOAT_EQ(set.g().colors[i].g, 0.0f);
        EXPECT_NEAR(set.g().colors[i].a, 0.2f, 1e-5);
        EXPECT_FLOAT_EQ(set.g().scales[i], 3.5f) << i;
    }
}

TEST(Instances, OwnScalesLineUpWithTheVerticesOfOtherSources) {
    // A source before the instances on the same layer: its vertices keep the scale of 1, and the
    // instances' own scales stand on the instances' vertices.
    const std::string doc = R"({"tavrin": 1, "comps": [{"name": "C", "width": 400, "height": 400,
      "layers": [
      {"name": "Source", "solid": {}, "enabled": false, "effects": [
        {"effect": "Tavrin Primitives Object", "params": )" +
                            kRow + R"(}]},
      {"name": "L", "solid": {}, "effects": [
        {"effect": "Tavrin Primitives Object", "params": {"X Points": 5, "Y Points": 1,
          "Z Points": 1, "Generate Faces": "None"}},
        {"effect": "Tavrin Instances Object", "params": {"Instance Layer": "Source",
          "Num of Instances": 2, "Get Scale From Vertices": false, "Scale": 2}},
        {"effect": "Tavrin Primitives Object", "params": {"X Points": 3, "Y Points": 1,
          "Z Points": 1, "Generate Faces": "None"}}]}]}]})";
    Gathered g(doc);
    ASSERT_EQ(g.g().positions.size(), 16u);
    ASSERT_EQ(g.g().scales.size(), 16u);
    for (size_t i = 0; i < 16; ++i)
        EXPECT_FLOAT_EQ(g.g().scales[i], i >= 5 && i < 13 ? 2.0f : 1.0f) << i;
}

TEST(Instances, TheAxisDirectionAndAnglesPlaceTheCopies) {
    // Along X, positive: copies 0, 100, 200 to the right.
    Gathered x(Doc(kRow, R"(, "Num of Instances": 3, "Replication Depth": 200,
        "Replicate Axis": "X", "Replicate Direction": "Positive Axis")"));
    ASSERT_EQ(x.g().positions.size(), 12u);
    for (size_t i = 0; i < 4; ++i) {
        EXPECT_NEAR(x.g().positions[4 + i].x - x.g().positions[i].x, 100.0, 1e-3);
        EXPECT_NEAR(x.g().positions[8 + i].x - x.g().positions[i].x, 200.0, 1e-3);
        EXPECT_NEAR(x.g().positions[8 + i].z, x.g().positions[i].z, 1e-3);
    }
    // Negative Y: copies go up the screen.
    Gathered y(Doc(kRow, R"(, "Num of Instances": 3, "Replication Depth": 200,
        "Replicate Axis": "Y", "Replicate Direction": "Negative Axis")"));
    EXPECT_NEAR(y.g().positions[8].y - y.g().positions[0].y, -200.0, 1e-3);
    // Z from 0 to 90 degrees over two copies: copy 1 turns by 45 about the rotation centre,
    // and its normals turn with it.
    Gathered turned(Doc(kRow, R"(, "Num of Instances": 2, "Replication Depth": 0,
        "Rotation Center XY": [200, 200], "Z End Angle": 90)"));
    ASSERT_EQ(turned.g().positions.size(), 8u);
    for (size_t i = 0; i < 4; ++i) {
        const Vec3f a = turned.g().positions[i], b = turned.g().positions[4 + i];
        const double ra = std::hypot(a.x - 200.0, a.y - 200.0);
        const double rb = std::hypot(b.x - 200.0, b.y - 200.0);
        EXPECT_NEAR(rb, ra, 1e-3);
        if (ra > 1) {
            const double angle =
                std::atan2(b.y - 200.0, b.x - 200.0) - std::atan2(a.y - 200.0, a.x - 200.0);
            EXPECT_NEAR(std::abs(std::remainder(angle, 2 * 3.14159265358979)), 3.14159265 / 4,
                        1e-4);
        }
    }
    const Vec3f n0 = turned.g().normals[0], n1 = turned.g().normals[4];
    EXPECT_FLOAT_EQ(n0.x, 0.0f);
    EXPECT_FLOAT_EQ(n0.y, -1.0f);
    EXPECT_NEAR(std::abs(n1.x), std::sqrt(0.5), 1e-6);
    EXPECT_NEAR(n1.y, -std::sqrt(0.5), 1e-6);
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
