// Sprites: layer frames drawn as textured points by both engines, the refusal of a sprite that
// is not a composition, the sprite's own duration for random samples, the bilinear warp, and the
// GL array's life.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "engines/SpriteWarp.h"
#include "engines/TVGLEngine.h"
#include "engines/gl/GlGlobals.h"
#include "host/Gather.h"
#include "host/RenderPayloads.h"
#include "standalone/CompRenderer.h"
#include "standalone/Document.h"

namespace tv {
namespace {

// A 32 x 32 sprite comp that is white in its top half only (so a flipped sprite shows), and a
// row of points drawn with it. `sprite` names the layer the points renderer takes: "Sprite" (the
// precomp), "Plain" (a solid), "Picture" (image footage) or "Lamp" (a light: no source item).
std::string SpriteDoc(bool unified, const std::string& sprite = "Sprite",
                      const std::string& sampling = "Current Time",
                      const std::string& spriteLayerExtra = "") {
    return R"({"tavrin": 1, "comps": [
      {"name": "Half", "width": 32, "height": 32, "fps": 30, "duration": 2, "layers": [
        {"name": "Top", "solid": {"color": "#ffffff", "width": 32, "height": 16},
         "transform": {"position": [16, 8]}}]},
      {"name": "Main", "width": 160, "height": 60, "fps": 30, "duration": 2,
       "background": "#000000ff", "layers": [
        {"name": "Sprite", "precomp": {"comp": "Half"}, "enabled": false)" +
           spriteLayerExtra + R"(},
        {"name": "Plain", "solid": {"color": "#ff0000", "width": 20, "height": 20},
         "enabled": false},
        {"name": "L", "solid": {"color": "#000000"}, "effects": [
          {"effect": "Tavrin", "params": {"Render Motion Blur": "Off", "Unified Rendering": )" +
           (unified ? "true" : "false") + R"(}},
          {"effect": "Tavrin Primitives Object", "params": {"X Points": 3, "Y Points": 1,
            "Z Points": 1, "Cube Width": 100, "Generate Faces": "None", "Opacity": 100}},
          {"effect": "Tavrin Points Renderer", "params": {"Points Size": 12,
            "Points Perspective Aware": false, "Textured Sprite": ")" +
           sprite + R"(", "Time Sampling": ")" + sampling + R"("}}]},
        {"name": "Picture", "image": {"file": ")" +
           std::string(TAVRIN_TEST_DATA) + R"(/e2e/refs/sprites_0020.png"}, "enabled": false},
        {"name": "Lamp", "light": {}}]}]})";
}

standalone::FloatImage Render(const std::string& doc,
                              std::vector<std::string>* messages = nullptr) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(doc, "doc.json", host);
    standalone::CompRenderer renderer(host);
    std::vector<std::string> m;
    auto image = renderer.renderFrame(*host.compByName("Main"), 0, 32, m);
    if (messages) *messages = m;
    return image;
}

TEST(Sprites, TheSoftwareEngineDrawsTheLayerFrameTheRightWayUp) {
    const auto image = Render(SpriteDoc(false));
    // The middle point sits at (80, 30) with a 24 px square: white above the centre, black below.
    EXPECT_GT(image.pixel(80, 24)[0], 0.9f);
    EXPECT_LT(image.pixel(80, 36)[0], 0.05f);
    EXPECT_LT(image.pixel(80, 45)[0], 0.05f);  // beyond the sprite
}

TEST(Sprites, SoftwareAndGlSpritesAgree) {
    const auto sw = Render(SpriteDoc(false));
    const auto gl = Render(SpriteDoc(true));
    double sum = 0;
    for (size_t i = 0; i < sw.rgba.size(); ++i) sum += std::abs(sw.rgba[i] - gl.rgba[i]);
    // Stated tolerance: a mean difference per channel under 2/255 (the GPU samples the sprite
    // through mipmaps at 16 jittered passes, the software bilinearly once per pixel).
    EXPECT_LT(sum / double(sw.rgba.size()), 2.0 / 255);
    EXPECT_GT(gl.pixel(80, 24)[0], 0.8f);
    EXPECT_LT(gl.pixel(80, 36)[0], 0.1f);
}

TEST(Sprites, ASpriteThatIsNotACompositionGivesTheMessageAndDiscs) {
    for (bool unified : {false, true}) {
        std::vector<std::string> messages;
        const auto image = Render(SpriteDoc(unified, "Plain"), &messages);
        ASSERT_FALSE(messages.empty()) << unified;
        EXPECT_NE(messages[0].find("Tavrin - Item has to be Pre-Comped to use it as a Sprite"),
                  std::string::npos);
        // A disc (white, the points' colour) at the middle point, round: its corner is empty.
        EXPECT_GT(image.pixel(80, 30)[0], 0.9f) << unified;
        EXPECT_LT(image.pixel(80 + 11, 30 + 11)[0], 0.1f) << unified;
    }
}

// The message, then a disc (white, the points' colour) at the middle point, round: its corner is
// empty.
void ExpectMessageAndDiscs(const std::string& sprite) {
    for (bool unified : {false, true}) {
        std::vector<std::string> messages;
        const auto image = Render(SpriteDoc(unified, sprite), &messages);
        ASSERT_FALSE(messages.empty()) << sprite << " " << unified;
        EXPECT_NE(messages[0].find("Tavrin - Item has to be Pre-Comped to use it as a Sprite"),
                  std::string::npos);
        EXPECT_GT(image.pixel(80, 30)[0], 0.9f) << sprite << " " << unified;
        EXPECT_LT(image.pixel(80 + 11, 30 + 11)[0], 0.1f) << sprite << " " << unified;
    }
}

TEST(Sprites, ASpriteLayerOfImageFootageGivesTheMessageAndDiscs) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(SpriteDoc(false, "Picture"), "doc.json", host);
    const AEGP_LayerH picture = host.compByName("Main")->layers[3]->uid;
    ASSERT_EQ(host.layerName(picture), "Picture");
    const AEGP_ItemH item = host.layerSourceItem(picture);
    ASSERT_NE(item, 0u);
    ASSERT_EQ(host.itemType(item), AEGP_ItemType_FOOTAGE);
    ExpectMessageAndDiscs("Picture");
}

// The points renderer's gather of `doc`: the sample times and the sample of each vertex.
std::pair<std::vector<A_Time>, std::vector<uint32_t>> GatheredSamples(const std::string& doc) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(doc, "doc.json", host);
    standalone::Layer& l = *host.compByName("Main")->layers[2];
    ObjectMessage m;
    InitObjectMessage(m);
    EXPECT_EQ(Gather(host, l.uid, host.compByName("Main")->frameTime(0), m), 0);
    std::pair<std::vector<A_Time>, std::vector<uint32_t>> out;
    for (const RenderItem& it : m.renders->items)
        if (it.kind == kRenderPoints) {
            const auto& p = it.as<PointsPayload>();
            out.first.assign(p.times, p.times + p.timeCount);
            out.second.assign(p.sampleIndex, p.sampleIndex + p.vertexCount);
        }
    FreeRenderItems(m.renders->items);
    DisposeObjectMessage(m);
    return out;
}

TEST(Sprites, ASpriteLayerWithoutASourceBuildsNoSamplesAndDrawsDiscs) {
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(SpriteDoc(false, "Lamp"), "doc.json", host);
    const AEGP_LayerH lamp = host.compByName("Main")->layers[4]->uid;
    ASSERT_EQ(host.layerName(lamp), "Lamp");
    // A light, like a camera or a text layer, has no source item.
    EXPECT_EQ(host.layerSourceItem(lamp), 0u);
    // "Random Still" builds one time per vertex from a precomp; from a layer without a source,
    // nothing: the one current time, shown by every vertex.
    const auto [precompTimes, precompIndices] =
        GatheredSamples(SpriteDoc(false, "Sprite", "Random Still"));
    EXPECT_EQ(precompTimes.size(), 3u);
    const auto [times, indices] = GatheredSamples(SpriteDoc(false, "Lamp", "Random Still"));
    ASSERT_EQ(times.size(), 1u);
    EXPECT_EQ(times[0].value, 0);
    EXPECT_EQ(indices, std::vector<uint32_t>(3, 0));
    ExpectMessageAndDiscs("Lamp");
}

TEST(Sprites, RandomSamplesStayInsideTheSpriteLayersOwnDuration) {
    // The sprite layer lasts half a second of the two-second comp.
    standalone::EmbeddedHost host;
    standalone::LoadDocumentText(SpriteDoc(false, "Sprite", "Random Still", R"(, "outPoint": 0.5)"),
                                 "doc.json", host);
    standalone::Layer& l = *host.compByName("Main")->layers[2];
    ObjectMessage m;
    InitObjectMessage(m);
    ASSERT_EQ(Gather(host, l.uid, host.compByName("Main")->frameTime(0), m), 0);
    const RenderItem* item = nullptr;
    for (const RenderItem& it : m.renders->items)
        if (it.kind == kRenderPoints) item = &it;
    ASSERT_NE(item, nullptr);
    const auto& p = item->as<PointsPayload>();
    ASSERT_EQ(p.timeCount, 3u);
    for (uint32_t i = 0; i < p.timeCount; ++i)
        EXPECT_LT(double(p.times[i].value) / p.times[i].scale, 0.5) << i;
    FreeRenderItems(m.renders->items);
    DisposeObjectMessage(m);
}

TEST(SpriteWarp, BilinearSamplesArePremultipliedAndClampedAtTheEdges) {
    // Two pixels: opaque red, then transparent.
    std::vector<PF_Pixel8> px = {{255, 255, 0, 0}, {0, 0, 0, 255}};
    PF_EffectWorld w;
    w.width = 2, w.height = 1, w.rowbytes = 8, w.format = PF_PixelFormat_ARGB32;
    w.data = reinterpret_cast<uint8_t*>(px.data());
    float c[4];
    SampleBilinear(w, 1.0, 0.5, c);  // half way between the two centres
    EXPECT_NEAR(c[0], 0.5f, 1e-6);   // red, premultiplied: the transparent blue adds nothing
    EXPECT_NEAR(c[2], 0.0f, 1e-6);
    EXPECT_NEAR(c[3], 0.5f, 1e-6);
    SampleBilinear(w, -5.0, 0.5, c);  // clamped to the first pixel
    EXPECT_NEAR(c[0], 1.0f, 1e-6);
    EXPECT_FLOAT_EQ(SpriteHalfHeight(10, w), 5.0f);
}

// A GL engine over a small target with the sprite array of `times` from a layer of the host.
struct GlSpriteFixture : ::testing::Test {
    standalone::EmbeddedHost host;
    std::string why;
    const gl::GlGlobals* globals = nullptr;
    void SetUp() override {
        standalone::LoadDocumentText(SpriteDoc(true), "doc.json", host);
        gl::GlFramework framework;
        globals = gl::FrameworkGlobals(framework);
    }
    AEGP_LayerH spriteLayer() { return host.compByName("Main")->layers[0]->uid; }
};

TEST_F(GlSpriteFixture, AnEmptyTimeListDoesNotMarkTheEngine) {
    ASSERT_NE(globals, nullptr);
    PF_EffectWorld out;
    TVGLEngine engine(&host, &out, 8, globals);
    engine.allocateTargets(true, 16, 16);
    ASSERT_EQ(engine.prepareSprites(spriteLayer(), {}), PF_Err_NONE);
    EXPECT_FALSE(engine.holdsSprites());
    ASSERT_EQ(engine.prepareSprites(spriteLayer(), {A_Time{0, 30000}}), PF_Err_NONE);
    EXPECT_TRUE(engine.holdsSprites());
}

TEST_F(GlSpriteFixture, ATimeListMarksTheEngineEvenWhenNoFrameComesOut) {
    ASSERT_NE(globals, nullptr);
    PF_EffectWorld out;
    TVGLEngine engine(&host, &out, 8, globals);
    engine.allocateTargets(true, 16, 16);
    // A light has no pixels to check out.
    const AEGP_LayerH lamp = host.compByName("Main")->layers[4]->uid;
    ASSERT_EQ(host.layerName(lamp), "Lamp");
    engine.prepareSprites(lamp, {A_Time{0, 30000}});
    EXPECT_TRUE(engine.holdsSprites());
}

// A GL engine seeing x and y from -100 to 100 across a 32 x 32 float target, its passes set.
struct GlSpriteFrame {
    std::vector<float> pixels = std::vector<float>(32 * 32 * 4, 0.0f);
    PF_EffectWorld out;
    TVGLEngine engine;
    GlSpriteFrame(standalone::EmbeddedHost& host, const gl::GlGlobals* globals)
        : out(MakeWorld(pixels)), engine(&host, &out, 32, globals) {}
    static PF_EffectWorld MakeWorld(std::vector<float>& pixels) {
        PF_EffectWorld w;
        w.width = w.height = 32, w.rowbytes = 32 * 16, w.format = PF_PixelFormat_ARGB128;
        w.data = reinterpret_cast<uint8_t*>(pixels.data());
        return w;
    }
    void begin() {
        CameraSnapshot cam;
        cam.width = cam.height = 32;
        cam.compWidth = cam.compHeight = 32;
        cam.aspect = 1, cam.fieldOfView = 90, cam.imagePlaneWidth = 32;
        cam.normalizeX = cam.normalizeY = cam.normalizeZ = 32;
        cam.nearPlane = 1.0f / 32, cam.farPlane = 1000.0f / 32;
        cam.coordinateSystem = kRightHanded;
        cam.cameraMatrix.m[14] = -100;
        ComputeCameraMatrices(cam);
        engine.allocateTargets(true, 32, 32);
        engine.zNear = cam.nearPlane, engine.zFar = cam.farPlane;
        engine.nearFade = cam.nearPlane, engine.farFade = cam.farPlane;
        engine.prepareSamples(cam, 16, 1);
        engine.setPassRange(cam, 16, 1, 0, 16);
        engine.clearDrawables();
    }
    void finish() {
        engine.renderPasses();
        engine.compositeFrame();
        engine.readBack(out);
    }
    float alphaAt(int x, int y) const { return pixels[(size_t(y) * 32 + size_t(x)) * 4]; }
};

// The sprite comp is square and white in its top half. A sprite of half sizes 60 x 30 units
// (9.6 x 4.8 pixels) is white from row 11.2 to the centre row 16; one as tall as wide would be
// white from row 6.4.
TEST_F(GlSpriteFixture, TheRecordsHeightIsTheSpritesHalfHeight) {
    ASSERT_NE(globals, nullptr);
    GlSpriteFrame f(host, globals);
    f.begin();
    ASSERT_EQ(f.engine.prepareSprites(spriteLayer(), {A_Time{0, 30000}}), PF_Err_NONE);
    DrawSprite s;
    s.width = 60, s.height = 30;
    s.color[0] = s.color[1] = s.color[2] = s.color[3] = 1;
    std::vector<DrawSprite> sprites{s};
    ASSERT_EQ(f.engine.drawSprites(sprites), PF_Err_NONE);
    f.finish();
    EXPECT_GT(f.alphaAt(16, 13), 0.9f);
    EXPECT_LT(f.alphaAt(16, 8), 0.05f);
    EXPECT_GT(f.alphaAt(22, 13), 0.9f);  // and it keeps its width
}

TEST_F(GlSpriteFixture, ASecondDrawWithoutPreparingDrawsNothing) {
    ASSERT_NE(globals, nullptr);
    std::vector<float> pixels(32 * 32 * 4, 0.0f);
    PF_EffectWorld out;
    out.width = out.height = 32, out.rowbytes = 32 * 16, out.format = PF_PixelFormat_ARGB128;
    out.data = reinterpret_cast<uint8_t*>(pixels.data());
    TVGLEngine engine(&host, &out, 32, globals);
    CameraSnapshot cam;
    cam.width = cam.height = 32;
    cam.compWidth = cam.compHeight = 32;
    cam.aspect = 1, cam.fieldOfView = 90, cam.imagePlaneWidth = 32;
    cam.normalizeX = cam.normalizeY = cam.normalizeZ = 32;
    cam.nearPlane = 1.0f / 32, cam.farPlane = 1000.0f / 32;
    cam.coordinateSystem = kRightHanded;
    cam.cameraMatrix.m[14] = -100;
    ComputeCameraMatrices(cam);
    engine.allocateTargets(true, 32, 32);
    engine.zNear = cam.nearPlane, engine.zFar = cam.farPlane;
    engine.nearFade = cam.nearPlane, engine.farFade = cam.farPlane;
    engine.prepareSamples(cam, 16, 1);
    engine.setPassRange(cam, 16, 1, 0, 16);
    engine.clearDrawables();
    ASSERT_EQ(engine.prepareSprites(spriteLayer(), {A_Time{0, 30000}}), PF_Err_NONE);
    DrawSprite left, right;
    left.x = -50, left.width = left.height = 20;
    right.x = 50, right.width = right.height = 20;
    std::vector<DrawSprite> first{left}, second{right};
    ASSERT_EQ(engine.drawSprites(first), PF_Err_NONE);
    ASSERT_EQ(engine.drawSprites(second), PF_Err_NONE);
    engine.renderPasses();
    engine.compositeFrame();
    engine.readBack(out);
    auto alphaAt = [&](int x, int y) { return pixels[(size_t(y) * 32 + size_t(x)) * 4]; };
    EXPECT_GT(alphaAt(8, 14), 0.5f);   // the first sprite's white top half, left of centre
    EXPECT_EQ(alphaAt(24, 14), 0.0f);  // the second drew nothing
}

}  // namespace
}  // namespace tv
