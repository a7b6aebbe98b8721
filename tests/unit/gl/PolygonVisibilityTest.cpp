// "Polygon Visibility" on the unified engine: triangles show the side the popup keeps, judged by
// their winding as the camera sees it (counter-clockwise on the image is the front), from either
// side; points, lines and sprites face the camera and show under every choice.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "standalone/CompRenderer.h"
#include "standalone/Document.h"
#include "tests/support/GlTestFrame.h"

namespace tv {
namespace {

using gltest::Draw;
using gltest::Drawn;
using gltest::Globals;
using gltest::kSize;

// One opaque white triangle over the centre whose corners, seen from in front (x right, y down
// on the image), run counter-clockwise: (b - a) x (c - a) points at that camera.
Drawn DrawOneTriangle(int32_t visibility, bool behind) {
    return Draw(visibility, behind, [](TVGLEngine& e) {
        DrawTriangle t;
        const double corners[3][3] = {{-80, -80, 0}, {-80, 160, 0}, {160, -80, 0}};
        for (int k = 0; k < 3; ++k)
            for (int c = 0; c < 3; ++c) t.corners[k][c] = corners[k][c];
        for (auto& color : t.colors) color[0] = color[1] = color[2] = color[3] = 1;
        std::vector<DrawTriangle> triangles{t};
        e.drawTriangles(triangles);
    });
}

TEST(PolygonVisibility, BothSidesShowATriangleFromEitherSide) {
    ASSERT_NE(Globals(), nullptr);
    EXPECT_GT(DrawOneTriangle(1, false).centre, 0.99f);
    EXPECT_GT(DrawOneTriangle(1, true).centre, 0.99f);
}

TEST(PolygonVisibility, FrontFacingShowsTheCounterClockwiseSideOnly) {
    ASSERT_NE(Globals(), nullptr);
    EXPECT_GT(DrawOneTriangle(2, false).centre, 0.99f);
    EXPECT_EQ(DrawOneTriangle(2, true).centre, 0.0f);
}

TEST(PolygonVisibility, BackFacingShowsTheClockwiseSideOnly) {
    ASSERT_NE(Globals(), nullptr);
    EXPECT_EQ(DrawOneTriangle(3, false).centre, 0.0f);
    EXPECT_GT(DrawOneTriangle(3, true).centre, 0.99f);
}

// A 5 x 5 lattice of discs, and lines along its rows, from either side under every choice: the
// same pixels each time.
TEST(PolygonVisibility, PointsAndLinesShowUnderEveryChoice) {
    ASSERT_NE(Globals(), nullptr);
    auto feed = [](TVGLEngine& e) {
        std::vector<DrawPoint> points;
        std::vector<DrawLine> lines;
        for (int j = 0; j < 5; ++j) {
            for (int i = 0; i < 5; ++i) {
                DrawPoint p;
                p.x = -60 + 30 * i, p.y = -60 + 30 * j, p.size = 4;
                p.color[0] = p.color[1] = p.color[2] = p.color[3] = 1;
                points.push_back(p);
            }
            DrawLine l;
            l.start[0] = -60, l.end[0] = 60, l.start[1] = l.end[1] = -60 + 30 * j;
            l.startSize = l.endSize = 2;
            for (int c = 0; c < 4; ++c) l.startColor[c] = l.endColor[c] = 1;
            lines.push_back(l);
        }
        e.drawPoints(points);
        e.drawLines(lines);
    };
    const int32_t lit = Draw(1, false, feed).lit;
    EXPECT_GT(lit, 50);
    for (int32_t visibility : {1, 2, 3})
        for (bool behind : {false, true})
            EXPECT_EQ(Draw(visibility, behind, feed).lit, lit) << visibility << " " << behind;
}

// Sprites through a document: a row of three sprites of a 32 x 32 comp on the unified path.
int32_t LitSpritePixels(const std::string& visibility) {
    const std::string doc = R"({"tavrin": 1, "comps": [
      {"name": "Square", "width": 32, "height": 32, "fps": 30, "duration": 1, "layers": [
        {"name": "White", "solid": {"color": "#ffffff"}}]},
      {"name": "Main", "width": 160, "height": 60, "fps": 30, "duration": 1,
       "background": "#000000", "layers": [
        {"name": "Sprite", "precomp": {"comp": "Square"}, "enabled": false},
        {"name": "L", "solid": {"color": "#000000"}, "effects": [
          {"effect": "Tavrin", "params": {"Render Motion Blur": "Off",
            "Unified Rendering": true, "Polygon Visibility": ")" +
                            visibility + R"("}},
          {"effect": "Tavrin Primitives Object", "params": {"X Points": 3, "Y Points": 1,
            "Z Points": 1, "Cube Width": 100, "Generate Faces": "None", "Opacity": 100}},
          {"effect": "Tavrin Points Renderer", "params": {"Points Size": 8,
            "Textured Sprite": "Sprite"}}]}]}]})";
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(doc, "doc.json", host);
    standalone::CompRenderer renderer(host);
    std::vector<std::string> messages;
    const auto image = renderer.renderFrame(*host.compByName("Main"), 0, 32, messages);
    int32_t lit = 0;
    for (int32_t y = 0; y < image.height; ++y)
        for (int32_t x = 0; x < image.width; ++x) lit += image.pixel(x, y)[0] > 0.5f;
    return lit;
}

TEST(PolygonVisibility, SpritesShowUnderEveryChoice) {
    ASSERT_NE(Globals(), nullptr);
    const int32_t both = LitSpritePixels("Front & Back Facing");
    EXPECT_GT(both, 3 * 100);
    EXPECT_EQ(LitSpritePixels("Front Facing"), both);
    EXPECT_EQ(LitSpritePixels("Back Facing"), both);
}

}  // namespace
}  // namespace tv
