// The lines renderer through the embedded host: lines held from one frame and the vertex count.
#include <gtest/gtest.h>

#include <algorithm>

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
    doc.replace(doc.find(from), from.size(),
                R"("X Points": {"keys": [{"t": 0, "v": 6}, {"t": 1, "v": 8}]})");
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

namespace tv {
namespace {

struct Lines {
    std::vector<int32_t> pairs;
    std::vector<float> opacity, thickness;
    int items = 0;
};

Lines LinesAt(standalone::EmbeddedHost& host, int64_t frame) {
    auto& comp = *host.project().comps[0];
    ObjectMessage m;
    InitObjectMessage(m);
    EXPECT_EQ(Gather(host, comp.layers[0]->uid, comp.frameTime(frame), m), 0);
    Lines out;
    for (const RenderItem& item : m.renders->items)
        if (item.kind == kRenderLines) {
            ++out.items;
            const auto& p = item.as<LinesPayload>();
            for (uint32_t i = 0; i < p.pairCount; ++i) {
                out.pairs.insert(out.pairs.end(), {p.pairs[i].a, p.pairs[i].b});
                out.opacity.push_back(p.opacity[i]);
                out.thickness.push_back(p.thickness[i]);
            }
        }
    DisposeObjectMessage(m);
    return out;
}

TEST(LinesRenderer, OverTimeIntervalAtTheEndOfTheCompTakesTheStartFrameUnblended) {
    // 2 s at 10 fps, interval 1 s: frame 19 lies in [10, 20), and frame 20 is the comp's end.
    standalone::EmbeddedHost every, interval;
    standalone::LoadDocumentText(Doc("Every Frame"), "doc.json", every);
    standalone::LoadDocumentText(Doc("Over Time Interval"), "doc.json", interval);
    const Lines start = LinesAt(every, 10);
    ASSERT_FALSE(start.pairs.empty());
    const Lines end = LinesAt(interval, 19);
    EXPECT_EQ(end.items, 1);
    // The pairs and factors of frame 10 alone: a blend at 0.9 of the way would fade them.
    EXPECT_EQ(end.pairs, start.pairs);
    EXPECT_EQ(end.opacity, start.opacity);
    EXPECT_EQ(end.thickness, start.thickness);
    // Within the first interval both ends are fetched and the factors are blended.
    const Lines mid = LinesAt(interval, 5);
    const Lines zero = LinesAt(every, 0);
    EXPECT_NE(mid.opacity, zero.opacity);
}

TEST(LinesRenderer, EveryFrameNeverReportsAChangingVertexCount) {
    std::string doc = Doc("Every Frame");
    const std::string from = "\"X Points\": 6";
    doc.replace(doc.find(from), from.size(),
                R"("X Points": {"keys": [{"t": 0, "v": 6}, {"t": 1, "v": 8}]})");
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(doc, "doc.json", host);
    host.takeReports();
    for (int64_t frame : {0, 5, 9, 10, 15, 19}) {
        const Lines l = LinesAt(host, frame);
        ASSERT_FALSE(l.pairs.empty()) << frame;
        EXPECT_EQ(l.items, 1) << frame;
        // 6 x 6 x 2 vertices at frame 0, 8 x 6 x 2 from 1 s on.
        const int32_t highest = *std::max_element(l.pairs.begin(), l.pairs.end());
        if (frame == 0) {
            EXPECT_LT(highest, 72);
        } else if (frame >= 10) {
            EXPECT_GE(highest, 72) << frame;
        }
    }
    EXPECT_TRUE(host.takeReports().empty());
}

}  // namespace
}  // namespace tv
