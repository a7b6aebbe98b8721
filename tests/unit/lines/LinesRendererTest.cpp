// The lines renderer through the embedded host: lines held from one frame and the vertex count.
#include <gtest/gtest.h>

#include "host/Gather.h"
#include "host/RenderPayloads.h"
#include "standalone/Document.h"

namespace tv {
namespace {

std::vector<int32_t> PairsAt(standalone::EmbeddedHost& host, int64_t frame) {
    auto& comp = *host.project().comps[0];
    ObjectMessage m;
    InitObjectMessage(m);
    EXPECT_EQ(Gather(host, comp.layers[0]->uid, comp.frameTime(frame), m), 0);
    std::vector<int32_t> pairs;
    for (const RenderItem& item : m.renders->items)
        if (item.kind == kRenderLines) {
            const auto& p = item.as<LinesPayload>();
            for (uint32_t i = 0; i < p.pairCount; ++i)
                pairs.insert(pairs.end(), {p.pairs[i].a, p.pairs[i].b});
        }
    DisposeObjectMessage(m);
    return pairs;
}

const char* kDoc =
    R"({"tavrin": 1, "comps": [{"name": "C", "fps": 10, "duration": 2, "layers": [{"solid": {}, "effects": [
    {"effect": "Tavrin Primitives Object", "params": {"X Points": 6, "Y Points": 6, "Z Points": 2}},
    {"effect": "Tavrin Noise Effector", "params": {"Noise Amplitude": 60,
      "Noise Evolution": {"keys": [{"t": 0, "v": 0}, {"t": 2, "v": 720}]}}},
    {"effect": "Tavrin Lines Renderer", "params": {"Maximum Distance": 140, "Calc Lines Distance": "%s"}}]}]}]})";

std::string Doc(const char* mode) {
    char buffer[2048];
    std::snprintf(buffer, sizeof buffer, kDoc, mode);
    return buffer;
}

TEST(LinesRenderer, OnlyOneFrameHoldsTheLinesOfThatFrame) {
    standalone::EmbeddedHost every, held;
    standalone::LoadDocumentText(Doc("Every Frame"), "doc.json", every);
    standalone::LoadDocumentText(Doc("Only One Frame"), "doc.json", held);
    const auto atZero = PairsAt(every, 0);
    ASSERT_FALSE(atZero.empty());
    EXPECT_NE(PairsAt(every, 15), atZero);  // the noise moves, the pairs change
    EXPECT_EQ(PairsAt(held, 15), atZero);   // held: frame 0's pairs
}

TEST(LinesRenderer, OverTimeIntervalBlendsTwoFrames) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(Doc("Over Time Interval"), "doc.json", host);
    EXPECT_FALSE(PairsAt(host, 5).empty());
    EXPECT_FALSE(PairsAt(host, 19).empty());  // the end of the comp: one frame only
}

}  // namespace
}  // namespace tv

namespace tv {
namespace {

TEST(LinesRenderer, IntervalZeroUsesTheFirstFrame) {
    std::string doc = Doc("Over Time Interval");
    doc.replace(doc.find("\"Calc Lines Distance\""), 0, "\"Calc Time Interval\": 0, ");
    standalone::EmbeddedHost every, zero;
    standalone::LoadDocumentText(Doc("Every Frame"), "doc.json", every);
    standalone::LoadDocumentText(doc, "doc.json", zero);
    EXPECT_EQ(PairsAt(zero, 15), PairsAt(every, 0));
}

TEST(LinesRenderer, VertexCountChangingOverTimeIsReported) {
    std::string doc = Doc("Only One Frame");
    const std::string from = "\"X Points\": 6";
    doc.replace(doc.find(from), from.size(), R"("X Points": {"keys": [{"t": 0, "v": 6}, {"t": 1, "v": 8}]})");
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(doc, "doc.json", host);
    host.takeReports();
    EXPECT_TRUE(PairsAt(host, 15).empty());
    const auto reports = host.takeReports();
    ASSERT_FALSE(reports.empty());
    EXPECT_EQ(reports.back(),
              "Vertex Count not constant over time. Cannot create Lines at given times.\nPlease "
              "switch back to Calculating Lines Every Frame.");
}

}  // namespace
}  // namespace tv
