// The triangulation renderer in a document: triangles held from one frame, blended over an
// interval, the hull of a primitive, and the vertex count over time.
#include <gtest/gtest.h>

#include <set>

#include "host/Gather.h"
#include "host/RenderPayloads.h"
#include "standalone/Document.h"

namespace tv {
namespace {

struct Triangles {
    std::vector<int32_t> triples;
    std::vector<float> opacity;
    int items = 0;
};

Triangles TrianglesAt(standalone::EmbeddedHost& host, int64_t frame) {
    auto& comp = *host.project().comps[0];
    ObjectMessage m;
    InitObjectMessage(m);
    EXPECT_EQ(Gather(host, comp.layers[0]->uid, comp.frameTime(frame), m), 0);
    Triangles out;
    for (const RenderItem& item : m.renders->items)
        if (item.kind == kRenderTriangles) {
            ++out.items;
            const auto& p = item.as<TrianglesPayload>();
            for (uint32_t i = 0; i < p.tripleCount; ++i) {
                out.triples.insert(out.triples.end(),
                                   {p.triples[i].a, p.triples[i].b, p.triples[i].c});
                out.opacity.push_back(p.opacity[i]);
            }
        }
    DisposeObjectMessage(m);
    return out;
}

const char* kDoc =
    R"({"tavrin": 1, "comps": [{"name": "C", "fps": 10, "duration": 2, "layers": [{"solid": {}, "effects": [
    {"effect": "Tavrin Primitives Object", "params": {"X Points": 6, "Y Points": 6, "Z Points": 2}},
    {"effect": "Tavrin Noise Effector", "params": {"Noise Amplitude": 60,
      "Noise Evolution": {"keys": [{"t": 0, "v": 0}, {"t": 2, "v": 720}]}}},
    {"effect": "Tavrin Triangulation Renderer", "params": {"Maximum Distance": 140,
      "Max No. of Triangles Per Vertex": 3, "Calc Triangles Distance": "%s"}}]}]}]})";

std::string Doc(const char* mode) {
    char buffer[2048];
    std::snprintf(buffer, sizeof buffer, kDoc, mode);
    return buffer;
}

TEST(TriangulationRenderer, OnlyOneFrameHoldsTheTrianglesOfThatFrame) {
    standalone::EmbeddedHost every, held;
    standalone::LoadDocumentText(Doc("Every Frame"), "doc.json", every);
    standalone::LoadDocumentText(Doc("Only One Frame"), "doc.json", held);
    const Triangles atZero = TrianglesAt(every, 0);
    ASSERT_FALSE(atZero.triples.empty());
    EXPECT_EQ(atZero.items, 1);
    EXPECT_NE(TrianglesAt(every, 15).triples, atZero.triples);  // the noise moves them
    EXPECT_EQ(TrianglesAt(held, 15).triples, atZero.triples);   // held: frame 0's
}

TEST(TriangulationRenderer, OverTimeIntervalBlendsAndAtTheEndTakesOneFrame) {
    standalone::EmbeddedHost every, interval;
    standalone::LoadDocumentText(Doc("Every Frame"), "doc.json", every);
    standalone::LoadDocumentText(Doc("Over Time Interval"), "doc.json", interval);
    // Frame 19 lies in [10, 20), and frame 20 is the comp's end: frame 10's triangles alone.
    const Triangles start = TrianglesAt(every, 10);
    const Triangles end = TrianglesAt(interval, 19);
    ASSERT_FALSE(start.triples.empty());
    EXPECT_EQ(end.triples, start.triples);
    EXPECT_EQ(end.opacity, start.opacity);
    // Within the first interval the two ends blend: some triangles fade.
    const Triangles mid = TrianglesAt(interval, 5);
    const Triangles zero = TrianglesAt(every, 0);
    EXPECT_NE(mid.opacity, zero.opacity);
    EXPECT_GE(mid.triples.size(), zero.triples.size());
}

TEST(TriangulationRenderer, AChangingVertexCountIsReported) {
    std::string doc = Doc("Only One Frame");
    const std::string from = "\"X Points\": 6";
    doc.replace(doc.find(from), from.size(),
                R"("X Points": {"keys": [{"t": 0, "v": 6}, {"t": 1, "v": 8}]})");
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(doc, "doc.json", host);
    host.takeReports();
    EXPECT_TRUE(TrianglesAt(host, 15).triples.empty());
    const auto reports = host.takeReports();
    ASSERT_FALSE(reports.empty());
    EXPECT_EQ(reports.back(),
              "Vertex Count not constant over time. Cannot create Lines at given times.\nPlease "
              "switch back to Calculating Lines Every Frame.");
}

TEST(TriangulationRenderer, OuterSurfaceOfASphere) {
    const char* doc =
        R"({"tavrin": 1, "comps": [{"name": "C", "fps": 10, "duration": 1, "layers": [{"solid": {}, "effects": [
        {"effect": "Tavrin Primitives Object", "params": {"Primitive Type": "Sphere",
          "Sphere Radius": 100, "Sphere Slices": 12, "Sphere Stacks": 8, "Sphere Layers": 1}},
        {"effect": "Tavrin Triangulation Renderer", "params": {"Render Mode": "Outer Surface",
          "Maximum Distance": 1000}}]}]}]})";
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(doc, "doc.json", host);
    const Triangles t = TrianglesAt(host, 0);
    // A closed triangulated surface over V distinct hull vertices has 2V - 4 triangles.
    std::set<int32_t> corners(t.triples.begin(), t.triples.end());
    ASSERT_GE(corners.size(), 4u);
    EXPECT_EQ(t.triples.size() / 3, 2 * corners.size() - 4);
}

}  // namespace
}  // namespace tv
