// Work a frame would need, estimated before any of it is allocated: hostile documents are
// refused with the layer, effect, parameters and numbers named; ordinary ones pass.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "standalone/Document.h"
#include "standalone/WorkEstimate.h"

namespace tv::standalone {
namespace {

std::string OneLayer(const std::string& effects) {
    return R"({"tavrin": 1, "comps": [{"name": "C", "width": 200, "height": 200, "layers": [
      {"name": "L", "solid": {}, "effects": [)" +
           effects + "]}]}]}";
}

std::string Refusal(const std::string& doc, double limit = 8.0 * (1ull << 30)) {
    EmbeddedHost host;
    LoadDocumentText(doc, "doc.json", host);
    try {
        CheckWorkBudget(host, *host.project().comps[0], limit);
    } catch (const WorkLimitError& e) {
        return e.what();
    }
    return "";
}

TEST(WorkEstimate, AHugeCubeIsRefusedNamingItsParameters) {
    const auto start = std::chrono::steady_clock::now();
    const std::string why = Refusal(OneLayer(R"({"effect": "Tavrin Primitives Object",
        "params": {"X Points": 30000, "Y Points": 30000, "Z Points": 30000}})"));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    EXPECT_NE(why.find("layer \"L\""), std::string::npos) << why;
    EXPECT_NE(why.find("\"Tavrin Primitives Object\""), std::string::npos) << why;
    EXPECT_NE(why.find("\"X Points\" 30000"), std::string::npos) << why;
    EXPECT_NE(why.find("27000000000000 vertices"), std::string::npos) << why;
    EXPECT_NE(why.find("--memory-limit"), std::string::npos) << why;
}

TEST(WorkEstimate, AnOrdinaryDocumentPasses) {
    EXPECT_EQ(Refusal(OneLayer(R"({"effect": "Tavrin Primitives Object"},
        {"effect": "Tavrin Lines Renderer"})")),
              "");
}

TEST(WorkEstimate, ManyPointsWithAWideSearchAreRefusedForTheirPairs) {
    const std::string why = Refusal(OneLayer(R"({"effect": "Tavrin Primitives Object",
        "params": {"X Points": 1000, "Y Points": 1000, "Z Points": 10}},
        {"effect": "Tavrin Lines Renderer", "params": {"Max No. of Vertices to Search": 10000,
          "Maximum Distance": 100000}})"));
    EXPECT_NE(why.find("\"Tavrin Lines Renderer\""), std::string::npos) << why;
    EXPECT_NE(why.find("\"Max No. of Vertices to Search\" 10000"), std::string::npos) << why;
}

TEST(WorkEstimate, KeyframesCountAtTheirLargest) {
    const std::string why = Refusal(OneLayer(R"({"effect": "Tavrin Primitives Object",
        "params": {"X Points": 10, "Y Points": 10,
          "Z Points": {"keys": [{"t": 0, "v": 1}, {"t": 1, "v": 30000}]}}})"),
                                    1e6);
    EXPECT_NE(why.find("\"Z Points\" 30000"), std::string::npos) << why;
}

TEST(WorkEstimate, InstancesMultiplyTheirLayersVertices) {
    EmbeddedHost host;
    LoadDocumentText(R"({"tavrin": 1, "comps": [{"name": "C", "width": 200, "height": 200,
      "layers": [
        {"name": "Grid", "solid": {}, "enabled": false, "effects": [
          {"effect": "Tavrin Primitives Object", "params": {"X Points": 10, "Y Points": 10,
            "Z Points": 10}}]},
        {"name": "Copies", "solid": {}, "effects": [
          {"effect": "Tavrin Instances Object", "params": {"Instance Layer": "Grid",
            "Num of Instances": 50}}]}]}]})",
                     "doc.json", host);
    const WorkEstimate w = EstimateFrameWork(host, *host.project().comps[0]);
    double copies = 0;
    for (const WorkItem& item : w.items)
        if (item.where.find("Copies") != std::string::npos) copies = item.count;
    EXPECT_DOUBLE_EQ(copies, 50000);
}

TEST(WorkEstimate, AFanOutOfNestedPrecompsIsRefused) {
    // Eight comps deep, each showing the next eight times: 8^7 renders for one frame.
    std::string comps;
    for (int d = 0; d < 8; ++d) {
        std::string layers;
        for (int i = 0; i < 8 && d < 7; ++i)
            layers += std::string(i ? "," : "") + R"({"name": "P)" + std::to_string(i) +
                      R"(", "precomp": {"comp": "C)" + std::to_string(d + 1) + R"("}})";
        if (d == 7) layers = R"({"name": "S", "solid": {}})";
        comps += std::string(d ? "," : "") + R"({"name": "C)" + std::to_string(d) +
                 R"(", "width": 64, "height": 64, "layers": [)" + layers + "]}";
    }
    const auto start = std::chrono::steady_clock::now();
    const std::string why = Refusal(R"({"tavrin": 1, "comps": [)" + comps + "]}");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_NE(why.find("comp \"C0\""), std::string::npos) << why;
    EXPECT_NE(why.find("comp renders per frame"), std::string::npos) << why;
    EXPECT_NE(why.find("\"C1\" > \"C2\""), std::string::npos) << why;
}

// A chain of comps, each showing the next once: `levels` precomp levels below the first.
std::string PrecompChain(int levels) {
    std::string comps;
    for (int d = 0; d <= levels; ++d) {
        const std::string layer = d < levels ? R"({"name": "P", "precomp": {"comp": "C)" +
                                                   std::to_string(d + 1) + R"("}})"
                                             : R"({"name": "S", "solid": {}})";
        comps += std::string(d ? "," : "") + R"({"name": "C)" + std::to_string(d) +
                 R"(", "width": 16, "height": 16, "layers": [)" + layer + "]}";
    }
    return R"({"tavrin": 1, "comps": [)" + comps + "]}";
}

TEST(WorkEstimate, PrecompsNestAtMostThirtyTwoLevels) {
    EXPECT_EQ(Refusal(PrecompChain(kMaxPrecompDepth)), "");
    const std::string why = Refusal(PrecompChain(kMaxPrecompDepth + 1));
    EXPECT_NE(why.find("comp \"C0\": its precomps nest 33 levels deep (through \"C1\" > \"C2\""),
              std::string::npos)
        << why;
    EXPECT_NE(why.find("at most 32 levels are rendered"), std::string::npos) << why;
}

TEST(WorkEstimate, SizesReadAndPrint) {
    EXPECT_DOUBLE_EQ(ParseBytes("512m"), 512.0 * 1024 * 1024);
    EXPECT_DOUBLE_EQ(ParseBytes("4G"), 4.0 * 1024 * 1024 * 1024);
    EXPECT_DOUBLE_EQ(ParseBytes("2048"), 2048);
    EXPECT_EQ(ParseBytes("lots"), -1);
    EXPECT_EQ(ParseBytes("-3g"), -1);
    EXPECT_EQ(ParseBytes("3x"), -1);
    EXPECT_EQ(FormatBytes(1536), "1.5 KB");
    EXPECT_GT(DefaultMemoryLimit(), 1e8);
}

}  // namespace
}  // namespace tv::standalone
