#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <sstream>

#include "host/Gather.h"
#include "standalone/Document.h"
#include "standalone/GeometryExport.h"

namespace tv::standalone {
namespace {

TEST(GeometryExport, ShortestFloatsReadBackExactly) {
    for (float v : {0.1f, 1.0f / 3.0f, 115.67992f, -88.92524f, 3.961597e-08f, 1e30f}) {
        const std::string t = ShortestFloat(v);
        EXPECT_EQ(std::stof(t), v) << t;
    }
    EXPECT_EQ(ShortestFloat(0.5f), "0.5");
}

TEST(GeometryExport, JsonHoldsTheGatheredArraysAndItems) {
    EmbeddedHost host;
    LoadDocumentFile(std::string(TAVRIN_SOURCE_DIR) + "/examples/network.json", host);
    auto& layer = *host.project().comps[0]->layers[0];
    ObjectMessage m;
    InitObjectMessage(m);
    ASSERT_EQ(Gather(host, layer.uid, A_Time{0, 30000}, m), 0);
    std::ostringstream text;
    WriteGeometryJson(text, m);
    const auto doc = nlohmann::json::parse(text.str());
    ASSERT_EQ(doc["positions"].size(), m.geometry->positions.size());
    EXPECT_EQ(doc["positions"][7][1].get<float>(), m.geometry->positions[7].y);
    EXPECT_EQ(doc["ranges"][0]["latticeSize"][0], 48);
    EXPECT_EQ(doc["renderItems"][0]["kind"], "points");
    EXPECT_EQ(doc["renderItems"][1]["kind"], "lines");
    std::ostringstream ply;
    WriteGeometryPly(ply, *m.geometry);
    EXPECT_NE(ply.str().find("element vertex 1536"), std::string::npos);
    DisposeObjectMessage(m);
}

}  // namespace
}  // namespace tv::standalone
