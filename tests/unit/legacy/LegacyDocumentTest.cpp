// The legacy renderer through the embedded host and a document, with results worked out by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <tuple>

#include "host/Gather.h"
#include "host/RenderPayloads.h"
#include "standalone/Document.h"

namespace tv {
namespace {

struct Line {
    int32_t a, b;
    float opacity, thickness;
};

struct Frame {
    std::vector<uint32_t> kinds;
    std::vector<Line> lines;  // sorted by pair
    LinesPayload linesHead;   // the lines item's scalar fields
    std::vector<uint32_t> points;
    PointsPayload pointsHead;
};

Frame FrameAt(standalone::EmbeddedHost& host, int64_t frame) {
    auto& comp = *host.project().comps[0];
    ObjectMessage m;
    InitObjectMessage(m);
    EXPECT_EQ(Gather(host, comp.layers[0]->uid, comp.frameTime(frame), m), 0);
    Frame f;
    for (const RenderItem& item : m.renders->items) {
        f.kinds.push_back(item.kind);
        if (item.kind == kRenderLines) {
            const auto& p = item.as<LinesPayload>();
            for (uint32_t i = 0; i < p.pairCount; ++i)
                f.lines.push_back({p.pairs[i].a, p.pairs[i].b, p.opacity[i], p.thickness[i]});
            f.linesHead = p;
            f.linesHead.pairs = nullptr;
            f.linesHead.opacity = f.linesHead.thickness = nullptr;
        } else if (item.kind == kRenderPoints) {
            const auto& p = item.as<PointsPayload>();
            f.points.assign(p.vertices, p.vertices + p.vertexCount);
            f.pointsHead = p;
            f.pointsHead.vertices = f.pointsHead.sampleIndex = nullptr;
            f.pointsHead.times = nullptr;
        }
    }
    std::sort(f.lines.begin(), f.lines.end(),
              [](const Line& x, const Line& y) { return std::tie(x.a, x.b) < std::tie(y.a, y.b); });
    DisposeObjectMessage(m);
    return f;
}

std::vector<std::pair<int32_t, int32_t>> Pairs(const Frame& f) {
    std::vector<std::pair<int32_t, int32_t>> out;
    for (const Line& l : f.lines) out.emplace_back(l.a, l.b);
    return out;
}

// A row of four vertices 100 apart on x: -150, -50, 50, 150.
std::string RowDoc(const char* legacyParams) {
    char buffer[2048];
    std::snprintf(
        buffer, sizeof buffer,
        R"({"tavrin": 1, "comps": [{"name": "C", "fps": 10, "duration": 1, "layers": [{"solid": {}, "effects": [
    {"effect": "Tavrin Primitives Object", "params": {"X Points": 4, "Y Points": 1, "Z Points": 1,
      "Cube Width": 300, "Generate Faces": "None"}},
    {"effect": "Tavrin Legacy Renderer", "params": {%s}}]}]}]})",
        legacyParams);
    return buffer;
}

using PairList = std::vector<std::pair<int32_t, int32_t>>;

TEST(LegacyDocument, FourInARowByHand) {
    // 120 + 120 = 240: neighbours (100 apart) and next-but-one (200) connect, the ends (300)
    // do not. The curve is full up to sample trunc(120 / 240 * 200) = 100 and then falls to 0:
    // at 100 / 240 the factor is 1; at 200 / 240, x = 166.67, between samples 166 (17) and 167
    // (16.5): (17 / 3 + 16.5 * 2 / 3) / 50 = 1 / 3. Jitter moves each distance by well under 1.
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(
        RowDoc(R"("Maximum Distance": 120, "Fade-Out Distance": 120, "Line Thickness": 3)"),
        "doc.json", host);
    const Frame f = FrameAt(host, 3);
    EXPECT_EQ(f.kinds, (std::vector<uint32_t>{kRenderLines, kRenderPoints}));
    ASSERT_EQ(Pairs(f), (PairList{{0, 1}, {0, 2}, {1, 2}, {1, 3}, {2, 3}}));
    for (const Line& l : f.lines) {
        SCOPED_TRACE(l.a * 10 + l.b);
        EXPECT_NEAR(l.opacity, l.b - l.a == 1 ? 1.0f : 1.0f / 3.0f, 0.005f);
        EXPECT_FLOAT_EQ(l.thickness, 1.0f);
    }
    EXPECT_FLOAT_EQ(f.linesHead.size, 3.0f);
    EXPECT_EQ(f.points, (std::vector<uint32_t>{0, 1, 2, 3}));
    EXPECT_EQ(f.pointsHead.timeCount, 1u);
}

TEST(LegacyDocument, FadeOutZeroReachesTheMaximumAtFullOpacity) {
    // 250 + 0: every pair up to 200 apart at factor 1.
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(RowDoc(R"("Maximum Distance": 250, "Fade-Out Distance": 0)"),
                                 "doc.json", host);
    const Frame f = FrameAt(host, 0);
    ASSERT_EQ(Pairs(f), (PairList{{0, 1}, {0, 2}, {1, 2}, {1, 3}, {2, 3}}));
    for (const Line& l : f.lines) EXPECT_FLOAT_EQ(l.opacity, 1.0f);
}

TEST(LegacyDocument, BothDistancesZeroDrawNoLinesBetweenSeparateVertices) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(RowDoc(R"("Maximum Distance": 0, "Fade-Out Distance": 0)"),
                                 "doc.json", host);
    const Frame f = FrameAt(host, 0);
    EXPECT_EQ(f.kinds, (std::vector<uint32_t>{kRenderLines, kRenderPoints}));
    EXPECT_TRUE(f.lines.empty());
}

TEST(LegacyDocument, DrawAndRenderOrder) {
    struct Case {
        const char* params;
        std::vector<uint32_t> kinds;
    };
    const Case cases[] = {
        {R"("Draw": "Points")", {kRenderPoints}},
        {R"("Draw": "Lines")", {kRenderLines}},
        {R"("Render Order": "Lines After Points")", {kRenderPoints, kRenderLines}},
        {R"("Draw": "Lines", "Render Order": "Lines After Points")", {kRenderLines}},
    };
    for (const Case& c : cases) {
        standalone::EmbeddedHost host;
        standalone::LoadDocumentText(RowDoc(c.params), "doc.json", host);
        EXPECT_EQ(FrameAt(host, 0).kinds, c.kinds) << c.params;
    }
}

TEST(LegacyDocument, ColourLinksAndOnlyConnected) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(RowDoc(R"("Override Points Color": true, "Points Color": [0, 1, 0],
                  "Lines Color": [1, 0, 0], "Lines Opacity": 80,
                  "Draw Only Connected Points": true, "Points Size": 5)"),
                                 "doc.json", host);
    const Frame f = FrameAt(host, 0);
    EXPECT_EQ(f.linesHead.overrideColor, 1);
    EXPECT_FLOAT_EQ(f.linesHead.color[0], 0.0f);
    EXPECT_FLOAT_EQ(f.linesHead.color[1], 1.0f);
    EXPECT_FLOAT_EQ(f.linesHead.color[3], 0.8f);
    EXPECT_EQ(f.linesHead.overrideOpacity, 0);
    EXPECT_EQ(f.pointsHead.overrideColor, 1);
    EXPECT_EQ(f.pointsHead.onlyConnected, 1);
    EXPECT_FLOAT_EQ(f.pointsHead.size, 5.0f);
}

// Two pairs of vertices, 100 apart on x, group 1 at z 0 and group 2 at z 60: within a group 100
// apart, across 60 (straight) and 116.6 (diagonal).
std::string GroupsDoc(const char* between) {
    char buffer[2048];
    std::snprintf(
        buffer, sizeof buffer,
        R"({"tavrin": 1, "comps": [{"name": "C", "fps": 10, "duration": 1, "layers": [{"solid": {}, "effects": [
    {"effect": "Tavrin Primitives Object", "params": {"X Points": 2, "Y Points": 1, "Z Points": 1,
      "Cube Width": 100, "Generate Faces": "None", "Group": "Group 2", "Center Z": 60}},
    {"effect": "Tavrin Primitives Object", "params": {"X Points": 2, "Y Points": 1, "Z Points": 1,
      "Cube Width": 100, "Generate Faces": "None", "Group": "Group 1"}},
    {"effect": "Tavrin Legacy Renderer", "params": {"Maximum Distance": 120,
      "Fade-Out Distance": 0, "Draw Lines Between": "%s"}}]}]}]})",
        between);
    return buffer;
}

TEST(LegacyDocument, DrawLinesBetweenGroups) {
    const std::pair<const char*, PairList> cases[] = {
        {"All Groups", {{0, 1}, {0, 2}, {0, 3}, {1, 2}, {1, 3}, {2, 3}}},
        {"Same Group", {{0, 1}, {2, 3}}},
        {"Different Group", {{0, 2}, {0, 3}, {1, 2}, {1, 3}}},
    };
    for (const auto& [between, pairs] : cases) {
        standalone::EmbeddedHost host;
        standalone::LoadDocumentText(GroupsDoc(between), "doc.json", host);
        EXPECT_EQ(Pairs(FrameAt(host, 0)), pairs) << between;
    }
}

}  // namespace
}  // namespace tv
