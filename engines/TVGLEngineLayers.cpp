// Layer pixels the unified engine reads as textures: a depth layer for the passes' depth map, and
// a sprite layer's frames at their sample times in the layers of one array texture.
#include <GL/glew.h>

#include <algorithm>
#include <chrono>
#include <cstring>

#include "engines/TVGLEngine.h"

namespace tv {

namespace {

using gl::GlAttribute;
using gl::GlDrawable;
using gl::GlUniform;
using gl::UniformKind;

}  // namespace

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

PF_Err TVGLEngine::prepareSprites(AEGP_LayerH layer, const std::vector<A_Time>& times) {
    spriteTexture_ = 0;
    if (times.empty()) return PF_Err_NONE;
    // Any sample time marks the engine as holding sprites, whatever the frames' checkout gives.
    hasSpriteArray_ = true;
    if (!valid() || !host_ || !layer) return PF_Err_NONE;
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
        const int32_t w = first->width, h = first->height, n = int32_t(frames.size());
        // Past the context's limits the array would be incomplete and every sprite empty.
        GLint maxSize = 0, maxLayers = 0;
        glGetIntegerv(GL_MAX_TEXTURE_SIZE, &maxSize);
        glGetIntegerv(GL_MAX_ARRAY_TEXTURE_LAYERS, &maxLayers);
        if (w > maxSize || h > maxSize || n > maxLayers) {
            failure = "the sprite layer's frames (" + std::to_string(w) + "x" + std::to_string(h) +
                      ", " + std::to_string(n) + " of them) pass this GL's sprite textures (" +
                      std::to_string(maxSize) + " pixels a side, " + std::to_string(maxLayers) +
                      " frames at most); use a smaller sprite layer or --unified off";
            err = PF_Err_OUT_OF_MEMORY;
        }
    }
    if (!err && first) {
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

}  // namespace tv
