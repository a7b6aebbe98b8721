// The points item of a group with no vertices, and "Draw Only Connected Points" with a lines
// renderer that connects only some of the vertices.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "engines/Feeding.h"
#include "host/Gather.h"
#include "host/RenderPayloads.h"
#include "renderers/PointsSamples.h"
#include "standalone/CompRenderer.h"
#include "standalone/Document.h"

namespace tv {
namespace {

// An engine that keeps what the feeding step hands it.
struct Recorder : TV_Base_Render {
    using TV_Base_Render::TV_Base_Render;
    std::vector<DrawPoint> points;
    std::vector<DrawSprite> sprites;
    int pointCalls = 0, spriteCalls = 0;
    PF_Err drawPoints(std::vector<DrawPoint>& p) override {
        ++pointCalls;
        points = p;
        return PF_Err_NONE;
    }
    PF_Err drawSprites(std::vector<DrawSprite>& s) override {
        ++spriteCalls;
        sprites = s;
        return PF_Err_NONE;
    }
};

const RenderItem* FirstOfKind(const ObjectMessage& m, uint32_t kind) {
    for (const RenderItem& it : m.renders->items)
        if (it.kind == kind) return &it;
    return nullptr;
}

TEST(PointsEdges, GroupWithNoVerticesSendsAnItemWithEmptyLists) {
    standalone::EmbeddedHost host;
    auto& comp = host.addComp("c", 100, 100);
    auto& layer = host.addLayer(comp, "l", standalone::LayerKind::Solid);
    auto& prim = host.applyEffectInstance(layer, "KDL TAVRSRC Primitives");
    prim.params[3].value.u.slider = 3;
    prim.params[4].value.u.slider = 2;
    prim.params[5].value.u.slider = 1;
    prim.params[26].value.u.popup = 2;  // the cube fills group 2
    auto& points = host.applyEffectInstance(layer, "KDL TAVRREN Points");
    points.params[21].value.u.popup = 5;  // and the renderer draws group 5

    for (bool sprite : {false, true}) {
        if (sprite) {
            points.params[12].value.u.layerId = int32_t(layer.id);
            points.params[14].value.u.popup = kSampleRandomStill;
        }
        ObjectMessage m;
        InitObjectMessage(m);
        ASSERT_EQ(Gather(host, layer.uid, A_Time{0, 30000}, m), 0);
        ASSERT_EQ(m.geometry->positions.size(), 6u);
        const RenderItem* item = FirstOfKind(m, kRenderPoints);
        ASSERT_NE(item, nullptr) << sprite;  // the item still goes out
        const PointsPayload& p = item->as<PointsPayload>();
        EXPECT_EQ(p.vertexCount, 0u) << sprite;
        EXPECT_EQ(p.hasSprite, sprite ? 1 : 0);

        // Fed to an engine it gives no records at all. The sprite here is a solid, not a
        // composition, so it is drawn as discs either way.
        Recorder engine(nullptr, nullptr, 8);
        const UsageMasks masks = BuildUsageMasks(m.renders->items, m.geometry->positions.size());
        ASSERT_EQ(FeedPoints(engine, *item, *m.geometry, masks), 0);
        EXPECT_EQ(engine.pointCalls, 1);
        EXPECT_EQ(engine.spriteCalls, 0);
        EXPECT_TRUE(engine.points.empty());
        EXPECT_TRUE(engine.sprites.empty());
        FreeRenderItems(m.renders->items);
        DisposeObjectMessage(m);
    }
}

// A 200 x 100 comp. Group A: two points 10 apart at x = 20 and 30; group B: two points 60 apart
// at x = 100 and 160, all on y = 50. Lines join points closer than 20: only A's pair.
std::string ConnectedDoc(bool onlyConnected, bool lines) {
    std::string effects = R"({"effect": "Tavrin"},
      {"effect": "Tavrin Primitives Object", "params": {"X Points": 2, "Y Points": 1,
       "Z Points": 1, "Cube Width": 10, "Center XY": [25, 50], "Opacity": 100,
       "Generate Faces": "None"}},
      {"effect": "Tavrin Primitives Object", "params": {"X Points": 2, "Y Points": 1,
       "Z Points": 1, "Cube Width": 60, "Center XY": [130, 50], "Opacity": 100,
       "Generate Faces": "None"}},
      {"effect": "Tavrin Points Renderer", "params": {"Points Size": 3,
       "Draw Only Connected Points": )" +
                          std::string(onlyConnected ? "true" : "false") + "}}";
    if (lines)
        effects += R"(, {"effect": "Tavrin Lines Renderer", "params": {"Maximum Distance": 20}})";
    return R"({"tavrin": 1, "comps": [{"name": "C", "width": 200, "height": 100, "layers": [
        {"name": "Net", "solid": {}, "effects": [)" +
           effects + "]}]}]}";
}

float AlphaAt(const standalone::FloatImage& image, int x, int y) {
    return image.pixel(x, y)[3];
}

standalone::FloatImage Render(const std::string& doc) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(doc, "doc.json", host);
    standalone::CompRenderer renderer(host);
    std::vector<std::string> messages;
    const auto& comp = *host.project().comps[0];
    // Depth 1: no background under the layer.
    standalone::FloatImage image = renderer.renderAtTime(comp, comp.frameTime(0), 8, messages, 1);
    EXPECT_TRUE(messages.empty());
    return image;
}

TEST(PointsEdges, OnlyConnectedPointsAreDrawnThroughTheDriver) {
    const standalone::FloatImage all = Render(ConnectedDoc(false, true));
    const standalone::FloatImage connected = Render(ConnectedDoc(true, true));
    // Every point shows without the switch.
    for (int x : {20, 30, 100, 160}) EXPECT_GT(AlphaAt(all, x, 50), 0.9f) << x;
    // With it, B's points, which no line reaches, are gone; A's disc is still there, also
    // above the line (2 pixels up, beyond its 1-pixel radius).
    EXPECT_EQ(AlphaAt(connected, 100, 50), 0.0f);
    EXPECT_EQ(AlphaAt(connected, 160, 50), 0.0f);
    EXPECT_GT(AlphaAt(connected, 20, 50), 0.9f);
    EXPECT_GT(AlphaAt(connected, 30, 48), 0.9f);
    EXPECT_GT(AlphaAt(connected, 20, 48), 0.9f);
    // No lines at all: nothing is connected, so nothing is drawn.
    const standalone::FloatImage none = Render(ConnectedDoc(true, false));
    for (float v : none.rgba) ASSERT_EQ(v, 0.0f);
}

TEST(PointsEdges, OnlyConnectedPointsThroughTheUsageMasks) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(ConnectedDoc(true, true), "doc.json", host);
    const auto& layer = *host.project().comps[0]->layers[0];
    ObjectMessage m;
    InitObjectMessage(m);
    ASSERT_EQ(Gather(host, layer.uid, A_Time{0, 30000}, m), 0);
    ASSERT_EQ(m.geometry->positions.size(), 4u);
    const UsageMasks masks = BuildUsageMasks(m.renders->items, 4);
    EXPECT_EQ(masks.lines, (std::vector<uint8_t>{1, 1, 0, 0}));
    const RenderItem* item = FirstOfKind(m, kRenderPoints);
    ASSERT_NE(item, nullptr);
    Recorder engine(nullptr, nullptr, 8);
    ASSERT_EQ(FeedPoints(engine, *item, *m.geometry, masks), 0);
    ASSERT_EQ(engine.points.size(), 2u);
    for (const DrawPoint& p : engine.points) EXPECT_LT(p.x, 50.0);  // group A's pair only
    FreeRenderItems(m.renders->items);
    DisposeObjectMessage(m);
}

}  // namespace
}  // namespace tv
