// The unified engine's life and set-up: its thread's context, the frame's render targets, the
// cull mode, the time sample's camera and jitter offsets, and their release. Drawing is in
// TVGLEngineDraw.cpp, layer pixels as textures in TVGLEngineLayers.cpp, the passes and the
// read-back in TVGLEnginePasses.cpp.
#include "engines/TVGLEngine.h"

#include <GL/glew.h>

#include <algorithm>

namespace tv {

namespace {

constexpr float kZero[4] = {0, 0, 0, 0};

}  // namespace

TVGLEngine::TVGLEngine(HostServices* host, PF_EffectWorld* world, int32_t bitDepth,
                       const gl::GlGlobals* globals)
    : TV_Pass_Render(host, world, bitDepth), globals_(globals) {
    perspectiveSizes = true;
    if (!globals_) return;
    hostContext_ = gl::WrapCurrent();
    if (!gl::PrepareThreadState(*globals_, thread_)) thread_ = nullptr;
}

TVGLEngine::~TVGLEngine() {
    releaseTargets();
    if (hostContext_) {
        const bool hostHadNone = !hostContext_->context;
        gl::MakeCurrent(hostHadNone ? nullptr : hostContext_);
        gl::DestroyContext(hostContext_);
        if (hostHadNone) gl::ReleaseThread();
    }
}

uint32_t TVGLEngine::resolve(int32_t family, gl::FamilyRow row) const {
    return globals_ ? gl::FamilyProgram(*globals_, family, row) : 0;
}

void TVGLEngine::allocateTargets(bool accumulate, int32_t width, int32_t height) {
    if (!valid()) return;
    gl::MakeCurrent(thread_->context);
    accumulatePasses_ = accumulate;
    width_ = width, height_ = height;
    auto sharingDepth = [&](const gl::GlFramebuffer& owner) {
        gl::GlFramebuffer f;
        f.colorTexture = gl::MakeTexture(width, height, GL_RGBA32F);
        f.depthTexture = owner.depthTexture;
        f.depthTexture.owned = false;
        f.id = gl::MakeFramebuffer(&f.colorTexture, &f.depthTexture, f.extras);
        return f;
    };
    finalFbo_ = gl::MakePlainFramebuffer(width, height, GL_RGBA32F, GL_DEPTH_COMPONENT32F);
    if (accumulate) {
        passFbo_ = gl::MakePlainFramebuffer(width, height, GL_RGBA32F, GL_DEPTH_COMPONENT32F);
        transmitPassFbo_ = sharingDepth(finalFbo_);
        coverageFbo_ = gl::MakePlainFramebuffer(width, height, GL_RGBA32F, 0);
        accumFbo_ = sharingDepth(finalFbo_);
    } else {
        accumFbo_ = gl::MakePlainFramebuffer(width, height, GL_RGBA32F, GL_DEPTH_COMPONENT32F);
        msaaFbo_ =
            gl::MakeMultisampleFramebuffer(8, width, height, GL_RGBA32F, GL_DEPTH_COMPONENT24);
    }
    // Only the sums start from zero: every other target is cleared or wholly drawn over before
    // it is read (the pass images each pass, the final image by the composite, the shared depth
    // by the depth layer's full-screen step). Each clear is a full pass over 33 MB at 1080p.
    gl::ClearColorOnly(accumFbo_.id, kZero);
    gl::ClearColorOnly(coverageFbo_.id, kZero);
    const float quad[16] = {-1, -1, 0, 0, 1, -1, 1, 0, -1, 1, 0, 1, 1, 1, 1, 1};
    quadBuffer_ = gl::CreateBuffer(quad, sizeof quad, GL_ARRAY_BUFFER, GL_STATIC_DRAW);
}

void TVGLEngine::setCullMode(int32_t popup) {
    cullFace_ = popup == 2 ? GL_BACK : popup == 3 ? GL_FRONT : 0;
}

void TVGLEngine::prepareSamples(const CameraSnapshot& camera, int32_t sampleCount,
                                float blurFactor) {
    // The last floor: accumulation needs at least 16 samples, the multisample path 2.
    if (accumulatePasses_ && sampleCount < 16) sampleCount = 16;
    if (!accumulatePasses_ && sampleCount < 2) sampleCount = 2;
    sampleCount_ = sampleCount;
    blurFactor_ = blurFactor;
    // The lens radius: the blur level's share of the aperture, in view units, times the factor.
    const double normalize = camera.normalizeX != 0 ? camera.normalizeX : 1.0;
    const double radius = blurFactor * (camera.blurLevel / 100.0) * (camera.aperture / normalize);
    offsets_ = MakeSampleOffsets(sampleCount_, accumulatePasses_, applyDof, radius);
}

void TVGLEngine::setPassRange(const CameraSnapshot& camera, int32_t sampleCount, float blurFactor,
                              int32_t start, int32_t end) {
    if (accumulatePasses_ && sampleCount < 16) {
        sampleCount = 16;
        start = 0, end = 16;
    }
    if (!accumulatePasses_ && sampleCount < 2) sampleCount = 2;
    if (sampleCount != sampleCount_ || blurFactor != blurFactor_)
        prepareSamples(camera, sampleCount, blurFactor);
    passStart_ = std::max(0, start);
    passEnd_ = std::min(end, sampleCount_);
    // The view: the camera's matrix with its translation normalised, inverted, and turned half
    // way round its x axis: the host's camera space (y down, z ahead) becomes GL's (y up, z
    // behind). ScaleMatrix turns y back so that rows come out top first.
    Mat4 view = camera.cameraMatrix;
    const double n[3] = {camera.normalizeX, camera.normalizeY, camera.normalizeZ};
    for (int i = 0; i < 3; ++i) view.m[12 + i] /= n[i] != 0 ? n[i] : 1.0;
    Mat4 modelView;
    if (!Invert(view, modelView)) modelView = camera.modelView;
    for (int i = 0; i < 16; ++i) {
        const bool turnedRow = i % 4 == 1 || i % 4 == 2;
        modelView2_[i] = float(turnedRow ? -modelView.m[i] : modelView.m[i]);
        projection2_[i] = float(camera.projection.m[i]);
    }
    normalize_[0] = camera.normalizeX, normalize_[1] = camera.normalizeY;
    normalize_[2] = camera.normalizeZ;
    const double normalize = camera.normalizeX != 0 ? camera.normalizeX : 1.0;
    focusDistance_ = camera.focusDistance / normalize;
    orthographic_ = camera.cameraType == 1;
}

void TVGLEngine::clearDrawables() {
    if (valid()) {
        gl::MakeCurrent(thread_->context);
        for (gl::GlDrawable& d : drawables_) gl::DeleteBuffers(d.ownedBuffers);
        if (!spriteTextures_.empty())
            glDeleteTextures(GLsizei(spriteTextures_.size()), spriteTextures_.data());
    }
    spriteTextures_.clear();
    spriteTexture_ = 0;
    drawables_.clear();
}

void TVGLEngine::releaseTargets() {
    if (!valid()) return;
    gl::MakeCurrent(thread_->context);
    clearDrawables();
    for (gl::GlFramebuffer* f :
         {&transmitPassFbo_, &accumFbo_, &coverageFbo_, &passFbo_, &msaaFbo_, &finalFbo_})
        gl::DeleteFramebuffer(*f);
    if (depthLayerTexture_) glDeleteTextures(1, &depthLayerTexture_);
    depthLayerTexture_ = 0;
    gl::DeleteBuffer(quadBuffer_);
    quadBuffer_ = 0;
    if (hostContext_) gl::MakeCurrent(hostContext_->context ? hostContext_ : nullptr);
}

}  // namespace tv
