// The unified engine's passes: each pass's camera (jittered, lens-shifted) and uniforms, the
// transmittance and the stochastic passes (accumulated, or sample by sample in one multisampled
// target), the composite of their mean, and the read-back into the output world.
#include <GL/glew.h>

#include <algorithm>

#include "engines/TVGLEngine.h"

namespace tv {

namespace {

using gl::GlAttribute;
using gl::GlDrawable;
using gl::GlUniform;
using gl::UniformKind;

constexpr float kIdentity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
constexpr float kFlipY[16] = {1, 0, 0, 0, 0, -1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
constexpr float kZero[4] = {0, 0, 0, 0};
constexpr double kPixelShiftX = 0.5, kPixelShiftY = 0.5;
constexpr float kOpaqueBlack[4] = {0, 0, 0, 1};
constexpr float kOpaqueWhite[4] = {1, 1, 1, 1};

}  // namespace

std::map<std::string, GlUniform> TVGLEngine::commonUniforms(int32_t pass) const {
    std::map<std::string, GlUniform> u;
    float mv[16], proj[16];
    const size_t s = offsets_.jitter.empty() ? 0 : size_t(pass) % offsets_.jitter.size();
    // The software engines sample a pixel at its integer coordinates, GL at its centre: half a
    // pixel more on both axes puts both paths' pixels on the same spot.
    std::array<double, 2> jitter = {kPixelShiftX, kPixelShiftY}, lens = {0, 0};
    if (!offsets_.jitter.empty()) {
        jitter[0] += offsets_.jitter[s][0], jitter[1] += offsets_.jitter[s][1];
        lens = offsets_.lens[s];
    }
    SampleMatrices(modelView2_, projection2_, jitter, lens, focusDistance_, width_, height_, mv,
                   proj);
    u["ProjectionMatrix"] = GlUniform::Mat4(proj);
    u["ModelViewMatrix"] = GlUniform::Mat4(mv);
    u["ScaleMatrix"] = GlUniform::Mat4(kFlipY);
    const float normalize[3] = {float(normalize_[0]), float(normalize_[1]), float(normalize_[2])};
    u["NormalizeVec"] = GlUniform::Vec(normalize, 3);
    u["NormalMatrix"] = GlUniform::Mat4(kIdentity);
    u["XformMatrix"] = GlUniform::Mat4(kIdentity);
    u["tRandoms"] = GlUniform::Texture(UniformKind::Texture2D, globals_->randomMaskTexture.id);
    u["LayerID"] = GlUniform::Uint(uint32_t(pass));
    u["NUM_MSAA_SAMPLES"] = GlUniform::Int(8);
    u["randMaskSizePowOf2MinusOne"] = GlUniform::Int(2047);
    u["randMaskAlphaValues"] = GlUniform::Int(255);
    u["z_near"] = GlUniform::Float(zNear);
    u["z_far"] = GlUniform::Float(zFar);
    u["near_fade"] = GlUniform::Float(nearFade);
    u["far_fade"] = GlUniform::Float(farFade);
    return u;
}

void TVGLEngine::fullScreen(uint32_t program, uint32_t fbo,
                            std::map<std::string, GlUniform> uniforms, int32_t blend,
                            int32_t depth) {
    GlDrawable quad;
    quad.primitive = GL_TRIANGLE_STRIP;
    quad.vertexCount = 4;
    quad.attributes["vertex"] = GlAttribute{quadBuffer_, 2, GL_FLOAT, 16, 0};
    quad.attributes["tex"] = GlAttribute{quadBuffer_, 2, GL_FLOAT, 16, 8};
    quad.uniforms = std::move(uniforms);
    const int32_t viewport[4] = {0, 0, width_, height_};
    gl::DrawToFramebuffer(fbo, viewport, quad, program, blend, depth, 0);
}

void TVGLEngine::renderPasses() {
    if (!valid()) return;
    gl::MakeCurrent(thread_->context);
    const int32_t viewport[4] = {0, 0, width_, height_};
    const float weight = 1.0f / float(sampleCount_);
    const bool depthLayer = depthLayerTexture_ != 0;
    const int32_t sampleShading = globals_->glVersion >= 40 ? 1 : 2;
    auto depthMapPass = [&](uint32_t fbo) {
        if (!depthLayer) return;
        fullScreen(globals_->depthMap, fbo,
                   {{"layer_tex", GlUniform::Texture(UniformKind::Texture2D, depthLayerTexture_)},
                    {"depth_far", GlUniform::Float(float(depthFar_ / normalize_[0]))},
                    {"depth_near", GlUniform::Float(float(depthNear_ / normalize_[0]))},
                    {"persp", GlUniform::Mat4(projection2_)}},
                   gl::kBlendOff, gl::kDepthAlways);
    };
    auto drawAll = [&](uint32_t fbo, int32_t pass, gl::FamilyRow row, int32_t blend, int32_t depth,
                       int32_t shading) {
        const auto common = commonUniforms(pass);
        for (GlDrawable& d : drawables_) {
            GlDrawable call = d;
            call.uniforms.insert(common.begin(), common.end());
            // "Polygon Visibility" culls polygons only. ScaleMatrix flips y, which reverses
            // every winding in the target: the front stays the side whose corners run
            // counter-clockwise in the image.
            if (!call.cullMode && !call.facesCamera) call.cullMode = cullFace_;
            call.clockwiseFront = true;
            gl::DrawToFramebuffer(fbo, viewport, call, resolve(d.program, row), blend, depth,
                                  shading);
        }
    };
    if (accumulatePasses_) {
        depthMapPass(finalFbo_.id);
        if (alphaCorrection) {
            // Four passes' transmittances at once, one in each channel of the target: one clear
            // and one full-screen sum for every four passes instead of one of each per pass.
            for (int32_t group = passStart_; group < passEnd_; group += 4) {
                gl::ClearColorOnly(transmitPassFbo_.id, kOpaqueWhite);
                for (int32_t k = 0; k < 4 && group + k < passEnd_; ++k) {
                    glColorMask(k == 0, k == 1, k == 2, k == 3);
                    drawAll(transmitPassFbo_.id, group + k, gl::kRowPlain, gl::kBlendTransmit,
                            depthLayer ? gl::kDepthTestOnly : gl::kDepthOff, 0);
                }
                glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
                fullScreen(globals_->transmittanceSum, coverageFbo_.id,
                           {{"frameTex", GlUniform::Texture(UniformKind::Texture2D,
                                                            transmitPassFbo_.colorTexture.id)},
                            {"frameWeight", GlUniform::Float(weight)}},
                           gl::kBlendAdd, gl::kDepthOff);
            }
        }
        for (int32_t p = passStart_; p < passEnd_; ++p) {
            gl::ClearFramebuffer(passFbo_.id, kZero);
            drawAll(passFbo_.id, p, gl::kRowOpaqueStochastic, gl::kBlendOff, gl::kDepthLess,
                    sampleShading);
            std::map<std::string, GlUniform> u = {
                {"frameTex", GlUniform::Texture(UniformKind::Texture2D, passFbo_.colorTexture.id)},
                {"frameWeight", GlUniform::Float(weight)}};
            if (depthLayer) {
                u["depthTex"] =
                    GlUniform::Texture(UniformKind::Texture2D, passFbo_.depthTexture.id);
                fullScreen(globals_->frameDepthCull, accumFbo_.id, u, gl::kBlendAdd,
                           gl::kDepthTestOnly);
            } else {
                fullScreen(globals_->framePlain, accumFbo_.id, u, gl::kBlendAdd, gl::kDepthOff);
            }
            glFlush();
            ++passesRun;
        }
    } else {
        // One multisampled target: the exact transmittance first, then each pass writes a
        // stochastic depth sample by sample and adds the colour that matches it.
        gl::ClearFramebuffer(msaaFbo_.id, kZero);
        depthMapPass(msaaFbo_.id);
        gl::ClearColorOnly(msaaFbo_.id, kOpaqueBlack);
        glColorMask(GL_FALSE, GL_FALSE, GL_FALSE, GL_TRUE);
        drawAll(msaaFbo_.id, 0, gl::kRowPlain, gl::kBlendTransmit,
                depthLayer ? gl::kDepthTestOnly : gl::kDepthOff, 0);
        fullScreen(globals_->frameOneMinusAlphaMsaa, accumFbo_.id,
                   {{"frameTex", GlUniform::Texture(UniformKind::Texture2DMultisample,
                                                    msaaFbo_.colorTexture.id)},
                    {"frameWeight", GlUniform::Float(1.0f)},
                    {"num_msaa", GlUniform::Int(msaaFbo_.samples)}},
                   gl::kBlendAdd, gl::kDepthOff);
        glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
        gl::ClearFramebuffer(msaaFbo_.id, kZero);
        for (int32_t p = passStart_; p < passEnd_; ++p) {
            gl::ClearDepth(msaaFbo_.id);
            depthMapPass(msaaFbo_.id);
            glColorMask(GL_FALSE, GL_FALSE, GL_FALSE, GL_FALSE);
            drawAll(msaaFbo_.id, p, gl::kRowOpaqueMsaaStochastic, gl::kBlendOff, gl::kDepthLess,
                    sampleShading);
            glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
            glFlush();
            drawAll(msaaFbo_.id, p, gl::kRowPlain, gl::kBlendAddAlpha, gl::kDepthTestOnly, 0);
            ++passesRun;
        }
    }
    clearDrawables();
}

void TVGLEngine::compositeFrame() {
    if (!valid()) return;
    gl::MakeCurrent(thread_->context);
    if (accumulatePasses_ && alphaCorrection) {
        fullScreen(
            globals_->stochasticComposite, finalFbo_.id,
            {{"tAccumColor", GlUniform::Texture(UniformKind::Texture2D, accumFbo_.colorTexture.id)},
             {"tTransmittance",
              GlUniform::Texture(UniformKind::Texture2D, coverageFbo_.colorTexture.id)}},
            gl::kBlendOff, gl::kDepthOff);
    } else if (accumulatePasses_) {
        fullScreen(
            globals_->framePlain, finalFbo_.id,
            {{"frameTex", GlUniform::Texture(UniformKind::Texture2D, accumFbo_.colorTexture.id)},
             {"frameWeight", GlUniform::Float(1.0f)}},
            gl::kBlendOff, gl::kDepthOff);
    } else {
        fullScreen(globals_->frameMsaaAlphaCorrection, finalFbo_.id,
                   {{"frameTex", GlUniform::Texture(UniformKind::Texture2DMultisample,
                                                    msaaFbo_.colorTexture.id)},
                    {"frameWeight", GlUniform::Float(1.0f / float(sampleCount_))},
                    {"num_msaa", GlUniform::Int(msaaFbo_.samples)},
                    {"tTransmittance",
                     GlUniform::Texture(UniformKind::Texture2D, accumFbo_.colorTexture.id)}},
                   gl::kBlendOff, gl::kDepthOff);
    }
}

void TVGLEngine::readBack(PF_EffectWorld& world) {
    if (!valid() || !world.data || !finalFbo_.id) return;
    gl::MakeCurrent(thread_->context);
    const int32_t w = std::min(world.width, width_), h = std::min(world.height, height_);
    if (world.format == PF_PixelFormat_ARGB32) {
        // BGRA packed as 8-8-8-8 lands in memory as A, R, G, B.
        gl::ReadPixels(finalFbo_.id, GL_COLOR_ATTACHMENT0, 0, 0, w, h, world.rowbytes / 4, GL_BGRA,
                       GL_UNSIGNED_INT_8_8_8_8, world.data);
    } else if (world.format == PF_PixelFormat_ARGB128) {
        gl::ReadPixels(finalFbo_.id, GL_COLOR_ATTACHMENT0, 0, 0, w, h, world.rowbytes / 16, GL_RGBA,
                       GL_FLOAT, world.data);
        // R, G, B, A to the world's A, R, G, B.
        for (int32_t y = 0; y < h; ++y) {
            auto* px = reinterpret_cast<float*>(world.data + size_t(y) * size_t(world.rowbytes));
            for (int32_t x = 0; x < w; ++x, px += 4) {
                const float r = px[0], g = px[1], b = px[2], a = px[3];
                px[0] = a, px[1] = r, px[2] = g, px[3] = b;
            }
        }
    }
}

}  // namespace tv
