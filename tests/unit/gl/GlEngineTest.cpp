// The GL engine on this machine's GL (llvmpipe without a GPU): context and programs, the pass
// loop, stochastic transparency against the exact composite, depth maps and depth ties. Small
// targets keep it fast.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <vector>

#include <GL/glew.h>

#include "engines/TVGLEngine.h"
#include "engines/gl/GlGlobals.h"
#include "engines/gl/GlLog.h"

namespace tv {
namespace {

struct Globals {
    gl::GlGlobals* g = nullptr;
    std::string why;
    Globals() { g = gl::CreateGlGlobals(why); }
    ~Globals() { gl::DestroyGlGlobals(g); }
};

Globals& Shared() {
    static Globals globals;
    return globals;
}

// A camera 100 units in front of the origin looking down +z with a 90 degree field: a 64 px
// target sees x and y from -100 to 100 on the z = 0 plane.
CameraSnapshot TestCamera(int32_t size) {
    CameraSnapshot c;
    c.width = c.height = size;
    c.compWidth = c.compHeight = float(size);
    c.aspect = 1;
    c.fieldOfView = 90;
    c.imagePlaneWidth = int16_t(size);
    c.normalizeX = c.normalizeY = c.normalizeZ = float(size);
    c.nearPlane = 1.0f / float(size);
    c.farPlane = 1000.0f / float(size);
    c.coordinateSystem = kRightHanded;
    c.cameraMatrix.m[14] = -100;
    ComputeCameraMatrices(c);
    return c;
}

struct Frame {
    int32_t size;
    std::vector<float> pixels;  // A, R, G, B floats
    PF_EffectWorld world;
    explicit Frame(int32_t s) : size(s), pixels(size_t(s) * size_t(s) * 4, 0.0f) {
        world.width = world.height = s;
        world.rowbytes = s * 16;
        world.format = PF_PixelFormat_ARGB128;
        world.data = reinterpret_cast<uint8_t*>(pixels.data());
    }
    const float* at(int32_t x, int32_t y) const {
        return &pixels[(size_t(y) * size_t(size) + size_t(x)) * 4];
    }
};

DrawTriangle Quad(float z, const std::array<float, 4>& color, float half, bool second) {
    DrawTriangle t;
    const double a[3][3] = {{-half, -half, z}, {half, -half, z}, {half, half, z}};
    const double b[3][3] = {{-half, -half, z}, {half, half, z}, {-half, half, z}};
    for (int k = 0; k < 3; ++k)
        for (int c = 0; c < 3; ++c) t.corners[k][c] = second ? b[k][c] : a[k][c];
    for (auto& corner : t.colors)
        for (int c = 0; c < 4; ++c) corner[c] = color[size_t(c)];
    return t;
}

// Renders `triangles` with `samples` passes into a frame of `size` pixels, accumulating passes or
// through the multisample target.
// Without the alpha correction the frame is the plain mean of the stochastic passes.
Frame Render(std::vector<DrawTriangle> triangles, int32_t samples, int32_t size = 32,
             const PF_EffectWorld* depthLayer = nullptr, bool accumulate = true,
             bool alphaCorrection = true) {
    Frame f(size);
    TVGLEngine engine(nullptr, &f.world, 32, Shared().g);
    EXPECT_TRUE(engine.valid());
    engine.alphaCorrection = alphaCorrection;
    const CameraSnapshot cam = TestCamera(size);
    engine.allocateTargets(accumulate, size, size);
    engine.zNear = cam.nearPlane, engine.zFar = cam.farPlane;
    engine.nearFade = cam.nearPlane, engine.farFade = cam.farPlane;
    if (depthLayer) engine.prepareDepthLayer(depthLayer, 50, 150);
    engine.prepareSamples(cam, samples, 1);
    engine.setPassRange(cam, samples, 1, 0, samples);
    engine.clearDrawables();
    engine.drawTriangles(triangles);
    engine.renderPasses();
    engine.compositeFrame();
    engine.readBack(f.world);
    EXPECT_EQ(engine.passesRun, std::max(samples, accumulate ? 16 : 2));
    return f;
}

TEST(GlContext, GlobalSetupMakesEveryProgramAndBothTextures) {
    Globals& g = Shared();
    ASSERT_NE(g.g, nullptr) << "no GL: " << g.why;
    EXPECT_GE(g.g->glVersion, 32);
    for (int32_t family = 0; family < 4; ++family)
        for (int32_t row = 0; row < gl::kRowCount; ++row) {
            const bool msaa = row == gl::kRowMsaaStochastic || row == gl::kRowOpaqueMsaaStochastic;
            if (msaa && g.g->glVersion < 41)
                EXPECT_EQ(g.g->families[family][row], 0u);
            else
                EXPECT_NE(g.g->families[family][row], 0u) << family << " " << row;
        }
    for (uint32_t p : {g.g->framePlain, g.g->frameDepthCull, g.g->transmittanceSum,
                       g.g->frameMsaaAlphaCorrection, g.g->frameOneMinusAlphaMsaa,
                       g.g->stochasticComposite, g.g->layerCopy, g.g->depthMap})
        EXPECT_NE(p, 0u);
    EXPECT_NE(g.g->randomMaskTexture.id, 0u);
    EXPECT_NE(g.g->circleTexture.id, 0u);
}

TEST(GlContext, AThreadThatRendersTwiceReusesItsContext) {
    ASSERT_NE(Shared().g, nullptr);
    std::vector<std::string> lines;
    gl::ScopedLogSink sink([&lines](const std::string& l) { lines.push_back(l); });
    gl::ThreadRenderState* state = nullptr;
    ASSERT_TRUE(gl::PrepareThreadState(*Shared().g, state));
    const int32_t made = gl::ThreadContextsMade();
    ASSERT_TRUE(gl::PrepareThreadState(*Shared().g, state));
    EXPECT_EQ(gl::ThreadContextsMade(), made);
    int32_t setups = 0;
    for (const auto& l : lines) setups += l == "Setting up New CtX";
    EXPECT_LE(setups, 1);
}

TEST(GlContext, ProgramFaultsAreReportedAndGiveZero) {
    ASSERT_NE(Shared().g, nullptr);
    gl::ThreadRenderState* state = nullptr;
    ASSERT_TRUE(gl::PrepareThreadState(*Shared().g, state));
    std::vector<std::string> lines;
    gl::ScopedLogSink sink([&lines](const std::string& l) { lines.push_back(l); });
    const uint32_t p = gl::CompileProgram(
        {{0x8B31 /* GL_VERTEX_SHADER */, "void main() { gl_Position = vec4(nonsense); }"}}, "",
        150);
    EXPECT_EQ(p, 0u);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines[0].rfind("Compile Shader Failed - ", 0), 0u);
}

TEST(GlContext, VersionsDecideThePathAndTheMultisampleRows) {
    EXPECT_FALSE(gl::HasGpuPath(31));
    EXPECT_TRUE(gl::HasGpuPath(32));
    EXPECT_FALSE(gl::CompilesMultisampleRows(32));
    EXPECT_FALSE(gl::CompilesMultisampleRows(40));
    EXPECT_TRUE(gl::CompilesMultisampleRows(41));
    EXPECT_TRUE(gl::CompilesMultisampleRows(45));
}

TEST(GlContext, UniformsAProgramDoesNotUseAreIgnoredWithoutAWord) {
    ASSERT_NE(Shared().g, nullptr);
    gl::ThreadRenderState* state = nullptr;
    ASSERT_TRUE(gl::PrepareThreadState(*Shared().g, state));
    std::vector<std::string> lines;
    gl::ScopedLogSink sink([&lines](const std::string& l) { lines.push_back(l); });
    const uint32_t program = Shared().g->framePlain;
    glUseProgram(program);
    gl::SetUniforms(program, {{"frameTex", gl::GlUniform::Texture(gl::UniformKind::Texture2D, 0)},
                              {"frameWeight", gl::GlUniform::Float(1)},
                              {"NotInThisProgram", gl::GlUniform::Float(3)}});
    EXPECT_TRUE(lines.empty());
    // An active uniform without a value is listed, and the call goes on.
    gl::SetUniforms(program, {{"frameWeight", gl::GlUniform::Float(1)}});
    glUseProgram(0);
    ASSERT_EQ(lines.size(), 1u) << lines.back();
    EXPECT_NE(lines[0].find("The Following Uniforms are not set:\nframeTex"), std::string::npos);
}

TEST(GlContext, FramebufferStatusesHaveTheirNames) {
    EXPECT_STREQ(gl::FramebufferStatusName(36054), "GL_FRAMEBUFFER_INCOMPLETE_ATTACHMENT");
    EXPECT_STREQ(gl::FramebufferStatusName(36182), "GL_FRAMEBUFFER_INCOMPLETE_MULTISAMPLE");
    EXPECT_STREQ(gl::FramebufferStatusName(33305), "GL_FRAMEBUFFER_UNDEFINED");
}

TEST(GlEngine, AnOpaquePrimitiveGetsFullCoverageAndItsExactColour) {
    ASSERT_NE(Shared().g, nullptr);
    const Frame f = Render(
        {Quad(0, {0.2f, 0.6f, 1.0f, 1.0f}, 50, false), Quad(0, {0.2f, 0.6f, 1.0f, 1.0f}, 50, true)},
        16);
    const float* c = f.at(16, 16);
    EXPECT_NEAR(c[0], 1.0f, 1e-5);  // alpha
    EXPECT_NEAR(c[1], 0.2f, 1e-5);
    EXPECT_NEAR(c[2], 0.6f, 1e-5);
    EXPECT_NEAR(c[3], 1.0f, 1e-5);
    EXPECT_EQ(f.at(0, 0)[0], 0.0f);  // outside the quad (x from -50 to 50 of -100..100)
}

// Through real passes, the mean of the passes alone (no alpha correction): a quad of alpha 0
// never survives the stochastic test, one of alpha 1 survives every pass, one of alpha 0.5 about
// every other.
TEST(GlEngine, AlphaZeroNeverSurvivesAPassAndAlphaOneAlwaysDoes) {
    ASSERT_NE(Shared().g, nullptr);
    auto quad = [](float alpha) {
        return std::vector<DrawTriangle>{Quad(0, {1, 1, 1, alpha}, 50, false),
                                         Quad(0, {1, 1, 1, alpha}, 50, true)};
    };
    const Frame none = Render(quad(0), 16, 32, nullptr, true, false);
    const Frame all = Render(quad(1), 16, 32, nullptr, true, false);
    const Frame half = Render(quad(0.5f), 16, 32, nullptr, true, false);
    double halfSum = 0;
    int32_t n = 0, halfPartial = 0;
    for (int32_t y = 10; y < 22; ++y)
        for (int32_t x = 10; x < 22; ++x) {
            for (int c = 0; c < 4; ++c) EXPECT_EQ(none.at(x, y)[c], 0.0f) << x << " " << y;
            for (int c = 0; c < 4; ++c) EXPECT_EQ(all.at(x, y)[c], 1.0f) << x << " " << y;
            const float a = half.at(x, y)[0];
            halfSum += a;
            halfPartial += a > 0.0f && a < 1.0f;
            ++n;
        }
    // The passes in between keep a share, so the frames above saw the test itself.
    EXPECT_NEAR(halfSum / n, 0.5, 0.1);
    EXPECT_GT(halfPartial, n / 2);
}

// The mean error of the colour against the exact alpha composite of two half-transparent quads.
double CompositeError(int32_t samples) {
    // Front: red at alpha 0.5; behind it: blue at alpha 0.5. Over: alpha 0.75, red 0.5, blue 0.25
    // (premultiplied).
    const Frame f =
        Render({Quad(0, {1, 0, 0, 0.5f}, 80, false), Quad(0, {1, 0, 0, 0.5f}, 80, true),
                Quad(40, {0, 0, 1, 0.5f}, 200, false), Quad(40, {0, 0, 1, 0.5f}, 200, true)},
               samples);
    double error = 0;
    int32_t n = 0;
    for (int32_t y = 8; y < 24; ++y)
        for (int32_t x = 8; x < 24; ++x) {
            const float* c = f.at(x, y);
            EXPECT_NEAR(c[0], 0.75f, 1e-4) << "alpha is exact after the correction";
            error += std::abs(c[1] - 0.5) + std::abs(c[3] - 0.25);
            ++n;
        }
    return error / n;
}

TEST(GlEngine, TheStochasticResultConvergesToTheAlphaComposite) {
    ASSERT_NE(Shared().g, nullptr);
    const double e16 = CompositeError(16), e64 = CompositeError(64), e256 = CompositeError(256);
    std::printf("mean colour error: 16 samples %.4f, 64 samples %.4f, 256 samples %.4f\n", e16, e64,
                e256);
    EXPECT_LT(e64, e16);
    EXPECT_LT(e256, e64);
    EXPECT_LT(e256, 0.05);
}

TEST(GlEngine, TheMultisamplePathBehindItsSwitchDrawsTheSameOpaqueQuad) {
    ASSERT_NE(Shared().g, nullptr);
    if (!gl::CompilesMultisampleRows(Shared().g->glVersion)) GTEST_SKIP() << "GL below 4.1";
    const Frame f = Render(
        {Quad(0, {0.2f, 0.6f, 1.0f, 1.0f}, 50, false), Quad(0, {0.2f, 0.6f, 1.0f, 1.0f}, 50, true)},
        8, 32, nullptr, false);
    const float* c = f.at(16, 16);
    EXPECT_NEAR(c[0], 1.0f, 1e-4);
    EXPECT_NEAR(c[2], 0.6f, 1e-4);
    EXPECT_EQ(f.at(0, 0)[0], 0.0f);
}

TEST(GlEngine, EqualDepthKeepsTheFirstDrawn) {
    ASSERT_NE(Shared().g, nullptr);
    const Frame f = Render({Quad(0, {1, 0, 0, 1}, 50, false), Quad(0, {1, 0, 0, 1}, 50, true),
                            Quad(0, {0, 0, 1, 1}, 50, false), Quad(0, {0, 0, 1, 1}, 50, true)},
                           16);
    EXPECT_NEAR(f.at(16, 16)[1], 1.0f, 1e-5);
    EXPECT_NEAR(f.at(16, 16)[3], 0.0f, 1e-5);
}

TEST(GlEngine, AFullyTransparentDepthLayerCullsNothing) {
    ASSERT_NE(Shared().g, nullptr);
    std::vector<float> clear(32 * 32 * 4, 0.0f);  // A, R, G, B all zero
    PF_EffectWorld layer;
    layer.width = layer.height = 32;
    layer.rowbytes = 32 * 16;
    layer.format = PF_PixelFormat_ARGB128;
    layer.data = reinterpret_cast<uint8_t*>(clear.data());
    const std::vector<DrawTriangle> scene = {Quad(0, {0, 1, 0, 1}, 50, false),
                                             Quad(0, {0, 1, 0, 1}, 50, true)};
    const Frame with = Render(scene, 16, 32, &layer);
    const Frame without = Render(scene, 16, 32);
    EXPECT_EQ(with.pixels, without.pixels);
    // A white (near) opaque layer in front of everything hides the quad.
    std::vector<float> white(32 * 32 * 4, 1.0f);
    layer.data = reinterpret_cast<uint8_t*>(white.data());
    const Frame hidden = Render(scene, 16, 32, &layer);
    EXPECT_EQ(hidden.at(16, 16)[0], 0.0f);
}

}  // namespace
}  // namespace tv
