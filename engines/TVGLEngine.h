// The unified engine: everything of a frame drawn on the GPU into one order-independent result by
// stochastic transparency. Each pass draws every primitive as opaque, each keeping a pixel with a
// probability equal to its alpha; the mean of many passes, each with its own jittered (and, with
// depth of field, lens-shifted) camera and each time sample with its own geometry, converges to
// the alpha composite with anti-aliasing, depth of field and motion blur. An exact transmittance
// gathered on the side takes the noise out of the alpha.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "engines/RenderEngine.h"
#include "engines/SampleCameras.h"
#include "engines/gl/GlGlobals.h"

namespace tv {

class TVGLEngine : public TV_Pass_Render {
  public:
    TVGLEngine(HostServices* host, PF_EffectWorld* world, int32_t bitDepth,
               const gl::GlGlobals* globals);
    ~TVGLEngine() override;

    // False when this thread has no usable context: the driver then draws in software.
    bool valid() const { return thread_ != nullptr; }

    PF_Err drawPoints(std::vector<DrawPoint>& points) override;
    PF_Err drawLines(std::vector<DrawLine>& lines) override;
    PF_Err drawTriangles(std::vector<DrawTriangle>& triangles) override;
    PF_Err drawSprites(std::vector<DrawSprite>& sprites) override;
    PF_Err drawBeams(std::vector<BeamPath>& beams) override;
    // The sprite layer's frame at each time, copied into the layers of one array texture.
    PF_Err prepareSprites(AEGP_LayerH layer, const std::vector<A_Time>& times) override;
    bool holdsSprites() const { return hasSpriteArray_; }
    bool wantsDepthSort() const override { return false; }
    bool isGpu() const override { return true; }

    void allocateTargets(bool accumulate, int32_t width, int32_t height) override;
    void setCullMode(int32_t popup) override;
    void prepareDepthLayer(const PF_EffectWorld* layer, float depthNear, float depthFar) override;
    void prepareSamples(const CameraSnapshot& camera, int32_t sampleCount,
                        float blurFactor) override;
    void setPassRange(const CameraSnapshot& camera, int32_t sampleCount, float blurFactor,
                      int32_t start, int32_t end) override;
    void clearDrawables() override;
    void renderPasses() override;
    void compositeFrame() override;
    void readBack(PF_EffectWorld& world) override;
    void releaseTargets();

    bool alphaCorrection = true;

  private:
    void viewOf(const double p[3], double out[3]) const;
    std::map<std::string, gl::GlUniform> commonUniforms(int32_t pass) const;
    void fullScreen(uint32_t program, uint32_t fbo, std::map<std::string, gl::GlUniform> uniforms,
                    int32_t blend, int32_t depth);
    uint32_t resolve(int32_t family, gl::FamilyRow row) const;

    const gl::GlGlobals* globals_;
    gl::ThreadRenderState* thread_ = nullptr;
    gl::GlContext* hostContext_ = nullptr;
    int32_t width_ = 0, height_ = 0;
    int32_t sampleCount_ = 16;
    int32_t passStart_ = 0, passEnd_ = 0;
    float blurFactor_ = 1;
    uint32_t cullFace_ = 0;
    bool accumulatePasses_ = true;
    float primitiveIndex_ = 0;
    std::vector<gl::GlDrawable> drawables_;
    SampleOffsets offsets_;
    // The time sample's camera, mode 2, and what it hands the passes.
    float modelView2_[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    float projection2_[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    double normalize_[3] = {1, 1, 1};
    double focusDistance_ = 1;  // view units
    bool orthographic_ = false;
    float depthNear_ = 0, depthFar_ = 0;
    uint32_t depthLayerTexture_ = 0;
    uint32_t quadBuffer_ = 0;
    // Sprites: the array the next drawSprites uses (0 after it drew), its sample times by layer,
    // and every array made this time sample, freed after its passes.
    uint32_t spriteTexture_ = 0;
    bool hasSpriteArray_ = false;
    std::vector<uint32_t> spriteTimes_;
    std::vector<uint32_t> spriteTextures_;
    gl::GlFramebuffer finalFbo_, passFbo_, transmitPassFbo_, coverageFbo_, accumFbo_, msaaFbo_;
};

}  // namespace tv
