#include "engines/TVGLEngine.h"

#include <GL/glew.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstring>

#include "engines/TubeBuilder.h"
#include "engines/gl/GlLog.h"

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

// Interleaved vertex of the circle and sprite families.
struct BillboardVertex {
    float position[3];
    float color[4];
    float idx;
    float offset[2];
    float tex[3];
};
// Interleaved vertex of the plain family.
struct PlainVertex {
    float position[3];
    float color[4];
    float idx;
};

template <class Vertex>
void AddCommonAttributes(GlDrawable& d, uint32_t buffer) {
    const auto stride = int32_t(sizeof(Vertex));
    d.attributes["vertex"] = GlAttribute{buffer, 3, GL_FLOAT, stride, offsetof(Vertex, position)};
    d.attributes["color"] = GlAttribute{buffer, 4, GL_FLOAT, stride, offsetof(Vertex, color)};
    d.attributes["idx"] = GlAttribute{buffer, 1, GL_FLOAT, stride, offsetof(Vertex, idx)};
}

template <class Vertex>
GlDrawable MakeDrawable(const std::vector<Vertex>& vertices, const std::vector<uint32_t>& indices,
                        uint32_t primitive, int32_t family) {
    GlDrawable d;
    d.primitive = primitive;
    d.program = family;
    const uint32_t vb = gl::CreateBuffer(vertices.data(), vertices.size() * sizeof(Vertex),
                                         GL_ARRAY_BUFFER, GL_STATIC_DRAW);
    d.ownedBuffers.push_back(vb);
    AddCommonAttributes<Vertex>(d, vb);
    if (!indices.empty()) {
        // Buffers have no type of their own: the index list binds as elements at draw time.
        d.indexBuffer = gl::CreateBuffer(indices.data(), indices.size() * sizeof(uint32_t),
                                         GL_ARRAY_BUFFER, GL_STATIC_DRAW);
        d.ownedBuffers.push_back(d.indexBuffer);
        d.vertexCount = int32_t(indices.size());
        d.primitiveRestart = true;
    } else {
        d.vertexCount = int32_t(vertices.size());
    }
    return d;
}

void CopyColor(const float in[4], float out[4]) {
    std::memcpy(out, in, sizeof(float) * 4);
}

}  // namespace

TVGLEngine::TVGLEngine(HostServices* host, PF_EffectWorld* world, int32_t bitDepth,
                       const gl::GlGlobals* globals)
    : TV_Base_Render(host, world, bitDepth), globals_(globals) {
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
    for (const gl::GlFramebuffer* f :
         {&finalFbo_, &passFbo_, &transmitPassFbo_, &coverageFbo_, &accumFbo_, &msaaFbo_})
        gl::ClearFramebuffer(f->id, kZero);
    const float quad[16] = {-1, -1, 0, 0, 1, -1, 1, 0, -1, 1, 0, 1, 1, 1, 1, 1};
    quadBuffer_ = gl::CreateBuffer(quad, sizeof quad, GL_ARRAY_BUFFER, GL_STATIC_DRAW);
}

void TVGLEngine::setCullMode(int32_t popup) {
    cullFace_ = popup == 2 ? GL_BACK : popup == 3 ? GL_FRONT : 0;
}

void TVGLEngine::prepareDepthLayer(const PF_EffectWorld* layer, float depthNear, float depthFar) {
    if (!valid() || !layer || !layer->data || layer->width <= 0 || layer->height <= 0) return;
    gl::MakeCurrent(thread_->context);
    depthNear_ = depthNear, depthFar_ = depthFar;
    // A, R, G, B floats at the engine's size (nearest pixel when the sizes differ); the shader
    // reorders the channels.
    std::vector<float> texels(size_t(width_) * size_t(height_) * 4);
    const bool isFloat = layer->format == PF_PixelFormat_ARGB128;
    for (int32_t y = 0; y < height_; ++y) {
        const int32_t sy =
            std::min(layer->height - 1, int32_t(int64_t(y) * layer->height / height_));
        const uint8_t* row = layer->data + size_t(sy) * size_t(layer->rowbytes);
        for (int32_t x = 0; x < width_; ++x) {
            const int32_t sx =
                std::min(layer->width - 1, int32_t(int64_t(x) * layer->width / width_));
            float* out = &texels[(size_t(y) * size_t(width_) + size_t(x)) * 4];
            if (isFloat) {
                std::memcpy(out, row + size_t(sx) * 16, 16);
            } else {
                for (int c = 0; c < 4; ++c) out[c] = row[size_t(sx) * 4 + size_t(c)] / 255.0f;
            }
        }
    }
    // Row 0 of the layer is its top; the passes draw with y flipped, so row 0 stays row 0.
    gl::GlTexture t = gl::MakeTexture(width_, height_, GL_RGBA32F);
    glBindTexture(GL_TEXTURE_2D, t.id);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, width_, height_, GL_RGBA, GL_FLOAT, texels.data());
    glBindTexture(GL_TEXTURE_2D, 0);
    depthLayerTexture_ = t.id;
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
        for (GlDrawable& d : drawables_) gl::DeleteBuffers(d.ownedBuffers);
        if (!spriteTextures_.empty())
            glDeleteTextures(GLsizei(spriteTextures_.size()), spriteTextures_.data());
    }
    spriteTextures_.clear();
    spriteTexture_ = 0;
    drawables_.clear();
}

void TVGLEngine::viewOf(const double p[3], double out[3]) const {
    const double q[3] = {p[0] / normalize_[0], p[1] / normalize_[1], p[2] / normalize_[2]};
    for (int r = 0; r < 3; ++r)
        out[r] = modelView2_[r] * q[0] + modelView2_[4 + r] * q[1] + modelView2_[8 + r] * q[2] +
                 modelView2_[12 + r];
}

float TVGLEngine::worldSize(const double p[3], float size) const {
    if (perspectiveSizes) return size;
    // A pixel size: the world length that covers it at the point's depth.
    const double f = projection2_[5] != 0 ? std::abs(double(projection2_[5])) : 1.0;
    double perPixel = 2.0 / (f * std::max(height_, 1)) * normalize_[0];
    if (!orthographic_) {
        double v[3];
        viewOf(p, v);
        perPixel *= std::max(-v[2], 0.0);
    }
    return float(size * perPixel);
}

PF_Err TVGLEngine::drawPoints(std::vector<DrawPoint>& points) {
    if (points.empty() || !valid()) return PF_Err_NONE;
    gl::MakeCurrent(thread_->context);
    std::vector<BillboardVertex> vertices;
    std::vector<uint32_t> indices;
    vertices.reserve(points.size() * 4);
    indices.reserve(points.size() * 5);
    static constexpr float kCorner[4][2] = {{-1, -1}, {1, -1}, {-1, 1}, {1, 1}};
    static constexpr float kTex[4][2] = {{0, 0}, {1, 0}, {0, 1}, {1, 1}};
    for (const DrawPoint& p : points) {
        const double pos[3] = {p.x, p.y, p.z};
        const float size = worldSize(pos, p.size);
        const float idx = primitiveIndex_++;
        const auto base = uint32_t(vertices.size());
        for (int k = 0; k < 4; ++k) {
            BillboardVertex v{};
            v.position[0] = float(p.x), v.position[1] = float(p.y), v.position[2] = float(p.z);
            CopyColor(p.color, v.color);
            v.idx = idx;
            v.offset[0] = kCorner[k][0] * size, v.offset[1] = kCorner[k][1] * size;
            v.tex[0] = kTex[k][0], v.tex[1] = kTex[k][1];
            vertices.push_back(v);
            indices.push_back(base + uint32_t(k));
        }
        indices.push_back(kRestartIndex);
    }
    GlDrawable d = MakeDrawable(vertices, indices, GL_TRIANGLE_STRIP, gl::kFamilyCircle);
    const auto stride = int32_t(sizeof(BillboardVertex));
    const uint32_t vb = d.ownedBuffers.front();
    d.attributes["offset"] =
        GlAttribute{vb, 2, GL_FLOAT, stride, offsetof(BillboardVertex, offset)};
    d.attributes["texCoord"] = GlAttribute{vb, 2, GL_FLOAT, stride, offsetof(BillboardVertex, tex)};
    d.uniforms["circle_tex"] = GlUniform::Texture(UniformKind::Texture2D, thread_->circleTexture);
    drawables_.push_back(std::move(d));
    return PF_Err_NONE;
}

PF_Err TVGLEngine::prepareSprites(AEGP_LayerH layer, const std::vector<A_Time>& times) {
    spriteTexture_ = 0;
    if (times.empty() || !valid() || !host_ || !layer) return PF_Err_NONE;
    const auto start = std::chrono::steady_clock::now();
    std::vector<PF_EffectWorld*> frames;
    PF_Err err = PF_Err_NONE;
    for (const A_Time& t : times) {
        PF_EffectWorld* w = nullptr;
        err = host_->checkoutLayerFrame(layer, t, bitDepth_, &w);
        if (err) break;
        if (!w) diagnostic("No Sprite World Checked out");
        frames.push_back(w);
    }
    // The host's render may have run GL of its own: this thread's context again.
    gl::MakeCurrent(thread_->context);
    const PF_EffectWorld* first = nullptr;
    for (const PF_EffectWorld* w : frames)
        if (w && w->data) {
            first = w;
            break;
        }
    if (!err && first) {
        hasSpriteArray_ = true;
        const int32_t w = first->width, h = first->height, n = int32_t(frames.size());
        GLuint array = 0;
        glGenTextures(1, &array);
        glBindTexture(GL_TEXTURE_2D_ARRAY, array);
        glTexImage3D(GL_TEXTURE_2D_ARRAY, 0, GL_RGBA32F, w, h, n, 0, GL_RGBA, GL_FLOAT, nullptr);
        glTexParameteri(GL_TEXTURE_2D_ARRAY, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
        glTexParameteri(GL_TEXTURE_2D_ARRAY, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
        glTexParameteri(GL_TEXTURE_2D_ARRAY, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
        glTexParameteri(GL_TEXTURE_2D_ARRAY, GL_TEXTURE_MIN_FILTER, GL_LINEAR_MIPMAP_LINEAR);
        glBindTexture(GL_TEXTURE_2D_ARRAY, 0);
        GLuint fbo = 0;
        glGenFramebuffers(1, &fbo);
        for (int32_t i = 0; i < n; ++i) {
            const PF_EffectWorld* f = frames[size_t(i)];
            if (!f || !f->data || f->width != w || f->height != h) continue;
            // The frame's A, R, G, B go up as R, G, B, A; the copy program puts them back.
            const bool isFloat = f->format == PF_PixelFormat_ARGB128;
            GLuint temp = 0;
            glGenTextures(1, &temp);
            glBindTexture(GL_TEXTURE_2D, temp);
            glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
            glPixelStorei(GL_UNPACK_ROW_LENGTH, f->rowbytes / (isFloat ? 16 : 4));
            glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA32F, w, h, 0, GL_RGBA,
                         isFloat ? GL_FLOAT : GL_UNSIGNED_BYTE, f->data);
            glPixelStorei(GL_UNPACK_ROW_LENGTH, 0);
            glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
            glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
            glBindTexture(GL_TEXTURE_2D, 0);
            glBindFramebuffer(GL_FRAMEBUFFER, fbo);
            glFramebufferTextureLayer(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, array, 0, i);
            const float clear[4] = {0, 0, 0, 0};
            gl::ClearColorOnly(fbo, clear);
            GlDrawable quad;
            quad.primitive = GL_TRIANGLE_STRIP;
            quad.vertexCount = 4;
            quad.attributes["vertex"] = GlAttribute{quadBuffer_, 2, GL_FLOAT, 16, 0};
            quad.attributes["tex"] = GlAttribute{quadBuffer_, 2, GL_FLOAT, 16, 8};
            quad.uniforms["layer_tex"] = GlUniform::Texture(UniformKind::Texture2D, temp);
            const int32_t viewport[4] = {0, 0, w, h};
            gl::DrawToFramebuffer(fbo, viewport, quad, globals_->layerCopy, gl::kBlendOff,
                                  gl::kDepthOff, 0);
            glDeleteTextures(1, &temp);
        }
        glDeleteFramebuffers(1, &fbo);
        glBindTexture(GL_TEXTURE_2D_ARRAY, array);
        glGenerateMipmap(GL_TEXTURE_2D_ARRAY);
        glBindTexture(GL_TEXTURE_2D_ARRAY, 0);
        spriteTexture_ = array;
        spriteTextures_.push_back(array);
        spriteAspect_ = float(h) / float(w);
        spriteTimes_.clear();
        for (const A_Time& t : times) spriteTimes_.push_back(uint32_t(t.value));
    }
    for (PF_EffectWorld* f : frames)
        if (f) host_->checkinLayerFrame(f);
    diagnostic(
        "Sprite Setup Time: " +
        std::to_string(
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count()));
    return err;
}

PF_Err TVGLEngine::drawSprites(std::vector<DrawSprite>& sprites) {
    if (sprites.empty() || !valid() || !spriteTexture_) return PF_Err_NONE;
    gl::MakeCurrent(thread_->context);
    std::vector<BillboardVertex> vertices;
    std::vector<uint32_t> indices;
    vertices.reserve(sprites.size() * 4);
    indices.reserve(sprites.size() * 5);
    static constexpr float kCorner[4][2] = {{-1, -1}, {1, -1}, {-1, 1}, {1, 1}};
    // Row 0 of a sprite frame is its top, which lies at +y in the passes' view before the flip.
    static constexpr float kTex[4][2] = {{0, 1}, {1, 1}, {0, 0}, {1, 0}};
    for (const DrawSprite& s : sprites) {
        const double pos[3] = {s.x, s.y, s.z};
        const float w = worldSize(pos, s.width);
        const float h = worldSize(pos, s.width * spriteAspect_);
        float layer = 0;
        for (size_t i = 0; i < spriteTimes_.size(); ++i)
            if (spriteTimes_[i] == uint32_t(s.time)) {
                layer = float(i);
                break;
            }
        const float idx = primitiveIndex_++;
        const auto base = uint32_t(vertices.size());
        for (int k = 0; k < 4; ++k) {
            BillboardVertex v{};
            v.position[0] = float(s.x), v.position[1] = float(s.y), v.position[2] = float(s.z);
            CopyColor(s.color, v.color);
            v.idx = idx;
            v.offset[0] = kCorner[k][0] * w, v.offset[1] = kCorner[k][1] * h;
            v.tex[0] = kTex[k][0], v.tex[1] = kTex[k][1], v.tex[2] = layer;
            vertices.push_back(v);
            indices.push_back(base + uint32_t(k));
        }
        indices.push_back(kRestartIndex);
    }
    GlDrawable d = MakeDrawable(vertices, indices, GL_TRIANGLE_STRIP, gl::kFamilySprite);
    const auto stride = int32_t(sizeof(BillboardVertex));
    const uint32_t vb = d.ownedBuffers.front();
    d.attributes["offset"] =
        GlAttribute{vb, 2, GL_FLOAT, stride, offsetof(BillboardVertex, offset)};
    d.attributes["texCoord"] = GlAttribute{vb, 3, GL_FLOAT, stride, offsetof(BillboardVertex, tex)};
    d.uniforms["sprite_tex"] = GlUniform::Texture(UniformKind::Texture2DArray, spriteTexture_);
    drawables_.push_back(std::move(d));
    spriteTexture_ = 0;  // the next draw needs its own prepareSprites
    return PF_Err_NONE;
}

PF_Err TVGLEngine::drawLines(std::vector<DrawLine>& lines) {
    if (lines.empty() || !valid()) return PF_Err_NONE;
    gl::MakeCurrent(thread_->context);
    std::vector<BillboardVertex> vertices;
    std::vector<uint32_t> indices;
    vertices.reserve(lines.size() * 8);
    indices.reserve(lines.size() * 9);
    for (const DrawLine& l : lines) {
        const float sa = worldSize(l.start, l.startSize), sb = worldSize(l.end, l.endSize);
        // The direction on screen: view positions divided by their depth (perspective).
        double va[3], vb[3];
        viewOf(l.start, va);
        viewOf(l.end, vb);
        double ax = va[0], ay = va[1], bx = vb[0], by = vb[1];
        if (!orthographic_ && va[2] < 0 && vb[2] < 0) {
            ax /= -va[2], ay /= -va[2], bx /= -vb[2], by /= -vb[2];
        }
        double dx = bx - ax, dy = by - ay;
        const double len = std::hypot(dx, dy);
        if (len > 0) {
            dx /= len, dy /= len;
        } else {
            dx = 1, dy = 0;  // coincident ends still have a direction
        }
        const double nx = -dy, ny = dx;
        const float idx = primitiveIndex_++;
        const auto base = uint32_t(vertices.size());
        // Four pairs along the line: cap, start, end, cap; u runs 0, 0.5, 0.5, 1 so the caps
        // take the two halves of the circle texture.
        struct Pair {
            const double* at;
            const float* color;
            float size;
            double along;
            float u;
        };
        const Pair pairs[4] = {{l.start, l.startColor, sa, -1, 0.0f},
                               {l.start, l.startColor, sa, 0, 0.5f},
                               {l.end, l.endColor, sb, 0, 0.5f},
                               {l.end, l.endColor, sb, 1, 1.0f}};
        for (const Pair& p : pairs)
            for (int side : {1, -1}) {
                BillboardVertex v{};
                v.position[0] = float(p.at[0]), v.position[1] = float(p.at[1]);
                v.position[2] = float(p.at[2]);
                CopyColor(p.color, v.color);
                v.idx = idx;
                v.offset[0] = float((dx * p.along + nx * side) * p.size);
                v.offset[1] = float((dy * p.along + ny * side) * p.size);
                v.tex[0] = p.u, v.tex[1] = side > 0 ? 1.0f : 0.0f;
                vertices.push_back(v);
            }
        for (uint32_t k = 0; k < 8; ++k) indices.push_back(base + k);
        indices.push_back(kRestartIndex);
    }
    GlDrawable d = MakeDrawable(vertices, indices, GL_TRIANGLE_STRIP, gl::kFamilyCircle);
    const auto stride = int32_t(sizeof(BillboardVertex));
    const uint32_t vb = d.ownedBuffers.front();
    d.attributes["offset"] =
        GlAttribute{vb, 2, GL_FLOAT, stride, offsetof(BillboardVertex, offset)};
    d.attributes["texCoord"] = GlAttribute{vb, 2, GL_FLOAT, stride, offsetof(BillboardVertex, tex)};
    d.uniforms["circle_tex"] = GlUniform::Texture(UniformKind::Texture2D, thread_->circleTexture);
    drawables_.push_back(std::move(d));
    return PF_Err_NONE;
}

PF_Err TVGLEngine::drawTriangles(std::vector<DrawTriangle>& triangles) {
    if (triangles.empty() || !valid()) return PF_Err_NONE;
    gl::MakeCurrent(thread_->context);
    std::vector<PlainVertex> vertices;
    vertices.reserve(triangles.size() * 3);
    for (const DrawTriangle& t : triangles) {
        const float idx = primitiveIndex_++;
        for (int k = 0; k < 3; ++k) {
            PlainVertex v{};
            for (int c = 0; c < 3; ++c) v.position[c] = float(t.corners[k][c]);
            CopyColor(t.colors[k], v.color);
            v.idx = idx;
            vertices.push_back(v);
        }
    }
    drawables_.push_back(MakeDrawable(vertices, {}, GL_TRIANGLES, gl::kFamilyPlain));
    return PF_Err_NONE;
}

PF_Err TVGLEngine::drawBeams(std::vector<BeamPath>& beams) {
    if (beams.empty() || !valid()) return PF_Err_NONE;
    gl::MakeCurrent(thread_->context);
    TubeMesh mesh;
    std::vector<float> idxOfVertex;
    for (const BeamPath& path : beams) {
        if (path.size() < 2) continue;
        std::vector<float> radii(path.size());
        for (size_t k = 0; k < path.size(); ++k)
            radii[k] = worldSize(&path.positions[3 * k], path.radii[k]);
        const size_t before = mesh.positions.size() / 3;
        BuildTube(path, radii, mesh);
        idxOfVertex.resize(mesh.positions.size() / 3, primitiveIndex_);
        if (mesh.positions.size() / 3 > before) primitiveIndex_ += 1;
    }
    for (const std::string& w : mesh.warnings) diagnostic(w);
    if (mesh.indices.empty()) return PF_Err_NONE;
    std::vector<PlainVertex> vertices(mesh.positions.size() / 3);
    for (size_t i = 0; i < vertices.size(); ++i) {
        std::memcpy(vertices[i].position, &mesh.positions[3 * i], sizeof(float) * 3);
        std::memcpy(vertices[i].color, &mesh.colors[4 * i], sizeof(float) * 4);
        vertices[i].idx = idxOfVertex[i];
    }
    drawables_.push_back(MakeDrawable(vertices, mesh.indices, GL_TRIANGLE_STRIP, gl::kFamilyPlain));
    return PF_Err_NONE;
}

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
            if (!call.cullMode) call.cullMode = cullFace_;
            gl::DrawToFramebuffer(fbo, viewport, call, resolve(d.program, row), blend, depth,
                                  shading);
        }
    };
    if (accumulatePasses_) {
        gl::ClearFramebuffer(passFbo_.id, kZero);
        depthMapPass(finalFbo_.id);
        if (alphaCorrection) {
            for (int32_t p = passStart_; p < passEnd_; ++p) {
                gl::ClearColorOnly(transmitPassFbo_.id, kOpaqueBlack);
                glColorMask(GL_FALSE, GL_FALSE, GL_FALSE, GL_TRUE);
                drawAll(transmitPassFbo_.id, p, gl::kRowPlain, gl::kBlendTransmit,
                        depthLayer ? gl::kDepthTestOnly : gl::kDepthOff, 0);
                fullScreen(globals_->frameOneMinusAlpha, coverageFbo_.id,
                           {{"frameTex", GlUniform::Texture(UniformKind::Texture2D,
                                                            transmitPassFbo_.colorTexture.id)},
                            {"frameWeight", GlUniform::Float(weight)}},
                           gl::kBlendAdd, gl::kDepthOff);
                glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
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
