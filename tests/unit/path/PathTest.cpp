// The path source: sampling of bezier paths, copies with scale and ribbons, caps through the
// tessellator with the vertex-count check, text outlines from a known font, and documents with
// masks and text layers.
#include <ft2build.h>
#include <gtest/gtest.h>
#include FT_FREETYPE_H

#include <algorithm>
#include <cmath>
#include <set>
#include <string>

#include "host/BezierPath.h"
#include "host/Gather.h"
#include "sources/PathGenerate.h"
#include "standalone/CompRenderer.h"
#include "standalone/Document.h"
#include "standalone/EmbeddedHost.h"
#include "standalone/TextOutlines.h"

namespace tv {
namespace {

constexpr double kPi = 3.14159265358979323846;

// A circle of four cubic segments with the usual handle length.
BezierPath Circle(double cx, double cy, double r) {
    const double k = 0.5522847498 * r;
    BezierPath p;
    p.closed = true;
    p.vertices = {{cx, cy - r, -k, 0, k, 0},
                  {cx + r, cy, 0, -k, 0, k},
                  {cx, cy + r, k, 0, -k, 0},
                  {cx - r, cy, 0, k, 0, -k}};
    return p;
}

BezierPath Polygon(std::initializer_list<std::pair<double, double>> points, bool closed = true) {
    BezierPath p;
    p.closed = closed;
    for (const auto& [x, y] : points) p.vertices.push_back({x, y, 0, 0, 0, 0});
    return p;
}

PathSettings Settings(int32_t copies = 1, int32_t points = 40) {
    PathSettings s;
    s.copies = copies;
    s.pointsPerMask = points;
    s.color[3] = 1;
    return s;
}

PathInput In(BezierPath p) {
    return {std::move(p), Color4f{1, 1, 1, 1}};
}

TEST(BezierPath, ACircleOfFourCubicsMeasuresTwoPiR) {
    const BezierPath c = Circle(0, 0, 100);
    ASSERT_EQ(PathSegmentCount(c), 4);
    double total = 0;
    for (int32_t s = 0; s < 4; ++s) total += PrepareSegmentLength(c, s, 100).length();
    // The four-cubic circle is 0.03% off a true circle and the polyline of 100 steps a hair
    // shorter than the curve: within 0.05% of 2 pi r.
    EXPECT_NEAR(total, 2 * kPi * 100, 2 * kPi * 100 * 5e-4);
}

TEST(BezierPath, EvaluationAtADistanceWalksTheArc) {
    const BezierPath c = Circle(0, 0, 100);
    const SegmentLengths l = PrepareSegmentLength(c, 0, 100);
    double x = 0, y = 0;
    EvalSegmentAt(c, 0, l, l.length() / 2, x, y);  // halfway along the first quarter: 45 degrees
    EXPECT_NEAR(std::atan2(y, x), -kPi / 4, 1e-3);
    EXPECT_NEAR(std::hypot(x, y), 100, 0.03);
    EvalSegmentAt(c, 0, l, 1e9, x, y);  // past the end: the segment's end
    EXPECT_DOUBLE_EQ(x, 100);
    EXPECT_DOUBLE_EQ(y, 0);
}

TEST(PathSampling, SubdivisionGivesExactlyTheCountAtEqualSpacing) {
    const auto pts = SamplePath(Circle(0, 0, 100), true, 40, 1, 1);
    ASSERT_EQ(pts.size(), 40u);
    for (size_t i = 0; i < pts.size(); ++i) {
        EXPECT_NEAR(std::hypot(pts[i].x, pts[i].y), 100, 0.05) << i;
        EXPECT_EQ(pts[i].index, int32_t(i));
        const auto& next = pts[(i + 1) % pts.size()];
        EXPECT_NEAR(std::hypot(next.x - pts[i].x, next.y - pts[i].y), 2 * kPi * 100 / 40, 0.2) << i;
    }
}

TEST(PathSampling, WithoutSubdivisionTheVerticesScaled) {
    const BezierPath square = Polygon({{0, 0}, {10, 0}, {10, 10}, {0, 10}});
    const auto closed = SamplePath(square, false, 99, 0.5, 2);
    ASSERT_EQ(closed.size(), 4u);  // the closing repeat of the first is dropped
    EXPECT_DOUBLE_EQ(closed[2].x, 5);
    EXPECT_DOUBLE_EQ(closed[2].y, 20);
    BezierPath open = square;
    open.closed = false;
    EXPECT_EQ(SamplePath(open, false, 99, 1, 1).size(), 4u);
}

TEST(PathSampling, OnePointPerMaskIsOneSample) {
    EXPECT_EQ(SamplePath(Circle(0, 0, 50), true, 1, 1, 1).size(), 1u);
    EXPECT_EQ(SamplePath(Polygon({{0, 0}, {30, 0}}, false), true, 1, 1, 1).size(), 1u);
}

TEST(PathSampling, AMaskOfOneVertexIsOnePointAndNoneIsNothing) {
    BezierPath one = Polygon({{7, 8}});
    const auto pts = SamplePath(one, true, 50, 1, 1);
    ASSERT_EQ(pts.size(), 1u);
    EXPECT_DOUBLE_EQ(pts[0].x, 7);
    EXPECT_TRUE(SamplePath(BezierPath{}, true, 50, 1, 1).empty());
    // And the object around it stands without faces or caps.
    const PathObject o = BuildPathObject(Settings(3), {In(one)});
    EXPECT_EQ(o.v.vertexCount(), 3u);
    EXPECT_TRUE(o.v.faces.empty());
}

TEST(PathObjects, OneClosedMaskOneCopyHasAFrontCapAndNoRibbon) {
    const PathObject o = BuildPathObject(Settings(1, 24), {In(Circle(0, 0, 100))});
    ASSERT_EQ(o.v.vertexCount(), 24u);
    EXPECT_TRUE(o.messages.empty());
    EXPECT_EQ(o.v.faces.size(), 22u);  // a fan-free triangulation of 24 points: n - 2
    PathSettings noCaps = Settings(1, 24);
    noCaps.generateCaps = false;
    EXPECT_TRUE(BuildPathObject(noCaps, {In(Circle(0, 0, 100))}).v.faces.empty());
}

TEST(PathObjects, AnOpenMaskHasNoCapButARibbonWithCopies) {
    const BezierPath line = Polygon({{0, 0}, {100, 0}, {100, 50}}, false);
    EXPECT_TRUE(BuildPathObject(Settings(1, 10), {In(line)}).v.faces.empty());
    const PathObject two = BuildPathObject(Settings(2, 10), {In(line)});
    EXPECT_EQ(two.v.vertexCount(), 20u);
    EXPECT_EQ(two.v.faces.size(), 2u * 9u);  // two triangles per quad, one band
}

TEST(PathObjects, ThreeCopiesOfAClosedMaskJoinTheLastBandToTheFirst) {
    PathSettings s = Settings(3, 12);
    s.generateCaps = false;
    const PathObject o = BuildPathObject(s, {In(Circle(0, 0, 100))});
    ASSERT_EQ(o.v.vertexCount(), 36u);
    EXPECT_EQ(o.v.faces.size(), 2u * 12u * 3u);
    // A triangle with corners in copy 2 and in copy 0: the band from the last copy back.
    const bool band20 = std::any_of(o.v.faces.begin(), o.v.faces.end(), [](const Vec3i& f) {
        const int32_t c[3] = {f.x / 12, f.y / 12, f.z / 12};
        return std::count(c, c + 3, 2) > 0 && std::count(c, c + 3, 0) > 0;
    });
    EXPECT_TRUE(band20);
}

TEST(PathObjects, ConcentricRingsMakeOneCapWithBothOutlines) {
    PathSettings s = Settings(2, 20);
    s.generateFacets = false;
    const PathObject o = BuildPathObject(s, {In(Circle(0, 0, 100)), In(Circle(0, 0, 50))});
    ASSERT_EQ(o.contours.size(), 2u);
    EXPECT_TRUE(o.messages.empty());
    // Odd winding: a ring of 40 points needs 40 triangles, front and back.
    EXPECT_EQ(o.v.faces.size(), 80u);
    std::set<int32_t> used;
    for (size_t i = 0; i < 40; ++i) used.insert({o.v.faces[i].x, o.v.faces[i].y, o.v.faces[i].z});
    // Front triangles use the first copy of both rings: outer 0..19, inner 40..59.
    for (int32_t v = 0; v < 20; ++v) EXPECT_TRUE(used.count(v)) << v;
    for (int32_t v = 40; v < 60; ++v) EXPECT_TRUE(used.count(v)) << v;
    // The ring's hole stays empty: no triangle has its centroid inside the inner circle.
    for (const Vec3i& f : o.v.faces) {
        double cx = 0, cy = 0;
        for (int32_t idx : {f.x, f.y, f.z})
            cx += o.v.positions[size_t(idx) * 3] / 3, cy += o.v.positions[size_t(idx) * 3 + 1] / 3;
        EXPECT_GT(std::hypot(cx, cy), 45);
    }
    // Back triangles sit on the second copy of both rings.
    auto back = [](int32_t v) { return (v >= 20 && v < 40) || (v >= 60 && v < 80); };
    for (size_t i = 40; i < 80; ++i)
        EXPECT_TRUE(back(o.v.faces[i].x) && back(o.v.faces[i].y) && back(o.v.faces[i].z)) << i;
}

TEST(PathObjects, AFigureEightFailsTheVertexCountCheckAndHasNoCaps) {
    PathSettings s = Settings(1);
    s.subdivide = false;
    const BezierPath eight = Polygon({{0, 0}, {100, 100}, {100, 0}, {0, 100}});  // a bow tie
    const PathObject o = BuildPathObject(s, {In(eight)});
    ASSERT_EQ(o.messages.size(), 1u);
    EXPECT_EQ(o.messages[0], "Vertex count check failed");
    EXPECT_TRUE(o.v.faces.empty());
}

TEST(PathObjects, ATessellatorErrorIsReportedAndLeavesTheRibbon) {
    // A point beyond what single precision holds reaches the tessellator as an infinite
    // coordinate, which it refuses.
    PathSettings s = Settings(2);
    s.subdivide = false;
    const BezierPath far = Polygon({{0, 0}, {1e39, 0}, {100, 100}, {0, 100}});
    const PathObject o = BuildPathObject(s, {In(far)});
    ASSERT_EQ(o.messages.size(), 1u);
    EXPECT_EQ(o.messages[0], "Tessellation Failed");
    // No caps: only the ribbon's two triangles per side of the four-sided band.
    EXPECT_EQ(o.v.faces.size(), 2u * 4u * 2u);
}

TEST(PathObjects, StartScaleZeroCollapsesTheFirstCopyOntoTheBoxCentre) {
    PathSettings s = Settings(3, 16);
    s.startScale = 0;
    s.generateCaps = false;
    const PathObject o = BuildPathObject(s, {In(Circle(200, 120, 50))});
    for (size_t i = 0; i < 16; ++i) {
        EXPECT_NEAR(o.v.positions[i * 3], 200, 1e-6) << i;
        EXPECT_NEAR(o.v.positions[i * 3 + 1], 120, 1e-6) << i;
    }
    // The next copy has scale 1/3 about the same centre.
    EXPECT_NEAR(std::hypot(o.v.positions[16 * 3] - 200, o.v.positions[16 * 3 + 1] - 120), 50.0 / 3,
                0.05);
}

TEST(PathObjects, CopiesStepTheExtrusionAndTheLatticeAndTheNormalsPointUp) {
    PathSettings s = Settings(3, 8);
    s.direction = kReplicatePlusZ;
    s.extrudeDepth = 100;
    const PathObject o = BuildPathObject(s, {In(Circle(0, 0, 10))});
    EXPECT_DOUBLE_EQ(o.v.positions[2], 0);
    EXPECT_DOUBLE_EQ(o.v.positions[8 * 3 + 2], 50);
    EXPECT_DOUBLE_EQ(o.v.positions[16 * 3 + 2], 100);
    EXPECT_EQ(o.v.lattice[17].x, 1);
    EXPECT_EQ(o.v.lattice[17].y, 2);
    EXPECT_EQ(o.v.lattice[17].z, 1);
    EXPECT_FLOAT_EQ(o.v.normals[0].y, -1);
}

TEST(TextOutlines, AKnownFontGivesTheExpectedContours) {
    standalone::TextStyle style{"B", "", "DejaVu Sans", 100};
    EXPECT_EQ(standalone::TextOutlines(style, 400, 200).size(), 3u);  // outside and two counters
    style.text = "oi";
    EXPECT_EQ(standalone::TextOutlines(style, 400, 200).size(), 4u);  // o: 2, i: stem and dot
    style.text = "";
    EXPECT_TRUE(standalone::TextOutlines(style, 400, 200).empty());
    style.text = "H";
    const auto h = standalone::TextOutlines(style, 400, 200);
    ASSERT_EQ(h.size(), 1u);
    double minX = 1e9, maxX = -1e9;
    for (const auto& v : h[0].vertices) minX = std::min(minX, v.x), maxX = std::max(maxX, v.x);
    EXPECT_NEAR((minX + maxX) / 2, 200, 3);  // centred across the layer
}

// The left edge of a glyph made of straight lines: its leftmost vertex.
double LeftEdge(const std::vector<BezierPath>& contours, size_t first, size_t end) {
    double x = 1e9;
    for (size_t c = first; c < end; ++c)
        for (const PathVertex& v : contours[c].vertices) x = std::min(x, v.x);
    return x;
}

TEST(TextOutlines, AKernedPairSitsCloserThanItsAdvances) {
    std::string why;
    const std::string file = standalone::ResolveFontFile({"AV", "", "DejaVu Sans", 100}, why);
    ASSERT_FALSE(file.empty()) << why;
    // The font's own metrics, unkerned and unhinted, at 100 pixels per em.
    FT_Library library = nullptr;
    ASSERT_EQ(FT_Init_FreeType(&library), 0);
    FT_Face face = nullptr;
    ASSERT_EQ(FT_New_Face(library, file.c_str(), 0, &face), 0);
    ASSERT_EQ(FT_Set_Char_Size(face, 0, 100 * 64, 72, 72), 0);
    auto metrics = [&](char c, double& advance, double& bearing) {
        ASSERT_EQ(FT_Load_Char(face, FT_ULong(c), FT_LOAD_NO_HINTING | FT_LOAD_NO_BITMAP), 0);
        advance = double(face->glyph->advance.x) / 64.0;
        bearing = double(face->glyph->metrics.horiBearingX) / 64.0;
    };
    double advanceA = 0, bearingA = 0, advanceV = 0, bearingV = 0, advanceH = 0, bearingH = 0;
    metrics('A', advanceA, bearingA);
    metrics('V', advanceV, bearingV);
    metrics('H', advanceH, bearingH);
    FT_Done_Face(face);
    FT_Done_FreeType(library);

    const auto av = standalone::TextOutlines({"AV", "", "DejaVu Sans", 100}, 400, 200);
    ASSERT_EQ(av.size(), 3u);  // A: outside and counter; V: one
    // Where each glyph's origin landed: its left edge less its bearing.
    const double originA = LeftEdge(av, 0, 2) - bearingA;
    const double originV = LeftEdge(av, 2, 3) - bearingV;
    const double step = originV - originA;
    EXPECT_LT(step, advanceA - 1.0) << "advance " << advanceA;
    EXPECT_GT(step, advanceA * 0.5);
    // The same measure on a pair the font does not kern steps by the advance.
    const auto ah = standalone::TextOutlines({"AH", "", "DejaVu Sans", 100}, 400, 200);
    ASSERT_EQ(ah.size(), 3u);
    const double stepAH = (LeftEdge(ah, 2, 3) - bearingH) - (LeftEdge(ah, 0, 2) - bearingA);
    EXPECT_NEAR(stepAH, advanceA, 1.0);
}

TEST(TextOutlines, AMissingFamilyOrFileIsAClearError) {
    std::string why;
    EXPECT_TRUE(standalone::ResolveFontFile({"x", "", "No Such Family 123", 10}, why).empty());
    EXPECT_NE(why.find("No Such Family 123"), std::string::npos);
    EXPECT_TRUE(standalone::ResolveFontFile({"x", "/nope/font.ttf", "", 10}, why).empty());
    EXPECT_NE(why.find("/nope/font.ttf"), std::string::npos);
    EXPECT_THROW(standalone::TextOutlines({"x", "", "No Such Family 123", 10}, 10, 10),
                 std::runtime_error);
}

TEST(TextOutlines, FilledGlyphsCoverTheirInsideOnly) {
    const auto coverage =
        standalone::FillCoverage({Polygon({{10, 10}, {30, 10}, {30, 30}, {10, 30}}),
                                  Polygon({{15, 15}, {25, 15}, {25, 25}, {15, 25}})},
                                 40, 40);
    EXPECT_FLOAT_EQ(coverage[12 * 40 + 12], 1.0f);
    EXPECT_FLOAT_EQ(coverage[5 * 40 + 5], 0.0f);
    // Non-zero: the inner square winds the same way, so it stays filled.
    EXPECT_FLOAT_EQ(coverage[20 * 40 + 20], 1.0f);
}

// Documents: masks filtered by name, colours from masks, text layers' outlines.
struct PathDoc : ::testing::Test {
    standalone::EmbeddedHost host;
    GeometryStore Run(const std::string& doc, size_t layer = 0) {
        standalone::LoadDocumentText(doc, "doc.json", host);
        auto& comp = *host.project().comps[0];
        ObjectMessage m;
        InitObjectMessage(m);
        EXPECT_EQ(Gather(host, comp.layers[layer]->uid, comp.frameTime(0), m), 0);
        GeometryStore g = *m.geometry;
        DisposeObjectMessage(m);
        return g;
    }
};

const char* kMasks = R"("masks": [
    {"name": "Logo A", "color": "#ff0000", "opacity": 40, "path": [[0, 0], [100, 0], [100, 100]]},
    {"name": "Other", "path": [[0, 0], [50, 0], [50, 50], [0, 50]]}])";

TEST_F(PathDoc, MasksPassTheNameFilterAndGiveTheirColour) {
    const GeometryStore g = Run(std::string(R"({"tavrin": 1, "comps": [{"name": "C", "width": 200,
      "height": 200, "layers": [{"name": "L", "solid": {}, )") +
                                kMasks + R"(, "effects": [
        {"effect": "Tavrin Path Object", "params": {"Mask Name Begins with": "Logo",
          "Points on Each Mask": 30, "Get Color from Masks": true,
          "Get Opacity from Masks": true}}]}]}]})");
    ASSERT_EQ(g.positions.size(), 30u);
    EXPECT_FLOAT_EQ(g.colors[0].r, 1.0f);
    EXPECT_FLOAT_EQ(g.colors[0].g, 0.0f);
    EXPECT_FLOAT_EQ(g.colors[0].a, 0.4f);
    ASSERT_EQ(g.ranges.size(), 1u);
    EXPECT_EQ(g.ranges[0].latticeSize[0], 30);
}

TEST_F(PathDoc, AnEmptyPrefixTakesEveryMaskAndNoMasksIsAnEmptyObject) {
    const GeometryStore all = Run(std::string(R"({"tavrin": 1, "comps": [{"name": "C",
      "width": 200, "height": 200, "layers": [{"name": "L", "solid": {}, )") +
                                  kMasks + R"(, "effects": [
        {"effect": "Tavrin Path Object", "params": {"Mask Name Begins with": "",
          "Points on Each Mask": 10}}]}]}]})");
    EXPECT_EQ(all.positions.size(), 20u);
}

TEST_F(PathDoc, ALayerWithoutMasksGivesAnEmptyObject) {
    const GeometryStore g = Run(R"({"tavrin": 1, "comps": [{"name": "C", "width": 200,
      "height": 200, "layers": [{"name": "L", "solid": {}, "effects": [
        {"effect": "Tavrin Path Object"}]}]}]})");
    EXPECT_TRUE(g.positions.empty());
    EXPECT_TRUE(g.faces.empty());
}

TEST_F(PathDoc, ATextLayerGivesItsGlyphsUnlessTextIsOff) {
    const std::string doc = R"({"tavrin": 1, "comps": [{"name": "C", "width": 400,
      "height": 200, "layers": [{"name": "T", "text": {"text": "oi", "size": 80}, "effects": [
        {"effect": "Tavrin Path Object", "params": {"Points on Each Mask": 20,
          "Get Paths from Text": GET}}]}]}]})";
    auto with = [&](const char* v) {
        std::string d = doc;
        d.replace(d.find("GET"), 3, v);
        standalone::EmbeddedHost h;
        standalone::LoadDocumentText(d, "doc.json", h);
        auto& comp = *h.project().comps[0];
        ObjectMessage m;
        InitObjectMessage(m);
        EXPECT_EQ(Gather(h, comp.layers[0]->uid, comp.frameTime(0), m), 0);
        const size_t n = m.geometry->positions.size();
        DisposeObjectMessage(m);
        return n;
    };
    EXPECT_EQ(with("true"), 4u * 20u);  // four contours of 20 points
    EXPECT_EQ(with("false"), 0u);
}

TEST(PathDocErrors, AMissingFontFamilyIsADocumentError) {
    standalone::EmbeddedHost host;
    try {
        standalone::LoadDocumentText(R"({"tavrin": 1, "comps": [{"name": "C", "width": 100,
          "height": 100, "layers": [{"name": "T", "text": {"text": "x",
          "family": "No Such Family 123"}}]}]})",
                                     "doc.json", host);
        FAIL() << "accepted a missing family";
    } catch (const std::exception& e) {
        EXPECT_NE(std::string(e.what()).find("layers[0].text.family"), std::string::npos)
            << e.what();
        EXPECT_NE(std::string(e.what()).find("No Such Family 123"), std::string::npos);
    }
}

TEST(TextLayerPixels, AGlyphIsFilledInTheLayersColourWithSoftEdges) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(R"({"tavrin": 1, "comps": [{"name": "C", "width": 200,
      "height": 120, "background": "#000000", "layers": [{"name": "T",
      "text": {"text": "I", "size": 100, "color": "#ff8000"}}]}]})",
                                 "doc.json", host);
    standalone::CompRenderer renderer(host);
    std::vector<std::string> messages;
    const standalone::FloatImage image =
        renderer.renderFrame(*host.project().comps[0], 0, 32, messages);
    // The stem of the I stands at the middle of the layer.
    const float* stem = image.pixel(100, 60);
    EXPECT_NEAR(stem[0], 1.0f, 1e-3);
    EXPECT_NEAR(stem[1], 128.0f / 255, 1e-2);
    EXPECT_NEAR(stem[3], 1.0f, 1e-3);
    EXPECT_FLOAT_EQ(image.pixel(20, 60)[0], 0.0f);  // the black background
    // Some pixel along the stem's edge is partly covered.
    bool soft = false;
    for (int32_t x = 80; x < 120; ++x) {
        const float a = image.pixel(x, 60)[0];
        soft = soft || (a > 0.05f && a < 0.95f);
    }
    EXPECT_TRUE(soft);
}

}  // namespace
}  // namespace tv
